#include "services/base.h"
#include "zip/content_search.h"

#include "services/log.h"
#include "zip/entry_names.h"
#include "zip/extract.h"
#include "zip/zip_open.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

namespace {

volatile LONG g_entriesSearched = 0;

// Only ASCII letters fold: a byte of a UTF-8 sequence never turns into another one.
inline unsigned char Fold(unsigned char c) { return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 32) : c; }
inline unsigned char Unfold(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + 32) : c;
}

bool EndsWord(unsigned char c) {
  switch (c) {
    case 0: case ' ': case '.': case ',': case ';': case ':': case '!': case '\r': case '\n': case '\t':
      return true;
    default:
      return false;
  }
}

// The first byte in s[0, n) equal to a or b; the candidates of a case-blind search are rare
// enough that a 16-byte scan for them is most of the work.
const unsigned char* FindEither(const unsigned char* s, size_t n, unsigned char a, unsigned char b) {
  if (a == b) return static_cast<const unsigned char*>(memchr(s, a, n));
  const __m128i va = _mm_set1_epi8(static_cast<char>(a));
  const __m128i vb = _mm_set1_epi8(static_cast<char>(b));
  size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
    int mask = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, va), _mm_cmpeq_epi8(v, vb)));
    if (mask) return s + i + __builtin_ctz(static_cast<unsigned>(mask));
  }
  for (; i < n; ++i)
    if (s[i] == a || s[i] == b) return s + i;
  return nullptr;
}

// The bytes after the first, which the scan already matched.
bool SameRest(const ContentPattern& p, const unsigned char* s) {
  if (p.matchCase) return memcmp(s + 1, p.text + 1, p.length - 1) == 0;
  for (size_t k = 1; k < p.length; ++k)
    if (Fold(s[k]) != p.text[k]) return false;
  return true;
}

int ReadZipEntry(void* zip, char* data, unsigned size) {
  return unzReadCurrentFile(static_cast<unzFile>(zip), data, size);
}

// Searches the current entry of an open archive; CONTENT_READ_ERROR when it cannot be opened
// or read.
int SearchCurrentEntry(unzFile zip, const ContentPattern& pattern, char* buffer) {
  unz_file_info64 info = {};
  if (unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) return CONTENT_READ_ERROR;
  int error = OpenCurrentEntry(zip);
  if (error != UNZ_OK) {
    Log(1, GetVerbose(), "SearchCurrentEntry: cannot open the entry (%d)", error);
    return CONTENT_READ_ERROR;
  }
  int found =
      SearchContentStream(pattern, ReadZipEntry, zip, buffer, static_cast<unsigned>(kContentChunk), info.uncompressed_size);
  // A search that stopped early leaves the checksum unchecked: the close's complaint about
  // it means nothing here.
  unzCloseCurrentFile(zip);
  InterlockedIncrement(&g_entriesSearched);
  return found;
}

}  // namespace

void PrepareContentPattern(ContentPattern* pattern, const char* text, int wholeWord, int matchCase) {
  memset(pattern, 0, sizeof *pattern);
  size_t n = text ? strlen(text) : 0;
  if (n > kPathBuf - 1) n = kPathBuf - 1;
  for (size_t i = 0; i < n; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    pattern->text[i] = matchCase ? c : Fold(c);
  }
  pattern->length = n;
  pattern->wholeWord = wholeWord ? 1 : 0;
  pattern->matchCase = matchCase ? 1 : 0;
}

bool MatchContentWindow(const ContentPattern& p, const char* window, size_t size, size_t from, bool atEnd,
                        size_t* next) {
  const unsigned char* w = reinterpret_cast<const unsigned char*>(window);
  size_t pos = from;
  // An occurrence is decided here when its bytes, and under whole word the byte after them,
  // are in the window; the end of the data stands in for that byte.
  size_t needed = p.length + (p.wholeWord && !atEnd ? 1 : 0);
  if (p.length && size >= needed) {
    size_t last = size - needed;
    unsigned char first = p.text[0];
    unsigned char other = p.matchCase ? first : Unfold(first);
    while (pos <= last) {
      const unsigned char* hit = FindEither(w + pos, last - pos + 1, first, other);
      if (!hit) {
        pos = last + 1;
        break;
      }
      size_t at = static_cast<size_t>(hit - w);
      if (!SameRest(p, hit)) {
        pos = at + 1;
        continue;
      }
      if (!p.wholeWord) return true;
      size_t after = at + p.length;
      if (after == size || EndsWord(w[after])) return true;
      pos = after;
    }
  }
  *next = pos;
  return false;
}

