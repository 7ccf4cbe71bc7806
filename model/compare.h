// The orderings of entries, paths and search hits. The path comparisons return exactly
// -1, 0 or 1, because the ordered index reads only the value 1 as "sorts after"; each logs
// its operands at a high verbosity, so a log at that level shows every step of a search.
#pragma once
#include "services/base.h"

// Two ZipEntry records, ASCII case folded, separators compared as characters.
int ZipEntryPathCompare(const void* a, const void* b);
// Two ZipEntry records, byte-wise.
int ZipEntryPathCompareCaseSense(const void* a, const void* b);
// Two ZipEntry records with "/" and "\" alike, ASCII case folded, names cut at 259.
int ZipEntryIndependentPathCompare(const void* a, const void* b);
// A plain name against a ZipEntry, with the rule of the independent comparison.
int ZipEntryPathStringCompare(const void* name, const void* record);
// Two plain names with "/" and "\" alike, byte-wise, names cut at 259; no log.
int PathCompareIndependentCaseSense(const char* a, const char* b);

// Search hits are row indexes held by pointer.
int FoundListCompareEqual(const void* a, const void* b);
int FoundListCompareSmaller(const void* a, const void* b);
// 1 for equal indexes too: the found list's one-step lookup relies on it.
int FoundListCompareGreater(const void* a, const void* b);

// Compares the relative path with the same number of last characters of the absolute path;
// -1 when either is missing or the relative path is the longer.
int CompareAbsoluteRelativePathIgnoreSeparatorBackslash(const char* absolute, const char* relative);
