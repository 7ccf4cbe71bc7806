#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/rbtree.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "jobs/entry_name_safety.h"
#include "zip/entry_names.h"
#include "jobs/extract_run.h"
#include "zip/whole_deflate.h"
#include "zip/zip_open.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char* LastComponent(const char* name) {
  const char* part = name;
  for (const char* p = name; *p; ++p)
    if (*p == '/' || *p == '\\') part = p + 1;
  return part;
}

void Replace(char* text, char from, char to) {
  for (char* p = text; *p; ++p)
    if (*p == from) *p = to;
}

// The selection keeps "\" (the list's separator); an archive written elsewhere may name the
// same entry with "/", or the other way round.
bool IsSelected(RBTree* selection, const std::string& name) {
  std::string key = name;
  Replace(&key[0], '/', '\\');
  if (RBTreeSearch(selection, &key[0])) return true;
  Replace(&key[0], '\\', '/');
  return RBTreeSearch(selection, &key[0]) != nullptr;
}

// Unlike a listing's totals, always about this archive; one more walk of the directory costs
// little beside writing its entries.
uint64_t ArchiveBytes(unzFile zip, uint64_t* files) {
  uint64_t sum = 0;
  *files = 0;
  char name[kPathBuf];
  for (int err = unzGoToFirstFile(zip); err == UNZ_OK; err = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    if (unzGetCurrentFileInfo64(zip, &info, name, sizeof name, nullptr, 0, nullptr, 0) != UNZ_OK) continue;
    sum += info.uncompressed_size;
    size_t length = strlen(name);
    if (length && name[length - 1] != '/' && name[length - 1] != '\\') ++*files;
  }
  unzGoToFirstFile(zip);
  return sum;
}

// The run's bytes, and how many files it sets out to write.
uint64_t TotalBytes(const ExtractJob* job) {
  uint64_t files = job->total;
  uint64_t bytes = job->chosen ? job->chosen->bytes : ArchiveBytes(static_cast<unzFile>(job->engine), &files);
  if (job->chosen) files = job->chosen->names.size();
  NoteRunPlanned(files);
  return bytes;
}

void StepIfCounting(const ExtractJob* job, bool perEntry) {
  if (!job->silent && perEntry) ShowEntryProgress(nullptr, true);
}

// The run's folder becomes the working directory; a folder that is not there yet is made.
bool EnterDestination(const char* destination, char* previous) {
  GetCurrentDirectoryA(kPathBuf, previous);
  if (!destination || !*destination) return true;
  if (SetCurrentDirectoryA(destination)) return true;
  CreateDirectoryPath(destination);
  if (SetCurrentDirectoryA(destination)) return true;
  Log(0, GetVerbose(), "ExtractZip: cannot enter the destination %s - # %lu", destination, GetLastError());
  return false;
}

void CloseDialogUnlessSilent(int silent) {
  if (silent || !IsProgressDialogStarted()) return;
  if (IsCancelledByUser())
    CloseProgressDialogAfterCancel();
  else
    CloseProgressDialog();
}

// What a run is asked to do. Its entries come as data (a selection copied from the window on
// the window's thread, or the tree's range of names), never from a window.
struct RunRequest {
  const char* prefix;  // the public function's name, first word of its messages
  const char* archive;
  int withoutPath;
  int overwriteMode;
  const char* password;
  const char* destination;
  int silent;
  RBTree* selection;   // the entries to take (the run frees it); none: the whole archive
  const EntrySelection* chosen;  // what the selection was copied from, for its sizes
  int testOnly;        // read and check every entry, write nothing
  uint64_t* tested;    // receives how many entries a test read
};

void TellMemoryError() {
  PromptMessageBox(GetForegroundWindow(), "Memory error", GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR);
}

// The run's index of a copied selection, owning its keys; null (told) when memory runs out.
RBTree* IndexOfSelection(const EntrySelection& chosen) {
  RBTree* index = RBTreeCreate();
  if (!index) {
    TellMemoryError();
    return nullptr;
  }
  index->deleteKey = free;
  for (const std::string& name : chosen.names) RBTreeInsert(index, _strdup(name.c_str()), nullptr);
  return index;
}

