// Writing a large entry on a second thread while its next chunks inflate on this one: the
// inflating thread fills a buffer of a small ring and hands it over, the writer thread puts
// it to the file. On two cores most of the writing then overlaps the inflating.
#pragma once
#include "services/base.h"

struct ChunkWriter;

// One ring buffer: what one read of the entry may fill.
constexpr unsigned kWriterChunk = 1u << 18;
// Entries up to this size are written by the inflating thread itself: for a small file the
// hand-over would cost more than it hides.
constexpr uint64_t kWriterThreshold = 1u << 20;

// Starts the writer thread with its ring; nullptr when it cannot be had (the caller then
// writes itself).
ChunkWriter* CreateChunkWriter();
// Waits for what is queued, stops the thread and frees the ring.
void DestroyChunkWriter(ChunkWriter* writer);

// The next file: what follows goes to file (a handle the caller keeps open and closes).
void ChunkWriterBegin(ChunkWriter* writer, HANDLE file);
// The buffer to fill next (kWriterChunk bytes), once the writer has finished with it.
char* ChunkWriterBuffer(ChunkWriter* writer);
// Queues the buffer from ChunkWriterBuffer, filled with length bytes. false when an earlier
// write of this file failed: the caller stops, and nothing more reaches the file.
bool ChunkWriterSubmit(ChunkWriter* writer, size_t length);
// Waits until every queued chunk of the file is written. 0, or the system's error of the write
// that failed.
DWORD ChunkWriterFinish(ChunkWriter* writer);