int SearchContentStream(const ContentPattern& pattern, ContentReadFn read, void* source, char* buffer,
                        unsigned chunk, uint64_t limit) {
  if (!pattern.length) return CONTENT_NO_HIT;
  if (chunk > kContentChunk) chunk = static_cast<unsigned>(kContentChunk);
  // The chunk is inflated right behind what the previous one left undecided, so an
  // occurrence across the seam is seen whole without copying the chunk.
  char* data = buffer + kContentCarry;
  const size_t keep = pattern.length + (pattern.wholeWord ? 1 : 0) - 1;
  size_t carried = 0, from = 0;
  uint64_t total = 0;
  for (;;) {
    unsigned want = limit - total < chunk ? static_cast<unsigned>(limit - total) : chunk;
    int n = want ? read(source, data, want) : 0;
    if (n < 0) return CONTENT_READ_ERROR;
    total += static_cast<unsigned>(n);
    bool end = n == 0 || total >= limit;
    if (const void* zero = n > 0 ? memchr(data, 0, static_cast<size_t>(n)) : nullptr) {
      n = static_cast<int>(static_cast<const char*>(zero) - data);
      end = true;
    }
    const char* window = data - carried;
    size_t size = carried + static_cast<size_t>(n);
    size_t next = 0;
    if (MatchContentWindow(pattern, window, size, from, end, &next)) return CONTENT_HIT;
    if (end) return CONTENT_NO_HIT;
    size_t k = size < keep ? size : keep;
    size_t start = size - k;
    from = next > start ? next - start : 0;
    memmove(data - k, window + start, k);
    carried = k;
  }
}

int SearchZipEntries(const char* archive, const ContentPattern& pattern, ContentSearchWalk* walk,
                     const ContentSearchHooks* hooks) {
  walk->end = CONTENT_WALK_FAILED;
  walk->entriesRead = 0;
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) return -1;
  unz_global_info64 global = {};
  int error = unzGetGlobalInfo64(zip, &global);
  if (error != UNZ_OK) {
    Log(0, GetVerbose(), "HandleSearchView: error %d with zipfile in unzGetGlobalInfo", error);
    unzClose(zip);
    return -1;
  }
  char* buffer = static_cast<char*>(malloc(kContentBuffer));
  if (!buffer) {
    unzClose(zip);
    return -1;
  }
  int result = -1;
  int ordinal = -1;
  walk->end = CONTENT_WALK_LAST;
  std::string entryName;  // the names the list shows, so that hits name the same rows
  for (uint64_t i = 0; i < global.number_entry; ++i) {
    if (i > 0 && (error = unzGoToNextFile(zip)) != UNZ_OK) {
      Log(0, GetVerbose(), "HandleSearchView: error %d with zipfile in unzGoToNextFile", error);
      break;
    }
    unz_file_info64 info = {};
    if (ReadCurrentEntryName(zip, &info, &entryName) != UNZ_OK) {
      walk->end = CONTENT_WALK_FAILED;
      break;
    }
    const char* name = entryName.c_str();
    if (!*LastNamePart(name)) continue;  // a folder has no row
    if (++ordinal <= walk->start) continue;
    if (hooks && hooks->cancelled && hooks->cancelled(hooks->context)) {
      walk->end = CONTENT_WALK_CANCELLED;
      break;
    }
    if (hooks && hooks->entry) hooks->entry(hooks->context, name, ordinal);
    int found = SearchCurrentEntry(zip, pattern, buffer);
    if (found == CONTENT_READ_ERROR) {
      walk->end = CONTENT_WALK_FAILED;
      break;
    }
    ++walk->entriesRead;
    if (walk->highest && *walk->highest < ordinal) *walk->highest = ordinal;
    if (found == CONTENT_HIT) {
      walk->end = CONTENT_WALK_HIT;
      result = ordinal;
      break;
    }
  }
  free(buffer);
  unzClose(zip);
  return result;
}

bool LocateZipEntries(unzFile zip, std::vector<ZipEntrySpot>* spots) {
  // Rows of the same name all take the first entry of that name.
  std::unordered_map<std::string, std::vector<ZipEntrySpot*>> wanted;
  for (ZipEntrySpot& spot : *spots) {
    spot.found = false;
    std::string key = spot.name;
    std::replace(key.begin(), key.end(), '\\', '/');
    wanted[key].push_back(&spot);
  }
  size_t left = wanted.size();
  std::string entry;
  int error = unzGoToFirstFile(zip);
  for (; error == UNZ_OK && left; error = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    if (ReadCurrentEntryName(zip, &info, &entry) != UNZ_OK) return false;
    std::replace(entry.begin(), entry.end(), '\\', '/');
    auto at = wanted.find(entry);
    if (at == wanted.end() || at->second.front()->found) continue;
    unz64_file_pos position;
    if (unzGetFilePos64(zip, &position) != UNZ_OK) return false;
    for (ZipEntrySpot* spot : at->second) {
      spot->position = position;
      spot->found = true;
    }
    --left;
  }
  return error == UNZ_OK || error == UNZ_END_OF_LIST_OF_FILE;
}

int SearchZipEntryAt(unzFile zip, const ZipEntrySpot& spot, const ContentPattern& pattern, char* buffer) {
  unz64_file_pos position = spot.position;
  if (!spot.found || unzGoToFilePos64(zip, &position) != UNZ_OK) return CONTENT_READ_ERROR;
  return SearchCurrentEntry(zip, pattern, buffer);
}

long GetContentEntriesSearched() { return g_entriesSearched; }