unzFile OpenForRun(const RunRequest& request) {
  unzFile zip = MyWaitunzOpen2_64(request.archive, 3000);
  if (zip) return zip;
  char text[kPathBuf * 2];
  snprintf(text, sizeof text, "%s: (5) %s cannot be opened", request.prefix, request.archive);
  PromptMessageBox(GetForegroundWindow(), text, GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR | MB_TOPMOST);
  return nullptr;
}

// The job's block for an open archive; null (told) when memory runs out.
ExtractJob* NewJob(const RunRequest& request, unzFile zip) {
  ExtractJob* job = static_cast<ExtractJob*>(calloc(1, sizeof(ExtractJob)));
  if (!job) {
    TellMemoryError();
    return nullptr;
  }
  unz_global_info64 global = {};
  int error = unzGetGlobalInfo64(zip, &global);
  if (error != UNZ_OK) Log(0, GetVerbose(), "%s: error %d with zipfile in unzGetGlobalInfo", request.prefix, error);
  snprintf(job->destination, sizeof job->destination, "%s", request.destination ? request.destination : "");
  job->overwriteMode = request.overwriteMode;
  job->withoutPath = request.withoutPath;
  job->chosen = request.chosen;
  job->mainWindow = GetMainWindowHandle();
  job->silent = request.silent;
  snprintf(job->archive, sizeof job->archive, "%s", request.archive);
  snprintf(job->password, sizeof job->password, "%s", request.password ? request.password : "");
  job->engine = zip;
  job->selection = request.selection;
  job->extractAll = request.selection ? 0 : 1;
  job->total = request.selection ? request.selection->count : global.number_entry;
  job->testOnly = request.testOnly;
  return job;
}

// The bar counts bytes whenever there are any: however many entries a run has, one large
// entry would otherwise hold it still until it is whole.
void SizeProgress(ExtractJob* job) {
  job->bytes = TotalBytes(job);
  int maximum = job->bytes ? 100 : static_cast<int>(job->total > INT_MAX ? INT_MAX : job->total);
  SetProgressMinimum(0);
  SetProgressMaximum(maximum);
}

int RunJob(const RunRequest& request, unzFile zip) {
  ExtractJob* job = NewJob(request, zip);
  if (!job) return -1;
  if (!request.silent) SizeProgress(job);
  int result = UnZipWorkThread(job);
  if (request.tested) *request.tested = job->tested;
  free(job->refused);
  free(job);
  if (!request.silent && result == 0 && IsCancelledByUser()) {
    printf("%s mismatch: IsCancelledByUser set to TRUE - but last return value was zero\n", request.prefix);
    result = EXTRACT_CANCELLED;
  }
  return result;
}

// Enters the destination, opens the archive, runs the job, and leaves things as it found
// them: the working directory back, the selection freed, the progress dialog closed.
int RunExtraction(RunRequest request) {
  Log(7, GetVerbose(), "%s: cancelledByUser(1)? %d", request.prefix, IsCancelledByUser());
  char previous[kPathBuf];
  int result = -1;
  if (EnterDestination(request.destination, previous)) {
    if (unzFile zip = OpenForRun(request)) {
      result = RunJob(request, zip);
      unzClose(zip);
    }
    SetCurrentDirectoryA(previous);
  }
  RBTreeDestroy(&request.selection);
  Log(7, GetVerbose(), "%s cancelledByUser(2)? %d", request.prefix, IsCancelledByUser());
  CloseDialogUnlessSilent(request.silent);
  Log(5, GetVerbose(), "%s finished and progress destroyed", request.prefix);
  return result;
}

}  // namespace

