#include "services/base.h"
#include "app/cmdline.h"

#include <cstring>

namespace {

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

void CopyCut(char* out, const char* from, size_t length, int limit) {
  if (length > static_cast<size_t>(limit)) length = static_cast<size_t>(limit);
  memcpy(out, from, length);
  out[length] = '\0';
}

bool EndsWithNoCase(const char* text, const char* suffix) {
  size_t n = strlen(text), s = strlen(suffix);
  if (s > n) return false;
  for (size_t i = 0; i < s; ++i)
    if (LowerAscii(text[n - s + i]) != LowerAscii(suffix[i])) return false;
  return true;
}

}  // namespace

int TokenizeCommandLine(const char* line, char (*args)[kPathBuf], int limit) {
  int count = 0;
  const char* p = line ? line : "";
  for (;;) {
    while (*p == ' ') ++p;
    if (!*p) break;
    const char* start;
    const char* end;
    if (*p == '"') {
      start = p + 1;
      end = strchr(start, '"');
      if (!end) end = start + strlen(start);
      p = *end ? end + 1 : end;
    } else {
      start = p;
      end = strchr(start, ' ');
      if (!end) end = start + strlen(start);
      p = end;
    }
    if (args) CopyCut(args[count], start, static_cast<size_t>(end - start), limit);
    ++count;
  }
  return count;
}

bool StartsWithNoCase(const char* text, const char* word) {
  for (; *word; ++text, ++word)
    if (!*text || LowerAscii(*text) != LowerAscii(*word)) return false;
  return true;
}

CommandPlan DecideCommandRoad(const char* line, char (*args)[kPathBuf], int count) {
  CommandPlan plan = {ROAD_WINDOW, 0, false, false, false};
  // Only a line that begins "--", "-/" or "-h" is read as a help request; "/help" can never
  // match because the line must begin with "-". Anything else of that shape exits quietly.
  if (line && line[0] == '-' && (line[1] == '-' || line[1] == '/' || LowerAscii(line[1]) == 'h')) {
    bool help = StartsWithNoCase(line, "-h") || StartsWithNoCase(line, "--help") ||
                StartsWithNoCase(line, "-help") || StartsWithNoCase(line, "/help");
    plan.road = help ? ROAD_HELP : ROAD_SILENT_EXIT;
    return plan;
  }
  if (count < 2) return plan;

  char first[kPathBuf];
  size_t i = 0;
  for (; args[0][i] && i < kPathBuf - 1; ++i) first[i] = LowerAscii(args[0][i]);
  first[i] = '\0';

  struct Switch {
    const char* name;
    bool silent, add, simulation;
  };
  static const Switch kSwitches[] = {
      {"-a", false, true, false},   {"-as", true, true, false},  {"-asim", false, true, true},
      {"-s", true, false, false},   {"-c", false, false, false}, {"-cs", true, false, false},
      {"-csim", false, false, true},
  };
  if (!strcmp(first, "-x")) {
    plan.road = ROAD_EXTRACT;
    plan.firstFile = 1;
    return plan;
  }
  plan.road = ROAD_BUILD;
  for (const Switch& s : kSwitches) {
    if (!strcmp(first, s.name)) {
      plan.firstFile = 1;
      plan.silent = s.silent;
      plan.add = s.add;
      plan.simulation = s.simulation;
      return plan;
    }
  }
  plan.firstFile = 0;  // no switch: every argument is a file to put in a new archive
  return plan;
}

bool IsPictureFile(const char* name) {
  static const char* const kPictures[] = {".jpg", ".jpeg", ".png", ".bmp", ".gif", ".ico", ".avi", ".odt", ".ods"};
  for (const char* s : kPictures)
    if (EndsWithNoCase(name, s)) return true;
  return false;
}
