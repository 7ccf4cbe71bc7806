// Entries read as streams through the table of kinds: the same files in every kind, read
// whole, in pieces and skipped; wrong passwords and damage end an entry with an error, never
// with bytes taken as good; and the bridge that turns a pushing walk into a reader.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "model/app_state.h"
#include "services/current_password.h"
#include "services/prompts.h"
#include "test_support.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

const char* const kFiles[] = {"a.txt", "b.txt", "d/c.txt", "d/e.txt", "d/f.txt", "g.txt"};

std::string Expected(const std::string& name) { return ReadFileBytes(TestData("files/" + Separated(name))); }

// The rest of the current entry in pieces of chunk bytes: 0 and the bytes, or the error.
int ReadRest(ArchiveReader* reader, size_t chunk, std::string* out) {
  std::vector<char> piece(chunk);
  for (;;) {
    int64_t n = reader->Read(piece.data(), chunk);
    if (n <= 0) return static_cast<int>(n);
    out->append(piece.data(), static_cast<size_t>(n));
  }
}

struct KindCase {
  int kind;
  const char* archive;
};
const KindCase kKinds[] = {
    {ARCHIVE_ZIP, "search.zip"},
    {ARCHIVE_TAR, "search.tar.gz"},
    {ARCHIVE_ISO, "search.iso"},
    {ARCHIVE_RAR, "search.rar"},
};

TEST(EntryStream, EveryKindReadsTheSameFilesWholeInPiecesAndSkipped) {
  RegisterArchiveFormats();
  for (const KindCase& k : kKinds) {
    // Every entry read whole with an odd chunk; then every third skipped and every third
    // left after ten bytes, which must not disturb the one after it.
    for (int pass = 0; pass < 2; ++pass) {
      int error = 0;
      std::unique_ptr<ArchiveReader> reader = OpenArchiveReader(k.kind, TestData(k.archive).c_str(), &error);
      ASSERT_TRUE(reader) << k.archive << " " << error;
      std::vector<std::string> names;
      StreamEntry entry;
      int i = 0;
      for (; (error = reader->Next(&entry)) == 0; ++i) {
        std::string name = Separated(entry.name), want = Expected(entry.name), got;
        names.push_back(name);
        EXPECT_EQ(entry.size, want.size()) << k.archive << " " << name;
        if (pass == 1 && i % 3 == 0) continue;
        if (pass == 1 && i % 3 == 2) {
          char ten[10];
          EXPECT_EQ(reader->Read(ten, sizeof ten), std::min<int64_t>(10, want.size())) << k.archive << " " << name;
          continue;
        }
        EXPECT_EQ(ReadRest(reader.get(), pass ? 65536 : 7, &got), 0) << k.archive << " " << name;
        EXPECT_EQ(got, want) << k.archive << " " << name;
      }
      EXPECT_EQ(error, 1) << k.archive;
      std::sort(names.begin(), names.end());
      EXPECT_EQ(names, std::vector<std::string>(std::begin(kFiles), std::end(kFiles))) << k.archive;
    }
    // By name, either separator; a folder or a missing name is no entry.
    for (const char* name : {"d\\f.txt", "d/e.txt", "g.txt"}) {
      StreamEntry entry;
      int error = 0;
      std::unique_ptr<ArchiveReader> reader =
          OpenEntryStream(k.kind, TestData(k.archive).c_str(), name, &entry, &error);
      ASSERT_TRUE(reader) << k.archive << " " << name << " " << error;
      std::string got;
      EXPECT_EQ(ReadRest(reader.get(), 4096, &got), 0);
      EXPECT_EQ(got, Expected(name)) << k.archive << " " << name;
    }
    for (const char* name : {"d", "nope.txt"}) {
      StreamEntry entry;
      int error = 0;
      EXPECT_FALSE(OpenEntryStream(k.kind, TestData(k.archive).c_str(), name, &entry, &error));
      EXPECT_EQ(error, STREAM_NOT_FOUND) << k.archive << " " << name;
    }
  }
}

