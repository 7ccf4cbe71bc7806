#include "services/base.h"

#include <gtest/gtest.h>

#include "services/external_app.h"

namespace {

// The registered command's ending decides how the path joins it.
TEST(ShapeCommandLine, ThePathJoinsTheCommandAsItsEndingAsks) {
  struct Case {
    const char* command;
    const char* expected;
  } cases[] = {
      {"notepad.exe \"%1\"", "notepad.exe \"c:\\t\\a b.txt\""},
      {"notepad.exe %1", "notepad.exe c:\\t\\a b.txt"},
      {"wordpad.exe /e", "wordpad.exe /e \"c:\\t\\a b.txt\""},
      {"viewer.exe /dde", "viewer.exe /dde \"c:\\t\\a b.txt\""},
      {"notepad.exe ", "notepad.exe c:\\t\\a b.txt"},
  };
  for (const Case& c : cases) {
    char out[kPathBuf];
    ASSERT_TRUE(ShapeCommandLine(c.command, "c:\\t\\a b.txt", out)) << c.command;
    EXPECT_STREQ(out, c.expected) << c.command;
  }
}

TEST(ShapeCommandLine, ACommandLineThatWouldNotFitIsRefused) {
  std::string path(kPathBuf - 10, 'x');
  char out[kPathBuf];
  EXPECT_FALSE(ShapeCommandLine("notepad.exe \"%1\"", path.c_str(), out));
}

TEST(IsProgramFile, ProgramsAskBeforeTheyStart) {
  for (const char* name : {"a.exe", "SETUP.EXE", "x.bat", "x.cmd", "x.msi", "x.com", "x.scr"})
    EXPECT_TRUE(IsProgramFile(name)) << name;
  for (const char* name : {"a.txt", "exe", "a.exe.txt", "a.zip"}) EXPECT_FALSE(IsProgramFile(name)) << name;
}

}  // namespace
