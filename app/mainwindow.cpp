#include "services/base.h"
#include "app/mainwindow.h"

#include "res/resource.h"
#include "services/log.h"

const char kMainWindowClass[] = "Kestrelia";
const char kProductName[] = "Kestrelia";

namespace {

HWND g_mainWindow = nullptr;

LRESULT MsgCreate(HWND hwnd) {
  g_mainWindow = hwnd;
  Log(1, GetVerbose(), "MainWndProc: WM_CREATE");
  return 0;
}

LRESULT MsgDestroy() {
  Log(1, GetVerbose(), "MainWndProc: WM_DESTROY");
  g_mainWindow = nullptr;
  PostQuitMessage(0);
  return 0;
}

}  // namespace

LRESULT CALLBACK MainWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CREATE:
      return MsgCreate(hwnd);
    case WM_DESTROY:
      return MsgDestroy();
    default:
      return DefWindowProcA(hwnd, message, wParam, lParam);
  }
}

ATOM RegisterMainWindowClass(HINSTANCE instance) {
  WNDCLASSEXA wc = {};
  wc.cbSize = sizeof wc;
  wc.style = CS_HREDRAW | CS_VREDRAW;
  wc.lpfnWndProc = MainWndProc;
  wc.hInstance = instance;
  wc.hIcon = LoadIconA(instance, MAKEINTRESOURCEA(IDI_KESTRELIA));
  wc.hIconSm = static_cast<HICON>(LoadImageA(instance, MAKEINTRESOURCEA(IDI_KESTRELIA), IMAGE_ICON,
                                             GetSystemMetrics(SM_CXSMICON), GetSystemMetrics(SM_CYSMICON), 0));
  wc.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));  // IDC_ARROW
  wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  wc.lpszClassName = kMainWindowClass;
  return RegisterClassExA(&wc);
}

HWND CreateMainWindow(HINSTANCE instance, int showCommand) {
  HWND hwnd = CreateWindowExA(WS_EX_ACCEPTFILES, kMainWindowClass, kProductName, WS_OVERLAPPEDWINDOW,
                              CW_USEDEFAULT, CW_USEDEFAULT, 900, 600, nullptr, nullptr, instance, nullptr);
  if (!hwnd) return nullptr;
  ShowWindow(hwnd, showCommand);
  UpdateWindow(hwnd);
  return hwnd;
}

HWND GetMainWindow() { return g_mainWindow; }
