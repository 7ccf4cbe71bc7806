// What every entry point of iso.dll shares: the open image with libarchive's reader over it
// and the entry its last header delivered.
#pragma once
#include "services/base.h"

#include <archive.h>
#include <archive_entry.h>

#include <string>

#include "kestrelia_iso.h"

// The definitions must match the contract's list.
#define ISO_EXPORT_DECLARATION(name, result, parameters) extern "C" result __cdecl name parameters;
KESTRELIA_ISO_API_LIST(ISO_EXPORT_DECLARATION)

// The image file as libarchive reads it: from where the ISO 9660 track begins (a Nero image
// may put a lead-in before it), with the declared volume length held to what the file can
// back (see ClampVolumeLength).
struct ImageFile {
  HANDLE file = INVALID_HANDLE_VALUE;
  int64_t base = 0;      // where the track begins in the file
  int64_t length = 0;    // bytes of the file from base on
  int64_t position = 0;  // of the next read, from base
  char* buffer = nullptr;
  bool image = true;     // a CD image: its track is looked for and its declared lengths held
};

struct IsoImage {
  std::string path;    // UTF-8
  std::string format;  // libarchive's reader for it (ArchiveOpen's names); empty for a CD image
  ImageFile file;
  archive* reader = nullptr;
  archive_entry* entry = nullptr;  // the last header's, until the next ReadHeader
  bool initialised = false;
  bool pending = false;            // iso_init read the first header; ReadHeader delivers it
  bool ended = false;
  bool dataRead = false;           // the current entry's data was consumed
  bool borrowed = false;           // the current entry is a hard link whose data another holds
  std::string name;                // the current entry's path, "\"-separated
  std::string dataName;            // the entry that holds the current entry's data: its own
                                   // name, or for a hard link the last entry before it that is none
  std::wstring dataWritten;        // a file this handle wrote with that data, if any
  int64_t dataSize = 0;            // of that entry
  std::wstring madeFolder;         // the folder the last file went to, known to exist
  bool streaming = false;          // IsoReadData reads the current entry from this walk
  IsoImage* dataSource = nullptr;  // a second walk standing at the data of the entry read as a
                                   // stream, when this walk is past it
};

// Text of a code page (CP_UTF8 for the program's names) as UTF-16, and back to UTF-8.
std::wstring Widen(const std::string& text, unsigned codePage = CP_UTF8);
std::string Utf8FromWide(const std::wstring& wide);

// Opens a reader on the archive at path for the handle, of the handle's format; false when
// it is none.
bool OpenImageReader(IsoImage* image);
void CloseImageReader(IsoImage* image);

// The entry's path as the program keeps it: UTF-8, "\" between components, no trailing one.
std::string EntryPath(archive_entry* entry);
std::string EntryHardlink(archive_entry* entry);

// The next bytes of the current entry's data, as IsoReadData answers.
int64_t ReadCurrentEntryData(IsoImage* image, void* buffer, uint32_t size);
void CloseDataSource(IsoImage* image);

// Writes the current entry (ISO_EXTRACT) or reads it through (ISO_TEST); an ISO_ result.
int ProcessCurrentEntry(IsoImage* image, int operation, const char* folder, const char* name,
                        uint64_t* progress);
