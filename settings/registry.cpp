#include "services/base.h"
#include "settings/registry.h"

#include <cstdio>

namespace {

constexpr char kProductName[] = "Kestrelia";

struct OpenKey {
  HKEY key = nullptr;
  LONG result;
  OpenKey(HKEY hive, const char* path, REGSAM access) : result(RegOpenKeyExA(hive, path, 0, access, &key)) {}
  ~OpenKey() {
    if (key) RegCloseKey(key);
  }
  bool ok() const { return result == ERROR_SUCCESS; }
};

struct CreatedKey {
  HKEY key = nullptr;
  LONG result;
  CreatedKey(HKEY hive, const char* path)
      : result(RegCreateKeyExA(hive, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key,
                               nullptr)) {}
  ~CreatedKey() {
    if (key) RegCloseKey(key);
  }
  bool ok() const { return result == ERROR_SUCCESS; }
};

int SetValue(HKEY key, const char* name, DWORD type, const void* data, DWORD length) {
  return RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), length) == ERROR_SUCCESS ? 0 : 1;
}

}  // namespace

const char* GetSettingsKeyPath() {
  static char path[kPathBuf] = "";
  if (!path[0]) snprintf(path, sizeof path, "SOFTWARE\\%s", kProductName);
  return path;
}

int ReadDword(DWORD* out, HKEY hive, const char* path, const char* name) {
  OpenKey k(hive, path, KEY_READ);
  if (!k.ok()) return 1;
  DWORD type = 0, value = 0, size = sizeof value;
  if (RegQueryValueExA(k.key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != ERROR_SUCCESS)
    return 1;
  if (type != REG_DWORD) return 1;
  *out = value;
  return 0;
}

LONG ReadString(char* buffer, DWORD* size, HKEY hive, const char* path, const char* name) {
  OpenKey k(hive, path, KEY_READ);
  if (!k.ok()) return k.result;
  DWORD capacity = *size;
  LONG result = RegQueryValueExA(k.key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), size);
  if (result != ERROR_SUCCESS) return result;
  // Values written without their closing zero fill the buffer exactly; as a C string they
  // are longer than it, so they are reported like any other string that does not fit.
  if (*size >= capacity && (*size == 0 || buffer[*size - 1] != '\0')) {
    *size += 1;
    return ERROR_MORE_DATA;
  }
  if (*size < capacity) buffer[*size] = '\0';
  return ERROR_SUCCESS;
}

int WriteDword(DWORD value, HKEY hive, const char* path, const char* name) {
  OpenKey k(hive, path, KEY_WRITE);
  if (!k.ok()) return 1;
  return SetValue(k.key, name, REG_DWORD, &value, sizeof value);
}

int WriteString(const char* text, DWORD length, HKEY hive, const char* path, const char* name) {
  OpenKey k(hive, path, KEY_WRITE);
  if (!k.ok()) return 0;
  return SetValue(k.key, name, REG_SZ, text, length);
}

int CreateAndWriteString(const char* text, DWORD length, HKEY hive, const char* path, const char* name) {
  CreatedKey k(hive, path);
  if (!k.ok()) return 1;
  return SetValue(k.key, name, REG_SZ, text, length);
}

int CreateAndWriteDword(DWORD value, HKEY hive, const char* path, const char* name) {
  CreatedKey k(hive, path);
  if (!k.ok()) return 1;
  return SetValue(k.key, name, REG_DWORD, &value, sizeof value);
}

int DeleteValue(HKEY hive, const char* path, const char* name) {
  OpenKey k(hive, path, KEY_ALL_ACCESS);
  if (!k.ok()) return 1;
  return RegDeleteValueA(k.key, name) == ERROR_SUCCESS ? 0 : 1;
}

int DeleteKeyTree(HKEY hive, const char* path) {
  LONG result = RegDeleteTreeA(hive, path);
  if (result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND) {
    RegDeleteKeyA(hive, path);
    return 0;
  }
  return 1;
}
