// Deleting and renaming entries of archives the peer tools made: what stays must stay bit for
// bit, what goes must go, and no failure on the way may cost the user the archive.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/rbtree.h"
#include "test_support.h"
#include "jobs/create_job.h"
#include "jobs/safe_replace.h"
#include "zip/create.h"
#include "zip/rewrite.h"
#include "zip/zip_io.h"
#include "zip/zip_open.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

// Everything an entry carries, as the container library reports it, plus its stored bytes
// and, where it can be read, what it extracts to.
struct EntryFacts {
  unz_file_info64 info;
  std::string extra, localExtra, comment, raw, plain;
};

bool operator==(const EntryFacts& a, const EntryFacts& b) {
  const unz_file_info64 &x = a.info, &y = b.info;
  return x.version == y.version && x.version_needed == y.version_needed && (x.flag & ~0x800u) == (y.flag & ~0x800u) &&
         x.compression_method == y.compression_method && x.dosDate == y.dosDate && x.crc == y.crc &&
         x.compressed_size == y.compressed_size && x.uncompressed_size == y.uncompressed_size &&
         x.internal_fa == y.internal_fa && x.external_fa == y.external_fa && a.extra == b.extra &&
         a.localExtra == b.localExtra && a.comment == b.comment && a.raw == b.raw && a.plain == b.plain;
}

struct ArchiveFacts {
  bool opened = false;
  std::string comment;
  std::map<std::string, EntryFacts> entries;  // by stored name
};

ArchiveFacts ReadFacts(const std::string& path, const char* password = nullptr) {
  ArchiveFacts facts;
  unzFile zip = MyWaitunzOpen2_64(path.c_str(), 0);
  if (!zip) return facts;
  facts.opened = true;
  unz_global_info64 global;
  unzGetGlobalInfo64(zip, &global);
  facts.comment.resize(global.size_comment + 1);
  unzGetGlobalComment(zip, &facts.comment[0], global.size_comment + 1);
  facts.comment.resize(global.size_comment);
  for (int err = unzGoToFirstFile(zip); err == UNZ_OK; err = unzGoToNextFile(zip)) {
    EntryFacts e;
    char name[kPathBuf];
    unzGetCurrentFileInfo64(zip, &e.info, name, sizeof name, nullptr, 0, nullptr, 0);
    e.extra.resize(e.info.size_file_extra);
    e.comment.resize(e.info.size_file_comment);
    unzGetCurrentFileInfo64(zip, &e.info, name, sizeof name, &e.extra[0], e.extra.size() + 1, &e.comment[0],
                            e.comment.size() + 1);
    int method, level;
    if (unzOpenCurrentFile2(zip, &method, &level, 1) == UNZ_OK) {
      e.localExtra.resize(unzGetLocalExtrafield(zip, nullptr, 0));
      if (!e.localExtra.empty()) unzGetLocalExtrafield(zip, &e.localExtra[0], e.localExtra.size());
      e.raw.resize(e.info.compressed_size);
      if (!e.raw.empty()) unzReadCurrentFile(zip, &e.raw[0], e.raw.size());
      unzCloseCurrentFile(zip);
    }
    if (unzOpenCurrentFilePassword(zip, password) == UNZ_OK) {
      e.plain.resize(e.info.uncompressed_size);
      int got = e.plain.empty() ? 0 : unzReadCurrentFile(zip, &e.plain[0], e.plain.size());
      if (got != static_cast<int>(e.plain.size()) || unzCloseCurrentFile(zip) != UNZ_OK) e.plain = "<unreadable>";
    }
    facts.entries[name] = e;
  }
  unzClose(zip);
  return facts;
}

std::string CopyInput(const std::string& archive, const std::string& scratch) {
  std::string to = ScratchDir(scratch) + "\\" + archive;
  EXPECT_TRUE(CopyFileA(TestData(archive).c_str(), to.c_str(), FALSE)) << archive;
  return to;
}

using Renames = std::vector<std::pair<std::string, std::string>>;

struct RewriteCase {
  const char* title;
  const char* archive;
  std::vector<std::string> deletions;  // names as a view gives them ("\" separators)
  Renames renames;
  int simulation;
  int result;
  const char* password;
};

