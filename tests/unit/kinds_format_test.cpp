// The read-only kinds of iso.dll's walk through their rows of the table: listings against what
// the peers list, extraction and stream reading byte for byte against what the peers
// extracted, the chosen rows and a folder, hostile names, damage, and files whose names lie
// about their kind.
#include "services/base.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/listing_totals.h"
#include "services/prompts.h"
#include "test_support.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_run.h"
#include "ui/entry_list.h"

namespace {

const ArchiveOperations& Ops(int kind) {
  static bool registered = (RegisterArchiveFormats(), true);
  (void)registered;
  return FindArchiveFormat(kind)->ops;
}

struct Listed : KindListed {
  Listed(int kind, const std::string& name) : KindListed(kind, Ops(kind).listing, TestData(name)) {}
  // "size<TAB>path" per file row, "/" between folders, as the generator wrote the peers' lists.
  std::multiset<std::string> Rows() const {
    std::multiset<std::string> rows;
    for (int row = 0; row < window.Rows(); ++row) {
      liststruct* record = GetRowRecord(window.list, row);
      rows.insert(std::to_string(record->uncompressed) + "\t" + Separated(FullName(row)));
    }
    return rows;
  }
};

std::multiset<std::string> Expected(const std::string& name) {
  std::ifstream in(TestData(name + ".expect"), std::ios::binary);
  std::multiset<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.insert(line);
  return lines;
}

// Each file's size and a digest of its bytes, by name: short enough to read in a failure.
std::string Digest(const std::string& bytes) {
  return std::to_string(bytes.size()) + "/" + std::to_string(std::hash<std::string>()(bytes));
}

std::map<std::string, std::string> Bytes(const FolderContents& folder) {
  std::map<std::string, std::string> bytes;
  for (const auto& file : folder.files) bytes[file.first] = Digest(file.second.bytes);
  return bytes;
}

struct Job {
  ExtractJob job = {};
  EntrySelection chosen;
  Job(const std::string& archive, const std::string& destination) {
    job.silent = 1;
    snprintf(job.archive, sizeof job.archive, "%s", archive.c_str());
    snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  }
};

// Every file entry through the kind's stream reader, by its "/" name.
std::map<std::string, std::string> Streamed(int kind, const std::string& archive) {
  std::map<std::string, std::string> bytes;
  int error = 0;
  std::unique_ptr<ArchiveReader> reader = OpenArchiveReader(kind, archive.c_str(), &error);
  EXPECT_TRUE(reader) << archive << " " << error;
  if (!reader) return bytes;
  StreamEntry entry;
  while (reader->Next(&entry) == 0) {
    std::string data;
    EXPECT_EQ(ReadWholeEntry(reader.get(), &data, 1 << 30), 0) << entry.name;
    bytes[Separated(entry.name)] = Digest(data);
  }
  return bytes;
}

class Kinds : public ::testing::Test {
 protected:
  RecordedBoxes boxes;
  void TearDown() override { ResetPrompts(); }
};

TEST_F(Kinds, ListExtractAndStreamAsThePeersDo) {
  const struct {
    const char* archive;
    int kind;
  } cases[] = {
      {"tree.cab", ARCHIVE_CAB},  {"stored.lzh", ARCHIVE_LZH},  {"tree.cpio", ARCHIVE_CPIO},
      {"flat.ar", ARCHIVE_AR},    {"package.deb", ARCHIVE_AR},  {"package.rpm", ARCHIVE_RPM},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    EXPECT_EQ(DecideArchiveKind(TestData(c.archive).c_str()), c.kind);
    Listed listed(c.kind, c.archive);
    EXPECT_EQ(listed.Rows(), Expected(c.archive));
    FolderContents ref = Contents(TestData(std::string("ref_") + c.archive));
    std::string out = ScratchDir("kinds_all");
    Job all(listed.block.path, out);
    all.job.extractAll = 1;
    EXPECT_EQ(Ops(c.kind).extract(&all.job), 0);
    FolderContents got = Contents(out);
    EXPECT_EQ(Bytes(got), Bytes(ref));
    EXPECT_EQ(got.folders, ref.folders);  // empty folders come along
    EXPECT_EQ(Streamed(c.kind, listed.block.path), Bytes(ref));
    EXPECT_TRUE(boxes.texts.empty());
  }
}

TEST_F(Kinds, TheChosenRowsAFolderAndATest) {
  Listed listed(ARCHIVE_CPIO, "tree.cpio");
  std::string src = TestData("src");
  std::string some = ScratchDir("kinds_some");
  Job chosen(listed.block.path, some);
  for (const char* name : {"data\\random.bin", "Привет\\мир.txt"})
    ListView_SetItemState(listed.window.list, listed.Row(name), LVIS_SELECTED, LVIS_SELECTED);
  CopyEntrySelection(listed.window.list, &chosen.chosen);
  chosen.job.chosen = &chosen.chosen;
  EXPECT_EQ(Ops(ARCHIVE_CPIO).extract(&chosen.job), 0);
  EXPECT_EQ(FileNames(some), (std::set<std::string>{"data/random.bin", "Привет/мир.txt"}));
  EXPECT_EQ(ReadFileBytes(some + "\\data\\random.bin"), ReadFileBytes(src + "\\data\\random.bin"));

  std::string below = ScratchDir("kinds_folder");
  Job folder(listed.block.path, below);
  EXPECT_EQ(Ops(ARCHIVE_CPIO).extractFolder(&folder.job, "docs\\"), 0);
  EXPECT_EQ(FileNames(below), (std::set<std::string>{"docs/numbers.txt", "docs/zero.bin"}));

  const struct {
    const char* archive;
    int kind;
    int result;
    uint64_t tested;
    bool failed;
  } tests[] = {{"tree.cpio", ARCHIVE_CPIO, 0, 8, false}, {"cut.cpio", ARCHIVE_CPIO, 0, 2, true}};
  for (const auto& t : tests) {
    uint64_t tested = 0;
    EXPECT_EQ(Ops(t.kind).test(TestData(t.archive).c_str(), nullptr, 1, &tested), t.result) << t.archive;
    EXPECT_EQ(tested, t.tested) << t.archive;
    EXPECT_EQ(!GetLastRunFailures().items.empty(), t.failed) << t.archive;
  }
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(Kinds, HostileNamesAndLinksAreNeverWritten) {
  std::string parent = ScratchDir("kinds_hostile");
  std::string out = parent + "\\inside";
  CreateDirectoryA(out.c_str(), nullptr);
  Job hostile(TestData("hostile.cpio"), out);
  hostile.job.extractAll = 1;
  Ops(ARCHIVE_CPIO).extract(&hostile.job);
  // The CPIO's first twin declares no data; its second carries it.
  EXPECT_EQ(Bytes(Contents(parent)), (std::map<std::string, std::string>{{"inside/good.txt", Digest("good\n")},
                                                                         {"inside/twin-a.txt", Digest("")},
                                                                         {"inside/twin-b.txt", Digest("shared\n")}}));
  ASSERT_EQ(boxes.texts.size(), 1u);
  for (const char* refused : {"up.txt", "absolute.txt", "drive.txt", "stream.txt:hidden", "CON", "link"})
    EXPECT_NE(boxes.texts[0].find(refused), std::string::npos) << refused;
}

TEST_F(Kinds, DamageListsWhatCouldBeReadAndIsToldOnce) {
  const struct {
    const char* archive;
    int kind;
    int rows;
  } cases[] = {{"cut.cpio", ARCHIVE_CPIO, 3}, {"zip-named.bin", ARCHIVE_CAB, 0}};
  for (const auto& c : cases) {
    boxes.texts.clear();
    Listed listed(c.kind, c.archive);
    EXPECT_EQ(listed.window.Rows(), c.rows) << c.archive;
    ASSERT_EQ(boxes.texts.size(), 1u) << c.archive;
    EXPECT_NE(boxes.texts[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos) << c.archive;
  }
}

TEST_F(Kinds, ContentDecidesWhereTheNameLies) {
  const struct {
    const char* file;
    int kind;
  } cases[] = {
      {"zip-named.bin", ARCHIVE_ZIP},
      {"seven-named.zip", ARCHIVE_7Z},
      {"seven-without-suffix", ARCHIVE_7Z},
      {"self-extracting.exe", ARCHIVE_7Z},
  };
  for (const auto& c : cases) EXPECT_EQ(DecideArchiveKind(TestData(c.file).c_str()), c.kind) << c.file;
  Listed listed(ARCHIVE_7Z, "seven-named.zip");
  EXPECT_EQ(listed.Rows(), Expected("solid.7z"));
  EXPECT_TRUE(boxes.texts.empty());
}

}  // namespace
