// Entry names: the one place where the bytes an archive stores become the UTF-8 name the
// program shows, compares, searches and writes to disk, and where a name the program writes
// gets its flag. The process code page is UTF-8, so these names go straight to the "A"
// functions of Windows.
#pragma once
#include "services/base.h"

#include "unzip.h"

#include <string>

// General-purpose bit 11: the stored name (and comment) are UTF-8.
constexpr unsigned long kZipUtf8NameFlag = 0x800;

// The name of an entry from what its central record holds: with bit 11 of flag the stored
// bytes are UTF-8; otherwise an Info-ZIP Unicode Path extra field (0x7075) whose CRC-32
// matches the stored bytes gives the name; otherwise the stored bytes are DOS code page 437,
// except that bytes written on Unix (the high byte of versionMadeBy is 3) that are valid
// UTF-8 are taken as UTF-8: zip on Unix stores its UTF-8 names without the flag, and the
// peers read them so. Stored bytes that claim UTF-8 but are not are read as code page 437
// too, so the result is always valid UTF-8. The name ends at a NUL byte, as the C string it
// becomes would.
std::string ZipEntryDisplayName(const char* stored, size_t storedLength, unsigned long flag,
                                unsigned long versionMadeBy, const char* extra, size_t extraLength);

// The current entry's record and its display name in *name (its capacity is reused, so a
// caller walking 100,000 entries allocates almost nothing). The name is never cut, whatever
// its length; the extra field is only read for names that are not plain ASCII. UNZ_OK or
// the library's error (name empty then).
int ReadCurrentEntryName(unzFile zip, unz_file_info64* info, std::string* name);

// Makes the entry whose display name is name current ("\" and "/" count as the same
// separator). UNZ_OK, else UNZ_END_OF_LIST_OF_FILE.
int LocateEntryByDisplayName(unzFile zip, const char* name);

bool IsPlainAscii(const char* text, size_t length);
bool IsValidUtf8(const char* text, size_t length);
