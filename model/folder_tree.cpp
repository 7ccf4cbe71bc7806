#include "services/base.h"
#include "model/folder_tree.h"

#include "model/archive_kind.h"
#include "model/rbtree.h"
#include "services/log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

RBTree* g_folder = nullptr;
RBTree* g_paths = nullptr;
RBTree* g_rows = nullptr;
RBTree* g_dataReady = nullptr;
RBTree* g_combo = nullptr;

volatile LONG g_inStep = 0;
volatile LONG g_tvnSem = 0;
volatile LONG g_refilling = 0;
char g_tvncached[4096] = "";
ListingTotals g_folderTotals = {};
// The Path text of the row before: rows of one folder mostly follow each other.
std::string g_lastPath;
bool g_lastPathValid = false;

// The keys of one synchronisation come from large blocks: a heap allocation per key costs
// more than the insert itself. A key that someone else inserted with malloc is freed as usual.
struct KeyArena {
  std::vector<char*> blocks;
  char* at = nullptr;
  size_t left = 0;
};
KeyArena g_arena;
constexpr size_t kArenaBlock = 1 << 20;

char* ArenaCopy(const char* text, size_t length) {
  if (length + 1 > g_arena.left) {
    size_t size = length + 1 > kArenaBlock ? length + 1 : kArenaBlock;
    g_arena.at = static_cast<char*>(malloc(size));
    g_arena.blocks.push_back(g_arena.at);
    g_arena.left = size;
  }
  char* copy = g_arena.at;
  memcpy(copy, text, length);
  copy[length] = '\0';
  g_arena.at += length + 1;
  g_arena.left -= length + 1;
  return copy;
}

void FreeKey(void* key) {
  const char* p = static_cast<const char*>(key);
  for (char* block : g_arena.blocks)
    if (p >= block && p < block + kArenaBlock) return;
  free(key);
}

void FreeArena() {
  for (char* block : g_arena.blocks) free(block);
  g_arena = KeyArena{};
}

// strcmp's order, without a call into the C library for every step of every search.
int CompareKeys(const void* nodeKey, const void* probe) {
  const unsigned char* a = static_cast<const unsigned char*>(nodeKey);
  const unsigned char* b = static_cast<const unsigned char*>(probe);
  while (*a && *a == *b) ++a, ++b;
  return *a > *b ? 1 : (*a < *b ? -1 : 0);
}

RBTree* CreateStringIndex() {
  RBTree* tree = RBTreeCreate();
  tree->compare = CompareKeys;
  tree->deleteKey = FreeKey;
  return tree;
}

char* Dup(const char* text) {
  if (!text) text = "";
  return ArenaCopy(text, strlen(text));
}

// Appends to a fixed buffer, cutting at its end.
struct Text {
  char* out;
  size_t size;
  size_t length = 0;
  Text(char* buffer, size_t bufferSize) : out(buffer), size(bufferSize) { out[0] = '\0'; }
  Text& operator<<(const char* s) {
    while (s && *s && length + 1 < size) out[length++] = *s++;
    out[length] = '\0';
    return *this;
  }
  Text& operator<<(unsigned long long v) {
    char digits[24];
    int n = 0;
    do digits[n++] = static_cast<char>('0' + v % 10); while (v /= 10);
    while (n && length + 1 < size) out[length++] = digits[--n];
    out[length] = '\0';
    return *this;
  }
};

const char* Key(const RBNode* node) { return static_cast<const char*>(node->key); }

bool Holds(RBTree* index, const char* key) { return RBTreeSearch(index, key) != nullptr; }

// Splits in place the way strtok does: runs of the delimiter count as one, so empty fields
// never appear.
int SplitFields(char* text, char delimiter, char** fields, int most) {
  int n = 0;
  char* p = text;
  while (n < most) {
    while (*p == delimiter) ++p;
    if (!*p) break;
    fields[n++] = p;
    while (*p && *p != delimiter) ++p;
    if (!*p) break;
    *p++ = '\0';
  }
  return n;
}

int TwoDigits(const char* p) { return (p[0] - '0') * 10 + (p[1] - '0'); }

}  // namespace

RBTree* GetTVRBTreeFolder() { return g_folder; }
RBTree* GetTVRBTreeDataReady() { return g_dataReady; }
RBTree* GetTVRBTreeCombo() { return g_combo; }

