// The File menu's recent-files submenu, filled from the recent list's four slots.
#pragma once
#include "services/base.h"

// A new submenu holding the slots as they are now.
HMENU CreateRecentMenu();
// Called when a menu is about to open: the submenu is refilled from the slots, and its item
// in the File menu is enabled only while there is something to open.
void RefreshRecentMenu(HMENU opening);
// Opens the archive of a recent item; false when id is no recent item.
bool OnRecentCommand(int id);
// An archive was opened successfully: it goes to the top of the list, which is saved.
void AddRecentArchive(const char* path);
