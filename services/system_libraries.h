// The Windows libraries the program uses only where they exist: each entry point is asked
// for before use, and its absence turns the feature off instead of stopping the program.
#pragma once
#include "services/base.h"

#include "services/runtime_library.h"

// Visual styles are on.
#define UXTHEME_API_LIST(X) \
  X(IsThemeActive, BOOL, (void)) X(EnableThemeDialogTexture, HRESULT, (HWND, DWORD))
KESTRELIA_RUNTIME_LIBRARY(Uxtheme, "UXTHEME.DLL", UXTHEME_API_LIST)

// The help viewer.
#define HHCTRL_API_LIST(X) X(HtmlHelpA, HWND, (HWND, LPCSTR, UINT, DWORD_PTR))
KESTRELIA_RUNTIME_LIBRARY(Hhctrl, "HHCTRL.OCX", HHCTRL_API_LIST)

// Gradients of the configuration dialog's header.
#define MSIMG32_API_LIST(X) X(GradientFill, BOOL, (HDC, PTRIVERTEX, ULONG, PVOID, ULONG, ULONG))
KESTRELIA_RUNTIME_LIBRARY(Msimg32, "msimg32.dll", MSIMG32_API_LIST)

// Per-monitor DPI (Windows 10 and later).
#define USER32_API_LIST(X) X(GetDpiForWindow, UINT, (HWND))
KESTRELIA_RUNTIME_LIBRARY(User32, "user32.dll", USER32_API_LIST)

// The shell's open-with chooser (Vista and later); its information block is declared by the
// caller, as older headers lack it.
#define SHELL32_API_LIST(X) X(SHOpenWithDialog, HRESULT, (HWND, const void*))
KESTRELIA_RUNTIME_LIBRARY(Shell32, "shell32.dll", SHELL32_API_LIST)

// The update check's download. Handles are HINTERNET; the flags are WinINet's.
#define WININET_API_LIST(X)                                                                  \
  X(InternetOpenA, void*, (const char* agent, DWORD access, const char* proxy, const char* bypass, DWORD flags)) \
  X(InternetOpenUrlA, void*,                                                                 \
    (void* session, const char* address, const char* headers, DWORD headersLength, DWORD flags, DWORD_PTR context)) \
  X(InternetReadFile, BOOL, (void* request, void* buffer, DWORD size, DWORD* read))         \
  X(InternetCloseHandle, BOOL, (void* handle))
KESTRELIA_RUNTIME_LIBRARY(Wininet, "wininet.dll", WININET_API_LIST)
