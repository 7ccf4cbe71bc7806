#include "services/base.h"
#include "formats/iso_format.h"

#include "formats/formats.h"
#include "formats/header_loop.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "model/view_hooks.h"
#include "services/external_app.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "services/worker.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"

#include <objbase.h>

#include <cstdio>
#include <cstring>

KESTRELIA_RUNTIME_LIBRARY(IsoDll, KESTRELIA_ISO_FILE, KESTRELIA_ISO_API_LIST)

namespace {

int g_isoLoaded;

void ShowLibraryMessage(int genericText) {
  PromptMessageBox(GetMainWindowHandle(), GetGenericText(genericText), GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR);
}

// Told once per operation: the list or the extraction stopped at the damage.
void ShowDamaged(const char* image) {
  std::string text = std::string(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)) + "\n\n" + image;
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}

// The five entry points a walk needs, looked up now; null members are missing.
struct IsoEntries {
  IsoDll::iso_openFn open;
  IsoDll::iso_initFn init;
  IsoDll::ReadHeaderFn readHeader;
  IsoDll::ProcessFileFn processFile;
  IsoDll::iso_closeFn close;
};

// Loads the library and looks the entry points up; tells the user what is missing.
bool ResolveIsoEntries(IsoEntries* entries) {
  if (!LoadIsoLibrary()) {
    ShowLibraryMessage(KLANG_GEN_ISO_LIBRARY_MISSING);
    return false;
  }
  *entries = {IsoDll::iso_open(), IsoDll::iso_init(), IsoDll::ReadHeader(), IsoDll::ProcessFile(),
              IsoDll::iso_close()};
  if (!entries->open) printf("IsoOpen not found\n");
  if (!entries->init) printf("IsoInit not found\n");
  if (!entries->readHeader) printf("ReadHeader not found\n");
  if (!entries->processFile) printf("ProcessFile not found\n");
  if (!entries->close) printf("IsoClose not found\n");
  if (entries->open && entries->init && entries->readHeader && entries->processFile && entries->close) return true;
  ShowLibraryMessage(KLANG_GEN_ISO_FUNCTION_MISSING);
  return false;
}

// One open image as a walk of headers.
struct IsoWalk {
  IsoEntries calls;
  IsoHandle image = nullptr;
  uint64_t progress = 0;
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
  entry->attributes = header.fileAttributes;
  entry->stamp = IsoEntryStamp(date);
  return 0;
}

int ProcessIsoEntry(void* context, HeaderOperation operation, const char* folder, const char* name) {
  IsoWalk* walk = static_cast<IsoWalk*>(context);
  int code = operation == HEADER_EXTRACT ? ISO_EXTRACT : operation == HEADER_TEST ? ISO_TEST : ISO_SKIP;
  int result = walk->calls.processFile(walk->image, code, folder && *folder ? folder : nullptr, name, nullptr,
                                       nullptr, nullptr, &walk->progress);
  switch (result) {
    case ISO_OK: return 0;
    case ISO_REFUSED_NAME: return FAILURE_UNSAFE_NAME;
    case ISO_BAD_DATA: return FAILURE_TRUNCATED;
    case ISO_ECREATE:
    case ISO_EWRITE: return FAILURE_WRITE;
    default: return operation == HEADER_SKIP ? 0 : FAILURE_DATA_ERROR;
  }
}

HeaderSource SourceOf(IsoWalk* walk) { return {walk, NextIsoHeader, ProcessIsoEntry}; }

// iso_open and iso_init; false (with the console line) when the image cannot be read.
bool OpenIsoImage(IsoWalk* walk, const char* path) {
  walk->image = walk->calls.open(path);
  if (!walk->image) {
    printf("no image\n");
    return false;
  }
  if (!walk->calls.init(walk->image)) {
    printf("LoadImageFile: iso_init failure ");
    walk->calls.close(&walk->image);
    return false;
  }
  return true;
}

// A whole run over one image; 0, 100 when cancelled, 1 when it could not start (the user
// was told why). run->damaged tells a walk that stopped at damage.
int RunOverImage(const char* image, HeaderRun* run) {
  IsoWalk walk;
  if (!ResolveIsoEntries(&walk.calls)) return 1;
  if (!OpenIsoImage(&walk, image)) {
    ShowDamaged(image);
    return 1;
  }
  int result = RunHeaderEntries(SourceOf(&walk), run);
  walk.calls.close(&walk.image);
  return result;
}

// One message at the end of a run: the entries that failed, and that the image is damaged.
void ReportRun(const HeaderRun& run, const char* image) {
  if (run.failures.items.empty()) {
    if (run.damaged) ShowDamaged(image);
    return;
  }
  Log(1, GetVerbose(), "%s: %u entries not extracted", run.caller, static_cast<unsigned>(run.failures.items.size()));
  std::string text = EntryFailuresText(run.failures, GetMessageText(kEntryFailuresHeading));
  if (run.damaged) text += std::string("\n\n") + GetPluginText(KLANG_PLUGIN_TAR_DAMAGED);
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}

