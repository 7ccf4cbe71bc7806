// Reading archive entries as streams of bytes, with no temporary file: content search walks
// every entry of an archive, the viewers and a drag to the shell pull one entry's bytes as
// they need them. Each kind that can offers an ArchiveReader through its row in the table of
// kinds (formats/formats.h); a kind whose library only pushes an entry's data through a
// callback offers one made by ReaderFromPushWalk.
#pragma once
#include "services/base.h"

#include <functional>
#include <memory>
#include <string>

// What a reader answers instead of bytes. Every failure is one of these: a reader never hands
// out bytes it knows to be wrong without ending the entry with one of them.
enum EntryStreamError {
  STREAM_FAILED = -1,          // the archive cannot be opened or its entries read further
  STREAM_DAMAGED = -2,         // the entry's data is damaged or cut short (its checksum, its size)
  STREAM_WRONG_PASSWORD = -3,
  STREAM_CANCELLED = -4,       // the user cancelled (the password question), or the reader was stopped
  STREAM_NOT_FOUND = -5,       // no entry of that name
  STREAM_UNSUPPORTED = -6,     // its method or encryption cannot be read here
};
// A short English phrase for log lines.
const char* EntryStreamErrorText(int error);

struct StreamEntry {
  std::string name;  // as the list shows it
  uint64_t size;     // as the archive declares it
};

// One archive open for reading the data of its file entries, front to back. Used from one
// thread at a time (any thread).
class ArchiveReader {
 public:
  virtual ~ArchiveReader() = default;
  // Moves to the next file entry: every entry the list shows as a row, in the order the list
  // numbers them (folders are passed over). 0, 1 after the last, or an EntryStreamError.
  virtual int Next(StreamEntry* entry) = 0;
  // Moves to the entry the list shows under name ("\\" or "/" between folders, as the kind
  // keeps them): 0, or an EntryStreamError (STREAM_NOT_FOUND). This one walks with Next.
  virtual int Find(const char* name, StreamEntry* entry);
  // Up to size bytes of the current entry: their count; 0 at its end, once the data was
  // found whole; an EntryStreamError, after which the entry gives nothing more. Never more
  // bytes than the entry declared.
  virtual int64_t Read(void* data, size_t size) = 0;
};

// A kind's reader over the archive: null with an EntryStreamError in *error.
typedef std::unique_ptr<ArchiveReader> (*OpenReaderProc)(const char* archive, int* error);

// Reads the rest of the current entry into out, at most limit bytes (more is STREAM_DAMAGED
// without anything read past it): 0 or an EntryStreamError.
int ReadWholeEntry(ArchiveReader* reader, std::string* out, uint64_t limit);

// The side a push walk talks to; every call may wait for the reader's user.
class PushSink {
 public:
  virtual ~PushSink() = default;
  // The walk reached a file entry: true when its data is wanted (push it with Data, then
  // EntryEnd), false to skip it.
  virtual bool Entry(const StreamEntry& entry) = 0;
  // Bytes of the wanted entry; false when the walk is to stop at once (the reader is gone).
  virtual bool Data(const void* bytes, size_t size) = 0;
  // The wanted entry's data ended: 0 when whole, else an EntryStreamError.
  virtual void EntryEnd(int result) = 0;
  // The reader is gone: the walk ends as soon as it can.
  virtual bool Stopped() = 0;
};
// A walk over an archive that pushes its entries to the sink; it returns 0 at the archive's
// end or an EntryStreamError.
typedef std::function<int(PushSink* sink)> PushWalk;
// A reader whose walk runs on a thread of its own, a bounded buffer between the two: memory
// stays the same whatever the entries' sizes. Destroying the reader stops the walk.
std::unique_ptr<ArchiveReader> ReaderFromPushWalk(PushWalk walk);
