// The 7z adapter with the real sevenzip.dll on archives 7zz made during the run: listing
// against `7zz l`, extraction of all, of chosen rows and of a tree folder byte for byte against
// the tree they were made of, passwords through the program's dialog, links, damage, and
// entries read as streams.
#include "services/base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/sevenzip_format.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_job.h"
#include "model/app_state.h"
#include "services/current_password.h"
#include "services/prompts.h"
#include "test_support.h"

namespace {

std::vector<std::string> g_boxes;
int RecordBox(HWND, const char* text, const char* title, UINT) {
  g_boxes.push_back(std::string(title) + "|" + text);
  return IDOK;
}
std::string g_typed;  // what the scripted password dialog types; empty: the user cancels
int g_asked;
bool TypePassword(HWND, char* password) {
  ++g_asked;
  snprintf(password, kPathBuf, "%s", g_typed.c_str());
  return !g_typed.empty();
}

const ArchiveOperations& Ops() {
  static ArchiveOperations ops = SevenZipOperations();
  return ops;
}

// "size<TAB>full name" per row, sorted as the generator's .expect.
std::vector<std::string> ListedRows(const std::string& archive) {
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  block.list = window.list;
  NameListRecreate(&block.folders);
  snprintf(block.path, sizeof block.path, "%s", TestData(archive).c_str());
  Ops().listing(&block);
  std::vector<std::pair<uint64_t, std::string>> rows;
  for (int row = 0; row < window.Rows(); ++row) {
    liststruct* record = GetRowRecord(window.list, row);
    rows.emplace_back(record->uncompressed, std::string(record->path) + record->filename);
  }
  NameListDestroy(&block.folders);
  std::sort(rows.begin(), rows.end());
  std::vector<std::string> lines;
  for (const auto& row : rows) lines.push_back(std::to_string(row.first) + "\t" + row.second);
  return lines;
}

int Extract(const std::string& archive, const std::string& destination, const char* password,
            const EntrySelection* chosen = nullptr, const char* folder = nullptr) {
  ExtractJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", TestData(archive).c_str());
  snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  snprintf(job.password, sizeof job.password, "%s", password ? password : "");
  job.silent = 1;
  job.overwriteMode = OVERWRITE_ALWAYS;
  job.chosen = chosen;
  return folder ? Ops().extractFolder(&job, folder) : Ops().extract(&job);
}

class SevenZipFormat : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(LoadSevenZipLibrary());
    g_boxes.clear();
    g_typed.clear();
    g_asked = 0;
    SetCurrentPassword("");
    GetPrompts().messageBox = RecordBox;
    GetPrompts().password = TypePassword;
  }
  void TearDown() override {
    ResetPrompts();
    SetCurrentPassword("");
  }
};

TEST_F(SevenZipFormat, ListsWhat7zzListsAndExtractsTheTreeByteForByte) {
  FolderContents source = Contents(TestData("src"));
  const struct {
    const char* archive;
    const char* typed;
    int asked;  // the names ask while listing; the data when first extracted
  } cases[] = {{"plain.7z", "", 0},         {"solid.7z", "", 0},        {"blocks.7z", "", 0},
               {"ppmd.7z", "", 0},          {"bcj2.7z", "", 0},         {"bzip2.7z", "", 0},
               {"encrypted.7z", "secret", 1}, {"encrypted_names.7z", "secret", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_typed = c.typed;
    g_asked = 0;
    SetCurrentPassword("");
    EXPECT_EQ(ListedRows(c.archive), ReadLines(TestData(std::string(c.archive) + ".expect")));
    std::string destination = ScratchDir(std::string("7z_all_") + c.archive);
    EXPECT_EQ(Extract(c.archive, destination, nullptr), 0);
    EXPECT_EQ(g_asked, c.asked) << "once per session";
    FolderContents got = Contents(destination);
    EXPECT_EQ(FileNames(got), FileNames(source));
    for (const auto& file : source.files) EXPECT_TRUE(got.files[file.first].bytes == file.second.bytes) << file.first;
    EXPECT_TRUE(got.folders.count("empty/inner")) << "empty folders are kept";
    EXPECT_TRUE(g_boxes.empty()) << g_boxes.front();
  }
}

TEST_F(SevenZipFormat, ExtractsTheChosenRowsAndTreeFoldersOnly) {
  EntrySelection chosen;
  chosen.names = {"日本語\\テキスト.txt", "docs\\deep\\", "readme.txt", "data\\random.bin"};
  const struct {
    const char* folder;  // null: the chosen rows
    std::set<std::string> files;
  } cases[] = {
      {nullptr, {"日本語/テキスト.txt", "docs/deep/note.md", "readme.txt", "data/random.bin"}},
      {"docs", {"docs/deep/note.md", "docs/numbers.txt", "docs/zero.bin"}},
      {"docs/deep\\", {"docs/deep/note.md"}},
  };
  for (const char* archive : {"solid.7z", "blocks.7z", "encrypted_names.7z"}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(archive) + " " + (c.folder ? c.folder : "(rows)"));
      std::string destination = ScratchDir("7z_some");
      EXPECT_EQ(Extract(archive, destination, "secret", c.folder ? nullptr : &chosen, c.folder), 0);
      EXPECT_EQ(FileNames(destination), c.files);
      for (const std::string& name : c.files)
        EXPECT_TRUE(ReadFileBytes(destination + "\\" + name) == ReadFileBytes(TestData("src/" + name))) << name;
    }
  }
}

