// What every extraction run shares, whatever the archive's kind: the run's parameter block,
// its results and overwrite modes, what it refused, the temporary folder, and the folders
// and file times it sets on the disk.
#pragma once
#include "services/base.h"

#include <cstdint>

struct RBTree;
struct EntrySelection;

// Overwrite modes of a run.
enum OverwriteMode {
  OVERWRITE_ALWAYS = 0,  // replace existing files without asking
  OVERWRITE_ASK = 1,     // ask per existing file
  OVERWRITE_ALL = 2,     // the user answered "yes to all": no more questions this run
  OVERWRITE_SKIP_ALL = 3,  // the user answered "no to all": existing files stay, unasked
};

// Results of the per-entry writer beyond the engine's own codes.
enum ExtractResult {
  EXTRACT_OK = 0,
  EXTRACT_SOME_FAILED = 1,      // the run ended, and some entry was refused or not written whole
  EXTRACT_WRITE_ERROR = 2,
  EXTRACT_NO_MEMORY = 6,
  EXTRACT_NO_PASSWORD = 21,
  EXTRACT_WRONG_PASSWORD = 22,  // the password fails the entry's check byte; nothing written
  EXTRACT_UNDECODABLE = 23,     // a method or encryption the engine cannot decode; nothing read
  EXTRACT_NOTHING_FOUND = 24,   // a folder's run found no entry below the folder; nothing written
  EXTRACT_CANCELLED = 100,
};

// The one-second timer on the main window while a run goes on, for the elapsed time and the
// transfer rate. A timer belongs to the window's own thread, so the worker posts
// WM_APP_EXTRACTION_TIMER (wParam 1 start, 0 stop) and the main window sets or kills timer
// IDT_EXTRACTION itself (both in res/resource.h); on its own thread the worker sets it
// directly.
// The tick count when the running (or last) extraction started, and its bytes written so far.
DWORD GetExtractionStartTick();
uint64_t GetExtractionByteCounter();

// What the last run refused to write for safety: the names, '\n'-separated ("" when none),
// and their number. Read after the run returned.
const char* GetLastRefusedNames();
size_t GetLastRefusedCount();
// Entries of the last run that a wrong password kept from being written.
size_t GetLastWrongPasswordCount();
struct EntryFailures;
// Every entry of the last run that was refused, not written or found damaged, with why.
const EntryFailures& GetLastRunFailures();
// Forgets what the last run refused and failed, for a worker that reports nothing itself.
void ClearLastRunReport();
// What a run answers its starter: the worker's own result when it was not 0 (cancelled, could
// not start), else EXTRACT_SOME_FAILED when the last run has failures, else 0. Scripts read
// this from the exit code.
int ExtractionOutcome(int workerResult);

// The parameter block of one extraction, zero-filled by whoever starts the run.
struct ExtractJob {
  char destination[kPathBuf];  // the working directory for the run; empty keeps the current one
  int overwriteMode;           // OverwriteMode; may change from ASK to ALL during the run
  int withoutPath;             // 1: every file lands in the destination under its last name
  int countEntries;            // 1: asked for the whole archive (the bar still counts bytes)
  const EntrySelection* chosen; // the rows a run takes, copied before it started; none: see extractAll
  HWND mainWindow;
  int silent;                  // no progress dialog; names only logged
  char archive[kPathBuf];
  char password[kPathBuf];     // empty: none
  void* engine;                // the kind's open archive, for its entry loop
  RBTree* selection;           // entry paths to extract (both separators looked up), or none
  int extractAll;              // 1: every entry; 0: only those in the selection
  uint64_t total;              // entries to extract
  int progressPerEntry;        // set by the whole-archive run
  HANDLE done;                 // signalled when the run ends, when the starter waits
  int* cancelled;              // set to 1 when the run ended by the user's cancel
  // Names the safety check refused, '\n'-separated; the starter tells the user once.
  char* refused;
  size_t refusedCount;
  int testOnly;                // 1: every entry is read and checked, nothing is written
  uint64_t tested;             // entries read by a testing run (folders not counted)
  uint64_t bytes;              // the run's bytes, which its bar counts; 0: it counts entries
};

// A kind's extraction worker: runs a job (destination, password and flags filled in); with
// job->done set it signals that event at the end. 0, or 100 when the user cancelled.
typedef int (*ExtractionProc)(ExtractJob* job);
// A kind's test: reads every entry (or only the chosen rows') and checks it, writing nothing.
// Failures are the run's (GetLastRunFailures); *tested receives how many entries were read.
// 0, 100 when the user cancelled, negative when the run could not start (told).
typedef int (*TestProc)(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested);

// A kind's run over the entries below a folder of the archive (its path as the tree gives
// it, "docs\\img\\"), paths kept; as ExtractionProc.
typedef int (*FolderExtractionProc)(ExtractJob* job, const char* folder);

// Creates a folder with its parents; non-zero when the last creation succeeded.
BOOL CreateDirectoryPath(const char* path);

// Sets a written file's creation and modification times from an entry's DOS date and time,
// read as local time.
bool SetFileTimesFromDos(const char* path, unsigned long dosDate);
// The same on a file still open for writing (saves opening each file a second time).
bool SetHandleTimesFromDos(HANDLE file, unsigned long dosDate);
bool DosDateToUtcFileTime(unsigned long dosDate, FILETIME* utc);

// The names of temporary files written for viewing; deleted at exit.
void AddTempFile(const char* path);
// A folder made in the temporary folder for a transfer; deleted at exit with what it holds.
void AddTempFolder(const char* path);
void DeleteTempFiles();
// The temporary folder joined with a plain name (the folder, with its trailing separator,
// in folder); "c:" stands in for a machine without one. False when the whole name does not fit.
bool TempTarget(const char* part, char (&target)[kPathBuf], char (&folder)[kPathBuf]);
