// Prints the text of the selected item of the first tree view in a top-level window, so an
// end-to-end test can see where it has moved in a folder chooser before it confirms it.
//
//   treecaret TITLE      exit code 0 when the window and a selected item were found
#include "services/base.h"

#include <commctrl.h>

#include <cstdio>

namespace {

BOOL CALLBACK FindTree(HWND child, LPARAM out) {
  char cls[64] = "";
  GetClassNameA(child, cls, sizeof cls);
  if (_stricmp(cls, WC_TREEVIEWA)) return TRUE;
  *reinterpret_cast<HWND*>(out) = child;
  return FALSE;
}

}  // namespace

int main(int argc, char** argv) {
  HWND window = argc > 1 ? FindWindowA(nullptr, argv[1]) : nullptr;
  HWND tree = nullptr;
  if (window) EnumChildWindows(window, FindTree, reinterpret_cast<LPARAM>(&tree));
  HTREEITEM caret = tree ? reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, TVGN_CARET, 0)) : nullptr;
  if (!caret) {
    printf("no selected tree item\n");
    return 1;
  }
  // The item's text is copied into a buffer of the window's own process.
  DWORD pid = 0;
  GetWindowThreadProcessId(tree, &pid);
  HANDLE process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, pid);
  char* remote = process ? static_cast<char*>(VirtualAllocEx(process, nullptr, 4096, MEM_COMMIT, PAGE_READWRITE))
                         : nullptr;
  if (!remote) return 1;
  TVITEMA item = {};
  item.mask = TVIF_TEXT | TVIF_HANDLE;
  item.hItem = caret;
  item.pszText = remote + 1024;
  item.cchTextMax = 1024;
  WriteProcessMemory(process, remote, &item, sizeof item, nullptr);
  SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(remote));
  char text[1024] = "";
  ReadProcessMemory(process, remote + 1024, text, sizeof text - 1, nullptr);
  printf("%s\n", text);
  VirtualFreeEx(process, remote, 0, MEM_RELEASE);
  CloseHandle(process);
  return 0;
}
