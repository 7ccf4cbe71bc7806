#include "services/base.h"
#include "zip/zip_listing.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/listing_totals.h"
#include "model/view_hooks.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "zip/entry_names.h"
#include "zip/zip_listing_progress.h"
#include "zip/zip_open.h"

#include <objbase.h>

namespace {
int g_largeKind;
}  // namespace

void SetLargeZipKind(int kind) { g_largeKind = kind; }

#include <cstdio>
#include <cstring>
#include <string>

namespace {

// How often a long listing shows the rows it has so far.
constexpr DWORD kPublishIntervalMs = 1000;

// The name of the entry being listed; kept between entries so its storage is reused. A
// pointer, made once per thread: a thread-local object with a destructor goes through the
// threads library's key, whose removal at exit can wait forever (see whole_deflate.cpp).
thread_local std::string* t_entryName;

bool ReadCurrentEntry(unzFile archive, unz_file_info64* info) {
  if (!t_entryName) t_entryName = new std::string;
  return ReadCurrentEntryName(archive, info, t_entryName) == UNZ_OK;
}

void SetFirstEntryEncryption(unzFile archive) {
  unz_file_info64 info;
  SetArchiveEncrypted(ReadCurrentEntry(archive, &info) && (info.flag & 1) ? 1 : 0);
}

// Lists the current entry; returns the larger of its two sizes.
uint64_t ListCurrentEntry(unzFile archive, ArchiveControlBlock* block) {
  unz_file_info64 info = {};
  ReadCurrentEntry(archive, &info);
  uint64_t larger = info.compressed_size > info.uncompressed_size ? info.compressed_size : info.uncompressed_size;
  ListingTotals& totals = GetListingTotals();
  char* name = &(*t_entryName)[0];
  char* part = name;
  for (char* p = name; *p; ++p)
    if (*p == '/' || *p == '\\') part = p + 1;
  if (!*part) {  // a directory entry: its sizes count, it gets no row
    totals.compressed += info.compressed_size;
    totals.uncompressed += info.uncompressed_size;
    return larger;
  }
  for (char* p = name; *p; ++p)
    if (*p == '/') *p = '\\';
  if (block->list) {
    EntryStamp stamp = {static_cast<int>(info.tmu_date.tm_sec), static_cast<int>(info.tmu_date.tm_min),
                        static_cast<int>(info.tmu_date.tm_hour), static_cast<int>(info.tmu_date.tm_mday),
                        static_cast<int>(info.tmu_date.tm_mon), static_cast<int>(info.tmu_date.tm_year)};
    InsertEntryRow(block->list, stamp, part, name, block->folders, info.compressed_size, info.uncompressed_size,
                   (info.flag & 1) != 0);
  } else {
    printf("list is null yet!!! %s %s\n", part, name);
  }
  ++totals.entries;
  totals.compressed += info.compressed_size;
  totals.uncompressed += info.uncompressed_size;
  return larger;
}

// The archive needs the 64-bit fields: more entries than 16 bits count, an entry's size past
// 32 bits, or a file so large that offsets may be.
bool NeedsZip64(const char* path, uint64_t entries, uint64_t largestEntry) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  uint64_t size = GetFileAttributesExA(path, GetFileExInfoStandard, &data)
                      ? static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow
                      : 0;
  return entries >= 0xFFFF || largestEntry >= 0xFFFFFFFF || size >= 0xFFFFFFFF;
}

DWORD MillisecondsSinceProcessStart() {
  FILETIME created, exited, kernel, user, now;
  GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER a = {{created.dwLowDateTime, created.dwHighDateTime}};
  ULARGE_INTEGER b = {{now.dwLowDateTime, now.dwHighDateTime}};
  return static_cast<DWORD>((b.QuadPart - a.QuadPart) / 10000);
}

}  // namespace

