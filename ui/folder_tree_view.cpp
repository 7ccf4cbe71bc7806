#include "services/base.h"
#include "ui/folder_tree_view.h"

#include "kestrelia_lang.h"
#include "model/nested_archives.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/listing_totals.h"
#include "model/rbtree.h"
#include "res/resource.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/entry_list.h"
#include "ui/entry_view.h"
#include "ui/listing_status.h"

#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

FolderTreeViews g_views = {};
// Whether the running fill took the operation claim; a fill that a rewrite's end asks for
// runs beside that rewrite and must leave its claim alone.
bool g_fillClaimed = false;
// A selection that came while a fill ran waits for the fill timer; until it fires, the list
// is not yet the selected folder's.
bool g_fillDeferred = false;
// Set while the tree is rebuilt: the selection changes that deleting and inserting items
// cause must not start fills.
bool g_synchronizing = false;
std::string g_folderAfterDerive;  // selected by the next derivation when the tree has it
std::vector<std::string> g_expandedAfterDerive;  // folders the next derivation opens again
// The full name of the row the fills of one folder (its path, "docs\" or "" for the top)
// select.
std::string g_rowAfterFill, g_rowAfterFillFolder;
// The items placed by the running synchronisation, by folder path: a parent with thousands
// of folders would otherwise be searched child by child for every new one.
std::unordered_map<std::string, HTREEITEM> g_placed;

int ShellIcon(const char* name, DWORD attributes) {
  SHFILEINFOA info = {};
  SHGetFileInfoA(name, attributes, &info, sizeof info, SHGFI_USEFILEATTRIBUTES | SHGFI_SYSICONINDEX | SHGFI_SMALLICON);
  return info.iIcon;
}

HIMAGELIST ShellImageList() {
  SHFILEINFOA info = {};
  return reinterpret_cast<HIMAGELIST>(
      SHGetFileInfoA("C:\\", 0, &info, sizeof info, SHGFI_SYSICONINDEX | SHGFI_SMALLICON));
}

int g_rootIcon = -1, g_folderIcon = -1, g_otherIcon = -1;

void LoadIcons() {
  if (g_folderIcon >= 0) return;
  g_folderIcon = ShellIcon("folder", FILE_ATTRIBUTE_DIRECTORY);
  g_rootIcon = ShellIcon("archive.zip", FILE_ATTRIBUTE_NORMAL);
  g_otherIcon = ShellIcon("entry", FILE_ATTRIBUTE_NORMAL);
}

void ItemText(HWND tree, HTREEITEM item, char (&text)[kPathBuf]) {
  text[0] = '\0';
  TVITEMA tv = {};
  tv.mask = TVIF_TEXT;
  tv.hItem = item;
  tv.pszText = text;
  tv.cchTextMax = kPathBuf;
  SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&tv));
}

bool IsRootItem(HWND tree, HTREEITEM item) { return item && !TreeView_GetParent(tree, item); }

// The folder path of an item ("docs\img\") and its levels; logFormat, when given, logs every
// state of the growing text at level 5.
int ItemPath(HWND tree, HTREEITEM item, std::string& path, const char* logFormat) {
  char separator = TreeSeparator("TreeViewGetPath");
  path.clear();
  int count = 0;
  for (HTREEITEM current = item; current;) {
    HTREEITEM parent = TreeView_GetParent(tree, current);
    if (!parent) break;
    char text[kPathBuf];
    ItemText(tree, current, text);
    path = std::string(text) + separator + path;
    if (path.size() >= kPathBuf) path.resize(kPathBuf - 1);
    if (logFormat) Log(5, GetVerbose(), logFormat, path.c_str());
    ++count;
    current = parent;
  }
  return count;
}

RBNode* SearchPrefix(RBTree* index, const char* key) {
  RBNode* found = nullptr;
  WalkPrefixRun(index, key, [&](RBNode* n) {
    if (!found) found = n;
  });
  return found;
}