int ExtractIsoRun(ExtractJob* job, const char* folder) {
  HeaderRun run = {};
  run.caller = "ExtractIsoFilesFromList";
  run.operation = HEADER_EXTRACT;
  run.destination = job->destination;
  run.chosen = job->chosen;
  if (folder) run.folder = folder;
  run.progress = !job->silent;
  run.overwriteMode = &job->overwriteMode;
  if (job->chosen) {
    run.entries = job->chosen->names.size();
    run.bytes = job->chosen->bytes;
  } else {
    if (!folder) Log(2, GetVerbose(), "ExtractIsoFilesFromListThread: extract all");
    if (LoadIsoLibrary())
      if (auto count = IsoDll::IsoFileCount()) run.entries = static_cast<uint64_t>(count(job->archive, &run.bytes));
  }
  int result = RunOverImage(job->archive, &run);
  Log(2, GetVerbose(), "ExtractIsoFilesFromListThread: Delete list %d",
      static_cast<int>(job->chosen ? job->chosen->names.size() : 0));
  if (result == 100 && job->cancelled) *job->cancelled = 1;
  if (run.progress && IsProgressDialogStarted()) {
    if (IsCancelledByUser()) CloseProgressDialogAfterCancel();
    else CloseProgressDialog();
  }
  if (result != 1) ReportRun(run, job->archive);
  return result;
}

}  // namespace

EntryStamp IsoEntryStamp(const IsoDate& date) {
  return {0, date.minute, date.hour, date.day ? date.day : 1, date.month ? date.month - 1 : 0,
          date.year == 1900 ? 1970 : date.year};
}

bool LoadIsoLibrary() {
  if (g_isoLoaded) return true;
  printf("loading iso lib\n");
  if (!LoadRuntimeLibrary(&IsoDll::Library())) {
    printf("could not find \"%s\"\n", ISO_DLL_NAME);
    return false;
  }
  g_isoLoaded = 1;
  return true;
}

DWORD WINAPI ListIsoFilesThread(LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  ViewHooks& views = GetViewHooks();
  CoInitialize(nullptr);
  IsoWalk walk;
  if (!ResolveIsoEntries(&walk.calls)) {
    CoUninitialize();
    ReleaseOperation(OPERATION_OPEN);
    return 0;
  }
  views.beginListing();
  views.lockUpdates(true);
  views.resetSortMark();
  ResetListingTotals();
  bool damaged = true;
  if (OpenIsoImage(&walk, block->path)) {
    damaged = ListHeaderEntries(block, SourceOf(&walk)) == HEADER_WALK_DAMAGED;
    walk.calls.close(&walk.image);
  }
  views.lockUpdates(false);
  views.finishListing();
  views.rows.finished(block);
  views.rows.released(block);
  if (damaged) ShowDamaged(block->path);
  CoUninitialize();
  ReleaseOperation(OPERATION_OPEN);
  return 0;
}

int ExtractIsoFilesFromList(ExtractJob* job) { return ExtractIsoRun(job, nullptr); }

int TestIsoFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  HeaderRun run = {};
  run.caller = "TestIsoFiles";
  run.operation = HEADER_TEST;
  run.chosen = chosen;
  run.progress = !silent;
  if (chosen) {
    run.entries = chosen->names.size();
    run.bytes = chosen->bytes;
  } else if (LoadIsoLibrary()) {
    if (auto count = IsoDll::IsoFileCount()) run.entries = static_cast<uint64_t>(count(archive, &run.bytes));
  }
  BeginExtractionRun(GetMainWindowHandle(), true);
  int result = RunOverImage(archive, &run);
  for (const EntryFailure& failure : run.failures.items)
    AddRunFailure(failure.name.c_str(), failure.reason, failure.detail.empty() ? nullptr : failure.detail.c_str());
  // The walk stopped at damage: what lay behind it was never tested.
  if (run.damaged) AddRunFailure(archive, FAILURE_TRUNCATED);
  EndExtractionRun(GetMainWindowHandle());
  if (tested) *tested = run.taken.size();
  return result == 1 ? -1 : result;
}

int ExtractIsoFolder(ExtractJob* job, const char* folder) {
  // The tree may give the folder with either separator, and with or without its last one.
  std::string below = folder ? folder : "";
  for (char& c : below)
    if (c == '/') c = '\\';
  if (!below.empty() && below.back() != '\\') below += '\\';
  return ExtractIsoRun(job, below.c_str());
}

int ViewIsoFile(const char* archive, const char* entryName, int openWith) {
  if (!entryName || !*entryName) {
    Log(2, GetVerbose(), "ViewIsoFile: no File selected - cannot view");
    return 1;
  }
  char folder[kPathBuf];
  if (!GetTempPathA(sizeof folder, folder)) snprintf(folder, sizeof folder, "c:");
  EntrySelection one;
  one.names.push_back(entryName);
  HeaderRun run = {};
  run.caller = "ViewIsoFile";
  run.operation = HEADER_EXTRACT;
  run.destination = folder;
  run.chosen = &one;
  if (RunOverImage(archive, &run) == 1) return 1;
  if (run.taken.empty()) {
    // A hidden entry, or one that could not be written: the message says which.
    if (!run.failures.items.empty() || run.damaged) ReportRun(run, archive);
    else
      PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                       GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return 1;
  }
  int result = 1;
  for (const std::string& name : run.taken) {
    size_t n = strlen(folder);
    char target[kPathBuf * 2];
    snprintf(target, sizeof target, n && folder[n - 1] == '\\' ? "%s%s" : "%s\\%s", folder, name.c_str());
    AddTempFile(target);
    result = openWith ? OpenAs(target) : CallApp(target);
  }
  return result;
}

void RegisterIsoFormat() {
  // Images are read only: no creation.
  ArchiveOperations ops = {};
  ops.listing = ListIsoFilesThread;
  ops.extract = ExtractIsoFilesFromList;
  ops.extractFolder = ExtractIsoFolder;
  ops.view = ViewIsoFile;
  ops.test = TestIsoFiles;
  RegisterArchiveOperations(ARCHIVE_ISO, ops);
}
