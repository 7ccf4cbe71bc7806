// Extraction through the real entry points, checked against what unzip made of the same
// archives (bytes and modification times), with every question answered by a script.
#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "model/rbtree.h"
#include "services/password_dialog.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "archive_fixtures.h"
#include "formats/tar_format.h"
#include "test_support.h"
#include "jobs/chunk_writer.h"
#include "jobs/entry_failures.h"
#include "jobs/entry_file.h"
#include "jobs/system_words.h"
#include "settings/values.h"
#include "ui/entry_list.h"
#include "zip/extract.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <commctrl.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

// ---- scripted questions ----------------------------------------------------------------

struct Script {
  std::deque<int> overwriteAnswers;   // empty: "yes"
  std::deque<std::string> passwords;  // empty: the user cancels
  int overwriteAsked = 0;
  int passwordAsked = 0;
  std::string question;  // the last overwrite question's text
  std::vector<std::string> asked;  // what each password question named, and whether one failed
} g_script;

int ScriptedOverwrite(HWND, const char* text, const char*, const char*) {
  ++g_script.overwriteAsked;
  g_script.question = text;
  if (g_script.overwriteAnswers.empty()) return 0;
  int answer = g_script.overwriteAnswers.front();
  g_script.overwriteAnswers.pop_front();
  return answer;
}

bool ScriptedPassword(HWND, char* password) {
  ++g_script.passwordAsked;
  const PasswordSubject& subject = NextPasswordSubject();
  g_script.asked.push_back(subject.entry + (subject.wrongBefore ? " (wrong)" : ""));
  if (g_script.passwords.empty()) return false;
  snprintf(password, kPathBuf, "%s", g_script.passwords.front().c_str());
  g_script.passwords.pop_front();
  return true;
}

// ---- what a folder holds ---------------------------------------------------------------

// Every file unzip wrote is here with its bytes, and its time within the two seconds the
// DOS format resolves; every folder unzip made exists too.
void ExpectSameAsUnzip(const std::string& ours, const std::string& archiveName) {
  FolderContents expected = Contents(TestData("ref_" + archiveName));
  FolderContents got = Contents(ours);
  ASSERT_FALSE(expected.files.empty()) << archiveName;
  EXPECT_EQ(FileNames(got), FileNames(expected)) << archiveName;
  for (const auto& file : expected.files) {
    auto it = got.files.find(file.first);
    if (it == got.files.end()) continue;
    EXPECT_TRUE(it->second.bytes == file.second.bytes) << archiveName << " " << file.first;
    int64_t delta = static_cast<int64_t>(it->second.written - file.second.written);
    EXPECT_LE(delta < 0 ? -delta : delta, 20000000) << archiveName << " " << file.first;
  }
  for (const std::string& folder : expected.folders) EXPECT_TRUE(got.folders.count(folder)) << folder;
}

std::string CurrentDirectory() {
  char dir[kPathBuf];
  GetCurrentDirectoryA(sizeof dir, dir);
  return dir;
}

// ---- runs --------------------------------------------------------------------------------

class Extract : public ::testing::Test {
 protected:
  void SetUp() override {
    g_script = Script();
    GetPrompts().overwriteQuestion = ScriptedOverwrite;
    GetPrompts().password = ScriptedPassword;
    SetArchiveEncrypted(0);
    SetCurrentPassword("");
    before_ = CurrentDirectory();
  }
  void TearDown() override {
    EXPECT_EQ(CurrentDirectory(), before_) << "the working directory was not restored";
    ResetPrompts();
  }

  // The whole archive; a given mode is the caller's, kept across runs.
  int All(const std::string& archive, const std::string& destination, int mode = OVERWRITE_ALWAYS, int silent = 1) {
    return AllKeepingMode(archive, destination, &mode, silent);
  }
  int AllKeepingMode(const std::string& archive, const std::string& destination, int* mode, int silent = 1) {
    int withoutPath = 0;
    return ExtractZipArchive(TestData(archive).c_str(), &withoutPath, mode, "", destination.c_str(), silent);
  }
  // The rows selected in a list, copied as the window copies them before a run.
  int Selected(HWND list, const std::string& archive, const std::string& destination, int withoutPath,
               int silent = 1) {
    EntrySelection chosen;
    CopyEntrySelection(list, &chosen);
    return Chosen(chosen, archive, destination, withoutPath, silent);
  }
  int Chosen(const EntrySelection& chosen, const std::string& archive, const std::string& destination,
             int withoutPath, int silent = 1) {
    int mode = OVERWRITE_ASK;
    return ExtractZipFilesFromSelection(chosen, TestData(archive).c_str(), &withoutPath, &mode, "",
                                        destination.c_str(), silent);
  }

