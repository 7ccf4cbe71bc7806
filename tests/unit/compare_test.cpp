#include "services/base.h"

#include <gtest/gtest.h>

#include "model/archive_kind.h"
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

TEST(Compare, SeparatorAndCaseRules) {
  Entry upper("Docs/A.TXT"), lower("docs\\a.txt");
  EXPECT_EQ(ZipEntryIndependentPathCompare(upper.z, lower.z), 0);
  EXPECT_EQ(ZipEntryPathStringCompare("docs\\a.txt", upper.z), 0);
  EXPECT_NE(ZipEntryPathCompare(upper.z, lower.z), 0);
  EXPECT_NE(ZipEntryPathCompareCaseSense(upper.z, lower.z), 0);
  EXPECT_EQ(PathCompareIndependentCaseSense("docs/a.txt", "docs\\a.txt"), 0);
  EXPECT_NE(PathCompareIndependentCaseSense("Docs/a.txt", "docs\\a.txt"), 0);

  Entry a("A.txt"), b("a.TXT");
  EXPECT_EQ(ZipEntryPathCompare(a.z, b.z), 0);
  EXPECT_NE(ZipEntryPathCompareCaseSense(a.z, b.z), 0);
}

TEST(Compare, ResultsAreExactlyMinusOneZeroOne) {
  // The index only reads 1 as "after": "zzz" vs "a" differ by far more than 1.
  Entry zzz("zzz"), a("a"), lo("\x01"), hi("\xF0");
  EXPECT_EQ(ZipEntryPathCompare(zzz.z, a.z), 1);
  EXPECT_EQ(ZipEntryPathCompare(a.z, zzz.z), -1);
  EXPECT_EQ(ZipEntryPathCompareCaseSense(zzz.z, a.z), 1);
  EXPECT_EQ(ZipEntryIndependentPathCompare(zzz.z, a.z), 1);
  EXPECT_EQ(ZipEntryPathStringCompare("a", zzz.z), -1);
  // Bytes above 127 sort after ASCII, as unsigned characters.
  EXPECT_EQ(ZipEntryPathCompare(hi.z, lo.z), 1);
}

TEST(Compare, NamesAreComparedOnTheirFirstBufferFull) {
  std::string base(kPathBuf - 1, 'x');
  Entry one((base + "1").c_str()), two((base + "2").c_str());
  EXPECT_EQ(ZipEntryIndependentPathCompare(one.z, two.z), 0);
  EXPECT_EQ(PathCompareIndependentCaseSense((base + "1").c_str(), (base + "2").c_str()), 0);
  EXPECT_NE(ZipEntryPathCompare(one.z, two.z), 0);  // the plain comparison reads it all
}

TEST(Compare, ZipEntryIndexFindsNamesWhateverTheirCase) {
  RBTree* t = ZipEntryTreeCreate();
  for (const char* n : {"b\\c.txt", "A\\x.txt", "a\\y.txt", "readme"}) RBTreeInsert(t, ZipEntryCreate(n, nullptr, 0), nullptr);
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

TEST(Compare, AbsoluteAgainstRelativeTail) {
  SetArchiveKind(ARCHIVE_ZIP);
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash("c:\\out\\dir\\a.txt", "dir\\a.txt"), 0);
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash(nullptr, "a"), -1);
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash("a", nullptr), -1);
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash("a.txt", "dir\\a.txt"), -1);
  // Case counts, and the result is the character difference.
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash("c:\\dir\\A.txt", "dir\\a.txt"), 'A' - 'a');
  SetArchiveKind(ARCHIVE_TAR);
  EXPECT_EQ(CompareAbsoluteRelativePathIgnoreSeparatorBackslash("/out/dir/a.txt", "dir/a.txt"), 0);
  SetArchiveKind(ARCHIVE_ZIP);
}
