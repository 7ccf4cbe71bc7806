#include "services/base.h"
#include "formats/iso_format.h"

#include "formats/formats.h"
#include "formats/header_loop.h"
#include "formats/libarchive_kinds.h"
#include "model/liststruct.h"
#include "jobs/extract_job.h"

namespace {

int RunOverImage(const char* image, HeaderRun* run) { return WalkLibarchiveKind(nullptr, image, run); }

void CountIsoFiles(const char* image, uint64_t* entries, uint64_t* bytes) {
  CountLibarchiveKind(nullptr, image, entries, bytes);
}

const HeaderKind kIsoKind = {"Iso", RunOverImage, CountIsoFiles};

std::unique_ptr<ArchiveReader> OpenIsoReader(const char* archive, int* error) {
  return OpenLibarchiveReader(nullptr, archive, error);
}

}  // namespace

EntryStamp IsoEntryStamp(const IsoDate& date) {
  return {0, date.minute, date.hour, date.day ? date.day : 1, date.month ? date.month - 1 : 0,
          date.year == 1900 ? 1970 : date.year};
}

DWORD WINAPI ListIsoFilesThread(LPVOID parameter) { return ListLibarchiveKind(nullptr, parameter); }

int ExtractIsoFilesFromList(ExtractJob* job) { return ExtractHeaderEntries(kIsoKind, job, nullptr); }

int TestIsoFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  return TestHeaderEntries(kIsoKind, archive, chosen, silent, tested);
}

int ExtractIsoFolder(ExtractJob* job, const char* folder) { return ExtractHeaderEntries(kIsoKind, job, folder); }

int WriteIsoEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]) {
  return WriteHeaderEntryToTemp(kIsoKind, archive, entryName, written);
}

void RegisterIsoFormat() {
  // Images are read only: no creation.
  ArchiveOperations ops = {};
  ops.openReader = OpenIsoReader;
  ops.listing = ListIsoFilesThread;
  ops.extract = ExtractIsoFilesFromList;
  ops.extractFolder = ExtractIsoFolder;
  ops.writeTemp = WriteIsoEntryToTemp;
  ops.test = TestIsoFiles;
  RegisterArchiveOperations(ARCHIVE_ISO, ops);
}
