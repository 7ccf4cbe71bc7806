// Reads what a running Kestrelia window shows, the way a person would see it: the title,
// the child controls, every row of its list views and the texts of its status bar.
// Controls of another process take their text buffers in that process, so the buffers are
// allocated there.
//
//   wininspect [--wait SECONDS] [--close] [--rows N] [--class NAME] [--until-rows N]
//   wininspect --count CLASS   (how many windows of CLASS are shown)
// --until-rows waits (up to --wait) until the visible list shows at least N rows;
// --until-title TEXT until the window title contains TEXT; --title TEXT takes only a window
// of that title (a message box beside a dialog of the same class); --until-selected ROW until
// the visible list's first selected row is ROW; --until-gone until no such window is shown
// (exit code 0 once it is gone).
// --drop PATH drops a file on the window as the shell would (WM_DROPFILES).
// --move X,Y places the window's top left corner there, as a person's drag would end.
// --paste DIR pastes the clipboard's files into DIR as the shell's paste does: every file a
// descriptor names, its bytes read from the stream the program hands over, then the report of
// a finished paste (the move effect for cut entries). Prints "pasted N".
// --copy-file PATH puts a file on the clipboard as the shell's copy does.
// --ok, --yes and --no press the window's OK, Yes or No button (a message box answers only its buttons).
// --set ID VALUE works the window's control ID as a person would, before it is read: a tab
// control shows page VALUE, a push button is clicked, a check box or radio button is clicked
// until its state is VALUE,
// a combo box selects item VALUE, anything else takes VALUE as its text. Repeatable, in order.
// Check boxes and radio buttons that are ticked read with " checked" after their text.
// --command ID posts the command ID to the window, as its menu item would.
// Exit code 0 when the window was found, 1 otherwise.
#include "services/base.h"

#include <commctrl.h>
#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Remote {
  HANDLE process = nullptr;
  char* memory = nullptr;
  static constexpr size_t kSize = 4096;

  explicit Remote(HWND hwnd) {
    DWORD pid = 0;
    GetWindowThreadProcessId(hwnd, &pid);
    process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, pid);
    if (process)
      memory = static_cast<char*>(VirtualAllocEx(process, nullptr, kSize, MEM_COMMIT, PAGE_READWRITE));
  }
  ~Remote() {
    if (memory) VirtualFreeEx(process, memory, 0, MEM_RELEASE);
    if (process) CloseHandle(process);
  }
  void Write(size_t offset, const void* data, size_t size) {
    WriteProcessMemory(process, memory + offset, data, size, nullptr);
  }
  std::string ReadString(size_t offset) {
    char buffer[1024] = "";
    ReadProcessMemory(process, memory + offset, buffer, sizeof buffer - 1, nullptr);
    return buffer;
  }
};

std::string ListCell(HWND list, Remote& remote, int row, int column) {
  LVITEMA item = {};
  item.iSubItem = column;
  item.cchTextMax = 1024;
  item.pszText = remote.memory + 512;
  remote.Write(0, &item, sizeof item);
  SendMessageA(list, LVM_GETITEMTEXTA, row, reinterpret_cast<LPARAM>(remote.memory));
  return remote.ReadString(512);
}

std::string HeaderTitle(HWND header, Remote& remote, int column) {
  HDITEMA item = {};
  item.mask = HDI_TEXT;
  item.cchTextMax = 256;
  item.pszText = remote.memory + 512;
  char empty = '\0';
  remote.Write(512, &empty, 1);
  remote.Write(0, &item, sizeof item);
  SendMessageA(header, HDM_GETITEMA, column, reinterpret_cast<LPARAM>(remote.memory));
  return remote.ReadString(512);
}

