#include "services/base.h"
#include "jobs/extract_run.h"

#include "kestrelia_lang.h"
#include "model/folder_tree.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "settings/values.h"
#include "jobs/chunk_writer.h"
#include "jobs/entry_failures.h"
#include "jobs/entry_file.h"
#include "jobs/extract_job.h"
#include "jobs/system_words.h"
#include "res/resource.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

DWORD g_startTick;
uint64_t g_byteCounter;
int g_lastPercent;
std::string g_refused;
size_t g_refusedCount;
size_t g_wrongPasswords;
EntryFailures g_failures;
bool g_failuresTold;
RunTally g_tally;
// Per-entry progress not shown yet: the steps and the name, and when the dialog last heard.
int g_pendingSteps;
char g_pendingName[kPathBuf];
bool g_pendingNameSet;
DWORD g_lastShown;
constexpr DWORD kShowIntervalMs = 100;
// The figures above the bar change a few times a second: more is only flicker.
DWORD g_lastFigures;
constexpr DWORD kFiguresIntervalMs = 250;
// The data ranges of the run's entries so far, start to end.
std::map<uint64_t, uint64_t> g_dataRanges;

thread_local bool t_runActive;
thread_local bool t_runTestOnly;
thread_local bool t_runSilent;
// The questions of a failing run are asked once: whether to go on with a full disk, and which
// folder refused (a second folder that refuses is asked about again).
thread_local bool t_askedDiskFull;
thread_local bool t_stopOnDiskFull;
std::wstring g_refusingFolder;
thread_local char* t_runBuffer;
thread_local size_t t_runBufferSize;
thread_local ChunkWriter* t_runWriter;
thread_local bool t_runWriterTried;

// A timer belongs to its window's thread: from any other thread the window is asked to
// set it itself.
void SwitchTimer(HWND mainWindow, bool on) {
  if (!mainWindow || !IsWindow(mainWindow)) return;
  if (GetWindowThreadProcessId(mainWindow, nullptr) == GetCurrentThreadId()) {
    if (on)
      SetTimer(mainWindow, IDT_EXTRACTION, 1000, nullptr);
    else
      KillTimer(mainWindow, IDT_EXTRACTION);
  } else {
    PostMessageA(mainWindow, WM_APP_EXTRACTION_TIMER, on ? 1 : 0, 0);
  }
}

}  // namespace

DWORD GetExtractionStartTick() { return g_startTick; }
uint64_t GetExtractionByteCounter() { return g_byteCounter; }
const char* GetLastRefusedNames() { return g_refused.c_str(); }
size_t GetLastRefusedCount() { return g_refusedCount; }
size_t GetLastWrongPasswordCount() { return g_wrongPasswords; }

void ClearLastRunReport() {
  g_tally = RunTally{};
  g_refused.clear();
  g_refusedCount = 0;
  g_wrongPasswords = 0;
  g_failures.items.clear();
  g_failuresTold = false;
}

thread_local bool t_wrongPasswordKept;
void KeepWrongPassword(bool kept) { t_wrongPasswordKept = kept; }
bool IsWrongPasswordKept() { return t_wrongPasswordKept; }
bool IsRunSilent() { return t_runSilent; }

void BeginExtractionRun(HWND mainWindow, bool testOnly, bool silent) {
  t_wrongPasswordKept = false;
  t_runTestOnly = testOnly;
  t_runSilent = silent;
  t_askedDiskFull = false;
  t_stopOnDiskFull = false;
  g_refusingFolder.clear();
  g_byteCounter = 0;
  g_lastPercent = -1;
  uint64_t planned = g_tally.planned;  // known before the run began
  ClearLastRunReport();
  g_tally.planned = planned;
  g_dataRanges.clear();
  g_pendingSteps = 0;
  g_pendingNameSet = false;
  g_lastShown = GetTickCount() - kShowIntervalMs;
  g_lastFigures = GetTickCount() - kFiguresIntervalMs;
  t_runActive = true;
  SwitchTimer(mainWindow, true);
  g_startTick = GetTickCount();
}