// Nothing of an entry a wrong password was to decrypt is written, the user is told which, and
// the password is forgotten so that the next run asks again.
TEST_F(SevenZipFormat, AWrongPasswordWritesNothingAndIsForgotten) {
  const struct {
    const char* archive;
    const char* given;  // the run's password; null: the dialog is asked
    const char* typed;
    bool named;  // the run's report names the entries
  } cases[] = {{"encrypted.7z", "wrong", "", true},
               {"encrypted.7z", nullptr, "wrong", true},
               {"encrypted.7z", nullptr, "", true},
               {"encrypted_names.7z", nullptr, "wrong", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + (c.given ? c.given : "(dialog)") + " " + c.typed);
    g_boxes.clear();
    g_typed = c.typed;
    g_asked = 0;
    SetCurrentPassword("");
    std::string destination = ScratchDir("7z_wrong");
    Extract(c.archive, destination, c.given);
    for (const auto& file : Contents(destination).files) EXPECT_EQ(file.second.bytes, "") << file.first;
    EXPECT_LE(g_asked, 1);
    EXPECT_STREQ(GetCurrentPassword(), "");
    ASSERT_EQ(g_boxes.size(), 1u) << "the user is told once";
    EXPECT_EQ(g_boxes[0].find("numbers.txt") != std::string::npos, c.named) << g_boxes[0];
  }
}

TEST_F(SevenZipFormat, TestNamesWhatFailsAndEncryptionIsFoundWithoutAsking) {
  const struct {
    const char* archive;
    const char* password;  // the session's
    uint64_t tested;
    const char* failed;  // a name among the failures; null: none
    int reason;
    int encrypted;
  } cases[] = {
      {"solid.7z", "", 9, nullptr, 0, 0},
      {"bcj2.7z", "", 9, nullptr, 0, 0},
      {"encrypted.7z", "secret", 9, nullptr, 0, 1},
      {"encrypted_names.7z", "secret", 9, nullptr, 0, 1},
      {"encrypted.7z", "wrong", 1, "numbers.txt", FAILURE_WRONG_PASSWORD, 1},
      {"damaged.7z", "", 8, "tool.exe", FAILURE_CRC, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + c.password);
    SetCurrentPassword(c.password);
    uint64_t tested = 99;
    EXPECT_EQ(Ops().test(TestData(c.archive).c_str(), nullptr, 1, &tested), 0);
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
    g_asked = 0;
    EXPECT_EQ(Ops().detectEncryption(TestData(c.archive).c_str()), 0);
    EXPECT_EQ(IsArchiveEncrypted(), c.encrypted);
    EXPECT_EQ(g_asked, 0);
  }
  EXPECT_EQ(Ops().detectEncryption(TestData("src\\readme.txt").c_str()), -1);
}

TEST_F(SevenZipFormat, HostileNamesAndLinksLandNowhereAndDamageIsTold) {
  const struct {
    const char* archive;
    std::vector<const char*> refused;
  } cases[] = {{"links.7z", {"escape", "up"}}, {"hostile.7z", {"climbed.txt", "rooted.txt", "CON"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_boxes.clear();
    std::string outer = ScratchDir("7z_hostile");
    std::string destination = outer + "\\inner";
    CreateDirectoryA(destination.c_str(), nullptr);
    EXPECT_EQ(Extract(c.archive, destination, nullptr), 0);
    EXPECT_EQ(FileNames(outer), (std::set<std::string>{"inner/fine.txt"}));
    ASSERT_EQ(g_boxes.size(), 1u);
    for (const char* name : c.refused) EXPECT_NE(g_boxes[0].find(name), std::string::npos) << name;
  }
  EXPECT_FALSE(Exists("\\rooted.txt"));
  g_boxes.clear();
  EXPECT_TRUE(ListedRows("cut.7z").empty());
  EXPECT_EQ(g_boxes.size(), 1u) << "an archive that does not open says so once";
}

// The stream reader gives every file in the list's order with its bytes, encrypted ones with
// the session's password, and the properties show the block's method and the entry's checksum.
TEST_F(SevenZipFormat, EntriesReadAsStreamsAndPropertiesShowTheMethod) {
  SetCurrentPassword("secret");
  for (const char* archive : {"blocks.7z", "encrypted_names.7z"}) {
    SCOPED_TRACE(archive);
    int error = 1;
    std::unique_ptr<ArchiveReader> reader = Ops().openReader(TestData(archive).c_str(), &error);
    ASSERT_TRUE(reader) << error;
    StreamEntry entry;
    int files = 0;
    while (reader->Next(&entry) == 0) {
      std::string data;
      EXPECT_EQ(ReadWholeEntry(reader.get(), &data, 1 << 20), 0) << entry.name;
      EXPECT_TRUE(data == ReadFileBytes(TestData("src/" + Separated(entry.name)))) << entry.name;
      ++files;
    }
    EXPECT_EQ(files, 9);
  }
  EntryDetails details;
  ASSERT_EQ(Ops().details(TestData("encrypted.7z").c_str(), "docs\\numbers.txt", &details), 0);
  EXPECT_NE(details.method.find("7zAES"), std::string::npos) << details.method;
  EXPECT_TRUE(details.hasCrc);
  EXPECT_EQ(Ops().details(TestData("plain.7z").c_str(), "no\\such.txt", &details), -1);
}

}  // namespace
