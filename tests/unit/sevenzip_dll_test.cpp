// sevenzip.dll through its exported entry points only, as the program calls it, against what
// 7zz lists of the same archives and the files they were made of (tests/data/make_7z_inputs.py).
#include "services/base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "plugins/include/kestrelia_7z.h"
#include "test_support.h"

#define SZ_ENTRY_TYPE(name, result, parameters) typedef result(__cdecl* name##Fn) parameters;
KESTRELIA_7Z_API_LIST(SZ_ENTRY_TYPE)

namespace {

HMODULE Library() {
  static HMODULE module = LoadLibraryA(SEVENZIP_DLL_NAME);
  return module;
}

#define SZ_CALL(name) reinterpret_cast<name##Fn>(reinterpret_cast<void*>(GetProcAddress(Library(), #name)))

const char kPassword[] = "secret";

struct Opened {
  SzHandle handle = nullptr;
  int result = 1;
  Opened(const std::string& archive, const char* password) {
    handle = SZ_CALL(SzOpenArchive)(TestData(archive).c_str(), password, &result);
  }
  ~Opened() {
    if (handle) SZ_CALL(SzCloseArchive)(handle);
  }
  SzEntryRecord Entry(uint32_t index) const {
    SzEntryRecord record;
    EXPECT_EQ(SZ_CALL(SzGetEntry)(handle, index, &record), 0);
    return record;
  }
  // The entry's whole data, or the result that ended it.
  std::pair<int, std::string> Read(uint32_t index) const {
    std::pair<int, std::string> out{0, ""};
    EXPECT_EQ(SZ_CALL(SzSelectEntry)(handle, index), 0);
    // Small pieces: a piece never spans what the decoder hands over in one go.
    char buffer[7000];
    int64_t n;
    while ((n = SZ_CALL(SzReadData)(handle, buffer, sizeof buffer)) > 0) out.second.append(buffer, static_cast<size_t>(n));
    out.first = static_cast<int>(n);
    return out;
  }
};

std::string Source(const std::string& name) { return ReadFileBytes(TestData("src/" + Separated(name))); }

std::vector<std::string> Expected(const std::string& archive) {
  std::vector<std::string> lines = ReadLines(TestData(archive + ".expect"));
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST(SevenZipDll, ListsAndReadsEveryMethodByteForByte) {
  ASSERT_NE(Library(), nullptr);
  const struct {
    const char* archive;
    const char* password;
  } cases[] = {{"plain.7z", nullptr},  {"solid.7z", nullptr},     {"blocks.7z", nullptr},
               {"ppmd.7z", nullptr},   {"bzip2.7z", nullptr},     {"deflate.7z", nullptr},
               {"bcj2.7z", nullptr},   {"delta.7z", nullptr},     {"encrypted.7z", kPassword},
               {"encrypted_names.7z", kPassword}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.archive);
    Opened archive(c.archive, c.password);
    ASSERT_EQ(archive.result, 0);
    std::vector<std::string> files;
    bool emptyFolder = false;
    for (uint32_t i = 0; i < SZ_CALL(SzEntryCount)(archive.handle); ++i) {
      SzEntryRecord entry = archive.Entry(i);
      std::string name = entry.name;
      emptyFolder |= entry.folder && name == "empty\\inner";
      if (entry.folder) continue;
      files.push_back(std::to_string(entry.size) + "\t" + name);
      EXPECT_EQ(entry.encrypted != 0, c.password && entry.size) << name;  // an empty file has no data
      EXPECT_GT(entry.modified, 0u) << name;
      std::pair<int, std::string> data = archive.Read(i);
      EXPECT_EQ(data.first, 0) << name;
      EXPECT_TRUE(data.second == Source(name)) << name;
    }
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, Expected(c.archive));
    EXPECT_TRUE(emptyFolder);
  }
}

