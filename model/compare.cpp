#include "services/base.h"
#include "model/compare.h"

#include "model/archive_kind.h"
#include "model/zipentry.h"
#include "services/log.h"

#include <cstdio>
#include <cstring>

namespace {

int Sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

unsigned char FoldAscii(unsigned char c) { return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c; }

int CompareFolded(const char* a, const char* b) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(a);
  const unsigned char* q = reinterpret_cast<const unsigned char*>(b);
  while (*p && FoldAscii(*p) == FoldAscii(*q)) ++p, ++q;
  return Sign(static_cast<int>(FoldAscii(*p)) - static_cast<int>(FoldAscii(*q)));
}

// A copy cut at 259 characters with every "/" turned into "\".
void Normalise(const char* in, char (&out)[kPathBuf]) {
  size_t i = 0;
  for (; in && in[i] && i < kPathBuf - 1; ++i) out[i] = in[i] == '/' ? '\\' : in[i];
  out[i] = '\0';
}

const char* EntryName(const void* record) {
  const ZipEntry* z = static_cast<const ZipEntry*>(record);
  return (z && z->entry) ? z->entry : "";
}

int FoundIndex(const void* p) { return p ? *static_cast<const int*>(p) : 0; }

}  // namespace

int ZipEntryPathCompare(const void* a, const void* b) {
  int result = CompareFolded(EntryName(a), EntryName(b));
  Log(9, GetVerbose(), "ZipEntryPathCompare %s <=> %s result: %d", EntryName(a), EntryName(b), result);
  return result;
}

int ZipEntryPathCompareCaseSense(const void* a, const void* b) {
  int result = Sign(strcmp(EntryName(a), EntryName(b)));
  Log(9, GetVerbose(), "ZipEntryPathCompareCaseSense %s <=> %s result: %d", EntryName(a), EntryName(b),
      result);
  return result;
}

int ZipEntryIndependentPathCompare(const void* a, const void* b) {
  char x[kPathBuf], y[kPathBuf];
  Normalise(EntryName(a), x);
  Normalise(EntryName(b), y);
  int result = CompareFolded(x, y);
  Log(9, GetVerbose(), "ZipEntryIndependentPathCompare %s <=> %s result: %d", x, y, result);
  return result;
}

int ZipEntryPathStringCompare(const void* name, const void* record) {
  char x[kPathBuf], y[kPathBuf];
  Normalise(static_cast<const char*>(name), x);
  Normalise(EntryName(record), y);
  int result = CompareFolded(x, y);
  Log(9, GetVerbose(), "ZipEntryPathStringCompare %s <=> %s result: %d", y, x, result);
  return result;
}

int PathCompareIndependentCaseSense(const char* a, const char* b) {
  char x[kPathBuf], y[kPathBuf];
  Normalise(a, x);
  Normalise(b, y);
  return Sign(strcmp(x, y));
}

int FoundListCompareEqual(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareEqual %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) - FoundIndex(b);
}

int FoundListCompareSmaller(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareSmaller %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) < FoundIndex(b) ? 1 : 0;
}

int FoundListCompareGreater(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareGreater %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) >= FoundIndex(b) ? 1 : 0;
}

int CompareAbsoluteRelativePathIgnoreSeparatorBackslash(const char* absolute, const char* relative) {
  if (!absolute || !relative) return -1;
  size_t absLen = strlen(absolute);
  size_t relLen = strlen(relative);
  if (relLen > absLen) {
    Log(-1, GetVerbose(),
        "!!! CompareAbsoluteRelativePathIgnoreSeparatorBackslash: RelativePath is larger than "
        "AbsolutePath:\n%s <=> %s !!!\n",
        absolute, relative);
    return -1;
  }
  int kind = GetArchiveKind();
  const signed char* tail = reinterpret_cast<const signed char*>(absolute + absLen - relLen);
  const signed char* rel = reinterpret_cast<const signed char*>(relative);
  for (size_t i = 0; i < relLen; ++i) {
    // An unknown kind is told once per character compared, as it always was.
    const signed char separator = ArchiveFormatOrZip(kind, "!!!")->separator;
    if (tail[i] == separator && rel[i] == separator) continue;
    if (tail[i] != rel[i]) return tail[i] - rel[i];
  }
  return 0;
}
