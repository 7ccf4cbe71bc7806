#include "services/base.h"
#include "model/rbtree.h"

#include "model/stack.h"
#include "services/log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

size_t g_destroyedNodes = 0;

int Sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

void LeftRotate(RBTree* tree, RBNode* x) {
  RBNode* nil = tree->nil;
  RBNode* y = x->right;
  x->right = y->left;
  if (y->left != nil) y->left->parent = x;
  y->parent = x->parent;
  if (x == x->parent->left)
    x->parent->left = y;
  else
    x->parent->right = y;
  y->left = x;
  x->parent = y;
}

void RightRotate(RBTree* tree, RBNode* y) {
  RBNode* nil = tree->nil;
  RBNode* x = y->left;
  y->left = x->right;
  if (x->right != nil) x->right->parent = y;
  x->parent = y->parent;
  if (y == y->parent->left)
    y->parent->left = x;
  else
    y->parent->right = x;
  x->right = y;
  y->parent = x;
}

void InsertFixUp(RBTree* tree, RBNode* x) {
  x->red = 1;
  // The root sentinel is black, so the climb stops below it.
  while (x->parent->red) {
    RBNode* grand = x->parent->parent;
    if (x->parent == grand->left) {
      RBNode* uncle = grand->right;
      if (uncle->red) {
        x->parent->red = 0;
        uncle->red = 0;
        grand->red = 1;
        x = grand;
      } else {
        if (x == x->parent->right) {
          x = x->parent;
          LeftRotate(tree, x);
        }
        x->parent->red = 0;
        x->parent->parent->red = 1;
        RightRotate(tree, x->parent->parent);
      }
    } else {
      RBNode* uncle = grand->left;
      if (uncle->red) {
        x->parent->red = 0;
        uncle->red = 0;
        grand->red = 1;
        x = grand;
      } else {
        if (x == x->parent->left) {
          x = x->parent;
          RightRotate(tree, x);
        }
        x->parent->red = 0;
        x->parent->parent->red = 1;
        LeftRotate(tree, x->parent->parent);
      }
    }
  }
  tree->root->left->red = 0;
}

void DeleteFixUp(RBTree* tree, RBNode* x) {
  while (!x->red && x != tree->root->left) {
    RBNode* parent = x->parent;
    if (x == parent->left) {
      RBNode* w = parent->right;
      if (w->red) {
        w->red = 0;
        parent->red = 1;
        LeftRotate(tree, parent);
        w = parent->right;
      }
      if (!w->right->red && !w->left->red) {
        w->red = 1;
        x = parent;
      } else {
        if (!w->right->red) {
          w->left->red = 0;
          w->red = 1;
          RightRotate(tree, w);
          w = parent->right;
        }
        w->red = parent->red;
        parent->red = 0;
        w->right->red = 0;
        LeftRotate(tree, parent);
        x = tree->root->left;
      }
    } else {
      RBNode* w = parent->left;
      if (w->red) {
        w->red = 0;
        parent->red = 1;
        RightRotate(tree, parent);
        w = parent->left;
      }
      if (!w->right->red && !w->left->red) {
        w->red = 1;
        x = parent;
      } else {
        if (!w->left->red) {
          w->right->red = 0;
          w->red = 1;
          LeftRotate(tree, w);
          w = parent->left;
        }
        w->red = parent->red;
        parent->red = 0;
        w->left->red = 0;
        RightRotate(tree, parent);
        x = tree->root->left;
      }
    }
  }
  x->red = 0;
}

void DeleteKeyAndInfo(RBTree* tree, RBNode* node) {
  if (tree->deleteKey) tree->deleteKey(node->key);
  if (tree->deleteInfo) tree->deleteInfo(node->info);
}

void DestroyHelper(RBTree* tree, RBNode* x) {
  if (x == tree->nil) return;
  DestroyHelper(tree, x->left);
  DestroyHelper(tree, x->right);
  // Unlike delete, destroy may meet nodes whose callbacks were never set; a key without a
  // delete callback is left to whoever else holds it.
  if (x->key && tree->deleteKey) tree->deleteKey(x->key);
  if (x->info && tree->deleteInfo) tree->deleteInfo(x->info);
  free(x);
  ++g_destroyedNodes;
}

void PrintHelper(RBTree* tree, RBNode* x) {
  if (x == tree->nil) return;
  PrintHelper(tree, x->left);
  if (tree->print) tree->print(tree, x);
  if (tree->visit) tree->visit(tree->visitContext, tree, x);
  PrintHelper(tree, x->right);
}

RBNode* SearchWith(RBTree* tree, RBCompareFn compare, const void* probe) {
  RBNode* x = tree->root->left;
  while (x != tree->nil) {
    int c = compare(x->key, probe);
    if (c == 0) return x;
    x = (c == 1) ? x->left : x->right;
  }
  return nullptr;
}

}  // namespace

int RBStringCompare(const void* nodeKey, const void* probe) {
  return Sign(strcmp(static_cast<const char*>(nodeKey), static_cast<const char*>(probe)));
}

int RBStringPrefixCompare(const void* nodeKey, const void* probe) {
  const char* p = static_cast<const char*>(probe);
  return Sign(strncmp(static_cast<const char*>(nodeKey), p, strlen(p)));
}

