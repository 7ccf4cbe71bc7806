#include "services/base.h"
#include "app/main_state.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/dpi.h"
#include "ui/entry_list.h"

#include <commctrl.h>

#include <initializer_list>

namespace {

constexpr int kStatusParts = 6;
constexpr int kSplitterWidth = 5;

HWND MakeEntryList(HWND parent, int id) {
  HWND list = CreateWindowExA(WS_EX_CLIENTEDGE, WC_LISTVIEWA, "",
                              WS_CHILD | WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS | LVS_EDITLABELS |
                                  LVS_SHAREIMAGELISTS,
                              0, 0, 0, 0, parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                              GetAppInstance(), nullptr);
  SendMessageA(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0,
               LVS_EX_FULLROWSELECT | LVS_EX_HEADERDRAGDROP | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
  AttachEntryRows(list);
  InitEntryListColumns(list);
  return list;
}

void LayoutStatusParts(int width) {
  // count, sizes, then the operation text; the last parts are narrow indicators.
  int edges[kStatusParts];
  int fixed[kStatusParts] = {ScaleMain(110), ScaleMain(150), ScaleMain(300), ScaleMain(90), ScaleMain(90), -1};
  int x = 0;
  for (int i = 0; i < kStatusParts - 1; ++i) {
    x += fixed[i];
    edges[i] = x < width ? x : width;
  }
  edges[kStatusParts - 1] = -1;
  SendMessageA(Main().status, SB_SETPARTS, kStatusParts, reinterpret_cast<LPARAM>(edges));
}

void ApplyFont(HWND hwnd) { SendMessageA(hwnd, WM_SETFONT, reinterpret_cast<WPARAM>(Main().font), TRUE); }

}  // namespace

void SetStatusTips(HWND status) {
  for (int part = 0; part < kStatusParts; ++part)
    SendMessageA(status, SB_SETTIPTEXTA, part, reinterpret_cast<LPARAM>(GetStatusWindowToolTipText(part)));
}

HWND CurrentView() {
  MainWindowState& m = Main();
  return m.presentation == PRESENT_FOLDER_TREE ? m.treeList : m.list;
}

void CreateMainControls(HWND hwnd) {
  MainWindowState& m = Main();
  m.hwnd = hwnd;
  NONCLIENTMETRICSA metrics = {};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  m.font = CreateFontIndirectA(&metrics.lfMessageFont);

  m.toolbar = CreateMainToolbar(hwnd);
  m.address = CreateWindowExA(0, WC_COMBOBOXEXA, "", WS_CHILD | WS_VISIBLE | WS_TABSTOP | CBS_DROPDOWN,
                              0, 0, 0, ScaleMain(200), hwnd, nullptr, GetAppInstance(), nullptr);
  m.list = MakeEntryList(hwnd, IDC_MAIN_LIST);
  m.treeList = MakeEntryList(hwnd, IDC_MAIN_TREE_LIST);
  m.tree = CreateWindowExA(WS_EX_CLIENTEDGE, WC_TREEVIEWA, "",
                           WS_CHILD | WS_TABSTOP | TVS_HASBUTTONS | TVS_HASLINES | TVS_LINESATROOT |
                               TVS_SHOWSELALWAYS | TVS_DISABLEDRAGDROP | TVS_EDITLABELS,
                           0, 0, 0, 0, hwnd, reinterpret_cast<HMENU>(IDC_MAIN_TREE), GetAppInstance(), nullptr);
  m.status = CreateWindowExA(0, STATUSCLASSNAMEA, "", WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP | SBARS_TOOLTIPS,
                             0, 0, 0, 0, hwnd, reinterpret_cast<HMENU>(IDC_MAIN_STATUS), GetAppInstance(), nullptr);
  for (HWND c : {m.address, m.list, m.treeList, m.tree, m.status}) ApplyFont(c);
  SetStatusTips(m.status);
  SetStatusBarHandle(m.status);
  m.splitX = ScaleMain(220);
  m.sortColumn[0] = m.sortColumn[1] = -1;

  ArchiveControlBlock* block = GetCurrentControlBlock();
  block->list = m.list;
  block->tree = m.tree;
  block->treeList = m.treeList;
  InitFolderTreeViews();
  SetPresentation(m.presentation);
  RefreshToolbarState();
}

void SetPresentation(int presentation) {
  MainWindowState& m = Main();
  m.presentation = presentation;
  bool tree = presentation == PRESENT_FOLDER_TREE;
  ShowWindow(m.list, tree ? SW_HIDE : SW_SHOW);
  ShowWindow(m.tree, tree ? SW_SHOW : SW_HIDE);
  ShowWindow(m.treeList, tree ? SW_SHOW : SW_HIDE);
  if (ArchiveControlBlock* block = GetCurrentControlBlock()) block->viewComponent = CurrentView();
  LayoutMainControls();
  if (m.toolbar) RefreshToolbarState();
  ShowFolderPresentation();
}

void CheckPresentationItems(HMENU menu) {
  bool tree = Main().presentation == PRESENT_FOLDER_TREE;
  CheckMenuRadioItem(menu, IDM_FULL_LIST, IDM_FOLDER_TREE, tree ? IDM_FOLDER_TREE : IDM_FULL_LIST, MF_BYCOMMAND);
}

void LayoutMainControls() {
  MainWindowState& m = Main();
  if (!m.hwnd) return;
  RECT client;
  GetClientRect(m.hwnd, &client);
  int width = client.right, height = client.bottom;

  int top = 0;
  if (m.toolbar) {
    SendMessageA(m.toolbar, TB_AUTOSIZE, 0, 0);
    RECT r;
    GetWindowRect(m.toolbar, &r);
    top += r.bottom - r.top;
  }
  RECT comboRect;
  MoveWindow(m.address, ScaleMain(2), top + ScaleMain(2), width - ScaleMain(4), ScaleMain(200), TRUE);
  GetWindowRect(m.address, &comboRect);
  top += (comboRect.bottom - comboRect.top) + ScaleMain(4);

  // A maximised window has no edge to drag: the grip goes, as Windows' own windows drop it,
  // and the bar is painted again at its new width (else the old grip stays where it was).
  LONG_PTR style = GetWindowLongPtrA(m.status, GWL_STYLE);
  LONG_PTR wanted = IsZoomed(m.hwnd) ? (style & ~SBARS_SIZEGRIP) : (style | SBARS_SIZEGRIP);
  if (wanted != style) SetWindowLongPtrA(m.status, GWL_STYLE, wanted);
  SendMessageA(m.status, WM_SIZE, 0, 0);
  InvalidateRect(m.status, nullptr, TRUE);
  RECT statusRect;
  GetWindowRect(m.status, &statusRect);
  int bottom = height - (statusRect.bottom - statusRect.top);
  LayoutStatusParts(width);

  int paneHeight = bottom > top ? bottom - top : 0;
  if (m.presentation == PRESENT_FOLDER_TREE) {
    int split = m.splitX < width - ScaleMain(60) ? m.splitX : width / 3;
    MoveWindow(m.tree, 0, top, split, paneHeight, TRUE);
    MoveWindow(m.treeList, split + kSplitterWidth, top, width - split - kSplitterWidth, paneHeight, TRUE);
  } else {
    MoveWindow(m.list, 0, top, width, paneHeight, TRUE);
  }
}

int ScaleMain(int pixels) { return ScaleForDpi(pixels, static_cast<int>(Main().dpi)); }
