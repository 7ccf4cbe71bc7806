#include "services/base.h"
#include "jobs/pushed_entry.h"

#include "services/log.h"
#include "services/progress.h"
#include "jobs/chunk_writer.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"
#include "jobs/overwrite_question.h"

#include <cstring>

namespace {

constexpr size_t kGathered = 1 << 16;

// The local MS-DOS date and time the overwrite question shows; 0 when unknown.
unsigned long DosDateOf(uint64_t fileTime) {
  if (!fileTime) return 0;
  FILETIME utc = {static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)}, local;
  WORD date = 0, time = 0;
  if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToDosDateTime(&local, &date, &time)) return 0;
  return (static_cast<unsigned long>(date) << 16) | time;
}

// Writes what was gathered: handed to the writer thread, or written here.
bool WriteGathered(PushedEntry* entry) {
  if (!entry->filled || entry->error) return !entry->error;
  if (entry->writer) {
    if (!ChunkWriterSubmit(entry->writer, entry->filled)) entry->error = ChunkWriterFinish(entry->writer);
    else entry->buffer = ChunkWriterBuffer(entry->writer);
  } else {
    entry->error = WriteEntryBytes(entry->file.handle, entry->buffer, entry->filled);
  }
  entry->filled = 0;
  return !entry->error;
}

int AnswerOf(int writeFailure) { return writeFailure == WRITE_FAILURE_STOP ? PUSHED_STOP : PUSHED_SKIP; }

void LetGoOfBuffer(PushedEntry* entry) {
  if (!entry->writer && entry->buffer) ReleaseEntryBuffer(entry->buffer);
  entry->buffer = nullptr;
  entry->writer = nullptr;
}

}  // namespace

int BeginPushedEntry(PushedEntry* entry, const char* name, const char* target, uint64_t size, uint64_t fileTime,
                     int* overwriteMode) {
  // The user's cancel ends the run between entries.
  if (IsCancelledByUser()) return PUSHED_STOP;
  entry->name = name;
  entry->target = target;
  entry->cancelled = false;
  entry->fileTime = fileTime;
  entry->filled = 0;
  entry->error = 0;
  if (overwriteMode && (*overwriteMode == OVERWRITE_ASK || *overwriteMode == OVERWRITE_SKIP_ALL) &&
      EntryTargetExists(target)) {
    std::string renamed;
    switch (DecideExistingTarget(target, IncomingFile{size, DosDateOf(fileTime)}, overwriteMode, &renamed)) {
      case EXISTING_SKIP: return PUSHED_SKIP;
      case EXISTING_STOP: return PUSHED_STOP;
      case EXISTING_RENAME: entry->target = renamed; break;
      default: break;
    }
  }
  DWORD error;
  // A folder that refuses may be traded for another one: the entry is made again there.
  while ((error = OpenEntryFileMakingFolders(&entry->file, entry->target.c_str())) != 0) {
    int answer = EntryWriteFailed(name, entry->target.c_str(), error, true);
    if (answer == WRITE_FAILURE_MOVED) continue;
    Log(0, GetVerbose(), "extraction: %s cannot be made (%lu)", entry->target.c_str(), error);
    NoteEntryTaken();
    return AnswerOf(answer);
  }
  entry->writer = size > kWriterThreshold ? RunChunkWriter() : nullptr;
  if (entry->writer) {
    ChunkWriterBegin(entry->writer, entry->file.handle);
    entry->buffer = ChunkWriterBuffer(entry->writer);
    entry->capacity = kWriterChunk;
  } else {
    entry->buffer = AcquireEntryBuffer(kGathered);
    entry->capacity = kGathered;
    if (!entry->buffer) entry->error = ERROR_NOT_ENOUGH_MEMORY;
  }
  return PUSHED_WRITE;
}

bool PushEntryBytes(PushedEntry* entry, const void* bytes, size_t size) {
  // A cancel in the middle of a large entry ends it there; one whose last bytes came is
  // finished rather than thrown away.
  if (size && IsCancelledByUser()) entry->cancelled = true;
  if (entry->cancelled) return false;
  const char* next = static_cast<const char*>(bytes);
  while (size && !entry->error) {
    size_t part = entry->capacity - entry->filled < size ? entry->capacity - entry->filled : size;
    memcpy(entry->buffer + entry->filled, next, part);
    entry->filled += part;
    next += part;
    size -= part;
    if (entry->filled == entry->capacity) WriteGathered(entry);
  }
  return !entry->error;
}

int EndPushedEntry(PushedEntry* entry, int failure, const char* detail, bool cancelled) {
  NoteEntryTaken();
  cancelled = cancelled || entry->cancelled;
  // A damaged entry kept for what could be read keeps all of it.
  if (!cancelled && (!failure || KeepsBrokenEntries())) WriteGathered(entry);
  // Nothing may reach the file after it is closed.
  if (entry->writer) {
    DWORD pending = ChunkWriterFinish(entry->writer);
    if (!entry->error) entry->error = pending;
  }
  LetGoOfBuffer(entry);
  if (cancelled) {
    AbandonEntryFile(&entry->file);
    return PUSHED_STOP;
  }
  if (entry->error) {
    AbandonEntryFile(&entry->file);
    Log(0, GetVerbose(), "extraction: %s cannot be written (%lu)", entry->target.c_str(), entry->error);
    return AnswerOf(EntryWriteFailed(entry->name.c_str(), entry->target.c_str(), entry->error, false));
  }
  if (failure) {
    AddRunFailure(entry->name.c_str(), failure, detail && *detail ? detail : nullptr);
    AbandonEntryFile(&entry->file, KeepsBrokenEntries());
    return PUSHED_SKIP;
  }
  if (entry->fileTime) {
    FILETIME written = {static_cast<DWORD>(entry->fileTime), static_cast<DWORD>(entry->fileTime >> 32)};
    SetFileTime(entry->file.handle, nullptr, nullptr, &written);
  }
  if (DWORD error = CommitEntryFile(&entry->file))
    return AnswerOf(EntryWriteFailed(entry->name.c_str(), entry->target.c_str(), error, false));
  return PUSHED_WRITE;
}
