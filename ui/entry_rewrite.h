// Deleting, renaming and moving entries from the window: the change set made from the rows
// the user acted on, the worker that rewrites the archive behind a progress dialog, and the
// views brought in step afterwards on the window's own thread.
#pragma once
#include "services/base.h"

struct RBTree;

enum RewriteMode { REWRITE_DELETE, REWRITE_RENAME, REWRITE_MOVE };

struct EntryRewriteJob {
  int mode;
  char archive[kPathBuf];
  RBTree* changes;  // ChangeRecords keyed by old path; owned by the job
  HWND list;        // the full list whose rows the records name
  HANDLE done;      // set when the caller waits; then the caller frees the job
  int result;
  char failure[kPathBuf * 2];
};

// The Delete key, the menu and the tool bar: asks, then deletes the selected rows' entries.
void DeleteSelectedEntries(HWND list);
// F2 and the slow second click: whether the row's name may be edited at all.
bool CanRenameEntries(bool tellUser);
// F2: starts editing the focused row's name.
void EditSelectedEntryName(HWND list);
// Turns an edit of the name column (LISTSTRUCT_FILENAME: rename) or of the path column
// (LISTSTRUCT_PATH: move) of a row into a rewrite.
void ChangeFileName(HWND list, const char* newText, int action, int item);
// Adds a change record for every row below oldFolder ("a\b", no trailing separator) with
// newFolder in its place; returns how many.
int RenamePath(HWND list, const char* oldFolder, const char* newFolder, RBTree* changes);
// Moves the selected rows' entries into folder ("" for the top).
void MoveSelectedEntries(HWND list, const char* folder);
// After entries cut with Ctrl+X were pasted elsewhere: deletes the rows that were cut from
// the archive (an owner-data list keeps no cut marks, so the cutting side hands them in).
void DeleteCTRLCutEntries(HWND list, const int* rows, int count);

// Starts the worker of a prepared job (it frees the job unless job->done is set).
void StartEntryRewrite(EntryRewriteJob* job);
EntryRewriteJob* NewEntryRewriteJob(int mode, HWND list);

DWORD WINAPI DeleteThread(LPVOID job);
DWORD WINAPI UpdateTreeViewDragOrDeleteThread(LPVOID job);
DWORD WINAPI UpdateTreeViewEditThread(LPVOID job);
DWORD WINAPI ChangeThreadFilename(LPVOID job);

// On the window's thread: the rows, status bar and tree follow a finished job; a failure is
// told to the user. Frees the job's change set.
void ApplyEntryRewrite(EntryRewriteJob* job);
