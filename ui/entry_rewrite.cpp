#include "services/base.h"
#include "ui/entry_rewrite.h"

#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/nested_archives.h"
#include "model/app_state.h"
#include "model/compare.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "model/rbtree.h"
#include "model/view_hooks.h"
#include "res/resource.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/entry_list.h"
#include "ui/folder_tree_view.h"
#include "ui/listing_status.h"
#include "jobs/change_set.h"
#include "jobs/system_words.h"

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The entries cut with Ctrl+X, the list they were cut in and its archive.
struct CutMarks {
  HWND list = nullptr;
  std::string archive;
  std::vector<std::string> names;
} g_cut;

void TellError(const char* text) {
  PromptMessageBox(GetMainWindowHandle(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
}

// The first lines of a list, the rest counted: a box must fit on the screen.
std::string ShortList(const char* lines) {
  constexpr int kShown = 25;
  std::string out;
  int shown = 0, more = 0;
  for (const char* p = lines; *p;) {
    const char* end = strchr(p, '\n');
    size_t length = end ? static_cast<size_t>(end - p) : strlen(p);
    if (shown < kShown) {
      out.append(p, length).append("\n");
      ++shown;
    } else {
      ++more;
    }
    p += length + (end ? 1 : 0);
  }
  if (more) out += "... (" + std::to_string(more) + ")";
  return out;
}

std::string FullName(const liststruct* record) { return std::string(record->path) + record->filename; }

// Joins a folder text and a name: no separator when the folder already ends in one.
std::string JoinPath(const std::string& folder, const std::string& name, char separator) {
  if (folder.empty()) return name;
  char last = folder.back();
  if (last == '/' || last == '\\') return folder + name;
  return folder + separator + name;
}

// What was typed over a name, as a full name: a plain name stays in folder, a path with
// either separator goes below it ("sub\new.txt"), up ("..\new.txt") or from the top
// ("\new.txt"). Empty when it names nothing (nothing typed, or a trailing separator).
std::string ResolveTypedName(const std::string& folder, const char* typed) {
  std::string text = typed ? typed : "";
  for (char& c : text)
    if (c == '/') c = '\\';
  if (text.empty() || text.back() == '\\') return "";
  std::vector<std::string> parts;
  auto walk = [&](const std::string& path) {
    size_t start = 0;
    while (start <= path.size()) {
      size_t end = path.find('\\', start);
      if (end == std::string::npos) end = path.size();
      std::string part = path.substr(start, end - start);
      if (part == "..") {
        if (!parts.empty()) parts.pop_back();
      } else if (!part.empty() && part != ".") {
        parts.push_back(part);
      }
      start = end + 1;
    }
  };
  if (text[0] != '\\') walk(folder);
  walk(text);
  std::string full;
  for (const std::string& part : parts) full += (full.empty() ? "" : "\\") + part;
  return full;
}

std::string FolderOf(const std::string& fullName) {
  size_t cut = fullName.find_last_of("\\/");
  return cut == std::string::npos ? "" : fullName.substr(0, cut + 1);
}

int FindColumn(HWND list, const char* title) {
  HWND header = ListView_GetHeader(list);
  int count = header ? Header_GetItemCount(header) : 0;
  for (int column = 0; column < count; ++column) {
    char text[kPathBuf] = "";
    LVCOLUMNA c = {};
    c.mask = LVCF_TEXT;
    c.pszText = text;
    c.cchTextMax = sizeof text;
    if (SendMessageA(list, LVM_GETCOLUMNA, column, reinterpret_cast<LPARAM>(&c)) && !strcmp(text, title)) return column;
  }
  return -1;
}

std::string CellText(HWND list, int item, int column) {
  char text[kPathBuf] = "";
  ListView_GetItemText(list, item, column, text, sizeof text);
  return text;
}

// The kinds without the rewrite say why not.
bool RefusedForKind(const char* who, bool tellUser, int refusalText, RewriteProc ArchiveOperations::*rewrite) {
  if (NestedDepth()) {
    if (tellUser) TellError(GetMessageText(KLANG_MSG_INSIDE_ARCHIVE_READ_ONLY));
    return true;
  }
  const ArchiveFormat* format = ArchiveFormatOrZip(GetArchiveKind(), who);
  if (format->renameRefusal) printf("%s\n", format->renameRefusal);
  if (format->ops.*rewrite && !format->renameRefusal) return false;
  if (tellUser) TellError(GetMessageText(refusalText));
  return true;
}

bool ReadyForRewrite() {
  if (IsBusy() || IsOpenInProgress()) {
    TellError(GetMessageText(KLANG_MSG_BUSY));
    return false;
  }
  if (!*GetCurrentArchivePath()) {
    TellError(GetMessageText(KLANG_MSG_NO_ARCHIVE_OPEN));
    return false;
  }
  return true;
}

// An entry of that name, or (asFolder) any entry below a folder of that name.
bool NameTaken(HWND list, const std::string& fullName, bool asFolder = false) {
  std::string below = fullName + "\\";
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row) {
    liststruct* record = GetRowRecord(list, static_cast<int>(row));
    if (!record) continue;
    std::string name = FullName(record);
    if (PathCompareIndependentCaseSense(name.c_str(), fullName.c_str()) == 0) return true;
    if (asFolder && name.size() > below.size() && _strnicmp(name.c_str(), below.c_str(), below.size()) == 0) return true;
  }
  return false;
}

// A refusal the user has read in the question after it, and answered.
constexpr int kRefusalTold = -90;

// A read-only archive stays as it is, but the user may still want the change: it goes to a
// copy under a name the user gives, which becomes the open archive. False when it did not
// (the user declined, or the copy failed: job->failure says why).
bool SaveChangeAsNewArchive(EntryRewriteJob* job, RewriteProc rewrite) {
  std::string question = std::string(job->failure) + "\n\n" + GetMessageText(KLANG_MSG_SAVE_CHANGE_AS_NEW);
  job->result = kRefusalTold;
  if (PromptMessageBox(GetMainWindowHandle(), question.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE),
                       MB_YESNO | MB_ICONWARNING) != IDYES)
    return false;
  char target[kPathBuf] = "";
  const char* dot = strrchr(job->archive, '.');
  if (!GetPrompts().saveFile(GetMainWindowHandle(), dot ? dot + 1 : "zip",
                             GetMessageText(KLANG_MSG_SAVE_NEW_ARCHIVE_TITLE), true, target) ||
      !target[0] || _stricmp(target, job->archive) == 0)
    return false;
  DWORD error = CopyFileA(job->archive, target, FALSE) ? 0 : GetLastError();
  // The copy is the user's new archive: it takes the old one's attributes but not its refusal.
  if (!error && !SetFileAttributesA(target, FILE_ATTRIBUTE_NORMAL)) error = GetLastError();
  if (error) {
    snprintf(job->failure, sizeof job->failure, "%s\n\n\"%s\"\n%s", GetMessageText(KLANG_MSG_CANNOT_WRITE_ARCHIVE),
             target, SystemErrorText(error).c_str());
    job->result = -1;
    return false;
  }
  job->result = rewrite(target, job->changes, job->failure, sizeof job->failure);
  // A copy the change could not be made in is no archive the user asked for.
  if (job->result != 0) {
    DeleteFileA(target);
    return false;
  }
  snprintf(job->archive, sizeof job->archive, "%s", target);
  job->result = kRewriteSavedAsNew;
  return true;
}

