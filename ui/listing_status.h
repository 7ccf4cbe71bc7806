// The status bar texts made from a listing's totals.
#pragma once
#include "services/base.h"

struct ListingTotals;

// "<3> <4> <n>KB - <5> <n>B": each sum in KB when it holds at least one, else in bytes.
void FormatListingSizes(const ListingTotals& totals, char* out, size_t outSize);
// "1 <6>" for exactly one entry, else "<n> <7>".
void FormatListingCount(const ListingTotals& totals, char* out, size_t outSize);
// Writes both into the status bar (part 1 the count, part 2 the sizes), unless the folder
// list is being refilled.
void WriteListingStatusBar();
