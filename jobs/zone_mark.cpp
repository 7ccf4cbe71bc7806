#include "services/base.h"
#include "jobs/zone_mark.h"

#include "services/log.h"
#include "services/long_path.h"
#include "settings/options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Set before the run's worker starts and only read while it runs, by whichever thread
// finishes a file.
std::string g_streamText;
bool g_marking = false;

std::string Trimmed(const std::string& text) {
  size_t start = text.find_first_not_of(" \t\r");
  if (start == std::string::npos) return "";
  size_t end = text.find_last_not_of(" \t\r");
  return text.substr(start, end - start + 1);
}

// The stream's bytes, or "" when the file has none (or the file system keeps no streams).
std::string ReadZoneStream(const char* archive) {
  std::wstring stream = WidePath(archive) + L":Zone.Identifier";
  HANDLE file = CreateFileW(stream.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return "";
  // A mark is a few lines; anything larger is no mark the system wrote.
  char buffer[4096];
  DWORD read = 0;
  BOOL ok = ReadFile(file, buffer, sizeof buffer, &read, nullptr);
  CloseHandle(file);
  return ok ? std::string(buffer, read) : "";
}

}  // namespace

bool ParseZoneIdentifier(const std::string& text, ZoneMark* mark) {
  *mark = ZoneMark();
  bool inSection = false;
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = Trimmed(text.substr(at, end - at));
    at = end + 1;
    if (!line.empty() && line[0] == '[') {
      inSection = _stricmp(line.c_str(), "[ZoneTransfer]") == 0;
      continue;
    }
    size_t equals = line.find('=');
    if (!inSection || equals == std::string::npos) continue;
    std::string key = Trimmed(line.substr(0, equals)), value = Trimmed(line.substr(equals + 1));
    if (_stricmp(key.c_str(), "ZoneId") == 0) {
      char* stop = nullptr;
      long zone = strtol(value.c_str(), &stop, 10);
      mark->zone = !value.empty() && *stop == '\0' && zone >= 0 && zone <= 4 ? static_cast<int>(zone) : -1;
    } else if (_stricmp(key.c_str(), "HostUrl") == 0) {
      mark->hostUrl = value;
    }
  }
  return mark->zone >= 0;
}

bool MarksExtractedFiles(bool optionOn, const ZoneMark& archive) { return optionOn && archive.zone > 0; }

std::string ZoneIdentifierText(const ZoneMark& archive, const char* archivePath) {
  std::string text = "[ZoneTransfer]\r\nZoneId=" + std::to_string(archive.zone) + "\r\n";
  if (archivePath && *archivePath) text += std::string("ReferrerUrl=") + archivePath + "\r\n";
  if (!archive.hostUrl.empty()) text += "HostUrl=" + archive.hostUrl + "\r\n";
  return text;
}

void BeginZoneMarking(const char* archive) {
  g_marking = false;
  g_streamText.clear();
  if (!IsMarkExtractedFiles() || !archive || !*archive) return;
  ZoneMark mark;
  if (!ParseZoneIdentifier(ReadZoneStream(archive), &mark) || !MarksExtractedFiles(true, mark)) return;
  char full[kPathBuf];
  if (!GetFullPathNameA(archive, sizeof full, full, nullptr)) snprintf(full, sizeof full, "%s", archive);
  g_streamText = ZoneIdentifierText(mark, full);
  g_marking = true;
  Log(5, GetVerbose(), "ExtractArchive: the archive came from zone %d; its files get the mark", mark.zone);
}

void EndZoneMarking() {
  g_marking = false;
  g_streamText.clear();
}

bool IsZoneMarking() { return g_marking; }

void MarkExtractedFile(const wchar_t* path) {
  if (!g_marking || !path || !*path) return;
  std::wstring stream = std::wstring(path) + L":Zone.Identifier";
  HANDLE file = CreateFileW(stream.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    // A file system without streams (FAT) keeps the file unmarked, as the system does.
    Log(5, GetVerbose(), "MarkExtractedFile: no stream (%lu)", GetLastError());
    return;
  }
  DWORD written = 0;
  WriteFile(file, g_streamText.data(), static_cast<DWORD>(g_streamText.size()), &written, nullptr);
  CloseHandle(file);
}
