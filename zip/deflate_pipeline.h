// Deflating on several threads while the archive is written in order. The caller cuts the
// files into blocks, in archive order; worker threads compress the blocks as they come, and
// the caller takes them back oldest first to write them raw into the archive. A file larger
// than one block is cut into blocks that continue one deflate stream: each block starts with
// the last 32 KiB of the one before as its dictionary and ends on a byte boundary, so the
// blocks joined are one valid stream. A fixed ring of blocks bounds the memory.
#pragma once
#include "services/base.h"

constexpr size_t kDeflateBlockSize = 1 << 20;  // what every block holds at least
constexpr size_t kWholeFileLimit = 8 << 20;    // files up to this size go in one block
constexpr size_t kDeflateWindow = 32768;

struct DeflateBlock {
  // Filled by the caller before SubmitBlock.
  void* owner;             // the caller's record of the entry the block belongs to
  unsigned char* in;       // kDeflateBlockSize bytes or more (GrowBlock), owned by the pipeline
  size_t inLength;
  size_t dictLength;       // bytes of dict that precede this block in its file
  unsigned char* dict;     // kDeflateWindow bytes owned by the pipeline
  bool last;               // ends the entry's stream
  bool noData;             // a folder: nothing to compress, already done
  // Set by the worker.
  const unsigned char* out;
  size_t outLength;
  unsigned long crc;       // CRC-32 of in
  bool failed;
};

struct DeflatePipeline;
// Level 0 stores: the block's bytes are its output. wholeDeflate compresses a file that
// fits one block in one piece, faster than zlib. Null when the memory cannot be had or no
// thread starts.
DeflatePipeline* OpenDeflatePipeline(int level, int threads, bool wholeDeflate);
// A block to fill, or null while every block is still on its way (take the oldest first).
DeflateBlock* FreeBlock(DeflatePipeline* pipeline);
// Makes room for capacity bytes in the block; false when the memory cannot be had.
bool GrowBlock(DeflatePipeline* pipeline, DeflateBlock* block, size_t capacity);
void SubmitBlock(DeflatePipeline* pipeline, DeflateBlock* block);
// The oldest submitted block once it is compressed; with wait false null while it is not
// yet done; null when nothing is pending.
DeflateBlock* OldestBlock(DeflatePipeline* pipeline, bool wait);
// The oldest block is written: its place is free again.
void ReleaseOldest(DeflatePipeline* pipeline);
// Stops the workers (blocks not yet compressed are dropped) and frees everything.
void CloseDeflatePipeline(DeflatePipeline* pipeline);
