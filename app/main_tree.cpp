#include "services/base.h"
#include "app/main_state.h"
#include "app/mainwindow.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"
#include "model/nested_archives.h"
#include "services/log.h"
#include "ui/entry_list.h"
#include "ui/entry_rewrite.h"
#include "ui/entry_view.h"
#include "ui/folder_tree_view.h"
#include "formats/archive_runs.h"
#include "formats/open_archive.h"
#include "services/prompts.h"
#include "ui/search.h"

#include <commctrl.h>
#include <windowsx.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kMinPane = 40;
bool g_dragging = false;

enum TreeMenuCommand { TREE_MENU_EXTRACT = 1, TREE_MENU_PROPERTIES = 2 };

// Runs on the fill thread once the folder list holds the folder's entries.
void AfterFolderFill() {
  MainWindowState& m = Main();
  // The hits of the folder shown before are not this folder's rows.
  InitializeTreeListSearchValues(nullptr, 0);
  if (m.sortColumn[1] >= 0) {
    SortEntryRows(m.treeList, m.sortColumn[1], m.sortDescending[1]);
    ShowSortMark(m.treeList, m.sortColumn[1], m.sortDescending[1]);
  } else {
    // The folder's rows come in the index's byte order; unsorted, they are shown by name as
    // Explorer orders them, folders first.
    SortEntryRows(m.treeList, LISTSTRUCT_FILENAME, false);
  }
}

HTREEITEM SelectedFolder() {
  HWND tree = Main().tree;
  HTREEITEM item = TreeView_GetSelection(tree);
  return item ? item : TreeView_GetRoot(tree);
}

void ShowTreeMenu(POINT screen) {
  MainWindowState& m = Main();
  HMENU menu = CreatePopupMenu();
  AppendMenuA(menu, MF_STRING, TREE_MENU_EXTRACT, GetPopupText(KLANG_POPUP_EXTRACT_FOLDER));
  AppendMenuA(menu, MF_STRING, TREE_MENU_PROPERTIES, GetPopupText(KLANG_POPUP_PROPERTIES));
  int chosen = TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON, screen.x, screen.y, 0, m.hwnd, nullptr);
  DestroyMenu(menu);
  if (chosen == TREE_MENU_EXTRACT) ExtractSelectedTreeFolder();
  if (chosen == TREE_MENU_PROPERTIES) ShowFolderProperties();
}

// A right click selects the item under the mouse first, as the shell's trees do.
void OnTreeRightClick() {
  HWND tree = Main().tree;
  TVHITTESTINFO hit = {};
  GetCursorPos(&hit.pt);
  POINT screen = hit.pt;
  ScreenToClient(tree, &hit.pt);
  if (HTREEITEM item = TreeView_HitTest(tree, &hit)) TreeView_SelectItem(tree, item);
  ShowTreeMenu(screen);
}

bool IsBackspace(const NMHDR* header) {
  if (header->code == TVN_KEYDOWN) return reinterpret_cast<const NMTVKEYDOWN*>(header)->wVKey == VK_BACK;
  if (header->code == LVN_KEYDOWN) return reinterpret_cast<const NMLVKEYDOWN*>(header)->wVKey == VK_BACK;
  return false;
}

// The tree's label edit ended: the folder is renamed in the archive, and its item keeps its
// old text until the tree is derived from the renamed rows.
void EndTreeLabelEdit(HTREEITEM item, const char* text) {
  MainWindowState& m = Main();
  if (!text || !item || !TreeView_GetParent(m.tree, item)) return;
  char folder[kPathBuf];
  TreeViewGetPath(m.tree, item, folder, sizeof folder, 0, 0);
  RenameTreeFolder(m.list, folder, text);
}

bool InSplitter(int x, int y) {
  MainWindowState& m = Main();
  if (m.presentation != PRESENT_FOLDER_TREE) return false;
  RECT tree, list;
  GetWindowRect(m.tree, &tree);
  GetWindowRect(m.treeList, &list);
  MapWindowPoints(nullptr, m.hwnd, reinterpret_cast<POINT*>(&tree), 2);
  MapWindowPoints(nullptr, m.hwnd, reinterpret_cast<POINT*>(&list), 2);
  return x >= tree.right && x < list.left && y >= tree.top && y < tree.bottom;
}

