#include "services/base.h"
#include "app/main_state.h"

#include "app/about_dialog.h"
#include "app/self_extracting.h"
#include "app/archive_builder.h"
#include "res/resource.h"
#include "app/main_recent.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "ui/entry_list.h"
#include "model/listing_totals.h"
#include "model/namelist.h"
#include "services/help_file.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "settings/options.h"
#include "ui/search.h"
#include "settings/registry_text.h"
#include "ui/entry_list.h"
#include "ui/entry_rewrite.h"
#include "ui/menu_style.h"
#include "ui/update_check.h"
#include "formats/archive_runs.h"
#include "jobs/extract_archive.h"
#include "ui/entry_view.h"
#include "ui/folder_tree_view.h"
#include "formats/open_archive.h"

#include <commctrl.h>

#include <cstdio>

namespace {

void CmdOpen() { OpenCompressedFile(nullptr, Main().hwnd); }

void CmdReload() {
  const char* path = GetCurrentArchivePath();
  if (*path) {
    char copy[kPathBuf];
    snprintf(copy, sizeof copy, "%s", path);
    OpenCompressedFile(copy, Main().hwnd);
  }
}

void CmdSelectAll() {
  LVITEMA all = {};
  all.stateMask = LVIS_SELECTED;
  all.state = LVIS_SELECTED;
  SendMessageA(CurrentView(), LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&all));
}

void CmdExtractAll() {
  const char* path = GetCurrentArchivePath();
  if (*path) ExtractArchive(path, 0, 1);
}
// The run takes a copy of the selection: it never reads the list from its own thread.
void ExtractSelectedRows() {
  EntrySelection chosen;
  CopyEntrySelection(CurrentView(), &chosen);
  ExtractSelected(chosen);
}
void CmdExtractSelected() {
  if (IsTreeFocused())
    ExtractSelectedTreeFolder();
  else
    ExtractSelectedRows();
}
// A selection narrows the test to its rows, copied here on the window's thread.
void CmdTestArchive() {
  EntrySelection chosen;
  CopyEntrySelection(CurrentView(), &chosen);
  TestArchive(chosen.names.empty() ? nullptr : &chosen);
}
// Enter or a double click on a subfolder's row goes into it; on an archive's row it opens that
// archive in the window; on another entry's row it views it.
void CmdViewEntry() {
  if (Main().presentation == PRESENT_FOLDER_TREE && EnterFolderRow(FocusedEntryRow(Main().treeList))) return;
  if (EnterNestedArchive()) return;
  ViewSelectedEntry(0);
}
void CmdOpenWith() { ViewSelectedEntry(1); }

void CmdDelete() { DeleteSelectedEntries(CurrentView()); }
void CmdRename() {
  if (IsTreeFocused())
    EditSelectedTreeFolder();
  else
    EditSelectedEntryName(CurrentView());
}
void CmdFind() { FindReplace(nullptr, 0); }
void CmdFindInContents() { FindReplace(nullptr, 1); }
void CmdFindNext() { FindNextHit(1); }
void CmdFindPrevious() { FindNextHit(0); }

void CmdRegistryValues() {
  PromptMessageBox(Main().hwnd, GetRegistryValuesText().c_str(), "Kestrelia", MB_OK | MB_ICONINFORMATION);
}

void CmdExit() { PostMessageA(Main().hwnd, WM_CLOSE, 0, 0); }
void CmdFullList() { SetPresentation(PRESENT_FULL_LIST); }
void CmdFolderTree() { SetPresentation(PRESENT_FOLDER_TREE); }
void CmdHelp() { ShowHelpFile(Main().hwnd); }
void CmdAbout() { ShowAboutDialog(Main().hwnd); }
void CmdCheckUpdate() { StartUpdateCheck(Main().hwnd, 1); }

// A command's key, declared once: the accelerator table and the menu caption are both made
// from it. Keys the system delivers itself (Enter as IDOK, Alt+F4 as a close) are only shown.
enum KeyUse { KEY_NONE, KEY_ACCELERATOR, KEY_SHOWN_ONLY };