int RunCase(const std::string& path, const RewriteCase& c) {
  RBTree* changes = CreateChangeSet();
  int result;
  if (!c.deletions.empty()) {
    for (const std::string& name : c.deletions) AddChangeRecord(changes, name.c_str(), nullptr, 0);
    result = DeleteFilesTwoPasses(path.c_str(), changes, c.simulation);
  } else {
    for (const auto& r : c.renames) AddChangeRecord(changes, r.first.c_str(), r.second.c_str(), 0);
    result = ChangeFilesTwoPasses(path.c_str(), changes, c.simulation);
  }
  DestroyChangeSet(&changes);
  return result;
}

const RewriteCase kCases[] = {
    {"delete one", "deflated.zip", {"noise.bin"}, {}, 0, 0, nullptr},
    {"delete two from 7-Zip's archive", "sevenzip.zip", {"readme.txt", "docs\\deep\\er\\note.md"}, {}, 0, 0, nullptr},
    {"delete behind data descriptors", "stream.zip", {"docs\\numbers.txt"}, {}, 0, 0, nullptr},
    {"delete from the middle of a large archive", "large.zip", {"part2.bin", "small\\100.txt"}, {}, 0, 0, nullptr},
    {"rename", "deflated.zip", {}, {{"docs\\numbers.txt", "docs\\counted.txt"}}, 0, 0, nullptr},
    {"move to the top", "deflated.zip", {}, {{"docs\\deep\\er\\note.md", "note.md"}}, 0, 0, nullptr},
    {"rename to a name beyond ASCII", "nodirs.zip", {}, {{"readme.txt", "lies mich \xC3\xA4.txt"}}, 0, 0, nullptr},
    {"rename an encrypted entry", "encrypted.zip", {}, {{"noise.bin", "sub\\noise.bin"}}, 0, 0, "secret"},
    {"rename a 64-bit entry", "python.zip", {}, {{"forced64.bin", "b\\forced.bin"}}, 0, 0, nullptr},
    {"rename behind data descriptors", "stream.zip", {}, {{"readme.txt", "first.txt"}}, 0, 0, nullptr},
    {"rename a DOS code page name", "oemname.zip", {}, {{"Gr\303\274\303\237e.txt", "hello.txt"}}, 0, 0, nullptr},
    {"simulated delete", "deflated.zip", {"noise.bin"}, {}, 1, 0, nullptr},
    {"simulated rename", "deflated.zip", {}, {{"noise.bin", "n.bin"}}, 1, 0, nullptr},
    {"simulated delete of an absent name", "deflated.zip", {"absent.txt"}, {}, 1, -8, nullptr},
};

class RewriteCases : public ::testing::TestWithParam<RewriteCase> {};