RBTree* RBTreeCreate() {
  RBTree* tree = static_cast<RBTree*>(calloc(1, sizeof(RBTree)));
  tree->compare = RBStringCompare;
  RBNode* nil = static_cast<RBNode*>(calloc(1, sizeof(RBNode)));
  nil->left = nil->right = nil->parent = nil;
  RBNode* root = static_cast<RBNode*>(calloc(1, sizeof(RBNode)));
  root->left = root->right = root->parent = nil;
  tree->nil = nil;
  tree->root = root;
  return tree;
}

RBNode* RBTreeInsert(RBTree* tree, void* key, void* info) {
  if (!tree) return nullptr;
  RBNode* z = static_cast<RBNode*>(calloc(1, sizeof(RBNode)));
  z->key = key;
  z->info = info;
  z->left = z->right = tree->nil;

  RBNode* y = tree->root;
  RBNode* x = tree->root->left;
  while (x != tree->nil) {
    y = x;
    x = (tree->compare(x->key, key) == 1) ? x->left : x->right;
  }
  z->parent = y;
  if (y == tree->root || tree->compare(y->key, key) == 1)
    y->left = z;
  else
    y->right = z;

  InsertFixUp(tree, z);
  ++tree->count;
  return z;
}

RBNode* RBTreeSearch(RBTree* tree, const void* probe) {
  if (!tree) return nullptr;
  return SearchWith(tree, tree->compare, probe);
}

RBNode* RBTreeSearch_ExtendedCompare(RBTree* tree, const void* probe) {
  if (!tree || !tree->extendedCompare) {
    Log(-1, GetVerbose(), "RBTreeSearch_ExtendedCompare: Tree not quite initialized!");
    if (!tree) return nullptr;
  }
  return SearchWith(tree, tree->extendedCompare ? tree->extendedCompare : tree->compare, probe);
}

void RBTreeDelete(RBTree* tree, RBNode* z) {
  if (!tree || !z) return;
  RBNode* nil = tree->nil;
  RBNode* root = tree->root;
  RBNode* y = (z->left == nil || z->right == nil) ? z : RBTreeSuccessor(tree, z);
  RBNode* x = (y->left == nil) ? y->right : y->left;
  // x may be the leaf sentinel: the fix-up climbs from it, so it needs its parent too.
  x->parent = y->parent;
  if (x->parent == root)
    root->left = x;
  else if (y == y->parent->left)
    y->parent->left = x;
  else
    y->parent->right = x;

  if (y != z) {
    if (!y->red) DeleteFixUp(tree, x);
    DeleteKeyAndInfo(tree, z);
    // y takes z's place as a node record, so no key moves between nodes and pointers that
    // callers hold to y stay valid.
    y->left = z->left;
    y->right = z->right;
    y->parent = z->parent;
    y->red = z->red;
    z->left->parent = y;
    z->right->parent = y;
    if (z == z->parent->left)
      z->parent->left = y;
    else
      z->parent->right = y;
    free(z);
  } else {
    DeleteKeyAndInfo(tree, z);
    if (!z->red) DeleteFixUp(tree, x);
    free(z);
  }
  nil->parent = nil;
  --tree->count;
}

void RBTreeDestroy(RBTree** place) {
  if (!place || !*place) return;
  RBTree* tree = *place;
  g_destroyedNodes = 0;
  DestroyHelper(tree, tree->root->left);
  free(tree->root);
  free(tree->nil);
  free(tree);
  *place = nullptr;
}

void RBTreePrint(RBTree* tree) {
  if (!tree || !tree->root) return;
  PrintHelper(tree, tree->root->left);
}

RBNode* RBTreeFirst(RBTree* tree, RBNode* start) {
  RBNode* x = start;
  if (x == tree->nil) return x;
  while (x->left != tree->nil) x = x->left;
  return x;
}

RBNode* RBTreeSuccessor(RBTree* tree, RBNode* x) {
  RBNode* nil = tree->nil;
  RBNode* y = x->right;
  if (y != nil) {
    while (y->left != nil) y = y->left;
    return y;
  }
  y = x->parent;
  while (x == y->right) {
    x = y;
    y = y->parent;
  }
  return y == tree->root ? nil : y;
}

RBNode* RBTreePredecessor(RBTree* tree, RBNode* x) {
  RBNode* nil = tree->nil;
  RBNode* y = x->left;
  if (y != nil) {
    while (y->right != nil) y = y->right;
    return y;
  }
  y = x->parent;
  while (x == y->left) {
    if (y == tree->root) return nil;
    x = y;
    y = y->parent;
  }
  return y;
}

Stack* RBTreeEnumerate(RBTree* tree, const void* low, const void* high) {
  Stack* stack = StackCreate();
  if (!tree) return stack;
  RBNode* nil = tree->nil;
  RBNode* x = tree->root->left;
  RBNode* best = nil;
  while (x != nil) {
    if (tree->compare(x->key, high) == 1) {
      x = x->left;
    } else {
      best = x;
      x = x->right;
    }
  }
  while (best != nil && tree->compare(low, best->key) != 1) {
    StackPush(stack, best);
    best = RBTreePredecessor(tree, best);
  }
  return stack;
}

size_t GetDestroyedNodesCount() { return g_destroyedNodes; }
