#include "services/base.h"
#include "services/progress.h"

#include "services/log.h"
#include "services/long_path.h"
#include "services/progress_internal.h"

#include <commctrl.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

// Word-sized values shared between the worker and the dialog thread without a lock: each
// is written by one side at a time and a stale read only costs one more 10 ms poll.
std::atomic<HWND> g_dialog{nullptr};
std::atomic<int> g_minimum{-1};
std::atomic<int> g_maximum{-1};
std::atomic<int> g_cancelled{0};
std::atomic<bool> g_show{true};
std::atomic<bool> g_initialising{false};
// Dialog threads started whose dialog has not registered yet: a worker that ends within the
// thread's start-up pause must still close the dialog that is about to appear.
std::atomic<int> g_starting{0};

char g_pendingDetail[kPathBuf] = "";
std::atomic<bool> g_pendingDetailSet{false};
// -1: no marquee request waits for the dialog; else its on (1) or off (0).
std::atomic<int> g_pendingMarquee{-1};

constexpr int kPollMs = 10;
constexpr int kRangeWaitMs = 1000;
constexpr int kCloseWaitMs = 60000;

HWND Bar(HWND dialog) { return dialog ? GetDlgItem(dialog, IDC_PROGRESS_BAR) : nullptr; }

void WaitForProgressDialog(int limitMs) {
  for (int waited = 0; waited < limitMs && !IsProgressDialogReady(); waited += kPollMs) Sleep(kPollMs);
}

// The UTF-8 texts go to the controls as UTF-16, so entry names in any script are shown as
// they are whatever code page the process has; a text that is there already is not set again.
void SetTextIfChanged(HWND control, const char* text) {
  std::wstring wanted = WideFromUtf8(text ? text : "");
  std::wstring current(static_cast<size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
  current.resize(static_cast<size_t>(GetWindowTextW(control, &current[0], static_cast<int>(current.size()))));
  if (current != wanted) SetWindowTextW(control, wanted.c_str());
}

void SetDialogText(int id, const char* text, int drawnBy) {
  HWND dialog = g_dialog;
  HWND control = dialog ? GetDlgItem(dialog, id) : nullptr;
  if (!control) return;
  SetTextIfChanged(control, text);
  InvalidateRect(GetDlgItem(dialog, drawnBy), nullptr, TRUE);
}

void ResetProgressState() {
  g_cancelled = 0;
  g_dialog = nullptr;
  g_minimum = -1;
  g_maximum = -1;
  // A request left over from this dialog must not show up in the next one.
  g_pendingDetailSet = false;
  g_pendingMarquee = -1;
}

void CloseProgress(bool stopOnCancel) {
  if (!stopOnCancel)
    for (int i = 0; i < kRangeWaitMs / kPollMs && g_initialising; ++i) Sleep(kPollMs);
  for (int waited = 0; waited < kCloseWaitMs; waited += kPollMs) {
    if (IsProgressDialogReady()) break;
    // A dialog thread that could not make its dialog leaves nothing to wait for.
    if (!IsProgressDialogStarted()) break;
    // Once the user's Cancel has ended the dialog there is nothing left to wait for.
    if (g_cancelled && (stopOnCancel || !g_dialog)) break;
    Sleep(kPollMs);
  }
  if (HWND dialog = g_dialog) SendMessageA(dialog, WM_APP_PROGRESS_CLOSE_FROM_CODE, 0, 0);
  ResetProgressState();
}

}  // namespace

void SetProgressMinimum(int value) {
  WaitForProgressDialog(kRangeWaitMs);
  if (g_minimum != -1) {
    Log(-1, GetVerbose(), "SetProgressMinimum: resetting of minimum (%d) not allowed!", g_minimum.load());
    return;
  }
  g_minimum = value;
  int maximum = g_maximum;
  if (value == -1 || maximum == -1) return;
  // The short form on purpose: a maximum that came first and exceeds 16 bits is cut here.
  if (HWND bar = Bar(g_dialog)) {
    SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(value, maximum));
    SendMessageA(bar, PBM_SETSTEP, 1, 0);
  }
}

void SetProgressMaximum(int value) {
  WaitForProgressDialog(kRangeWaitMs);
  if (!IsProgressDialogReady()) Sleep(kPollMs);
  if (g_maximum != -1) {
    Log(-1, GetVerbose(), "SetProgressMaximum: resetting of maximum (%d) not allowed!", g_maximum.load());
    return;
  }
  g_maximum = value;
  int minimum = g_minimum;
  if (minimum == -1 || value == -1) return;
  if (HWND bar = Bar(g_dialog)) {
    SendMessageA(bar, PBM_SETRANGE32, minimum, value);
    SendMessageA(bar, PBM_SETSTEP, 1, 0);
  }
}

int GetProgressMinimum() { return g_minimum; }
int GetProgressMaximum() { return g_maximum; }

void ExecuteProgressStep(HWND dialog) {
  HWND bar = Bar(dialog);
  if (!bar) {
    Log(-1, GetVerbose(), "ExecuteProgressStep: no hProgress");
    return;
  }
  SendMessageA(bar, PBM_STEPIT, 0, 0);
}

void ExecuteProgressPos(HWND dialog, int position) {
  HWND bar = Bar(dialog);
  if (!bar) {
    Log(-1, GetVerbose(), "ExecuteProgressPos: no hProgress");
    return;
  }
  SendMessageA(bar, PBM_SETPOS, position, 0);
}

void ExecuteProgressSteps(HWND dialog, int steps) {
  if (HWND bar = Bar(dialog)) SendMessageA(bar, PBM_DELTAPOS, static_cast<WPARAM>(steps), 0);
}

