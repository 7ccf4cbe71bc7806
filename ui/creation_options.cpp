#include "services/base.h"
#include "ui/creation_options.h"

#include "kestrelia_lang.h"
#include "res/resource.h"
#include "services/dialog_template.h"
#include "services/log.h"
#include "services/prompts.h"
#include "settings/options.h"

#include <commctrl.h>
#include <commdlg.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The client area, in pixels at 96 dots per inch.
constexpr int kWidth = 370, kHeight = 290;
constexpr int kTop = 32;  // below the line that names what is added

HWND AddLabelled(const DialogLayout& layout, int text, int y, int id, DWORD style) {
  layout.Add("STATIC", GetGenericText(text), 0, -1, 15, y + 3, 150, 20);
  HWND edit = layout.Add("EDIT", "", WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL | style, id, 170, y, 180, 22);
  SendMessageA(edit, EM_LIMITTEXT, kPathBuf - 1, 0);
  return edit;
}

void AddCheck(const DialogLayout& layout, int text, int y, int id, int checked) {
  layout.Add("BUTTON", GetGenericText(text), WS_TABSTOP | BS_AUTOCHECKBOX, id, 15, y, 335, 20);
  CheckDlgButton(layout.dialog(), id, checked ? BST_CHECKED : BST_UNCHECKED);
}

void InitDialog(HWND dialog, const CreationChoice* choice) {
  DialogLayout layout(dialog);
  layout.SizeClient(kWidth, kHeight, DialogPlace::kScreenCentre);
  char title[kPathBuf + 64];
  const char* name = strrchr(choice->target, '\\');
  name = name ? name + 1 : choice->target;
  snprintf(title, sizeof title, *name ? "%s - %s" : "%s", GetGenericText(KLANG_GEN_ADD_TO_ARCHIVE), name);
  SetWindowTextA(dialog, title);
  layout.Add("STATIC", choice->subject, SS_ENDELLIPSIS | SS_NOPREFIX, IDC_CREATION_SUBJECT, 15, 10, 335, 20);
  layout.Add("STATIC", GetGenericText(KLANG_GEN_COMPRESSION_LEVEL), 0, -1, 15, kTop + 18, 150, 20);
  HWND level = layout.Add("COMBOBOX", "", WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST, IDC_CREATION_LEVEL, 170,
                          kTop + 15, 180, 200);
  for (int i = 0; i <= 9; ++i) {
    char text[64];
    FormatCompressionLevel(i, text, sizeof text);
    SendMessageA(level, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
  }
  SendMessageA(level, CB_SETCURSEL, choice->level, 0);
  SetWindowTextA(AddLabelled(layout, KLANG_GEN_FOLDER_IN_ARCHIVE, kTop + 50, IDC_CREATION_PREFIX, 0), choice->prefix);
  AddLabelled(layout, KLANG_GEN_PASSWORD, kTop + 85, IDC_CREATION_PASSWORD, ES_PASSWORD);
  AddLabelled(layout, KLANG_GEN_CONFIRM_PASSWORD, kTop + 115, IDC_CREATION_CONFIRM, ES_PASSWORD);
  AddCheck(layout, KLANG_GEN_STORE_NAMES_ONLY, kTop + 155, IDC_CREATION_PLAIN, choice->plain);
  AddCheck(layout, KLANG_GEN_INCLUDE_SUBFOLDERS, kTop + 180, IDC_CREATION_RECURSE, choice->recurse);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_OK), WS_TABSTOP | BS_DEFPUSHBUTTON, IDC_CREATION_OK, 105, kTop + 220,
             75, 23);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_CREATION_CANCEL, 195,
             kTop + 220, 75, 23);
  SendMessageA(dialog, DM_SETDEFID, IDC_CREATION_OK, 0);
  SetFocus(level);
}

// The password must be typed the same twice; the dialog stays open otherwise.
bool Accept(HWND dialog, CreationChoice* choice) {
  char password[kPathBuf], confirm[kPathBuf];
  GetDlgItemTextA(dialog, IDC_CREATION_PASSWORD, password, kPathBuf);
  GetDlgItemTextA(dialog, IDC_CREATION_CONFIRM, confirm, kPathBuf);
  bool same = strcmp(password, confirm) == 0;
  if (same) {
    int level = static_cast<int>(SendDlgItemMessageA(dialog, IDC_CREATION_LEVEL, CB_GETCURSEL, 0, 0));
    choice->level = level < 0 ? choice->level : level;
    GetDlgItemTextA(dialog, IDC_CREATION_PREFIX, choice->prefix, kPathBuf);
    snprintf(choice->password, kPathBuf, "%s", password);
    choice->plain = IsDlgButtonChecked(dialog, IDC_CREATION_PLAIN) == BST_CHECKED;
    choice->recurse = IsDlgButtonChecked(dialog, IDC_CREATION_RECURSE) == BST_CHECKED;
  } else {
    PromptMessageBox(dialog, GetGenericText(KLANG_GEN_PASSWORDS_DIFFER), GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR);
    SetDlgItemTextA(dialog, IDC_CREATION_CONFIRM, "");
    SetFocus(GetDlgItem(dialog, IDC_CREATION_CONFIRM));
  }
  SecureZeroMemory(password, sizeof password);
  SecureZeroMemory(confirm, sizeof confirm);
  return same;
}

