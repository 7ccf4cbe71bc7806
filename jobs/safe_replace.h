// Changing an archive without risking it: the new version is written to a working file
// beside the archive (same folder, so the final move is a rename on one volume) and takes
// the archive's place only once it is complete, closed and flushed. Whatever fails before
// that leaves the archive byte for byte as it was.
#pragma once
#include "services/base.h"

// A name beside target that no file has yet ("<target>.~kst0" ...); false when none found.
bool MakeWorkingPath(const char* target, char* work /* kPathBuf */);
// The working file starts as a copy of target (an append then writes to the copy). The
// copy is flushed; 0 on success, else the system error (the working file is removed).
DWORD CopyToWorkingFile(const char* target, const char* work);
// Moves the finished working file over target, or to target when none exists; 0 on
// success. On failure the working file is removed and target is untouched.
DWORD ReplaceWithWorkingFile(const char* work, const char* target);
// Writes a closed file's data through to the disk; 0 on success, else the system error.
DWORD FlushWorkingFile(const char* path);
// Removes an unfinished working file.
void DiscardWorkingFile(const char* work);