// The worker of every rewrite from the window; who names it in the log, and the error line
// says what failed in its own words.
DWORD RunJob(EntryRewriteJob* job, const char* who, const char* errorFormat) {
  StartProgressDialog(false, nullptr);
  SetProgressMinimum(0);
  SetProgressMaximum(static_cast<int>(job->changes ? job->changes->count : 0));
  SetProgressTitle(GetMessageText(job->mode == REWRITE_DELETE ? KLANG_MSG_DELETING
                                  : job->mode == REWRITE_MOVE ? KLANG_MSG_MOVING
                                                              : KLANG_MSG_RENAMING));
  const ArchiveOperations& ops = ArchiveFormatOrZip(GetArchiveKind(), who)->ops;
  RewriteProc rewrite = job->mode == REWRITE_DELETE ? ops.remove : ops.rename;
  job->failure[0] = '\0';
  job->result = rewrite ? rewrite(job->archive, job->changes, job->failure, sizeof job->failure) : -1;
  if (job->result) Log(-1, GetVerbose(), errorFormat, job->result);
  CloseProgressDialog();
  if (job->result == kRewriteReadOnly) SaveChangeAsNewArchive(job, rewrite);
  if (HWND main = GetMainWindowHandle()) {
    SendMessageA(main, WM_APP_ENTRIES_REWRITTEN, 0, reinterpret_cast<LPARAM>(job));
  } else {
    ApplyEntryRewrite(job);
  }
  ReleaseOperation(OPERATION_JOB);
  if (job->done) {
    Log(2, GetVerbose(), "%s: setting event", who);
    SetEvent(job->done);
  } else {
    Log(2, GetVerbose(), "%s: not setting event", who);
    free(job);
  }
  return 0;
}

