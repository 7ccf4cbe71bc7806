#include "services/base.h"
#include "ui/text_viewer.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "res/resource.h"
#include "services/log.h"
#include "settings/options.h"
#include "settings/richedit_font.h"
#include "settings/save.h"
#include "settings/values.h"
#include "ui/menu_style.h"
#include "ui/text_decoding.h"

#include <commdlg.h>
#include <richedit.h>
#include <shlwapi.h>

#include <cstdio>
#include <cstring>

namespace {

const char kViewerClass[] = "KestreliaTextViewer";
constexpr ULONG kPieceSize = 64 * 1024;

struct TextViewer {
  HWND window;
  HWND edit;
  HFONT font;
  HACCEL keys;
  HWND findDialog;
  FINDREPLACEW find;
  wchar_t findText[256];
};

TextViewer* ViewerOf(HWND window) { return reinterpret_cast<TextViewer*>(GetWindowLongPtrA(window, GWLP_USERDATA)); }

// The control pulls the text: each call takes what was decoded, reading the next piece of
// the stream only when that is used up.
struct StreamFeed {
  IStream* stream;
  TextDecoder decoder;
  std::wstring ready;
  size_t at = 0;
  bool ended = false;
};

DWORD CALLBACK FeedControl(DWORD_PTR cookie, LPBYTE buffer, LONG size, LONG* written) {
  StreamFeed* feed = reinterpret_cast<StreamFeed*>(cookie);
  *written = 0;
  while (feed->at == feed->ready.size() && !feed->ended) {
    feed->ready.clear();
    feed->at = 0;
    char piece[kPieceSize];
    ULONG got = 0;
    HRESULT result = feed->stream->Read(piece, sizeof piece, &got);
    feed->ended = FAILED(result) || got == 0;
    feed->decoder.Feed(piece, feed->ended ? 0 : got, feed->ended, feed->ready);
  }
  size_t units = feed->ready.size() - feed->at;
  size_t fits = static_cast<size_t>(size) / sizeof(wchar_t);
  if (units > fits) units = fits;
  memcpy(buffer, feed->ready.data() + feed->at, units * sizeof(wchar_t));
  feed->at += units;
  *written = static_cast<LONG>(units * sizeof(wchar_t));
  return 0;
}

void StreamInto(HWND edit, IStream* stream) {
  StreamFeed feed;
  feed.stream = stream;
  EDITSTREAM es = {reinterpret_cast<DWORD_PTR>(&feed), 0, FeedControl};
  SendMessageW(edit, EM_STREAMIN, SF_TEXT | SF_UNICODE, reinterpret_cast<LPARAM>(&es));
  SendMessageW(edit, EM_SETSEL, 0, 0);
}

int ScreenDpiY() {
  HDC screen = GetDC(nullptr);
  int dpi = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  return dpi;
}

void ApplyFont(TextViewer* v, const RichEditFont& font) {
  CHARFORMATA format = {};
  CharFormatFromRichEditFont(font, ScreenDpiY(), &format);
  SendMessageA(v->edit, EM_SETCHARFORMAT, SCF_ALL, reinterpret_cast<LPARAM>(&format));
}

RichEditFont CurrentFont(TextViewer* v) {
  CHARFORMATA format = {};
  format.cbSize = sizeof format;
  SendMessageA(v->edit, EM_GETCHARFORMAT, SCF_DEFAULT, reinterpret_cast<LPARAM>(&format));
  RichEditFont font = {};
  RichEditFontFromCharFormat(format, ScreenDpiY(), &font);
  return font;
}

void ChooseViewerFont(TextViewer* v) {
  RichEditFont font = CurrentFont(v);
  CHOOSEFONTA choice = {};
  choice.lStructSize = sizeof choice;
  choice.hwndOwner = v->window;
  choice.lpLogFont = &font.font;
  choice.rgbColors = font.color;
  choice.Flags = CF_SCREENFONTS | CF_EFFECTS | CF_INITTOLOGFONTSTRUCT;
  if (!ChooseFontA(&choice)) return;
  font.color = choice.rgbColors;
  ApplyFont(v, font);
  CHARFORMATA format = {};
  CharFormatFromRichEditFont(font, ScreenDpiY(), &format);
  SendMessageA(v->edit, EM_SETCHARFORMAT, SCF_DEFAULT, reinterpret_cast<LPARAM>(&format));
}

// The next place of the text after the selection (or before it, searching up).
void FindNext(TextViewer* v, DWORD flags) {
  if (!v->findText[0]) return;
  CHARRANGE selection = {};
  SendMessageW(v->edit, EM_EXGETSEL, 0, reinterpret_cast<LPARAM>(&selection));
  FINDTEXTEXW find = {};
  bool down = (flags & FR_DOWN) != 0;
  find.chrg.cpMin = down ? selection.cpMax : selection.cpMin;
  find.chrg.cpMax = down ? -1 : 0;
  find.lpstrText = v->findText;
  WPARAM how = (down ? FR_DOWN : 0) | (flags & (FR_MATCHCASE | FR_WHOLEWORD));
  if (SendMessageW(v->edit, EM_FINDTEXTEXW, how, reinterpret_cast<LPARAM>(&find)) < 0) {
    MessageBeep(MB_ICONINFORMATION);
    return;
  }
  SendMessageW(v->edit, EM_EXSETSEL, 0, reinterpret_cast<LPARAM>(&find.chrgText));
  SendMessageW(v->edit, EM_SCROLLCARET, 0, 0);
}

void OpenFind(TextViewer* v) {
  if (v->findDialog) {
    SetFocus(v->findDialog);
    return;
  }
  memset(&v->find, 0, sizeof v->find);
  v->find.lStructSize = sizeof v->find;
  v->find.hwndOwner = v->window;
  v->find.lpstrFindWhat = v->findText;
  v->find.wFindWhatLen = sizeof v->findText / sizeof v->findText[0];
  v->find.Flags = FR_DOWN;
  v->findDialog = FindTextW(&v->find);
  SetCurrentModelessDialog(v->findDialog);
}

void OnFindMessage(TextViewer* v, const FINDREPLACEW* find) {
  if (find->Flags & FR_DIALOGTERM) {
    if (GetCurrentModelessDialog() == v->findDialog) SetCurrentModelessDialog(nullptr);
    v->findDialog = nullptr;
    return;
  }
  if (find->Flags & FR_FINDNEXT) FindNext(v, find->Flags);
}

// Page by page through the control's own layout at the printer's resolution.
void PrintText(TextViewer* v) {
  PRINTDLGA dialog = {};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = v->window;
  dialog.Flags = PD_RETURNDC | PD_NOPAGENUMS | PD_NOSELECTION;
  if (!PrintDlgA(&dialog) || !dialog.hDC) return;
  HDC printer = dialog.hDC;
  DOCINFOA document = {sizeof document, "Kestrelia", nullptr, nullptr, 0};
  int width = GetDeviceCaps(printer, PHYSICALWIDTH), height = GetDeviceCaps(printer, PHYSICALHEIGHT);
  int dpiX = GetDeviceCaps(printer, LOGPIXELSX), dpiY = GetDeviceCaps(printer, LOGPIXELSY);
  FORMATRANGE range = {};
  range.hdc = range.hdcTarget = printer;
  // Half an inch of margin on every side, in twips.
  range.rcPage = {0, 0, MulDiv(width, 1440, dpiX), MulDiv(height, 1440, dpiY)};
  range.rc = {720, 720, range.rcPage.right - 720, range.rcPage.bottom - 720};
  GETTEXTLENGTHEX length = {GTL_NUMCHARS, 1200};
  LONG end = static_cast<LONG>(SendMessageW(v->edit, EM_GETTEXTLENGTHEX, reinterpret_cast<WPARAM>(&length), 0));
  range.chrg = {0, end};
  if (StartDocA(printer, &document) > 0) {
    while (range.chrg.cpMin < end) {
      StartPage(printer);
      LONG next = static_cast<LONG>(SendMessageW(v->edit, EM_FORMATRANGE, TRUE, reinterpret_cast<LPARAM>(&range)));
      EndPage(printer);
      if (next <= range.chrg.cpMin) break;
      range.chrg.cpMin = next;
    }
    EndDoc(printer);
  }
  SendMessageW(v->edit, EM_FORMATRANGE, FALSE, 0);
  DeleteDC(printer);
  if (dialog.hDevMode) GlobalFree(dialog.hDevMode);
  if (dialog.hDevNames) GlobalFree(dialog.hDevNames);
}

void SavePlacementAndFont(TextViewer* v) {
  WINDOWPLACEMENT place = {sizeof place};
  if (GetWindowPlacement(v->window, &place)) {
    SaveViewerPlacement(place.rcNormalPosition);
    const RECT& r = place.rcNormalPosition;
    SetViewXY(PackViewXY(r.left, r.top));
    SetViewWH(PackViewWH(r.right - r.left, r.bottom - r.top));
  }
  if (IsSaveRichEditSettings()) SaveRichEditString(CurrentFont(v));
}

enum ViewerCommand {
  VIEWER_FIND = IDM_FIND,
  VIEWER_FIND_NEXT = IDM_FIND_NEXT,
  VIEWER_SELECT_ALL = IDM_SELECT_ALL,
  VIEWER_COPY = IDM_COPY,
  VIEWER_PRINT = IDM_VIEWER_PRINT,
  VIEWER_CLOSE = IDM_VIEWER_CLOSE,
  VIEWER_FONT = IDM_VIEWER_FONT,
};

HMENU BuildViewerMenu() {
  HMENU bar = CreateMenu(), file = CreatePopupMenu(), edit = CreatePopupMenu();
  char caption[kPathBuf];
  auto item = [&](HMENU menu, int id, const char* text, int modifiers, int key) {
    if (key)
      snprintf(caption, sizeof caption, "%s\t%s", text, MenuKeyCaption(modifiers, key).c_str());
    else
      snprintf(caption, sizeof caption, "%s", text);
    AppendMenuA(menu, MF_STRING, id, caption);
  };
  item(file, VIEWER_PRINT, GetMenuItemText(IDM_VIEWER_PRINT), FCONTROL, 'P');
  AppendMenuA(file, MF_SEPARATOR, 0, nullptr);
  item(file, VIEWER_CLOSE, GetMenuItemText(IDM_VIEWER_CLOSE), 0, VK_ESCAPE);
  item(edit, VIEWER_COPY, GetMenuItemText(IDM_COPY), FCONTROL, 'C');
  item(edit, VIEWER_SELECT_ALL, GetMenuItemText(IDM_SELECT_ALL), FCONTROL, 'A');
  AppendMenuA(edit, MF_SEPARATOR, 0, nullptr);
  item(edit, VIEWER_FIND, GetMenuItemText(IDM_FIND), FCONTROL, 'F');
  item(edit, VIEWER_FIND_NEXT, GetMenuItemText(IDM_FIND_NEXT), 0, VK_F3);
  AppendMenuA(edit, MF_SEPARATOR, 0, nullptr);
  item(edit, VIEWER_FONT, GetGenericText(KLANG_GEN_FONT), 0, 0);
  AppendMenuA(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(file), GetMenuText(IDM_MENU_FILE));
  AppendMenuA(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(edit), GetMenuText(IDM_MENU_EDIT));
  return bar;
}

HACCEL BuildViewerKeys() {
  ACCEL keys[] = {
      {FVIRTKEY | FCONTROL, 'F', VIEWER_FIND},   {FVIRTKEY, VK_F3, VIEWER_FIND_NEXT},
      {FVIRTKEY | FCONTROL, 'P', VIEWER_PRINT},  {FVIRTKEY, VK_ESCAPE, VIEWER_CLOSE},
      {FVIRTKEY | FCONTROL, 'W', VIEWER_CLOSE},  {FVIRTKEY | FCONTROL, 'A', VIEWER_SELECT_ALL},
  };
  return CreateAcceleratorTableA(keys, sizeof keys / sizeof keys[0]);
}

void OnViewerCommand(TextViewer* v, int id) {
  switch (id) {
    case VIEWER_FIND:
      OpenFind(v);
      break;
    case VIEWER_FIND_NEXT:
      if (v->findText[0]) FindNext(v, v->find.Flags | FR_DOWN);
      else OpenFind(v);
      break;
    case VIEWER_SELECT_ALL:
      SendMessageW(v->edit, EM_SETSEL, 0, -1);
      break;
    case VIEWER_COPY:
      SendMessageW(v->edit, WM_COPY, 0, 0);
      break;
    case VIEWER_PRINT:
      PrintText(v);
      break;
    case VIEWER_FONT:
      ChooseViewerFont(v);
      break;
    case VIEWER_CLOSE:
      DestroyWindow(v->window);
      break;
    default:
      break;
  }
}

UINT FindMessage() {
  static const UINT message = RegisterWindowMessageW(FINDMSGSTRINGW);
  return message;
}

LRESULT CALLBACK TextViewerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  TextViewer* v = ViewerOf(window);
  switch (message) {
    case WM_SIZE:
      if (v) MoveWindow(v->edit, 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
      return 0;
    case WM_SETFOCUS:
      if (v) SetFocus(v->edit);
      return 0;
    case WM_COMMAND:
      if (v) OnViewerCommand(v, LOWORD(wParam));
      return 0;
    case WM_DESTROY:
      if (v) {
        SavePlacementAndFont(v);
        if (v->findDialog) DestroyWindow(v->findDialog);
        if (v->font) DeleteObject(v->font);
        DestroyAcceleratorTable(v->keys);
        SetWindowLongPtrA(window, GWLP_USERDATA, 0);
        delete v;
      }
      return 0;
    default:
      if (v && message == FindMessage()) {
        OnFindMessage(v, reinterpret_cast<const FINDREPLACEW*>(lParam));
        return 0;
      }
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

// Rich edit 4.1 where the system has it, else 2.0.
const wchar_t* RichEditClass() {
  static const wchar_t* name = LoadLibraryA("Msftedit.dll") ? L"RICHEDIT50W"
                               : LoadLibraryA("Riched20.dll") ? L"RichEdit20W" : nullptr;
  return name;
}

bool RegisterViewerClass() {
  static ATOM atom;
  if (atom) return true;
  WNDCLASSEXA wc = {};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = TextViewerProc;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.hIcon = LoadIconA(wc.hInstance, MAKEINTRESOURCEA(IDI_KESTRELIA));
  wc.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));
  wc.lpszClassName = kViewerClass;
  atom = RegisterClassExA(&wc);
  return atom != 0;
}

HWND CreateViewer(const char* title, TextViewer** out) {
  if (!RegisterViewerClass() || !RichEditClass()) {
    Log(1, GetVerbose(), "ShowTextViewer: no rich edit control");
    return nullptr;
  }
  RECT place = {};
  bool placed = GetViewerRect(&place);
  char caption[kPathBuf + 16];
  snprintf(caption, sizeof caption, "%s - Kestrelia", title ? title : "");
  HWND window = CreateWindowExA(0, kViewerClass, caption, WS_OVERLAPPEDWINDOW, placed ? place.left : CW_USEDEFAULT,
                                placed ? place.top : CW_USEDEFAULT, placed ? place.right - place.left : 800,
                                placed ? place.bottom - place.top : 600, nullptr, BuildViewerMenu(),
                                GetModuleHandleA(nullptr), nullptr);
  if (!window) return nullptr;
  TextViewer* v = new TextViewer();
  v->window = window;
  v->keys = BuildViewerKeys();
  v->edit = CreateWindowExW(WS_EX_CLIENTEDGE, RichEditClass(), L"",
                            WS_CHILD | WS_VISIBLE | WS_VSCROLL | WS_HSCROLL | ES_MULTILINE | ES_READONLY |
                                ES_AUTOVSCROLL | ES_AUTOHSCROLL | ES_NOHIDESEL,
                            0, 0, 0, 0, window, reinterpret_cast<HMENU>(IDC_VIEWER_TEXT), GetModuleHandleA(nullptr), nullptr);
  SendMessageW(v->edit, EM_EXLIMITTEXT, 0, 0x7FFFFFFE);
  SendMessageW(v->edit, EM_SETTEXTMODE, TM_PLAINTEXT, 0);
  v->font = CreateFontA(-MulDiv(10, ScreenDpiY(), 72), 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0,
                        FIXED_PITCH | FF_MODERN, "Courier New");
  SendMessageW(v->edit, WM_SETFONT, reinterpret_cast<WPARAM>(v->font), 0);
  SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(v));
  RECT client;
  GetClientRect(window, &client);
  MoveWindow(v->edit, 0, 0, client.right, client.bottom, FALSE);
  *out = v;
  return window;
}

