#include "services/base.h"
#include "ui/configuration_dialog.h"

#include "kestrelia_lang.h"
#include "res/resource.h"
#include "services/dialog_template.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/system_libraries.h"
#include "settings/associations.h"
#include "settings/options.h"
#include "settings/save.h"
#include "settings/values.h"

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

enum Page { kGeneral, kView, kExtraction, kDragAndDrop, kViewers, kHistory, kUpdates, kPageCount };
const int kPageTitles[kPageCount] = {KLANG_CFG_TAB_GENERAL,       KLANG_CFG_TAB_VIEW,    KLANG_CFG_TAB_EXTRACTION,
                                     KLANG_CFG_TAB_DRAG_AND_DROP, KLANG_CFG_TAB_VIEWERS, KLANG_CFG_TAB_HISTORY,
                                     KLANG_CFG_TAB_UPDATES};

// One check box per option bit, on its page in this order; its identifier is
// IDC_CFG_OPTION_FIRST plus its place here.
struct OptionBox {
  Page page;
  int text;
  int (*get)();
  void (*set)(int);
};
const OptionBox kOptions[] = {
    {kGeneral, KLANG_CFG_CREATE_SELF_EXECUTABLE, IsCreateSelfExecutable, SetCreateSelfExecutable},
    {kGeneral, KLANG_CFG_PASSWORD_ENCRYPTED, IsPasswordEncrypted, SetPasswordEncrypted},
    {kGeneral, KLANG_CFG_ENABLE_SAVE_BUTTON, IsEnableSaveButton, SetEnableSaveButton},
    {kView, KLANG_CFG_USE_MODERN_MENU_STYLE, IsUseModernMenuStyle, SetUseModernMenuStyle},
    {kView, KLANG_CFG_REMEMBER_SORTED_COLUMN, IsRememberSortedColumn, SetRememberSortedColumn},
    {kExtraction, KLANG_CFG_PLAIN_DIRECTORY, IsPlainDirectory, SetPlainDirectory},
    {kDragAndDrop, KLANG_CFG_FILE_FILTER, IsFileFilter, SetFileFilter},
    {kDragAndDrop, KLANG_CFG_ADD_DIRECTORIES_COMBO, IsAddDirectoriesCombo, SetAddDirectoriesCombo},
    {kDragAndDrop, KLANG_CFG_HIDE_DIALOG_FILES_DIRS, IsHideDialogFilesDirs, SetHideDialogFilesDirs},
    {kViewers, KLANG_CFG_OPEN_PREFERRED_INTERNALLY, IsOpenPreferredInternally, SetOpenPreferredInternally},
    {kViewers, KLANG_CFG_PREVIEW_PICTURE_FILES, IsPreviewPictureFiles, SetPreviewPictureFiles},
    {kViewers, KLANG_CFG_SHOW_PICTURES_CENTERED, IsShowPicturesCentered, SetShowPicturesCentered},
    {kViewers, KLANG_CFG_SHOW_PICTURES_WITH_SCROLL_BARS, IsShowPicturesWithScrollBars, SetShowPicturesWithScrollBars},
    {kViewers, KLANG_CFG_SAVE_RICH_EDIT_SETTINGS, IsSaveRichEditSettings, SetSaveRichEditSettings},
    {kViewers, KLANG_CFG_USE_JAD_FOR_CLASS_FILES, IsUseJadForClassFiles, SetUseJadForClassFiles},
    {kHistory, KLANG_CFG_CHECK_HISTORY_ENABLE, IsHistoryActivated, SetHistoryStatus},
    {kHistory, KLANG_CFG_CHECK_HISTORY_PASSWORD, IsHistoryPassword, SetHistoryPassword},
    {kUpdates, KLANG_CFG_CHECK_SEARCH_AND_DISPLAY_UPDATES, IsSearchAndDisplayUpdatesDisabled,
     SetSearchAndDisplayUpdatesDisabled},
    // Last, so the boxes before it keep their identifiers; it still shows on its own page.
    {kExtraction, KLANG_CFG_MARK_EXTRACTED_FILES, IsMarkExtractedFiles, SetMarkExtractedFiles},
};
constexpr int kOptionCount = sizeof kOptions / sizeof kOptions[0];

