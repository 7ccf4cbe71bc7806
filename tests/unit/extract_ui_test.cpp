// The user's side of extraction: the password and overwrite dialogs driven through their
// real windows from a second thread, and whole-archive and selection runs with scripted
// folder and password answers.
#include "services/base.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "services/folder_picker.h"
#include "services/overwrite_dialog.h"
#include "services/password_dialog.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "archive_fixtures.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "jobs/entry_failures.h"
#include "formats/archive_runs.h"
#include "jobs/extract_archive.h"
#include "formats/zip_format.h"
#include "zip/zip_operations.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

// ---- the password and overwrite dialogs, driven through their windows ----

void Click(HWND dialog, int id) { SendDlgItemMessageA(dialog, id, BM_CLICK, 0, 0); }
void Key(HWND dialog, int id, WPARAM key) { PostMessageA(GetDlgItem(dialog, id), WM_KEYDOWN, key, 0); }
void Close(HWND dialog) { PostMessageA(dialog, WM_SYSCOMMAND, SC_CLOSE, 0); }

TEST(PasswordDialogTest, OkAndEnterStoreTheTypedPasswordTheOthersKeepTheOld) {
  struct Case {
    std::function<void(HWND)> act;
    int result;
    const char* password;
    bool viaPrompt;  // asked through the replaceable prompt, whose default is this dialog
  } cases[] = {
      {[](HWND d) { Click(d, IDC_PASSWORD_OK); }, IDC_PASSWORD_OK, "s3cr3t pass", false},
      {[](HWND d) { Key(d, IDC_PASSWORD_EDIT, VK_RETURN); }, IDC_PASSWORD_OK, "s3cr3t pass", true},
      {[](HWND d) { Click(d, IDC_PASSWORD_CANCEL); }, IDC_PASSWORD_CANCEL, "before", false},
      {[](HWND d) { Key(d, IDC_PASSWORD_EDIT, VK_ESCAPE); }, IDCANCEL, "before", false},
      {Close, IDCANCEL, "before", false},
  };
  ResetPrompts();
  // The question names what it is for, and says when the password given before did not fit.
  NextPasswordSubject() = {"C:\\archives\\Übersicht.zip", "docs\\Привет.txt", true};
  for (const Case& c : cases) {
    SetCurrentPassword("before");
    LONG_PTR editStyle = 0;
    std::wstring texts;
    std::thread helper([&] {
      EXPECT_TRUE(OnDialog("Kestrelia", [&](HWND dialog) {
        editStyle = GetWindowLongPtrA(GetDlgItem(dialog, IDC_PASSWORD_EDIT), GWL_STYLE);
        for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
          wchar_t text[300] = L"";
          GetWindowTextW(child, text, 300);
          texts += std::wstring(text) + L"\n";
        }
        SetDlgItemTextA(dialog, IDC_PASSWORD_EDIT, "s3cr3t pass");
        c.act(dialog);
      }));
    });
    char typed[kPathBuf] = "";
    int result = !c.viaPrompt ? PasswordDialog(nullptr, typed)
                 : PromptPassword(nullptr, typed) ? IDC_PASSWORD_OK : IDCANCEL;
    helper.join();
    EXPECT_EQ(result, c.result);
    // Only the prompt keeps what was typed as the archive's password.
    EXPECT_STREQ(GetCurrentPassword(), c.viaPrompt ? c.password : "before") << c.result;
    EXPECT_STREQ(typed, result == IDC_PASSWORD_OK ? "s3cr3t pass" : "") << c.result;
    EXPECT_TRUE(editStyle & ES_PASSWORD) << "the typed password is not shown";
    for (const wchar_t* shown : {L"Übersicht.zip", L"docs\\Привет.txt"})
      EXPECT_NE(texts.find(shown), std::wstring::npos) << Utf8FromWide(shown);
    EXPECT_NE(texts.find(WideFromUtf8(GetMessageText(KLANG_MSG_WRONG_PASSWORD))), std::wstring::npos);
  }
  NextPasswordSubject() = {};
  SetCurrentPassword("");
}