void DumpList(HWND list, int maxRows) {
  Remote remote(list);
  if (!remote.memory) return;
  HWND header = reinterpret_cast<HWND>(SendMessageA(list, LVM_GETHEADER, 0, 0));
  int columns = header ? static_cast<int>(SendMessageA(header, HDM_GETITEMCOUNT, 0, 0)) : 1;
  if (columns < 1) columns = 1;
  int rows = static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0));
  printf("list rows: %d\n", rows);
  printf("list selected: %d\n", static_cast<int>(SendMessageA(list, LVM_GETSELECTEDCOUNT, 0, 0)));
  // Which row is selected and which rows are scrolled into view.
  printf("list first selected: %d\n", static_cast<int>(SendMessageA(list, LVM_GETNEXTITEM, -1, LVNI_SELECTED)));
  printf("list top: %d per page: %d\n", static_cast<int>(SendMessageA(list, LVM_GETTOPINDEX, 0, 0)),
         static_cast<int>(SendMessageA(list, LVM_GETCOUNTPERPAGE, 0, 0)));
  if (header) {
    // Where each column's header sits on the screen, so a test can click it.
    for (int c = 0; c < columns; ++c) {
      SendMessageA(header, HDM_GETITEMRECT, c, reinterpret_cast<LPARAM>(remote.memory));
      RECT r = {};
      ReadProcessMemory(remote.process, remote.memory, &r, sizeof r, nullptr);
      POINT center = {(r.left + r.right) / 2, (r.top + r.bottom) / 2};
      ClientToScreen(header, &center);
      printf("header %d at %ld %ld %s\n", c, center.x, center.y, HeaderTitle(header, remote, c).c_str());
    }
  }
  for (int r = 0; r < rows && r < maxRows; ++r) {
    printf("row %d:", r);
    for (int c = 0; c < columns; ++c) printf(" | %s", ListCell(list, remote, r, c).c_str());
    printf("\n");
  }
}

void DumpStatus(HWND status) {
  Remote remote(status);
  if (!remote.memory) return;
  int panes = static_cast<int>(SendMessageA(status, SB_GETPARTS, 0, 0));
  for (int p = 0; p < panes; ++p) {
    char empty = '\0';
    remote.Write(0, &empty, 1);  // an empty pane writes nothing
    SendMessageA(status, SB_GETTEXTA, p, reinterpret_cast<LPARAM>(remote.memory));
    printf("status %d: %s\n", p, remote.ReadString(0).c_str());
  }
}

int g_maxRows = 50;

// Every item of a tree with its path below the root and, for shown ones, where it sits on
// the screen: "tree item docs\img at X Y".
void DumpTreeItems(HWND tree, Remote& remote, HTREEITEM item, const std::string& above, bool root) {
  for (; item; item = reinterpret_cast<HTREEITEM>(
                   SendMessageA(tree, TVM_GETNEXTITEM, TVGN_NEXT, reinterpret_cast<LPARAM>(item)))) {
    TVITEMA tv = {};
    tv.mask = TVIF_TEXT;
    tv.hItem = item;
    tv.pszText = remote.memory + 512;
    tv.cchTextMax = 1024;
    remote.Write(0, &tv, sizeof tv);
    SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(remote.memory));
    std::string text = remote.ReadString(512);
    std::string path = root ? std::string() : (above.empty() ? text : above + "\\" + text);
    RECT rect = {};
    remote.Write(0, &item, sizeof item);  // TVM_GETITEMRECT takes the item in the rectangle
    bool shown = SendMessageA(tree, TVM_GETITEMRECT, TRUE, reinterpret_cast<LPARAM>(remote.memory)) != 0;
    ReadProcessMemory(remote.process, remote.memory, &rect, sizeof rect, nullptr);
    POINT center = {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
    ClientToScreen(tree, &center);
    bool selected = SendMessageA(tree, TVM_GETNEXTITEM, TVGN_CARET, 0) == reinterpret_cast<LRESULT>(item);
    // A drag over the tree marks the folder it would drop on.
    bool target = SendMessageA(tree, TVM_GETNEXTITEM, TVGN_DROPHILITE, 0) == reinterpret_cast<LRESULT>(item);
    std::string marks = std::string(selected ? " (selected)" : "") + (target ? " (drop target)" : "");
    if (root)
      printf("tree root %s%s\n", text.c_str(), marks.c_str());
    else if (shown)
      printf("tree item %s at %ld %ld%s\n", path.c_str(), center.x, center.y, marks.c_str());
    else
      printf("tree item %s%s\n", path.c_str(), marks.c_str());
    HTREEITEM child = reinterpret_cast<HTREEITEM>(
        SendMessageA(tree, TVM_GETNEXTITEM, TVGN_CHILD, reinterpret_cast<LPARAM>(item)));
    DumpTreeItems(tree, remote, child, path, false);
  }
}

