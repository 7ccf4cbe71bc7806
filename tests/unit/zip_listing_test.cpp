// Archives made by zip, 7zz and python's zipfile, listed by the engine and compared entry by
// entry with what the peers report.
#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/listing_totals.h"
#include "model/namelist.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "archive_fixtures.h"
#include "test_support.h"
#include "formats/open_archive.h"
#include "formats/zip_format.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <cinttypes>
#include <cstdio>
#include <set>
#include <string>
#include <thread>

namespace {

struct Listed {
  std::multiset<std::string> rows;  // "name\tcompressed\tuncompressed\tencrypted", names with "/"
  ListingTotals totals;
};

Listed ListArchive(const std::string& file) {
  ListedArchive listed(file);
  Listed out = {};
  if (listed.listing == -1) return out;
  EXPECT_EQ(listed.listing, 0);
  for (int r = 0; r < listed.window.Rows(); ++r) {
    liststruct* rec = GetRowRecord(listed.window.list, r);
    std::string name = Separated(listed.FullName(r));
    char line[kPathBuf * 2];
    snprintf(line, sizeof line, "%s\t%" PRIu64 "\t%" PRIu64 "\t%s", name.c_str(), rec->compressed, rec->uncompressed,
             GetEntryEncryptedText(rec));
    out.rows.insert(line);
  }
  out.totals = GetListingTotals();
  return out;
}

std::multiset<std::string> Expected(const std::string& listFile) {
  auto lines = ReadLines(TestData(listFile));
  return std::multiset<std::string>(lines.begin(), lines.end());
}

}  // namespace

TEST(ZipListing, EveryPeerArchiveListsAsThePeersSeeIt) {
  for (const char* name : {"zip_deflated", "zip_stored", "zip_encrypted", "zip_partly_encrypted", "sevenzip", "python",
                           "empty", "zip64_big"}) {
    SCOPED_TRACE(name);
    Listed got = ListArchive(std::string(name) + ".zip");
    std::multiset<std::string> want = Expected(std::string(name) + ".list");
    EXPECT_EQ(got.rows, want);
    // Directory entries get no row and no count, but their sizes are in the sums.
    EXPECT_EQ(got.totals.entries, want.size());
    uint64_t compressed = 0, uncompressed = 0;
    sscanf(ReadFileBytes(TestData(std::string(name) + ".sums")).c_str(), "%" SCNu64 " %" SCNu64, &compressed,
           &uncompressed);
    EXPECT_EQ(got.totals.compressed, compressed);
    EXPECT_EQ(got.totals.uncompressed, uncompressed);
  }
}

// The first entry's encryption sets the archive's flag; 64-bit sizes make it a ZIP64 archive.
TEST(ZipListing, ListingSetsTheArchiveFlagAndKind) {
  const struct {
    const char* archive;
    int encrypted, kind;
  } cases[] = {{"zip_encrypted.zip", 1, ARCHIVE_ZIP}, {"zip_deflated.zip", 0, ARCHIVE_ZIP}, {"zip64_big.zip", 0, ARCHIVE_ZIP64}};
  RegisterArchiveFormats();
  for (const auto& c : cases) {
    SetArchiveKind(ARCHIVE_ZIP);
    ListArchive(c.archive);
    EXPECT_EQ(IsArchiveEncrypted(), c.encrypted) << c.archive;
    EXPECT_EQ(GetArchiveKind(), c.kind) << c.archive;
  }
}

TEST(ZipOpen, RefusalsAndFailuresTellTheUser) {
  RecordedBoxes boxes;
  EXPECT_EQ(OpenCompressedFile(TestData("does_not_exist.zip").c_str(), nullptr), OPEN_REFUSED);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.titles[0], "Kestrelia");
  EXPECT_NE(boxes.texts[0].find("does_not_exist.zip"), std::string::npos);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE)), std::string::npos);

  EXPECT_EQ(OpenCompressedFile(TestData("plain.txt").c_str(), nullptr), OPEN_REFUSED);
  EXPECT_NE(boxes.texts.back().find("plain.txt\" " + std::string(GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL)) + ":\n" +
                                    GetMessageText(KLANG_MSG_OPEN_UNKNOWN_KIND)),
            std::string::npos);
  EXPECT_TRUE(boxes.flags.back() & MB_ICONERROR);
  EXPECT_EQ(IsOpenInProgress(), 0);

  ASSERT_EQ(ClaimOperation(OPERATION_JOB), OPERATION_NONE);
  EXPECT_EQ(OpenCompressedFile(TestData("zip_deflated.zip").c_str(), nullptr), OPEN_REFUSED);
  EXPECT_EQ(boxes.texts.size(), 2u) << "a busy refusal is only printed";
  EXPECT_EQ(IsOpenInProgress(), 0);
  ReleaseOperation(OPERATION_OPEN);
  EXPECT_EQ(IsBusy(), 1) << "the end of an open never frees a run's claim";
  ReleaseOperation(OPERATION_JOB);
}

