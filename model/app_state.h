// Process-wide state that the window, the archive engines and their threads share: plain
// words read without locks (each has one writer at a time), set at start-up and by the
// open operation.
#pragma once
#include "services/base.h"

#include "services/current_password.h"

struct NameList;

// One per open archive; two exist from start-up (the current archive and a second one for
// comparisons and moves).
struct ArchiveControlBlock {
  char path[kPathBuf];
  int listingStarted;
  HWND list;           // the full list of every entry
  HWND tree;           // the folder tree
  HWND treeList;       // the folder list beside the tree
  HWND viewComponent;  // whichever of the two lists is shown
  int kind;
  NameList* folders;   // the archive's folder paths, recreated at every open
  int opened;
};

// Allocates both blocks zero-filled; false when memory ran out.
bool AllocateControlBlocks();
ArchiveControlBlock* GetCurrentControlBlock();

// The busy and open-in-progress flags are the one operation claim of services/worker.h.
int IsBusy2();
void SetBusy2(int on);
int GetSimulationFlag();
void SetSimulationFlag(int on);

const char* GetCurrentArchivePath();
void SetCurrentArchivePath(const char* path);

// Whether the open ZIP needs a password (from its first entry); the one the user gave is kept
// beside the password dialog (services/current_password.h, part of this state).
int IsArchiveEncrypted();
void SetArchiveEncrypted(int on);

// The modeless dialog the message loop offers messages to first (the Find dialog), or none.
HWND GetCurrentModelessDialog();
void SetCurrentModelessDialog(HWND dialog);

HWND GetMainWindowHandle();
void SetMainWindowHandle(HWND hwnd);
HWND GetStatusBarHandle();
void SetStatusBarHandle(HWND hwnd);
HINSTANCE GetAppInstance();
void SetAppInstance(HINSTANCE instance);

// The last platform error worth reporting after an open attempt (0 when none).
DWORD GetStoredSystemError();
void SetStoredSystemError(DWORD error);