void DumpTree(HWND tree) {
  Remote remote(tree);
  if (!remote.memory) return;
  DumpTreeItems(tree, remote, reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, TVGN_ROOT, 0)), "", true);
}

// The drop's file list must live in the receiving process: a fixed block there is what
// DragQueryFile reads.
void DropFile(HWND hwnd, const char* path) {
  DWORD pid = 0;
  GetWindowThreadProcessId(hwnd, &pid);
  HANDLE process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_WRITE, FALSE, pid);
  if (!process) return;
  size_t length = strlen(path);
  std::string block(sizeof(DROPFILES) + length + 2, '\0');
  DROPFILES* drop = reinterpret_cast<DROPFILES*>(&block[0]);
  drop->pFiles = sizeof(DROPFILES);
  drop->fWide = FALSE;
  memcpy(&block[sizeof(DROPFILES)], path, length);
  void* remote = VirtualAllocEx(process, nullptr, block.size(), MEM_COMMIT, PAGE_READWRITE);
  if (remote && WriteProcessMemory(process, remote, block.data(), block.size(), nullptr))
    PostMessageA(hwnd, WM_DROPFILES, reinterpret_cast<WPARAM>(remote), 0);
  CloseHandle(process);
}

struct RowWait {
  HWND list;
};

BOOL CALLBACK FindVisibleList(HWND child, LPARAM out) {
  char cls[64] = "";
  GetClassNameA(child, cls, sizeof cls);
  if (!_stricmp(cls, WC_LISTVIEWA) && IsWindowVisible(child)) {
    reinterpret_cast<RowWait*>(out)->list = child;
    return FALSE;
  }
  return TRUE;
}

HWND VisibleList(HWND hwnd) {
  RowWait wait = {nullptr};
  EnumChildWindows(hwnd, FindVisibleList, reinterpret_cast<LPARAM>(&wait));
  return wait.list;
}

int VisibleRows(HWND hwnd) {
  HWND list = VisibleList(hwnd);
  return list ? static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0)) : 0;
}

int FirstSelectedRow(HWND hwnd) {
  HWND list = VisibleList(hwnd);
  return list ? static_cast<int>(SendMessageA(list, LVM_GETNEXTITEM, -1, LVNI_SELECTED)) : -1;
}

BOOL CALLBACK DumpChild(HWND child, LPARAM) {
  char cls[128] = "", text[512] = "";
  GetClassNameA(child, cls, sizeof cls);
  // WM_GETTEXT is marshalled between processes; GetWindowText would only read the caption
  // that the control was created with.
  DWORD_PTR got = 0;
  SendMessageTimeoutA(child, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 2000, &got);
  // A rich edit control holds Unicode text; this process's code page would lose its scripts.
  if (!_strnicmp(cls, "RichEdit", 8)) {
    wchar_t wide[512] = L"";
    SendMessageTimeoutW(child, WM_GETTEXT, 512, reinterpret_cast<LPARAM>(wide), SMTO_ABORTIFHUNG, 2000, &got);
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, sizeof text, nullptr, nullptr);
  }
  LONG_PTR kind = GetWindowLongPtrA(child, GWL_STYLE) & BS_TYPEMASK;
  bool checkable = !_stricmp(cls, "Button") && kind >= BS_CHECKBOX && kind <= BS_AUTORADIOBUTTON && kind != BS_GROUPBOX &&
                   kind != BS_USERBUTTON;
  bool checked = checkable && SendMessageA(child, BM_GETCHECK, 0, 0) == BST_CHECKED;
  printf("control %s \"%s\"%s%s\n", cls, text, checked ? " checked" : "", IsWindowVisible(child) ? "" : " (hidden)");
  if (IsWindowVisible(child)) {
    RECT r;
    GetWindowRect(child, &r);
    printf("place %s at %ld %ld\n", cls, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
  }
  if (!_stricmp(cls, WC_LISTVIEWA) && IsWindowVisible(child)) DumpList(child, g_maxRows);
  if (!_stricmp(cls, STATUSCLASSNAMEA)) DumpStatus(child);
  if (!_stricmp(cls, WC_TREEVIEWA) && IsWindowVisible(child)) DumpTree(child);
  return TRUE;
}

