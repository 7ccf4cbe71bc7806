#include "services/base.h"
#include "jobs/safe_replace.h"

#include "services/log.h"
#include "services/long_path.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Which working files exist, and whose: one registry value per working file, named by its
// path, holding the run (process id and the process's creation time) and the file's
// identity (volume serial and file index). A leftover is removed only when
//   - its run is no longer running: no process has that id, or the one that has it started
//     at another time (ids are reused), or it has ended; and
//   - the file at that path is still the very file the run created (same volume and file
//     index), so a file the user put there since, even under the same name, is kept.
// Neither the name nor the temporary attribute alone can tell: a user may name a file
// "x.zip.tmp", and not every file system keeps the attribute.
constexpr char kJournalKey[] = "Software\\Kestrelia\\WorkingFiles";

uint64_t Join(const FILETIME& t) { return static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime; }

uint64_t ProcessStart(HANDLE process) {
  FILETIME created, exited, kernel, user;
  return GetProcessTimes(process, &created, &exited, &kernel, &user) ? Join(created) : 0;
}

struct Identity {
  DWORD volume = 0, high = 0, low = 0;
  bool operator==(const Identity& o) const { return volume == o.volume && high == o.high && low == o.low; }
};

bool IdentityOfHandle(HANDLE h, Identity* id) {
  BY_HANDLE_FILE_INFORMATION info;
  if (!GetFileInformationByHandle(h, &info)) return false;
  *id = {info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow};
  return true;
}

bool IdentityOfPath(const char* path, Identity* id) {
  HANDLE h = CreateFileW(WidePath(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  bool ok = IdentityOfHandle(h, id);
  CloseHandle(h);
  return ok;
}

void Remember(const char* work, HANDLE h) {
  Identity id;
  char record[96];
  if (!IdentityOfHandle(h, &id)) return;
  snprintf(record, sizeof record, "%lu %llu %lu %lu %lu", GetCurrentProcessId(),
           static_cast<unsigned long long>(ProcessStart(GetCurrentProcess())), id.volume, id.high, id.low);
  HKEY key;
  if (RegCreateKeyExA(HKEY_CURRENT_USER, kJournalKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    Log(1, GetVerbose(), "working file %s not remembered: a killed run would leave it", work);
    return;
  }
  RegSetValueExA(key, work, 0, REG_SZ, reinterpret_cast<const BYTE*>(record), static_cast<DWORD>(strlen(record) + 1));
  RegCloseKey(key);
}

void Forget(const char* work) {
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, kJournalKey, 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) return;
  RegDeleteValueA(key, work);
  RegCloseKey(key);
}

bool RunIsAlive(DWORD pid, uint64_t started) {
  if (pid == GetCurrentProcessId()) return started == ProcessStart(GetCurrentProcess());
  HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, pid);
  // A process we may not look at is someone else's: its files are not ours to judge.
  if (!process) return GetLastError() == ERROR_ACCESS_DENIED;
  bool alive = ProcessStart(process) == started && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
  CloseHandle(process);
  return alive;
}

// "<target>.tmp" or "<target>.~kst<N>.tmp": the names ClaimWorkingFile gives.
bool IsWorkingName(const char* target, const char* name) {
  size_t n = strlen(target);
  if (_strnicmp(name, target, n) != 0 || name[n] != '.') return false;
  const char* rest = name + n + 1;
  if (!_stricmp(rest, "tmp")) return true;
  if (_strnicmp(rest, "~kst", 4) != 0) return false;
  rest += 4;
  const char* digits = rest;
  while (*rest >= '0' && *rest <= '9') ++rest;
  return rest > digits && !_stricmp(rest, ".tmp");
}

}  // namespace

