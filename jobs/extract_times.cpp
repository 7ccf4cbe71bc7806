#include "services/base.h"
#include "jobs/extract_job.h"

#include "services/log.h"
#include "services/long_path.h"

namespace {

// The zone rules, read once a minute at most: extracting 100,000 files must not read the
// zone from the registry 100,000 times.
const TIME_ZONE_INFORMATION* ZoneRules() {
  static TIME_ZONE_INFORMATION zone;
  static DWORD readAt;
  static bool read;
  DWORD now = GetTickCount();
  if (!read || now - readAt > 60000) {
    GetTimeZoneInformation(&zone);
    readAt = now;
    read = true;
  }
  return &zone;
}

}  // namespace

bool DosDateToUtcFileTime(unsigned long dosDate, FILETIME* utc) {
  FILETIME local;
  SYSTEMTIME localParts, utcParts;
  if (!DosDateTimeToFileTime(HIWORD(dosDate), LOWORD(dosDate), &local)) return false;
  // The zone's rule for that date, not today's offset: summer times stay summer times, as
  // other unzip tools read them.
  if (FileTimeToSystemTime(&local, &localParts) &&
      TzSpecificLocalTimeToSystemTime(ZoneRules(), &localParts, &utcParts) &&
      SystemTimeToFileTime(&utcParts, utc))
    return true;
  return LocalFileTimeToFileTime(&local, utc) != 0;
}

bool SetHandleTimesFromDos(HANDLE file, unsigned long dosDate) {
  FILETIME utc;
  if (!DosDateToUtcFileTime(dosDate, &utc)) return false;
  // No last-access time: the file keeps the one it has.
  return SetFileTime(file, &utc, nullptr, &utc) != 0;
}

bool SetFileTimesFromDos(const char* path, unsigned long dosDate) {
  HANDLE file = CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    Log(3, GetVerbose(), "SetFileTimesFromDos: cannot open %s - # %lu", path, GetLastError());
    return false;
  }
  bool done = SetHandleTimesFromDos(file, dosDate);
  CloseHandle(file);
  return done;
}
