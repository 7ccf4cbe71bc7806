#include "services/base.h"
#include "jobs/extract_job.h"

#include "services/log.h"

#include <algorithm>
#include <cstdio>
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
