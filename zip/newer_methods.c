/* The decoders of the methods that newer archivers write into ZIP files: LZMA (14), Zstandard
 * (93) and XZ (95). The container library calls these through four hooks, so every road that
 * reads an entry (extraction, view, test, search, streams, the self-extracting stub) decodes
 * them alike, with the CRC checked as for deflate. */
#include <lzma.h>
#include <zstd.h>

#include <stdlib.h>
#include <string.h>

#include "zlib.h"

/* A declared dictionary or window larger than this is refused rather than allocated: the
 * archive's word alone never decides how much memory is taken. */
#define NEWER_MEMORY_LIMIT (512u << 20)

enum { LZMA_ZIP = 14, ZSTD_ZIP = 93, XZ_ZIP = 95 };

typedef struct {
  unsigned long method;
  lzma_stream lzma;
  int lzmaStarted;
  ZSTD_DStream* zstd;
  /* LZMA in ZIP opens with 2 bytes of version, 2 of properties' size, then the properties. */
  unsigned char head[4 + 5];
  unsigned headHave;
  unsigned headWant;
} NewerDecoder;

int unzNewerMethodDecodable(uLong method) {
  return method == LZMA_ZIP || method == ZSTD_ZIP || method == XZ_ZIP;
}

void* unzNewerMethodOpen(uLong method) {
  NewerDecoder* d = (NewerDecoder*)calloc(1, sizeof *d);
  if (!d) return NULL;
  d->method = method;
  d->lzma = (lzma_stream)LZMA_STREAM_INIT;
  if (method == ZSTD_ZIP) {
    d->zstd = ZSTD_createDStream();
    if (!d->zstd || ZSTD_isError(ZSTD_DCtx_setParameter(d->zstd, ZSTD_d_windowLogMax, 29))) {
      ZSTD_freeDStream(d->zstd);
      free(d);
      return NULL;
    }
  } else if (method == XZ_ZIP) {
    if (lzma_stream_decoder(&d->lzma, NEWER_MEMORY_LIMIT, 0) != LZMA_OK) {
      free(d);
      return NULL;
    }
    d->lzmaStarted = 1;
  } else {
    d->headWant = 4;
  }
  return d;
}

/* Takes the LZMA head from the input (it may come in pieces) and starts the raw decoder on
 * its properties: 0 while more head is owed or once started, -1 for a head that cannot be. */
static int StartLzma(NewerDecoder* d, Bytef** in, uInt* inAvail) {
  while (!d->lzmaStarted && *inAvail) {
    unsigned take = d->headWant - d->headHave;
    if (take > *inAvail) take = *inAvail;
    memcpy(d->head + d->headHave, *in, take);
    d->headHave += take;
    *in += take;
    *inAvail -= take;
    if (d->headHave < d->headWant) break;
    if (d->headWant == 4) {
      unsigned size = d->head[2] | (d->head[3] << 8);
      if (size != 5) return -1;
      d->headWant = 4 + size;
      continue;
    }
    lzma_options_lzma* options = NULL;
    lzma_filter filters[2];
    filters[0].id = LZMA_FILTER_LZMA1;
    filters[0].options = NULL;
    if (lzma_properties_decode(&filters[0], NULL, d->head + 4, d->headWant - 4) != LZMA_OK) return -1;
    options = (lzma_options_lzma*)filters[0].options;
    if (options->dict_size > NEWER_MEMORY_LIMIT) {
      free(options);
      return -1;
    }
    filters[1].id = LZMA_VLI_UNKNOWN;
    filters[1].options = NULL;
    lzma_ret started = lzma_raw_decoder(&d->lzma, filters);
    free(options);
    if (started != LZMA_OK) return -1;
    d->lzmaStarted = 1;
  }
  return 0;
}

int unzNewerMethodRun(void* decoder, Bytef** in, uInt* inAvail, Bytef** out, uInt* outAvail) {
  NewerDecoder* d = (NewerDecoder*)decoder;
  if (d->method == ZSTD_ZIP) {
    ZSTD_inBuffer input = {*in, *inAvail, 0};
    ZSTD_outBuffer output = {*out, *outAvail, 0};
    size_t result = ZSTD_decompressStream(d->zstd, &output, &input);
    *in += input.pos;
    *inAvail -= (uInt)input.pos;
    *out += output.pos;
    *outAvail -= (uInt)output.pos;
    return ZSTD_isError(result) ? -1 : 0;
  }
  if (d->method == LZMA_ZIP && StartLzma(d, in, inAvail) < 0) return -1;
  if (!d->lzmaStarted) return 0;
  d->lzma.next_in = *in;
  d->lzma.avail_in = *inAvail;
  d->lzma.next_out = *out;
  d->lzma.avail_out = *outAvail;
  lzma_ret result = lzma_code(&d->lzma, LZMA_RUN);
  *in = (Bytef*)d->lzma.next_in;
  *inAvail = (uInt)d->lzma.avail_in;
  *out = d->lzma.next_out;
  *outAvail = (uInt)d->lzma.avail_out;
  if (result == LZMA_STREAM_END) return 1;
  /* LZMA_BUF_ERROR only says no progress was possible this turn; the caller decides. */
  return result == LZMA_OK || result == LZMA_BUF_ERROR ? 0 : -1;
}

void unzNewerMethodClose(void* decoder) {
  NewerDecoder* d = (NewerDecoder*)decoder;
  if (!d) return;
  if (d->zstd) ZSTD_freeDStream(d->zstd);
  lzma_end(&d->lzma);
  free(d);
}