// What a command needs before it can run; the menus, the context menu and the tool bar
// enable it exactly then.
enum CommandNeed {
  NEED_IDLE = 1,       // no operation or opening runs
  NEED_ARCHIVE = 2,    // an archive is open
  NEED_ROWS = 4,       // it lists at least one entry
  NEED_SELECTION = 8,  // a row of the current view, or the focused tree's folder, is selected
  NEED_TEST = 16,      // the open archive's kind can test its entries
  NEED_WRITABLE = 32,  // the open archive's kind takes added files
  NEED_SELF_EXTRACTING = 64,  // the open archive's kind makes self-extracting programs
  NEED_PARENT = 128,          // the folder tree shows a folder below the archive's top
};

struct Command {
  int id;
  void (*run)();
  KeyUse use;
  BYTE modifiers;  // FCONTROL, FSHIFT, FALT
  WORD key;        // virtual key
  int needs;       // CommandNeed bits
};

constexpr int kOnArchive = NEED_IDLE | NEED_ARCHIVE;
constexpr int kOnRows = kOnArchive | NEED_ROWS;
constexpr int kOnSelection = kOnRows | NEED_SELECTION;

// Commands without a handler are shown greyed out.
const Command kCommands[] = {
    {IDM_OPEN, CmdOpen, KEY_ACCELERATOR, FCONTROL, 'O', NEED_IDLE},
    {IDM_NEW_ARCHIVE, CmdNewArchive, KEY_ACCELERATOR, FCONTROL, 'N', NEED_IDLE},
    {IDM_ADD_FILES, CmdAddFiles, KEY_NONE, 0, 0, kOnArchive | NEED_WRITABLE},
    {IDM_ADD_FOLDER, CmdAddFolder, KEY_NONE, 0, 0, kOnArchive | NEED_WRITABLE},
    {IDM_EXTRACT_ALL, CmdExtractAll, KEY_ACCELERATOR, FCONTROL, 'E', kOnRows},
    {IDM_EXTRACT_SELECTED, CmdExtractSelected, KEY_ACCELERATOR, FCONTROL | FSHIFT, 'E', kOnSelection},
    {IDM_TEST_ARCHIVE, CmdTestArchive, KEY_ACCELERATOR, FCONTROL, 'T', kOnRows | NEED_TEST},
    {IDM_CLOSE_ARCHIVE, CmdCloseArchive, KEY_ACCELERATOR, FCONTROL, 'W', kOnArchive},
    {IDM_PROPERTIES, ShowFolderProperties, KEY_ACCELERATOR, FALT, VK_RETURN, NEED_ARCHIVE},
    {IDM_EXIT, CmdExit, KEY_SHOWN_ONLY, FALT, VK_F4, 0},
    {IDM_VIEW_ENTRY, CmdViewEntry, KEY_SHOWN_ONLY, 0, VK_RETURN, kOnSelection},
    {IDM_OPEN_WITH, CmdOpenWith, KEY_NONE, 0, 0, kOnSelection},
    {IDM_CUT, CmdCut, KEY_ACCELERATOR, FCONTROL, 'X', kOnSelection},
    {IDM_COPY, CmdCopy, KEY_ACCELERATOR, FCONTROL, 'C', kOnSelection},
    {IDM_PASTE, CmdPaste, KEY_ACCELERATOR, FCONTROL, 'V', kOnArchive | NEED_WRITABLE},
    {IDM_CUT_PASTED, CmdCutPasted, KEY_NONE, 0, 0, 0},
    {IDM_DELETE, CmdDelete, KEY_ACCELERATOR, 0, VK_DELETE, kOnSelection},
    {IDM_RENAME, CmdRename, KEY_ACCELERATOR, 0, VK_F2, kOnSelection},
    {IDM_SELECT_ALL, CmdSelectAll, KEY_ACCELERATOR, FCONTROL, 'A', NEED_ARCHIVE | NEED_ROWS},
    {IDM_FIND, CmdFind, KEY_ACCELERATOR, FCONTROL, 'F', NEED_ARCHIVE | NEED_ROWS},
    {IDM_FIND_IN_CONTENTS, CmdFindInContents, KEY_ACCELERATOR, FCONTROL | FSHIFT, 'F', kOnRows},
    {IDM_FIND_NEXT, CmdFindNext, KEY_ACCELERATOR, 0, VK_F3, NEED_ARCHIVE | NEED_ROWS},
    {IDM_FIND_PREVIOUS, CmdFindPrevious, KEY_ACCELERATOR, FSHIFT, VK_F3, NEED_ARCHIVE | NEED_ROWS},
    {IDM_FULL_LIST, CmdFullList, KEY_NONE, 0, 0, 0},
    {IDM_FOLDER_TREE, CmdFolderTree, KEY_NONE, 0, 0, 0},
    {IDM_RELOAD, CmdReload, KEY_ACCELERATOR, 0, VK_F5, kOnArchive},
    {IDM_SELF_EXTRACTING, CmdSelfExtracting, KEY_NONE, 0, 0, kOnRows | NEED_SELF_EXTRACTING},
    {IDM_CONFIGURATION, CmdConfiguration, KEY_NONE, 0, 0, 0},
    {IDM_LANGUAGE, CmdLanguage, KEY_NONE, 0, 0, 0},
    {IDM_HISTORY, CmdHistory, KEY_NONE, 0, 0, NEED_IDLE},
    {IDM_REGISTRY_VALUES, CmdRegistryValues, KEY_ACCELERATOR, FCONTROL, '9', 0},
    {IDM_HELP, CmdHelp, KEY_ACCELERATOR, 0, VK_F1, 0},
    {IDM_CHECK_UPDATE, CmdCheckUpdate, KEY_NONE, 0, 0, 0},
    {IDM_ABOUT, CmdAbout, KEY_NONE, 0, 0, 0},
    {IDM_PARENT_FOLDER, GoToParentFolder, KEY_ACCELERATOR, FALT, VK_UP, NEED_ARCHIVE | NEED_PARENT},
};

