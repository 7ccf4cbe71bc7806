// The registry primitives every setting goes through. Each call opens the key, does one
// thing and closes it again: nothing is cached, so a value written by one call is what the
// next read sees, whichever part of the program wrote it.
#pragma once
#include "services/base.h"

// "SOFTWARE\Kestrelia", the key of every setting in both hives.
const char* GetSettingsKeyPath();

// 0 and the value when it exists as REG_DWORD; 1 otherwise (no key, no value, other type).
int ReadDword(DWORD* out, HKEY hive, const char* path, const char* name);
// The registry's own result: 0, or ERROR_MORE_DATA (234) with the needed size in *size when
// the buffer is too small. No type check. The text is terminated within the buffer.
LONG ReadString(char* buffer, DWORD* size, HKEY hive, const char* path, const char* name);
// 0 or 1. The key is never created here.
int WriteDword(DWORD value, HKEY hive, const char* path, const char* name);
// Stores exactly length bytes as REG_SZ. A missing key counts as success (0), on purpose:
// writers that run before the first saved configuration must not report failures.
int WriteString(const char* text, DWORD length, HKEY hive, const char* path, const char* name);
// These two create the key when it is missing. 0 or 1.
int CreateAndWriteString(const char* text, DWORD length, HKEY hive, const char* path, const char* name);
int CreateAndWriteDword(DWORD value, HKEY hive, const char* path, const char* name);
int DeleteValue(HKEY hive, const char* path, const char* name);
// Removes the key with everything in it; 0 also when there was none.
int DeleteKeyTree(HKEY hive, const char* path);
