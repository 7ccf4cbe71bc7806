#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/rbtree.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "ui/entry_list.h"
#include "jobs/entry_name_safety.h"
#include "zip/entry_names.h"
#include "jobs/extract_run.h"
#include "zip/whole_deflate.h"
#include "zip/zip_open.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool InsertRowPath(HWND list, int row, RBTree* tree) {
  liststruct* record = GetRowRecord(list, row);
  if (!record) return false;
  size_t pathLength = record->path ? strlen(record->path) : 0;
  size_t nameLength = record->filename ? strlen(record->filename) : 0;
  char* key = static_cast<char*>(malloc(pathLength + nameLength + 1));
  if (!key) return false;
  memcpy(key, record->path, pathLength);
  memcpy(key + pathLength, record->filename, nameLength);
  key[pathLength + nameLength] = 0;
  RBTreeInsert(tree, key, nullptr);
  return true;
}

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

uint64_t RowBytes(HWND list, const std::vector<int>& rows) {
  uint64_t sum = 0;
  for (int row : rows)
    if (liststruct* record = GetRowRecord(list, row)) sum += record->uncompressed;
  return sum;
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
  Log(0, GetVerbose(), "ExtractZipFilesFromList: cannot enter the destination %s - # %lu", destination,
      GetLastError());
  return false;
}

void CloseDialogUnlessSilent(int silent) {
  if (silent || !IsProgressDialogStarted()) return;
  if (IsCancelledByUser())
    CloseProgressDialogAfterCancel();
  else
    CloseProgressDialog();
}

struct RunRequest {
  const char* prefix;  // the public function's name, first word of its messages
  HWND source;
  const char* archive;
  int withoutPath;
  int overwriteMode;
  const char* password;
  const char* destination;
  int extractAll;
  int silent;
  int countEntries;
  bool wholeArchive;   // no selection index; past 99 entries, one progress step per entry
  RBTree* selection;   // chosen by the caller (the run frees it); none: the source's rows
  const EntrySelection* chosen;  // what the selection was copied from, for its sizes
  int testOnly;        // read and check every entry, write nothing
  uint64_t* tested;    // receives how many entries a test read
};

// An empty index of entry names that owns its keys; null (told) when memory runs out.
RBTree* NewNameIndex() {
  RBTree* index = RBTreeCreate();
  if (!index) {
    PromptMessageBox(GetForegroundWindow(), "Memory error", GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR);
    return nullptr;
  }
  index->deleteKey = free;
  return index;
}

// The entries a run takes: the caller's index, or the rows of the source list (all of them
// for extract all, after which the run works from the index). Null when there is none
// (running out of memory is told), the run's folder already left.
RBTree* ChooseEntries(RunRequest* request, const char* previous) {
  if (request->selection) return request->selection;
  RBTree* index = NewNameIndex();
  if (!index) {
    SetCurrentDirectoryA(previous);
    return nullptr;
  }
  int filled = 0;
  if (!request->extractAll) {
    filled = FillZipTreeWithSelectedFromList(request->source, index);
  } else if (request->source && HasEntryRows(request->source)) {
    filled = FillZipTreeWithWholeList(request->source, index);
    request->extractAll = 0;
  }
  if (filled) {
    SetCurrentDirectoryA(previous);
    RBTreeDestroy(&index);
  }
  return index;
}

// The run's index of a copied selection; null (told) when memory runs out.
RBTree* IndexOfSelection(const EntrySelection& chosen) {
  RBTree* index = NewNameIndex();
  if (!index) return nullptr;
  for (const std::string& name : chosen.names) RBTreeInsert(index, _strdup(name.c_str()), nullptr);
  return index;
}

