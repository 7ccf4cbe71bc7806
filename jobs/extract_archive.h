// The user's side of extraction: what the window's commands and the "-x" road start, and
// the small pieces the window shows while a run goes on.
#pragma once
#include "services/base.h"

#include "jobs/extract_job.h"
#include "jobs/extract_run.h"

#include <string>

// The runs below take the archive kind's worker from the caller; a null worker means the
// kind cannot, and the user is told so.

// Whole-archive extraction started from the window or "-x": asks for the destination (and the
// password when the archive needs one), then runs the worker, on a new thread when inThread
// is set.
void StartArchiveExtraction(ExtractionProc worker, const char* archive, int silent, int inThread);

// Extracts the rows of the open archive a list's selection held (copied on the window's
// thread, ui/entry_list's CopyEntrySelection): asks for the folder (and the password when
// needed), then runs on a thread of its own.
void StartSelectionExtraction(ExtractionProc worker, const EntrySelection& chosen);

// Tests the open archive: every entry, or only the rows chosen holds when given (copied on
// the window's thread). Reads and checks each entry on a thread of its own under the progress
// dialog, writes nothing, and ends with one message of what was tested and what failed.
void StartArchiveTest(TestProc worker, const EntrySelection* chosen);
struct EntryFailures;
// That message: the entries tested, then "no errors" or every failure with its reason.
std::string TestReportText(uint64_t tested, const EntryFailures& failures, bool cancelled);

// Extracts every entry below a folder of the tree (docs\img\ ), paths kept: asks for the
// folder (and the password when needed), then runs the worker on a thread of its own.
void StartTreeFolderExtraction(FolderExtractionProc worker, const char* folder);

// The folder chooser's "new folder named after the archive" check box, as last answered.
void SetExtractIntoNamedFolder(int on);
// folder joined with the archive's name without its extension ("a.tar.gz" and "a.zip" give
// "a"); false when it does not fit kPathBuf.
bool MakeNamedFolder(const char* folder, const char* archive, char* out);
void SetLastExtractFolder(const char* folder);

// How the last run started here ended: its outcome (ExtractionOutcome; a run the user called
// off before it began counts as cancelled) and how many entries failed or were refused. Set
// before the run lets go of the window, for the status bar and the "-x" exit code.
struct ExtractRunResult {
  int outcome;
  size_t failed;
};
ExtractRunResult GetLastExtractRunResult();

// The short result of an extraction for the status bar: "2,895 files extracted to C:\x",
// "Cancelled after 1,204 of 2,895", each followed by ", 3 failed" when entries failed.
std::string RunResultText(const RunTally& tally, size_t failed, bool cancelled, const char* destination);
