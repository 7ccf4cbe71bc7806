#include "services/base.h"
#include "model/entry_rows.h"

#include "model/liststruct.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

// The listing thread appends while the window's thread reads the rows it paints.
struct RowStore {
  std::mutex lock;
  std::vector<liststruct*> rows;
  int received = 0;  // records appended since the store was last emptied
};

// The stores by list: kept in the process rather than as window properties, because a
// property of another thread's window costs a round trip to the window system per row.
struct StoreSlot {
  HWND list;
  RowStore* store;
};
std::mutex g_storesLock;
std::vector<StoreSlot> g_stores;

RowStore* Store(HWND list) {
  std::lock_guard<std::mutex> hold(g_storesLock);
  for (const StoreSlot& slot : g_stores)
    if (slot.list == list) return slot.store;
  return nullptr;
}

template <typename T>
int CompareValue(T a, T b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

uint64_t DateValue(const SYSTEMTIME& d) {
  return (((static_cast<uint64_t>(d.wYear) * 13 + d.wMonth) * 32 + d.wDay) * 24 + d.wHour) * 60 + d.wMinute;
}

bool IsTextColumn(int column) {
  return column == LISTSTRUCT_FILENAME || column == LISTSTRUCT_ENCRYPTED || column == LISTSTRUCT_TYPE ||
         column == LISTSTRUCT_PATH;
}

// The user's locale's sort key, case ignored, with its terminating zero: keys joined one
// after the other compare as the tuple of their texts.
void AppendSortKey(std::string& key, const char* text) {
  int n = LCMapStringA(LOCALE_USER_DEFAULT, LCMAP_SORTKEY | NORM_IGNORECASE, text, -1, nullptr, 0);
  if (n <= 0) {
    key.append(text).push_back('\0');
    return;
  }
  size_t at = key.size();
  key.resize(at + static_cast<size_t>(n));
  LCMapStringA(LOCALE_USER_DEFAULT, LCMAP_SORTKEY | NORM_IGNORECASE, text, -1, &key[at], n);
}

std::string TextSortKey(const liststruct* r, int column) {
  std::string key;
  switch (column) {
    case LISTSTRUCT_ENCRYPTED: AppendSortKey(key, GetEntryEncryptedText(r)); break;
    case LISTSTRUCT_TYPE: AppendSortKey(key, r->type); break;
    case LISTSTRUCT_PATH: AppendSortKey(key, r->path); AppendSortKey(key, r->filename); break;
    default: AppendSortKey(key, r->filename); break;
  }
  return key;
}

// The numeric columns.
int CompareColumn(const liststruct* a, const liststruct* b, int column) {
  switch (column) {
    case LISTSTRUCT_COMPRESSED: return CompareValue(a->compressed, b->compressed);
    case LISTSTRUCT_UNCOMPRESSED: return CompareValue(a->uncompressed, b->uncompressed);
    case LISTSTRUCT_RATE: return CompareValue(atoi(a->rate), atoi(b->rate));
    default: return CompareValue(DateValue(a->date), DateValue(b->date));
  }
}

// The first row from start on (stepping by step, round the end) whose name begins with the
// prefix.
int FindByPrefix(RowStore* store, const char* prefix, int start, int step) {
  int n = static_cast<int>(store->rows.size());
  size_t len = strlen(prefix);
  if (!n || !len) return -1;
  int row = ((start % n) + n) % n;
  for (int i = 0; i < n; ++i, row = ((row + step) % n + n) % n) {
    const char* name = store->rows[row]->filename;
    if (CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, name, static_cast<int>(std::min(len, strlen(name))),
                       prefix, static_cast<int>(len)) == CSTR_EQUAL)
      return row;
  }
  return -1;
}

}  // namespace

void AttachEntryRows(HWND list) {
  if (Store(list)) return;
  std::lock_guard<std::mutex> hold(g_storesLock);
  g_stores.push_back(StoreSlot{list, new RowStore});
}

void DetachEntryRows(HWND list) {
  RowStore* store = Store(list);
  if (!store) return;
  DeleteAllEntryRows(list);
  std::lock_guard<std::mutex> hold(g_storesLock);
  for (size_t i = 0; i < g_stores.size(); ++i) {
    if (g_stores[i].list == list) {
      g_stores.erase(g_stores.begin() + i);
      break;
    }
  }
  delete store;
}

bool HasEntryRows(HWND list) { return Store(list) != nullptr; }

int AppendEntryRecord(HWND list, liststruct* record) {
  RowStore* store = Store(list);
  if (!store) return -1;
  std::lock_guard<std::mutex> hold(store->lock);
  record->ordinal = store->received++;
  store->rows.push_back(record);
  return static_cast<int>(store->rows.size() - 1);
}

void PublishEntryRows(HWND list) {
  SendMessageA(list, LVM_SETITEMCOUNT, GetEntryRowCount(list), 0);
}

size_t GetEntryRowCount(HWND list) {
  RowStore* store = Store(list);
  if (!store) return 0;
  std::lock_guard<std::mutex> hold(store->lock);
  return store->rows.size();
}

liststruct* GetRowRecord(HWND list, int row) {
  RowStore* store = Store(list);
  if (!store || row < 0) return nullptr;
  std::lock_guard<std::mutex> hold(store->lock);
  return static_cast<size_t>(row) < store->rows.size() ? store->rows[row] : nullptr;
}

int FindEntryRowOfOrdinal(HWND list, int ordinal) {
  RowStore* store = Store(list);
  if (!store || ordinal < 0) return -1;
  std::lock_guard<std::mutex> hold(store->lock);
  for (size_t i = 0; i < store->rows.size(); ++i)
    if (store->rows[i]->ordinal == ordinal) return static_cast<int>(i);
  return -1;
}

