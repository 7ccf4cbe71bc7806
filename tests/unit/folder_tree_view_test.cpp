// The folder tree in real controls of a hidden window: the tree and address box built from
// listed rows, folder selections filling the folder list on their own thread, empty folders
// removed, and the folder properties message.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"
#include "model/rbtree.h"
#include "test_support.h"
#include "tree_support.h"
#include "ui/entry_list.h"
#include "ui/folder_tree_view.h"

#include <commctrl.h>

#include <string>
#include <vector>

namespace {

class FolderTreeView : public ::testing::Test {
 protected:
  void SetUp() override {
    InstallKindTable();
    SetCurrentArchivePath("C:\\archives\\test.zip");
    SetArchiveKind(ARCHIVE_ZIP);
    SetTreeInStep(0);
  }
  void TearDown() override {
    WaitForFill();
    DestroyFolderTreeIndexes();
  }
  void Add(const char* name, uint64_t size, bool encrypted = false) {
    const char* slash = strrchr(name, '\\');
    InsertEntryRow(all_, EntryStamp{0, 5, 14, 7, 1, 2024}, slash ? slash + 1 : name, name, nullptr, size / 2, size,
                   encrypted);
  }
  void Derive() {
    PublishEntryRows(all_);
    EnsureTreeInStep(all_);
    WaitForFill();
  }
  // A selection starts its fill at once; the fill talks to the lists, so this thread serves
  // them until it ends.
  void WaitForFill() {
    EXPECT_TRUE(PumpUntil([] { return !IsTreeFillPending(); })) << "the fill did not end";
  }
  void Select(const char* folder) {
    HTREEITEM item = FindTreeItemString(tree_, folder);
    ASSERT_NE(item, nullptr) << folder;
    TreeView_SelectItem(tree_, item);
  }
  std::vector<std::string> FolderRows() {
    std::vector<std::string> names;
    for (size_t i = 0; i < GetEntryRowCount(folder_); ++i) names.push_back(GetRowRecord(folder_, int(i))->filename);
    return names;
  }
  std::vector<std::string> ComboItems() {
    std::vector<std::string> items;
    int n = static_cast<int>(SendMessageA(combo_, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
      char text[kPathBuf];
      GetComboItemText(combo_, i, text, sizeof text);
      items.push_back(text);
    }
    return items;
  }
  // "name(child,child)" of the tree below the root item.
  std::string Shape(HTREEITEM item) {
    std::string out;
    for (HTREEITEM c = TreeView_GetChild(tree_, item); c; c = TreeView_GetNextSibling(tree_, c)) {
      char text[kPathBuf];
      TVITEMA tv = {};
      tv.mask = TVIF_TEXT;
      tv.hItem = c;
      tv.pszText = text;
      tv.cchTextMax = kPathBuf;
      TreeView_GetItem(tree_, &tv);
      if (!out.empty()) out += ",";
      out += text;
      std::string below = Shape(c);
      if (!below.empty()) out += "(" + below + ")";
    }
    return out;
  }
  HiddenFolderTree window_;
  HWND all_ = window_.all, folder_ = window_.folderList, tree_ = window_.tree, combo_ = window_.combo;
};

}  // namespace

TEST_F(FolderTreeView, TopLevelOnlyShowsTheRootAlone) {
  const std::string longName = std::string(300, 'b') + ".txt";  // past the 259 of a Windows path
  Add(longName.c_str(), 10);
  Add("a.txt", 20);
  Derive();
  HTREEITEM root = TreeView_GetRoot(tree_);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(Shape(root), "");
  EXPECT_TRUE(ComboItems().empty());
  EXPECT_EQ(TreeView_GetSelection(tree_), root);
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"a.txt", longName})) << "the root lists every top-level entry";
  EXPECT_EQ(GetFolderListTotals().entries, 2u);
  EXPECT_EQ(GetFolderListTotals().uncompressed, 30u);
  EXPECT_TRUE(IsTreeInStep());
}

