// The file layer under the ZIP container library: Win32 files read through a large buffer.
// The library reads a central directory as many small pieces (a header, a name, an extra
// field per entry); served from memory, listing 100,000 entries costs no system call per
// entry.
#pragma once
#include "services/base.h"

#include "ioapi.h"

// Fills the 64-bit file functions with the buffered Win32 layer.
void FillBufferedFileFunctions(zlib_filefunc64_def* functions);
// The same with windows of 64 KiB: for a reader that visits every entry's local header but
// moves the data itself in large reads, a megabyte per header would be read for nothing.
void FillSmallWindowFileFunctions(zlib_filefunc64_def* functions);
// The system error of the last open that failed on this thread (0 when it succeeded).
DWORD GetLastZipFileOpenError();
// The start of every file layer's stream: what tell, seek and error need.
struct FilePlace {
  HANDLE handle;
  uint64_t position;  // where the library is
  uint64_t size;      // of the file as the library sees it
  int error;
};
// A place at the start of a file just opened.
void SetFilePlace(FilePlace* place, HANDLE handle);
// A layer whose streams begin with a FilePlace: its own open, read, write and close, the
// shared tell, seek and error.
void FillPlaceFunctions(zlib_filefunc64_def* functions, open64_file_func open, read_file_func read,
                        write_file_func write, close_file_func close);