int FindEntryRowByPrefix(HWND list, const char* prefix, int start, int step) {
  RowStore* store = Store(list);
  if (!store || !prefix) return -1;
  std::lock_guard<std::mutex> hold(store->lock);
  return FindByPrefix(store, prefix, start, step < 0 ? -1 : 1);
}

void DeleteAllEntryRows(HWND list) {
  if (RowStore* store = Store(list)) {
    std::vector<liststruct*> old;
    {
      std::lock_guard<std::mutex> hold(store->lock);
      old.swap(store->rows);
      store->received = 0;
    }
    SendMessageA(list, LVM_SETITEMCOUNT, 0, 0);
    for (liststruct* r : old) FreeListStruct(r);
  }
  SendMessageA(list, LVM_DELETEALLITEMS, 0, 0);
}

void DeleteEntryRow(HWND list, int row) {
  RowStore* store = Store(list);
  if (!store || row < 0) return;
  liststruct* record = nullptr;
  {
    std::lock_guard<std::mutex> hold(store->lock);
    if (static_cast<size_t>(row) >= store->rows.size()) return;
    record = store->rows[row];
    store->rows.erase(store->rows.begin() + row);
  }
  SendMessageA(list, LVM_DELETEITEM, row, 0);
  FreeListStruct(record);
}

int DeleteEntryRowsWhere(HWND list, bool (*gone)(const liststruct*, void*), void* context) {
  RowStore* store = Store(list);
  if (!store) return -1;
  int first = -1;
  std::vector<liststruct*> removed;
  {
    std::lock_guard<std::mutex> hold(store->lock);
    size_t kept = 0;
    for (size_t row = 0; row < store->rows.size(); ++row) {
      liststruct* record = store->rows[row];
      if (gone(record, context)) {
        if (first < 0) first = static_cast<int>(row);
        removed.push_back(record);
      } else {
        store->rows[kept++] = record;
      }
    }
    store->rows.resize(kept);
  }
  if (first < 0) return -1;
  SendMessageA(list, LVM_SETITEMCOUNT, GetEntryRowCount(list), 0);
  for (liststruct* r : removed) FreeListStruct(r);
  return first;
}

void GetEntryColumnText(const liststruct* r, int column, char* out, size_t outSize) {
  if (!outSize) return;
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
  RowStore* store = Store(header->hwndFrom);
  if (!store) return false;
  switch (header->code) {
    case LVN_GETDISPINFOA: {
      LVITEMA& item = reinterpret_cast<NMLVDISPINFOA*>(const_cast<NMHDR*>(header))->item;
      liststruct* r = GetRowRecord(header->hwndFrom, item.iItem);
      if (!r) return true;
      if ((item.mask & LVIF_TEXT) && item.pszText && item.cchTextMax > 0)
        GetEntryColumnText(r, item.iSubItem, item.pszText, item.cchTextMax);
      if ((item.mask & LVIF_IMAGE) && item.iSubItem == 0) {
        char type[kPathBuf];
        MakeTypeText(r->filename, type, sizeof type, &item.iImage);
      }
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
      if ((item.mask & LVIF_IMAGE) && item.iSubItem == 0) {
        char type[kPathBuf];
        MakeTypeText(r->filename, type, sizeof type, &item.iImage);
      }
      return true;
    }
    case LVN_ODFINDITEMA: {
      const NMLVFINDITEMA* find = reinterpret_cast<const NMLVFINDITEMA*>(header);
      std::lock_guard<std::mutex> hold(store->lock);
      *result = (find->lvfi.flags & (LVFI_STRING | LVFI_PARTIAL)) && find->lvfi.psz
                    ? FindByPrefix(store, find->lvfi.psz, find->iStart < 0 ? 0 : find->iStart, 1)
                    : -1;
      return true;
    }
    case LVN_ODFINDITEMW: {
      const NMLVFINDITEMW* find = reinterpret_cast<const NMLVFINDITEMW*>(header);
      char prefix[kPathBuf] = "";
      if (find->lvfi.psz)
        WideCharToMultiByte(CP_ACP, 0, find->lvfi.psz, -1, prefix, sizeof prefix, nullptr, nullptr);
      std::lock_guard<std::mutex> hold(store->lock);
      *result = (find->lvfi.flags & (LVFI_STRING | LVFI_PARTIAL)) ? FindByPrefix(store, prefix, find->iStart < 0 ? 0 : find->iStart, 1) : -1;
      return true;
    }
    default:
      return false;
  }
}

void SortEntryRows(HWND list, int column, bool descending) {
  RowStore* store = Store(list);
  if (!store) return;
  {
    std::lock_guard<std::mutex> hold(store->lock);
    if (IsTextColumn(column)) {
      // One locale sort key per row, then plain byte comparisons: a locale-aware comparison
      // per step costs seconds on 100,000 rows.
      std::vector<std::pair<std::string, liststruct*>> keyed;
      keyed.reserve(store->rows.size());
      for (liststruct* r : store->rows) keyed.emplace_back(TextSortKey(r, column), r);
      std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
        return descending ? b.first < a.first : a.first < b.first;
      });
      for (size_t i = 0; i < keyed.size(); ++i) store->rows[i] = keyed[i].second;
    } else {
      std::stable_sort(store->rows.begin(), store->rows.end(), [&](const liststruct* a, const liststruct* b) {
        int c = CompareColumn(a, b, column);
        return descending ? c > 0 : c < 0;
      });
    }
  }
  // Row numbers now name other entries: a selection kept by number would be wrong.
  LVITEMA clear = {};
  clear.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
  SendMessageA(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&clear));
  InvalidateRect(list, nullptr, FALSE);
}
