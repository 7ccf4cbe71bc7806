#include "services/base.h"
#include "jobs/extract_archive.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/external_app.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/entry_list.h"
#include "jobs/entry_name_safety.h"
#include "zip/entry_names.h"
#include "zip/zip_format.h"
#include "zip/zip_open.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Written and deleted on the window's thread only.
std::vector<std::string> g_tempFiles;

}  // namespace

bool TempTarget(const char* part, char (&target)[kPathBuf], char (&folder)[kPathBuf]) {
  if (!GetTempPathA(sizeof folder, folder)) snprintf(folder, sizeof folder, "c:");
  size_t n = strlen(folder);
  bool separated = n && (folder[n - 1] == '\\' || folder[n - 1] == '/');
  int length = snprintf(target, sizeof target, "%s%s%s", folder, separated ? "" : "\\", part);
  // A cut name would be another file's name: the caller refuses instead.
  return length >= 0 && length < static_cast<int>(sizeof target);
}

int LocateEntry(unzFile zip, const char* name) { return LocateEntryByDisplayName(zip, name); }

void AddTempFile(const char* path) {
  // A file written again for the same entry (viewed twice, dragged twice) is one file to delete.
  if (path && *path && std::find(g_tempFiles.begin(), g_tempFiles.end(), path) == g_tempFiles.end())
    g_tempFiles.emplace_back(path);
}

void DeleteTempFiles() {
  for (const std::string& path : g_tempFiles)
    if (!DeleteFileA(path.c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND)
      Log(2, GetVerbose(), "DeleteTempFiles: cannot delete %s (%lu)", path.c_str(), GetLastError());
  g_tempFiles.clear();
}

int do_view_currentfile(unzFile zip, const char* name, int openWith, unz_file_info64 info) {
  const char* part = LastNamePart(name);
  char reason[128] = "";
  // The name without its folders lands in the temporary folder: it must stay a plain name there.
  if (!*part || JudgeEntryName(part, reason, sizeof reason) != 0) {
    Log(1, GetVerbose(), "do_view_currentfile: %s not viewed: %s", name, *part ? reason : "a folder");
    PromptMessageBox(GetForegroundWindow(), GetMessageText(*part ? 53 : 52), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  int result = OpenCurrentEntry(zip);
  if (result != UNZ_OK) return result;
  char target[kPathBuf], folder[kPathBuf], previous[kPathBuf] = "";
  if (!TempTarget(part, target, folder)) {
    CloseOpenEntry(zip);
    Log(1, GetVerbose(), "do_view_currentfile: %s not viewed: the name is too long for the temporary folder", name);
    PromptMessageBox(GetForegroundWindow(), GetMessageText(53), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  GetCurrentDirectoryA(sizeof previous, previous);
  SetCurrentDirectoryA(folder);
  int copied = CopyOpenEntry("do_view_currentfile", zip, info, target);
  AddTempFile(target);
  result = copied == 0 ? (openWith ? OpenAs(target) : CallApp(target)) : copied;
  SetCurrentDirectoryA(previous);
  return result;
}

int ViewSelectedEntry(int openWith) {
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND list = block ? block->viewComponent : nullptr;
  const char* archive = GetCurrentArchivePath();
  int row = list ? FocusedEntryRow(list) : -1;
  liststruct* record = row >= 0 ? GetRowRecord(list, row) : nullptr;
  if (!record || !*archive) {
    Log(5, GetVerbose(), "ViewSelectedEntry: nothing selected");
    return 1;
  }
  int kind = GetArchiveKind();
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.view) {
    Log(2, GetVerbose(), "ViewSelectedEntry: archive kind %d is viewed by its adapter", kind);
    return 1;
  }
  // Viewing moves the working directory, which a running extraction writes below.
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(40), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  std::string full = std::string(record->path ? record->path : "") + (record->filename ? record->filename : "");
  int result = format->ops.view(archive, full.c_str(), openWith);
  ReleaseOperation(OPERATION_JOB);
  return result;
}

int ViewZipEntry(const char* archive, const char* name, int openWith) {
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    Log(1, GetVerbose(), "ViewSelectedEntry: %s cannot be opened", archive);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(53), GetMessageText(94), MB_OK | MB_ICONERROR);
    return 1;
  }
  unz_file_info64 info = {};
  int result = LocateEntry(zip, name);
  if (result == UNZ_OK) result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  if (result == UNZ_OK) {
    result = do_view_currentfile(zip, name, openWith, info);
  } else {
    Log(1, GetVerbose(), "ViewSelectedEntry: %s not found in %s (%d)", name, archive, result);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(53), GetMessageText(94), MB_OK | MB_ICONERROR);
  }
  unzClose(zip);
  return result;
}
