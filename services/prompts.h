// Every modal question the program asks goes through these replaceable function pointers.
// The defaults are the real Win32 dialogs; tests put scripted answers in their place, so
// nothing in a test ever waits for a person.
#pragma once
#include "services/base.h"

struct Prompts {
  // MessageBoxA's contract.
  int (*messageBox)(HWND owner, const char* text, const char* title, UINT flags);
  // The open dialog for one extension, or for the file types of a filter "name|patterns|..."
  // (the first type chosen); fills path (kPathBuf) and returns true, false on cancel.
  bool (*openFile)(HWND owner, const char* extension, const char* title, char* path);
  // The save dialog; confirmOverwrite asks before replacing an existing file.
  bool (*saveFile)(HWND owner, const char* extension, const char* title, bool confirmOverwrite, char* path);
  // The folder chooser, starting in folder (kPathBuf, in and out); services/folder_picker.h
  // adds a check box to the next choice.
  bool (*browseFolder)(HWND owner, const char* title, char* folder);
  // The overwrite question; labels holds its captions in answer order separated by '\n'.
  // Returns the answer 0..5 (yes, yes to all, no, cancel, no to all, rename), -1 when closed.
  int (*overwriteQuestion)(HWND owner, const char* text, const char* title, const char* labels);
  // The password dialog; fills password (kPathBuf) and returns true only on OK.
  bool (*password)(HWND owner, char* password);
  // The colour chooser, starting at *color; true with the chosen colour on OK.
  bool (*chooseColor)(HWND owner, COLORREF* color);
};

// The table in use; change its members to replace a prompt.
Prompts& GetPrompts();
// Puts the real dialogs back.
void ResetPrompts();

int PromptMessageBox(HWND owner, const char* text, const char* title, UINT flags);
int PromptOverwrite(HWND owner, const char* text, const char* title, const char* labels);
bool PromptPassword(HWND owner, char* password);
bool PromptColor(HWND owner, COLORREF* color);