TEST(OverwriteDialogTest, EachButtonAnswersItsNumberClosingMinusOne) {
  ResetPrompts();
  const char* kLabels = "&Yes\nYes to &all\n&No\n&Cancel\nN&o to all\n&Rename";
  for (int button = -1; button < 7; ++button) {
    std::string text, labels;
    std::thread helper([&] {
      EXPECT_TRUE(OnDialog("Overwrite?", [&](HWND dialog) {
        char shown[kPathBuf];
        GetDlgItemTextA(dialog, IDC_OVERWRITE_TEXT, shown, sizeof shown);
        text = shown;
        for (int i = 0; i < 6; ++i) {
          GetDlgItemTextA(dialog, IDC_OVERWRITE_FIRST + i, shown, sizeof shown);
          labels += std::string(shown) + "|";
        }
        if (button < 0)
          Close(dialog);
        else if (button == 6)
          Key(dialog, IDC_OVERWRITE_FIRST, VK_ESCAPE);
        else
          Click(dialog, IDC_OVERWRITE_FIRST + button);
      }));
    });
    int answer = PromptOverwrite(nullptr, "The file a.txt already exists ?", "Overwrite?", kLabels);
    helper.join();
    EXPECT_EQ(answer, button == 6 ? -1 : button);
    EXPECT_EQ(text, "The file a.txt already exists ?");
    EXPECT_EQ(labels, "&Yes|Yes to &all|&No|&Cancel|N&o to all|&Rename|");
  }
}

TEST(RunResultText, SaysWhatTheRunDid) {
  SetLanguage(KLANG_LANGUAGE_ENGLISH);
  const struct {
    RunTally tally;
    size_t failed;
    bool cancelled;
    const char* text;
  } kCases[] = {
      {{2895, 2895, 0}, 0, false, "2,895 files extracted to C:\\out"},
      {{1, 1, 0}, 0, false, "1 file extracted to C:\\out"},
      {{10, 10, 2}, 3, false, "5 files extracted to C:\\out, 3 failed"},
      {{2895, 1204, 0}, 0, true, "Cancelled after 1,204 of 2,895"},
      {{0, 7, 0}, 1, true, "Cancelled after 7, 1 failed"},
      {{0, 0, 0}, 0, false, "Extraction finished."},
  };
  for (const auto& c : kCases) EXPECT_EQ(RunResultText(c.tally, c.failed, c.cancelled, "C:\\out"), c.text);
}

// ---- runs with scripted answers ----

struct Script {
  std::string folder;   // the folder chooser's answer; empty cancels
  std::string initial;  // what the chooser was offered
  int folderQuestions = 0;
  int namedFolder = -1;  // the chooser's check box: -1 not shown, else its answer
  std::string password;  // the password dialog's answer; empty cancels
  int passwordQuestions = 0;
  std::function<void()> whileAsked;  // run once inside the folder question, as a modal loop would
};
Script* g_script = nullptr;

bool ScriptedFolder(HWND, const char*, char* folder) {
  ++g_script->folderQuestions;
  if (auto second = std::move(g_script->whileAsked)) second();
  g_script->initial = folder;
  // A script that answers the chooser's check box shows it, as the real chooser does.
  if (FolderPickerOption* option = GetFolderPickerOption(); option && g_script->namedFolder >= 0) {
    option->shown = 1;
    option->checked = g_script->namedFolder;
  }
  if (g_script->folder.empty()) return false;
  snprintf(folder, kPathBuf, "%s", g_script->folder.c_str());
  return true;
}
bool ScriptedPassword(HWND, char* password) {
  ++g_script->passwordQuestions;
  snprintf(password, kPathBuf, "%s", g_script->password.c_str());
  return !g_script->password.empty();
}

struct ExtractRunTest : ::testing::Test {
  Script script;
  RecordedBoxes boxes;
  void SetUp() override {
    g_script = &script;
    Prompts& prompts = GetPrompts();
    prompts.browseFolder = ScriptedFolder;
    prompts.password = ScriptedPassword;
    RegisterZipFormat();
    SetArchiveKind(ARCHIVE_ZIP);
    SetArchiveEncrypted(0);
    SetCurrentPassword("");
    SetLastExtractFolder("");
  }
  void TearDown() override {
    ResetPrompts();
    g_script = nullptr;
  }
};

