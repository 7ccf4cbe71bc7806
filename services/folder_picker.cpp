#include "services/base.h"
#include "services/folder_picker.h"

#include "kestrelia_lang.h"
#include "services/log.h"

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

FolderPickerOption* g_option = nullptr;

constexpr DWORD kOptionCheckBox = 1;
// The path box's label and the OK button's caption: the file dialog's own speak of files.
constexpr int kPickerPathLabel = 131, kPickerOkLabel = 132;

std::wstring Wide(const char* text) {
  int n = MultiByteToWideChar(CP_ACP, 0, text ? text : "", -1, nullptr, 0);
  std::wstring out(n > 0 ? n : 1, L'\0');
  if (n > 0) MultiByteToWideChar(CP_ACP, 0, text ? text : "", -1, &out[0], n);
  out.resize(wcslen(out.c_str()));
  return out;
}

int CALLBACK BrowseCallback(HWND hwnd, UINT message, LPARAM, LPARAM data) {
  if (message == BFFM_INITIALIZED && data) SendMessageA(hwnd, BFFM_SETSELECTIONA, TRUE, data);
  return 0;
}

// The folder tree of older systems: no path box and no room for the option.
bool BrowseFolderTree(HWND owner, const char* title, char* folder) {
  BROWSEINFOA bi = {};
  bi.hwndOwner = owner;
  bi.lpszTitle = title;
  bi.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE | BIF_EDITBOX;
  bi.lpfn = BrowseCallback;
  bi.lParam = reinterpret_cast<LPARAM>(folder[0] ? folder : nullptr);
  PIDLIST_ABSOLUTE item = SHBrowseForFolderA(&bi);
  if (!item) return false;
  bool ok = SHGetPathFromIDListA(item, folder) != 0;
  CoTaskMemFree(item);
  return ok;
}

// Starts the dialog in the folder; a folder that is gone leaves the dialog's own choice.
void StartIn(IFileDialog* dialog, const char* folder) {
  if (!folder[0]) return;
  IShellItem* item = nullptr;
  if (SUCCEEDED(SHCreateItemFromParsingName(Wide(folder).c_str(), nullptr, IID_IShellItem,
                                            reinterpret_cast<void**>(&item)))) {
    dialog->SetFolder(item);
    item->Release();
  }
}

void AddOption(IFileDialog* dialog) {
  if (!g_option || !g_option->label) return;
  IFileDialogCustomize* customize = nullptr;
  if (FAILED(dialog->QueryInterface(IID_IFileDialogCustomize, reinterpret_cast<void**>(&customize)))) return;
  if (SUCCEEDED(customize->AddCheckButton(kOptionCheckBox, Wide(g_option->label).c_str(), g_option->checked != 0)))
    g_option->shown = 1;
  customize->Release();
}

void ReadOption(IFileDialog* dialog) {
  if (!g_option || !g_option->shown) return;
  IFileDialogCustomize* customize = nullptr;
  if (FAILED(dialog->QueryInterface(IID_IFileDialogCustomize, reinterpret_cast<void**>(&customize)))) return;
  BOOL checked = FALSE;
  if (SUCCEEDED(customize->GetCheckButtonState(kOptionCheckBox, &checked))) g_option->checked = checked ? 1 : 0;
  customize->Release();
}

// 1 chosen, 0 cancelled, -1 when the system has no such dialog.
int RunFileDialogForFolder(HWND owner, const char* title, char* folder) {
  IFileDialog* dialog = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IFileDialog,
                                reinterpret_cast<void**>(&dialog));
  if (FAILED(hr)) {
    Log(2, GetVerbose(), "PickFolder: no file dialog (0x%lx)", static_cast<unsigned long>(hr));
    return -1;
  }
  FILEOPENDIALOGOPTIONS options = 0;
  dialog->GetOptions(&options);
  hr = dialog->SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | FOS_PATHMUSTEXIST | FOS_NOCHANGEDIR);
  if (FAILED(hr)) {
    Log(2, GetVerbose(), "PickFolder: the file dialog picks no folders (0x%lx)", static_cast<unsigned long>(hr));
    dialog->Release();
    return -1;
  }
  if (title && *title) dialog->SetTitle(Wide(title).c_str());
  dialog->SetFileNameLabel(Wide(GetMessageText(kPickerPathLabel)).c_str());
  dialog->SetOkButtonLabel(Wide(GetMessageText(kPickerOkLabel)).c_str());
  StartIn(dialog, folder);
  AddOption(dialog);
  int result = 0;
  hr = dialog->Show(owner);
  IShellItem* chosen = nullptr;
  if (SUCCEEDED(hr) && SUCCEEDED(dialog->GetResult(&chosen))) {
    PWSTR path = nullptr;
    if (SUCCEEDED(chosen->GetDisplayName(SIGDN_FILESYSPATH, &path))) {
      if (WideCharToMultiByte(CP_ACP, 0, path, -1, folder, kPathBuf, nullptr, nullptr) > 0) result = 1;
      CoTaskMemFree(path);
    }
    chosen->Release();
    ReadOption(dialog);
  }
  dialog->Release();
  return result;
}

}  // namespace

void SetFolderPickerOption(FolderPickerOption* option) {
  g_option = option;
  if (g_option) g_option->shown = 0;
}

FolderPickerOption* GetFolderPickerOption() { return g_option; }

bool PickFolder(HWND owner, const char* title, char* folder) {
  // COM may not be up on the thread that asks (the windowless extraction road).
  HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  int result = RunFileDialogForFolder(owner, title, folder);
  if (result < 0) result = BrowseFolderTree(owner, title, folder) ? 1 : 0;
  if (SUCCEEDED(com)) CoUninitialize();
  Log(5, GetVerbose(), "PickFolder: %s", result ? folder : "cancelled");
  return result == 1;
}
