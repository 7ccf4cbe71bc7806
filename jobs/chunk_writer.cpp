#include "services/base.h"
#include "jobs/chunk_writer.h"

#include "services/log.h"
#include "jobs/entry_file.h"

#include <cstdlib>

namespace {

// Four buffers: one inflating, one being written, two to absorb the unevenness of both.
constexpr unsigned kRing = 4;

}  // namespace

// head and tail only grow: head - tail chunks are queued, the oldest of them being written.
struct ChunkWriter {
  HANDLE thread = nullptr;
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE queued = CONDITION_VARIABLE_INIT;   // the writer waits here for work
  CONDITION_VARIABLE written = CONDITION_VARIABLE_INIT;  // the inflating thread waits here for room
  char* buffers[kRing] = {};
  size_t lengths[kRing] = {};
  unsigned head = 0;
  unsigned tail = 0;
  HANDLE file = INVALID_HANDLE_VALUE;
  DWORD error = 0;  // the first failed write of the file; nothing more reaches it after
  bool stop = false;
};

namespace {

DWORD WINAPI WriterThread(LPVOID parameter) {
  ChunkWriter* w = static_cast<ChunkWriter*>(parameter);
  AcquireSRWLockExclusive(&w->lock);
  for (;;) {
    while (w->head == w->tail && !w->stop) SleepConditionVariableSRW(&w->queued, &w->lock, INFINITE, 0);
    if (w->head == w->tail) break;
    unsigned slot = w->tail % kRing;
    // After a failed write the rest of the file is dropped, so the inflating side never
    // waits on a writer that has given up.
    bool skip = w->error != 0;
    HANDLE file = w->file;
    ReleaseSRWLockExclusive(&w->lock);
    DWORD error = skip ? 0 : WriteEntryBytes(file, w->buffers[slot], w->lengths[slot]);
    if (error) Log(0, GetVerbose(), "ChunkWriter: error %lu in writing extracted file", error);
    AcquireSRWLockExclusive(&w->lock);
    if (error) w->error = error;
    ++w->tail;
    WakeConditionVariable(&w->written);
  }
  ReleaseSRWLockExclusive(&w->lock);
  return 0;
}

}  // namespace

ChunkWriter* CreateChunkWriter() {
  ChunkWriter* w = new ChunkWriter;
  for (char*& buffer : w->buffers) {
    buffer = static_cast<char*>(malloc(kWriterChunk));
    if (!buffer) {
      DestroyChunkWriter(w);
      return nullptr;
    }
  }
  w->thread = CreateThread(nullptr, 0, WriterThread, w, 0, nullptr);
  if (!w->thread) {
    Log(0, GetVerbose(), "ChunkWriter: no writer thread (%lu) - entries are written in turn", GetLastError());
    DestroyChunkWriter(w);
    return nullptr;
  }
  return w;
}

void DestroyChunkWriter(ChunkWriter* w) {
  if (!w) return;
  if (w->thread) {
    AcquireSRWLockExclusive(&w->lock);
    w->stop = true;
    WakeConditionVariable(&w->queued);
    ReleaseSRWLockExclusive(&w->lock);
    WaitForSingleObject(w->thread, INFINITE);
    CloseHandle(w->thread);
  }
  for (char* buffer : w->buffers) free(buffer);
  delete w;
}

void ChunkWriterBegin(ChunkWriter* w, HANDLE file) {
  ChunkWriterFinish(w);
  AcquireSRWLockExclusive(&w->lock);
  w->file = file;
  w->error = 0;
  ReleaseSRWLockExclusive(&w->lock);
}

char* ChunkWriterBuffer(ChunkWriter* w) {
  AcquireSRWLockExclusive(&w->lock);
  while (w->head - w->tail >= kRing) SleepConditionVariableSRW(&w->written, &w->lock, INFINITE, 0);
  char* buffer = w->buffers[w->head % kRing];
  ReleaseSRWLockExclusive(&w->lock);
  return buffer;
}

bool ChunkWriterSubmit(ChunkWriter* w, size_t length) {
  AcquireSRWLockExclusive(&w->lock);
  bool failed = w->error != 0;
  if (!failed) {
    w->lengths[w->head % kRing] = length;
    ++w->head;
    WakeConditionVariable(&w->queued);
  }
  ReleaseSRWLockExclusive(&w->lock);
  return !failed;
}

DWORD ChunkWriterFinish(ChunkWriter* w) {
  AcquireSRWLockExclusive(&w->lock);
  while (w->head != w->tail) SleepConditionVariableSRW(&w->written, &w->lock, INFINITE, 0);
  DWORD error = w->error;
  ReleaseSRWLockExclusive(&w->lock);
  return error;
}
