#include "services/base.h"
#include "model/namelist.h"

#include <cstdlib>
#include <cstring>

namespace {

int CompareString(const void* element, const void* probe) {
  return strcmp(static_cast<const char*>(element), static_cast<const char*>(probe));
}

int CopyString(NameCell* cell, const void* probe) {
  if (cell->element) return 1;
  cell->element = _strdup(static_cast<const char*>(probe));
  return cell->element ? 0 : 1;
}

NameCell* Link(NameList* list, NameCell* cell) {
  cell->previous = list->last;
  cell->next = nullptr;
  if (list->last)
    list->last->next = cell;
  else
    list->first = cell;
  list->last = cell;
  ++list->count;
  return cell;
}

}  // namespace

NameList* NameListCreate() {
  NameList* list = static_cast<NameList*>(calloc(1, sizeof(NameList)));
  list->compare = CompareString;
  list->copy = CopyString;
  list->del = free;
  return list;
}

NameCell* NameListSearch(const NameList* list, const void* probe) {
  if (!list || !list->compare) return nullptr;
  for (NameCell* c = list->first; c; c = c->next)
    if (c->element && list->compare(c->element, probe) == 0) return c;
  return nullptr;
}

NameCell* NameListAppendCopy(NameList* list, const void* probe) {
  NameCell* cell = static_cast<NameCell*>(calloc(1, sizeof(NameCell)));
  if (!list->copy || list->copy(cell, probe) != 0) {
    free(cell);
    return nullptr;
  }
  return Link(list, cell);
}

NameCell* NameListInsertCopyUnique(NameList* list, const void* probe) {
  if (NameCell* found = NameListSearch(list, probe)) return found;
  return NameListAppendCopy(list, probe);
}

void NameListClear(NameList* list) {
  if (!list) return;
  NameCell* c = list->first;
  while (c) {
    NameCell* next = c->next;
    if (c->element && list->del) list->del(c->element);
    free(c);
    --list->count;
    c = next;
  }
  list->first = list->last = nullptr;
}

void NameListDestroy(NameList** place) {
  if (!place || !*place) return;
  NameListClear(*place);
  free(*place);
  *place = nullptr;
}

void NameListRecreate(NameList** place) {
  NameListDestroy(place);
  *place = NameListCreate();
}