TEST_F(FolderTreeView, NestedFoldersAndTheirEntries) {
  // Past 2 GiB, where a size read through 32 signed bits turns negative; encrypted, which
  // adds a field to the tree's record of it.
  Add("a\\b\\d\\x.txt", 3163595310ull, true);
  Add("B\\y.txt", 7);
  Add("top.txt", 1);
  Derive();
  EXPECT_EQ(Shape(TreeView_GetRoot(tree_)), "B,a(b(d))") << "capitals first";
  EXPECT_EQ(ComboItems(), (std::vector<std::string>{"B", "a", "a\\b", "a\\b\\d"}));
  Select("a\\b\\d");
  WaitForFill();
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"x.txt"}));
  EXPECT_EQ(GetRowRecord(folder_, 0)->uncompressed, 3163595310ull);
  EXPECT_EQ(GetRowRecord(folder_, 0)->compressed, 3163595310ull / 2);
  EXPECT_STREQ(GetEntryEncryptedText(GetRowRecord(folder_, 0)), kEncryptedMark);
  EXPECT_EQ(GetRowRecord(folder_, 0)->date.wYear, 2024);
  EXPECT_EQ(GetFolderListTotals().uncompressed, 3163595310ull);
  Select("a");
  WaitForFill();
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"b"})) << "a holds only the folder b";
  EXPECT_TRUE(GetRowRecord(folder_, 0)->folder);
  EXPECT_EQ(GetFolderListTotals().entries, 1u);
  EXPECT_FALSE(EnterFolderRow(-1));
  EXPECT_TRUE(EnterFolderRow(0));  // Enter on the folder's row goes in
  WaitForFill();
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"d"}));

  Select("B");
  WaitForFill();
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"y.txt"}));
  EXPECT_STREQ(GetEntryEncryptedText(GetRowRecord(folder_, 0)), "");
  EXPECT_TRUE(SelectParentTreeFolder());
  WaitForFill();
  EXPECT_EQ(TreeView_GetSelection(tree_), TreeView_GetRoot(tree_));
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"B", "a", "top.txt"})) << "folders, then the entries";
  EXPECT_EQ(ListView_GetNextItem(folder_, -1, LVNI_SELECTED), 0) << "the folder left is selected";
  EXPECT_FALSE(SelectParentTreeFolder()) << "the root has no parent";
}

TEST_F(FolderTreeView, TarArchivesUseSlashes) {
  SetArchiveKind(ARCHIVE_TAR);
  InsertEntryRow(all_, EntryStamp{0, 0, 0, 1, 0, 2024}, "a.png", "docs/img/a.png", nullptr, 1, 2);
  Derive();
  EXPECT_EQ(Shape(TreeView_GetRoot(tree_)), "docs(img)");
  EXPECT_EQ(ComboItems(), (std::vector<std::string>{"docs", "docs/img"}));
  Select("docs/img");
  WaitForFill();
  EXPECT_EQ(FolderRows(), (std::vector<std::string>{"a.png"}));
  char key[kPathBuf + 8];
  TreeViewGetPath(tree_, TreeView_GetSelection(tree_), key, sizeof key, 1, 0);
  EXPECT_STREQ(key, "  2*docs/img/");
  TreeViewGetPath(tree_, TreeView_GetSelection(tree_), key, sizeof key, 1, 1);
  EXPECT_STREQ(key, "  1*docs/img/");
}

TEST_F(FolderTreeView, EmptiedFoldersGoWithTheirAddressItems) {
  Add("a\\b\\d\\x.txt", 100);
  Add("keep\\k.txt", 1);
  Add("top.txt", 1);
  Derive();
  // The entry is gone (as a delete leaves it): its record leaves the data index.
  RBTree* data = GetTVRBTreeDataReady();
  std::vector<RBNode*> gone;
  WalkPrefixRun(data, "  3*a\\b\\d\\x.txt*", [&](RBNode* n) { gone.push_back(n); });
  ASSERT_EQ(gone.size(), 1u);
  RBTreeDelete(data, gone[0]);

  HTREEITEM root = TreeView_GetRoot(tree_);
  TreeDeleteEmpty(tree_, TreeView_GetChild(tree_, root), 1);
  EXPECT_EQ(Shape(root), "keep");
  EXPECT_EQ(ComboItems(), (std::vector<std::string>{"keep"}));
  std::vector<std::string> left;
  WalkPrefixRun(data, "", [&](RBNode* n) { left.push_back(static_cast<const char*>(n->key)); });
  for (const std::string& k : left) EXPECT_EQ(k.find("a\\"), std::string::npos) << k;

  // A chosen leaf takes its emptied parents along, never the root.
  TreeDeleteEmpty(tree_, TreeView_GetChild(tree_, root), 1);
  EXPECT_EQ(Shape(root), "keep") << "keep still holds k.txt";
}
