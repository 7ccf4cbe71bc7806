// The TAR adapter with the real tar.dll: rows and totals of a listing, extraction of the
// list's selection or of all rows, viewing one entry, adding to an archive.
#include "services/base.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/tar_format.h"
#include "kestrelia_lang.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "ui/entry_list.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/create.h"
#include "zip/extract.h"

namespace {

struct TarListed : KindListed {
  explicit TarListed(const std::string& path) : KindListed(ARCHIVE_TAR, ListTarFilesThread, path) {}
};

class TarFormat : public ::testing::Test {
 protected:
  RecordedBoxes boxes;
};

TEST_F(TarFormat, ListsFilesWithSlashPathsAndFolderSizesInTheTotals) {
  TarListed listed(TestData("bsd_pax.tar.bz2"));
  // Folders are not rows; every file is.
  EXPECT_EQ(listed.window.Rows(), 7);
  EXPECT_EQ(GetListingTotals().entries, 7u);
  EXPECT_EQ(GetListingTotals().uncompressed, 9u + 168890 + 280 + 0 + 70000 + 5 + 5);
  EXPECT_EQ(GetListingTotals().compressed, GetListingTotals().uncompressed);  // 0 counts as the size
  int row = listed.Row("docs/deep/er/note.md");
  ASSERT_GE(row, 0);
  liststruct* record = GetRowRecord(listed.window.list, row);
  EXPECT_STREQ(record->filename, "note.md");
  EXPECT_STREQ(record->path, "docs/deep/er/");
  EXPECT_EQ(record->date.wSecond, 0);  // the archive says 18:00:03
  EXPECT_EQ(record->date.wMinute, 0);
  EXPECT_EQ(record->compressed, 280u);
  int top = listed.Row("readme.txt");
  ASSERT_GE(top, 0);
  EXPECT_STREQ(GetRowRecord(listed.window.list, top)->path, "");
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(TarFormat, ExtractsTheSelectionOrEverything) {
  TarListed listed(TestData("gnu_pax.tar.gz"));
  ExtractJob job = {};
  job.silent = 1;
  snprintf(job.archive, sizeof job.archive, "%s", listed.block.path);
  std::string some = ScratchDir("tar_adapter_some");
  snprintf(job.destination, sizeof job.destination, "%s", some.c_str());
  for (const char* name : {"docs/numbers.txt", "data/random.bin"})
    ListView_SetItemState(listed.window.list, listed.Row(name), LVIS_SELECTED, LVIS_SELECTED);
  EntrySelection chosen;
  CopyEntrySelection(listed.window.list, &chosen);
  job.chosen = &chosen;
  EXPECT_EQ(ExtractTarFilesFromList(&job), 0);
  EXPECT_EQ(FileNames(some), (std::set<std::string>{"docs/numbers.txt", "data/random.bin"}));

  job.chosen = nullptr;
  std::string all = ScratchDir("tar_adapter_all");
  snprintf(job.destination, sizeof job.destination, "%s", all.c_str());
  job.extractAll = 1;
  EXPECT_EQ(ExtractTarFilesFromList(&job), 0);
  EXPECT_EQ(FileNames(all), FileNames(TestData("ref_gnu_pax.tar.gz")));
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(TarFormat, HostileEntriesAreReportedOnce) {
  ExtractJob job = {};
  job.silent = 1;
  job.extractAll = 1;
  snprintf(job.archive, sizeof job.archive, "%s", TestData("hostile.tar").c_str());
  std::string out = ScratchDir("tar_adapter_hostile");
  snprintf(job.destination, sizeof job.destination, "%s", out.c_str());
  ExtractTarFilesFromList(&job);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(KLANG_MSG_UNSAFE_NAMES_SKIPPED)), std::string::npos);
  EXPECT_NE(boxes.texts[0].find("../escaped-dotdot.txt"), std::string::npos);
}

TEST_F(TarFormat, ViewWritesTheEntryBelowTheTemporaryFolder) {
  char temp[MAX_PATH];
  GetTempPathA(MAX_PATH, temp);
  std::string written = std::string(temp) + "bin\\tool.exe";
  DeleteFileA(written.c_str());
  // A program entry asks before it starts; the answer is no, so nothing outlives the test.
  boxes.answer = IDCANCEL;
  EXPECT_EQ(ViewTarFile(TestData("view.tar").c_str(), "bin/tool.exe", 0), 1);
  EXPECT_EQ(ReadFileBytes(written), std::string("MZ\0\0", 4));
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(KLANG_MSG_START_PROGRAM_QUESTION)), std::string::npos);
  EXPECT_EQ(ViewTarFile(TestData("view.tar").c_str(), "", 0), 1);
  DeleteFileA(written.c_str());
}

// The window's add run: a folder goes in with what lies below it, names from its parent.
// (A new archive through the adapter is the end-to-end test's File > New archive.)
TEST_F(TarFormat, TheAddRunAppendsFoldersWithTheirContents) {
  std::string archive = ScratchDir("tar_adapter_add_run") + "\\copy.tar";
  ASSERT_TRUE(CopyFileA(TestData("gnu_ustar.tar").c_str(), archive.c_str(), FALSE));
  ZipWorkBlock* block = static_cast<ZipWorkBlock*>(calloc(1, sizeof(ZipWorkBlock)));
  block->add = block->recurse = 1;
  block->fileCount = 2;
  block->files = static_cast<char(*)[kPathBuf]>(calloc(2, kPathBuf));
  snprintf(block->files[0], kPathBuf, "%s", TestData("add/extra").c_str());
  snprintf(block->files[1], kPathBuf, "%s", TestData("add/readme.txt").c_str());
  snprintf(block->archive, kPathBuf, "%s", archive.c_str());
  int result = -1;
  block->result = &result;
  TarWorkThread(block);
  EXPECT_EQ(result, CREATE_OK);
  TarListed listed(archive);
  EXPECT_EQ(listed.window.Rows(), 9);
  EXPECT_EQ(listed.FullName(7), "extra/new.txt");  // after the archive's own entries
  EXPECT_EQ(listed.FullName(8), "readme.txt");
}

// The library tells of the damage through the program's prompts, as every box of the
// program goes (a real box would wait here for a person).
TEST_F(TarFormat, ADamagedArchiveListsWhatCameBeforeTheDamage) {
  HiddenEntryList owner;
  SetMainWindowHandle(owner.parent);
  TarListed listed(TestData("truncated.tar.gz"));
  SetMainWindowHandle(nullptr);
  EXPECT_GT(listed.window.Rows(), 0);
  EXPECT_LT(listed.window.Rows(), 7);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.titles[0], "tar.dll");
}

}  // namespace