  RecordedBoxes boxes;
  std::string before_;
};

TEST_F(Extract, WholeArchivesMatchUnzip) {
  for (const char* name : {"deflated", "stored", "zip64", "sevenzip", "many", "backslash", "newer", "sevenzip_lzma",
                           "longpath"}) {
    std::string destination = ScratchDir(std::string("all_") + name);
    // More than 99 entries: the progress dialog takes one step per entry, and the run closes it.
    bool dialog = std::string(name) == "many";
    if (dialog) StartProgressDialog(true, nullptr);
    EXPECT_EQ(All(std::string(name) + ".zip", destination, OVERWRITE_ALWAYS, !dialog), 0) << name;
    EXPECT_EQ(GetProgressDialog(), nullptr);
    ExpectSameAsUnzip(destination, name);
    EXPECT_EQ(GetLastRefusedCount(), 0u);
  }
  // A destination that is not there yet is made first.
  std::string destination = ScratchDir("missing") + "\\not\\yet";
  EXPECT_EQ(All("deflated.zip", destination), 0);
  ExpectSameAsUnzip(destination, "deflated");
}

// The selection reaches the run as names copied from the list; an archive written elsewhere
// may spell a selected name with the other separator.
TEST_F(Extract, SelectionWritesOnlyTheSelectedFiles) {
  ListedArchive listed("deflated.zip");
  listed.Select("readme.txt");
  listed.Select("docs\\numbers.txt");
  listed.Select("docs\\deep\\er\\note.md");
  EntrySelection rows;
  CopyEntrySelection(listed.window.list, &rows);
  EntrySelection separators;  // backslash.zip names the first with "\" and the second with "/"
  separators.names = {"win/dir/file.txt", "unix\\named.txt"};
  struct Case {
    const EntrySelection& chosen;
    const char* archive;
    int withoutPath;
    std::set<std::string> files;
  } cases[] = {
      {rows, "deflated.zip", 0, {"readme.txt", "docs/numbers.txt", "docs/deep/er/note.md"}},
      {rows, "deflated.zip", 1, {"readme.txt", "numbers.txt", "note.md"}},
      {separators, "backslash.zip", 0, {"win/dir/file.txt", "unix/named.txt"}},
  };
  FolderContents reference = Contents(TestData("ref_deflated"));
  for (const Case& c : cases) {
    std::string destination = ScratchDir("selection");
    EXPECT_EQ(Chosen(c.chosen, c.archive, destination, c.withoutPath), 0) << c.archive << c.withoutPath;
    FolderContents got = Contents(destination);
    EXPECT_EQ(FileNames(got), c.files) << c.archive << c.withoutPath;
    if (c.withoutPath || c.chosen.names != rows.names) continue;
    for (const auto& file : got.files) EXPECT_TRUE(file.second.bytes == reference.files[file.first].bytes);
  }
}

int CancellingOverwrite(HWND, const char*, const char*, const char*) {
  ++g_script.overwriteAsked;
  CancelProgress(1);  // as the progress dialog's Cancel would, while this entry is written
  return 0;
}

