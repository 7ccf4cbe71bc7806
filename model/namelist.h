// A doubly linked list of owned elements for the small unordered sets: an archive's folder
// list and the paths a drag hands on.
#pragma once
#include "services/base.h"

struct NameCell {
  void* element;
  NameCell* next;
  NameCell* previous;
};

struct NameList;
// 0 means the element matches the probe.
typedef int (*NameCompareFn)(const void* element, const void* probe);
// Fills the cell's element from the probe; non-zero on failure.
typedef int (*NameCopyFn)(NameCell* cell, const void* probe);
typedef void (*NameDeleteFn)(void* element);

struct NameList {
  NameCell* first;
  NameCell* last;
  size_t count;
  NameCompareFn compare;
  NameCopyFn copy;
  NameDeleteFn del;
};

// Defaults: strcmp, strdup, free.
NameList* NameListCreate();
NameCell* NameListSearch(const NameList* list, const void* probe);
// Appends a copy made by the copy callback; none when the copy fails.
NameCell* NameListAppendCopy(NameList* list, const void* probe);
// Adds a copy when no element matches yet; returns the cell holding the probe's match.
NameCell* NameListInsertCopyUnique(NameList* list, const void* probe);
void NameListClear(NameList* list);
void NameListDestroy(NameList** place);
// Clears and frees the list the place holds (if any) and puts a new empty one there.
void NameListRecreate(NameList** place);