TEST_P(RewriteCases, KeepsWhatStaysAndChangesWhatWasAsked) {
  const RewriteCase& c = GetParam();
  SetArchiveKind(ARCHIVE_ZIP);
  std::string path = CopyInput(c.archive, "rewrite_case");
  std::string bytesBefore = ReadFileBytes(path);
  WIN32_FILE_ATTRIBUTE_DATA timesBefore;
  GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &timesBefore);
  ArchiveFacts before = ReadFacts(path, c.password);
  ASSERT_TRUE(before.opened);

  ASSERT_EQ(RunCase(path, c), c.result) << c.title << ": " << GetRewriteFailureText();
  EXPECT_FALSE(Exists(path + ".tmp")) << c.title;
  if (c.result != 0 || c.simulation) {
    EXPECT_EQ(ReadFileBytes(path), bytesBefore) << c.title;
    WIN32_FILE_ATTRIBUTE_DATA timesAfter;
    GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &timesAfter);
    EXPECT_EQ(CompareFileTime(&timesBefore.ftLastWriteTime, &timesAfter.ftLastWriteTime), 0) << c.title;
    return;
  }

  // What the archive should hold now: the old entries, folder entries too, without the
  // deletions, renamed entries under their new names, each unchanged but for its name.
  std::map<std::string, EntryFacts> expected;
  for (const auto& entry : before.entries) {
    const std::string& name = entry.first;
    bool deleted = false;
    for (const std::string& d : c.deletions) deleted |= Separated(d) == name;
    if (deleted) continue;
    std::string now = name;
    for (const auto& r : c.renames)
      if (Separated(r.first) == name || (r.first[0] == 'G' && name[0] == 'G')) now = Separated(r.second);
    expected[now] = entry.second;
  }
  ArchiveFacts after = ReadFacts(path, c.password);
  ASSERT_TRUE(after.opened) << c.title;
  EXPECT_EQ(after.comment, before.comment) << c.title;
  ASSERT_EQ(after.entries.size(), expected.size()) << c.title;
  for (const auto& entry : expected) {
    auto found = after.entries.find(entry.first);
    ASSERT_NE(found, after.entries.end()) << c.title << ": " << entry.first;
    EXPECT_TRUE(found->second == entry.second) << c.title << ": " << entry.first;
    EXPECT_NE(found->second.plain, "<unreadable>") << c.title << ": " << entry.first;
    bool utf8 = (found->second.info.flag & 0x800) != 0;
    bool ascii = true;
    for (unsigned char ch : entry.first) ascii &= ch < 0x80;
    if (!ascii && c.renames.size() && entry.first == Separated(c.renames[0].second)) {
      EXPECT_TRUE(utf8) << c.title;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Table, RewriteCases, ::testing::ValuesIn(kCases));

int DeleteOne(const std::string& path, const char* name) {
  RBTree* changes = CreateChangeSet();
  AddChangeRecord(changes, name, nullptr, 0);
  int result = DeleteFilesTwoPasses(path.c_str(), changes);
  DestroyChangeSet(&changes);
  return result;
}

TEST(Rewrite, DeletingEveryEntryRemovesTheArchive) {
  std::string path = CopyInput("nodirs.zip", "rewrite_all");
  ArchiveFacts before = ReadFacts(path);
  RBTree* changes = CreateChangeSet();
  for (const auto& entry : before.entries) AddChangeRecord(changes, entry.first.c_str(), nullptr, 0);
  EXPECT_EQ(DeleteFilesTwoPasses(path.c_str(), changes), 0);
  DestroyChangeSet(&changes);
  EXPECT_FALSE(Exists(path));
  EXPECT_FALSE(Exists(path + ".tmp"));
}

// ---- faults through the file layer -----------------------------------------------------

enum class Fault { None, WriteMidway, DiskFull, ReadMidway, Flush, Replace, CreateTemporary };

struct FaultState {
  Fault fault = Fault::None;
  zlib_filefunc64_def real;
} g_fault;

struct FaultStream {
  voidpf inner;
  bool temporary;
  uint64_t written;
};

// Past the first copy buffer, so the failure strikes with part of the new archive written.
constexpr uint64_t kWriteFaultAfter = 5 << 20;
constexpr uint64_t kReadFaultFrom = 4 << 20;

voidpf ZCALLBACK FaultOpen(voidpf, const void* name, int mode) {
  const char* path = static_cast<const char*>(name);
  bool temporary = strlen(path) > 4 && !strcmp(path + strlen(path) - 4, ".tmp");
  if (temporary && g_fault.fault == Fault::CreateTemporary) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  voidpf inner = g_fault.real.zopen64_file(g_fault.real.opaque, name, mode);
  if (!inner) return nullptr;
  return new FaultStream{inner, temporary, 0};
}

uLong ZCALLBACK FaultRead(voidpf, voidpf stream, void* out, uLong size) {
  FaultStream* s = static_cast<FaultStream*>(stream);
  if (g_fault.fault == Fault::ReadMidway && !s->temporary && size >= (1u << 20) &&
      g_fault.real.ztell64_file(g_fault.real.opaque, s->inner) >= kReadFaultFrom) {
    SetLastError(ERROR_READ_FAULT);
    return 0;
  }
  return g_fault.real.zread_file(g_fault.real.opaque, s->inner, out, size);
}

uLong ZCALLBACK FaultWrite(voidpf, voidpf stream, const void* data, uLong size) {
  FaultStream* s = static_cast<FaultStream*>(stream);
  if (s->temporary && (g_fault.fault == Fault::WriteMidway || g_fault.fault == Fault::DiskFull) &&
      s->written + size > kWriteFaultAfter) {
    SetLastError(g_fault.fault == Fault::DiskFull ? ERROR_DISK_FULL : ERROR_WRITE_FAULT);
    return 0;
  }
  s->written += size;
  return g_fault.real.zwrite_file(g_fault.real.opaque, s->inner, data, size);
}

ZPOS64_T ZCALLBACK FaultTell(voidpf, voidpf stream) {
  return g_fault.real.ztell64_file(g_fault.real.opaque, static_cast<FaultStream*>(stream)->inner);
}
long ZCALLBACK FaultSeek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  return g_fault.real.zseek64_file(g_fault.real.opaque, static_cast<FaultStream*>(stream)->inner, offset, origin);
}
int ZCALLBACK FaultClose(voidpf, voidpf stream) {
  FaultStream* s = static_cast<FaultStream*>(stream);
  int result = g_fault.real.zclose_file(g_fault.real.opaque, s->inner);
  delete s;
  return result;
}
int ZCALLBACK FaultError(voidpf, voidpf stream) {
  return g_fault.real.zerror_file(g_fault.real.opaque, static_cast<FaultStream*>(stream)->inner);
}

