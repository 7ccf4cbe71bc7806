// The element of the ZIP entry indexes used by delete, rename, move and selective extraction.
#pragma once
#include "services/base.h"
#include "model/rbtree.h"

struct ZipEntry {
  char* entry;     // full name in the archive
  char* newEntry;  // new full name for a rename or move, else none
  int number;      // running number given by whoever fills the index
};

// A record owning copies of the names (newEntry may be null).
ZipEntry* ZipEntryCreate(const char* entry, const char* newEntry, int number);
// The index's delete-key callback; a null record is ignored.
void ZipEntryDelete(void* record);
void DefaultZipPrint(RBTree* tree, RBNode* node);
// An empty index with the callbacks of ZipEntry keys.
RBTree* ZipEntryTreeCreate();
