// Every archive kind's operations as the window calls them, with the real libraries, on
// archives the peer tools made during the run: each table's row names a kind, an archive of
// it and what is to come of it; what one kind alone can do follows the tables.
#include "services/base.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <algorithm>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/formats.h"
#include "formats/iso_format.h"
#include "formats/rar_format.h"
#include "formats/tar_format.h"
#include "jobs/change_set.h"
#include "jobs/entry_failures.h"
#include "jobs/extract_job.h"
#include "kestrelia_lang.h"
#include "kestrelia_tar.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "services/current_password.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "zip/create.h"
#include "zip/extract.h"

#include <zlib.h>

namespace {

// The kinds under test; each one's inputs are in a folder of its own.
enum Kind { TAR, ISO, RAR, SEVENZIP };
const struct {
  int kind;
  const char* folder;
} kKinds[] = {{ARCHIVE_TAR, "tar"}, {ARCHIVE_ISO, "iso"}, {ARCHIVE_RAR, "rar"}, {ARCHIVE_7Z, "7z"}};

std::string Input(Kind kind, const std::string& name) { return TestData(std::string(kKinds[kind].folder) + "/" + name); }

const ArchiveOperations& Ops(Kind kind) { return FindArchiveFormat(kKinds[kind].kind)->ops; }

std::vector<std::string> g_boxes;  // "title|text"
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
std::string g_volume;  // the volume the scripted chooser picks; empty: the user cancels
int g_volumeAsked;
bool ChooseVolume(HWND, const char*, const char*, char* path) {
  ++g_volumeAsked;
  snprintf(path, kPathBuf, "%s", g_volume.c_str());
  return !g_volume.empty();
}

struct Listed : KindListed {
  Listed(Kind kind, const std::string& archive)
      : KindListed(kKinds[kind].kind, Ops(kind).listing, Input(kind, archive)) {}
  // "size<TAB>full name with /" per row, sorted.
  std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    for (int row = 0; row < window.Rows(); ++row)
      rows.push_back(std::to_string(GetRowRecord(window.list, row)->uncompressed) + "\t" + Separated(FullName(row)));
    std::sort(rows.begin(), rows.end());
    return rows;
  }
};

// The same rows made of a folder's files.
std::vector<std::string> Rows(const FolderContents& tree) {
  std::vector<std::string> rows;
  for (const auto& file : tree.files) rows.push_back(std::to_string(file.second.bytes.size()) + "\t" + file.first);
  std::sort(rows.begin(), rows.end());
  return rows;
}

// Every row (chosen null, folder null), the chosen rows, or what lies below a folder of the tree.
int Extract(Kind kind, const std::string& archive, const std::string& destination, const char* password,
            const EntrySelection* chosen = nullptr, const char* folder = nullptr) {
  ExtractJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", Input(kind, archive).c_str());
  snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  snprintf(job.password, sizeof job.password, "%s", password ? password : "");
  job.silent = 1;
  job.overwriteMode = OVERWRITE_ALWAYS;
  job.chosen = chosen;
  job.extractAll = !chosen;
  return folder ? Ops(kind).extractFolder(&job, folder) : Ops(kind).extract(&job);
}

