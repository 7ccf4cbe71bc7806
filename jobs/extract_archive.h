// The user's side of extraction: what the window's commands and the "-x" road start, and
// the small pieces the window shows while a run goes on.
#pragma once
#include "services/base.h"

#include "zip/extract.h"

#include <string>

// Extracts the rows of the open archive a list's selection held (copied on the window's
// thread, ui/entry_list's CopyEntrySelection): asks for the folder (and the password when
// needed), then runs on a thread of its own.
void ExtractSelected(const EntrySelection& chosen);

// Tests the open archive: every entry, or only the rows chosen holds when given (copied on
// the window's thread). Reads and checks each entry on a thread of its own under the progress
// dialog, writes nothing, and ends with one message of what was tested and what failed.
void TestArchive(const EntrySelection* chosen);
struct EntryFailures;
// That message: the entries tested, then "no errors" or every failure with its reason.
std::string TestReportText(uint64_t tested, const EntryFailures& failures, bool cancelled);

// Extracts every entry below a folder of the tree (docs\img\ ), paths kept: asks for the
// folder (and the password when needed), then runs ExtractTreeItemThread.
void ExtractTreeFolder(const char* folder);

// The ZIP worker of a run; with job->done set it signals that event at the end and sets
// *job->cancelled when the user cancelled.
int ExtractArchiveZipWorker(ExtractJob* job);

// Opens the archive and sets the encryption flag from its first entry, as opening it in the
// window would. 0 on success, -1 when it cannot be read.
int DetectArchiveEncryption(const char* archive);

// The folder proposed by the next destination question: the last one chosen in this
// session, else the archive's own folder.
const char* GetLastExtractFolder();
// The folder chooser's "new folder named after the archive" check box, as last answered.
int IsExtractIntoNamedFolder();
void SetExtractIntoNamedFolder(int on);
// folder joined with the archive's name without its extension ("a.tar.gz" and "a.zip" give
// "a"); false when it does not fit kPathBuf.
bool MakeNamedFolder(const char* folder, const char* archive, char* out);
void SetLastExtractFolder(const char* folder);

// The status bar's words while a run goes on: elapsed time and transfer rate.
void FormatExtractionTimer(char* out, size_t outSize, DWORD elapsedMs, uint64_t bytes);

// Views the entry of the current view's focused (else first selected) row: writes it to the
// temporary folder and opens it with its program, or with the user's choice when openWith
// is set. 0 when the entry was handed on.
int ViewSelectedEntry(int openWith);