int FindComboItem(HWND combo, const char* text) {
  int count = static_cast<int>(SendMessageA(combo, CB_GETCOUNT, 0, 0));
  for (int i = 0; i < count; ++i) {
    char item[kPathBuf];
    if (GetComboItemText(combo, i, item, sizeof item) && strcmp(item, text) == 0) return i;
  }
  return -1;
}

void WriteFolderListStatusBar() {
  HWND status = GetStatusBarHandle();
  if (!status) return;
  char sizes[kPathBuf], count[kPathBuf];
  FormatListingSizes(GetFolderListTotals(), sizes, sizeof sizes);
  FormatListingCount(GetFolderListTotals(), count, sizeof count);
  // A list filled anew has no selection: the mark of one in the list before goes with it (a
  // selection made afterwards writes its own).
  SendMessageA(status, SB_SETTEXTA, 0, reinterpret_cast<LPARAM>(""));
  SendMessageA(status, SB_SETTEXTA, 1, reinterpret_cast<LPARAM>(count));
  SendMessageA(status, SB_SETTEXTA, 2, reinterpret_cast<LPARAM>(sizes));
}

// The row asked for by KeepTreePlace or by the way out of a folder, once the list holds the
// folder's rows in their order. Every fill of that folder selects it until another row is
// asked for: a derivation fills the top first, and a rewrite's end may fill twice.
void SelectRowAfterFill(const char* key) {
  const char* folder;
  ReadDepthKey(key, &folder);
  HWND list = g_views.folderList;
  if (g_rowAfterFill.empty() || !list || g_rowAfterFillFolder != folder) return;
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row) {
    const liststruct* r = GetRowRecord(list, static_cast<int>(row));
    if (!r || _stricmp((std::string(r->path) + r->filename).c_str(), g_rowAfterFill.c_str()) != 0) continue;
    ListView_SetItemState(list, -1, 0, LVIS_SELECTED);
    ListView_SetItemState(list, static_cast<int>(row), LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list, static_cast<int>(row), FALSE);
    return;
  }
}

void EndFill(char* key) {
  if (g_fillClaimed) {
    g_fillClaimed = false;
    ReleaseOperation(OPERATION_JOB);
  }
  free(key);
  printf("setting TVNSem to false\n");
  SetTVNSem(0);
}

void RequestFill(const char* key) {
  if (GetTVNSem()) {
    SetTvnCached(key);
    printf("setting tvncached %s\n", key);
    KillTimer(g_views.window, IDT_TREE_FILL);
    g_fillDeferred = SetTimer(g_views.window, IDT_TREE_FILL, kTreeFillDelayMs, nullptr) != 0;
    return;
  }
  SetTVNSem(1);
  printf("setting TVNSem to true\n");
  g_fillClaimed = ClaimOperation(OPERATION_JOB) == OPERATION_NONE;
  char* copy = _strdup(key);
  if (!copy || !StartWorker("DoTvnChanged", DoTvnChanged, copy)) {
    SetTreeListRefilling(0);
    free(copy);
    if (g_fillClaimed) ReleaseOperation(OPERATION_JOB);
    g_fillClaimed = false;
    SetTVNSem(0);
  }
}

