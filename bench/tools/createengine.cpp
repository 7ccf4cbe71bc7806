// Compresses a folder into a new archive through the table of kinds, the kind chosen by the
// archive's name as the window's File > New chooses it (x.zip, x.tar.gz, ...), with the
// engine alone (no window, no progress dialog) and prints how long the run took, so the
// benchmarks can tell the engine's cost from Wine's start. "--skip-crc" runs ZIP without the
// checksum pass before each file. Exits 0 when the archive was written, else 1.
//   createengine FOLDER ARCHIVE [LEVEL] [--skip-crc]
#include "services/base.h"

#include "formats/formats.h"
#include "jobs/create_job.h"
#include "settings/values.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  RegisterArchiveFormats();
  const ArchiveFormat* format = ArchiveWriterFor(argv[2], false, false);
  if (!format) {
    fprintf(stderr, "%s: no kind writes it\n", argv[2]);
    return 1;
  }
  ZipWorkBlock* block = NewZipWorkBlock();
  snprintf(block->folder, kPathBuf, "%s", argv[1]);
  snprintf(block->archive, kPathBuf, "%s", argv[2]);
  block->options.level = argc > 3 && argv[3][0] != '-' ? atoi(argv[3]) : 6;
  block->silent = 1;
  block->recurse = 1;
  for (int i = 3; i < argc; ++i)
    if (!strcmp(argv[i], "--skip-crc")) SetSkipCRCCheck(1);
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  int result = static_cast<int>(format->ops.create(block));
  QueryPerformanceCounter(&t1);
  printf("creation %.1f ms, result %d (%s)\n", 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result,
         format->name);
  return result == CREATE_OK ? 0 : 1;
}