TEST_F(Extract, OverwriteQuestionAnswers) {
  std::string destination = ScratchDir("overwrite");
  ASSERT_EQ(All("deflated.zip", destination), 0);
  EXPECT_EQ(g_script.overwriteAsked, 0) << "mode 0 replaces without asking";
  std::set<std::string> files = FileNames(Contents(destination));
  auto makeOld = [&] {
    for (const std::string& name : files) WriteFileBytes(destination + "\\" + name, "old");
  };
  auto countOld = [&] {
    int old = 0;
    for (const auto& file : Contents(destination).files) old += file.second.bytes == "old";
    return old;
  };

  // Skip, overwrite, then yes to all: no further question in this run.
  makeOld();
  g_script.overwriteAnswers = {2, 0, 1};
  int mode = OVERWRITE_ASK;
  EXPECT_EQ(AllKeepingMode("deflated.zip", destination, &mode), 0);
  EXPECT_EQ(g_script.overwriteAsked, 3);
  EXPECT_EQ(countOld(), 1);
  EXPECT_EQ(mode, OVERWRITE_ASK) << "yes to all lasts one run";
  // The question names the whole path as the user writes it, and both files' sizes.
  EXPECT_NE(g_script.question.find(destination + "\\"), std::string::npos) << g_script.question;
  EXPECT_EQ(g_script.question.substr(0, g_script.question.find('\n')).find('/'), std::string::npos)
      << g_script.question;
  EXPECT_NE(g_script.question.find(std::string(GetMessageText(KLANG_MSG_OVERWRITE_EXISTING)) + " 3 "),
            std::string::npos) << g_script.question;
  EXPECT_NE(g_script.question.find(GetMessageText(KLANG_MSG_OVERWRITE_INCOMING)), std::string::npos);

  // Rename writes beside the old file under a free name; no to all keeps every other one unasked.
  makeOld();
  g_script.overwriteAsked = 0;
  g_script.overwriteAnswers = {5, 4};
  EXPECT_EQ(AllKeepingMode("deflated.zip", destination, &mode), 0);
  EXPECT_EQ(g_script.overwriteAsked, 2);
  EXPECT_EQ(countOld(), static_cast<int>(files.size()));
  std::set<std::string> now = FileNames(Contents(destination));
  std::vector<std::string> added;
  for (const std::string& name : now)
    if (!files.count(name)) added.push_back(name);
  ASSERT_EQ(added.size(), 1u);
  EXPECT_NE(added[0].find(" (2)"), std::string::npos) << added[0];
  remove((destination + "\\" + added[0]).c_str());

  // Cancel, or a question closed without an answer, ends the run at once.
  makeOld();
  for (int answer : {3, -1}) {
    g_script.overwriteAsked = 0;
    g_script.overwriteAnswers = {answer};
    EXPECT_EQ(AllKeepingMode("deflated.zip", destination, &mode), EXTRACT_CANCELLED);
    EXPECT_EQ(g_script.overwriteAsked, 1);
    EXPECT_EQ(countOld(), static_cast<int>(files.size()));
  }

  // The progress dialog's Cancel while the first entry is written: it is written whole, and
  // nothing after it.
  GetPrompts().overwriteQuestion = CancellingOverwrite;
  g_script.overwriteAsked = 0;
  EXPECT_EQ(AllKeepingMode("deflated.zip", destination, &mode), EXTRACT_CANCELLED);
  CancelProgress(0);
  EXPECT_EQ(g_script.overwriteAsked, 1) << "no entry after the cancelled one";
  EXPECT_EQ(countOld(), static_cast<int>(files.size()) - 1);
  FolderContents expected = Contents(TestData("ref_deflated"));
  for (const auto& file : Contents(destination).files) {
    if (file.second.bytes == "old") continue;
    EXPECT_TRUE(file.second.bytes == expected.files[file.first].bytes) << file.first;
  }
}

TEST_F(Extract, Passwords) {
  SetArchiveEncrypted(1);

  // None given: asked once, the run ends as cancelled, nothing written.
  std::string destination = ScratchDir("password_none");
  EXPECT_EQ(All("encrypted.zip", destination), EXTRACT_CANCELLED);
  EXPECT_EQ(g_script.passwordAsked, 1);
  EXPECT_TRUE(Contents(destination).files.empty());

  // Wrong: every encrypted entry is refused by its check byte, no garbage is left.
  destination = ScratchDir("password_wrong");
  g_script.passwords = {"nope"};
  EXPECT_EQ(All("encrypted.zip", destination), 0);
  EXPECT_TRUE(Contents(destination).files.empty());
  EXPECT_EQ(GetLastWrongPasswordCount(), Contents(TestData("ref_encrypted")).files.size());

  // Wrong, then right when asked again for the entry it failed on.
  SetCurrentPassword("");
  g_script.passwordAsked = 0;
  g_script.asked.clear();
  g_script.passwords = {"nope", "secret"};
  destination = ScratchDir("password_again");
  EXPECT_EQ(All("encrypted.zip", destination, OVERWRITE_ALWAYS, 0), 0);
  ASSERT_EQ(g_script.asked.size(), 2u);
  EXPECT_EQ(g_script.asked[1], g_script.asked[0] + " (wrong)");
  EXPECT_FALSE(g_script.asked[0].empty());
  ExpectSameAsUnzip(destination, "encrypted");

  // Right, given in the dialog: asked once for the whole run.
  SetCurrentPassword("");
  g_script.passwordAsked = 0;
  g_script.passwords = {"secret"};
  destination = ScratchDir("password_right");
  EXPECT_EQ(All("encrypted.zip", destination), 0);
  EXPECT_EQ(g_script.passwordAsked, 1);
  EXPECT_STREQ(GetCurrentPassword(), "secret");
  ExpectSameAsUnzip(destination, "encrypted");
  EXPECT_EQ(GetLastWrongPasswordCount(), 0u);

  // Wrong but passing the check byte (known from the session, so not asked): only the CRC
  // can tell, and still nothing is left.
  std::vector<std::string> lines = ReadLines(TestData("false_password.txt"));
  ASSERT_EQ(lines.size(), 1u);
  SetCurrentPassword(lines[0].c_str());
  destination = ScratchDir("password_false");
  EXPECT_EQ(All("one_encrypted.zip", destination), 0);
  EXPECT_TRUE(Contents(destination).files.empty());
  EXPECT_EQ(GetLastWrongPasswordCount(), 1u);
  EXPECT_EQ(g_script.passwordAsked, 1);
}

