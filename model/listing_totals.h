// The running totals of a listing.
#pragma once
#include "services/base.h"

struct ListingTotals {
  uint64_t entries;       // file entries; directories do not count
  uint64_t compressed;    // directories add their sizes to both sums
  uint64_t uncompressed;
};

ListingTotals& GetListingTotals();
void ResetListingTotals();
