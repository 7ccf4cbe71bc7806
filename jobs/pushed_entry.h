// An entry whose library pushes its bytes piece by piece (TAR's reads them block by block):
// written as every entry is, under a working name beside its target, large ones through the
// run's writer thread, given its name only when whole. A failure is the run's: its reason in
// the system's words, the run's one question on a full disk or a folder that refuses, nothing
// of the entry left behind, a file it was to replace as it was.
#pragma once
#include "services/base.h"

#include "jobs/entry_file.h"

#include <string>

struct ChunkWriter;

struct PushedEntry {
  std::string name;    // as the run's report names it
  std::string target;  // where it is written, relative to the working directory
  EntryFile file;
  uint64_t fileTime = 0;  // its modification time (FILETIME ticks, UTC); 0 leaves the file's
  ChunkWriter* writer = nullptr;
  char* buffer = nullptr;  // the bytes gathered for the next write
  size_t filled = 0;
  size_t capacity = 0;
  DWORD error = 0;  // of the write that failed
  bool cancelled = false;  // by the user, in the middle of the entry
};

enum PushedAnswer { PUSHED_WRITE, PUSHED_SKIP, PUSHED_STOP };

// Makes the entry's working file, after the overwrite question when a file of its name is
// there (overwriteMode: the run's OverwriteMode; null replaces). PUSHED_WRITE: send its bytes;
// PUSHED_SKIP: the entry is left out (the user's word, or a failure the run goes on after);
// PUSHED_STOP: the run ends.
int BeginPushedEntry(PushedEntry* entry, const char* name, const char* target, uint64_t size, uint64_t fileTime,
                     int* overwriteMode);
// The next bytes; false once writing failed or the user cancelled (nothing more is wanted).
bool PushEntryBytes(PushedEntry* entry, const void* bytes, size_t size);
// The data ended: whole (failure 0), damaged (failure: an EntryFailureReason, detail the
// library's words) or cancelled by the user. PUSHED_WRITE when the file is on the disk under
// its name, PUSHED_SKIP when the entry failed and the run goes on, PUSHED_STOP when it stops.
int EndPushedEntry(PushedEntry* entry, int failure, const char* detail, bool cancelled);
