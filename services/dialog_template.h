// In-memory dialog templates: every dialog of the program is built from these, so no
// dialog needs a resource and the captions come from the language library at run time.
#pragma once
#include "services/base.h"

#include <vector>

struct DialogTemplateSpec {
  const char* title;     // ANSI, converted with the system code page
  DWORD style;           // DS_SETFONT is added when a font is named
  DWORD exStyle;
  short x, y, cx, cy;    // dialog units
  const char* fontFace;  // nullptr: the system font
  WORD fontPoints;
};

struct DialogItemSpec {
  const char* className;  // a registered class name ("BUTTON", "STATIC", "EDIT", ...)
  const char* text;
  WORD id;
  DWORD style;            // WS_CHILD | WS_VISIBLE are added
  DWORD exStyle;
  short x, y, cx, cy;     // dialog units
};

// A DLGTEMPLATE with its items, DWORD-aligned as the dialog functions require; pass data()
// to DialogBoxIndirectParam or CreateDialogIndirectParam.
std::vector<WORD> BuildDialogTemplate(const DialogTemplateSpec& dialog, const DialogItemSpec* items = nullptr,
                                      int itemCount = 0);
// Builds the template and runs it as a modal dialog of this program; DialogBoxIndirectParam's
// result (-1 when the dialog could not be made).
INT_PTR RunTemplateDialog(const DialogTemplateSpec& dialog, HWND owner, DLGPROC procedure, LPARAM parameter);
