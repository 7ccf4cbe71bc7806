#include "services/base.h"
#include "services/progress.h"

#include "kestrelia_lang.h"
#include "services/dialog_template.h"
#include "services/log.h"
#include "services/progress_internal.h"
#include "services/worker.h"

#include <commctrl.h>
#include <windowsx.h>

#include <algorithm>
#include <string>

namespace {

// Layout in pixels at 96 dots per inch; scaled for the dialog's own resolution.
constexpr int kWidth = 500;
constexpr int kHeight = 200;
constexpr int kExpandedHeight = 222;
constexpr int kHeaderHeight = 60;
constexpr int kTitleWidth = 460;
constexpr int kSecondLineHeight = 22;
constexpr RECT kIconHitArea = {460, 30, 480, 50};
constexpr int kIconSize = 16;

// The dialog's own state, kept in its GWLP_USERDATA.
struct ProgressDialogWindow {
  bool withCancel;
  bool expanded;
  bool iconPressed;
  bool buttonPressed;
  int dpi;
};

// Created once, for the first dialog's resolution, and kept for the life of the process.
HFONT g_detailFont = nullptr;

ProgressDialogWindow* Window(HWND dialog) {
  return reinterpret_cast<ProgressDialogWindow*>(GetWindowLongPtrA(dialog, GWLP_USERDATA));
}

int Scale(const ProgressDialogWindow* w, int pixels) { return ScaleForDpi(pixels, w->dpi); }

HFONT DetailFont(const ProgressDialogWindow* w) {
  if (!g_detailFont)
    g_detailFont = CreateFontA(Scale(w, 16), 0, 0, 0, 900, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                               CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, DEFAULT_PITCH | FF_SWISS, "Tahoma");
  return g_detailFont;
}

// Places every control for the collapsed or expanded state; laid out again after a toggle,
// the bar keeps a wider right margin.
void LayoutProgressDialog(HWND dialog, bool again) {
  ProgressDialogWindow* w = Window(dialog);
  DialogLayout layout(dialog, w->dpi);
  bool x = w->expanded;
  int height = x ? kExpandedHeight : kHeight;
  if (again) layout.SizeClient(kWidth, height, DialogPlace::kStay);
  layout.Place(IDC_PROGRESS_BAR, 20, height / 2 + (x ? 11 : 0), kWidth - (again ? 60 : 40),
               MulDiv(GetSystemMetrics(SM_CYHSCROLL), 96, w->dpi));
  layout.Place(IDC_PROGRESS_TITLE, 0, 0, kTitleWidth, kHeaderHeight);
  layout.Place(IDC_PROGRESS_SECOND_LINE, 0, kHeaderHeight, kWidth, kSecondLineHeight);
  layout.Place(IDC_PROGRESS_FIGURES, 20, x ? 89 : 67, kWidth - 40, 20);
  layout.Place(IDC_PROGRESS_EXPAND_ICON, kTitleWidth, 0, kWidth - kTitleWidth, kHeaderHeight);
  layout.Place(IDC_PROGRESS_TOP_LINE, 0, x ? 83 : 61, kWidth, 2);
  layout.Place(IDC_PROGRESS_CANCEL, 210, x ? 152 : 130, 80, x ? 23 : 22);
  layout.Place(IDC_PROGRESS_BUTTON_LINE, 0, x ? 142 : 120, kWidth, x ? 3 : 2);
  if (HWND second = GetDlgItem(dialog, IDC_PROGRESS_SECOND_LINE)) ShowWindow(second, x ? SW_SHOWNA : SW_HIDE);
  InvalidateRect(dialog, nullptr, TRUE);
}

void OnExpandIconMouse(HWND dialog, bool down, POINT pt) {
  ProgressDialogWindow* w = Window(dialog);
  if (!w || !w->withCancel) return;
  bool inside = pt.x >= Scale(w, kIconHitArea.left) && pt.x <= Scale(w, kIconHitArea.right) &&
                pt.y >= Scale(w, kIconHitArea.top) && pt.y <= Scale(w, kIconHitArea.bottom);
  if (down) {
    w->iconPressed = inside;
    return;
  }
  bool toggle = w->iconPressed && inside;
  w->iconPressed = false;
  if (!toggle) return;
  w->expanded = !w->expanded;
  LayoutProgressDialog(dialog, true);
  InvalidateRect(GetDlgItem(dialog, IDC_PROGRESS_EXPAND_ICON), nullptr, TRUE);
}

// A static only hears the mouse with SS_NOTIFY; its clicks are handed to the dialog in the
// dialog's coordinates, where the icon's area is defined.
LRESULT CALLBACK ExpandIconProc(HWND icon, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR) {
  if (msg == WM_LBUTTONDOWN || msg == WM_LBUTTONDBLCLK || msg == WM_LBUTTONUP) {
    POINT pt = {GET_X_LPARAM(lp), GET_Y_LPARAM(lp)};
    HWND dialog = GetParent(icon);
    MapWindowPoints(icon, dialog, &pt, 1);
    OnExpandIconMouse(dialog, msg != WM_LBUTTONUP, pt);
    return 0;
  }
  if (msg == WM_NCDESTROY) RemoveWindowSubclass(icon, ExpandIconProc, 0);
  return DefSubclassProc(icon, msg, wp, lp);
}

// Created without a place: the layout places them for the collapsed or expanded state.
void CreateProgressControls(HWND dialog, ProgressDialogWindow* w) {
  DialogLayout layout(dialog, w->dpi);
  HWND bar = layout.Add(PROGRESS_CLASSA, "", 0, IDC_PROGRESS_BAR, 0, 0, 0, 0);
  SendMessageA(bar, PBM_SETRANGE32, 0, 100);
  layout.Add("STATIC", "", SS_OWNERDRAW, IDC_PROGRESS_TITLE, 0, 0, 0, 0);
  // The detail is only a store of text that the title line draws.
  ShowWindow(layout.Add("STATIC", "", 0, IDC_PROGRESS_DETAIL, 0, 0, 0, 0), SW_HIDE);
  layout.Add("STATIC", "", SS_OWNERDRAW, IDC_PROGRESS_SECOND_LINE, 0, 0, 0, 0);
  layout.Add("STATIC", "", SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, IDC_PROGRESS_FIGURES, 0, 0, 0, 0);
  HWND icon = layout.Add("STATIC", "", SS_OWNERDRAW | SS_NOTIFY, IDC_PROGRESS_EXPAND_ICON, 0, 0, 0, 0);
  SetWindowSubclass(icon, ExpandIconProc, 0, 0);
  layout.Add("STATIC", "", SS_ETCHEDHORZ, IDC_PROGRESS_TOP_LINE, 0, 0, 0, 0);
  DetailFont(w);
  if (w->withCancel) {
    layout.Add("BUTTON", GetGenericText(KLANG_GEN_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_PROGRESS_CANCEL, 0, 0, 0, 0);
    layout.Add("STATIC", "", SS_ETCHEDHORZ, IDC_PROGRESS_BUTTON_LINE, 0, 0, 0, 0);
  }
}

void ExecuteProgressDialogProc(HWND dialog, bool withCancel) {
  ProgressDialogWindow* w = new ProgressDialogWindow{withCancel, false, false, false, WindowDpi(dialog)};
  SetWindowLongPtrA(dialog, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(w));
  BeginProgressDialogInit(dialog);

  DialogLayout(dialog, w->dpi).SizeClient(kWidth, kHeight, DialogPlace::kScreenCentre);
  CreateProgressControls(dialog, w);
  LayoutProgressDialog(dialog, false);
  SetWindowTextA(dialog, GetGenericText(KLANG_GEN_PROGRESS_TITLE));

  if (!IsShowProgressDialog()) {
    Log(-1, GetVerbose(), "ExecuteProgressDialogProc: Should not show progress dialog");
    ShowWindow(dialog, SW_HIDE);
  }
  ApplyPendingProgressRequests(dialog);
  EndProgressDialogInit();
}

std::wstring ControlText(HWND control) {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
  text.resize(static_cast<size_t>(GetWindowTextW(control, &text[0], static_cast<int>(text.size()))));
  return text;
}

void DrawTitleLine(HWND dialog, const DRAWITEMSTRUCT* item) {
  const ProgressDialogWindow* w = Window(dialog);
  RECT r = item->rcItem;
  std::wstring text = ControlText(GetDlgItem(dialog, IDC_PROGRESS_DETAIL));
  HGDIOBJ old = SelectObject(item->hDC, DetailFont(w));
  RECT detail = {r.left + Scale(w, 10), r.top + Scale(w, 5), r.right - Scale(w, 10), r.top + Scale(w, 30)};
  DrawTextW(item->hDC, text.c_str(), -1, &detail, DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);

  text = ControlText(item->hwndItem);
  std::replace(text.begin(), text.end(), L'/', L'\\');
  SelectObject(item->hDC, reinterpret_cast<HFONT>(SendMessageA(dialog, WM_GETFONT, 0, 0)));
  RECT title = {r.left + Scale(w, 20), r.top + Scale(w, 30), r.right - Scale(w, 10), r.bottom};
  DrawTextW(item->hDC, text.c_str(), -1, &title, DT_SINGLELINE | DT_NOPREFIX | DT_PATH_ELLIPSIS);
  SelectObject(item->hDC, old);
}

void DrawSecondLine(HWND dialog, const DRAWITEMSTRUCT* item) {
  const ProgressDialogWindow* w = Window(dialog);
  std::wstring text = ControlText(item->hwndItem);
  HGDIOBJ old = SelectObject(item->hDC, reinterpret_cast<HFONT>(SendMessageA(dialog, WM_GETFONT, 0, 0)));
  RECT r = item->rcItem;
  r.left += Scale(w, 20);
  r.top += Scale(w, 5);
  DrawTextW(item->hDC, text.c_str(), -1, &r, DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);
  SelectObject(item->hDC, old);
}

// A chevron pointing down offers to expand, pointing up to collapse.
void DrawExpandIcon(HWND dialog, const DRAWITEMSTRUCT* item) {
  const ProgressDialogWindow* w = Window(dialog);
  if (!w->withCancel) return;
  int size = Scale(w, kIconSize);
  int x = item->rcItem.left + Scale(w, 5) + (w->iconPressed ? 1 : 0);
  int y = item->rcItem.top + Scale(w, 30) + (w->iconPressed ? 1 : 0);
  HPEN frame = CreatePen(PS_SOLID, 1, GetSysColor(COLOR_BTNSHADOW));
  HPEN arrow = CreatePen(PS_SOLID, (std::max)(2, Scale(w, 2)), GetSysColor(COLOR_BTNTEXT));
  HGDIOBJ oldPen = SelectObject(item->hDC, frame);
  HGDIOBJ oldBrush = SelectObject(item->hDC, GetStockObject(NULL_BRUSH));
  Ellipse(item->hDC, x, y, x + size, y + size);
  SelectObject(item->hDC, arrow);
  int quarter = size / 4;
  int rise = size / 8;  // half the chevron's height
  int mid = y + size / 2;
  int wing = w->expanded ? mid + rise : mid - rise;
  int tip = w->expanded ? mid - rise : mid + rise;
  POINT stroke[3] = {{x + quarter, wing}, {x + size / 2, tip}, {x + size - quarter, wing}};
  Polyline(item->hDC, stroke, 3);
  SelectObject(item->hDC, oldBrush);
  SelectObject(item->hDC, oldPen);
  DeleteObject(arrow);
  DeleteObject(frame);
}

BOOL OnDrawItem(HWND dialog, const DRAWITEMSTRUCT* item) {
  if (!Window(dialog)) return FALSE;
  FillRect(item->hDC, &item->rcItem, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  SetBkMode(item->hDC, TRANSPARENT);
  SetTextColor(item->hDC, GetSysColor(COLOR_WINDOWTEXT));
  switch (item->CtlID) {
    case IDC_PROGRESS_TITLE: DrawTitleLine(dialog, item); break;
    case IDC_PROGRESS_SECOND_LINE: DrawSecondLine(dialog, item); break;
    case IDC_PROGRESS_EXPAND_ICON: DrawExpandIcon(dialog, item); break;
    default: return FALSE;
  }
  return TRUE;
}

void EndByUser(HWND dialog, int code) {
  ProgressDialogWindow* w = Window(dialog);
  if (!w || !w->withCancel) return;  // without a Cancel button only the worker ends it
  w->buttonPressed = code == IDC_PROGRESS_CANCEL;
  EndDialog(dialog, code);
  ProgressDialogEnded(dialog, true);
}

INT_PTR CALLBACK ProgressDialogProc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
  switch (msg) {
    case WM_INITDIALOG:
      ExecuteProgressDialogProc(dialog, lp != 0);
      return TRUE;
    case WM_WINDOWPOSCHANGING:
      // The modal loop shows a dialog on its first idle moment; a hidden one must stay so.
      if (!IsShowProgressDialog()) reinterpret_cast<WINDOWPOS*>(lp)->flags &= ~SWP_SHOWWINDOW;
      return FALSE;
    case WM_DRAWITEM:
      return OnDrawItem(dialog, reinterpret_cast<const DRAWITEMSTRUCT*>(lp));
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
      OnExpandIconMouse(dialog, msg == WM_LBUTTONDOWN, POINT{GET_X_LPARAM(lp), GET_Y_LPARAM(lp)});
      return TRUE;
    case WM_COMMAND:
      if (LOWORD(wp) == IDC_PROGRESS_CANCEL || LOWORD(wp) == IDCANCEL) EndByUser(dialog, LOWORD(wp));
      return TRUE;
    case WM_SYSCOMMAND:
      if ((wp & 0xFFF0) != SC_CLOSE) return FALSE;
      EndByUser(dialog, IDCANCEL);
      return TRUE;
    case WM_APP_PROGRESS_CLOSE_FROM_CODE:
      EndDialog(dialog, 0);
      ProgressDialogEnded(dialog, false);
      return TRUE;
    case WM_DESTROY:
      ProgressDialogDestroyed(dialog);
      delete Window(dialog);
      SetWindowLongPtrA(dialog, GWLP_USERDATA, 0);
      return FALSE;
  }
  return FALSE;
}

// The foreground window owns the dialog (and is disabled while it runs), but only when it
// belongs to this process: another program's window must not be tied to this one.
HWND ForegroundOwner() {
  HWND foreground = GetForegroundWindow();
  DWORD process = 0;
  if (foreground) GetWindowThreadProcessId(foreground, &process);
  return process == GetCurrentProcessId() ? foreground : nullptr;
}

void RunProgressDialog(bool withCancel) {
  // Gives a worker that ends at once the chance to finish before anything is drawn.
  Sleep(50);
  INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&controls);
  DialogFrame frame = ModalDialogFrame(GetGenericText(KLANG_GEN_PROGRESS_TITLE), 250, 100);
  // Without a Cancel button there is no close box either.
  if (!withCancel) frame.style &= ~static_cast<DWORD>(WS_SYSMENU);
  INT_PTR result = RunTemplateDialog(frame, ForegroundOwner(), ProgressDialogProc, withCancel ? 1 : 0);
  if (result == -1) {
    Log(-1, GetVerbose(), "ProgressDialogThread: cannot create the dialog (%lu)", GetLastError());
    NoteProgressDialogStarting(false);
  }
}

}  // namespace

DWORD WINAPI ProgressDialogThread(LPVOID initialDetail) {
  char* detail = static_cast<char*>(initialDetail);
  if (detail) {
    SetProgressDetail(detail);
    detail[0] = '\0';
  }
  RunProgressDialog(true);
  return 0;
}

DWORD WINAPI ProgressDialogNoCancelThread(LPVOID unused) {
  if (unused) Log(-1, GetVerbose(), "ProgressDialogNoCancelThread called with valid Parameter - thats wrong!");
  RunProgressDialog(false);
  return 0;
}

void StartProgressDialog(bool withCancel, const char* detail) {
  // The text goes in as a pending detail now, so the caller's buffer need not outlive this.
  if (detail) SetProgressDetail(detail);
  NoteProgressDialogStarting(true);
  if (StartWorker("StartProgressDialog", withCancel ? ProgressDialogThread : ProgressDialogNoCancelThread, nullptr))
    return;
  NoteProgressDialogStarting(false);
}
