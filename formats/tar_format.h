// The TAR family (plain, gzip, bzip2, compress) through the program's own tar.dll: listing,
// extraction, viewing one entry, creating and extending. The library is loaded by name when
// first needed and never unloaded; every call looks its entry point up again.
#pragma once
#include "services/base.h"

#include "plugins/include/kestrelia_tar.h"

#include <string>
#include <vector>

struct ExtractJob;

// Hands the kind's operations to the table of archive kinds.
void RegisterTarFormat();

// LoadLibraryA("tar.dll"); true when the library is loaded (now or before).
bool LoadTarLibrary();
// Whether tar.dll can be loaded: tried once, remembered from then on.
bool IsTarLibraryPresent();
// The version of libarchive that tar.dll was built with ("libarchive 3.6.2"); empty without
// the library.
const char* TarLibraryVersion();

DWORD WINAPI ListTarFilesThread(LPVOID block);
// The extraction worker of a run (ExtractTarFilesFromListThread's body): 0, or 100 when the
// user cancelled.
int ExtractTarFilesFromList(ExtractJob* job);
// One run of tar.dll's extraction with the program's writer of file entries, below
// job->destination, asking as job->overwriteMode says (silent: nothing asked, every file
// replaced): the library's answer (0, 1 an entry failed or was refused, 2 the archive could not
// be read to its end, 100 stopped) and its result text in text (TAR_RESULT_TEXT_SIZE bytes).
// The run's failures are GetLastRunFailures'.
int RunTarExtraction(const char* archive, TarNameList* names, ExtractJob* job, char* text, uint64_t size = 0);
// Writes one entry (its full "/" name) below the temporary folder, its folders kept.
int WriteTarEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]);

// A request to create or extend a TAR archive from files of the disk (a folder path ends with
// "\" or "/"). addMode 0 creates; TAR_ADD_APPEND or TAR_ADD_REPLACE extends.
struct TarCreateRequest {
  char archive[kPathBuf];
  char baseFolder[kPathBuf];
  int addMode;
  HWND progress;
};
// 0 when every file was added, 1 when some could not be, -1 on failure (each one logged).
int CreateTarArchive(const TarCreateRequest& request, const std::vector<std::string>& files);
// The window's add run on an open TAR (a ZipWorkBlock, freed here): the named files and
// folders, folders with everything below them, under their names from the first one's folder.
DWORD WINAPI TarWorkThread(LPVOID block);
