// The runs of the open archive, each with the worker its kind's row gives (jobs/ starts them
// and tells the user when the kind has none).
#pragma once
#include "services/base.h"

struct EntrySelection;

// Whole-archive extraction from the window or "-x", on a new thread when inThread is set.
void ExtractArchive(const char* archive, int silent, int inThread);
// The rows a list's selection held, copied on the window's thread.
void ExtractSelected(const EntrySelection& chosen);
// Every entry, or only the chosen rows when given.
void TestArchive(const EntrySelection* chosen);
// Every entry below a folder of the tree ("docs\\img\\").
void ExtractTreeFolder(const char* folder);
