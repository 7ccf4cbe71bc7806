// Renaming, moving and deleting from the list as the window does it: the change records made
// from a row and the typed text, the refusals, and the rows and archive afterwards.
#include "services/base.h"

#include <gtest/gtest.h>

#include "archive_fixtures.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/entry_rewrite.h"
#include "zip/rewrite.h"
#include "formats/zip_format.h"

#include <set>
#include <string>
#include <vector>

namespace {

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
    RegisterZipFormat();
    SetArchiveKind(kind);
    boxes.answer = IDYES;
  }
  ~EditedArchive() {
    delete listed;
    SetCurrentArchivePath("");
  }
  RecordedBoxes boxes;
  HWND List() const { return listed->window.list; }
  void Select(std::initializer_list<const char*> rows) {
    for (const char* row : rows) ListView_SetItemState(List(), Row(row), LVIS_SELECTED, LVIS_SELECTED);
  }
  int Row(const std::string& fullName) const {
    for (int row = 0; row < listed->window.Rows(); ++row)
      if (listed->FullName(row) == fullName) return row;
    return -1;
  }
  // A run holds the claim from its start on this thread until its rows are applied (a
  // refusal takes none); the worker sends to the list, so this thread answers meanwhile.
  void WaitForWorker() { EXPECT_TRUE(PumpUntil([] { return !IsBusy(); })); }
};

struct EditCase {
  const char* title;
  int kind;
  int action;
  const char* row;     // full name as the list shows it
  const char* text;    // what the user typed
  const char* expect;  // the entry's name in the archive afterwards; null: nothing changes
  int messageText;     // the message shown, 0 for none
};

const EditCase kEdits[] = {
    {"move to the top", ARCHIVE_ZIP, LISTSTRUCT_PATH, "docs\\deep\\er\\note.md", "", "note.md", 0},
    {"move into a folder", ARCHIVE_ZIP, LISTSTRUCT_PATH, "readme.txt", "docs", "docs/readme.txt", 0},
    {"a name that is taken", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "readme.txt", "noise.bin", nullptr, 92},
    {"an empty name", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "readme.txt", "", nullptr, 34},
    {"a name with a folder moves it", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "docs\\numbers.txt", "deep/n.txt",
     "docs/deep/n.txt", 0},
    {"up and over", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "docs\\numbers.txt", "..\\n.txt", "n.txt", 0},
    {"a name ending in a separator", ARCHIVE_ZIP, LISTSTRUCT_FILENAME, "readme.txt", "docs\\", nullptr, 34},
    {"a zip64 archive refuses", ARCHIVE_ZIP64, LISTSTRUCT_FILENAME, "readme.txt", "other.txt", nullptr, 31},
    {"an ISO image refuses", ARCHIVE_ISO, LISTSTRUCT_FILENAME, "readme.txt", "other.txt", nullptr, 31},
};

class EntryEdits : public ::testing::TestWithParam<EditCase> {};

TEST_P(EntryEdits, BecomeOneRewriteOrARefusal) {
  const EditCase& c = GetParam();
  EditedArchive archive(c.kind);
  std::set<std::string> before = ArchiveNames(archive.path);
  int row = archive.Row(c.row);
  ASSERT_GE(row, 0) << c.title;
  if (c.action == LISTSTRUCT_PATH) {  // typed into the edit box over the path cell
    HWND edit = EditEntryPath(archive.List(), row);
    ASSERT_NE(edit, nullptr) << c.title;
    SetWindowTextA(edit, c.text);
    SendMessageA(edit, WM_KEYDOWN, VK_RETURN, 0);
    EXPECT_FALSE(IsWindow(edit)) << c.title;
  } else {
    ChangeFileName(archive.List(), c.text, c.action, row);
  }
  archive.WaitForWorker();
  std::set<std::string> after = ArchiveNames(archive.path);
  if (!c.expect) {
    EXPECT_EQ(after, before) << c.title;
    ASSERT_EQ(archive.boxes.texts.size(), 1u) << c.title;
    EXPECT_EQ(archive.boxes.texts[0], GetMessageText(c.messageText)) << c.title;
    return;
  }
  before.erase(Separated(c.row));
  before.insert(c.expect);
  EXPECT_EQ(after, before) << c.title;
  EXPECT_EQ(archive.boxes.texts, std::vector<std::string>{}) << c.title;
  EXPECT_GE(archive.Row(Separated(c.expect, '/', '\\')), 0) << c.title << ": the row follows";
}

INSTANTIATE_TEST_SUITE_P(Table, EntryEdits, ::testing::ValuesIn(kEdits));

TEST(EntryEdits, DeletingTheSelectionAnsweredNoKeepsEverything) {
  EditedArchive archive(ARCHIVE_ZIP);
  archive.Select({"noise.bin", "docs\\zero.bin"});
  archive.boxes.answer = IDNO;
  DeleteSelectedEntries(archive.List());
  archive.WaitForWorker();
  EXPECT_EQ(ArchiveNames(archive.path).size(), 6u);
  EXPECT_EQ(archive.listed->window.Rows(), 6);
  EXPECT_EQ(archive.boxes.texts.size(), 1u);  // the question, no error
}

