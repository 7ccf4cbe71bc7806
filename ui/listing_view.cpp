#include "services/base.h"
#include "ui/listing_view.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/view_hooks.h"
#include "ui/entry_list.h"
#include "ui/listing_status.h"

#include <cstdio>

void PublishFinishedListing(ArchiveControlBlock* block) {
  PublishEntryRows(block->list);
  GetViewHooks().loadImageLists();
  WriteListingStatusBar();
  char title[kPathBuf * 2];
  snprintf(title, sizeof title, "%s: %s", "Kestrelia", block->path);
  if (HWND main = GetMainWindowHandle()) SetWindowTextA(main, title);
  GetViewHooks().applyStoredSort();
  if (HWND status = GetStatusBarHandle()) InvalidateRect(status, nullptr, TRUE);
}

void ShowListedArchive(ArchiveControlBlock* block) {
  if (block->viewComponent && block->viewComponent == block->treeList) GetViewHooks().rebuildTreeList();
  if (GetEntryRowCount(block->list) > 0) {
    GetViewHooks().setWindowTitle(block->path);
    GetViewHooks().addRecent(block->path);
    if (!IsWindowEnabled(block->list)) EnableWindow(block->list, TRUE);
    GetViewHooks().refreshToolbar();
  }
  GetViewHooks().focusCurrentView();
}
