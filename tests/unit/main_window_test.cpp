// The main window's duties toward the rest of the desktop and toward its own workers: its
// place in the clipboard viewer chain, and closing while an extraction runs.
#include "services/base.h"

#include <gtest/gtest.h>

#include "app/main_state.h"
#include "app/mainwindow.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "test_support.h"
#include "ui/clipboard_chain.h"
#include "formats/archive_runs.h"
#include "jobs/extract_job.h"

#include <commctrl.h>
#include <ole2.h>

#include <algorithm>
#include <map>
#include <string>

namespace {

std::map<HWND, int> g_drawn;

LRESULT CALLBACK ViewerProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_DRAWCLIPBOARD) ++g_drawn[hwnd];
  if (HandleClipboardChainMessage(hwnd, message, wParam, lParam)) return 0;
  return DefWindowProcA(hwnd, message, wParam, lParam);
}

HWND MakeViewer() {
  static ATOM atom = [] {
    WNDCLASSA wc = {};
    wc.lpfnWndProc = ViewerProc;
    wc.hInstance = GetModuleHandleA(nullptr);
    wc.lpszClassName = "KestreliaTestViewer";
    return RegisterClassA(&wc);
  }();
  return atom ? CreateWindowA("KestreliaTestViewer", "", 0, 0, 0, 0, 0, nullptr, nullptr, GetModuleHandleA(nullptr),
                              nullptr)
              : nullptr;
}

// Changes the clipboard and serves the viewers until the last of the chain has heard of it.
void ChangeClipboard(const char* text, HWND last) {
  ASSERT_TRUE(OpenClipboard(nullptr));
  EmptyClipboard();
  size_t n = strlen(text) + 1;
  HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, n);
  memcpy(GlobalLock(memory), text, n);
  GlobalUnlock(memory);
  SetClipboardData(CF_TEXT, memory);
  CloseClipboard();
  EXPECT_TRUE(PumpUntil([last] { return g_drawn[last] >= 1; })) << "the change never reached the chain's end";
}

TEST(ClipboardChain, ChangesReachEveryViewerAndLeavingHandsTheChainOn) {
  HWND tail = MakeViewer(), middle = MakeViewer(), head = MakeViewer();
  ASSERT_TRUE(tail && middle && head);
  JoinClipboardChain(tail);
  JoinClipboardChain(middle);
  JoinClipboardChain(head);
  g_drawn.clear();
  ChangeClipboard("one", tail);
  EXPECT_GE(g_drawn[head], 1);
  EXPECT_GE(g_drawn[middle], 1) << "the head passes the change on";

  // The middle one leaves: the head now passes straight to the tail.
  LeaveClipboardChain(middle);
  g_drawn.clear();
  ChangeClipboard("two", tail);  // handed on past the one that left
  EXPECT_GE(g_drawn[head], 1);
  EXPECT_EQ(g_drawn[middle], 0);

  LeaveClipboardChain(head);
  LeaveClipboardChain(tail);
  for (HWND w : {tail, middle, head}) DestroyWindow(w);
}

// The close question is answered yes; the folder question names the scratch folder.
std::string g_folder;
int g_questions;
int AnswerYes(HWND, const char* text, const char*, UINT) {
  if (std::string(text) == GetMessageText(KLANG_MSG_CANCEL_RUNNING_QUESTION)) ++g_questions;
  return IDYES;
}
bool ChooseScratch(HWND, const char*, char* folder) {
  snprintf(folder, kPathBuf, "%s", g_folder.c_str());
  return true;
}

