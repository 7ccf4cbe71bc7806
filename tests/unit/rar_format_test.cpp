// The RAR adapter with the real unrar.dll on archives `rar` made during the run (and RAR4
// ones written by the generator): listing against `unrar lt`, extraction byte for byte
// against the tree they were made of, passwords, volumes, hostile names, a damaged header.
#include "services/base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/rar_format.h"
#include "kestrelia_lang.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "services/current_password.h"
#include "services/prompts.h"
#include "test_support.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_job.h"
#include "model/app_state.h"
#include "zip/extract.h"

namespace {

std::vector<std::string> g_boxes;
int RecordBox(HWND, const char* text, const char* title, UINT) {
  g_boxes.push_back(std::string(title) + "|" + text);
  return IDOK;
}
// The password the scripted dialog types; empty: the user cancels.
std::string g_typed;
int g_passwordAsked;
bool TypePassword(HWND, char* password) {
  ++g_passwordAsked;
  snprintf(password, kPathBuf, "%s", g_typed.c_str());
  return !g_typed.empty();
}
int g_volumeAsked;
// The volume the scripted chooser picks; empty: the user cancels.
std::string g_volume;
bool ChooseVolume(HWND, const char*, const char*, char* path) {
  ++g_volumeAsked;
  snprintf(path, kPathBuf, "%s", g_volume.c_str());
  return !g_volume.empty();
}

struct RarListed {
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  explicit RarListed(const std::string& archive) {
    SetArchiveKind(ARCHIVE_RAR);
    block.list = window.list;
    NameListRecreate(&block.folders);
    snprintf(block.path, sizeof block.path, "%s", TestData(archive).c_str());
    ListRarArchive(&block);
  }
  ~RarListed() { NameListDestroy(&block.folders); }
  std::string FullName(int row) const {
    liststruct* record = GetRowRecord(window.list, row);
    return std::string(record->path) + record->filename;
  }
  // "size<TAB>full name" per row, sorted as the generator's .expect.
  std::vector<std::string> Rows() const {
    std::vector<std::pair<uint64_t, std::string>> rows;
    for (int row = 0; row < window.Rows(); ++row) {
      rows.emplace_back(GetRowRecord(window.list, row)->uncompressed, FullName(row));
    }
    std::sort(rows.begin(), rows.end());
    std::vector<std::string> lines;
    for (const auto& row : rows) lines.push_back(std::to_string(row.first) + "\t" + row.second);
    return lines;
  }
};

int Extract(const std::string& archive, const std::string& destination, const char* password,
            const EntrySelection* chosen = nullptr) {
  ExtractJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", TestData(archive).c_str());
  snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  snprintf(job.password, sizeof job.password, "%s", password ? password : "");
  job.silent = 1;
  job.overwriteMode = OVERWRITE_ALWAYS;
  job.chosen = chosen;
  return ExtractRarFilesFromList(&job);
}

class RarFormat : public ::testing::Test {
 protected:
  void SetUp() override {
    g_boxes.clear();
    g_typed.clear();
    g_volume.clear();
    g_passwordAsked = g_volumeAsked = 0;
    SetCurrentPassword("");
    GetPrompts().messageBox = RecordBox;
    GetPrompts().password = TypePassword;
    GetPrompts().openFile = ChooseVolume;
  }
  void TearDown() override {
    ResetPrompts();
    SetCurrentPassword("");
  }
};

struct ArchiveCase {
  const char* archive;
  const char* typed;  // what the password dialog is given, if it is asked
  int asked;          // how often it is asked
};
const ArchiveCase kArchives[] = {
    {"plain.rar", "", 0},        {"solid.rar", "", 0},   {"rar4.rar", "", 0},
    {"volumes.part1.rar", "", 0}, {"password.rar", "secret", 1}, {"headers.rar", "secret", 1},
};

TEST_F(RarFormat, ListsWhatUnrarListsAndExtractsTheTreeByteForByte) {
  FolderContents source = Contents(TestData("src"));
  for (const ArchiveCase& c : kArchives) {
    SCOPED_TRACE(c.archive);
    g_typed = c.typed;
    g_passwordAsked = 0;
    SetCurrentPassword("");
    std::string expect = std::string(c.archive) + ".expect";
    {
      RarListed listed(c.archive);
      EXPECT_EQ(listed.Rows(), ReadLines(TestData(expect)));
    }
    // Listing encrypted data needs no password; headers ask once, and the extraction
    // reuses the password of the session.
    std::string destination = ScratchDir(std::string("rar_all_") + c.archive);
    EXPECT_EQ(Extract(c.archive, destination, nullptr), 0);
    EXPECT_EQ(g_passwordAsked, c.asked);
    FolderContents got = Contents(destination);
    EXPECT_EQ(FileNames(got), FileNames(source));
    for (const auto& file : source.files) EXPECT_EQ(got.files[file.first].bytes, file.second.bytes) << file.first;
    EXPECT_TRUE(got.folders.count("empty/inner")) << "empty folders are kept";
    EXPECT_TRUE(g_boxes.empty()) << g_boxes.front();
  }
}

TEST_F(RarFormat, ListingKeepsTheEntryDateToTheMinute) {
  struct Case {
    const char* archive;
    const char* entry;
    int year, month, day, hour, minute;
  } cases[] = {{"plain.rar", "docs\\numbers.txt", 2023, 7, 15, 9, 4}, {"rar4.rar", "readme.txt", 2020, 1, 2, 3, 4}};
  for (const Case& c : cases) {
    RarListed listed(c.archive);
    int row = 0;
    while (row < listed.window.Rows() && listed.FullName(row) != c.entry) ++row;
    ASSERT_LT(row, listed.window.Rows()) << c.archive;
    const SYSTEMTIME& date = GetRowRecord(listed.window.list, row)->date;
    EXPECT_EQ(std::vector<int>({date.wYear, date.wMonth, date.wDay, date.wHour, date.wMinute}),
              std::vector<int>({c.year, c.month, c.day, c.hour, c.minute}))
        << c.archive;
  }
}

TEST_F(RarFormat, ExtractsTheChosenRowsAndFoldersOnly) {
  EntrySelection chosen;
  chosen.names = {"日本語\\テキスト.txt", "docs\\deep\\", "readme.txt"};
  for (const char* archive : {"plain.rar", "solid.rar"}) {
    std::string destination = ScratchDir(std::string("rar_some_") + archive);
    EXPECT_EQ(Extract(archive, destination, nullptr, &chosen), 0) << archive;
    EXPECT_EQ(FileNames(destination),
              (std::set<std::string>{"日本語/テキスト.txt", "docs/deep/note.md", "readme.txt"}))
        << archive;
    EXPECT_EQ(ReadFileBytes(destination + "\\readme.txt"), "rar test\n");
  }
}

TEST_F(RarFormat, ExtractsEverythingBelowAFolderOfTheTree) {
  for (const char* folder : {"docs", "docs/deep\\"}) {
    std::string destination = ScratchDir("rar_folder");
    ExtractJob job = {};
    snprintf(job.archive, sizeof job.archive, "%s", TestData("plain.rar").c_str());
    snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
    job.silent = 1;
    EXPECT_EQ(ExtractRarFolder(&job, folder), 0) << folder;
    std::set<std::string> expected = {"docs/deep/note.md"};
    if (std::string(folder) == "docs") expected = {"docs/deep/note.md", "docs/numbers.txt", "docs/zero.bin"};
    EXPECT_EQ(FileNames(destination), expected) << folder;
  }
}

TEST_F(RarFormat, AWrongPasswordWritesNothingAndIsForgotten) {
  struct Case {
    const char* archive;
    const char* given;  // the run's password; null: the dialog is asked
    const char* typed;
  } cases[] = {{"password.rar", "wrong", ""}, {"headers.rar", nullptr, "wrong"}, {"password.rar", nullptr, ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + (c.given ? c.given : "(dialog)") + " " + c.typed);
    g_boxes.clear();
    g_typed = c.typed;
    SetCurrentPassword("");
    std::string destination = ScratchDir("rar_wrong");
    Extract(c.archive, destination, c.given);
    for (const auto& file : Contents(destination).files) EXPECT_EQ(file.second.bytes, "") << file.first;
    EXPECT_STREQ(GetCurrentPassword(), "");
    EXPECT_FALSE(g_boxes.empty()) << "the user is told";
  }
}

TEST_F(RarFormat, AMissingVolumeIsAskedForAndTheRunStopsWhenNoneIsGiven) {
  RarListed listed("missing.part1.rar");
  EXPECT_GE(g_volumeAsked, 1);
  EXPECT_GT(listed.window.Rows(), 0) << "the entries before the gap are listed";
  ASSERT_FALSE(g_boxes.empty());
  EXPECT_NE(g_boxes[0].find(GetPluginText(KLANG_PLUGIN_VOLUME_MISSING)), std::string::npos);
  // The chooser's answer: none, or the volume that was moved away.
  for (bool given : {false, true}) {
    SCOPED_TRACE(given);
    g_volume = given ? TestData("volumes.part2.rar") : "";
    g_volumeAsked = 0;
    g_boxes.clear();
    std::string destination = ScratchDir("rar_missing");
    Extract("missing.part1.rar", destination, nullptr);
    EXPECT_GE(g_volumeAsked, 1);
    EXPECT_EQ(ReadFileBytes(destination + "\\readme.txt"), "rar test\n");
    EXPECT_EQ(ReadFileBytes(destination + "\\data\\random.bin") == ReadFileBytes(TestData("src\\data\\random.bin")),
              given);
    EXPECT_EQ(g_boxes.empty(), given);
  }
}

TEST_F(RarFormat, HostileNamesAndLinksLandNowhereAndAreReported) {
  const struct {
    const char* archive;
    std::vector<const char*> refused;
  } cases[] = {{"hostile.rar", {"climbed.txt", "rooted.txt", "twice.txt"}}, {"links.rar", {"escape", "up"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_boxes.clear();
    std::string outer = ScratchDir("rar_hostile");
    std::string destination = outer + "\\inner";
    CreateDirectoryA(destination.c_str(), nullptr);
    ExtractJob job = {};
    snprintf(job.archive, sizeof job.archive, "%s", TestData(c.archive).c_str());
    snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
    job.overwriteMode = OVERWRITE_ALWAYS;
    EXPECT_EQ(ExtractRarFilesFromList(&job), 0);
    // The library itself turns a drive's or a stream's colon into "_"; what climbs or starts
    // at the root, and every link, is refused here.
    std::set<std::string> landed = FileNames(outer);
    EXPECT_TRUE(landed.count("inner/fine.txt"));
    for (const std::string& name : landed) EXPECT_EQ(name.rfind("inner/", 0), 0u) << name;
    for (const char* name : c.refused) EXPECT_FALSE(landed.count(std::string("inner/") + name)) << name;
    ASSERT_EQ(g_boxes.size(), 1u);
    for (const char* name : c.refused) EXPECT_NE(g_boxes[0].find(name), std::string::npos) << name;
  }
  EXPECT_FALSE(Exists("c:\\drive.txt"));
  EXPECT_FALSE(Exists("\\rooted.txt"));
}

// The test reads each entry through the library and names what fails; the encryption check
// asks nothing, not even for encrypted headers.
TEST_F(RarFormat, TestNamesWhatFailsAndEncryptionIsFoundWithoutAsking) {
  const struct {
    const char* archive;
    const char* password;  // the session's
    uint64_t tested;
    const char* failed;  // a name among the failures; null: none
    int reason;
    int encrypted;
  } cases[] = {
      {"plain.rar", "", 8, nullptr, 0, 0},
      {"solid.rar", "", 8, nullptr, 0, 0},
      {"rar4.rar", "", 8, nullptr, 0, 0},
      {"volumes.part1.rar", "", 8, nullptr, 0, 0},
      {"password.rar", "secret", 8, nullptr, 0, 1},
      {"headers.rar", "secret", 8, nullptr, 0, 1},
      {"password.rar", "wrong", 0, "readme.txt", FAILURE_WRONG_PASSWORD, 1},
      {"crc.rar", "", 2, "bad.txt", FAILURE_CRC, 0},
      {"damaged.rar", "", 3, "damaged.rar", FAILURE_TRUNCATED, 0},
      {"damaged5.rar", "", 8, "damaged5.rar", FAILURE_TRUNCATED, 0},
      {"cut.rar", "", 3, "data\\random.bin", FAILURE_CRC, 0},
      {"missing.part1.rar", "", 3, "data\\random.bin", FAILURE_TRUNCATED, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + c.password);
    SetCurrentPassword(c.password);
    uint64_t tested = 99;
    EXPECT_EQ(TestRarFiles(TestData(c.archive).c_str(), nullptr, 1, &tested), 0);
    const EntryFailures& failures = GetLastRunFailures();
    EXPECT_EQ(tested, c.tested);
    if (!c.failed) {
      EXPECT_TRUE(failures.items.empty()) << failures.items[0].name;
    } else {
      auto named = std::find_if(failures.items.begin(), failures.items.end(), [&](const EntryFailure& failure) {
        return failure.name.find(c.failed) != std::string::npos;
      });
      ASSERT_NE(named, failures.items.end());
      EXPECT_EQ(named->reason, c.reason);
    }
    SetCurrentPassword("");
    SetArchiveEncrypted(1 - c.encrypted);
    g_passwordAsked = g_volumeAsked = 0;
    EXPECT_EQ(DetectRarEncryption(TestData(c.archive).c_str()), 0);
    EXPECT_EQ(IsArchiveEncrypted(), c.encrypted);
    EXPECT_EQ(g_passwordAsked + g_volumeAsked, 0);
  }
  EXPECT_EQ(DetectRarEncryption(TestData("src\\readme.txt").c_str()), -1);
  EXPECT_TRUE(g_boxes.empty()) << g_boxes.front();
}

TEST_F(RarFormat, ADamagedArchiveListsWhatWasReadAndSaysSo) {
  const struct {
    const char* archive;
    int rows;
  } cases[] = {{"damaged.rar", 3}, {"damaged5.rar", 8}, {"cut.rar", 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_boxes.clear();
    RarListed listed(c.archive);
    EXPECT_EQ(listed.window.Rows(), c.rows);
    ASSERT_EQ(g_boxes.size(), 1u);
    EXPECT_NE(g_boxes[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos) << g_boxes[0];
  }
}

}  // namespace
