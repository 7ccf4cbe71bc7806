#include "services/base.h"
#include "ui/entry_list.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"

#include <cinttypes>
#include <shellapi.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Called once the control no longer counts the records' rows, so it asks for none of them.
void FreeRecords(const std::vector<liststruct*>& records) {
  for (liststruct* r : records) FreeListStruct(r);
}

int RowIcon(const liststruct* r) {
  static const int folderIcon = [] {
    SHFILEINFOA info = {};
    SHGetFileInfoA("folder", FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info,
                   SHGFI_USEFILEATTRIBUTES | SHGFI_SYSICONINDEX | SHGFI_SMALLICON);
    return info.iIcon;
  }();
  if (r->folder) return folderIcon;
  char type[kPathBuf];
  int icon = 0;
  MakeTypeText(r->filename, type, sizeof type, &icon);
  return icon;
}

}  // namespace

void PublishEntryRows(HWND list) {
  SendMessageA(list, LVM_SETITEMCOUNT, GetEntryRowCount(list), 0);
}

void DetachEntryRows(HWND list) {
  if (!HasEntryRows(list)) return;
  DeleteAllEntryRows(list);
  ReleaseEntryRows(list);
}

void DeleteAllEntryRows(HWND list) {
  if (HasEntryRows(list)) {
    std::vector<liststruct*> old = TakeEntryRecords(list);
    SendMessageA(list, LVM_SETITEMCOUNT, 0, 0);
    FreeRecords(old);
  }
  SendMessageA(list, LVM_DELETEALLITEMS, 0, 0);
}

int DeleteEntryRowsWhere(HWND list, bool (*gone)(const liststruct*, void*), void* context) {
  std::vector<liststruct*> removed;
  int first = TakeEntryRecordsWhere(list, gone, context, &removed);
  if (first < 0) return -1;
  SendMessageA(list, LVM_SETITEMCOUNT, GetEntryRowCount(list), 0);
  FreeRecords(removed);
  return first;
}

void SortEntryRows(HWND list, int column, bool descending) {
  if (!HasEntryRows(list)) return;
  SortEntryRecords(list, column, descending);
  // Row numbers now name other entries: a selection kept by number would be wrong.
  LVITEMA clear = {};
  clear.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
  SendMessageA(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&clear));
  InvalidateRect(list, nullptr, FALSE);
}

void GetEntryColumnText(const liststruct* r, int column, char* out, size_t outSize) {
  if (!outSize) return;
  // A folder's row has only its name, its type and where it is.
  if (r->folder && column != LISTSTRUCT_FILENAME && column != LISTSTRUCT_TYPE && column != LISTSTRUCT_PATH) {
    out[0] = '\0';
    return;
  }
  switch (column) {
    case LISTSTRUCT_FILENAME: snprintf(out, outSize, "%s", r->filename); break;
    case LISTSTRUCT_ENCRYPTED: snprintf(out, outSize, "%s", GetEntryEncryptedText(r)); break;
    case LISTSTRUCT_COMPRESSED: snprintf(out, outSize, "%" PRIu64, r->compressed); break;
    case LISTSTRUCT_UNCOMPRESSED: snprintf(out, outSize, "%" PRIu64, r->uncompressed); break;
    case LISTSTRUCT_RATE: snprintf(out, outSize, "%s", r->rate); break;
    case LISTSTRUCT_DATE: MakeDateText(r->date, out, outSize); break;
    case LISTSTRUCT_TYPE: snprintf(out, outSize, "%s", r->type); break;
    case LISTSTRUCT_PATH: snprintf(out, outSize, "%s", r->path); break;
    default: out[0] = '\0';
  }
}