void DestroyFolderTreeIndexes() {
  for (RBTree** index : {&g_folder, &g_paths, &g_rows, &g_dataReady, &g_combo})
    if (*index) RBTreeDestroy(index);
  FreeArena();
}

void RecreateFolderTreeIndexes() {
  DestroyFolderTreeIndexes();
  g_folder = CreateStringIndex();
  g_paths = CreateStringIndex();
  g_rows = CreateStringIndex();
  g_dataReady = CreateStringIndex();
  g_combo = CreateStringIndex();
  g_lastPathValid = false;
}

int IsTreeInStep() { return g_inStep; }
void SetTreeInStep(int on) { InterlockedExchange(&g_inStep, on ? 1 : 0); }
int GetTVNSem() { return g_tvnSem; }
void SetTVNSem(int on) { InterlockedExchange(&g_tvnSem, on ? 1 : 0); }
void SetTvnCached(const char* key) { snprintf(g_tvncached, sizeof g_tvncached, "%s", key ? key : ""); }
int IsTreeListRefilling() { return g_refilling; }
void SetTreeListRefilling(int on) { InterlockedExchange(&g_refilling, on ? 1 : 0); }
ListingTotals& GetFolderListTotals() { return g_folderTotals; }

char TreeSeparator(const char* caller) {
  char who[kPathBuf];
  snprintf(who, sizeof who, "%s:", caller);
  return CurrentKindSeparator(who);
}

void MakeDepthKey(int depth, const char* text, char* out, size_t outSize) {
  if (depth >= 0 && depth <= 999 && outSize > 4) {  // "%3d*": the common case without printf
    char digits[4] = {' ', ' ', static_cast<char>('0' + depth % 10), '\0'};
    if (depth >= 10) digits[1] = static_cast<char>('0' + depth / 10 % 10);
    if (depth >= 100) digits[0] = static_cast<char>('0' + depth / 100);
    Text(out, outSize) << digits << "*" << text;
    return;
  }
  snprintf(out, outSize, "%3d%s%s", depth, "*", text ? text : "");
}

int ReadDepthKey(const char* key, const char** text) {
  const char* star = strchr(key, '*');
  if (text) *text = star ? star + 1 : "";
  return atoi(key);
}

int CountRecordDepth(const char* record, char separator) {
  int pieces = 0;
  bool inPiece = false;
  for (const char* p = record; *p; ++p) {
    if (*p == separator) {
      inPiece = false;
    } else if (!inPiece) {
      inPiece = true;
      ++pieces;
    }
  }
  return pieces - 1;
}

void MakeTreeRowRecord(const liststruct* r, char* out, size_t outSize) {
  // "dd.mm.yyyy hh:mm"
  const SYSTEMTIME& d = r->date;
  char date[17] = {static_cast<char>('0' + d.wDay / 10 % 10), static_cast<char>('0' + d.wDay % 10), '.',
                   static_cast<char>('0' + d.wMonth / 10 % 10), static_cast<char>('0' + d.wMonth % 10), '.',
                   static_cast<char>('0' + d.wYear / 1000 % 10), static_cast<char>('0' + d.wYear / 100 % 10),
                   static_cast<char>('0' + d.wYear / 10 % 10), static_cast<char>('0' + d.wYear % 10), ' ',
                   static_cast<char>('0' + d.wHour / 10 % 10), static_cast<char>('0' + d.wHour % 10), ':',
                   static_cast<char>('0' + d.wMinute / 10 % 10), static_cast<char>('0' + d.wMinute % 10), '\0'};
  Text(out, outSize) << r->path << r->filename << "*" << GetEntryEncryptedText(r) << "*"
                     << static_cast<unsigned long long>(r->compressed) << "*"
                     << static_cast<unsigned long long>(r->uncompressed) << "*" << r->rate << "*" << date << "*"
                     << r->type;
}

void AddRowToFolderIndexes(const liststruct* row) {
  if (!g_paths || !g_rows) return;
  const char* path = row->path ? row->path : "";
  if (!g_lastPathValid || g_lastPath != path) {
    if (!g_paths->count || !Holds(g_paths, path)) {
      RBTreeInsert(g_paths, Dup(path), nullptr);
      RBTreeInsert(g_rows, Dup(path), nullptr);
    }
    g_lastPath = path;
    g_lastPathValid = true;
  }
  char record[kPathBuf * 3];
  MakeTreeRowRecord(row, record, sizeof record);
  RBTreeInsert(g_rows, Dup(record), nullptr);
}

