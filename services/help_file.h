// The help file of the current language and the HTML help viewer that shows it.
#pragma once
#include "services/base.h"

// The help file beside the program: the program path cut after its last "\\", then
// "help\\kestrelia_de.chm" when the low byte of the language number is 7 (German),
// "help\\kestrelia_en.chm" otherwise. out takes kPathBuf characters.
void MakeHelpFilePath(const char* programPath, int country, char* out);

// Opens the help file of the current language at its table of contents. The viewer library
// is loaded on first use and kept; its absence is only reported on the console.
void ShowHelpFile(HWND owner);