class Kinds : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    InstallKindTable();
    RegisterArchiveFormats();
  }
  void SetUp() override {
    g_boxes.clear();
    g_typed.clear();
    g_volume.clear();
    g_asked = g_volumeAsked = 0;
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

// Listing, extracting all, testing and the encryption check agree with the tree the archive
// was made of (the peers' own extraction where the kind keeps more than the tree says).
TEST_F(Kinds, ListExtractAndTestAgreeWithTheTreeByteForByte) {
  const struct {
    Kind kind;
    const char* archive;
    const char* tree;
    const char* typed;  // what the password dialog is given, if it is asked
    int asked;          // how often: encrypted names ask while listing, data when first extracted
  } cases[] = {
      {TAR, "gnu_pax.tar.gz", "ref_gnu_pax.tar.gz", "", 0},
      {TAR, "bsd_pax.tar.bz2", "ref_bsd_pax.tar.bz2", "", 0},
      {TAR, "longpath.tar", "ref_longpath.tar", "", 0},
      {ISO, "rockridge.iso", "ref_rockridge.iso", "", 0},
      {ISO, "joliet.iso", "ref_joliet.iso", "", 0},
      {RAR, "plain.rar", "src", "", 0},
      {RAR, "solid.rar", "src", "", 0},
      {RAR, "rar4.rar", "src", "", 0},
      {RAR, "volumes.part1.rar", "src", "", 0},
      {RAR, "password.rar", "src", "secret", 1},
      {RAR, "headers.rar", "src", "secret", 1},
      {SEVENZIP, "plain.7z", "src", "", 0},
      {SEVENZIP, "solid.7z", "src", "", 0},
      {SEVENZIP, "blocks.7z", "src", "", 0},
      {SEVENZIP, "encrypted.7z", "src", "secret", 1},
      {SEVENZIP, "encrypted_names.7z", "src", "secret", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_typed = c.typed;
    g_asked = 0;
    g_boxes.clear();
    SetCurrentPassword("");
    FolderContents tree = Contents(Input(c.kind, c.tree));
    EXPECT_EQ(Listed(c.kind, c.archive).Rows(), Rows(tree));
    std::string destination = ScratchDir("kinds_all");
    EXPECT_EQ(Extract(c.kind, c.archive, destination, nullptr), 0);
    EXPECT_EQ(g_asked, c.asked) << "once per session";
    FolderContents got = Contents(destination);
    EXPECT_EQ(FileNames(got), FileNames(tree));
    for (const auto& file : tree.files) EXPECT_TRUE(got.files[file.first].bytes == file.second.bytes) << file.first;
    EXPECT_EQ(got.folders, tree.folders) << "empty folders are kept";
    EXPECT_TRUE(g_boxes.empty()) << g_boxes.front();
    if (Ops(c.kind).test) {
      uint64_t tested = 99;
      EXPECT_EQ(Ops(c.kind).test(Input(c.kind, c.archive).c_str(), nullptr, 1, &tested), 0);
      EXPECT_EQ(tested, tree.files.size());
      EXPECT_TRUE(GetLastRunFailures().items.empty()) << GetLastRunFailures().items[0].name;
    }
    if (Ops(c.kind).detectEncryption) {
      SetCurrentPassword("");
      SetArchiveEncrypted(-1);
      g_asked = 0;
      EXPECT_EQ(Ops(c.kind).detectEncryption(Input(c.kind, c.archive).c_str()), 0);
      EXPECT_EQ(IsArchiveEncrypted(), c.asked);
      EXPECT_EQ(g_asked + g_volumeAsked, 0) << "the check asks nothing, not even for encrypted names";
    }
  }
}

const char kLong[] =
    "a-rather-long-folder-name-to-pass-the-ustar-limit/a-rather-long-folder-name-to-pass-the-ustar-limit/"
    "and-a-file-name-that-is-long-too.txt";
const char kDeep[] =
    "level00/level01/level02/level03/level04/level05/level06/level07/level08/level09/level10/level11/bottom.txt";

// Names as the list shows them: a folder's name ends with its separator.
TEST_F(Kinds, ExtractTheChosenRowsOrATreeFolderOnly) {
  const struct {
    Kind kind;
    const char* archive;
    const char* tree;
    std::vector<std::string> chosen;  // empty: the folder below
    const char* folder;
    std::set<std::string> files;
    int result = 0;
  } cases[] = {
      {TAR, "bsd_pax.tar.bz2", "src", {"docs/deep/er/note.md", kLong, "not/in/the/archive.txt"}, nullptr,
       {"docs/deep/er/note.md", kLong}},
      {ISO, "rockridge.iso", "src_deep", {"data\\random.bin", "Mixed Case Name.txt", Separated(kDeep, '/', '\\')},
       nullptr, {"data/random.bin", "Mixed Case Name.txt", kDeep}},
      {ISO, "rockridge.iso", "src_deep", {}, "level00\\level01\\level02\\level03\\level04\\level05\\", {kDeep}},
      {RAR, "plain.rar", "src", {"日本語\\テキスト.txt", "docs\\deep\\", "readme.txt"}, nullptr,
       {"日本語/テキスト.txt", "docs/deep/note.md", "readme.txt"}},
      {RAR, "solid.rar", "src", {"日本語\\テキスト.txt", "docs\\deep\\", "readme.txt"}, nullptr,
       {"日本語/テキスト.txt", "docs/deep/note.md", "readme.txt"}},
      {RAR, "plain.rar", "src", {}, "docs", {"docs/deep/note.md", "docs/numbers.txt", "docs/zero.bin"}},
      {RAR, "plain.rar", "src", {}, "docs/deep\\", {"docs/deep/note.md"}},
      {SEVENZIP, "solid.7z", "src", {"日本語\\テキスト.txt", "docs\\deep\\", "data\\random.bin"}, nullptr,
       {"日本語/テキスト.txt", "docs/deep/note.md", "data/random.bin"}},
      {SEVENZIP, "solid.7z", "src", {}, "docs", {"docs/deep/note.md", "docs/numbers.txt", "docs/zero.bin"}},
      {SEVENZIP, "blocks.7z", "src", {}, "docs/deep\\", {"docs/deep/note.md"}},
      {SEVENZIP, "encrypted_names.7z", "src", {"readme.txt", "data\\random.bin"}, nullptr,
       {"readme.txt", "data/random.bin"}},
      // A name twin is no parent: nothing lies below "doc", and the run says so.
      {RAR, "plain.rar", "src", {}, "doc", {}, EXTRACT_NOTHING_FOUND},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + (c.folder ? c.folder : "(rows)"));
    g_typed = "secret";
    EntrySelection chosen;
    chosen.names = c.chosen;
    std::string destination = ScratchDir("kinds_some");
    EXPECT_EQ(Extract(c.kind, c.archive, destination, nullptr, c.folder ? nullptr : &chosen, c.folder), c.result);
    EXPECT_EQ(FileNames(destination), c.files);
    for (const std::string& name : c.files)
      EXPECT_TRUE(ReadFileBytes(destination + "\\" + name) == ReadFileBytes(Input(c.kind, c.tree + ("/" + name))))
          << name;
    EXPECT_TRUE(g_boxes.empty()) << g_boxes.front();
  }
}

// Nothing of an entry a wrong password was to decrypt is written, the user is told, and the
// password is forgotten so that the next run asks again.
TEST_F(Kinds, AWrongPasswordWritesNothingAndIsForgotten) {
  const struct {
    Kind kind;
    const char* archive;
    const char* given;  // the run's password; null: the dialog is asked
    const char* typed;
    int named;  // the one message names the entries; -1: not looked at
  } cases[] = {
      {RAR, "password.rar", "wrong", "", -1},        {RAR, "headers.rar", nullptr, "wrong", -1},
      {RAR, "password.rar", nullptr, "", -1},        {SEVENZIP, "encrypted.7z", "wrong", "", 1},
      {SEVENZIP, "encrypted.7z", nullptr, "wrong", 1}, {SEVENZIP, "encrypted.7z", nullptr, "", 1},
      {SEVENZIP, "encrypted_names.7z", nullptr, "wrong", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + (c.given ? c.given : "(dialog)") + " " + c.typed);
    g_boxes.clear();
    g_typed = c.typed;
    g_asked = 0;
    SetCurrentPassword("");
    std::string destination = ScratchDir("kinds_wrong");
    Extract(c.kind, c.archive, destination, c.given);
    for (const auto& file : Contents(destination).files) EXPECT_EQ(file.second.bytes, "") << file.first;
    EXPECT_LE(g_asked, 1);
    EXPECT_STREQ(GetCurrentPassword(), "");
    ASSERT_FALSE(g_boxes.empty()) << "the user is told";
    if (c.named < 0) continue;
    EXPECT_EQ(g_boxes.size(), 1u);
    EXPECT_EQ(g_boxes[0].find("numbers.txt") != std::string::npos, c.named == 1) << g_boxes[0];
  }
}

// The test reads each entry through the library and names what fails.
TEST_F(Kinds, TestNamesWhatFails) {
  const struct {
    Kind kind;
    const char* archive;
    const char* password;  // the session's
    int result;
    uint64_t tested;
    const char* failed;  // a name among the failures ("": any); null: none
    int reason;          // -1: any
  } cases[] = {
      {ISO, "truncated.iso", "", 0, 0, "", -1},
      {ISO, "garbage.iso", "", -1, 0, nullptr, 0},
      {RAR, "password.rar", "wrong", 0, 0, "readme.txt", FAILURE_WRONG_PASSWORD},
      {RAR, "crc.rar", "", 0, 2, "bad.txt", FAILURE_CRC},
      {RAR, "damaged.rar", "", 0, 3, "damaged.rar", FAILURE_TRUNCATED},
      {RAR, "damaged5.rar", "", 0, 8, "damaged5.rar", FAILURE_TRUNCATED},
      {RAR, "cut.rar", "", 0, 3, "data\\random.bin", FAILURE_CRC},
      {RAR, "missing.part1.rar", "", 0, 3, "data\\random.bin", FAILURE_TRUNCATED},
      {SEVENZIP, "encrypted.7z", "wrong", 0, 1, "numbers.txt", FAILURE_WRONG_PASSWORD},
      {SEVENZIP, "damaged.7z", "", 0, 8, "tool.exe", FAILURE_CRC},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.archive) + " " + c.password);
    SetCurrentPassword(c.password);
    uint64_t tested = 99;
    EXPECT_EQ(Ops(c.kind).test(Input(c.kind, c.archive).c_str(), nullptr, 1, &tested), c.result);
    EXPECT_EQ(tested, c.tested);
    const EntryFailures& failures = GetLastRunFailures();
    if (!c.failed) {
      EXPECT_TRUE(failures.items.empty()) << failures.items[0].name;
      continue;
    }
    auto named = std::find_if(failures.items.begin(), failures.items.end(), [&](const EntryFailure& failure) {
      return failure.name.find(c.failed) != std::string::npos;
    });
    ASSERT_NE(named, failures.items.end());
    if (c.reason >= 0) EXPECT_EQ(named->reason, c.reason);
  }
  for (Kind kind : {RAR, SEVENZIP}) EXPECT_EQ(Ops(kind).detectEncryption(Input(kind, "src\\readme.txt").c_str()), -1);
}