bool HandleEntryListNotify(const NMHDR* header, LRESULT* result) {
  if (!HasEntryRows(header->hwndFrom)) return false;
  switch (header->code) {
    case LVN_GETDISPINFOA: {
      LVITEMA& item = reinterpret_cast<NMLVDISPINFOA*>(const_cast<NMHDR*>(header))->item;
      liststruct* r = GetRowRecord(header->hwndFrom, item.iItem);
      if (!r) return true;
      if ((item.mask & LVIF_TEXT) && item.pszText && item.cchTextMax > 0)
        GetEntryColumnText(r, item.iSubItem, item.pszText, item.cchTextMax);
      if ((item.mask & LVIF_IMAGE) && item.iSubItem == 0) item.iImage = RowIcon(r);
      return true;
    }
    case LVN_GETDISPINFOW: {
      LVITEMW& item = reinterpret_cast<NMLVDISPINFOW*>(const_cast<NMHDR*>(header))->item;
      liststruct* r = GetRowRecord(header->hwndFrom, item.iItem);
      if (!r) return true;
      if ((item.mask & LVIF_TEXT) && item.pszText && item.cchTextMax > 0) {
        char text[kPathBuf * 2];
        GetEntryColumnText(r, item.iSubItem, text, sizeof text);
        MultiByteToWideChar(CP_ACP, 0, text, -1, item.pszText, item.cchTextMax);
        item.pszText[item.cchTextMax - 1] = L'\0';
      }
      if ((item.mask & LVIF_IMAGE) && item.iSubItem == 0) item.iImage = RowIcon(r);
      return true;
    }
    case LVN_ODFINDITEMA: {
      const NMLVFINDITEMA* find = reinterpret_cast<const NMLVFINDITEMA*>(header);
      *result = (find->lvfi.flags & (LVFI_STRING | LVFI_PARTIAL)) && find->lvfi.psz
                    ? FindEntryRowByPrefix(find->hdr.hwndFrom, find->lvfi.psz, find->iStart < 0 ? 0 : find->iStart, 1)
                    : -1;
      return true;
    }
    case LVN_ODFINDITEMW: {
      const NMLVFINDITEMW* find = reinterpret_cast<const NMLVFINDITEMW*>(header);
      char prefix[kPathBuf] = "";
      if (find->lvfi.psz)
        WideCharToMultiByte(CP_ACP, 0, find->lvfi.psz, -1, prefix, sizeof prefix, nullptr, nullptr);
      *result = (find->lvfi.flags & (LVFI_STRING | LVFI_PARTIAL))
                    ? FindEntryRowByPrefix(find->hdr.hwndFrom, prefix, find->iStart < 0 ? 0 : find->iStart, 1)
                    : -1;
      return true;
    }
    default:
      return false;
  }
}

void MakeDateText(const SYSTEMTIME& date, char* out, size_t outSize) {
  char day[80] = "", time[80] = "";
  GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &date, nullptr, day, sizeof day);
  GetTimeFormatA(LOCALE_USER_DEFAULT, TIME_NOSECONDS | TIME_FORCE24HOURFORMAT | TIME_NOTIMEMARKER, &date, nullptr, time,
                 sizeof time);
  snprintf(out, outSize, "%s %s", day, time);
}

namespace {

void GetColumnTitles(const char* (&titles)[LISTSTRUCT_COLUMNS]) {
  const char* current[LISTSTRUCT_COLUMNS] = {
      GetDescriptionFilename(), GetDescriptionEncrypted(),        GetDescriptionCompressed(),
      GetDescriptionUncompressed(), GetDescriptionCompressionRatio(), GetDescriptionDate(),
      GetDescriptionType(),     GetDescriptionPath()};
  for (int i = 0; i < LISTSTRUCT_COLUMNS; ++i) titles[i] = current[i];
}

// Sizes and rates read right-aligned.
int ColumnFormat(int column) {
  return (column >= LISTSTRUCT_COMPRESSED && column <= LISTSTRUCT_RATE) ? LVCFMT_RIGHT : LVCFMT_LEFT;
}

}  // namespace

