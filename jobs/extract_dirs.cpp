#include "services/base.h"
#include "jobs/extract_job.h"

#include "jobs/entry_file.h"

#include "services/long_path.h"

#include <cstdio>
#include <string>

namespace {

// Makes the folder after the folders above it that are missing, through the wide calls, which
// take paths of any length in their "\\?\" form. A missing folder answers "path not found"
// for the folder below it, so the walk climbs only as far as folders are missing and never
// tries a drive or a server. 0, ERROR_ALREADY_EXISTS, or the first error of the chain.
DWORD MakeChain(const std::wstring& folder) {
  if (CreateDirectoryW(folder.c_str(), nullptr)) return 0;
  DWORD error = GetLastError();
  if (error != ERROR_PATH_NOT_FOUND) return error;
  size_t cut = folder.find_last_of(L"\\/");
  if (cut == std::wstring::npos || cut == 0) return error;
  DWORD above = MakeChain(folder.substr(0, cut));
  if (above && above != ERROR_ALREADY_EXISTS) return above;
  return CreateDirectoryW(folder.c_str(), nullptr) ? 0 : GetLastError();
}

DWORD MakeChainOf(const char* path) {
  std::wstring folder = WidePath(path);
  while (folder.size() > 1 && (folder.back() == L'\\' || folder.back() == L'/')) folder.pop_back();
  return folder.empty() ? ERROR_INVALID_NAME : MakeChain(folder);
}

bool IsFolder(const char* path) {
  DWORD attributes = GetFileAttributesW(WidePath(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

}  // namespace

DWORD MakeFolderPath(const char* path) {
  DWORD error = MakeChainOf(path);
  return error == ERROR_ALREADY_EXISTS && IsFolder(path) ? 0 : error;
}

BOOL CreateDirectoryPath(const char* path) {
  DWORD error = MakeChainOf(path);
  SetLastError(error);
  return error == 0;
}
