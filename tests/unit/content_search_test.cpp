// The content search: the matcher's rules on texts cut into every chunk size, and walks over
// real archives made by zip.
#include "services/base.h"

#include <gtest/gtest.h>

#include "test_support.h"
#include "formats/content_search.h"
#include "formats/formats.h"

#include <psapi.h>

#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

struct MemoryStream {
  const std::string* data;
  size_t at;
};

int ReadMemory(void* source, char* out, unsigned size) {
  MemoryStream* s = static_cast<MemoryStream*>(source);
  size_t n = std::min<size_t>(size, s->data->size() - s->at);
  memcpy(out, s->data->data() + s->at, n);
  s->at += n;
  return static_cast<int>(n);
}

int SearchText(const std::string& data, const char* text, int wholeWord, int matchCase, unsigned chunk,
               uint64_t limit) {
  ContentPattern pattern;
  PrepareContentPattern(&pattern, text, wholeWord, matchCase);
  std::vector<char> buffer(kContentBuffer);
  MemoryStream stream = {&data, 0};
  return SearchContentStream(pattern, ReadMemory, &stream, buffer.data(), chunk, limit);
}

struct MatchCase {
  std::string data;
  const char* text;
  int wholeWord;
  int matchCase;
  bool hit;
};

const MatchCase kMatchCases[] = {
    // whole word looks only at the byte after the text
    {"say abc. now", "abc", 1, 0, true},
    {"ends in abc", "abc", 1, 0, true},
    {"xabc is it", "abc", 1, 0, true},
    {"abcd only", "abc", 1, 0, false},
    {"abc_ abc-", "abc", 1, 0, false},
    {"abcd then abc;", "abc", 1, 0, true},
    {"abc\r\n", "abc", 1, 0, true},
    {"abcabc!", "abc", 1, 0, true},
    // a refused occurrence is skipped whole: the one starting inside it is never tried
    {"aaa.", "aa", 1, 0, false},
    {"aaa.", "aa", 0, 0, true},
    // case
    {"ABC", "abc", 0, 0, true},
    {"ABC", "abc", 0, 1, false},
    {"AbC.", "abc", 1, 1, false},
    // ASCII letters fold, the bytes of UTF-8 sequences never do
    {"na\xC3\xAFve", "NA\xC3\xAFVE", 0, 0, true},
    {"na\xC3\xAFve", "NA\xC3\x8FVE", 0, 0, false},
    {"\xC3\xA4rger", "\xC3\x84RGER", 0, 0, false},
    // the data ends at its first zero byte
    {"x\0abc"s, "abc", 0, 0, false},
    {"abc\0x"s, "abc", 1, 0, true},
    {"", "abc", 0, 0, false},
    {"abc", "", 0, 0, false},
    {"ab", "abc", 0, 0, false},
};

TEST(ContentSearch, MatchRulesHoldForEveryChunkSize) {
  // Chunks of one byte up to beyond the data put every seam inside the occurrence and just
  // after it, where whole word waits for the next byte.
  for (const MatchCase& c : kMatchCases)
    for (unsigned chunk = 1; chunk <= c.data.size() + 1; ++chunk)
      EXPECT_EQ(SearchText(c.data, c.text, c.wholeWord, c.matchCase, chunk, c.data.size()), c.hit ? 1 : 0)
          << "text " << c.text << " in \"" << c.data << "\", chunk " << chunk;
}

TEST(ContentSearch, NeverReadsPastTheLimitAndCarriesAcrossFullChunks) {
  EXPECT_EQ(SearchText("xxxxabc", "abc", 0, 0, 3, 6), CONTENT_NO_HIT);
  EXPECT_EQ(SearchText("xxxxabc", "abc", 0, 0, 3, 7), CONTENT_HIT);
  // at the limit, whole word takes the limit as the end of the data
  EXPECT_EQ(SearchText("xxxxabcd", "abc", 1, 0, 3, 7), CONTENT_HIT);
  // a text of the longest length across the seam of two full chunks
  std::string longText(kPathBuf - 1, 'q');
  std::string data(kContentChunk - 100, 'w');
  data += longText + ".";
  EXPECT_EQ(SearchText(data, longText.c_str(), 1, 1, kContentChunk, data.size()), CONTENT_HIT);
  // one more "q": the occurrence is refused and skipped whole, so the one after it is not tried
  data.back() = 'q';
  EXPECT_EQ(SearchText(data, longText.c_str(), 1, 1, kContentChunk, data.size()), CONTENT_NO_HIT);
}

