// Layouts are written in pixels at 96 dots per inch and scaled to the resolution of the
// window that shows them; the program is per-monitor aware (its manifest), so that resolution
// is the window's monitor's.
#pragma once
#include "services/base.h"

// The window's resolution where the system tells it per window (Windows 10 and later), else
// the screen's; 96 when neither answers.
int WindowDpi(HWND window);

inline int ScaleForDpi(int pixels, int dpi) { return MulDiv(pixels, dpi > 0 ? dpi : 96, 96); }
