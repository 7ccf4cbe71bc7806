// Building and extending ZIP archives from the window (File > New archive, Add files, Add
// folder, files dropped on an open archive) and from the command line.
#pragma once
#include "services/base.h"

// The command-line builder: asks where the archive goes (unless the temporary-archive mode
// is on) and starts the creation run for the files.
void RunArchiveBuilder(char (*files)[kPathBuf], int count, bool silent, bool add);

// The window's commands.
void CmdNewArchive();
void CmdAddFiles();
void CmdAddFolder();
// An archive is open and its kind is one the program writes, so files can be added to it.
bool CanAddToOpenArchive();
// Files and folders dropped or pasted on the window while an archive that takes files is
// open go into it, below folder ("docs\\" proposed as the folder inside; "" its top); false
// when no archive that can take them is open.
bool AddDroppedFiles(char (*files)[kPathBuf], int count, const char* folder = "");

// The application's creation settings, kept for the session.
void SetSilentCreation(int on);
