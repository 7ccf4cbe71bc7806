// Extraction to the temporary folder (viewing, opening in programs) and of the
// entries below a folder of the tree, on archives made by the peer tools.
#include "services/base.h"

#include <gtest/gtest.h>

#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "archive_fixtures.h"
#include "test_support.h"
#include "zip/extract.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <commctrl.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace {

int g_questions;  // besides the boxes

int CountedOverwrite(HWND, const char*, const char*, const char*) {
  ++g_questions;
  return 3;  // Cancel: a question that should not have come ends the run visibly
}
bool CountedPassword(HWND, char*) {
  ++g_questions;
  return false;
}

std::string TempFolder() {
  char target[kPathBuf], folder[kPathBuf];
  TempTarget("", target, folder);
  return folder;
}

class TempExtract : public ::testing::Test {
 protected:
  void SetUp() override {
    GetPrompts().overwriteQuestion = CountedOverwrite;
    GetPrompts().password = CountedPassword;
    g_questions = 0;
    SetArchiveEncrypted(0);
    SetCurrentPassword("");
    SetArchiveKind(ARCHIVE_ZIP);
    CancelProgress(0);
    GetCurrentDirectoryA(sizeof before_, before_);
  }
  void TearDown() override {
    char now[kPathBuf];
    GetCurrentDirectoryA(sizeof now, now);
    EXPECT_STREQ(now, before_) << "the working directory was not restored";
    SetCurrentArchivePath("");
    ResetPrompts();
  }
  // No question is asked on these roads: every test ends with none.
  int Questions() const { return g_questions + static_cast<int>(boxes_.texts.size()); }
  RecordedBoxes boxes_;
  char before_[kPathBuf];
};

TEST_F(TempExtract, ExtractToTempWritesTheEntryAndRecordsIt) {
  SetCurrentArchivePath(TestData("tree.zip").c_str());
  char out[kPathBuf] = "";
  ASSERT_EQ(ExtractToTemp("a\\b\\sub\\tree_y.txt", out), 0);
  EXPECT_EQ(std::string(out), TempFolder() + "tree_y.txt");
  EXPECT_EQ(ReadFileBytes(out), "deeper\n");
  // Spelt with "\" in the archive itself.
  char win[kPathBuf] = "";
  ASSERT_EQ(ExtractToTemp("a\\b\\tree_win.txt", win), 0);
  EXPECT_EQ(ReadFileBytes(win), "spelt with backslashes\n");

  // Encrypted: the password known from the session opens it.
  SetCurrentArchivePath(TestData("encrypted.zip").c_str());
  SetArchiveEncrypted(1);
  SetCurrentPassword("secret");
  char note[kPathBuf] = "";
  ASSERT_EQ(ExtractToTemp("docs\\deep\\er\\note.md", note), 0);
  EXPECT_EQ(ReadFileBytes(note), ReadFileBytes(TestData("ref_encrypted\\docs\\deep\\er\\note.md")));
  EXPECT_EQ(Questions(), 0);

  // Recorded: the exit's clean-up removes them.
  DeleteTempFiles();
  EXPECT_FALSE(Exists(out));
  EXPECT_FALSE(Exists(win));
  EXPECT_FALSE(Exists(note));
}

TEST_F(TempExtract, ExtractToTempRefusals) {
  char out[kPathBuf] = "x";
  EXPECT_NE(ExtractToTemp("readme.txt", out), 0) << "no archive open";
  EXPECT_STREQ(out, "");
  SetCurrentArchivePath(TestData("tree.zip").c_str());
  EXPECT_NE(ExtractToTemp("a\\b\\", out), 0) << "a folder is no file";
  EXPECT_NE(ExtractToTemp("a\\b\\nul.txt", out), 0) << "a device name";
  EXPECT_NE(ExtractToTemp("a\\b\\missing.txt", out), 0);
  EXPECT_STREQ(out, "");
  EXPECT_FALSE(Exists(TempFolder() + "missing.txt"));
}