void RemoveDeletedRows(EntryRewriteJob* job, HWND list) {
  if (GetFileAttributesA(job->archive) == INVALID_FILE_ATTRIBUTES) {
    // Every entry went, and the archive with them.
    DeleteAllEntryRows(list);
    SetCurrentArchivePath("");
    if (GetViewHooks().setWindowTitle) GetViewHooks().setWindowTitle("");
    ResetListingTotals();
    return;
  }
  int first = DeleteEntryRowsWhere(
      list,
      [](const liststruct* record, void* changes) {
        return RBTreeSearch(static_cast<RBTree*>(changes), FullName(record).c_str()) != nullptr;
      },
      job->changes);
  // The row that took the place of the first deleted one carries the selection on, so the
  // next key press acts where the user was.
  int rows = static_cast<int>(GetEntryRowCount(list));
  if (first >= 0 && rows > 0) {
    int row = first < rows ? first : rows - 1;
    ListView_SetItemState(list, -1, 0, LVIS_SELECTED);
    ListView_SetItemState(list, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list, row, FALSE);
  }
  if (list == job->list && IsWindowVisible(list)) SetFocus(list);
}

void RenameRows(EntryRewriteJob* job, HWND list) {
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row) {
    liststruct* record = GetRowRecord(list, static_cast<int>(row));
    RBNode* node = record ? RBTreeSearch(job->changes, FullName(record).c_str()) : nullptr;
    if (!node) continue;
    // The rows keep the separator of the kind (TAR's is "/").
    std::string now = static_cast<ChangeRecord*>(node->info)->newPath;
    char separator = ArchiveSeparator(GetArchiveKind());
    for (char& c : now)
      if (c == '/' || c == '\\') c = separator;
    size_t cut = now.find_last_of(separator);
    std::string folder = cut == std::string::npos ? "" : now.substr(0, cut + 1);
    std::string name = cut == std::string::npos ? now : now.substr(cut + 1);
    Log(2, GetVerbose(), "ChangeFilename inserting into TVRBTreeDataReady: %s", now.c_str());
    if (!SetEntryRecordNames(record, folder.c_str(), name.c_str())) continue;
    record->type = SharedTypeText(record->filename, nullptr);
    ListView_RedrawItems(list, static_cast<int>(row), static_cast<int>(row));
  }
}

