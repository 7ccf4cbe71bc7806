// Included first by every source file of the program, so that no file depends on the order
// of its includes: the Windows version the program targets, the macros that keep the
// Windows headers from clashing with the C++ library, and the fixed-width types.
#pragma once

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601  // Windows 7: per-monitor DPI comes from the manifest, not the API
#endif
#ifndef WINVER
#define WINVER _WIN32_WINNT
#endif
#ifndef _WIN32_IE
#define _WIN32_IE 0x0800
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef STRICT
#define STRICT
#endif

#include <windows.h>

#include <cstddef>
#include <cstdint>

// Paths and names live in fixed buffers of this size. Texts are UTF-8, so the 259 characters
// a Windows path may have take up to 777 bytes (a character of the basic plane is at most 3
// bytes, one beyond it is 4 bytes for its two UTF-16 units).
constexpr int kPathBuf = 780;
