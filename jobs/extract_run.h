// State of the extraction run in progress, shared by the entry loop and the entry writer:
// the byte progress, the timer, and what was refused or could not be decrypted.
#pragma once
#include "services/base.h"

#include <string>

// Starts a run: counters cleared, start tick taken, the timer on the main window started.
// A testing run reads and checks every entry as an extraction would, and writes nothing.
// A silent run asks nothing: a full disk or a folder that refuses fails each entry in turn.
void BeginExtractionRun(HWND mainWindow, bool testOnly = false, bool silent = false);
// The user would not replace a password that did not fit: the run asks no more (until a
// password is given again).
void KeepWrongPassword(bool kept);
bool IsWrongPasswordKept();
// The run asks nothing beyond what it cannot start without.
bool IsRunSilent();
void EndExtractionRun(HWND mainWindow);
// Whether this thread's run only tests.
bool RunWritesNothing();

// The 64 KiB copy buffer of one entry. During a run the same block serves every entry of
// the run's thread: allocating and freeing it per entry costs the heap a commit and a
// decommit each time, which shows with 100,000 small files.
char* AcquireEntryBuffer(size_t size);
void ReleaseEntryBuffer(char* buffer);

struct ChunkWriter;
// The run's writer thread for large entries, started at the first one and kept for the rest
// of the run; nullptr outside a run or when no thread could be had (write in turn then).
ChunkWriter* RunChunkWriter();

// The running byte counter's home (do_write_currentfile adds to it through a pointer).
uint64_t* ExtractionByteCounter();
// Moves a percentage bar to counter/total, touching the dialog only when the rounded
// percentage grew since the last call of this run; the figures above the bar (bytes done of
// the total, percent, time left) and the elapsed time and speed follow a few times a second.
void AdvanceByteProgress(uint64_t counter, uint64_t total);
// "1.20 GB of 2.95 GB  (40%)   Remaining time: 0:00:07": the time left is guessed from the
// rate so far, once a second has passed.
std::string ByteFiguresText(uint64_t done, uint64_t total, DWORD elapsedMs);
// Names the entry under way and, with step, counts one entry on the bar. The dialog is told
// at most ten times a second: every change is a message to the dialog's thread and a repaint,
// which costs more than writing a small file. The run's end shows what was left over.
void ShowEntryProgress(const char* name, bool step);
void FlushEntryProgress();

// An entry the name judge refused (reason: the judge's words), also one of the run's failures.
void AddRefusedName(const char* name, const char* reason);
// An entry of the run that was not written, or written damaged (EntryFailureReason; detail
// follows the reason's text). A wrong password is also counted.
void AddRunFailure(const char* name, int reason, const char* detail = nullptr);
// The same for an entry the system refused to write (its reason in the system's words).
void AddRunSystemFailure(const char* name, DWORD error);

// What the entry loop does after an entry's file could not be made or written.
enum WriteFailureAnswer { WRITE_FAILURE_GO_ON, WRITE_FAILURE_STOP, WRITE_FAILURE_MOVED };
// Records the failure and, where one question serves the whole run, asks it: a full disk asks
// once whether to go on (the next entries may fit); a folder that refuses new files (read-only,
// write-protected) asks whether to stop or to write into another folder, which then becomes
// the working directory (WRITE_FAILURE_MOVED: the caller makes the entry again there).
// atCreate: the entry's file could not be made; target: its name as written.
int EntryWriteFailed(const char* name, const char* target, DWORD error, bool atCreate);
// The same question without recording the failure, for a kind that keeps its own list.
int AskAfterWriteFailure(const char* target, DWORD error, bool atCreate);
// Whether a damaged entry stays under its name ("keep broken files").
bool KeepsBrokenEntries();

// The kind's own message has told the user of the run's failures: the end of the run shows
// no second one.
void MarkRunFailuresTold();
bool AreRunFailuresTold();

// Copies the run's refused names into a job's fields (the job owns the copy).
void CopyRefusedNames(char** names, size_t* count);

// Records that the entry about to be written reads its data from [start, start + size) of
// the archive; false when that overlaps an entry written before in this run. Entries that
// share their data are the "overlapping files" zip bomb: a small archive that inflates one
// stream thousands of times.
bool ClaimEntryData(uint64_t start, uint64_t size);

// Shows a box from the worker with the progress dialog hidden meanwhile, as every question
// of a run is shown.
int ShowRunMessage(const char* text, const char* title, UINT flags);

// What the last run did with its files, for the short result the window shows at its end.
struct RunTally {
  uint64_t planned;  // files the run set out to write (0: not known)
  uint64_t taken;    // files it reached: written, failed or skipped
  uint64_t skipped;  // left alone at the user's word (overwrite question)
};
void NoteRunPlanned(uint64_t files);
void NoteEntryTaken();
void NoteEntrySkipped();
const RunTally& GetLastRunTally();
// A count in the user's grouping: "2,895".
std::string GroupedCount(uint64_t n);

// The status bar's words while a run goes on: elapsed time and transfer rate.
void FormatExtractionTimer(char* out, size_t outSize, DWORD elapsedMs, uint64_t bytes);
