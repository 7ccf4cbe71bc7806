// The one judge of whether an entry name may be written below the destination folder. A
// ZIP archive can carry any bytes as a name; Windows reads some of them as a place outside
// the folder ("..", "c:", "\\server"), as a device ("CON", "lpt1.txt") or as another file
// ("a." is "a", "a:b" is a stream of "a"). Every extraction asks here before it writes.
#pragma once
#include "services/base.h"

enum EntryNameVerdict {
  ENTRY_NAME_OK = 0,
  ENTRY_NAME_EMPTY = 1,        // nothing to write
  ENTRY_NAME_ABSOLUTE = 2,     // begins with a separator: the root, or "\\server\share"
  ENTRY_NAME_COLON = 3,        // a drive letter or an alternate data stream
  ENTRY_NAME_PARENT = 4,       // a ".." component climbs out of the destination
  ENTRY_NAME_DEVICE = 5,       // CON, NUL, COM1... as any component, with or without extension
  ENTRY_NAME_TRAILING = 6,     // a component ending in "." or " ", which Windows strips
  ENTRY_NAME_CONTROL = 7,      // a control character
  ENTRY_NAME_RESERVED_CHAR = 8 // < > " | ? *: no Windows file can carry them
};

// 0 when the name is fine; otherwise an EntryNameVerdict, with a short English reason in
// reason (when given) for the log. Both "/" and "\" separate components. A lone "." component
// is accepted (it names the folder it stands in); empty components ("a//b") and a trailing
// separator (folder entries) are accepted.
int JudgeEntryName(const char* name, char* reason, size_t reasonSize);
