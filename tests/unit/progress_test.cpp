#include "services/base.h"

#include "services/pending_work.h"
#include "services/progress.h"
#include "test_support.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string ControlText(HWND dialog, int id) {
  char text[kPathBuf] = "";
  GetWindowTextA(GetDlgItem(dialog, id), text, sizeof text);
  return text;
}

PBRANGE BarRange(HWND dialog) {
  PBRANGE range = {};
  SendMessageA(GetDlgItem(dialog, IDC_PROGRESS_BAR), PBM_GETRANGE, TRUE, reinterpret_cast<LPARAM>(&range));
  return range;
}

void ClickIcon(HWND dialog, int downX, int upX) {
  HWND icon = GetDlgItem(dialog, IDC_PROGRESS_EXPAND_ICON);
  SendMessageA(icon, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(downX, 40));
  SendMessageA(icon, WM_LBUTTONUP, 0, MAKELPARAM(upX, 40));
}

void ClickCancel(HWND dialog) {
  SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(IDC_PROGRESS_CANCEL, BN_CLICKED),
               reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDC_PROGRESS_CANCEL)));
}

class ProgressTest : public testing::Test {
 protected:
  HWND Start(bool withCancel) {
    StartProgressDialog(withCancel, nullptr);
    EXPECT_TRUE(PumpUntil([] { return IsProgressDialogReady(); }));
    dialog_ = GetProgressDialog();
    return dialog_;
  }

  void TearDown() override {
    if (GetProgressDialog()) CloseProgressDialog();
    SetShowProgressDialog(true);
    // The next test's dialog must not meet this one's window still closing.
    if (dialog_) {
      EXPECT_TRUE(PumpUntil([this] { return !IsWindow(dialog_); }));
    }
  }

  HWND dialog_ = nullptr;
};

TEST_F(ProgressTest, RangeIsSetOnceAndOnlyOnceTheMinimumIsThere) {
  HWND dialog = Start(true);
  ASSERT_NE(dialog, nullptr);
  SetProgressMaximum(50);
  EXPECT_EQ(BarRange(dialog).iHigh, 100) << "no range before the minimum";
  SetProgressMinimum(10);
  EXPECT_EQ(BarRange(dialog).iLow, 10);
  EXPECT_EQ(BarRange(dialog).iHigh, 50);

  SetProgressMinimum(3);
  SetProgressMaximum(99);
  EXPECT_EQ(BarRange(dialog).iLow, 10);
  EXPECT_EQ(BarRange(dialog).iHigh, 50);
  for (int i = 0; i < 3; ++i) ExecuteProgressStep(dialog);
  ExecuteProgressPos(dialog, 17);
  ExecuteProgressStep(dialog);
  EXPECT_EQ(GetProgressPos(dialog), 18);
  EXPECT_EQ(GetProgressPos(nullptr), -1);

  CloseProgressDialog();
  EXPECT_EQ(GetProgressDialog(), nullptr);
  EXPECT_TRUE(PumpUntil([dialog] { return !IsWindow(dialog); }));
}

bool BarMarquee(HWND dialog) { return (GetWindowLongA(GetDlgItem(dialog, IDC_PROGRESS_BAR), GWL_STYLE) & PBS_MARQUEE) != 0; }

