#include "services/base.h"
#include "formats/tar_format.h"

#include "formats/formats.h"
#include "formats/open_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "services/worker.h"
#include "jobs/change_set.h"
#include "jobs/create_job.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"
#include "jobs/pushed_entry.h"
#include "jobs/safe_replace.h"
#include "jobs/system_words.h"
#include "settings/values.h"

#include <commctrl.h>
#include <objbase.h>

#include <cstdio>
#include <cstring>
#include <memory>

KESTRELIA_RUNTIME_LIBRARY(TarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

namespace {

int g_tarLoaded;
int g_tarPresent = -1;  // -1 not tried yet

int TarPromptBox(void* owner, const char* text, const char* title, unsigned flags) {
  return PromptMessageBox(static_cast<HWND>(owner), text, title, flags);
}

void ShowLibraryMessage(int genericText) {
  PromptMessageBox(GetMainWindowHandle(), GetGenericText(genericText), GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR);
}

// Loads the library when needed; tells the user when it is missing.
bool EnsureTarLibrary() {
  if (LoadTarLibrary()) return true;
  ShowLibraryMessage(KLANG_GEN_TAR_LIBRARY_MISSING);
  return false;
}

// The program's side of the library's name list: nodes of owned names, the count in the
// list's ninth word.
struct TarNames {
  TarNameList list = {};
  ~TarNames() { Clear(); }
  void Add(const std::string& name) {
    TarNameNode* node = new TarNameNode{_strdup(name.c_str()), nullptr};
    TarNameNode** end = &list.first;
    while (*end) end = &(*end)->next;  // short lists; extraction lists are built in one go below
    *end = node;
    ++list.count;
  }
  // Appends without walking: the caller keeps the tail.
  void Append(TarNameNode**& tail, const std::string& name) {
    *tail = new TarNameNode{_strdup(name.c_str()), nullptr};
    tail = &(*tail)->next;
    ++list.count;
  }
  size_t Clear() {
    size_t freed = 0;
    for (TarNameNode* node = list.first; node;) {
      TarNameNode* next = node->next;
      free(node->name);
      delete node;
      node = next;
      ++freed;
    }
    list.first = nullptr;
    list.count = 0;
    return freed;
  }
};

// The record's whole name: the library keeps names longer than the record holds.
std::string RecordName(TarHandle archive, const TarFindRecord& record) {
  size_t length = strnlen(record.name, sizeof record.name);
  auto whole = length + 1 >= sizeof record.name ? TarDll::TarFindName() : nullptr;
  uint32_t size = whole ? whole(archive, nullptr, 0) : 0;
  if (size <= length) return std::string(record.name, length);
  std::string name(size + 1, '\0');
  whole(archive, &name[0], size + 1);
  name.resize(size);
  return name;
}

void AddListedEntry(ArchiveControlBlock* block, const TarFindRecord& record, const std::string& name) {
  ListingTotals& totals = GetListingTotals();
  uint64_t size = (static_cast<uint64_t>(record.sizeHigh) << 32) | record.size;
  uint64_t packed = record.packedSize || record.packedHigh
                        ? (static_cast<uint64_t>(record.packedHigh) << 32) | record.packedSize
                        : size;
  totals.uncompressed += size;
  totals.compressed += packed;
  if (!name.empty() && name.back() == '/') return;  // a folder: sizes only
  // Seconds are dropped on purpose: the list shows minutes.
  EntryStamp stamp = {0, (record.dosTime >> 5) & 0x3F, record.dosTime >> 11, record.dosDate & 0x1F,
                      ((record.dosDate >> 5) & 0x0F) - 1, 1980 + (record.dosDate >> 9)};
  size_t slash = name.rfind('/');
  const char* part = slash != std::string::npos && slash + 1 < name.size() ? name.c_str() + slash + 1 : name.c_str();
  ++totals.entries;
  if (block->list) InsertEntryRow(block->list, stamp, part, name.c_str(), block->folders, packed, size);
}

}  // namespace

bool LoadTarLibrary() {
  if (g_tarLoaded) return true;
  if (!LoadRuntimeLibrary(&TarDll::Library())) {
    printf("could not find \"%s\"\n", TAR_DLL_NAME);
    return false;
  }
  g_tarLoaded = 1;
  // The library's boxes go through the program's prompts, as every other box does.
  if (auto setBox = TarDll::TarSetMessageBox()) setBox(TarPromptBox);
  return true;
}

const char* TarLibraryVersion() {
  auto version = LoadTarLibrary() ? TarDll::archive_version_string() : nullptr;
  const char* text = version ? version() : nullptr;
  return text ? text : "";
}

bool IsTarLibraryPresent() {
  if (g_tarPresent < 0) g_tarPresent = LoadTarLibrary() ? 1 : 0;
  return g_tarPresent == 1;
}

DWORD WINAPI ListTarFilesThread(LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  CoInitialize(nullptr);
  if (!EnsureTarLibrary()) return EndListingThread();
  auto open = TarDll::TarOpenArchive();
  auto first = TarDll::TarFindFirst();
  auto next = TarDll::TarFindNext();
  auto close = TarDll::TarCloseArchive();
  if (!open) printf("TarOpenArchive not found\n");
  if (!first) printf("TarFindFirst not found\n");
  if (!next) printf("TarFindNext not found\n");
  if (!close) printf("TarCloseArchive not found\n");
  if (!open || !first || !next || !close) {
    ShowLibraryMessage(KLANG_GEN_TAR_FUNCTION_MISSING);
    return EndListingThread();
  }
  BeginListing();
  DWORD start = GetTickCount();
  TarHandle archive = open(GetMainWindowHandle(), block->path, 0);
  TarFindRecord record;
  for (int more = first(archive, "", &record); more == 0; more = next(archive, &record))
    AddListedEntry(block, record, RecordName(archive, record));
  close(archive);
  Log(-1, GetVerbose(), "time measure: %d\n", static_cast<int>(GetTickCount() - start));
  FinishListing(block);
  return EndListingThread();
}

namespace {

// The library's file entries are written by the program, as every kind's are.
struct TarSink {
  PushedEntry entry;
  int* overwriteMode;  // null: replace
};

int SinkAnswer(int pushed) {
  return pushed == PUSHED_WRITE ? TAR_SINK_WRITE : pushed == PUSHED_STOP ? TAR_SINK_STOP : TAR_SINK_SKIP;
}

int SinkBegin(void* context, const char* name, uint64_t size, uint64_t fileTime) {
  TarSink* sink = static_cast<TarSink*>(context);
  std::string target = name;
  for (char& c : target)
    if (c == '/') c = '\\';
  return SinkAnswer(BeginPushedEntry(&sink->entry, name, target.c_str(), size, fileTime, sink->overwriteMode));
}

int SinkData(void* context, const void* bytes, size_t size) {
  return PushEntryBytes(&static_cast<TarSink*>(context)->entry, bytes, size) ? 0 : 1;
}

int SinkEnd(void* context, int how, const char* detail) {
  int failure = how == TAR_SINK_DAMAGED ? FAILURE_DATA_ERROR : 0;
  return SinkAnswer(EndPushedEntry(&static_cast<TarSink*>(context)->entry, failure, detail, how == TAR_SINK_CANCELLED));
}

}  // namespace

int RunTarExtraction(const char* archive, TarNameList* names, ExtractJob* job, char* text, uint64_t size) {
  auto extract = LoadTarLibrary() ? TarDll::TarExtract() : nullptr;
  if (!extract) return 2;
  bool asks = !job->silent && (job->overwriteMode == OVERWRITE_ASK || job->overwriteMode == OVERWRITE_SKIP_ALL);
  TarSink sink = {{}, asks ? &job->overwriteMode : nullptr};
  TarFileSink calls = {&sink, SinkBegin, SinkData, SinkEnd};
  BeginExtractionRun(job->mainWindow, false, job->silent != 0);
  int outcome = extract(archive, names && names->count ? names : nullptr, job->silent ? nullptr : GetProgressDialog(),
                        text, job->destination, static_cast<uint32_t>(size), static_cast<uint32_t>(size >> 32),
                        job->silent, &calls);
  // The archive's own end is a failure of the run too: what lay behind it was never written.
  if (outcome == 2) AddRunFailure(archive, FAILURE_TRUNCATED);
  EndExtractionRun(job->mainWindow);
  return outcome;
}

int ExtractTarFilesFromList(ExtractJob* job) {
  char previous[kPathBuf] = "";
  if (job->destination[0]) {
    GetCurrentDirectoryA(sizeof previous, previous);
    SetCurrentDirectoryA(job->destination);
  }
  // No names: the library extracts the whole archive.
  const EntrySelection* chosen = job->chosen;
  size_t items = chosen ? chosen->names.size() : 0;
  TarNames names;
  TarNameNode** tail = &names.list.first;
  uint64_t total = chosen ? chosen->bytes : 0;
  if (chosen)
    for (const std::string& name : chosen->names) names.Append(tail, name);
  bool perItem = items > 99;
  if (!job->silent) {
    SetProgressMinimum(0);
    SetProgressMaximum(perItem ? static_cast<int>(items) : 100);
  }
  int result = 0;
  if (!EnsureTarLibrary()) {
    result = 1;
  } else if (TarDll::TarExtract()) {
    char text[TAR_RESULT_TEXT_SIZE] = {};
    uint64_t size = perItem ? 0 : total;
    NoteRunPlanned(items);
    int outcome = RunTarExtraction(job->archive, &names.list, job, text, size);
    Log(-1, GetVerbose(), "ExtractTarFilesFromListThread: ReturnText %s", text);
    // Refused names are told in their own message below, not in the run's list: the run
    // still did not write everything.
    result = outcome == 100 || text[0] == '2' ? 100 : text[1] == '1' ? EXTRACT_SOME_FAILED : 0;
    if (result == 100 && job->cancelled) *job->cancelled = 1;
    // Refused names follow the first line of the result text.
    if (text[1] == '1') {
      const char* list = strchr(text, '\n');
      std::string message = std::string(GetMessageText(KLANG_MSG_UNSAFE_NAMES_SKIPPED)) + "\n" + (list ? list : "");
      PromptMessageBox(GetForegroundWindow(), message.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE),
                       MB_OK | MB_ICONWARNING);
    }
  } else {
    printf("Method %s not found within library\n", "TarExtract");
    ShowLibraryMessage(KLANG_GEN_TAR_FUNCTION_MISSING);
    result = 1;
  }
  Log(2, GetVerbose(), "ExtractTarFilesFromListThread: Delete list %d", static_cast<int>(names.Clear()));
  CloseRunProgress(job->silent != 0);
  if (previous[0]) SetCurrentDirectoryA(previous);
  return result;
}

int WriteTarEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]) {
  written[0] = 0;
  if (!entryName || !*entryName) {
    Log(2, GetVerbose(), "WriteTarEntryToTemp: no File selected - cannot view");
    return 1;
  }
  TarNames names;
  names.Add(entryName);
  char folder[kPathBuf];
  if (!GetTempPathA(sizeof folder, folder)) snprintf(folder, sizeof folder, "c:");
  if (!EnsureTarLibrary()) return 1;
  if (!TarDll::TarExtract()) {
    Log(6, GetVerbose(), "WriteTarEntryToTemp: TarExtractArchive not found");
    ShowLibraryMessage(KLANG_GEN_TAR_FUNCTION_MISSING);
    return 1;
  }
  char text[TAR_RESULT_TEXT_SIZE] = {};
  // A run of its own, asking nothing: an entry that cannot be written is told below.
  ExtractJob view = {};
  view.silent = 1;
  snprintf(view.destination, sizeof view.destination, "%s", folder);
  RunTarExtraction(archive, &names.list, &view, text);
  Log(5, GetVerbose(), "WriteTarEntryToTemp: ReturnText %s", text);
  std::string name = names.list.first->name;
  for (char& c : name)
    if (c == '/') c = '\\';
  size_t n = strlen(folder);
  char target[kPathBuf * 2];
  snprintf(target, sizeof target, n && folder[n - 1] == '\\' ? "%s%s" : "%s\\%s", folder, name.c_str());
  if (strlen(target) >= kPathBuf || GetFileAttributesA(target) == INVALID_FILE_ATTRIBUTES) {
    Log(1, GetVerbose(), "WriteTarEntryToTemp: %s was not written", target);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return 1;
  }
  AddTempFile(target);
  snprintf(written, kPathBuf, "%s", target);
  return 0;
}

