#include "services/base.h"
#include "formats/sevenzip_format.h"

#include "formats/formats.h"
#include "formats/header_loop.h"
#include "formats/open_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "services/current_password.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "jobs/entry_file.h"
#include "jobs/extract_job.h"

#include <objbase.h>

#include <cstring>
#include <functional>
#include <memory>
#include <unordered_set>
#include <vector>

KESTRELIA_RUNTIME_LIBRARY(SevenZipDll, KESTRELIA_7Z_FILE, KESTRELIA_7Z_API_LIST)

namespace {

struct SzApi {
  SevenZipDll::SzOpenArchiveFn open;
  SevenZipDll::SzCloseArchiveFn close;
  SevenZipDll::SzEntryCountFn count;
  SevenZipDll::SzGetEntryFn entry;
  SevenZipDll::SzSetPasswordFn setPassword;
  SevenZipDll::SzSelectEntryFn select;
  SevenZipDll::SzReadDataFn read;
};

bool ResolveSzApi(SzApi* api) {
  if (!LoadRuntimeLibrary(&SevenZipDll::Library())) return false;
  *api = {SevenZipDll::SzOpenArchive(), SevenZipDll::SzCloseArchive(), SevenZipDll::SzEntryCount(),
          SevenZipDll::SzGetEntry(),    SevenZipDll::SzSetPassword(),  SevenZipDll::SzSelectEntry(),
          SevenZipDll::SzReadData()};
  return api->open && api->close && api->count && api->entry && api->setPassword && api->select && api->read;
}

// The password of one operation: the run's, else the session's, else asked once.
struct SzPassword {
  std::string known;
  bool mayAsk = true;
  bool asked = false;
  bool wrong = false;  // a read refused it: later entries are refused without decoding

  explicit SzPassword(const char* given) {
    known = given && *given ? given : GetCurrentPassword();
  }
  ~SzPassword() {
    if (!known.empty()) SecureZeroMemory(&known[0], known.size());
  }
  bool Ask() {
    if (!mayAsk || asked || IsDebugConsole()) return false;
    asked = true;
    char typed[kPathBuf] = "";
    bool given = PromptPassword(GetMainWindowHandle(), typed) && typed[0];
    if (given) {
      SetCurrentPassword(typed);
      known = typed;
      wrong = false;
    }
    SecureZeroMemory(typed, sizeof typed);
    return given;
  }
};

// Opens the archive; encrypted names take the known password or ask for one. namesEncrypted
// tells whether they were.
SzHandle OpenSevenZip(const SzApi& api, const char* archive, SzPassword* password, int* result,
                      bool* namesEncrypted = nullptr) {
  SzHandle handle = api.open(archive, "", result);
  if (namesEncrypted) *namesEncrypted = *result == SZ_NEED_PASSWORD;
  if (handle || *result != SZ_NEED_PASSWORD) return handle;
  if (password->known.empty() && !password->Ask()) return nullptr;
  handle = api.open(archive, password->known.c_str(), result);
  if (*result == SZ_WRONG_PASSWORD) SetCurrentPassword("");
  return handle;
}

// Why an archive did not open, told once; nothing when the user declined to give a password.
void ReportOpenFailure(int result, const char* archive) {
  if (result == SZ_NEED_PASSWORD) return;
  if (result == SZ_WRONG_PASSWORD) {
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_WRONG_PASSWORD),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return;
  }
  std::string text = std::string(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)) + "\n\n" + archive;
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}

EntryStamp StampOf(uint64_t modified) {
  FILETIME utc = {static_cast<DWORD>(modified), static_cast<DWORD>(modified >> 32)}, local;
  SYSTEMTIME t;
  if (!modified || !FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &t))
    return {0, 0, 0, 1, 0, 1980};
  return {t.wSecond, t.wMinute, t.wHour, t.wDay, t.wMonth - 1, t.wYear};
}

int FailureOf(int result) {
  switch (result) {
    case SZ_WRONG_PASSWORD:
    case SZ_NEED_PASSWORD: return FAILURE_WRONG_PASSWORD;
    case SZ_DAMAGED: return FAILURE_CRC;
    case SZ_UNSUPPORTED: return FAILURE_METHOD;
    default: return FAILURE_DATA_ERROR;
  }
}

