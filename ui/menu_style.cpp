#include "services/base.h"
#include "ui/menu_style.h"

#include "kestrelia_lang.h"
#include "services/dpi.h"
#include "settings/values.h"

#include <algorithm>
#include <cwctype>
#include <deque>
#include <string>

namespace {

// Each owner-drawn item's data points at its text here ("caption\tkey").
std::deque<std::wstring> g_texts;
constexpr ULONG_PTR kMarker = 0x4B53;  // at the front of every text's block, so foreign items are left alone

struct StyledText {
  ULONG_PTR marker;
  const std::wstring* text;
};
std::deque<StyledText> g_items;

void StylePopup(HMENU menu) {
  int count = GetMenuItemCount(menu);
  for (int i = 0; i < count; ++i) {
    // Wide, as the system keeps it: drawn with the W functions, every script comes out right.
    wchar_t caption[kPathBuf] = L"";
    MENUITEMINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_FTYPE | MIIM_SUBMENU | MIIM_STRING;
    info.dwTypeData = caption;
    info.cch = kPathBuf;
    if (!GetMenuItemInfoW(menu, i, TRUE, &info)) continue;
    if (info.hSubMenu) StylePopup(info.hSubMenu);
    if (info.fType & (MFT_SEPARATOR | MFT_OWNERDRAW)) continue;
    g_texts.emplace_back(caption);
    g_items.push_back(StyledText{kMarker, &g_texts.back()});
    MENUITEMINFOA drawn = {};
    drawn.cbSize = sizeof drawn;
    drawn.fMask = MIIM_FTYPE | MIIM_DATA;
    drawn.fType = info.fType | MFT_OWNERDRAW;
    drawn.dwItemData = reinterpret_cast<ULONG_PTR>(&g_items.back());
    SetMenuItemInfoA(menu, i, TRUE, &drawn);
  }
}

const StyledText* Styled(ULONG_PTR data) {
  const StyledText* item = reinterpret_cast<const StyledText*>(data);
  return item && item->marker == kMarker ? item : nullptr;
}

HFONT MenuFont() {
  static HFONT font = [] {
    NONCLIENTMETRICSA metrics = {};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    return CreateFontIndirectA(&metrics.lfMenuFont);
  }();
  return font;
}

// An unset colour (all bits set) draws as the system's.
COLORREF ColorOr(DWORD color, int system) { return color == kUnsetDword ? GetSysColor(system) : color; }

void FillBand(HDC dc, RECT band) {
  COLORREF high = ColorOr(GetColorMenuHigh(), COLOR_WINDOW), low = ColorOr(GetColorMenuLow(), COLOR_BTNFACE);
  if (GradientFillProc gradient = GetGradientFill()) {
    TRIVERTEX corners[2] = {
        {band.left, band.top, static_cast<COLOR16>(GetRValue(high) << 8), static_cast<COLOR16>(GetGValue(high) << 8),
         static_cast<COLOR16>(GetBValue(high) << 8), 0},
        {band.right, band.bottom, static_cast<COLOR16>(GetRValue(low) << 8), static_cast<COLOR16>(GetGValue(low) << 8),
         static_cast<COLOR16>(GetBValue(low) << 8), 0}};
    GRADIENT_RECT rect = {0, 1};
    if (gradient(dc, corners, 2, &rect, 1, GRADIENT_FILL_RECT_H)) return;
  }
  HBRUSH brush = CreateSolidBrush(high);
  FillRect(dc, &band, brush);
  DeleteObject(brush);
}

int BandWidth(HWND window) { return ScaleForDpi(24, WindowDpi(window)); }

}  // namespace

std::string MenuKeyCaption(int modifiers, int key) {
  std::string caption;
  if (modifiers & FCONTROL) caption += std::string(GetGenericText(KLANG_GEN_KEY_CTRL)) + "+";
  if (modifiers & FSHIFT) caption += std::string(GetGenericText(KLANG_GEN_KEY_SHIFT)) + "+";
  if (modifiers & FALT) caption += std::string(GetGenericText(KLANG_GEN_KEY_ALT)) + "+";
  if (key >= VK_F1 && key <= VK_F24)
    caption += "F" + std::to_string(key - VK_F1 + 1);
  else if (key == VK_RETURN)
    caption += GetGenericText(KLANG_GEN_KEY_ENTER);
  else if (key == VK_DELETE)
    caption += GetGenericText(KLANG_GEN_KEY_DEL);
  else if (key == VK_UP)
    caption += GetGenericText(KLANG_GEN_KEY_UP);
  else if (key == VK_ESCAPE)
    caption += GetGenericText(KLANG_GEN_KEY_ESC);
  else
    caption += static_cast<char>(key);
  return caption;
}