TEST_F(TempExtract, CreateFileContentsReplacesAnEarlierCopy) {
  SetCurrentArchivePath(TestData("tree.zip").c_str());
  std::string target = TempFolder() + "tree_x.txt";
  FILE* stale = fopen(target.c_str(), "wb");
  ASSERT_NE(stale, nullptr);
  fputs(std::string(5000, 's').c_str(), stale);  // longer than the entry
  fclose(stale);

  char out[kPathBuf] = "";
  ASSERT_EQ(CreateFileContents("a\\b\\tree_x.txt", out), 0);
  EXPECT_EQ(std::string(out), target);
  std::string expected;
  for (int i = 0; i < 30; ++i) expected += "below a/b\n";
  EXPECT_EQ(ReadFileBytes(target), expected);

  // An earlier copy another program holds cannot be replaced: no half-written file is
  // handed on, and the copy comes once it is free again.
  HANDLE held = CreateFileA(target.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  EXPECT_NE(CreateFileContents("a\\b\\tree_x.txt", out), 0);
  CloseHandle(held);
  EXPECT_EQ(ReadFileBytes(target), expected);
  ASSERT_EQ(CreateFileContents("a\\b\\tree_x.txt", out), 0);
  EXPECT_EQ(ReadFileBytes(target), expected);

  // An archive path that names no file.
  SetCurrentArchivePath(TestData("gone.zip").c_str());
  EXPECT_NE(CreateFileContents("a\\b\\tree_x.txt", out), 0);

  DeleteTempFiles();
  EXPECT_FALSE(Exists(target));
}

// Runs the thread as a starter would and waits for its event.
struct TreeRun {
  int result = -99;
  int cancelled = 0;
};

TreeRun RunTreeThread(const char* folder, const std::string& destination) {
  TreeRun run;
  TreeExtractBlock* block = static_cast<TreeExtractBlock*>(calloc(1, sizeof(TreeExtractBlock)));
  snprintf(block->folder, sizeof block->folder, "%s", folder);
  snprintf(block->destination, sizeof block->destination, "%s", destination.c_str());
  snprintf(block->archive, sizeof block->archive, "%s", TestData("tree.zip").c_str());
  block->overwriteMode = OVERWRITE_ALWAYS;
  block->silent = 1;
  block->done = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  block->result = &run.result;
  block->cancelled = &run.cancelled;
  HANDLE done = block->done;
  HANDLE thread = CreateThread(nullptr, 0, ExtractTreeItemThread, block, 0, nullptr);
  EXPECT_NE(thread, nullptr);
  if (thread) CloseHandle(thread);
  EXPECT_EQ(WaitForSingleObject(done, INFINITE), WAIT_OBJECT_0);
  CloseHandle(done);
  return run;
}

// The entries below a tree folder, however it is spelt: never its name twin "a\\bc\\" or the
// parent's own file; the "\\"-spelt entry is below too. An unknown archive kind reads as ZIP.
TEST_F(TempExtract, TreeItemTakesExactlyTheEntriesBelowTheFolder) {
  struct Case {
    const char* folder;
    int kind, result;
    std::set<std::string> files;
  } cases[] = {
      {"a\\b\\", ARCHIVE_ZIP, 0, {"a/b/tree_x.txt", "a/b/sub/tree_y.txt", "a/b/tree_win.txt"}},
      {"a\\b", ARCHIVE_ZIP, 0, {"a/b/tree_x.txt", "a/b/sub/tree_y.txt", "a/b/tree_win.txt"}},
      {"a/b/sub/", ARCHIVE_ZIP, 0, {"a/b/sub/tree_y.txt"}},  // found on the second try
      {"a\\nothing\\", ARCHIVE_ZIP, -1, {}},                  // the event still comes
      {"a\\bc\\", 0, 0, {"a/bc/tree_z.txt"}},
  };
  for (const Case& c : cases) {
    SetArchiveKind(c.kind);
    std::string outer = ScratchDir("tree_item");
    TreeRun run = RunTreeThread(c.folder, outer + "\\inner");
    EXPECT_EQ(run.result, c.result) << c.folder;
    EXPECT_EQ(run.cancelled, 0);
    std::set<std::string> inner;
    for (const std::string& name : FileNames(outer)) inner.insert(name.substr(6));  // "inner/"
    EXPECT_EQ(inner, c.files) << c.folder;
  }
  // The names below the folder that climb out or name a device were refused and said so.
  SetArchiveKind(ARCHIVE_ZIP);
  std::string destination = ScratchDir("tree_item");
  RunTreeThread("a\\b\\", destination);
  EXPECT_EQ(ReadFileBytes(destination + "\\a\\b\\sub\\tree_y.txt"), "deeper\n");
  std::string refused = GetLastRefusedNames();
  EXPECT_NE(refused.find("a/b/../../../tree_evil.txt"), std::string::npos) << refused;
  EXPECT_NE(refused.find("a/b/nul.txt"), std::string::npos) << refused;
  EXPECT_EQ(GetLastRefusedCount(), 2u);
  EXPECT_EQ(Questions(), 0);
}

// Viewing writes the entry under its last name to the temporary folder and hands it on; a
// program file goes on only after the user agreed (here: not), and the copy is deleted at exit
// either way. An entry that inflates past its declared size is not handed on half-checked.
TEST_F(TempExtract, ViewingWritesTheEntryAndAsksBeforeStartingAProgram) {
  boxes_.answer = IDCANCEL;
  std::string expected;
  for (int i = 0; i < 40; ++i) expected += "MZ not really a program\n";
  struct Case {
    const char *archive, *entry, *copy;
    size_t refusals;
  } cases[] = {{"view.zip", "bin/view_tool.exe", expected.c_str(), 1}, {"overrun.zip", "long.txt", nullptr, 0}};
  for (const Case& c : cases) {
    size_t before = boxes_.texts.size();
    unzFile zip = MyWaitunzOpen2_64(TestData(c.archive).c_str(), 3000);
    ASSERT_TRUE(zip);
    unz_file_info64 info = {};
    EXPECT_EQ(LocateEntry(zip, c.entry), UNZ_OK) << c.entry;
    unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    EXPECT_NE(do_view_currentfile(zip, c.entry, 0, info), 0) << c.entry << ": started without the user's yes";
    unzClose(zip);
    EXPECT_EQ(boxes_.texts.size() - before, c.refusals) << c.entry;
    std::string copy = TempFolder() + LastNamePart(c.entry);
    if (c.copy) {
      EXPECT_EQ(ReadFileBytes(copy), c.copy);
    } else {
      EXPECT_FALSE(Exists(copy));
    }
    DeleteTempFiles();
    EXPECT_FALSE(Exists(copy));
  }
}

}  // namespace