// One open archive as a walk of headers, in the archive's order (a solid block's entries
// follow each other, so a walk decodes each block once).
struct SzWalk {
  SzApi api;
  SzHandle archive = nullptr;
  uint32_t next = 0, count = 0;
  std::unique_ptr<SzEntryRecord> record{new SzEntryRecord()};
  SzPassword password;
  std::string passwordSet;  // the one the library holds
  DWORD systemError = 0;
  bool failedAtCreate = false;  // the entry's file could not even be made
  std::unordered_set<std::string> folders;  // made (or found) by this walk
  std::vector<char> buffer;

  explicit SzWalk(const char* given) : password(given) {}
  ~SzWalk() {
    if (archive) api.close(archive);
    if (!passwordSet.empty()) SecureZeroMemory(&passwordSet[0], passwordSet.size());
  }

  // The current entry's data handed to sink piece by piece: 0, FAILURE_WRITE when the sink
  // refused, else the failure of the data.
  int Read(const std::function<bool(const char*, size_t)>& sink) {
    if (record->encrypted) {
      if (password.wrong) return FAILURE_WRONG_PASSWORD;
      if (password.known.empty() && !password.Ask()) return FAILURE_WRONG_PASSWORD;
      if (passwordSet != password.known) api.setPassword(archive, (passwordSet = password.known).c_str());
    }
    if (api.select(archive, next - 1)) return FAILURE_DATA_ERROR;
    if (buffer.empty()) buffer.resize(1 << 20);
    for (;;) {
      int64_t n = api.read(archive, buffer.data(), static_cast<uint32_t>(buffer.size()));
      if (n == 0) return 0;
      if (n < 0) {
        if (n == SZ_WRONG_PASSWORD || n == SZ_NEED_PASSWORD) password.wrong = true;
        return FailureOf(static_cast<int>(n));
      }
      if (!sink(buffer.data(), static_cast<size_t>(n))) return FAILURE_WRITE;
    }
  }

  void MakeFolders(const std::string& path, size_t from) {
    for (size_t i = from; i <= path.size(); ++i) {
      if (i < path.size() && path[i] != '\\') continue;
      std::string folder = path.substr(0, i);
      if (!folder.empty() && folders.insert(folder).second) CreateDirectoryW(WideTargetName(folder.c_str()).c_str(), nullptr);
    }
  }

  int Write(const char* folder, const char* name) {
    std::string base = folder && *folder ? folder : "";
    if (!base.empty() && base.back() != '\\' && base.back() != '/') base += '\\';
    std::string target = base + name;
    if (record->folder) {
      MakeFolders(target, base.size());
      return 0;
    }
    size_t slash = target.rfind('\\');
    if (slash != std::string::npos && slash > base.size()) MakeFolders(target.substr(0, slash), base.size());
    EntryFile file;
    failedAtCreate = true;
    if ((systemError = OpenEntryFile(&file, target.c_str())) != 0) return FAILURE_WRITE;
    failedAtCreate = false;
    int failed = Read([&](const char* data, size_t size) { return (systemError = WriteEntryBytes(file.handle, data, size)) == 0; });
    if (failed) {
      AbandonEntryFile(&file);
      return failed;
    }
    if (record->modified) {
      FILETIME modified = {static_cast<DWORD>(record->modified), static_cast<DWORD>(record->modified >> 32)};
      SetFileTime(file.handle, nullptr, nullptr, &modified);
    }
    if ((systemError = CommitEntryFile(&file)) != 0) return FAILURE_WRITE;
    return 0;
  }
};

int NextSevenZipHeader(void* context, HeaderEntry* entry) {
  SzWalk* walk = static_cast<SzWalk*>(context);
  if (walk->next >= walk->count) return HEADER_WALK_END;
  if (walk->api.entry(walk->archive, walk->next++, walk->record.get())) return HEADER_WALK_DAMAGED;
  const SzEntryRecord& r = *walk->record;
  entry->name = r.name;
  entry->size = r.size;
  entry->packed = r.packed;
  // The other attribute bits are the entry's own: a hidden file is written like any other.
  entry->attributes = (r.folder ? kHeaderFolder : 0) | (r.link ? kHeaderLink : 0);
  entry->encrypted = r.encrypted != 0;
  entry->stamp = StampOf(r.modified);
  return 0;
}