void ShowFilled(TextViewer* v) {
  RichEditFont kept = {};
  if (GetRichEditString()[0] && ParseRichEditString(GetRichEditString(), &kept) > 1) ApplyFont(v, kept);
  SendMessageW(v->edit, EM_SETMODIFY, FALSE, 0);
  ShowWindow(v->window, SW_SHOW);
  SetForegroundWindow(v->window);
  SetFocus(v->edit);
}

}  // namespace

bool IsTextName(const char* name) {
  static const char* const kEndings[] = {".txt", ".text", ".log", ".ini", ".inf", ".cfg", ".conf", ".properties",
                                         ".md", ".csv", ".tsv", ".xml", ".htm", ".html", ".css", ".js", ".json",
                                         ".c", ".h", ".cpp", ".hpp", ".cc", ".java", ".py", ".sh", ".bat", ".cmd",
                                         ".ps1", ".sql", ".yml", ".yaml", ".mf", ".nfo", ".diz", ".me", ".1st"};
  size_t n = name ? strlen(name) : 0;
  for (const char* ending : kEndings) {
    size_t e = strlen(ending);
    if (n >= e && !_stricmp(name + n - e, ending)) return true;
  }
  return false;
}

HWND ShowTextViewer(IStream* text, const char* title) {
  TextViewer* v = nullptr;
  HWND window = CreateViewer(title, &v);
  if (!window) return nullptr;
  StreamInto(v->edit, text);
  ShowFilled(v);
  return window;
}

HWND ShowTextViewerText(const std::string& text, const char* title) {
  IStream* stream = SHCreateMemStream(reinterpret_cast<const BYTE*>(text.data()), static_cast<UINT>(text.size()));
  if (!stream) return nullptr;
  HWND window = ShowTextViewer(stream, title);
  stream->Release();
  return window;
}

bool TranslateViewerMessage(MSG* message) {
  HWND top = message->hwnd ? GetAncestor(message->hwnd, GA_ROOT) : nullptr;
  char name[32] = "";
  if (!top || !GetClassNameA(top, name, sizeof name) || strcmp(name, kViewerClass) != 0) return false;
  TextViewer* v = ViewerOf(top);
  return v && TranslateAcceleratorA(top, v->keys, message);
}
