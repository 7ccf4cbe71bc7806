// Handing a file to other programs: the one Windows associates with it, or the one the user
// picks in the shell's "Open with" choice.
#pragma once
#include "services/base.h"

// The shell's "Open with" choice for the file. 0 when the choice was shown, 1 when the file
// does not exist or no way to show it was found.
int CallApp(const char* path);
// Opens the file with its associated program on a thread of its own, so a slow program start
// never blocks the window. Program files are started only after the user agreed. 0 when the
// thread was started.
int OpenWithShell(const char* path);
// CreateProcessA with the program's error box on failure; 0 on success.
int StartProcess(const char* application, char* commandLine);
// Names that start a program when opened.
bool IsProgramFile(const char* path);
