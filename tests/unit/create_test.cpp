// Archive creation through ZipWorkDirectoryThread. The archives written here are checked
// afterwards by the peer tools (tests/data/check_created.py); these tests look at what only
// the program can see: names and flags as written, appends, cancels and failures.
#include "services/base.h"

#include <gtest/gtest.h>

#include "model/app_state.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "settings/values.h"
#include "test_support.h"
#include "unzip.h"
#include "zip/create.h"
#include "jobs/safe_replace.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

struct Entry {
  std::string name;
  uint16_t flag;
  uint16_t method;
  uint64_t size;
  uint64_t packed;
};

std::vector<Entry> ListEntries(const std::string& archive) {
  std::vector<Entry> entries;
  unzFile zip = unzOpen64(archive.c_str());
  if (!zip) return entries;
  for (int err = unzGoToFirstFile(zip); err == UNZ_OK; err = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    char name[kPathBuf];
    unzGetCurrentFileInfo64(zip, &info, name, sizeof name, nullptr, 0, nullptr, 0);
    entries.push_back({name, static_cast<uint16_t>(info.flag), static_cast<uint16_t>(info.compression_method),
                       info.uncompressed_size, info.compressed_size});
  }
  unzClose(zip);
  return entries;
}

std::vector<std::string> Names(const std::string& archive) {
  std::vector<std::string> names;
  for (const Entry& e : ListEntries(archive)) names.push_back(e.name);
  return names;
}

struct Job {
  std::string archive;
  std::string folder;  // walked, when no files
  std::vector<std::string> files;
  std::string prefix, password;
  int prefixMode = 0, plain = 0, level = 6, add = 0, recurse = 1;
};

int RunJob(const Job& job) {
  ZipWorkBlock* block = NewZipWorkBlock();
  snprintf(block->archive, kPathBuf, "%s", job.archive.c_str());
  snprintf(block->folder, kPathBuf, "%s", job.folder.c_str());
  snprintf(block->options.PrefixPath, kPathBuf, "%s", job.prefix.c_str());
  snprintf(block->options.password, kPathBuf, "%s", job.password.c_str());
  block->options.prefixMode = job.prefixMode;
  block->options.prefixRelative = job.prefixMode;
  block->options.plain = job.plain;
  block->options.level = job.level;
  block->add = job.add;
  block->recurse = job.recurse;
  block->silent = 1;
  if (!job.files.empty()) {
    block->files = static_cast<char(*)[kPathBuf]>(calloc(job.files.size(), kPathBuf));
    for (size_t i = 0; i < job.files.size(); ++i) snprintf(block->files[i], kPathBuf, "%s", job.files[i].c_str());
    block->fileCount = static_cast<int>(job.files.size());
  }
  return static_cast<int>(ZipWorkDirectoryThread(block));
}

class Create : public ::testing::Test {
 protected:
  void SetUp() override {
    CancelProgress(0);
    SetSkipCRCCheck(0);
    SetSimulationFlag(0);
    SetSilentProgressReporter(nullptr);
    dir = ScratchDir("create");
  }
  void TearDown() override {
    SetSilentProgressReporter(nullptr);
    CancelProgress(0);
  }
  RecordedBoxes boxes;  // none may wait for a person
  std::string dir;
};

TEST(CreateRules, EntryNames) {
  const struct {
    const char* prefix;
    int prefixMode, relative, plain;
    const char* base;
    const char* path;
    size_t baseLength;
    const char* name;
  } cases[] = {
      // Cut at the element's own folder, "\\" turned into "/".
      {"", 0, 0, 0, "", "C:\\data\\docs\\a.txt", 8, "docs/a.txt"},
      {"", 0, 0, 0, "", "C:\\data\\docs/", 8, "docs/"},
      // The run's base path wins over the element's.
      {"", 0, 0, 0, "C:\\data\\docs", "C:\\data\\docs\\sub\\b.txt", 3, "sub/b.txt"},
      {"", 0, 0, 1, "", "C:\\data\\docs\\sub\\b.txt", 8, "b.txt"},
      {"", 0, 0, 1, "", "C:\\data\\docs\\sub\\", 8, ""},  // no folders when only names are kept
      {"pre\\fix", 0, 0, 0, "", "C:\\data\\a.txt", 8, "pre/fix/a.txt"},
      {"pre\\fix\\", 0, 0, 0, "", "C:\\data\\a.txt", 8, "pre/fix/a.txt"},
      // Prefix mode: the last part, or the part below the base.
      {"a\\b\\", 1, 0, 0, "", "C:\\data\\sub\\c.txt", 8, "a/b/c.txt"},
      {"a\\b", 1, 1, 0, "", "C:\\data\\sub\\c.txt", 8, "a/b/sub/c.txt"},
      {"/a", 1, 1, 0, "", "C:\\data\\sub\\c.txt", 8, "a/sub/c.txt"},
      {"a", 1, 1, 1, "", "C:\\data\\sub\\c.txt", 8, "c.txt"},
      {"", 1, 0, 0, "", "C:\\data\\sub\\", 8, "sub/"},
      // Nothing left after the cut: the file's own name.
      {"", 0, 0, 0, "C:\\data\\a.txt", "C:\\data\\a.txt", 0, "a.txt"},
  };
  for (const auto& c : cases) {
    zfts options = {};
    snprintf(options.PrefixPath, kPathBuf, "%s", c.prefix);
    snprintf(options.basePath, kPathBuf, "%s", c.base);
    options.prefixMode = c.prefixMode;
    options.prefixRelative = c.relative;
    options.plain = c.plain;
    char name[kPathBuf];
    MakeZipEntryName(options, c.path, c.baseLength, name);
    EXPECT_STREQ(name, c.name) << c.path << " prefix " << c.prefix;
  }
}