int CreateTarArchive(const TarCreateRequest& request, const std::vector<std::string>& files) {
  if (files.empty()) {
    printf("empty list nothing to compress %d\n", 0);
    return -1;
  }
  TarNames sources, results;
  TarNameNode** tail = &sources.list.first;
  for (const std::string& file : files) sources.Append(tail, file);
  std::vector<std::unique_ptr<TarAddResult>> records;
  if (request.addMode) {
    TarNameNode** resultTail = &results.list.first;
    for (size_t i = 0; i < files.size(); ++i) {
      records.emplace_back(new TarAddResult());
      *resultTail = new TarNameNode{nullptr, nullptr};
      (*resultTail)->name = reinterpret_cast<char*>(records.back().get());
      resultTail = &(*resultTail)->next;
    }
  }
  bool loaded = LoadTarLibrary();
  auto add = loaded ? TarDll::TarCreateAdd() : nullptr;
  auto create = loaded ? TarDll::TarCreate() : nullptr;
  if (!add || (!request.addMode && !create)) {
    printf("TarCreateAdd not found\n");
    PromptMessageBox(GetMainWindowHandle(),
                     GetGenericText(loaded ? KLANG_GEN_TAR_FUNCTION_MISSING : KLANG_GEN_TAR_LIBRARY_MISSING),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    // The records belong to the unique pointers; the nodes only point at them.
    for (TarNameNode* node = results.list.first; node; node = node->next) node->name = nullptr;
    return -1;
  }
  char base[kPathBuf];
  size_t n = strlen(request.baseFolder);
  bool separated = n && (request.baseFolder[n - 1] == '/' || request.baseFolder[n - 1] == '\\');
  snprintf(base, sizeof base, separated ? "%s" : "%s/", request.baseFolder);
  // The new archive is written to a working file of this run, which a later run removes when
  // this one was killed before it could move or remove it.
  RemoveStaleWorkingFiles(request.archive);
  char work[kPathBuf];
  if (DWORD error = ClaimWorkingFile(request.archive, work)) {
    for (TarNameNode* node = results.list.first; node; node = node->next) node->name = nullptr;
    printf("no working file beside %s: %s\n", request.archive, SystemErrorText(error).c_str());
    return -1;
  }
  char text[TAR_RESULT_TEXT_SIZE] = {};
  if (request.addMode)
    add(request.archive, base, sources.list.first, results.list.first, request.progress, request.addMode, text, work);
  else
    create(request.archive, base, request.progress, text, static_cast<int>(files.size()), sources.list.first, work);
  for (TarNameNode* node = results.list.first; node; node = node->next) node->name = nullptr;
  DWORD error = text[0] == '0' ? FlushWorkingFile(work) : ERROR_CANCELLED;
  if (!error) error = ReplaceWithWorkingFile(work, request.archive);
  if (error) {
    DiscardWorkingFile(work);
    if (text[0] == '0') snprintf(text, sizeof text, "1 %s", SystemErrorText(error).c_str());
  }
  if (text[0] == '0' && text[1] == '0') return 0;
  if (text[0] == '0') {
    printf("some values could not be added\n");
    return 1;
  }
  printf("error occured %s\n", text);
  return -1;
}

namespace {
int Refuse(char* failure, size_t failureSize, const char* archive, DWORD error, const char* reason, int code);
}  // namespace

DWORD WINAPI TarWorkThread(LPVOID parameter) {
  ZipWorkBlock* block = static_cast<ZipWorkBlock*>(parameter);
  int result;
  if (DWORD refusal = ReadOnlyRefusal(block->archive)) {
    // An archive the user made read-only is refused before any work, and keeps its attribute.
    char failure[kPathBuf * 3];
    Refuse(failure, sizeof failure, block->archive, refusal, nullptr, 0);
    if (!block->silent)
      PromptMessageBox(GetMainWindowHandle(), failure, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    result = CREATE_READ_ONLY;
  } else {
    ZipListElement* head = nullptr;
    ZipListElement* tail = nullptr;
    CollectBlockFiles(block, &head, &tail);
    TarCreateRequest request = {};
    snprintf(request.archive, sizeof request.archive, "%s", block->archive);
    if (head)
      snprintf(request.baseFolder, sizeof request.baseFolder, "%.*s", static_cast<int>(head->baseLength), head->path);
    request.addMode = block->add && GetFileAttributesA(block->archive) != INVALID_FILE_ATTRIBUTES ? TAR_ADD_APPEND : 0;
    std::vector<std::string> files;
    for (ZipListElement* e = head; e; e = e->next) files.emplace_back(e->path);
    FreeZipList(head);
    int outcome = CreateTarArchive(request, files);
    result = outcome < 0 ? (files.empty() ? CREATE_NOTHING : CREATE_WRITE_FAILED) : CREATE_OK;
  }
  ReleaseOperation(OPERATION_JOB);
  if (block->finished) block->finished(block->archive, result);
  if (block->result) *block->result = result;
  free(block->files);
  if (block->done) SetEvent(block->done);
  free(block);
  return static_cast<DWORD>(result);
}

namespace {

// The listing's walk of tar.dll, with the data of the entry it stands at read on demand: the
// same records the list is filled from, so names and order are the list's.
struct TarCalls {
  TarDll::TarFindFirstFn first = TarDll::TarFindFirst();
  TarDll::TarFindNextFn next = TarDll::TarFindNext();
  TarDll::TarReadDataFn read = TarDll::TarReadData();
  TarDll::TarCloseArchiveFn close = TarDll::TarCloseArchive();
  bool Complete() const { return first && next && read && close; }
};

class TarReader : public ArchiveReader {
 public:
  TarReader(const TarCalls& calls, TarHandle handle) : calls_(calls), handle_(handle) {}
  ~TarReader() override { calls_.close(handle_); }

  int Next(StreamEntry* entry) override {
    TarFindRecord record;
    for (;;) {
      int found = started_ ? calls_.next(handle_, &record) : calls_.first(handle_, "*", &record);
      started_ = true;
      current_ = found == 0;
      if (found) return calls_.read(handle_, nullptr, 0) == 0 ? 1 : STREAM_FAILED;
      entry->name = RecordName(handle_, record);
      if (!entry->name.empty() && entry->name.back() == '/') continue;  // a folder has no row
      entry->size = size_ = (static_cast<uint64_t>(record.sizeHigh) << 32) | record.size;
      done_ = 0;
      end_ = 1;
      return 0;
    }
  }

  int64_t Read(void* data, size_t size) override {
    if (!current_) return STREAM_FAILED;
    if (end_ <= 0) return end_;
    int64_t n = calls_.read(handle_, data, size > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(size));
    done_ += n > 0 ? static_cast<uint64_t>(n) : 0;
    if (n < 0 || done_ > size_ || (n == 0 && done_ < size_)) return end_ = STREAM_DAMAGED;
    if (n == 0) end_ = 0;
    return n;
  }

 private:
  TarCalls calls_;
  TarHandle handle_;
  bool started_ = false;
  bool current_ = false;
  uint64_t size_ = 0, done_ = 0;
  int end_ = 1;  // 1 while the entry's data goes on, then how it ended
};

std::unique_ptr<ArchiveReader> OpenTarReader(const char* archive, int* error) {
  *error = STREAM_UNSUPPORTED;
  if (!LoadTarLibrary()) return nullptr;
  TarCalls calls;
  auto open = TarDll::TarOpenArchive();
  if (!open || !calls.Complete()) return nullptr;
  TarHandle handle = open(nullptr, archive, 0);
  *error = handle ? 0 : STREAM_FAILED;
  return handle ? std::unique_ptr<ArchiveReader>(new TarReader(calls, handle)) : nullptr;
}

// What a rewrite asks of each entry, and what it found.
struct TarChanges {
  RBTree* changes;
  bool folders;   // the set names folders: entries below them are looked up too
  bool deleting;  // else renaming
  int found = 0;
  std::string report;  // a line per entry concerned
};

int AnswerForEntry(void* context, const char* name, char* newName, size_t newNameSize) {
  TarChanges* c = static_cast<TarChanges*>(context);
  char now[kPathBuf];
  if (!FindChangeForEntry(c->changes, name, c->folders, now)) return TAR_KEEP;
  ++c->found;
  c->report += name;
  if (c->deleting) {
    c->report += '\n';
    return TAR_DROP;
  }
  for (char* p = now; *p; ++p)
    if (*p == '\\') *p = '/';
  c->report += std::string(" -> ") + now + "\n";
  snprintf(newName, newNameSize, "%s", now);
  return TAR_RENAME;
}

// The program's sentence, the archive and the reason: the system's words, else the library's.
int Refuse(char* failure, size_t failureSize, const char* archive, DWORD error, const char* reason, int code) {
  std::string why = error ? SystemErrorText(error) : std::string(reason ? reason : "");
  snprintf(failure, failureSize, "%s\n\n\"%s\"%s%s", GetMessageText(KLANG_MSG_ARCHIVE_UNCHANGED), archive,
           why.empty() ? "" : "\n", why.c_str());
  Log(-1, GetVerbose(), "rewrite of %s failed: %s", archive, why.c_str());
  return code;
}

// With the setting DeleteSimulation the entries are only walked: nothing is written.
int SimulateTarRewrite(const char* archive, TarChanges* c, char* failure, size_t failureSize) {
  auto open = TarDll::TarOpenArchive();
  auto first = TarDll::TarFindFirst();
  auto next = TarDll::TarFindNext();
  auto close = TarDll::TarCloseArchive();
  if (!open || !first || !next || !close) return Refuse(failure, failureSize, archive, 0, "tar.dll", -1);
  TarHandle handle = open(GetMainWindowHandle(), archive, 0);
  TarFindRecord record;
  char unused[kPathBuf];
  for (int more = first(handle, "", &record); more == 0; more = next(handle, &record)) {
    AnswerForEntry(c, RecordName(handle, record).c_str(), unused, sizeof unused);
  }
  close(handle);
  if (!c->found) return kRewriteUnmatched;
  snprintf(failure, failureSize, "%s", c->report.c_str());
  return kRewriteSimulated;
}

// Deleting, renaming and moving through tar.dll with the ZIP rewrite's guarantees: the new
// archive is written to a working file of this run beside the old one, in its compression,
// flushed, and only then moved over it; a read-only archive is refused before any work.
int RewriteTar(const char* archive, RBTree* changes, bool deleting, char* failure, size_t failureSize) {
  failure[0] = '\0';
  TarChanges c = {changes, ChangeSetNamesFolders(changes), deleting};
  auto rewrite = LoadTarLibrary() ? TarDll::TarRewrite() : nullptr;
  if (!rewrite) return Refuse(failure, failureSize, archive, 0, GetGenericText(KLANG_GEN_TAR_FUNCTION_MISSING), -1);
  if (IsDeleteSimulation()) return SimulateTarRewrite(archive, &c, failure, failureSize);
  if (DWORD refusal = ReadOnlyRefusal(archive)) return Refuse(failure, failureSize, archive, refusal, nullptr, kRewriteReadOnly);
  RemoveStaleWorkingFiles(archive);
  char work[kPathBuf];
  if (DWORD error = ClaimWorkingFile(archive, work)) return Refuse(failure, failureSize, archive, error, nullptr, -2);
  char result[TAR_RESULT_TEXT_SIZE + 1] = {};
  if (rewrite(archive, work, AnswerForEntry, &c, result) != 0) {
    DiscardWorkingFile(work);
    return Refuse(failure, failureSize, archive, 0, result[0] ? result + 3 : "", -6);
  }
  if (!c.found) {
    DiscardWorkingFile(work);
    return kRewriteUnmatched;
  }
  DWORD error = FlushWorkingFile(work);
  if (!error) error = ReplaceWithWorkingFile(work, archive);
  if (error) {
    DiscardWorkingFile(work);
    return Refuse(failure, failureSize, archive, error, nullptr, -7);
  }
  return 0;
}

int DeleteTarEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize) {
  return RewriteTar(archive, changes, true, failure, failureSize);
}

int RenameTarEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize) {
  return RewriteTar(archive, changes, false, failure, failureSize);
}

}  // namespace

void RegisterTarFormat() {
  ArchiveOperations ops = {};
  ops.openReader = OpenTarReader;
  ops.listing = ListTarFilesThread;
  ops.extract = ExtractTarFilesFromList;
  ops.writeTemp = WriteTarEntryToTemp;
  ops.create = TarWorkThread;
  ops.add = TarWorkThread;
  ops.remove = DeleteTarEntries;
  ops.rename = RenameTarEntries;
  RegisterArchiveOperations(ARCHIVE_TAR, ops);
}
