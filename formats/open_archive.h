// The one way into an archive, whatever asked for it (open dialog, recent list, dropped file,
// command line): checks, decides the kind, resets the views and starts the kind's listing.
#pragma once
#include "services/base.h"

enum OpenResult {
  OPEN_REFUSED = 0,    // refused or failed; the user was told where that helps
  OPEN_CANCELLED = 1,  // the open dialog was cancelled
  OPEN_STARTED = 2,    // the listing thread reports from now on
};

int OpenCompressedFile(const char* path, HWND owner);

// Starts the kind's listing thread for the block and closes its handle; false when the
// kind has no listing thread.
bool StartListingThread(int kind, void* block);

struct ArchiveControlBlock;
// The frame of a kind's listing thread, which has called CoInitialize: BeginListing before the
// first row (the views locked, the totals, the sort mark and the encryption flag reset), FinishListing after the
// last (the views shown the list), and EndListingThread last of all, whatever happened: it
// gives the open operation back, and the thread returns its result.
void BeginListing();
void FinishListing(ArchiveControlBlock* block);
DWORD EndListingThread();
