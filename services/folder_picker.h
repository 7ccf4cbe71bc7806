// The folder chooser of today's Windows: the file dialog in folder mode, which has a box to
// type or paste a path, opened in a given folder. It is the default of the folder prompt
// (services/prompts.h); where the system lacks that dialog the old folder tree is shown.
#pragma once
#include "services/base.h"

// One extra check box under the path box, for the next choice only.
struct FolderPickerOption {
  const char* label;  // the check box's caption
  int checked;        // in: its first state; out: its state when a folder was chosen
  int shown;          // out: 1 when the chooser showed the box (a scripted answer shows none)
};

// Hands the option to the next folder choice; nullptr removes it. The caller owns it.
void SetFolderPickerOption(FolderPickerOption* option);
FolderPickerOption* GetFolderPickerOption();

// Shows the chooser, starting in folder (kPathBuf, in and out); true when a folder was chosen.
bool PickFolder(HWND owner, const char* title, char* folder);
