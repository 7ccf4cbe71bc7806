// Extraction of ZIP entries: whole archives, the list's selection, and single entries to the
// temporary folder for viewing. One worker thread per run beside the progress dialog.
#pragma once
#include "services/base.h"

#include "jobs/extract_job.h"

#include "unzip.h"

struct RBTree;
struct EntrySelection;

// Extracts every entry of the archive.
int ExtractZipArchive(const char* archive, int* withoutPath, int* overwriteMode, const char* password,
                      const char* destination, int silent);
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
struct AesReader;
// The same for a reader that keeps its own state and may move between threads: an AES
// entry's reader lands in *aes (null for any other entry; read it with AesRead), not in this
// thread's.
int OpenCurrentEntryReader(unzFile zip, AesReader** aes);
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
// Copies the open current entry into a file, never past its declared size.
int ReadEntryToFile(unzFile zip, const unz_file_info64* info, size_t bufferSize, char* buffer, FILE* file,
                    const char* name, int busyIndicator);

// The part of an entry name after its last separator.
const char* LastNamePart(const char* name);
// Copies the opened current entry into target and closes the entry; 0 when the whole entry
// landed (with the entry's time), otherwise the incomplete file is removed. caller names the
// function in the messages.
int CopyOpenEntry(const char* caller, unzFile zip, const unz_file_info64& info, const char* target);

// Makes the named entry current: as spelt, else with "/" for every "\\".
int LocateEntry(unzFile zip, const char* name);

// Extracts the entries whose paths the selection holds (keys with "\\" or "/"). The run
// destroys the index, so its deleteKey must be set. Messages begin with caller. Progress
// counts entries.
int ExtractZipFilesFromIndex(const char* caller, const char* archive, RBTree* selection, int* withoutPath,
                             int* overwriteMode, const char* password, const char* destination, int silent);
// Extracts the rows a list's selection held when it was copied, on any thread.
int ExtractZipFilesFromSelection(const EntrySelection& chosen, const char* archive, int* withoutPath,
                                 int* overwriteMode, const char* password, const char* destination, int silent);

struct NameList;
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
// ZIP's folder operation: the job's run over the entries below folder, chosen as above.
int ExtractZipFolder(ExtractJob* job, const char* folder);
