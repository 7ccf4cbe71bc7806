// Runs the content search the way the window runs it, to set beside the engine alone: the
// archive listed into a hidden list, the Find dialog's find next and then F3 after F3, each
// step on the search's own thread with the progress dialog, until the no-hit message. Then the
// same in a folder list holding the entries of the first hit's folder. Prints the hits and
// the in-process time of each walk.
//   searchwindow ARCHIVE TEXT [--match-case] [--whole-word]
#include "services/base.h"

#include "formats/formats.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "ui/search.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <commctrl.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

bool g_noHit = false;
int NoteBox(HWND, const char*, const char*, UINT) {
  g_noHit = true;
  return IDOK;
}

void WaitForStep() {
  while (IsSearchRunning()) {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&msg);
    Sleep(1);
  }
}

// Find next from the dialog, then F3 until the message; the hits' full names.
double Walk(HWND view, char* text, DWORD options, std::vector<std::string>* hits) {
  LARGE_INTEGER f, t0, t1;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t0);
  g_noHit = false;
  FINDREPLACEA fr = {};
  fr.lpstrFindWhat = text;
  fr.Flags = FR_DOWN | FR_FINDNEXT | options;
  HandleFindReplaceMessage(&fr);
  WaitForStep();
  while (!g_noHit) {
    int row = ListView_GetNextItem(view, -1, LVNI_SELECTED);
    const liststruct* r = row >= 0 ? GetRowRecord(view, row) : nullptr;
    hits->push_back(r ? std::string(r->path) + r->filename : "?");
    FindNextHit(1);
    WaitForStep();
  }
  QueryPerformanceCounter(&t1);
  return 1000.0 * (t1.QuadPart - t0.QuadPart) / f.QuadPart;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  DWORD options = 0;
  for (int i = 3; i < argc; ++i) {
    if (strcmp(argv[i], "--match-case") == 0) options |= FR_MATCHCASE;
    if (strcmp(argv[i], "--whole-word") == 0) options |= FR_WHOLEWORD;
  }
  char text[kPathBuf];
  snprintf(text, sizeof text, "%s", argv[2]);
  HiddenEntryList all, folder;
  RegisterArchiveFormats();
  AllocateControlBlocks();
  ArchiveControlBlock* b = GetCurrentControlBlock();
  b->list = all.list;
  b->treeList = folder.list;
  b->viewComponent = all.list;
  NameListRecreate(&b->folders);
  snprintf(b->path, sizeof b->path, "%s", argv[1]);
  SetCurrentArchivePath(b->path);
  SetArchiveKind(ARCHIVE_ZIP);
  SetMainWindowHandle(all.parent);
  GetPrompts().messageBox = NoteBox;
  unzFile zip = MyWaitunzOpen2_64(b->path, 0);
  if (!zip) return 1;
  do_listing(zip, b, 0);
  unzClose(zip);
  PublishEntryRows(all.list);

  std::vector<std::string> hits;
  double ms = Walk(all.list, text, options, &hits);
  for (const std::string& hit : hits) printf("hit: %s\n", hit.c_str());
  printf("window search %.1f ms, %zu hits, %zu rows\n", ms, hits.size(), GetEntryRowCount(all.list));
  if (hits.empty()) return 0;

  // The folder list as a click on the first hit's folder fills it: its direct entries.
  std::string path = hits.front().substr(0, hits.front().find_last_of('\\') + 1);
  for (size_t i = 0; i < GetEntryRowCount(all.list); ++i) {
    const liststruct* r = GetRowRecord(all.list, static_cast<int>(i));
    if (path == r->path)
      InsertEntryRow(folder.list, EntryStamp{}, r->filename, (std::string(r->path) + r->filename).c_str(), nullptr, 0,
                     0);
  }
  PublishEntryRows(folder.list);
  b->viewComponent = folder.list;
  hits.clear();
  ms = Walk(folder.list, text, options, &hits);
  printf("folder list search %.1f ms, %zu hits, %zu rows\n", ms, hits.size(), GetEntryRowCount(folder.list));
  return 0;
}
