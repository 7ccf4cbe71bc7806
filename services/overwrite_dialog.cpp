#include "services/base.h"
#include "services/overwrite_dialog.h"

#include "services/dialog_template.h"
#include "services/log.h"

#include <cstring>
#include <string>

namespace {

constexpr int kButtons = 4;

struct OverwriteDialogData {
  const char* text;
  const char* title;
  std::string labels[kButtons];
};

// Pixels.
constexpr int kMargin = 12, kButtonWidth = 90, kButtonHeight = 23, kGap = 8;

HWND AddControl(HWND dialog, const char* cls, const char* text, DWORD style, const RECT& r, int id) {
  HWND control = CreateWindowExA(0, cls, text, WS_CHILD | WS_VISIBLE | style, r.left, r.top, r.right - r.left,
                                 r.bottom - r.top, dialog, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                 GetModuleHandleA(nullptr), nullptr);
  SendMessageA(control, WM_SETFONT, SendMessageA(dialog, WM_GETFONT, 0, 0), FALSE);
  return control;
}

// The text may be a long path: the dialog grows to fit it, up to most of the screen, and
// wraps what is still longer.
void InitOverwriteDialog(HWND dialog, const OverwriteDialogData* data) {
  SetWindowTextA(dialog, data->title);
  int buttonsWidth = kButtons * kButtonWidth + (kButtons - 1) * kGap;
  int maxText = GetSystemMetrics(SM_CXSCREEN) * 3 / 4;
  RECT textRect = {0, 0, maxText, 0};
  HDC dc = GetDC(dialog);
  HGDIOBJ old = SelectObject(dc, reinterpret_cast<HGDIOBJ>(SendMessageA(dialog, WM_GETFONT, 0, 0)));
  DrawTextA(dc, data->text, -1, &textRect, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
  SelectObject(dc, old);
  ReleaseDC(dialog, dc);
  int clientWidth = 2 * kMargin + (textRect.right > buttonsWidth ? textRect.right : buttonsWidth);
  int clientHeight = 3 * kMargin + textRect.bottom + kButtonHeight;

  RECT text = {kMargin, kMargin, clientWidth - kMargin, kMargin + textRect.bottom};
  AddControl(dialog, "STATIC", data->text, SS_LEFT | SS_NOPREFIX, text, IDC_OVERWRITE_TEXT);
  int x = (clientWidth - buttonsWidth) / 2, y = text.bottom + kMargin;
  for (int i = 0; i < kButtons; ++i) {
    RECT r = {x, y, x + kButtonWidth, y + kButtonHeight};
    AddControl(dialog, "BUTTON", data->labels[i].c_str(), WS_TABSTOP | (i == 0 ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON), r,
               IDC_OVERWRITE_FIRST + i);
    x += kButtonWidth + kGap;
  }
  SendMessageA(dialog, DM_SETDEFID, IDC_OVERWRITE_FIRST, 0);

  RECT frame = {0, 0, clientWidth, clientHeight};
  AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrA(dialog, GWL_STYLE)), FALSE,
                     static_cast<DWORD>(GetWindowLongPtrA(dialog, GWL_EXSTYLE)));
  int width = frame.right - frame.left, height = frame.bottom - frame.top;
  SetWindowPos(dialog, HWND_TOP, (GetSystemMetrics(SM_CXSCREEN) - width) / 2,
               (GetSystemMetrics(SM_CYSCREEN) - height) / 2, width, height, 0);
  SetFocus(GetDlgItem(dialog, IDC_OVERWRITE_FIRST));
}

INT_PTR CALLBACK OverwriteDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      InitOverwriteDialog(dialog, reinterpret_cast<const OverwriteDialogData*>(lParam));
      SetForegroundWindow(dialog);
      return FALSE;
    case WM_COMMAND: {
      int id = LOWORD(wParam);
      if (id >= IDC_OVERWRITE_FIRST && id < IDC_OVERWRITE_FIRST + kButtons) {
        EndDialog(dialog, id - IDC_OVERWRITE_FIRST);
        return TRUE;
      }
      if (id == IDCANCEL) {
        EndDialog(dialog, -1);
        return TRUE;
      }
      return FALSE;
    }
    case WM_CLOSE:
      EndDialog(dialog, -1);
      return TRUE;
    default:
      return FALSE;
  }
}

void SplitLabels(const char* labels, std::string (&out)[kButtons]) {
  const char* p = labels ? labels : "";
  for (int i = 0; i < kButtons; ++i) {
    const char* end = strchr(p, '\n');
    if (!end) {
      out[i] = p;
      p += strlen(p);
      continue;
    }
    out[i].assign(p, end);
    p = end + 1;
  }
}

}  // namespace

int OverwriteDialog(HWND owner, const char* text, const char* title, const char* labels) {
  OverwriteDialogData data = {text ? text : "", title ? title : "", {}};
  SplitLabels(labels, data.labels);
  DialogFrame frame = ModalDialogFrame(nullptr, 200, 80);
  frame.exStyle = WS_EX_TOPMOST;
  INT_PTR result = RunTemplateDialog(frame, owner, OverwriteDialogProc, reinterpret_cast<LPARAM>(&data));
  if (result < -1 || result >= kButtons) result = -1;
  if (result == -1) Log(5, GetVerbose(), "OverwriteDialog: closed without an answer");
  return static_cast<int>(result);
}