// A damaged archive lists what was read before the damage and says so once. The library
// tells through the program's prompts, as every box of the program goes.
TEST_F(Kinds, ADamagedArchiveListsWhatWasReadAndSaysSoOnce) {
  const struct {
    Kind kind;
    const char* archive;
    int rows;  // -1: some, fewer than the whole archive's
  } cases[] = {
      {TAR, "truncated.tar.gz", -1}, {ISO, "garbage.iso", 0},  {ISO, "huge.iso", 0},
      {RAR, "damaged.rar", 3},       {RAR, "damaged5.rar", 8}, {RAR, "cut.rar", 4},
      {SEVENZIP, "cut.7z", 0},
  };
  HiddenEntryList owner;
  SetMainWindowHandle(owner.parent);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_boxes.clear();
    Listed listed(c.kind, c.archive);
    if (c.rows >= 0) EXPECT_EQ(listed.window.Rows(), c.rows);
    if (c.rows < 0) EXPECT_GT(listed.window.Rows(), 0);
    if (c.rows < 0) EXPECT_LT(listed.window.Rows(), 7);
    ASSERT_EQ(g_boxes.size(), 1u);
    if (c.kind == ISO || c.kind == RAR)
      EXPECT_NE(g_boxes[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos) << g_boxes[0];
  }
  SetMainWindowHandle(nullptr);
}

