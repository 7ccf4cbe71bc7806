// The file layer under the ZIP container library while it writes an archive. The library
// writes each local header field by field and goes back to patch the sizes once an entry is
// closed: with 100,000 small files that is millions of tiny writes. A write-back buffer
// turns them into one system call per megabyte; a patch that falls inside the buffer is
// made in memory.
#pragma once
#include "services/base.h"

#include "ioapi.h"

void FillWriteBufferedFileFunctions(zlib_filefunc64_def* functions);
