#include "services/base.h"

#include <gtest/gtest.h>

#include "model/compare.h"
#include "model/rbtree.h"
#include "model/zipentry.h"

#include <string>

namespace {

struct Entry {
  ZipEntry* z;
  explicit Entry(const char* name) : z(ZipEntryCreate(name, nullptr, 0)) {}
  ~Entry() { ZipEntryDelete(z); }
};

}  // namespace

// The rewrite's name matching: separators never count, case always does, and only the first
// buffer full of a name is read.
TEST(Compare, PathsCompareIndependentOfTheSeparator) {
  EXPECT_EQ(PathCompareIndependentCaseSense("docs/a.txt", "docs\\a.txt"), 0);
  EXPECT_NE(PathCompareIndependentCaseSense("Docs/a.txt", "docs\\a.txt"), 0);
  std::string base(kPathBuf - 1, 'x');
  EXPECT_EQ(PathCompareIndependentCaseSense((base + "1").c_str(), (base + "2").c_str()), 0);
}

// The index only reads 1 as "after": "zzz" against "a" differs by far more than 1.
TEST(Compare, EntryIndexFindsNamesWhateverTheirCase) {
  Entry zzz("zzz"), a("a"), lo("\x01"), hi("\xF0");
  EXPECT_EQ(ZipEntryPathCompare(zzz.z, a.z), 1);
  EXPECT_EQ(ZipEntryPathCompare(a.z, zzz.z), -1);
  EXPECT_EQ(ZipEntryPathCompare(hi.z, lo.z), 1) << "bytes above 127 sort after ASCII";
  RBTree* t = ZipEntryTreeCreate();
  for (const char* n : {"b\\c.txt", "A\\x.txt", "a\\y.txt", "readme"})
    RBTreeInsert(t, ZipEntryCreate(n, nullptr, 0), nullptr);
  Entry probe("a\\X.TXT");
  RBNode* hit = RBTreeSearch(t, probe.z);
  ASSERT_NE(hit, nullptr);
  EXPECT_STREQ(static_cast<ZipEntry*>(hit->key)->entry, "A\\x.txt");
  RBTreeDestroy(&t);
}

TEST(Compare, FoundListOrderings) {
  int three = 3, five = 5;
  EXPECT_EQ(FoundListCompareEqual(&five, &three), 2);
  EXPECT_EQ(FoundListCompareEqual(&five, &five), 0);
  EXPECT_EQ(FoundListCompareSmaller(&three, &five), 1);
  EXPECT_EQ(FoundListCompareSmaller(&five, &five), 0);
  EXPECT_EQ(FoundListCompareGreater(&five, &three), 1);
  EXPECT_EQ(FoundListCompareGreater(&five, &five), 1);  // equal counts as greater, on purpose
  EXPECT_EQ(FoundListCompareGreater(&three, &five), 0);
}