int RunExtraction(RunRequest request) {
  const char* prefix = request.prefix;
  Log(7, GetVerbose(), "%s: cancelledByUser(1)? %d", prefix, IsCancelledByUser());
  char previous[kPathBuf];
  if (!EnterDestination(request.destination, previous)) {
    RBTreeDestroy(&request.selection);
    CloseDialogUnlessSilent(request.silent);
    return -1;
  }
  int selected = 0;
  // A list read here is read on its own window's thread: the caller runs the whole run.
  EntrySelection fromList;
  if (request.source && IsWindow(request.source)) {
    std::vector<int> rows = SelectedEntryRows(request.source);
    selected = static_cast<int>(rows.size());
    if (selected > 0 && HasEntryRows(request.source)) {
      fromList.bytes = RowBytes(request.source, rows);
      request.chosen = &fromList;
    }
  }

  RBTree* index = nullptr;
  if (!request.wholeArchive) {
    if (request.selection) selected = static_cast<int>(std::min<size_t>(request.selection->count, INT_MAX));
    index = ChooseEntries(&request, previous);
    if (!index) {
      CloseDialogUnlessSilent(request.silent);
      return -1;
    }
  }

  unzFile zip = MyWaitunzOpen2_64(request.archive, 3000);
  if (!zip) {
    char text[kPathBuf * 2];
    snprintf(text, sizeof text, "%s: (5) %s cannot be opened", prefix, request.archive);
    PromptMessageBox(GetForegroundWindow(), text, GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR | MB_TOPMOST);
    SetCurrentDirectoryA(previous);
    RBTreeDestroy(&index);
    CloseDialogUnlessSilent(request.silent);
    return -1;
  }
  unz_global_info64 global = {};
  int error = unzGetGlobalInfo64(zip, &global);
  if (error != UNZ_OK) Log(0, GetVerbose(), "%s: error %d with zipfile in unzGetGlobalInfo", prefix, error);

  ExtractJob* job = static_cast<ExtractJob*>(calloc(1, sizeof(ExtractJob)));
  if (!job) {
    PromptMessageBox(GetForegroundWindow(), "Memory error", GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR);
    unzClose(zip);
    SetCurrentDirectoryA(previous);
    RBTreeDestroy(&index);
    CloseDialogUnlessSilent(request.silent);
    return -1;
  }
  snprintf(job->destination, sizeof job->destination, "%s", request.destination ? request.destination : "");
  job->overwriteMode = request.overwriteMode;
  job->withoutPath = request.withoutPath;
  job->countEntries = request.countEntries;
  job->chosen = request.chosen;
  job->mainWindow = GetMainWindowHandle();
  job->silent = request.silent;
  snprintf(job->archive, sizeof job->archive, "%s", request.archive);
  snprintf(job->password, sizeof job->password, "%s", request.password ? request.password : "");
  job->engine = zip;
  job->selection = index;
  job->extractAll = request.wholeArchive ? 1 : request.extractAll;
  job->total = (!request.wholeArchive && selected > 0) ? static_cast<uint64_t>(selected) : global.number_entry;
  job->progressPerEntry = request.wholeArchive ? 1 : 0;
  job->testOnly = request.testOnly;
  if (!request.silent) {
    // The bar counts bytes whenever there are any: however many entries a run has, one large
    // entry would otherwise hold it still until it is whole.
    job->bytes = TotalBytes(job);
    int maximum = job->bytes ? 100 : static_cast<int>(job->total > INT_MAX ? INT_MAX : job->total);
    SetProgressMinimum(0);
    SetProgressMaximum(maximum);
  }

  int result = UnZipWorkThread(job);
  if (request.tested) *request.tested = job->tested;

  SetCurrentDirectoryA(previous);
  unzClose(zip);
  RBTreeDestroy(&index);
  free(job->refused);
  free(job);
  if (!request.silent) {
    if (result == 0 && IsCancelledByUser()) {
      printf("%s mismatch: IsCancelledByUser set to TRUE - but last return value was zero\n", prefix);
      result = EXTRACT_CANCELLED;
    }
  }
  Log(7, GetVerbose(), "%s cancelledByUser(2)? %d", prefix, IsCancelledByUser());
  CloseDialogUnlessSilent(request.silent);
  Log(5, GetVerbose(), "%s finished and progress destroyed", prefix);
  return result;
}

}  // namespace

int FillZipTreeWithSelectedFromList(HWND list, RBTree* tree) {
  if (!list || !tree || !HasEntryRows(list)) return -1;
  for (int row : SelectedEntryRows(list))
    if (!InsertRowPath(list, row, tree)) return -1;
  return 0;
}

int FillZipTreeWithWholeList(HWND list, RBTree* tree) {
  if (!list || !tree || !HasEntryRows(list)) return -1;
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row)
    if (!InsertRowPath(list, static_cast<int>(row), tree)) return -1;
  return 0;
}

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

int ExtractZipFilesFromList(HWND source, const char* archive, int* withoutPath, int* overwriteMode,
                            const char* password, const char* destination, int extractAll, int silent,
                            int countEntries) {
  RunRequest request = {"ExtractZipFilesFromList", source, archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, extractAll,
                        silent, countEntries, false, nullptr, nullptr, 0, nullptr};
  return RunExtraction(request);
}

int ExtractZipFilesFromListMF(HWND source, const char* archive, int* withoutPath, int* overwriteMode,
                              const char* password, const char* destination, int ignored, int silent) {
  (void)ignored;
  RunRequest request = {"ExtractZipFilesFromListMF", source, archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, 1, silent, 1,
                        true, nullptr, nullptr, 0, nullptr};
  return RunExtraction(request);
}

int ExtractZipFilesFromIndex(const char* caller, const char* archive, RBTree* selection, int* withoutPath,
                             int* overwriteMode, const char* password, const char* destination, int silent) {
  if (!selection) return -1;
  RunRequest request = {caller, nullptr, archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, 0, silent, 1,
                        false, selection, nullptr, 0, nullptr};
  return RunExtraction(request);
}

int ExtractZipFilesFromSelection(const EntrySelection& chosen, const char* archive, int* withoutPath,
                                 int* overwriteMode, const char* password, const char* destination, int silent,
                                 int countEntries) {
  RBTree* index = IndexOfSelection(chosen);
  if (!index) return -1;
  RunRequest request = {"ExtractZipFilesFromList", nullptr, archive, withoutPath ? *withoutPath : 0,
                        overwriteMode ? *overwriteMode : OVERWRITE_ASK, password, destination, 0,
                        silent, countEntries, false, index, &chosen, 0, nullptr};
  return RunExtraction(request);
}

int TestZipFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  *tested = 0;
  RBTree* index = chosen ? IndexOfSelection(*chosen) : nullptr;
  if (chosen && !index) return -1;
  RunRequest request = {"TestZipFiles", nullptr, archive, 0, OVERWRITE_ALWAYS, nullptr, nullptr, 0, silent, 1,
                        !chosen, index, chosen, 1, tested};
  return RunExtraction(request);
}