void EndExtractionRun(HWND mainWindow) {
  SwitchTimer(mainWindow, false);
  t_runActive = false;
  t_runTestOnly = false;
  DestroyChunkWriter(t_runWriter);
  t_runWriter = nullptr;
  t_runWriterTried = false;
  free(t_runBuffer);
  t_runBuffer = nullptr;
  t_runBufferSize = 0;
}

bool RunWritesNothing() { return t_runActive && t_runTestOnly; }

char* AcquireEntryBuffer(size_t size) {
  if (!t_runActive) return static_cast<char*>(malloc(size));
  if (t_runBufferSize < size) {
    free(t_runBuffer);
    t_runBuffer = static_cast<char*>(malloc(size));
    t_runBufferSize = t_runBuffer ? size : 0;
  }
  return t_runBuffer;
}

void ReleaseEntryBuffer(char* buffer) {
  if (buffer != t_runBuffer) free(buffer);
}

ChunkWriter* RunChunkWriter() {
  if (!t_runActive) return nullptr;
  if (!t_runWriterTried) {
    t_runWriterTried = true;
    t_runWriter = CreateChunkWriter();
  }
  return t_runWriter;
}

uint64_t* ExtractionByteCounter() { return &g_byteCounter; }

std::string ByteFiguresText(uint64_t done, uint64_t total, DWORD elapsedMs) {
  if (done > total) done = total;
  char doneText[32], totalText[32], line[kPathBuf];
  FormatTreeSizeText(static_cast<double>(done), doneText, sizeof doneText);
  FormatTreeSizeText(static_cast<double>(total), totalText, sizeof totalText);
  int percent = total ? static_cast<int>(done * 100 / total) : 100;
  int n = snprintf(line, sizeof line, "%s %s %s  (%d%%)", doneText, GetGenericText(KLANG_GEN_OF), totalText, percent);
  // The rate of the run so far; the first second says too little to guess from.
  if (done && done < total && elapsedMs >= 1000 && n > 0) {
    uint64_t left = static_cast<uint64_t>(static_cast<double>(elapsedMs) * static_cast<double>(total - done) /
                                          static_cast<double>(done) / 1000.0 + 0.5);
    snprintf(line + n, sizeof line - n, "   %s %llu:%02llu:%02llu", GetMessageText(KLANG_MSG_REMAINING_TIME),
             static_cast<unsigned long long>(left / 3600), static_cast<unsigned long long>(left / 60 % 60),
             static_cast<unsigned long long>(left % 60));
  }
  return line;
}

void AdvanceByteProgress(uint64_t counter, uint64_t total) {
  if (!total) return;
  DWORD now = GetTickCount();
  if (now - g_lastFigures >= kFiguresIntervalMs || counter >= total) {
    g_lastFigures = now;
    SetProgressFigures(ByteFiguresText(counter, total, now - g_startTick).c_str());
    char timer[kPathBuf];
    FormatExtractionTimer(timer, sizeof timer, now - g_startTick, counter);
    SetProgressSecondLine(timer);
  }
  int percent = static_cast<int>(std::lround(static_cast<double>(counter) / static_cast<double>(total) * 100.0));
  if (percent <= g_lastPercent) return;
  HWND dialog = GetProgressDialog();
  if (!dialog) return;
  g_lastPercent = percent;
  int position = GetProgressPos(dialog);
  if (percent <= position) return;
  if (percent == position + 1)
    ExecuteProgressStep(dialog);
  else
    ExecuteProgressPos(dialog, percent);
}

void FlushEntryProgress() {
  g_lastShown = GetTickCount();
  HWND dialog = GetProgressDialog();
  if (!dialog) return;
  if (g_pendingNameSet) SetProgressTitle(g_pendingName);
  g_pendingNameSet = false;
  if (g_pendingSteps == 1)
    ExecuteProgressStep(dialog);
  else if (g_pendingSteps > 1)
    ExecuteProgressSteps(dialog, g_pendingSteps);
  g_pendingSteps = 0;
}

