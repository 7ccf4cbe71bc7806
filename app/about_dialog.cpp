#include "services/base.h"
#include "app/about_dialog.h"

#include "kestrelia_lang.h"
#include "res/resource.h"
#include "services/dialog_template.h"
#include "services/log.h"

#include "formats/tar_format.h"

#include <bzlib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstdio>

namespace {

// libarchive is linked into tar.dll: the version shown is the one the library shipped beside
// the program was built with.
std::string LibarchiveVersion() {
  std::string text = TarLibraryVersion();
  const char prefix[] = "libarchive ";
  if (text.rfind(prefix, 0) == 0) text.erase(0, sizeof prefix - 1);
  return text;
}

struct Library {
  const char* name;
  std::string (*version)();  // from the library's own header or, where it has none, its run time
  const char* licence;
};

// Everything linked into the program or shipped beside it; a library added to the build gets
// its line here. minizip's header carries no version macro: 1.1 is the one of zlib's contrib.
const Library kLibraries[] = {
    {"zlib", [] { return std::string(ZLIB_VERSION); }, "zlib License"},
    {"minizip (zlib contrib)", [] { return std::string("1.1, zlib " ZLIB_VERSION); }, "zlib License"},
    {"bzip2", [] { return std::string(BZ2_bzlibVersion()); }, "bzip2 License (BSD-style)"},
    {"libdeflate", [] { return std::string(LIBDEFLATE_VERSION_STRING); }, "MIT License"},
    {"libarchive (tar.dll)", LibarchiveVersion, "BSD 2-Clause License"},
    {"GNU C++ runtime (mingw-w64)", [] { return std::string(__VERSION__); },
     "GPL 3 with the GCC Runtime Library Exception"},
    {"mingw-w64 runtime", [] { return std::string(); }, "ZPL 2.1 and public domain"},
};

// "&About Kestrelia..." -> "About Kestrelia".
std::string Caption(const char* menuText) {
  std::string out;
  for (const char* c = menuText; *c; ++c)
    if (*c != '&') out += *c;
  while (!out.empty() && out.back() == '.') out.pop_back();
  return out;
}

void CreateAboutControls(HWND hwnd) {
  DialogLayout layout(hwnd);
  layout.SizeClient(472, 252, DialogPlace::kOwnerCentre);
  HWND icon = layout.Add("STATIC", "", SS_ICON, IDC_ABOUT_ICON, 16, 16, 32, 32);
  SendMessageA(icon, STM_SETICON,
               reinterpret_cast<WPARAM>(LoadIconA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDI_KESTRELIA))), 0);
  HWND name = layout.Add("STATIC", "Kestrelia", SS_LEFT, IDC_ABOUT_NAME, 64, 16, 300, 24);
  LOGFONTA big = {};
  GetObjectA(reinterpret_cast<HFONT>(SendMessageA(hwnd, WM_GETFONT, 0, 0)), sizeof big, &big);
  big.lfHeight = big.lfHeight * 2;
  big.lfWeight = FW_BOLD;
  HFONT nameFont = CreateFontIndirectA(&big);
  SendMessageA(name, WM_SETFONT, reinterpret_cast<WPARAM>(nameFont), FALSE);
  SetPropA(hwnd, "KestreliaAboutFont", nameFont);
  char version[64];
  snprintf(version, sizeof version, "%s %s", GetMessageText(KLANG_MSG_VERSION), kProductVersion);
  layout.Add("STATIC", version, SS_LEFT, IDC_ABOUT_VERSION, 64, 44, 300, 18);
  layout.Add("STATIC", GetMessageText(KLANG_MSG_BUILT_ON_LIBRARIES), SS_LEFT, IDC_ABOUT_LIBRARIES_LABEL, 16, 72, 440,
             18);
  layout.Add("EDIT", GetLibrariesText().c_str(), ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL | WS_VSCROLL | WS_TABSTOP,
             IDC_ABOUT_LIBRARIES, 16, 92, 440, 110, WS_EX_CLIENTEDGE);
  HWND ok = layout.Add("BUTTON", GetGenericText(KLANG_GEN_OK), BS_DEFPUSHBUTTON | WS_TABSTOP, IDOK, 381, 214, 75, 23);
  SetFocus(ok);
}

INT_PTR CALLBACK AboutDialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_INITDIALOG:
      CreateAboutControls(hwnd);
      return FALSE;
    case WM_COMMAND:
      if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
        EndDialog(hwnd, IDOK);
        return TRUE;
      }
      break;
    case WM_DESTROY:
      if (HANDLE font = RemovePropA(hwnd, "KestreliaAboutFont")) DeleteObject(font);
      break;
  }
  return FALSE;
}

}  // namespace

std::string GetLibrariesText() {
  std::string text;
  for (const Library& library : kLibraries) {
    text += library.name;
    std::string version = library.version();
    if (!version.empty()) {
      text += " ";
      text += version;
    }
    text += " (";
    text += library.licence;
    text += ")\r\n";
  }
  return text;
}

void ShowAboutDialog(HWND owner) {
  std::string title = Caption(GetMenuItemText(IDM_ABOUT));
  if (RunTemplateDialog(ModalDialogFrame(title.c_str(), 300, 160), owner, AboutDialogProc, 0) == -1)
    Log(1, GetVerbose(), "ShowAboutDialog: DialogBoxIndirectParam failed %lu", GetLastError());
}
