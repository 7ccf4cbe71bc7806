// The byte moving of a rewrite: reading stretches of the old archive and writing the new one
// through the replaceable file layer. Neighbouring stretches that are kept unchanged merge
// into one copy, so a run of small entries costs a few large reads and writes, and every
// copy goes through one buffer of a few MiB whatever the size of an entry.
#pragma once
#include "services/base.h"

#include "ioapi.h"

#include <string>

struct RewriteFile {
  zlib_filefunc64_def functions;
  voidpf stream = nullptr;
  DWORD systemError = 0;  // the first failure's system error, 0 when none or unknown
  bool failed = false;
};

// Opens for reading, or creates for writing; false (with systemError) when it cannot.
bool OpenRewriteFile(RewriteFile* file, const zlib_filefunc64_def& functions, const char* path, bool create);
// Closes; false when the close itself failed (the last buffered write can fail there).
bool CloseRewriteFile(RewriteFile* file);
// Reads exactly size bytes at offset.
bool ReadRewriteFile(RewriteFile* file, uint64_t offset, void* out, size_t size);

struct RewriteOutput {
  RewriteFile file;
  uint64_t position = 0;  // where the next byte lands, queued stretches included
  // Bytes waiting to be written (headers, the directory) and a queued stretch of the source.
  std::string pending;
  RewriteFile* copySource = nullptr;
  uint64_t copyFrom = 0, copyLength = 0;
  char* chunk = nullptr;  // the copy buffer, allocated on first use
};

bool OpenRewriteOutput(RewriteOutput* out, const zlib_filefunc64_def& functions, const char* path);
// Appends bytes; they are written when the buffer fills or at the end.
bool WriteRewriteOutput(RewriteOutput* out, const void* data, size_t size);
// Queues a stretch of the source; it joins the queued one when it follows it directly.
bool CopyToRewriteOutput(RewriteOutput* out, RewriteFile* source, uint64_t from, uint64_t length);
// Writes everything queued and closes the file; false when any write failed.
bool FinishRewriteOutput(RewriteOutput* out);
// Closes without caring about queued bytes (the walk failed and the file goes away).
void AbandonRewriteOutput(RewriteOutput* out);