void ShowEntryProgress(const char* name, bool step) {
  if (step) ++g_pendingSteps;
  if (name) {
    snprintf(g_pendingName, sizeof g_pendingName, "%s", name);
    g_pendingNameSet = true;
  }
  if (GetTickCount() - g_lastShown >= kShowIntervalMs) FlushEntryProgress();
}

void AddRefusedName(const char* name, const char* reason) {
  if (!g_refused.empty()) g_refused += '\n';
  g_refused += name;
  ++g_refusedCount;
  AddEntryFailure(&g_failures, "extraction", name, FAILURE_UNSAFE_NAME, reason);
}

void AddRunFailure(const char* name, int reason, const char* detail) {
  if (reason == FAILURE_WRONG_PASSWORD) ++g_wrongPasswords;
  AddEntryFailure(&g_failures, "extraction", name, reason, detail);
}

void AddRunSystemFailure(const char* name, DWORD error) {
  AddEntryFailure(&g_failures, "extraction", name, FAILURE_WRITE, SystemErrorText(error).c_str());
}

const EntryFailures& GetLastRunFailures() { return g_failures; }
void MarkRunFailuresTold() { g_failuresTold = true; }
bool AreRunFailuresTold() { return g_failuresTold; }

int ExtractionOutcome(int workerResult) {
  if (workerResult) return workerResult;
  return g_failures.items.empty() ? 0 : EXTRACT_SOME_FAILED;
}

namespace {

// The folder the entry was to land in, whole, as the user knows it.
std::string FolderOfTarget(const char* target) {
  std::wstring wide = WideTargetName(target);
  wchar_t full[kPathBuf * 2];
  wchar_t* part = nullptr;
  DWORD length = GetFullPathNameW(wide.c_str(), kPathBuf * 2, full, &part);
  if (!length || length >= kPathBuf * 2) return target;
  if (part && part > full) part[-1] = L'\0';
  // A folder of the entry's path that could not be made is not there: the one that refused
  // is the nearest that is.
  std::wstring folder = full;
  for (size_t cut; GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES &&
                   (cut = folder.find_last_of(L'\\')) != std::wstring::npos && cut > 2;)
    folder.resize(cut);
  if (folder.compare(0, 4, L"\\\\?\\") == 0 && folder.compare(4, 4, L"UNC\\") != 0) folder.erase(0, 4);
  char text[kPathBuf * 3];
  if (!WideCharToMultiByte(CP_ACP, 0, folder.c_str(), -1, text, sizeof text, nullptr, nullptr)) return target;
  return text;
}

// Errors that say the folder takes no new file at all, not that this one entry cannot be.
bool FolderRefuses(DWORD error) {
  return error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT || error == ERROR_NOT_READY;
}

int AskOnDiskFull(const std::string& folder, DWORD error) {
  if (!t_askedDiskFull && !t_runSilent) {
    t_askedDiskFull = true;
    std::string text = folder + "\n" + SystemErrorText(error) + "\n\n" + GetMessageText(KLANG_MSG_DISK_FULL_GO_ON);
    t_stopOnDiskFull = ShowRunMessage(text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE),
                                      MB_YESNO | MB_ICONWARNING | MB_TOPMOST) != IDYES;
  }
  return t_stopOnDiskFull ? WRITE_FAILURE_STOP : WRITE_FAILURE_GO_ON;
}

int AskForAnotherFolder(const std::string& folder, DWORD error) {
  std::string text = folder + "\n" + SystemErrorText(error) + "\n\n" + GetMessageText(KLANG_MSG_FOLDER_REFUSES);
  if (ShowRunMessage(text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_YESNO | MB_ICONERROR | MB_TOPMOST) !=
      IDYES)
    return WRITE_FAILURE_STOP;
  char chosen[kPathBuf];
  snprintf(chosen, sizeof chosen, "%s", folder.c_str());
  HWND dialog = GetProgressDialog();
  bool hidden = dialog && IsWindowVisible(dialog);
  if (hidden) ShowWindow(dialog, SW_HIDE);
  bool picked = GetPrompts().browseFolder(GetForegroundWindow(), GetMessageText(KLANG_MSG_CHOOSE_EXTRACT_FOLDER), chosen);
  if (hidden) ShowWindow(dialog, SW_SHOW);
  if (!picked || !chosen[0] || !SetCurrentDirectoryA(chosen)) return WRITE_FAILURE_STOP;
  Log(1, GetVerbose(), "extraction: goes on in %s", chosen);
  return WRITE_FAILURE_MOVED;
}

}  // namespace

