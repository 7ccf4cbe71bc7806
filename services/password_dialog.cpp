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

// The client area, in pixels at 96 dots per inch.
constexpr int kWidth = 290, kHeight = 110;

void InitPasswordDialog(HWND dialog) {
  DialogLayout layout(dialog);
  layout.SizeClient(kWidth, kHeight, DialogPlace::kScreenCentre);
  SetWindowTextA(dialog, "Kestrelia");
  layout.Add("STATIC", GetGenericText(KLANG_GEN_PASSWORD), 0, -1, 30, 28, 100, 20);
  HWND edit = layout.Add("EDIT", "", WS_TABSTOP | WS_BORDER | ES_PASSWORD | ES_AUTOHSCROLL, IDC_PASSWORD_EDIT, 150,
                         25, 100, 20);
  SendMessageA(edit, EM_LIMITTEXT, kPathBuf - 1, 0);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_OK), WS_TABSTOP | BS_DEFPUSHBUTTON, IDC_PASSWORD_OK, 70, 67, 75, 23);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_PASSWORD_CANCEL, 155, 67, 75,
             23);
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
