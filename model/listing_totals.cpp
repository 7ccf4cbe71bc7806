#include "services/base.h"
#include "model/listing_totals.h"

namespace {
ListingTotals g_totals = {};
}

ListingTotals& GetListingTotals() { return g_totals; }
void ResetListingTotals() { g_totals = ListingTotals{}; }
