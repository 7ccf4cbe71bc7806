#include "services/base.h"
#include "app/main_state.h"

#include "model/entry_rows.h"
#include "settings/options.h"
#include "ui/entry_list.h"

#include <commctrl.h>

namespace {

int ListIndex(HWND list) { return list == Main().treeList ? 1 : 0; }

}  // namespace

void ShowSortMark(HWND list, int column, bool descending) {
  HWND header = reinterpret_cast<HWND>(SendMessageA(list, LVM_GETHEADER, 0, 0));
  int count = static_cast<int>(SendMessageA(header, HDM_GETITEMCOUNT, 0, 0));
  for (int i = 0; i < count; ++i) {
    HDITEMA item = {};
    item.mask = HDI_FORMAT;
    SendMessageA(header, HDM_GETITEMA, i, reinterpret_cast<LPARAM>(&item));
    item.fmt &= ~(HDF_SORTUP | HDF_SORTDOWN);
    if (i == column) item.fmt |= descending ? HDF_SORTDOWN : HDF_SORTUP;
    SendMessageA(header, HDM_SETITEMA, i, reinterpret_cast<LPARAM>(&item));
  }
}

void SortByColumn(HWND list, int column) {
  MainWindowState& m = Main();
  int which = ListIndex(list);
  // A second click on the same header turns the order round.
  m.sortDescending[which] = (m.sortColumn[which] == column) ? !m.sortDescending[which] : false;
  m.sortColumn[which] = column;
  HCURSOR old = SetCursor(LoadCursorA(nullptr, MAKEINTRESOURCEA(32514)));  // IDC_WAIT
  SortEntryRows(list, column, m.sortDescending[which]);
  SetCursor(old);
  ShowSortMark(list, column, m.sortDescending[which]);
}

void ResetSortMarks() {
  if (IsRememberSortedColumn()) return;
  MainWindowState& m = Main();
  for (int which = 0; which < 2; ++which) {
    m.sortColumn[which] = -1;
    m.sortDescending[which] = false;
  }
  ShowSortMark(m.list, -1, false);
  ShowSortMark(m.treeList, -1, false);
}

void ApplyStoredSort() {
  if (!IsRememberSortedColumn()) return;
  MainWindowState& m = Main();
  HWND view = CurrentView();
  int which = ListIndex(view);
  if (m.sortColumn[which] < 0) return;
  SortEntryRows(view, m.sortColumn[which], m.sortDescending[which]);
  ShowSortMark(view, m.sortColumn[which], m.sortDescending[which]);
}
