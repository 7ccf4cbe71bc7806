#include "services/base.h"
#include "tar_common.h"

#include <commctrl.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

std::wstring WideFromUtf8(const char* text) {
  if (!text || !*text) return std::wstring();
  int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text, -1, &wide[0], length);
  wide.resize(static_cast<size_t>(length - 1));
  return wide;
}

std::string Utf8FromWide(const wchar_t* text) {
  if (!text || !*text) return std::string();
  int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (length <= 0) return std::string();
  std::string out(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], length, nullptr, nullptr);
  out.resize(static_cast<size_t>(length - 1));
  return out;
}

namespace {

// pax archives carry UTF-8 names that libarchive hands out as wide text; ustar and GNU names
// are raw bytes, which on the systems that write TARs today are UTF-8 as well, and are
// passed through as they are.
std::string NameUtf8(const wchar_t* wide, const char* raw) {
  std::string name = wide ? Utf8FromWide(wide) : std::string(raw ? raw : "");
  for (char& c : name)
    if (c == '\\') c = '/';
  return name;
}

}  // namespace

std::string EntryNameUtf8(archive_entry* entry) {
  return NameUtf8(archive_entry_pathname_w(entry), archive_entry_pathname(entry));
}

std::string EntryHardlinkUtf8(archive_entry* entry) {
  const char* raw = archive_entry_hardlink(entry);
  const wchar_t* wide = archive_entry_hardlink_w(entry);
  if (!raw && !wide) return std::string();
  return NameUtf8(wide, raw);
}

archive* OpenTarReader(const char* path, std::string* error) {
  archive* reader = archive_read_new();
  if (!reader) return nullptr;
  archive_read_support_filter_gzip(reader);
  archive_read_support_filter_bzip2(reader);
  archive_read_support_filter_compress(reader);
  archive_read_support_format_tar(reader);
  archive_read_support_format_gnutar(reader);
  std::wstring wide = WideFromUtf8(path);
  if (archive_read_open_filename_w(reader, wide.c_str(), 1 << 16) != ARCHIVE_OK) {
    if (error) *error = archive_error_string(reader) ? archive_error_string(reader) : "cannot open";
    archive_read_free(reader);
    return nullptr;
  }
  return reader;
}

void DosDateTimeFromUnix(time_t seconds, uint16_t* dosDate, uint16_t* dosTime) {
  // 100 ns units since 1601.
  uint64_t ticks = (static_cast<uint64_t>(seconds) + 11644473600ULL) * 10000000ULL;
  if (seconds < 0) ticks = 0;
  FILETIME utc{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  FILETIME local;
  WORD date = 0x21, time = 0;  // 1980-01-01 for what DOS cannot hold
  if (FileTimeToLocalFileTime(&utc, &local)) FileTimeToDosDateTime(&local, &date, &time);
  *dosDate = date;
  *dosTime = time;
}

void ProgressInit(TarProgress* progress, void* dialog, uint64_t total) {
  progress->dialog = static_cast<HWND>(dialog);
  progress->total = total;
  progress->done = 0;
  progress->shownPercent = -1;
  progress->pendingSteps = 0;
  progress->lastShown = GetTickCount();
}

static HWND Bar(const TarProgress* progress) {
  return progress->dialog ? GetDlgItem(progress->dialog, TAR_PROGRESS_BAR_ID) : nullptr;
}

// The bar lives on the dialog's thread: a message per entry of a 100,000-file archive costs
// more than writing the files, so steps go over at most ten times a second.
void ProgressEntryDone(TarProgress* progress) {
  if (progress->total || !progress->dialog) return;
  ++progress->pendingSteps;
  if (GetTickCount() - progress->lastShown >= 100) ProgressFlush(progress);
}

void ProgressFlush(TarProgress* progress) {
  progress->lastShown = GetTickCount();
  if (!progress->pendingSteps) return;
  if (HWND bar = Bar(progress)) SendMessageA(bar, PBM_DELTAPOS, progress->pendingSteps, 0);
  progress->pendingSteps = 0;
}

void ProgressBytes(TarProgress* progress, uint64_t bytes) {
  progress->done += bytes;
  if (!progress->total) return;
  uint64_t percent = progress->done >= progress->total ? 100 : progress->done * 100 / progress->total;
  if (static_cast<int>(percent) == progress->shownPercent) return;
  progress->shownPercent = static_cast<int>(percent);
  if (HWND bar = Bar(progress)) SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(percent), 0);
}

bool ProgressStopped(const TarProgress* progress) {
  return progress->dialog && !IsWindow(progress->dialog);
}

void SetResultText(char* result, char code, char code2, const char* format, ...) {
  if (!result) return;
  result[0] = code;
  result[1] = code2;
  result[2] = ' ';
  va_list args;
  va_start(args, format);
  vsnprintf(result + 3, TAR_RESULT_TEXT_SIZE - 3, format, args);
  va_end(args);
}

namespace {
TarMessageBoxFn g_messageBox;
}  // namespace

extern "C" void __cdecl TarSetMessageBox(TarMessageBoxFn box) { g_messageBox = box; }

int TarMessageBox(HWND owner, const char* text, const char* title, UINT flags) {
  return g_messageBox ? g_messageBox(owner, text, title, flags) : MessageBoxA(owner, text, title, flags);
}

const char* PluginText(int number, const char* english) {
  typedef const char*(__cdecl * TextFn)(int);
  HMODULE lang = GetModuleHandleA("lang.dll");
  TextFn text = lang ? reinterpret_cast<TextFn>(GetProcAddress(lang, "GetPluginText")) : nullptr;
  const char* found = text ? text(number) : nullptr;
  return found && *found ? found : english;
}
