// Opening a ZIP archive for reading, with a short wait for files another program holds.
#pragma once
#include "services/base.h"

#include "unzip.h"

// Opens the archive, retrying every 10 ms until wait milliseconds have passed (the all-ones
// value means 3000). None when it could not be opened.
unzFile MyWaitunzOpen2_64(const char* path, DWORD wait);
// The same through other file functions (a rewrite reads through its replaceable layer).
unzFile MyWaitunzOpen2_64With(const char* path, DWORD wait, zlib_filefunc64_def* functions);

// The reading layer's error index (0 at every open, 9 when the file itself cannot be opened)
// and its texts.
int GetUnzipErrorIndex();
const char* GetUnzipErrorText(int index);

// Why a file that would not open as a ZIP archive fails, in the user's words: the number of
// the message that says so (not a ZIP archive at all, cut short before its end, or damaged).
int ZipOpenFailureText(const char* path);
