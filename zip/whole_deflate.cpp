#include "zip/whole_deflate.h"

#include <libdeflate.h>

namespace {

// One decoder and one encoder per level and thread, made on first use and kept: making
// them costs more than a small entry. No destructor on purpose: a thread-local object with
// one is torn down through the threads library's key, whose removal at process exit waits
// forever when threads made with CreateThread have used it; runs free them instead.
struct ThreadCoders {
  libdeflate_decompressor* decoder;
  libdeflate_compressor* encoders[13];
};
thread_local ThreadCoders t_coders;

}  // namespace

int InflateWhole(const void* in, size_t inSize, void* out, size_t outSize) {
  if (!t_coders.decoder) t_coders.decoder = libdeflate_alloc_decompressor();
  if (!t_coders.decoder) return -1;
  size_t produced = 0;
  libdeflate_result result = libdeflate_deflate_decompress(t_coders.decoder, in, inSize, out, outSize, &produced);
  if (result != LIBDEFLATE_SUCCESS) return result;
  return produced == outSize ? 0 : LIBDEFLATE_SHORT_OUTPUT;
}

size_t DeflateWhole(int level, const void* in, size_t inSize, void* out, size_t outCapacity) {
  if (level < 0 || level > 12) return 0;
  libdeflate_compressor*& encoder = t_coders.encoders[level];
  if (!encoder) encoder = libdeflate_alloc_compressor(level);
  return encoder ? libdeflate_deflate_compress(encoder, in, inSize, out, outCapacity) : 0;
}

size_t DeflateWholeBound(size_t inSize) { return libdeflate_deflate_compress_bound(nullptr, inSize); }

uint32_t Crc32Whole(uint32_t crc, const void* data, size_t size) { return libdeflate_crc32(crc, data, size); }

void ReleaseWholeCoders() {
  if (t_coders.decoder) libdeflate_free_decompressor(t_coders.decoder);
  for (auto*& encoder : t_coders.encoders)
    if (encoder) libdeflate_free_compressor(encoder);
  t_coders = ThreadCoders{};
}