int AskAfterWriteFailure(const char* target, DWORD error, bool atCreate) {
  std::string folder = FolderOfTarget(target);
  if (IsDiskFullError(error)) return AskOnDiskFull(folder, error);
  // Only a file that could not even be made says the folder refuses: a replaced file that is
  // itself read-only is that one entry's failure.
  if (atCreate && FolderRefuses(error) && !t_runSilent) {
    std::wstring key = WideTargetName(folder.c_str());
    if (key != g_refusingFolder) {
      g_refusingFolder = key;
      return AskForAnotherFolder(folder, error);
    }
  }
  return WRITE_FAILURE_GO_ON;
}

int EntryWriteFailed(const char* name, const char* target, DWORD error, bool atCreate) {
  int answer = AskAfterWriteFailure(target, error, atCreate);
  if (answer != WRITE_FAILURE_MOVED) AddRunSystemFailure(name, error);
  return answer;
}

bool KeepsBrokenEntries() { return IsKeepBrokenFiles() != 0; }

bool ClaimEntryData(uint64_t start, uint64_t size) {
  if (!size) return true;
  uint64_t end = start + size;
  auto next = g_dataRanges.lower_bound(start);
  if (next != g_dataRanges.end() && next->first < end) return false;
  if (next != g_dataRanges.begin() && std::prev(next)->second > start) return false;
  g_dataRanges.emplace(start, end);
  return true;
}

void CopyRefusedNames(char** names, size_t* count) {
  free(*names);
  *names = g_refused.empty() ? nullptr : _strdup(g_refused.c_str());
  *count = g_refusedCount;
}

int ShowRunMessage(const char* text, const char* title, UINT flags) {
  HWND dialog = GetProgressDialog();
  bool hidden = dialog && IsWindowVisible(dialog);
  if (hidden) ShowWindow(dialog, SW_HIDE);
  int answer = PromptMessageBox(GetForegroundWindow(), text, title, flags);
  if (hidden) ShowWindow(dialog, SW_SHOW);
  return answer;
}

void NoteRunPlanned(uint64_t files) { g_tally.planned = files; }
void NoteEntryTaken() { ++g_tally.taken; }
void NoteEntrySkipped() { ++g_tally.skipped; }
const RunTally& GetLastRunTally() { return g_tally; }

std::string GroupedCount(uint64_t n) {
  char digits[32], grouped[64];
  snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(n));
  if (!GetNumberFormatA(LOCALE_USER_DEFAULT, 0, digits, nullptr, grouped, sizeof grouped)) return digits;
  // The locale's format adds decimals; a count has none.
  char decimal[8] = ".";
  GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, decimal, sizeof decimal);
  if (char* cut = strstr(grouped, decimal)) *cut = 0;
  return grouped;
}

void FormatExtractionTimer(char* out, size_t outSize, DWORD elapsedMs, uint64_t bytes) {
  DWORD seconds = elapsedMs / 1000;
  double rate = elapsedMs ? static_cast<double>(bytes) * 1000.0 / elapsedMs : 0.0;
  static const char* const kUnits[] = {"B/s", "KB/s", "MB/s", "GB/s"};
  int unit = 0;
  while (rate >= 1024.0 && unit < 3) {
    rate /= 1024.0;
    ++unit;
  }
  snprintf(out, outSize, "%s %lu:%02lu:%02lu  %s %.1f %s", GetMessageText(KLANG_MSG_ELAPSED_TIME), seconds / 3600,
           seconds / 60 % 60, seconds % 60, GetMessageText(KLANG_MSG_SPEED), rate, kUnits[unit]);
}
