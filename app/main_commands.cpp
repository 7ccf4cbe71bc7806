#include "services/base.h"
#include "app/main_state.h"

#include "app/about_dialog.h"
#include "app/archive_builder.h"
#include "app/commands.h"
#include "app/main_recent.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "services/help_file.h"
#include "services/log.h"
#include "services/prompts.h"
#include "ui/search.h"
#include "settings/registry_text.h"
#include "ui/entry_rewrite.h"
#include "zip/extract_archive.h"
#include "zip/open_archive.h"

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
void CmdExtractSelected() {
  if (IsTreeFocused())
    ExtractSelectedTreeFolder();
  else
    ExtractSelected(CurrentView());
}
void CmdViewEntry() { ViewSelectedEntry(0); }
void CmdOpenWith() { ViewSelectedEntry(1); }

void CmdDelete() { DeleteSelectedEntries(CurrentView()); }
void CmdRename() { EditSelectedEntryName(CurrentView()); }
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

struct Command {
  int id;
  void (*run)();
  const char* keys;  // shown after the caption
};

// Commands without a handler are shown greyed out.
const Command kCommands[] = {
    {IDM_OPEN, CmdOpen, "Ctrl+O"},
    {IDM_NEW_ARCHIVE, CmdNewArchive, "Ctrl+N"},
    {IDM_ADD_FILES, CmdAddFiles, nullptr},
    {IDM_ADD_FOLDER, CmdAddFolder, nullptr},
    {IDM_EXTRACT_ALL, CmdExtractAll, "Ctrl+E"},
    {IDM_EXTRACT_SELECTED, CmdExtractSelected, "Ctrl+Shift+E"},
    {IDM_PROPERTIES, ShowFolderProperties, "Alt+Enter"},
    {IDM_EXIT, CmdExit, "Alt+F4"},
    {IDM_VIEW_ENTRY, CmdViewEntry, "Enter"},
    {IDM_OPEN_WITH, CmdOpenWith, nullptr},
    {IDM_DELETE, CmdDelete, "Del"},
    {IDM_RENAME, CmdRename, "F2"},
    {IDM_SELECT_ALL, CmdSelectAll, "Ctrl+A"},
    {IDM_FIND, CmdFind, "Ctrl+F"},
    {IDM_FIND_IN_CONTENTS, CmdFindInContents, "Ctrl+Shift+F"},
    {IDM_FIND_NEXT, CmdFindNext, "F3"},
    {IDM_FIND_PREVIOUS, CmdFindPrevious, "Shift+F3"},
    {IDM_FULL_LIST, CmdFullList, nullptr},
    {IDM_FOLDER_TREE, CmdFolderTree, nullptr},
    {IDM_RELOAD, CmdReload, "F5"},
    {IDM_SELF_EXTRACTING, nullptr, nullptr},
    {IDM_CONFIGURATION, nullptr, nullptr},
    {IDM_LANGUAGE, CmdLanguage, nullptr},
    {IDM_REGISTRY_VALUES, CmdRegistryValues, "Ctrl+9"},
    {IDM_HELP, CmdHelp, "F1"},
    {IDM_CHECK_UPDATE, nullptr, nullptr},
    {IDM_ABOUT, CmdAbout, nullptr},
    {IDM_PARENT_FOLDER, GoToParentFolder, "Alt+Up"},
};

const Command* FindCommand(int id) {
  for (const Command& c : kCommands)
    if (c.id == id) return &c;
  return nullptr;
}

struct MenuLayout {
  int menu;
  int items[12];  // 0 ends, -1 is a separator
};

const MenuLayout kMenus[] = {
    {IDM_MENU_FILE,
     {IDM_OPEN, IDM_RECENT, -1, IDM_NEW_ARCHIVE, IDM_ADD_FILES, IDM_ADD_FOLDER, -1, IDM_EXTRACT_ALL,
      IDM_EXTRACT_SELECTED, 0}},
    {IDM_MENU_EDIT,
     {IDM_VIEW_ENTRY, IDM_OPEN_WITH, -1, IDM_DELETE, IDM_RENAME, -1, IDM_SELECT_ALL, IDM_FIND, IDM_FIND_IN_CONTENTS,
      IDM_FIND_NEXT, IDM_FIND_PREVIOUS, 0}},
    {IDM_MENU_VIEW, {IDM_FULL_LIST, IDM_FOLDER_TREE, -1, IDM_RELOAD, -1, IDM_PROPERTIES, 0}},
    {IDM_MENU_TOOLS, {IDM_SELF_EXTRACTING, -1, IDM_CONFIGURATION, IDM_LANGUAGE, IDM_REGISTRY_VALUES, 0}},
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
  if (c && c->keys)
    snprintf(caption, sizeof caption, "%s\t%s", GetMenuItemText(id), c->keys);
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
  return bar;
}

HACCEL BuildAccelerators() {
  ACCEL keys[] = {
      {FVIRTKEY | FCONTROL, 'O', IDM_OPEN},
      {FVIRTKEY | FCONTROL, 'N', IDM_NEW_ARCHIVE},
      {FVIRTKEY | FCONTROL, 'E', IDM_EXTRACT_ALL},
      {FVIRTKEY | FCONTROL | FSHIFT, 'E', IDM_EXTRACT_SELECTED},
      {FVIRTKEY | FALT, VK_RETURN, IDM_PROPERTIES},
      {FVIRTKEY, VK_DELETE, IDM_DELETE},
      {FVIRTKEY, VK_F2, IDM_RENAME},
      {FVIRTKEY | FCONTROL, 'A', IDM_SELECT_ALL},
      {FVIRTKEY | FCONTROL, 'F', IDM_FIND},
      {FVIRTKEY | FCONTROL | FSHIFT, 'F', IDM_FIND_IN_CONTENTS},
      {FVIRTKEY, VK_F3, IDM_FIND_NEXT},
      {FVIRTKEY | FSHIFT, VK_F3, IDM_FIND_PREVIOUS},
      {FVIRTKEY, VK_F5, IDM_RELOAD},
      {FVIRTKEY | FCONTROL, '9', IDM_REGISTRY_VALUES},
      {FVIRTKEY, VK_F1, IDM_HELP},
      {FVIRTKEY | FALT, VK_UP, IDM_PARENT_FOLDER},
  };
  return CreateAcceleratorTableA(keys, sizeof keys / sizeof keys[0]);
}

bool IsCommandAvailable(int id) {
  const Command* c = FindCommand(id);
  return c && c->run;
}

void OnMainCommand(int id) {
  if (id == IDOK) id = IDM_VIEW_ENTRY;  // Enter in a list, or a double click
  if (OnRecentCommand(id)) return;
  const Command* c = FindCommand(id);
  if (!c || !c->run) {
    Log(2, GetVerbose(), "OnMainCommand: %d has no handler", id);
    return;
  }
  c->run();
}
