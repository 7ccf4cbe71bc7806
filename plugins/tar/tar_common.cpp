#include "services/base.h"
#include "tar_common.h"

#include <commctrl.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>

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

bool IsValidUtf8(const std::string& bytes) {
  return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()), nullptr,
                             0) > 0;
}

// How much a decoding looks like a name a person wrote: letters of one script score, symbols,
// box drawing and control characters cost, and so does a capital right after a small letter
// (real words rarely have one; a wrong Cyrillic table, or Japanese read as Cyrillic, often
// does), and so does a word that changes between Latin and Cyrillic letters. A CJK character stands for two bytes and scores a little less than two Cyrillic
// letters, so that Cyrillic read as Chinese loses; a multi-byte table that swallowed an ASCII
// character as the second byte of a pair costs too.
int Plausibility(const std::string& bytes, const std::wstring& text) {
  int score = 0, asciiIn = 0, asciiOut = 0;
  for (unsigned char b : bytes) asciiIn += b < 0x80;
  bool afterSmall = false;
  enum { NONE, LATIN, CYRILLIC } before = NONE;
  for (wchar_t c : text) {
    bool small = false;
    int script = NONE;
    if (c < 0x80) {
      ++asciiOut;
      small = c >= 'a' && c <= 'z';
      if (small || (c >= 'A' && c <= 'Z')) script = LATIN;
    } else if ((c >= 0x430 && c <= 0x44F) || c == 0x451) {
      score += 2;
      small = true;
      script = CYRILLIC;
    } else if ((c >= 0x410 && c <= 0x42F) || c == 0x401) {
      score += afterSmall ? -4 : 1;
      script = CYRILLIC;
    } else if ((c >= 0x3040 && c <= 0x30FF) || (c >= 0x4E00 && c <= 0x9FFF)) {
      score += 3;
    } else if (c >= 0xFF61 && c <= 0xFF9F) {
      score -= 1;  // half-width katakana: what EUC-JP bytes become when read as Shift-JIS
    } else if (c >= 0xC0 && c <= 0xFF && c != 0xD7 && c != 0xF7) {
      score += 1;
      small = c >= 0xDF;
      script = LATIN;
    } else {
      score -= 4;
    }
    if (script != NONE && before != NONE && script != before) score -= 4;
    before = static_cast<decltype(before)>(script);
    afterSmall = small;
  }
  return score - 4 * (asciiIn - asciiOut);
}

// A name in raw bytes that are not UTF-8: the archive was written on a system with a legacy
// code page, which the archive does not record. The user's own OEM and ANSI pages are tried
// first (on a Russian or Japanese Windows they are the likely ones), then the pages such
// archives are commonly written in; the most plausible decoding wins, the earlier on a tie.
std::wstring DecodeLegacyName(const std::string& bytes) {
  const UINT pages[] = {GetOEMCP(), GetACP(), 866, 20866, 1251, 932, 20932, 936, 949, 1252};
  std::wstring best;
  int bestScore = 0;
  bool found = false;
  for (UINT page : pages) {
    if (page == CP_UTF8 || !IsValidCodePage(page)) continue;
    DWORD flags = MB_ERR_INVALID_CHARS;
    int length = MultiByteToWideChar(page, flags, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    if (length <= 0) continue;
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(page, flags, bytes.data(), static_cast<int>(bytes.size()), &wide[0], length);
    int score = Plausibility(bytes, wide);
    if (!found || score > bestScore) {
      best = wide;
      bestScore = score;
      found = true;
    }
  }
  if (found) return best;
  std::wstring latin1;
  for (unsigned char c : bytes) latin1 += static_cast<wchar_t>(c);
  return latin1;
}

// The reader hands every raw name out byte for byte as the characters U+0000..U+00FF (see
// OpenTarReader). pax names are UTF-8 by definition and come out decoded (possibly as
// characters beyond U+00FF), or, where libarchive left them raw, as their UTF-8 bytes.
// ustar, GNU and old names are raw bytes: UTF-8 on every system that writes TARs today, a
// legacy code page on older ones.
std::string NameUtf8(archive* reader, const wchar_t* wide, const char* raw) {
  std::string name;
  if (!wide) {
    name = raw ? raw : "";
  } else {
    bool bytesOnly = true;
    std::string bytes;
    for (const wchar_t* c = wide; *c; ++c) {
      if (*c > 0xFF) bytesOnly = false;
      bytes += static_cast<char>(*c);
    }
    if (!bytesOnly || (reader && archive_format(reader) == ARCHIVE_FORMAT_TAR_PAX_INTERCHANGE && !IsValidUtf8(bytes)))
      name = Utf8FromWide(wide);
    else if (IsValidUtf8(bytes))
      name = bytes;
    else
      name = Utf8FromWide(DecodeLegacyName(bytes).c_str());
  }
  for (char& c : name)
    if (c == '\\') c = '/';
  return name;
}

}  // namespace

