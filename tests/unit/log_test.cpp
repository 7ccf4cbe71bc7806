#include "services/base.h"

#include <gtest/gtest.h>

#include "services/log.h"
#include "test_support.h"

#include <cstdio>
#include <string>

TEST(Log, LevelFilterAndFileContents) {
  SetVerbose(3);
  SetPrintToLogFile(1);
  Log(2, GetVerbose(), "below %d", 3);  // written
  Log(3, GetVerbose(), "equal %d", 3);  // a level equal to the verbosity is not
  Log(9, GetVerbose(), "above");        // not
  Log(-1, GetVerbose(), "always %s", "x");
  SetVerbose(0);
  Log(0, GetVerbose(), "zero");  // with verbosity 0 only level -1 passes
  Log(-1, GetVerbose(), "still");
  std::string name = GetLogFileName();
  ASSERT_FALSE(name.empty());
  EXPECT_NE(name.find("_log_"), std::string::npos);
  EXPECT_EQ(ReadFileBytes(name), "below 3\r\nalways x\r\nstill\r\n") << "each line is flushed at once";

  // Long messages are not cut.
  std::string big(5000, 'k');
  Log(-1, GetVerbose(), "%s", big.c_str());
  EXPECT_NE(ReadFileBytes(name).find(big + "\r\n"), std::string::npos);

  CloseLogFile();
  SetPrintToLogFile(0);
  DeleteFileA(name.c_str());
}

TEST(Log, NothingReachesAFileUnlessAsked) {
  SetPrintToLogFile(0);
  Log(-1, 0, "console only");
  EXPECT_STREQ(GetLogFileName(), "");
}
