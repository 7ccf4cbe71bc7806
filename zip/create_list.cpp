#include "services/base.h"
#include "zip/create.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "settings/values.h"
#include "zip/deflate_pipeline.h"
#include "zip/whole_deflate.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string g_skipped;
size_t g_skippedCount;
SilentProgressReporter g_silentReporter;

constexpr uint64_t kCrcNoticeSize = 33554432;  // above this the dialog says the checksum runs
// zip64 from just below 4 GiB: the container library gives an entry whose size or compressed
// size reaches 0xFFFFFFFF (the value that means "see zip64") a zip64 field in the directory
// only, and a local header without one is then read wrong; the margin covers what stored
// blocks, block ends and the encryption header add to an incompressible file.
constexpr uint64_t kZip64From = 0x100000000ull - (1 << 20);
// Both cores: the writer mostly waits on them.
constexpr int kDeflateThreads = 2;
// The entries come from a Windows file system. Readers on other systems take names of
// archives "made by" MS-DOS for the OEM code page even when the UTF-8 flag says otherwise.
constexpr uLong kMadeByNtfs = 11 << 8;

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool IsFolderPath(const char* path) {
  size_t n = strlen(path);
  return n && IsSeparator(path[n - 1]);
}

void Copy(char* out, const char* from) { snprintf(out, kPathBuf, "%s", from); }

void ToForwardSlashes(char* name) {
  for (char* p = name; *p; ++p)
    if (*p == '\\') *p = '/';
}

// The last component, a folder keeping its trailing separator.
void LastPart(const char* path, char* out) {
  size_t n = strlen(path);
  bool folder = n && IsSeparator(path[n - 1]);
  size_t end = folder ? n - 1 : n;
  size_t start = end;
  while (start && !IsSeparator(path[start - 1])) --start;
  snprintf(out, kPathBuf, "%.*s%s", static_cast<int>(end - start), path + start, folder ? "\\" : "");
}

// What follows the last "\\" (or "/").
const char* AfterLastSeparator(const char* name) {
  const char* last = name;
  for (const char* p = name; *p; ++p)
    if (IsSeparator(*p)) last = p + 1;
  return last;
}

// The path with the run's base (or the element's own) cut off the front.
const char* RelativePart(const zfts& options, const char* path, size_t baseLength) {
  size_t base = options.basePath[0] ? strlen(options.basePath) : baseLength;
  if (options.basePath[0] && _strnicmp(path, options.basePath, base)) base = 0;
  if (base > strlen(path)) base = 0;
  const char* rest = path + base;
  if (IsSeparator(*rest)) ++rest;
  return rest;
}

void JoinPrefix(const char* prefix, const char* name, char* out) {
  size_t n = strlen(prefix);
  snprintf(out, kPathBuf, (n && IsSeparator(prefix[n - 1])) ? "%s%s" : "%s\\%s", prefix, name);
}

bool NeedsUtf8Flag(const char* name) {
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p)
    if (*p >= 0x80) return true;
  return false;
}

uLong DosDateFromFileTime(const FILETIME& written) {
  FILETIME local;
  WORD date = 0, time = 0;
  if (!FileTimeToLocalFileTime(&written, &local) || !FileTimeToDosDateTime(&local, &date, &time)) return 0;
  return (static_cast<uLong>(date) << 16) | time;
}

uLong DosDateNow() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return DosDateFromFileTime(now);
}

bool ReadChunk(HANDLE file, char* buffer, size_t size, DWORD* got) {
  *got = 0;
  return ReadFile(file, buffer, static_cast<DWORD>(size), got, nullptr) != 0;
}

// The CRC-32 of the whole file, read with the run's buffer; the file is left at its start.
// A short read before the end stops the pass.
uLong getFileCrc(const char* path, HANDLE file, char* buffer, size_t bufferSize) {
  uLong crc = 0;
  for (;;) {
    DWORD got = 0;
    if (!ReadChunk(file, buffer, bufferSize, &got)) {
      Log(1, GetVerbose(), "getFileCrc: error in reading %s", path);
      break;
    }
    if (!got) break;
    crc = Crc32Whole(static_cast<uint32_t>(crc), buffer, got);
  }
  LARGE_INTEGER start = {};
  SetFilePointerEx(file, start, nullptr, FILE_BEGIN);
  return crc;
}

