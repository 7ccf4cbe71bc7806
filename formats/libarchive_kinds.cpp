#include "services/base.h"
#include "formats/libarchive_kinds.h"

#include "formats/open_archive.h"
#include "kestrelia_iso.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "services/long_path.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "jobs/extract_job.h"

#include <objbase.h>

#include <cstdio>
#include <cstring>
#include <memory>

KESTRELIA_RUNTIME_LIBRARY(IsoDll, KESTRELIA_ISO_FILE, KESTRELIA_ISO_API_LIST)

// The date record's rules, kept with the ISO row's functions (formats/iso_format.h).
EntryStamp IsoEntryStamp(const IsoDate& date);

namespace {

int g_isoLoaded;

void ShowLibraryMessage(int genericText) {
  PromptMessageBox(GetMainWindowHandle(), GetGenericText(genericText), GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR);
}

// Told once per operation: the list or the extraction stopped at the damage.
void ShowDamaged(const char* archive) {
  std::string text = std::string(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)) + "\n\n" + archive;
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}

// The entry points a walk needs, looked up now; null members are missing.
struct IsoEntries {
  IsoDll::iso_openFn open;
  IsoDll::ArchiveOpenFn openKind;
  IsoDll::iso_initFn init;
  IsoDll::ReadHeaderFn readHeader;
  IsoDll::ProcessFileFn processFile;
  IsoDll::iso_closeFn close;
  bool Complete(const char* format) const {
    return (format ? openKind != nullptr : open != nullptr) && init && readHeader && processFile && close;
  }
};

IsoEntries LookUpEntries() {
  return {IsoDll::iso_open(), IsoDll::ArchiveOpen(), IsoDll::iso_init(), IsoDll::ReadHeader(), IsoDll::ProcessFile(),
          IsoDll::iso_close()};
}

// Loads the library and looks the entry points up; tells the user what is missing.
bool ResolveIsoEntries(const char* format, IsoEntries* entries) {
  if (!LoadIsoLibrary()) {
    ShowLibraryMessage(KLANG_GEN_ISO_LIBRARY_MISSING);
    return false;
  }
  *entries = LookUpEntries();
  if (entries->Complete(format)) return true;
  printf("%s: an entry point of %s is missing\n", format ? format : "iso", ISO_DLL_NAME);
  ShowLibraryMessage(KLANG_GEN_ISO_FUNCTION_MISSING);
  return false;
}

// One open archive as a walk of headers.
struct IsoWalk {
  IsoEntries calls;
  IsoHandle image = nullptr;
  uint64_t progress = 0;
  DWORD systemError = 0;  // behind the last failed write
  bool failedAtCreate = false;  // the last failed write could not make its file
  char fullName[ISO_FULL_NAME_SIZE];
};

int NextIsoHeader(void* context, HeaderEntry* entry) {
  IsoWalk* walk = static_cast<IsoWalk*>(context);
  IsoHeaderRecord header;
  IsoDate date = {1970, 1, 0, 1, 0, 0, 0, 0};
  walk->fullName[0] = '\0';
  int result = walk->calls.readHeader(walk->image, &header, &date, walk->fullName);
  if (result != ISO_OK) return result == ISO_END_ARCHIVE ? HEADER_WALK_END : HEADER_WALK_DAMAGED;
  entry->name = walk->fullName[0] ? walk->fullName : header.fileName;
  // The library's 32 bits, taken as signed: an entry above 2 GiB shows a wrapped size.
  entry->size = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(header.unpackedSize)));
  entry->packed = entry->size;
  entry->attributes = header.fileAttributes;
  entry->encrypted = (header.flags & ISO_FLAG_ENCRYPTED) != 0;
  entry->stamp = IsoEntryStamp(date);
  return 0;
}

