// Extraction of the entries below a folder of the tree, on archives made by the peer tools.
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
#include "services/external_app.h"
#include "zip/extract.h"
#include "zip/zip_operations.h"
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
      {"a\\nothing\\", ARCHIVE_ZIP, EXTRACT_NOTHING_FOUND, {}},  // the event still comes
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

// ZIP's writeTemp, then the road viewing takes: a program file goes on only after the user
// agreed (here: not), and the copy is deleted at exit either way. An entry that inflates past
// its declared size is not handed on half-checked.
TEST_F(TempExtract, ViewingWritesTheEntryAndAsksBeforeStartingAProgram) {
  boxes_.answer = IDCANCEL;
  std::string expected;
  for (int i = 0; i < 40; ++i) expected += "MZ not really a program\n";
  struct Case {
    const char *archive, *entry, *copy;
  } cases[] = {{"view.zip", "bin/view_tool.exe", expected.c_str()}, {"overrun.zip", "long.txt", nullptr}};
  for (const Case& c : cases) {
    char written[kPathBuf];
    int result = WriteZipEntryToTemp(TestData(c.archive).c_str(), c.entry, written);
    std::string copy = TempFolder() + LastNamePart(c.entry);
    if (c.copy) {
      ASSERT_EQ(result, 0) << c.entry;
      EXPECT_EQ(ReadFileBytes(copy), c.copy);
      EXPECT_NE(CallApp(written), 0) << c.entry << ": started without the user's yes";
      EXPECT_EQ(boxes_.texts.size(), 1u) << c.entry;
    } else {
      EXPECT_NE(result, 0) << c.entry;
      EXPECT_FALSE(Exists(copy));
    }
    DeleteTempFiles();
    EXPECT_FALSE(Exists(copy));
  }
}

}  // namespace
