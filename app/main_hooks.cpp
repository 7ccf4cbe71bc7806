#include "services/base.h"
#include "app/main_state.h"
#include "app/main_recent.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/nested_archives.h"
#include "model/view_hooks.h"
#include "services/pending_work.h"
#include "ui/listing_view.h"
#include "ui/search.h"

#include <commctrl.h>
#include <shellapi.h>

#include <initializer_list>

#include <cstdio>
#include <cstring>

namespace {

// The listing thread asks; the window's own thread must change its controls, so these go
// through SendMessage where a control needs it and otherwise touch plain state only.
// Another archive's rows are coming: the hits and the tree of the last one are not theirs
// (the search values' reset clears the tree's in-step mark too).
void BeginListing() {
  InitializeSearchValues(nullptr, 0);
  if (Main().hwnd) PostMessageA(Main().hwnd, WM_APP_OPENING, 1, 0);
}
void FinishListing() {
  if (Main().hwnd) PostMessageA(Main().hwnd, WM_APP_OPENING, 0, 0);
}

void LockUpdates(bool lock) { SendMessageA(CurrentView(), WM_SETREDRAW, lock ? FALSE : TRUE, 0); }

// A copy of an archive inside another is no file to come back to.
void AddRecent(const char* path) {
  if (!NestedDepth()) AddRecentArchive(path);
}

void RefreshToolbar() {
  if (Main().hwnd) PostMessageA(Main().hwnd, WM_APP_REFRESH_TOOLBAR, 0, 0);
}

void RebuildTreeList() {
  if (Main().hwnd) PostMessageA(Main().hwnd, WM_APP_REBUILD_TREE, 0, 0);
}

void FocusCurrentView() {
  HWND view = CurrentView();
  if (view) PostMessageA(Main().hwnd, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(view), TRUE);
}

// Posted after the run's last timer message, which would otherwise write over it.
void ShowRunResult(const char* text) {
  if (Main().hwnd) PostMessageA(Main().hwnd, WM_APP_RUN_RESULT, 0, reinterpret_cast<LPARAM>(_strdup(text)));
}

void ResetSortMarkHook() { ResetSortMarks(); }
void ApplyStoredSortHook() { ApplyStoredSort(); }

}  // namespace

void LoadSystemImageLists() {
  MainWindowState& m = Main();
  if (m.imageListsLoaded) return;
  SHFILEINFOA info = {};
  HIMAGELIST small = reinterpret_cast<HIMAGELIST>(
      SHGetFileInfoA("C:\\", 0, &info, sizeof info, SHGFI_SYSICONINDEX | SHGFI_SMALLICON));
  if (!small) return;
  for (HWND list : {m.list, m.treeList})
    SendMessageA(list, LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(small));
  SendMessageA(m.tree, TVM_SETIMAGELIST, TVSIL_NORMAL, reinterpret_cast<LPARAM>(small));
  m.imageListsLoaded = true;
}

void SetMyWindowText(const char* path) {
  std::string shown = ShownArchivePath();
  if (path && *path && !strcmp(path, GetCurrentArchivePath())) path = shown.c_str();
  char title[kPathBuf * 2];
  if (path && *path)
    snprintf(title, sizeof title, "%s: %s", "Kestrelia", path);
  else
    snprintf(title, sizeof title, "%s", "Kestrelia");
  if (Main().hwnd) SetWindowTextA(Main().hwnd, title);
  if (Main().address) SetWindowTextA(Main().address, path ? path : "");
}

static void RepaintStatusBar() {
  if (HWND status = Main().status) InvalidateRect(status, nullptr, FALSE);
}

void InstallViewHooks() {
  SetPendingWorkRepaint(RepaintStatusBar);
  ViewHooks& hooks = GetViewHooks();
  hooks.beginListing = BeginListing;
  hooks.finishListing = FinishListing;
  hooks.lockUpdates = LockUpdates;
  hooks.setWindowTitle = SetMyWindowText;
  hooks.addRecent = AddRecent;
  hooks.refreshToolbar = RefreshToolbar;
  hooks.rebuildTreeList = RebuildTreeList;
  hooks.focusCurrentView = FocusCurrentView;
  hooks.loadImageLists = LoadSystemImageLists;
  hooks.applyStoredSort = ApplyStoredSortHook;
  hooks.resetSortMark = ResetSortMarkHook;
  hooks.isTreeListRefilling = IsTreeListRefilling;
  hooks.showRunResult = ShowRunResult;
  InstallListingViews(Main().hwnd);
}
