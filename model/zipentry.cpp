#include "services/base.h"
#include "model/zipentry.h"

#include "model/compare.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

ZipEntry* ZipEntryCreate(const char* entry, const char* newEntry, int number) {
  ZipEntry* z = static_cast<ZipEntry*>(calloc(1, sizeof(ZipEntry)));
  z->entry = entry ? _strdup(entry) : nullptr;
  z->newEntry = newEntry ? _strdup(newEntry) : nullptr;
  z->number = number;
  return z;
}

void ZipEntryDelete(void* record) {
  ZipEntry* z = static_cast<ZipEntry*>(record);
  if (!z) return;
  free(z->entry);
  free(z->newEntry);
  z->entry = z->newEntry = nullptr;
  z->number = 0;
  free(z);
}

void DefaultZipPrint(RBTree*, RBNode* node) {
  if (!node || !node->key) return;
  const ZipEntry* z = static_cast<const ZipEntry*>(node->key);
  if (!z->entry) return;
  if (z->newEntry)
    printf("DefaultZipPrint: entry: %s, newEntry: %s, #: %d\n", z->entry, z->newEntry, z->number);
  else
    printf("DefaultZipPrint: entry: %s, #: %d \n", z->entry, z->number);
}

RBTree* ZipEntryTreeCreate() {
  RBTree* tree = RBTreeCreate();
  tree->compare = ZipEntryPathCompare;
  tree->print = DefaultZipPrint;
  tree->deleteKey = ZipEntryDelete;
  return tree;
}
