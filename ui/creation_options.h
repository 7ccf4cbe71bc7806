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
};

// Fills choice with the defaults: the configured level ("DefaultCompression"), no password,
// no prefix, folders kept and walked into.
void DefaultCreationChoice(CreationChoice* choice);

// Shows the dialog with choice as it stands; true on OK (choice filled), false on Cancel.
typedef bool (*CreationOptionsPrompt)(HWND owner, CreationChoice* choice);
bool AskCreationOptions(HWND owner, CreationChoice* choice);
void SetCreationOptionsPrompt(CreationOptionsPrompt prompt);  // nullptr: the real dialog

// The multi-selection open dialog for files to add: fills files (each kPathBuf) and returns
// their number, 0 when cancelled.
typedef int (*ChooseFilesPrompt)(HWND owner, const char* title, char (*files)[kPathBuf], int capacity);
int ChooseFilesToAdd(HWND owner, const char* title, char (*files)[kPathBuf], int capacity);
void SetChooseFilesPrompt(ChooseFilesPrompt prompt);  // nullptr: the real dialog
