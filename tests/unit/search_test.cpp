// Searching the lists as the Find dialog and F3 drive it: the content search on its worker
// thread, the found lists stepping both ways without inflating again, hits that follow their
// entries through a re-sort, the name search and the refusals.
#include "services/base.h"

#include <gtest/gtest.h>

#include "archive_fixtures.h"
#include "formats/content_search.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/archive_kind.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "ui/entry_list.h"
#include "ui/search.h"
#include "zip/extract.h"

#include <string>
#include <vector>

namespace {

class Search : public ::testing::Test {
 protected:
  ListedArchive archive{"search.zip"};
  HiddenEntryList folder;
  RecordedBoxes boxes;

  void SetUp() override {
    RegisterArchiveFormats();
    AllocateControlBlocks();
    ArchiveControlBlock* b = GetCurrentControlBlock();
    b->list = archive.window.list;
    b->treeList = folder.list;
    b->viewComponent = b->list;
    SetCurrentArchivePath(archive.block.path);
    SetArchiveKind(ARCHIVE_ZIP);
    SetMainWindowHandle(archive.window.parent);
    SetShowProgressDialog(false);
    InitializeSearchValues(nullptr, 0);
    InitializeTreeListSearchValues(nullptr, 0);
  }
  void TearDown() override {
    if (HWND d = GetFindDialog()) DestroyWindow(d);
    SetMainWindowHandle(nullptr);
  }