EntryRewriteJob* JobForSelection(int mode, HWND list, const char* folder) {
  EntryRewriteJob* job = NewEntryRewriteJob(mode, list);
  if (!job) return nullptr;
  bool added = true;
  auto add = [&](const liststruct* entry, const std::string& underName, int row) {
    std::string moved = folder ? JoinPath(folder, underName, '\\') : "";
    added = added && AddChangeRecord(job->changes, FullName(entry).c_str(), moved.c_str(), row);
  };
  for (int row : SelectedEntryRows(list)) {
    liststruct* record = GetRowRecord(list, row);
    if (!record) continue;
    if (!record->folder) {
      add(record, record->filename, row);
      continue;
    }
    // A folder's row stands for every entry below it, which keep their places under it.
    size_t skip = strlen(record->path);
    ForEachEntryBelow(record, [&](const liststruct* entry) { add(entry, FullName(entry).substr(skip), row); });
    // The folder itself too, so that its folder entries, empty subfolders among them, go along.
    std::string moved = folder ? JoinPath(folder, std::string(record->filename) + "\\", '\\') : "";
    added = added && AddChangeRecord(job->changes, (FullName(record) + "\\").c_str(), moved.c_str(), row);
  }
  if (!added) {
    DestroyChangeSet(&job->changes);
    free(job);
    return nullptr;
  }
  return job;
}

constexpr char kPathEditProp[] = "KestreliaPathEdit";

struct PathEdit {
  HWND list;
  int row;
  WNDPROC old;
};

LRESULT CALLBACK PathEditProc(HWND edit, UINT message, WPARAM wParam, LPARAM lParam) {
  PathEdit* state = static_cast<PathEdit*>(GetPropA(edit, kPathEditProp));
  WNDPROC old = state->old;
  switch (message) {
    case WM_GETDLGCODE:
      return DLGC_WANTALLKEYS;
    case WM_CHAR:
      if (wParam == '\r' || wParam == 27) return 0;  // no beep for the keys that end the edit
      break;
    case WM_KEYDOWN:
      if (wParam == VK_RETURN || wParam == VK_ESCAPE) {
        char text[kPathBuf] = "";
        GetWindowTextA(edit, text, sizeof text);
        HWND list = state->list;
        int row = state->row;
        DestroyWindow(edit);
        SetFocus(list);
        if (wParam == VK_RETURN) ChangeFileName(list, text, LISTSTRUCT_PATH, row);
        return 0;
      }
      break;
    case WM_KILLFOCUS:
      PostMessageA(edit, WM_CLOSE, 0, 0);
      break;
    case WM_NCDESTROY:
      RemovePropA(edit, kPathEditProp);
      delete state;
      break;
    default:
      break;
  }
  return CallWindowProcA(old, edit, message, wParam, lParam);
}

}  // namespace

HWND EditEntryPath(HWND list, int row) {
  int column = FindColumn(list, GetDescriptionPath());
  RECT cell;
  const liststruct* record = GetRowRecord(list, row);
  if (column < 0 || !record || record->folder || !CanRenameEntries(false)) return nullptr;
  ListView_EnsureVisible(list, row, FALSE);
  if (!ListView_GetSubItemRect(list, row, column, LVIR_LABEL, &cell)) return nullptr;
  HWND edit = CreateWindowExA(0, "EDIT", CellText(list, row, column).c_str(),
                              WS_CHILD | WS_VISIBLE | WS_BORDER | ES_AUTOHSCROLL, cell.left, cell.top,
                              cell.right - cell.left, cell.bottom - cell.top, list, nullptr,
                              reinterpret_cast<HINSTANCE>(GetWindowLongPtrA(list, GWLP_HINSTANCE)), nullptr);
  if (!edit) return nullptr;
  SendMessageA(edit, WM_SETFONT, SendMessageA(list, WM_GETFONT, 0, 0), TRUE);
  PathEdit* state = new PathEdit{list, row, nullptr};
  SetPropA(edit, kPathEditProp, state);
  state->old = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrA(edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(PathEditProc)));
  SendMessageA(edit, EM_SETSEL, 0, -1);
  SetFocus(edit);
  return edit;
}

void OnEntryListClick(HWND list, int row, int column) {
  static HWND lastList = nullptr;
  static int lastRow = -1;
  static DWORD lastTick = 0;
  DWORD now = GetTickCount();
  bool again = list == lastList && row >= 0 && row == lastRow && now - lastTick > GetDoubleClickTime();
  lastList = list;
  lastRow = row;
  lastTick = now;
  if (again && column >= 0 && column == FindColumn(list, GetDescriptionPath())) {
    lastRow = -1;  // the click after the edit starts over
    EditEntryPath(list, row);
  }
}

