// The folder tree on screen: the tree view, the address box and the folder list beside the
// tree, filled from the folder indexes of model/folder_tree.h.
#pragma once
#include "services/base.h"

#include <commctrl.h>

struct RBTree;

// The controls the folder presentation works on; the main window gives them once created.
struct FolderTreeViews {
  HWND tree;
  HWND combo;       // the address box (extended combo box)
  HWND folderList;  // the entries of the selected folder
  HWND window;      // owns timer IDT_TREE_FILL
  void (*afterFill)();  // the folder list was filled: sort it, reset its search (may be unset)
};
FolderTreeViews& GetFolderTreeViews();

// The delay of timer IDT_TREE_FILL, which folds a burst of selection changes into one fill.
constexpr UINT kTreeFillDelayMs = 200;

// The chain of item texts from the item up to, not including, the root item, each followed
// by the separator ("docs\img\"); the levels walked are returned. withDepth turns the text
// into its depth key ("%3d*" + text) of the count, or with parentDepth of one level less.
int TreeViewGetPath(HWND tree, HTREEITEM item, char* out, size_t outSize, int withDepth, int parentDepth);
// The item of a folder path ("docs\img"), descending from the root item by exact texts.
HTREEITEM FindTreeItemString(HWND tree, const char* text);
HTREEITEM FindChildItem(HWND tree, HTREEITEM parent, const char* name);
// A last child of parent (TVI_ROOT for the root item) with the root, folder or other icon.
HTREEITEM AddItemToTree(HWND tree, const char* text, HTREEITEM parent, int isFolder);
// Places one folder key ("%3d*path"); its parent levels must already be there.
HTREEITEM InsertRBTreeFolderIntoTree(HWND tree, HTREEITEM root, const char* folderKey);
// Rebuilds the address box from the folder index; 0 when TVRBTreeCombo does not exist.
int AddItemsToCombo(HWND combo, RBTree* folderIndex);
// Adds one data record to the folder list (folder records add nothing but their sizes).
void InsertIntoTreeList(const char* dataReadyKey);

// The whole derivation from the rows of the list of every entry; logs its seven phases
// ("time measure ...") at verbosity 6 and above. Runs on the window's thread.
void SynchronizeTreeViewThread(HWND treeListView, HWND tree);
// Derives the tree when it is not in step with the rows, then selects the root item, or the
// folder asked for by SelectTreeFolderAfterDerive ("a\b") when the tree has it.
void EnsureTreeInStep(HWND treeListView);
void SelectTreeFolderAfterDerive(const char* folder);
// Before the tree is derived again after a change of the entries: the next derivation opens
// the folders open now and, unless a folder was asked for, stays in the selected one with the
// row of that full name ("docs\a.txt") selected once the folder list is filled.
void KeepTreePlace(const char* rowName);

// TVN_SELCHANGED: empties the folder list and requests its fill for the selected folder.
void OnTreeSelectionChanged(HWND tree);
// Timer 4321 fired: the selection change again, from the tree's current selection.
void OnTreeFillTimer();
// The window that owns the views routes these here: the tree's selection changes and timer
// 4321. False for every other message.
bool HandleFolderTreeMessage(UINT message, WPARAM wParam, LPARAM lParam);
// The text of one item of the address box; false when there is no such item.
bool GetComboItemText(HWND combo, int index, char* text, size_t size);
// The fill thread's body; takes a heap copy of the key and frees it.
DWORD WINAPI DoTvnChanged(LPVOID key);
// A fill runs, or a selection waits for its turn: the folder list is not yet the selected
// folder's.
bool IsTreeFillPending();

// Removes the folders below and after item that hold nothing any more, and then the parents
// that became empty by it; their address box items too when alsoCombo is set.
void TreeDeleteEmpty(HWND tree, HTREEITEM item, int alsoCombo);
// The message box with the entries, folders and sizes below a folder.
void DisplayTreeItemProperties(HTREEITEM item);

// The parent of the selected folder is selected, with the folder left selected in its list;
// false at the root.
bool SelectParentTreeFolder();
// A subfolder's row of the folder list opens that folder; false for a row of an entry.
bool EnterFolderRow(int row);
