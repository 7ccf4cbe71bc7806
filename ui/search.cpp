#include "services/base.h"
#include "ui/search.h"

#include "formats/content_search.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/compare.h"
#include "model/entry_rows.h"
#include "model/folder_tree.h"
#include "model/liststruct.h"
#include "model/rbtree.h"
#include "model/view_hooks.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"

#include <commctrl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// One presentation's memory of a search: the hits found so far (heap cells of ordinals,
// ordered) and the highest ordinal searched.
struct SearchPresentation {
  RBTree* found;
  int highest;
};

struct SearchValues {
  char text[kPathBuf];
  int matchCase;
  int wholeWord;
  int changed;
  int current;
  int endMark;
  int nameMode;
  int cancelled;  // the last content search ended by the user's cancel
  volatile LONG running;
  SearchPresentation list;
  SearchPresentation treeList;
  // The Find dialog and what it writes into.
  HWND dialog;
  FINDREPLACEA findReplace;
  char what[kPathBuf];
  char replace[kPathBuf];
  DWORD rememberedFlags;
  SearchStepBlock step;
};
SearchValues g = {"", 0, 0, 0, -1, -1, 0, 0, 0, {nullptr, 0}, {nullptr, 0}, nullptr, {}, "", "", FR_DOWN, {}};

SearchPresentation& Presentation(int folderList) { return folderList ? g.treeList : g.list; }

ArchiveControlBlock* Block() { return GetCurrentControlBlock(); }
bool FolderListShown() {
  ArchiveControlBlock* b = Block();
  return b && b->treeList && b->viewComponent == b->treeList;
}
HWND ShownView() {
  ArchiveControlBlock* b = Block();
  if (!b) return nullptr;
  return b->viewComponent ? b->viewComponent : b->list;
}

void ShowInfo(const char* text) {
  PromptMessageBox(GetMainWindowHandle(), text, "Kestrelia", MB_OK | MB_ICONINFORMATION);
}

// ---- found lists ----------------------------------------------------------------------

void RecreateFoundList(SearchPresentation& s) {
  RBTreeDestroy(&s.found);
  s.found = RBTreeCreate();
  s.found->compare = FoundListCompareGreater;  // ascending; a cell equal to others goes before them
  s.found->deleteKey = free;
}

int Ordinal(const RBNode* node) { return *static_cast<const int*>(node->key); }

RBNode* FindFound(RBTree* t, int ordinal) {
  for (RBNode* x = t->root->left; x != t->nil;) {
    int c = FoundListCompareEqual(x->key, &ordinal);
    if (c == 0) return x;
    x = c > 0 ? x->left : x->right;
  }
  return nullptr;
}

// The nearest hit after ordinal (after set) or before it.
RBNode* FoundBeside(RBTree* t, int ordinal, bool after) {
  int probe = after ? ordinal + 1 : ordinal;
  RBNode* best = nullptr;
  for (RBNode* x = t->root->left; x != t->nil;) {
    bool candidate = after ? FoundListCompareGreater(x->key, &probe) == 1 : FoundListCompareSmaller(x->key, &probe) == 1;
    if (candidate) best = x;
    x = candidate == after ? x->left : x->right;
  }
  return best;
}

void InsertFound(SearchPresentation& s, int ordinal) {
  if (!s.found) RecreateFoundList(s);
  if (FindFound(s.found, ordinal)) return;
  if (GetVerbose() >= 6) printf("inserting foundlist %d \n", ordinal);
  int* cell = static_cast<int*>(malloc(sizeof(int)));
  *cell = ordinal;
  RBTreeInsert(s.found, cell, nullptr);
}

