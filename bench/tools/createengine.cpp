// Compresses a folder into a new archive with the engine alone (no window, no progress
// dialog) and prints how long the run took, so the benchmarks can tell the engine's cost from
// Wine's start. "--skip-crc" runs without the checksum pass before each file.
//   createengine FOLDER ARCHIVE [LEVEL] [--skip-crc]
#include "services/base.h"

#include "settings/values.h"
#include "zip/create.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
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
  int result = static_cast<int>(ZipWorkDirectoryThread(block));
  QueryPerformanceCounter(&t1);
  printf("creation %.1f ms, result %d\n", 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result);
  return result;
}
