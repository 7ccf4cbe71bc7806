// The command-line help: a dialog built in memory with the console help text in a read-only
// rich edit, an OK button and a button that picks the font of the text.
#include "services/base.h"
#include "app/startup.h"

#include "kestrelia_lang.h"
#include "services/dialog_template.h"
#include "res/resource.h"
#include "services/log.h"

#include <commdlg.h>
#include <richedit.h>


namespace {


struct HelpDialogData {
  int richEditVersion;  // 2 when Riched20.dll loaded, else 1
  HFONT font;           // the font the user picked, owned by the dialog
};

// The dialog's geometry is given in pixels at 96 dots per inch.
int Scale(HWND hwnd, int pixels) {
  HDC dc = GetDC(hwnd);
  int dpi = dc ? GetDeviceCaps(dc, LOGPIXELSY) : 96;
  if (dc) ReleaseDC(hwnd, dc);
  return MulDiv(pixels, dpi, 96);
}

void CreateHelpControls(HWND hwnd, const HelpDialogData* data) {
  HINSTANCE instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrA(hwnd, GWLP_HINSTANCE));
  HFONT dialogFont = reinterpret_cast<HFONT>(SendMessageA(hwnd, WM_GETFONT, 0, 0));
  const char* editClass = data->richEditVersion >= 2 ? "RichEdit20A" : "RICHEDIT";
  HWND text = CreateWindowExA(WS_EX_CLIENTEDGE, editClass, "",
                              WS_CHILD | WS_VISIBLE | WS_VSCROLL | WS_TABSTOP | ES_MULTILINE | ES_READONLY |
                                  ES_AUTOVSCROLL,
                              Scale(hwnd, 5), Scale(hwnd, 10), Scale(hwnd, 780), Scale(hwnd, 320), hwnd,
                              reinterpret_cast<HMENU>(IDC_HELP_TEXT), instance, nullptr);
  if (!text) Log(-1, GetVerbose(), "ShowConsoleHelp: cannot create %s %lu", editClass, GetLastError());
  struct Button {
    int id;
    const char* caption;
    int x;
    DWORD style;
  } buttons[] = {{IDOK, GetGenericText(0), 320, BS_DEFPUSHBUTTON}, {IDC_HELP_FONT, GetGenericText(26), 405, 0}};
  for (const Button& b : buttons) {
    HWND button = CreateWindowExA(0, "BUTTON", b.caption, WS_CHILD | WS_VISIBLE | WS_TABSTOP | b.style,
                                  Scale(hwnd, b.x), Scale(hwnd, 340), Scale(hwnd, 75), Scale(hwnd, 23), hwnd,
                                  reinterpret_cast<HMENU>(static_cast<INT_PTR>(b.id)), instance, nullptr);
    SendMessageA(button, WM_SETFONT, reinterpret_cast<WPARAM>(dialogFont), FALSE);
  }
  if (text) {
    SendMessageA(text, WM_SETFONT, reinterpret_cast<WPARAM>(dialogFont), FALSE);
    SetWindowTextA(text, GetConsoleHelpText());
  }
}

void CentreOnDesktop(HWND hwnd, int width, int height) {
  RECT desktop;
  GetWindowRect(GetDesktopWindow(), &desktop);
  SetWindowPos(hwnd, nullptr, (desktop.right - width) / 2, (desktop.bottom - height) / 2, width, height,
               SWP_NOZORDER);
}

// The font chooser starts from the text's current font and applies the choice to all text.
void ChooseHelpFont(HWND hwnd, HelpDialogData* data) {
  HWND text = GetDlgItem(hwnd, IDC_HELP_TEXT);
  LOGFONTA font = {};
  HFONT current = reinterpret_cast<HFONT>(SendMessageA(text, WM_GETFONT, 0, 0));
  GetObjectA(current ? current : GetStockObject(DEFAULT_GUI_FONT), sizeof font, &font);
  CHOOSEFONTA choose = {};
  choose.lStructSize = sizeof choose;
  choose.hwndOwner = hwnd;
  choose.lpLogFont = &font;
  choose.Flags = CF_SCREENFONTS | CF_INITTOLOGFONTSTRUCT;
  if (ChooseFontA(&choose)) {
    HFONT chosen = CreateFontIndirectA(&font);
    SendMessageA(text, WM_SETFONT, reinterpret_cast<WPARAM>(chosen), TRUE);
    if (data->font) DeleteObject(data->font);
    data->font = chosen;
  }
  SetFocus(text);
}

INT_PTR CALLBACK HelpDialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  HelpDialogData* data = reinterpret_cast<HelpDialogData*>(GetWindowLongPtrA(hwnd, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrA(hwnd, DWLP_USER, lParam);
      CentreOnDesktop(hwnd, Scale(hwnd, 800), Scale(hwnd, 400));
      CreateHelpControls(hwnd, reinterpret_cast<HelpDialogData*>(lParam));
      SetFocus(GetDlgItem(hwnd, IDOK));
      return FALSE;
    case WM_COMMAND:
      switch (LOWORD(wParam)) {
        case IDOK:
        case IDCANCEL:  // Escape and the close box
          EndDialog(hwnd, LOWORD(wParam));
          return TRUE;
        case IDC_HELP_FONT:
          ChooseHelpFont(hwnd, data);
          return TRUE;
      }
      break;
    case WM_DESTROY:
      if (data && data->font) DeleteObject(data->font);
      break;
  }
  return FALSE;
}

}  // namespace

int ShowConsoleHelp(int richEditVersion) {
  HelpDialogData data = {richEditVersion, nullptr};
  INT_PTR result = RunTemplateDialog(ModalDialogFrame("Kestrelia", 400, 200, "MS Sans Serif"), nullptr,
                                     HelpDialogProc, reinterpret_cast<LPARAM>(&data));
  if (result == -1) Log(-1, GetVerbose(), "ShowConsoleHelp: DialogBoxIndirectParam failed %lu", GetLastError());
  return static_cast<int>(result);
}
