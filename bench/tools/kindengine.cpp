// Lists or extracts an archive of any kind through its row of the table of kinds (a RAR
// through the RAR adapter and unrar.dll, a 7z through sevenzip.dll) as the window does but
// without it, and prints how long the adapter took: the benchmarks use it to tell the adapter's cost
// from Wine's start. The exit code is the run's outcome.
//   kindengine list ARCHIVE
//   kindengine extract ARCHIVE DESTINATION
#include "services/base.h"

#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/listing_totals.h"
#include "model/namelist.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/extract.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  GetPrompts().messageBox = [](HWND, const char* text, const char* title, UINT) {
    fprintf(stderr, "%s: %s\n", title, text);
    return IDOK;
  };
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  RegisterArchiveFormats();
  int kind = DecideArchiveKind(argv[2]);
  SetArchiveKind(kind);
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.listing || !format->ops.extract) {
    fprintf(stderr, "%s: no kind lists and extracts it\n", argv[2]);
    return 1;
  }
  unsigned long long count = 0, bytes = 0;
  int result = 0;
  if (strcmp(argv[1], "list") == 0) {
    HiddenEntryList window;
    ArchiveControlBlock block = {};
    block.list = window.list;
    NameListRecreate(&block.folders);
    snprintf(block.path, sizeof block.path, "%s", argv[2]);
    QueryPerformanceCounter(&t0);
    format->ops.listing(&block);
    QueryPerformanceCounter(&t1);
    count = GetListingTotals().entries;
    bytes = GetListingTotals().uncompressed;
    NameListDestroy(&block.folders);
  } else if (argc > 3) {
    ExtractJob job = {};
    snprintf(job.archive, sizeof job.archive, "%s", argv[2]);
    snprintf(job.destination, sizeof job.destination, "%s", argv[3]);
    job.silent = 1;
    job.overwriteMode = OVERWRITE_ALWAYS;
    QueryPerformanceCounter(&t0);
    result = ExtractionOutcome(format->ops.extract(&job));
    QueryPerformanceCounter(&t1);
  } else {
    return 2;
  }
  printf("%s %.1f ms, %llu entries, %llu bytes, result %d\n", argv[1],
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, count, bytes, result);
  return result;
}