TEST(EntryStream, PasswordsAndDamageEndTheEntryWithTheirError) {
  RegisterArchiveFormats();
  struct {
    int kind;
    const char* archive;
    const char* password;  // null: none set, and the question is cancelled
    const char* entry;
    int result;
  } cases[] = {
      {ARCHIVE_ZIP, "secret.zip", "right", "d/f.txt", 0},
      {ARCHIVE_ZIP, "aes.zip", "right", "d/f.txt", 0},
      {ARCHIVE_ZIP, "secret.zip", "wrong", "d/f.txt", STREAM_WRONG_PASSWORD},
      {ARCHIVE_ZIP, "aes.zip", "wrong", "b.txt", STREAM_WRONG_PASSWORD},
      {ARCHIVE_ZIP, "secret.zip", nullptr, "b.txt", STREAM_CANCELLED},
      {ARCHIVE_ZIP, "damaged.zip", "", "stored.txt", STREAM_DAMAGED},
      {ARCHIVE_ZIP, "damaged.zip", "", "deflated.txt", STREAM_DAMAGED},
      {ARCHIVE_TAR, "cut.tar", "", "d/f.txt", STREAM_DAMAGED},
      {ARCHIVE_RAR, "secret.rar", "right", "d/f.txt", 0},
      {ARCHIVE_RAR, "secret.rar", "wrong", "b.txt", STREAM_WRONG_PASSWORD},
      {ARCHIVE_RAR, "secret.rar", nullptr, "d/e.txt", STREAM_CANCELLED},
  };
  GetPrompts().password = [](HWND, char*) { return false; };
  for (const auto& c : cases) {
    SetCurrentPassword(c.password ? c.password : "");
    StreamEntry entry;
    int error = 0;
    std::unique_ptr<ArchiveReader> reader =
        OpenEntryStream(c.kind, TestData(c.archive).c_str(), c.entry, &entry, &error);
    ASSERT_TRUE(reader) << c.archive << " " << c.entry;
    std::string got;
    EXPECT_EQ(ReadRest(reader.get(), 1000, &got), c.result) << c.archive << " " << c.entry;
    if (!c.result) {
      EXPECT_EQ(got, Expected(c.entry));
    }
    // An entry that ended with an error gives nothing more.
    char more[16];
    EXPECT_EQ(reader->Read(more, sizeof more), c.result) << c.archive << " " << c.entry;
  }
  SetCurrentPassword("");
  ResetPrompts();
}

// Viewing and "open with" take an entry through its kind's writeTemp: its bytes replace an
// older copy in the temporary folder (TAR keeps the entry's folders, the others its last
// name) and go at exit; a folder or a missing entry writes nothing and is told.
TEST(EntryStream, EveryKindWritesAnEntryToTheTemporaryFolder) {
  RegisterArchiveFormats();
  RecordedBoxes boxes;
  char stale[kPathBuf], temp[kPathBuf];
  ASSERT_TRUE(TempTarget("f.txt", stale, temp));
  WriteFileBytes(stale, std::string(5000, 's'));
  struct {
    int kind;
    const char* archive;
    const char* password;
    const char* entry;
    const char* written;  // below the temporary folder; null: refused
  } cases[] = {
      {ARCHIVE_ZIP, "search.zip", "", "d\\f.txt", "f.txt"},
      {ARCHIVE_ZIP, "aes.zip", "right", "d\\f.txt", "f.txt"},
      {ARCHIVE_TAR, "search.tar.gz", "", "d/f.txt", "d\\f.txt"},
      {ARCHIVE_ISO, "search.iso", "", "d\\f.txt", "f.txt"},
      {ARCHIVE_RAR, "secret.rar", "right", "d\\f.txt", "f.txt"},
      {ARCHIVE_ZIP, "search.zip", "", "d\\", nullptr},
      {ARCHIVE_ZIP, "search.zip", "", "nope.txt", nullptr},
      {ARCHIVE_TAR, "search.tar.gz", "", "nope.txt", nullptr},
      {ARCHIVE_ISO, "search.iso", "", "nope.txt", nullptr},
      {ARCHIVE_RAR, "search.rar", "", "nope.txt", nullptr},
  };
  std::vector<std::string> written;
  for (const auto& c : cases) {
    SetCurrentPassword(c.password);
    SetArchiveEncrypted(*c.password != 0);
    boxes.texts.clear();
    char target[kPathBuf] = "x";
    int result = FindArchiveFormat(c.kind)->ops.writeTemp(TestData(c.archive).c_str(), c.entry, target);
    if (!c.written) {
      EXPECT_NE(result, 0) << c.archive << " " << c.entry;
      EXPECT_STREQ(target, "") << c.archive << " " << c.entry;
      EXPECT_EQ(boxes.texts.size(), 1u) << c.archive << " " << c.entry;
      continue;
    }
    EXPECT_EQ(result, 0) << c.archive << " " << c.entry;
    EXPECT_EQ(std::string(target), std::string(temp) + c.written) << c.archive;
    EXPECT_EQ(ReadFileBytes(target), Expected("d/f.txt")) << c.archive;
    EXPECT_TRUE(boxes.texts.empty()) << c.archive;
    written.push_back(target);
  }
  SetCurrentPassword("");
  SetArchiveEncrypted(0);
  DeleteTempFiles();
  for (const std::string& path : written) EXPECT_FALSE(Exists(path)) << path;
}

