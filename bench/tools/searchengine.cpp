// Runs the content search of any kind with the engine alone (no window, no progress dialog) the way a
// run of find-nexts does, each walk going on after the previous hit, and prints the entries
// that hold the text and how long it took: the search benchmark compares it with the peers.
//   searchengine ARCHIVE TEXT [--match-case] [--whole-word]
#include "services/base.h"

#include "formats/content_search.h"
#include "formats/formats.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  int matchCase = 0, wholeWord = 0;
  for (int i = 3; i < argc; ++i) {
    if (strcmp(argv[i], "--match-case") == 0) matchCase = 1;
    if (strcmp(argv[i], "--whole-word") == 0) wholeWord = 1;
  }
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  RegisterArchiveFormats();
  int kind = DecideArchiveKind(argv[1]);
  ContentPattern pattern;
  PrepareContentPattern(&pattern, argv[2], wholeWord, matchCase);
  int hits = 0, read = 0, start = -1, end = CONTENT_WALK_LAST;
  for (;;) {
    ContentSearchWalk walk = {start, nullptr, 0, 0};
    int hit = SearchArchiveEntries(kind, argv[1], pattern, &walk, nullptr);
    read += walk.entriesRead;
    end = walk.end;
    if (hit < 0) break;
    ++hits;
    start = hit;
    printf("hit: entry %d\n", hit);
  }
  QueryPerformanceCounter(&t1);
  printf("search %.1f ms, %d hits, %d entries read, end %d\n",
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, hits, read, end);
  return end == CONTENT_WALK_LAST ? 0 : 1;
}