// A leaf folder without entries loses its record, its address item and its tree item.
bool DeleteIfEmptyLeaf(HWND tree, HTREEITEM item, int alsoCombo) {
  if (IsRootItem(tree, item) || TreeView_GetChild(tree, item)) return false;
  char own[kPathBuf + 8], record[kPathBuf + 8];
  int count = TreeViewGetPath(tree, item, own, sizeof own, 1, 0);
  TreeViewGetPath(tree, item, record, sizeof record, 1, 1);
  RBTree* data = GetTVRBTreeDataReady();
  if (RBNode* found = SearchPrefix(data, own)) {
    Log(8, GetVerbose(), "TreeDeleteEmpty: found node: %s", static_cast<const char*>(found->key));
    Log(6, GetVerbose(), "TreeDeleteEmpty: has entries: %s %d", own, count);
    return false;
  }
  Log(6, GetVerbose(), "!!TreeDeleteEmpty: should delete: %s %d\n", own, count);
  if (RBNode* node = SearchPrefix(data, record))
    RBTreeDelete(data, node);
  else
    Log(5, GetVerbose(), "TreeDeleteEmpty node not found TVRBTreeDataReady cannot delete!");
  const char* path;
  ReadDepthKey(own, &path);
  std::string folder(path);
  if (!folder.empty()) folder.pop_back();  // the trailing separator
  if (alsoCombo && g_views.combo) {
    int at = FindComboItem(g_views.combo, folder.c_str());
    if (at >= 0)
      SendMessageA(g_views.combo, CBEM_DELETEITEM, at, 0);
    else
      Log(2, GetVerbose(), "Cannot delete from Combobox %s", folder.c_str());
  }
  TreeView_DeleteItem(tree, item);
  return true;
}

// Children before their folder: a folder whose last subfolder went is an empty leaf itself.
void DeleteEmptyFrom(HWND tree, HTREEITEM item, int alsoCombo) {
  for (HTREEITEM current = item; current;) {
    HTREEITEM next = TreeView_GetNextSibling(tree, current);
    if (GetVerbose() > 6) {
      std::string path;
      int count = ItemPath(tree, current, path, nullptr);
      Log(5, GetVerbose(), "TreeDeleteEmpty acting on path: %s %d", path.c_str(), count);
    }
    if (HTREEITEM child = TreeView_GetChild(tree, current)) DeleteEmptyFrom(tree, child, alsoCombo);
    DeleteIfEmptyLeaf(tree, current, alsoCombo);
    current = next;
  }
}

}  // namespace

FolderTreeViews& GetFolderTreeViews() { return g_views; }

bool GetComboItemText(HWND combo, int index, char* text, size_t size) {
  if (!size) return false;
  text[0] = '\0';
  COMBOBOXEXITEMA cb = {};
  cb.mask = CBEIF_TEXT;
  cb.iItem = index;
  cb.pszText = text;
  cb.cchTextMax = static_cast<int>(size);
  return index >= 0 && SendMessageA(combo, CBEM_GETITEMA, 0, reinterpret_cast<LPARAM>(&cb)) != 0;
}

bool HandleFolderTreeMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_TIMER && wParam == IDT_TREE_FILL) {
    OnTreeFillTimer();
    return true;
  }
  if (message != WM_NOTIFY) return false;
  const NMHDR* header = reinterpret_cast<const NMHDR*>(lParam);
  if (!g_views.tree || header->hwndFrom != g_views.tree) return false;
  if (header->code != TVN_SELCHANGEDA && header->code != TVN_SELCHANGEDW) return false;
  OnTreeSelectionChanged(g_views.tree);
  return true;
}


bool IsTreeFillPending() { return GetTVNSem() || IsTreeListRefilling() || g_fillDeferred; }

int TreeViewGetPath(HWND tree, HTREEITEM item, char* out, size_t outSize, int withDepth, int parentDepth) {
  std::string path;
  int count = ItemPath(tree, item, path, nullptr);
  if (withDepth) {
    int depth = parentDepth ? (count < 2 ? 0 : count - 1) : count;
    MakeDepthKey(depth, path.c_str(), out, outSize);
  } else {
    snprintf(out, outSize, "%s", path.c_str());
  }
  Log(8, GetVerbose(), "TreeViewGetPath returning path: %s", out);
  return count;
}

HTREEITEM FindChildItem(HWND tree, HTREEITEM parent, const char* name) {
  if (!name || !*name) return nullptr;
  for (HTREEITEM child = TreeView_GetChild(tree, parent); child; child = TreeView_GetNextSibling(tree, child)) {
    char text[kPathBuf];
    ItemText(tree, child, text);
    if (strcmp(text, name) == 0) return child;
  }
  return nullptr;
}

