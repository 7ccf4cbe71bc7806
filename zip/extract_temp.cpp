#include "services/base.h"
#include "zip/extract.h"

#include "model/app_state.h"
#include "services/log.h"
#include "jobs/entry_name_safety.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool Exists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

// The common road of ExtractToTemp and CreateFileContents; caller names the messages.
int WriteEntryToTemp(const char* caller, const char* entryPath, char* outPath, bool replace) {
  if (outPath) outPath[0] = 0;
  const char* archive = GetCurrentArchivePath();
  if (!archive || !*archive) {
    Log(1, GetVerbose(), "%s CompletePath not set!", caller);
    return -1;
  }
  if (replace && !Exists(archive)) {
    Log(1, GetVerbose(), "%s CompletePath %s not found", caller, archive);
    return -1;
  }
  const char* part = entryPath ? LastNamePart(entryPath) : "";
  char reason[128] = "";
  // Only the last name lands in the temporary folder: it must stay a plain file name there.
  if (!*part || JudgeEntryName(part, reason, sizeof reason) != ENTRY_NAME_OK) {
    Log(1, GetVerbose(), "%s: %s refused (%s)", caller, entryPath ? entryPath : "", *part ? reason : "a folder");
    return -1;
  }
  char target[kPathBuf], folder[kPathBuf];
  if (!TempTarget(part, target, folder)) {
    Log(1, GetVerbose(), "%s: %s refused (the name is too long for the temporary folder)", caller, entryPath);
    return -1;
  }
  if (replace && Exists(target) && remove(target) != 0) printf("remove of %s not successful\n", target);

  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    Log(1, GetVerbose(), "%s: %s cannot be opened", caller, archive);
    return -1;
  }
  unz_global_info64 global = {};
  int result = unzGetGlobalInfo64(zip, &global);
  if (result != UNZ_OK) Log(0, GetVerbose(), "%s: error: %d with zipfile in unzGetGlobalInfo", caller, result);
  unz_file_info64 info = {};
  result = LocateEntry(zip, entryPath);
  if (result == UNZ_OK) result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  if (result != UNZ_OK) {
    Log(1, GetVerbose(), "%s: %s not found in %s (%d)", caller, entryPath, archive, result);
  } else if ((result = OpenCurrentEntry(zip)) == UNZ_OK) {
    result = CopyOpenEntry(caller, zip, info, target);
  }
  unzClose(zip);
  if (result != 0) return result;
  AddTempFile(target);
  if (outPath) snprintf(outPath, kPathBuf, "%s", target);
  return 0;
}

}  // namespace

int ExtractToTemp(const char* entryPath, char* outPath) {
  return WriteEntryToTemp("ExtractToTemp", entryPath, outPath, false);
}

int CreateFileContents(const char* entryPath, char* outPath) {
  return WriteEntryToTemp("CreateFileContents", entryPath, outPath, true);
}
