// The entry-name judge on its own: under Wine the Linux file system takes names Windows
// refuses or reads differently, so what lands on disk cannot prove these decisions.
#include "services/base.h"

#include <gtest/gtest.h>

#include "zip/entry_name_safety.h"

#include <cstring>

namespace {

int Judge(const char* name) { return JudgeEntryName(name, nullptr, 0); }

TEST(EntryName, OrdinaryNamesPass) {
  for (const char* name : {"a.txt", "dir/sub/file.bin", "dir\\sub\\file.bin", "dir/", "dir\\", "./a.txt",
                           "a//b", "a/./b", ".hidden", "..a", "a..b", "...a", "a.b.c", "console.txt", "CONIN",
                           "com10", "lpt", "com", "nul_", "auxiliary/x", "prn2.txt", "COM1x", "\xc3\xa9t\xc3\xa9.txt", "COM\xb9",
                           "Mixed Case Name.TXT", "dir/ space inside.txt", "tab-free name"})
    EXPECT_EQ(Judge(name), ENTRY_NAME_OK) << name;
}

TEST(EntryName, NamesThatLeaveTheDestination) {
  EXPECT_EQ(Judge("/abs.txt"), ENTRY_NAME_ABSOLUTE);
  EXPECT_EQ(Judge("\\abs.txt"), ENTRY_NAME_ABSOLUTE);
  EXPECT_EQ(Judge("\\\\server\\share\\x"), ENTRY_NAME_ABSOLUTE);
  EXPECT_EQ(Judge("//server/share/x"), ENTRY_NAME_ABSOLUTE);
  EXPECT_EQ(Judge("c:x.txt"), ENTRY_NAME_COLON);
  EXPECT_EQ(Judge("c:\\x.txt"), ENTRY_NAME_COLON);
  EXPECT_EQ(Judge("C:/x.txt"), ENTRY_NAME_COLON);
  for (const char* name : {"..", "../evil.txt", "..\\up.txt", "a/../../b", "a\\..\\..\\b", "a/..", "a/../b",
                           "dir/..\\x", "../"})
    EXPECT_EQ(Judge(name), ENTRY_NAME_PARENT) << name;
}

TEST(EntryName, StreamsAndForbiddenCharacters) {
  EXPECT_EQ(Judge("a:b"), ENTRY_NAME_COLON);
  EXPECT_EQ(Judge("file.txt::$DATA"), ENTRY_NAME_COLON);
  EXPECT_EQ(Judge("dir/a:stream"), ENTRY_NAME_COLON);
  for (const char* name : {"a<b", "a>b", "a\"b", "a|b", "a?b", "a*b", "dir/what?.txt"})
    EXPECT_EQ(Judge(name), ENTRY_NAME_RESERVED_CHAR) << name;
  for (const char* name : {"a\tb", "a\nb", "dir/\x01x", "x\x1f", "x\x7f"})
    EXPECT_EQ(Judge(name), ENTRY_NAME_CONTROL) << name;
}

TEST(EntryName, DeviceNamesInEveryComponentAndCase) {
  for (const char* name : {"CON", "con", "Con", "PRN", "AUX", "NUL", "nul.txt", "con.tar.gz", "sub/aux.txt",
                           "sub\\AUX", "COM1", "com9.log", "LPT1", "lpt9", "COM0", "LPT0", "a/b/nul/c.txt",
                           "con .txt", "CONIN$", "conout$.x", "CLOCK$", "COM\xc2\xb9", "lpt\xc2\xb2.txt", "COM\xc2\xb3"})
    EXPECT_EQ(Judge(name), ENTRY_NAME_DEVICE) << name;
}

TEST(EntryName, TrailingDotsAndSpacesAreRefused) {
  // Windows drops them: "a." would land as "a", "..." would climb like "..".
  for (const char* name : {"a.", "a ", "dir./x", "dir /x", "...", ". ", "x/ .", "con.", "nul "})
    EXPECT_NE(Judge(name), ENTRY_NAME_OK) << name;
  EXPECT_EQ(Judge("trail./x.txt"), ENTRY_NAME_TRAILING);
  EXPECT_EQ(Judge("a "), ENTRY_NAME_TRAILING);
}

TEST(EntryName, EmptyNamesAndReasons) {
  EXPECT_EQ(Judge(""), ENTRY_NAME_EMPTY);
  EXPECT_EQ(Judge(nullptr), ENTRY_NAME_EMPTY);
  char reason[64] = "stale";
  EXPECT_EQ(JudgeEntryName("fine.txt", reason, sizeof reason), ENTRY_NAME_OK);
  EXPECT_STREQ(reason, "");
  EXPECT_EQ(JudgeEntryName("sub/aux.txt", reason, sizeof reason), ENTRY_NAME_DEVICE);
  EXPECT_NE(strstr(reason, "aux.txt"), nullptr) << reason;
  char tiny[4];
  EXPECT_EQ(JudgeEntryName("../x", tiny, sizeof tiny), ENTRY_NAME_PARENT);
  EXPECT_EQ(strlen(tiny), 3u);
}

}  // namespace