int GetProgressPos(HWND dialog) {
  HWND bar = Bar(dialog);
  if (!bar) {
    Log(-1, GetVerbose(), "GetProgressPos: no hProgress");
    return -1;
  }
  return static_cast<int>(SendMessageA(bar, PBM_GETPOS, 0, 0));
}

HWND GetProgressDialog() { return g_dialog; }

void SetProgressTitle(const char* text) { SetDialogText(IDC_PROGRESS_TITLE, text, IDC_PROGRESS_TITLE); }

void SetProgressSecondLine(const char* text) { SetDialogText(IDC_PROGRESS_SECOND_LINE, text, IDC_PROGRESS_SECOND_LINE); }

void SetProgressFigures(const char* text) { SetDialogText(IDC_PROGRESS_FIGURES, text, IDC_PROGRESS_FIGURES); }

void SetProgressDetail(const char* text) {
  HWND dialog = g_dialog;
  if (!dialog || !GetDlgItem(dialog, IDC_PROGRESS_DETAIL)) {
    snprintf(g_pendingDetail, sizeof g_pendingDetail, "%s", text ? text : "");
    g_pendingDetailSet = true;
    return;
  }
  // The detail has no face of its own: the title line draws it.
  SetDialogText(IDC_PROGRESS_DETAIL, text, IDC_PROGRESS_TITLE);
}

namespace {

void ApplyMarquee(HWND dialog, bool on) {
  HWND bar = Bar(dialog);
  if (!bar) return;
  LONG_PTR style = GetWindowLongPtrA(bar, GWL_STYLE);
  SetWindowLongPtrA(bar, GWL_STYLE, on ? style | PBS_MARQUEE : style & ~static_cast<LONG_PTR>(PBS_MARQUEE));
  // Every 100 ms; the bar keeps its range and position underneath for when it is turned off.
  SendMessageA(bar, PBM_SETMARQUEE, on ? TRUE : FALSE, 100);
}

}  // namespace

void SetProgressMarquee(bool on) {
  // Stored before the dialog is looked at: a dialog that registers after this look applies
  // it at its initialisation, and one whose bar is there already takes it here (twice is
  // harmless), so no order of the two threads loses the request.
  g_pendingMarquee = on ? 1 : 0;
  if (HWND dialog = g_dialog) ApplyMarquee(dialog, on);
}

bool IsProgressMarquee() {
  HWND bar = Bar(g_dialog);
  if (!bar) return g_pendingMarquee == 1;
  return (GetWindowLongPtrA(bar, GWL_STYLE) & PBS_MARQUEE) != 0;
}

void SetShowProgressDialog(bool show) {
  g_show = show;
  HWND dialog = g_dialog;
  if (!dialog) return;
  if (!show) {
    Sleep(kPollMs);
    ShowWindow(dialog, SW_HIDE);
  } else if (!IsWindowVisible(dialog)) {
    ShowWindow(dialog, SW_SHOWNA);
  }
}

bool IsShowProgressDialog() { return g_show; }

// A hidden dialog never becomes visible, and waiting the full limit for it helps nobody.
bool IsProgressDialogReady() {
  HWND dialog = g_dialog;
  if (!dialog || g_initialising) return false;
  return IsWindowVisible(dialog) || !g_show;
}

int IsCancelledByUser() { return g_cancelled; }

void CancelProgress(int value) {
  g_cancelled = value;
  if (!value) return;
  // Ends the dialog but leaves the flag for the worker to see; its close clears it.
  if (HWND dialog = g_dialog) SendMessageA(dialog, WM_APP_PROGRESS_CLOSE_FROM_CODE, 0, 0);
}

void CloseProgressDialog() { CloseProgress(false); }

void CloseProgressDialogAfterCancel() { CloseProgress(true); }

void CloseRunProgress(bool silent) {
  if (silent || !IsProgressDialogStarted()) return;
  if (IsCancelledByUser()) CloseProgressDialogAfterCancel();
  else CloseProgressDialog();
}

void BeginProgressDialogInit(HWND dialog) {
  g_cancelled = 0;
  g_initialising = true;
  if (g_dialog) Log(-1, GetVerbose(), "ExecuteProgressDialogProc: previous instance of ProgressDialog not quite removed!");
  // Recorded before the start is counted off, so a closer never sees neither.
  g_dialog = dialog;
  if (g_starting > 0) --g_starting;
}

void ApplyPendingProgressRequests(HWND dialog) {
  if (g_pendingDetailSet.exchange(false)) {
    SetTextIfChanged(GetDlgItem(dialog, IDC_PROGRESS_DETAIL), g_pendingDetail);
    g_pendingDetail[0] = '\0';
  }
  int marquee = g_pendingMarquee.exchange(-1);
  if (marquee >= 0) ApplyMarquee(dialog, marquee == 1);
}

void EndProgressDialogInit() { g_initialising = false; }

void NoteProgressDialogStarting(bool started) {
  if (started) ++g_starting;
  else if (g_starting > 0) --g_starting;
}

bool IsProgressDialogStarted() { return g_dialog != nullptr || g_starting > 0; }

void ProgressDialogEnded(HWND dialog, bool byUser) {
  if (byUser) g_cancelled = 1;
  HWND expected = dialog;
  // A newer dialog may already be recorded; its state is not this one's to reset.
  if (g_dialog.compare_exchange_strong(expected, nullptr)) {
    g_minimum = -1;
    g_maximum = -1;
  }
}

void ProgressDialogDestroyed(HWND dialog) {
  HWND expected = dialog;
  g_dialog.compare_exchange_strong(expected, nullptr);
}