  // The Find dialog's find next, waiting for the step's thread.
  void FindNext(const char* text, DWORD flags = FR_DOWN) {
    char what[kPathBuf];
    snprintf(what, sizeof what, "%s", text);
    FINDREPLACEA fr = {};
    fr.lpstrFindWhat = what;
    fr.Flags = flags | FR_FINDNEXT;
    HandleFindReplaceMessage(&fr);
    Wait();
  }
  void Step(int forward) {
    FindNextHit(forward);
    Wait();
  }
  // The step talks to the lists by messages, so the lists' thread keeps answering meanwhile.
  void Wait() {
    ASSERT_TRUE(PumpUntil([] { return !IsSearchRunning(); }));
  }
  // Every hit F3 reaches from the first find on, as full names, up to the no-hit message.
  std::vector<std::string> WalkHits(HWND view, DWORD flags) {
    std::vector<std::string> hits;
    boxes.texts.clear();
    FindNext("kestrelneedle", flags);
    for (int i = 0; i < 20 && boxes.texts.empty(); ++i) {
      int row = ListView_GetNextItem(view, -1, LVNI_SELECTED);
      const liststruct* r = row >= 0 ? GetRowRecord(view, row) : nullptr;
      hits.push_back(r ? std::string(r->path) + r->filename : "?");
      Step(1);
    }
    return hits;
  }
  // The name of the one selected row of a view.
  std::string Selected(HWND view) {
    int row = ListView_GetNextItem(view, -1, LVNI_SELECTED);
    if (row < 0 || ListView_GetNextItem(view, row, LVNI_SELECTED) >= 0) return "?";
    return ListCell(view, row, LISTSTRUCT_FILENAME);
  }
};

TEST_F(Search, StepsForwardThenBackOverHitsWithoutInflatingAgain) {
  long before = GetContentEntriesSearched();
  FindNext("kestrelneedle");
  EXPECT_EQ(GetCurrentFoundOrdinal(), 1);
  EXPECT_EQ(Selected(archive.window.list), "b.txt");
  std::vector<std::string> hits;
  for (int i = 0; i < 3; ++i) {
    Step(1);
    hits.push_back(Selected(archive.window.list));
  }
  EXPECT_EQ(hits, (std::vector<std::string>{"e.txt", "f.txt", "g.txt"}));
  EXPECT_EQ(GetContentEntriesSearched() - before, 6);  // each entry once
  EXPECT_TRUE(boxes.texts.empty());
  Step(1);  // past the last entry
  EXPECT_EQ(boxes.texts,
            std::vector<std::string>{std::string("\"kestrelneedle\" ") + GetGenericText(KLANG_GEN_NOT_FOUND)});

  // Hits name entries, not rows: sorted the other way round, stepping back still finds them.
  SortEntryRows(archive.window.list, LISTSTRUCT_FILENAME, true);
  long inflated = GetContentEntriesSearched();
  hits.clear();
  for (int i = 0; i < 3; ++i) {
    Step(0);
    hits.push_back(Selected(archive.window.list));
  }
  EXPECT_EQ(hits, (std::vector<std::string>{"f.txt", "e.txt", "b.txt"}));
  Step(0);  // nothing before the first hit
  EXPECT_EQ(boxes.texts.size(), 2u);
  Step(1);
  EXPECT_EQ(Selected(archive.window.list), "e.txt");
  EXPECT_EQ(GetContentEntriesSearched(), inflated);
  EXPECT_EQ(GetFoundListCount(0), 4u);
}

// Through the window, F3 reaches exactly the entries the engine finds walking the archive,
// in archive order, for every option; the folder list those among its own rows.
TEST_F(Search, TheWindowFindsWhatTheEngineFinds) {
  for (const char* name : {"d\\c.txt", "d\\e.txt", "d\\f.txt"})
    InsertEntryRow(folder.list, EntryStamp{}, LastNamePart(name), name, nullptr, 1, 1);
  PublishEntryRows(folder.list);
  for (DWORD options : {0ul, 0ul + FR_MATCHCASE, 0ul + FR_WHOLEWORD, 0ul + (FR_MATCHCASE | FR_WHOLEWORD)}) {
    ContentPattern pattern;
    PrepareContentPattern(&pattern, "kestrelneedle", (options & FR_WHOLEWORD) != 0, (options & FR_MATCHCASE) != 0);
    std::vector<std::string> engine, engineInFolder;
    for (int start = -1;;) {
      ContentSearchWalk walk = {start, nullptr, 0, 0};
      if ((start = SearchArchiveEntries(ARCHIVE_ZIP, archive.block.path, pattern, &walk, nullptr)) < 0) break;
      engine.push_back(archive.FullName(FindEntryRowOfOrdinal(archive.window.list, start)));
      if (engine.back().rfind("d\\", 0) == 0) engineInFolder.push_back(engine.back());
    }
    ASSERT_FALSE(engine.empty()) << options;
    GetCurrentControlBlock()->viewComponent = archive.window.list;
    EXPECT_EQ(WalkHits(archive.window.list, FR_DOWN | options), engine) << options;
    GetCurrentControlBlock()->viewComponent = folder.list;
    EXPECT_EQ(WalkHits(folder.list, FR_DOWN | options), engineInFolder) << options;
  }
}

// A cancelled step selects nothing and says nothing; the next F3 searches on from the last hit.
TEST_F(Search, ACancelledStepLeavesTheLastHitAndSearchesOnNextTime) {
  FindNext("kestrelneedle");
  EXPECT_EQ(Selected(archive.window.list), "b.txt");
  long before = GetContentEntriesSearched();
  CancelProgress(1);
  Step(1);
  EXPECT_EQ(GetContentEntriesSearched(), before);
  EXPECT_EQ(Selected(archive.window.list), "b.txt");
  EXPECT_TRUE(boxes.texts.empty());
  Step(1);
  EXPECT_EQ(Selected(archive.window.list), "e.txt");
  EXPECT_EQ(GetFoundListCount(0), 2u);
}

TEST_F(Search, ChangingAnOptionStartsAgainWithAnEmptyFoundList) {
  FindNext("kestrelneedle");
  Step(1);
  EXPECT_EQ(GetFoundListCount(0), 2u);
  long before = GetContentEntriesSearched();
  FindNext("kestrelneedle", FR_DOWN | FR_MATCHCASE);  // e.txt holds it in upper case only
  EXPECT_EQ(GetFoundListCount(0), 1u);
  EXPECT_EQ(Selected(archive.window.list), "b.txt");
  Step(1);
  EXPECT_EQ(Selected(archive.window.list), "f.txt");
  EXPECT_EQ(GetContentEntriesSearched() - before, 5);
  FindNext("kestrelneedle", FR_DOWN | FR_MATCHCASE | FR_WHOLEWORD);
  EXPECT_EQ(GetFoundListCount(0), 1u);
  FindNext("no such text anywhere");
  EXPECT_EQ(GetFoundListCount(0), 0u);
  EXPECT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(ListView_GetSelectedCount(archive.window.list), 0u);
}

TEST_F(Search, NameSearchAndRefusals) {
  FindReplace(nullptr, 0);
  ASSERT_NE(GetFindDialog(), nullptr);
  FindNext("F");
  EXPECT_EQ(Selected(archive.window.list), "f.txt");
  DestroyWindow(GetFindDialog());

  struct {
    int kind;
    int text;
  } refusals[] = {{ARCHIVE_ZIP64, 101}};
  for (const auto& r : refusals) {
    SetArchiveKind(r.kind);
    boxes.texts.clear();
    FindReplace(nullptr, 1);
    EXPECT_EQ(boxes.texts, std::vector<std::string>{GetMessageText(r.text)});
    EXPECT_EQ(GetFindDialog(), nullptr);
  }
  SetArchiveKind(ARCHIVE_ZIP);
  GetCurrentControlBlock()->viewComponent = folder.list;  // empty
  boxes.texts.clear();
  FindReplace(nullptr, 1);
  EXPECT_EQ(boxes.texts, std::vector<std::string>{GetMessageText(KLANG_MSG_NOTHING_TO_SEARCH)});
}

}  // namespace
