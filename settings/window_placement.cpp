#include "services/base.h"
#include "settings/window_placement.h"

#include "services/log.h"
#include "settings/names.h"
#include "settings/registry.h"

#include <cstdio>
#include <cstring>

namespace {

int g_splitter = -1;

bool IsMinimizing(int showCommand) {
  return showCommand == SW_HIDE || showCommand == SW_MINIMIZE || showCommand == SW_SHOWMINIMIZED ||
         showCommand == SW_SHOWMINNOACTIVE || showCommand == SW_FORCEMINIMIZE;
}

}  // namespace

int SaveWindowPlacement(HWND hwnd) {
  WINDOWPLACEMENT wp = {};
  wp.length = sizeof wp;
  if (!GetWindowPlacement(hwnd, &wp)) return 1;
  // A window closed while minimised comes back as it was before it was minimised.
  bool maximized = wp.showCmd == SW_SHOWMAXIMIZED ||
                   (wp.showCmd == SW_SHOWMINIMIZED && (wp.flags & WPF_RESTORETOMAXIMIZED));
  const RECT& r = wp.rcNormalPosition;
  char text[96];
  snprintf(text, sizeof text, "%d %ld %ld %ld %ld %d", maximized ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL, r.left, r.top,
           r.right, r.bottom, g_splitter);
  if (CreateAndWriteString(text, static_cast<DWORD>(strlen(text)), HKEY_CURRENT_USER, GetSettingsKeyPath(),
                           kValueWindowPlacement)) {
    Log(-1, GetVerbose(), "SaveWindowPlacement: cannot write to registry %lu", GetLastError());
    return 1;
  }
  return 0;
}

int RestoreWindowPlacement(HWND hwnd, int showCommand) {
  char text[96];
  DWORD size = sizeof text;
  int shown = 0;
  RECT r = {};
  long left, top, right, bottom;
  int splitter = -1;  // places saved before the tree kept its width have five numbers
  bool valid = ReadString(text, &size, HKEY_CURRENT_USER, GetSettingsKeyPath(), kValueWindowPlacement) == 0 &&
               sscanf(text, "%d %ld %ld %ld %ld %d", &shown, &left, &top, &right, &bottom, &splitter) >= 5 &&
               right > left && bottom > top;
  if (valid) g_splitter = splitter;
  if (valid) {
    r = {left, top, right, bottom};
    valid = MonitorFromRect(&r, MONITOR_DEFAULTTONULL) != nullptr;
    if (!valid) Log(2, GetVerbose(), "RestoreWindowPlacement: %s lies on no monitor", text);
  }
  if (!valid) {
    ShowWindow(hwnd, showCommand);
    return 1;
  }
  WINDOWPLACEMENT wp = {};
  wp.length = sizeof wp;
  GetWindowPlacement(hwnd, &wp);
  wp.flags = 0;
  wp.rcNormalPosition = r;
  if (IsMinimizing(showCommand))
    wp.showCmd = static_cast<UINT>(showCommand);
  else
    wp.showCmd = shown == SW_SHOWMAXIMIZED ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
  SetWindowPlacement(hwnd, &wp);
  return 0;
}

void SetPlacementSplitter(int width) { g_splitter = width; }
int GetPlacementSplitter() { return g_splitter; }