// A detail and a marquee asked for before the dialog exists are applied once it does, and
// only to that dialog; the thread's own initial detail too, and its buffer is emptied.
TEST_F(ProgressTest, RequestsGivenBeforeTheDialogAreAppliedAtInit) {
  SetProgressDetail("waiting for the dialog");
  SetProgressMarquee(true);
  EXPECT_TRUE(IsProgressMarquee());
  HWND dialog = Start(true);
  EXPECT_EQ(ControlText(dialog, IDC_PROGRESS_DETAIL), "waiting for the dialog");
  EXPECT_TRUE(BarMarquee(dialog));
  SetProgressMarquee(false);
  EXPECT_FALSE(BarMarquee(dialog));
  SetProgressMarquee(true);
  EXPECT_TRUE(BarMarquee(dialog));
  CloseProgressDialog();
  ASSERT_TRUE(PumpUntil([dialog] { return !IsWindow(dialog); }));
  EXPECT_FALSE(IsProgressMarquee()) << "the closed dialog's marquee is no request for the next";
  char detail[kPathBuf] = "given to the thread";
  HANDLE thread = CreateThread(nullptr, 0, ProgressDialogThread, detail, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  CloseHandle(thread);
  ASSERT_TRUE(PumpUntil([] { return IsProgressDialogReady(); }));
  dialog_ = GetProgressDialog();
  EXPECT_EQ(ControlText(dialog_, IDC_PROGRESS_DETAIL), "given to the thread");
  EXPECT_EQ(detail[0], '\0');
  SetProgressSecondLine("second");
  EXPECT_EQ(ControlText(dialog_, IDC_PROGRESS_SECOND_LINE), "second");
  EXPECT_FALSE(BarMarquee(dialog_));
}

// Cancel, its button, the close box, or the program itself: the dialog goes, the flag stays
// set until the worker closes its side.
TEST_F(ProgressTest, CancelStaysSetUntilTheWorkerCloses) {
  for (int way = 0; way < 4; ++way) {
    SCOPED_TRACE(way);
    HWND dialog = Start(way < 3);
    SetProgressMinimum(0);
    SetProgressMaximum(5);
    if (way == 0) ClickCancel(dialog);
    if (way == 1) SendMessageA(GetDlgItem(dialog, IDC_PROGRESS_CANCEL), BM_CLICK, 0, 0);
    if (way == 2) SendMessageA(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
    if (way == 3) CancelProgress(1);
    EXPECT_TRUE(PumpUntil([dialog] { return !IsWindow(dialog); }));
    EXPECT_EQ(GetProgressDialog(), nullptr);
    EXPECT_EQ(GetProgressMinimum(), -1);
    EXPECT_EQ(GetProgressMaximum(), -1);
    EXPECT_EQ(IsCancelledByUser(), 1) << "still set after the dialog has gone";
    if (way == 3)
      CloseProgressDialog();
    else
      CloseProgressDialogAfterCancel();
    EXPECT_EQ(IsCancelledByUser(), 0);
  }
}

TEST_F(ProgressTest, DialogWithoutCancelIgnoresTheUsersClose) {
  HWND dialog = Start(false);
  SendMessageA(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  SendMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
  ClickIcon(dialog, 10, 10);
  EXPECT_EQ(GetProgressDialog(), dialog);
  EXPECT_EQ(IsCancelledByUser(), 0);
  CloseProgressDialog();
  EXPECT_TRUE(PumpUntil([dialog] { return !IsWindow(dialog); }));
}

// Closed before the dialog thread has even made its window: the close waits for it.
TEST_F(ProgressTest, CloseRightAfterStartCompletes) {
  StartProgressDialog(true, nullptr);
  CloseProgressDialogAfterCancel();
  EXPECT_EQ(GetProgressDialog(), nullptr);
  StartProgressDialog(false, nullptr);
  CloseProgressDialog();
  EXPECT_EQ(GetProgressDialog(), nullptr);
}

// A worker following the protocol: dialog, range, per item text + work + step + poll, close.
struct ProtocolJob {
  int items;
  int cancelAt;
  HANDLE atCancelPoint;
  HANDLE resume;
  int done;
  int cancelled;
};

DWORD WINAPI ProtocolWorkerThread(LPVOID parameter) {
  ProtocolJob* job = static_cast<ProtocolJob*>(parameter);
  StartProgressDialog(true, nullptr);
  SetProgressMinimum(0);
  SetProgressMaximum(job->items);
  for (int i = 0; i < job->items; ++i) {
    if (IsCancelledByUser()) {
      job->cancelled = 1;
      break;
    }
    char name[kPathBuf];
    snprintf(name, sizeof name, "folder/item%03d.txt", i);
    SetProgressTitle(name);
    if (i == job->cancelAt) {
      SetEvent(job->atCancelPoint);
      WaitForSingleObject(job->resume, 20000);
    }
    ++job->done;
    ExecuteProgressStep(GetProgressDialog());
  }
  if (job->cancelled)
    CloseProgressDialogAfterCancel();
  else
    CloseProgressDialog();
  return 0;
}

TEST_F(ProgressTest, WorkerStopsAtTheUsersCancel) {
  ProtocolJob job = {
      40, 20, CreateEventA(nullptr, TRUE, FALSE, nullptr), CreateEventA(nullptr, TRUE, FALSE, nullptr), 0, 0};
  HANDLE thread = CreateThread(nullptr, 0, ProtocolWorkerThread, &job, 0, nullptr);
  ASSERT_EQ(WaitForSingleObject(job.atCancelPoint, 60000), WAIT_OBJECT_0);
  HWND dialog = GetProgressDialog();
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(ControlText(dialog, IDC_PROGRESS_TITLE), "folder/item020.txt");
  ClickCancel(dialog);
  SetEvent(job.resume);
  ASSERT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
  CloseHandle(thread);
  CloseHandle(job.atCancelPoint);
  CloseHandle(job.resume);
  EXPECT_EQ(job.done, 21) << "the item under way finishes, the next poll stops";
  EXPECT_EQ(job.cancelled, 1);
  EXPECT_EQ(IsCancelledByUser(), 0) << "the worker's close clears the flag";
  EXPECT_EQ(GetProgressDialog(), nullptr);
  EXPECT_TRUE(PumpUntil([dialog] { return !IsWindow(dialog); }));
}

int g_repaints = 0;
void CountRepaint() { ++g_repaints; }

// Each run's node goes when its own event is set, whatever the order; the status bar is
// repainted while any node is left and the repaint thread ends with the last.
TEST(PendingWork, NodesGoWithTheirEventsAndTheRepaintEndsWithTheLast) {
  SetPendingWorkRepaint(CountRepaint);
  HANDLE first = CreateEventA(nullptr, TRUE, FALSE, nullptr), second = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  int a = AddPendingWork(first), b = AddPendingWork(second);
  EXPECT_NE(a, 0);
  EXPECT_NE(b, a);
  EXPECT_EQ(AddPendingWork(nullptr), 0);
  EXPECT_EQ(CountPendingWork(), 2u);
  EXPECT_TRUE(IsPendingWorkRepaintRunning());
  ASSERT_TRUE(PumpUntil([] { return g_repaints > 0; }));
  SetEvent(second);
  CloseHandle(second);
  ASSERT_TRUE(PumpUntil([] { return CountPendingWork() == 1; }));
  EXPECT_TRUE(IsPendingWorkRepaintRunning()) << "the first run still goes on";
  SetEvent(first);
  CloseHandle(first);
  ASSERT_TRUE(PumpUntil([] { return CountPendingWork() == 0 && !IsPendingWorkRepaintRunning(); }));
  SetPendingWorkRepaint(nullptr);
}

}  // namespace
