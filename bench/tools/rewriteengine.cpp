// Deletes or renames entries of an archive with the engine alone (no window) and prints the
// result and how long the run took; the benchmark and the checks against the peer tools use it.
//   rewriteengine ARCHIVE [--simulate] [--no-flush] (--delete NAME | --rename OLD=NEW)...
// --no-flush leaves the new archive to the system's cache like the peer tools do, to show
// what writing it through to the disk costs.
// Deletions and renames in one call run as two rewrites, deletions first. A NAME ending in a
// separator names a folder and everything below it. Exit code: 0 changed (or, simulated,
// would change), 1 failed or refused, 2 bad arguments, 3 nothing matched: nothing changed.
#include "services/base.h"

#include "model/rbtree.h"
#include "zip/rewrite.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {
DWORD NoFlush(const char*) { return 0; }
}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  RBTree* deletions = CreateChangeSet();
  RBTree* renames = CreateChangeSet();
  int simulation = 0;
  for (int i = 2; i < argc; ++i) {
    if (!strcmp(argv[i], "--simulate")) {
      simulation = 1;
    } else if (!strcmp(argv[i], "--no-flush")) {
      GetRewriteFileLayer().flushFile = NoFlush;
    } else if (!strcmp(argv[i], "--delete") && i + 1 < argc) {
      AddChangeRecord(deletions, argv[++i], nullptr, 0);
    } else if (!strcmp(argv[i], "--rename") && i + 1 < argc) {
      std::string pair = argv[++i];
      size_t eq = pair.find('=');
      if (eq == std::string::npos) return 2;
      AddChangeRecord(renames, pair.substr(0, eq).c_str(), pair.substr(eq + 1).c_str(), 0);
    } else {
      return 2;
    }
  }
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  int result = 0;
  std::string report;
  if (deletions->count) {
    result = DeleteFilesTwoPasses(argv[1], deletions, simulation);
    report += GetRewriteReport();
  }
  if ((!result || result == REWRITE_NOTHING_MATCHED) && renames->count) {
    int renamed = ChangeFilesTwoPasses(argv[1], renames, simulation);
    report += GetRewriteReport();
    if (!(renamed == REWRITE_NOTHING_MATCHED && deletions->count && !result)) result = renamed;
  }
  QueryPerformanceCounter(&t1);
  printf("rewrite %.1f ms, result %d\n", 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result);
  printf("%s%s", simulation ? "would change:\n" : "", report.c_str());
  if (*GetRewriteFailureText()) printf("%s\n", GetRewriteFailureText());
  if (result == REWRITE_NOTHING_MATCHED) printf("nothing matched: the archive was not changed\n");
  DestroyChangeSet(&deletions);
  DestroyChangeSet(&renames);
  return result == REWRITE_NOTHING_MATCHED ? 3 : result < 0 ? 1 : 0;
}