std::string AddressText() {
  HWND edit = reinterpret_cast<HWND>(SendMessageA(Main().address, CBEM_GETEDITCONTROL, 0, 0));
  int length = edit ? GetWindowTextLengthW(edit) : 0;
  std::wstring wide(static_cast<size_t>(length) + 1, L'\0');
  if (edit) GetWindowTextW(edit, &wide[0], length + 1);
  char text[kPathBuf * 4] = "";
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, text, sizeof text, nullptr, nullptr);
  return text;
}

// path begins with prefix as a whole path ("C:\a.zip" begins "C:\a.zip\docs", not "C:\a.zip2").
bool BeginsWithPath(const std::string& path, const std::string& prefix) {
  return !prefix.empty() && path.size() >= prefix.size() && _strnicmp(path.c_str(), prefix.c_str(), prefix.size()) == 0 &&
         (path.size() == prefix.size() || path[prefix.size()] == '\\');
}

// The box shows the folder the tree shows again, in place of what could not be gone to.
void ShowCurrentAddress() {
  char folder[kPathBuf * 3];
  CurrentTreeFolder(folder, sizeof folder);
  SetWindowTextA(Main().address, *folder ? folder : ShownArchivePath().c_str());
}

}  // namespace

// A folder of the archive, with either separator, alone or after the archive's own path; or
// a path into another archive ("D:\b.zip\docs"), which is opened at that folder.
void GoToAddress(const char* typed) {
  MainWindowState& m = Main();
  std::string text = typed ? typed : "";
  while (!text.empty() && (text.back() == ' ' || text.back() == '"')) text.pop_back();
  size_t lead = text.find_first_not_of(" \"");
  text = lead == std::string::npos ? "" : text.substr(lead);
  for (char& c : text)
    if (c == '/') c = '\\';
  if (m.presentation != PRESENT_FOLDER_TREE) SetPresentation(PRESENT_FOLDER_TREE);
  std::string archive = GetCurrentArchivePath(), inner = text;
  bool absolute = (text.size() > 1 && text[1] == ':') || text.rfind("\\\\", 0) == 0;
  std::string shown = ShownArchivePath();
  if (BeginsWithPath(text, archive)) {
    inner = text.substr(archive.size());
  } else if (BeginsWithPath(text, shown)) {
    inner = text.substr(shown.size());
  } else if (absolute) {
    // The longest leading part that is a file is the archive; the rest is a folder in it.
    std::string file = text;
    for (DWORD a; !file.empty(); file.resize(file.find_last_of('\\') == std::string::npos ? 0 : file.find_last_of('\\'))) {
      a = GetFileAttributesA(file.c_str());
      if (a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY)) break;
    }
    if (!file.empty()) {
      std::string folder = text.substr(file.size());
      char separator = '\\';
      while (!folder.empty() && folder[0] == separator) folder.erase(0, 1);
      while (!folder.empty() && folder.back() == separator) folder.pop_back();
      Log(5, GetVerbose(), "GoToAddress: opening %s at %s", file.c_str(), folder.c_str());
      SelectTreeFolderAfterDerive(folder.c_str());
      OpenCompressedFile(file.c_str(), m.hwnd);
      return;
    }
  }
  char separator = TreeSeparator("GoToAddress");
  for (char& c : inner)
    if (c == '\\') c = separator;
  while (!inner.empty() && inner[0] == separator) inner.erase(0, 1);
  while (!inner.empty() && inner.back() == separator) inner.pop_back();
  HTREEITEM item = inner.empty() ? TreeView_GetRoot(m.tree) : FindTreeItemString(m.tree, inner.c_str());
  if (!item || !*GetCurrentArchivePath()) {
    PromptMessageBox(m.hwnd, GetMessageText(KLANG_MSG_FOLDER_NOT_FOUND), GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR);
    ShowCurrentAddress();
    return;
  }
  TreeView_EnsureVisible(m.tree, item);
  TreeView_SelectItem(m.tree, item);
  ShowCurrentAddress();
}

