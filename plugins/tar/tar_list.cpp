// Listing: an archive handle walks the entries once, front to back, as the program's find
// loop asks for them.
#include "services/base.h"
#include "tar_common.h"

#include <cstring>

namespace {

struct TarListing {
  HWND owner;
  std::string path;
  std::string name;  // the delivered entry's whole name, which the record may cut
  archive* reader;
  unsigned long delivered;
  bool ended;
  bool damaged;     // the walk ended at damage
  bool dataFailed;  // the current entry's data could not be read
};

// A damaged or cut archive ends the walk; the user learns that the list is short, once.
void ReportDamage(TarListing* listing, const char* reason) {
  if (!listing->owner || !IsWindow(listing->owner)) return;
  char text[600];
  snprintf(text, sizeof text, "%s\n\n%s\n(%s)",
           PluginText(KLANG_PLUGIN_TAR_DAMAGED,
                      "The archive is damaged or cut short; the list shows the entries before the damage."),
           listing->path.c_str(), reason ? reason : "");
  TarMessageBox(listing->owner, text, TAR_DLL_NAME, MB_OK | MB_ICONWARNING);
}

int Deliver(TarListing* listing, TarFindRecord* record) {
  if (!listing || !record || listing->ended || !listing->reader) return 1;
  archive_entry* entry = nullptr;
  int status = NextTarHeader(listing->reader, &entry);
  if (status == ARCHIVE_EOF || (status != ARCHIVE_OK && status != ARCHIVE_WARN)) {
    listing->ended = true;
    listing->damaged = status != ARCHIVE_EOF;
    if (listing->damaged) ReportDamage(listing, archive_error_string(listing->reader));
    return 1;
  }
  memset(record, 0, sizeof *record);
  la_int64_t size = IsSingleCompressedFile(listing->reader) ? SingleFileSize(listing->path.c_str()) : archive_entry_size(entry);
  uint64_t whole = size < 0 ? 0 : static_cast<uint64_t>(size);
  record->size = static_cast<uint32_t>(whole);
  record->sizeHigh = static_cast<uint32_t>(whole >> 32);
  DosDateTimeFromUnix(archive_entry_mtime(entry), &record->dosDate, &record->dosTime);
  std::string name = EntryNameUtf8(listing->reader, entry);
  if (archive_entry_filetype(entry) == AE_IFDIR && (name.empty() || name.back() != '/')) name += '/';
  snprintf(record->name, sizeof record->name, "%s", name.c_str());
  listing->name = std::move(name);
  ++listing->delivered;
  listing->dataFailed = false;
  return 0;
}

}  // namespace

extern "C" {

TarHandle __cdecl TarOpenArchive(void* owner, const char* path, int mode) {
  TarListing* listing = new TarListing{static_cast<HWND>(owner), path ? path : "", "", nullptr, 0, false, false, false};
  std::string error;
  listing->reader = OpenTarReader(listing->path.c_str(), &error);
  if (!listing->reader) {
    listing->ended = listing->damaged = true;
    ReportDamage(listing, error.c_str());
  }
  return listing;
}

int __cdecl TarFindFirst(TarHandle archive, const char* pattern, TarFindRecord* record) {
  TarListing* listing = static_cast<TarListing*>(archive);
  if (!listing) return 1;
  // A second walk starts over from the first entry.
  if (listing->delivered || listing->ended) {
    if (listing->reader) archive_read_free(listing->reader);
    listing->reader = OpenTarReader(listing->path.c_str(), nullptr);
    listing->delivered = 0;
    listing->ended = listing->damaged = !listing->reader;
  }
  return Deliver(listing, record);
}

int __cdecl TarFindNext(TarHandle archive, TarFindRecord* record) {
  return Deliver(static_cast<TarListing*>(archive), record);
}

uint32_t __cdecl TarFindName(TarHandle archive, char* buffer, uint32_t size) {
  TarListing* listing = static_cast<TarListing*>(archive);
  if (!listing || !listing->delivered || listing->ended) return 0;
  if (buffer && size) snprintf(buffer, size, "%s", listing->name.c_str());
  return static_cast<uint32_t>(listing->name.size());
}

int64_t __cdecl TarReadData(TarHandle archive, void* buffer, uint32_t size) {
  TarListing* listing = static_cast<TarListing*>(archive);
  if (!listing || !listing->reader || listing->ended) return listing && !listing->damaged ? 0 : -1;
  if (listing->dataFailed) return -1;
  la_ssize_t got = archive_read_data(listing->reader, buffer, size);
  if (got >= 0) return got;
  listing->dataFailed = true;
  return -1;
}

int __cdecl TarCloseArchive(TarHandle archive) {
  TarListing* listing = static_cast<TarListing*>(archive);
  if (!listing) return 1;
  if (listing->reader) archive_read_free(listing->reader);
  delete listing;
  return 0;
}

}  // extern "C"
