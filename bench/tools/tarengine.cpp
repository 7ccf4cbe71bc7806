// Lists a TAR archive through tar.dll alone, or extracts it as the program does (tar.dll
// reads, the program's writer writes), and prints how long the calls took: the benchmarks use
// it to tell the library's cost from Wine's start. The exit code is the run's outcome.
//   tarengine list ARCHIVE
//   tarengine extract ARCHIVE DESTINATION
#include "services/base.h"

#include "formats/tar_format.h"
#include "jobs/extract_job.h"
#include "plugins/include/kestrelia_tar.h"
#include "services/prompts.h"
#include "services/runtime_library.h"

#include <cstdio>
#include <cstring>

KESTRELIA_RUNTIME_LIBRARY(EngineTarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  GetPrompts().messageBox = [](HWND, const char* text, const char* title, UINT) {
    fprintf(stderr, "%s: %s\n", title, text);
    return IDOK;
  };
  if (!LoadRuntimeLibrary(&EngineTarDll::Library())) return 3;
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  unsigned long long count = 0, bytes = 0;
  int result = 0;
  if (strcmp(argv[1], "list") == 0) {
    TarHandle archive = EngineTarDll::TarOpenArchive()(nullptr, argv[2], 0);
    TarFindRecord record;
    auto next = EngineTarDll::TarFindNext();
    for (int more = EngineTarDll::TarFindFirst()(archive, "", &record); more == 0;
         more = next(archive, &record)) {
      ++count;
      bytes += record.size;
    }
    EngineTarDll::TarCloseArchive()(archive);
  } else if (argc > 3) {
    ExtractJob job = {};
    snprintf(job.archive, sizeof job.archive, "%s", argv[2]);
    snprintf(job.destination, sizeof job.destination, "%s", argv[3]);
    job.silent = 1;
    job.overwriteMode = OVERWRITE_ALWAYS;
    result = ExtractionOutcome(ExtractTarFilesFromList(&job));
  }
  QueryPerformanceCounter(&t1);
  printf("%s %.1f ms, %llu entries, %llu bytes, result %d\n", argv[1],
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, count, bytes, result);
  return result;
}
