// The progress display of a listing that takes longer than three seconds: shown once,
// stepped every 100 entries, polled for the user's Cancel.
#pragma once
#include "services/base.h"

struct ListingProgress {
  bool shown;
  DWORD lastText;  // tick of the last count shown
};

// Starts the dialog (with a Cancel button when withCancel is 1), ranged in hundreds of
// entries and placed at the entries done so far.
void ShowListingProgress(ListingProgress* progress, int withCancel, uint64_t total, uint64_t done);
void StepListingProgress(ListingProgress* progress, uint64_t done, uint64_t total);
bool IsListingCancelled();
void CloseListingProgress(ListingProgress* progress);
