#include "services/base.h"
#include "jobs/create_job.h"

#include "services/progress.h"
#include "settings/options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void Append(const char* path, size_t baseLength, ZipListElement** head, ZipListElement** tail) {
  ZipListElement* e = static_cast<ZipListElement*>(calloc(1, sizeof(ZipListElement)));
  if (!e) return;
  e->path = _strdup(path);
  e->baseLength = baseLength;
  if (*tail) (*tail)->next = e;
  else *head = e;
  *tail = e;
}

}  // namespace

uint64_t CollectFolderFiles(const char* folder, size_t baseLength, int recurse, ZipListElement** head, ZipListElement** tail) {
  char pattern[kPathBuf];
  snprintf(pattern, sizeof pattern, "%s/*", folder);
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA(pattern, &found);
  if (find == INVALID_HANDLE_VALUE) {
    printf("FindFirstFile error \"%s\" %lu\n", pattern, GetLastError());
    return 0;
  }
  uint64_t bytes = 0;
  do {
    if (!strcmp(found.cFileName, ".") || !strcmp(found.cFileName, "..")) continue;
    char path[kPathBuf];
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      if (!recurse) continue;
      snprintf(path, sizeof path, "%s/%s/", folder, found.cFileName);
      Append(path, baseLength, head, tail);
      path[strlen(path) - 1] = '\0';
      bytes += CollectFolderFiles(path, baseLength, recurse, head, tail);
    } else {
      snprintf(path, sizeof path, "%s/%s", folder, found.cFileName);
      Append(path, baseLength, head, tail);
      bytes += (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
    }
  } while (FindNextFileA(find, &found) && !IsCancelledByUser());
  FindClose(find);
  return bytes;
}

uint64_t CollectZipFiles(const char* path, size_t baseLength, int recurse, ZipListElement** head,
                         ZipListElement** tail) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExA(path, GetFileExInfoStandard, &data)) {
    // Still listed: the writer reports it as unreadable.
    Append(path, baseLength, head, tail);
    return 0;
  }
  if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
    char folder[kPathBuf];
    snprintf(folder, sizeof folder, "%s\\", path);
    Append(folder, baseLength, head, tail);
    return CollectFolderFiles(path, baseLength, recurse, head, tail);
  }
  Append(path, baseLength, head, tail);
  return (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

uint64_t CollectBlockFiles(const ZipWorkBlock* block, ZipListElement** head, ZipListElement** tail) {
  if (!block->files && block->folder[0])
    return CollectFolderFiles(block->folder, strlen(block->folder), block->recurse, head, tail);
  uint64_t total = 0;
  for (int i = 0; i < block->fileCount && !IsCancelledByUser(); ++i) {
    char path[kPathBuf];
    snprintf(path, sizeof path, "%s", block->files[i]);
    size_t n = strlen(path);
    while (n > 1 && (path[n - 1] == '\\' || path[n - 1] == '/')) path[--n] = '\0';
    size_t base = n;
    while (base && path[base - 1] != '\\' && path[base - 1] != '/') --base;
    total += CollectZipFiles(path, base, block->recurse, head, tail);
  }
  return total;
}

void FreeZipList(ZipListElement* list) {
  while (list) {
    ZipListElement* next = list->next;
    free(list->path);
    free(list);
    list = next;
  }
}

ZipWorkBlock* NewZipWorkBlock() {
  ZipWorkBlock* block = static_cast<ZipWorkBlock*>(calloc(1, sizeof(ZipWorkBlock)));
  if (!block) return nullptr;
  int level = GetDefaultCompression();
  block->options.level = level > 9 ? 9 : level;
  block->recurse = 1;
  return block;
}
