#include "services/base.h"
#include "jobs/change_set.h"

#include "model/compare.h"
#include "model/rbtree.h"
#include "services/log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Keys are old paths; "/" and "\" count alike, so a name as stored (with "/") finds the
// record a view made (with "\").
int ChangeKeyCompare(const void* nodeKey, const void* probe) {
  return PathCompareIndependentCaseSense(static_cast<const char*>(nodeKey), static_cast<const char*>(probe));
}

void FreeChangeRecord(void* p) {
  ChangeRecord* record = static_cast<ChangeRecord*>(p);
  if (!record) return;
  free(record->oldPath);
  free(record->newPath);
  free(record);
}

}  // namespace

RBTree* CreateChangeSet() {
  RBTree* changes = RBTreeCreate();
  if (!changes) return nullptr;
  changes->compare = ChangeKeyCompare;
  changes->deleteInfo = FreeChangeRecord;  // the key is the record's own old path
  return changes;
}

bool AddChangeRecord(RBTree* changes, const char* oldPath, const char* newPath, int item) {
  ChangeRecord* record = static_cast<ChangeRecord*>(calloc(1, sizeof(ChangeRecord)));
  if (!record) return false;
  record->oldPath = _strdup(oldPath);
  record->newPath = _strdup(newPath ? newPath : "");
  record->item = item;
  if (!record->oldPath || !record->newPath || !RBTreeInsert(changes, record->oldPath, record)) {
    FreeChangeRecord(record);
    return false;
  }
  return true;
}

void DestroyChangeSet(RBTree** changes) { RBTreeDestroy(changes); }

int FindEntryInZipEntryRBTree(RBTree* changes, const char* name, char* newPath) {
  if (!changes || !changes->count || !name) return 0;
  // The keys' compare takes "/" and "\\" alike: a stored name finds the record a view made.
  const char* probe = name;
  RBNode* node = RBTreeSearch(changes, probe);
  const ChangeRecord* record = node ? static_cast<const ChangeRecord*>(node->info) : nullptr;
  if (record) snprintf(newPath, kPathBuf, "%s", record->newPath);
  Log(5, GetVerbose(), "FindEntryInZipEntryRBTree (%s) %s -- %s fnd %d", record ? "found" : "not found", probe,
      record ? record->newPath : "", record ? 1 : 0);
  return record ? 1 : 0;
}

namespace {
bool IsSeparator(char c) { return c == '/' || c == '\\'; }
}  // namespace

bool ChangeSetNamesFolders(RBTree* changes) {
  if (!changes || !changes->count) return false;
  for (RBNode* n = RBTreeFirst(changes, changes->root->left); n != changes->nil; n = RBTreeSuccessor(changes, n)) {
    const char* old = static_cast<const ChangeRecord*>(n->info)->oldPath;
    if (*old && IsSeparator(old[strlen(old) - 1])) return true;
  }
  return false;
}

int FindChangeForEntry(RBTree* changes, const char* name, bool folders, char* newPath) {
  if (!changes || !changes->count || !name) return 0;
  std::string entry = name, found;
  bool folderEntry = !entry.empty() && IsSeparator(entry.back());
  size_t end = entry.size();
  RBNode* node = RBTreeSearch(changes, name);
  if (node) {
    found = static_cast<const ChangeRecord*>(node->info)->newPath;
  } else if (folders) {
    // The folders above the entry, nearest first: "a/b/c" asks "a/b/", then "a/".
    if (folderEntry) --end;
    while (!node && end > 0) {
      size_t cut = entry.find_last_of("/\\", end - 1);
      if (cut == std::string::npos) break;
      node = RBTreeSearch(changes, entry.substr(0, cut + 1).c_str());
      if (node) {
        found = static_cast<const ChangeRecord*>(node->info)->newPath;
        if (!found.empty() && !IsSeparator(found.back())) found += '/';
        found += entry.substr(cut + 1);
      }
      end = cut;
    }
  }
  if (!node) return 0;
  if (folderEntry && !found.empty() && !IsSeparator(found.back())) found += '/';
  snprintf(newPath, kPathBuf, "%s", found.c_str());
  return 1;
}
