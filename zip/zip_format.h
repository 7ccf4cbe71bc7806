// The ZIP engine's row of the archive-kind table (ZIP and ZIP with 64-bit sizes).
#pragma once
#include "services/base.h"

void RegisterZipFormat();

// ZIP's view operation: the entry written to the temporary folder and opened.
int ViewZipEntry(const char* archive, const char* entryName, int openWith);
