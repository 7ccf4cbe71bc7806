// A listing's reports reach the window by posted messages; an open that comes while an
// earlier listing's last reports still wait in the queue must not get them.
#include "services/base.h"

#include <gtest/gtest.h>

#include "model/app_state.h"
#include "model/view_hooks.h"
#include "res/resource.h"
#include "test_support.h"
#include "ui/listing_view.h"

#include <thread>

namespace {

int g_finished;  // finished listings the window showed (each applies the kept sort order)
void CountFinished() { ++g_finished; }

LRESULT CALLBACK ListingWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_APP_LISTING_EVENT) {
    HandleListingEvent(wParam, lParam);
    return 0;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

void PumpQueued() {
  MSG msg;
  while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&msg);
}

// Each listing reports from a thread of its own, as the open starts it.
void ListOnItsThread(ArchiveControlBlock* block) {
  std::thread([block] {
    GetViewHooks().rows.publish(block);
    GetViewHooks().rows.finished(block);
    GetViewHooks().rows.released(block);
  }).join();
}

TEST(ListingEvents, ReportsOfAListingSupersededBeforeTheyArriveAreDropped) {
  WNDCLASSA wc = {};
  wc.lpfnWndProc = ListingWindowProc;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.lpszClassName = "KestreliaListingEventsTest";
  RegisterClassA(&wc);
  HWND window = CreateWindowExA(0, wc.lpszClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, wc.hInstance, nullptr);
  ASSERT_NE(window, nullptr);
  HiddenEntryList rows;
  ArchiveControlBlock block = {};
  block.list = rows.list;
  InstallListingViews(window);
  GetViewHooks().applyStoredSort = CountFinished;

  // The first listing ends; before its reports are handled, a second open clears the rows.
  GetViewHooks().rows.clear(&block);
  ListOnItsThread(&block);
  GetViewHooks().rows.clear(&block);
  PumpQueued();
  EXPECT_EQ(g_finished, 0) << "the first listing's end reached the second's rows";

  ListOnItsThread(&block);
  PumpQueued();
  EXPECT_EQ(g_finished, 1);

  // Without a window every report is shown at once, whatever came before.
  InstallListingViews(nullptr);
  GetViewHooks().rows.clear(&block);
  GetViewHooks().rows.finished(&block);
  GetViewHooks().rows.finished(&block);
  EXPECT_EQ(g_finished, 3);
  DestroyWindow(window);
}

}  // namespace
