#include "services/base.h"
#include "model/stack.h"

#include <cstdlib>

Stack* StackCreate() { return static_cast<Stack*>(calloc(1, sizeof(Stack))); }

void StackPush(Stack* stack, void* element) {
  StackCell* cell = static_cast<StackCell*>(malloc(sizeof(StackCell)));
  cell->element = element;
  cell->next = stack->top;
  if (!stack->top) stack->bottom = cell;
  stack->top = cell;
}

void* StackPop(Stack* stack) {
  StackCell* cell = stack->top;
  if (!cell) return nullptr;
  void* element = cell->element;
  stack->top = cell->next;
  if (!stack->top) stack->bottom = nullptr;
  free(cell);
  return element;
}

int StackNotEmpty(const Stack* stack) { return stack && stack->top != nullptr; }

void StackDestroy(Stack* stack, void (*destroyElement)(void*)) {
  if (!stack) return;
  while (stack->top) {
    void* element = StackPop(stack);
    if (destroyElement) destroyElement(element);
  }
  free(stack);
}