TEST_F(Extract, HostileNamesNeverLeaveTheDestination) {
  std::string outer = ScratchDir("hostile");
  std::string destination = outer + "\\inner\\deeper";
  EXPECT_EQ(All("hostile.zip", destination), 0);
  EXPECT_EQ(FileNames(Contents(outer)), (std::set<std::string>{"inner/deeper/ok.txt", "inner/deeper/okdir/fine.txt"}));
  EXPECT_EQ(Contents(outer).folders, (std::set<std::string>{"inner", "inner/deeper", "inner/deeper/okdir"}));

  std::vector<std::string> names = ReadLines(TestData("hostile.names"));
  std::set<std::string> refused;
  std::string all = GetLastRefusedNames();
  for (size_t start = 0; start <= all.size();) {
    size_t end = all.find('\n', start);
    if (end == std::string::npos) end = all.size();
    refused.insert(all.substr(start, end - start));
    start = end + 1;
  }
  std::set<std::string> expected(names.begin(), names.end());
  expected.erase("ok.txt");
  expected.erase("okdir/fine.txt");
  EXPECT_EQ(refused, expected);
  EXPECT_EQ(GetLastRefusedCount(), expected.size());

  // Without paths only the last name counts: devices and streams are still refused, and
  // whatever is written stays in the destination.
  outer = ScratchDir("hostile_flat");
  destination = outer + "\\inner";
  ListedArchive listed("hostile.zip");
  listed.SelectAll();
  EXPECT_EQ(Selected(listed.window.list, "hostile.zip", destination, 1), 0);
  for (const std::string& name : FileNames(Contents(outer))) EXPECT_EQ(name.rfind("inner/", 0), 0u) << name;
  EXPECT_EQ(Contents(outer).folders, (std::set<std::string>{"inner"}));
  std::string flatRefused = GetLastRefusedNames();
  for (const char* name : {"CON", "sub/aux.txt", "a:b", "nul.txt"})
    EXPECT_NE(flatRefused.find(name), std::string::npos) << name;
  EXPECT_EQ(GetLastRefusedCount(), 4u);
  EXPECT_TRUE(Contents(destination).files.count("evil.txt"));
}

}  // namespace

// ---- testing -----------------------------------------------------------------------------

namespace {

struct Failure {
  std::string name;
  int reason;
  bool operator==(const Failure& o) const { return name == o.name && reason == o.reason; }
};
void PrintTo(const Failure& f, std::ostream* out) { *out << f.name << ":" << f.reason; }

std::vector<Failure> RunFailures() {
  std::vector<Failure> out;
  for (const EntryFailure& f : GetLastRunFailures().items) out.push_back({f.name, f.reason});
  return out;
}

}  // namespace