TEST(ZipOpen, DamagedArchiveFailsWithTheProgramsMessage) {
  EXPECT_EQ(MyWaitunzOpen2_64(TestData("damaged.zip").c_str(), 30), nullptr);
  EXPECT_EQ(GetUnzipErrorIndex(), 5);
  EXPECT_STREQ(GetUnzipErrorText(GetUnzipErrorIndex()), "unzip bad zip file");
  const struct {
    const char* file;
    int text;
  } kWhy[] = {{"damaged.zip", KLANG_MSG_OPEN_CUT_SHORT},
              {"renamed_text.zip", KLANG_MSG_OPEN_NOT_ZIP},
              {"bad_directory.zip", KLANG_MSG_OPEN_DAMAGED},
              {"does_not_exist.zip", KLANG_MSG_MISSING_OR_IN_USE}};
  for (const auto& c : kWhy) {
    EXPECT_EQ(MyWaitunzOpen2_64(TestData(c.file).c_str(), 0), nullptr) << c.file;
    EXPECT_EQ(ZipOpenFailureText(TestData(c.file).c_str()), c.text) << c.file;
  }

  // The whole open road: the listing thread shows the error box and clears the open mark.
  RecordedBoxes boxes;
  HiddenEntryList window;
  RegisterZipFormat();
  ArchiveControlBlock* block = GetCurrentControlBlock();
  ASSERT_TRUE(AllocateControlBlocks());
  block = GetCurrentControlBlock();
  block->list = window.list;
  ASSERT_EQ(OpenCompressedFile(TestData("damaged.zip").c_str(), nullptr), OPEN_STARTED);
  for (int i = 0; i < 6000 && IsOpenInProgress(); ++i) Sleep(10);  // generous: a loaded machine
  EXPECT_EQ(IsOpenInProgress(), 0);
  ASSERT_EQ(boxes.titles.size(), 1u);
  EXPECT_EQ(boxes.titles[0], GetMessageText(KLANG_MSG_ERROR_TITLE));
  EXPECT_NE(boxes.texts[0].find("damaged.zip"), std::string::npos);
  EXPECT_NE(boxes.texts[0].find(GetMessageText(KLANG_MSG_OPEN_CUT_SHORT)), std::string::npos);
  EXPECT_EQ(boxes.texts[0].find("unzip"), std::string::npos) << "the library's words are the console's";
  EXPECT_EQ(window.Rows(), 0);
  block->list = nullptr;
}

TEST(ZipOpen, ShortLockIsWaitedOutLongLockFails) {
  std::string path = TestData("zip_stored.zip");
  HANDLE lock = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(lock, INVALID_HANDLE_VALUE);
  // Let go once the opener has met the lock and waits it out.
  SetStoredSystemError(0);
  std::thread release([lock] {
    for (int i = 0; i < 6000 && GetStoredSystemError() != ERROR_SHARING_VIOLATION; ++i) Sleep(10);
    CloseHandle(lock);
  });
  unzFile archive = MyWaitunzOpen2_64(path.c_str(), 0xFFFFFFFF);
  release.join();
  ASSERT_NE(archive, nullptr);
  unzClose(archive);
  EXPECT_EQ(GetStoredSystemError(), 0u) << "nothing to report once the wait worked";

  lock = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(MyWaitunzOpen2_64(path.c_str(), 100), nullptr);
  CloseHandle(lock);
  EXPECT_EQ(GetStoredSystemError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(GetUnzipErrorIndex(), 9);
  char text[kPathBuf * 3];
  MakeZipOpenErrorText(path.c_str(), text, sizeof text);
  EXPECT_NE(std::string(text).find(":\n"), std::string::npos) << "the system's message follows: " << text;
  EXPECT_EQ(GetStoredSystemError(), 0u) << "reported once";
}