int ProcessSevenZipEntry(void* context, HeaderOperation operation, const char* folder, const char* name) {
  SzWalk* walk = static_cast<SzWalk*>(context);
  switch (operation) {
    case HEADER_SKIP: return 0;
    case HEADER_TEST:
      return walk->record->folder ? 0 : walk->Read([](const char*, size_t) { return true; });
    case HEADER_EXTRACT: return walk->Write(folder, name);
  }
  return 0;
}

DWORD SevenZipSystemError(void* context, bool* atCreate) {
  *atCreate = static_cast<SzWalk*>(context)->failedAtCreate;
  return static_cast<SzWalk*>(context)->systemError;
}

HeaderSource SourceOf(SzWalk* walk) { return {walk, NextSevenZipHeader, ProcessSevenZipEntry, SevenZipSystemError}; }

bool OpenWalk(SzWalk* walk, const char* archive, int* result, bool* namesEncrypted = nullptr) {
  if (!(walk->archive = OpenSevenZip(walk->api, archive, &walk->password, result, namesEncrypted))) return false;
  walk->count = walk->api.count(walk->archive);
  return true;
}

int WalkSevenZip(const char* archive, HeaderRun* run) {
  SzWalk walk(run->password);
  if (!ResolveSzApi(&walk.api)) return 1;
  int result;
  if (!OpenWalk(&walk, archive, &result)) {
    ReportOpenFailure(result, archive);
    return 1;
  }
  return RunHeaderEntries(SourceOf(&walk), run);
}

// The whole archive's size, for the progress dialog, when it is the archive listed.
void CountSevenZipFiles(const char* archive, uint64_t* entries, uint64_t* bytes) {
  if (_stricmp(archive, GetCurrentArchivePath()) != 0) return;
  *entries = GetListingTotals().entries;
  *bytes = GetListingTotals().uncompressed;
}

const HeaderKind kSevenZipKind = {"SevenZip", WalkSevenZip, CountSevenZipFiles};

// The file entries in the list's order, their data read on demand.
class SevenZipReader : public ArchiveReader {
 public:
  explicit SevenZipReader(std::unique_ptr<SzWalk> walk) : walk_(std::move(walk)) {}

  int Next(StreamEntry* entry) override {
    current_ = false;
    HeaderEntry header;
    for (;;) {
      int end = NextSevenZipHeader(walk_.get(), &header);
      if (end) return end == HEADER_WALK_END ? 1 : STREAM_FAILED;
      if (header.attributes & kHeaderFolder) continue;  // a folder has no row
      entry->name = header.name;
      entry->size = header.size;
      current_ = true;
      started_ = false;
      end_ = 1;
      return 0;
    }
  }

  int64_t Read(void* data, size_t size) override {
    if (!current_) return STREAM_FAILED;
    if (end_ <= 0) return end_;
    SzWalk& walk = *walk_;
    if (!started_) {
      started_ = true;
      if (walk.record->encrypted) {
        if (walk.password.known.empty() && !walk.password.Ask()) return end_ = STREAM_CANCELLED;
        if (walk.passwordSet != walk.password.known)
          walk.api.setPassword(walk.archive, (walk.passwordSet = walk.password.known).c_str());
      }
      if (walk.api.select(walk.archive, walk.next - 1)) return end_ = STREAM_FAILED;
    }
    int64_t n = walk.api.read(walk.archive, data, size > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(size));
    if (n > 0) return n;
    switch (n) {
      case 0: return end_ = 0;
      case SZ_WRONG_PASSWORD:
        SetCurrentPassword("");
        return end_ = STREAM_WRONG_PASSWORD;
      case SZ_NEED_PASSWORD: return end_ = STREAM_CANCELLED;
      case SZ_UNSUPPORTED: return end_ = STREAM_UNSUPPORTED;
      default: return end_ = STREAM_DAMAGED;
    }
  }

 private:
  std::unique_ptr<SzWalk> walk_;
  bool current_ = false;
  bool started_ = false;
  int end_ = 1;
};

}  // namespace

