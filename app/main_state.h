// The main window's controls and view state, shared by the files that make up the window.
#pragma once
#include "services/base.h"

#include "res/resource.h"

#include <commctrl.h>

enum Presentation {
  PRESENT_FULL_LIST = 0,    // one list of every entry
  PRESENT_FOLDER_TREE = 1,  // the folder tree beside the folder list
};

struct MainWindowState {
  HWND hwnd;
  HWND toolbar;
  HWND address;   // extended combo box with the archive path
  HWND list;      // the full list
  HWND tree;      // the folder tree
  HWND treeList;  // the folder list beside the tree
  HWND status;
  HACCEL accelerators;
  HFONT font;
  int presentation;
  int splitX;           // width of the tree pane, in pixels at the current DPI
  int sortColumn[2];    // per list (full, folder); -1 for none
  bool sortDescending[2];
  bool imageListsLoaded;
  UINT dpi;
  bool closeWhenStopped;  // a close request waits for the cancelled run to stop
};

MainWindowState& Main();

// Child controls and their layout (main_layout.cpp).
// Pixels at 96 dots per inch, at the window's resolution.
int ScaleMain(int pixels);
void CreateMainControls(HWND hwnd);
void LayoutMainControls();
void SetPresentation(int presentation);
// Puts the radio mark of the View menu (or of any menu holding both items) on the current
// presentation.
void CheckPresentationItems(HMENU menu);
HWND CurrentView();

// The status bar parts' tips in the current language.
void SetStatusTips(HWND status);

// The language command: choosing a language and showing the window in it (main_language.cpp).
void CmdLanguage();
void CmdConfiguration();  // the configuration dialog, its changes applied at once
void CmdHistory();        // the history of extractions
void ApplyLanguage(int language);

// Sorting by a column header (main_sort.cpp).
void SortByColumn(HWND list, int column);
void ShowSortMark(HWND list, int column, bool descending);
void ResetSortMarks();
void ApplyStoredSort();

// The tool bar (main_toolbar.cpp).
HWND CreateMainToolbar(HWND parent);
void RefreshToolbarState();
// Takes the tips of the current language.
void RefreshToolbarTexts();

// The folder tree beside its list (main_tree.cpp).
void InitFolderTreeViews();
// Derives the tree when the folder presentation is shown and the tree is not in step.
void ShowFolderPresentation();
void RebuildFolderTree();
bool HandleFolderTreeNotify(NMHDR* header, LRESULT* result);
// Goes to what was typed or picked in the address box; says so when there is no such folder.
void GoToAddress(const char* typed);
// The address box's notifications; false when the command came from elsewhere.
bool HandleAddressCommand(WPARAM wParam, LPARAM lParam);
void ExtractSelectedTreeFolder();
// A selected row's properties (an entry's, or the folder a folder's row stands for), else the
// selected folder's; the whole archive's in the full list.
void ShowFolderProperties();
void GoToParentFolder();
// Enter on the focused row of an archive inside the open one: a copy of it opens in the window
// as its child (app/main_nested.cpp). False when the row is no such archive.
bool EnterNestedArchive();
// Closes the child and shows its parent at the folder it was left in; false at the top.
bool LeaveNestedArchive();
bool HasParentFolder();
// The folder the tree shows ("docs\img"), "" at the archive's top or in the full list.
void CurrentTreeFolder(char* out, size_t outSize);
bool IsTreeFocused();
// F2 in the tree: starts editing the selected folder's name (never the root's).
void EditSelectedTreeFolder();
// Dragging the bar between the tree and its list; false when the mouse is elsewhere.
bool HandleSplitterMouse(UINT message, LPARAM lParam);
bool SetSplitterCursor();

// Entries out and files in (main_transfer.cpp). A drag of rows or of a tree folder goes out
// to the shell as files; the folder list's rows dropped on a folder of the tree move there.
void BeginEntryDrag(HWND list);
void BeginTreeFolderDrag(HTREEITEM item);
// Files from the shell (both drop roads): added to the open archive, into the tree folder
// under the pointer; an archive opens when none is open or the open one takes no files.
void OnFilesDropped(char (*files)[kPathBuf], int count);
void RegisterWindowDropTarget(HWND hwnd);
void CmdCut();
void CmdCopy();
void CmdPaste();
// A target pasted the cut entries: they leave the archive.
void CmdCutPasted();

// The hooks the archive engines call while they list (main_hooks.cpp).
void InstallViewHooks();
void LoadSystemImageLists();
void SetMyWindowText(const char* path);

// Commands from menus, tool bar and keys (main_commands.cpp).
void OnMainCommand(int id);
// Whether the command can run now: it has a handler and what it acts on is there.
bool CanRunCommand(int id);
// Greys the items of a menu that cannot run now.
void EnableMenuCommands(HMENU menu);
// File > Close archive: the views, the title and the totals are emptied.
void CmdCloseArchive();

// The list's context menu (main_context_menu.cpp); screenPoint is WM_CONTEXTMENU's, -1 from
// the keyboard.
HMENU BuildListContextMenu();
void ShowListContextMenu(HWND list, LPARAM screenPoint);

// The status bar's selection (main_status.cpp), written once IDT_SELECTION_STATUS fires.
void ScheduleSelectionStatus();
void WriteSelectionStatus();

// A tool-bar button's tip; false for another tool tip.
bool ToolbarTip(NMTTDISPINFOA* info);
HMENU BuildMainMenu();
HACCEL BuildAccelerators();
