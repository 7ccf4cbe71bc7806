// A hidden window holding the folder presentation's controls, wired as the main window wires
// them: the list of every entry, the tree, the address box and the folder list.
#pragma once
#include "services/base.h"

struct HiddenFolderTree {
  HWND parent = nullptr;
  HWND all = nullptr;         // every entry, as listed
  HWND folderList = nullptr;  // the selected folder's entries
  HWND tree = nullptr;
  HWND combo = nullptr;
  HiddenFolderTree();
  ~HiddenFolderTree();
};