void SetEntryListColumnTitles(HWND list) {
  const char* titles[LISTSTRUCT_COLUMNS];
  GetColumnTitles(titles);
  for (int i = 0; i < LISTSTRUCT_COLUMNS; ++i) {
    LVCOLUMNA column = {};
    // The format goes with the text: a header item given a new text alone falls back to the
    // left (Wine's does), and the column's cells follow their header.
    column.mask = LVCF_TEXT | LVCF_FMT;
    column.fmt = ColumnFormat(i);
    column.pszText = const_cast<char*>(titles[i]);
    SendMessageA(list, LVM_SETCOLUMNA, i, reinterpret_cast<LPARAM>(&column));
  }
}

void InitEntryListColumns(HWND list) {
  const char* titles[LISTSTRUCT_COLUMNS];
  GetColumnTitles(titles);
  const int widths[LISTSTRUCT_COLUMNS] = {200, 30, 90, 90, 50, 120, 140, 220};
  HDC screen = GetDC(list);
  int dpi = screen ? GetDeviceCaps(screen, LOGPIXELSX) : 96;
  if (screen) ReleaseDC(list, screen);
  for (int i = 0; i < LISTSTRUCT_COLUMNS; ++i) {
    LVCOLUMNA column = {};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM | LVCF_FMT;
    column.fmt = ColumnFormat(i);
    // Every title is read whole at the start, in either language, with room for the sort
    // mark beside it.
    int title = static_cast<int>(SendMessageA(list, LVM_GETSTRINGWIDTHA, 0, reinterpret_cast<LPARAM>(titles[i])));
    int wanted = MulDiv(widths[i], dpi, 96);
    int fits = title + MulDiv(32, dpi, 96);
    column.cx = wanted > fits ? wanted : fits;
    column.pszText = const_cast<char*>(titles[i]);
    column.iSubItem = i;
    SendMessageA(list, LVM_INSERTCOLUMNA, i, reinterpret_cast<LPARAM>(&column));
  }
}

std::vector<int> SelectedEntryRows(HWND list) {
  std::vector<int> rows;
  if (!list) return rows;
  UINT selected = ListView_GetSelectedCount(list);
  int shown = ListView_GetItemCount(list);
  rows.reserve(selected);
  // Ctrl+A on 100,000 rows: no window message per row.
  if (selected > 0 && selected == static_cast<UINT>(shown)) {
    for (int row = 0; row < shown; ++row) rows.push_back(row);
    return rows;
  }
  for (int row = ListView_GetNextItem(list, -1, LVNI_SELECTED); row >= 0;
       row = ListView_GetNextItem(list, row, LVNI_SELECTED))
    rows.push_back(row);
  return rows;
}

int FocusedEntryRow(HWND list) {
  int row = ListView_GetNextItem(list, -1, LVNI_FOCUSED | LVNI_SELECTED);
  return row >= 0 ? row : ListView_GetNextItem(list, -1, LVNI_SELECTED);
}

void CopyEntrySelection(HWND list, EntrySelection* out) {
  *out = EntrySelection{};
  if (!list || !HasEntryRows(list)) return;
  for (int row : SelectedEntryRows(list)) {
    liststruct* record = GetRowRecord(list, row);
    if (!record) continue;
    if (!record->folder) {
      AddEntryToSelection(record, out);
      continue;
    }
    ForEachEntryBelow(record, [&](const liststruct* entry) { AddEntryToSelection(entry, out); });
  }
}

void ForEachEntryBelow(const liststruct* folderRow, const std::function<void(const liststruct*)>& visit) {
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND every = block ? block->list : nullptr;
  if (!every || !HasEntryRows(every)) return;
  std::string below = std::string(folderRow->path) + folderRow->filename + TreeSeparator("ForEachEntryBelow");
  size_t rows = GetEntryRowCount(every);
  for (size_t row = 0; row < rows; ++row) {
    const liststruct* entry = GetRowRecord(every, static_cast<int>(row));
    if (entry && _strnicmp(entry->path, below.c_str(), below.size()) == 0) visit(entry);
  }
}
