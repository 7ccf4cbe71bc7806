// The list's context menu: the commands that act on the selected entries, each enabled
// exactly when the main menu's item is.
#include "services/base.h"
#include "app/main_state.h"

#include "res/resource.h"
#include "kestrelia_lang.h"

#include <commctrl.h>

namespace {

struct PopupItem {
  int text;     // GetPopupText number; -1 a separator
  int command;  // the command it runs
};

const PopupItem kListItems[] = {
    {KLANG_POPUP_VIEW, IDM_VIEW_ENTRY},
    {KLANG_POPUP_OPEN_WITH, IDM_OPEN_WITH},
    {-1, 0},
    {KLANG_POPUP_EXTRACT_SELECTED, IDM_EXTRACT_SELECTED},
    {KLANG_POPUP_EXTRACT_ALL, IDM_EXTRACT_ALL},
    {KLANG_POPUP_SELF_EXTRACTING, IDM_SELF_EXTRACTING},
    {-1, 0},
    {KLANG_POPUP_CUT, IDM_CUT},
    {KLANG_POPUP_COPY, IDM_COPY},
    {KLANG_POPUP_PASTE, IDM_PASTE},
    {-1, 0},
    {KLANG_POPUP_DELETE, IDM_DELETE},
    {KLANG_POPUP_RENAME, IDM_RENAME},
    {-1, 0},
    {KLANG_POPUP_SELECT_ALL, IDM_SELECT_ALL},
    {-1, 0},
    {KLANG_POPUP_PROPERTIES, IDM_PROPERTIES},
};

// The keyboard opens the menu at the focused row, or at the list's corner without one.
POINT KeyboardMenuPoint(HWND list) {
  POINT at = {4, 4};
  int row = static_cast<int>(SendMessageA(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_FOCUSED));
  RECT rect = {};
  rect.left = LVIR_LABEL;
  if (row >= 0 && SendMessageA(list, LVM_GETITEMRECT, row, reinterpret_cast<LPARAM>(&rect))) {
    at.x = rect.left + 8;
    at.y = rect.bottom;
  }
  ClientToScreen(list, &at);
  return at;
}

}  // namespace

HMENU BuildListContextMenu() {
  HMENU menu = CreatePopupMenu();
  for (const PopupItem& item : kListItems) {
    if (item.text < 0) {
      AppendMenuA(menu, MF_SEPARATOR, 0, nullptr);
      continue;
    }
    AppendMenuA(menu, MF_STRING | (CanRunCommand(item.command) ? 0 : MF_GRAYED), item.command,
                GetPopupText(item.text));
  }
  SetMenuDefaultItem(menu, IDM_VIEW_ENTRY, FALSE);
  return menu;
}

void ShowListContextMenu(HWND list, LPARAM screenPoint) {
  POINT at = {static_cast<short>(LOWORD(screenPoint)), static_cast<short>(HIWORD(screenPoint))};
  if (screenPoint == static_cast<LPARAM>(-1)) at = KeyboardMenuPoint(list);
  HMENU menu = BuildListContextMenu();
  int command = TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON, at.x, at.y, 0, Main().hwnd, nullptr);
  DestroyMenu(menu);
  if (command) OnMainCommand(command);
}