void InitOptions(HWND dialog, LPARAM parameter) { InitDialog(dialog, reinterpret_cast<CreationChoice*>(parameter)); }
void AcceptOptions(HWND dialog, LPARAM parameter) {
  if (Accept(dialog, reinterpret_cast<CreationChoice*>(parameter))) EndDialog(dialog, IDOK);
}

bool RealOptions(HWND owner, CreationChoice* choice) {
  static const OkCancelRoles kRoles = {IDC_CREATION_OK, IDC_CREATION_CANCEL, true, InitOptions, AcceptOptions};
  INT_PTR result = RunOkCancelDialog(ModalDialogFrame(nullptr, 250, 190), owner, kRoles,
                                     reinterpret_cast<LPARAM>(choice));
  if (result == -1) Log(1, GetVerbose(), "AskCreationOptions: the dialog could not be made %lu", GetLastError());
  return result == IDOK;
}

int RealChooseFiles(HWND owner, const char* title, char (*files)[kPathBuf], int capacity) {
  std::vector<char> buffer(64 * 1024);
  char filter[128];
  int n = snprintf(filter, sizeof filter, "%s", GetGenericText(KLANG_GEN_ALL_FILES));
  snprintf(filter + n + 1, sizeof filter - n - 1, "*.*");
  filter[n + 1 + 3 + 1] = '\0';
  OPENFILENAMEA ofn = {};
  ofn.lStructSize = sizeof ofn;
  ofn.hwndOwner = owner;
  ofn.lpstrFilter = filter;
  ofn.lpstrFile = buffer.data();
  ofn.nMaxFile = static_cast<DWORD>(buffer.size());
  ofn.lpstrTitle = title;
  ofn.Flags = OFN_ALLOWMULTISELECT | OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_HIDEREADONLY;
  if (!GetOpenFileNameA(&ofn)) return 0;
  // One file: its full path. Several: the folder, then each name, each zero-terminated.
  const char* folder = buffer.data();
  const char* name = folder + strlen(folder) + 1;
  if (!*name) {
    snprintf(files[0], kPathBuf, "%s", folder);
    return 1;
  }
  int count = 0;
  for (; *name && count < capacity; name += strlen(name) + 1)
    snprintf(files[count++], kPathBuf, "%s\\%s", folder, name);
  return count;
}

}  // namespace

void FormatCompressionLevel(int level, char* out, size_t outSize) {
  static const struct {
    int level, text;
  } kNames[] = {{0, KLANG_GEN_LEVEL_STORE},  {1, KLANG_GEN_LEVEL_FASTEST}, {3, KLANG_GEN_LEVEL_FAST},
                {6, KLANG_GEN_LEVEL_NORMAL}, {8, KLANG_GEN_LEVEL_MAXIMUM}, {9, KLANG_GEN_LEVEL_ULTRA}};
  snprintf(out, outSize, "%d", level);
  for (const auto& n : kNames)
    if (n.level == level) snprintf(out, outSize, "%d - %s", level, GetGenericText(n.text));
}

void DescribeCreationSubject(char (*files)[kPathBuf], int count, char* out, size_t outSize) {
  std::string text;
  for (int i = 0; i < count && text.size() < outSize; ++i) {
    std::string path = files[i];
    while (path.size() > 3 && (path.back() == '\\' || path.back() == '/')) path.pop_back();
    size_t cut = path.find_last_of("\\/");
    text += (i ? ", " : "") + (cut == std::string::npos || path.size() <= 3 ? path : path.substr(cut + 1));
  }
  snprintf(out, outSize, "%s", text.c_str());
}

void DefaultCreationChoice(CreationChoice* choice) {
  memset(choice, 0, sizeof *choice);
  int level = GetDefaultCompression();
  choice->level = level > 9 ? 9 : level;
  choice->recurse = 1;
}

bool AskCreationOptions(HWND owner, CreationChoice* choice) {
  return RealOptions(owner, choice);
}

int ChooseFilesToAdd(HWND owner, const char* title, char (*files)[kPathBuf], int capacity) {
  return RealChooseFiles(owner, title, files, capacity);
}
