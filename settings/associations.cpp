#include "services/base.h"
#include "settings/associations.h"

#include "services/log.h"
#include "settings/registry.h"

#include <shlobj.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr char kClasses[] = "Software\\Classes";
// Per type, the class that opened it before; "class" says whether the class key was made here.
constexpr char kPrevious[] = "Software\\Kestrelia\\PreviousAssociations";
constexpr char kClassMarker[] = "class";
constexpr char kNone[] = "";

std::string ClassesPath(const char* sub) { return std::string(kClasses) + "\\" + sub; }

// The default value of a key, "" when there is none; false when the key is missing.
bool ReadDefault(const std::string& path, char* out, DWORD size) {
  out[0] = '\0';
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  DWORD type = 0;
  LONG result = RegQueryValueExA(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(out), &size);
  RegCloseKey(key);
  if (result != ERROR_SUCCESS || type != REG_SZ) out[0] = '\0';
  return true;
}

int WriteDefault(const std::string& path, const char* text) {
  return CreateAndWriteString(text, static_cast<DWORD>(strlen(text) + 1), HKEY_CURRENT_USER, path.c_str(), nullptr);
}

bool AnyTypeUsesClass() {
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, kPrevious, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  bool used = false;
  char name[64];
  for (DWORD i = 0;; ++i) {
    DWORD size = sizeof name;
    if (RegEnumValueA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    if (name[0] == '.' && IsUserAssociated(name)) used = true;
  }
  RegCloseKey(key);
  return used;
}

// The type's default value goes; the key too when nothing else is left in it (RegDeleteKey
// refuses a key with subkeys).
int RemoveDefault(const std::string& path) {
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) return 1;
  LONG result = RegDeleteValueA(key, nullptr);
  DWORD values = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                   nullptr);
  RegCloseKey(key);
  if (values == 0) RegDeleteKeyA(HKEY_CURRENT_USER, path.c_str());
  return result == ERROR_SUCCESS ? 0 : 1;
}

void TellShell() { SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr); }

}  // namespace

bool IsUserAssociated(const char* extension) {
  char owner[kPathBuf];
  return ReadDefault(ClassesPath(extension), owner, sizeof owner) && strcmp(owner, kArchiveClass) == 0;
}

int AssociateForUser(const char* extension, const char* program) {
  char owner[kPathBuf];
  ReadDefault(ClassesPath(extension), owner, sizeof owner);
  if (strcmp(owner, kArchiveClass) != 0 &&
      CreateAndWriteString(owner, static_cast<DWORD>(strlen(owner) + 1), HKEY_CURRENT_USER, kPrevious, extension))
    return 1;
  char existing[kPathBuf];
  if (!ReadDefault(ClassesPath(kArchiveClass), existing, sizeof existing)) {
    CreateAndWriteString("new", 4, HKEY_CURRENT_USER, kPrevious, kClassMarker);
    WriteDefault(ClassesPath(kArchiveClass), "Kestrelia");
  }
  char command[kPathBuf + 16], icon[kPathBuf + 4];
  snprintf(command, sizeof command, "\"%s\" \"%%1\"", program);
  snprintf(icon, sizeof icon, "%s,0", program);
  int result = WriteDefault(ClassesPath("ZipFile\\shell\\open\\command"), command);
  result |= WriteDefault(ClassesPath("ZipFile\\DefaultIcon"), icon);
  result |= WriteDefault(ClassesPath(extension), kArchiveClass);
  Log(3, GetVerbose(), "AssociateForUser: %s (was \"%s\") %d", extension, owner, result);
  TellShell();
  return result ? 1 : 0;
}

int UnassociateForUser(const char* extension) {
  if (!IsUserAssociated(extension)) return 0;
  char previous[kPathBuf] = "";
  DWORD size = sizeof previous;
  int result = 0;
  if (ReadString(previous, &size, HKEY_CURRENT_USER, kPrevious, extension) == 0 && previous[0])
    result = WriteDefault(ClassesPath(extension), previous);
  else
    result = RemoveDefault(ClassesPath(extension));
  DeleteValue(HKEY_CURRENT_USER, kPrevious, extension);
  char marker[8] = "";
  size = sizeof marker;
  if (!AnyTypeUsesClass() && ReadString(marker, &size, HKEY_CURRENT_USER, kPrevious, kClassMarker) == 0 &&
      strcmp(marker, "new") == 0) {
    DeleteKeyTree(HKEY_CURRENT_USER, ClassesPath(kArchiveClass).c_str());
    DeleteValue(HKEY_CURRENT_USER, kPrevious, kClassMarker);
  }
  Log(3, GetVerbose(), "UnassociateForUser: %s back to \"%s\" %d", extension, previous, result);
  TellShell();
  return result ? 1 : 0;
}
