// What every creation or add run shares, whatever the kind it writes: its parameter block,
// the files it takes (collected from the disk) and its results.
#pragma once
#include "services/base.h"

#include <cstdint>

// One file or folder to add; a folder's path ends with "\\" or "/". baseLength is how much
// of the path names the folder the element was found in (what is cut to form the entry
// name when the run has no base path of its own).
struct ZipListElement {
  char* path;
  size_t baseLength;
  ZipListElement* next;
};

// The parameters of one creation run.
struct zfts {
  char PrefixPath[kPathBuf];  // folder inside the archive every entry goes below; "" for none
  char basePath[kPathBuf];    // cut off the front of each path; "" uses the element's own
  char password[kPathBuf];    // "" for none; else traditional ZIP encryption
  int prefixMode;             // either flag set: names formed in prefix mode
  int prefixRelative;         //   and relative to the base path rather than the last name part
  int plain;                  // only the last name component is kept
  int verboseAdd;             // every addition logged
  int level;                  // 0..9; 0 stores
};

// The parameter block of a creation or add run, allocated with calloc by the starter and
// freed by the thread.
struct ZipWorkBlock {
  zfts options;
  char archive[kPathBuf];
  char folder[kPathBuf];        // walked when there are no files
  int recurse;
  char (*files)[kPathBuf];      // dropped, chosen or named files and folders, or none; a
                                // calloc block that the thread frees
  int fileCount;
  int fromCommandLine;
  int add;                      // append to the archive when it exists
  int silent;                   // no progress dialog
  HANDLE done;                  // signalled at the end, when the starter waits
  int* result;                  // receives the run's result, when given
  // Called on the worker at the end with the archive and the result (0 written, 100
  // cancelled, else failed), e.g. to refresh the window.
  void (*finished)(const char* archive, int result);
};

enum CreateResult {
  CREATE_OK = 0,
  CREATE_NOTHING = 1,          // nothing to compress
  CREATE_OPEN_FAILED = 2,      // the archive (or its working copy) cannot be opened
  CREATE_WRITE_FAILED = 3,     // the writer or the final replace failed; any old archive is untouched
  CREATE_READ_ONLY = 4,        // the archive is read-only: refused before any work
  CREATE_CANCELLED = 100,
};

// Starts a run: fills the options from the settings (level, no prefix, not plain) the
// caller may then change. Returns a zero-filled block with calloc.
ZipWorkBlock* NewZipWorkBlock();
// Collecting: appends the file or folder and, for a folder, what lies below it (only its
// direct files when recurse is 0). Returns the bytes of the files added.
uint64_t CollectZipFiles(const char* path, size_t baseLength, int recurse, ZipListElement** head,
                         ZipListElement** tail);
// What lies below a folder (its subfolders too when recurse is set), each element's name
// counted from baseLength. Returns the bytes of the files added.
uint64_t CollectFolderFiles(const char* folder, size_t baseLength, int recurse, ZipListElement** head,
                            ZipListElement** tail);
void FreeZipList(ZipListElement* list);
// Every named file and folder of the block collected, each below the folder it lies in; with
// none named, what lies below the block's folder.
uint64_t CollectBlockFiles(const ZipWorkBlock* block, ZipListElement** head, ZipListElement** tail);
