// The table of archive kinds: which kind a file is (by name, else by its first bytes), what
// each kind keeps and refuses, and the road an unknown kind takes.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "services/runtime_library.h"
#include "test_support.h"

#include <cstdio>
#include <string>

namespace {

TEST(Formats, NameTestsRunInTableOrder) {
  struct Case {
    const char* name;
    int kind;
  } const cases[] = {
      {"a.zip", ARCHIVE_ZIP},
      {"app.JAR", ARCHIVE_ZIP},
      {"site.War", ARCHIVE_ZIP},
      {"zip", 0},
      {"a.zip.rar", ARCHIVE_RAR},
      {"Backup.TGZ", ARCHIVE_TAR},
      {"x.tar.z", ARCHIVE_TAR},
      {"x.tar.bz2", ARCHIVE_TAR},
      {"x.gz", ARCHIVE_TAR},
      {"x.tar.xz", ARCHIVE_TAR},
      {"x.TZST", ARCHIVE_TAR},
      {"x.tar.lz4", ARCHIVE_TAR},
      {"x.tlz", ARCHIVE_TAR},
      {"notes.txt.zst", ARCHIVE_TAR},
      {"x.xz.txt", 0},
      {"guitar", ARCHIVE_TAR},  // a plain suffix test, on purpose
      {"CD.ISO", ARCHIVE_ISO},
      {"disc.nrg", ARCHIVE_ISO},
      {"a.rar", ARCHIVE_RAR},
      {"a.7Z", ARCHIVE_7Z},
      {"setup.cab", ARCHIVE_CAB},
      {"old.lha", ARCHIVE_LZH},
      {"initrd.cpio", ARCHIVE_CPIO},
      {"tool.deb", ARCHIVE_AR},
      {"tool.rpm", ARCHIVE_RPM},
      {"x7z", 0},  // the read-only kinds want their dot
      {"", 0},
      {nullptr, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(GetArchiveKindFromName(c.name), c.kind) << (c.name ? c.name : "(null)");
}

TEST(Formats, UnknownNamesAreSniffed) {
  struct Case {
    std::string bytes;
    int kind;
  } const cases[] = {
      {std::string("PK\3\4\24", 5), ARCHIVE_ZIP},
      {std::string("PK\5\6\0\0", 6), ARCHIVE_ZIP},  // an empty archive
      {std::string("PK\3\6\0", 5), ARCHIVE_ZIP},    // the crossings count too
      {std::string("PK\5\4\0", 5), ARCHIVE_ZIP},
      {std::string("PK\3\4", 4), 0},  // more than four bytes are needed
      {std::string("PK\7\10\0", 5), 0},
      {std::string("Rar!\x1a\x07\x01\x00", 8), ARCHIVE_RAR},
      {std::string(257, '\0') + "ustar\0" "00", ARCHIVE_TAR},
      {std::string("\x1f\x8b\x08\x00", 4), ARCHIVE_TAR},  // gzip: a TAR or a single file inside
      {"BZh91AY&SY", ARCHIVE_TAR},
      {std::string("\xfd" "7zXZ\0\0", 8), ARCHIVE_TAR},
      {std::string("\x28\xb5\x2f\xfd\x24", 5), ARCHIVE_TAR},
      {std::string(0x8001, '\0') + "CD001", ARCHIVE_ISO},
      {"MZ" + std::string(70000, 'x') + std::string("PK\5\6", 4) + std::string(18, '\0'), ARCHIVE_ZIP},
      {"MZ" + std::string(70000, 'x'), 0},  // a program with nothing appended
      {std::string("7z\xbc\xaf\x27\x1c\0\4", 8), ARCHIVE_7Z},
      {std::string("MSCF\0\0\0\0", 8), ARCHIVE_CAB},
      {std::string("\x1f\0-lh5-", 7), ARCHIVE_LZH},
      {"070701000000", ARCHIVE_CPIO},
      {"!<arch>\ndebian-binary", ARCHIVE_AR},
      {std::string("\xed\xab\xee\xdb\3\0", 6), ARCHIVE_RPM},
      {"plain text, no archive", 0},
      {"", 0},
  };
  std::string folder = ScratchDir("formats_sniff");
  int n = 0;
  for (const Case& c : cases) {
    std::string path = folder + "\\unknown" + std::to_string(n++) + ".dat";
    ASSERT_TRUE(WriteFileBytes(path, c.bytes));
    EXPECT_EQ(DecideArchiveKind(path.c_str()), c.kind) << n - 1;
  }
  EXPECT_EQ(DecideArchiveKind((folder + "\\missing.dat").c_str()), 0);
  // The name decides before the bytes: an empty ".tar" is TAR.
  EXPECT_EQ(DecideArchiveKind((folder + "\\missing.tar").c_str()), ARCHIVE_TAR);
}

// A kind outside the table takes the one road, ZIP's. (What each row refuses is tested where
// the refusal is shown: the rename and search tests.)
TEST(Formats, UnknownKindsTakeZipsRow) {
  for (int kind : {0, 99, -1}) {
    EXPECT_FALSE(IsKnownArchiveKind(kind));
    EXPECT_EQ(ArchiveSeparator(kind), '\\');
    EXPECT_EQ(ArchiveFormatOrZip(kind, "FormatsTest:"), FindArchiveFormat(ARCHIVE_ZIP));
  }
}

// The declared-list mechanism every run-time library goes through.
#define KERNEL32_TEST_LIST(X)    \
  X(GetTickCount, DWORD, (void)) \
  X(NoSuchEntryPoint, int, (void))
KESTRELIA_RUNTIME_LIBRARY(Kernel32Test, "kernel32.dll", KERNEL32_TEST_LIST)
#define MISSING_TEST_LIST(X) X(GetTickCount, DWORD, (void))
KESTRELIA_RUNTIME_LIBRARY(MissingTest, "no_such_library_kestrelia.dll", MISSING_TEST_LIST)

TEST(RuntimeLibrary, MissingLibraryOrEntryIsNull) {
  ASSERT_TRUE(Kernel32Test::GetTickCount());
  EXPECT_GT(Kernel32Test::GetTickCount()(), 0u);
  EXPECT_EQ(Kernel32Test::NoSuchEntryPoint(), nullptr);
  EXPECT_EQ(MissingTest::GetTickCount(), nullptr);
  EXPECT_EQ(LoadRuntimeLibrary(&MissingTest::Library()), nullptr);
}

}  // namespace