void StyleMenus(HMENU bar, bool modern) {
  // The menus styled before are gone by now: every build replaces the whole bar.
  g_items.clear();
  g_texts.clear();
  if (!modern || !bar) return;
  int count = GetMenuItemCount(bar);
  for (int i = 0; i < count; ++i)
    if (HMENU popup = GetSubMenu(bar, i)) StylePopup(popup);
}

bool MeasureStyledMenuItem(HWND window, MEASUREITEMSTRUCT* item) {
  const StyledText* styled = item->CtlType == ODT_MENU ? Styled(item->itemData) : nullptr;
  if (!styled) return false;
  HDC dc = GetDC(window);
  HGDIOBJ old = SelectObject(dc, MenuFont());
  RECT extent = {0, 0, 0, 0};
  std::wstring shown = *styled->text;
  size_t tab = shown.find(L'\t');
  if (tab != std::wstring::npos) shown.replace(tab, 1, L"    ");
  DrawTextW(dc, shown.c_str(), -1, &extent, DT_CALCRECT | DT_SINGLELINE);
  SelectObject(dc, old);
  ReleaseDC(window, dc);
  int padding = ScaleForDpi(8, WindowDpi(window));
  item->itemWidth = static_cast<UINT>(extent.right + BandWidth(window) + 3 * padding);
  item->itemHeight = static_cast<UINT>(std::max<LONG>(extent.bottom + padding, GetSystemMetrics(SM_CYMENU)));
  return true;
}

bool DrawStyledMenuItem(const DRAWITEMSTRUCT* item) {
  const StyledText* styled = item->CtlType == ODT_MENU ? Styled(item->itemData) : nullptr;
  if (!styled) return false;
  HDC dc = item->hDC;
  RECT whole = item->rcItem, band = whole;
  int bandWidth = BandWidth(WindowFromDC(dc));
  band.right = band.left + bandWidth;
  bool selected = (item->itemState & ODS_SELECTED) != 0, grayed = (item->itemState & (ODS_GRAYED | ODS_DISABLED)) != 0;
  FillBand(dc, band);
  RECT rest = whole;
  rest.left = band.right;
  DWORD selection = GetColorMenuSelection();
  HBRUSH brush = selected ? (selection == kUnsetDword ? GetSysColorBrush(COLOR_HIGHLIGHT) : CreateSolidBrush(selection))
                          : GetSysColorBrush(COLOR_MENU);
  FillRect(dc, &rest, brush);
  if (selected && selection != kUnsetDword) DeleteObject(brush);
  if (item->itemState & ODS_CHECKED) {
    RECT mark = band;
    InflateRect(&mark, -4, -4);
    DrawFrameControl(dc, &mark, DFC_MENU, DFCS_MENUCHECK);
  }
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, GetSysColor(grayed ? COLOR_GRAYTEXT : selected ? COLOR_HIGHLIGHTTEXT : COLOR_MENUTEXT));
  HGDIOBJ old = SelectObject(dc, MenuFont());
  const std::wstring& text = *styled->text;
  size_t tab = text.find(L'\t');
  RECT place = rest;
  place.left += ScaleForDpi(6, 96);
  place.right -= ScaleForDpi(8, 96);
  UINT flags = DT_SINGLELINE | DT_VCENTER | ((item->itemState & ODS_NOACCEL) ? DT_HIDEPREFIX : 0);
  DrawTextW(dc, text.substr(0, tab).c_str(), -1, &place, flags | DT_LEFT);
  if (tab != std::wstring::npos) DrawTextW(dc, text.c_str() + tab + 1, -1, &place, flags | DT_RIGHT | DT_NOPREFIX);
  SelectObject(dc, old);
  return true;
}

LRESULT StyledMenuChar(HMENU menu, char letter) {
  int count = GetMenuItemCount(menu);
  for (int i = 0; i < count; ++i) {
    MENUITEMINFOA info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_DATA | MIIM_FTYPE;
    if (!GetMenuItemInfoA(menu, i, TRUE, &info) || !(info.fType & MFT_OWNERDRAW)) continue;
    const StyledText* styled = Styled(info.dwItemData);
    if (!styled) continue;
    size_t amp = styled->text->find(L'&');
    if (amp != std::wstring::npos && amp + 1 < styled->text->size() &&
        towlower((*styled->text)[amp + 1]) == towlower(static_cast<unsigned char>(letter)))
      return MAKELRESULT(i, MNC_EXECUTE);
  }
  return 0;
}