void FillFaultFunctions(zlib_filefunc64_def* f) {
  FillBufferedFileFunctions(&g_fault.real);
  *f = {FaultOpen, FaultRead, FaultWrite, FaultTell, FaultSeek, FaultClose, FaultError, nullptr};
}
DWORD FailingFlush(const char*) { return ERROR_DISK_FULL; }
DWORD FailingReplace(const char*, const char*) { return ERROR_SHARING_VIOLATION; }

struct FaultCase {
  const char* title;
  Fault fault;
  int result;
};

const FaultCase kFaults[] = {
    {"a write fails in the middle", Fault::WriteMidway, -6},
    {"the disk fills up", Fault::DiskFull, -6},
    {"a read fails in the middle", Fault::ReadMidway, -6},
    {"the flush fails", Fault::Flush, -6},
    {"the final replacement fails", Fault::Replace, -7},
    {"the temporary archive cannot be made", Fault::CreateTemporary, -2},
};

class RewriteFaults : public ::testing::TestWithParam<FaultCase> {
 protected:
  void TearDown() override { ResetRewriteFileLayer(); }
};

TEST_P(RewriteFaults, LeaveTheArchiveAsItWasAndNoTemporaryFile) {
  const FaultCase& c = GetParam();
  SetArchiveKind(ARCHIVE_ZIP);
  std::string path = CopyInput("large.zip", "rewrite_fault");
  std::string bytesBefore = ReadFileBytes(path);
  RewriteFileLayer& layer = GetRewriteFileLayer();
  g_fault.fault = c.fault;
  layer.fillFunctions = FillFaultFunctions;
  if (c.fault == Fault::Flush) layer.flushFile = FailingFlush;
  if (c.fault == Fault::Replace) layer.replaceFile = FailingReplace;

  // The first entry goes, so every later byte moves and the whole archive is copied.
  EXPECT_EQ(DeleteOne(path, "part0.bin"), c.result) << c.title;
  EXPECT_EQ(ReadFileBytes(path), bytesBefore) << c.title;
  EXPECT_FALSE(Exists(path + ".tmp")) << c.title;
  std::string text = GetRewriteFailureText();
  EXPECT_NE(text.find(path), std::string::npos) << c.title << ": " << text;
}

INSTANTIATE_TEST_SUITE_P(Table, RewriteFaults, ::testing::ValuesIn(kFaults));

TEST(Rewrite, AnArchiveHeldByAnotherProgramIsReportedByName) {
  std::string path = CopyInput("nodirs.zip", "rewrite_locked");
  HANDLE held = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  EXPECT_EQ(DeleteOne(path, "noise.bin"), -1);
  CloseHandle(held);
  EXPECT_NE(std::string(GetRewriteFailureText()).find(path), std::string::npos);
  EXPECT_EQ(ReadFacts(path).entries.count("noise.bin"), 1u);
}