int UnZipWorkThread(ExtractJob* job) {
  uint64_t totalBytes = job->bytes;
  int byBytes = totalBytes ? 1 : 0;
  bool perEntry = !byBytes;
  BeginExtractionRun(job->mainWindow, job->testOnly != 0, job->silent != 0);
  unzFile zip = static_cast<unzFile>(job->engine);

  unz_global_info64 global = {};
  unzGetGlobalInfo64(zip, &global);
  std::string entryName;
  char reason[kPathBuf];
  int last = 0;
  for (uint64_t i = 0; i < global.number_entry && !IsCancelledByUser(); ++i) {
    if (i > 0) {
      int error = unzGoToNextFile(zip);
      if (error != UNZ_OK) {
        Log(5, GetVerbose(), "UnZipWorkThread: error %d with zipfile in unzGoToNextFile %llu<=>%llu", error,
            static_cast<unsigned long long>(i), static_cast<unsigned long long>(global.number_entry));
        break;
      }
    }
    unz_file_info64 info = {};
    ReadCurrentEntryName(zip, &info, &entryName);
    const char* name = entryName.c_str();
    const char* withoutPath = job->extractAll ? name : LastComponent(name);
    if (!*withoutPath) {  // a folder entry of a selection: its files bring their folders
      StepIfCounting(job, perEntry);
      continue;
    }
    if (!job->extractAll && !IsSelected(job->selection, entryName)) continue;

    const char* target = job->withoutPath ? withoutPath : name;
    // A name matters only to a file that is written.
    if (!job->testOnly && JudgeEntryName(target, reason, sizeof reason) != ENTRY_NAME_OK) {
      Log(-1, GetVerbose(), "UnZipWorkThread: entry \"%s\" refused (%s) - not written", name, reason);
      AddRefusedName(name, reason);
      NoteEntryTaken();
      StepIfCounting(job, perEntry);
      continue;
    }
    if (!job->silent)
      ShowEntryProgress(withoutPath, false);
    else
      Log(6, GetVerbose(), "%s", withoutPath);

    bool file = !entryName.empty() && entryName.back() != '/' && entryName.back() != '\\';
    if (job->testOnly && file) ++job->tested;
    if (file) NoteEntryTaken();
    last = do_write_currentfile(zip, &job->withoutPath, &job->overwriteMode, job->password, job->mainWindow,
                                info, name, withoutPath, byBytes, totalBytes, ExtractionByteCounter(), job->silent);
    if (last == EXTRACT_CANCELLED) {
      Log(5, GetVerbose(), "UnZipWorkThread: user cancelled operation (option dialog)");
      break;
    }
    // Asking again for every entry after the user declined would be a question per entry.
    if (last == EXTRACT_NO_PASSWORD) {
      Log(5, GetVerbose(), "UnZipWorkThread: no password given - extraction ends");
      last = EXTRACT_CANCELLED;
      break;
    }
    if (!job->silent) {
      if (!GetProgressDialog() && IsCancelledByUser()) {
        Log(5, GetVerbose(), "UnzipWorkThread: user stopped extraction");
        break;
      }
      if (perEntry) ShowEntryProgress(nullptr, true);
    }
  }
  if (!job->silent) FlushEntryProgress();
  EndExtractionRun(job->mainWindow);
  ReleaseWholeCoders();
  CopyRefusedNames(&job->refused, &job->refusedCount);
  Log(8, GetVerbose(), "UnZipWorkThread finished");
  return (IsCancelledByUser() || last == EXTRACT_CANCELLED) ? EXTRACT_CANCELLED : 0;
}

int ExtractZipArchive(const char* archive, int* withoutPath, int* overwriteMode, const char* password,
                      const char* destination, int silent) {
  RunRequest request = {"ExtractZipArchive", archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, silent,
                        nullptr, nullptr, 0, nullptr};
  return RunExtraction(request);
}

int ExtractZipFilesFromIndex(const char* caller, const char* archive, RBTree* selection, int* withoutPath,
                             int* overwriteMode, const char* password, const char* destination, int silent) {
  if (!selection) return -1;
  RunRequest request = {caller, archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, silent,
                        selection, nullptr, 0, nullptr};
  return RunExtraction(request);
}

int ExtractZipFilesFromSelection(const EntrySelection& chosen, const char* archive, int* withoutPath,
                                 int* overwriteMode, const char* password, const char* destination, int silent) {
  RBTree* index = IndexOfSelection(chosen);
  if (!index) return -1;
  RunRequest request = {"ExtractZipFilesFromSelection", archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, silent,
                        index, &chosen, 0, nullptr};
  return RunExtraction(request);
}

int TestZipFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  *tested = 0;
  RBTree* index = chosen ? IndexOfSelection(*chosen) : nullptr;
  if (chosen && !index) return -1;
  RunRequest request = {"TestZipFiles", archive, 0, OVERWRITE_ALWAYS, nullptr, nullptr, silent,
                        index, chosen, 1, tested};
  return RunExtraction(request);
}
