#include "services/base.h"
#include "services/password_dialog.h"

#include "kestrelia_lang.h"
#include "services/dialog_template.h"
#include "services/log.h"

#include <cstring>

namespace {

struct PasswordDialogData {
  char* typed;  // the caller's kPathBuf buffer: what was typed, when OK ended the dialog
};

// Pixel layout: the dialog is laid out in pixels, not dialog units, so the controls are
// created here rather than taken from the template.
constexpr int kWidth = 300, kHeight = 170;

HWND AddControl(HWND dialog, const char* cls, const char* text, DWORD style, DWORD exStyle, int x, int y, int cx,
                int cy, int id) {
  HWND control = CreateWindowExA(exStyle, cls, text, WS_CHILD | WS_VISIBLE | style, x, y, cx, cy, dialog,
                                 reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleA(nullptr),
                                 nullptr);
  SendMessageA(control, WM_SETFONT, SendMessageA(dialog, WM_GETFONT, 0, 0), FALSE);
  return control;
}

void InitPasswordDialog(HWND dialog) {
  int left = (GetSystemMetrics(SM_CXSCREEN) - kWidth) / 2;
  int top = (GetSystemMetrics(SM_CYSCREEN) - kHeight) / 2;
  SetWindowPos(dialog, HWND_TOP, left, top, kWidth, kHeight, 0);
  SetWindowTextA(dialog, "Kestrelia");
  AddControl(dialog, "STATIC", GetGenericText(17), 0, 0, 30, 63, 100, 20, -1);
  HWND edit = AddControl(dialog, "EDIT", "", WS_TABSTOP | WS_BORDER | ES_PASSWORD | ES_AUTOHSCROLL, 0, 150, 60, 100,
                         20, IDC_PASSWORD_EDIT);
  SendMessageA(edit, EM_LIMITTEXT, kPathBuf - 1, 0);
  AddControl(dialog, "BUTTON", GetGenericText(0), WS_TABSTOP | BS_DEFPUSHBUTTON, 0, 70, 100, 75, 23,
             IDC_PASSWORD_OK);
  AddControl(dialog, "BUTTON", GetGenericText(1), WS_TABSTOP | BS_PUSHBUTTON, 0, 155, 100, 75, 23,
             IDC_PASSWORD_CANCEL);
  SendMessageA(dialog, DM_SETDEFID, IDC_PASSWORD_OK, 0);
  SetFocus(edit);
}

void AcceptPassword(HWND dialog, PasswordDialogData* data) {
  GetDlgItemTextA(dialog, IDC_PASSWORD_EDIT, data->typed, kPathBuf);
  EndDialog(dialog, IDC_PASSWORD_OK);
}

void InitPasswordRoles(HWND dialog, LPARAM) { InitPasswordDialog(dialog); }
void AcceptPasswordRoles(HWND dialog, LPARAM parameter) {
  AcceptPassword(dialog, reinterpret_cast<PasswordDialogData*>(parameter));
}

}  // namespace

int PasswordDialog(HWND owner, char* typed) {
  PasswordDialogData data = {typed};
  static const OkCancelRoles kRoles = {IDC_PASSWORD_OK, IDC_PASSWORD_CANCEL, false, InitPasswordRoles,
                                       AcceptPasswordRoles};
  INT_PTR result =
      RunOkCancelDialog(ModalDialogFrame(nullptr, 200, 110), owner, kRoles, reinterpret_cast<LPARAM>(&data));
  if (result == -1) Log(1, GetVerbose(), "PasswordDialog: DialogBoxIndirectParam failed %lu", GetLastError());
  return static_cast<int>(result);
}
