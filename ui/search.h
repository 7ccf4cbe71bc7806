// Searching the entries of the current presentation: by name (the first row whose name
// begins with the text) and by content (the next entry whose data holds it, on a worker
// thread). Hits of the content search are remembered per presentation by entry ordinal, so
// stepping over them again needs no inflating, and a hit keeps naming its entry when the
// list is sorted again or rows come in.
#pragma once
#include "services/base.h"

#include <commdlg.h>

// Ordinals are entry numbers in the order a presentation's search walks its entries: archive
// order for the full list, the fill order for the folder list. -1 means none.

// Opens the modeless Find dialog for a name search (contentMode 0) or a content search.
void FindReplace(const char* initialText, int contentMode);
// The Find dialog's registered message.
void HandleFindReplaceMessage(const FINDREPLACEA* findReplace);
// Find next (forward 1) or previous (0) with the last text; the Find dialog when there is none.
void FindNextHit(int forward);
// The open Find dialog, or none.
HWND GetFindDialog();

// Search values of the full list and of the folder list: the current hit taken off the
// view's selection when deselect is set, the found list emptied, the new text (or none).
void InitializeSearchValues(const char* text, int deselect);
void InitializeTreeListSearchValues(const char* text, int deselect);

// Answers from the found lists: 1 with an ordinal in *result, 0 when the list cannot answer.
int HandleListSearch(int current, int* result, int direction, int start);
int HandleTreeListSearch(int current, int* result, int direction, int start);
// The content search from the entry after current: the ordinal of the next entry holding the
// text, or -1.
int HandleSearchView(HWND view, const char* text, int current, int direction, int wholeWord, int matchCase,
                     int start);
int HandleSearchViewTreeList(HWND view, const char* text, int current, int direction, int wholeWord,
                             int matchCase, int start);

// The parameter block of one search step; the main window owns the one in use.
struct SearchStepBlock {
  HWND view;
  int folderList;  // 1: the folder list's found list and counters
  int direction;   // 1 forward
  char text[kPathBuf];
  int wholeWord;
  int matchCase;
  int* current;
};
DWORD WINAPI SearchStep(LPVOID block);

// What the tests and the tool bar look at.
int GetCurrentFoundOrdinal();
size_t GetFoundListCount(int folderList);
bool IsSearchRunning();
