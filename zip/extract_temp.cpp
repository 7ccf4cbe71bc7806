#include "services/base.h"
#include "zip/extract.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/worker.h"
#include "ui/entry_list.h"
#include "jobs/entry_name_safety.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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

// A folder no earlier drag used, so that everything in it may be replaced without asking.
bool MakeFreshFolder(char (&fresh)[kPathBuf]) {
  char unused[kPathBuf], folder[kPathBuf];
  TempTarget("", unused, folder);
  static unsigned s_serial;
  for (int attempt = 0; attempt < 100; ++attempt) {
    snprintf(fresh, sizeof fresh, "%sKestrelia_%lu_%u", folder, GetCurrentProcessId(), ++s_serial);
    if (CreateDirectoryA(fresh, nullptr)) return true;
    if (GetLastError() != ERROR_ALREADY_EXISTS) break;
  }
  Log(1, GetVerbose(), "ExtractMultipleFiles: cannot create a folder in %s (%lu)", folder, GetLastError());
  return false;
}

// "dir" of "dir\sub\a.txt", "a.txt" of "a.txt": what lands directly in the fresh folder.
std::string TopComponent(const liststruct* record) {
  std::string full = std::string(record->path ? record->path : "") + (record->filename ? record->filename : "");
  size_t cut = full.find_first_of("\\/");
  return cut == std::string::npos ? full : full.substr(0, cut);
}

}  // namespace

int ExtractToTemp(const char* entryPath, char* outPath) {
  return WriteEntryToTemp("ExtractToTemp", entryPath, outPath, false);
}

int CreateFileContents(const char* entryPath, char* outPath) {
  return WriteEntryToTemp("CreateFileContents", entryPath, outPath, true);
}

int ExtractMultipleFiles(HWND list, NameList* written) {
  const char* archive = GetCurrentArchivePath();
  if (!archive || !*archive || !list || !written) {
    Log(1, GetVerbose(), "ExtractMultipleFiles: no archive or no list");
    return -1;
  }
  // The run moves the working directory, below which a running extraction writes.
  std::vector<int> rows = SelectedEntryRows(list);
  if (rows.empty() || ClaimOperation(OPERATION_JOB) != OPERATION_NONE) return -1;
  char fresh[kPathBuf];
  if (!MakeFreshFolder(fresh)) {
    ReleaseOperation(OPERATION_JOB);
    return -1;
  }

  // Nothing else runs while the user drags; a cancel left from an earlier run must not end this one.
  CancelProgress(0);
  int withoutPath = 0, mode = OVERWRITE_ALWAYS;
  const char* password = GetCurrentPassword()[0] ? GetCurrentPassword() : nullptr;
  int result = ExtractZipFilesFromList(list, archive, &withoutPath, &mode, password, fresh, 0, 1, 1);
  ReleaseOperation(OPERATION_JOB);

  // Only what is there: a refused or unreadable entry has no place in the drop.
  for (int row : rows) {
    liststruct* record = GetRowRecord(list, row);
    if (!record) continue;
    std::string top = TopComponent(record);
    if (top.empty() || top == "." || JudgeEntryName(top.c_str(), nullptr, 0) != ENTRY_NAME_OK) continue;
    std::string path = std::string(fresh) + "\\" + top;
    if (Exists(path.c_str())) NameListInsertCopyUnique(written, path.c_str());
  }
  Log(5, GetVerbose(), "ExtractMultipleFiles: %s finished with %d, %u paths", fresh, result,
      static_cast<unsigned>(written->count));
  return result;
}
