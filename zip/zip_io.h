// The file layer under the ZIP container library: Win32 files read through a large buffer.
// The library reads a central directory as many small pieces (a header, a name, an extra
// field per entry); served from memory, listing 100,000 entries costs no system call per
// entry.
#pragma once
#include "services/base.h"

#include "ioapi.h"

// Fills the 64-bit file functions with the buffered Win32 layer.
void FillBufferedFileFunctions(zlib_filefunc64_def* functions);
// The system error of the last open that failed on this thread (0 when it succeeded).
DWORD GetLastZipFileOpenError();