// ---- what is the user's stays the user's ------------------------------------------------

// Every job that writes an archive beside an old one, on folders.zip: its folder entries
// (docs/, docs/empty/, empty/) are the user's too. A job given a name that matches nothing
// (matching false) must change nothing.
enum class Kind { Delete, Rename, Add, Create };

struct OwnCase {
  const char* title;
  Kind kind;
  const char* from;  // the entry or folder deleted or renamed, or the file added
  const char* to;
  std::vector<std::string> after;  // every name the archive holds afterwards
};

const OwnCase kOwn[] = {
    {"delete a file", Kind::Delete, "readme.txt", nullptr, {"docs/", "docs/a.txt", "docs/empty/", "empty/"}},
    {"delete a folder", Kind::Delete, "docs\\", nullptr, {"empty/", "readme.txt"}},
    {"rename a file", Kind::Rename, "readme.txt", "renamed.txt",
     {"docs/", "docs/a.txt", "docs/empty/", "empty/", "renamed.txt"}},
    {"move a file", Kind::Rename, "docs\\a.txt", "docs\\empty\\a.txt",
     {"docs/", "docs/empty/", "docs/empty/a.txt", "empty/", "readme.txt"}},
    {"rename a folder", Kind::Rename, "docs\\", "papers\\",
     {"empty/", "papers/", "papers/a.txt", "papers/empty/", "readme.txt"}},
    {"add a file", Kind::Add, "new.txt", nullptr, {"docs/", "docs/a.txt", "docs/empty/", "empty/", "new.txt", "readme.txt"}},
    {"create over the archive", Kind::Create, "new.txt", nullptr, {"new.txt"}},
};

int RunOwnCase(const OwnCase& c, const std::string& archive, bool matching, const std::string& inputs) {
  if (c.kind == Kind::Add || c.kind == Kind::Create) {
    ZipWorkBlock* block = NewZipWorkBlock();
    snprintf(block->archive, kPathBuf, "%s", archive.c_str());
    block->files = static_cast<char(*)[kPathBuf]>(calloc(1, kPathBuf));
    snprintf(block->files[0], kPathBuf, "%s\\%s", inputs.c_str(), c.from);
    block->fileCount = 1;
    block->add = c.kind == Kind::Add;
    block->silent = 1;
    return static_cast<int>(ZipWorkDirectoryThread(block));
  }
  RBTree* changes = CreateChangeSet();
  AddChangeRecord(changes, matching ? c.from : "absent.txt", c.to, 0);
  int result = c.kind == Kind::Delete ? DeleteFilesTwoPasses(archive.c_str(), changes)
                                      : ChangeFilesTwoPasses(archive.c_str(), changes);
  DestroyChangeSet(&changes);
  return result;
}

std::vector<std::string> FolderFiles(const std::string& folder) {
  std::vector<std::string> names;
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA((folder + "\\*").c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) return names;
  do {
    if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.push_back(found.cFileName);
  } while (FindNextFileA(find, &found));
  FindClose(find);
  std::sort(names.begin(), names.end());
  return names;
}

std::string LastWrite(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data);
  return std::to_string(data.ftLastWriteTime.dwHighDateTime) + ":" + std::to_string(data.ftLastWriteTime.dwLowDateTime);
}

constexpr char kClaimBeside[] = "KESTRELIA_CLAIM_BESIDE";
constexpr char kClaimedEvent[] = "KestreliaTestWorkingFilesClaimed";

// A run that dies with its working files on the disk: this test program again, as a child
// that claims two and waits until it is killed.
void LeaveWorkingFilesOfADeadRun(const std::string& archive) {
  HANDLE claimed = CreateEventA(nullptr, TRUE, FALSE, kClaimedEvent);
  char self[kPathBuf];
  GetModuleFileNameA(nullptr, self, sizeof self);
  std::string line = std::string("\"") + self + "\" --gtest_also_run_disabled_tests --gtest_filter=*ClaimAndWait";
  SetEnvironmentVariableA(kClaimBeside, archive.c_str());
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(CreateProcessA(nullptr, &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &child));
  SetEnvironmentVariableA(kClaimBeside, nullptr);
  HANDLE either[2] = {claimed, child.hProcess};
  EXPECT_EQ(WaitForMultipleObjects(2, either, FALSE, INFINITE), WAIT_OBJECT_0) << "the child ended before it claimed";
  TerminateProcess(child.hProcess, 9);
  WaitForSingleObject(child.hProcess, INFINITE);
  CloseHandle(child.hProcess);
  CloseHandle(child.hThread);
  CloseHandle(claimed);
}

