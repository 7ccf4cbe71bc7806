#include "services/base.h"
#include "services/overwrite_dialog.h"

#include "services/dialog_template.h"
#include "services/log.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr int kButtons = 6;
// Answers in the order the buttons stand: the ones that write, the ones that keep, then Cancel.
constexpr int kShownOrder[kButtons] = {0, 1, 2, 4, 5, 3};

struct OverwriteDialogData {
  const char* text;
  const char* title;
  std::string labels[kButtons];
};

// Pixels at 96 dots per inch; a button is wider where its label needs it.
constexpr int kMargin = 12, kButtonWidth = 90, kButtonHeight = 23, kGap = 8, kButtonPadding = 16;

// The text may be a long path: the dialog grows to fit it, up to most of the screen, and
// wraps what is still longer.
void InitOverwriteDialog(HWND dialog, const OverwriteDialogData* data) {
  DialogLayout layout(dialog);
  SetWindowTextA(dialog, data->title);
  int margin = layout.Scale(kMargin), gap = layout.Scale(kGap), buttonHeight = layout.Scale(kButtonHeight);
  int buttonWidth = layout.Scale(kButtonWidth), shown = 0;
  for (const std::string& label : data->labels) {
    if (label.empty()) continue;  // a caller that offers fewer answers
    ++shown;
    buttonWidth = std::max<int>(buttonWidth, layout.MeasureText(label.c_str()).cx + layout.Scale(kButtonPadding));
  }
  int buttonsWidth = shown * buttonWidth + (shown - 1) * gap;
  SIZE textSize = layout.MeasureText(data->text, GetSystemMetrics(SM_CXSCREEN) * 3 / 4);
  int clientWidth = 2 * margin + std::max<int>(textSize.cx, buttonsWidth);
  int clientHeight = 3 * margin + textSize.cy + buttonHeight;

  RECT text = {margin, margin, clientWidth - margin, margin + textSize.cy};
  layout.AddAt("STATIC", data->text, SS_LEFT | SS_NOPREFIX, IDC_OVERWRITE_TEXT, text);
  int x = (clientWidth - buttonsWidth) / 2, y = text.bottom + margin;
  for (int answer : kShownOrder) {
    if (data->labels[answer].empty()) continue;
    RECT r = {x, y, x + buttonWidth, y + buttonHeight};
    layout.AddAt("BUTTON", data->labels[answer].c_str(),
                 WS_TABSTOP | (answer == 0 ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON), IDC_OVERWRITE_FIRST + answer, r);
    x += buttonWidth + gap;
  }
  SendMessageA(dialog, DM_SETDEFID, IDC_OVERWRITE_FIRST, 0);
  layout.SizeClientPixels(clientWidth, clientHeight, DialogPlace::kScreenCentre);
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
