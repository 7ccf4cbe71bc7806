// Switching the language: the choice is kept in the settings and the window takes the new
// texts at once, without a restart.
#include "services/base.h"
#include "app/main_state.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "settings/save.h"
#include "settings/values.h"
#include "formats/archive_runs.h"
#include "services/history.h"
#include "settings/options.h"
#include "ui/configuration_dialog.h"
#include "ui/history_window.h"
#include "ui/entry_list.h"
#include "ui/update_check.h"

namespace {

// The languages in the order the library lists them, with their numbers.
const int kLanguages[KLANG_LANGUAGE_COUNT] = KLANG_LANGUAGE_LIST;
constexpr UINT kFirstLanguageItem = 1;

bool IsCurrentLanguage(int language) { return (GetGCountry() & 0xFF) == (language & 0xFF); }

// A command from the keyboard has no mouse position worth using: the menu opens at the
// window's top left corner then.
POINT MenuPosition(HWND hwnd) {
  POINT at;
  GetCursorPos(&at);
  RECT window;
  GetWindowRect(hwnd, &window);
  if (!PtInRect(&window, at)) {
    at.x = window.left + 40;
    at.y = window.top + 40;
  }
  return at;
}

void RefreshTexts() {
  MainWindowState& m = Main();
  HMENU old = GetMenu(m.hwnd);
  SetMenu(m.hwnd, BuildMainMenu());
  if (old) DestroyMenu(old);
  SetEntryListColumnTitles(m.list);
  SetEntryListColumnTitles(m.treeList);
  SetStatusTips(m.status);
  RefreshToolbarTexts();
  // Every pane in the new language, the selection's mark included.
  if (*GetCurrentArchivePath()) WriteSelectionStatus();
  // The type column's fallback text comes from the library too.
  InvalidateRect(m.list, nullptr, TRUE);
  InvalidateRect(m.treeList, nullptr, TRUE);
}

}  // namespace

void ApplyLanguage(int language) {
  if (IsCurrentLanguage(language)) return;
  SetLanguage(language);
  int minPicSize = GetMinPicSize();
  // Saving the configuration creates the settings key, so the choice is read at the next
  // start even on a machine where nothing was saved before.
  if (SaveConfiguration(1, minPicSize != kUnsetNumber, minPicSize) != 0)
    Log(-1, GetVerbose(), "ApplyLanguage: the language %d could not be saved", language);
  RefreshTexts();
}

namespace {

void CheckNowFromDialog(HWND owner) { StartUpdateCheck(owner, 1); }
void ClearHistoryFromDialog(HWND) { ClearHistoryEntries(); }

void SaveOptions() {
  int minPicSize = GetMinPicSize();
  SaveConfiguration(0, minPicSize != kUnsetNumber, minPicSize);
}

// The history follows its two check boxes at once. A history that cannot be started (no
// library, no password given, a password that does not open it) is switched off again.
void ApplyHistory(const ConfigurationChanges& changes) {
  HWND owner = Main().hwnd;
  if (!IsHistoryActivated()) {
    StopHistory();
    return;
  }
  if (!changes.history && IsHistoryOpen() && !IsHistoryPassword()) {
    ChangeHistoryPassword("");
    return;
  }
  // Switched on, or a password asked for: opening with a password seals the file with it.
  if (StartHistory(owner, IsHistoryPassword() != 0) == HISTORY_START_OK) return;
  SetHistoryStatus(0);
  SaveOptions();
}

void ExtractAgain(const char* archive) { ExtractArchive(archive, 0, 1); }

}  // namespace

void CmdHistory() { ShowHistoryWindow(Main().hwnd, ExtractAgain); }

// The settings take effect as the dialog closes: the texts and the menus are made again when
// the language or the menu style changed.
void CmdConfiguration() {
  static const ConfigurationActions kActions = {CheckNowFromDialog, ClearHistoryFromDialog};
  ConfigurationChanges changes;
  if (!ShowConfigurationDialog(Main().hwnd, kActions, &changes)) return;
  if (changes.language || changes.menuStyle) RefreshTexts();
  if (changes.history || changes.historyPassword) ApplyHistory(changes);
}

void CmdLanguage() {
  HWND hwnd = Main().hwnd;
  HMENU menu = CreatePopupMenu();
  for (int i = 0; i < KLANG_LANGUAGE_COUNT; ++i)
    AppendMenuA(menu, MF_STRING | (IsCurrentLanguage(kLanguages[i]) ? MF_CHECKED : 0), kFirstLanguageItem + i,
                GetLanguageString(i));
  POINT at = MenuPosition(hwnd);
  UINT chosen = TrackPopupMenu(menu, TPM_RETURNCMD | TPM_NONOTIFY | TPM_LEFTALIGN | TPM_TOPALIGN, at.x, at.y, 0, hwnd,
                               nullptr);
  DestroyMenu(menu);
  if (chosen >= kFirstLanguageItem && chosen < kFirstLanguageItem + KLANG_LANGUAGE_COUNT)
    ApplyLanguage(kLanguages[chosen - kFirstLanguageItem]);
}