// Each archive goes into the manifest the peer tools check after this executable.
TEST_F(Create, ArchivesForThePeerTools) {
  const std::string tree = TestData("tree"), out = TestData("out");
  const struct {
    const char* archive;
    Job job;
    uint16_t method;
    int skipCrc;  // the CRC written on closing must still match
  } cases[] = {
      {"deflated.zip", {"", tree}, 8, 0},
      {"stored.zip", {"", tree, {}, "", "", 0, 0, 0}, 0, 0},
      {"encrypted.zip", {"", tree, {}, "", "s3cret pw"}, 8, 0},
      {"prefixed.zip", {"", tree, {}, "pre\\fix\\", "", 1}, 8, 0},
      {"plain.zip", {"", tree, {}, "", "", 0, 1}, 8, 0},
      {"nocrc.zip", {"", tree}, 8, 1},
  };
  std::string manifest;
  for (const auto& c : cases) {
    SetSkipCRCCheck(c.skipCrc);
    Job job = c.job;
    job.archive = out + "\\" + c.archive;
    DeleteFileA(job.archive.c_str());
    ASSERT_EQ(RunJob(job), CREATE_OK) << c.archive;
    std::vector<Entry> entries = ListEntries(job.archive);
    ASSERT_FALSE(entries.empty()) << c.archive;
    for (const Entry& e : entries) {
      bool folder = e.name.back() == '/';
      // Deflated, an entry that would not shrink is stored (random.bin, the short names).
      uint64_t header = job.password.empty() ? 0 : 12;
      if (!folder && e.size && c.method == 8) {
        EXPECT_EQ(e.method == 8, e.packed - header < e.size) << c.archive << " " << e.name;
        if (e.name == "random.bin") EXPECT_EQ(e.method, 0) << c.archive;
        if (e.name == "readme.txt") EXPECT_EQ(e.method, 8) << c.archive;
      } else if (!folder && e.size) {
        EXPECT_EQ(e.method, c.method) << c.archive << " " << e.name;
      }
      bool ascii = true;
      for (unsigned char ch : e.name) ascii = ascii && ch < 0x80;
      EXPECT_EQ((e.flag & 0x800) != 0, !ascii) << c.archive << " " << e.name;
      EXPECT_EQ((e.flag & 1) != 0, !job.password.empty() && !folder) << c.archive << " " << e.name;
    }
    if (job.prefixMode) {
      // The prefix's own folders first, once.
      ASSERT_GE(entries.size(), 2u);
      EXPECT_EQ(entries[0].name, "pre/");
      EXPECT_EQ(entries[1].name, "pre/fix/");
      int count = 0;
      for (const Entry& e : entries) count += e.name == "pre/fix/";
      EXPECT_EQ(count, 1);
    }
    if (job.plain) {
      for (const Entry& e : entries) EXPECT_EQ(e.name.find('/'), std::string::npos) << e.name;
    }
    manifest += std::string(c.archive) + "\t" + job.password + "\t" + (job.prefixMode ? "pre/fix" : "") + "\t" +
                (job.plain ? "1" : "0") + "\n";
  }
  WriteFileBytes(out + "\\manifest.txt", manifest);
}