int ProcessIsoEntry(void* context, HeaderOperation operation, const char* folder, const char* name) {
  IsoWalk* walk = static_cast<IsoWalk*>(context);
  int code = operation == HEADER_EXTRACT ? ISO_EXTRACT : operation == HEADER_TEST ? ISO_TEST : ISO_SKIP;
  // Whole and in the "\\?\" form: the entries' paths below it may be of any length.
  std::string base;
  if (code == ISO_EXTRACT) base = Utf8FromWide(ExtendedWidePath(folder && *folder ? folder : ".").c_str());
  int result = walk->calls.processFile(walk->image, code, base.empty() ? nullptr : base.c_str(), name, nullptr,
                                       nullptr, nullptr, &walk->progress);
  switch (result) {
    case ISO_OK: return 0;
    case ISO_REFUSED_NAME: return FAILURE_UNSAFE_NAME;
    case ISO_BAD_DATA: return FAILURE_TRUNCATED;
    case ISO_ENCRYPTED: return FAILURE_ENCRYPTION;
    case ISO_ECREATE:
    case ISO_EWRITE:
      // The library's last call into the system is the one that failed.
      walk->systemError = GetLastError();
      walk->failedAtCreate = result == ISO_ECREATE;
      return FAILURE_WRITE;
    default: return operation == HEADER_SKIP ? 0 : FAILURE_DATA_ERROR;
  }
}

DWORD IsoSystemError(void* context, bool* atCreate) {
  *atCreate = static_cast<IsoWalk*>(context)->failedAtCreate;
  return static_cast<IsoWalk*>(context)->systemError;
}

HeaderSource SourceOf(IsoWalk* walk) { return {walk, NextIsoHeader, ProcessIsoEntry, IsoSystemError}; }

// Opens and reads the first header; false (with the console line) when the archive cannot be read.
bool OpenWalk(IsoWalk* walk, const char* format, const char* path) {
  walk->image = format ? walk->calls.openKind(path, format) : walk->calls.open(path);
  if (!walk->image) {
    printf("no %s archive\n", format ? format : "iso");
    return false;
  }
  if (!walk->calls.init(walk->image)) {
    printf("LoadImageFile: iso_init failure ");
    walk->calls.close(&walk->image);
    return false;
  }
  return true;
}

// The walk the list is filled from, with the data of the entry it stands at read on demand.
class IsoReader : public ArchiveReader {
 public:
  IsoReader(IsoWalk* walk, IsoDll::IsoReadDataFn read) : walk_(walk), read_(read) {}
  ~IsoReader() override {
    walk_->calls.close(&walk_->image);
    delete walk_;
  }

  int Next(StreamEntry* entry) override {
    current_ = false;
    HeaderEntry header;
    for (;;) {
      int end = NextIsoHeader(walk_, &header);
      if (end) return end == HEADER_WALK_END ? 1 : STREAM_FAILED;
      if (header.attributes & kHeaderFolder) continue;  // a folder has no row
      entry->name = header.name;
      read_(walk_->image, nullptr, 0, &size_);
      entry->size = size_;
      current_ = true;
      encrypted_ = header.encrypted;
      done_ = 0;
      end_ = 1;
      return 0;
    }
  }

  int64_t Read(void* data, size_t size) override {
    if (!current_) return STREAM_FAILED;
    if (encrypted_) return STREAM_UNSUPPORTED;
    if (end_ <= 0) return end_;
    int64_t n = read_(walk_->image, data, size > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(size), nullptr);
    done_ += n > 0 ? static_cast<uint64_t>(n) : 0;
    if (n < 0 || done_ > size_) return end_ = STREAM_DAMAGED;
    if (n == 0) end_ = 0;
    return n;
  }

 private:
  IsoWalk* walk_;
  IsoDll::IsoReadDataFn read_;
  bool current_ = false;
  bool encrypted_ = false;
  uint64_t size_ = 0, done_ = 0;
  int end_ = 1;  // 1 while the entry's data goes on, then how it ended
};