void BuildFolderKeys(char separator) {
  if (!g_paths || !g_folder) return;
  for (RBNode* n = RBTreeFirst(g_paths, g_paths->root->left); n != g_paths->nil; n = RBTreeSuccessor(g_paths, n)) {
    if (!*Key(n)) continue;
    char copy[kPathBuf];
    snprintf(copy, sizeof copy, "%s", Key(n));
    char* components[kPathBuf];
    int count = SplitFields(copy, separator, components, kPathBuf);
    char prefix[kPathBuf] = "";
    char key[kPathBuf + 8];
    for (int depth = 0; depth < count; ++depth) {
      if (depth == 0)
        snprintf(prefix, sizeof prefix, "%s", components[0]);
      else
        snprintf(prefix + strlen(prefix), sizeof prefix - strlen(prefix), "%c%s", separator, components[depth]);
      MakeDepthKey(depth, prefix, key, sizeof key);
      if (Holds(g_folder, key)) continue;
      Log(9, GetVerbose(), "SynchronizeTreeViewThread: inserting(%d) into TVRBTreeFolder %s", depth ? 2 : 1, key);
      RBTreeInsert(g_folder, Dup(key), nullptr);
    }
  }
}

void BuildDataReadyKeys(char separator) {
  if (!g_rows || !g_dataReady) return;
  int which = separator == '/' ? 1 : 2;
  char key[kPathBuf * 3 + 8];
  for (RBNode* n = RBTreeFirst(g_rows, g_rows->root->left); n != g_rows->nil; n = RBTreeSuccessor(g_rows, n)) {
    if (!*Key(n)) continue;
    MakeDepthKey(CountRecordDepth(Key(n), separator), Key(n), key, sizeof key);
    Log(9, GetVerbose(), "SynchronizeTreeViewThread: inserting(%d) into TVRBTreeDataReady %s", which, key);
    RBTreeInsert(g_dataReady, Dup(key), nullptr);
  }
}

void BuildComboPaths() {
  if (!g_folder || !g_combo) return;
  if (g_combo->count) {  // built again: the box is rebuilt, not extended
    RBTreeDestroy(&g_combo);
    g_combo = CreateStringIndex();
  }
  for (RBNode* n = RBTreeFirst(g_folder, g_folder->root->left); n != g_folder->nil; n = RBTreeSuccessor(g_folder, n)) {
    const char* path;
    ReadDepthKey(Key(n), &path);
    RBTreeInsert(g_combo, Dup(path), nullptr);
  }
}

size_t WalkPrefixRun(RBTree* index, const char* prefix, const std::function<void(RBNode*)>& visit) {
  if (!index) return 0;
  RBCompareFn ordered = index->compare;
  index->compare = RBStringPrefixCompare;
  size_t visited = 0;
  RBNode* node = RBTreeSearch(index, prefix);
  if (node) {
    for (RBNode* before = RBTreePredecessor(index, node);
         before != index->nil && RBStringPrefixCompare(before->key, prefix) == 0;
         before = RBTreePredecessor(index, before))
      node = before;
    while (node != index->nil && RBStringPrefixCompare(node->key, prefix) == 0) {
      RBNode* next = RBTreeSuccessor(index, node);  // visit may delete the node it is given
      visit(node);
      ++visited;
      node = next;
    }
  }
  index->compare = ordered;
  return visited;
}

void ReadTreeRecord(const char* dataReadyKey, char separator, TreeRecordFields* out) {
  *out = TreeRecordFields{};
  char copy[kPathBuf * 3 + 8];
  snprintf(copy, sizeof copy, "%s", dataReadyKey);
  char* fields[8] = {};
  int n = SplitFields(copy, '*', fields, 8);
  // fields: depth, full name, [encrypted,] compressed, uncompressed, rate, date, type. An
  // empty encrypted field joins the stars around it; rate, date and type are never empty.
  out->encrypted = n == 8;
  if (out->encrypted) {
    for (int i = 2; i < 7; ++i) fields[i] = fields[i + 1];
    --n;
  }
  snprintf(out->fullName, sizeof out->fullName, "%s", n > 1 ? fields[1] : "");
  const char* last = strrchr(out->fullName, separator);
  out->displayName = last ? last + 1 : out->fullName;
  out->hasSizes = n > 3;
  // The record holds the sizes in full; a 32-bit read turned one of 2 GiB or more negative.
  out->compressed = n > 2 ? strtoull(fields[2], nullptr, 10) : 0;
  out->uncompressed = n > 3 ? strtoull(fields[3], nullptr, 10) : 0;
  const char* date = n > 5 ? fields[5] : "";
  if (strlen(date) >= 16) {
    out->stamp.second = 0;
    out->stamp.minute = TwoDigits(date + 14);
    out->stamp.hour = TwoDigits(date + 11);
    out->stamp.day = TwoDigits(date);
    out->stamp.month = TwoDigits(date + 3) - 1;
    out->stamp.year = TwoDigits(date + 6) * 100 + TwoDigits(date + 8);
  }
}

