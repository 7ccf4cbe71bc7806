// The input of a rewrite (delete, rename, move): the entries concerned, each with the path it
// is to have, in an ordered index keyed by its current path.
#pragma once
#include "services/base.h"

struct RBTree;

// One requested change; the change set owns the record and both texts.
struct ChangeRecord {
  char* oldPath;  // the entry's current path in the archive
  char* newPath;  // the path it is to have (unused for deletion)
  int item;       // the list row that shows the entry
};

// An ordered index of ChangeRecords keyed by old path ("/" and "\" alike).
RBTree* CreateChangeSet();
// False when memory ran out. newPath may be null (deletion).
bool AddChangeRecord(RBTree* changes, const char* oldPath, const char* newPath, int item);
void DestroyChangeSet(RBTree** changes);
// Looks an archive name up; on a hit copies the record's new path into newPath (kPathBuf)
// and returns 1, else 0. An absent or empty change set finds nothing.
int FindEntryInZipEntryRBTree(RBTree* changes, const char* name, char* newPath);