struct Progress {
  const char* caller;
  bool silent;
  uint64_t total;
  uint64_t step;
  uint64_t done;
  uint64_t nextStep;
  DWORD start;
  DWORD lastSecond;
  int lastPercent;
};

void ShowElapsed(Progress& p) {
  DWORD seconds = (GetTickCount() - p.start) / 1000;
  if (seconds == p.lastSecond) return;
  p.lastSecond = seconds;
  if (p.silent || !GetProgressDialog()) return;
  char line[128];
  snprintf(line, sizeof line, "%s %lu:%02lu:%02lu", GetMessageText(KLANG_MSG_ELAPSED_TIME), seconds / 3600,
           seconds / 60 % 60, seconds % 60);
  SetProgressSecondLine(line);
}

void AddDone(Progress& p, uint64_t bytes) {
  p.done += bytes;
  ShowElapsed(p);
  if (!p.total || p.done < p.nextStep) return;
  while (p.nextStep <= p.done) p.nextStep += p.step ? p.step : 1;
  int percent = static_cast<int>(p.done * 100 / p.total);
  if (percent > 100) percent = 100;
  if (percent == p.lastPercent) return;
  p.lastPercent = percent;
  if (p.silent) {
    char text[16];
    snprintf(text, sizeof text, "%2.0f%%", static_cast<double>(percent));
    if (g_silentReporter) g_silentReporter(text);
    else Log(5, GetVerbose(), "%s: %s", p.caller, text);
    return;
  }
  if (HWND dialog = GetProgressDialog()) ExecuteProgressPos(dialog, percent);
}

void Skip(const char* path) {
  if (!g_skipped.empty()) g_skipped += '\n';
  g_skipped += path;
  ++g_skippedCount;
}

// Folders are never encrypted: there is nothing to hide and readers would ask for a password.
// Nor deflated: an empty stream takes two bytes.
// A raw entry takes bytes the pipeline compressed (or, stored, the file's own); the sizes
// and the CRC come on closing.
int OpenEntry(zipFile zip, const zfts& options, const char* name, uLong dosDate, uLong crc, int zip64, int raw,
              bool store = false) {
  size_t n = strlen(name);
  bool folder = n && name[n - 1] == '/';
  zip_fileinfo info = {};
  info.dosDate = dosDate;
  bool deflated = options.level && !store && !folder;
  return zipOpenNewFileInZip4_64(zip, name, &info, nullptr, 0, nullptr, 0, nullptr, deflated ? Z_DEFLATED : 0,
                                 deflated ? options.level : 0, raw, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY,
                                 options.password[0] && !folder ? options.password : nullptr, crc,
                                 kMadeByNtfs | (zip64 ? 45 : 20),
                                 NeedsUtf8Flag(name) ? 0x800 : 0, zip64);
}

// The prefix's own folder entries, a/ then a/b/, once per run.
void AddPrefixFolders(const char* caller, zipFile zip, const zfts& options) {
  char prefix[kPathBuf];
  Copy(prefix, options.PrefixPath);
  ToForwardSlashes(prefix);
  size_t n = strlen(prefix);
  while (n && prefix[n - 1] == '/') prefix[--n] = '\0';
  uLong now = DosDateNow();
  bool first = true;
  for (size_t i = 0; i <= n; ++i) {
    if (i < n && prefix[i] != '/') continue;
    if (!i || prefix[i - 1] == '/') continue;
    char folder[kPathBuf];
    snprintf(folder, sizeof folder, "%.*s/", static_cast<int>(i), prefix);
    if (first) Log(5, GetVerbose(), "%s PathToCreate %s", caller, folder);
    first = false;
    if (OpenEntry(zip, options, folder, now, 0, 0, 0) == ZIP_OK) zipCloseFileInZip(zip);
  }
}

// One entry on its way through the pipeline: made when its file is opened, gone once its
// last block is written.
struct PendingEntry {
  char name[kPathBuf];
  char path[kPathBuf];
  uLong dosDate;
  uLong crcInAdvance;  // of a file read twice; a one-block file has it from its block
  bool hasCrcInAdvance;
  int zip64;
  bool opened, failed;
  bool stored;  // deflate did not shrink its first block: the file goes as it is
  uint64_t size;
  uLong crc;
};