HTREEITEM FindTreeItemString(HWND tree, const char* text) {
  char separator = TreeSeparator("FindTreeItemString");
  HTREEITEM current = TreeView_GetRoot(tree);
  std::string rest = text ? text : "";
  size_t start = 0;
  for (int level = 0; current && start < rest.size(); ++level) {
    size_t end = rest.find(separator, start);
    if (end == std::string::npos) end = rest.size();
    std::string component = rest.substr(start, end - start);
    start = end + 1;
    if (component.empty()) continue;
    if (level) Log(8, GetVerbose(), "FindTreeItemString str %s", component.c_str());
    current = FindChildItem(tree, current, component.c_str());
  }
  return current;
}

HTREEITEM AddItemToTree(HWND tree, const char* text, HTREEITEM parent, int isFolder) {
  LoadIcons();
  TVINSERTSTRUCTA insert = {};
  insert.hParent = parent;
  insert.hInsertAfter = TVI_LAST;
  insert.item.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_SELECTEDIMAGE;
  insert.item.pszText = const_cast<char*>(text);
  int icon = parent == TVI_ROOT || !parent ? g_rootIcon : (isFolder ? g_folderIcon : g_otherIcon);
  insert.item.iImage = insert.item.iSelectedImage = icon;
  return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
}

HTREEITEM InsertRBTreeFolderIntoTree(HWND tree, HTREEITEM root, const char* folderKey) {
  const char* path;
  int depth = ReadDepthKey(folderKey, &path);
  Log(6, GetVerbose(), "InsertRBTreeFolderIntoTree %d %s", depth, path);
  if (depth < 0) return nullptr;
  char separator = TreeSeparator("InsertRBTreeFolderIntoTree");
  HTREEITEM current = root;
  std::string prefix;
  const char* p = path;
  for (int level = 0; level <= depth; ++level) {
    while (*p == separator) ++p;
    if (!*p) break;
    const char* end = strchr(p, separator);
    std::string component = end ? std::string(p, end) : std::string(p);
    p = end ? end : p + component.size();
    if (level) prefix += separator;
    prefix += component;
    HTREEITEM found = nullptr;
    if (g_synchronizing) {
      auto it = g_placed.find(prefix);
      if (it != g_placed.end()) found = it->second;
    } else {
      found = FindChildItem(tree, current, component.c_str());
    }
    if (level < depth) {
      // Parents are only looked up: the depth order of the keys put them there before.
      if (found) current = found;
      continue;
    }
    if (!found) {
      found = AddItemToTree(tree, component.c_str(), current, 1);
      Log(6, GetVerbose(), "InsertRBTreeFolderIntoTree: AddItemToTree %s %d %d %d", component.c_str(), level, depth,
          found != nullptr);
      if (g_synchronizing) g_placed[prefix] = found;
    }
    return found;
  }
  return current;
}