int do_listing(unzFile archive, ArchiveControlBlock* block, int withCancel) {
  ViewHooks& views = GetViewHooks();
  ResetListingTotals();
  views.resetSortMark();

  unz_global_info64 global = {};
  int error = unzGetGlobalInfo64(archive, &global);
  if (error != UNZ_OK) Log(0, GetVerbose(), "do_listing: error %d with zipfile in unzGetGlobalInfo", error);

  views.beginListing();
  DWORD start = GetTickCount();
  ListingProgress progress = {};
  bool cancelled = false;
  // Once the list is unlocked, every publication repaints it on the window's thread; doing
  // that per 100 entries made a long listing twenty times slower.
  DWORD lastPublished = 0;
  uint64_t largest = 0;
  for (uint64_t i = 0; i < global.number_entry;) {
    if (i == 0) SetFirstEntryEncryption(archive);
    uint64_t size = ListCurrentEntry(archive, block);
    if (size > largest) largest = size;
    if (!progress.shown && GetTickCount() - start > 3000) {
      ShowListingProgress(&progress, withCancel, global.number_entry, i);
      views.lockUpdates(false);
      views.rows.publish(block);
      lastPublished = GetTickCount();
    } else if (progress.shown && i % 100 == 0) {
      if (IsListingCancelled()) {
        cancelled = true;
        break;
      }
      StepListingProgress(&progress, i, global.number_entry);
      if (GetTickCount() - lastPublished >= kPublishIntervalMs) {
        views.rows.publish(block);
        lastPublished = GetTickCount();
      }
    }
    ++i;
    if (i >= global.number_entry) break;
    error = unzGoToNextFile(archive);
    if (error != UNZ_OK) {
      Log(0, GetVerbose(), "do_listing: error %d with zipfile in unzGoToNextFile", error);
      break;
    }
  }

  if (cancelled) {
    CloseListingProgress(&progress);
    views.finishListing();
    GetListingTotals().entries = 0;
    views.rows.drop(block);
    return 1;
  }
  CloseListingProgress(&progress);
  // Such an archive is of the kind ZIP64, which the rewrite and the content search refuse.
  if (NeedsZip64(block->path, global.number_entry, largest)) {
    block->kind = g_largeKind;
    SetArchiveKind(g_largeKind);
  }
  views.finishListing();
  views.rows.finished(block);
  return 0;
}

void MakeZipOpenErrorText(const char* path, char* out, size_t outSize) {
  const char* zipError = GetUnzipErrorText(GetUnzipErrorIndex());
  DWORD stored = GetStoredSystemError();
  if (stored) {
    char system[kPathBuf] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, stored, 0, system,
                   sizeof system, nullptr);
    if (IsDebugConsole())
      snprintf(out, outSize, "(DebugConsole)\nLine: %d ziperror: %s\n%s \"%s\" %s:\n%s", 6001, zipError,
               GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path, GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL),
               system);
    else
      snprintf(out, outSize, "%s \"%s\" %s:\n%s", GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path,
               GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL), system);
    SetStoredSystemError(0);
  } else if (IsDebugConsole()) {
    snprintf(out, outSize, "(DebugConsole)\nLine: %d ziperror: %s\n%s \"%s\" %s", 6009, zipError,
             GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path, GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL));
  } else {
    // The container library's reason is for the debug console; the user hears whether the
    // file is no archive or a damaged one.
    int reason = ZipOpenFailureText(path);
    snprintf(out, outSize, reason == KLANG_MSG_MISSING_OR_IN_USE ? "%s \"%s\" %s %s" : "%s \"%s\" %s:\n%s",
             GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path, GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL),
             GetMessageText(reason));
  }
}

DWORD WINAPI ListZipFilesThread(LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  ViewHooks& views = GetViewHooks();
  CoInitialize(nullptr);
  printf("ListZipFilesThread started\n");
  views.beginListing();

  unzFile archive = MyWaitunzOpen2_64(block->path, 3000);
  if (archive) {
    views.lockUpdates(true);
    DWORD start = GetTickCount();
    do_listing(archive, block, 1);
    views.lockUpdates(false);
    Log(-1, GetVerbose(), "time measure(do_listing): %lu\n", GetTickCount() - start);
    Log(-1, GetVerbose(), "time measure(process start to list): %lu\n", MillisecondsSinceProcessStart());
    unzClose(archive);
    views.rows.released(block);
    CoUninitialize();
  } else {
    char text[kPathBuf * 3];
    MakeZipOpenErrorText(block->path, text, sizeof text);
    PromptMessageBox(GetMainWindowHandle(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_TOPMOST | MB_ICONERROR);
    views.focusCurrentView();
    views.setWindowTitle(nullptr);
  }
  views.finishListing();
  ReleaseOperation(OPERATION_OPEN);
  return 0;
}
