// What the archive engines ask of the window while they list: the window installs these at
// start-up; until then (and in tests) they do nothing.
#pragma once
#include "services/base.h"

struct ArchiveControlBlock;

// The rows of a listing. A listing thread reports these; the window shows the rows on its
// own thread (ui/listing_view), so no worker touches a list view.
struct ListingRowHooks {
  void (*clear)(ArchiveControlBlock* block);      // on the window's thread: both lists emptied
  void (*publish)(ArchiveControlBlock* block);    // the rows stored so far are shown
  void (*drop)(ArchiveControlBlock* block);       // a cancelled listing's rows are dropped
  void (*finished)(ArchiveControlBlock* block);   // the finished listing is shown
  void (*released)(ArchiveControlBlock* block);   // the listing thread let go of the views
};

struct ViewHooks {
  void (*beginListing)();                  // the views' listing state is reset
  void (*finishListing)();                 // the views' listing state is finished
  void (*lockUpdates)(bool lock);          // window updates of the current view locked or not
  void (*setWindowTitle)(const char* path);  // "Kestrelia: <path>", or the plain name for none
  void (*addRecent)(const char* path);     // the archive joins the recent list
  void (*refreshToolbar)();
  void (*rebuildTreeList)();               // the folder presentation is refilled
  void (*focusCurrentView)();
  void (*loadImageLists)();                // system image lists into the views, once
  void (*applyStoredSort)();               // the kept sort order on the current view
  void (*resetSortMark)();                 // no sort column, both directions ascending
  int (*isTreeListRefilling)();            // the status bar is left alone while set
  ListingRowHooks rows;
  void (*showRunResult)(const char* text);  // a run's short result in the status bar
};

ViewHooks& GetViewHooks();