int AnswerFromFoundList(const char* caller, SearchPresentation& s, int current, int* result, int direction,
                        int start) {
  if (!s.found) return 0;
  RBTree* t = s.found;
  if (!direction) {
    int probe = start >= 0 ? start : current;
    RBNode* before = probe >= 0 ? FoundBeside(t, probe, false) : nullptr;
    if (!before) return 0;
    *result = Ordinal(before);
    return 1;
  }
  if (current < s.highest) {
    RBNode* first = RBTreeFirst(t, t->root->left);
    if (current == -1) {
      if (first == t->nil) return 0;
      *result = Ordinal(first);
      return 1;
    }
    RBNode* at = FindFound(t, current);
    if (!at) {
      Log(0, GetVerbose(), "%s: actual value not found in foundlist ?\077\077 !!! - OldFound: %d", caller, current);
      return 0;
    }
    RBNode* next = RBTreeSuccessor(t, at);
    *result = next != t->nil ? Ordinal(next) : current;
    return 1;
  }
  if (current == s.highest && s.highest >= 1) {
    RBNode* hit = start >= 0 ? FoundBeside(t, start, true) : RBTreeFirst(t, t->root->left);
    if (!hit || hit == t->nil) return 0;
    *result = Ordinal(hit);
    return 1;
  }
  return 0;
}

void ResetValues(SearchPresentation& s, HWND view, const char* text, int deselect) {
  if (deselect && g.current >= 0 && view) {
    int row = FindEntryRowOfOrdinal(view, g.current);
    if (row >= 0) ListView_SetItemState(view, row, 0, LVIS_SELECTED);
  }
  g.current = -1;
  RecreateFoundList(s);
  g.list.highest = 0;
  g.treeList.highest = 0;
  snprintf(g.text, sizeof g.text, "%s", text ? text : "");
  g.endMark = -1;
}

// ---- content search ------------------------------------------------------------------

// A search that ends in a moment shows no progress window; a longer one shows the entry it is
// searching a few times a second (a message to the dialog's thread per entry would cost more
// than searching a small entry). The window comes only when the entries left would take a
// while more at the pace so far: closing waits until the window is up, and bringing one up
// can take longer than the rest of a short search.
constexpr DWORD kProgressAfterMs = 300;
constexpr DWORD kProgressWorthMs = 1000;

struct WalkProgress {
  DWORD start;
  DWORD last;
  bool shown;   // the dialog was started
  bool ranged;  // and has its range
  int first;    // the ordinal the walk began after
  int entries;
};

WalkProgress StartWalkProgress(int first, int entries) {
  return WalkProgress{GetTickCount(), 0, false, false, first, entries};
}

// The dialog comes up on its own thread; the search goes on meanwhile and gives it its range
// once it is there (waiting for it would stop the search for as long as the window takes).
void ShowEntry(void* context, const char* name, int ordinal) {
  WalkProgress* p = static_cast<WalkProgress*>(context);
  DWORD now = GetTickCount();
  if (!p->shown) {
    DWORD spent = now - p->start;
    if (spent < kProgressAfterMs) return;
    double done = ordinal - p->first, left = p->entries - 1 - ordinal;
    if (done > 0 && spent * left / done < kProgressWorthMs) return;
    StartProgressDialog(true, nullptr);
    p->shown = true;
    return;
  }
  if (!p->ranged) {
    if (!IsProgressDialogReady()) return;
    SetProgressMinimum(0);
    SetProgressMaximum(p->entries);
    p->ranged = true;
  } else if (now - p->last < 100) {
    return;
  }
  p->last = now;
  char title[kPathBuf * 2];
  snprintf(title, sizeof title, "%s %s", GetMessageText(KLANG_MSG_SEARCHING_IN), name);
  SetProgressTitle(title);
  ExecuteProgressPos(GetProgressDialog(), ordinal);
}

int Cancelled(void*) { return IsCancelledByUser(); }

void EndWalkProgress(const WalkProgress& p, bool cancelled) {
  if (!p.shown) {
    // A cancel before the dialog came up: no close clears the flag, so the next search would
    // stop before its first entry.
    if (cancelled) CancelProgress(0);
    return;
  }
  if (cancelled)
    CloseProgressDialogAfterCancel();
  else
    CloseProgressDialog();
}