// The archive types the program may open for this user, one check box per family.
struct TypeGroup {
  int text;
  const char* extensions[4];
};
const TypeGroup kTypeGroups[] = {
    {KLANG_CFG_ASSOCIATE_ZIP, {".zip", ".jar", ".war", nullptr}},
    {KLANG_CFG_ASSOCIATE_TAR, {".tar", ".tgz", ".gz", ".bz2"}},
    {KLANG_CFG_ASSOCIATE_ISO, {".iso", ".nrg", nullptr, nullptr}},
    {KLANG_CFG_ASSOCIATE_RAR, {".rar", nullptr, nullptr, nullptr}},
};
constexpr int kTypeGroupCount = sizeof kTypeGroups / sizeof kTypeGroups[0];

const int kLanguages[KLANG_LANGUAGE_COUNT] = KLANG_LANGUAGE_LIST;

constexpr int kMinPicDefault = 100, kMinPicLowest = 8, kMinPicHighest = 4096;

// The client area and the pages' frame, in pixels at 96 dots per inch.
constexpr int kWidth = 600, kHeight = 410;
constexpr int kLeft = 24, kTop = 44, kPageWidth = kWidth - 2 * kLeft, kRow = 26;
constexpr int kLabelWidth = 210, kFieldLeft = kLeft + kLabelWidth + 8;

struct DialogState {
  const ConfigurationActions* actions;
  ConfigurationChanges* changes;
  std::vector<std::pair<HWND, Page>> controls;
  bool associated[kTypeGroupCount];
};

DialogState* State(HWND dialog) { return reinterpret_cast<DialogState*>(GetWindowLongPtrA(dialog, DWLP_USER)); }

HWND AddOn(DialogState* state, const DialogLayout& layout, Page page, const char* cls, const char* text, DWORD style,
           int id, int x, int y, int cx, int cy, DWORD exStyle = 0) {
  HWND control = layout.Add(cls, text, style, id, x, y, cx, cy, exStyle);
  state->controls.emplace_back(control, page);
  return control;
}

void AddLabel(DialogState* state, const DialogLayout& layout, Page page, int text, int y) {
  AddOn(state, layout, page, "STATIC", GetConfigurationText(text), SS_LEFT, -1, kLeft, y + 3, kLabelWidth, 20);
}

HWND AddCombo(DialogState* state, const DialogLayout& layout, Page page, int id, int y) {
  return AddOn(state, layout, page, "COMBOBOX", "", WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST, id, kFieldLeft, y,
               180, 220);
}

void AddCheck(DialogState* state, const DialogLayout& layout, Page page, const char* text, int id, int y, bool on,
              int x = kLeft, int cx = kPageWidth) {
  AddOn(state, layout, page, "BUTTON", text, WS_TABSTOP | BS_AUTOCHECKBOX, id, x, y, cx, 20);
  CheckDlgButton(layout.dialog(), id, on ? BST_CHECKED : BST_UNCHECKED);
}

// A colour with its text field and the chooser's button.
void AddColor(DialogState* state, const DialogLayout& layout, int text, int id, int y, DWORD color) {
  AddLabel(state, layout, kView, text, y);
  char hex[8];
  FormatMenuColor(color, hex, sizeof hex);
  AddOn(state, layout, kView, "EDIT", hex, WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL | ES_UPPERCASE, id, kFieldLeft, y,
        80, 22);
  AddOn(state, layout, kView, "BUTTON", GetConfigurationText(KLANG_CFG_CHOOSE_COLOR), WS_TABSTOP | BS_PUSHBUTTON,
        id + 1, kFieldLeft + 90, y - 1, 110, 24);
}

