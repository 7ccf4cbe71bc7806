// What start-up sets up for the rest of the program, and the roads a command line can take.
#pragma once
#include "services/base.h"

#include "app/cmdline.h"

int IsXPThemeLoaded();

// Opens the one file a single argument names: an archive by its kind, a picture in the
// viewer, anything else is ignored.
void OpenCommandLineFile(const char* path);
// The "-x" road: extract the archive without a window. Returns the exit code.
int RunExtractRoad(char (*args)[kPathBuf], int count);
// The console help dialog (rich edit version 2 or 1); returns its result.
int ShowConsoleHelp(int richEditVersion);