struct TopSearch {
  const char* cls;
  const char* title;  // only a window of this title, when given
  HWND found;         // the first
  int shown;
};

// Dialogs share one class and Wine keeps hidden ones of its own, so only a shown window of
// the class counts.
BOOL CALLBACK FindShownTopWindow(HWND hwnd, LPARAM data) {
  TopSearch* search = reinterpret_cast<TopSearch*>(data);
  char cls[64] = "", title[256] = "";
  GetClassNameA(hwnd, cls, sizeof cls);
  GetWindowTextA(hwnd, title, sizeof title);
  if (_stricmp(cls, search->cls) || !IsWindowVisible(hwnd) || (search->title && strcmp(title, search->title)))
    return TRUE;
  if (!search->shown++) search->found = hwnd;
  return TRUE;
}

TopSearch FindShown(const char* cls, const char* title) {
  TopSearch search = {cls, title, nullptr, 0};
  EnumWindows(FindShownTopWindow, reinterpret_cast<LPARAM>(&search));
  return search;
}

HWND FindShownWindow(const char* cls, const char* title) { return FindShown(cls, title).found; }

CLIPFORMAT Format(const char* name) { return static_cast<CLIPFORMAT>(RegisterClipboardFormatA(name)); }

DWORD ReadEffect(IDataObject* data, const char* name) {
  FORMATETC format = {Format(name), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {};
  if (data->GetData(&format, &medium) != S_OK) return DROPEFFECT_COPY;
  DWORD effect = *static_cast<DWORD*>(GlobalLock(medium.hGlobal));
  GlobalUnlock(medium.hGlobal);
  ReleaseStgMedium(&medium);
  return effect;
}

void ReportEffect(IDataObject* data, const char* name, DWORD effect) {
  FORMATETC format = {Format(name), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {TYMED_HGLOBAL};
  medium.hGlobal = GlobalAlloc(GMEM_MOVEABLE, sizeof effect);
  *static_cast<DWORD*>(GlobalLock(medium.hGlobal)) = effect;
  GlobalUnlock(medium.hGlobal);
  // Under Wine another process's paste gets a copy of the data that takes no reports
  // (E_NOTIMPL); the shell's report reaches the source only on Windows.
  if (data->SetData(&format, &medium, TRUE) != S_OK) ReleaseStgMedium(&medium);
}

bool WriteStream(IStream* stream, const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  char piece[65536];
  ULONG got = 0;
  DWORD written = 0;
  bool ok = true;
  while (ok && SUCCEEDED(stream->Read(piece, sizeof piece, &got)) && got)
    ok = WriteFile(file, piece, got, &written, nullptr) && written == got;
  CloseHandle(file);
  return ok;
}

int PasteInto(const char* folder) {
  OleInitialize(nullptr);
  IDataObject* data = nullptr;
  int pasted = -1;
  if (SUCCEEDED(OleGetClipboard(&data)) && data) {
    FORMATETC format = {Format(CFSTR_FILEDESCRIPTORW), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium = {};
    if (data->GetData(&format, &medium) == S_OK) {
      pasted = 0;
      wchar_t base[MAX_PATH];
      MultiByteToWideChar(CP_UTF8, 0, folder, -1, base, MAX_PATH);
      auto* group = static_cast<FILEGROUPDESCRIPTORW*>(GlobalLock(medium.hGlobal));
      for (UINT i = 0; i < group->cItems; ++i) {
        const FILEDESCRIPTORW& d = group->fgd[i];
        std::wstring path = std::wstring(base) + L"\\" + d.cFileName;
        if (d.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
          CreateDirectoryW(path.c_str(), nullptr);
          continue;
        }
        FORMATETC contents = {Format(CFSTR_FILECONTENTS), nullptr, DVASPECT_CONTENT, static_cast<LONG>(i), TYMED_ISTREAM};
        STGMEDIUM stream = {};
        if (data->GetData(&contents, &stream) != S_OK) continue;
        if (WriteStream(stream.pstm, path)) ++pasted;
        ReleaseStgMedium(&stream);
      }
      GlobalUnlock(medium.hGlobal);
      ReleaseStgMedium(&medium);
      DWORD effect = ReadEffect(data, CFSTR_PREFERREDDROPEFFECT) & DROPEFFECT_MOVE ? DROPEFFECT_MOVE : DROPEFFECT_COPY;
      ReportEffect(data, CFSTR_PERFORMEDDROPEFFECT, effect);
      ReportEffect(data, CFSTR_PASTESUCCEEDED, effect);
    }
    data->Release();
  }
  printf("pasted %d\n", pasted);
  OleUninitialize();
  return pasted >= 0 ? 0 : 1;
}

int CopyFileToClipboard(const char* path) {
  size_t n = strlen(path);
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + n + 2);
  DROPFILES* files = static_cast<DROPFILES*>(GlobalLock(block));
  files->pFiles = sizeof(DROPFILES);
  memcpy(reinterpret_cast<char*>(files + 1), path, n);
  GlobalUnlock(block);
  if (!OpenClipboard(nullptr)) return 1;
  EmptyClipboard();
  bool set = SetClipboardData(CF_HDROP, block) != nullptr;
  CloseClipboard();
  printf(set ? "copied\n" : "not copied\n");
  return set ? 0 : 1;
}

bool TitleContains(HWND hwnd, const char* text) {
  char title[512] = "";
  GetWindowTextA(hwnd, title, sizeof title);
  return strstr(title, text) != nullptr;
}

// One --set: what a person's click, choice or typing does to the control.
void SetControl(HWND dialog, int id, const char* value) {
  HWND control = GetDlgItem(dialog, id);
  if (!control) {
    printf("no control %d\n", id);
    return;
  }
  char cls[64] = "";
  GetClassNameA(control, cls, sizeof cls);
  int number = atoi(value);
  if (!_stricmp(cls, WC_TABCONTROLA)) {
    // Moving the focus selects the tab and tells the parent, as a click on it does.
    SendMessageA(control, TCM_SETCURFOCUS, number, 0);
  } else if (!_stricmp(cls, "Button")) {
    LONG_PTR kind = GetWindowLongPtrA(control, GWL_STYLE) & BS_TYPEMASK;
    if (kind == BS_PUSHBUTTON || kind == BS_DEFPUSHBUTTON) {
      SendMessageA(control, BM_CLICK, 0, 0);
      return;
    }
    for (int tries = 0; tries < 2 && (SendMessageA(control, BM_GETCHECK, 0, 0) == BST_CHECKED) != (number != 0); ++tries)
      SendMessageA(control, BM_CLICK, 0, 0);
  } else if (!_stricmp(cls, "ComboBox")) {
    SendMessageA(control, CB_SETCURSEL, number, 0);
    SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(control));
  } else {
    SendMessageA(control, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(value));
  }
}

}  // namespace

