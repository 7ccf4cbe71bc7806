#include "services/base.h"
#include "app/mainwindow.h"

#include "app/archive_builder.h"

#include "app/main_recent.h"
#include "app/main_state.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "res/resource.h"
#include "kestrelia_lang.h"
#include "services/dpi.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "settings/load.h"
#include "settings/window_placement.h"
#include "ui/menu_style.h"
#include "ui/entry_list.h"
#include "ui/folder_tree_view.h"
#include "ui/clipboard_chain.h"
#include "ui/drop_target.h"
#include "ui/entry_rewrite.h"
#include "ui/listing_view.h"
#include "ui/search.h"
#include "formats/archive_runs.h"
#include "jobs/extract_archive.h"
#include "jobs/extract_run.h"
#include "formats/open_archive.h"

#include <commctrl.h>
#include <shellapi.h>

#include <vector>

const char kMainWindowClass[] = "Kestrelia";
const char kProductName[] = "Kestrelia";

namespace {

MainWindowState g_main = {};

// Listing and every worker read the list rows that closing frees.
bool OperationRunning() { return IsBusy() || IsOpenInProgress(); }

LRESULT MsgCreate(HWND hwnd) {
  SetMainWindowHandle(hwnd);
  g_main.dpi = static_cast<UINT>(WindowDpi(hwnd));
  CreateMainControls(hwnd);
  SetMenu(hwnd, BuildMainMenu());
  g_main.accelerators = BuildAccelerators();
  InstallViewHooks();
  LoadSystemImageLists();
  DragAcceptFiles(hwnd, TRUE);
  RegisterWindowDropTarget(hwnd);
  return 0;
}

// A running operation is cancelled first (when the user agrees), and the window closes once
// it has stopped.
LRESULT MsgClose(HWND hwnd) {
  if (!OperationRunning()) {
    DestroyWindow(hwnd);
    return 0;
  }
  if (g_main.closeWhenStopped) return 0;
  if (PromptMessageBox(hwnd, GetMessageText(KLANG_MSG_CANCEL_RUNNING_QUESTION), "Kestrelia",
                       MB_YESNO | MB_ICONQUESTION) != IDYES)
    return 0;
  // A run that ended while the question was up lets the first tick close the window.
  Log(2, GetVerbose(), "MainWndProc: cancelling the running operation before closing");
  CancelProgress(1);
  g_main.closeWhenStopped = true;
  SetTimer(hwnd, IDT_CLOSE_WHEN_STOPPED, 50, nullptr);
  return 0;
}

LRESULT MsgDestroy(HWND hwnd) {
  SetPlacementSplitter(MulDiv(g_main.splitX, 96, g_main.dpi ? g_main.dpi : 96));
  SaveWindowPlacement(hwnd);
  LeaveClipboardChain(hwnd);
  RevokeFileDropTarget(hwnd);
  DetachEntryRows(g_main.list);
  DetachEntryRows(g_main.treeList);
  if (g_main.font) DeleteObject(g_main.font);
  g_main.hwnd = nullptr;
  SetMainWindowHandle(nullptr);
  PostQuitMessage(0);
  return 0;
}

LRESULT MsgNotify(NMHDR* header) {
  LRESULT result = 0;
  if (header->code == TTN_GETDISPINFOA && ToolbarTip(reinterpret_cast<NMTTDISPINFOA*>(header))) return 0;
  if (HandleEntryListNotify(header, &result)) return result;
  if (HandleFolderTreeNotify(header, &result)) return result;
  if (header->hwndFrom == g_main.list || header->hwndFrom == g_main.treeList) {
    switch (header->code) {
      case LVN_COLUMNCLICK:
        SortByColumn(header->hwndFrom, reinterpret_cast<NMLISTVIEW*>(header)->iSubItem);
        return 0;
      case NM_CLICK: {
        const NMITEMACTIVATE* click = reinterpret_cast<NMITEMACTIVATE*>(header);
        OnEntryListClick(header->hwndFrom, click->iItem, click->iSubItem);
        return 0;
      }
      case LVN_BEGINDRAG:
        BeginEntryDrag(header->hwndFrom);
        return 0;
      case LVN_ITEMACTIVATE:  // a double click on a row; Enter arrives as IDOK
        OnMainCommand(IDOK);
        return 0;
      case LVN_BEGINLABELEDIT:  // F2 (which told why not already) or a slow second click on a name
        return CanRenameEntries(false) ? FALSE : TRUE;
      case LVN_ENDLABELEDIT: {
        // The row keeps its old name until the archive holds the new one.
        const LVITEMA& item = reinterpret_cast<NMLVDISPINFOA*>(header)->item;
        if (item.pszText) ChangeFileName(header->hwndFrom, item.pszText, LISTSTRUCT_FILENAME, item.iItem);
        return FALSE;
      }
      case LVN_ITEMCHANGED:
      case LVN_ODSTATECHANGED:
        ScheduleSelectionStatus();
        return 0;
      default:
        break;
    }
  }
  return 0;
}

LRESULT MsgDropFiles(HDROP drop) {
  std::vector<char> names;
  int count = DroppedFileNames(drop, names);
  DragFinish(drop);
  OnFilesDropped(reinterpret_cast<char (*)[kPathBuf]>(names.data()), count);
  return 0;
}

// A worker asks for the run's timer: timers belong to the window's own thread.
LRESULT MsgExtractionTimer(bool start) {
  if (start)
    SetTimer(g_main.hwnd, IDT_EXTRACTION, 1000, nullptr);
  else
    KillTimer(g_main.hwnd, IDT_EXTRACTION);
  RefreshToolbarState();
  return 0;
}

LRESULT MsgTimer(UINT_PTR id) {
  if (HandleFolderTreeMessage(WM_TIMER, id, 0)) return 0;
  if (id == IDT_CLOSE_WHEN_STOPPED) {
    if (OperationRunning()) return 0;
    KillTimer(g_main.hwnd, id);
    DestroyWindow(g_main.hwnd);
    return 0;
  }
  if (id == IDT_SELECTION_STATUS) {
    WriteSelectionStatus();
    RefreshToolbarState();
    return 0;
  }
  if (id != IDT_EXTRACTION) return 0;
  // A run's end or start changes what the buttons can do.
  RefreshToolbarState();
  char text[kPathBuf];
  FormatExtractionTimer(text, sizeof text, GetTickCount() - GetExtractionStartTick(), GetExtractionByteCounter());
  SendMessageA(g_main.status, SB_SETTEXTA, 2, reinterpret_cast<LPARAM>(text));
  return 0;
}

// The listing thread starts and ends an opening: the status text and the pointer follow.
LRESULT MsgOpening(bool started) {
  SendMessageA(g_main.status, SB_SETTEXTA, 3,
               reinterpret_cast<LPARAM>(started ? GetMessageText(KLANG_MSG_PLEASE_WAIT) : ""));
  POINT at;
  GetCursorPos(&at);
  if (WindowFromPoint(at) && (WindowFromPoint(at) == g_main.hwnd || IsChild(g_main.hwnd, WindowFromPoint(at))))
    SetCursor(LoadCursorA(nullptr, MAKEINTRESOURCEA(started ? 32514 : 32512)));  // IDC_WAIT, IDC_ARROW
  RefreshToolbarState();
  return 0;
}

LRESULT MsgDpiChanged(HWND hwnd, WPARAM wParam, const RECT* suggested) {
  g_main.dpi = HIWORD(wParam);
  SetWindowPos(hwnd, nullptr, suggested->left, suggested->top, suggested->right - suggested->left,
               suggested->bottom - suggested->top, SWP_NOZORDER | SWP_NOACTIVATE);
  LayoutMainControls();
  return 0;
}

// The Find dialog's registered message; registering the name again gives the number start-up
// registered.
UINT FindDialogMessage() {
  static const UINT message = RegisterWindowMessageA(FINDMSGSTRINGA);
  return message;
}

}  // namespace

