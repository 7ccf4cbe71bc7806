// The pieces under the entry loop: reading an entry to memory or a file, folder creation and
// file times.
#include "services/base.h"

#include <gtest/gtest.h>

#include "model/app_state.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/extract.h"
#include "zip/whole_deflate.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

int g_questions;
int g_answer;

int CountingBox(HWND, const char*, const char*, UINT) {
  ++g_questions;
  return g_answer;
}

class EntryRead : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetPrompts();
    GetPrompts().messageBox = CountingBox;
    g_questions = 0;
    g_answer = IDOK;
    SetArchiveEncrypted(0);
    SetCurrentPassword("");
  }
  void TearDown() override {
    if (zip_) unzClose(zip_);
    ResetPrompts();
  }
  // Opens the archive at the named entry; the entry's information comes back.
  unz_file_info64 At(const char* archive, const char* entry) {
    zip_ = MyWaitunzOpen2_64(TestData(archive).c_str(), 0);
    unz_file_info64 info = {};
    EXPECT_NE(zip_, nullptr);
    if (!zip_) return info;
    EXPECT_EQ(unzLocateFile(zip_, entry, 1), UNZ_OK) << entry;
    unzGetCurrentFileInfo64(zip_, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    EXPECT_EQ(OpenCurrentEntry(zip_), UNZ_OK);
    return info;
  }
  unzFile zip_ = nullptr;
  char buffer_[65536];
};

TEST_F(EntryRead, ToMemoryAndToFile) {
  unz_file_info64 info = At("deflated.zip", "docs/numbers.txt");
  std::vector<char> memory(info.uncompressed_size);
  EXPECT_EQ(ReadEntryToMemory(zip_, &info, sizeof buffer_, buffer_, memory.data()), 1);
  EXPECT_EQ(unzCloseCurrentFile(zip_), UNZ_OK);
  EXPECT_TRUE(std::string(memory.begin(), memory.end()) == ReadFileBytes(TestData("ref_deflated\\docs\\numbers.txt")));

  std::string path = ScratchDir("read_to_file") + "\\mixed.bin";
  unzClose(zip_);
  info = At("deflated.zip", "data/mixed.bin");
  FILE* file = fopen(path.c_str(), "wb");
  // A small buffer: many chunks.
  EXPECT_EQ(ReadEntryToFile(zip_, &info, 1000, buffer_, file, path.c_str(), 1), 1);
  fclose(file);
  EXPECT_TRUE(ReadFileBytes(path) == ReadFileBytes(TestData("ref_deflated\\data\\mixed.bin")));
  EXPECT_EQ(g_questions, 0);
}

TEST_F(EntryRead, OverrunIsCutAtTheDeclaredSize) {
  unz_file_info64 info = At("overrun.zip", "long.txt");
  std::string path = ScratchDir("read_overrun") + "\\long.txt";
  FILE* file = fopen(path.c_str(), "wb");
  EXPECT_EQ(ReadEntryToFile(zip_, &info, sizeof buffer_, buffer_, file, path.c_str(), 0), 1);
  fclose(file);
  EXPECT_EQ(ReadFileBytes(path), ReadFileBytes(TestData("overrun.data")).substr(0, 100000));
}

TEST_F(EntryRead, ReadErrorAsksOnceAndKeepsNothingUsable) {
  unz_file_info64 info = At("damaged_entry.zip", "invalid.bin");
  std::vector<char> memory(info.uncompressed_size);
  EXPECT_EQ(ReadEntryToMemory(zip_, &info, sizeof buffer_, buffer_, memory.data()), 0);
  EXPECT_EQ(g_questions, 1);
  unzCloseCurrentFile(zip_);

  g_answer = IDCANCEL;
  EXPECT_EQ(unzLocateFile(zip_, "invalid.bin", 1), UNZ_OK);
  ASSERT_EQ(OpenCurrentEntry(zip_), UNZ_OK);
  EXPECT_EQ(ReadEntryToMemory(zip_, &info, sizeof buffer_, buffer_, memory.data()), 0);
  EXPECT_EQ(g_questions, 2);
}

