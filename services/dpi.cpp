#include "services/base.h"
#include "services/dpi.h"

#include "services/system_libraries.h"

int WindowDpi(HWND window) {
  if (User32::GetDpiForWindowFn getDpi = User32::GetDpiForWindow())
    if (UINT dpi = getDpi(window)) return static_cast<int>(dpi);
  int dpi = 0;
  if (HDC dc = GetDC(window)) {
    dpi = GetDeviceCaps(dc, LOGPIXELSY);
    ReleaseDC(window, dc);
  }
  return dpi > 0 ? dpi : 96;
}
