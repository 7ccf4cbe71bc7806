// The kind of the archive that is open, one process-wide integer.
#pragma once
#include "services/base.h"

enum ArchiveKind {
  ARCHIVE_ZIP = 1,
  ARCHIVE_TAR = 2,  // the TAR family keeps "/" as its separator
  ARCHIVE_ISO = 3,
  ARCHIVE_RAR = 4,
  ARCHIVE_ZIP64 = 5,
};

int GetArchiveKind();
void SetArchiveKind(int kind);
bool IsKnownArchiveKind(int kind);
// The separator entry names carry for the given kind: '/' for TAR, '\\' for all others.
char ArchiveSeparator(int kind);

// File-name tests. TAR, ISO and RAR are plain suffix tests without a required dot, so a
// name such as "guitar" counts as TAR; the ZIP test wants the dot.
bool IsZipFile(const char* name);
bool IsTarFile(const char* name);
bool IsIsoFile(const char* name);
bool IsRarFile(const char* name);
// ZIP, TAR, ISO, RAR tested in that order; 0 when the name fits none.
int GetArchiveKindFromName(const char* name);
// The first bytes of a file are a ZIP signature: "PK", then 3 or 5, then 4 or 6 (all four
// crossings of the local-header and end-of-directory signatures count).
bool HasZipSignature(const unsigned char* bytes, size_t count);
