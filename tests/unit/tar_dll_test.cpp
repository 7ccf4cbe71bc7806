// tar.dll through its exported entry points only, as the program calls it, against what the
// peers made of the same archives (bsdtar's listing and extraction, written beside each
// input by tests/data/make_tar_inputs.py).
#include "services/base.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "formats/tar_format.h"
#include "jobs/extract_job.h"
#include "plugins/include/kestrelia_tar.h"

#include "services/runtime_library.h"
#include "test_support.h"

KESTRELIA_RUNTIME_LIBRARY(TestTarDll, KESTRELIA_TAR_FILE, KESTRELIA_TAR_API_LIST)

namespace {

const char* const kArchives[] = {"gnu_ustar.tar", "gnu_pax.tar.gz", "gnu_gnu.tar.bz2", "gnu_gnu.tgz",
                                 "folders.tar",   "bsd_ustar.tar",  "bsd_pax.tar.bz2", "bsd_gnu.tar.gz",
                                 "py_ustar.tar",  "py_pax.tar.gz",   "names_gnu.tar",   "names_pax.tar.gz",
                                 "gnu_pax.tar.xz", "gnu_pax.tzst",    "gnu_pax.tar.lz4", "gnu_pax.tar.lzma", "bsd_pax.tar.Z",
                                 "longpath.tar"};

struct Listed {
  uint32_t size;
  uint16_t date, time;
  std::string name;
};

std::vector<Listed> List(const std::string& archive, void* owner = nullptr) {
  std::vector<Listed> out;
  TarHandle handle = TestTarDll::TarOpenArchive()(owner, archive.c_str(), 0);
  TarFindRecord record;
  for (int more = TestTarDll::TarFindFirst()(handle, "", &record); more == 0 && out.size() < 100000;
       more = TestTarDll::TarFindNext()(handle, &record)) {
    // The record cuts names at 259 bytes; the whole name comes on request.
    std::string name(TestTarDll::TarFindName()(handle, nullptr, 0), '\0');
    TestTarDll::TarFindName()(handle, &name[0], static_cast<uint32_t>(name.size() + 1));
    EXPECT_EQ(name.compare(0, 259, record.name), 0) << name;
    out.push_back({record.size, record.dosDate, record.dosTime, name});
  }
  TestTarDll::TarCloseArchive()(handle);
  return out;
}

// The program's list: nodes of names, the count in the ninth word.
struct NameList {
  std::vector<TarNameNode> nodes;
  std::vector<std::string> names;
  TarNameList list = {};
  explicit NameList(const std::vector<std::string>& wanted) : nodes(wanted.size()), names(wanted) {
    for (size_t i = 0; i < names.size(); ++i) {
      nodes[i].name = &names[i][0];
      nodes[i].next = i + 1 < names.size() ? &nodes[i + 1] : nullptr;
    }
    list.first = nodes.empty() ? nullptr : &nodes[0];
    list.count = nodes.size();
  }
};

// The library reads, the program's writer writes, as in every run of the program.
std::string Extract(const std::string& archive, const std::string& destination, TarNameList* names) {
  char result[TAR_RESULT_TEXT_SIZE] = {};
  ExtractJob job = {};
  job.silent = 1;
  snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  RunTarExtraction(archive.c_str(), names, &job, result);
  return result;
}

void ExpectDosTime(time_t unixTime, const Listed& entry) {
  uint64_t ticks = (static_cast<uint64_t>(unixTime) + 11644473600ULL) * 10000000ULL;
  FILETIME utc{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}, local;
  FileTimeToLocalFileTime(&utc, &local);
  SYSTEMTIME when;
  FileTimeToSystemTime(&local, &when);
  EXPECT_EQ(entry.date, ((when.wYear - 1980) << 9) | (when.wMonth << 5) | when.wDay) << entry.name;
  EXPECT_EQ(entry.time >> 5, (when.wHour << 6) | when.wMinute) << entry.name;
}

TEST(TarDll, ListingMatchesBsdtar) {
  for (const char* name : kArchives) {
    std::vector<Listed> listed = List(TestData(name));
    std::vector<std::string> expected = ReadLines(TestData(std::string(name) + ".expect"));
    ASSERT_EQ(listed.size(), expected.size()) << name;
    for (size_t i = 0; i < listed.size(); ++i) {
      const std::string& line = expected[i];
      size_t tab1 = line.find('\t'), tab2 = line.find('\t', tab1 + 1);
      std::string want = line.substr(tab2 + 1);
      // Folders end with "/" in the record even where the archive leaves it out.
      bool folder = listed[i].name.size() && listed[i].name.back() == '/';
      if (folder && (want.empty() || want.back() != '/')) want += '/';
      EXPECT_EQ(listed[i].name, want) << name;
      EXPECT_EQ(listed[i].size, strtoul(line.c_str(), nullptr, 10)) << name << " " << want;
      ExpectDosTime(static_cast<time_t>(strtoll(line.c_str() + tab1 + 1, nullptr, 10)), listed[i]);
    }
  }
}

// Raw names in a legacy code page come out in the script they were written in.
TEST(TarDll, ListsLegacyCodePageNamesInTheirScript) {
  for (const char* name : {"legacy_cp866.tar", "legacy_koi8r.tar", "legacy_eucjp.tar", "legacy_cp1252.tar"}) {
    std::vector<std::string> listed;
    for (const Listed& entry : List(TestData(name))) listed.push_back(entry.name);
    EXPECT_EQ(listed, ReadLines(TestData(std::string(name) + ".names"))) << name;
  }
}

TEST(TarDll, ExtractionMatchesBsdtarByteForByteWithTimes) {
  for (const char* name : kArchives) {
    std::string out = ScratchDir("tar_all");
    std::string result = Extract(TestData(name), out, nullptr);
    EXPECT_EQ(result.substr(0, 2), "00") << name << ": " << result;
    FolderContents got = Contents(out), want = Contents(TestData(std::string("ref_") + name));
    EXPECT_EQ(got.folders, want.folders) << name;
    ASSERT_EQ(FileNames(got), FileNames(want)) << name;
    for (const auto& file : want.files) {
      EXPECT_EQ(got.files[file.first].bytes, file.second.bytes) << name << " " << file.first;
      EXPECT_EQ(got.files[file.first].written, file.second.written) << name << " " << file.first;
    }
    for (const std::string& folder : want.folders)
      EXPECT_EQ(LastWrite(out + "\\" + folder), LastWrite(TestData(std::string("ref_") + name + "/" + folder)))
          << name << " " << folder;
  }
}


TEST(TarDll, DamagedArchivesEndTheirListingWithWhatWasRead) {
  size_t whole = List(TestData("gnu_pax.tar.gz")).size();
  size_t cut = List(TestData("truncated.tar.gz")).size();
  EXPECT_GT(cut, 0u);
  EXPECT_LT(cut, whole);
  EXPECT_EQ(List(TestData("garbage.tar")).size(), 0u);
  EXPECT_EQ(List(TestData("no such archive.tar")).size(), 0u);
  std::string out = ScratchDir("tar_cut");
  EXPECT_EQ(Extract(TestData("truncated.tar.gz"), out, nullptr)[0], '1');
  EXPECT_EQ(Extract(TestData("garbage.tar"), out, nullptr)[0], '1');
}

// A compressed file without a TAR inside is one entry named after it; nothing is written into it.
TEST(TarDll, SingleCompressedFileIsOneEntry) {
  std::string numbers = ReadFileBytes(TestData("src/docs/numbers.txt"));
  for (const char* name : {"notes.txt.gz", "notes.txt.bz2", "notes.txt.xz", "notes.txt.zst", "notes.txt.lz4"}) {
    std::vector<Listed> listed = List(TestData(name));
    ASSERT_EQ(listed.size(), 1u) << name;
    EXPECT_EQ(listed[0].name, "notes.txt") << name;
    EXPECT_EQ(listed[0].size, numbers.size()) << name;
    std::string out = ScratchDir("tar_single");
    EXPECT_EQ(Extract(TestData(name), out, nullptr).substr(0, 2), "00") << name;
    EXPECT_EQ(ReadFileBytes(out + "\\notes.txt"), numbers) << name;
    std::string copy = out + "\\" + name;
    CopyFileA(TestData(name).c_str(), copy.c_str(), FALSE);
    NameList adds({TestData("add/readme.txt")});
    char result[TAR_RESULT_TEXT_SIZE] = {};
    TestTarDll::TarCreateAdd()(copy.c_str(), (TestData("add") + "\\").c_str(), adds.list.first, nullptr, nullptr,
                           TAR_ADD_APPEND, result, nullptr);
    EXPECT_TRUE(strstr(result, "single compressed file")) << name << ": " << result;
    EXPECT_EQ(ReadFileBytes(copy), ReadFileBytes(TestData(name))) << name;
  }
}

// Written into the test data's created/ folder; tests/data/check_tar_created.py reads them
// back with bsdtar.
TEST(TarDll, CreatesAndExtendsArchives) {
  std::string created = TestData("created");
  CreateDirectoryA(created.c_str(), nullptr);
  std::string base = Separated(TestData("src") + "\\");
  NameList files({TestData("src/readme.txt"), TestData("src/docs/numbers.txt"), TestData("src/empty/"),
                  TestData("src/no-such-file.txt")});
  for (const char* name : {"new.tar", "new.tar.gz", "new.tar.bz2", "new.tar.xz", "new.tzst", "new.tar.lz4"}) {
    char result[TAR_RESULT_TEXT_SIZE] = {};
    TestTarDll::TarCreate()((created + "\\" + name).c_str(), base.c_str(), nullptr, result, 4,
                                    files.list.first, nullptr);
    EXPECT_EQ(std::string(result, 2), "01") << result;  // the missing file could not be added
  }
  // Extending: a copy of a peer's archive, one new file and one replacing its namesake.
  CopyFileA(TestData("gnu_gnu.tar.bz2").c_str(), (created + "\\extended.tar.bz2").c_str(), FALSE);
  CopyFileA(TestData("gnu_gnu.tar.bz2").c_str(), (created + "\\replaced.tar.bz2").c_str(), FALSE);
  std::string addBase = TestData("add") + "\\";
  NameList adds({TestData("add/readme.txt"), TestData("add/extra/new.txt")});
  for (auto [name, mode] : {std::pair<const char*, int>{"extended.tar.bz2", TAR_ADD_APPEND},
                            std::pair<const char*, int>{"replaced.tar.bz2", TAR_ADD_REPLACE}}) {
    std::vector<TarAddResult> records(2);
    memset(records.data(), 0, records.size() * sizeof(TarAddResult));
    TarNameNode resultNodes[2] = {{reinterpret_cast<char*>(&records[0]), &resultNodes[1]},
                                  {reinterpret_cast<char*>(&records[1]), nullptr}};
    char result[TAR_RESULT_TEXT_SIZE] = {};
    TestTarDll::TarCreateAdd()((created + "\\" + name).c_str(), addBase.c_str(), adds.list.first,
                                          resultNodes, nullptr, mode, result, nullptr);
    EXPECT_EQ(std::string(result, 2), "00") << result;
    EXPECT_STREQ(records[1].entry, "extra/new.txt");
    EXPECT_EQ(records[1].status, 0);
  }
  // An unreadable old archive is left as it was.
  std::string broken = created + "\\broken.tar.gz";
  CopyFileA(TestData("truncated.tar.gz").c_str(), broken.c_str(), FALSE);
  std::string before = ReadFileBytes(broken);
  char result[TAR_RESULT_TEXT_SIZE] = {};
  TestTarDll::TarCreateAdd()(broken.c_str(), addBase.c_str(), adds.list.first, nullptr, nullptr,
                                        TAR_ADD_APPEND, result, nullptr);
  EXPECT_EQ(result[0], '1') << result;
  EXPECT_EQ(ReadFileBytes(broken), before);
}

}  // namespace