struct Writer {
  const char* caller;
  zipFile zip;
  const zfts* options;
  Progress* progress;
  bool silent;
  bool crcInAdvance;  // every file, else only encrypted ones
  char* buffer;       // kDeflateBlockSize bytes for the pass of the CRC in advance
  bool writeFailed;   // a write to the archive failed: the run stops, nothing more is compressed
};

DWORD g_writeError;

void NoteWriteFailure(Writer& w) {
  if (w.writeFailed) return;
  w.writeFailed = true;
  g_writeError = GetLastError() ? GetLastError() : ERROR_WRITE_FAULT;
  Log(1, GetVerbose(), "%s: writing the archive failed (%lu)", w.caller, g_writeError);
}

void WriteBlock(Writer& w, DeflateBlock* b) {
  PendingEntry* e = static_cast<PendingEntry*>(b->owner);
  if (b->noData) {
    if (OpenEntry(w.zip, *w.options, e->name, e->dosDate, 0, 0, 0) == ZIP_OK) zipCloseFileInZip(w.zip);
    else Log(1, GetVerbose(), "%s: error in opening %s in the zipfile", w.caller, e->name);
    delete e;
    return;
  }
  if (!e->opened && !e->failed) {
    uLong crc = e->hasCrcInAdvance ? e->crcInAdvance : b->last ? b->crc : 0;
    // Data that does not shrink (packed, encrypted, random) would come out larger deflated.
    // A file of one block is judged whole; a larger one by its first block, as the entry's
    // method is fixed before the rest is compressed.
    e->stored = w.options->level && !b->failed && b->outLength >= b->inLength;
    int err = OpenEntry(w.zip, *w.options, e->name, e->dosDate, crc, e->zip64, 1, e->stored);
    e->opened = err == ZIP_OK;
    e->failed = !e->opened;
    if (e->failed) Log(1, GetVerbose(), "%s: error in opening %s in the zipfile (%d)", w.caller, e->name, err);
    if (err == ZIP_ERRNO) NoteWriteFailure(w);
  }
  const void* data = e->stored ? static_cast<const void*>(b->in) : b->out;
  size_t length = e->stored ? b->inLength : b->outLength;
  if (e->opened && b->failed && !e->stored) {
    Log(2, GetVerbose(), "%s: error in writing %s into the zipfile", w.caller, e->path);
  } else if (e->opened && zipWriteInFileInZip(w.zip, data, static_cast<unsigned>(length)) < 0) {
    Log(2, GetVerbose(), "%s: error in writing %s into the zipfile", w.caller, e->path);
    NoteWriteFailure(w);
  }
  e->crc = crc32_combine(e->crc, b->crc, static_cast<z_off_t>(b->inLength));
  e->size += b->inLength;
  AddDone(*w.progress, b->inLength);
  if (!b->last) return;
  if (e->opened && zipCloseFileInZipRaw64(w.zip, e->size, e->crc) != ZIP_OK)
    Log(0, GetVerbose(), "%s: error in closing %s in the zipfile", w.caller, e->name);
  delete e;
}

// Writes the oldest block: waiting for it when asked, else only when it is done.
bool WriteOldest(Writer& w, DeflatePipeline* pipeline, bool wait) {
  DeflateBlock* b = OldestBlock(pipeline, wait);
  if (!b) return false;
  WriteBlock(w, b);
  ReleaseOldest(pipeline);
  return true;
}

DeflateBlock* NextBlock(Writer& w, DeflatePipeline* pipeline) {
  while (WriteOldest(w, pipeline, false)) {
  }
  DeflateBlock* b;
  while (!(b = FreeBlock(pipeline))) WriteOldest(w, pipeline, true);
  return b;
}

// Without the checksum in advance the encryption header could not be checked by a reader,
// so an encrypted entry always gets it. A file of one block has it from its block, computed
// before the block is compressed; a larger one is read twice.
void CrcInAdvance(Writer& w, PendingEntry* e, HANDLE file, uint64_t size) {
  bool notice = size > kCrcNoticeSize && !w.silent && GetProgressDialog();
  if (notice) SetProgressDetail(GetMessageText(KLANG_MSG_COMPUTING_CHECKSUM));
  e->crcInAdvance = getFileCrc(e->path, file, w.buffer, kDeflateBlockSize);
  e->hasCrcInAdvance = true;
  if (notice) SetProgressDetail(GetMessageText(KLANG_MSG_ADDING));
}

