// Derives the folder tree of an archive in hidden controls and times it: the listing, the
// seven phases of the derivation (the "time measure" line), and a click on the folder with
// the most direct entries until its list is filled.
//   treeengine ARCHIVE
#include "services/base.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "model/rbtree.h"
#include "services/log.h"
#include "ui/folder_tree_view.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <commctrl.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace {

LRESULT CALLBACK ParentProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NOTIFY) {
    NMHDR* header = reinterpret_cast<NMHDR*>(lParam);
    LRESULT result = 0;
    if (HandleEntryListNotify(header, &result)) return result;
    if (header->code == TVN_SELCHANGEDA || header->code == TVN_SELCHANGEDW) OnTreeSelectionChanged(header->hwndFrom);
    return 0;
  }
  if (message == WM_TIMER && wParam == kTreeFillTimerId) OnTreeFillTimer();
  return DefWindowProcA(hwnd, message, wParam, lParam);
}

HWND MakeList(HWND parent) {
  HWND list = CreateWindowExA(0, WC_LISTVIEWA, "", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_OWNERDATA, 0, 0, 600, 400,
                              parent, nullptr, nullptr, nullptr);
  AttachEntryRows(list);
  InitEntryListColumns(list);
  return list;
}

double Ms(LARGE_INTEGER a, LARGE_INTEGER b) {
  LARGE_INTEGER f;
  QueryPerformanceFrequency(&f);
  return 1000.0 * (b.QuadPart - a.QuadPart) / f.QuadPart;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  INITCOMMONCONTROLSEX icc = {sizeof icc, ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES | ICC_USEREX_CLASSES};
  InitCommonControlsEx(&icc);
  WNDCLASSA wc = {};
  wc.lpfnWndProc = ParentProc;
  wc.lpszClassName = "KestreliaTreeBench";
  RegisterClassA(&wc);
  HWND parent = CreateWindowExA(0, wc.lpszClassName, "", WS_POPUP, 0, 0, 800, 600, nullptr, nullptr, nullptr, nullptr);
  HWND all = MakeList(parent);
  HWND folderList = MakeList(parent);
  HWND tree = CreateWindowExA(0, WC_TREEVIEWA, "", WS_CHILD | WS_VISIBLE | TVS_HASBUTTONS, 0, 0, 200, 600, parent,
                              nullptr, nullptr, nullptr);
  HWND combo = CreateWindowExA(0, WC_COMBOBOXEXA, "", WS_CHILD | WS_VISIBLE | CBS_DROPDOWN, 0, 0, 200, 200, parent,
                               nullptr, nullptr, nullptr);
  GetFolderTreeViews() = FolderTreeViews{tree, combo, folderList, parent, nullptr};

  ArchiveControlBlock block = {};
  block.list = all;
  NameListRecreate(&block.folders);
  snprintf(block.path, sizeof block.path, "%s", argv[1]);
  SetCurrentArchivePath(block.path);
  LARGE_INTEGER t0, t1, t2;
  QueryPerformanceCounter(&t0);
  unzFile archive = MyWaitunzOpen2_64(block.path, 0);
  if (!archive) return 1;
  do_listing(archive, &block, 0);
  unzClose(archive);
  PublishEntryRows(all);
  QueryPerformanceCounter(&t1);
  printf("listing %.0f ms, rows %zu\n", Ms(t0, t1), GetEntryRowCount(all));

  SetVerbose(6);  // the phases line
  QueryPerformanceCounter(&t0);
  SynchronizeTreeViewThread(all, tree);
  QueryPerformanceCounter(&t1);
  SetVerbose(0);
  printf("derivation %.0f ms (folders %zu, records %zu)\n", Ms(t0, t1), GetTVRBTreeFolder()->count,
         GetTVRBTreeDataReady()->count);

  // The folder with the most direct entries.
  std::map<std::string, int> direct;
  for (size_t i = 0; i < GetEntryRowCount(all); ++i) ++direct[GetRowRecord(all, static_cast<int>(i))->path];
  std::string busiest;
  int most = -1;
  for (const auto& d : direct)
    if (!d.first.empty() && d.second > most) most = d.second, busiest = d.first;
  busiest.pop_back();
  HTREEITEM item = FindTreeItemString(tree, busiest.c_str());
  if (!item) return 3;
  for (int round = 0; round < 3; ++round) {
    TreeView_SelectItem(tree, TreeView_GetRoot(tree));
    while (GetTVNSem()) {
      MSG msg;
      while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&msg);
      Sleep(0);
    }
    QueryPerformanceCounter(&t0);
    TreeView_SelectItem(tree, item);
    for (;;) {
      MSG msg;
      while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&msg);
      if (!GetTVNSem()) break;
      Sleep(0);
    }
    QueryPerformanceCounter(&t2);
    printf("folder click to filled list: %.1f ms (%s, %zu rows)\n", Ms(t0, t2), busiest.c_str(),
           GetEntryRowCount(folderList));
  }
  return 0;
}
