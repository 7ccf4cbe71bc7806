// RAR archives through the UnRAR library (unrar.dll), loaded by name when first needed and
// never unloaded: listing, extraction of all or chosen entries, testing, viewing one entry,
// all as walks of the shared header loop (formats/header_loop.h). RAR is read only. The
// library keeps to one operation at a time through the RAR busy flag.
#pragma once
#include "services/base.h"

#include "plugins/include/kestrelia_unrar.h"

struct ExtractJob;
struct EntrySelection;
struct EntryStamp;

// Hands the kind's operations to the table of archive kinds.
void RegisterRarFormat();

// LoadLibraryA("unrar.dll"); true when the library is loaded (now or before).
bool LoadRarLibrary();

// The listing thread of a RAR archive (an ArchiveControlBlock).
DWORD WINAPI ListRarArchive(LPVOID block);
// The extraction worker of a run: every entry, or the chosen rows (a chosen name ending in
// "\" takes everything below that folder). 0, or 100 when the user cancelled.
int ExtractRarFilesFromList(ExtractJob* job);
// The run over everything below a folder of the tree ("docs\\deep\\", either separator).
int ExtractRarFolder(ExtractJob* job, const char* folder);
// Writes one entry to the temporary folder under its last name.
int WriteRarEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]);
// Reads every entry (or the chosen rows') through the library's test, writing nothing.
int TestRarFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested);
// Sets the process-wide encryption flag: an entry needs a password, or the headers do. Asks
// nothing. 0, -1 when the archive cannot be read.
int DetectRarEncryption(const char* archive);

// The callback the library calls for volumes, passwords and data.
int __stdcall RarCallback(unsigned int message, intptr_t userData, intptr_t p1, intptr_t p2);
// Tells the console and the user what a library result means; entry names the entry it
// happened on (may be null).
void OutProcessFileError(int code, const char* entry = nullptr);

// The entry date of the library's 32-bit MS-DOS date and time (date in the high word).
EntryStamp RarDosStamp(uint32_t fileTime);
