// Changing an archive without risking it: the new version is written to a working file
// beside the archive (same folder, so the final move is a rename on one volume) and takes
// the archive's place only once it is complete, closed and flushed. Whatever fails before
// that leaves the archive byte for byte as it was.
//
// A working file is this program's own: its name is one no file had ("<archive>.tmp" when
// free, else "<archive>.~kst<N>.tmp"), it is created by the run that claims it, marked
// temporary, and remembered until it is moved or removed. Only such a file is ever deleted
// or moved over an archive; a user's file of the same name is never touched.
#pragma once
#include "services/base.h"

// Creates a working file beside target under the first free name and remembers it as this
// run's; 0 on success (work holds its path), else the system error (work is "").
DWORD ClaimWorkingFile(const char* target, char* work /* kPathBuf */);
// A writer that re-created the claimed file dropped its temporary mark: set it again.
void MarkWorkingFile(const char* work);
// The claimed working file becomes a flushed copy of target (an append then writes to the
// copy); 0 on success, else the system error (the working file is removed).
DWORD CopyToWorkingFile(const char* target, const char* work);
// Moves the finished working file over target, or to target when none exists, with the
// attributes target had; 0 on success. On failure the working file is removed and target is
// untouched.
DWORD ReplaceWithWorkingFile(const char* work, const char* target);
// Writes a closed file's data through to the disk; 0 on success, else the system error.
DWORD FlushWorkingFile(const char* path);
// Removes an unfinished working file of this run.
void DiscardWorkingFile(const char* work);
// Removes the working files beside target that runs no longer running left behind (a run
// that was killed or lost its power); returns how many went.
int RemoveStaleWorkingFiles(const char* target);
// ERROR_FILE_READ_ONLY when target exists and is read-only (changing it is refused before
// any work), else 0.
DWORD ReadOnlyRefusal(const char* target);
