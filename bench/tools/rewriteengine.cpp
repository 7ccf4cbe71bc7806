// Deletes or renames entries of an archive of any kind through the table of kinds, with the
// engine alone (no window), and prints the result and how long the run took; the benchmark
// and the checks against the peer tools use it.
//   rewriteengine ARCHIVE [--simulate] [--no-flush] (--delete NAME | --rename OLD=NEW)...
// --no-flush leaves a new ZIP to the system's cache like the peer tools do, to show what
// writing it through to the disk costs.
// Deletions and renames in one call run as two rewrites, deletions first. A NAME ending in a
// separator names a folder and everything below it. Exit code: 0 changed (or, simulated,
// would change), 1 failed or refused, 2 bad arguments, 3 nothing matched: nothing changed.
#include "services/base.h"

#include "formats/formats.h"
#include "jobs/change_set.h"
#include "model/rbtree.h"
#include "model/archive_kind.h"
#include "settings/values.h"
#include "zip/rewrite.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

DWORD NoFlush(const char*) { return 0; }

// One rewrite through the kind's operation: 0 changed (a simulation's report appended to
// report), kRewriteUnmatched, or negative with the failure printed.
int Rewrite(RewriteProc proc, const char* archive, RBTree* changes, std::string* report) {
  std::vector<char> text(1u << 20);
  int result = proc(archive, changes, text.data(), text.size());
  if (result == kRewriteSimulated) {
    *report += text.data();
    return 0;
  }
  if (result < 0) printf("%s\n", text.data());
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  RBTree* deletions = CreateChangeSet();
  RBTree* renames = CreateChangeSet();
  for (int i = 2; i < argc; ++i) {
    if (!strcmp(argv[i], "--simulate")) {
      SetDeleteSimulation(1);
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
  RegisterArchiveFormats();
  int kind = DecideArchiveKind(argv[1]);
  SetArchiveKind(kind);
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || (deletions->count && !format->ops.remove) || (renames->count && !format->ops.rename)) {
    printf("%s: its kind cannot make these changes\n", argv[1]);
    return 1;
  }
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  int result = 0;
  std::string report;
  if (deletions->count) result = Rewrite(format->ops.remove, argv[1], deletions, &report);
  if ((!result || result == kRewriteUnmatched) && renames->count) {
    int renamed = Rewrite(format->ops.rename, argv[1], renames, &report);
    if (!(renamed == kRewriteUnmatched && deletions->count && !result)) result = renamed;
  }
  QueryPerformanceCounter(&t1);
  printf("rewrite %.1f ms, result %d\n", 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, result);
  if (IsDeleteSimulation()) printf("would change:\n%s", report.c_str());
  if (result == kRewriteUnmatched) printf("nothing matched: the archive was not changed\n");
  DestroyChangeSet(&deletions);
  DestroyChangeSet(&renames);
  return result == kRewriteUnmatched ? 3 : result < 0 ? 1 : 0;
}