// Names that climb out, start at the root or are links land nowhere, and one message names
// them. A link is not written, so a file meant to go through one lands in a plain folder.
TEST_F(Kinds, HostileNamesAndLinksLandNowhereAndAreReportedOnce) {
  const struct {
    Kind kind;
    const char* archive;
    std::set<std::string> fine;       // land in the destination
    bool only;                        // and nothing else does
    std::vector<const char*> named;   // reported, and not written there
    std::vector<const char*> refused;  // not written there either
    int failures;                     // the run's failures; -1: not counted
  } cases[] = {
      {TAR, "hostile.tar", {"good.txt", "also-good/inside.txt", "outlink/escaped-through-link.txt"}, false,
       {"../escaped-dotdot.txt", "outlink", "con.txt"}, {"hard-out", "hard-abs"}, -1},
      {ISO, "hostile.iso", {"GOOD.TXT", "ALSO-GOOD.TXT"}, true, {"ESCAPED-DOTDOT"}, {}, 7},
      {RAR, "hostile.rar", {"fine.txt"}, false, {"climbed.txt", "rooted.txt", "twice.txt"}, {}, -1},
      {RAR, "links.rar", {"fine.txt"}, false, {"escape", "up"}, {}, -1},
      {SEVENZIP, "links.7z", {"fine.txt"}, true, {"escape", "up"}, {}, -1},
      {SEVENZIP, "hostile.7z", {"fine.txt"}, true, {"climbed.txt", "rooted.txt", "CON"}, {}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    g_boxes.clear();
    std::string outer = ScratchDir("kinds_hostile"), destination = outer + "\\inner";
    CreateDirectoryA(destination.c_str(), nullptr);
    ExtractJob job = {};
    snprintf(job.archive, sizeof job.archive, "%s", Input(c.kind, c.archive).c_str());
    snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
    job.overwriteMode = OVERWRITE_ALWAYS;
    job.extractAll = 1;
    Ops(c.kind).extract(&job);
    std::set<std::string> landed = FileNames(outer), inside;
    for (const std::string& name : landed) {
      EXPECT_EQ(name.rfind("inner/", 0), 0u) << name;
      inside.insert(name.substr(6));
    }
    for (const std::string& name : c.fine) EXPECT_TRUE(inside.count(name)) << name;
    if (c.only) EXPECT_EQ(inside, c.fine);
    if (c.failures >= 0) EXPECT_EQ(GetLastRunFailures().items.size(), static_cast<size_t>(c.failures));
    for (const char* name : c.refused) EXPECT_FALSE(inside.count(name)) << name;
    ASSERT_EQ(g_boxes.size(), 1u);
    for (const char* name : c.named) {
      EXPECT_FALSE(inside.count(name)) << name;
      EXPECT_NE(g_boxes[0].find(name), std::string::npos) << name;
    }
  }
  EXPECT_FALSE(Exists("c:\\drive.txt"));
  EXPECT_FALSE(Exists("\\rooted.txt"));
}

// ---- RAR: dates, volumes -----------------------------------------------------------------

TEST_F(Kinds, RarListingKeepsTheEntryDateAndThePropertiesItsMethodAndChecksum) {
  struct Case {
    const char* archive;
    const char* entry;
    int year, month, day, hour, minute;
  } cases[] = {{"plain.rar", "docs\\numbers.txt", 2023, 7, 15, 9, 4}, {"rar4.rar", "readme.txt", 2020, 1, 2, 3, 4}};
  for (const Case& c : cases) {
    Listed listed(RAR, c.archive);
    int row = listed.Row(c.entry);
    ASSERT_GE(row, 0) << c.archive;
    const SYSTEMTIME& date = GetRowRecord(listed.window.list, row)->date;
    EXPECT_EQ(std::vector<int>({date.wYear, date.wMonth, date.wDay, date.wHour, date.wMinute}),
              std::vector<int>({c.year, c.month, c.day, c.hour, c.minute}))
        << c.archive;
    // The entry's properties: its method and the checksum of its bytes.
    EntryDetails details;
    ASSERT_EQ(Ops(RAR).details(Input(RAR, c.archive).c_str(), c.entry, &details), 0) << c.archive;
    std::string bytes = ReadFileBytes(Input(RAR, std::string("src/") + c.entry));
    EXPECT_TRUE(details.hasCrc) << c.archive;
    EXPECT_EQ(details.crc, crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())))
        << c.archive;
    EXPECT_NE(details.method.find("RAR"), std::string::npos) << details.method;
  }
}