EntryRewriteJob* NewEntryRewriteJob(int mode, HWND list) {
  EntryRewriteJob* job = static_cast<EntryRewriteJob*>(calloc(1, sizeof(EntryRewriteJob)));
  if (!job) return nullptr;
  job->mode = mode;
  job->list = list;
  snprintf(job->archive, sizeof job->archive, "%s", GetCurrentArchivePath());
  job->changes = CreateChangeSet();
  if (!job->changes) {
    free(job);
    return nullptr;
  }
  return job;
}

DWORD WINAPI DeleteThread(LPVOID job) {
  return RunJob(static_cast<EntryRewriteJob*>(job), "DeleteThread", "DeleteThread: !!! got an error cannot delete !!! #:%d");
}
DWORD WINAPI UpdateTreeViewDragOrDeleteThread(LPVOID p) {
  EntryRewriteJob* job = static_cast<EntryRewriteJob*>(p);
  return RunJob(job, "UpdateTreeViewDragOrDeleteThread",
                job->mode == REWRITE_DELETE ? "UpdateTreeViewDragOrDeleteThread DeleteFilesFromZIPRBTree reported an error: %d"
                                            : "UpdateTreeViewDragOrDeleteThread ChangeFilesFromZip reported an error: %d");
}
DWORD WINAPI UpdateTreeViewEditThread(LPVOID job) {
  return RunJob(static_cast<EntryRewriteJob*>(job), "UpdateTreeViewEditThread",
                "UpdateTreeViewEditThread: ChangeFilesFromZip reported an error: %d");
}
DWORD WINAPI ChangeThreadFilename(LPVOID job) {
  return RunJob(static_cast<EntryRewriteJob*>(job), "ChangeThreadFilename",
                "ChangeThreadFilename: !!! got an error cannot rename !!! #:%d");
}

void StartEntryRewrite(EntryRewriteJob* job, LPTHREAD_START_ROUTINE body) {
  if (!body)
    body = job->mode == REWRITE_DELETE ? DeleteThread
                                : job->mode == REWRITE_MOVE ? UpdateTreeViewDragOrDeleteThread
                                                            : ChangeThreadFilename;
  // The question before (delete these?) may have let another command start its run.
  bool claimed = ClaimOperation(OPERATION_JOB) == OPERATION_NONE;
  if (claimed && StartWorker("StartEntryRewrite", body, job)) return;
  if (claimed) ReleaseOperation(OPERATION_JOB);
  DestroyChangeSet(&job->changes);
  free(job);
  TellError(GetMessageText(claimed ? KLANG_MSG_NO_MEMORY : KLANG_MSG_BUSY));
}

void DeleteSelectedEntries(HWND list) {
  if (!ReadyForRewrite() || RefusedForKind("DeleteThread", true, 32, &ArchiveOperations::remove)) return;
  if (!list || ListView_GetSelectedCount(list) == 0) {
    TellError(GetMessageText(KLANG_MSG_NO_ENTRY_SELECTED));
    return;
  }
  if (PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_DELETE_QUESTION),
                       GetMessageText(KLANG_MSG_DELETE_TITLE), MB_YESNO | MB_ICONQUESTION) != IDYES)
    return;
  EntryRewriteJob* job = JobForSelection(REWRITE_DELETE, list, nullptr);
  if (!job) {
    TellError(GetMessageText(KLANG_MSG_NO_MEMORY));
    return;
  }
  StartEntryRewrite(job);
}

bool CanRenameEntries(bool tellUser) {
  if (IsBusy() || IsOpenInProgress() || !*GetCurrentArchivePath()) return false;
  return !RefusedForKind("ChangeFileName", tellUser, 31, &ArchiveOperations::rename);
}

