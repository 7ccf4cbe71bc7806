// What a person chooses before files go into an archive: the compression level, a password
// (typed twice), the folder inside the archive, whether only file names are kept and whether
// folders are walked into. The dialog is a replaceable function so tests answer it.
#pragma once
#include "services/base.h"

struct CreationChoice {
  int level;                  // 0..9
  char password[kPathBuf];    // "" for none
  char prefix[kPathBuf];      // folder inside the archive, "" for none
  int plain;
  int recurse;
  char subject[kPathBuf * 2];  // what goes in, as the dialog names it ("a.txt, b.txt"); "" for nothing
  char target[kPathBuf];       // the archive's name for the dialog's title; "" for none
};

// "a.txt, b.txt, docs" of the chosen files' and folders' own names, cut to size.
void DescribeCreationSubject(char (*files)[kPathBuf], int count, char* out, size_t outSize);
// "6 - Normal": a level with its name, or the bare number for a level without one.
void FormatCompressionLevel(int level, char* out, size_t outSize);

// Fills choice with the defaults: the configured level ("DefaultCompression"), no password,
// no prefix, folders kept and walked into.
void DefaultCreationChoice(CreationChoice* choice);

// Shows the dialog with choice as it stands; true on OK (choice filled), false on Cancel.
bool AskCreationOptions(HWND owner, CreationChoice* choice);

// The multi-selection open dialog for files to add: fills files (each kPathBuf) and returns
// their number, 0 when cancelled.
int ChooseFilesToAdd(HWND owner, const char* title, char (*files)[kPathBuf], int capacity);
