// Deleting, renaming and moving entries of a ZIP archive. A new archive is written beside the
// old one with every kept entry copied in its stored form (no inflate, no deflate), renamed
// entries under their new name and deleted ones left out; only a complete, flushed new
// archive replaces the old file, in one step. The entries concerned come as a change set.
#pragma once
#include "services/base.h"

#include "jobs/change_set.h"

#include "ioapi.h"

enum RewriteResult {
  REWRITE_DONE = 0,
  REWRITE_CANNOT_OPEN = -1,
  REWRITE_CANNOT_CREATE_TEMP = -2,
  REWRITE_GLOBAL_INFO = -3,
  REWRITE_COMMENT_MEMORY = -4,
  REWRITE_COMMENT_READ = -5,
  REWRITE_NOTHING_REPLACED = -6,  // a failure on the way; the archive is as it was
  REWRITE_REPLACE_FAILED = -7,
  REWRITE_NOTHING_MATCHED = -8,   // no entry is concerned: nothing was written
  REWRITE_READ_ONLY = -9,         // the archive is read-only: refused before any work
};

// namesAreOem: names without the UTF-8 flag are read in the DOS code page before they are
// looked up; otherwise the stored bytes are looked up as they are.
int ChangeFilesFromZIP(const char* archive, RBTree* changes, int simulation, int namesAreOem);
// Simulation walks the same way and writes nothing: 0 when some entry would change, else -8.
// Deleting every entry removes the archive.
int DeleteFilesFromZIPRBTree(const char* archive, RBTree* changes, int simulation, int namesAreOem);

// The two passes of the callers: first with names read in the DOS code page, then, where some
// name reads two ways, with the names as stored. A second pass that finds nothing (-8) after
// a first one that did is no failure.
int ChangeFilesTwoPasses(const char* archive, RBTree* changes, int simulation = 0);
int DeleteFilesTwoPasses(const char* archive, RBTree* changes, int simulation = 0);

// The file layer under a rewrite. Tests replace members to make writes, reads, the flush or
// the final replacement fail; nothing else changes behaviour.
struct RewriteFileLayer {
  void (*fillFunctions)(zlib_filefunc64_def* functions);  // source and temporary archive
  // The closed temporary archive to disk, and over the archive: 0 or the system error.
  DWORD (*flushFile)(const char* path);
  DWORD (*replaceFile)(const char* replacement, const char* target);
  BOOL (*deleteFile)(const char* path);
};
RewriteFileLayer& GetRewriteFileLayer();
void ResetRewriteFileLayer();

// Why the last rewrite on this thread failed, for the user: the program's sentence, the
// archive's path and the system's text; empty after a success or a plain "nothing found".
const char* GetRewriteFailureText();
// What the last rewrite on this thread changed, or in simulation would change: a line per
// entry, its stored name and, renamed, " -> " and its new path.
const char* GetRewriteReport();