void EditSelectedEntryName(HWND list) {
  int row = FocusedEntryRow(list);
  if (row < 0 || !CanRenameEntries(true)) return;
  SetFocus(list);
  ListView_EditLabel(list, row);
}

void ChangeFileName(HWND list, const char* newText, int action, int item) {
  int pathColumn = FindColumn(list, GetDescriptionPath());
  int nameColumn = FindColumn(list, GetDescriptionFilename());
  if (pathColumn < 0 || nameColumn < 0) {
    Log(-1, GetVerbose(), "ChangeFileName descriptionPath or descriptionFilename not found");
    return;
  }
  if (!CanRenameEntries(true)) return;
  if (!newText) return;  // the edit was cancelled
  const liststruct* record = GetRowRecord(list, item);
  if (record && record->folder && action != LISTSTRUCT_PATH) {
    ArchiveControlBlock* block = GetCurrentControlBlock();
    RenameTreeFolder(block && block->list ? block->list : list, FullName(record).c_str(), newText, true);
    return;
  }
  std::string folder = CellText(list, item, pathColumn), name = CellText(list, item, nameColumn);
  std::string oldPath = JoinPath(folder, name, '/'), newPath;
  if (action == LISTSTRUCT_PATH) {
    newPath = JoinPath(newText, name, '\\');  // an empty folder means the top
  } else {
    newPath = ResolveTypedName(folder, newText);
    if (newPath.empty()) {
      TellError(GetMessageText(KLANG_MSG_EMPTY_NAME));
      return;
    }
  }
  Log(2, GetVerbose(), "ChangeFileName old %s", oldPath.c_str());
  Log(2, GetVerbose(), "ChangeFileName new %s", newPath.c_str());
  if (PathCompareIndependentCaseSense(oldPath.c_str(), newPath.c_str()) == 0) return;
  ArchiveControlBlock* block = GetCurrentControlBlock();
  if (NameTaken(block && block->list && HasEntryRows(block->list) ? block->list : list, newPath)) {
    TellError(GetMessageText(KLANG_MSG_NAME_TAKEN));
    return;
  }
  // A name typed with a folder in it moves the entry there.
  bool moves = action == LISTSTRUCT_PATH || _stricmp(FolderOf(newPath).c_str(), FolderOf(oldPath).c_str()) != 0;
  EntryRewriteJob* job = NewEntryRewriteJob(moves ? REWRITE_MOVE : REWRITE_RENAME, list);
  if (!job || !AddChangeRecord(job->changes, oldPath.c_str(), newPath.c_str(), item)) {
    if (job) DestroyChangeSet(&job->changes);
    free(job);
    TellError(GetMessageText(KLANG_MSG_NO_MEMORY));
    return;
  }
  StartEntryRewrite(job);
}

int RenamePath(HWND list, const char* oldFolder, const char* newFolder, RBTree* changes) {
  std::string prefix = std::string(oldFolder) + "\\";
  printf("RenamePath oldpath: %s\n", prefix.c_str());
  printf("RenamePath NewPath: %s\n", newFolder);
  int added = 0;
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row) {
    liststruct* record = GetRowRecord(list, static_cast<int>(row));
    std::string old = record ? FullName(record) : "";
    std::string folded = old;  // rows of TAR separate with "/"
    for (char& c : folded)
      if (c == '/') c = '\\';
    if (old.size() <= prefix.size() || _strnicmp(folded.c_str(), prefix.c_str(), prefix.size()) != 0) continue;
    std::string now = JoinPath(newFolder, old.substr(prefix.size()), '\\');
    if (AddChangeRecord(changes, old.c_str(), now.c_str(), static_cast<int>(row))) ++added;
  }
  return added;
}

