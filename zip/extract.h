// Extraction of ZIP entries: whole archives, the list's selection, and single entries to the
// temporary folder for viewing. One worker thread per run beside the progress dialog.
#pragma once
#include "services/base.h"

#include "res/resource.h"

#include "unzip.h"

struct RBTree;
struct EntrySelection;

// Overwrite modes of a run.
enum OverwriteMode {
  OVERWRITE_ALWAYS = 0,  // replace existing files without asking
  OVERWRITE_ASK = 1,     // ask per existing file
  OVERWRITE_ALL = 2,     // the user answered "yes to all": no more questions this run
};

// Results of the per-entry writer beyond minizip's own codes.
enum ExtractResult {
  EXTRACT_OK = 0,
  EXTRACT_WRITE_ERROR = 2,
  EXTRACT_NO_MEMORY = 6,
  EXTRACT_NO_PASSWORD = 21,
  EXTRACT_WRONG_PASSWORD = 22,  // the password fails the entry's check byte; nothing written
  EXTRACT_UNDECODABLE = 23,     // a method or encryption the engine cannot decode; nothing read
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

// What the last run of ExtractZipFilesFromList(MF) refused to write for safety: the names,
// '\n'-separated ("" when none), and their number. Read after the run returned.
const char* GetLastRefusedNames();
size_t GetLastRefusedCount();
// Entries of the last run that a wrong password kept from being written.
size_t GetLastWrongPasswordCount();
struct EntryFailures;
// Every entry of the last run that was refused, not written or found damaged, with why.
const EntryFailures& GetLastRunFailures();

// The parameter block of one extraction, zero-filled by whoever starts the run.
struct ExtractJob {
  char destination[kPathBuf];  // the working directory for the run; empty keeps the current one
  int overwriteMode;           // OverwriteMode; may change from ASK to ALL during the run
  int withoutPath;             // 1: every file lands in the destination under its last name
  int countEntries;            // 1: progress counts entries, never bytes
  const EntrySelection* chosen; // the rows a run takes, copied before it started; none: see extractAll
  HWND mainWindow;
  int silent;                  // no progress dialog; names only logged
  char archive[kPathBuf];
  char password[kPathBuf];     // empty: none
  unzFile zip;
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
};

// Whole-archive extraction started from the window or "-x": asks for the destination (and the
// password when the archive needs one), then runs the archive kind's worker, on a new thread
// when inThread is set.
void ExtractArchive(const char* archive, int silent, int inThread);
// The selection index of a run: the full paths ("\\" separators) of a list view's selected
// rows, or of every row. 0 on success, -1 when the list has no rows behind it.
int FillZipTreeWithSelectedFromList(HWND list, RBTree* tree);
int FillZipTreeWithWholeList(HWND list, RBTree* tree);
// Extracts the selected entries of a list view (or the whole list when extractAll is 1).
int ExtractZipFilesFromList(HWND source, const char* archive, int* withoutPath, int* overwriteMode,
                            const char* password, const char* destination, int extractAll, int silent,
                            int countEntries);
// The whole archive without a selection index, one progress step per entry.
int ExtractZipFilesFromListMF(HWND source, const char* archive, int* withoutPath, int* overwriteMode,
                              const char* password, const char* destination, int ignored, int silent);
// The entry loop of a run; 100 when cancelled, else 0.
int UnZipWorkThread(ExtractJob* job);

// Reads every entry of the archive (or only the chosen rows') through the extraction road and
// checks it (inflate, CRC, AES authentication, the password), writing nothing. Failures are
// the run's (GetLastRunFailures); *tested receives how many entries were read. 0, or 100
// when the user cancelled.
int TestZipFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested);

// Opens the current entry, asking for the password first when the archive needs one and none
// was given (21 when the user cancels).
int OpenCurrentEntry(unzFile zip);
// Reads and closes the entry OpenCurrentEntry opened, whatever its encryption: as
// unzReadCurrentFile and unzCloseCurrentFile answer, with kAesAuthenticationFailed (see
// zip/aes_entry.h) from the close of an AES entry whose authentication code does not match.
int ReadOpenEntry(unzFile zip, void* buffer, unsigned size);
int CloseOpenEntry(unzFile zip);
// Why this thread's last OpenCurrentEntry answered EXTRACT_UNDECODABLE: an EntryFailureReason,
// with the method's or encryption's name in *detail.
int LastUndecodableReason(const char** detail);
// Writes the current entry below the working directory.
int do_write_currentfile(unzFile zip, int* withoutPath, int* overwriteMode, const char* password, HWND owner,
                         unz_file_info64 info, const char* nameInArchive, const char* nameWithoutPath,
                         int progressByBytes, uint64_t totalBytes, uint64_t* byteCounter, int silent);
