// In-memory dialog templates: every dialog of the program is built from these, so no
// dialog needs a resource and the captions come from the language library at run time.
// The dialogs create their controls themselves when they initialise, through a DialogLayout:
// positions in pixels at 96 dots per inch, scaled to the dialog's resolution.
#pragma once
#include "services/base.h"

#include "services/dpi.h"

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

// Where SizeClient puts the dialog.
enum class DialogPlace {
  kScreenCentre,  // centred on the screen
  kOwnerCentre,   // centred over its owner (the screen when it has none)
  kStay,          // where it is: only the size changes
};

// The controls of one dialog, laid out in pixels at 96 dots per inch. The dialog's font is
// given in points, so the system has already scaled it; everything placed here is scaled to
// match, and every control gets the dialog's font.
class DialogLayout {
 public:
  explicit DialogLayout(HWND dialog) : DialogLayout(dialog, WindowDpi(dialog)) {}
  DialogLayout(HWND dialog, int dpi) : dialog_(dialog), dpi_(dpi > 0 ? dpi : 96) {}

  HWND dialog() const { return dialog_; }
  int dpi() const { return dpi_; }
  int Scale(int pixels) const { return ScaleForDpi(pixels, dpi_); }

  // A visible child control with the dialog's font.
  HWND Add(const char* cls, const char* text, DWORD style, int id, int x, int y, int cx, int cy,
           DWORD exStyle = 0) const;
  // Add at a rectangle already in the dialog's own pixels (measured text, for one).
  HWND AddAt(const char* cls, const char* text, DWORD style, int id, const RECT& pixels, DWORD exStyle = 0) const;
  void Place(int id, int x, int y, int cx, int cy) const;

  // The client area made width by height (96-dpi pixels; ...Pixels: the dialog's own).
  void SizeClient(int width, int height, DialogPlace place) const;
  void SizeClientPixels(int width, int height, DialogPlace place) const;

  // The text's extent in the dialog's font and pixels, wrapped at maxWidth pixels when one is
  // given (0: one line).
  SIZE MeasureText(const char* text, int maxWidth = 0) const;

 private:
  HWND dialog_;
  int dpi_;
};