void AddGeneral(DialogState* state, const DialogLayout& layout, int* y) {
  HWND dialog = layout.dialog();
  AddLabel(state, layout, kGeneral, KLANG_CFG_LANGUAGE, *y);
  HWND language = AddCombo(state, layout, kGeneral, IDC_CFG_LANGUAGE, *y);
  for (int i = 0; i < KLANG_LANGUAGE_COUNT; ++i) {
    SendMessageA(language, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(GetLanguageString(i)));
    if ((GetGCountry() & 0xFF) == kLanguages[i]) SendMessageA(language, CB_SETCURSEL, i, 0);
  }
  *y += kRow + 4;
  AddLabel(state, layout, kGeneral, KLANG_CFG_DEFAULT_COMPRESSION, *y);
  HWND level = AddCombo(state, layout, kGeneral, IDC_CFG_LEVEL, *y);
  for (int i = 0; i <= 9; ++i) {
    char text[4];
    snprintf(text, sizeof text, "%d", i);
    SendMessageA(level, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
  }
  int current = GetDefaultCompression();
  SendMessageA(level, CB_SETCURSEL, current > 9 ? 9 : current, 0);
  *y += kRow + 4;
  AddLabel(state, layout, kGeneral, KLANG_CFG_PREFERRED_FORMAT, *y);
  AddOn(state, layout, kGeneral, "BUTTON", GetConfigurationText(KLANG_CFG_PREFERRED_ZIP),
        WS_TABSTOP | WS_GROUP | BS_AUTORADIOBUTTON, IDC_CFG_PREFERRED_ZIP, kFieldLeft, *y + 2, 80, 20);
  AddOn(state, layout, kGeneral, "BUTTON", GetConfigurationText(KLANG_CFG_PREFERRED_TAR), BS_AUTORADIOBUTTON,
        IDC_CFG_PREFERRED_TAR, kFieldLeft + 90, *y + 2, 80, 20);
  CheckRadioButton(dialog, IDC_CFG_PREFERRED_TAR, IDC_CFG_PREFERRED_ZIP,
                   IsPreferredTar() ? IDC_CFG_PREFERRED_TAR : IDC_CFG_PREFERRED_ZIP);
  *y += kRow + 4;
}

void AddGeneralTypes(DialogState* state, const DialogLayout& layout, int y) {
  AddOn(state, layout, kGeneral, "STATIC", GetConfigurationText(KLANG_CFG_ASSOCIATE), SS_LEFT, -1, kLeft, y + 6,
        kPageWidth, 20);
  y += kRow + 4;
  for (int i = 0; i < kTypeGroupCount; ++i) {
    bool all = true;
    for (const char* extension : kTypeGroups[i].extensions)
      if (extension && !IsUserAssociated(extension)) all = false;
    state->associated[i] = all;
    AddCheck(state, layout, kGeneral, GetConfigurationText(kTypeGroups[i].text), IDC_CFG_ASSOCIATE_FIRST + i,
             y + (i / 2) * kRow, all, kLeft + (i % 2) * (kPageWidth / 2), kPageWidth / 2 - 8);
  }
}

void AddViewers(DialogState* state, const DialogLayout& layout, int y) {
  HWND dialog = layout.dialog();
  int size = GetMinPicSize();
  AddCheck(state, layout, kViewers, GetConfigurationText(KLANG_CFG_MIN_PIC_SIZE), IDC_CFG_MIN_PIC, y,
           size != kUnsetNumber, kLeft, 270);
  char text[16];
  snprintf(text, sizeof text, "%d", size == kUnsetNumber ? kMinPicDefault : size);
  HWND edit = AddOn(state, layout, kViewers, "EDIT", text, WS_TABSTOP | WS_BORDER | ES_NUMBER, IDC_CFG_MIN_PIC_SIZE,
                    kLeft + 280, y, 70, 22);
  HWND updown = AddOn(state, layout, kViewers, UPDOWN_CLASSA, "",
                      UDS_SETBUDDYINT | UDS_ALIGNRIGHT | UDS_ARROWKEYS | UDS_NOTHOUSANDS, IDC_CFG_MIN_PIC_UPDOWN, 0, 0,
                      0, 0);
  SendMessageA(updown, UDM_SETBUDDY, reinterpret_cast<WPARAM>(edit), 0);
  SendMessageA(updown, UDM_SETRANGE32, kMinPicLowest, kMinPicHighest);
  SendMessageA(updown, UDM_SETPOS32, 0, size == kUnsetNumber ? kMinPicDefault : size);
  AddOn(state, layout, kViewers, "STATIC", GetConfigurationText(KLANG_CFG_PIXELS), SS_LEFT, -1, kLeft + 360, y + 3,
        80, 20);
  y += kRow + 8;
  AddOn(state, layout, kViewers, "STATIC", GetConfigurationText(KLANG_CFG_JAD_PATH), SS_LEFT, -1, kLeft, y,
        kPageWidth, 20);
  y += 22;
  AddOn(state, layout, kViewers, "EDIT", GetJadPath(), WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL, IDC_CFG_JAD_PATH,
        kLeft, y, kPageWidth - 120, 22);
  SendDlgItemMessageA(dialog, IDC_CFG_JAD_PATH, EM_LIMITTEXT, kPathBuf - 1, 0);
  AddOn(state, layout, kViewers, "BUTTON", GetConfigurationText(KLANG_CFG_BROWSE), WS_TABSTOP | BS_PUSHBUTTON,
        IDC_CFG_JAD_BROWSE, kLeft + kPageWidth - 110, y - 1, 110, 24);
}

void ShowPage(HWND dialog, int page) {
  for (const auto& control : State(dialog)->controls) ShowWindow(control.first, control.second == page ? SW_SHOW : SW_HIDE);
}

void InitDialog(HWND dialog, DialogState* state) {
  DialogLayout layout(dialog);
  layout.SizeClient(kWidth, kHeight, DialogPlace::kOwnerCentre);
  SetWindowTextA(dialog, GetConfigurationText(KLANG_CFG_TITLE));
  // The pages' labels and boxes take the tab's own background, as on a property sheet.
  constexpr DWORD kEnableTab = 6;  // ETDT_ENABLE | ETDT_USETABTEXTURE
  if (auto texture = Uxtheme::EnableThemeDialogTexture()) texture(dialog, kEnableTab);
  HWND tabs = layout.Add(WC_TABCONTROLA, "", WS_TABSTOP | WS_CLIPSIBLINGS, IDC_CFG_TABS, 10, 10, kWidth - 20,
                         kHeight - 60);
  for (int page = 0; page < kPageCount; ++page) {
    TCITEMA item = {};
    item.mask = TCIF_TEXT;
    item.pszText = const_cast<char*>(GetConfigurationText(kPageTitles[page]));
    SendMessageA(tabs, TCM_INSERTITEMA, page, reinterpret_cast<LPARAM>(&item));
  }
  // Each page fills from its top down; the pages' controls sit above the tab control.
  int y[kPageCount];
  for (int& top : y) top = kTop;
  AddGeneral(state, layout, &y[kGeneral]);
  AddColor(state, layout, KLANG_CFG_COLOR_MENU_HIGH, IDC_CFG_COLOR_HIGH, y[kView], GetColorMenuHigh());
  AddColor(state, layout, KLANG_CFG_COLOR_MENU_LOW, IDC_CFG_COLOR_LOW, y[kView] + kRow + 4, GetColorMenuLow());
  y[kView] += 2 * (kRow + 4);
  for (int i = 0; i < kOptionCount; ++i) {
    const OptionBox& box = kOptions[i];
    AddCheck(state, layout, box.page, GetConfigurationText(box.text), IDC_CFG_OPTION_FIRST + i, y[box.page],
             box.get() != 0);
    y[box.page] += kRow;
  }
  AddGeneralTypes(state, layout, y[kGeneral]);
  AddViewers(state, layout, y[kViewers] + 4);
  AddOn(state, layout, kHistory, "BUTTON", GetConfigurationText(KLANG_CFG_CLEAR_HISTORY), WS_TABSTOP | BS_PUSHBUTTON,
        IDC_CFG_CLEAR_HISTORY, kLeft, y[kHistory] + 8, 220, 25);
  AddOn(state, layout, kUpdates, "BUTTON", GetConfigurationText(KLANG_CFG_CHECK_NOW), WS_TABSTOP | BS_PUSHBUTTON,
        IDC_CFG_CHECK_NOW, kLeft, y[kUpdates] + 8, 160, 25);
  for (const auto& control : state->controls) SetWindowPos(control.first, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);

  HWND ok = layout.Add("BUTTON", GetConfigurationText(KLANG_CFG_OK), WS_TABSTOP | BS_DEFPUSHBUTTON, IDC_CFG_OK,
                       kWidth - 2 * 105 - 10, kHeight - 38, 95, 26);
  layout.Add("BUTTON", GetConfigurationText(KLANG_CFG_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_CFG_CANCEL,
             kWidth - 105, kHeight - 38, 95, 26);
  SendMessageA(dialog, DM_SETDEFID, IDC_CFG_OK, 0);
  ShowPage(dialog, kGeneral);
  SetFocus(ok);
}

bool Checked(HWND dialog, int id) { return IsDlgButtonChecked(dialog, id) == BST_CHECKED; }

// Nothing is set before every field proved readable: a bad colour keeps the dialog open.
bool Accept(HWND dialog, DialogState* state) {
  char text[kPathBuf];
  DWORD high = 0, low = 0;
  GetDlgItemTextA(dialog, IDC_CFG_COLOR_HIGH, text, sizeof text);
  bool colorsRead = ParseMenuColor(text, &high);
  GetDlgItemTextA(dialog, IDC_CFG_COLOR_LOW, text, sizeof text);
  colorsRead = ParseMenuColor(text, &low) && colorsRead;
  if (!colorsRead) {
    TabCtrl_SetCurSel(GetDlgItem(dialog, IDC_CFG_TABS), kView);
    ShowPage(dialog, kView);
    MessageBeep(MB_ICONWARNING);
    return false;
  }
  ConfigurationChanges* changes = state->changes;
  *changes = ConfigurationChanges{};
  changes->menuStyle = high != GetColorMenuHigh() || low != GetColorMenuLow();
  SetColorMenuHigh(high);
  SetColorMenuLow(low);
  for (int i = 0; i < kOptionCount; ++i) {
    const OptionBox& box = kOptions[i];
    bool on = Checked(dialog, IDC_CFG_OPTION_FIRST + i);
    if ((box.get() != 0) != on) {
      if (box.set == SetUseModernMenuStyle) changes->menuStyle = true;
      if (box.set == SetHistoryStatus) changes->history = true;
      if (box.set == SetHistoryPassword) changes->historyPassword = true;
    }
    box.set(on);
  }
  int level = static_cast<int>(SendDlgItemMessageA(dialog, IDC_CFG_LEVEL, CB_GETCURSEL, 0, 0));
  if (level >= 0) SetDefaultCompression(level);
  SetPreferredTar(Checked(dialog, IDC_CFG_PREFERRED_TAR));
  GetDlgItemTextA(dialog, IDC_CFG_JAD_PATH, text, sizeof text);
  SetJadPath(text);
  int chosen = static_cast<int>(SendDlgItemMessageA(dialog, IDC_CFG_LANGUAGE, CB_GETCURSEL, 0, 0));
  if (chosen >= 0 && (GetGCountry() & 0xFF) != kLanguages[chosen]) {
    SetLanguage(kLanguages[chosen]);
    changes->language = true;
  }
  BOOL read = FALSE;
  int size = static_cast<int>(GetDlgItemInt(dialog, IDC_CFG_MIN_PIC_SIZE, &read, FALSE));
  if (!read) size = kMinPicDefault;
  size = size < kMinPicLowest ? kMinPicLowest : size > kMinPicHighest ? kMinPicHighest : size;
  SaveConfiguration(changes->language, Checked(dialog, IDC_CFG_MIN_PIC), size);

  char program[kPathBuf];
  GetModuleFileNameA(nullptr, program, sizeof program);
  for (int i = 0; i < kTypeGroupCount; ++i) {
    bool want = Checked(dialog, IDC_CFG_ASSOCIATE_FIRST + i);
    if (want == state->associated[i]) continue;
    for (const char* extension : kTypeGroups[i].extensions)
      if (extension) want ? AssociateForUser(extension, program) : UnassociateForUser(extension);
  }
  return true;
}

void ChooseColorInto(HWND dialog, int editId) {
  char text[16];
  GetDlgItemTextA(dialog, editId, text, sizeof text);
  DWORD color = kUnsetDword;
  if (!ParseMenuColor(text, &color) || color == kUnsetDword) color = RGB(255, 255, 255);
  COLORREF chosen = color;
  if (!PromptColor(dialog, &chosen)) return;
  FormatMenuColor(chosen, text, sizeof text);
  SetDlgItemTextA(dialog, editId, text);
}

void BrowseJad(HWND dialog) {
  char path[kPathBuf];
  if (GetPrompts().openFile(dialog, "exe", GetConfigurationText(KLANG_CFG_JAD_PATH), path))
    SetDlgItemTextA(dialog, IDC_CFG_JAD_PATH, path);
}

INT_PTR CALLBACK ConfigurationProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrA(dialog, DWLP_USER, lParam);
      InitDialog(dialog, reinterpret_cast<DialogState*>(lParam));
      return FALSE;
    case WM_NOTIFY: {
      const NMHDR* header = reinterpret_cast<const NMHDR*>(lParam);
      if (header->idFrom == IDC_CFG_TABS && header->code == TCN_SELCHANGE)
        ShowPage(dialog, TabCtrl_GetCurSel(header->hwndFrom));
      return FALSE;
    }
    case WM_COMMAND: {
      DialogState* state = State(dialog);
      switch (LOWORD(wParam)) {
        case IDC_CFG_OK:
        case IDOK:
          if (Accept(dialog, state)) EndDialog(dialog, IDOK);
          return TRUE;
        case IDC_CFG_CANCEL:
        case IDCANCEL:
          EndDialog(dialog, IDCANCEL);
          return TRUE;
        case IDC_CFG_COLOR_HIGH_CHOOSE:
        case IDC_CFG_COLOR_LOW_CHOOSE:
          ChooseColorInto(dialog, LOWORD(wParam) - 1);
          return TRUE;
        case IDC_CFG_JAD_BROWSE:
          BrowseJad(dialog);
          return TRUE;
        case IDC_CFG_CHECK_NOW:
          if (state->actions->checkNow) state->actions->checkNow(dialog);
          return TRUE;
        case IDC_CFG_CLEAR_HISTORY:
          if (state->actions->clearHistory) state->actions->clearHistory(dialog);
          return TRUE;
      }
      return FALSE;
    }
    case WM_CLOSE:
      EndDialog(dialog, IDCANCEL);
      return TRUE;
  }
  return FALSE;
}

}  // namespace

