// The chain of archives opened inside archives: what the window names, and which opens keep
// or end the chain (ending it deletes every temporary copy).
#include "services/base.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "model/app_state.h"
#include "model/nested_archives.h"
#include "test_support.h"

namespace {

std::string MakeCopy(const std::string& folder, const char* name) {
  std::string path = folder + "\\" + name;
  CreateDirectoryA(path.c_str(), nullptr);
  path += "\\inner.zip";
  FILE* f = fopen(path.c_str(), "wb");
  if (f) fclose(f);
  return path;
}

TEST(NestedArchives, StepsAlongTheChainKeepItAndAnyOtherOpenEndsIt) {
  std::string folder = ScratchDir("nested_chain");
  std::string first = MakeCopy(folder, "one"), second = MakeCopy(folder, "two");
  SetCurrentArchivePath("D:\\outer.7z");
  EXPECT_EQ(ShownArchivePath(), "D:\\outer.7z");

  PushNestedLevel({"D:\\outer.7z", "D:\\outer.7z", "pack", first}, "D:\\outer.7z\\pack\\inner.zip");
  ExpectNestedOpen(first.c_str());
  LeaveNestedChainUnlessExpected(first.c_str());
  SetCurrentArchivePath(first.c_str());
  PushNestedLevel({first, ShownArchivePath(), "", second}, ShownArchivePath() + "\\deep.zip");
  ExpectNestedOpen(second.c_str());
  LeaveNestedChainUnlessExpected(second.c_str());
  EXPECT_EQ(NestedDepth(), 2u);
  EXPECT_EQ(ShownArchivePath(), "D:\\outer.7z\\pack\\inner.zip\\deep.zip");

  NestedLevel level;
  ASSERT_TRUE(PopNestedLevel(&level));
  EXPECT_EQ(level.folder, "");
  EXPECT_EQ(level.copy, second);
  SetCurrentArchivePath(first.c_str());
  EXPECT_EQ(ShownArchivePath(), "D:\\outer.7z\\pack\\inner.zip");

  // An archive from outside (File > Open) ends the chain and takes the copies with it.
  LeaveNestedChainUnlessExpected("D:\\other.zip");
  EXPECT_EQ(NestedDepth(), 0u);
  EXPECT_EQ(GetFileAttributesA(first.c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_FALSE(PopNestedLevel(&level));
  SetCurrentArchivePath("");
}

}  // namespace
