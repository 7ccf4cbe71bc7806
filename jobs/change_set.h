// The input of a rewrite (delete, rename, move): the entries concerned, each with the path it
// is to have, in an ordered index keyed by its current path.
#pragma once
#include "services/base.h"

struct RBTree;

// What a rewrite of a change set answers besides 0 (done) and its negative failures.
constexpr int kRewriteSimulated = 1;  // simulation: nothing written, the report says what would change
constexpr int kRewriteUnmatched = 2;  // no entry is concerned: the archive was not touched
constexpr int kRewriteSavedAsNew = 3;  // the archive was not touched: the change went to a new one
constexpr int kRewriteReadOnly = -9;   // the archive is read-only: refused before any work

// One requested change; the change set owns the record and both texts. A record whose old
// path ends with a separator names a folder: it concerns every entry below the folder, and
// the folder's own entries, and a rename gives each the new folder path in its place.
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
// Some record of the set names a folder.
bool ChangeSetNamesFolders(RBTree* changes);
// The record for an entry: its own, else that of the nearest folder above it (only looked for
// when folders is set), whose new path then takes the folder's place in the entry's name. A
// folder entry's new path keeps its final separator. 1 and newPath (kPathBuf) on a hit.
int FindChangeForEntry(RBTree* changes, const char* name, bool folders, char* newPath);
