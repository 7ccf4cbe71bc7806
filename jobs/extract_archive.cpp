#include "services/base.h"
#include "jobs/extract_archive.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/view_hooks.h"
#include "services/folder_picker.h"
#include "services/history.h"
#include "services/log.h"
#include "services/long_path.h"
#include "services/password_dialog.h"
#include "services/pending_work.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_run.h"
#include "jobs/zone_mark.h"

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <string>

namespace {

char g_lastFolder[kPathBuf];
ExtractRunResult g_lastRun;
// The folder chooser's check box: extract into a new folder named after the archive. On at
// start, as the archive managers of today do; the last choice holds for the session.
int g_intoNamedFolder = 1;
constexpr int kNamedFolderText = 130;


HWND Owner() { return GetMainWindowHandle(); }

// Whether the archive's kind can do this at all; tells the user when not.
bool CheckWorker(const void* worker) {
  if (worker) return true;
  const char* text = "ExtractArchive: archives of this kind cannot be extracted yet";
  Log(1, GetVerbose(), "%s", text);
  PromptMessageBox(Owner(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
  return false;
}

// Taken before the first question to the user: a second command dispatched while the folder
// chooser is up must find the run already claimed.
bool RefuseWhenBusy() {
  if (ClaimOperation(OPERATION_JOB) == OPERATION_NONE) {
    g_lastRun = {EXTRACT_CANCELLED, 0};
    return false;
  }
  Log(2, GetVerbose(), "ExtractArchive: busy, refused");
  PromptMessageBox(Owner(), GetMessageText(KLANG_MSG_BUSY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
  return true;
}

// A claimed run that ends before its worker starts (no destination, no password, a kind that
// cannot extract).
void Abandon() { ReleaseOperation(OPERATION_JOB); }

// Removes the folder and the folders below it when none of them holds a file; a file kept
// anywhere below keeps the folders above it.
bool RemoveIfEmpty(const std::wstring& folder) {
  WIN32_FIND_DATAW found;
  HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &found);
  bool empty = true;
  if (find != INVALID_HANDLE_VALUE) {
    do {
      std::wstring name = found.cFileName;
      if (name == L"." || name == L"..") continue;
      bool folderBelow = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
                         !(found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
      if (!folderBelow || !RemoveIfEmpty(folder + L"\\" + name))
        empty = false;
    } while (FindNextFileW(find, &found));
    FindClose(find);
  }
  return empty && RemoveDirectoryW(folder.c_str());
}

// A folder the run made for itself and filled with nothing (no password, a wrong one, a cancel
// before the first file) is not left behind.
void RemoveMadeFolderIfEmpty(const char* destination) {
  if (RemoveIfEmpty(ExtendedWidePath(destination)))
    Log(5, GetVerbose(), "ExtractArchive: %s left empty - removed", destination);
}

bool AskDestination(const char* archive, char* destination, bool* made) {
  *made = false;
  char folder[kPathBuf];
  if (g_lastFolder[0]) {
    snprintf(folder, sizeof folder, "%s", g_lastFolder);
  } else {
    // First time in this session: beside the archive.
    char* name = nullptr;
    if (!GetFullPathNameA(archive, sizeof folder, folder, &name) || !name) folder[0] = '\0';
    else if (name > folder) name[-1] = '\0';
  }
  FolderPickerOption option = {GetMessageText(kNamedFolderText), g_intoNamedFolder, 0};
  SetFolderPickerOption(&option);
  bool chosen =
      GetPrompts().browseFolder(Owner(), GetMessageText(KLANG_MSG_CHOOSE_EXTRACT_FOLDER), folder) && folder[0];
  SetFolderPickerOption(nullptr);
  if (!chosen) {
    Log(5, GetVerbose(), "ExtractArchive: no destination chosen");
    return false;
  }
  // The folder the user chose is the one offered next time, not the named one below it.
  snprintf(g_lastFolder, sizeof g_lastFolder, "%s", folder);
  if (!option.shown) {
    snprintf(destination, kPathBuf, "%s", folder);
    return true;
  }
  g_intoNamedFolder = option.checked;
  if (!option.checked) {
    snprintf(destination, kPathBuf, "%s", folder);
    return true;
  }
  if (!MakeNamedFolder(folder, archive, destination)) {
    Log(1, GetVerbose(), "ExtractArchive: no folder named after %s fits below %s", archive, folder);
    return false;
  }
  *made = GetFileAttributesW(WidePath(destination).c_str()) == INVALID_FILE_ATTRIBUTES;
  if (!CreateDirectoryPath(destination) && GetLastError() != ERROR_ALREADY_EXISTS) {
    *made = false;
    char text[kPathBuf * 2];
    snprintf(text, sizeof text, "%s\n%s", GetMessageText(KLANG_MSG_CANNOT_CREATE_FOLDER), destination);
    PromptMessageBox(Owner(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return false;
  }
  return true;
}

// An encrypted archive without a known password asks once; the answer is kept for the rest
// of the session.
bool EnsurePassword(const char* archive, char* jobPassword) {
  NextPasswordSubject() = {archive, "", false};
  if (IsArchiveEncrypted() && !GetCurrentPassword()[0]) {
    char typed[kPathBuf] = "";
    if (!PromptPassword(Owner(), typed)) {
      Log(5, GetVerbose(), "ExtractArchive: password not given - cancelled by user");
      return false;
    }
    SetCurrentPassword(typed);
    SecureZeroMemory(typed, sizeof typed);
  }
  snprintf(jobPassword, kPathBuf, "%s", GetCurrentPassword());
  return true;
}

// Told once at the end of a run, not per entry: a damaged or hostile archive may hold
// thousands. Entries a wrong password kept back also make the run forget the password, so
// the next run asks again.
void ReportRunFailures() {
  if (GetLastWrongPasswordCount()) SetCurrentPassword("");
  const EntryFailures& failures = GetLastRunFailures();
  if (failures.items.empty() || AreRunFailuresTold()) return;
  Log(1, GetVerbose(), "ExtractArchive: %u entries not extracted or damaged", static_cast<unsigned>(failures.items.size()));
  ReportEntryFailures(failures, Owner(), GetMessageText(kEntryFailuresHeading));
}

struct ExtractRun {
  ExtractJob job;
  ExtractionProc worker;
  FolderExtractionProc folderWorker;  // the worker when the run takes a folder
  EntrySelection chosen;  // the job's rows, when it was given some
  std::string folder;     // when set, the folder of the tree whose entries the run takes
  bool madeDestination = false;  // the run made the folder it writes to
};

constexpr int kExtractingText = 42;
// The texts of a test, numbered in this order from "Testing" on.
enum TestText { kTestingText = 133, kNoErrorsText, kTestedText, kTestFailuresHeading, kTestCancelledText };

// The running job's completion event: the pending-work index holds the run from its start
// to its end. One job runs at a time (the claim), so one handle serves.
HANDLE g_runDone = nullptr;

// The window shows a run from here on: commands greyed, a fresh progress dialog.
void BeginRun(bool withDialog, int detailText = kExtractingText) {
  if (GetViewHooks().refreshToolbar) GetViewHooks().refreshToolbar();
  CancelProgress(0);
  g_runDone = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (g_runDone) AddPendingWork(g_runDone);
  if (withDialog) StartProgressDialog(true, GetMessageText(detailText));
}

void EndRun() {
  // Before the claim goes: the next run's BeginRun makes a new event.
  if (HANDLE done = g_runDone) {
    g_runDone = nullptr;
    SetEvent(done);
    CloseHandle(done);
  }
  ReleaseOperation(OPERATION_JOB);
  if (GetViewHooks().refreshToolbar) GetViewHooks().refreshToolbar();
}

// How many entries the run took: what the kind's worker counted, else the rows it was given,
// else the entries the listing of this archive found.
uint64_t RunEntryCount(const ExtractRun* run) {
  if (run->job.total) return run->job.total;
  if (!run->chosen.names.empty()) return run->chosen.names.size();
  if (run->folder.empty() && _stricmp(run->job.archive, GetCurrentArchivePath()) == 0) return GetListingTotals().entries;
  return 0;
}

// Every run, of every kind, leaves its item in the history (when the history is on); one that
// ended with entries not written counts as failed.
void RecordRun(const ExtractRun* run, int result) {
  char destination[kPathBuf];
  if (run->job.destination[0])
    snprintf(destination, sizeof destination, "%s", run->job.destination);
  else if (!GetCurrentDirectoryA(sizeof destination, destination))
    destination[0] = '\0';
  int recorded = result == 0 && !GetLastRunFailures().items.empty() ? EXTRACT_WRITE_ERROR : result;
  RecordExtraction(run->job.archive, destination, RunEntryCount(run), recorded);
}

void ShowRunResult(const ExtractRun& run, int result) {
  if (run.job.silent || !GetViewHooks().showRunResult || result == EXTRACT_NOTHING_FOUND) return;
  std::string text = RunResultText(GetLastRunTally(), GetLastRunFailures().items.size(),
                                   result == EXTRACT_CANCELLED, run.job.destination);
  GetViewHooks().showRunResult(text.c_str());
}

// The tree showed the folder, so an empty run means the archive changed under the window or
// its names are spelt in a way the tree and the kind read differently: without a word the
// user would take the silence for success.
void TellNothingFound(const ExtractRun& run) {
  Log(2, GetVerbose(), "ExtractArchive: nothing below %s in %s", run.folder.c_str(), run.job.archive);
  if (run.job.silent) return;
  std::string text = std::string(GetMessageText(KLANG_MSG_FOLDER_HOLDS_NOTHING)) + "\n" + run.folder;
  PromptMessageBox(Owner(), text.c_str(), "Kestrelia", MB_OK | MB_ICONINFORMATION);
}

int RunBody(ExtractRun* run) {
  // A worker that keeps no run report must not show the last run's.
  ClearLastRunReport();
  BeginZoneMarking(run->job.archive);
  int result = run->folder.empty() ? run->worker(&run->job) : run->folderWorker(&run->job, run->folder.c_str());
  EndZoneMarking();
  // A worker that gave up before its end may have left the dialog up.
  if (!run->job.silent && IsProgressDialogStarted()) CloseProgressDialog();
  if (result == EXTRACT_NOTHING_FOUND) TellNothingFound(*run);
  g_lastRun = {ExtractionOutcome(result), GetLastRunFailures().items.size()};
  if (run->madeDestination && (result || g_lastRun.failed)) RemoveMadeFolderIfEmpty(run->job.destination);
  RecordRun(run, result);
  ShowRunResult(*run, result);
  ReportRunFailures();
  Log(5, GetVerbose(), "ExtractArchive: %s finished with %d, %u entries failed", run->job.archive, result,
      static_cast<unsigned>(g_lastRun.failed));
  EndRun();
  return result;
}

DWORD WINAPI ExtractArchiveThread(LPVOID parameter) {
  ExtractRun* run = static_cast<ExtractRun*>(parameter);
  RunBody(run);
  delete run;
  return 0;
}

// A thread of its own for the run, or the caller's when none can be had.
void RunOnThread(LPTHREAD_START_ROUTINE body, void* parameter) {
  if (StartWorker("ExtractArchive", body, parameter)) return;
  Log(1, GetVerbose(), "ExtractArchive: extracting here");
  body(parameter);
}

void StartRun(ExtractRun* run, int inThread) {
  BeginRun(!run->job.silent);
  if (inThread)
    RunOnThread(ExtractArchiveThread, run);
  else
    ExtractArchiveThread(run);
}

ExtractRun* NewRun(ExtractionProc worker, const char* archive, int silent) {
  ExtractRun* run = new ExtractRun();
  memset(&run->job, 0, sizeof run->job);
  run->worker = worker;
  run->job.silent = silent;
  run->job.mainWindow = Owner();
  run->job.overwriteMode = silent ? OVERWRITE_ALWAYS : OVERWRITE_ASK;
  snprintf(run->job.archive, sizeof run->job.archive, "%s", archive);
  return run;
}

// The destination and the password, in the order the user is asked; false when either was
// refused (the run is freed and its claim given back).
bool AskForRun(ExtractRun* run) {
  if (AskDestination(run->job.archive, run->job.destination, &run->madeDestination) &&
      EnsurePassword(run->job.archive, run->job.password))
    return true;
  if (run->madeDestination) RemoveMadeFolderIfEmpty(run->job.destination);
  delete run;
  Abandon();
  return false;
}

struct TestRun {
  TestProc worker;
  char archive[kPathBuf];
  EntrySelection chosen;
  bool selectionOnly;
};

// One message for the whole test: what a damaged archive holds wrong may be thousands of
// entries, and a box per entry would make the user click through them.
DWORD WINAPI TestArchiveThread(LPVOID parameter) {
  TestRun* run = static_cast<TestRun*>(parameter);
  uint64_t tested = 0;
  int result = run->worker(run->archive, run->selectionOnly ? &run->chosen : nullptr, 0, &tested);
  if (IsProgressDialogStarted()) CloseProgressDialog();
  // A wrong password is forgotten, so the next run asks again.
  if (GetLastWrongPasswordCount()) SetCurrentPassword("");
  Log(5, GetVerbose(), "TestArchive: %s finished with %d, %llu entries tested, %u failed", run->archive, result,
      static_cast<unsigned long long>(tested), static_cast<unsigned>(GetLastRunFailures().items.size()));
  // A run that could not start has told the user why.
  if (result >= 0) {
    const EntryFailures& failures = GetLastRunFailures();
    std::string text = TestReportText(tested, failures, result == EXTRACT_CANCELLED);
    UINT icon = failures.items.empty() ? MB_ICONINFORMATION : MB_ICONWARNING;
    PromptMessageBox(Owner(), text.c_str(), GetMessageText(kTestingText), MB_OK | icon);
  }
  delete run;
  EndRun();
  return 0;
}

}  // namespace

bool MakeNamedFolder(const char* folder, const char* archive, char* out) {
  const char* name = archive;
  for (const char* p = archive; *p; ++p)
    if (*p == '\\' || *p == '/' || *p == ':') name = p + 1;
  std::string base = name;
  // "a.tar.gz" is the archive "a", as "a.tgz" is.
  static const char* const kEndings[] = {".tar.gz", ".tar.bz2", ".tar.xz"};
  bool cut = false;
  for (const char* ending : kEndings) {
    size_t n = strlen(ending);
    if (base.size() > n && !_stricmp(base.c_str() + base.size() - n, ending)) {
      base.resize(base.size() - n);
      cut = true;
      break;
    }
  }
  size_t dot = base.rfind('.');
  if (!cut && dot != std::string::npos && dot > 0) base.resize(dot);
  // Trailing dots and blanks are dropped by Windows: the folder would not be the one named.
  while (!base.empty() && (base.back() == '.' || base.back() == ' ')) base.pop_back();
  if (base.empty()) base = "extracted";
  size_t length = strlen(folder);
  bool separated = length && (folder[length - 1] == '\\' || folder[length - 1] == '/');
  int n = snprintf(out, kPathBuf, "%s%s%s", folder, separated ? "" : "\\", base.c_str());
  return n > 0 && n < kPathBuf;
}

ExtractRunResult GetLastExtractRunResult() { return g_lastRun; }

void SetExtractIntoNamedFolder(int on) { g_intoNamedFolder = on ? 1 : 0; }

void SetLastExtractFolder(const char* folder) { snprintf(g_lastFolder, sizeof g_lastFolder, "%s", folder ? folder : ""); }

void StartArchiveExtraction(ExtractionProc worker, const char* archive, int silent, int inThread) {
  if (!archive || !*archive) {
    Log(2, GetVerbose(), "ZipFilename is NULL");
    return;
  }
  if (RefuseWhenBusy()) return;
  if (!CheckWorker(reinterpret_cast<const void*>(worker))) return Abandon();
  ExtractRun* run = NewRun(worker, archive, silent);
  run->job.extractAll = 1;
  run->job.countEntries = 1;
  if (!AskForRun(run)) return;
  StartRun(run, inThread);
}

void StartSelectionExtraction(ExtractionProc worker, const EntrySelection& chosen) {
  const char* archive = GetCurrentArchivePath();
  if (!*archive) return;
  if (chosen.names.empty()) {
    PromptMessageBox(Owner(), GetMessageText(KLANG_MSG_NO_ENTRY_SELECTED), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return;
  }
  if (RefuseWhenBusy()) return;
  if (!CheckWorker(reinterpret_cast<const void*>(worker))) return Abandon();
  ExtractRun* run = NewRun(worker, archive, 0);
  run->chosen = chosen;
  run->job.chosen = &run->chosen;
  if (!AskForRun(run)) return;
  StartRun(run, 1);
}

void StartTreeFolderExtraction(FolderExtractionProc worker, const char* folder) {
  const char* archive = GetCurrentArchivePath();
  if (!*archive || !folder) return;
  if (RefuseWhenBusy()) return;
  if (!CheckWorker(reinterpret_cast<const void*>(worker))) return Abandon();
  ExtractRun* run = NewRun(nullptr, archive, 0);
  run->folderWorker = worker;
  run->folder = folder;
  if (!AskForRun(run)) return;
  StartRun(run, 1);
}

std::string TestReportText(uint64_t tested, const EntryFailures& failures, bool cancelled) {
  char count[128];
  snprintf(count, sizeof count, "%s %llu", GetMessageText(kTestedText), static_cast<unsigned long long>(tested));
  std::string text = cancelled ? std::string(GetMessageText(kTestCancelledText)) + "\n\n" : std::string();
  text += count;
  text += "\n\n";
  if (failures.items.empty())
    text += cancelled ? "" : GetMessageText(kNoErrorsText);
  else
    text += EntryFailuresText(failures, GetMessageText(kTestFailuresHeading));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

void StartArchiveTest(TestProc worker, const EntrySelection* chosen) {
  const char* archive = GetCurrentArchivePath();
  if (!*archive || RefuseWhenBusy()) return;
  if (!CheckWorker(reinterpret_cast<const void*>(worker))) return Abandon();
  char password[kPathBuf];
  if (!EnsurePassword(archive, password)) return Abandon();
  SecureZeroMemory(password, sizeof password);
  TestRun* run = new TestRun();
  run->worker = worker;
  snprintf(run->archive, sizeof run->archive, "%s", archive);
  run->selectionOnly = chosen != nullptr;
  if (chosen) run->chosen = *chosen;
  BeginRun(true, kTestingText);
  RunOnThread(TestArchiveThread, run);
}


std::string RunResultText(const RunTally& tally, size_t failed, bool cancelled, const char* destination) {
  std::string text;
  uint64_t written = tally.taken - std::min<uint64_t>(tally.taken, tally.skipped + failed);
  if (cancelled) {
    text = std::string(GetMessageText(KLANG_MSG_CANCELLED_AFTER)) + " " + GroupedCount(tally.taken);
    if (tally.planned >= tally.taken && tally.planned)
      text += std::string(" ") + GetGenericText(KLANG_GEN_OF) + " " + GroupedCount(tally.planned);
  } else if (!tally.taken && !failed) {
    // A kind whose library keeps its count to itself.
    return GetMessageText(KLANG_MSG_EXTRACTION_FINISHED);
  } else {
    text = GroupedCount(written) + " " +
           GetMessageText(written == 1 ? KLANG_MSG_FILE_EXTRACTED_TO : KLANG_MSG_FILES_EXTRACTED_TO) + " " +
           (destination && *destination ? destination : ".");
  }
  if (failed) text += ", " + GroupedCount(failed) + " " + GetMessageText(KLANG_MSG_FAILED);
  return text;
}