int AddItemsToCombo(HWND combo, RBTree* folderIndex) {
  (void)folderIndex;  // the paths come from the folder index the model keeps
  if (!GetTVRBTreeCombo()) {
    Log(2, GetVerbose(), "AddItemsToCombo: no valid tree to insert found");
    return 0;
  }
  BuildComboPaths();
  for (int i = static_cast<int>(SendMessageA(combo, CB_GETCOUNT, 0, 0)) - 1; i >= 0; --i) {
    Log(8, GetVerbose(), "delete from Combobox %d", i);
    SendMessageA(combo, CBEM_DELETEITEM, i, 0);
  }
  LoadIcons();
  RBTree* paths = GetTVRBTreeCombo();
  // The drop-down list repaints itself for every insertion unless told not to.
  HWND inner = reinterpret_cast<HWND>(SendMessageA(combo, CBEM_GETCOMBOCONTROL, 0, 0));
  COMBOBOXINFO info = {};
  info.cbSize = sizeof info;
  HWND dropDown = inner && GetComboBoxInfo(inner, &info) ? info.hwndList : nullptr;
  SendMessageA(combo, CB_INITSTORAGE, paths->count, paths->count * 32);
  if (dropDown) SendMessageA(dropDown, WM_SETREDRAW, FALSE, 0);
  int index = 0;
  for (RBNode* n = RBTreeFirst(paths, paths->root->left); n != paths->nil; n = RBTreeSuccessor(paths, n)) {
    COMBOBOXEXITEMA item = {};
    item.mask = CBEIF_TEXT | CBEIF_IMAGE | CBEIF_SELECTEDIMAGE;
    item.iItem = index;
    item.pszText = static_cast<char*>(n->key);
    item.iImage = item.iSelectedImage = g_folderIcon;
    if (SendMessageA(combo, CBEM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&item)) < 0)
      Log(3, GetVerbose(), "AddItemsToCombo: cannot insert into combobox error %lu", GetLastError());
    else
      ++index;
  }
  if (dropDown) SendMessageA(dropDown, WM_SETREDRAW, TRUE, 0);
  SendMessageA(combo, CBEM_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(ShellImageList()));
  return 1;
}

void InsertIntoTreeList(const char* dataReadyKey) {
  TreeRecordFields fields;
  ReadTreeRecord(dataReadyKey, TreeSeparator("InsertIntoTreeList"), &fields);
  ListingTotals& totals = GetFolderListTotals();
  totals.compressed += fields.compressed;
  totals.uncompressed += fields.uncompressed;
  if (!*fields.displayName || !g_views.folderList) return;
  InsertEntryRow(g_views.folderList, fields.stamp, fields.displayName, fields.fullName, nullptr, fields.compressed,
                 fields.uncompressed, fields.encrypted);
  ++totals.entries;
}