TEST_F(Kinds, RarAsksForAMissingVolumeAndStopsWhenNoneIsGiven) {
  {
    Listed listed(RAR, "missing.part1.rar");
    EXPECT_GE(g_volumeAsked, 1);
    EXPECT_GT(listed.window.Rows(), 0) << "the entries before the gap are listed";
    ASSERT_FALSE(g_boxes.empty());
    EXPECT_NE(g_boxes[0].find(GetPluginText(KLANG_PLUGIN_VOLUME_MISSING)), std::string::npos);
  }
  // The chooser's answer: none, or the volume that was moved away.
  for (bool given : {false, true}) {
    SCOPED_TRACE(given);
    g_volume = given ? Input(RAR, "volumes.part2.rar") : "";
    g_volumeAsked = 0;
    g_boxes.clear();
    std::string destination = ScratchDir("kinds_missing");
    Extract(RAR, "missing.part1.rar", destination, nullptr);
    EXPECT_GE(g_volumeAsked, 1);
    EXPECT_EQ(ReadFileBytes(destination + "\\readme.txt"), "rar test\n");
    EXPECT_EQ(ReadFileBytes(destination + "\\data\\random.bin") == ReadFileBytes(Input(RAR, "src\\data\\random.bin")),
              given);
    EXPECT_EQ(g_boxes.empty(), given);
  }
}

// ---- ISO: Joliet names, record dates, hidden entries, replacing -----------------------------

TEST_F(Kinds, IsoListsEveryScriptWithItsDateAndTotals) {
  Listed listed(ISO, "joliet.iso");
  EXPECT_EQ(GetListingTotals().entries, 4u);
  EXPECT_EQ(GetListingTotals().uncompressed, 8u + 29 + 16 + 6);
  EXPECT_EQ(GetListingTotals().compressed, GetListingTotals().uncompressed);
  int row = listed.Row("日本語\\ファイル名.txt");
  ASSERT_GE(row, 0);
  liststruct* record = GetRowRecord(listed.window.list, row);
  EXPECT_STREQ(record->filename, "ファイル名.txt");
  EXPECT_EQ(record->date.wYear, 2021);
  EXPECT_EQ(record->date.wSecond, 0);  // the image says 11:12:14
  Listed folders(ISO, "folders.iso");
  EXPECT_EQ(folders.window.Rows(), 0);
  EXPECT_EQ(GetListingTotals().entries, 0u);
}

TEST_F(Kinds, IsoDatesFollowTheRecordsRules) {
  const struct {
    IsoDate date;
    int day, month, year;
  } cases[] = {
      {{2024, 2, 0, 29, 23, 59, 58, 0}, 29, 1, 2024},
      {{1900, 0, 0, 0, 0, 0, 0, 0}, 1, 0, 1970},  // a record without a date
      {{1999, 12, 0, 0, 1, 2, 3, 0}, 1, 11, 1999},
  };
  for (const auto& c : cases) {
    EntryStamp stamp = IsoEntryStamp(c.date);
    EXPECT_EQ(std::vector<int>({stamp.second, stamp.day, stamp.month, stamp.year}),
              std::vector<int>({0, c.day, c.month, c.year}));
  }
}