std::string EntryNameUtf8(archive* reader, archive_entry* entry) {
  return NameUtf8(reader, archive_entry_pathname_w(entry), archive_entry_pathname(entry));
}

std::string EntryHardlinkUtf8(archive* reader, archive_entry* entry) {
  const char* raw = archive_entry_hardlink(entry);
  const wchar_t* wide = archive_entry_hardlink_w(entry);
  if (!raw && !wide) return std::string();
  return NameUtf8(reader, wide, raw);
}

namespace {

// What a single compressed file's one entry is: the file's name without the compression's
// suffix, and the file's time (the compressed stream keeps neither in a form libarchive gives).
struct SingleFile {
  std::wstring name;
  time_t modified;
};
std::mutex g_singleLock;
// By reader; OpenTarReader sets or clears its reader's row, so a row left by a freed reader is
// never read for another.
std::map<archive*, SingleFile> g_singleFiles;

archive* OpenWith(const std::wstring& path, bool raw, std::string* error) {
  archive* reader = archive_read_new();
  if (!reader) return nullptr;
  archive_read_support_filter_gzip(reader);
  archive_read_support_filter_bzip2(reader);
  archive_read_support_filter_compress(reader);
  archive_read_support_filter_xz(reader);
  archive_read_support_filter_lzma(reader);
  archive_read_support_filter_zstd(reader);
  archive_read_support_filter_lz4(reader);
  if (raw) {
    archive_read_support_format_raw(reader);
  } else {
    archive_read_support_format_tar(reader);
    archive_read_support_format_gnutar(reader);
    // Raw names come out byte for byte as U+0000..U+00FF, whatever the process's locale, so
    // that NameUtf8 sees the bytes the archive holds.
    archive_read_set_format_option(reader, "tar", "hdrcharset", "CP28591");
  }
  if (archive_read_open_filename_w(reader, path.c_str(), 1 << 16) != ARCHIVE_OK) {
    if (error) *error = archive_error_string(reader) ? archive_error_string(reader) : "cannot open";
    archive_read_free(reader);
    return nullptr;
  }
  return reader;
}

SingleFile SingleFileOf(const std::wstring& path) {
  size_t slash = path.find_last_of(L"\\/");
  std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
  size_t dot = name.find_last_of(L'.');
  if (dot != std::wstring::npos && dot > 0) name.erase(dot);
  SingleFile file{name, 0};
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
    uint64_t ticks = (static_cast<uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) | data.ftLastWriteTime.dwLowDateTime;
    file.modified = static_cast<time_t>(ticks / 10000000ULL - 11644473600ULL);
  }
  return file;
}

}  // namespace

archive* OpenTarReader(const char* path, std::string* error) {
  std::wstring wide = WideFromUtf8(path);
  archive* reader = OpenWith(wide, false, error);
  bool single = false;
  if (!reader) {
    // No TAR inside a compression: the compressed file itself is the one entry. A file that
    // is not compressed stays refused.
    reader = OpenWith(wide, true, nullptr);
    if (reader && archive_filter_code(reader, 0) == ARCHIVE_FILTER_NONE) {
      archive_read_free(reader);
      reader = nullptr;
    }
    single = reader != nullptr;
  }
  if (reader) {
    std::lock_guard<std::mutex> lock(g_singleLock);
    if (single)
      g_singleFiles[reader] = SingleFileOf(wide);
    else
      g_singleFiles.erase(reader);
  }
  return reader;
}

bool IsSingleCompressedFile(archive* reader) {
  std::lock_guard<std::mutex> lock(g_singleLock);
  return g_singleFiles.count(reader) != 0;
}

int NextTarHeader(archive* reader, archive_entry** entry) {
  int status = archive_read_next_header(reader, entry);
  if (status != ARCHIVE_OK && status != ARCHIVE_WARN) return status;
  std::lock_guard<std::mutex> lock(g_singleLock);
  auto single = g_singleFiles.find(reader);
  if (single != g_singleFiles.end()) {
    archive_entry_copy_pathname_w(*entry, single->second.name.c_str());
    archive_entry_set_mtime(*entry, single->second.modified, 0);
  }
  return status;
}

int64_t SingleFileSize(const char* path) {
  std::string error;
  archive* reader = OpenTarReader(path, &error);
  archive_entry* entry;
  int64_t size = -1;
  if (reader && NextTarHeader(reader, &entry) == ARCHIVE_OK) {
    static char buffer[1 << 16];
    la_ssize_t n;
    for (size = 0; (n = archive_read_data(reader, buffer, sizeof buffer)) > 0;) size += n;
    if (n < 0) size = -1;
  }
  if (reader) archive_read_free(reader);
  return size;
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
