// The ISO adapter with the real iso.dll: rows and totals of a listing, extraction of the
// list's selection, of all rows and of a folder, hidden and hostile entries, viewing.
#include "services/base.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/iso_format.h"
#include "kestrelia_lang.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "services/prompts.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "jobs/entry_failures.h"
#include "zip/extract.h"

namespace {

struct IsoListed : KindListed {
  explicit IsoListed(const std::string& path) : KindListed(ARCHIVE_ISO, ListIsoFilesThread, path) {}
  void Select(std::initializer_list<const char*> names) {
    for (const char* name : names) ListView_SetItemState(window.list, Row(name), LVIS_SELECTED, LVIS_SELECTED);
  }
};

struct Job {
  ExtractJob job = {};
  EntrySelection chosen;
  Job(const std::string& image, const std::string& destination) {
    job.silent = 1;
    snprintf(job.archive, sizeof job.archive, "%s", image.c_str());
    snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  }
  void Choose(HWND list) {
    CopyEntrySelection(list, &chosen);
    job.chosen = &chosen;
  }
};

class IsoFormat : public ::testing::Test {
 protected:
  RecordedBoxes boxes;
  void TearDown() override { ResetPrompts(); }
};

TEST_F(IsoFormat, ListsFilesWithBackslashPathsInEveryScript) {
  IsoListed listed(TestData("joliet.iso"));
  EXPECT_EQ(listed.window.Rows(), 4);
  EXPECT_EQ(GetListingTotals().entries, 4u);
  EXPECT_EQ(GetListingTotals().uncompressed, 8u + 29 + 16 + 6);
  EXPECT_EQ(GetListingTotals().compressed, GetListingTotals().uncompressed);
  int row = listed.Row("日本語\\ファイル名.txt");
  ASSERT_GE(row, 0);
  liststruct* record = GetRowRecord(listed.window.list, row);
  EXPECT_STREQ(record->filename, "ファイル名.txt");
  EXPECT_STREQ(record->path, "日本語\\");
  EXPECT_EQ(record->date.wYear, 2021);
  EXPECT_EQ(record->date.wSecond, 0);  // the image says 11:12:14
  EXPECT_GE(listed.Row("Привет\\мир.txt"), 0);
  EXPECT_GE(listed.Row("Größe und Maße\\Übersicht.txt"), 0);
  EXPECT_STREQ(GetRowRecord(listed.window.list, listed.Row("plain.txt"))->path, "");
  EXPECT_TRUE(boxes.texts.empty());

  IsoListed folders(TestData("folders.iso"));
  EXPECT_EQ(folders.window.Rows(), 0);
  EXPECT_EQ(GetListingTotals().entries, 0u);
  EXPECT_EQ(GetListingTotals().uncompressed, 0u);
}

TEST_F(IsoFormat, DatesFollowTheRecordsRules) {
  const struct {
    IsoDate date;
    int day, month, year;
  } cases[] = {
      {{2024, 2, 0, 29, 23, 59, 58, 0}, 29, 1, 2024},
      {{1900, 0, 0, 0, 0, 0, 0, 0}, 1, 0, 1970},  // a record without a date
      {{1999, 12, 0, 0, 1, 2, 3, 0}, 1, 11, 1999},
  };
  for (const auto& c : cases) {
    EntryStamp stamp = IsoEntryStamp(c.date);
    EXPECT_EQ(std::vector<int>({stamp.second, stamp.day, stamp.month, stamp.year}),
              std::vector<int>({0, c.day, c.month, c.year}));
  }
}

TEST_F(IsoFormat, ExtractsTheSelectionAFolderOrEverything) {
  IsoListed listed(TestData("rockridge.iso"));
  std::string some = ScratchDir("iso_adapter_some");
  Job chosen(listed.block.path, some);
  listed.Select({"data\\random.bin", "Mixed Case Name.txt"});
  chosen.Choose(listed.window.list);
  EXPECT_EQ(ExtractIsoFilesFromList(&chosen.job), 0);
  EXPECT_EQ(FileNames(some), (std::set<std::string>{"data/random.bin", "Mixed Case Name.txt"}));
  EXPECT_EQ(ReadFileBytes(some + "\\data\\random.bin"), ReadFileBytes(TestData("src_deep/data/random.bin")));

  std::string below = ScratchDir("iso_adapter_folder");
  Job folder(listed.block.path, below);
  EXPECT_EQ(ExtractIsoFolder(&folder.job, "level00\\level01\\level02\\level03\\level04\\level05\\"), 0);
  ASSERT_EQ(FileNames(below).size(), 1u);
  EXPECT_EQ(FileNames(below).begin()->rfind("level00/level01/", 0), 0u);

  std::string all = ScratchDir("iso_adapter_all");
  Job everything(listed.block.path, all);
  everything.job.extractAll = 1;
  EXPECT_EQ(ExtractIsoFilesFromList(&everything.job), 0);
  EXPECT_EQ(FileNames(all), FileNames(TestData("ref_rockridge.iso")));
  EXPECT_TRUE(boxes.texts.empty());
}

// Not even to the temporary folder for viewing, where the user learns it cannot be shown.
TEST_F(IsoFormat, HiddenEntriesAreListedButNeverWritten) {
  IsoListed listed(TestData("hidden.iso"));
  EXPECT_EQ(listed.window.Rows(), 3);
  std::string out = ScratchDir("iso_adapter_hidden");
  Job job(listed.block.path, out);
  listed.Select({"SECRET.TXT", "VISIBLE.TXT"});
  job.Choose(listed.window.list);
  EXPECT_EQ(ExtractIsoFilesFromList(&job.job), 0);
  EXPECT_EQ(FileNames(out), (std::set<std::string>{"VISIBLE.TXT"}));
  EXPECT_TRUE(boxes.texts.empty());
  char written[kPathBuf], temp[kPathBuf];
  ASSERT_TRUE(TempTarget("SECRET.TXT", written, temp));
  EXPECT_EQ(WriteIsoEntryToTemp(listed.block.path, "SECRET.TXT", written), 1);
  EXPECT_EQ(boxes.texts.size(), 1u);
  EXPECT_FALSE(Exists(std::string(temp) + "SECRET.TXT"));
}

int g_answer;

TEST_F(IsoFormat, AnExistingFileIsReplacedOnlyWhenTheUserSaysSo) {
  GetPrompts().overwriteQuestion = [](HWND, const char*, const char*, const char*) { return g_answer; };
  const struct {
    int answer;  // yes, yes to all, no, cancel
    const char* left;
    int result;
  } cases[] = {{0, "for everyone\n", 0}, {1, "for everyone\n", 0}, {2, "old", 0}, {3, "old", 100}};
  for (const auto& c : cases) {
    std::string out = ScratchDir("iso_adapter_overwrite");
    WriteFileBytes(out + "\\VISIBLE.TXT", "old");
    Job job(TestData("hidden.iso"), out);
    job.job.overwriteMode = OVERWRITE_ASK;
    g_answer = c.answer;
    EXPECT_EQ(ExtractIsoFilesFromList(&job.job), c.result) << c.answer;
    EXPECT_EQ(ReadFileBytes(out + "\\VISIBLE.TXT"), c.left) << c.answer;
  }
}

// Every hostile name is refused and nothing lands outside the destination; the entry a cut
// runs through leaves nothing behind. Each run names its failures in one message.
TEST_F(IsoFormat, RefusedAndFailedEntriesAreNamedOnce) {
  std::string root = ScratchDir("iso_adapter_hostile"), out = root + "\\dest\\inner";
  Job hostile(TestData("hostile.iso"), out);
  ExtractIsoFilesFromList(&hostile.job);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(kEntryFailuresHeading)), std::string::npos);
  EXPECT_NE(boxes.texts[0].find("ESCAPED-DOTDOT"), std::string::npos);
  EXPECT_EQ(GetLastRunFailures().items.size(), 7u);
  EXPECT_EQ(FileNames(root), (std::set<std::string>{"dest/inner/GOOD.TXT", "dest/inner/ALSO-GOOD.TXT"}));

  boxes.texts.clear();
  std::string cutOut = ScratchDir("iso_adapter_cut");
  Job cut(TestData("truncated.iso"), cutOut);
  ExtractIsoFilesFromList(&cut.job);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find("data\\random.bin"), std::string::npos);
  EXPECT_NE(boxes.texts[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos);
  for (const std::string& name : FileNames(cutOut)) EXPECT_EQ(name.find("random.bin"), std::string::npos) << name;
}

TEST_F(IsoFormat, TestReadsEveryEntryAndNamesWhatFails) {
  const struct {
    const char* image;
    int result;
    uint64_t tested;
    bool failed;
  } cases[] = {{"rockridge.iso", 0, 4, false}, {"truncated.iso", 0, 0, true}, {"garbage.iso", -1, 0, false}};
  for (const auto& c : cases) {
    uint64_t tested = 99;
    EXPECT_EQ(TestIsoFiles(TestData(c.image).c_str(), nullptr, 1, &tested), c.result) << c.image;
    EXPECT_EQ(tested, c.tested) << c.image;
    EXPECT_EQ(!GetLastRunFailures().items.empty(), c.failed) << c.image;
  }
}

TEST_F(IsoFormat, DamagedImagesAreToldOnce) {
  for (const char* image : {"garbage.iso", "huge.iso"}) {
    boxes.texts.clear();
    IsoListed listed(TestData(image));
    EXPECT_EQ(listed.window.Rows(), 0) << image;
    ASSERT_EQ(boxes.texts.size(), 1u) << image;
    EXPECT_NE(boxes.texts[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos) << image;
  }
}

}  // namespace