// Hidden entries are listed but never written, neither extracted nor for viewing.
TEST_F(Kinds, IsoHiddenEntriesAreListedButNeverWritten) {
  Listed listed(ISO, "hidden.iso");
  EXPECT_EQ(listed.window.Rows(), 3);
  EntrySelection chosen;
  chosen.names = {"SECRET.TXT", "VISIBLE.TXT"};
  std::string out = ScratchDir("kinds_hidden");
  EXPECT_EQ(Extract(ISO, "hidden.iso", out, nullptr, &chosen), 0);
  EXPECT_EQ(FileNames(out), (std::set<std::string>{"VISIBLE.TXT"}));
  EXPECT_TRUE(g_boxes.empty());
  char written[kPathBuf], folder[kPathBuf];
  ASSERT_TRUE(TempTarget("SECRET.TXT", written, folder));
  EXPECT_EQ(Ops(ISO).writeTemp(Input(ISO, "hidden.iso").c_str(), "SECRET.TXT", written), 1);
  EXPECT_EQ(g_boxes.size(), 1u) << "the user learns it cannot be shown";
  EXPECT_FALSE(Exists(std::string(folder) + "SECRET.TXT"));
}

int g_answer;

TEST_F(Kinds, IsoReplacesAnExistingFileOnlyWhenTheUserSaysSo) {
  GetPrompts().overwriteQuestion = [](HWND, const char*, const char*, const char*) { return g_answer; };
  const struct {
    int answer;  // yes, yes to all, no, cancel
    const char* left;
    int result;
  } cases[] = {{0, "for everyone\n", 0}, {1, "for everyone\n", 0}, {2, "old", 0}, {3, "old", 100}};
  for (const auto& c : cases) {
    std::string out = ScratchDir("kinds_overwrite");
    WriteFileBytes(out + "\\VISIBLE.TXT", "old");
    ExtractJob job = {};
    job.silent = 1;
    snprintf(job.archive, sizeof job.archive, "%s", Input(ISO, "hidden.iso").c_str());
    snprintf(job.destination, sizeof job.destination, "%s", out.c_str());
    job.overwriteMode = OVERWRITE_ASK;
    g_answer = c.answer;
    EXPECT_EQ(Ops(ISO).extract(&job), c.result) << c.answer;
    EXPECT_EQ(ReadFileBytes(out + "\\VISIBLE.TXT"), c.left) << c.answer;
  }
}

// A cut image: the entry the cut runs through leaves nothing behind and is named, with the
// damage, in one message.
TEST_F(Kinds, IsoNamesTheEntryACutRunsThrough) {
  std::string out = ScratchDir("kinds_cut");
  Extract(ISO, "truncated.iso", out, nullptr);
  for (const std::string& name : FileNames(out)) EXPECT_EQ(name.find("random.bin"), std::string::npos) << name;
  ASSERT_EQ(g_boxes.size(), 1u);
  EXPECT_NE(g_boxes[0].find("data\\random.bin"), std::string::npos);
  EXPECT_NE(g_boxes[0].find(GetPluginText(KLANG_PLUGIN_TAR_DAMAGED)), std::string::npos);
}

// ---- 7z: streams and properties -------------------------------------------------------------

// The stream reader gives every file in the list's order with its bytes, encrypted ones with
// the session's password, and the properties show the block's method and the entry's checksum.
TEST_F(Kinds, SevenZipEntriesReadAsStreamsAndPropertiesShowTheMethod) {
  SetCurrentPassword("secret");
  for (const char* archive : {"blocks.7z", "encrypted_names.7z"}) {
    SCOPED_TRACE(archive);
    int error = 1;
    std::unique_ptr<ArchiveReader> reader = Ops(SEVENZIP).openReader(Input(SEVENZIP, archive).c_str(), &error);
    ASSERT_TRUE(reader) << error;
    StreamEntry entry;
    int files = 0;
    while (reader->Next(&entry) == 0) {
      std::string data;
      EXPECT_EQ(ReadWholeEntry(reader.get(), &data, 1 << 20), 0) << entry.name;
      EXPECT_TRUE(data == ReadFileBytes(Input(SEVENZIP, "src/" + Separated(entry.name)))) << entry.name;
      ++files;
    }
    EXPECT_EQ(files, 9);
  }
  EntryDetails details;
  ASSERT_EQ(Ops(SEVENZIP).details(Input(SEVENZIP, "encrypted.7z").c_str(), "docs\\numbers.txt", &details), 0);
  EXPECT_NE(details.method.find("7zAES"), std::string::npos) << details.method;
  EXPECT_TRUE(details.hasCrc);
  EXPECT_EQ(Ops(SEVENZIP).details(Input(SEVENZIP, "plain.7z").c_str(), "no\\such.txt", &details), -1);
}

// ---- TAR: totals, adding, deleting, renaming and moving -------------------------------------