// Writes the current entry to the temporary folder and opens it (with the choice of program
// when openWith is set).
int do_view_currentfile(unzFile zip, const char* name, int openWith, unz_file_info64 info);
// Copies the open current entry into a file or memory, never past its declared size.
int ReadEntryToFile(unzFile zip, const unz_file_info64* info, size_t bufferSize, char* buffer, FILE* file,
                    const char* name, int busyIndicator);
int ReadEntryToMemory(unzFile zip, const unz_file_info64* info, size_t bufferSize, char* buffer,
                      char* destination);
// The most an entry may declare to be read into memory: 1 GiB, or half the free physical
// memory when that is less. ReadEntryToMemory refuses more (with a message), and whoever
// sizes a buffer from a declared size checks against it first.
uint64_t EntryMemoryLimit();

// The part of an entry name after its last separator.
const char* LastNamePart(const char* name);
// Copies the opened current entry into target and closes the entry; 0 when the whole entry
// landed (with the entry's time), otherwise the incomplete file is removed. caller names the
// function in the messages.
int CopyOpenEntry(const char* caller, unzFile zip, const unz_file_info64& info, const char* target);

// Creates a folder with its parents; non-zero when the last creation succeeded.
BOOL CreateDirectoryPath(const char* path);
// Creates each prefix of a relative path; 0 on success.
int MakeDirectoryPath(const char* path, int reportExisting, int showErrors);

// Sets a written file's creation and modification times from an entry's DOS date and time,
// read as local time.
bool SetFileTimesFromDos(const char* path, uLong dosDate);
// The same on a file still open for writing (saves opening each file a second time).
bool SetHandleTimesFromDos(HANDLE file, uLong dosDate);
bool DosDateToUtcFileTime(uLong dosDate, FILETIME* utc);

// The names of temporary files written for viewing; deleted at exit.
void AddTempFile(const char* path);
void DeleteTempFiles();

// The temporary folder joined with a plain name (the folder, with its trailing separator,
// in folder); "c:" stands in for a machine without one. False when the whole name does not fit.
bool TempTarget(const char* part, char (&target)[kPathBuf], char (&folder)[kPathBuf]);
// Makes the named entry current: as spelt, else with "/" for every "\\".
int LocateEntry(unzFile zip, const char* name);

// Extracts the entries whose paths the selection holds (keys with "\\" or "/"), as
// ExtractZipFilesFromList does with a list's selection. The run destroys the index, so its
// deleteKey must be set. Messages begin with caller. Progress counts entries.
int ExtractZipFilesFromIndex(const char* caller, const char* archive, RBTree* selection, int* withoutPath,
                             int* overwriteMode, const char* password, const char* destination, int silent);
// Extracts the rows a list's selection held when it was copied, as ExtractZipFilesFromList
// does with the list itself, on any thread.
int ExtractZipFilesFromSelection(const EntrySelection& chosen, const char* archive, int* withoutPath,
                                 int* overwriteMode, const char* password, const char* destination, int silent,
                                 int countEntries);

// One entry of the open archive (GetCurrentArchivePath) written to the temporary folder
// under its last name and recorded for deletion at exit; outPath (kPathBuf) receives the
// written path. 0 on success.
int ExtractToTemp(const char* entryPath, char* outPath);
// The same for a drag to the shell: an earlier copy of that name is removed first, so what
// the shell picks up is never a stale one.
int CreateFileContents(const char* entryPath, char* outPath);

struct NameList;
// Writes every selected row of an entry list below one fresh folder in the temporary folder,
// folders kept, nothing asked, and appends to written the paths of what landed at its top
// level (what a drop on the shell needs). 0 on success.
int ExtractMultipleFiles(HWND list, NameList* written);

// The parameter block of ExtractTreeItemThread, allocated with calloc by the starter and
// freed by the thread.
struct TreeExtractBlock {
  char folder[kPathBuf];       // "dir\\sub\\": every entry below it is extracted, paths kept
  char destination[kPathBuf];
  char archive[kPathBuf];      // empty: the current archive
  char password[kPathBuf];     // empty: the current password
  int overwriteMode;
  int silent;
  HANDLE done;                 // signalled when the run ends, when the starter waits
  int* cancelled;              // set to 1 when the user cancelled
  int* result;                 // receives the run's result when given
};
// Extracts the entries below a folder of the tree; the entries are chosen by a range search
// of the archive's ordered names, then go through the entry loop of every run.
DWORD WINAPI ExtractTreeItemThread(LPVOID block);
