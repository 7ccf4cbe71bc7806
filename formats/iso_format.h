// CD and DVD images through the program's own read-only iso.dll: listing, extraction and
// viewing, all one walk of the image's headers (formats/libarchive_kinds, which the other
// read-only kinds share).
#pragma once
#include "services/base.h"

#include "plugins/include/kestrelia_iso.h"

struct ExtractJob;
struct EntrySelection;

// Hands the kind's operations to the table of archive kinds.
void RegisterIsoFormat();

DWORD WINAPI ListIsoFilesThread(LPVOID block);
// The extraction worker of a run (ExtractIsoFilesFromListThread's body): 0, or 100 when the
// user cancelled. Entries that failed are told in one message at the end.
int ExtractIsoFilesFromList(ExtractJob* job);
// Extracts the entries below a folder of the image ("a\\b\\"); as ExtractIsoFilesFromList.
int ExtractIsoFolder(ExtractJob* job, const char* folder);
// Reads every entry (or only the chosen rows') through, writing nothing; the failures go to
// the run's report. 0, 100 when the user cancelled, -1 when the image could not be read (told).
int TestIsoFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested);
// Writes one entry (its full "\" name) to the temporary folder under its last name.
int WriteIsoEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]);

// The entry record's date from the library's date record: seconds 0, day 0 taken as 1,
// months from 0, the year 1900 (a record without a date) taken as 1970.
struct EntryStamp;
EntryStamp IsoEntryStamp(const IsoDate& date);