TEST_F(Kinds, TarListsFilesWithSlashPathsAndTheirSizesInTheTotals) {
  Listed listed(TAR, "bsd_pax.tar.bz2");
  EXPECT_EQ(GetListingTotals().entries, 7u);
  EXPECT_EQ(GetListingTotals().uncompressed, 9u + 168890 + 280 + 0 + 70000 + 5 + 5);
  EXPECT_EQ(GetListingTotals().compressed, GetListingTotals().uncompressed);  // 0 counts as the size
  int row = listed.Row("docs/deep/er/note.md");
  ASSERT_GE(row, 0);
  liststruct* record = GetRowRecord(listed.window.list, row);
  EXPECT_STREQ(record->path, "docs/deep/er/");
  EXPECT_EQ(record->date.wSecond, 0);  // the archive says 18:00:03
  EXPECT_EQ(record->compressed, 280u);
}

// The window's add run: a folder goes in with what lies below it, names from its parent.
// (A new archive through the adapter is the end-to-end test's File > New archive.)
TEST_F(Kinds, TarAddRunAppendsFoldersWithTheirContents) {
  std::string archive = ScratchDir("kinds_tar_add_run") + "\\copy.tar";
  ASSERT_TRUE(CopyFileA(Input(TAR, "gnu_ustar.tar").c_str(), archive.c_str(), FALSE));
  ZipWorkBlock* block = static_cast<ZipWorkBlock*>(calloc(1, sizeof(ZipWorkBlock)));
  block->add = block->recurse = 1;
  block->fileCount = 2;
  block->files = static_cast<char(*)[kPathBuf]>(calloc(2, kPathBuf));
  snprintf(block->files[0], kPathBuf, "%s", Input(TAR, "add/extra").c_str());
  snprintf(block->files[1], kPathBuf, "%s", Input(TAR, "add/readme.txt").c_str());
  snprintf(block->archive, kPathBuf, "%s", archive.c_str());
  int result = -1;
  block->result = &result;
  Ops(TAR).add(block);
  EXPECT_EQ(result, CREATE_OK);
  KindListed listed(ARCHIVE_TAR, Ops(TAR).listing, archive);
  EXPECT_EQ(listed.window.Rows(), 9);
  EXPECT_EQ(listed.FullName(7), "extra/new.txt");  // after the archive's own entries
  EXPECT_EQ(listed.FullName(8), "readme.txt");
}