DWORD ClaimWorkingFile(const char* target, char* work) {
  for (int n = 0; n < 1000; ++n) {
    int length = n ? snprintf(work, kPathBuf, "%s.~kst%d.tmp", target, n) : snprintf(work, kPathBuf, "%s.tmp", target);
    if (length <= 0 || length >= kPathBuf) break;
    // Creating, not testing, claims the name: no file can come between the test and the use.
    HANDLE h = CreateFileW(WidePath(work).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    if (h != INVALID_HANDLE_VALUE) {
      Remember(work, h);
      CloseHandle(h);
      return 0;
    }
    DWORD error = GetLastError();
    bool taken = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS ||
                 (error == ERROR_ACCESS_DENIED && GetFileAttributesW(WidePath(work).c_str()) != INVALID_FILE_ATTRIBUTES);
    if (!taken) {
      Log(1, GetVerbose(), "ClaimWorkingFile: %s cannot be created (%lu)", work, error);
      work[0] = '\0';
      return error;
    }
  }
  Log(1, GetVerbose(), "ClaimWorkingFile: no free name beside %s", target);
  work[0] = '\0';
  return ERROR_FILE_EXISTS;
}

void MarkWorkingFile(const char* work) { SetFileAttributesW(WidePath(work).c_str(), FILE_ATTRIBUTE_TEMPORARY); }

DWORD FlushWorkingFile(const char* path) {
  HANDLE h = CreateFileW(WidePath(path).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return GetLastError();
  DWORD error = FlushFileBuffers(h) ? 0 : GetLastError();
  CloseHandle(h);
  return error;
}

DWORD CopyToWorkingFile(const char* target, const char* work) {
  DWORD error = CopyFileW(WidePath(target).c_str(), WidePath(work).c_str(), FALSE) ? FlushWorkingFile(work) : GetLastError();
  if (error) {
    Log(1, GetVerbose(), "CopyToWorkingFile: %s to %s failed %lu", target, work, error);
    DiscardWorkingFile(work);
    return error;
  }
  // The copy took the archive's attributes.
  MarkWorkingFile(work);
  return 0;
}

DWORD ReplaceWithWorkingFile(const char* work, const char* target) {
  // The new archive looks like the old one: hidden stays hidden, and it is no longer temporary.
  DWORD old = GetFileAttributesW(WidePath(target).c_str());
  DWORD kept = old == INVALID_FILE_ATTRIBUTES
                   ? 0
                   : old & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                            FILE_ATTRIBUTE_NOT_CONTENT_INDEXED);
  SetFileAttributesW(WidePath(work).c_str(), kept ? kept : FILE_ATTRIBUTE_NORMAL);
  if (MoveFileExW(WidePath(work).c_str(), WidePath(target).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    Forget(work);
    return 0;
  }
  DWORD error = GetLastError();
  Log(1, GetVerbose(), "ReplaceWithWorkingFile: %s over %s failed %lu", work, target, error);
  DiscardWorkingFile(work);
  return error;
}

void DiscardWorkingFile(const char* work) {
  if (!work || !*work) return;
  if (DeleteFileW(WidePath(work).c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND) Forget(work);
}

int RemoveStaleWorkingFiles(const char* target) {
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, kJournalKey, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, &key) != ERROR_SUCCESS)
    return 0;
  std::vector<std::pair<std::string, std::string>> records;
  for (DWORD i = 0;; ++i) {
    char name[kPathBuf * 2], data[128];
    DWORD nameLength = sizeof name, dataLength = sizeof data - 1, type = 0;
    LONG result = RegEnumValueA(key, i, name, &nameLength, nullptr, &type, reinterpret_cast<BYTE*>(data), &dataLength);
    if (result == ERROR_NO_MORE_ITEMS) break;
    if (result != ERROR_SUCCESS || type != REG_SZ) continue;
    data[dataLength] = '\0';
    if (IsWorkingName(target, name)) records.emplace_back(name, data);
  }
  int removed = 0;
  for (const auto& record : records) {
    unsigned long pid = 0, volume = 0, high = 0, low = 0;
    unsigned long long started = 0;
    if (sscanf(record.second.c_str(), "%lu %llu %lu %lu %lu", &pid, &started, &volume, &high, &low) != 5) continue;
    if (RunIsAlive(pid, started)) continue;
    const char* path = record.first.c_str();
    Identity now, then = {volume, high, low};
    if (IdentityOfPath(path, &now) && now == then) {
      if (!DeleteFileW(WidePath(path).c_str())) {
        Log(1, GetVerbose(), "stale working file %s cannot be removed (%lu)", path, GetLastError());
        continue;
      }
      Log(1, GetVerbose(), "removed the working file %s that a run no longer running left", path);
      ++removed;
    }
    RegDeleteValueA(key, path);
  }
  RegCloseKey(key);
  return removed;
}

DWORD ReadOnlyRefusal(const char* target) {
  DWORD attributes = GetFileAttributesW(WidePath(target).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_READONLY)) return 0;
  return ERROR_FILE_READ_ONLY;
}
