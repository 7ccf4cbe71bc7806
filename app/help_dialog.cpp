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

void CreateHelpControls(HWND hwnd, const HelpDialogData* data) {
  DialogLayout layout(hwnd);
  layout.SizeClient(790, 373, DialogPlace::kScreenCentre);
  const char* editClass = data->richEditVersion >= 2 ? "RichEdit20A" : "RICHEDIT";
  HWND text = layout.Add(editClass, "", WS_VSCROLL | WS_TABSTOP | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL,
                         IDC_HELP_TEXT, 5, 10, 780, 320, WS_EX_CLIENTEDGE);
  if (text) SetWindowTextA(text, GetConsoleHelpText());
  else Log(-1, GetVerbose(), "ShowConsoleHelp: cannot create %s %lu", editClass, GetLastError());
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_OK), WS_TABSTOP | BS_DEFPUSHBUTTON, IDOK, 320, 340, 75, 23);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_FONT), WS_TABSTOP, IDC_HELP_FONT, 405, 340, 75, 23);
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
