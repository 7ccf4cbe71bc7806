// The status bar's count and sizes follow the selection: those of the selected entries while
// there is a selection, the view's own totals otherwise.
#include "services/base.h"
#include "app/main_state.h"

#include "kestrelia_lang.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "ui/listing_status.h"

#include <commctrl.h>

#include <cinttypes>
#include <cstdio>

namespace {

// A selection of many rows changes in many notifications: the sums wait until they settle.
constexpr UINT kSelectionDelay = 60;

ListingTotals SumSelectedRows(HWND list, int* selected) {
  ListingTotals sum = {};
  *selected = 0;
  for (int row = -1;;) {
    row = static_cast<int>(SendMessageA(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED));
    if (row < 0) break;
    ++*selected;
    if (liststruct* record = GetRowRecord(list, row)) {
      ++sum.entries;
      sum.compressed += record->compressed;
      sum.uncompressed += record->uncompressed;
    }
  }
  return sum;
}

}  // namespace

void ScheduleSelectionStatus() {
  if (Main().hwnd) SetTimer(Main().hwnd, IDT_SELECTION_STATUS, kSelectionDelay, nullptr);
}

void WriteSelectionStatus() {
  MainWindowState& m = Main();
  KillTimer(m.hwnd, IDT_SELECTION_STATUS);
  int selected = 0;
  ListingTotals sum = SumSelectedRows(CurrentView(), &selected);
  char mark[64] = "";
  if (selected) snprintf(mark, sizeof mark, "%d %s", selected, GetMessageText(KLANG_MSG_SELECTED));
  // Without a selection the view's own totals come back: the folder's beside the tree.
  if (!selected) sum = CurrentView() == m.treeList ? GetFolderListTotals() : GetListingTotals();
  char count[kPathBuf], sizes[kPathBuf];
  FormatListingCount(sum, count, sizeof count);
  FormatListingSizes(sum, sizes, sizeof sizes);
  SendMessageA(m.status, SB_SETTEXTA, 0, reinterpret_cast<LPARAM>(mark));
  SendMessageA(m.status, SB_SETTEXTA, 1, reinterpret_cast<LPARAM>(count));
  SendMessageA(m.status, SB_SETTEXTA, 2, reinterpret_cast<LPARAM>(sizes));
}
