#include "services/base.h"
#include "zip/zip_listing_progress.h"

#include "kestrelia_lang.h"
#include "services/progress.h"

#include <cstdio>

namespace {

constexpr uint64_t kEntriesPerStep = 100;
constexpr DWORD kTextIntervalMs = 100;

}  // namespace

void ShowListingProgress(ListingProgress* progress, int withCancel, uint64_t total, uint64_t done) {
  StartProgressDialog(withCancel == 1, nullptr);
  SetProgressMinimum(0);
  SetProgressMaximum(static_cast<int>(total / kEntriesPerStep));
  SetProgressTitle(GetGenericText(KLANG_GEN_READING_ARCHIVE));
  ExecuteProgressPos(GetProgressDialog(), static_cast<int>(done / kEntriesPerStep));
  progress->shown = true;
}

void StepListingProgress(ListingProgress* progress, uint64_t done, uint64_t total) {
  if (!progress->shown) return;
  HWND dialog = GetProgressDialog();
  ExecuteProgressStep(dialog);
  // The count is read by a person: ten changes a second are plenty, and each one costs the
  // listing a repaint of the dialog.
  DWORD now = GetTickCount();
  if (now - progress->lastText < kTextIntervalMs && done + kEntriesPerStep < total) return;
  progress->lastText = now;
  char text[kPathBuf];
  snprintf(text, sizeof text, "%d %s %llu", static_cast<int>(done), GetGenericText(KLANG_GEN_OF),
           static_cast<unsigned long long>(total));
  SetProgressDetail(text);
}

bool IsListingCancelled() { return IsCancelledByUser() != 0; }

void CloseListingProgress(ListingProgress* progress) {
  if (!progress->shown) return;
  // After the user's Cancel the dialog is already gone; the other close would wait for it.
  if (IsCancelledByUser()) CloseProgressDialogAfterCancel();
  else CloseProgressDialog();
  progress->shown = false;
}
