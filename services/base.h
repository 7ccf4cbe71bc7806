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

// Paths and names live in fixed buffers of this size; longer names are cut at 259 characters.
constexpr int kPathBuf = 260;
