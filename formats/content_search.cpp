#include "services/base.h"
#include "formats/content_search.h"

#include "formats/formats.h"
#include "services/log.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
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

int ReadEntry(void* reader, char* data, unsigned size) {
  return static_cast<int>(static_cast<ArchiveReader*>(reader)->Read(data, size));
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

namespace {

std::string SlashName(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

std::unique_ptr<ArchiveReader> OpenReader(int kind, const char* archive, std::unique_ptr<char[]>* buffer) {
  int error = 0;
  std::unique_ptr<ArchiveReader> reader = OpenArchiveReader(kind, archive, &error);
  buffer->reset(new (std::nothrow) char[kContentBuffer]);
  if (reader && *buffer) return reader;
  Log(0, GetVerbose(), "HandleSearchView: %s cannot be read: %s", archive, EntryStreamErrorText(error));
  return nullptr;
}

int SearchEntry(ArchiveReader* reader, const StreamEntry& entry, const ContentPattern& pattern, char* buffer) {
  int found = SearchContentStream(pattern, ReadEntry, reader, buffer, static_cast<unsigned>(kContentChunk), entry.size);
  InterlockedIncrement(&g_entriesSearched);
  if (found == CONTENT_READ_ERROR) Log(0, GetVerbose(), "HandleSearchView: %s cannot be read", entry.name.c_str());
  return found;
}

}  // namespace

int SearchArchiveEntries(int kind, const char* archive, const ContentPattern& pattern, ContentSearchWalk* walk,
                         const ContentSearchHooks* hooks) {
  walk->end = CONTENT_WALK_FAILED;
  walk->entriesRead = 0;
  std::unique_ptr<char[]> buffer;
  std::unique_ptr<ArchiveReader> reader = OpenReader(kind, archive, &buffer);
  if (!reader) return -1;
  walk->end = CONTENT_WALK_LAST;
  int result = -1, ordinal = -1, moved;
  StreamEntry entry;
  while ((moved = reader->Next(&entry)) == 0) {
    if (++ordinal <= walk->start) continue;
    if (hooks && hooks->cancelled && hooks->cancelled(hooks->context)) {
      walk->end = CONTENT_WALK_CANCELLED;
      break;
    }
    if (hooks && hooks->entry) hooks->entry(hooks->context, entry.name.c_str(), ordinal);
    int found = SearchEntry(reader.get(), entry, pattern, buffer.get());
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
  if (moved < 0) {
    Log(0, GetVerbose(), "HandleSearchView: the entries of %s cannot be read further", archive);
    walk->end = CONTENT_WALK_FAILED;
  }
  return result;
}

int SearchArchiveRows(int kind, const char* archive, const std::vector<std::pair<int, std::string>>& rows,
                      const ContentPattern& pattern, ContentSearchWalk* walk, const ContentSearchHooks* hooks) {
  walk->end = CONTENT_WALK_FAILED;
  walk->entriesRead = 0;
  std::unique_ptr<char[]> buffer;
  std::unique_ptr<ArchiveReader> reader = OpenReader(kind, archive, &buffer);
  if (!reader) return -1;
  walk->end = CONTENT_WALK_LAST;
  std::unordered_map<std::string, std::vector<int>> wanted;
  for (const auto& row : rows) wanted[SlashName(row.second)].push_back(row.first);
  // The walk may end once every row numbered before the best hit so far has been searched.
  int best = -1, highest = -1, moved = 0;
  size_t before = rows.size();  // rows not yet searched that are numbered before the best hit
  StreamEntry entry;
  while (before && (moved = reader->Next(&entry)) == 0) {
    auto at = wanted.find(SlashName(entry.name));
    if (at == wanted.end()) continue;
    std::vector<int> numbers = std::move(at->second);
    wanted.erase(at);
    if (hooks && hooks->cancelled && hooks->cancelled(hooks->context)) {
      walk->end = CONTENT_WALK_CANCELLED;
      return -1;
    }
    if (hooks && hooks->entry) hooks->entry(hooks->context, entry.name.c_str(), numbers.front());
    int found = SearchEntry(reader.get(), entry, pattern, buffer.get());
    if (found == CONTENT_READ_ERROR) {
      walk->end = CONTENT_WALK_FAILED;
      return -1;
    }
    ++walk->entriesRead;
    for (int number : numbers) {
      highest = std::max(highest, number);
      if (best < 0 || number < best) --before;
    }
    int first = *std::min_element(numbers.begin(), numbers.end());
    if (found == CONTENT_HIT && (best < 0 || first < best)) {
      best = first;
      before = 0;
      for (const auto& left : wanted)
        for (int number : left.second) before += number < best;
    }
  }
  if (best >= 0) {
    walk->end = CONTENT_WALK_HIT;
    highest = best;
  } else if (moved < 0) {
    walk->end = CONTENT_WALK_FAILED;
  }
  if (walk->highest && *walk->highest < highest) *walk->highest = highest;
  return best;
}

long GetContentEntriesSearched() { return g_entriesSearched; }
