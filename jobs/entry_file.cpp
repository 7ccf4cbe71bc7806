#include "services/base.h"
#include "jobs/entry_file.h"

#include "jobs/zone_mark.h"

#include "services/log.h"
#include "services/long_path.h"

#include <cstdio>
#include <cstring>

namespace {

EntryWriteProc g_write = WriteFile;
LONG g_working;

// The folder part of a name, with its last separator ("" for a name in the working directory).
std::wstring FolderOf(const std::wstring& name) {
  size_t cut = name.find_last_of(L"\\/");
  return cut == std::wstring::npos ? std::wstring() : name.substr(0, cut + 1);
}

}  // namespace

void SetEntryWriteProc(EntryWriteProc proc) { g_write = proc ? proc : WriteFile; }

DWORD WriteEntryBytes(HANDLE file, const void* data, size_t length) {
  const char* next = static_cast<const char*>(data);
  while (length) {
    DWORD part = length > 0x40000000 ? 0x40000000 : static_cast<DWORD>(length), written = 0;
    if (!g_write(file, next, part, &written, nullptr)) {
      DWORD error = GetLastError();
      return error ? error : ERROR_WRITE_FAULT;
    }
    if (!written) return ERROR_WRITE_FAULT;
    next += written;
    length -= written;
  }
  return 0;
}

std::wstring WideTargetName(const char* target) {
  std::wstring wide = WidePath(target);
  if (!wide.empty() || !*target) return wide;
  // Not UTF-8: the bytes as the code page reads them, so the system names the failure.
  int length = MultiByteToWideChar(CP_ACP, 0, target, -1, nullptr, 0);
  wide.assign(length > 0 ? static_cast<size_t>(length) : 1, L'\0');
  if (length > 0) MultiByteToWideChar(CP_ACP, 0, target, -1, &wide[0], length);
  wide.resize(wcslen(wide.c_str()));
  return wide;
}

bool EntryTargetExists(const char* target) {
  return GetFileAttributesW(WideTargetName(target).c_str()) != INVALID_FILE_ATTRIBUTES;
}

DWORD OpenEntryFile(EntryFile* file, const char* target) {
  file->target = WideTargetName(target);
  std::wstring folder = FolderOf(file->target);
  // Short and beside the target: the rename at the end stays on one volume, and a name near the
  // longest a path may be still has a working name that fits. The process id keeps two runs
  // apart; CREATE_NEW keeps this run off any file that is there.
  for (int attempt = 0; attempt < 100; ++attempt) {
    wchar_t part[48];
    swprintf(part, sizeof part / sizeof part[0], L"~kst%lx-%lx.part", GetCurrentProcessId(),
             static_cast<unsigned long>(InterlockedIncrement(&g_working)));
    file->working = folder + part;
    file->handle = CreateFileW(file->working.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file->handle != INVALID_HANDLE_VALUE) return 0;
    DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) {
      file->working.clear();
      return error ? error : ERROR_CANNOT_MAKE;
    }
  }
  file->working.clear();
  return ERROR_CANNOT_MAKE;
}

DWORD OpenEntryFileMakingFolders(EntryFile* file, const char* target) {
  DWORD error = OpenEntryFile(file, target);
  if (error != ERROR_PATH_NOT_FOUND) return error;
  char folder[kPathBuf];
  snprintf(folder, sizeof folder, "%s", target);
  char* cut = nullptr;
  for (char* p = folder; *p; ++p)
    if (*p == '/' || *p == '\\') cut = p;
  if (!cut) return error;
  *cut = 0;
  DWORD made = MakeFolderPath(folder);
  error = OpenEntryFile(file, target);
  return error && made ? made : error;
}

DWORD CommitEntryFile(EntryFile* file) {
  if (file->handle != INVALID_HANDLE_VALUE) CloseHandle(file->handle);
  file->handle = INVALID_HANDLE_VALUE;
  // Under the working name, so the file never stands under its own without the mark.
  MarkExtractedFile(file->working.c_str());
  if (MoveFileExW(file->working.c_str(), file->target.c_str(), MOVEFILE_REPLACE_EXISTING)) return 0;
  DWORD error = GetLastError();
  Log(1, GetVerbose(), "CommitEntryFile: the finished file cannot take its name (%lu)", error);
  DeleteFileW(file->working.c_str());
  return error ? error : ERROR_CANNOT_MAKE;
}

void AbandonEntryFile(EntryFile* file, bool keepUnderName) {
  if (file->handle != INVALID_HANDLE_VALUE) CloseHandle(file->handle);
  file->handle = INVALID_HANDLE_VALUE;
  if (file->working.empty()) return;
  if (!keepUnderName || !MoveFileExW(file->working.c_str(), file->target.c_str(), MOVEFILE_REPLACE_EXISTING))
    DeleteFileW(file->working.c_str());
}