void RenameTreeFolder(HWND list, const char* oldFolder, const char* newName, bool stayInFolder) {
  if (!newName || !oldFolder || !*oldFolder) return;
  if (!ReadyForRewrite() || !CanRenameEntries(true)) return;
  std::string old = oldFolder;
  for (char& c : old)
    if (c == '/') c = '\\';
  while (!old.empty() && old.back() == '\\') old.pop_back();
  std::string now = ResolveTypedName(FolderOf(old), newName);
  if (now.empty()) {
    TellError(GetMessageText(KLANG_MSG_EMPTY_NAME));
    return;
  }
  if (PathCompareIndependentCaseSense(old.c_str(), now.c_str()) == 0) return;
  // Not into itself: the folder would hold its own copy.
  if (_strnicmp(now.c_str(), (old + "\\").c_str(), old.size() + 1) == 0 || NameTaken(list, now, true)) {
    TellError(GetMessageText(KLANG_MSG_NAME_TAKEN));
    return;
  }
  EntryRewriteJob* job = NewEntryRewriteJob(REWRITE_RENAME, list);
  int renamed = job ? RenamePath(list, old.c_str(), now.c_str(), job->changes) : -1;
  if (renamed <= 0) {
    if (job) DestroyChangeSet(&job->changes);
    free(job);
    if (renamed < 0) TellError(GetMessageText(KLANG_MSG_NO_MEMORY));
    return;
  }
  // The folder itself too: its folder entries, empty subfolders among them, go with it.
  if (!AddChangeRecord(job->changes, (old + "\\").c_str(), (now + "\\").c_str(), -1)) {
    DestroyChangeSet(&job->changes);
    free(job);
    TellError(GetMessageText(KLANG_MSG_NO_MEMORY));
    return;
  }
  if (!stayInFolder) snprintf(job->folderAfter, sizeof job->folderAfter, "%s", now.c_str());
  StartEntryRewrite(job, UpdateTreeViewEditThread);
}

void MoveSelectedEntries(HWND list, const char* folder) {
  if (!ReadyForRewrite() || !CanRenameEntries(true)) return;
  // Rows already in the folder stay; a name the folder holds already is refused whole.
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND every = block && block->list && HasEntryRows(block->list) ? block->list : list;
  std::string into = folder ? folder : "";
  for (int row : SelectedEntryRows(list)) {
    liststruct* record = GetRowRecord(list, row);
    if (!record) continue;
    std::string moved = JoinPath(into, record->filename, '\\');
    std::string itself = FullName(record) + "\\";
    bool intoItself = record->folder && _strnicmp((into + "\\").c_str(), itself.c_str(), itself.size()) == 0;
    if (intoItself || PathCompareIndependentCaseSense(FullName(record).c_str(), moved.c_str()) == 0) {
      ListView_SetItemState(list, row, 0, LVIS_SELECTED);
    } else if (NameTaken(every, moved, record->folder)) {
      TellError(GetMessageText(KLANG_MSG_NAME_TAKEN));
      return;
    }
  }
  if (ListView_GetSelectedCount(list) == 0) return;
  EntryRewriteJob* job = JobForSelection(REWRITE_MOVE, list, into.c_str());
  if (!job) {
    TellError(GetMessageText(KLANG_MSG_NO_MEMORY));
    return;
  }
  // The tree shows the folder the entries went to.
  while (!into.empty() && (into.back() == '\\' || into.back() == '/')) into.pop_back();
  snprintf(job->folderAfter, sizeof job->folderAfter, "%s", into.c_str());
  StartEntryRewrite(job);
}

void DeleteCTRLCutEntries(HWND list, const int* rows, int count) {
  if (!list) {
    Log(-1, GetVerbose(), "DeleteCTRLCutEntries: ViewList is not defined");
    return;
  }
  EntryRewriteJob* job = NewEntryRewriteJob(REWRITE_DELETE, list);
  bool built = job != nullptr;
  for (int i = 0; built && i < count; ++i) {
    liststruct* record = GetRowRecord(list, rows[i]);
    if (record) built = AddChangeRecord(job->changes, FullName(record).c_str(), nullptr, rows[i]);
  }
  if (!built) {
    Log(-1, GetVerbose(), "Memory error");
    if (job) DestroyChangeSet(&job->changes);
    free(job);
    return;
  }
  StartEntryRewrite(job, UpdateTreeViewDragOrDeleteThread);
}