MainWindowState& Main() { return g_main; }

LRESULT CALLBACK MainWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (HandleClipboardChainMessage(hwnd, message, wParam, lParam)) return 0;
  switch (message) {
    case WM_CREATE:
      return MsgCreate(hwnd);
    case WM_CLOSE:
      return MsgClose(hwnd);
    case WM_SIZE:
      LayoutMainControls();
      return 0;
    case WM_NOTIFY:
      return MsgNotify(reinterpret_cast<NMHDR*>(lParam));
    case WM_COMMAND:
      if (!HandleAddressCommand(wParam, lParam)) OnMainCommand(LOWORD(wParam));
      return 0;
    case WM_APP_REBUILD_TREE:
      RebuildFolderTree();
      return 0;
    case WM_APP_LISTING_EVENT:
      HandleListingEvent(wParam, lParam);
      return 0;
    case WM_LBUTTONDOWN:
    case WM_MOUSEMOVE:
    case WM_LBUTTONUP:
      if (HandleSplitterMouse(message, lParam)) return 0;
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_SETCURSOR:
      // Opening waits for a file another program holds and lists it: the pointer says so.
      if (IsOpenInProgress() && LOWORD(lParam) == HTCLIENT) {
        SetCursor(LoadCursorA(nullptr, MAKEINTRESOURCEA(32514)));  // IDC_WAIT
        return TRUE;
      }
      if (LOWORD(lParam) == HTCLIENT && reinterpret_cast<HWND>(wParam) == hwnd && SetSplitterCursor()) return TRUE;
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_APP_ENTRIES_REWRITTEN:
      ApplyEntryRewrite(reinterpret_cast<EntryRewriteJob*>(lParam));
      return 0;
    case WM_APP_REFRESH_TOOLBAR:
      RefreshToolbarState();
      return 0;
    case WM_TIMER:
      return MsgTimer(wParam);
    case WM_APP_EXTRACTION_TIMER:
      return MsgExtractionTimer(wParam != 0);
    case WM_APP_RUN_RESULT:
      SendMessageA(g_main.status, SB_SETTEXTA, 2, lParam);
      free(reinterpret_cast<void*>(lParam));
      return 0;
    case WM_DROPFILES:
      return MsgDropFiles(reinterpret_cast<HDROP>(wParam));
    case WM_SETFOCUS:
      SetFocus(CurrentView());
      return 0;
    case 0x02E0:  // WM_DPICHANGED
      return MsgDpiChanged(hwnd, wParam, reinterpret_cast<const RECT*>(lParam));
    case WM_MEASUREITEM:
      if (MeasureStyledMenuItem(hwnd, reinterpret_cast<MEASUREITEMSTRUCT*>(lParam))) return TRUE;
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_DRAWITEM:
      if (DrawStyledMenuItem(reinterpret_cast<const DRAWITEMSTRUCT*>(lParam))) return TRUE;
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_MENUCHAR:
      if (LRESULT found = StyledMenuChar(reinterpret_cast<HMENU>(lParam), static_cast<char>(LOWORD(wParam)))) return found;
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_INITMENUPOPUP:
      EnableMenuCommands(reinterpret_cast<HMENU>(wParam));
      CheckPresentationItems(reinterpret_cast<HMENU>(wParam));
      RefreshRecentMenu(reinterpret_cast<HMENU>(wParam));
      return 0;
    case WM_CONTEXTMENU:
      if (reinterpret_cast<HWND>(wParam) == g_main.list || reinterpret_cast<HWND>(wParam) == g_main.treeList) {
        ShowListContextMenu(reinterpret_cast<HWND>(wParam), lParam);
        return 0;
      }
      return DefWindowProcA(hwnd, message, wParam, lParam);
    case WM_APP_OPENING:
      return MsgOpening(wParam != 0);
    case WM_DESTROY:
      return MsgDestroy(hwnd);
    default:
      if (message == FindDialogMessage() && message) {
        HandleFindReplaceMessage(reinterpret_cast<const FINDREPLACEA*>(lParam));
        return 0;
      }
      return DefWindowProcA(hwnd, message, wParam, lParam);
  }
}