TEST(WorkingFiles, DISABLED_ClaimAndWait) {
  const char* beside = getenv(kClaimBeside);
  ASSERT_NE(beside, nullptr);
  char first[kPathBuf], second[kPathBuf];
  ASSERT_EQ(ClaimWorkingFile(beside, first), 0u);
  ASSERT_EQ(ClaimWorkingFile(beside, second), 0u);
  HANDLE claimed = OpenEventA(EVENT_MODIFY_STATE, FALSE, kClaimedEvent);
  SetEvent(claimed);
  Sleep(INFINITE);
}

class OwnCases : public ::testing::TestWithParam<OwnCase> {};

TEST_P(OwnCases, NeverTouchWhatIsTheUsers) {
  const OwnCase& c = GetParam();
  SetArchiveKind(ARCHIVE_ZIP);
  std::string dir = ScratchDir("rewrite_own"), inputs = ScratchDir("rewrite_own_inputs");
  WriteFileBytes(inputs + "\\new.txt", "new");
  std::string archive = dir + "\\A.zip";
  ASSERT_TRUE(CopyFileA(TestData("folders.zip").c_str(), archive.c_str(), FALSE));
  // The user's own files under names a working file could have.
  WriteFileBytes(archive + ".tmp", "my notes");
  WriteFileBytes(archive + ".~kst5.tmp", "mine too");
  LeaveWorkingFilesOfADeadRun(archive);
  std::vector<std::string> users = {"A.zip", "A.zip.tmp", "A.zip.~kst5.tmp"};
  ASSERT_EQ(FolderFiles(dir).size(), users.size() + 2) << "the dead run left two working files";
  std::string bytes = ReadFileBytes(archive), time = LastWrite(archive);

  bool rewrite = c.kind == Kind::Delete || c.kind == Kind::Rename;
  if (rewrite) {
    EXPECT_EQ(RunOwnCase(c, archive, false, inputs), REWRITE_NOTHING_MATCHED) << c.title;
    EXPECT_EQ(ReadFileBytes(archive), bytes) << c.title << ": a change matching nothing";
    EXPECT_EQ(LastWrite(archive), time) << c.title << ": a change matching nothing";
  }

  SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(RunOwnCase(c, archive, true, inputs), rewrite ? REWRITE_READ_ONLY : CREATE_READ_ONLY) << c.title;
  EXPECT_EQ(ReadFileBytes(archive), bytes) << c.title << ": read-only";
  EXPECT_TRUE(GetFileAttributesA(archive.c_str()) & FILE_ATTRIBUTE_READONLY) << c.title;
  if (rewrite) EXPECT_NE(std::string(GetRewriteFailureText()).find(archive), std::string::npos) << c.title;
  SetFileAttributesA(archive.c_str(), FILE_ATTRIBUTE_NORMAL);

  EXPECT_EQ(RunOwnCase(c, archive, true, inputs), 0) << c.title << ": " << GetRewriteFailureText();
  std::vector<std::string> names;
  for (const auto& entry : ReadFacts(archive).entries) names.push_back(entry.first);
  EXPECT_EQ(names, c.after) << c.title;
  EXPECT_EQ(ReadFileBytes(archive + ".tmp"), "my notes") << c.title;
  EXPECT_EQ(ReadFileBytes(archive + ".~kst5.tmp"), "mine too") << c.title;
  // The dead run's working files went; nothing of this run's stayed.
  EXPECT_EQ(FolderFiles(dir), users) << c.title;
}

INSTANTIATE_TEST_SUITE_P(Table, OwnCases, ::testing::ValuesIn(kOwn));

}  // namespace
