#include "services/base.h"
#include "app/main_recent.h"

#include "res/resource.h"
#include "app/main_state.h"
#include "services/log.h"
#include "settings/recent.h"
#include "formats/open_archive.h"

#include <cstdio>
#include <cstring>

static_assert(IDM_RECENT_SLOTS == kRecentSlots, "one menu item per recent slot");

namespace {

HMENU g_recentMenu = nullptr;

// "&1 C:\archives\a.zip", with the path's own ampersands doubled so they show.
void MakeCaption(int slot, const char* path, char* out, size_t outSize) {
  size_t used = static_cast<size_t>(snprintf(out, outSize, "&%d ", slot));
  for (const char* c = path; *c && used + 2 < outSize; ++c) {
    if (*c == '&') out[used++] = '&';
    out[used++] = *c;
  }
  out[used] = '\0';
}

void FillRecentMenu(HMENU menu) {
  while (GetMenuItemCount(menu) > 0) DeleteMenu(menu, 0, MF_BYPOSITION);
  for (int slot = 1; slot <= kRecentSlots; ++slot) {
    const char* path = GetRecentSlot(slot);
    if (!*path) continue;
    char caption[kPathBuf * 2 + 8];
    MakeCaption(slot, path, caption, sizeof caption);
    AppendMenuA(menu, MF_STRING, IDM_RECENT_FIRST + slot - 1, caption);
  }
}

bool HasRecentFiles() {
  for (int slot = 1; slot <= kRecentSlots; ++slot)
    if (*GetRecentSlot(slot)) return true;
  return false;
}

}  // namespace

HMENU CreateRecentMenu() {
  g_recentMenu = CreatePopupMenu();
  FillRecentMenu(g_recentMenu);
  return g_recentMenu;
}

void RefreshRecentMenu(HMENU opening) {
  if (!g_recentMenu) return;
  if (opening == g_recentMenu) {
    FillRecentMenu(g_recentMenu);
    return;
  }
  int count = GetMenuItemCount(opening);
  for (int i = 0; i < count; ++i) {
    if (GetSubMenu(opening, i) != g_recentMenu) continue;
    FillRecentMenu(g_recentMenu);
    EnableMenuItem(opening, static_cast<UINT>(i), MF_BYPOSITION | (HasRecentFiles() ? MF_ENABLED : MF_GRAYED));
    return;
  }
}

bool OnRecentCommand(int id) {
  if (id < IDM_RECENT_FIRST || id >= IDM_RECENT_FIRST + IDM_RECENT_SLOTS) return false;
  // The slot may change while the archive opens; open a copy.
  char path[kPathBuf];
  snprintf(path, sizeof path, "%s", GetRecentSlot(id - IDM_RECENT_FIRST + 1));
  if (*path) {
    Log(1, GetVerbose(), "OnRecentCommand: opening %s", path);
    OpenCompressedFile(path, Main().hwnd);
  }
  return true;
}

void AddRecentArchive(const char* path) {
  PushRecentFile(path);
  SaveRecentList();
}
