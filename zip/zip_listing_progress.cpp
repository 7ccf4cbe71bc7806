#include "services/base.h"
#include "zip/zip_listing_progress.h"

void ShowListingProgress(ListingProgress* progress, int, uint64_t, uint64_t) { progress->shown = true; }
void StepListingProgress(ListingProgress*, uint64_t, uint64_t) {}
bool IsListingCancelled() { return false; }
void CloseListingProgress(ListingProgress* progress) { progress->shown = false; }
