// Deleting, renaming and moving entries from the window: the change set made from the rows
// the user acted on, the worker that rewrites the archive behind a progress dialog, and the
// views brought in step afterwards on the window's own thread.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

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
  char folderAfter[kPathBuf];  // the tree folder to select once the tree is derived again
};

// The Delete key, the menu and the tool bar: asks, then deletes the selected rows' entries.
void DeleteSelectedEntries(HWND list);
// F2 and the slow second click: whether the row's name may be edited at all.
bool CanRenameEntries(bool tellUser);
// F2: starts editing the focused row's name.
void EditSelectedEntryName(HWND list);
// Turns an edit of the name column (LISTSTRUCT_FILENAME: rename) or of the path column
// (LISTSTRUCT_PATH: move) of a row into a rewrite; a name typed with a separator moves the
// entry relative to its folder, and a folder's row renames the folder.
void ChangeFileName(HWND list, const char* newText, int action, int item);
// A slow second click on a row's path cell: an edit box over the cell, whose Enter moves the
// entry to the typed folder (Escape or leaving it cancels); returns the box, null when the
// path may not be edited.
HWND EditEntryPath(HWND list, int row);
// A click on a row of an entry list; the second click on the same row's path cell, slower
// than a double click, starts editing it.
void OnEntryListClick(HWND list, int row, int column);
// Adds a change record for every row below oldFolder ("a\b", no trailing separator) with
// newFolder in its place; returns how many.
int RenamePath(HWND list, const char* oldFolder, const char* newFolder, RBTree* changes);
// F2 in the tree: the folder oldFolder ("a\b") of the list of every entry is renamed to
// newName (null: the edit was cancelled), every entry below it with it; a name with a
// separator moves it. The tree then shows the renamed folder, or with stayInFolder the one
// shown now.
void RenameTreeFolder(HWND list, const char* oldFolder, const char* newName, bool stayInFolder = false);
// Moves the selected rows' entries into folder ("" for the top).
void MoveSelectedEntries(HWND list, const char* folder);
// After entries cut with Ctrl+X were pasted elsewhere: deletes the rows that were cut from
// the archive (an owner-data list keeps no cut marks, so the cutting side hands them in).
void DeleteCTRLCutEntries(HWND list, const int* rows, int count);
// Ctrl+X: the entries of these full names, rows of list, are marked as cut (by name, so
// sorting does not move the marks); false when there was nothing to cut or the archive's kind
// cannot lose entries.
bool CutEntries(HWND list, const std::vector<std::string>& names);
// The cut entries were pasted elsewhere: they leave the archive they were cut from, if that
// is still the one shown; the marks are cleared either way.
void DeletePastedCutEntries();

// Claims the window's one operation and starts the worker of a prepared job (it frees the
// job unless job->done is set, and gives the claim back); body null picks the worker of the
// job's mode. Refused (the job freed, the user told) while another operation runs.
void StartEntryRewrite(EntryRewriteJob* job, LPTHREAD_START_ROUTINE body = nullptr);
EntryRewriteJob* NewEntryRewriteJob(int mode, HWND list);

DWORD WINAPI DeleteThread(LPVOID job);
DWORD WINAPI UpdateTreeViewDragOrDeleteThread(LPVOID job);
DWORD WINAPI UpdateTreeViewEditThread(LPVOID job);
DWORD WINAPI ChangeThreadFilename(LPVOID job);

// On the window's thread: the rows, status bar and tree follow a finished job; a failure is
// told to the user. Frees the job's change set.
void ApplyEntryRewrite(EntryRewriteJob* job);
