#include "services/base.h"
#include "jobs/safe_replace.h"

#include "services/log.h"

#include <cstdio>

bool MakeWorkingPath(const char* target, char* work) {
  for (int n = 0; n < 1000; ++n) {
    int length = snprintf(work, kPathBuf, "%s.~kst%d", target, n);
    if (length <= 0 || length >= kPathBuf) break;
    if (GetFileAttributesA(work) == INVALID_FILE_ATTRIBUTES) return true;
  }
  work[0] = '\0';
  Log(1, GetVerbose(), "MakeWorkingPath: no free name beside %s", target);
  return false;
}

DWORD FlushWorkingFile(const char* path) {
  HANDLE h = CreateFileA(path, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return GetLastError();
  DWORD error = FlushFileBuffers(h) ? 0 : GetLastError();
  CloseHandle(h);
  return error;
}

DWORD CopyToWorkingFile(const char* target, const char* work) {
  DWORD error = CopyFileA(target, work, TRUE) ? FlushWorkingFile(work) : GetLastError();
  if (error) {
    Log(1, GetVerbose(), "CopyToWorkingFile: %s to %s failed %lu", target, work, error);
    DeleteFileA(work);
  }
  return error;
}

DWORD ReplaceWithWorkingFile(const char* work, const char* target) {
  if (MoveFileExA(work, target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return 0;
  DWORD error = GetLastError();
  Log(1, GetVerbose(), "ReplaceWithWorkingFile: %s over %s failed %lu", work, target, error);
  DeleteFileA(work);
  return error;
}

void DiscardWorkingFile(const char* work) {
  if (work && *work) DeleteFileA(work);
}