TEST_F(ExtractRunTest, WholeArchiveLandsInTheChosenFolder) {
  script.folder = ScratchDir("extract_whole");
  ExtractArchive(TestData("zip_deflated.zip").c_str(), 1, 0);
  EXPECT_EQ(script.folderQuestions, 1);
  // First time in the session the archive's own folder is offered.
  std::string data = TestData("");
  EXPECT_EQ(script.initial + "\\", data);
  EXPECT_TRUE(Exists(script.folder + "\\readme.txt"));
  EXPECT_TRUE(boxes.texts.empty());
  EXPECT_EQ(IsBusy(), 0);

  // The next question offers the folder chosen last; cancelling it writes nothing, not even
  // into the working folder.
  std::string chosen = script.folder;
  std::string scratch = ScratchDir("extract_cancel");
  char previous[kPathBuf];
  GetCurrentDirectoryA(sizeof previous, previous);
  SetCurrentDirectoryA(scratch.c_str());
  script.folder.clear();
  ExtractArchive(TestData("zip_deflated.zip").c_str(), 1, 0);
  SetCurrentDirectoryA(previous);
  EXPECT_EQ(script.initial, chosen);
  EXPECT_EQ(script.folderQuestions, 2);
  EXPECT_FALSE(Exists(scratch + "\\readme.txt"));
  EXPECT_EQ(IsBusy(), 0);
}

TEST(MakeNamedFolder, TheArchivesNameWithoutItsEnding) {
  struct Case {
    const char* folder;
    const char* archive;
    const char* expected;
  } cases[] = {
      {"c:\\out", "c:\\in\\photos 2024.zip", "c:\\out\\photos 2024"},
      {"c:\\out\\", "sources.tar.gz", "c:\\out\\sources"},
      {"c:\\out", "d:/x/SOURCES.TAR.BZ2", "c:\\out\\SOURCES"},
      {"c:\\out", "noending", "c:\\out\\noending"},
      {"c:\\out", "c:\\in\\.zip", "c:\\out\\.zip"},
      {"c:\\out", "c:\\in\\dots...zip", "c:\\out\\dots"},
  };
  for (const Case& c : cases) {
    char out[kPathBuf];
    ASSERT_TRUE(MakeNamedFolder(c.folder, c.archive, out)) << c.archive;
    EXPECT_STREQ(out, c.expected) << c.archive;
  }
  char out[kPathBuf];
  EXPECT_FALSE(MakeNamedFolder(std::string(kPathBuf - 3, 'x').c_str(), "abc.zip", out));
}

// The password given once serves the session: a second run does not ask.
TEST_F(ExtractRunTest, EncryptedArchiveAsksOnceForThePassword) {
  ASSERT_EQ(DetectArchiveEncryption(TestData("zip_encrypted.zip").c_str()), 0);
  EXPECT_EQ(IsArchiveEncrypted(), 1);
  // Declined: the folder named after the archive, made for the run, is not left behind empty.
  std::string parent = ScratchDir("extract_password_declined");
  script.folder = parent;
  script.namedFolder = 1;
  ExtractArchive(TestData("zip_encrypted.zip").c_str(), 1, 0);
  EXPECT_EQ(script.passwordQuestions, 1);
  EXPECT_FALSE(Exists(parent + "\\zip_encrypted"));
  script.namedFolder = -1;
  script.passwordQuestions = 0;
  script.password = "secret";
  for (const char* folder : {"extract_password", "extract_password_again"}) {
    script.folder = ScratchDir(folder);
    ExtractArchive(TestData("zip_encrypted.zip").c_str(), 1, 0);
    EXPECT_EQ(script.passwordQuestions, 1);
    EXPECT_EQ(ReadFileBytes(script.folder + "\\docs\\numbers.txt"), ReadFileBytes(TestData("src\\docs\\numbers.txt")));
  }
  EXPECT_STREQ(GetCurrentPassword(), "secret");
  ASSERT_EQ(DetectArchiveEncryption(TestData("zip_deflated.zip").c_str()), 0);
  EXPECT_EQ(IsArchiveEncrypted(), 0);
}

