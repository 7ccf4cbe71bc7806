// The program's one ordered container: a red-black tree with a root sentinel (whose left
// child is the real root) and a leaf sentinel, its behaviour set per instance by callbacks.
// Equal keys are allowed; a key equal to existing ones is placed after them.
#pragma once
#include "services/base.h"

struct RBNode {
  int red;
  void* key;
  void* info;
  RBNode* left;
  RBNode* right;
  RBNode* parent;
};

struct RBTree;
// compare(node key, probe): exactly 1 means the node key sorts after the probe, 0 equal,
// anything else before. Only the exact value 1 sends a search left.
typedef int (*RBCompareFn)(const void* nodeKey, const void* probe);
typedef void (*RBPrintFn)(RBTree* tree, RBNode* node);
typedef void (*RBVisitFn)(void* context, RBTree* tree, RBNode* node);
typedef void (*RBDeleteFn)(void* p);

struct RBTree {
  RBPrintFn print;
  RBVisitFn visit;
  RBCompareFn compare;
  RBCompareFn extendedCompare;
  RBDeleteFn deleteKey;
  RBDeleteFn deleteInfo;
  RBNode* root;
  RBNode* nil;
  size_t count;
  void* visitContext;
};

// A fresh empty tree: every callback unset but compare, which is strcmp on the keys.
RBTree* RBTreeCreate();
RBNode* RBTreeInsert(RBTree* tree, void* key, void* info);
RBNode* RBTreeSearch(RBTree* tree, const void* probe);
RBNode* RBTreeSearch_ExtendedCompare(RBTree* tree, const void* probe);
void RBTreeDelete(RBTree* tree, RBNode* node);
void RBTreeDestroy(RBTree** place);
void RBTreePrint(RBTree* tree);
RBNode* RBTreeFirst(RBTree* tree, RBNode* start);
RBNode* RBTreeSuccessor(RBTree* tree, RBNode* node);
RBNode* RBTreePredecessor(RBTree* tree, RBNode* node);

// Nodes freed by the last destroy, counted from 0 when it started.
size_t GetDestroyedNodesCount();

// Compare callbacks for plain string keys.
int RBStringCompare(const void* nodeKey, const void* probe);
// Prefix compare: 0 when the node key begins with the probe, so a search finds any key
// under a path prefix.
int RBStringPrefixCompare(const void* nodeKey, const void* probe);

// Range enumeration: the nodes with low <= key <= high, smallest on top of the stack.
struct Stack;
Stack* RBTreeEnumerate(RBTree* tree, const void* low, const void* high);
