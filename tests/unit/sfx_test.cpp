// The self-extracting builder as a program made by it is read back with the resource
// functions: where the pieces end, what the header says, that the stub's own resources
// stay, and that a sealed archive opens only with its password and unchanged.
#include "services/base.h"

#include "sfx/sfx_cipher.h"
#include "test_support.h"
#include "zip/sfx_builder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string Scratch(const char* name) {
  char folder[MAX_PATH];
  GetTempPathA(sizeof folder, folder);
  return std::string(folder) + name;
}

std::vector<unsigned char> Bytes(size_t size) {
  std::vector<unsigned char> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 251);
  return bytes;
}

void WriteFileBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  FILE* file = fopen(path.c_str(), "wb");
  ASSERT_TRUE(file);
  fwrite(bytes.data(), 1, bytes.size(), file);
  fclose(file);
}

struct Made {
  HMODULE module = nullptr;
  explicit Made(const std::string& path) { module = LoadLibraryExA(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE); }
  ~Made() {
    if (module) FreeLibrary(module);
  }
  // The bytes of RT_RCDATA id, or nothing with found false.
  std::vector<unsigned char> Data(WORD id, bool* found) const {
    HRSRC resource = FindResourceExA(module, RT_RCDATA, MAKEINTRESOURCEA(id), MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL));
    *found = resource != nullptr;
    if (!resource) return {};
    const unsigned char* data = static_cast<const unsigned char*>(LockResource(LoadResource(module, resource)));
    return std::vector<unsigned char>(data, data + SizeofResource(module, resource));
  }
  std::vector<unsigned char> Joined(int* pieces) const {
    std::vector<unsigned char> all;
    *pieces = 0;
    for (WORD id = kSfxHeaderId + 1;; ++id) {
      bool found;
      std::vector<unsigned char> piece = Data(id, &found);
      if (!found) break;
      ++*pieces;
      all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
  }
};

int Build(const std::vector<unsigned char>& archive, const std::string& target, const char* password,
          RecordedBoxes* boxes) {
  SfxBuildJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", Scratch("kestrelia_sfx_in.zip").c_str());
  WriteFileBytes(job.archive, archive);
  if (password) {
    snprintf(job.password, sizeof job.password, "%s", password);
    job.encrypt = 1;
  }
  int result = BuildSelfExtracting(&job, target.c_str());
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(job.archive)) << "the embedded archive is removed";
  return result;
}

TEST(SelfExtracting, PiecesEndWhereTheArchiveEnds) {
  struct Case {
    size_t size;
    int pieces;
    size_t lastPiece;
  } cases[] = {{1, 1, 1}, {kSfxPiece, 1, kSfxPiece}, {kSfxPiece + 1, 2, 1}, {3 * kSfxPiece - 5, 3, kSfxPiece - 5}};
  std::string target = Scratch("kestrelia_sfx_plain.exe");
  for (const Case& c : cases) {
    RecordedBoxes boxes;
    std::vector<unsigned char> archive = Bytes(c.size);
    ASSERT_EQ(SFX_BUILD_OK, Build(archive, target, nullptr, &boxes)) << c.size;
    ASSERT_EQ(1u, boxes.titles.size());
    EXPECT_EQ("Successful operation", boxes.titles[0]);
    Made made(target);
    ASSERT_TRUE(made.module);
    bool found;
    EXPECT_EQ(std::vector<unsigned char>(4, 0), made.Data(kSfxHeaderId, &found)) << "an unsealed archive's header";
    int pieces;
    EXPECT_EQ(archive, made.Joined(&pieces)) << c.size;
    EXPECT_EQ(c.pieces, pieces) << c.size;
    EXPECT_EQ(c.lastPiece, made.Data(static_cast<WORD>(kSfxHeaderId + pieces), &found).size()) << c.size;
    // The stub's own manifest and version stay beside the new resources.
    EXPECT_TRUE(FindResourceA(made.module, MAKEINTRESOURCEA(1), RT_MANIFEST));
    EXPECT_TRUE(FindResourceA(made.module, MAKEINTRESOURCEA(VS_VERSION_INFO), RT_VERSION));
  }
  DeleteFileA(target.c_str());
}

TEST(SelfExtracting, ASealedArchiveOpensOnlyWithItsPasswordAndUnchanged) {
  std::string target = Scratch("kestrelia_sfx_sealed.exe");
  std::vector<unsigned char> archive = Bytes(2 * kSfxPiece + 100);
  RecordedBoxes boxes;
  ASSERT_EQ(SFX_BUILD_OK, Build(archive, target, "pässword", &boxes));
  Made made(target);
  bool found;
  EXPECT_EQ((std::vector<unsigned char>{0x11, 0x01, 0, 0}), made.Data(kSfxHeaderId, &found));
  int pieces;
  std::vector<unsigned char> sealed = made.Joined(&pieces);
  ASSERT_EQ(SfxSealedSize(archive.size()), sealed.size());
  EXPECT_EQ(static_cast<int>((sealed.size() + kSfxPiece - 1) / kSfxPiece), pieces);
  std::vector<unsigned char> opened;
  EXPECT_EQ(SFX_OPEN_OK, SfxOpen(sealed.data(), sealed.size(), "pässword", &opened));
  EXPECT_EQ(archive, opened);

  std::vector<unsigned char> changed = sealed;
  changed[sealed.size() - 50] ^= 1;
  std::vector<unsigned char> lastHalf(sealed.begin(), sealed.end() - kSfxTag - 100);
  struct Case {
    const char* what;
    std::vector<unsigned char> stream;
    const char* password;
    int expected;
  } cases[] = {
      {"wrong password", sealed, "password", SFX_OPEN_WRONG_PASSWORD},
      {"one bit of the last piece", changed, "pässword", SFX_OPEN_ALTERED},
      {"the last piece cut off", lastHalf, "pässword", SFX_OPEN_DAMAGED},
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> out;
    EXPECT_EQ(c.expected, SfxOpen(c.stream.data(), c.stream.size(), c.password, &out)) << c.what;
    EXPECT_TRUE(out.empty()) << c.what;
  }
  DeleteFileA(target.c_str());
}

TEST(SelfExtracting, AFailureLeavesNoProgramBehind) {
  std::string target = Scratch("kestrelia_sfx_failed.exe");
  RecordedBoxes boxes;
  SfxBuildJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", Scratch("kestrelia_sfx_missing.zip").c_str());
  EXPECT_EQ(SFX_BUILD_FAILED, BuildSelfExtracting(&job, target.c_str()));
  ASSERT_EQ(1u, boxes.texts.size());
  EXPECT_EQ("cannot open testfile.zip for reading", boxes.texts[0]);
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(target.c_str())) << "the half-made program is removed";

  std::string nowhere = Scratch("kestrelia_no_such_folder\\x.exe");
  EXPECT_EQ(SFX_BUILD_FAILED, Build(Bytes(10), nowhere, nullptr, &boxes));
  ASSERT_EQ(2u, boxes.texts.size());
  EXPECT_EQ("cannot create self extracting file: " + nowhere, boxes.texts[1]);
}

}  // namespace
