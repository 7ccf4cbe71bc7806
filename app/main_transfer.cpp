// Entries leaving the window and files coming in: drags out of the lists and the tree, the
// clipboard's cut, copy and paste, and files dropped on the window or on a folder of its tree.
#include "services/base.h"
#include "app/main_state.h"

#include "app/archive_builder.h"
#include "formats/formats.h"
#include "formats/open_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/log.h"
#include "services/prompts.h"
#include "ui/drop_target.h"
#include "ui/entry_list.h"
#include "ui/entry_rewrite.h"
#include "ui/entry_transfer.h"
#include "ui/folder_tree_view.h"

#include <commctrl.h>

#include <cstdio>
#include <string>

namespace {

HWND g_draggedFrom;  // the list whose rows are being dragged, while DoDragDrop runs

// "docs\img\" for a tree item, "" for the root.
std::string TreeFolderOf(HTREEITEM item) {
  char folder[kPathBuf] = "";
  if (item && item != TreeView_GetRoot(Main().tree)) TreeViewGetPath(Main().tree, item, folder, sizeof folder, 0, 0);
  return folder;
}

// The folder the folder list shows; "" in the full list.
std::string ShownFolder() {
  MainWindowState& m = Main();
  return m.presentation == PRESENT_FOLDER_TREE ? TreeFolderOf(TreeView_GetSelection(m.tree)) : std::string();
}

std::vector<TransferEntry> ChosenEntries() {
  MainWindowState& m = Main();
  if (IsTreeFocused()) return TransferEntriesBelowFolder(m.list, TreeFolderOf(TreeView_GetSelection(m.tree)).c_str());
  HWND view = CurrentView();
  return TransferEntriesOfRows(view, SelectedEntryRows(view), view == m.treeList ? ShownFolder().c_str() : "", m.list);
}

// The tree item under a point of the screen; null beside the items or outside the tree.
HTREEITEM TreeItemAtScreen(POINT at) {
  HWND tree = Main().tree;
  if (Main().presentation != PRESENT_FOLDER_TREE || WindowFromPoint(at) != tree) return nullptr;
  TVHITTESTINFO hit = {};
  hit.pt = at;
  ScreenToClient(tree, &hit.pt);
  HTREEITEM item = TreeView_HitTest(tree, &hit);
  return hit.flags & TVHT_ONITEM ? item : nullptr;
}

// The folder list's rows dragged onto a folder of the tree move into it.
bool OwnEntriesOverWindow(POINTL screen, bool release) {
  MainWindowState& m = Main();
  HTREEITEM item = g_draggedFrom == m.treeList ? TreeItemAtScreen(POINT{screen.x, screen.y}) : nullptr;
  TreeView_SelectDropTarget(m.tree, release ? nullptr : item);
  if (!release || !item) return item != nullptr;
  std::string folder = TreeFolderOf(item);
  if (!folder.empty() && folder.back() == '\\') folder.pop_back();
  MoveSelectedEntries(m.treeList, folder.c_str());
  return true;
}

void PasteReported(DWORD effect) {
  // The report arrives inside the target's call: the archive is changed once it returned.
  if (effect == DROPEFFECT_MOVE && Main().hwnd) PostMessageA(Main().hwnd, WM_COMMAND, IDM_CUT_PASTED, 0);
}

// Files for the open archive, into a folder of it ("" its top); a kind that cannot take them
// says so, and an archive dropped on it is opened instead.
void AddFilesInto(char (*files)[kPathBuf], int count, const std::string& folder) {
  if (!count) return;
  if (!*GetCurrentArchivePath()) {
    OpenCompressedFile(files[0], Main().hwnd);
    return;
  }
  if (AddDroppedFiles(files, count, folder.c_str())) return;
  if (count == 1 && DecideArchiveKind(files[0])) {
    OpenCompressedFile(files[0], Main().hwnd);
    return;
  }
  PromptMessageBox(Main().hwnd, GetMessageText(KLANG_MSG_ADD_ONLY_ZIP_TAR), "Kestrelia", MB_OK | MB_ICONINFORMATION);
}

}  // namespace

void CmdCopy() { CopyEntriesToClipboard(ChosenEntries(), false, nullptr); }

// What is cut is what the clipboard carries: a tree folder or a subfolder's row stands for
// every entry below it, and those are rows of the full list, whichever list is shown.
void CmdCut() {
  std::vector<TransferEntry> entries = ChosenEntries();
  std::vector<std::string> names;
  for (const TransferEntry& entry : entries) names.push_back(entry.name);
  if (!CutEntries(Main().list, names)) return;
  CopyEntriesToClipboard(entries, true, PasteReported);
}

void CmdPaste() {
  std::vector<std::string> names = ClipboardFileNames();
  if (names.empty()) return;
  std::vector<char> files(names.size() * kPathBuf, '\0');
  for (size_t i = 0; i < names.size(); ++i) snprintf(&files[i * kPathBuf], kPathBuf, "%s", names[i].c_str());
  AddFilesInto(reinterpret_cast<char (*)[kPathBuf]>(files.data()), static_cast<int>(names.size()),
               IsTreeFocused() || CurrentView() == Main().treeList ? ShownFolder() : std::string());
}

// The clipboard's entries are gone from the archive once the cut ones are deleted: a second
// paste must not find them offered.
void CmdCutPasted() {
  DeletePastedCutEntries();
  ReleaseOwnClipboard();
}

void OnFilesDropped(char (*files)[kPathBuf], int count) {
  if (!count) return;
  Log(1, GetVerbose(), "MainWndProc: dropped %s (%d)", files[0], count);
  POINT at;
  GetCursorPos(&at);
  HTREEITEM item = TreeItemAtScreen(at);
  AddFilesInto(files, count, item ? TreeFolderOf(item) : std::string());
}

void BeginEntryDrag(HWND list) {
  std::vector<TransferEntry> entries = TransferEntriesOfRows(list, SelectedEntryRows(list),
                                                             list == Main().treeList ? ShownFolder().c_str() : "",
                                                             Main().list);
  g_draggedFrom = list;
  DragEntriesOut(entries, list);
  g_draggedFrom = nullptr;
  TreeView_SelectDropTarget(Main().tree, nullptr);
}

void BeginTreeFolderDrag(HTREEITEM item) {
  std::string folder = TreeFolderOf(item);
  DragEntriesOut(TransferEntriesBelowFolder(Main().list, folder.c_str()), nullptr);
}

void RegisterWindowDropTarget(HWND hwnd) { RegisterFileDropTarget(hwnd, OnFilesDropped, OwnEntriesOverWindow); }