void FormatTreeSizeText(double value, char* out, size_t outSize) {
  static const char* const kUnits[] = {"B", "KB", "MB", "GB"};
  int unit = 0;
  while (unit < 3 && value > 999) {
    value /= 1024;
    ++unit;
  }
  char plain[64];
  UINT digits;
  if (value < 10) {
    snprintf(plain, sizeof plain, "%1.2f", value);
    digits = 2;
  } else if (value < 100) {
    snprintf(plain, sizeof plain, "%2.1f", value);
    digits = 1;
  } else {
    snprintf(plain, sizeof plain, "%3.0f", value);
    digits = 0;
  }
  char decimal[8] = ".", thousand[8] = ",";
  GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, decimal, sizeof decimal);
  GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_STHOUSAND, thousand, sizeof thousand);
  NUMBERFMTA format = {};
  format.NumDigits = digits;
  format.LeadingZero = 1;
  format.Grouping = 3;
  format.lpDecimalSep = decimal;
  format.lpThousandSep = thousand;
  format.NegativeOrder = 1;
  char grouped[64];
  if (!GetNumberFormatA(LOCALE_SYSTEM_DEFAULT, 0, plain, &format, grouped, sizeof grouped))
    snprintf(grouped, sizeof grouped, "%s", plain);
  snprintf(out, outSize, "%s %s", grouped, kUnits[unit]);
}

int GetDataReadyMaxDepth() {
  if (!g_dataReady || !g_dataReady->count) return -1;
  int deepest = -1;
  for (RBNode* n = RBTreeFirst(g_dataReady, g_dataReady->root->left); n != g_dataReady->nil;
       n = RBTreeSuccessor(g_dataReady, n)) {
    int depth = atoi(Key(n));
    if (depth > deepest) deepest = depth;
  }
  return deepest;
}

namespace {

// Level by level from depth on, every key of the index under the path; past the deepest
// level of the data the walk gives up.
template <typename Visit>
void WalkLevels(RBTree* index, int depth, const char* path, int deepest, const char* what, Visit visit) {
  char key[kPathBuf + 8];
  for (int level = depth;; ++level) {
    MakeDepthKey(level, path, key, sizeof key);
    if (WalkPrefixRun(index, key, [&](RBNode* n) { visit(Key(n)); })) continue;
    if (level > deepest) break;
    Log(6, GetVerbose(), "%s nothing found yet will try it with: %3d%s%s", what, level + 1, "*", path);
  }
  Log(6, GetVerbose(), "%s nothing found - giving up\n--%s--", what, path);
}

}  // namespace

void CollectFolderTotals(int depth, const char* path, FolderTotals* out) {
  *out = FolderTotals{};
  int deepest = GetDataReadyMaxDepth();
  if (deepest < 0) return;
  char separator = TreeSeparator("DisplayTreeItemProperties");
  auto count = [&](const char* record) {
    TreeRecordFields fields;
    ReadTreeRecord(record, separator, &fields);
    out->found = true;
    size_t length = strlen(fields.fullName);
    if (length && fields.fullName[length - 1] == separator) return;
    ++out->entries;
    if (!fields.hasSizes) printf("s is null %s\n", record);
    out->compressed += fields.compressed;
    out->uncompressed += fields.uncompressed;
  };
  WalkLevels(g_dataReady, depth, path, deepest, "DisplayTreeItemProperties", count);
  if (!out->found) return;
  WalkLevels(g_folder, depth, path, deepest, "DisplayTreeItemProperties", [&](const char*) { ++out->folders; });
}
