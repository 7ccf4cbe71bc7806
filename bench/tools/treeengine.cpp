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
#include "ui/entry_list.h"
#include "ui/folder_tree_view.h"
#include "zip/zip_listing.h"
#include "tree_support.h"
#include "zip/zip_open.h"

#include <commctrl.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace {

double Ms(LARGE_INTEGER a, LARGE_INTEGER b) {
  LARGE_INTEGER f;
  QueryPerformanceFrequency(&f);
  return 1000.0 * (b.QuadPart - a.QuadPart) / f.QuadPart;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  HiddenFolderTree window;
  HWND all = window.all, folderList = window.folderList, tree = window.tree;

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