void InitFolderTreeViews() {
  MainWindowState& m = Main();
  GetFolderTreeViews() = FolderTreeViews{m.tree, m.address, m.treeList, m.hwnd, AfterFolderFill};
}

void ShowFolderPresentation() {
  MainWindowState& m = Main();
  if (m.presentation == PRESENT_FOLDER_TREE) EnsureTreeInStep(m.list);
}

void RebuildFolderTree() {
  SetTreeInStep(0);
  ShowFolderPresentation();
}

bool HandleFolderTreeNotify(NMHDR* header, LRESULT* result) {
  MainWindowState& m = Main();
  *result = 0;
  // Another folder: its list's count and the Up button follow.
  if (header->hwndFrom == m.tree && (header->code == TVN_SELCHANGEDA || header->code == TVN_SELCHANGEDW))
    ScheduleSelectionStatus();
  if (HandleFolderTreeMessage(WM_NOTIFY, 0, reinterpret_cast<LPARAM>(header))) return true;
  if (header->hwndFrom == m.tree) {
    switch (header->code) {
      case NM_RCLICK:
        OnTreeRightClick();
        *result = 1;
        return true;
      case TVN_BEGINDRAGA:
      case TVN_BEGINDRAGW:
        BeginTreeFolderDrag(reinterpret_cast<NMTREEVIEWA*>(header)->itemNew.hItem);
        return true;
      case TVN_BEGINLABELEDITA:
      case TVN_BEGINLABELEDITW: {
        // The root item is the archive itself; a folder only where entries may be renamed.
        HTREEITEM item = reinterpret_cast<NMTVDISPINFOA*>(header)->item.hItem;
        *result = !TreeView_GetParent(m.tree, item) || !CanRenameEntries(false);
        return true;
      }
      case TVN_ENDLABELEDITA: {
        const TVITEMA& item = reinterpret_cast<NMTVDISPINFOA*>(header)->item;
        EndTreeLabelEdit(item.hItem, item.pszText);
        return true;
      }
      case TVN_ENDLABELEDITW: {
        const TVITEMW& item = reinterpret_cast<NMTVDISPINFOW*>(header)->item;
        if (!item.pszText) return true;
        char text[kPathBuf] = "";
        WideCharToMultiByte(CP_UTF8, 0, item.pszText, -1, text, sizeof text, nullptr, nullptr);
        EndTreeLabelEdit(item.hItem, text);
        return true;
      }
      default:
        if (IsBackspace(header) && !SelectParentTreeFolder()) LeaveNestedArchive();
        return header->code == TVN_KEYDOWN;
    }
  }
  // At the top of an archive opened inside another, Backspace climbs back to that one.
  if ((header->hwndFrom == m.treeList || header->hwndFrom == m.list) && IsBackspace(header)) {
    if (header->hwndFrom == m.list || !SelectParentTreeFolder()) LeaveNestedArchive();
    return true;
  }
  if (header->hwndFrom == m.address && (header->code == CBEN_ENDEDITA || header->code == CBEN_ENDEDITW)) {
    int why = header->code == CBEN_ENDEDITA ? reinterpret_cast<const NMCBEENDEDITA*>(header)->iWhy
                                            : reinterpret_cast<const NMCBEENDEDITW*>(header)->iWhy;
    // The notification's copy of the text stops at 260 characters; the box holds it whole.
    if (why == CBENF_RETURN) GoToAddress(AddressText().c_str());
    return true;
  }
  return false;
}

bool HandleAddressCommand(WPARAM wParam, LPARAM lParam) {
  MainWindowState& m = Main();
  if (!lParam || reinterpret_cast<HWND>(lParam) != m.address) return false;
  if (HIWORD(wParam) == CBN_SELENDOK) {
    char text[kPathBuf];
    int at = static_cast<int>(SendMessageA(m.address, CB_GETCURSEL, 0, 0));
    if (GetComboItemText(m.address, at, text, sizeof text)) GoToAddress(text);
  }
  return true;
}

void ExtractSelectedTreeFolder() {
  MainWindowState& m = Main();
  char folder[kPathBuf];
  TreeViewGetPath(m.tree, SelectedFolder(), folder, sizeof folder, 0, 0);
  Log(5, GetVerbose(), "ExtractSelectedTreeFolder: %s", folder);
  ExtractTreeFolder(folder);
}

