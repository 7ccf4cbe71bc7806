// 7z archives through sevenzip.dll (the 7-Zip sources' own decoders, with AES), loaded by name
// when first needed and never unloaded: listing, extraction of all, the chosen rows or a tree
// folder, viewing, testing, properties and reading entries as streams, all as walks of the
// shared header loop (formats/header_loop.h) in the archive's order, so each solid block is
// decoded once per run. Encrypted names and data take the program's password, asked once per
// operation when none is known; a wrong one fails the entries it was to decrypt, and nothing
// of them is written under their names. 7z is read only.
#pragma once
#include "services/base.h"

#include "formats/formats.h"
#include "plugins/include/kestrelia_7z.h"

// LoadLibraryA("sevenzip.dll") with every entry point there; true when it is.
bool LoadSevenZipLibrary();

// The operations above, for the 7z row of the table.
ArchiveOperations SevenZipOperations();