// The folder list's rows after current, each with its entry's name.
std::vector<std::pair<int, std::string>> RowsAfter(HWND view, int current) {
  std::vector<std::pair<int, std::string>> rows;
  size_t n = GetEntryRowCount(view);
  for (size_t i = 0; i < n; ++i) {
    const liststruct* r = GetRowRecord(view, static_cast<int>(i));
    if (r && !r->folder && r->ordinal > current) rows.emplace_back(r->ordinal, std::string(r->path) + r->filename);
  }
  return rows;
}

// Selects the hit's row (wherever sorting put it) alone and scrolls to it.
void SelectHit(HWND view, int ordinal) {
  int row = FindEntryRowOfOrdinal(view, ordinal);
  if (row < 0) return;
  int selected = ListView_GetNextItem(view, -1, LVNI_SELECTED);
  if (selected >= 0) ListView_SetItemState(view, selected, 0, LVIS_SELECTED);
  ListView_SetItemState(view, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  ListView_EnsureVisible(view, row, FALSE);
}

}  // namespace

void InitializeSearchValues(const char* text, int deselect) {
  Log(3, GetVerbose(), "Initialize SearchValues");
  ArchiveControlBlock* b = Block();
  ResetValues(g.list, b ? b->list : nullptr, text, deselect);
  SetTreeInStep(0);
}

void InitializeTreeListSearchValues(const char* text, int deselect) {
  Log(3, GetVerbose(), "Initialize TreeListSearchValues");
  ArchiveControlBlock* b = Block();
  ResetValues(g.treeList, b ? b->treeList : nullptr, text, deselect);
}

int HandleListSearch(int current, int* result, int direction, int start) {
  return AnswerFromFoundList("HandleListSearch", g.list, current, result, direction, start);
}

int HandleTreeListSearch(int current, int* result, int direction, int start) {
  return AnswerFromFoundList("HandleTreeListSearch", g.treeList, current, result, direction, start);
}

int HandleSearchView(HWND view, const char* text, int current, int direction, int wholeWord, int matchCase, int) {
  Log(3, GetVerbose(), "HandleSearchView started");
  if (!direction) return -1;  // rows are never searched backwards by content
  int rows = static_cast<int>(GetEntryRowCount(view));
  if (rows < 1) {
    Log(1, GetVerbose(), "HandleSearchView: Client View not filled - entries < 1");
    return -1;
  }
  if (rows <= current + 1) return -1;
  ContentPattern pattern;
  PrepareContentPattern(&pattern, text, wholeWord, matchCase);
  WalkProgress progress = StartWalkProgress(current, rows);
  ContentSearchHooks hooks = {&progress, ShowEntry, Cancelled};
  int highest = g.list.highest;
  ContentSearchWalk walk = {current, &g.list.highest, 0, 0};
  int hit = SearchArchiveEntries(GetArchiveKind(), GetCurrentArchivePath(), pattern, &walk, &hooks);
  g.cancelled = walk.end == CONTENT_WALK_CANCELLED;
  // Entries searched after the last hit count as not searched: above the highest ordinal the
  // found list would answer F3 with the last hit again instead of searching on.
  if (g.cancelled) g.list.highest = highest;
  EndWalkProgress(progress, g.cancelled != 0);
  if (walk.end == CONTENT_WALK_LAST) g.endMark = 1;
  return hit;
}

int HandleSearchViewTreeList(HWND view, const char* text, int current, int direction, int wholeWord,
                             int matchCase, int) {
  Log(3, GetVerbose(), "HandleSearchViewTreeList %s %d", text, current);
  if (!direction) return -1;
  std::vector<std::pair<int, std::string>> rows = RowsAfter(view, current);
  if (rows.empty()) return -1;
  ContentPattern pattern;
  PrepareContentPattern(&pattern, text, wholeWord, matchCase);
  WalkProgress progress = StartWalkProgress(current, static_cast<int>(GetEntryRowCount(view)));
  ContentSearchHooks hooks = {&progress, ShowEntry, Cancelled};
  int highest = g.treeList.highest;
  ContentSearchWalk walk = {current, &g.treeList.highest, 0, 0};
  int hit = SearchArchiveRows(GetArchiveKind(), GetCurrentArchivePath(), rows, pattern, &walk, &hooks);
  g.cancelled = walk.end == CONTENT_WALK_CANCELLED;
  if (g.cancelled) g.treeList.highest = highest;
  EndWalkProgress(progress, g.cancelled != 0);
  if (walk.end == CONTENT_WALK_LAST) g.endMark = 1;
  return hit;
}

