// The TAR adapter with the real tar.dll: rows and totals of a listing, extraction of the
// list's selection or of all rows, viewing one entry, adding to an archive, deleting and
// renaming entries.
#include "services/base.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <algorithm>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/formats.h"
#include "formats/tar_format.h"
#include "jobs/change_set.h"
#include "kestrelia_tar.h"
#include "services/runtime_library.h"
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
  // A name longer than the library's record holds is shown whole.
  TarListed deep(TestData("longpath.tar"));
  ASSERT_EQ(deep.window.Rows(), 1);
  EXPECT_GT(deep.FullName(0).size(), 300u);
  EXPECT_STREQ(GetRowRecord(deep.window.list, 0)->filename, ("file_" + std::string(40, 'f') + ".txt").c_str());
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

// Nothing lands outside the destination, no link is written (so a file meant to go through
// one lands in a plain folder), and the refusals are told once.
TEST_F(TarFormat, HostileEntriesStayInsideAndAreReportedOnce) {
  ExtractJob job = {};
  job.silent = 1;
  job.extractAll = 1;
  snprintf(job.archive, sizeof job.archive, "%s", TestData("hostile.tar").c_str());
  std::string root = ScratchDir("tar_adapter_hostile"), out = root + "\\dest\\inner";
  snprintf(job.destination, sizeof job.destination, "%s", out.c_str());
  ExtractTarFilesFromList(&job);
  for (const std::string& name : FileNames(root)) EXPECT_EQ(name.rfind("dest/inner/", 0), 0u) << name;
  std::set<std::string> inside = FileNames(out);
  for (const char* written : {"good.txt", "also-good/inside.txt", "outlink/escaped-through-link.txt"})
    EXPECT_TRUE(inside.count(written)) << written;
  for (const char* refused : {"outlink", "hard-out", "hard-abs", "con.txt"}) EXPECT_FALSE(inside.count(refused)) << refused;
  // A hard link inside the destination to a file of the run is fine.
  if (inside.count("also-good/hard-in")) EXPECT_EQ(ReadFileBytes(out + "\\also-good\\hard-in"), "good\n");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(KLANG_MSG_UNSAFE_NAMES_SKIPPED)), std::string::npos);
  for (const char* name : {"../escaped-dotdot.txt", "outlink", "con.txt"})
    EXPECT_NE(boxes.texts[0].find(name), std::string::npos) << name;
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

// ---- delete, rename and move -------------------------------------------------------------

