// The main window: its class, creation and the procedure that routes each message to a
// handler of its own.
#pragma once
#include "services/base.h"

extern const char kMainWindowClass[];  // "Kestrelia"
extern const char kProductName[];      // "Kestrelia"

ATOM RegisterMainWindowClass(HINSTANCE instance);
// Loads the settings, creates the window and its controls, shows it.
HWND CreateMainWindow(HINSTANCE instance, int showCommand);
HWND GetMainWindow();
HACCEL GetMainAccelerators();
// Return typed into the address box confirms the folder there: the dialog keys of the main
// window must not turn it into the default command.
bool IsAddressBoxKey(const MSG* msg);
LRESULT CALLBACK MainWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