// Cuts an open file into blocks, each with the tail of the one before as its dictionary; a
// file that fits a block goes whole. A read error ends the entry with what was read.
void SubmitFile(Writer& w, DeflatePipeline* pipeline, PendingEntry* e, HANDLE file, uint64_t size) {
  uint64_t read = 0;
  size_t tail = 0;
  size_t blockSize = kDeflateBlockSize;
  unsigned char window[kDeflateWindow];
  for (bool first = true;; first = false) {
    DeflateBlock* b = NextBlock(w, pipeline);
    if (first && size <= kWholeFileLimit && GrowBlock(pipeline, b, static_cast<size_t>(size)))
      blockSize = static_cast<size_t>(size);
    if (first && blockSize < size && w.crcInAdvance) CrcInAdvance(w, e, file, size);
    b->owner = e;
    DWORD got = 0;
    bool ok = ReadChunk(file, reinterpret_cast<char*>(b->in), blockSize, &got);
    if (!ok) Log(1, GetVerbose(), "%s: error in reading %s", w.caller, e->path);
    b->inLength = got;
    read += got;
    memcpy(b->dict, window, tail);
    b->dictLength = tail;
    b->last = !ok || got < blockSize || read >= size || IsCancelledByUser() || w.writeFailed;
    if (!b->last) {
      tail = got < kDeflateWindow ? got : kDeflateWindow;
      memcpy(window, b->in + got - tail, tail);
    }
    SubmitBlock(pipeline, b);
    if (b->last) return;
  }
}

