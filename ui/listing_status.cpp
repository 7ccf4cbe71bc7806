#include "services/base.h"
#include "ui/listing_status.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/listing_totals.h"
#include "model/view_hooks.h"

#include <commctrl.h>

#include <cinttypes>
#include <cstdio>

void FormatListingSizes(const ListingTotals& t, char* out, size_t outSize) {
  uint64_t ck = t.compressed / 1024, uk = t.uncompressed / 1024;
  snprintf(out, outSize, "%s %s %" PRIu64 "%s - %s %" PRIu64 "%s", GetMessageText(KLANG_MSG_SIZES),
           GetMessageText(KLANG_MSG_SIZES_COMPRESSED), ck ? ck : t.compressed, ck ? "KB" : "B",
           GetMessageText(KLANG_MSG_SIZES_UNCOMPRESSED), uk ? uk : t.uncompressed, uk ? "KB" : "B");
}

void FormatListingCount(const ListingTotals& t, char* out, size_t outSize) {
  if (t.entries == 1)
    snprintf(out, outSize, "1 %s", GetMessageText(KLANG_MSG_ENTRY));
  else
    snprintf(out, outSize, "%" PRIu64 " %s", t.entries, GetMessageText(KLANG_MSG_ENTRIES));
}

void WriteListingStatusBar() {
  HWND status = GetStatusBarHandle();
  if (!status || GetViewHooks().isTreeListRefilling()) return;
  char sizes[kPathBuf], count[kPathBuf];
  FormatListingSizes(GetListingTotals(), sizes, sizeof sizes);
  FormatListingCount(GetListingTotals(), count, sizeof count);
  // A list filled anew has no selection: the mark of one in the list before goes with it (a
  // selection made afterwards writes its own).
  SendMessageA(status, SB_SETTEXTA, 0, reinterpret_cast<LPARAM>(""));
  SendMessageA(status, SB_SETTEXTA, 1, reinterpret_cast<LPARAM>(count));
  SendMessageA(status, SB_SETTEXTA, 2, reinterpret_cast<LPARAM>(sizes));
}
