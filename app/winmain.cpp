// The process entry: start-up in the order the program depends on, one road per command
// line, the message loop, and shut-down in the reverse order of what start-up set up.
#include "services/base.h"

#include "app/cmdline.h"
#include "app/archive_builder.h"
#include "app/mainwindow.h"
#include "app/startup.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "kestrelia_rm.h"
#include "services/history.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/system_libraries.h"
#include "ui/clipboard_chain.h"
#include "ui/entry_transfer.h"
#include "ui/picture_viewer.h"
#include "ui/text_viewer.h"
#include "ui/update_check.h"
#include "settings/options.h"
#include "jobs/extract_job.h"

#include <commctrl.h>
#include <ole2.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

KESTRELIA_RUNTIME_LIBRARY(RmLibrary, KESTRELIA_RM_FILE, KESTRELIA_RM_API_LIST)

namespace {

UINT g_findReplaceMessage = 0;
HCURSOR g_waitCursor = nullptr;
HCURSOR g_arrowCursor = nullptr;
int g_themeLoaded = 0;
DWORD g_processors = 0;

// Classes: list view, tree view, bar, tab, tooltip and extended combo box.
constexpr DWORD kCommonControlClasses = 0x20F;

bool InitControls() {
  INITCOMMONCONTROLSEX controls = {sizeof controls, kCommonControlClasses};
  if (InitCommonControlsEx(&controls)) return true;
  PromptMessageBox(nullptr, "cannot init common controls!", GetMessageText(KLANG_MSG_ERROR_TITLE), MB_ICONERROR);
  return false;
}

int ThemeActive() {
  Uxtheme::IsThemeActiveFn isThemeActive = Uxtheme::IsThemeActive();
  return isThemeActive && isThemeActive() ? 1 : 0;
}

int RunHelpRoad() {
  if (!InitControls()) return 1;
  int richEditVersion = 2;
  if (!LoadLibraryA("Riched20.dll")) {
    printf("cannot load riched20 will try riched32\n");
    richEditVersion = 1;
    if (!LoadLibraryA("Riched32.dll")) {
      PromptMessageBox(nullptr, "cannot load riched lib", "Kestrelia", MB_OK);
      return 1;
    }
  }
  return ShowConsoleHelp(richEditVersion);
}

bool IsEditBox(HWND hwnd) {
  char name[16] = "";
  return hwnd && GetClassNameA(hwnd, name, sizeof name) && !lstrcmpiA(name, "Edit");
}

int MessageLoop() {
  MSG msg;
  while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
    HWND main = GetMainWindow();
    HWND modeless = GetCurrentModelessDialog();
    if (modeless && IsWindow(modeless) && IsDialogMessageA(modeless, &msg)) continue;
    if (TranslateViewerMessage(&msg) || TranslatePictureMessage(&msg)) continue;
    // While a name is edited in place, Delete and F2 belong to the edit box; the viewers'
    // windows keep their keys.
    bool ofMain = main && (msg.hwnd == main || IsChild(main, msg.hwnd));
    if (ofMain && !IsEditBox(msg.hwnd) && TranslateAcceleratorA(main, GetMainAccelerators(), &msg)) continue;
    // Tab and the arrow keys move between the main window's controls as in a dialog.
    if (main && IsWindow(main) && !IsAddressBoxKey(&msg) && IsDialogMessageA(main, &msg)) continue;
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  return static_cast<int>(msg.wParam);
}

// The optional library that the option word asks for; a missing one is harmless.
void LoadOptionalRmLibrary() {
  if (!IsLoadRmDll()) return;
  if (!LoadRuntimeLibrary(&RmLibrary::Library())) printf("could not find \"%s\"\n", KESTRELIA_RM_FILE);
}

// Only the program's own windows: OLE and the input method keep hidden windows of their own
// on this thread until OleUninitialize.
BOOL CALLBACK CloseWindowLeft(HWND window, LPARAM) {
  char name[64] = "";
  if (GetClassNameA(window, name, sizeof name) && !strncmp(name, "Kestrelia", 9)) DestroyWindow(window);
  return TRUE;
}

// The window left the clipboard chain and revoked its drop target while it was destroyed.
void ShutDown() {
  if (IsHistoryActivated()) StopHistory();
  // Viewers still open keep their place, and let go of the files they read.
  EnumThreadWindows(GetCurrentThreadId(), CloseWindowLeft, 0);
  // Entries on the clipboard read from an archive and a temporary folder that end here.
  ReleaseOwnClipboard();
  OleUninitialize();
  // What the viewers wrote to the temporary folder goes with the program.
  DeleteTempFiles();
}

}  // namespace