KESTRELIA_RUNTIME_LIBRARY(TestTarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

// Every name the archive holds, folders with their "/", as tar.dll reads them.
std::vector<std::string> TarEntryNames(const std::string& path) {
  std::vector<std::string> names;
  if (!LoadRuntimeLibrary(&TestTarDll::Library())) return names;
  TarHandle archive = TestTarDll::TarOpenArchive()(nullptr, path.c_str(), 0);
  TarFindRecord record;
  for (int more = TestTarDll::TarFindFirst()(archive, "", &record); more == 0;
       more = TestTarDll::TarFindNext()(archive, &record))
    names.emplace_back(record.name, strnlen(record.name, sizeof record.name));
  TestTarDll::TarCloseArchive()(archive);
  std::sort(names.begin(), names.end());
  return names;
}

// The compression, by the first bytes.
std::string Compression(const std::string& path) {
  std::string head = ReadFileBytes(path).substr(0, 4);
  if (head.substr(0, 3) == "BZh") return "bzip2";
  if (head.substr(0, 2) == "\x1f\x8b") return "gzip";
  if (head == "\xfd" "7zX") return "xz";
  return head == "\x28\xb5\x2f\xfd" ? "zstd" : "none";
}

enum class TarJob { Rename, Delete, Add };

struct TarChangeCase {
  const char* title;
  const char* archive;
  TarJob job;
  const char* from;  // an entry, or a folder ending in a separator, as the window names it
  const char* to;
};

const TarChangeCase kTarChanges[] = {
    {"delete from a plain archive", "gnu_ustar.tar", TarJob::Delete, "readme.txt", nullptr},
    {"delete a folder from a gzip archive", "gnu_pax.tar.gz", TarJob::Delete, "docs/", nullptr},
    {"rename in a gzip archive", "gnu_pax.tar.gz", TarJob::Rename, "docs/numbers.txt", "docs/counted.txt"},
    {"move a file in a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Rename, "docs/zero.bin", "empty\\zero.bin"},
    {"move a folder in a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Rename, "docs\\", "empty\\inner\\docs\\"},
    {"add to a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Add, "new.txt", nullptr},
    {"rename in an xz archive", "gnu_pax.tar.xz", TarJob::Rename, "readme.txt", "docs\\readme.txt"},
    {"delete from a zstd archive", "gnu_pax.tzst", TarJob::Delete, "data/", nullptr},
};

// What a name becomes: unchanged, gone (""), or with the new path in place of the old.
std::string NameAfter(const std::string& name, const TarChangeCase& c) {
  std::string from = Separated(c.from);
  bool concerned = from.back() == '/' ? name.compare(0, from.size(), from) == 0 : name == from;
  if (!concerned || c.job == TarJob::Add) return name;
  return c.job == TarJob::Delete ? "" : Separated(c.to) + name.substr(from.size());
}

class TarChanges : public ::testing::TestWithParam<TarChangeCase> {
 protected:
  RecordedBoxes boxes;
};

int RunTarChange(const TarChangeCase& c, const std::string& archive, bool matching, std::string* failure) {
  const ArchiveOperations& ops = FindArchiveFormat(ARCHIVE_TAR)->ops;
  if (c.job == TarJob::Add) {
    ZipWorkBlock* block = NewZipWorkBlock();
    snprintf(block->archive, kPathBuf, "%s", archive.c_str());
    block->files = static_cast<char(*)[kPathBuf]>(calloc(1, kPathBuf));
    snprintf(block->files[0], kPathBuf, "%s", (ScratchDir("tar_change_inputs") + "\\" + c.from).c_str());
    WriteFileBytes(block->files[0], "new");
    block->fileCount = 1;
    block->add = 1;
    block->silent = 1;
    return static_cast<int>(ops.add(block));
  }
  RBTree* changes = CreateChangeSet();
  AddChangeRecord(changes, matching ? c.from : "absent.txt", c.to, 0);
  char text[kPathBuf * 3] = "";
  int result = (c.job == TarJob::Delete ? ops.remove : ops.rename)(archive.c_str(), changes, text, sizeof text);
  DestroyChangeSet(&changes);
  *failure = text;
  return result;
}

TEST_P(TarChanges, KeepTheCompressionTheFoldersAndWhatIsTheUsers) {
  const TarChangeCase& c = GetParam();
  RegisterTarFormat();
  std::string dir = ScratchDir("tar_change"), archive = dir + "\\" + c.archive, failure;
  ASSERT_TRUE(CopyFileA(TestData(c.archive).c_str(), archive.c_str(), FALSE));
  // The user's own files under names a working file could have.
  const char* mine[] = {".tmp", ".kestrelia-new"};
  for (const char* suffix : mine) WriteFileBytes(archive + suffix, "my notes");
  std::string bytes = ReadFileBytes(archive);
  std::vector<std::string> before = TarEntryNames(archive);
  ASSERT_FALSE(before.empty());

  bool adding = c.job == TarJob::Add;
  if (!adding) EXPECT_EQ(RunTarChange(c, archive, false, &failure), kRewriteUnmatched) << c.title;
  EXPECT_EQ(ReadFileBytes(archive), bytes) << c.title;
  SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(RunTarChange(c, archive, true, &failure), adding ? CREATE_READ_ONLY : -9) << c.title;
  if (!adding) EXPECT_NE(failure.find(archive), std::string::npos) << c.title << ": " << failure;
  EXPECT_EQ(ReadFileBytes(archive), bytes) << c.title;
  EXPECT_TRUE(GetFileAttributesA(archive.c_str()) & FILE_ATTRIBUTE_READONLY) << c.title;
  SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_NORMAL);

  ASSERT_EQ(RunTarChange(c, archive, true, &failure), 0) << c.title << ": " << failure;
  std::vector<std::string> expected;
  for (const std::string& name : before)
    if (!NameAfter(name, c).empty()) expected.push_back(NameAfter(name, c));
  if (adding) expected.push_back(c.from);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(TarEntryNames(archive), expected) << c.title;
  EXPECT_EQ(Compression(archive), Compression(TestData(c.archive))) << c.title;
  for (const char* suffix : mine) EXPECT_EQ(ReadFileBytes(archive + suffix), "my notes") << c.title << suffix;
  EXPECT_FALSE(Exists(archive + ".~kst1.tmp")) << c.title;
  EXPECT_FALSE(Exists(archive + ".kestrelia-new-1")) << c.title;
}

INSTANTIATE_TEST_SUITE_P(Table, TarChanges, ::testing::ValuesIn(kTarChanges));

}  // namespace

namespace {

// A copy that meets damage half way fails: the archive stays as it was and no working file
// is left beside it.
TEST_F(TarFormat, ARewriteThatMeetsDamageLeavesTheArchiveAsItWas) {
  RegisterTarFormat();
  std::string dir = ScratchDir("tar_damaged"), archive = dir + "\\truncated.tar.gz";
  ASSERT_TRUE(CopyFileA(TestData("truncated.tar.gz").c_str(), archive.c_str(), FALSE));
  std::string bytes = ReadFileBytes(archive), failure;
  TarChangeCase c = {"rename in a damaged archive", "truncated.tar.gz", TarJob::Rename, "readme.txt", "r.txt"};
  EXPECT_LT(RunTarChange(c, archive, true, &failure), 0);
  EXPECT_NE(failure.find(archive), std::string::npos) << failure;
  EXPECT_EQ(ReadFileBytes(archive), bytes);
  EXPECT_FALSE(Exists(archive + ".tmp"));
}

}  // namespace
