#include "services/base.h"
#include "zip/deflate_pipeline.h"

#include "zip/whole_deflate.h"
#include "zlib.h"

#include <libdeflate.h>

#include <cstdlib>
#include <cstring>

namespace {

// Enough blocks that both workers stay busy while the oldest one waits to be written; with
// whole files of up to 8 MiB that is at most 6 x 16 MiB.
constexpr size_t kSlots = 6;
constexpr int kMaxWorkers = 4;

struct Slot {
  DeflateBlock block;
  unsigned char* outBuffer;
  size_t inCapacity, outCapacity;
  bool done;
};

}  // namespace

struct DeflatePipeline {
  int level;
  bool wholeDeflate;
  Slot slots[kSlots];
  // Counters of blocks ever submitted, taken by a worker and released; a block's slot is its
  // counter modulo kSlots.
  uint64_t submitted, claimed, released;
  bool stop;
  SRWLOCK lock;
  CONDITION_VARIABLE work;  // workers wait here for a submitted block
  CONDITION_VARIABLE done;  // the caller waits here for the oldest block
  HANDLE threads[kMaxWorkers];
  int threadCount;
};

namespace {

// Each worker keeps its own coders for the whole run, freed before the thread ends: coders
// kept per thread by the C++ runtime hang the process's exit when several such threads end
// together (seen with the mingw thread library).
struct Coders {
  z_stream stream;
  libdeflate_compressor* whole;
};

void Compress(DeflatePipeline* p, Coders& coders, Slot& slot) {
  z_stream* stream = &coders.stream;
  DeflateBlock& b = slot.block;
  b.failed = false;
  b.crc = Crc32Whole(0, b.in, b.inLength);
  if (!p->level) {
    b.out = b.in;
    b.outLength = b.inLength;
    return;
  }
  b.out = slot.outBuffer;
  // A whole file in one block goes through the faster whole-buffer deflate; a stream of
  // several blocks needs zlib, whose blocks can continue one another.
  if (b.last && !b.dictLength && coders.whole) {
    b.outLength = libdeflate_deflate_compress(coders.whole, b.in, b.inLength, slot.outBuffer, slot.outCapacity);
    if (b.outLength) return;
  }
  deflateReset(stream);
  if (b.dictLength) deflateSetDictionary(stream, b.dict, static_cast<uInt>(b.dictLength));
  stream->next_in = b.in;
  stream->avail_in = static_cast<uInt>(b.inLength);
  stream->next_out = slot.outBuffer;
  stream->avail_out = static_cast<uInt>(slot.outCapacity);
  // A block that does not end the stream ends on a byte boundary, where the next one starts.
  int err = deflate(stream, b.last ? Z_FINISH : Z_SYNC_FLUSH);
  b.failed = b.last ? err != Z_STREAM_END : (err != Z_OK || stream->avail_in || !stream->avail_out);
  b.outLength = slot.outCapacity - stream->avail_out;
}

DWORD WINAPI Worker(LPVOID parameter) {
  DeflatePipeline* p = static_cast<DeflatePipeline*>(parameter);
  Coders coders = {};
  bool ready =
      !p->level || deflateInit2(&coders.stream, p->level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
  if (p->level && p->wholeDeflate) coders.whole = libdeflate_alloc_compressor(p->level);
  AcquireSRWLockExclusive(&p->lock);
  for (;;) {
    while (!p->stop && p->claimed == p->submitted) SleepConditionVariableSRW(&p->work, &p->lock, INFINITE, 0);
    if (p->stop) break;
    Slot& slot = p->slots[p->claimed++ % kSlots];
    ReleaseSRWLockExclusive(&p->lock);
    if (!slot.block.noData) {
      if (ready) Compress(p, coders, slot);
      else slot.block.failed = true;
    }
    AcquireSRWLockExclusive(&p->lock);
    slot.done = true;
    WakeAllConditionVariable(&p->done);
  }
  ReleaseSRWLockExclusive(&p->lock);
  if (p->level) deflateEnd(&coders.stream);
  if (coders.whole) libdeflate_free_compressor(coders.whole);
  return 0;
}

}  // namespace

DeflatePipeline* OpenDeflatePipeline(int level, int threads, bool wholeDeflate) {
  DeflatePipeline* p = static_cast<DeflatePipeline*>(calloc(1, sizeof(DeflatePipeline)));
  if (!p) return nullptr;
  p->level = level;
  p->wholeDeflate = wholeDeflate;
  InitializeSRWLock(&p->lock);
  InitializeConditionVariable(&p->work);
  InitializeConditionVariable(&p->done);
  bool ok = true;
  for (Slot& slot : p->slots) {
    slot.block.dict = static_cast<unsigned char*>(malloc(kDeflateWindow));
    ok = ok && slot.block.dict && GrowBlock(p, &slot.block, kDeflateBlockSize);
  }
  if (threads > kMaxWorkers) threads = kMaxWorkers;
  for (int i = 0; ok && i < threads; ++i) {
    HANDLE thread = CreateThread(nullptr, 0, Worker, p, 0, nullptr);
    if (thread) p->threads[p->threadCount++] = thread;
  }
  if (!ok || !p->threadCount) {
    CloseDeflatePipeline(p);
    return nullptr;
  }
  return p;
}

bool GrowBlock(DeflatePipeline* p, DeflateBlock* block, size_t capacity) {
  Slot& slot = *reinterpret_cast<Slot*>(block);
  if (capacity <= slot.inCapacity) return true;
  unsigned char* in = static_cast<unsigned char*>(realloc(slot.block.in, capacity));
  if (!in) return false;
  slot.block.in = in;
  slot.inCapacity = capacity;
  if (!p->level) return true;
  // Room for the worst case of either deflate (stored blocks) and the flush marker of a block.
  size_t out = capacity + capacity / 1000 + 1024;
  if (DeflateWholeBound(capacity) > out) out = DeflateWholeBound(capacity);
  unsigned char* buffer = static_cast<unsigned char*>(realloc(slot.outBuffer, out));
  if (!buffer) return false;
  slot.outBuffer = buffer;
  slot.outCapacity = out;
  return true;
}

DeflateBlock* FreeBlock(DeflatePipeline* p) {
  if (p->submitted - p->released >= kSlots) return nullptr;
  DeflateBlock& b = p->slots[p->submitted % kSlots].block;
  b.owner = nullptr;
  b.inLength = b.dictLength = b.outLength = 0;
  b.last = b.noData = b.failed = false;
  b.out = nullptr;
  b.crc = 0;
  return &b;
}

void SubmitBlock(DeflatePipeline* p, DeflateBlock* block) {
  AcquireSRWLockExclusive(&p->lock);
  Slot& slot = p->slots[p->submitted % kSlots];
  (void)block;
  slot.done = false;
  ++p->submitted;
  WakeConditionVariable(&p->work);
  ReleaseSRWLockExclusive(&p->lock);
}

DeflateBlock* OldestBlock(DeflatePipeline* p, bool wait) {
  AcquireSRWLockExclusive(&p->lock);
  DeflateBlock* result = nullptr;
  if (p->released < p->submitted) {
    Slot& slot = p->slots[p->released % kSlots];
    while (wait && !slot.done) SleepConditionVariableSRW(&p->done, &p->lock, INFINITE, 0);
    if (slot.done) result = &slot.block;
  }
  ReleaseSRWLockExclusive(&p->lock);
  return result;
}

void ReleaseOldest(DeflatePipeline* p) {
  AcquireSRWLockExclusive(&p->lock);
  if (p->released < p->submitted) ++p->released;
  ReleaseSRWLockExclusive(&p->lock);
}

void CloseDeflatePipeline(DeflatePipeline* p) {
  if (!p) return;
  AcquireSRWLockExclusive(&p->lock);
  p->stop = true;
  WakeAllConditionVariable(&p->work);
  ReleaseSRWLockExclusive(&p->lock);
  for (int i = 0; i < p->threadCount; ++i) {
    WaitForSingleObject(p->threads[i], INFINITE);
    CloseHandle(p->threads[i]);
  }
  for (Slot& slot : p->slots) {
    free(slot.block.in);
    free(slot.block.dict);
    free(slot.outBuffer);
  }
  free(p);
}
