#include "services/base.h"
#include "settings/recent.h"

#include "services/log.h"
#include "settings/names.h"
#include "settings/registry.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

char g_slots[kRecentSlots][kPathBuf];

bool ValidSlot(int slot) { return slot >= 1 && slot <= kRecentSlots; }

}  // namespace

const char* GetRecentSlot(int slot) { return ValidSlot(slot) ? g_slots[slot - 1] : ""; }

void SetRecentSlot(int slot, const char* path) {
  if (ValidSlot(slot)) snprintf(g_slots[slot - 1], kPathBuf, "%s", path ? path : "");
}

void ClearRecentSlots() {
  for (int slot = 1; slot <= kRecentSlots; ++slot) SetRecentSlot(slot, "");
}

void SplitRecentList(const char* list) {
  ClearRecentSlots();
  std::string rest = list ? list : "";
  int slot = 1;
  size_t start = 0;
  while (slot <= kRecentSlots && start <= rest.size()) {
    size_t end = rest.find(';', start);
    if (end == std::string::npos) end = rest.size();
    if (end > start) SetRecentSlot(slot++, rest.substr(start, end - start).c_str());
    start = end + 1;
  }
}

void JoinRecentList(char* out, size_t outSize) {
  out[0] = '\0';
  for (int slot = 1; slot <= kRecentSlots; ++slot) {
    const char* path = GetRecentSlot(slot);
    if (!*path) continue;
    size_t used = strlen(out);
    snprintf(out + used, outSize - used, used ? ";%s" : "%s", path);
  }
}

void PushRecentFile(const char* path) {
  if (!path || !*path) return;
  char incoming[kPathBuf];
  snprintf(incoming, sizeof incoming, "%s", path);
  // Where the path already is, its slot is the one that closes up; otherwise the last.
  int from = kRecentSlots;
  for (int slot = 1; slot <= kRecentSlots; ++slot) {
    if (_stricmp(g_slots[slot - 1], incoming) == 0) {
      from = slot;
      break;
    }
  }
  for (int slot = from; slot > 1; --slot) memcpy(g_slots[slot - 1], g_slots[slot - 2], kPathBuf);
  SetRecentSlot(1, incoming);
}

int SaveRecentList() {
  char list[kRecentListBuffer];
  JoinRecentList(list, sizeof list);
  if (WriteString(list, static_cast<DWORD>(strlen(list)), HKEY_CURRENT_USER, GetSettingsKeyPath(), kValueFileList)) {
    Log(-1, GetVerbose(), "cannot write to registry %lu\n", GetLastError());
    return 1;
  }
  return 0;
}