int WriteList(const char* caller, bool silent, ZipListElement* list, zfts* options, zipFile zip,
              uint64_t progressStep, uint64_t totalBytes) {
  g_skipped.clear();
  g_skippedCount = 0;
  g_writeError = 0;
  if (!list) {
    if (silent) {
      Log(-1, GetVerbose(), "no list data");
    } else {
      PromptMessageBox(GetForegroundWindow(), "internal error occurred - no list data!", "Kestrelia", MB_OK);
    }
    return 1;
  }
  size_t bufferSize = CreationBufferSize(totalBytes);
  char* buffer = static_cast<char*>(malloc(bufferSize > kDeflateBlockSize ? bufferSize : kDeflateBlockSize));
  DeflatePipeline* pipeline = buffer ? OpenDeflatePipeline(options->level, kDeflateThreads, true) : nullptr;
  if (!pipeline) {
    free(buffer);
    Log(-1, GetVerbose(), "%s: Error allocating memory", caller);
    return -104;
  }
  bool prefixMode = options->prefixMode || options->prefixRelative;
  bool skipCrc = GetSkipCRCCheck() > 0;
  Progress progress = {caller, silent, totalBytes, progressStep, 0, progressStep, GetTickCount(), 0, -1};
  Writer w = {caller, zip, options, &progress, silent, !skipCrc || options->password[0], buffer, false};
  if (prefixMode) Log(5, GetVerbose(), "%s: zfts->PrefixPath %s", caller, options->PrefixPath);
  if (prefixMode && options->PrefixPath[0]) AddPrefixFolders(caller, zip, *options);

  for (ZipListElement* e = list; e && !IsCancelledByUser() && !w.writeFailed; e = e->next) {
    char name[kPathBuf];
    MakeZipEntryName(*options, e->path, e->baseLength, name);
    if (!name[0]) continue;  // a folder when only file names are kept
    bool folder = IsFolderPath(e->path);
    Log(5, GetVerbose(), "%s: adding file (2) %s", caller, name);
    if (!silent && GetProgressDialog()) {
      SetProgressDetail(GetMessageText(KLANG_MSG_ADDING));
      SetProgressTitle(name);
    }
    HANDLE file = INVALID_HANDLE_VALUE;
    uint64_t size = 0;
    FILETIME written = {};
    PendingEntry* pending = new PendingEntry();
    Copy(pending->name, name);
    Copy(pending->path, e->path);
    if (!folder) {
      file = CreateFileA(e->path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
      if (file == INVALID_HANDLE_VALUE) {
        Log(-1, GetVerbose(), "%s: error in opening %s for reading", caller, e->path);
        WIN32_FILE_ATTRIBUTE_DATA data;
        if (GetFileAttributesExA(e->path, GetFileExInfoStandard, &data))
          AddDone(progress, (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
        Skip(e->path);
        delete pending;
        continue;
      }
      LARGE_INTEGER length = {};
      if (!GetFileSizeEx(file, &length))
        printf("%s %d cannot determine size of file: %s #%lu\n", "Kestrelia", 14661, e->path, GetLastError());
      size = static_cast<uint64_t>(length.QuadPart);
      GetFileTime(file, nullptr, nullptr, &written);
    } else {
      WIN32_FILE_ATTRIBUTE_DATA data;
      if (GetFileAttributesExA(e->path, GetFileExInfoStandard, &data)) written = data.ftLastWriteTime;
    }
    if (options->verboseAdd) Log(1, GetVerbose(), "%s: add %s %s", caller, e->path, name);
    pending->dosDate =
        (written.dwLowDateTime || written.dwHighDateTime) ? DosDateFromFileTime(written) : DosDateNow();
    pending->zip64 = size >= kZip64From ? 1 : 0;
    if (folder) {
      DeflateBlock* b = NextBlock(w, pipeline);
      b->owner = pending;
      b->noData = true;
      b->last = true;
      SubmitBlock(pipeline, b);
      continue;
    }
    SubmitFile(w, pipeline, pending, file, size);
    CloseHandle(file);
  }
  // After a cancel the archive is thrown away: what is still on its way is not written.
  while (!IsCancelledByUser() && !w.writeFailed && WriteOldest(w, pipeline, true)) {
  }
  while (DeflateBlock* b = OldestBlock(pipeline, true)) {
    PendingEntry* e = static_cast<PendingEntry*>(b->owner);
    if (b->last) {
      if (e->opened) zipCloseFileInZipRaw64(zip, e->size, e->crc);
      delete e;
    }
    ReleaseOldest(pipeline);
  }
  CloseDeflatePipeline(pipeline);
  free(buffer);
  return w.writeFailed ? -105 : 0;
}

}  // namespace

size_t CreationBufferSize(uint64_t totalBytes) {
  if (totalBytes > 65535) return 65536;
  size_t half = static_cast<size_t>(totalBytes / 2);
  return half < 128 ? 128 : half;
}

void MakeZipEntryName(const zfts& options, const char* path, size_t baseLength, char* out) {
  char name[kPathBuf];
  if (options.prefixMode || options.prefixRelative) {
    if (options.prefixRelative)
      Copy(name, RelativePart(options, path, baseLength));
    else
      LastPart(path, name);
    if (options.PrefixPath[0]) {
      char joined[kPathBuf];
      JoinPrefix(options.PrefixPath, name, joined);
      Copy(name, joined[0] == '/' ? joined + 1 : joined);
    }
    if (options.plain) Copy(name, IsFolderPath(name) ? "" : AfterLastSeparator(name));
    ToForwardSlashes(name);
    Copy(out, name);
    return;
  }
  Copy(name, RelativePart(options, path, baseLength));
  if (options.plain) Copy(name, IsFolderPath(name) ? "" : AfterLastSeparator(name));
  ToForwardSlashes(name);
  if (name[0] && options.PrefixPath[0]) {
    char joined[kPathBuf];
    JoinPrefix(options.PrefixPath, name, joined);
    Copy(name, joined);
    ToForwardSlashes(name);
  }
  if (!name[0] && !options.plain) Copy(name, AfterLastSeparator(path));
  Copy(out, name);
}

int ZipFileList_64(ZipListElement* list, zfts* options, zipFile zip, uint64_t progressStep, uint64_t totalBytes) {
  return WriteList("ZipFileList_64", false, list, options, zip, progressStep, totalBytes);
}

int ZipFileListSilent(ZipListElement* list, zfts* options, zipFile zip, uint64_t progressStep,
                      uint64_t totalBytes) {
  return WriteList("ZipFileListSilent", true, list, options, zip, progressStep, totalBytes);
}

const char* GetLastSkippedFiles() { return g_skipped.c_str(); }
DWORD GetLastWriteError() { return g_writeError; }
size_t GetLastSkippedCount() { return g_skippedCount; }
void SetSilentProgressReporter(SilentProgressReporter reporter) { g_silentReporter = reporter; }
