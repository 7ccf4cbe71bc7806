#pragma once
// Deflate in one piece through libdeflate, for data that fits a buffer: several times faster
// than zlib's streams, which stay for what does not fit (and for encrypted data).
#include <cstddef>
#include <cstdint>

// Inflates raw deflate data into out. 0 when it decoded to exactly outSize bytes; otherwise a
// damaged or truncated stream, or one that decodes to more or fewer bytes than outSize.
int InflateWhole(const void* in, size_t inSize, void* out, size_t outSize);

// Raw deflate at level 0-12 into out; the compressed size, or 0 when it does not fit.
size_t DeflateWhole(int level, const void* in, size_t inSize, void* out, size_t outCapacity);
size_t DeflateWholeBound(size_t inSize);

uint32_t Crc32Whole(uint32_t crc, const void* data, size_t size);

// Frees this thread's decoder and encoders; a run calls it when it ends.
void ReleaseWholeCoders();
