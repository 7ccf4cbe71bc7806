#include "services/base.h"
#include "ui/listing_view.h"

#include "model/nested_archives.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/view_hooks.h"
#include "res/resource.h"
#include "ui/entry_list.h"
#include "ui/listing_status.h"

#include <atomic>
#include <cstdio>
#include <vector>

namespace {

enum ListingEvent { LISTING_ROWS = 1, LISTING_DROPPED, LISTING_FINISHED, LISTING_SHOWN };

// The rows a cancelled listing stored: the listing thread takes them out of the store at
// once (a new listing may fill it), the window frees them once its list no longer counts them.
struct DroppedRows {
  HWND list;
  std::vector<liststruct*> records;
};

HWND g_window;  // where the reports go; none: shown by the reporting thread

// Every open numbers its listing. An open that arrives while an earlier listing's last
// reports still wait in the queue (a WM_COPYDATA is handled before posted messages) reuses
// the control block, so each report carries its listing's number and the window drops the
// reports of a listing that is no longer the current one.
std::atomic<unsigned> g_currentListing{0};
// The listing a thread reports for: the current one at its first report, until its last
// (a thread that lists again numbers anew). A new open can only start once the earlier
// listing has reported, so the number is never a later one's.
thread_local unsigned t_listing = 0;
constexpr int kEventBits = 8;

WPARAM Numbered(ListingEvent event, unsigned listing) { return (static_cast<WPARAM>(listing) << kEventBits) | event; }

void Report(ListingEvent event, void* parameter) {
  if (!t_listing) t_listing = g_currentListing.load();
  if (g_window && PostMessageA(g_window, WM_APP_LISTING_EVENT, Numbered(event, t_listing),
                               reinterpret_cast<LPARAM>(parameter)))
    return;
  // Shown at once: nothing can have come between.
  HandleListingEvent(Numbered(event, g_currentListing.load()), reinterpret_cast<LPARAM>(parameter));
}

void ClearRows(ArchiveControlBlock* block) {
  // Zero stays free: it is the number of a thread that has not reported yet.
  if (++g_currentListing == 0) ++g_currentListing;
  if (block->list) DeleteAllEntryRows(block->list);
  if (block->treeList) DeleteAllEntryRows(block->treeList);
}
void PublishRows(ArchiveControlBlock* block) { Report(LISTING_ROWS, block); }
void DropRows(ArchiveControlBlock* block) {
  Report(LISTING_DROPPED, new DroppedRows{block->list, TakeEntryRecords(block->list)});
}
void ListingPublished(ArchiveControlBlock* block) { Report(LISTING_FINISHED, block); }
void ListingShown(ArchiveControlBlock* block) {
  Report(LISTING_SHOWN, block);
  t_listing = 0;
}

}  // namespace

void PublishFinishedListing(ArchiveControlBlock* block) {
  PublishEntryRows(block->list);
  GetViewHooks().loadImageLists();
  WriteListingStatusBar();
  char title[kPathBuf * 2];
  snprintf(title, sizeof title, "%s: %s", "Kestrelia", ShownArchivePath().c_str());
  if (HWND main = GetMainWindowHandle()) SetWindowTextA(main, title);
  GetViewHooks().applyStoredSort();
  // Recorded with the rows, not when the listing thread lets go: a window closed in between
  // would otherwise forget an archive the user saw listed.
  if (GetEntryRowCount(block->list) > 0) GetViewHooks().addRecent(block->path);
  if (HWND status = GetStatusBarHandle()) InvalidateRect(status, nullptr, TRUE);
}

void ShowListedArchive(ArchiveControlBlock* block) {
  if (block->viewComponent && block->viewComponent == block->treeList) GetViewHooks().rebuildTreeList();
  if (GetEntryRowCount(block->list) > 0) {
    GetViewHooks().setWindowTitle(block->path);
    if (!IsWindowEnabled(block->list)) EnableWindow(block->list, TRUE);
    GetViewHooks().refreshToolbar();
  }
  GetViewHooks().focusCurrentView();
}

void InstallListingViews(HWND window) {
  g_window = window;
  GetViewHooks().rows = ListingRowHooks{ClearRows, PublishRows, DropRows, ListingPublished, ListingShown};
}

void HandleListingEvent(WPARAM numbered, LPARAM parameter) {
  int event = static_cast<int>(numbered & ((1u << kEventBits) - 1));
  unsigned listing = static_cast<unsigned>(numbered >> kEventBits);
  // A dropped listing's records are freed whichever listing is current.
  if (event != LISTING_DROPPED && listing != g_currentListing.load()) {
    printf("HandleListingEvent: event %d of listing %u dropped, listing %u is current\n", event, listing,
           g_currentListing.load());
    return;
  }
  switch (event) {
    case LISTING_ROWS:
      PublishEntryRows(reinterpret_cast<ArchiveControlBlock*>(parameter)->list);
      break;
    case LISTING_DROPPED: {
      DroppedRows* dropped = reinterpret_cast<DroppedRows*>(parameter);
      PublishEntryRows(dropped->list);
      for (liststruct* r : dropped->records) FreeListStruct(r);
      delete dropped;
      break;
    }
    case LISTING_FINISHED:
      PublishFinishedListing(reinterpret_cast<ArchiveControlBlock*>(parameter));
      break;
    case LISTING_SHOWN:
      ShowListedArchive(reinterpret_cast<ArchiveControlBlock*>(parameter));
      break;
  }
}
