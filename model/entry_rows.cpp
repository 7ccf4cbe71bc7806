#include "services/base.h"
#include "model/entry_rows.h"

#include "model/liststruct.h"
#include "services/prompts.h"

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

// The user's locale's sort key as Explorer orders names: case ignored, digits compared as
// numbers (file2 before file10), with its terminating zero, so that keys joined one after the
// other compare as the tuple of their texts. The text is UTF-8 whatever the process's code
// page is, so it is widened explicitly.
void AppendSortKey(std::string& key, const char* text) {
  wchar_t wide[kPathBuf * 2];
  int length = MultiByteToWideChar(CP_UTF8, 0, text ? text : "", -1, wide, kPathBuf * 2);
  if (length <= 0) wide[0] = L'\0';
  const DWORD flags = LCMAP_SORTKEY | LINGUISTIC_IGNORECASE | SORT_DIGITSASNUMBERS;
  int n = LCMapStringEx(LOCALE_NAME_USER_DEFAULT, flags, wide, -1, nullptr, 0, nullptr, nullptr, 0);
  if (n <= 0) {
    key.append(text ? text : "").push_back('\0');
    return;
  }
  size_t at = key.size();
  key.resize(at + static_cast<size_t>(n));
  LCMapStringEx(LOCALE_NAME_USER_DEFAULT, flags, wide, -1, reinterpret_cast<LPWSTR>(&key[at]), n, nullptr, nullptr,
                0);
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

std::wstring UpperWide(const char* text, size_t length) {
  std::wstring wide(length + 1, L'\0');
  int n = MultiByteToWideChar(CP_UTF8, 0, text, static_cast<int>(length), &wide[0], static_cast<int>(wide.size()));
  wide.resize(n > 0 ? static_cast<size_t>(n) : 0);
  if (!wide.empty()) CharUpperBuffW(&wide[0], static_cast<DWORD>(wide.size()));
  return wide;
}

// Explorer's wildcards over the whole name: "*" any run of characters, "?" one; case ignored.
bool MatchWildcards(const std::wstring& name, const std::wstring& pattern) {
  size_t n = 0, p = 0, starAt = std::wstring::npos, resumeAt = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
      ++n, ++p;
    } else if (p < pattern.size() && pattern[p] == L'*') {
      starAt = p++;
      resumeAt = n;
    } else if (starAt != std::wstring::npos) {
      p = starAt + 1;
      n = ++resumeAt;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == L'*') ++p;
  return p == pattern.size();
}

// The first row from start on (stepping by step, round the end) whose name matches.
template <typename Matches>
int FindRow(RowStore* store, int start, int step, Matches matches) {
  int n = static_cast<int>(store->rows.size());
  if (!n) return -1;
  int row = ((start % n) + n) % n;
  for (int i = 0; i < n; ++i, row = ((row + step) % n + n) % n)
    if (matches(store->rows[row]->filename)) return row;
  return -1;
}

int FindByPrefix(RowStore* store, const char* prefix, int start, int step) {
  size_t len = strlen(prefix);
  if (!len) return -1;
  return FindRow(store, start, step, [&](const char* name) {
    return CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, name, static_cast<int>(std::min(len, strlen(name))),
                          prefix, static_cast<int>(len)) == CSTR_EQUAL;
  });
}

}  // namespace

void AttachEntryRows(HWND list) {
  if (Store(list)) return;
  std::lock_guard<std::mutex> hold(g_storesLock);
  g_stores.push_back(StoreSlot{list, new RowStore});
}

void ReleaseEntryRows(HWND list) {
  RowStore* store = Store(list);
  if (!store) return;
  for (liststruct* r : TakeEntryRecords(list)) FreeListStruct(r);
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
  if (!store || !record) return -1;
  std::lock_guard<std::mutex> hold(store->lock);
  record->ordinal = store->received++;
  store->rows.push_back(record);
  return static_cast<int>(store->rows.size() - 1);
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

int FindEntryRowByName(HWND list, const char* text, int start, int step) {
  if (!text || !strpbrk(text, "*?")) return FindEntryRowByPrefix(list, text, start, step);
  RowStore* store = Store(list);
  if (!store) return -1;
  std::wstring pattern = UpperWide(text, strlen(text));
  std::lock_guard<std::mutex> hold(store->lock);
  return FindRow(store, start, step < 0 ? -1 : 1,
                 [&](const char* name) { return MatchWildcards(UpperWide(name, strlen(name)), pattern); });
}

std::vector<liststruct*> TakeEntryRecords(HWND list) {
  std::vector<liststruct*> old;
  if (RowStore* store = Store(list)) {
    std::lock_guard<std::mutex> hold(store->lock);
    old.swap(store->rows);
    store->received = 0;
  }
  return old;
}

int TakeEntryRecordsWhere(HWND list, bool (*gone)(const liststruct*, void*), void* context,
                          std::vector<liststruct*>* removed) {
  RowStore* store = Store(list);
  if (!store) return -1;
  int first = -1;
  std::lock_guard<std::mutex> hold(store->lock);
  size_t kept = 0;
  for (size_t row = 0; row < store->rows.size(); ++row) {
    liststruct* record = store->rows[row];
    if (gone(record, context)) {
      if (first < 0) first = static_cast<int>(row);
      removed->push_back(record);
    } else {
      store->rows[kept++] = record;
    }
  }
  store->rows.resize(kept);
  return first;
}

void SortEntryRecords(HWND list, int column, bool descending) {
  RowStore* store = Store(list);
  if (!store) return;
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
  // Folders stay above the files in either direction, as Explorer keeps them.
  std::stable_partition(store->rows.begin(), store->rows.end(), [](const liststruct* r) { return r->folder; });
}

int InsertEntryRow(HWND list, const EntryStamp& stamp, const char* fileName, const char* fullName,
                   NameList* folderList, uint64_t compressed, uint64_t uncompressed, bool encrypted) {
  liststruct* record = MakeEntryRecord(stamp, fileName, fullName, folderList, compressed, uncompressed);
  if (encrypted) SetEntryEncryptedText(record, kEncryptedMark);
  int row = AppendEntryRecord(list, record);
  if (row < 0) {
    char text[kPathBuf];
    snprintf(text, sizeof text, "cannot insert item %d #error %lu", static_cast<int>(GetEntryRowCount(list)),
             GetLastError());
    PromptMessageBox(nullptr, text, "", MB_TOPMOST);
    FreeListStruct(record);
    return -1;
  }
  return row;
}

void AddEntryToSelection(const liststruct* record, EntrySelection* selection) {
  selection->names.push_back(std::string(record->path ? record->path : "") + (record->filename ? record->filename : ""));
  selection->bytes += record->uncompressed;
}