// A test reads every entry through the extraction road and writes nothing: not even over a
// file of the working folder that bears an entry's name when the password is wrong.
TEST_F(Extract, TestChecksEveryEntryAndWritesNothing) {
  const uint64_t files = FileNames(Contents(TestData("ref_deflated"))).size();
  struct Case {
    const char* archive;
    std::vector<std::string> chosen;  // empty: the whole archive
    const char* password;
    uint64_t tested;
    std::vector<Failure> failures;
  } cases[] = {
      {"deflated.zip", {}, "", files, {}},
      {"stored.zip", {}, "", files, {}},
      {"checked.zip", {}, "", 4, {{"flipped.txt", FAILURE_CRC}, {"short.txt", FAILURE_TRUNCATED}}},
      {"damaged_entry.zip", {}, "", 3, {{"bad.txt", FAILURE_CRC}, {"invalid.bin", FAILURE_DATA_ERROR}}},
      {"checked.zip", {"fine.txt", "plain.txt"}, "", 2, {}},
      {"newer.zip", {}, "", 3, {}},
      {"newer_damaged.zip", {}, "", 2, {{"cut.txt", FAILURE_DATA_ERROR}, {"changed.txt", FAILURE_DATA_ERROR}}},
      {"checked.zip", {"plain.txt", "flipped.txt"}, "", 2, {{"flipped.txt", FAILURE_CRC}}},
      {"encrypted.zip", {}, "secret", files, {}},
      {"encrypted.zip", {"readme.txt"}, "nope", 1, {{"readme.txt", FAILURE_WRONG_PASSWORD}}},
  };
  std::string folder = ScratchDir("testing");
  ASSERT_TRUE(WriteFileBytes(folder + "\\readme.txt", "mine"));
  ASSERT_TRUE(SetCurrentDirectoryA(folder.c_str()));
  for (const Case& c : cases) {
    SetArchiveEncrypted(c.password[0] != 0);
    SetCurrentPassword(c.password);
    EntrySelection chosen;
    chosen.names = c.chosen;
    uint64_t tested = 0;
    EXPECT_EQ(TestZipFiles(TestData(c.archive).c_str(), c.chosen.empty() ? nullptr : &chosen, 1, &tested), 0)
        << c.archive;
    EXPECT_EQ(tested, c.tested) << c.archive;
    EXPECT_EQ(RunFailures(), c.failures) << c.archive;
  }
  SetCurrentDirectoryA(before_.c_str());
  FolderContents left = Contents(folder);
  EXPECT_EQ(FileNames(left), (std::set<std::string>{"readme.txt"}));
  EXPECT_TRUE(left.folders.empty());
  EXPECT_EQ(left.files["readme.txt"].bytes, "mine");
  EXPECT_TRUE(boxes.texts.empty());
}

// ---- failures part-way -------------------------------------------------------------------

namespace {

// A volume with little room: a write that would make its file larger than g_room fails as the
// system fails it, having written nothing.
uint64_t g_room;
DWORD g_writeError;
BOOL WINAPI LimitedWrite(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
  LARGE_INTEGER now = {};
  GetFileSizeEx(file, &now);
  if (static_cast<uint64_t>(now.QuadPart) + size > g_room) {
    *written = 0;
    SetLastError(g_writeError);
    return FALSE;
  }
  return WriteFile(file, data, size, written, overlapped);
}

std::map<std::string, std::string> ReportedReasons() {
  std::map<std::string, std::string> out;
  for (const EntryFailure& f : GetLastRunFailures().items) out[f.name] = EntryFailureReasonText(f);
  return out;
}

std::string ReasonText(int reason) { return EntryFailureReasonText(EntryFailure{"", reason, ""}); }

// TAR archives of the TAR tests' inputs.
const char kTar[] = "../tar/gnu_pax.tar.gz";
const char kCutTar[] = "../tar/truncated.tar.gz";
const char kCutTarWords[] = "truncated gzip input";  // libarchive's words
bool IsTar(const std::string& archive) { return archive.find(".tar") != std::string::npos; }

// A TAR run as the window starts it, for the whole archive.
int AllOfTar(const std::string& archive, const std::string& destination, int mode) {
  ExtractJob job = {};
  snprintf(job.archive, sizeof job.archive, "%s", TestData(archive).c_str());
  snprintf(job.destination, sizeof job.destination, "%s", destination.c_str());
  job.overwriteMode = mode;
  job.extractAll = 1;
  return ExtractTarFilesFromList(&job);
}

}  // namespace

