// Pieces every entry point of tar.dll shares: the reader set-up, names between the
// program's UTF-8 and libarchive, times, the progress bar and the result text.
#pragma once
#include <archive.h>
#include <archive_entry.h>

#include <string>

#include "kestrelia_tar.h"
#include "kestrelia_texts.h"
#include "services/base.h"

// The definitions must match the contract's list.
#define TAR_EXPORT_DECLARATION(name, result, parameters) extern "C" result __cdecl name parameters;
KESTRELIA_TAR_API_LIST(TAR_EXPORT_DECLARATION)

std::wstring WideFromUtf8(const char* text);
std::string Utf8FromWide(const wchar_t* text);

// An entry's name as the program keeps it: UTF-8 with "/" between components, whatever the
// archive's format wrote (pax UTF-8, raw UTF-8, or raw bytes of a legacy code page).
std::string EntryNameUtf8(archive* reader, archive_entry* entry);
std::string EntryHardlinkUtf8(archive* reader, archive_entry* entry);

// A reader for the TAR family (plain, or compressed with gzip, bzip2, compress, xz, lzma, zstd
// or lz4) opened on the file; null when it cannot be opened, with the reason in error (when
// given). A compressed file without a TAR inside reads as one entry (IsSingleCompressedFile).
archive* OpenTarReader(const char* path, std::string* error);
bool IsSingleCompressedFile(archive* reader);
// archive_read_next_header for OpenTarReader's readers: a single compressed file's entry is
// named after the file without its last suffix and dated like the file.
int NextTarHeader(archive* reader, archive_entry** entry);
// The decompressed size of a single compressed file (the stream does not declare it); -1 when
// it cannot be read to its end.
int64_t SingleFileSize(const char* path);

// The entry's modification time as the MS-DOS date and time of the local time zone.
void DosDateTimeFromUnix(time_t seconds, uint16_t* dosDate, uint16_t* dosTime);

// Moves the program's progress bar; stopped() tells that the user closed the dialog.
struct TarProgress {
  HWND dialog;
  uint64_t total;  // 0: one step per entry, else percent of these bytes
  uint64_t done;
  int shownPercent;
  unsigned pendingSteps;  // entries done but not yet shown
  DWORD lastShown;
};
void ProgressInit(TarProgress* progress, void* dialog, uint64_t total);
void ProgressEntryDone(TarProgress* progress);
// Shows the steps still held back; called when a run ends.
void ProgressFlush(TarProgress* progress);
void ProgressBytes(TarProgress* progress, uint64_t bytes);
bool ProgressStopped(const TarProgress* progress);

// Writes "<code><code2> text" into the program's 255-byte result buffer.
void SetResultText(char* result, char code, char code2, const char* format, ...);

// A text of the program's language library when it is loaded in the process, else the
// English one given.
const char* PluginText(int number, const char* english);

// MessageBoxA, or the program's own message function once it handed one in: its boxes are
// then the program's, and a test that answers them answers the library's too.
int TarMessageBox(HWND owner, const char* text, const char* title, UINT flags);
