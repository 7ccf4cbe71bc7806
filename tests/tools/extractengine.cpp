// Extracts a whole archive with the engine alone (no window, no progress dialog) and prints
// how long the run took: the benchmarks use it to tell the engine's cost from Wine's start.
// With "--read-only" it only inflates every entry (and checks its CRC), the floor under
// any extraction through the container library.
//   extractengine ARCHIVE DESTINATION
//   extractengine ARCHIVE --read-only
#include "services/base.h"

#include "zip/extract.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

int ReadEverything(const char* archive, uint64_t* bytes) {
  unzFile zip = MyWaitunzOpen2_64(archive, 0);
  if (!zip) return -1;
  std::vector<char> buffer(65536);
  int result = 0;
  for (int err = unzGoToFirstFile(zip); err == UNZ_OK && !result; err = unzGoToNextFile(zip)) {
    if (unzOpenCurrentFile(zip) != UNZ_OK) return -2;
    int read;
    while ((read = unzReadCurrentFile(zip, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) *bytes += read;
    if (read < 0 || unzCloseCurrentFile(zip) != UNZ_OK) result = -3;
  }
  unzClose(zip);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  int withoutPath = 0, mode = OVERWRITE_ALWAYS, result;
  uint64_t bytes = 0;
  QueryPerformanceCounter(&t0);
  if (strcmp(argv[2], "--read-only") == 0) {
    result = ReadEverything(argv[1], &bytes);
  } else {
    result = ExtractZipFilesFromListMF(nullptr, argv[1], &withoutPath, &mode, "", argv[2], 0, 1);
    bytes = GetExtractionByteCounter();
  }
  QueryPerformanceCounter(&t1);
  printf("%s %.1f ms, result %d, %llu bytes\n", strcmp(argv[2], "--read-only") ? "extraction" : "reading",
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result, static_cast<unsigned long long>(bytes));
  return result == 0 ? 0 : 1;
}
