// Listing a ZIP archive into the views: one row per file entry, with the running totals,
// the status bar and the window title.
#pragma once
#include "services/base.h"

#include "unzip.h"

struct ArchiveControlBlock;

// Thread procedure; the argument is the archive's control block.
DWORD WINAPI ListZipFilesThread(LPVOID block);
// Walks every entry; withCancel picks the progress dialog with a Cancel button. Returns 1
// when the user cancelled, else 0.
int do_listing(unzFile archive, ArchiveControlBlock* block, int withCancel);
// The failure text shown when the archive cannot be opened.
void MakeZipOpenErrorText(const char* path, char* out, size_t outSize);
// The kind an archive that needs the 64-bit fields is listed as, handed in by the table of
// kinds.
void SetLargeZipKind(int kind);