// A read-only archive is refused and stays as it was, attribute and all; the change may go to
// a new archive the user names instead, which the window then shows.
TEST(EntryEdits, AReadOnlyArchiveOffersTheChangeAsANewArchive) {
  EditedArchive archive(ARCHIVE_ZIP);
  std::string bytes = ReadFileBytes(archive.path), copy = TestData("edited copy.zip");
  DeleteFileA(copy.c_str());
  SetFileAttributesA(archive.path.c_str(), FILE_ATTRIBUTE_READONLY);
  static std::string s_copy;
  s_copy = copy;  // empty: the user cancels the name's dialog
  GetPrompts().saveFile = [](HWND, const char*, const char*, bool, char* path) {
    snprintf(path, kPathBuf, "%s", s_copy.c_str());
    return !s_copy.empty();
  };
  archive.boxes.answer = IDYES;  // to the delete question and to the offer after the refusal
  for (const std::string& named : {std::string(), copy}) {
    s_copy = named;
    archive.Select({"noise.bin"});
    DeleteSelectedEntries(archive.List());
    archive.WaitForWorker();
    EXPECT_EQ(ReadFileBytes(archive.path), bytes) << named;
    EXPECT_TRUE(GetFileAttributesA(archive.path.c_str()) & FILE_ATTRIBUTE_READONLY) << named;
  }
  SetFileAttributesA(archive.path.c_str(), FILE_ATTRIBUTE_NORMAL);
  ResetPrompts();
  // The delete question and the offer each time; no second word of the refusal.
  ASSERT_EQ(archive.boxes.texts.size(), 4u);
  EXPECT_NE(archive.boxes.texts[1].find(GetMessageText(KLANG_MSG_SAVE_CHANGE_AS_NEW)), std::string::npos);
  EXPECT_NE(archive.boxes.texts[1].find(archive.path), std::string::npos);
  std::set<std::string> names = ArchiveNames(copy);
  EXPECT_EQ(names.size(), 5u);
  EXPECT_EQ(names.count("noise.bin"), 0u);
  EXPECT_FALSE(GetFileAttributesA(copy.c_str()) & FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(std::string(GetCurrentArchivePath()), copy);
  DeleteFileA(copy.c_str());
}

// Ctrl+X marks what the clipboard carries (a folder's entries by their full names); only the
// report of a finished paste takes them out, once.
TEST(EntryEdits, CutEntriesLeaveOnlyWhenTheirPasteIsReported) {
  EditedArchive archive(ARCHIVE_ZIP);
  std::set<std::string> expected = ArchiveNames(archive.path);
  ASSERT_TRUE(CutEntries(archive.List(), {"docs\\deep\\er\\note.md", "noise.bin"}));
  EXPECT_EQ(ArchiveNames(archive.path), expected) << "cutting alone";
  DeletePastedCutEntries();
  archive.WaitForWorker();
  expected.erase("docs/deep/er/note.md");
  expected.erase("noise.bin");
  EXPECT_EQ(ArchiveNames(archive.path), expected);
  EXPECT_EQ(archive.Row("noise.bin"), -1);
  DeletePastedCutEntries();  // a second report finds nothing marked
  archive.WaitForWorker();
  EXPECT_EQ(ArchiveNames(archive.path), expected);
}

struct FolderCase {
  const char* title;
  int kind;
  const char* folder;   // as the tree gives it
  const char* name;     // typed over the folder's name
  const char* renamed;  // the folder in the archive afterwards; null: nothing changes
  int messageText;
};

const FolderCase kFolders[] = {
    {"a nested folder", ARCHIVE_ZIP, "docs\\deep", "shallow", "docs/shallow", 0},
    {"a name a file has", ARCHIVE_ZIP, "docs", "readme.txt", nullptr, 92},
    {"a separator moves it", ARCHIVE_ZIP, "docs", "a\\b", "a/b", 0},
    {"not into itself", ARCHIVE_ZIP, "docs", "docs/inner", nullptr, 92},
    {"a zip64 archive refuses", ARCHIVE_ZIP64, "docs", "papers", nullptr, 31},
};

class FolderRenames : public ::testing::TestWithParam<FolderCase> {};

TEST_P(FolderRenames, ChangeEveryEntryBelowTheFolder) {
  const FolderCase& c = GetParam();
  EditedArchive archive(c.kind);
  std::set<std::string> before = ArchiveNames(archive.path), expected;
  std::string old = Separated(c.folder);
  if (old.back() != '/') old += '/';
  for (const std::string& name : before)
    expected.insert(c.renamed && name.rfind(old, 0) == 0 ? c.renamed + ("/" + name.substr(old.size())) : name);
  RenameTreeFolder(archive.List(), c.folder, c.name);
  archive.WaitForWorker();
  EXPECT_EQ(ArchiveNames(archive.path), expected) << c.title;
  if (!c.renamed) {
    ASSERT_EQ(archive.boxes.texts.size(), 1u) << c.title;
    EXPECT_EQ(archive.boxes.texts[0], GetMessageText(c.messageText)) << c.title;
    return;
  }
  EXPECT_TRUE(archive.boxes.texts.empty()) << c.title;
  for (const std::string& name : expected)
    EXPECT_GE(archive.Row(Separated(name, '/', '\\')), 0) << c.title << ": the rows follow, " << name;
}

INSTANTIATE_TEST_SUITE_P(Table, FolderRenames, ::testing::ValuesIn(kFolders));

TEST(EntryEdits, DraggedRowsMoveIntoTheFolderAndRowsAlreadyThereStay) {
  EditedArchive archive(ARCHIVE_ZIP);
  std::set<std::string> expected = ArchiveNames(archive.path);
  archive.Select({"readme.txt", "docs\\deep\\er\\note.md"});
  MoveSelectedEntries(archive.List(), "docs\\deep\\er\\");
  archive.WaitForWorker();
  expected.erase("readme.txt");
  expected.insert("docs/deep/er/readme.txt");
  EXPECT_EQ(ArchiveNames(archive.path), expected);
  EXPECT_GE(archive.Row("docs\\deep\\er\\readme.txt"), 0);
  EXPECT_TRUE(archive.boxes.texts.empty());
}

}  // namespace