DWORD WINAPI SearchStep(LPVOID parameter) {
  SearchStepBlock* b = static_cast<SearchStepBlock*>(parameter);
  SearchPresentation& s = Presentation(b->folderList);
  int current = *b->current;
  int ordinal = -1;
  g.cancelled = 0;
  int answered = b->folderList ? HandleTreeListSearch(current, &ordinal, b->direction, current)
                               : HandleListSearch(current, &ordinal, b->direction, current);
  // Past the end mark the walk would only read the rest of the archive again for nothing.
  if (!answered && b->direction && g.endMark == -1)
    ordinal = b->folderList
                  ? HandleSearchViewTreeList(b->view, b->text, current, 1, b->wholeWord, b->matchCase, current)
                  : HandleSearchView(b->view, b->text, current, 1, b->wholeWord, b->matchCase, current);
  // The archive is read no more: the window's commands need not wait for the answer's box.
  ReleaseOperation(OPERATION_JOB);
  if (ordinal >= 0) {
    SelectHit(b->view, ordinal);
    *b->current = ordinal;
    InsertFound(s, ordinal);
  } else if (!g.cancelled) {
    char message[kPathBuf * 2];
    snprintf(message, sizeof message, "\"%s\" %s", b->text, GetGenericText(KLANG_GEN_NOT_FOUND));
    ShowInfo(message);
    // The box belonged to this thread: the window gets the keyboard back for the next F3.
    if (HWND main = GetMainWindowHandle()) SetForegroundWindow(main);
    if (GetViewHooks().focusCurrentView) GetViewHooks().focusCurrentView();
  }
  if (GetVerbose() > 5)
    printf("found at %d %s %d %d %d\n", ordinal, b->text, b->direction, b->wholeWord, b->matchCase);
  InterlockedExchange(&g.running, 0);
  if (GetViewHooks().refreshToolbar) GetViewHooks().refreshToolbar();
  return 0;
}

namespace {

// Starts the step on its own thread; one search at a time, and none beside another
// operation: the step decompresses entries of the archive that operation may be rewriting.
void StartSearchStep(int direction) {
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    Log(2, GetVerbose(), "StartSearchStep: another operation or search is still running");
    return;
  }
  InterlockedExchange(&g.running, 1);
  SearchStepBlock& b = g.step;
  b.view = ShownView();
  b.folderList = FolderListShown() ? 1 : 0;
  b.direction = direction;
  snprintf(b.text, sizeof b.text, "%s", g.text);
  b.wholeWord = g.wholeWord;
  b.matchCase = g.matchCase;
  b.current = &g.current;
  if (StartWorker("StartSearchStep", SearchStep, &b)) return;
  InterlockedExchange(&g.running, 0);
  ReleaseOperation(OPERATION_JOB);
}

// The next row (from, stepping by step, round the end) whose name begins with the text, or
// matches it whole where it holds wildcards. No match leaves the selection as it was.
void FindNameFrom(int from, int step) {
  HWND view = ShownView();
  int row = FindEntryRowByName(view, g.text, from, step);
  if (row < 0) {
    char message[kPathBuf * 2];
    snprintf(message, sizeof message, "\"%s\" %s", g.text, GetGenericText(KLANG_GEN_NOT_FOUND));
    ShowInfo(message);
    return;
  }
  g.current = row;
  ListView_SetItemState(view, -1, 0, LVIS_SELECTED);
  ListView_SetItemState(view, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  ListView_EnsureVisible(view, row, FALSE);
}

}  // namespace

