#include "services/base.h"
#include "services/prompts.h"

#include "kestrelia_lang.h"
#include "services/current_password.h"
#include "services/folder_picker.h"
#include "services/overwrite_dialog.h"
#include "services/password_dialog.h"

#include <commdlg.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

int RealMessageBox(HWND owner, const char* text, const char* title, UINT flags) {
  return MessageBoxA(owner, text, title, flags);
}

// "*.zip\0*.zip\0*.*\0*.*\0\0" for an extension; a filter "name|patterns|..." has its bars
// turned into the dialog's zeros.
std::string Filter(const char* extension) {
  std::string out;
  if (strchr(extension, '|')) {
    out = extension;
    for (char& c : out)
      if (c == '|') c = '\0';
  } else {
    std::string pattern = std::string("*.") + extension;
    out = pattern + '\0' + pattern + '\0' + "*.*" + '\0' + "*.*" + '\0';
  }
  return out + '\0';
}

// Both file dialogs: one extension's files first, then all files.
bool RunFileDialog(HWND owner, const char* extension, const char* title, DWORD flags, char* path, bool save) {
  std::string filter = Filter(extension);
  // The default extension is a plain one, never a filter's.
  if (strchr(extension, '|')) extension = nullptr;
  OPENFILENAMEA ofn = {};
  ofn.lStructSize = sizeof ofn;
  ofn.hwndOwner = owner;
  ofn.lpstrFilter = filter.c_str();
  ofn.lpstrFile = path;
  ofn.nMaxFile = kPathBuf;
  ofn.lpstrTitle = title;
  ofn.lpstrDefExt = extension;
  ofn.Flags = OFN_PATHMUSTEXIST | OFN_HIDEREADONLY | OFN_EXPLORER | flags;
  return (save ? GetSaveFileNameA(&ofn) : GetOpenFileNameA(&ofn)) != 0;
}

bool RealOpenFile(HWND owner, const char* extension, const char* title, char* path) {
  path[0] = '\0';
  return RunFileDialog(owner, extension, title, OFN_FILEMUSTEXIST, path, false);
}

bool RealSaveFile(HWND owner, const char* extension, const char* title, bool confirmOverwrite, char* path) {
  return RunFileDialog(owner, extension, title, confirmOverwrite ? OFN_OVERWRITEPROMPT : 0, path, true);
}

// What was typed becomes the current password; the caller gets a copy.
bool RealPassword(HWND owner, char* password) {
  char typed[kPathBuf] = "";
  bool accepted = PasswordDialog(owner, typed) == IDC_PASSWORD_OK;
  if (accepted) {
    SetCurrentPassword(typed);
    if (strcmp(GetCurrentPassword(), typed) != 0)
      PromptMessageBox(owner, "Password not changed!!", GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    snprintf(password, kPathBuf, "%s", GetCurrentPassword());
  }
  SecureZeroMemory(typed, sizeof typed);
  return accepted;
}

bool RealChooseColor(HWND owner, COLORREF* color) {
  static COLORREF custom[16];
  CHOOSECOLORA choose = {};
  choose.lStructSize = sizeof choose;
  choose.hwndOwner = owner;
  choose.rgbResult = *color;
  choose.lpCustColors = custom;
  choose.Flags = CC_RGBINIT | CC_FULLOPEN;
  if (!ChooseColorA(&choose)) return false;
  *color = choose.rgbResult;
  return true;
}

Prompts RealPrompts() {
  return Prompts{RealMessageBox, RealOpenFile, RealSaveFile, PickFolder, OverwriteDialog, RealPassword, RealChooseColor};
}

Prompts g_prompts = RealPrompts();

}  // namespace

Prompts& GetPrompts() { return g_prompts; }
void ResetPrompts() { g_prompts = RealPrompts(); }

int PromptMessageBox(HWND owner, const char* text, const char* title, UINT flags) {
  return g_prompts.messageBox(owner, text, title, flags);
}

int PromptOverwrite(HWND owner, const char* text, const char* title, const char* labels) {
  return g_prompts.overwriteQuestion(owner, text, title, labels);
}

bool PromptPassword(HWND owner, char* password) { return g_prompts.password(owner, password); }
bool PromptColor(HWND owner, COLORREF* color) { return g_prompts.chooseColor(owner, color); }
