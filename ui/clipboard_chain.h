// A window's place in the clipboard viewer chain. Every viewer must hand both chain messages
// on to the next one, or the viewers after it (other programs on the desktop) go deaf.
#pragma once
#include "services/base.h"

// Joins the chain at its head and keeps the next viewer with the window.
void JoinClipboardChain(HWND window);
// Leaves the chain, handing the next viewer to whoever points at this window.
void LeaveClipboardChain(HWND window);
// Handles WM_DRAWCLIPBOARD and WM_CHANGECBCHAIN for a window in the chain; false for any
// other message.
bool HandleClipboardChainMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
