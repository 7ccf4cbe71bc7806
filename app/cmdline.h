// The command line of a windowed program is one string; these split and read it.
#pragma once
#include "services/base.h"

// Splits the line into arguments: blanks (spaces only) separate them, a leading double
// quote runs to the next one (an unterminated quote takes the rest of the line), each copy is
// cut at limit characters. With no output array it only counts. Returns the count.
int TokenizeCommandLine(const char* line, char (*args)[kPathBuf], int limit);

// True when text starts with word, ASCII letters compared without case.
bool StartsWithNoCase(const char* text, const char* word);

// What a command line asks for.
enum CommandRoad {
  ROAD_WINDOW,       // the main window, maybe opening one file
  ROAD_HELP,         // the console help dialog
  ROAD_SILENT_EXIT,  // a switch-like line that is not help: wait a second, exit 0
  ROAD_EXTRACT,      // "-x archive": extract without a window
  ROAD_BUILD,        // build or extend a ZIP from the files named
};

struct CommandPlan {
  CommandRoad road;
  int firstFile;   // index of the first file argument for ROAD_BUILD (and ROAD_EXTRACT)
  bool silent;
  bool add;
  bool simulation;
};

// Decides the road from the raw line (help and silent exit) and, for lines of two or more
// arguments, from the first argument lower-cased.
CommandPlan DecideCommandRoad(const char* line, char (*args)[kPathBuf], int count);

// Files a single argument may name besides archives: the picture viewer shows them.
bool IsPictureFile(const char* name);
