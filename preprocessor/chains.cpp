// The chains that the reports show.
//
// The hash is a plain sum, so names that differ in digits only crowd into a few chains; each chain therefore keeps its
// nodes in a tree too, by which a place in it is found.
#include "preprocessor/chains.h"

#include <cstdlib>

#include "common/osdep.h"

bool gChainsKept = true;

struct chain_node {
  macro_def* macro;
  chain_node* next;  // in the chain
  chain_node* previous;
  chain_node* left;  // below the node in the tree: those ahead of it
  chain_node* right;
  SourceChar* name;    // owned; marks of the reader that stand in it are part of it
  std::uint32_t hash;  // sum of the name's units, plus their number
  std::uint32_t rank;  // in the tree
};

struct macro_chain {
  chain_node* head;
  chain_node* tail;
  chain_node* root;  // of the tree of its nodes, by (hash, name)
};
static macro_chain gChains[CHAINS];

static std::uint32_t hash_units(const SourceChar* name) {
  std::uint32_t sum = 0;
  std::uint32_t length = 0;
  for (; name[length] != 0; length++) sum += name[length];
  return sum + length;
}

// --- The tree: a node's `rank`, drawn when it is made, is above those below it, which keeps the tree flat whatever the
// order of the definitions ---

// Below 0 if `node` comes ahead of the name.
static int compare_node(const chain_node* node, std::uint32_t hash, const SourceChar* name) {
  return node->hash != hash ? (node->hash < hash ? -1 : 1) : sc_compare(node->name, name);
}

// Where a name is, or would be.
struct tree_place {
  chain_node** link;   // to its node; empty if there is none
  chain_node* behind;  // without a node: the first one that comes behind the name, or absent
};

static tree_place tree_find(chain_node** link, std::uint32_t hash, const SourceChar* name) {
  chain_node* behind = nullptr;
  while (*link != nullptr) {
    const int order = compare_node(*link, hash, name);
    if (order == 0) break;
    if (order > 0) behind = *link;
    link = order > 0 ? &(*link)->left : &(*link)->right;
  }
  return {link, behind};
}

static std::uint32_t draw_rank() {
  static std::uint32_t state = 1;
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

// The nodes below the place that `node` takes part into those ahead of it and those behind it.
static void tree_insert(chain_node** link, chain_node* node) {
  node->rank = draw_rank();
  while (*link != nullptr && (*link)->rank > node->rank) {
    link = compare_node(*link, node->hash, node->name) > 0 ? &(*link)->left : &(*link)->right;
  }
  chain_node* rest = *link;
  *link = node;
  chain_node** ahead = &node->left;
  chain_node** behind = &node->right;
  while (rest != nullptr) {
    if (compare_node(rest, node->hash, node->name) < 0) {
      *ahead = rest;
      rest = *(ahead = &rest->right);
    } else {
      *behind = rest;
      rest = *(behind = &rest->left);
    }
  }
  *ahead = *behind = nullptr;
}

// Takes out the node that `link` leads to.
static void tree_remove(chain_node** link) {
  chain_node* left = (*link)->left;
  chain_node* right = (*link)->right;
  while (left != nullptr && right != nullptr) {
    if (left->rank > right->rank) {
      *link = left;
      left = *(link = &left->right);
    } else {
      *link = right;
      right = *(link = &right->left);
    }
  }
  *link = left != nullptr ? left : right;
}

// --- The chains ---

static void chain_link(macro_chain* chain, chain_node* node, chain_node* before) {
  node->next = before;
  node->previous = before != nullptr ? before->previous : chain->tail;
  (node->previous != nullptr ? node->previous->next : chain->head) = node;
  (before != nullptr ? before->previous : chain->tail) = node;
}

static void chain_unlink(macro_chain* chain, const chain_node* node) {
  (node->previous != nullptr ? node->previous->next : chain->head) = node->next;
  (node->next != nullptr ? node->next->previous : chain->tail) = node->previous;
}

macro_def* chains_put(const SourceChar* name, macro_def* macro) {
  const std::uint32_t hash = hash_units(name);
  macro_chain* chain = &gChains[hash % CHAINS];
  const tree_place place = tree_find(&chain->root, hash, name);
  if (*place.link != nullptr) {
    macro_def* old = (*place.link)->macro;
    (*place.link)->macro = macro;
    return old;
  }
  auto* node = mem_array<chain_node>(1);
  node->macro = macro;
  node->name = sc_dup(name);
  node->hash = hash;
  tree_insert(&chain->root, node);
  chain_link(chain, node, place.behind != nullptr && place.behind->hash == hash ? place.behind : nullptr);
  return nullptr;
}

macro_def* chains_take(const SourceChar* name) {
  const std::uint32_t hash = hash_units(name);
  macro_chain* chain = &gChains[hash % CHAINS];
  const tree_place place = tree_find(&chain->root, hash, name);
  chain_node* node = *place.link;
  if (node == nullptr) return nullptr;
  macro_def* macro = node->macro;
  tree_remove(place.link);
  chain_unlink(chain, node);
  std::free(node->name);
  std::free(node);
  return macro;
}

void chains_stop() { gChainsKept = false; }

void chains_visit(void (*visit)(const macro_def* macro, void* context), void* context) {
  for (const macro_chain& chain : gChains) {
    for (const chain_node* node = chain.head; node != nullptr; node = node->next) visit(node->macro, context);
  }
}
