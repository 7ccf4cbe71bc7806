// The modern menu style: the items of the window's menus drawn by the program, a band in the
// gradient of the two menu colours beside each item's text. The classic style leaves the
// menus to the system.
#pragma once
#include "services/base.h"

#include <string>

// Makes every item of the bar's menus (and their submenus) drawn by the program when modern
// is set; the texts are kept here until the next call.
void StyleMenus(HMENU bar, bool modern);
// A command's key as the menus show it beside the command, in the user's language:
// modifiers are FCONTROL, FSHIFT and FALT ("Strg+Umschalt+E").
std::string MenuKeyCaption(int modifiers, int key);
// The window's WM_MEASUREITEM and WM_DRAWITEM for menu items; false for anything else.
bool MeasureStyledMenuItem(HWND window, MEASUREITEMSTRUCT* item);
bool DrawStyledMenuItem(const DRAWITEMSTRUCT* item);
// WM_MENUCHAR: the system knows no mnemonics of items it does not draw, so the "&" letters are
// looked up here; 0 when no item of the menu has that letter (the system's answer then).
LRESULT StyledMenuChar(HMENU menu, char letter);
