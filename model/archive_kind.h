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
