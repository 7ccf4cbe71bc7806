#include "services/base.h"
#include "tree_support.h"

#include "model/entry_rows.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "ui/folder_tree_view.h"

#include <commctrl.h>

namespace {

LRESULT CALLBACK FolderTreeParentProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  LRESULT result = 0;
  if (message == WM_NOTIFY && HandleEntryListNotify(reinterpret_cast<NMHDR*>(lParam), &result)) return result;
  if (HandleFolderTreeMessage(message, wParam, lParam)) return 0;
  return DefWindowProcA(hwnd, message, wParam, lParam);
}

}  // namespace

HiddenFolderTree::HiddenFolderTree() {
  INITCOMMONCONTROLSEX icc = {sizeof icc, ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES | ICC_USEREX_CLASSES};
  InitCommonControlsEx(&icc);
  WNDCLASSA wc = {};
  wc.lpfnWndProc = FolderTreeParentProc;
  wc.lpszClassName = "KestreliaFolderTreeParent";
  RegisterClassA(&wc);  // fails harmlessly when already registered
  parent = CreateWindowExA(0, wc.lpszClassName, "", WS_POPUP, 0, 0, 800, 600, nullptr, nullptr, nullptr, nullptr);
  all = MakeEntryList(parent, WS_VISIBLE);
  folderList = MakeEntryList(parent, WS_VISIBLE);
  tree = CreateWindowExA(0, WC_TREEVIEWA, "", WS_CHILD | WS_VISIBLE | TVS_HASBUTTONS, 0, 0, 200, 600, parent, nullptr,
                         nullptr, nullptr);
  combo = CreateWindowExA(0, WC_COMBOBOXEXA, "", WS_CHILD | WS_VISIBLE | CBS_DROPDOWN, 0, 0, 200, 200, parent, nullptr,
                          nullptr, nullptr);
  GetFolderTreeViews() = FolderTreeViews{tree, combo, folderList, parent, nullptr};
}

HiddenFolderTree::~HiddenFolderTree() {
  GetFolderTreeViews() = FolderTreeViews{};
  DetachEntryRows(all);
  DetachEntryRows(folderList);
  DestroyWindow(parent);
}
