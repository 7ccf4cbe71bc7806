// Extracts a whole archive of any kind through its row of the table of kinds (no window, no
// progress dialog) and prints how long the run took: the benchmarks use it to tell the
// engine's cost from Wine's start. Exits 1 when the kind cannot extract or an entry failed.
// For ZIP archives, "--read-only" only inflates every entry (and checks its CRC), the floor
// under any extraction through the container library, and "--bare" after the destination
// only makes the entries' files, filled with zeros (Wine's share of an extraction).
//   extractengine ARCHIVE DESTINATION [--bare]
//   extractengine ARCHIVE --read-only
#include "services/base.h"

#include "formats/formats.h"
#include "jobs/entry_failures.h"
#include "model/archive_kind.h"
#include "zip/extract.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstring>
#include <string>
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

// Only what the system costs per file, without the archive's data: every entry's file made,
// written with as many zero bytes as the entry holds, its times set and closed, each folder
// made once, as the engine makes them in a fresh folder (only when new). Beside a real
// extraction it tells the platform's share from the engine's.
int WriteBare(const char* archive, const char* destination, uint64_t* bytes) {
  unzFile zip = MyWaitunzOpen2_64(archive, 0);
  if (!zip || !SetCurrentDirectoryA(destination)) return -1;
  std::vector<char> zeros(1u << 20);
  std::string folder, name;
  char raw[kPathBuf];
  int result = 0;
  for (int err = unzGoToFirstFile(zip); err == UNZ_OK && !result; err = unzGoToNextFile(zip)) {
    unz_file_info64 info = {};
    unzGetCurrentFileInfo64(zip, &info, raw, sizeof raw, nullptr, 0, nullptr, 0);
    name = raw;
    for (char& c : name)
      if (c == '/') c = '\\';
    size_t cut = name.rfind('\\');
    std::string parent = cut == std::string::npos ? "" : name.substr(0, cut);
    if (!parent.empty() && parent != folder) {
      CreateDirectoryPath((std::string(destination) + "\\" + parent).c_str());
      folder = parent;
    }
    if (cut == name.size() - 1) continue;
    HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      result = -2;
      break;
    }
    for (uint64_t left = info.uncompressed_size; left;) {
      DWORD part = static_cast<DWORD>(left < zeros.size() ? left : zeros.size()), written = 0;
      if (!WriteFile(file, zeros.data(), part, &written, nullptr) || !written) {
        result = -3;
        break;
      }
      left -= written;
      *bytes += written;
    }
    SetHandleTimesFromDos(file, info.dosDate);
    CloseHandle(file);
  }
  unzClose(zip);
  return result;
}

}  // namespace

// The whole archive through its kind's extraction operation; -1 when the kind has none.
int ExtractThroughTable(const char* archive, const char* destination) {
  RegisterArchiveFormats();
  int kind = DecideArchiveKind(archive);
  SetArchiveKind(kind);
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.extract) {
    printf("%s: no kind that extracts\n", archive);
    return -1;
  }
  ExtractJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", archive);
  snprintf(job.destination, sizeof job.destination, "%s", destination);
  job.overwriteMode = OVERWRITE_ALWAYS;
  job.extractAll = 1;
  job.countEntries = 1;
  job.silent = 1;
  int result = format->ops.extract(&job);
  size_t failed = GetLastRunFailures().items.size();
  if (failed) printf("%u entries failed\n", static_cast<unsigned>(failed));
  return ExtractionOutcome(result);
}

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  int result;
  uint64_t bytes = 0;
  QueryPerformanceCounter(&t0);
  if (strcmp(argv[2], "--read-only") == 0) {
    result = ReadEverything(argv[1], &bytes);
  } else if (argc > 3 && strcmp(argv[3], "--bare") == 0) {
    result = WriteBare(argv[1], argv[2], &bytes);
  } else {
    result = ExtractThroughTable(argv[1], argv[2]);
    bytes = GetExtractionByteCounter();
  }
  QueryPerformanceCounter(&t1);
  printf("%s %.1f ms, result %d, %llu bytes\n", strcmp(argv[2], "--read-only") ? "extraction" : "reading",
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result, static_cast<unsigned long long>(bytes));
  return result == 0 ? 0 : 1;
}