ATOM RegisterMainWindowClass(HINSTANCE instance) {
  WNDCLASSEXA wc = {};
  wc.cbSize = sizeof wc;
  wc.style = CS_OWNDC;
  wc.lpfnWndProc = MainWndProc;
  wc.hInstance = instance;
  wc.hIcon = LoadIconA(instance, MAKEINTRESOURCEA(IDI_KESTRELIA));
  wc.hIconSm = static_cast<HICON>(LoadImageA(instance, MAKEINTRESOURCEA(IDI_KESTRELIA), IMAGE_ICON,
                                             GetSystemMetrics(SM_CXSMICON), GetSystemMetrics(SM_CYSMICON), 0));
  wc.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));  // IDC_ARROW
  wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  wc.lpszClassName = kMainWindowClass;
  return RegisterClassExA(&wc);
}

HWND CreateMainWindow(HINSTANCE instance, int showCommand) {
  LoadSettings(nullptr);
  HWND hwnd = CreateWindowExA(WS_EX_ACCEPTFILES | WS_EX_CONTROLPARENT, kMainWindowClass, kProductName,
                              WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT, 960, 640,
                              nullptr, nullptr, instance, nullptr);
  if (!hwnd) return nullptr;
  RestoreWindowPlacement(hwnd, showCommand);
  if (GetPlacementSplitter() > 0) {
    g_main.splitX = MulDiv(GetPlacementSplitter(), g_main.dpi ? g_main.dpi : 96, 96);
    LayoutMainControls();
  }
  UpdateWindow(hwnd);
  SetFocus(CurrentView());
  return hwnd;
}

HWND GetMainWindow() { return g_main.hwnd; }
HACCEL GetMainAccelerators() { return g_main.accelerators; }
