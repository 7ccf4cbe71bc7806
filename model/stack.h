// A singly linked stack, the result of a range enumeration of the ordered index.
#pragma once
#include "services/base.h"

struct StackCell {
  void* element;
  StackCell* next;
};

struct Stack {
  StackCell* top;
  StackCell* bottom;
};

Stack* StackCreate();
void StackPush(Stack* stack, void* element);
void* StackPop(Stack* stack);
int StackNotEmpty(const Stack* stack);
// Calls destroyElement (when given) on every element, frees the cells and the record.
void StackDestroy(Stack* stack, void (*destroyElement)(void*));
