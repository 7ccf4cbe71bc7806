// The texts a record is made of: rate, path and the type when the shell knows none.
#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "model/liststruct.h"

#include <string>

namespace {

std::string Rate(uint64_t compressed, uint64_t uncompressed) {
  char out[4];
  MakeRateText(compressed, uncompressed, out);
  return out;
}

}  // namespace

TEST(ListStruct, RateTexts) {
  EXPECT_EQ(Rate(0, 10), "99%");  // fully packed shows 99, never 100
  EXPECT_EQ(Rate(10, 10), " 0%");
  EXPECT_EQ(Rate(11, 10), " 0%");
  EXPECT_EQ(Rate(95, 100), " 5%");
  EXPECT_EQ(Rate(50, 100), "50%");
  EXPECT_EQ(Rate(0, 0), " 0%");
  EXPECT_EQ(Rate(1, 1000), "99%");
  EXPECT_EQ(Rate(91, 100), " 9%");
  EXPECT_EQ(Rate(90, 100), "10%");
  EXPECT_EQ(Rate(5, 0x8000000000000000ull), " 0%");  // not positive as a signed size
}

TEST(ListStruct, PathIsTheFullNameWithoutItsName) {
  char path[kPathBuf];
  MakeEntryPath("name.txt", "dir\\sub\\name.txt", path, sizeof path);
  EXPECT_STREQ(path, "dir\\sub\\");
  MakeEntryPath("name.txt", "name.txt", path, sizeof path);
  EXPECT_STREQ(path, "");
  MakeEntryPath("a.txt", "a\\a.txt", path, sizeof path);
  EXPECT_STREQ(path, "a\\");
}

TEST(ListStruct, TypeFallsBackToExtensionAndGenericText) {
  char type[kPathBuf];
  MakeFallbackTypeText("archive.tar.Gz", type, sizeof type);
  EXPECT_EQ(std::string(type), std::string("GZ-") + GetGenericText(KLANG_GEN_FILE));
  MakeFallbackTypeText("README", type, sizeof type);
  EXPECT_EQ(std::string(type), GetGenericText(KLANG_GEN_FILE));
  // The shell is asked first; whatever it says, a row never gets an empty type.
  MakeTypeText("archive.kestrelunknownext", type, sizeof type, nullptr);
  EXPECT_NE(type[0], '\0');
}
