#include "services/base.h"
#include "services/password_dialog.h"

#include "kestrelia_lang.h"
#include "services/dialog_template.h"
#include "services/log.h"
#include "services/long_path.h"

#include <cstring>

namespace {

struct PasswordDialogData {
  char* typed;  // the caller's kPathBuf buffer: what was typed, when OK ended the dialog
};

PasswordSubject g_subject;

// The client area, in pixels at 96 dots per inch: a line each for the archive, the entry and
// a password that did not fit, then the box and the buttons, nothing left blank between.
constexpr int kWidth = 380, kMargin = 12, kLine = 18, kLabel = 80;

// A line of the subject; UTF-8 names go to the control as UTF-16, a long path loses its middle.
void AddSubjectLine(const DialogLayout& layout, const std::string& label, const std::string& text, int y) {
  HWND line = layout.Add("STATIC", "", SS_NOPREFIX | SS_PATHELLIPSIS, -1, kMargin, y, kWidth - 2 * kMargin, kLine);
  SetWindowTextW(line, WideFromUtf8((label.empty() ? text : label + " " + text).c_str()).c_str());
}

void InitPasswordDialog(HWND dialog) {
  DialogLayout layout(dialog);
  SetWindowTextA(dialog, "Kestrelia");
  const PasswordSubject& s = g_subject;
  int y = kMargin;
  if (!s.archive.empty()) {
    AddSubjectLine(layout, GetGenericText(KLANG_GEN_ARCHIVE_LABEL), s.archive, y);
    y += kLine;
  }
  if (!s.entry.empty()) {
    AddSubjectLine(layout, GetGenericText(KLANG_GEN_ENTRY_LABEL), s.entry, y);
    y += kLine;
  }
  if (s.wrongBefore) {
    AddSubjectLine(layout, "", GetMessageText(KLANG_MSG_WRONG_PASSWORD), y);
    y += kLine;
  }
  if (y > kMargin) y += 8;
  layout.Add("STATIC", GetGenericText(KLANG_GEN_PASSWORD), 0, -1, kMargin, y + 3, kLabel, 20);
  HWND edit = layout.Add("EDIT", "", WS_TABSTOP | WS_BORDER | ES_PASSWORD | ES_AUTOHSCROLL, IDC_PASSWORD_EDIT,
                         kMargin + kLabel, y, kWidth - 2 * kMargin - kLabel, 22);
  SendMessageA(edit, EM_LIMITTEXT, kPathBuf - 1, 0);
  y += 22 + 14;
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_OK), WS_TABSTOP | BS_DEFPUSHBUTTON, IDC_PASSWORD_OK,
             kWidth - kMargin - 2 * 80 - 8, y, 80, 24);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_PASSWORD_CANCEL,
             kWidth - kMargin - 80, y, 80, 24);
  layout.SizeClient(kWidth, y + 24 + kMargin, DialogPlace::kScreenCentre);
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

PasswordSubject& NextPasswordSubject() { return g_subject; }

int PasswordDialog(HWND owner, char* typed) {
  PasswordDialogData data = {typed};
  static const OkCancelRoles kRoles = {IDC_PASSWORD_OK, IDC_PASSWORD_CANCEL, false, InitPasswordRoles,
                                       AcceptPasswordRoles};
  INT_PTR result =
      RunOkCancelDialog(ModalDialogFrame(nullptr, 200, 110), owner, kRoles, reinterpret_cast<LPARAM>(&data));
  if (result == -1) Log(1, GetVerbose(), "PasswordDialog: DialogBoxIndirectParam failed %lu", GetLastError());
  return static_cast<int>(result);
}
