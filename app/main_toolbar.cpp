#include "services/base.h"
#include "app/main_state.h"

#include "app/archive_builder.h"

#include "res/resource.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"

#include <commctrl.h>

namespace {

struct Button {
  int command;
  int bitmap;  // image index in the standard or view strip
  bool view;   // from the view strip
};

// The tool bar's buttons in order; the index is the button number the language library's
// tool-bar texts and tips take.
const Button kButtons[] = {
    {IDM_OPEN, STD_FILEOPEN, false},       {IDM_NEW_ARCHIVE, STD_FILENEW, false},
    {IDM_ADD_FILES, STD_COPY, false},      {IDM_ADD_FOLDER, VIEW_NEWFOLDER, true},
    {IDM_EXTRACT_ALL, STD_PASTE, false},
    {IDM_VIEW_ENTRY, STD_PRINTPRE, false}, {IDM_DELETE, STD_DELETE, false},
    {IDM_FIND, STD_FIND, false},           {IDM_PROPERTIES, STD_PROPERTIES, false},
    {IDM_FULL_LIST, VIEW_DETAILS, true},   {IDM_FOLDER_TREE, VIEW_PARENTFOLDER, true},
    {IDM_FIND_IN_CONTENTS, STD_REPLACE, false},
};
constexpr int kButtonCount = sizeof kButtons / sizeof kButtons[0];

}  // namespace

HWND CreateMainToolbar(HWND parent) {
  HWND bar = CreateWindowExA(0, TOOLBARCLASSNAMEA, "",
                             WS_CHILD | WS_VISIBLE | TBSTYLE_FLAT | TBSTYLE_TOOLTIPS | CCS_TOP,
                             0, 0, 0, 0, parent, reinterpret_cast<HMENU>(IDC_MAIN_TOOLBAR), GetAppInstance(), nullptr);
  SendMessageA(bar, TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON), 0);
  SendMessageA(bar, TB_SETEXTENDEDSTYLE, 0, TBSTYLE_EX_DRAWDDARROWS);
  LRESULT standard = SendMessageA(bar, TB_LOADIMAGES, IDB_STD_SMALL_COLOR, reinterpret_cast<LPARAM>(HINST_COMMCTRL));
  LRESULT view = SendMessageA(bar, TB_LOADIMAGES, IDB_VIEW_SMALL_COLOR, reinterpret_cast<LPARAM>(HINST_COMMCTRL));
  TBBUTTON buttons[kButtonCount + 3] = {};
  int n = 0;
  for (int i = 0; i < kButtonCount; ++i) {
    if (i == 5 || i == 9 || i == 11) buttons[n++] = TBBUTTON{0, 0, 0, BTNS_SEP, {0}, 0, 0};
    TBBUTTON& b = buttons[n++];
    b.iBitmap = static_cast<int>((kButtons[i].view ? view : standard) + kButtons[i].bitmap);
    b.idCommand = kButtons[i].command;
    b.fsState = TBSTATE_ENABLED;
    b.fsStyle = BTNS_BUTTON;
    b.iString = reinterpret_cast<INT_PTR>(GetToolBarToolTipText(i));
  }
  SendMessageA(bar, TB_ADDBUTTONSA, n, reinterpret_cast<LPARAM>(buttons));
  // The strings serve as tips only; the buttons show their pictures.
  SendMessageA(bar, TB_SETMAXTEXTROWS, 0, 0);
  SendMessageA(bar, TB_AUTOSIZE, 0, 0);
  return bar;
}

void RefreshToolbarTexts() {
  HWND bar = Main().toolbar;
  for (int i = 0; i < kButtonCount; ++i) {
    TBBUTTONINFOA info = {};
    info.cbSize = sizeof info;
    info.dwMask = TBIF_TEXT;
    info.pszText = const_cast<char*>(GetToolBarToolTipText(i));
    SendMessageA(bar, TB_SETBUTTONINFOA, kButtons[i].command, reinterpret_cast<LPARAM>(&info));
  }
}

bool ToolbarTip(NMTTDISPINFOA* info) {
  for (int i = 0; i < kButtonCount; ++i) {
    if (static_cast<int>(info->hdr.idFrom) != kButtons[i].command) continue;
    info->lpszText = const_cast<char*>(GetToolBarToolTipText(i));
    info->hinst = nullptr;
    return true;
  }
  return false;
}

void RefreshToolbarState() {
  MainWindowState& m = Main();
  for (const Button& b : kButtons)
    SendMessageA(m.toolbar, TB_ENABLEBUTTON, b.command, MAKELONG(CanRunCommand(b.command) ? TRUE : FALSE, 0));
  SendMessageA(m.toolbar, TB_CHECKBUTTON, IDM_FULL_LIST, m.presentation == PRESENT_FULL_LIST);
  SendMessageA(m.toolbar, TB_CHECKBUTTON, IDM_FOLDER_TREE, m.presentation == PRESENT_FOLDER_TREE);
}