TEST_F(EntryRead, EncryptedArchiveWithoutPasswordReadsNothingToFile) {
  SetArchiveEncrypted(1);
  SetCurrentPassword("secret");
  unz_file_info64 info = At("one_encrypted.zip", "docs/numbers.txt");
  SetCurrentPassword("");
  std::string path = ScratchDir("read_no_password") + "\\n.txt";
  FILE* file = fopen(path.c_str(), "wb");
  EXPECT_EQ(ReadEntryToFile(zip_, &info, sizeof buffer_, buffer_, file, path.c_str(), 0), 0);
  fclose(file);
  EXPECT_EQ(ReadFileBytes(path), "");
  SetArchiveEncrypted(0);
}

TEST(ExtractFolders, CreateDirectoryPathMakesTheParents) {
  std::string root = ScratchDir("dirs");
  std::string deep = root + "\\a\\b\\c";
  EXPECT_TRUE(CreateDirectoryPath(deep.c_str()));
  EXPECT_NE(GetFileAttributesA(deep.c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_FALSE(CreateDirectoryPath(deep.c_str())) << "an existing folder is not created again";
  EXPECT_TRUE(CreateDirectoryPath((root + "\\a\\b2").c_str()));
}

TEST(ExtractFolders, MakeDirectoryPathIsRelativeToTheWorkingDirectory) {
  ResetPrompts();
  GetPrompts().messageBox = CountingBox;
  g_questions = 0;
  std::string root = ScratchDir("dirs_relative");
  char previous[kPathBuf];
  GetCurrentDirectoryA(sizeof previous, previous);
  ASSERT_TRUE(SetCurrentDirectoryA(root.c_str()));
  EXPECT_EQ(MakeDirectoryPath("x/y\\z/", 0, 1), 0);
  EXPECT_NE(GetFileAttributesA("x\\y\\z"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(MakeDirectoryPath("x/y", 0, 1), 0) << "existing is fine unless reported";
  EXPECT_EQ(MakeDirectoryPath("x/y", 1, 1), -1);
  EXPECT_EQ(g_questions, 1);
  SetCurrentDirectoryA(previous);
  ResetPrompts();
}

TEST(ExtractTimes, DosDateIsLocalTime) {
  std::string path = ScratchDir("times") + "\\t.txt";
  fclose(fopen(path.c_str(), "wb"));
  // 2024-07-15 13:45:30 local: date (44 << 9 | 7 << 5 | 15), time (13 << 11 | 45 << 5 | 15).
  uLong dos = (static_cast<uLong>((44 << 9) | (7 << 5) | 15) << 16) | ((13 << 11) | (45 << 5) | 15);
  ASSERT_TRUE(SetFileTimesFromDos(path.c_str(), dos));
  WIN32_FILE_ATTRIBUTE_DATA data;
  ASSERT_TRUE(GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data));
  SYSTEMTIME utc, local;
  FileTimeToSystemTime(&data.ftLastWriteTime, &utc);
  SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
  EXPECT_EQ(local.wYear, 2024);
  EXPECT_EQ(local.wMonth, 7);
  EXPECT_EQ(local.wDay, 15);
  EXPECT_EQ(local.wHour, 13);
  EXPECT_EQ(local.wMinute, 45);
  EXPECT_EQ(local.wSecond, 30);
  EXPECT_EQ(CompareFileTime(&data.ftCreationTime, &data.ftLastWriteTime), 0);
}

}  // namespace

// Whole-buffer deflate: what it encodes comes back, and a stream that decodes to another size
// than the one asked for, or is cut, is refused rather than padded.
TEST(WholeDeflate, RoundTripAndRefusals) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += std::to_string(i * 7919 % 1000) + " ";
  std::vector<char> packed(DeflateWholeBound(text.size()));
  size_t size = DeflateWhole(6, text.data(), text.size(), packed.data(), packed.size());
  ASSERT_GT(size, 0u);
  ASSERT_LT(size, text.size());
  EXPECT_EQ(Crc32Whole(0, text.data(), text.size()), crc32(0, reinterpret_cast<const Bytef*>(text.data()), text.size()));
  struct {
    size_t inSize, outSize;
    bool ok;
  } cases[] = {{size, text.size(), true}, {size, text.size() - 1, false}, {size, text.size() + 1, false},
               {size / 2, text.size(), false}};
  for (const auto& c : cases) {
    std::vector<char> out(c.outSize);
    int result = InflateWhole(packed.data(), c.inSize, out.data(), c.outSize);
    EXPECT_EQ(result == 0, c.ok) << c.inSize << " " << c.outSize;
    if (c.ok) {
      EXPECT_EQ(std::string(out.data(), out.size()), text);
    }
  }
}