bool CutEntries(HWND list, const std::vector<std::string>& names) {
  g_cut = CutMarks();
  if (!list || names.empty() || !*GetCurrentArchivePath()) return false;
  if (RefusedForKind("DeleteCTRLCutEntries", true, 32, &ArchiveOperations::rename)) return false;
  g_cut.list = list;
  g_cut.archive = GetCurrentArchivePath();
  g_cut.names = names;
  return true;
}

void DeletePastedCutEntries() {
  CutMarks cut;
  std::swap(cut, g_cut);
  if (cut.names.empty() || !HasEntryRows(cut.list) || cut.archive != GetCurrentArchivePath()) return;
  RBTree* wanted = CreateChangeSet();
  if (!wanted) return;
  for (const std::string& name : cut.names) AddChangeRecord(wanted, name.c_str(), nullptr, 0);
  std::vector<int> rows;
  size_t count = GetEntryRowCount(cut.list);
  for (size_t row = 0; row < count; ++row) {
    liststruct* record = GetRowRecord(cut.list, static_cast<int>(row));
    if (record && RBTreeSearch(wanted, FullName(record).c_str())) rows.push_back(static_cast<int>(row));
  }
  DestroyChangeSet(&wanted);
  if (!rows.empty()) DeleteCTRLCutEntries(cut.list, rows.data(), static_cast<int>(rows.size()));
}

void ApplyEntryRewrite(EntryRewriteJob* job) {
  if (job->result == 0) {
    // Both lists hold records of the entries: the one the user acted in and the other.
    ArchiveControlBlock* block = GetCurrentControlBlock();
    HWND lists[3] = {job->list, block ? block->list : nullptr, block ? block->treeList : nullptr};
    for (int i = 0; i < 3; ++i) {
      HWND list = lists[i];
      if (!list || !HasEntryRows(list) || (i > 0 && list == job->list) || (i == 2 && list == lists[1])) continue;
      if (job->mode == REWRITE_DELETE) RemoveDeletedRows(job, list);
      else RenameRows(job, list);
    }
    WriteListingStatusBar();
    // The folder tree is derived from the rows again the next time it is shown, in the same
    // folder and on the row that took the acted-on one's place, unless the change asks for
    // another folder.
    if (*job->folderAfter) SelectTreeFolderAfterDerive(job->folderAfter);
    HWND folderList = block ? block->treeList : nullptr;
    const liststruct* next = folderList ? GetRowRecord(folderList, FocusedEntryRow(folderList)) : nullptr;
    KeepTreePlace(next ? FullName(next).c_str() : nullptr);
    SetTreeInStep(0);
    if (GetViewHooks().rebuildTreeList) GetViewHooks().rebuildTreeList();
  } else if (job->result == kRefusalTold) {
    // The archive and its rows are as they were, and the user knows why.
  } else if (job->result == kRewriteSavedAsNew) {
    // The window shows the new archive, listed afresh.
    SetCurrentArchivePath(job->archive);
    if (HWND main = GetMainWindowHandle()) PostMessageA(main, WM_COMMAND, MAKEWPARAM(IDM_RELOAD, 0), 0);
  } else if (job->result == kRewriteSimulated || job->result == kRewriteUnmatched) {
    // The archive is as it was, and so are the rows.
    std::string text = GetMessageText(job->result == kRewriteSimulated ? KLANG_MSG_SIMULATED_CHANGES
                                                                       : KLANG_MSG_NOTHING_MATCHED);
    if (job->result == kRewriteSimulated) text += std::string("\n\n") + ShortList(job->failure);
    PromptMessageBox(GetMainWindowHandle(), text.c_str(), "Kestrelia", MB_OK | MB_ICONINFORMATION);
  } else {
    TellError(*job->failure ? job->failure : GetMessageText(KLANG_MSG_ARCHIVE_UNCHANGED));
  }
  DestroyChangeSet(&job->changes);
}