TEST(MainWindow, CloseDuringExtractionCancelsItThenCloses) {
  ASSERT_TRUE(SUCCEEDED(OleInitialize(nullptr)));
  INITCOMMONCONTROLSEX controls = {sizeof controls, 0x20F};
  InitCommonControlsEx(&controls);
  RegisterArchiveFormats();
  ASSERT_TRUE(AllocateControlBlocks());
  HINSTANCE instance = GetModuleHandleA(nullptr);
  ASSERT_TRUE(RegisterMainWindowClass(instance));
  HWND main = CreateMainWindow(instance, SW_HIDE);
  ASSERT_TRUE(main);

  g_folder = ScratchDir("close_during_extraction");
  Prompts& prompts = GetPrompts();
  prompts.messageBox = AnswerYes;
  prompts.browseFolder = ChooseScratch;
  std::string archive = TestData("many_small.zip");
  SetArchiveKind(ARCHIVE_ZIP);
  SetCurrentArchivePath(archive.c_str());
  ExtractArchive(archive.c_str(), 1, 1);
  ASSERT_EQ(IsBusy(), 1);
  PostMessageA(main, WM_CLOSE, 0, 0);

  // The window goes only once the run has stopped; a minute is far more than a cancel takes.
  SetTimer(nullptr, 0, 60000, nullptr);
  MSG msg;
  bool timedOut = false;
  while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
    if (msg.message == WM_TIMER && !msg.hwnd) {
      timedOut = true;
      break;
    }
    DispatchMessageA(&msg);
  }
  EXPECT_FALSE(timedOut);
  EXPECT_FALSE(IsWindow(main));
  EXPECT_EQ(IsBusy(), 0);
  EXPECT_EQ(g_questions, 1);
  ResetPrompts();
  OleUninitialize();
}

}  // namespace

namespace {

// Every accelerator's command shows its key in its menu caption, or the key is never learnt.
TEST(MainWindow, EveryAcceleratorIsShownInItsMenuCaption) {
  HACCEL table = BuildAccelerators();
  ACCEL keys[64];
  int n = CopyAcceleratorTableA(table, keys, 64);
  HMENU menu = BuildMainMenu();
  for (int i = 0; i < n; ++i) {
    char caption[kPathBuf] = "";
    // Keys without a menu item (Alt+Up to the parent folder) have no caption to show them.
    if (!GetMenuStringA(menu, keys[i].cmd, caption, sizeof caption, MF_BYCOMMAND)) continue;
    EXPECT_NE(strchr(caption, '\t'), nullptr) << "command " << keys[i].cmd << " has a key but shows none";
  }
  DestroyMenu(menu);
  DestroyAcceleratorTable(table);
}

// The letters a person types in a menu: one per caption and none twice in one menu (the
// second item would be out of reach of the keyboard), the key only from the program (the
// texts bring no tab of their own); each caption translated. By command: the captions.
void ExpectLettersDistinct(HMENU menu, const std::string& where, std::map<UINT, std::string>* captions) {
  std::map<char, std::string> seen;
  for (int i = 0; i < GetMenuItemCount(menu); ++i) {
    char caption[kPathBuf] = "";
    MENUITEMINFOA info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_FTYPE | MIIM_STRING | MIIM_SUBMENU | MIIM_ID;
    info.dwTypeData = caption;
    info.cch = sizeof caption;
    ASSERT_TRUE(GetMenuItemInfoA(menu, i, TRUE, &info));
    if (info.fType & MFT_SEPARATOR) continue;
    std::string text = caption;
    EXPECT_EQ(std::count(text.begin(), text.end(), '&'), 1) << where << ": " << text;
    EXPECT_LE(std::count(text.begin(), text.end(), '\t'), 1) << where << ": " << text;
    size_t amp = text.find('&');
    if (amp == std::string::npos || amp + 1 >= text.size()) continue;
    char letter = static_cast<char>(toupper(static_cast<unsigned char>(text[amp + 1])));
    EXPECT_TRUE(seen.emplace(letter, text).second) << where << ": " << text << " and " << seen[letter];
    if (info.hSubMenu)
      ExpectLettersDistinct(info.hSubMenu, text, captions);
    else
      (*captions)[info.wID] = text;
  }
}

TEST(MainWindow, MenuLettersAreDistinctAndTranslated) {
  std::map<UINT, std::string> english, german;
  for (int language : {KLANG_LANGUAGE_ENGLISH, KLANG_LANGUAGE_GERMAN}) {
    SetLanguage(language);
    auto* captions = language == KLANG_LANGUAGE_ENGLISH ? &english : &german;
    for (HMENU menu : {BuildMainMenu(), BuildListContextMenu()}) {
      ExpectLettersDistinct(menu, "menu", captions);
      DestroyMenu(menu);
    }
  }
  SetLanguage(KLANG_LANGUAGE_ENGLISH);
  EXPECT_GT(english.size(), 20u);
  for (const auto& [command, caption] : english) EXPECT_NE(caption, german[command]) << command << " is not translated";
}

}  // namespace