int IsXPThemeLoaded() { return g_themeLoaded; }

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR line, int showCommand) {
  if (FAILED(OleInitialize(nullptr)))
    return PromptMessageBox(nullptr, "oleinitialize failure!!", "oleinitialize failure!!", MB_OK);
  SetAppInstance(instance);
  RegisterArchiveFormats();

  if (line && *line) Log(5, GetVerbose(), "Commandlineparameter %s", line);
  CommandPlan plan = DecideCommandRoad(line, nullptr, 0);
  if (plan.road == ROAD_HELP) return RunHelpRoad();
  if (plan.road == ROAD_SILENT_EXIT) {
    Sleep(1000);
    return 0;
  }

  if (!InitControls()) return 1;
  if (!RegisterMainWindowClass(instance)) {
    Log(-1, GetVerbose(), "WinMain: RegisterClassEx failed %lu", GetLastError());
    return 1;
  }
  if (!AllocateControlBlocks()) {
    PromptMessageBox(nullptr, "memory error (uzfts)", GetMessageText(KLANG_MSG_ERROR_TITLE), MB_ICONERROR);
    ExitProcess(1);
  }
  CoInitialize(nullptr);

  HWND main = nullptr;
  if (line && *line) {
    printf("Commandline:\n---%s---\n", line);
    int count = TokenizeCommandLine(line, nullptr, kPathBuf - 1);
    // One 260-byte buffer per argument, kept until the process ends.
    char (*args)[kPathBuf] = static_cast<char (*)[kPathBuf]>(calloc(count ? count : 1, kPathBuf));
    TokenizeCommandLine(line, args, kPathBuf - 1);
    plan = DecideCommandRoad(line, args, count);
    if (count == 1) {
      SetBusy2(0);
      main = CreateMainWindow(instance, showCommand);
      OpenCommandLineFile(args[0]);
    } else if (count >= 2 && plan.road == ROAD_EXTRACT) {
      return RunExtractRoad(args, count);
    } else if (count >= 2) {
      main = CreateMainWindow(instance, showCommand);
      SetSimulationFlag(plan.simulation ? 1 : 0);
      RunArchiveBuilder(args + plan.firstFile, count - plan.firstFile, plan.silent, plan.add);
    } else {
      main = CreateMainWindow(instance, showCommand);
    }
  } else {
    main = CreateMainWindow(instance, showCommand);
  }
  if (!main) {
    Log(-1, GetVerbose(), "WinMain: CreateWindowEx failed %lu", GetLastError());
    return 1;
  }

  g_findReplaceMessage = RegisterWindowMessageA("commdlg_FindReplace");
  g_waitCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32514));   // IDC_WAIT
  g_arrowCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));  // IDC_ARROW
  g_themeLoaded = ThemeActive();
  printf("IsXPThemeLoaded %d \n", g_themeLoaded);
  if (IsHistoryActivated()) StartHistory(main, IsHistoryPassword() != 0);
  LoadOptionalRmLibrary();
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  g_processors = system.dwNumberOfProcessors;
  JoinClipboardChain(main);
  StartUpdateCheck(main, 0);

  MessageLoop();
  ShutDown();
  return 0;
}
