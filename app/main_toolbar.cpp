#include "services/base.h"
#include "app/main_state.h"

#include "app/archive_builder.h"

#include "res/resource.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"

#include <commctrl.h>

namespace {

enum Strip { STRIP_STANDARD, STRIP_VIEW, STRIP_OWN };

struct Button {
  int command;
  int bitmap;  // image index in its strip
  Strip strip;
  bool folderTip;  // its tip is one of the folder tool bar's texts
  int tip;         // the number of its tip
  bool gapBefore;
};

// The tool bar's buttons in order, each with its tip's number in the language library.
const Button kButtons[] = {
    {IDM_OPEN, STD_FILEOPEN, STRIP_STANDARD, false, 0, false},
    {IDM_NEW_ARCHIVE, STD_FILENEW, STRIP_STANDARD, false, 1, false},
    {IDM_ADD_FILES, STD_COPY, STRIP_STANDARD, false, 2, false},
    {IDM_ADD_FOLDER, VIEW_NEWFOLDER, STRIP_VIEW, false, 3, false},
    {IDM_EXTRACT_ALL, STD_PASTE, STRIP_STANDARD, false, 4, false},
    {IDM_VIEW_ENTRY, STD_PRINTPRE, STRIP_STANDARD, false, 5, true},
    {IDM_DELETE, STD_DELETE, STRIP_STANDARD, false, 6, false},
    {IDM_FIND, STD_FIND, STRIP_STANDARD, false, 7, false},
    {IDM_PROPERTIES, STD_PROPERTIES, STRIP_STANDARD, false, 8, false},
    {IDM_FULL_LIST, VIEW_DETAILS, STRIP_VIEW, false, 9, true},
    {IDM_FOLDER_TREE, 0, STRIP_OWN, false, 10, false},
    {IDM_PARENT_FOLDER, VIEW_PARENTFOLDER, STRIP_VIEW, true, 0, false},
    {IDM_FIND_IN_CONTENTS, STD_REPLACE, STRIP_STANDARD, false, 11, true},
};
constexpr int kButtonCount = sizeof kButtons / sizeof kButtons[0];

const char* TipOf(const Button& b) { return b.folderTip ? GetToolBarToolTipText2(b.tip) : GetToolBarToolTipText(b.tip); }

// The folder tree's own picture: a root with two branches, each ending in a folder, so it
// does not read as the green arrow of "up one level".
HBITMAP MakeTreePicture(int size) {
  HDC screen = GetDC(nullptr);
  HDC dc = CreateCompatibleDC(screen);
  HBITMAP picture = CreateCompatibleBitmap(screen, size, size);
  ReleaseDC(nullptr, screen);
  HGDIOBJ old = SelectObject(dc, picture);
  RECT all = {0, 0, size, size};
  FillRect(dc, &all, GetSysColorBrush(COLOR_BTNFACE));
  auto scale = [size](int v) { return v * size / 16; };
  HPEN line = CreatePen(PS_SOLID, 1, RGB(64, 64, 64));
  HGDIOBJ oldPen = SelectObject(dc, line);
  MoveToEx(dc, scale(3), scale(4), nullptr);
  LineTo(dc, scale(3), scale(12));
  MoveToEx(dc, scale(3), scale(7), nullptr);
  LineTo(dc, scale(8), scale(7));
  MoveToEx(dc, scale(3), scale(12), nullptr);
  LineTo(dc, scale(8), scale(12));
  HBRUSH root = CreateSolidBrush(RGB(40, 90, 170));
  HBRUSH folder = CreateSolidBrush(RGB(230, 190, 60));
  RECT top = {scale(1), scale(1), scale(6), scale(5)};
  FillRect(dc, &top, root);
  RECT first = {scale(8), scale(5), scale(15), scale(10)};
  RECT second = {scale(8), scale(10), scale(15), scale(15)};
  FillRect(dc, &first, folder);
  FillRect(dc, &second, folder);
  FrameRect(dc, &first, static_cast<HBRUSH>(GetStockObject(DKGRAY_BRUSH)));
  FrameRect(dc, &second, static_cast<HBRUSH>(GetStockObject(DKGRAY_BRUSH)));
  SelectObject(dc, oldPen);
  SelectObject(dc, old);
  DeleteObject(line);
  DeleteObject(root);
  DeleteObject(folder);
  DeleteDC(dc);
  return picture;
}

}  // namespace

HWND CreateMainToolbar(HWND parent) {
  HWND bar = CreateWindowExA(0, TOOLBARCLASSNAMEA, "",
                             WS_CHILD | WS_VISIBLE | TBSTYLE_FLAT | TBSTYLE_TOOLTIPS | CCS_TOP,
                             0, 0, 0, 0, parent, reinterpret_cast<HMENU>(IDC_MAIN_TOOLBAR), GetAppInstance(), nullptr);
  SendMessageA(bar, TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON), 0);
  SendMessageA(bar, TB_SETEXTENDEDSTYLE, 0, TBSTYLE_EX_DRAWDDARROWS);
  LRESULT standard = SendMessageA(bar, TB_LOADIMAGES, IDB_STD_SMALL_COLOR, reinterpret_cast<LPARAM>(HINST_COMMCTRL));
  LRESULT view = SendMessageA(bar, TB_LOADIMAGES, IDB_VIEW_SMALL_COLOR, reinterpret_cast<LPARAM>(HINST_COMMCTRL));
  TBADDBITMAP own = {nullptr, reinterpret_cast<UINT_PTR>(MakeTreePicture(16))};
  LRESULT tree = SendMessageA(bar, TB_ADDBITMAP, 1, reinterpret_cast<LPARAM>(&own));
  TBBUTTON buttons[kButtonCount * 2] = {};
  int n = 0;
  for (const Button& button : kButtons) {
    if (button.gapBefore) buttons[n++] = TBBUTTON{0, 0, 0, BTNS_SEP, {0}, 0, 0};
    TBBUTTON& b = buttons[n++];
    LRESULT first = button.strip == STRIP_OWN ? tree : (button.strip == STRIP_VIEW ? view : standard);
    b.iBitmap = static_cast<int>(first + button.bitmap);
    b.idCommand = button.command;
    b.fsState = TBSTATE_ENABLED;
    b.fsStyle = BTNS_BUTTON;
    b.iString = reinterpret_cast<INT_PTR>(TipOf(button));
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
    info.pszText = const_cast<char*>(TipOf(kButtons[i]));
    SendMessageA(bar, TB_SETBUTTONINFOA, kButtons[i].command, reinterpret_cast<LPARAM>(&info));
  }
}

bool ToolbarTip(NMTTDISPINFOA* info) {
  for (int i = 0; i < kButtonCount; ++i) {
    if (static_cast<int>(info->hdr.idFrom) != kButtons[i].command) continue;
    info->lpszText = const_cast<char*>(TipOf(kButtons[i]));
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
