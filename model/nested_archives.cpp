#include "services/base.h"
#include "model/nested_archives.h"

#include "model/app_state.h"

#include <vector>

namespace {

std::vector<NestedLevel> g_levels;
std::string g_shown;     // the child's name; meaningful while there are levels
std::string g_expected;  // the path of the open that walks the chain

}  // namespace

void PushNestedLevel(const NestedLevel& level, const std::string& childShown) {
  g_levels.push_back(level);
  g_shown = childShown;
}

bool PopNestedLevel(NestedLevel* level) {
  if (g_levels.empty()) return false;
  *level = g_levels.back();
  g_levels.pop_back();
  g_shown = level->shown;
  return true;
}

size_t NestedDepth() { return g_levels.size(); }

std::string ShownArchivePath() { return g_levels.empty() ? std::string(GetCurrentArchivePath()) : g_shown; }

void ExpectNestedOpen(const char* path) { g_expected = path ? path : ""; }

void LeaveNestedChainUnlessExpected(const char* path) {
  bool expected = path && !g_expected.empty() && _stricmp(path, g_expected.c_str()) == 0;
  g_expected.clear();
  if (expected) return;
  // A viewer may still hold a copy open: the temporary files' cleanup at exit takes it then.
  for (const NestedLevel& level : g_levels) {
    DeleteFileA(level.copy.c_str());
    size_t slash = level.copy.find_last_of('\\');
    if (slash != std::string::npos) RemoveDirectoryA(level.copy.substr(0, slash).c_str());
  }
  g_levels.clear();
}
