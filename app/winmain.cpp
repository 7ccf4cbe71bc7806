#include "services/base.h"

#include "app/mainwindow.h"
#include "services/log.h"

#include <commctrl.h>
#include <ole2.h>

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int showCommand) {
  OleInitialize(nullptr);
  INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_WIN95_CLASSES | ICC_USEREX_CLASSES | ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);

  if (!RegisterMainWindowClass(instance)) {
    Log(-1, GetVerbose(), "WinMain: RegisterClassEx failed %lu", GetLastError());
    return 1;
  }
  if (!CreateMainWindow(instance, showCommand)) {
    Log(-1, GetVerbose(), "WinMain: CreateWindowEx failed %lu", GetLastError());
    return 1;
  }

  MSG msg;
  while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  OleUninitialize();
  return 0;
}
