#include "services/base.h"
#include "ui/rowkey.h"

#include "model/archive_kind.h"
#include "model/liststruct.h"
#include "services/log.h"

#include <commctrl.h>

#include <cstdio>

namespace {

void ColumnText(HWND list, int row, int column, char (&out)[kPathBuf]) {
  out[0] = '\0';
  LVITEMA item = {};
  item.iSubItem = column;
  item.pszText = out;
  item.cchTextMax = kPathBuf;
  SendMessageA(list, LVM_GETITEMTEXTA, row, reinterpret_cast<LPARAM>(&item));
}

void BuildKey(HWND list, char* buffer, size_t size, int row, const char* newName, const char* newPath) {
  char columns[LISTSTRUCT_COLUMNS][kPathBuf];
  for (int c = 0; c < LISTSTRUCT_COLUMNS; ++c) ColumnText(list, row, c, columns[c]);
  const char* path = newPath ? newPath : columns[LISTSTRUCT_PATH];
  const char* name = newName ? newName : columns[LISTSTRUCT_FILENAME];
  int kind = GetArchiveKind();
  ArchiveFormatOrZip(kind, "GetValuesFromList:");
  snprintf(buffer, size, "%3d*%s%s*%s*%s*%s*%s*%s*%s", GetFolderDepth(path, kind), path, name,
           columns[LISTSTRUCT_ENCRYPTED], columns[LISTSTRUCT_COMPRESSED], columns[LISTSTRUCT_UNCOMPRESSED],
           columns[LISTSTRUCT_RATE], columns[LISTSTRUCT_DATE], columns[LISTSTRUCT_TYPE]);
}

}  // namespace

int GetFolderDepth(const char* path, int archiveKind) {
  char separator = ArchiveSeparator(archiveKind);
  int depth = 0;
  // A separator in the first position never counts: "\a\" is one level deep, like "a\".
  for (const char* p = (path && *path) ? path + 1 : ""; *p; ++p)
    if (*p == separator) ++depth;
  return depth;
}

void GetValuesFromList(HWND list, char* buffer, size_t size, int row) {
  BuildKey(list, buffer, size, row, nullptr, nullptr);
}

void GetValuesFromListExchangeFilename(HWND list, char* buffer, size_t size, int row, const char* newName) {
  BuildKey(list, buffer, size, row, newName, nullptr);
}

void GetValuesFromListExchangePath(HWND list, char* buffer, size_t size, int row, const char* newPath) {
  BuildKey(list, buffer, size, row, nullptr, newPath);
}
