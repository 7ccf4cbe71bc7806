// Renaming, moving and deleting from the list as the window does it: the change records made
// from a row and the typed text, the refusals, and the rows and archive afterwards.
#include "services/base.h"

#include <gtest/gtest.h>

#include "archive_fixtures.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/rbtree.h"
#include "services/prompts.h"
#include "ui/entry_rewrite.h"
#include "zip/rewrite.h"

#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::string> g_boxes;
int g_answer = IDYES;
int ScriptedBox(HWND, const char* text, const char*, UINT) {
  g_boxes.push_back(text);
  return g_answer;
}

std::set<std::string> ArchiveNames(const std::string& path) {
  std::set<std::string> names;
  unzFile zip = MyWaitunzOpen2_64(path.c_str(), 0);
  for (int err = zip ? unzGoToFirstFile(zip) : -1; err == UNZ_OK; err = unzGoToNextFile(zip)) {
    char name[kPathBuf];
    unzGetCurrentFileInfo64(zip, nullptr, name, sizeof name, nullptr, 0, nullptr, 0);
    names.insert(name);
  }
  if (zip) unzClose(zip);
  return names;
}

// A fresh copy of nodirs.zip listed into a hidden list, as the current archive.
struct EditedArchive {
  std::string path;
  ListedArchive* listed;
  explicit EditedArchive(int kind) {
    path = TestData("edited.zip");
    CopyFileA(TestData("nodirs.zip").c_str(), path.c_str(), FALSE);
    listed = new ListedArchive("edited.zip");
    SetCurrentArchivePath(path.c_str());
    SetArchiveKind(kind);
    g_boxes.clear();
    g_answer = IDYES;
    GetPrompts().messageBox = ScriptedBox;
  }
  ~EditedArchive() {
    delete listed;
    ResetPrompts();
    SetCurrentArchivePath("");
  }
  HWND List() const { return listed->window.list; }
  int Row(const std::string& fullName) const {
    for (int row = 0; row < listed->window.Rows(); ++row)
      if (listed->FullName(row) == fullName) return row;
    return -1;
  }
  // The worker sends to the list, so this thread answers while it waits for the end.
  void WaitForWorker() {
    Sleep(50);
    for (int i = 0; i < 1000 && (IsBusy() || i < 5); ++i) {
      MSG msg;
      while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&msg);
      Sleep(10);
    }
  }
};

struct EditCase {
  const char* title;
  int kind;
  int action;
  const char* row;      // full name as the list shows it
  const char* text;     // what the user typed
  const char* expect;   // the entry's name in the archive afterwards; null: nothing changes
  int messageText;      // the message shown, 0 for none
};

const EditCase kEdits[] = {
    {"rename in place", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "docs\\numbers.txt", "counted.txt", "docs/counted.txt", 0},
    {"move to the top", ARCHIVE_ZIP, LISTSTRUCT_PATH, "docs\\deep\\er\\note.md", "", "note.md", 0},
    {"move into a folder", ARCHIVE_ZIP, LISTSTRUCT_PATH, "readme.txt", "docs", "docs/readme.txt", 0},
    {"a name that is taken", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "readme.txt", "noise.bin", nullptr, 92},
    {"an empty name", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "readme.txt", "", nullptr, 34},
    {"a zip64 archive refuses", ARCHIVE_ZIP64, LISTSTRUCT_FILENAME, "readme.txt", "other.txt", nullptr, 31},
    {"an ISO image refuses", ARCHIVE_ISO, LISTSTRUCT_FILENAME, "readme.txt", "other.txt", nullptr, 31},
    {"a RAR archive refuses", ARCHIVE_RAR, LISTSTRUCT_FILENAME, "readme.txt", "other.txt", nullptr, 31},
};

class EntryEdits : public ::testing::TestWithParam<EditCase> {};

TEST_P(EntryEdits, BecomeOneRewriteOrARefusal) {
  const EditCase& c = GetParam();
  EditedArchive archive(c.kind);
  std::set<std::string> before = ArchiveNames(archive.path);
  int row = archive.Row(c.row);
  ASSERT_GE(row, 0) << c.title;
  ChangeFileName(archive.List(), c.text, c.action, row);
  archive.WaitForWorker();
  std::set<std::string> after = ArchiveNames(archive.path);
  if (!c.expect) {
    EXPECT_EQ(after, before) << c.title;
    ASSERT_EQ(g_boxes.size(), 1u) << c.title;
    EXPECT_EQ(g_boxes[0], GetMessageText(c.messageText)) << c.title;
    return;
  }
  std::string old = c.row;
  for (char& ch : old)
    if (ch == '\\') ch = '/';
  before.erase(old);
  before.insert(c.expect);
  EXPECT_EQ(after, before) << c.title;
  EXPECT_TRUE(g_boxes.empty()) << c.title << ": " << (g_boxes.empty() ? "" : g_boxes[0]);
  std::string shown = c.expect;
  for (char& ch : shown)
    if (ch == '/') ch = '\\';
  EXPECT_GE(archive.Row(shown), 0) << c.title << ": the row follows";
}

INSTANTIATE_TEST_SUITE_P(Table, EntryEdits, ::testing::ValuesIn(kEdits));

TEST(EntryEdits, DeletingTheSelectionAsksFirstAndTheRowsFollow) {
  EditedArchive archive(ARCHIVE_ZIP);
  ListView_SetItemState(archive.List(), archive.Row("noise.bin"), LVIS_SELECTED, LVIS_SELECTED);
  ListView_SetItemState(archive.List(), archive.Row("docs\\zero.bin"), LVIS_SELECTED, LVIS_SELECTED);
  g_answer = IDNO;
  DeleteSelectedEntries(archive.List());
  archive.WaitForWorker();
  EXPECT_EQ(ArchiveNames(archive.path).size(), 6u);

  g_answer = IDYES;
  DeleteSelectedEntries(archive.List());
  archive.WaitForWorker();
  std::set<std::string> names = ArchiveNames(archive.path);
  EXPECT_EQ(names.size(), 4u);
  EXPECT_EQ(names.count("noise.bin") + names.count("docs/zero.bin"), 0u);
  EXPECT_EQ(archive.listed->window.Rows(), 4);
  EXPECT_EQ(archive.Row("noise.bin"), -1);
  EXPECT_EQ(g_boxes.size(), 2u);  // the two questions, no error
}

TEST(EntryEdits, RenamingAFolderChangesEveryEntryBelowIt) {
  EditedArchive archive(ARCHIVE_ZIP);
  RBTree* changes = CreateChangeSet();
  EXPECT_EQ(RenamePath(archive.List(), "docs", "papers", changes), 3);
  EXPECT_EQ(ChangeFilesTwoPasses(archive.path.c_str(), changes), 0);
  DestroyChangeSet(&changes);
  std::set<std::string> names = ArchiveNames(archive.path);
  EXPECT_EQ(names.count("papers/deep/er/note.md") + names.count("papers/numbers.txt") + names.count("papers/zero.bin"), 3u);
  EXPECT_EQ(names.size(), 6u);
}

TEST(EntryEdits, CutEntriesGoOnceTheyWerePastedElsewhere) {
  EditedArchive archive(ARCHIVE_ZIP);
  int cut[] = {archive.Row("readme.txt")};
  DeleteCTRLCutEntries(archive.List(), cut, 1);
  archive.WaitForWorker();
  EXPECT_EQ(ArchiveNames(archive.path).count("readme.txt"), 0u);
  EXPECT_EQ(archive.Row("readme.txt"), -1);
}

}  // namespace
