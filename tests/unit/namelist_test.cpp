#include "services/base.h"

#include <gtest/gtest.h>

#include "model/compare.h"
#include "model/namelist.h"

#include <cstdlib>
#include <cstring>

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

  NameListRemove(list, list->first);
  EXPECT_EQ(list->count, 1u);
  EXPECT_EQ(list->first, list->last);
  EXPECT_EQ(list->first->previous, nullptr);

  NameListRecreate(&list);
  EXPECT_EQ(list->count, 0u);
  EXPECT_EQ(list->first, nullptr);
  NameListDestroy(&list);
  EXPECT_EQ(list, nullptr);
}

TEST(NameList, FoundListOfRowIndexes) {
  NameList* found = NameListCreate();
  found->compare = FoundListCompareEqual;
  for (int v : {4, 9, 2}) {
    int* p = static_cast<int*>(malloc(sizeof(int)));
    *p = v;
    NameListAppend(found, p);
  }
  int nine = 9;
  NameCell* hit = NameListSearch(found, &nine);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(*static_cast<int*>(hit->element), 9);
  // The one-step lookup for "the first hit below a row" swaps the compare and back.
  int seven = 7;
  found->compare = FoundListCompareSmaller;
  hit = NameListSearch(found, &seven);
  found->compare = FoundListCompareEqual;
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(*static_cast<int*>(hit->element), 9);  // first cell where !(element < 7)
  NameListDestroy(&found);
}