// However an entry fails, its file is gone, a file it was to replace is as it was, the run goes
// on with the next entry (or stops when the user says so), and the report names each failed
// entry with its reason; the run's outcome is then not a success.
TEST_F(Extract, FailedEntriesLeaveNothingBehind) {
  const std::string full = SystemErrorText(ERROR_DISK_FULL), device = SystemErrorText(ERROR_IO_DEVICE);
  const std::string crc = ReasonText(FAILURE_CRC), wrong = ReasonText(FAILURE_WRONG_PASSWORD);
  const std::vector<std::string> deflated = {"readme.txt", "Mixed Case Name.TXT", "docs/zero.bin",
                                             "docs/deep/er/note.md"};
  const std::string longName =
      "a-rather-long-folder-name-to-pass-the-ustar-limit/a-rather-long-folder-name-to-pass-the-ustar-limit/"
      "and-a-file-name-that-is-long-too.txt";
  // In the archive's order: those before the entry that fails, and those after it.
  const std::vector<std::string> tarBefore = {"Mixed Case Name.TXT", longName, "data/random.bin",
                                              "docs/deep/er/note.md"};
  std::vector<std::string> tarFiles = tarBefore;
  tarFiles.insert(tarFiles.end(), {"docs/zero.bin", "readme.txt"});
  const std::string cut = ReasonText(FAILURE_DATA_ERROR) + ": " + kCutTarWords;
  struct Case {
    const char* what;
    const char* archive;
    uint64_t room;           // 0: writes do not fail
    DWORD error;
    int answer;              // to the one question of the run
    bool keepBroken;
    bool cancelInEntry;      // the progress dialog's Cancel while the replaced entry is written
    const char* password;
    const char* replaced;    // an entry whose name a file has before the run
    int outcome;
    size_t questions;
    std::map<std::string, std::string> failed;
    std::vector<std::string> whole;  // written whole (and the same as unzip's, for deflated and large)
    std::vector<std::string> kept;   // broken, kept under their names
  } cases[] = {
      {"disk full, go on", "deflated.zip", 200000, ERROR_DISK_FULL, IDYES, false, false, "", "data/mixed.bin",
       EXTRACT_SOME_FAILED, 1, {{"data/mixed.bin", full}, {"docs/numbers.txt", full}}, deflated, {}},
      {"disk full, stop", "deflated.zip", 200000, ERROR_DISK_FULL, IDNO, false, false, "", "data/mixed.bin",
       EXTRACT_CANCELLED, 1, {{"data/mixed.bin", full}}, {"readme.txt", "Mixed Case Name.TXT"}, {}},
      {"device error", "deflated.zip", 200000, ERROR_IO_DEVICE, IDOK, false, false, "", "docs/numbers.txt",
       EXTRACT_SOME_FAILED, 0, {{"data/mixed.bin", device}, {"docs/numbers.txt", device}}, deflated, {}},
      {"disk full in the writer thread", "large.zip", 1 << 20, ERROR_DISK_FULL, IDYES, false, false, "",
       "big/large.bin", EXTRACT_SOME_FAILED, 1, {{"big/large.bin", full}, {"big/reversed.bin", full}},
       {"after.txt"}, {}},
      {"damaged", "damaged_entry.zip", 0, 0, IDOK, false, false, "", "bad.txt", EXTRACT_SOME_FAILED, 0,
       {{"bad.txt", crc}, {"invalid.bin", ReasonText(FAILURE_DATA_ERROR)}}, {"good.txt"}, {}},
      {"damaged, broken files kept", "damaged_entry.zip", 0, 0, IDOK, true, false, "", "bad.txt",
       EXTRACT_SOME_FAILED, 0, {{"bad.txt", crc}, {"invalid.bin", ReasonText(FAILURE_DATA_ERROR)}}, {"good.txt"},
       {"bad.txt", "invalid.bin"}},
      {"inflates past its size", "large_overrun.zip", 0, 0, IDOK, false, false, "", "large.bin",
       EXTRACT_SOME_FAILED, 0, {{"large.bin", crc}}, {"good.txt"}, {}},
      {"wrong password", "encrypted.zip", 0, 0, IDOK, false, false, "nope", "readme.txt", EXTRACT_SOME_FAILED, 0,
       {{"readme.txt", wrong}, {"Mixed Case Name.TXT", wrong}, {"data/mixed.bin", wrong}, {"docs/zero.bin", wrong},
        {"docs/deep/er/note.md", wrong}, {"docs/numbers.txt", wrong}}, {}, {}},
      {"cancelled in the middle", "large.zip", 0, 0, IDOK, false, true, "", "big/large.bin", EXTRACT_CANCELLED, 0,
       {}, {}, {}},
      // TAR's library reads, the same writer writes.
      {"TAR: disk full, go on", kTar, 100000, ERROR_DISK_FULL, IDYES, false, false, "", "docs/numbers.txt",
       EXTRACT_SOME_FAILED, 1, {{"docs/numbers.txt", full}}, tarFiles, {}},
      {"TAR: disk full, stop", kTar, 100000, ERROR_DISK_FULL, IDNO, false, false, "", "docs/numbers.txt",
       EXTRACT_CANCELLED, 1, {{"docs/numbers.txt", full}}, tarBefore, {}},
      {"TAR: cut short, broken file kept", kCutTar, 0, 0, IDOK, true, false, "", "docs/numbers.txt",
       EXTRACT_SOME_FAILED, 0, {{"docs/numbers.txt", cut}, {kCutTar, ReasonText(FAILURE_TRUNCATED)}}, tarBefore,
       {"docs/numbers.txt"}},
      {"TAR: cancelled in the middle", kTar, 0, 0, IDOK, false, true, "", "docs/numbers.txt", EXTRACT_CANCELLED, 0,
       {}, tarBefore, {}},
  };
  for (const Case& c : cases) {
    std::string destination = ScratchDir("failing");
    std::string replaced = destination + "\\" + c.replaced;
    for (char& ch : replaced)
      if (ch == '/') ch = '\\';
    CreateDirectoryPath(replaced.substr(0, replaced.rfind('\\')).c_str());
    ASSERT_TRUE(WriteFileBytes(replaced, "old")) << c.what;
    g_room = c.room;
    g_writeError = c.error;
    SetEntryWriteProc(c.room ? LimitedWrite : nullptr);
    SetKeepBrokenFiles(c.keepBroken);
    SetArchiveEncrypted(c.password[0] != 0);
    SetCurrentPassword(c.password);
    boxes.texts.clear();
    boxes.answer = c.answer;
    g_script.overwriteAsked = 0;
    GetPrompts().overwriteQuestion = c.cancelInEntry ? CancellingOverwrite : ScriptedOverwrite;
    int mode = c.cancelInEntry ? OVERWRITE_ASK : OVERWRITE_ALWAYS;
    int outcome = ExtractionOutcome(IsTar(c.archive) ? AllOfTar(c.archive, destination, mode) : All(c.archive, destination, mode, 0));
    CancelProgress(0);
    SetEntryWriteProc(nullptr);
    SetKeepBrokenFiles(0);

    EXPECT_EQ(outcome, c.outcome) << c.what;
    EXPECT_EQ(boxes.texts.size(), c.questions) << c.what;
    if (c.questions) {
      EXPECT_NE(boxes.texts[0].find(destination), std::string::npos) << c.what << ": the folder is named";
      EXPECT_NE(boxes.texts[0].find(full), std::string::npos) << c.what << ": and why";
    }
    std::map<std::string, std::string> failed;
    // The archive itself is named by its path.
    for (const auto& f : c.failed) failed[f.first == c.archive ? TestData(f.first) : f.first] = f.second;
    EXPECT_EQ(ReportedReasons(), failed) << c.what;
    FolderContents got = Contents(destination);
    std::set<std::string> expected(c.whole.begin(), c.whole.end());
    expected.insert(c.kept.begin(), c.kept.end());
    expected.insert(c.replaced);
    EXPECT_EQ(FileNames(got), expected) << c.what << ": no working file, nothing half written";
    bool replacedWhole = std::count(c.whole.begin(), c.whole.end(), c.replaced) ||
                         std::count(c.kept.begin(), c.kept.end(), c.replaced);
    if (!replacedWhole) EXPECT_EQ(got.files[c.replaced].bytes, "old") << c.what;
    for (const std::string& name : c.kept) EXPECT_NE(got.files[name].bytes, "old") << c.what << " " << name;
    std::string name = c.archive, stem = name.substr(0, name.find('.'));
    FolderContents reference =
        Contents(TestData(IsTar(name) ? "../tar/ref_" + name.substr(name.rfind('/') + 1) : "ref_" + stem));
    for (const std::string& name : c.whole)
      if (reference.files.count(name)) EXPECT_TRUE(got.files[name].bytes == reference.files[name].bytes) << c.what << " " << name;
  }
  SetArchiveEncrypted(0);
  SetCurrentPassword("");
}