const struct {
  int kind;
  const char* format;
} kLibarchiveFormats[] = {
    {ARCHIVE_CAB, "cab"}, {ARCHIVE_LZH, "lha"}, {ARCHIVE_CPIO, "cpio"},
    {ARCHIVE_AR, "ar"},   {ARCHIVE_RPM, "rpm"},
};

}  // namespace

bool LoadIsoLibrary() {
  if (g_isoLoaded) return true;
  if (!LoadRuntimeLibrary(&IsoDll::Library())) {
    printf("could not find \"%s\"\n", ISO_DLL_NAME);
    return false;
  }
  g_isoLoaded = 1;
  return true;
}

const char* LibarchiveFormat(int kind) {
  for (const auto& known : kLibarchiveFormats)
    if (known.kind == kind) return known.format;
  return nullptr;
}

int WalkLibarchiveKind(const char* format, const char* archive, HeaderRun* run) {
  IsoWalk walk;
  if (!ResolveIsoEntries(format, &walk.calls)) return 1;
  if (!OpenWalk(&walk, format, archive)) {
    ShowDamaged(archive);
    return 1;
  }
  int result = RunHeaderEntries(SourceOf(&walk), run);
  walk.calls.close(&walk.image);
  return result;
}

void CountLibarchiveKind(const char* format, const char* archive, uint64_t* entries, uint64_t* bytes) {
  if (!LoadIsoLibrary()) return;
  if (!format) {
    if (auto count = IsoDll::IsoFileCount()) *entries = static_cast<uint64_t>(count(archive, bytes));
    return;
  }
  IsoWalk walk;
  walk.calls = LookUpEntries();
  if (!walk.calls.Complete(format) || !OpenWalk(&walk, format, archive)) return;
  HeaderEntry entry;
  while (NextIsoHeader(&walk, &entry) == 0) {
    if (entry.attributes & kHeaderFolder) continue;
    ++*entries;
    *bytes += entry.size;
  }
  walk.calls.close(&walk.image);
}

DWORD ListLibarchiveKind(const char* format, LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  CoInitialize(nullptr);
  IsoWalk walk;
  if (!ResolveIsoEntries(format, &walk.calls)) return EndListingThread();
  BeginListing();
  bool damaged = true;
  if (OpenWalk(&walk, format, block->path)) {
    damaged = ListHeaderEntries(block, SourceOf(&walk)) == HEADER_WALK_DAMAGED;
    walk.calls.close(&walk.image);
  }
  FinishListing(block);
  if (damaged) ShowDamaged(block->path);
  return EndListingThread();
}

std::unique_ptr<ArchiveReader> OpenLibarchiveReader(const char* format, const char* archive, int* error) {
  *error = STREAM_UNSUPPORTED;
  if (!LoadIsoLibrary()) return nullptr;
  std::unique_ptr<IsoWalk> walk(new IsoWalk());
  walk->calls = LookUpEntries();
  IsoDll::IsoReadDataFn read = IsoDll::IsoReadData();
  if (!walk->calls.Complete(format) || !read) return nullptr;
  *error = STREAM_FAILED;
  if (!OpenWalk(walk.get(), format, archive)) return nullptr;
  *error = 0;
  return std::unique_ptr<ArchiveReader>(new IsoReader(walk.release(), read));
}

void RegisterLibarchiveKinds() {
  RegisterArchiveOperations(ARCHIVE_CAB, LibarchiveKind<ARCHIVE_CAB>::Operations());
  RegisterArchiveOperations(ARCHIVE_LZH, LibarchiveKind<ARCHIVE_LZH>::Operations());
  RegisterArchiveOperations(ARCHIVE_CPIO, LibarchiveKind<ARCHIVE_CPIO>::Operations());
  RegisterArchiveOperations(ARCHIVE_AR, LibarchiveKind<ARCHIVE_AR>::Operations());
  RegisterArchiveOperations(ARCHIVE_RPM, LibarchiveKind<ARCHIVE_RPM>::Operations());
}