void FormatMenuColor(DWORD color, char* out, size_t size) {
  if (color == kUnsetDword) {
    snprintf(out, size, "%s", "");
    return;
  }
  snprintf(out, size, "%02X%02X%02X", GetRValue(color), GetGValue(color), GetBValue(color));
}

bool ParseMenuColor(const char* text, DWORD* color) {
  if (!*text) {
    *color = kUnsetDword;
    return true;
  }
  if (strlen(text) != 6 || strspn(text, "0123456789abcdefABCDEF") != 6) return false;
  unsigned long rgb = strtoul(text, nullptr, 16);
  *color = RGB((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF);
  return true;
}

bool ShowConfigurationDialog(HWND owner, const ConfigurationActions& actions, ConfigurationChanges* changes) {
  DialogState state = {&actions, changes, {}, {}};
  *changes = ConfigurationChanges{};
  INT_PTR result = RunTemplateDialog(ModalDialogFrame(nullptr, 320, 260), owner, ConfigurationProc,
                                     reinterpret_cast<LPARAM>(&state));
  if (result == -1) Log(1, GetVerbose(), "ShowConfigurationDialog: the dialog could not be made %lu", GetLastError());
  Log(3, GetVerbose(), "ShowConfigurationDialog: %s", result == IDOK ? "confirmed" : "cancelled");
  return result == IDOK;
}
