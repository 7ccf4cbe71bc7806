// iso.dll through its exported entry points only, as the program calls it, against what
// bsdtar made of the same images (tests/data/make_iso_inputs.py writes its listing and
// extraction beside each image).
#include "services/base.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "archive_fixtures.h"
#include "plugins/include/kestrelia_iso.h"
#include "test_support.h"

#define ISO_ENTRY_TYPE(name, result, parameters) typedef result(__cdecl* name##Fn) parameters;
KESTRELIA_ISO_API_LIST(ISO_ENTRY_TYPE)

namespace {

HMODULE Library() {
  static HMODULE module = LoadLibraryA(ISO_DLL_NAME);
  return module;
}

#define ISO_CALL(name) reinterpret_cast<name##Fn>(reinterpret_cast<void*>(GetProcAddress(Library(), #name)))

struct Listed {
  std::string name;  // "/"-separated, folders ending in "/"
  uint32_t size;
  uint32_t attributes;
  IsoDate date;
};

// Opens the image and hands every header to each(); the last ReadHeader result.
template <typename Each>
int Walk(const std::string& image, Each each) {
  IsoHandle handle = ISO_CALL(iso_open)(image.c_str());
  if (!handle) return -1;
  int result = -2;
  if (ISO_CALL(iso_init)(handle)) {
    IsoHeaderRecord header;
    static char full[ISO_FULL_NAME_SIZE];
    IsoDate date = {1970, 1, 0, 1, 0, 0, 0, 0};
    while ((result = ISO_CALL(ReadHeader)(handle, &header, &date, full)) == ISO_OK) each(handle, header, date, full);
  }
  ISO_CALL(iso_close)(&handle);
  EXPECT_EQ(handle, nullptr);
  return result;
}

std::vector<Listed> List(const std::string& image, int* end = nullptr) {
  std::vector<Listed> out;
  int result = Walk(image, [&](IsoHandle, const IsoHeaderRecord& header, const IsoDate& date, const char* full) {
    std::string name = Separated(full);
    if (header.fileAttributes & ISO_ATTRIBUTE_FOLDER) name += "/";
    EXPECT_EQ(std::string(header.fileName), std::string(full).substr(0, 259));
    out.push_back({name, header.unpackedSize, header.fileAttributes, date});
  });
  if (end) *end = result;
  return out;
}

// Extracts the entries whose "/" names are wanted (all when none are given); the results of
// ProcessFile by name.
std::map<std::string, int> Extract(const std::string& image, const std::string& destination,
                                   const std::set<std::string>& wanted = {}) {
  std::map<std::string, int> results;
  uint64_t progress = 0;
  Walk(image, [&](IsoHandle handle, const IsoHeaderRecord&, const IsoDate&, const char* full) {
    bool chosen = wanted.empty() || wanted.count(Separated(full));
    int result = ISO_CALL(ProcessFile)(handle, chosen ? ISO_EXTRACT : ISO_SKIP, destination.c_str(),
                                       chosen ? full : nullptr, nullptr, nullptr, nullptr, &progress);
    if (chosen) results[Separated(full)] = result;
  });
  return results;
}

const char* const kImages[] = {"plain.iso", "joliet.iso", "rockridge.iso", "rrjoliet.iso", "folders.iso"};

std::map<std::string, std::pair<uint32_t, time_t>> Expected(const std::string& image) {
  std::map<std::string, std::pair<uint32_t, time_t>> out;
  for (const std::string& line : ReadLines(TestData(image + ".expect"))) {
    size_t tab1 = line.find('\t'), tab2 = line.find('\t', tab1 + 1);
    std::string name = line.substr(tab2 + 1);
    if (name == "./") continue;
    out[name] = {static_cast<uint32_t>(strtoul(line.c_str(), nullptr, 10)),
                 static_cast<time_t>(strtoll(line.c_str() + tab1 + 1, nullptr, 10))};
  }
  return out;
}

void ExpectLocalDate(time_t unixTime, const IsoDate& date, const std::string& name) {
  uint64_t ticks = (static_cast<uint64_t>(unixTime) + 11644473600ULL) * 10000000ULL;
  FILETIME utc{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}, local;
  FileTimeToLocalFileTime(&utc, &local);
  SYSTEMTIME when;
  FileTimeToSystemTime(&local, &when);
  EXPECT_EQ(std::vector<int>({date.year, date.month, date.day, date.hour, date.minute, date.second}),
            std::vector<int>({when.wYear, when.wMonth, when.wDay, when.wHour, when.wMinute, when.wSecond}))
      << name;
}

void ExpectListingAsBsdtar(const std::string& image, const std::string& reference) {
  std::map<std::string, std::pair<uint32_t, time_t>> expected = Expected(reference);
  std::vector<Listed> listed = List(TestData(image));
  std::set<std::string> names, wanted;
  for (const auto& entry : expected) wanted.insert(entry.first);
  for (const Listed& entry : listed) {
    names.insert(entry.name);
    auto found = expected.find(entry.name);
    if (found == expected.end()) continue;
    EXPECT_EQ(entry.size, found->second.first) << image << " " << entry.name;
    ExpectLocalDate(found->second.second, entry.date, image + " " + entry.name);
    EXPECT_FALSE(entry.attributes & ISO_ATTRIBUTE_HIDDEN) << entry.name;
  }
  EXPECT_EQ(names, wanted) << image;
}

TEST(IsoDll, ListingMatchesBsdtar) {
  for (const char* image : kImages) ExpectListingAsBsdtar(image, image);
  // A Nero image holds the Joliet image after its lead-in.
  ExpectListingAsBsdtar("IMAGE.NRG", "joliet.iso");
}

TEST(IsoDll, ExtractionMatchesBsdtarByteForByteWithTimes) {
  for (const char* image : kImages) {
    std::string out = ScratchDir("iso_all");
    for (const auto& result : Extract(TestData(image), out)) EXPECT_EQ(result.second, ISO_OK) << result.first;
    FolderContents got = Contents(out), want = Contents(TestData(std::string("ref_") + image));
    EXPECT_EQ(got.folders, want.folders) << image;
    ASSERT_EQ(FileNames(got), FileNames(want)) << image;
    for (const auto& file : want.files) {
      EXPECT_EQ(got.files[file.first].bytes, file.second.bytes) << image << " " << file.first;
      EXPECT_EQ(got.files[file.first].written, file.second.written) << image << " " << file.first;
    }
  }
}

TEST(IsoDll, FileCountCountsFilesAndTheirBytes) {
  uint64_t bytes = 0;
  EXPECT_EQ(ISO_CALL(IsoFileCount)(TestData("rockridge.iso").c_str(), &bytes), 4);
  EXPECT_EQ(bytes, 14u + 5 + 5 + 300000);
  EXPECT_EQ(ISO_CALL(IsoFileCount)(TestData("folders.iso").c_str(), nullptr), 0);
}

}  // namespace
