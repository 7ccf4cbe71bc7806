#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/log.h"
#include "services/prompts.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Whole entries copied for viewing and for the shell go through one buffer of this size.
constexpr size_t kCopyBuffer = 65536;

bool WriteChunk(FILE* file, const char* name, const char* data, size_t size) {
  if (fwrite(data, 1, size, file) == size) return true;
  printf("error writing buffer to file: %s\n", name ? name : "");
  return false;
}

// The user decides whether a damaged entry is worth what was read of it; either way the
// copy ends here. OK after an overrun reports the copy as usable, since everything the
// entry declared has been copied.
int AskAfterProblem(int line, int result, bool overrun) {
  printf("%s %d error: %d\n", "ziphelper", line, result);
  int answer = PromptMessageBox(GetForegroundWindow(), "A problem has been detected with this file - continue?",
                                "Error in uncompressing", MB_OKCANCEL | MB_ICONERROR);
  if (answer == IDOK) return overrun ? 1 : 0;
  return 0;
}

// The wait cursor comes on only for copies that take long enough to be noticed.
struct BusyIndicator {
  bool wanted;
  bool shown = false;
  DWORD start = GetTickCount();
  HCURSOR previous = nullptr;
  explicit BusyIndicator(bool on) : wanted(on) {}
  void Tick() {
    if (!wanted || shown || GetTickCount() - start < 200) return;
    previous = SetCursor(LoadCursor(nullptr, IDC_WAIT));
    shown = true;
  }
  ~BusyIndicator() {
    if (shown) SetCursor(previous ? previous : LoadCursor(nullptr, IDC_ARROW));
  }
};

int CopyEntry(unzFile zip, const unz_file_info64* info, size_t bufferSize, char* buffer, FILE* file,
              const char* name, int problemLine, bool busy) {
  BusyIndicator indicator(busy);
  unsigned chunk = bufferSize > 0x7FFFFFFF ? 0x7FFFFFFFu : static_cast<unsigned>(bufferSize);
  uint64_t sum = 0;
  for (;;) {
    int read = ReadOpenEntry(zip, buffer, chunk);
    if (read == 0) return 1;
    if (read < 0) return AskAfterProblem(problemLine, read, false);
    sum += static_cast<uint64_t>(read);
    if (sum > info->uncompressed_size) return AskAfterProblem(problemLine, read, true);
    if (!WriteChunk(file, name, buffer, static_cast<size_t>(read))) return 0;
    indicator.Tick();
  }
}

bool MissingPassword() { return IsArchiveEncrypted() && !GetCurrentPassword()[0]; }

}  // namespace

int ReadEntryToFile(unzFile zip, const unz_file_info64* info, size_t bufferSize, char* buffer, FILE* file,
                    const char* name, int busyIndicator) {
  if (MissingPassword()) return 0;
  return CopyEntry(zip, info, bufferSize, buffer, file, name, 85, busyIndicator != 0);
}

const char* LastNamePart(const char* name) {
  const char* part = name;
  for (const char* p = name; *p; ++p)
    if (*p == '/' || *p == '\\') part = p + 1;
  return part;
}

int CopyOpenEntry(const char* caller, unzFile zip, const unz_file_info64& info, const char* target) {
  FILE* file = fopen(target, "wb");
  if (!file) {
    printf("%s failure - cannot open file %s\n", caller, target);
    CloseOpenEntry(zip);
    return EXTRACT_WRITE_ERROR;
  }
  char* buffer = static_cast<char*>(malloc(kCopyBuffer));
  if (!buffer) {
    Log(2, GetVerbose(), "%s: Error allocating memory", caller);
    fclose(file);
    CloseOpenEntry(zip);
    remove(target);
    return EXTRACT_NO_MEMORY;
  }
  int copied = ReadEntryToFile(zip, &info, kCopyBuffer, buffer, file, target, 1);
  fclose(file);
  free(buffer);
  int closed = CloseOpenEntry(zip);
  if (closed != UNZ_OK) printf("%s: error %d with zipfile in unzCloseCurrentFile\n", caller, closed);
  if (copied == 1 && closed == UNZ_OK) {
    // A file opened by another program or dropped on the shell keeps the archive's time.
    SetFileTimesFromDos(target, info.dosDate);
    return 0;
  }
  // Half an entry handed to another program or the shell would pass for the whole one.
  Log(1, GetVerbose(), "%s: %s not complete (%d, %d) - removed", caller, target, copied, closed);
  remove(target);
  return closed != UNZ_OK ? closed : 1;
}
