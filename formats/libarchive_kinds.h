// The kinds iso.dll's walk over libarchive reads: CD images, and the archives the program only
// reads (CAB, LZH, CPIO, AR, RPM; 7z has a library of its own, formats/sevenzip_format.h). One walk of headers (formats/header_loop) gives each
// of them listing, extraction of everything, of the chosen rows and of a tree folder, viewing,
// testing and reading entries as streams; a kind differs only in the reader libarchive opens
// it with. The library is loaded by name when first needed and never unloaded.
#pragma once
#include "services/base.h"

#include "formats/formats.h"
#include "formats/header_loop.h"
#include "jobs/entry_stream.h"

// Loads iso.dll when it is not loaded; true when it is.
bool LoadIsoLibrary();

// Below, format is the library's name of the kind (ArchiveOpen's), null for a CD image.
// A whole run over one archive: 0, 100 when cancelled, 1 when it could not start (the user
// was told why).
int WalkLibarchiveKind(const char* format, const char* archive, HeaderRun* run);
// The files of the whole archive and their bytes, for the progress dialog.
void CountLibarchiveKind(const char* format, const char* archive, uint64_t* entries, uint64_t* bytes);
// The body of the kind's listing thread; a walk that stopped at damage is told once.
DWORD ListLibarchiveKind(const char* format, LPVOID block);
std::unique_ptr<ArchiveReader> OpenLibarchiveReader(const char* format, const char* archive, int* error);

// The library's name of a read-only kind of the table (ARCHIVE_CAB: "cab"); null for others.
const char* LibarchiveFormat(int kind);

// A kind's operations carry no context, so each read-only kind gets its own set, made from
// its kind number.
template <int Kind>
struct LibarchiveKind {
  static int Walk(const char* archive, HeaderRun* run) { return WalkLibarchiveKind(LibarchiveFormat(Kind), archive, run); }
  static void Count(const char* archive, uint64_t* entries, uint64_t* bytes) {
    CountLibarchiveKind(LibarchiveFormat(Kind), archive, entries, bytes);
  }
  static HeaderKind Header() { return {FindArchiveFormat(Kind)->name, Walk, Count}; }
  static DWORD WINAPI List(LPVOID block) { return ListLibarchiveKind(LibarchiveFormat(Kind), block); }
  static int Extract(ExtractJob* job) { return ExtractHeaderEntries(Header(), job, nullptr); }
  static int ExtractFolder(ExtractJob* job, const char* folder) { return ExtractHeaderEntries(Header(), job, folder); }
  static int Test(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
    return TestHeaderEntries(Header(), archive, chosen, silent, tested);
  }
  static int WriteTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]) {
    return WriteHeaderEntryToTemp(Header(), archive, entryName, written);
  }
  static std::unique_ptr<ArchiveReader> Reader(const char* archive, int* error) {
    return OpenLibarchiveReader(LibarchiveFormat(Kind), archive, error);
  }
  // Read only: nothing creates, adds, deletes or renames.
  static ArchiveOperations Operations() {
    ArchiveOperations ops = {};
    ops.openReader = Reader;
    ops.listing = List;
    ops.extract = Extract;
    ops.extractFolder = ExtractFolder;
    ops.writeTemp = WriteTemp;
    ops.test = Test;
    return ops;
  }
};

// Hands the read-only kinds of the walk to the table.
void RegisterLibarchiveKinds();