// A walk over entries in memory, pushed in pieces the way a library's callback hands them.
struct Pushed {
  std::string name;
  std::string data;
  int end;  // what the entry's data ends with
};

PushWalk WalkOf(const std::vector<Pushed>* entries, int archiveEnd, std::vector<std::string>* skipped) {
  return [=](PushSink* sink) -> int {
    for (const Pushed& e : *entries) {
      if (!sink->Entry({e.name, e.data.size()})) {
        if (sink->Stopped()) return STREAM_CANCELLED;
        skipped->push_back(e.name);
        continue;
      }
      for (size_t at = 0; at < e.data.size(); at += 100000)
        if (!sink->Data(e.data.data() + at, std::min<size_t>(100000, e.data.size() - at))) return STREAM_CANCELLED;
      sink->EntryEnd(e.end);
    }
    return archiveEnd;
  };
}

TEST(EntryStream, APushingWalkReadsAsAPullingOne) {
  std::string big;
  for (int i = 0; big.size() < (3u << 20); ++i) big += std::to_string(i) + ",";
  const std::vector<Pushed> entries = {
      {"one", "first", 0}, {"big", big, 0}, {"skipped", big, 0}, {"cut", big.substr(0, 70000), STREAM_DAMAGED},
      {"left", big, 0},    {"last", "", 0},
  };
  std::vector<std::string> skipped;
  std::unique_ptr<ArchiveReader> reader = ReaderFromPushWalk(WalkOf(&entries, STREAM_FAILED, &skipped));
  ASSERT_TRUE(reader);
  StreamEntry entry;
  for (const Pushed& e : entries) {
    ASSERT_EQ(reader->Next(&entry), 0);
    EXPECT_EQ(entry.name, e.name);
    EXPECT_EQ(entry.size, e.data.size());
    if (e.name == "skipped") continue;
    std::string got;
    if (e.name == "left") {  // a part is read, the rest dropped
      char part[5000];
      EXPECT_EQ(reader->Read(part, sizeof part), 5000);
      continue;
    }
    EXPECT_EQ(ReadRest(reader.get(), e.name == "big" ? 777 : 65536, &got), e.end) << e.name;
    EXPECT_EQ(got, e.data) << e.name;
  }
  // The walk's own failure after the last entry.
  EXPECT_EQ(reader->Next(&entry), STREAM_FAILED);
  EXPECT_EQ(skipped, std::vector<std::string>{"skipped"});

  // Gone in the middle of an entry larger than the buffer: the walk is told and ends.
  reader = ReaderFromPushWalk(WalkOf(&entries, 0, &skipped));
  ASSERT_EQ(reader->Find("big", &entry), 0);
  char part[10];
  EXPECT_EQ(reader->Read(part, sizeof part), 10);
  reader.reset();
}

}  // namespace
