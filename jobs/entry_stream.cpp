#include "services/base.h"
#include "jobs/entry_stream.h"

#include "services/log.h"
#include "services/worker.h"

#include <algorithm>
#include <cstring>

const char* EntryStreamErrorText(int error) {
  switch (error) {
    case STREAM_DAMAGED: return "the data is damaged or cut short";
    case STREAM_WRONG_PASSWORD: return "the password does not fit";
    case STREAM_CANCELLED: return "cancelled";
    case STREAM_NOT_FOUND: return "no such entry";
    case STREAM_UNSUPPORTED: return "its method or encryption cannot be read";
    default: return "the archive cannot be read";
  }
}

namespace {

bool SameEntryName(const std::string& a, const char* b) {
  size_t n = strlen(b);
  if (a.size() != n) return false;
  for (size_t i = 0; i < n; ++i) {
    char x = a[i] == '\\' ? '/' : a[i], y = b[i] == '\\' ? '/' : b[i];
    if (x != y) return false;
  }
  return true;
}

}  // namespace

int ArchiveReader::Find(const char* name, StreamEntry* entry) {
  int result;
  while ((result = Next(entry)) == 0)
    if (SameEntryName(entry->name, name)) return 0;
  return result == 1 ? STREAM_NOT_FOUND : result;
}

int ReadWholeEntry(ArchiveReader* reader, std::string* out, uint64_t limit) {
  char chunk[65536];
  for (;;) {
    int64_t n = reader->Read(chunk, sizeof chunk);
    if (n <= 0) return static_cast<int>(n);
    if (out->size() + static_cast<uint64_t>(n) > limit) return STREAM_DAMAGED;
    out->append(chunk, static_cast<size_t>(n));
  }
}

namespace {

constexpr size_t kPushBuffer = 1 << 18;

enum Decision { UNDECIDED, WANTED, SKIPPED };

// What the walk's thread and the reader share; the thread holds it until its walk returned.
struct PushState : PushSink {
  PushWalk walk;
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
  // The entry the walk offers and what the reader decided about it.
  bool offered = false;
  bool held = false;  // the reader is at the offered entry: the ring is its
  StreamEntry entry;
  Decision decision = UNDECIDED;
  // The wanted entry's bytes on their way (a ring), and how its data ended.
  std::unique_ptr<char[]> ring{new char[kPushBuffer]};
  size_t head = 0, count = 0;
  bool discard = false;  // the reader moved on: the rest of the entry is dropped
  bool entryEnded = false;
  int entryResult = 0;
  bool walkEnded = false;
  int walkResult = 0;
  bool stopped = false;

  void Wait() { SleepConditionVariableSRW(&changed, &lock, INFINITE, 0); }
  void Signal() { WakeAllConditionVariable(&changed); }

  bool Entry(const StreamEntry& next) override {
    AcquireSRWLockExclusive(&lock);
    while (held && !stopped) Wait();
    entry = next;
    offered = true;
    decision = UNDECIDED;
    head = count = 0;
    discard = entryEnded = false;
    entryResult = 0;
    Signal();
    while (decision == UNDECIDED && !stopped) Wait();
    bool wanted = decision == WANTED && !stopped;
    offered = false;
    ReleaseSRWLockExclusive(&lock);
    return wanted;
  }

  bool Data(const void* bytes, size_t size) override {
    const char* from = static_cast<const char*>(bytes);
    AcquireSRWLockExclusive(&lock);
    while (size && !stopped && !discard) {
      while (count == kPushBuffer && !stopped && !discard) Wait();
      if (stopped || discard) break;
      size_t tail = (head + count) % kPushBuffer;
      size_t n = std::min({size, kPushBuffer - count, kPushBuffer - tail});
      memcpy(ring.get() + tail, from, n);
      count += n;
      from += n;
      size -= n;
      Signal();
    }
    bool going = !stopped;
    ReleaseSRWLockExclusive(&lock);
    return going;
  }

  void EntryEnd(int result) override {
    AcquireSRWLockExclusive(&lock);
    entryEnded = true;
    entryResult = result > 0 ? STREAM_FAILED : result;
    Signal();
    ReleaseSRWLockExclusive(&lock);
  }

  bool Stopped() override {
    AcquireSRWLockExclusive(&lock);
    bool s = stopped;
    ReleaseSRWLockExclusive(&lock);
    return s;
  }
};

DWORD WINAPI RunPushWalk(LPVOID parameter) {
  std::shared_ptr<PushState>* held = static_cast<std::shared_ptr<PushState>*>(parameter);
  PushState& s = **held;
  int result = s.walk(&s);
  AcquireSRWLockExclusive(&s.lock);
  s.walkEnded = true;
  s.walkResult = result > 0 ? STREAM_FAILED : result;
  s.Signal();
  ReleaseSRWLockExclusive(&s.lock);
  delete held;
  return 0;
}

class PushReader : public ArchiveReader {
 public:
  explicit PushReader(std::shared_ptr<PushState> state) : s_(std::move(state)) {}
  ~PushReader() override {
    AcquireSRWLockExclusive(&s_->lock);
    s_->stopped = true;
    s_->Signal();
    while (!s_->walkEnded) s_->Wait();
    ReleaseSRWLockExclusive(&s_->lock);
  }

  int Next(StreamEntry* out) override {
    AcquireSRWLockExclusive(&s_->lock);
    if (s_->held) {
      // The entry held now is left: skipped when not begun, its rest dropped when begun.
      if (s_->decision == UNDECIDED) s_->decision = SKIPPED;
      if (s_->decision == WANTED) s_->discard = true;
      s_->held = false;
      s_->Signal();
    }
    while (!(s_->offered && s_->decision == UNDECIDED) && !s_->walkEnded) s_->Wait();
    int result = 1;
    if (s_->offered && s_->decision == UNDECIDED) {
      *out = s_->entry;
      s_->held = true;
      result = 0;
    } else if (s_->walkResult < 0) {
      result = s_->walkResult;
    }
    ReleaseSRWLockExclusive(&s_->lock);
    return result;
  }

  int64_t Read(void* data, size_t size) override {
    AcquireSRWLockExclusive(&s_->lock);
    int64_t result = STREAM_FAILED;
    if (s_->held) {
      if (s_->decision == UNDECIDED) {
        s_->decision = WANTED;
        s_->Signal();
      }
      while (!s_->count && !s_->entryEnded && !s_->walkEnded) s_->Wait();
      if (s_->count) {
        size_t n = std::min({size, s_->count, kPushBuffer - s_->head});
        memcpy(data, s_->ring.get() + s_->head, n);
        s_->head = (s_->head + n) % kPushBuffer;
        s_->count -= n;
        s_->Signal();
        result = static_cast<int64_t>(n);
      } else if (s_->entryEnded) {
        result = s_->entryResult;
      } else {
        result = s_->walkResult < 0 ? s_->walkResult : STREAM_FAILED;
      }
    }
    ReleaseSRWLockExclusive(&s_->lock);
    return result;
  }

 private:
  std::shared_ptr<PushState> s_;
};

}  // namespace

std::unique_ptr<ArchiveReader> ReaderFromPushWalk(PushWalk walk) {
  auto state = std::make_shared<PushState>();
  state->walk = std::move(walk);
  auto* held = new std::shared_ptr<PushState>(state);
  if (!StartWorker("ReaderFromPushWalk", RunPushWalk, held)) {
    delete held;
    return nullptr;
  }
  return std::unique_ptr<ArchiveReader>(new PushReader(state));
}
