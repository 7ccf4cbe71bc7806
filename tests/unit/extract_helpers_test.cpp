// The pieces under the entry loop: reading an entry to memory or a file, folder creation and
// file times.
#include "services/base.h"

#include <gtest/gtest.h>

#include "jobs/zone_mark.h"
#include "model/app_state.h"
#include "settings/options.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/extract.h"
#include "zip/whole_deflate.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

class EntryRead : public ::testing::Test {
 protected:
  void SetUp() override {
    SetArchiveEncrypted(0);
    SetCurrentPassword("");
  }
  void TearDown() override {
    if (zip_) unzClose(zip_);
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
  RecordedBoxes boxes_;
  unzFile zip_ = nullptr;
  char buffer_[65536];
};

// A damaged entry asks once per read whether to go on; nothing it wrote is taken as good.
TEST_F(EntryRead, ReadErrorAsksOnce) {
  unz_file_info64 info = At("damaged_entry.zip", "invalid.bin");
  std::string path = ScratchDir("read_damaged") + "\\invalid.bin";
  for (int answer : {IDOK, IDCANCEL}) {
    boxes_.answer = answer;
    FILE* file = fopen(path.c_str(), "wb");
    EXPECT_EQ(ReadEntryToFile(zip_, &info, sizeof buffer_, buffer_, file, path.c_str(), 0), 0);
    fclose(file);
    unzCloseCurrentFile(zip_);
    EXPECT_EQ(unzLocateFile(zip_, "invalid.bin", 1), UNZ_OK);
    ASSERT_EQ(OpenCurrentEntry(zip_), UNZ_OK);
  }
  EXPECT_EQ(boxes_.texts.size(), 2u);
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
  EXPECT_EQ(Crc32Whole(0, text.data(), text.size()),
            crc32(0, reinterpret_cast<const Bytef*>(text.data()), text.size()));
  struct {
    size_t inSize, outSize;
    bool ok;
  } cases[] = {{size, text.size(), true},
               {size, text.size() - 1, false},
               {size, text.size() + 1, false},
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

// The system writes the stream, browsers and mail add their own lines: only the zone of the
// [ZoneTransfer] section counts, and an unreadable one marks nothing. Files get the mark
// only from an archive from outside this computer, and only while the option (on in a word
// saved before it existed) is on.
TEST(ZoneMark, TheArchivesZoneGoesOnToItsFiles) {
  const struct {
    const char* stream;
    int zone;
    const char* host;
  } kStreams[] = {
      {"[ZoneTransfer]\r\nZoneId=3\r\n", 3, ""},
      {"[ZoneTransfer]\nHostUrl=https://example.org/a.zip\nZoneId = 4\n", 4, "https://example.org/a.zip"},
      {"[zonetransfer]\r\nReferrerUrl=C:\\x.zip\r\nZoneId=0", 0, ""},
      {"[Other]\r\nZoneId=3\r\n", -1, ""},
      {"[ZoneTransfer]\r\nZoneId=3x\r\n", -1, ""},
      {"[ZoneTransfer]\r\nZoneId=7\r\n", -1, ""},
      {"", -1, ""},
  };
  for (const auto& c : kStreams) {
    ZoneMark mark;
    EXPECT_EQ(ParseZoneIdentifier(c.stream, &mark), c.zone >= 0) << c.stream;
    EXPECT_EQ(mark.zone, c.zone) << c.stream;
    EXPECT_EQ(mark.hostUrl, c.host) << c.stream;
    EXPECT_EQ(MarksExtractedFiles(true, mark), c.zone > 0) << c.stream;
    EXPECT_FALSE(MarksExtractedFiles(false, mark)) << c.stream;
  }
  ZoneMark web;
  ParseZoneIdentifier(kStreams[1].stream, &web);
  EXPECT_EQ(ZoneIdentifierText(web, "C:\\down\\a.zip"),
            "[ZoneTransfer]\r\nZoneId=4\r\nReferrerUrl=C:\\down\\a.zip\r\nHostUrl=https://example.org/a.zip\r\n");

  ResetOptions();
  EXPECT_TRUE(IsMarkExtractedFiles());
  SetMarkExtractedFiles(0);
  EXPECT_NE(MakeOptionWord() & 0x04000000u, 0u);
  SplitOptionWord(kDefaultCompressionLevel);
  EXPECT_TRUE(IsMarkExtractedFiles());
}
