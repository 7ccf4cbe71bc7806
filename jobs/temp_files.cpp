#include "services/base.h"
#include "jobs/extract_job.h"

#include "services/log.h"

#include <algorithm>
#include <mutex>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Written on the window's thread, and by a drag on a thread of its own.
std::mutex g_tempLock;
std::vector<std::string> g_tempFiles;
std::vector<std::string> g_tempFolders;

// What the program wrote there and nothing else: a link inside is removed, never followed.
void DeleteTree(const std::string& folder) {
  WIN32_FIND_DATAA found;
  HANDLE search = FindFirstFileA((folder + "\\*").c_str(), &found);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      std::string name = found.cFileName;
      if (name == "." || name == "..") continue;
      std::string path = folder + "\\" + name;
      bool folderInside = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
                          !(found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
      if (folderInside)
        DeleteTree(path);
      else if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        RemoveDirectoryA(path.c_str());
      else {
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(path.c_str());
      }
    } while (FindNextFileA(search, &found));
    FindClose(search);
  }
  if (!RemoveDirectoryA(folder.c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND)
    Log(2, GetVerbose(), "DeleteTempFiles: cannot delete %s (%lu)", folder.c_str(), GetLastError());
}

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
  std::lock_guard<std::mutex> hold(g_tempLock);
  if (path && *path && std::find(g_tempFiles.begin(), g_tempFiles.end(), path) == g_tempFiles.end())
    g_tempFiles.emplace_back(path);
}

void AddTempFolder(const char* path) {
  std::lock_guard<std::mutex> hold(g_tempLock);
  if (path && *path) g_tempFolders.emplace_back(path);
}

void DeleteTempFiles() {
  std::lock_guard<std::mutex> hold(g_tempLock);
  for (const std::string& path : g_tempFiles)
    if (!DeleteFileA(path.c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND)
      Log(2, GetVerbose(), "DeleteTempFiles: cannot delete %s (%lu)", path.c_str(), GetLastError());
  g_tempFiles.clear();
  for (const std::string& folder : g_tempFolders) DeleteTree(folder);
  g_tempFolders.clear();
}
