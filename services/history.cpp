#include "services/base.h"
#include "services/history.h"

#include "kestrelia_history.h"
#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/password_dialog.h"
#include "services/prompts.h"
#include "services/runtime_library.h"

#include <cstdio>

KESTRELIA_RUNTIME_LIBRARY(HistoryDll, KESTRELIA_HISTORY_FILE, KESTRELIA_HISTORY_API_LIST)

namespace {

bool g_started = false;

bool DialogPassword(HWND owner, char* password) { return PasswordDialog(owner, password) == IDC_PASSWORD_OK; }

void Tell(HWND owner, const char* text) {
  PromptMessageBox(owner, text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
}

}  // namespace

int StartHistory(HWND owner, bool withPassword, bool (*askPassword)(HWND owner, char* password),
                 const char* folder) {
  StopHistory();
  auto checkFolder = HistoryDll::CheckExistenceUserAppDataDirectory();
  auto open = HistoryDll::OpenHistory();
  if (!checkFolder || !open || !HistoryDll::AddHistoryItem()) {
    Log(-1, GetVerbose(), "could not find \"%s\"\n", KESTRELIA_HISTORY_FILE);
    UnloadRuntimeLibrary(&HistoryDll::Library());
    return HISTORY_START_NO_LIBRARY;
  }
  char userFolder[kPathBuf];
  if (folder)
    snprintf(userFolder, sizeof userFolder, "%s", folder);
  else if (checkFolder(userFolder, sizeof userFolder) != 0) {
    Log(1, GetVerbose(), "StartHistory: no folder for the history");
    UnloadRuntimeLibrary(&HistoryDll::Library());
    return HISTORY_START_FAILED;
  }
  char password[kPathBuf] = "";
  if (withPassword && !(askPassword ? askPassword : DialogPassword)(owner, password)) {
    UnloadRuntimeLibrary(&HistoryDll::Library());
    return HISTORY_START_REFUSED;
  }
  int result = open(userFolder, password);
  SecureZeroMemory(password, sizeof password);
  Log(3, GetVerbose(), "StartHistory: %s opened with %d", userFolder, result);
  if (result != HISTORY_OPEN_OK) {
    UnloadRuntimeLibrary(&HistoryDll::Library());
    Tell(owner, GetConfigurationText(result == HISTORY_OPEN_WRONG_PASSWORD ? KLANG_CFG_HISTORY_WRONG_PASSWORD
                                                                           : KLANG_CFG_HISTORY_NOT_SAVED));
    return result == HISTORY_OPEN_WRONG_PASSWORD ? HISTORY_START_REFUSED : HISTORY_START_FAILED;
  }
  g_started = true;
  return HISTORY_START_OK;
}

void StopHistory() {
  if (!g_started) return;
  if (auto close = HistoryDll::CloseHistory()) close();
  g_started = false;
  UnloadRuntimeLibrary(&HistoryDll::Library());
}

bool IsHistoryOpen() { return g_started; }

void RecordExtraction(const char* archive, const char* destination, uint64_t entries, int result) {
  if (!g_started) return;
  auto create = HistoryDll::CreateNewHistoryItem();
  auto data = HistoryDll::AddDataToHistoryItem();
  auto add = HistoryDll::AddHistoryItem();
  if (!create || !data || !add) return;
  HistoryItem* item = create();
  char number[32];
  data(item, HISTORY_ARCHIVE, archive);
  data(item, HISTORY_DESTINATION, destination);
  snprintf(number, sizeof number, "%llu", static_cast<unsigned long long>(entries));
  data(item, HISTORY_ENTRIES, number);
  snprintf(number, sizeof number, "%d", result);
  data(item, HISTORY_RESULT, number);
  if (add(item) != 0) Log(1, GetVerbose(), "RecordExtraction: the history could not be written");
}

int GetHistoryCount() {
  auto count = HistoryDll::GetHistoryItemCount();
  return g_started && count ? count() : 0;
}

std::string GetHistoryField(int index, int field) {
  auto get = HistoryDll::GetHistoryItemData();
  const char* text = g_started && get ? get(index, field) : nullptr;
  return text ? text : "";
}

int DeleteHistoryEntry(int index) {
  auto remove = HistoryDll::DeleteHistoryItem();
  return g_started && remove ? remove(index) : 1;
}

int ClearHistoryEntries() {
  auto clear = HistoryDll::ClearHistory();
  return g_started && clear ? clear() : 1;
}

int ChangeHistoryPassword(const char* password) {
  auto change = HistoryDll::SetHistoryPassword();
  return g_started && change ? change(password) : 1;
}
