// The folder indexes' keys and the folder totals derived from real entry rows. (What the tree,
// the address box and the folder list show of them is the tree view test's.)
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"
#include "model/rbtree.h"
#include "test_support.h"

#include <string>
#include <vector>

namespace {

struct Entry {
  const char* name;
  uint64_t compressed, uncompressed;
};

class FolderTree : public ::testing::Test {
 protected:
  void TearDown() override {
    DestroyFolderTreeIndexes();
    SetArchiveKind(ARCHIVE_ZIP);
  }
  void Derive(int kind, std::initializer_list<Entry> entries) {
    SetArchiveKind(kind);
    char separator = ArchiveSeparator(kind);
    EntryStamp stamp{0, 5, 14, 7, 1, 2024};  // 07.02.2024 14:05
    for (const Entry& e : entries) {
      const char* slash = strrchr(e.name, separator);
      InsertEntryRow(window_.list, stamp, slash ? slash + 1 : e.name, e.name, nullptr, e.compressed, e.uncompressed);
    }
    RecreateFolderTreeIndexes();
    for (size_t row = 0; row < GetEntryRowCount(window_.list); ++row)
      AddRowToFolderIndexes(GetRowRecord(window_.list, static_cast<int>(row)));
    BuildFolderKeys(separator);
    BuildDataReadyKeys(separator);
    BuildComboPaths();
  }
  HiddenEntryList window_;
};

}  // namespace

TEST(FolderTreeKeys, DepthCountsEveryPieceOfTheRecord) {
  struct Case {
    const char* record;
    char separator;
    int depth;
  } cases[] = {
      {"docs\\img\\a.png*1*2*50%*01.01.2024 00:00*PNG", '\\', 2},
      {"docs\\img\\", '\\', 1},  // a folder record: one less than its entries
      {"readme.txt*1*2* 0%*01.01.2024 00:00*Text", '\\', 0},
      {"\\lead\\x", '\\', 1},  // an empty piece does not count
      {"docs/img/a.png*1*2", '/', 2},
      {"a\\b*1*2*3*01.01.2024 00:00*text\\odd", '\\', 2},  // a separator in the type counts too
  };
  for (const Case& c : cases) EXPECT_EQ(CountRecordDepth(c.record, c.separator), c.depth) << c.record;

  const char* text = nullptr;
  EXPECT_EQ(ReadDepthKey(" 12*a\\b", &text), 12);
  EXPECT_STREQ(text, "a\\b");
  char key[32];
  MakeDepthKey(0, "", key, sizeof key);
  EXPECT_STREQ(key, "  0*");
}

TEST(FolderTreeKeys, SizeTexts) {
  char decimal[8] = ".", thousand[8] = ",";
  GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, decimal, sizeof decimal);
  GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_STHOUSAND, thousand, sizeof thousand);
  struct Case {
    double value;
    std::string text;
  } cases[] = {
      {0, "0" + std::string(decimal) + "00 B"},
      {999, "999 B"},
      {1000, "0" + std::string(decimal) + "98 KB"},  // past 999 already counts in KB
      {1024 * 50, "50" + std::string(decimal) + "0 KB"},
      {1024.0 * 1024 * 1024 * 5000, "5" + std::string(thousand) + "000 GB"},  // GB is the last unit
  };
  for (const Case& c : cases) {
    char text[64];
    FormatTreeSizeText(c.value, text, sizeof text);
    EXPECT_EQ(text, c.text) << c.value;
  }
}

TEST_F(FolderTree, FolderTotalsCoverTheWholeSubtree) {
  Derive(ARCHIVE_ZIP, {{"docs\\a.txt", 10, 100},
                       {"docs\\img\\b.png", 20, 200},
                       {"docs\\img\\deep\\c.png", 30, 300},
                       {"docsx\\d.txt", 1000, 1000},
                       {"top.txt", 5, 5}});
  struct Case {
    int depth;
    const char* path;
    int entries, folders;
    long long compressed, uncompressed;
  } cases[] = {
      {1, "docs\\", 3, 2, 60, 600},
      {2, "docs\\img\\", 2, 1, 50, 500},
      {3, "docs\\img\\deep\\", 1, 0, 30, 300},
      {0, "", 5, 4, 1065, 1605},  // the root: everything
  };
  for (const Case& c : cases) {
    FolderTotals t;
    CollectFolderTotals(c.depth, c.path, &t);
    EXPECT_TRUE(t.found) << c.path;
    EXPECT_EQ(t.entries, c.entries) << c.path;
    EXPECT_EQ(t.folders, c.folders) << c.path;
    EXPECT_EQ(t.compressed, c.compressed) << c.path;
    EXPECT_EQ(t.uncompressed, c.uncompressed) << c.path;
  }
  FolderTotals none;
  CollectFolderTotals(1, "nowhere\\", &none);
  EXPECT_FALSE(none.found);
}
