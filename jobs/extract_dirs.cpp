#include "services/base.h"
#include "jobs/extract_job.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/prompts.h"

#include <cstdio>
#include <cstring>

BOOL CreateDirectoryPath(const char* path) {
  if (CreateDirectoryA(path, nullptr)) return TRUE;
  if (GetLastError() != ERROR_PATH_NOT_FOUND) return FALSE;
  char prefix[kPathBuf];
  snprintf(prefix, sizeof prefix, "%s", path);
  // The first separator follows a drive ("c:\") or begins the name: nothing to create there.
  char* first = strchr(prefix, '\\');
  for (char* p = first ? strchr(first + 1, '\\') : nullptr; p; p = strchr(p + 1, '\\')) {
    *p = 0;
    BOOL made = CreateDirectoryA(prefix, nullptr);
    DWORD error = made ? 0 : GetLastError();
    *p = '\\';
    if (!made && error != ERROR_ALREADY_EXISTS) break;
  }
  return CreateDirectoryA(path, nullptr);
}

int MakeDirectoryPath(const char* path, int reportExisting, int showErrors) {
  char copy[kPathBuf];
  snprintf(copy, sizeof copy, "%s", path);
  size_t length = strlen(copy);
  if (length && copy[length - 1] == '/') copy[--length] = 0;
  if (CreateDirectoryA(copy, nullptr)) return 0;
  for (size_t i = 1; i <= length; ++i) {
    if (i < length && copy[i] != '\\' && copy[i] != '/') continue;
    char kept = copy[i];
    copy[i] = 0;
    BOOL made = CreateDirectoryA(copy, nullptr);
    DWORD error = made ? 0 : GetLastError();
    if (!made && (error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND)) {
      if (showErrors) {
        char text[kPathBuf * 2];
        snprintf(text, sizeof text, "%s %s", GetMessageText(KLANG_MSG_CANNOT_CREATE_FOLDER), copy);
        PromptMessageBox(GetForegroundWindow(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
      }
      Log(2, GetVerbose(), "MakeDirectoryPath: cannot create %s - # %lu", copy, error);
      return 1;
    }
    if (!made && error == ERROR_ALREADY_EXISTS && reportExisting) {
      if (showErrors)
        PromptMessageBox(GetForegroundWindow(), GetMessageText(KLANG_MSG_FOLDER_EXISTS),
                         GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
      return -1;
    }
    copy[i] = kept;
  }
  return 0;
}