TEST_F(ExtractRunTest, RefusedNamesAreToldOnceAtTheEnd) {
  std::string root = ScratchDir("extract_hostile");
  script.folder = root + "\\out";
  CreateDirectoryA(script.folder.c_str(), nullptr);
  ExtractArchive(TestData("hostile.zip").c_str(), 1, 0);
  EXPECT_EQ(ReadFileBytes(script.folder + "\\good.txt"), "good.txt");
  EXPECT_FALSE(Exists(root + "\\escaped.txt"));
  EXPECT_FALSE(Exists(root + "\\escaped2.txt"));
  ASSERT_EQ(boxes.texts.size(), 1u);
  const std::string& box = boxes.texts[0];
  EXPECT_EQ(box.rfind(GetMessageText(kEntryFailuresHeading), 0), 0u) << box;
  for (const char* name : {"../escaped.txt", "sub/../../escaped2.txt", "CON", "a:stream.txt"})
    EXPECT_NE(box.find(name), std::string::npos) << name << " in " << box;
  EXPECT_EQ(box.find("good.txt"), std::string::npos);
}

// A tree folder with no entry below it is told, not passed over as a success.
TEST_F(ExtractRunTest, AnEmptyTreeFolderIsTold) {
  SetCurrentArchivePath(TestData("zip_deflated.zip").c_str());
  script.folder = ScratchDir("extract_empty_folder");
  ExtractTreeFolder("doc");
  ASSERT_TRUE(PumpUntil([] { return !IsBusy(); }));
  SetCurrentArchivePath("");
  EXPECT_TRUE(FileNames(script.folder).empty());
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], std::string(GetMessageText(KLANG_MSG_FOLDER_HOLDS_NOTHING)) + "\ndoc");
  EXPECT_EQ(GetLastExtractRunResult().outcome, EXTRACT_NOTHING_FOUND);
}

// Nothing selected, or a kind without extraction: a message, and no question before it.
TEST_F(ExtractRunTest, RefusalsComeBeforeAnyQuestion) {
  HiddenEntryList rows;
  SetCurrentArchivePath(TestData("zip_deflated.zip").c_str());
  EntrySelection chosen;
  CopyEntrySelection(rows.list, &chosen);
  ExtractSelected(chosen);
  SetCurrentArchivePath("");
  SetArchiveKind(ARCHIVE_TAR);
  ExtractArchive("Z:\\nowhere\\a.tar", 1, 0);
  SetArchiveKind(0);
  ExtractArchive("Z:\\nowhere\\a.bin", 1, 0);
  EXPECT_EQ(script.folderQuestions, 0);
  ASSERT_EQ(boxes.texts.size(), 3u);
  EXPECT_EQ(boxes.texts[2], "ExtractArchive GCompressionMethod not specified");
  EXPECT_EQ(IsBusy(), 0) << "a refused run gives its claim back";
}

// The folder chooser's message loop dispatches a second command that came right behind the
// first: it is refused with the busy message, and only the first run happens.
TEST_F(ExtractRunTest, ASecondRunWhileTheFirstAsksIsRefused) {
  std::string archive = TestData("zip_deflated.zip");
  SetCurrentArchivePath(archive.c_str());
  std::function<void()> seconds[] = {
      [&] { ExtractArchive(archive.c_str(), 1, 1); },
      [] { ExtractTreeFolder("docs"); },
      [] { TestArchive(nullptr); },
  };
  for (auto& second : seconds) {
    script = Script();
    boxes.texts.clear();
    script.folder = ScratchDir("extract_second");
    script.whileAsked = second;
    ExtractArchive(archive.c_str(), 1, 1);
    ASSERT_TRUE(PumpUntil([] { return !IsBusy(); }));
    EXPECT_EQ(script.folderQuestions, 1);
    EXPECT_EQ(boxes.texts, std::vector<std::string>{GetMessageText(KLANG_MSG_BUSY)});
    EXPECT_TRUE(Exists(script.folder + "\\readme.txt"));
  }
  SetCurrentArchivePath("");
}

}  // namespace
