// The entry-name judge on its own: under Wine the Linux file system takes names Windows
// refuses or reads differently, so what lands on disk cannot prove these decisions.
#include "services/base.h"

#include <gtest/gtest.h>

#include "jobs/entry_name_safety.h"

#include <cstring>
#include <vector>

namespace {

int Judge(const char* name) { return JudgeEntryName(name, nullptr, 0); }

TEST(EntryName, EachNameGetsItsVerdict) {
  const struct {
    int verdict;
    std::vector<const char*> names;
  } cases[] = {
      {ENTRY_NAME_OK,
       {"a.txt", "dir/sub/file.bin", "dir\\sub\\file.bin", "dir/", "dir\\", "./a.txt", "a//b", "a/./b", ".hidden",
        "..a", "a..b", "...a", "a.b.c", "console.txt", "CONIN", "com10", "lpt", "com", "nul_", "auxiliary/x",
        "prn2.txt", "COM1x", "\xc3\xa9t\xc3\xa9.txt", "COM\xb9", "Mixed Case Name.TXT", "dir/ space inside.txt"}},
      {ENTRY_NAME_ABSOLUTE, {"/abs.txt", "\\abs.txt", "\\\\server\\share\\x", "//server/share/x"}},
      // Drive letters and alternate streams.
      {ENTRY_NAME_COLON, {"c:x.txt", "c:\\x.txt", "C:/x.txt", "a:b", "file.txt::$DATA", "dir/a:stream"}},
      {ENTRY_NAME_PARENT,
       {"..", "../evil.txt", "..\\up.txt", "a/../../b", "a\\..\\..\\b", "a/..", "a/../b", "dir/..\\x", "../"}},
      {ENTRY_NAME_RESERVED_CHAR, {"a<b", "a>b", "a\"b", "a|b", "a?b", "a*b", "dir/what?.txt"}},
      {ENTRY_NAME_CONTROL, {"a\tb", "a\nb", "dir/\x01x", "x\x1f", "x\x7f"}},
      // In every component and case, with an ending, and with the superscript digits.
      {ENTRY_NAME_DEVICE,
       {"CON", "con", "Con", "PRN", "AUX", "NUL", "nul.txt", "con.tar.gz", "sub/aux.txt", "sub\\AUX", "COM1",
        "com9.log", "LPT1", "lpt9", "COM0", "LPT0", "a/b/nul/c.txt", "con .txt", "CONIN$", "conout$.x", "CLOCK$",
        "COM\xc2\xb9", "lpt\xc2\xb2.txt", "COM\xc2\xb3"}},
      // Windows drops them: "a." would land as "a".
      {ENTRY_NAME_TRAILING, {"trail./x.txt", "a ", "a.", "dir./x", "dir /x", "x/ ."}},
      {ENTRY_NAME_EMPTY, {"", nullptr}},
  };
  for (const auto& c : cases)
    for (const char* name : c.names) EXPECT_EQ(Judge(name), c.verdict) << (name ? name : "(null)");
  // "..." would climb like "..": refused, for whichever reason comes first.
  for (const char* name : {"...", ". ", "con.", "nul "}) EXPECT_NE(Judge(name), ENTRY_NAME_OK) << name;
}

TEST(EntryName, Reasons) {
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
