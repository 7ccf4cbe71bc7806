// The one-line key that identifies a row across the list, the tree-list and the found list:
// "%3d*%s%s*%s*%s*%s*%s*%s*%s" of folder depth, path, file name and columns 1 to 6.
#pragma once
#include "services/base.h"

// Separators in the path, not counting one in the first position.
int GetFolderDepth(const char* path, int archiveKind);

void GetValuesFromList(HWND list, char* buffer, size_t size, int row);
// The same key with the file name replaced (used while renaming).
void GetValuesFromListExchangeFilename(HWND list, char* buffer, size_t size, int row, const char* newName);
// The same key with the path replaced (used while moving).
void GetValuesFromListExchangePath(HWND list, char* buffer, size_t size, int row, const char* newPath);
