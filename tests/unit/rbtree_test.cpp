// The ordered index against a reference multiset under random inserts, deletes and range
// queries, with the red-black rules checked after every step.
#include "services/base.h"

#include <gtest/gtest.h>

#include "model/rbtree.h"
#include "model/stack.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

int IntCompare(const void* nodeKey, const void* probe) {
  int a = *static_cast<const int*>(nodeKey), b = *static_cast<const int*>(probe);
  return a > b ? 1 : (a == b ? 0 : -1);
}

int* NewInt(int v) {
  int* p = static_cast<int*>(malloc(sizeof(int)));
  *p = v;
  return p;
}

int g_freedKeys = 0;
void FreeKey(void* p) {
  ++g_freedKeys;
  free(p);
}

// Returns the black height, or -1 where a rule is broken.
int CheckNode(RBTree* t, RBNode* n, RBNode* parent) {
  if (n == t->nil) return 1;
  if (n->parent != parent) return -1;
  if (n->red && (n->left->red || n->right->red)) return -1;
  if (n->left != t->nil && IntCompare(n->left->key, n->key) == 1) return -1;
  if (n->right != t->nil && IntCompare(n->key, n->right->key) == 1) return -1;
  int l = CheckNode(t, n->left, n), r = CheckNode(t, n->right, n);
  if (l < 0 || r < 0 || l != r) return -1;
  return l + (n->red ? 0 : 1);
}

std::vector<int> InOrder(RBTree* t) {
  std::vector<int> out;
  for (RBNode* n = RBTreeFirst(t, t->root->left); n != t->nil; n = RBTreeSuccessor(t, n))
    out.push_back(*static_cast<int*>(n->key));
  return out;
}

std::vector<int> Drain(Stack* s) {
  std::vector<int> out;
  while (StackNotEmpty(s)) out.push_back(*static_cast<int*>(static_cast<RBNode*>(StackPop(s))->key));
  StackDestroy(s, nullptr);
  return out;
}

RBTree* IntTree() {
  RBTree* t = RBTreeCreate();
  t->compare = IntCompare;
  t->deleteKey = FreeKey;
  return t;
}

}  // namespace

TEST(RBTree, MatchesReferenceMultisetUnderRandomWork) {
  RBTree* t = IntTree();
  std::multiset<int> ref;
  std::mt19937 rng(12345);
  for (int step = 0; step < 4000; ++step) {
    int op = rng() % 10;
    int v = rng() % 300;  // a small key range makes many duplicates
    if (op < 6) {
      RBTreeInsert(t, NewInt(v), nullptr);
      ref.insert(v);
    } else if (op < 9) {
      RBNode* n = RBTreeSearch(t, &v);
      ASSERT_EQ(n != nullptr, ref.count(v) > 0) << "step " << step;
      if (n) {
        ASSERT_EQ(*static_cast<int*>(n->key), v);
        RBTreeDelete(t, n);
        ref.erase(ref.find(v));
      }
    } else {
      int lo = v, hi = v + static_cast<int>(rng() % 40);
      std::vector<int> expected(ref.lower_bound(lo), ref.upper_bound(hi));
      ASSERT_EQ(Drain(RBTreeEnumerate(t, &lo, &hi)), expected) << "step " << step;
    }
    ASSERT_EQ(t->count, ref.size());
    ASSERT_FALSE(t->root->left->red);
    ASSERT_FALSE(t->nil->red);
    ASSERT_GT(CheckNode(t, t->root->left, t->root), 0) << "red-black rules broken at step " << step;
    if (step % 97 == 0) {
      ASSERT_EQ(InOrder(t), std::vector<int>(ref.begin(), ref.end()));
    }
  }
  // Predecessor walks back over the same sequence.
  std::vector<int> back;
  RBNode* n = t->root->left;
  while (n != t->nil && n->right != t->nil) n = n->right;
  for (; n != t->nil; n = RBTreePredecessor(t, n)) back.push_back(*static_cast<int*>(n->key));
  EXPECT_EQ(back, std::vector<int>(ref.rbegin(), ref.rend()));

  g_freedKeys = 0;
  size_t remaining = t->count;
  RBTreeDestroy(&t);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(GetDestroyedNodesCount(), remaining);
  EXPECT_EQ(static_cast<size_t>(g_freedKeys), remaining);
}

TEST(RBTree, EqualKeysEachGetANodeAndSurviveEachOthersDelete) {
  RBTree* t = IntTree();
  RBNode* first = RBTreeInsert(t, NewInt(7), nullptr);
  RBNode* second = RBTreeInsert(t, NewInt(7), nullptr);
  EXPECT_EQ(t->count, 2u);
  // A later equal key follows the earlier one in order.
  EXPECT_EQ(RBTreeSuccessor(t, first), second);
  int seven = 7;
  RBNode* found = RBTreeSearch(t, &seven);
  ASSERT_NE(found, nullptr);
  RBTreeDelete(t, found);
  EXPECT_EQ(t->count, 1u);
  ASSERT_NE(RBTreeSearch(t, &seven), nullptr);
  RBTreeDestroy(&t);
}

TEST(RBTree, DeletingANodeWithTwoChildrenKeepsOtherNodesInPlace) {
  RBTree* t = IntTree();
  std::map<int, RBNode*> nodes;
  for (int v : {50, 20, 80, 10, 30, 70, 90, 25, 35}) nodes[v] = RBTreeInsert(t, NewInt(v), nullptr);
  RBTreeDelete(t, nodes[20]);
  nodes.erase(20);
  // No key moved between node records: every other node still holds its own key.
  for (auto& [v, n] : nodes) {
    EXPECT_EQ(*static_cast<int*>(n->key), v);
    EXPECT_EQ(RBTreeSearch(t, &v), n);
  }
  EXPECT_EQ(InOrder(t), (std::vector<int>{10, 25, 30, 35, 50, 70, 80, 90}));
  RBTreeDestroy(&t);
}