void FindReplace(const char* initialText, int contentMode) {
  if (IsBusy()) return;
  if (!ShownView() || GetEntryRowCount(ShownView()) == 0) {
    ShowInfo(GetMessageText(KLANG_MSG_NOTHING_TO_SEARCH));
    return;
  }
  int refusal = ArchiveFormatOrZip(GetArchiveKind(), "FindReplace")->searchRefusalText;
  if (refusal) {
    ShowInfo(GetMessageText(refusal));
    return;
  }
  g.nameMode = contentMode ? 0 : 1;
  g.endMark = -1;
  if (g.dialog && IsWindow(g.dialog)) DestroyWindow(g.dialog);
  FINDREPLACEA& fr = g.findReplace;
  memset(&fr, 0, sizeof fr);
  fr.lStructSize = sizeof fr;
  fr.hwndOwner = GetMainWindowHandle();
  fr.lpstrFindWhat = g.what;
  fr.wFindWhatLen = sizeof g.what;
  fr.lpstrReplaceWith = g.replace;
  fr.wReplaceWithLen = sizeof g.replace;
  fr.Flags = FR_DOWN | (g.nameMode ? FR_HIDEUPDOWN : 0);
  if (initialText && *initialText) {
    snprintf(g.what, sizeof g.what, "%s", initialText);
    Log(3, GetVerbose(), "FindReplace: what: %s", g.what);
    fr.Flags = g.rememberedFlags | FR_FINDNEXT;
  }
  g.changed = 1;
  g.dialog = FindTextA(&fr);
  // The title says what is searched: the names, or the contents of the entries.
  // (the tool bar's tips of the two buttons: "Find entries by name", "Find text in the contents").
  if (g.dialog) SetWindowTextA(g.dialog, GetToolBarToolTipText(contentMode ? 11 : 7));
  SetCurrentModelessDialog(g.dialog);
}

void HandleFindReplaceMessage(const FINDREPLACEA* fr) {
  int matchCase = (fr->Flags & FR_MATCHCASE) ? 1 : 0;
  int wholeWord = (fr->Flags & FR_WHOLEWORD) ? 1 : 0;
  const char* text = fr->lpstrFindWhat ? fr->lpstrFindWhat : "";
  if (strcmp(text, g.text) != 0 || matchCase != g.matchCase || wholeWord != g.wholeWord) g.changed = 1;
  g.matchCase = matchCase;
  g.wholeWord = wholeWord;
  g.rememberedFlags = fr->Flags & (FR_DOWN | FR_MATCHCASE | FR_WHOLEWORD | FR_HIDEUPDOWN);
  if (fr->Flags & FR_DIALOGTERM) {
    g.dialog = nullptr;
    SetCurrentModelessDialog(nullptr);
  }
  if (!(fr->Flags & FR_FINDNEXT)) {
    Log(3, GetVerbose(), "user canceled search");
    return;
  }
  Log(3, GetVerbose(), "Findmessage flags: %d", static_cast<int>(fr->Flags));
  if (IsSearchRunning() || IsBusy()) return;
  ArchiveControlBlock* b = Block();
  if (!b || GetEntryRowCount(b->list) == 0) return;
  // The dialog's Find next starts from the top every time; F3 is the one that goes on. A name
  // search moves the selection only once it finds something.
  if (FolderListShown())
    InitializeTreeListSearchValues(text, g.nameMode ? 0 : 1);
  else
    InitializeSearchValues(text, g.nameMode ? 0 : 1);
  g.changed = 0;
  g.current = -1;
  if (g.nameMode)
    FindNameFrom(0, 1);
  else
    StartSearchStep((fr->Flags & FR_DOWN) ? 1 : 0);
}

void FindNextHit(int forward) {
  if (IsBusy() || IsSearchRunning()) return;
  if (!g.text[0]) {
    FindReplace(nullptr, 1);
    return;
  }
  if (g.nameMode)
    FindNameFrom(g.current + (forward ? 1 : -1), forward ? 1 : -1);
  else
    StartSearchStep(forward);
}

HWND GetFindDialog() { return g.dialog && IsWindow(g.dialog) ? g.dialog : nullptr; }
int GetCurrentFoundOrdinal() { return g.current; }
size_t GetFoundListCount(int folderList) {
  RBTree* t = Presentation(folderList).found;
  return t ? t->count : 0;
}
bool IsSearchRunning() { return g.running != 0; }
