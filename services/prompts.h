// Every modal question the program asks goes through these replaceable function pointers.
// The defaults are the real Win32 dialogs; tests put scripted answers in their place, so
// nothing in a test ever waits for a person.
#pragma once
#include "services/base.h"

struct Prompts {
  // MessageBoxA's contract.
  int (*messageBox)(HWND owner, const char* text, const char* title, UINT flags);
  // The open dialog for one extension; fills path (kPathBuf) and returns true, false on cancel.
  bool (*openFile)(HWND owner, const char* extension, const char* title, char* path);
  // The save dialog; confirmOverwrite asks before replacing an existing file.
  bool (*saveFile)(HWND owner, const char* extension, const char* title, bool confirmOverwrite, char* path);
  // The folder chooser, starting in folder (kPathBuf, in and out).
  bool (*browseFolder)(HWND owner, const char* title, char* folder);
};

// The table in use; change its members to replace a prompt.
Prompts& GetPrompts();
// Puts the real dialogs back.
void ResetPrompts();

int PromptMessageBox(HWND owner, const char* text, const char* title, UINT flags);