// Entries chosen out of order, again, or across blocks read the same bytes as in order.
TEST(SevenZipDll, AnyOrderOfEntriesReadsTheSameBytes) {
  for (const char* name : {"solid.7z", "blocks.7z"}) {
    SCOPED_TRACE(name);
    Opened archive(name, nullptr);
    ASSERT_EQ(archive.result, 0);
    std::vector<uint32_t> files;
    for (uint32_t i = 0; i < SZ_CALL(SzEntryCount)(archive.handle); ++i)
      if (!archive.Entry(i).folder) files.push_back(i);
    std::vector<uint32_t> order(files.rbegin(), files.rend());  // backwards: every one restarts
    order.push_back(files[1]);
    order.push_back(files[1]);  // the same entry twice
    order.push_back(files[4]);  // skipping ahead within the decoding
    for (uint32_t index : order) {
      std::string entry = archive.Entry(index).name;
      std::pair<int, std::string> data = archive.Read(index);
      EXPECT_EQ(data.first, 0) << entry;
      EXPECT_TRUE(data.second == Source(entry)) << entry;
    }
    // An entry read only in part, then the next: the rest of the first is passed over.
    char some[10];
    ASSERT_EQ(SZ_CALL(SzSelectEntry)(archive.handle, files[6]), 0);
    EXPECT_GT(SZ_CALL(SzReadData)(archive.handle, some, sizeof some), 0);
    std::pair<int, std::string> next = archive.Read(files[7]);
    EXPECT_EQ(next.first, 0);
    EXPECT_TRUE(next.second == Source(archive.Entry(files[7]).name));
  }
}

TEST(SevenZipDll, PasswordsAreAskedForAndWrongOnesRefused) {
  // Encrypted names: the archive does not open without the right password.
  const struct {
    const char* password;
    int result;
  } names[] = {{nullptr, SZ_NEED_PASSWORD}, {"", SZ_NEED_PASSWORD}, {"wrong", SZ_WRONG_PASSWORD}, {kPassword, 0}};
  for (const auto& c : names) {
    Opened archive("encrypted_names.7z", c.password);
    EXPECT_EQ(archive.result, c.result) << (c.password ? c.password : "(none)");
    EXPECT_EQ(archive.handle != nullptr, c.result == 0);
  }
  // Encrypted data: the names list, the data wants the password, a wrong one fails every entry
  // with data, and the right one given afterwards reads it.
  Opened archive("encrypted.7z", nullptr);
  ASSERT_EQ(archive.result, 0);
  uint32_t count = SZ_CALL(SzEntryCount)(archive.handle), file = count;
  for (uint32_t i = 0; i < count && file == count; ++i)
    if (archive.Entry(i).size > 1000) file = i;
  ASSERT_LT(file, count);
  EXPECT_EQ(archive.Read(file).first, SZ_NEED_PASSWORD);
  SZ_CALL(SzSetPassword)(archive.handle, "wrong");
  EXPECT_EQ(archive.Read(file).first, SZ_WRONG_PASSWORD);
  SZ_CALL(SzSetPassword)(archive.handle, kPassword);
  std::pair<int, std::string> data = archive.Read(file);
  EXPECT_EQ(data.first, 0);
  EXPECT_TRUE(data.second == Source(archive.Entry(file).name));
}

TEST(SevenZipDll, DamageEndsTheEntryNotTheProgram) {
  Opened damaged("damaged.7z", nullptr);
  ASSERT_EQ(damaged.result, 0);
  int failed = 0, whole = 0;
  for (uint32_t i = 0; i < SZ_CALL(SzEntryCount)(damaged.handle); ++i) {
    SzEntryRecord entry = damaged.Entry(i);
    if (entry.folder || !entry.size) continue;
    std::pair<int, std::string> data = damaged.Read(i);
    if (data.first == SZ_DAMAGED) ++failed;
    else if (data.first == 0 && data.second == Source(entry.name)) ++whole;
  }
  EXPECT_EQ(failed, 1);
  EXPECT_EQ(whole, 7);
  for (const char* broken : {"cut.7z", "src/readme.txt", "no such.7z"}) {
    Opened archive(broken, nullptr);
    EXPECT_EQ(archive.handle, nullptr) << broken;
    EXPECT_LT(archive.result, 0) << broken;
  }
}

}  // namespace
