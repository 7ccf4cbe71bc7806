#include "services/base.h"
#include "test_support.h"

#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/long_path.h"
#include "services/prompts.h"
#include "ui/entry_list.h"
#include "ui/listing_view.h"

#include <commctrl.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>

std::string TestData(const std::string& name) {
  const char* root = getenv("KESTRELIA_TESTDATA");
  return Separated(std::string("Z:") + (root ? root : "/tmp/kestrelia-testdata") + "/" + name, '/', '\\');
}

std::string Separated(std::string name, char from, char to) {
  for (char& c : name)
    if (c == from) c = to;
  return name;
}

namespace {

// Through the wide calls: a test may leave paths longer than a narrow path can be.
void RemoveTree(const std::wstring& folder) {
  WIN32_FIND_DATAW found;
  HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      std::wstring name = found.cFileName, path = folder + L"\\" + name;
      if (name == L"." || name == L"..") continue;
      SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      DWORD kind = found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
      if (kind == FILE_ATTRIBUTE_DIRECTORY)
        RemoveTree(path);
      else if (!DeleteFileW(path.c_str()))
        RemoveDirectoryW(path.c_str());
    } while (FindNextFileW(find, &found));
    FindClose(find);
  }
  RemoveDirectoryW(folder.c_str());
}

}  // namespace

std::string ScratchDir(const std::string& name) {
  char temp[MAX_PATH];
  GetTempPathA(MAX_PATH, temp);
  std::string dir = std::string(temp) + "kestrelia_test_" + name;
  RemoveTree(ExtendedWidePath(dir.c_str()));
  CreateDirectoryA(dir.c_str(), nullptr);
  return dir;
}

std::string ReadFileBytes(const std::string& path) {
  std::string out;
  HANDLE file = CreateFileW(WidePath(path.c_str()).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return out;
  char buffer[65536];
  DWORD n;
  while (ReadFile(file, buffer, sizeof buffer, &n, nullptr) && n) out.append(buffer, n);
  CloseHandle(file);
  return out;
}

bool WriteFileBytes(const std::string& path, const std::string& bytes) {
  FILE* f = fopen(path.c_str(), "wb");
  if (!f) return false;
  bool whole = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return fclose(f) == 0 && whole;
}

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool PumpUntil(const std::function<bool()>& done) {
  for (int i = 0; i < 6000 && !done(); ++i) {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&msg);
      DispatchMessageA(&msg);
    }
    Sleep(10);
  }
  return done();
}

bool OnDialog(const char* title, const std::function<void(HWND)>& act) {
  HWND dialog = nullptr;
  for (int i = 0; i < 3000 && !(dialog && IsWindowVisible(dialog)); ++i) {
    Sleep(10);
    dialog = FindWindowA("#32770", title);
  }
  if (!dialog) return false;
  act(dialog);
  return true;
}

namespace {
RecordedBoxes* g_recorded = nullptr;
}  // namespace

RecordedBoxes::RecordedBoxes() : previous_(GetPrompts().messageBox) {
  g_recorded = this;
  GetPrompts().messageBox = [](HWND, const char* text, const char* title, UINT flags) {
    g_recorded->texts.push_back(text ? text : "");
    g_recorded->titles.push_back(title ? title : "");
    g_recorded->flags.push_back(flags);
    return g_recorded->answer;
  };
}

RecordedBoxes::~RecordedBoxes() {
  GetPrompts().messageBox = previous_;
  g_recorded = nullptr;
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::string all = ReadFileBytes(path), line;
  for (char c : all) {
    if (c == '\n') {
      lines.push_back(line);
      line.clear();
    } else if (c != '\r') {
      line += c;
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

namespace {

LRESULT CALLBACK ParentProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  LRESULT result = 0;
  if (message == WM_NOTIFY && HandleEntryListNotify(reinterpret_cast<NMHDR*>(lParam), &result)) return result;
  return DefWindowProcA(hwnd, message, wParam, lParam);
}

}  // namespace

HiddenEntryList::HiddenEntryList() {
  INITCOMMONCONTROLSEX icc = {sizeof icc, ICC_LISTVIEW_CLASSES};
  InitCommonControlsEx(&icc);
  WNDCLASSA wc = {};
  wc.lpfnWndProc = ParentProc;
  wc.lpszClassName = "KestreliaTestParent";
  RegisterClassA(&wc);  // fails harmlessly when already registered
  parent = CreateWindowExA(0, wc.lpszClassName, "", WS_POPUP, 0, 0, 400, 300, nullptr, nullptr, nullptr, nullptr);
  list = MakeEntryList(parent, 0);
}

HWND MakeEntryList(HWND parent, DWORD style) {
  HWND list = CreateWindowExA(0, WC_LISTVIEWA, "", WS_CHILD | LVS_REPORT | LVS_OWNERDATA | style, 0, 0, 600, 400, parent,
                              nullptr, nullptr, nullptr);
  AttachEntryRows(list);
  InstallListingViews(nullptr);
  InitEntryListColumns(list);
  return list;
}

HiddenEntryList::~HiddenEntryList() {
  DetachEntryRows(list);
  DestroyWindow(parent);
}

int HiddenEntryList::Rows() const { return static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0)); }


std::string ListCell(HWND list, int row, int column) {
  char text[kPathBuf] = "";
  LVITEMA item = {};
  item.iSubItem = column;
  item.pszText = text;
  item.cchTextMax = kPathBuf;
  SendMessageA(list, LVM_GETITEMTEXTA, row, reinterpret_cast<LPARAM>(&item));
  return text;
}
