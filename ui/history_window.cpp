#include "services/base.h"
#include "ui/history_window.h"

#include "jobs/extract_archive.h"
#include "kestrelia_history.h"
#include "kestrelia_lang.h"
#include "res/resource.h"
#include "services/dialog_template.h"
#include "services/history.h"
#include "services/log.h"

#include <commctrl.h>
#include <shellapi.h>

#include <cstdlib>
#include <string>

namespace {

constexpr int kWidth = 720, kHeight = 380, kMargin = 10, kButtonWidth = 130, kButtonHeight = 26;

struct Column {
  int title;
  int field;
  int width;
};
const Column kColumns[] = {
    {KLANG_CFG_HISTORY_TIME, HISTORY_TIME, 130},
    {KLANG_CFG_HISTORY_ARCHIVE, HISTORY_ARCHIVE, 200},
    {KLANG_CFG_HISTORY_DESTINATION, HISTORY_DESTINATION, 190},
    {KLANG_CFG_HISTORY_ENTRIES, HISTORY_ENTRIES, 60},
    {KLANG_CFG_HISTORY_RESULT, HISTORY_RESULT, 0},  // the rest of the width
};

const char* ResultText(const std::string& code) {
  int result = atoi(code.c_str());
  return GetConfigurationText(result == 0     ? KLANG_CFG_HISTORY_DONE
                              : result == 100 ? KLANG_CFG_HISTORY_CANCELLED
                                              : KLANG_CFG_HISTORY_FAILED);
}

HWND List(HWND dialog) { return GetDlgItem(dialog, IDC_HISTORY_LIST); }

int SelectedItem(HWND dialog) {
  return static_cast<int>(SendMessageA(List(dialog), LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
}

void EnableItemButtons(HWND dialog) {
  bool selected = SelectedItem(dialog) >= 0;
  for (int id : {IDC_HISTORY_EXTRACT, IDC_HISTORY_OPEN_FOLDER, IDC_HISTORY_DELETE})
    EnableWindow(GetDlgItem(dialog, id), selected);
  EnableWindow(GetDlgItem(dialog, IDC_HISTORY_CLEAR), GetHistoryCount() > 0);
}

// The rows follow the history's order, newest first, so a row's number is the item's index.
void Fill(HWND dialog, int select) {
  HWND list = List(dialog);
  SendMessageA(list, LVM_DELETEALLITEMS, 0, 0);
  int count = GetHistoryCount();
  for (int i = 0; i < count; ++i) {
    for (int c = 0; c < static_cast<int>(sizeof kColumns / sizeof kColumns[0]); ++c) {
      std::string text = GetHistoryField(i, kColumns[c].field);
      LVITEMA item = {};
      item.mask = LVIF_TEXT;
      item.iItem = i;
      item.iSubItem = c;
      item.pszText = const_cast<char*>(kColumns[c].field == HISTORY_RESULT ? ResultText(text) : text.c_str());
      SendMessageA(list, c == 0 ? LVM_INSERTITEMA : LVM_SETITEMTEXTA, c == 0 ? 0 : i, reinterpret_cast<LPARAM>(&item));
    }
  }
  if (select >= count) select = count - 1;
  if (select >= 0) {
    LVITEMA state = {};
    state.stateMask = state.state = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageA(list, LVM_SETITEMSTATE, select, reinterpret_cast<LPARAM>(&state));
  }
  EnableItemButtons(dialog);
}

void InitWindow(HWND dialog) {
  DialogLayout layout(dialog);
  layout.SizeClient(kWidth, kHeight, DialogPlace::kOwnerCentre);
  SetWindowTextA(dialog, GetConfigurationText(KLANG_CFG_HISTORY_TITLE));
  int listHeight = kHeight - 3 * kMargin - kButtonHeight;
  HWND list = layout.Add(WC_LISTVIEWA, "", WS_TABSTOP | WS_BORDER | LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS,
                         IDC_HISTORY_LIST, kMargin, kMargin, kWidth - 2 * kMargin, listHeight);
  SendMessageA(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT);
  int used = 0;
  for (int c = 0; c < static_cast<int>(sizeof kColumns / sizeof kColumns[0]); ++c) {
    LVCOLUMNA column = {};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = const_cast<char*>(GetConfigurationText(kColumns[c].title));
    int width = kColumns[c].width ? kColumns[c].width : kWidth - 2 * kMargin - used - 24;
    used += width;
    column.cx = layout.Scale(width);
    SendMessageA(list, LVM_INSERTCOLUMNA, c, reinterpret_cast<LPARAM>(&column));
  }
  const struct {
    int id, text;
  } buttons[] = {{IDC_HISTORY_EXTRACT, KLANG_CFG_HISTORY_EXTRACT_AGAIN},
                 {IDC_HISTORY_OPEN_FOLDER, KLANG_CFG_HISTORY_OPEN_FOLDER},
                 {IDC_HISTORY_DELETE, KLANG_CFG_HISTORY_DELETE},
                 {IDC_HISTORY_CLEAR, KLANG_CFG_HISTORY_CLEAR},
                 {IDC_HISTORY_CLOSE, KLANG_CFG_HISTORY_CLOSE}};
  int y = kHeight - kMargin - kButtonHeight, x = kMargin;
  for (const auto& button : buttons) {
    if (button.id == IDC_HISTORY_CLOSE) x = kWidth - kMargin - kButtonWidth;
    layout.Add("BUTTON", GetConfigurationText(button.text), WS_TABSTOP | BS_PUSHBUTTON, button.id, x, y,
               kButtonWidth, kButtonHeight);
    x += kButtonWidth + 8;
  }
  Fill(dialog, 0);
  SetFocus(list);
}

std::string g_again;  // the archive to extract again once the window is gone

// Extracting again asks for the folder as every extraction does, proposing the one it went to.
void ExtractAgain(HWND dialog, int index) {
  g_again = GetHistoryField(index, HISTORY_ARCHIVE);
  SetLastExtractFolder(GetHistoryField(index, HISTORY_DESTINATION).c_str());
  EndDialog(dialog, IDC_HISTORY_EXTRACT);
}

void OpenFolder(HWND dialog, int index) {
  std::string folder = GetHistoryField(index, HISTORY_DESTINATION);
  ShellExecuteA(dialog, "open", folder.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

INT_PTR CALLBACK HistoryProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      InitWindow(dialog);
      return FALSE;
    case WM_NOTIFY: {
      const NMHDR* header = reinterpret_cast<const NMHDR*>(lParam);
      if (header->idFrom == IDC_HISTORY_LIST && header->code == LVN_ITEMCHANGED) EnableItemButtons(dialog);
      if (header->idFrom == IDC_HISTORY_LIST && header->code == NM_DBLCLK && SelectedItem(dialog) >= 0)
        ExtractAgain(dialog, SelectedItem(dialog));
      return FALSE;
    }
    case WM_COMMAND: {
      int index = SelectedItem(dialog);
      switch (LOWORD(wParam)) {
        case IDC_HISTORY_EXTRACT:
          if (index >= 0) ExtractAgain(dialog, index);
          return TRUE;
        case IDC_HISTORY_OPEN_FOLDER:
          if (index >= 0) OpenFolder(dialog, index);
          return TRUE;
        case IDC_HISTORY_DELETE:
          if (index >= 0 && DeleteHistoryEntry(index) == 0) Fill(dialog, index);
          return TRUE;
        case IDC_HISTORY_CLEAR:
          if (ClearHistoryEntries() == 0) Fill(dialog, 0);
          return TRUE;
        case IDC_HISTORY_CLOSE:
        case IDCANCEL:
        case IDOK:
          EndDialog(dialog, IDC_HISTORY_CLOSE);
          return TRUE;
      }
      return FALSE;
    }
    case WM_CLOSE:
      EndDialog(dialog, IDC_HISTORY_CLOSE);
      return TRUE;
  }
  return FALSE;
}

}  // namespace

void ShowHistoryWindow(HWND owner, void (*extract)(const char* archive)) {
  g_again.clear();
  INT_PTR result = RunTemplateDialog(ModalDialogFrame(nullptr, 400, 220), owner, HistoryProc, 0);
  if (result == -1) Log(1, GetVerbose(), "ShowHistoryWindow: the window could not be made %lu", GetLastError());
  if (result == IDC_HISTORY_EXTRACT && extract && !g_again.empty()) extract(g_again.c_str());
}