KESTRELIA_RUNTIME_LIBRARY(TestTarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

// Every name the archive holds, folders with their "/", as tar.dll reads them.
std::vector<std::string> TarEntryNames(const std::string& path) {
  std::vector<std::string> names;
  if (!LoadRuntimeLibrary(&TestTarDll::Library())) return names;
  TarHandle archive = TestTarDll::TarOpenArchive()(nullptr, path.c_str(), 0);
  TarFindRecord record;
  for (int more = TestTarDll::TarFindFirst()(archive, "", &record); more == 0;
       more = TestTarDll::TarFindNext()(archive, &record))
    names.emplace_back(record.name, strnlen(record.name, sizeof record.name));
  TestTarDll::TarCloseArchive()(archive);
  std::sort(names.begin(), names.end());
  return names;
}

// The compression, by the first bytes.
std::string Compression(const std::string& path) {
  std::string head = ReadFileBytes(path).substr(0, 4);
  if (head.substr(0, 3) == "BZh") return "bzip2";
  if (head.substr(0, 2) == "\x1f\x8b") return "gzip";
  if (head == "\xfd" "7zX") return "xz";
  return head == "\x28\xb5\x2f\xfd" ? "zstd" : "none";
}

enum class TarJob { Rename, Delete, Add };

struct TarChangeCase {
  const char* title;
  const char* archive;
  TarJob job;
  const char* from;  // an entry, or a folder ending in a separator, as the window names it
  const char* to;
};

const TarChangeCase kTarChanges[] = {
    {"delete from a plain archive", "gnu_ustar.tar", TarJob::Delete, "readme.txt", nullptr},
    {"delete a folder from a gzip archive", "gnu_pax.tar.gz", TarJob::Delete, "docs/", nullptr},
    {"rename in a gzip archive", "gnu_pax.tar.gz", TarJob::Rename, "docs/numbers.txt", "docs/counted.txt"},
    {"move a file in a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Rename, "docs/zero.bin", "empty\\zero.bin"},
    {"move a folder in a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Rename, "docs\\", "empty\\inner\\docs\\"},
    {"add to a bzip2 archive", "gnu_gnu.tar.bz2", TarJob::Add, "new.txt", nullptr},
    {"rename in an xz archive", "gnu_pax.tar.xz", TarJob::Rename, "readme.txt", "docs\\readme.txt"},
    {"delete from a zstd archive", "gnu_pax.tzst", TarJob::Delete, "data/", nullptr},
    {"rename where every name begins with \"./\"", "gnu_gnu.tgz", TarJob::Rename, "./docs/numbers.txt",
     "./docs/counted.txt"},
};

// What a name becomes: unchanged, gone (""), or with the new path in place of the old.
std::string NameAfter(const std::string& name, const TarChangeCase& c) {
  std::string from = Separated(c.from);
  bool concerned = from.back() == '/' ? name.compare(0, from.size(), from) == 0 : name == from;
  if (!concerned || c.job == TarJob::Add) return name;
  return c.job == TarJob::Delete ? "" : Separated(c.to) + name.substr(from.size());
}

int RunTarChange(const TarChangeCase& c, const std::string& archive, bool matching, std::string* failure) {
  if (c.job == TarJob::Add) {
    ZipWorkBlock* block = NewZipWorkBlock();
    snprintf(block->archive, kPathBuf, "%s", archive.c_str());
    block->files = static_cast<char(*)[kPathBuf]>(calloc(1, kPathBuf));
    snprintf(block->files[0], kPathBuf, "%s", (ScratchDir("tar_change_inputs") + "\\" + c.from).c_str());
    WriteFileBytes(block->files[0], "new");
    block->fileCount = 1;
    block->add = 1;
    block->silent = 1;
    return static_cast<int>(Ops(TAR).add(block));
  }
  RBTree* changes = CreateChangeSet();
  AddChangeRecord(changes, matching ? c.from : "absent.txt", c.to, 0);
  char text[kPathBuf * 3] = "";
  int result = (c.job == TarJob::Delete ? Ops(TAR).remove : Ops(TAR).rename)(archive.c_str(), changes, text, sizeof text);
  DestroyChangeSet(&changes);
  *failure = text;
  return result;
}

TEST_F(Kinds, TarChangesKeepTheCompressionTheFoldersAndWhatIsTheUsers) {
  for (const TarChangeCase& c : kTarChanges) {
    SCOPED_TRACE(c.title);
    std::string dir = ScratchDir("tar_change"), archive = dir + "\\" + c.archive, failure;
    ASSERT_TRUE(CopyFileA(Input(TAR, c.archive).c_str(), archive.c_str(), FALSE));
    // The user's own files under names a working file could have.
    const char* mine[] = {".tmp", ".kestrelia-new"};
    for (const char* suffix : mine) WriteFileBytes(archive + suffix, "my notes");
    std::string bytes = ReadFileBytes(archive);
    std::vector<std::string> before = TarEntryNames(archive);
    ASSERT_FALSE(before.empty());

    bool adding = c.job == TarJob::Add;
    if (!adding) EXPECT_EQ(RunTarChange(c, archive, false, &failure), kRewriteUnmatched);
    EXPECT_EQ(ReadFileBytes(archive), bytes);
    SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(RunTarChange(c, archive, true, &failure), adding ? CREATE_READ_ONLY : -9);
    if (!adding) EXPECT_NE(failure.find(archive), std::string::npos) << failure;
    EXPECT_EQ(ReadFileBytes(archive), bytes);
    EXPECT_TRUE(GetFileAttributesA(archive.c_str()) & FILE_ATTRIBUTE_READONLY);
    SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_NORMAL);

    ASSERT_EQ(RunTarChange(c, archive, true, &failure), 0) << failure;
    std::vector<std::string> expected;
    for (const std::string& name : before)
      if (!NameAfter(name, c).empty()) expected.push_back(NameAfter(name, c));
    if (adding) expected.push_back(c.from);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(TarEntryNames(archive), expected);
    EXPECT_EQ(Compression(archive), Compression(Input(TAR, c.archive)));
    for (const char* suffix : mine) EXPECT_EQ(ReadFileBytes(archive + suffix), "my notes") << suffix;
    EXPECT_FALSE(Exists(archive + ".~kst1.tmp"));
    EXPECT_FALSE(Exists(archive + ".kestrelia-new-1"));
  }
}

// A copy that meets damage half way fails: the archive stays as it was and no working file
// is left beside it.
TEST_F(Kinds, TarRewriteThatMeetsDamageLeavesTheArchiveAsItWas) {
  std::string dir = ScratchDir("tar_damaged"), archive = dir + "\\truncated.tar.gz";
  ASSERT_TRUE(CopyFileA(Input(TAR, "truncated.tar.gz").c_str(), archive.c_str(), FALSE));
  std::string bytes = ReadFileBytes(archive), failure;
  TarChangeCase c = {"rename in a damaged archive", "truncated.tar.gz", TarJob::Rename, "readme.txt", "r.txt"};
  EXPECT_LT(RunTarChange(c, archive, true, &failure), 0);
  EXPECT_NE(failure.find(archive), std::string::npos) << failure;
  EXPECT_EQ(ReadFileBytes(archive), bytes);
  EXPECT_FALSE(Exists(archive + ".tmp"));
}

}  // namespace
