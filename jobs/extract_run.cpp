#include "services/base.h"
#include "jobs/extract_run.h"

#include "services/progress.h"
#include "services/prompts.h"
#include "jobs/chunk_writer.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_job.h"
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
// Per-entry progress not shown yet: the steps and the name, and when the dialog last heard.
int g_pendingSteps;
char g_pendingName[kPathBuf];
bool g_pendingNameSet;
DWORD g_lastShown;
constexpr DWORD kShowIntervalMs = 100;
// The data ranges of the run's entries so far, start to end.
std::map<uint64_t, uint64_t> g_dataRanges;

thread_local bool t_runActive;
thread_local bool t_runTestOnly;
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
  g_refused.clear();
  g_refusedCount = 0;
  g_wrongPasswords = 0;
  g_failures.items.clear();
}

void BeginExtractionRun(HWND mainWindow, bool testOnly) {
  t_runTestOnly = testOnly;
  g_byteCounter = 0;
  g_lastPercent = -1;
  ClearLastRunReport();
  g_dataRanges.clear();
  g_pendingSteps = 0;
  g_pendingNameSet = false;
  g_lastShown = GetTickCount() - kShowIntervalMs;
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

void AdvanceByteProgress(uint64_t counter, uint64_t total) {
  if (!total) return;
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

const EntryFailures& GetLastRunFailures() { return g_failures; }

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