void SynchronizeTreeViewThread(HWND treeListView, HWND tree) {
  bool claimed = ClaimOperation(OPERATION_JOB) == OPERATION_NONE;
  DWORD start = GetTickCount();
  // A fill still running reads the indexes that are about to be destroyed.
  for (int i = 0; i < 1000 && GetTVNSem(); ++i) Sleep(10);
  g_synchronizing = true;
  g_placed.clear();
  if (tree) {
    SendMessageA(tree, WM_SETREDRAW, FALSE, 0);
    TreeView_DeleteAllItems(tree);
  }
  if (g_views.folderList) DeleteAllEntryRows(g_views.folderList);
  if (g_views.combo) {
    SendMessageA(g_views.combo, CB_RESETCONTENT, 0, 0);
    SendMessageA(g_views.combo, CB_SETCURSEL, static_cast<WPARAM>(-1), 0);
  }
  RecreateFolderTreeIndexes();
  if (!treeListView || !tree) Log(2, GetVerbose(), "list or tree NULL");
  DWORD t1 = GetTickCount();

  HTREEITEM root = tree ? AddItemToTree(tree, ShownArchivePath().c_str(), TVI_ROOT, 0) : nullptr;
  DWORD t2 = GetTickCount();

  char separator = TreeSeparator("SynchronizeTreeViewThread");
  size_t rows = treeListView ? GetEntryRowCount(treeListView) : 0;
  for (size_t row = 0; row < rows; ++row)
    if (const liststruct* record = GetRowRecord(treeListView, static_cast<int>(row))) AddRowToFolderIndexes(record);
  DWORD t3 = GetTickCount();
  BuildFolderKeys(separator);
  DWORD t4 = GetTickCount();
  BuildDataReadyKeys(separator);
  DWORD t5 = GetTickCount();
  if (g_views.combo) AddItemsToCombo(g_views.combo, GetTVRBTreeFolder());
  DWORD t6 = GetTickCount();
  if (root) {
    RBTree* folders = GetTVRBTreeFolder();
    for (RBNode* n = RBTreeFirst(folders, folders->root->left); n != folders->nil; n = RBTreeSuccessor(folders, n))
      InsertRBTreeFolderIntoTree(tree, root, static_cast<const char*>(n->key));
    TreeView_Expand(tree, root, TVE_EXPAND);
  }
  DWORD t7 = GetTickCount();
  if (GetVerbose() >= 6)
    Log(-1, GetVerbose(), "time measure %d %d %d %d %d %d %d\n", static_cast<int>(t1 - start),
        static_cast<int>(t2 - start), static_cast<int>(t3 - start), static_cast<int>(t4 - start),
        static_cast<int>(t5 - start), static_cast<int>(t6 - start), static_cast<int>(t7 - start));
  g_placed.clear();
  g_synchronizing = false;
  if (tree) {
    SendMessageA(tree, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(tree, nullptr, TRUE);
    SetFocus(tree);
  }
  if (claimed) ReleaseOperation(OPERATION_JOB);
}

void EnsureTreeInStep(HWND treeListView) {
  HWND tree = g_views.tree;
  if (!tree || IsTreeInStep() || GetEntryRowCount(treeListView) == 0) return;
  SynchronizeTreeViewThread(treeListView, tree);
  SetTreeInStep(1);
  for (const std::string& folder : g_expandedAfterDerive)
    if (HTREEITEM open = FindTreeItemString(tree, folder.c_str())) TreeView_Expand(tree, open, TVE_EXPAND);
  g_expandedAfterDerive.clear();
  HTREEITEM item = g_folderAfterDerive.empty() ? nullptr : FindTreeItemString(tree, g_folderAfterDerive.c_str());
  g_folderAfterDerive.clear();
  if (!item) item = TreeView_GetRoot(tree);
  if (!item) return;
  if (TreeView_GetSelection(tree) == item) {
    OnTreeSelectionChanged(tree);
  } else {
    TreeView_EnsureVisible(tree, item);
    TreeView_SelectItem(tree, item);
  }
}

void SelectTreeFolderAfterDerive(const char* folder) { g_folderAfterDerive = folder ? folder : ""; }

namespace {
void CollectExpanded(HWND tree, HTREEITEM parent, std::vector<std::string>* out) {
  for (HTREEITEM item = TreeView_GetChild(tree, parent); item; item = TreeView_GetNextSibling(tree, item)) {
    if (!(TreeView_GetItemState(tree, item, TVIS_EXPANDED) & TVIS_EXPANDED)) continue;
    std::string path;
    ItemPath(tree, item, path, nullptr);
    out->push_back(path);
    CollectExpanded(tree, item, out);
  }
}
}  // namespace

void KeepTreePlace(const char* rowName) {
  HWND tree = g_views.tree;
  if (!tree || !TreeView_GetRoot(tree)) return;
  g_expandedAfterDerive.clear();
  CollectExpanded(tree, TreeView_GetRoot(tree), &g_expandedAfterDerive);
  if (g_folderAfterDerive.empty()) {
    HTREEITEM selected = TreeView_GetSelection(tree);
    std::string path;
    if (selected) ItemPath(tree, selected, path, nullptr);
    g_rowAfterFillFolder = path;
    if (!path.empty()) path.pop_back();  // the trailing separator
    g_folderAfterDerive = path;
    g_rowAfterFill = rowName ? rowName : "";
  }
}

void OnTreeSelectionChanged(HWND tree) {
  if (g_synchronizing) return;
  HTREEITEM item = TreeView_GetSelection(tree);
  if (!item) return;
  char key[kPathBuf + 8];
  if (IsRootItem(tree, item)) {
    snprintf(key, sizeof key, "%3d%s", 0, "*");
    // While a fill runs, the request waits for the timer, whose call empties the list; emptied
    // now, the running fill's rows would be lost under it.
    if (g_views.folderList && !GetTVNSem()) DeleteAllEntryRows(g_views.folderList);
    if (g_views.combo) SetWindowTextA(g_views.combo, ShownArchivePath().c_str());
    RequestFill(key);
    return;
  }
  std::string path;
  int count = ItemPath(tree, item, path, "TVN_SELCHANGED: string %s \n");
  MakeDepthKey(count, path.c_str(), key, sizeof key);
  SetTreeListRefilling(1);
  if (g_views.folderList && !GetTVNSem()) DeleteAllEntryRows(g_views.folderList);
  if (g_views.combo && !path.empty()) SetWindowTextA(g_views.combo, path.substr(0, path.size() - 1).c_str());
  RequestFill(key);
}

void OnTreeFillTimer() {
  KillTimer(g_views.window, IDT_TREE_FILL);
  g_fillDeferred = false;
  if (g_views.tree) OnTreeSelectionChanged(g_views.tree);
}

DWORD WINAPI DoTvnChanged(LPVOID parameter) {
  char* key = static_cast<char*>(parameter);
  ListingTotals& totals = GetFolderListTotals();
  RBTree* data = GetTVRBTreeDataReady();
  if (!data || !data->count) {
    Log(2, GetVerbose(), "!!!!TVRBTreeDataReady has no size!!!!");
    SetTreeListRefilling(0);
    totals = ListingTotals{};
    WriteFolderListStatusBar();
    EndFill(key);
    return 0;
  }
  totals = ListingTotals{};
  // The folder's subfolders come first; the folder index's keys of one level below the folder
  // begin as the folder's own data key does.
  char separator = TreeSeparator("DoTvnChanged");
  size_t folders = WalkPrefixRun(GetTVRBTreeFolder(), key, [&](RBNode* node) {
    const char* path;
    ReadDepthKey(static_cast<const char*>(node->key), &path);
    const char* last = strrchr(path, separator);
    const char* name = last ? last + 1 : path;
    if (!g_views.folderList || !*name) return;
    AppendEntryRecord(g_views.folderList, MakeFolderRecord(std::string(path, name).c_str(), name));
    ++totals.entries;
  });
  bool first = true;
  size_t found = folders + WalkPrefixRun(data, key, [&](RBNode* node) {
    if (first) Log(2, GetVerbose(), "DoTvnChanged: firstNode->data %s", static_cast<const char*>(node->key));
    first = false;
    InsertIntoTreeList(static_cast<const char*>(node->key));
  });
  if (!found) {
    Log(2, GetVerbose(), "DoTvnChanged: RBTreeSearch(TVRBTreeDataReady, string)) not found %s", key);
    totals = ListingTotals{};
  }
  if (g_views.folderList) {
    PublishEntryRows(g_views.folderList);
    if (found) {
      LVITEMA focus = {};
      focus.stateMask = LVIS_FOCUSED;
      focus.state = LVIS_FOCUSED;
      SendMessageA(g_views.folderList, LVM_SETITEMSTATE, 0, reinterpret_cast<LPARAM>(&focus));
    }
  }
  SetTreeListRefilling(0);
  WriteFolderListStatusBar();
  if (g_views.afterFill) g_views.afterFill();
  SelectRowAfterFill(key);
  EndFill(key);
  return 0;
}

void TreeDeleteEmpty(HWND tree, HTREEITEM item, int alsoCombo) {
  if (!tree || !item) return;
  HTREEITEM parent = TreeView_GetParent(tree, item);
  DeleteEmptyFrom(tree, item, alsoCombo);
  // Folders above the item that lost their last subfolder by it; never the root item.
  while (parent && !IsRootItem(tree, parent) && !TreeView_GetChild(tree, parent)) {
    HTREEITEM up = TreeView_GetParent(tree, parent);
    if (!DeleteIfEmptyLeaf(tree, parent, alsoCombo)) break;
    parent = up;
  }
}

void DisplayTreeItemProperties(HTREEITEM item) {
  HWND tree = g_views.tree;
  if (!tree || !item) return;
  char name[kPathBuf];
  ItemText(tree, item, name);
  char key[kPathBuf + 8];
  TreeViewGetPath(tree, item, key, sizeof key, 1, 0);
  const char* path;
  int depth = ReadDepthKey(key, &path);
  Log(7, GetVerbose(), "DisplayTreeItemProperties %s %d", key, depth);
  if (GetDataReadyMaxDepth() < 0) {
    Log(2, GetVerbose(), "DisplayTreeItemProperties error: cannot get deep of tree!");
    return;
  }
  FolderTotals totals;
  CollectFolderTotals(depth, path, &totals);
  const char* shownName = name;
  if (!totals.found) {
    if (!IsRootItem(tree, item)) {
      Log(6, GetVerbose(), "DisplayTreeItemProperties nothing found on tree:");
      if (GetVerbose() > 9) RBTreePrint(GetTVRBTreeDataReady());
      return;
    }
    shownName = GetMessageText(KLANG_MSG_WHOLE_ARCHIVE);
    totals.folders = GetTVRBTreeFolder() ? static_cast<int>(GetTVRBTreeFolder()->count) : 0;
  }
  char compressed[64], uncompressed[64];
  FormatTreeSizeText(static_cast<double>(totals.compressed), compressed, sizeof compressed);
  FormatTreeSizeText(static_cast<double>(totals.uncompressed), uncompressed, sizeof uncompressed);
  char text[kPathBuf * 3];
  snprintf(text, sizeof text, "%s\n\"%s\"\n\n%s\t\t %d\n%s\t\t %d\n\n%s\t %s\n%s\t %s",
           GetMessageText(KLANG_MSG_FOLDER_PROPERTIES), shownName, GetMessageText(KLANG_MSG_PROPERTIES_ENTRIES),
           totals.entries, GetMessageText(KLANG_MSG_PROPERTIES_FOLDERS), totals.folders,
           GetMessageText(KLANG_MSG_PROPERTIES_COMPRESSED), compressed,
           GetMessageText(KLANG_MSG_PROPERTIES_UNCOMPRESSED), uncompressed);
  std::string shown = text;
  // The whole archive's properties carry its comment, shown nowhere else.
  if (IsRootItem(tree, item)) {
    std::string comment = ReadArchiveComment();
    if (!comment.empty()) shown += "\n\n" + std::string(GetMessageText(KLANG_MSG_PROPERTIES_COMMENT)) + "\n" + comment;
  }
  PromptMessageBox(g_views.window, shown.c_str(), "Kestrelia", MB_OK | MB_ICONINFORMATION);
}

bool SelectParentTreeFolder() {
  HWND tree = g_views.tree;
  if (!tree) return false;
  HTREEITEM left = TreeView_GetSelection(tree);
  HTREEITEM parent = TreeView_GetParent(tree, left);
  if (!parent) return false;
  // The folder just left is the selected row of its parent's list, as in Explorer.
  std::string path;
  ItemPath(tree, left, path, nullptr);
  ItemPath(tree, parent, g_rowAfterFillFolder, nullptr);
  if (!path.empty()) path.pop_back();
  g_rowAfterFill = path;
  TreeView_SelectItem(tree, parent);
  return true;
}

bool EnterFolderRow(int row) {
  HWND list = g_views.folderList, tree = g_views.tree;
  const liststruct* r = list && tree ? GetRowRecord(list, row) : nullptr;
  if (!r || !r->folder) return false;
  HTREEITEM item = FindTreeItemString(tree, (std::string(r->path) + r->filename).c_str());
  if (item) {
    TreeView_EnsureVisible(tree, item);
    TreeView_SelectItem(tree, item);
  }
  return true;
}
