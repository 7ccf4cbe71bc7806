#include "services/base.h"

#include <gtest/gtest.h>

#include "model/compare.h"
#include "model/namelist.h"

#include <string>

TEST(NameList, CopiesSearchesClearsAndRecreates) {
  NameList* list = NameListCreate();
  EXPECT_EQ(NameListSearch(list, "x"), nullptr);
  char probe[] = "dir\\";
  NameCell* cell = NameListInsertCopyUnique(list, probe);
  ASSERT_NE(cell, nullptr);
  EXPECT_NE(cell->element, probe) << "the list keeps a copy";
  EXPECT_EQ(NameListInsertCopyUnique(list, "dir\\"), cell);
  NameListInsertCopyUnique(list, "other\\");
  EXPECT_EQ(list->count, 2u);
  EXPECT_STREQ(static_cast<char*>(list->last->element), "other\\");
  EXPECT_EQ(list->first->previous, nullptr);

  NameListRecreate(&list);
  EXPECT_EQ(list->count, 0u);
  EXPECT_EQ(list->first, nullptr);
  NameListDestroy(&list);
  EXPECT_EQ(list, nullptr);
}

// The rewrite's name matching: separators never count, case always does, and only the first
// buffer full of a name is read.
TEST(Compare, PathsCompareIndependentOfTheSeparator) {
  EXPECT_EQ(PathCompareIndependentCaseSense("docs/a.txt", "docs\\a.txt"), 0);
  EXPECT_NE(PathCompareIndependentCaseSense("Docs/a.txt", "docs\\a.txt"), 0);
  std::string base(kPathBuf - 1, 'x');
  EXPECT_EQ(PathCompareIndependentCaseSense((base + "1").c_str(), (base + "2").c_str()), 0);
}