bool LoadSevenZipLibrary() {
  SzApi api;
  return ResolveSzApi(&api);
}

DWORD WINAPI ListSevenZipArchive(LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  CoInitialize(nullptr);
  SzWalk walk(nullptr);
  if (!ResolveSzApi(&walk.api)) return EndListingThread();
  BeginListing();
  int result;
  bool namesEncrypted = false;
  bool opened = OpenWalk(&walk, block->path, &result, &namesEncrypted);
  if (namesEncrypted) SetArchiveEncrypted(1);
  bool damaged = opened && ListHeaderEntries(block, SourceOf(&walk)) == HEADER_WALK_DAMAGED;
  FinishListing(block);
  if (!opened) ReportOpenFailure(result, block->path);
  else if (damaged) ReportOpenFailure(SZ_DAMAGED, block->path);
  return EndListingThread();
}

int ExtractSevenZipFiles(ExtractJob* job) { return ExtractHeaderEntries(kSevenZipKind, job, nullptr); }

int ExtractSevenZipFolder(ExtractJob* job, const char* folder) {
  return ExtractHeaderEntries(kSevenZipKind, job, folder);
}

int TestSevenZipFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  return TestHeaderEntries(kSevenZipKind, archive, chosen, silent, tested);
}

int WriteSevenZipEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]) {
  return WriteHeaderEntryToTemp(kSevenZipKind, archive, entryName, written);
}

int DetectSevenZipEncryption(const char* archive) {
  SzWalk walk(nullptr);
  if (!ResolveSzApi(&walk.api)) return -1;
  walk.password.mayAsk = false;
  int result;
  bool namesEncrypted = false;
  if (!OpenWalk(&walk, archive, &result, &namesEncrypted) && !namesEncrypted) return -1;
  bool encrypted = namesEncrypted;
  HeaderEntry entry;
  while (!encrypted && walk.archive && NextSevenZipHeader(&walk, &entry) == 0) encrypted = entry.encrypted;
  SetArchiveEncrypted(encrypted ? 1 : 0);
  return 0;
}

int ReadSevenZipDetails(const char* archive, const char* entryName, EntryDetails* out) {
  SzWalk walk(nullptr);
  if (!ResolveSzApi(&walk.api)) return -1;
  walk.password.mayAsk = false;
  int result;
  if (!OpenWalk(&walk, archive, &result)) return -1;
  std::string wanted = entryName;
  for (char& c : wanted)
    if (c == '/') c = '\\';
  HeaderEntry entry;
  while (NextSevenZipHeader(&walk, &entry) == 0) {
    if (entry.name != wanted) continue;
    const SzEntryRecord& r = *walk.record;
    out->method = r.method;
    out->crc = r.crc;
    out->hasCrc = r.hasCrc != 0;
    out->attributes = r.attributes & 0xFFFF;
    return 0;
  }
  return -1;
}

std::unique_ptr<ArchiveReader> OpenSevenZipReader(const char* archive, int* error) {
  *error = STREAM_UNSUPPORTED;
  std::unique_ptr<SzWalk> walk(new SzWalk(nullptr));
  if (!ResolveSzApi(&walk->api)) return nullptr;
  int result;
  if (!OpenWalk(walk.get(), archive, &result)) {
    *error = result == SZ_NEED_PASSWORD ? STREAM_CANCELLED : result == SZ_WRONG_PASSWORD ? STREAM_WRONG_PASSWORD
                                                                                          : STREAM_FAILED;
    return nullptr;
  }
  *error = 0;
  return std::unique_ptr<ArchiveReader>(new SevenZipReader(std::move(walk)));
}

ArchiveOperations SevenZipOperations() {
  ArchiveOperations ops = {};
  ops.listing = ListSevenZipArchive;
  ops.extract = ExtractSevenZipFiles;
  ops.extractFolder = ExtractSevenZipFolder;
  ops.writeTemp = WriteSevenZipEntryToTemp;
  ops.test = TestSevenZipFiles;
  ops.detectEncryption = DetectSevenZipEncryption;
  ops.details = ReadSevenZipDetails;
  ops.openReader = OpenSevenZipReader;
  return ops;
}
