// In-memory dialog templates: every dialog of the program is built from these, so no
// dialog needs a resource and the captions come from the language library at run time.
// The dialogs create their controls themselves, in pixels, when they initialise.
#pragma once
#include "services/base.h"

#include <vector>

struct DialogFrame {
  const char* title;     // ANSI, converted with the system code page
  DWORD style;           // DS_SETFONT is added when a font is named
  DWORD exStyle;
  short x, y, cx, cy;    // dialog units
  const char* fontFace;  // nullptr: the system font
  WORD fontPoints;
};

// The frame of a modal dialog with a caption and a close box, in the font at 8 points.
DialogFrame ModalDialogFrame(const char* title, short cx, short cy, const char* fontFace = "MS Shell Dlg");

// A DLGTEMPLATE without items, DWORD-aligned as the dialog functions require; pass data()
// to DialogBoxIndirectParam or CreateDialogIndirectParam.
std::vector<WORD> BuildDialogTemplate(const DialogFrame& dialog);
// Builds the template and runs it as a modal dialog of this program; DialogBoxIndirectParam's
// result (-1 when the dialog could not be made).
INT_PTR RunTemplateDialog(const DialogFrame& dialog, HWND owner, DLGPROC procedure, LPARAM parameter);

// The roles of a modal dialog with an OK and a Cancel button. Cancel, IDCANCEL and the close
// box end it (with the button's id; IDCANCEL for the close box); OK hands over to accept,
// which ends the dialog or leaves it open. Both get the dialog's parameter.
struct OkCancelRoles {
  int okId;
  int cancelId;
  bool idOkAccepts;  // IDOK (Enter without a default button) counts as OK too
  void (*init)(HWND dialog, LPARAM parameter);
  void (*accept)(HWND dialog, LPARAM parameter);
};
// RunTemplateDialog with a procedure that follows the roles.
INT_PTR RunOkCancelDialog(const DialogFrame& dialog, HWND owner, const OkCancelRoles& roles, LPARAM parameter);
