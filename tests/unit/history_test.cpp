// history.dll through its entry points, and the program's side of it: items kept across
// opening, plain and sealed; a wrong password that opens nothing and changes nothing; a
// writer killed while it writes; and the item a real extraction of each kind leaves.
#include "services/base.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "archive_fixtures.h"
#include "formats/archive_runs.h"
#include "formats/tar_format.h"
#include "formats/zip_format.h"
#include "jobs/extract_archive.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "plugins/include/kestrelia_history.h"
#include "services/history.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/zip_listing.h"

#define HISTORY_ENTRY_TYPE(name, result, parameters) typedef result(__cdecl* name##Fn) parameters;
KESTRELIA_HISTORY_API_LIST(HISTORY_ENTRY_TYPE)

namespace {

template <typename Fn>
Fn Entry(const char* name) {
  static HMODULE module = LoadLibraryA(KESTRELIA_HISTORY_FILE);
  return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
#define CALL(name) Entry<name##Fn>(#name)

constexpr char kWriterVariable[] = "KESTRELIA_HISTORY_WRITER";

void AddItem(const std::string& archive, const std::string& destination) {
  HistoryItem* item = CALL(CreateNewHistoryItem)();
  CALL(AddDataToHistoryItem)(item, HISTORY_ARCHIVE, archive.c_str());
  CALL(AddDataToHistoryItem)(item, HISTORY_DESTINATION, destination.c_str());
  CALL(AddDataToHistoryItem)(item, HISTORY_ENTRIES, "3");
  CALL(AddDataToHistoryItem)(item, HISTORY_RESULT, "0");
  ASSERT_EQ(CALL(AddHistoryItem)(item), 0);
}

std::string Field(int index, int field) { return CALL(GetHistoryItemData)(index, field); }

TEST(HistoryDll, ItemsComeBackNewestFirstAndAWrongPasswordOpensNothing) {
  for (const char* password : {"", "kestrel"}) {
    std::string folder = ScratchDir(std::string("history_keep") + password);
    std::string file = folder + "\\history.dat";
    ASSERT_EQ(CALL(OpenHistory)(folder.c_str(), password), HISTORY_OPEN_OK);
    AddItem("C:\\a\\first.zip", "C:\\out\\one");
    AddItem("C:\\a\\sec\tond.tar", "C:\\out\\two");
    CALL(CloseHistory)();
    EXPECT_EQ(CALL(IsHistoryActivated)(), 0);

    ASSERT_EQ(CALL(OpenHistory)(folder.c_str(), password), HISTORY_OPEN_OK) << password;
    ASSERT_EQ(CALL(GetHistoryItemCount)(), 2);
    EXPECT_EQ(Field(0, HISTORY_ARCHIVE), "C:\\a\\sec ond.tar") << "a tab would split the line";
    EXPECT_EQ(Field(1, HISTORY_DESTINATION), "C:\\out\\one");
    EXPECT_EQ(Field(1, HISTORY_TIME).size(), 19u);
    EXPECT_EQ(Field(2, HISTORY_ARCHIVE), "");
    CALL(CloseHistory)();

    std::string before = ReadFileBytes(file);
    EXPECT_EQ(before.find("first.zip") == std::string::npos, *password != 0) << "sealed, nothing is readable";
    if (*password) {
      for (const char* wrong : {"", "Kestrel", "kestrel "}) {
        EXPECT_EQ(CALL(OpenHistory)(folder.c_str(), wrong), HISTORY_OPEN_WRONG_PASSWORD) << wrong;
        EXPECT_EQ(CALL(IsHistoryActivated)(), 0);
        EXPECT_EQ(CALL(GetHistoryItemCount)(), 0);
        EXPECT_NE(CALL(AddHistoryItem)(CALL(CreateNewHistoryItem)()), 0) << "nothing is recorded";
      }
      EXPECT_EQ(ReadFileBytes(file), before) << "nothing is lost";
    }

    // Removing: one item, then the rest; the file follows each time.
    ASSERT_EQ(CALL(OpenHistory)(folder.c_str(), password), HISTORY_OPEN_OK);
    EXPECT_EQ(CALL(DeleteHistoryItem)(0), 0);
    EXPECT_EQ(Field(0, HISTORY_ARCHIVE), "C:\\a\\first.zip");
    EXPECT_EQ(CALL(ClearHistory)(), 0);
    CALL(CloseHistory)();
    ASSERT_EQ(CALL(OpenHistory)(folder.c_str(), password), HISTORY_OPEN_OK);
    EXPECT_EQ(CALL(GetHistoryItemCount)(), 0);
    CALL(CloseHistory)();
  }
}

// Run again as a child process (the variable names its folder), this test only writes: item
// after item, each write the whole history, until it is killed.
TEST(HistoryDll, AWriterKilledMidWriteLeavesTheLastWholeHistory) {
  if (const char* writing = getenv(kWriterVariable)) {
    ASSERT_EQ(CALL(OpenHistory)(writing, ""), HISTORY_OPEN_OK);
    std::string longName(600, 'n');
    for (int i = 0;; ++i) {
      HistoryItem* item = CALL(CreateNewHistoryItem)();
      CALL(AddDataToHistoryItem)(item, HISTORY_ARCHIVE, ("C:\\archives\\" + longName + std::to_string(i) + ".zip").c_str());
      // A write the reader kept from replacing the file is not an item lost: it stays in memory.
      CALL(AddHistoryItem)(item);
    }
  }
  std::string folder = ScratchDir("history_kill");
  SetEnvironmentVariableA(kWriterVariable, folder.c_str());
  char self[MAX_PATH];
  GetModuleFileNameA(nullptr, self, sizeof self);
  std::string command = std::string("\"") + self + "\" --gtest_filter=HistoryDll.AWriterKilled*";
  STARTUPINFOA startup = {sizeof startup};
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &child));
  SetEnvironmentVariableA(kWriterVariable, nullptr);
  // Until the writer has written many times over; the kill then comes in the middle of a
  // write more often than not, as the writer does nothing else.
  int seen = 0;
  for (int tries = 0; tries < 6000 && seen < 60; ++tries) {
    if (CALL(OpenHistory)(folder.c_str(), "") == HISTORY_OPEN_OK) seen = CALL(GetHistoryItemCount)();
    CALL(CloseHistory)();
    Sleep(20);
  }
  TerminateProcess(child.hProcess, 9);
  WaitForSingleObject(child.hProcess, INFINITE);
  CloseHandle(child.hProcess);
  CloseHandle(child.hThread);
  ASSERT_GE(seen, 60);
  ASSERT_EQ(CALL(OpenHistory)(folder.c_str(), ""), HISTORY_OPEN_OK);
  int count = CALL(GetHistoryItemCount)();
  EXPECT_GE(count, seen);
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(Field(i, HISTORY_ARCHIVE), "C:\\archives\\" + std::string(600, 'n') + std::to_string(count - 1 - i) + ".zip");
  CALL(CloseHistory)();
}

