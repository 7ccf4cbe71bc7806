// Entry names in every language and entries in every method: archives made by the peers
// (and by hand as DOS-era tools made them) listed and extracted by the engine, compared with
// what 7zz extracts; what the engine cannot decode or finds damaged is reported by name.
#include "services/base.h"

#include <gtest/gtest.h>

#include "archive_fixtures.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/prompts.h"
#include "test_support.h"
#include "jobs/entry_failures.h"
#include "zip/entry_names.h"
#include "zip/extract.h"

#include <zlib.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

std::string Extra7075(const std::string& stored, const std::string& name, int version = 1, int crcDelta = 0) {
  uint32_t crc = static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(stored.data()),
                                             static_cast<uInt>(stored.size()))) + crcDelta;
  std::string body(1, static_cast<char>(version));
  for (int i = 0; i < 4; ++i) body += static_cast<char>(crc >> (8 * i));
  body += name;
  std::string field = {'\x75', '\x70', static_cast<char>(body.size()), static_cast<char>(body.size() >> 8)};
  return field + body;
}

TEST(EntryNames, DisplayNameFromFlagExtraFieldOrCodePage) {
  const std::string cp437 = "Gr\x81\xE1" "e.txt";  // "Grüße.txt" in code page 437
  const std::string utf8 = "Gr\xC3\xBC\xC3\x9F" "e.txt";
  const std::string other = "\x8F\xE0\xA8\xA2\xA5\xE2";  // code page 866 bytes of a Russian word
  const std::string russian = "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82";
  struct Case {
    const char* what;
    std::string stored;
    unsigned long flag, madeBy;
    std::string extra, expected;
  } cases[] = {
      {"plain ASCII", "dir/a.txt", 0, 0, "", "dir/a.txt"},
      {"UTF-8 flag", utf8, kZipUtf8NameFlag, 0, "", utf8},
      {"UTF-8 flag on bytes that are not UTF-8", cp437, kZipUtf8NameFlag, 0, "", utf8},
      {"code page 437", cp437, 0, 0, "", utf8},
      {"Unicode Path field", other, 0, 0, Extra7075(other, russian), russian},
      {"field after another one", other, 0, 0, std::string("UT\x01\x00\x07", 5) + Extra7075(other, russian), russian},
      {"field of other bytes", other, 0, 0, Extra7075(other, russian, 1, 1), "\xC3\x85\xCE\xB1\xC2\xBF\xC3\xB3\xC3\x91\xCE\x93"},
      {"field of an unknown version", cp437, 0, 0, Extra7075(cp437, "x", 2), utf8},
      {"field cut short", cp437, 0, 0, Extra7075(cp437, "x").substr(0, 7), utf8},
      {"UTF-8 without flag from Unix", utf8, 0, 3u << 8, "", utf8},
      {"UTF-8 without flag from DOS", utf8, 0, 0, "", "Gr\xE2\x94\x9C\xE2\x95\x9D\xE2\x94\x9C\xC6\x92" "e.txt"},
      {"a NUL ends the name", std::string("a.txt\0b", 7), 0, 0, "", "a.txt"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(ZipEntryDisplayName(c.stored.data(), c.stored.size(), c.flag, c.madeBy, c.extra.data(), c.extra.size()),
              c.expected)
        << c.what;
}

TEST(EntryNames, Utf8Validity) {
  struct Case {
    std::string text;
    bool valid;
  } cases[] = {{"abc", true},         {"\xC3\xA4", true},      {"\xE6\x97\xA5", true}, {"\xF0\x9F\x98\x80", true},
               {"\xC3", false},       {"\xC0\x80", false},     {"\xED\xA0\x80", false}, {"\xF5\x80\x80\x80", false},
               {"\x80", false},       {"\xE6\x97", false}};
  for (const Case& c : cases) EXPECT_EQ(IsValidUtf8(c.text.data(), c.text.size()), c.valid) << c.text;
}

std::set<std::string> ListedNames(const std::string& archive) {
  ListedArchive listed(archive);
  std::set<std::string> names;
  for (int row = 0; row < listed.window.Rows(); ++row) names.insert(Separated(listed.FullName(row)));
  return names;
}

class Names : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetPrompts();
    SetCurrentPassword("kestrel");
    SetArchiveEncrypted(0);
  }
  void TearDown() override {
    SetCurrentPassword("");
    ResetPrompts();
  }
  static int All(const std::string& archive, const std::string& destination) {
    int withoutPath = 0, mode = OVERWRITE_ALWAYS;
    return ExtractZipArchive(TestData(archive).c_str(), &withoutPath, &mode, "kestrel", destination.c_str(), 1);
  }
  static void ExpectSameAsReference(const std::string& archive) {
    std::string stem = archive.substr(0, archive.size() - 4);
    FolderContents expected = Contents(TestData("ref_" + stem));
    ASSERT_FALSE(expected.files.empty()) << archive;
    EXPECT_EQ(ListedNames(archive), FileNames(expected)) << archive;
    std::string destination = ScratchDir("names_" + stem);
    EXPECT_EQ(All(archive, destination), 0) << archive;
    FolderContents got = Contents(destination);
    EXPECT_EQ(FileNames(got), FileNames(expected)) << archive;
    for (const auto& [name, file] : expected.files)
      EXPECT_TRUE(got.files.count(name) && got.files[name].bytes == file.bytes) << archive << " " << name;
    for (const EntryFailure& failure : GetLastRunFailures().items)
      ADD_FAILURE() << archive << ": " << failure.name << " - " << EntryFailureReasonText(failure);
  }
};