void ShowFolderProperties() {
  MainWindowState& m = Main();
  HWND view = CurrentView();
  // A selected row's own: an entry's, or the folder a folder's row stands for.
  if (!IsTreeFocused()) {
    if (ShowEntryProperties(view)) return;
    const liststruct* r = GetRowRecord(view, FocusedEntryRow(view));
    HTREEITEM folder = r && r->folder ? FindTreeItemString(m.tree, (std::string(r->path) + r->filename).c_str()) : nullptr;
    if (folder) {
      DisplayTreeItemProperties(folder);
      return;
    }
  }
  // The list of every entry has no folders of its own: the whole archive is shown.
  if (!IsTreeInStep() && GetEntryRowCount(m.list) > 0) EnsureTreeInStep(m.list);
  DisplayTreeItemProperties(m.presentation == PRESENT_FOLDER_TREE ? SelectedFolder() : TreeView_GetRoot(m.tree));
}

void GoToParentFolder() {
  if (Main().presentation == PRESENT_FOLDER_TREE && SelectParentTreeFolder()) return;
  LeaveNestedArchive();
}

void CurrentTreeFolder(char* out, size_t outSize) {
  MainWindowState& m = Main();
  if (outSize) out[0] = '\0';
  HTREEITEM item = m.presentation == PRESENT_FOLDER_TREE ? TreeView_GetSelection(m.tree) : nullptr;
  if (!item || !TreeView_GetParent(m.tree, item)) return;
  TreeViewGetPath(m.tree, item, out, outSize, 0, 0);
  size_t n = strlen(out);
  if (n) out[n - 1] = '\0';  // the trailing separator
}

bool HasParentFolder() {
  MainWindowState& m = Main();
  HTREEITEM item = TreeView_GetSelection(m.tree);
  return (m.presentation == PRESENT_FOLDER_TREE && item && TreeView_GetParent(m.tree, item)) || NestedDepth() > 0;
}

bool IsAddressBoxKey(const MSG* msg) {
  HWND address = Main().address;
  return address && msg->message == WM_KEYDOWN && msg->wParam == VK_RETURN &&
         (msg->hwnd == address || IsChild(address, msg->hwnd));
}

void EditSelectedTreeFolder() {
  MainWindowState& m = Main();
  HTREEITEM item = TreeView_GetSelection(m.tree);
  if (item && TreeView_GetParent(m.tree, item) && CanRenameEntries(true)) TreeView_EditLabel(m.tree, item);
}

bool IsTreeFocused() { return GetFocus() == Main().tree && Main().presentation == PRESENT_FOLDER_TREE; }

bool HandleSplitterMouse(UINT message, LPARAM lParam) {
  MainWindowState& m = Main();
  int x = GET_X_LPARAM(lParam), y = GET_Y_LPARAM(lParam);
  switch (message) {
    case WM_LBUTTONDOWN:
      if (!InSplitter(x, y)) return false;
      g_dragging = true;
      SetCapture(m.hwnd);
      return true;
    case WM_MOUSEMOVE:
      if (!g_dragging) return false;
      {
        RECT client;
        GetClientRect(m.hwnd, &client);
        int most = client.right - ScaleMain(kMinPane);
        m.splitX = x < ScaleMain(kMinPane) ? ScaleMain(kMinPane) : (x > most ? most : x);
        LayoutMainControls();
      }
      return true;
    case WM_LBUTTONUP:
      if (!g_dragging) return false;
      g_dragging = false;
      ReleaseCapture();
      // The panes' scroll bars moved with them: nothing of their old places may stay painted.
      RedrawWindow(m.hwnd, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
      return true;
    default:
      return false;
  }
}

bool SetSplitterCursor() {
  POINT p;
  GetCursorPos(&p);
  ScreenToClient(Main().hwnd, &p);
  if (!g_dragging && !InSplitter(p.x, p.y)) return false;
  SetCursor(LoadCursorA(nullptr, MAKEINTRESOURCEA(32644)));  // IDC_SIZEWE
  return true;
}