int main(int argc, char** argv) {
  double wait = 0;
  bool close = false;
  int press = 0;
  const char* cls = "Kestrelia";
  int untilRows = -1;
  const char* drop = nullptr;
  const char* move = nullptr;
  const char* untilTitle = nullptr;
  const char* onlyTitle = nullptr;
  int untilSelected = -2;
  bool untilGone = false;
  std::vector<std::pair<int, const char*>> sets;
  int command = 0;
  for (int i = 1; i < argc; ++i) {
    if (!strcmp(argv[i], "--wait") && i + 1 < argc) wait = atof(argv[++i]);
    else if (!strcmp(argv[i], "--close")) close = true;
    else if (!strcmp(argv[i], "--ok")) press = IDOK;
    else if (!strcmp(argv[i], "--yes")) press = IDYES;
    else if (!strcmp(argv[i], "--no")) press = IDNO;
    else if (!strcmp(argv[i], "--rows") && i + 1 < argc) g_maxRows = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--class") && i + 1 < argc) cls = argv[++i];
    else if (!strcmp(argv[i], "--until-rows") && i + 1 < argc) untilRows = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--drop") && i + 1 < argc) drop = argv[++i];
    else if (!strcmp(argv[i], "--move") && i + 1 < argc) move = argv[++i];
    else if (!strcmp(argv[i], "--until-title") && i + 1 < argc) untilTitle = argv[++i];
    else if (!strcmp(argv[i], "--title") && i + 1 < argc) onlyTitle = argv[++i];
    else if (!strcmp(argv[i], "--until-selected") && i + 1 < argc) untilSelected = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--until-gone")) untilGone = true;
    else if (!strcmp(argv[i], "--command") && i + 1 < argc) command = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--set") && i + 2 < argc) {
      sets.emplace_back(atoi(argv[i + 1]), argv[i + 2]);
      i += 2;
    }
    else if (!strcmp(argv[i], "--paste") && i + 1 < argc) return PasteInto(argv[i + 1]);
    else if (!strcmp(argv[i], "--copy-file") && i + 1 < argc) return CopyFileToClipboard(argv[i + 1]);
    else if (!strcmp(argv[i], "--count") && i + 1 < argc) {
      // "#32768" counts the open menus.
      printf("shown %s: %d\n", argv[i + 1], FindShown(argv[i + 1], nullptr).shown);
      return 0;
    }
  }
  DWORD start = GetTickCount();
  if (untilGone) {
    while (FindShownWindow(cls, onlyTitle) && GetTickCount() - start < wait * 1000) Sleep(20);
    bool gone = !FindShownWindow(cls, onlyTitle);
    printf(gone ? "gone\n" : "still shown\n");
    return gone ? 0 : 1;
  }
  HWND hwnd = nullptr;
  for (;;) {
    hwnd = FindShownWindow(cls, onlyTitle);
    if (hwnd || GetTickCount() - start >= wait * 1000) break;
    Sleep(20);
  }
  if (hwnd && drop) DropFile(hwnd, drop);
  int x = 0, y = 0;
  if (hwnd && move && sscanf(move, "%d,%d", &x, &y) == 2)
    SetWindowPos(hwnd, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  while (hwnd && untilRows >= 0 && VisibleRows(hwnd) < untilRows && GetTickCount() - start < wait * 1000)
    Sleep(20);
  while (hwnd && untilSelected > -2 && FirstSelectedRow(hwnd) != untilSelected && GetTickCount() - start < wait * 1000)
    Sleep(20);
  // The title is written after the rows are shown.
  while (hwnd && untilTitle && !TitleContains(hwnd, untilTitle) && GetTickCount() - start < wait * 1000)
    Sleep(20);
  if (!hwnd) {
    printf("no window of class %s\n", cls);
    return 1;
  }
  for (const auto& set : sets) SetControl(hwnd, set.first, set.second);
  char title[512] = "";
  GetWindowTextA(hwnd, title, sizeof title);
  printf("window \"%s\"\n", title);
  EnumChildWindows(hwnd, DumpChild, 0);
  fflush(stdout);
  if (press) PostMessageA(hwnd, WM_COMMAND, MAKEWPARAM(press, BN_CLICKED), 0);
  if (command) PostMessageA(hwnd, WM_COMMAND, MAKEWPARAM(command, 0), 0);
  if (close) PostMessageA(hwnd, WM_CLOSE, 0, 0);
  return 0;
}