const Command* FindCommand(int id) {
  for (const Command& c : kCommands)
    if (c.id == id) return &c;
  return nullptr;
}

// F2 and Extract selected act on the tree's folder while the tree has the focus.
bool HasSelection() {
  if (IsTreeFocused()) return TreeView_GetSelection(Main().tree) != nullptr;
  return SendMessageA(CurrentView(), LVM_GETSELECTEDCOUNT, 0, 0) > 0;
}

}  // namespace

void CmdCloseArchive() {
  MainWindowState& m = Main();
  ArchiveControlBlock* block = GetCurrentControlBlock();
  DeleteAllEntryRows(m.list);
  DeleteAllEntryRows(m.treeList);
  TreeView_DeleteAllItems(m.tree);
  block->path[0] = '\0';
  block->opened = 0;
  NameListRecreate(&block->folders);
  SetCurrentArchivePath("");
  SetArchiveEncrypted(0);
  SetCurrentPassword("");
  ResetListingTotals();
  for (int part = 0; part < 3; ++part) SendMessageA(m.status, SB_SETTEXTA, part, reinterpret_cast<LPARAM>(""));
  SetMyWindowText(nullptr);
  RefreshToolbarState();
  Log(5, GetVerbose(), "CmdCloseArchive: closed");
}

namespace {

struct MenuLayout {
  int menu;
  int items[18];  // 0 ends, -1 is a separator
};

const MenuLayout kMenus[] = {
    {IDM_MENU_FILE,
     {IDM_OPEN, IDM_RECENT, IDM_CLOSE_ARCHIVE, -1, IDM_NEW_ARCHIVE, IDM_ADD_FILES, IDM_ADD_FOLDER, -1,
      IDM_EXTRACT_ALL, IDM_EXTRACT_SELECTED, IDM_TEST_ARCHIVE, -1, IDM_SELF_EXTRACTING, 0}},
    {IDM_MENU_EDIT,
     {IDM_VIEW_ENTRY, IDM_OPEN_WITH, -1, IDM_CUT, IDM_COPY, IDM_PASTE, -1, IDM_DELETE, IDM_RENAME, -1, IDM_SELECT_ALL, IDM_FIND, IDM_FIND_IN_CONTENTS,
      IDM_FIND_NEXT, IDM_FIND_PREVIOUS, 0}},
    {IDM_MENU_VIEW, {IDM_FULL_LIST, IDM_FOLDER_TREE, -1, IDM_RELOAD, -1, IDM_PROPERTIES, 0}},
    {IDM_MENU_TOOLS, {IDM_CONFIGURATION, IDM_LANGUAGE, IDM_HISTORY, IDM_REGISTRY_VALUES, 0}},
    {IDM_MENU_HELP, {IDM_HELP, IDM_CHECK_UPDATE, -1, IDM_ABOUT, 0}},
};

void AppendItem(HMENU menu, int id) {
  if (id == -1) {
    AppendMenuA(menu, MF_SEPARATOR, 0, nullptr);
    return;
  }
  if (id == IDM_RECENT) {
    AppendMenuA(menu, MF_POPUP, reinterpret_cast<UINT_PTR>(CreateRecentMenu()), GetMenuItemText(id));
    return;
  }
  const Command* c = FindCommand(id);
  char caption[kPathBuf];
  if (c && c->use != KEY_NONE)
    snprintf(caption, sizeof caption, "%s\t%s", GetMenuItemText(id), MenuKeyCaption(c->modifiers, c->key).c_str());
  else
    snprintf(caption, sizeof caption, "%s", GetMenuItemText(id));
  AppendMenuA(menu, MF_STRING | ((c && c->run) ? 0 : MF_GRAYED), id, caption);
}

}  // namespace

