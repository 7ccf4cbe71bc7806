#include "services/base.h"
#include "model/view_hooks.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"

#include <cstdio>

namespace {
void Nothing() {}
void NothingBool(bool) {}
void NothingText(const char*) {}
int Zero() { return 0; }
ViewHooks g_hooks = {Nothing, Nothing, NothingBool, NothingText, NothingText, Nothing,
                     Nothing, Nothing, Nothing,     Nothing,     Nothing,     Zero};
}  // namespace

ViewHooks& GetViewHooks() { return g_hooks; }

void PublishFinishedListing(ArchiveControlBlock* block) {
  PublishEntryRows(block->list);
  g_hooks.loadImageLists();
  WriteListingStatusBar();
  char title[kPathBuf * 2];
  snprintf(title, sizeof title, "%s: %s", "Kestrelia", block->path);
  if (HWND main = GetMainWindowHandle()) SetWindowTextA(main, title);
  g_hooks.applyStoredSort();
  if (HWND status = GetStatusBarHandle()) InvalidateRect(status, nullptr, TRUE);
}

void ShowListedArchive(ArchiveControlBlock* block) {
  if (block->viewComponent && block->viewComponent == block->treeList) g_hooks.rebuildTreeList();
  if (GetEntryRowCount(block->list) > 0) {
    g_hooks.setWindowTitle(block->path);
    g_hooks.addRecent(block->path);
    if (!IsWindowEnabled(block->list)) EnableWindow(block->list, TRUE);
    g_hooks.refreshToolbar();
  }
  g_hooks.focusCurrentView();
}