TEST_F(Names, NamesInEveryLanguageListAndExtractAs7zzDoes) {
  for (const char* archive : {"names_zip.zip", "names_zip_un.zip", "names_7zz.zip", "names_python.zip", "names_dos.zip"})
    ExpectSameAsReference(archive);
}

TEST_F(Names, MethodsTheEngineDecodesExtractByteIdentical) {
  for (const char* archive : {"method_bzip2.zip", "method_lzma.zip", "method_aes128.zip", "method_aes192.zip", "method_aes256.zip",
                              "method_aes256_stored.zip", "method_aes256_bzip2.zip"})
    ExpectSameAsReference(archive);
}

TEST_F(Names, AWrongAesPasswordWritesNothing) {
  SetCurrentPassword("wrong");
  std::string destination = ScratchDir("aes_wrong");
  All("method_aes256.zip", destination);
  ASSERT_EQ(GetLastRunFailures().items.size(), 1u);
  EXPECT_EQ(GetLastRunFailures().items[0].reason, FAILURE_WRONG_PASSWORD);
  EXPECT_TRUE(FileNames(destination).empty());
}

TEST_F(Names, UndecodableAndDamagedEntriesAreReportedByNameAndReason) {
  struct Expected {
    std::string entry;
    int reason;
    std::string detail;
  };
  std::map<std::string, std::vector<Expected>> byArchive;
  for (const std::string& line : ReadLines(TestData("refusals.txt"))) {
    size_t a = line.find('\t'), b = line.find('\t', a + 1), c = line.find('\t', b + 1);
    byArchive[line.substr(0, a)].push_back(
        {line.substr(a + 1, b - a - 1), std::stoi(line.substr(b + 1, c - b - 1)), line.substr(c + 1)});
  }
  ASSERT_FALSE(byArchive.empty());
  for (const auto& [archive, expected] : byArchive) {
    std::string destination = ScratchDir("refused_" + archive.substr(0, archive.size() - 4));
    All(archive, destination);
    const std::vector<EntryFailure>& failures = GetLastRunFailures().items;
    ASSERT_EQ(failures.size(), expected.size()) << archive;
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(failures[i].name, expected[i].entry) << archive;
      EXPECT_EQ(failures[i].reason, expected[i].reason) << archive << " " << expected[i].entry;
      EXPECT_EQ(failures[i].detail, expected[i].detail) << archive << " " << expected[i].entry;
      // An entry that cannot be decoded leaves nothing behind.
      if (expected[i].reason == FAILURE_METHOD) {
        EXPECT_EQ(FileNames(destination).count(expected[i].entry), 0u) << archive;
      }
    }
  }
}

TEST_F(Names, OneMessageNamesEveryFailureWithItsReason) {
  EntryFailures failures;
  for (int i = 0; i < 30; ++i) AddEntryFailure(&failures, "test", ("e" + std::to_string(i)).c_str(), FAILURE_CRC);
  AddEntryFailure(&failures, "test", "last.bin", FAILURE_METHOD, "LZMA");
  std::string text = EntryFailuresText(failures, "Heading");
  EXPECT_EQ(text.rfind("Heading\n\ne0 - ", 0), 0u) << text;
  EXPECT_NE(text.find("e24 - "), std::string::npos);
  EXPECT_EQ(text.find("e25 - "), std::string::npos) << "only the first 25 are named";
  EXPECT_NE(text.find("... (6)"), std::string::npos) << text;
  EXPECT_EQ(EntryFailureReasonText(failures.items.back()), std::string(GetMessageText(FAILURE_METHOD)) + ": LZMA");
  EXPECT_EQ(EntryFailuresText(EntryFailures(), "Heading"), "");
}

}  // namespace