// The ordinals a run of find-nexts visits over one archive, one walk after the other.
std::vector<int> WalkAll(int kind, const char* name, int wholeWord, int matchCase, std::vector<int>* read) {
  ContentPattern pattern;
  PrepareContentPattern(&pattern, "kestrelneedle", wholeWord, matchCase);
  std::string archive = TestData(name);
  std::vector<int> hits;
  int highest = -1;
  for (int start = -1;;) {
    ContentSearchWalk walk = {start, &highest, 0, 0};
    int hit = SearchArchiveEntries(kind, archive.c_str(), pattern, &walk, nullptr);
    read->push_back(walk.entriesRead);
    if (hit < 0) {
      EXPECT_EQ(walk.end, CONTENT_WALK_LAST);
      EXPECT_EQ(highest, 5);
      return hits;
    }
    EXPECT_EQ(walk.end, CONTENT_WALK_HIT);
    hits.push_back(hit);
    start = hit;
  }
}

// The same files in every kind that can search, in the same order.
TEST(ContentSearch, WalksVisitTheHitsInArchiveOrder) {
  RegisterArchiveFormats();
  struct {
    int wholeWord, matchCase;
    std::vector<int> hits, read;
  } cases[] = {
      {0, 0, {1, 3, 4, 5}, {2, 2, 1, 1, 0}},
      {0, 1, {1, 4, 5}, {2, 3, 1, 0}},
      {1, 0, {1, 3, 4}, {2, 2, 1, 1}},
  };
  struct {
    int kind;
    const char* name;
  } archives[] = {{ARCHIVE_ZIP, "search.zip"}, {ARCHIVE_TAR, "search.tar.gz"}, {ARCHIVE_ISO, "search.iso"},
                  {ARCHIVE_RAR, "search.rar"}};
  for (const auto& a : archives)
    for (const auto& c : cases) {
      std::vector<int> read;
      EXPECT_EQ(WalkAll(a.kind, a.name, c.wholeWord, c.matchCase, &read), c.hits) << a.name << c.wholeWord << c.matchCase;
      EXPECT_EQ(read, c.read) << a.name << c.wholeWord << c.matchCase;
    }
}

TEST(ContentSearch, CancelEndsTheWalkBeforeTheNextEntry) {
  RegisterArchiveFormats();
  ContentPattern pattern;
  PrepareContentPattern(&pattern, "kestrelneedle", 0, 0);
  struct Seen {
    std::vector<std::string> names;
  } seen;
  ContentSearchHooks hooks = {&seen,
                              [](void* c, const char* name, int) { static_cast<Seen*>(c)->names.push_back(name); },
                              [](void* c) { return static_cast<Seen*>(c)->names.size() >= 1 ? 1 : 0; }};
  ContentSearchWalk walk = {-1, nullptr, 0, 0};
  EXPECT_EQ(SearchArchiveEntries(ARCHIVE_ZIP, TestData("search.zip").c_str(), pattern, &walk, &hooks), -1);
  EXPECT_EQ(walk.end, CONTENT_WALK_CANCELLED);
  EXPECT_EQ(seen.names, std::vector<std::string>{"a.txt"});
  ContentSearchWalk missing = {-1, nullptr, 0, 0};
  EXPECT_EQ(SearchArchiveEntries(ARCHIVE_ZIP, TestData("none.zip").c_str(), pattern, &missing, nullptr), -1);
  EXPECT_EQ(missing.end, CONTENT_WALK_FAILED);
}

TEST(ContentSearch, AnEntryDeclaringFourGigabytesIsSearchedInBoundedMemory) {
  RegisterArchiveFormats();
  PROCESS_MEMORY_COUNTERS before = {}, after = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &before, sizeof before);
  EXPECT_GT(before.PeakPagefileUsage, 0u);  // the counter is kept at all
  ContentPattern pattern;
  PrepareContentPattern(&pattern, "kestrelneedle", 1, 1);
  ContentSearchWalk walk = {-1, nullptr, 0, 0};
  EXPECT_EQ(SearchArchiveEntries(ARCHIVE_ZIP, TestData("huge.zip").c_str(), pattern, &walk, nullptr), 0);
  GetProcessMemoryInfo(GetCurrentProcess(), &after, sizeof after);
  EXPECT_LT(after.PeakPagefileUsage - before.PeakPagefileUsage, 16u << 20);
}

}  // namespace
