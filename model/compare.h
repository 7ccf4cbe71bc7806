// The orderings of paths and search hits. The path comparison returns exactly -1, 0 or 1,
// because the ordered index reads only the value 1 as "sorts after"; the hit orderings log
// their operands at a high verbosity, so a log at that level shows every step of a search.
#pragma once
#include "services/base.h"

// Two plain names with "/" and "\" alike, byte-wise, names cut at 259; no log.
int PathCompareIndependentCaseSense(const char* a, const char* b);

// Search hits are row indexes held by pointer.
int FoundListCompareEqual(const void* a, const void* b);
int FoundListCompareSmaller(const void* a, const void* b);
// 1 for equal indexes too: the found list's one-step lookup relies on it.
int FoundListCompareGreater(const void* a, const void* b);