TEST_F(Create, AppendKeepsTheEntriesAndAddsNewOnes) {
  WriteFileBytes(dir + "\\one.txt", "first file");
  WriteFileBytes(dir + "\\two.txt", "second file");
  std::string archive = dir + "\\grow.zip";
  Job first{archive, "", {dir + "\\one.txt"}};
  ASSERT_EQ(RunJob(first), CREATE_OK);
  Job second{archive, "", {dir + "\\two.txt", TestData("tree\\sub")}};
  second.add = 1;
  ASSERT_EQ(RunJob(second), CREATE_OK);
  std::vector<std::string> names = Names(archive);
  for (const char* name : {"one.txt", "two.txt", "sub/", "sub/deeper/note.txt", "sub/also empty/"})
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
  // Without add the archive is made anew.
  Job fresh{archive, "", {dir + "\\two.txt"}};
  ASSERT_EQ(RunJob(fresh), CREATE_OK);
  EXPECT_EQ(Names(archive), std::vector<std::string>{"two.txt"});
  // Not recursing: the folder and its own files only.
  Job flat{archive, "", {TestData("tree\\sub")}};
  flat.recurse = 0;
  ASSERT_EQ(RunJob(flat), CREATE_OK);
  EXPECT_EQ(Names(archive), (std::vector<std::string>{"sub/", "sub/one.csv"}));
}

void CancelAtFirstReport(const char*) { CancelProgress(1); }

// A run that does not end in a complete archive leaves the old one as it was, byte for byte,
// and no working file behind.
TEST_F(Create, FailedOrCancelledRunsLeaveTheArchiveAsItWas) {
  WriteFileBytes(dir + "\\old.txt", "kept");
  std::string archive = dir + "\\keep.zip";
  ASSERT_EQ(RunJob(Job{archive, "", {dir + "\\old.txt"}}), CREATE_OK);
  WriteFileBytes(dir + "\\not a zip.zip", std::string(3000, 'x'));
  const struct {
    const char* what;
    std::string archive;
    int add;
    bool cancel;
    int result;
  } cases[] = {
      {"cancelled append", archive, 1, true, CREATE_CANCELLED},
      {"cancelled new run over it", archive, 0, true, CREATE_CANCELLED},
      {"append to what is not an archive", dir + "\\not a zip.zip", 1, false, CREATE_OPEN_FAILED},
  };
  for (const auto& c : cases) {
    std::string before = ReadFileBytes(c.archive);
    SetSilentProgressReporter(c.cancel ? CancelAtFirstReport : nullptr);
    Job job{c.archive, TestData("tree")};
    job.add = c.add;
    EXPECT_EQ(RunJob(job), c.result) << c.what;
    CancelProgress(0);
    EXPECT_TRUE(ReadFileBytes(c.archive) == before) << c.what;
    char work[kPathBuf];
    ASSERT_EQ(ClaimWorkingFile(c.archive.c_str(), work), 0u);
    DiscardWorkingFile(work);
    EXPECT_EQ(std::string(work), c.archive + ".tmp") << c.what << ": a working file was left";
  }
  // A new archive that was cancelled does not exist at all.
  SetSilentProgressReporter(CancelAtFirstReport);
  EXPECT_EQ(RunJob(Job{dir + "\\never.zip", TestData("tree")}), CREATE_CANCELLED);
  EXPECT_FALSE(Exists(dir + "\\never.zip"));
}

TEST_F(Create, UnreadableFileIsSkippedAndReported) {
  WriteFileBytes(dir + "\\locked.txt", "nobody may read this");
  WriteFileBytes(dir + "\\free.txt", "readable");
  HANDLE lock =
      CreateFileA((dir + "\\locked.txt").c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(lock, INVALID_HANDLE_VALUE);
  std::string archive = dir + "\\partial.zip";
  Job job{archive, "", {dir + "\\locked.txt", dir + "\\free.txt"}};
  EXPECT_EQ(RunJob(job), CREATE_OK);
  CloseHandle(lock);
  EXPECT_EQ(Names(archive), std::vector<std::string>{"free.txt"});
  EXPECT_EQ(GetLastSkippedCount(), 1u);
  EXPECT_NE(std::string(GetLastSkippedFiles()).find("locked.txt"), std::string::npos);
}

TEST_F(Create, NothingToCompressAndSimulationWriteNothing) {
  CreateDirectoryA((dir + "\\void").c_str(), nullptr);
  EXPECT_EQ(RunJob(Job{dir + "\\void.zip", "", {}}), CREATE_NOTHING);
  EXPECT_FALSE(Exists(dir + "\\void.zip"));
  SetSimulationFlag(1);
  EXPECT_EQ(RunJob(Job{dir + "\\simulated.zip", TestData("tree")}), CREATE_OK);
  EXPECT_FALSE(Exists(dir + "\\simulated.zip"));
  EXPECT_EQ(GetSimulationFlag(), 0);  // the run resets it
}

}  // namespace
