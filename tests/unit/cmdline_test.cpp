#include "services/base.h"

#include <gtest/gtest.h>

#include "app/cmdline.h"

#include <string>
#include <vector>

namespace {

std::vector<std::string> Split(const char* line, int limit = kPathBuf - 1) {
  int n = TokenizeCommandLine(line, nullptr, limit);
  std::vector<char[kPathBuf]> buffers(n > 0 ? n : 1);
  EXPECT_EQ(TokenizeCommandLine(line, buffers.data(), limit), n);
  std::vector<std::string> out;
  for (int i = 0; i < n; ++i) out.push_back(buffers[i]);
  return out;
}

CommandPlan Plan(const char* line) {
  int n = TokenizeCommandLine(line, nullptr, kPathBuf - 1);
  std::vector<char[kPathBuf]> buffers(n > 0 ? n : 1);
  TokenizeCommandLine(line, buffers.data(), kPathBuf - 1);
  return DecideCommandRoad(line, buffers.data(), n);
}

using V = std::vector<std::string>;

}  // namespace

TEST(CommandLine, Tokenizer) {
  EXPECT_EQ(Split(""), V{});
  EXPECT_EQ(Split("    "), V{});
  EXPECT_EQ(Split("a.zip"), V{"a.zip"});
  EXPECT_EQ(Split("  one   two "), (V{"one", "two"}));
  EXPECT_EQ(Split("\"C:\\My Files\\a b.zip\" x"), (V{"C:\\My Files\\a b.zip", "x"}));
  EXPECT_EQ(Split("tab\tinside"), V{"tab\tinside"}) << "only the space separates";
  EXPECT_EQ(Split("a \"unterminated rest of line"), (V{"a", "unterminated rest of line"}));
  EXPECT_EQ(Split("\"\" b"), (V{"", "b"}));
  EXPECT_EQ(Split("x\"y z"), (V{"x\"y", "z"})) << "a quote inside an argument is just a character";
  std::string longName(kPathBuf + 40, 'n');
  V cut = Split(longName.c_str());
  ASSERT_EQ(cut.size(), 1u);
  EXPECT_EQ(cut[0].size(), static_cast<size_t>(kPathBuf - 1));
}

TEST(CommandLine, Roads) {
  EXPECT_EQ(Plan("").road, ROAD_WINDOW);
  EXPECT_EQ(Plan("archive.zip").road, ROAD_WINDOW);
  EXPECT_EQ(Plan("-HELP").road, ROAD_HELP);
  EXPECT_EQ(Plan("-hx").road, ROAD_HELP);
  EXPECT_EQ(Plan("--help").road, ROAD_HELP);
  EXPECT_EQ(Plan("--foo").road, ROAD_SILENT_EXIT);
  EXPECT_EQ(Plan("-/x").road, ROAD_SILENT_EXIT);
  EXPECT_EQ(Plan("/help").road, ROAD_WINDOW) << "a line must begin with '-' to be read as a switch";
  EXPECT_EQ(Plan("-x").road, ROAD_WINDOW) << "one argument is a file to open";

  CommandPlan x = Plan("-X \"my archive.zip\" ignored");
  EXPECT_EQ(x.road, ROAD_EXTRACT);
  EXPECT_EQ(x.firstFile, 1);

  CommandPlan two = Plan("a.zip b.zip");
  EXPECT_EQ(two.road, ROAD_BUILD);
  EXPECT_EQ(two.firstFile, 0) << "two names without a switch build a new archive from both";
  EXPECT_FALSE(two.add);

  struct Case {
    const char* line;
    bool silent, add, simulation;
  } cases[] = {
      {"-a f", false, true, false},  {"-AS f", true, true, false},  {"-asim f", false, true, true},
      {"-s f", true, false, false},  {"-c f", false, false, false}, {"-cs f", true, false, false},
      {"-Csim f", false, false, true},
  };
  for (const Case& c : cases) {
    CommandPlan p = Plan(c.line);
    EXPECT_EQ(p.road, ROAD_BUILD) << c.line;
    EXPECT_EQ(p.firstFile, 1) << c.line;
    EXPECT_EQ(p.silent, c.silent) << c.line;
    EXPECT_EQ(p.add, c.add) << c.line;
    EXPECT_EQ(p.simulation, c.simulation) << c.line;
  }
}