std::string g_destination;
bool ScriptedFolder(HWND, const char*, char* folder) {
  snprintf(folder, kPathBuf, "%s", g_destination.c_str());
  return true;
}

TEST(HistoryRecording, EveryExtractionLeavesItsItem) {
  RecordedBoxes boxes;
  std::string folder = ScratchDir("history_record");
  ASSERT_EQ(StartHistory(nullptr, false, nullptr, folder.c_str()), HISTORY_START_OK);
  GetPrompts().browseFolder = ScriptedFolder;
  RegisterZipFormat();
  RegisterTarFormat();
  const struct {
    int kind;
    DWORD(WINAPI* listing)(LPVOID);
    std::string archive;
    const char* entries;
  } cases[] = {
      {ARCHIVE_ZIP, ListZipFilesThread, TestData("../zip/zip_deflated.zip"), nullptr},
      {ARCHIVE_TAR, ListTarFilesThread, TestData("bsd_pax.tar.bz2"), "7"},
  };
  for (const auto& c : cases) {
    g_destination = ScratchDir("history_record_" + std::to_string(c.kind));
    // Listed first, as the window lists an archive before it extracts it.
    KindListed listed(c.kind, c.listing, c.archive);
    SetCurrentArchivePath(c.archive.c_str());
    SetExtractIntoNamedFolder(0);
    ExtractArchive(c.archive.c_str(), 1, 0);
    ASSERT_GE(GetHistoryCount(), 1);
    EXPECT_EQ(GetHistoryField(0, HISTORY_ARCHIVE), c.archive);
    EXPECT_EQ(GetHistoryField(0, HISTORY_DESTINATION), g_destination);
    EXPECT_EQ(GetHistoryField(0, HISTORY_RESULT), "0");
    EXPECT_NE(GetHistoryField(0, HISTORY_ENTRIES), "0");
    if (c.entries) {
      EXPECT_EQ(GetHistoryField(0, HISTORY_ENTRIES), c.entries);
    }
  }
  EXPECT_EQ(GetHistoryCount(), 2);
  SetCurrentArchivePath("");
  StopHistory();
  ResetPrompts();
  EXPECT_TRUE(boxes.texts.empty());
}

}  // namespace
