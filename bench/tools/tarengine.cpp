// Lists or extracts a TAR archive through tar.dll alone and prints how long the calls took:
// the benchmarks use it to tell the library's cost from Wine's start.
//   tarengine list ARCHIVE
//   tarengine extract ARCHIVE DESTINATION
#include "services/base.h"

#include "plugins/include/kestrelia_tar.h"
#include "services/runtime_library.h"

#include <cstdio>
#include <cstring>

KESTRELIA_RUNTIME_LIBRARY(TarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  if (!LoadRuntimeLibrary(&TarDll::Library())) return 3;
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  unsigned long long count = 0, bytes = 0;
  char result[TAR_RESULT_TEXT_SIZE] = "";
  if (strcmp(argv[1], "list") == 0) {
    TarHandle archive = TarDll::TarOpenArchive()(nullptr, argv[2], 0);
    TarFindRecord record;
    auto next = TarDll::TarFindNext();
    for (int more = TarDll::TarFindFirst()(archive, "", &record); more == 0;
         more = next(archive, &record)) {
      ++count;
      bytes += record.size;
    }
    TarDll::TarCloseArchive()(archive);
  } else if (argc > 3) {
    TarDll::TarExtract()(argv[2], nullptr, nullptr, result, argv[3], 0, 0, 0);
  }
  QueryPerformanceCounter(&t1);
  printf("%s %.1f ms, %llu entries, %llu bytes %s\n", argv[1], 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart,
         count, bytes, result);
  return 0;
}
