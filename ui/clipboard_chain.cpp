#include "services/base.h"
#include "ui/clipboard_chain.h"

namespace {

// Kept with the window, so that every window of the process has its own place in the chain.
const char kNextViewer[] = "KestreliaNextClipboardViewer";

HWND NextViewer(HWND window) { return static_cast<HWND>(GetPropA(window, kNextViewer)); }

}  // namespace

void JoinClipboardChain(HWND window) {
  // The window is the head at once and may already be asked to pass a message on.
  SetPropA(window, kNextViewer, nullptr);
  HWND next = SetClipboardViewer(window);
  SetPropA(window, kNextViewer, next);
}

void LeaveClipboardChain(HWND window) {
  ChangeClipboardChain(window, NextViewer(window));
  RemovePropA(window, kNextViewer);
}

bool HandleClipboardChainMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_DRAWCLIPBOARD:
      if (HWND next = NextViewer(window)) SendMessageA(next, message, wParam, lParam);
      return true;
    case WM_CHANGECBCHAIN:
      // The one leaving is ours to skip; anyone further down is the next viewer's business.
      if (reinterpret_cast<HWND>(wParam) == NextViewer(window))
        SetPropA(window, kNextViewer, reinterpret_cast<HANDLE>(lParam));
      else if (HWND next = NextViewer(window))
        SendMessageA(next, message, wParam, lParam);
      return true;
    default:
      return false;
  }
}