HMENU BuildMainMenu() {
  HMENU bar = CreateMenu();
  for (const MenuLayout& layout : kMenus) {
    HMENU popup = CreatePopupMenu();
    for (int id : layout.items) {
      if (!id) break;
      AppendItem(popup, id);
    }
    if (layout.menu == IDM_MENU_FILE) {
      AppendMenuA(popup, MF_SEPARATOR, 0, nullptr);
      AppendItem(popup, IDM_PROPERTIES);
      AppendMenuA(popup, MF_SEPARATOR, 0, nullptr);
      AppendItem(popup, IDM_EXIT);
    }
    AppendMenuA(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), GetMenuText(layout.menu));
  }
  StyleMenus(bar, IsUseModernMenuStyle() != 0);
  return bar;
}

HACCEL BuildAccelerators() {
  ACCEL keys[sizeof kCommands / sizeof kCommands[0]];
  int n = 0;
  for (const Command& c : kCommands)
    if (c.use == KEY_ACCELERATOR) keys[n++] = ACCEL{static_cast<BYTE>(FVIRTKEY | c.modifiers), c.key, static_cast<WORD>(c.id)};
  return CreateAcceleratorTableA(keys, n);
}

bool CanRunCommand(int id) {
  const Command* c = FindCommand(id);
  if (!c || !c->run) return false;
  if ((c->needs & NEED_IDLE) && (IsBusy() || IsOpenInProgress())) return false;
  if ((c->needs & NEED_ARCHIVE) && !*GetCurrentArchivePath()) return false;
  if ((c->needs & NEED_ROWS) && GetEntryRowCount(Main().list) == 0) return false;
  if ((c->needs & NEED_SELECTION) && !HasSelection()) return false;
  if ((c->needs & NEED_TEST) && !ArchiveFormatOrZip(GetArchiveKind(), "CanRunCommand")->ops.test) return false;
  if ((c->needs & NEED_WRITABLE) && !CanAddToOpenArchive()) return false;
  if ((c->needs & NEED_SELF_EXTRACTING) && !CanMakeSelfExtracting()) return false;
  if ((c->needs & NEED_PARENT) && !HasParentFolder()) return false;
  return true;
}

void EnableMenuCommands(HMENU menu) {
  for (const Command& c : kCommands)
    EnableMenuItem(menu, c.id, MF_BYCOMMAND | (CanRunCommand(c.id) ? MF_ENABLED : MF_GRAYED));
}

void OnMainCommand(int id) {
  if (id == IDOK) id = IDM_VIEW_ENTRY;  // Enter in a list, or a double click
  if (OnRecentCommand(id)) return;
  if (!CanRunCommand(id)) {
    Log(2, GetVerbose(), "OnMainCommand: %d cannot run now", id);
    return;
  }
  FindCommand(id)->run();
}
