// The symbol table.
//
// Two structures hold the same entries. gMacroTable has the chains in the order that the reports
// show: a new name goes ahead of the first entry of equal hash and greater name, or to the chain's
// end. The hash is a plain sum, so names that differ in digits only crowd into a few chains; each
// chain therefore keeps its entries in a tree too, by which a place in it is found. Looking a name up
// goes through a second table, open-addressed and hashed over all bits of the name.
#include <cstdlib>
#include <cstring>

#include "common/osdep.h"
#include "preprocessor/depth.h"
#include "preprocessor/finished.h"

macro_chain gMacroTable[MACRO_CHAINS];

// A name is read eight bytes at a time, and so up to this many past its end.
constexpr std::uint32_t NAME_SLACK = NAME_WORD;

// --- The look-up table ---

// Two arrays side by side: a search that finds nothing, the usual one, touches the tags alone.
struct name_index {
  std::uint32_t* tags;  // the hash of the name
  macro_def** macros;   // nullptr: the slot is free
  std::uint32_t mask;   // slots less 1
  std::uint32_t shift;  // a hash so far to the right is a slot: its highest bits, which all bytes of the name reach
  std::uint32_t count;
};

constexpr std::uint32_t INDEX_START_BITS = 9;
constexpr std::uint32_t INDEX_START = 1u << INDEX_START_BITS;
static std::uint32_t gFirstTags[INDEX_START];
static macro_def* gFirstMacros[INDEX_START];
static name_index gIndex = {gFirstTags, gFirstMacros, INDEX_START - 1, 64 - INDEX_START_BITS, 0};

std::uint64_t gMacroShapes[SHAPE_BITS / 64];
std::uint32_t gMacroGeneration;

// The tag of a name and its place come from the same hash: of all bytes, also those between the first and the last
// eight. Never 0, which marks a free slot.
static std::uint64_t hash_name(const unsigned char* name, std::uint32_t length, std::uint64_t shape) {
  constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15;
  for (std::uint32_t at = NAME_WORD; at + NAME_WORD < length; at += NAME_WORD) {
    shape = (shape + macro_loadWord(name + at)) * FACTOR;
    shape ^= shape >> 32;
  }
  return shape;
}

static const unsigned char* bytes_of(const macro_def* macro) {
  return reinterpret_cast<const unsigned char*>(macro->bytes);
}

static bool is_named(const macro_def* macro, const unsigned char* name, std::uint32_t length) {
  if (macro->name_length != length) return false;
  const unsigned char* bytes = bytes_of(macro);
  for (; length > NAME_WORD; length -= NAME_WORD, name += NAME_WORD, bytes += NAME_WORD) {
    if (macro_loadWord(name) != macro_loadWord(bytes)) return false;
  }
  return macro_firstBytes(name, length) == macro_firstBytes(bytes, length);
}

struct name_place {
  std::uint32_t tag;
  std::uint32_t home;  // the slot where the search begins
};

static name_place place_of(std::uint64_t hash) {
  return {static_cast<std::uint32_t>(hash) | 1, static_cast<std::uint32_t>(hash >> gIndex.shift)};
}

static std::uint32_t slot_behind(std::uint32_t slot) { return (slot + 1) & gIndex.mask; }

macro_def* macro_findShape(const unsigned char* name, std::uint32_t length, std::uint64_t shape) {
  const name_place place = place_of(hash_name(name, length, shape));
  for (std::uint32_t i = place.home; gIndex.tags[i] != 0; i = slot_behind(i)) {
    if (gIndex.tags[i] == place.tag && is_named(gIndex.macros[i], name, length)) return gIndex.macros[i];
  }
  return nullptr;
}

macro_def* macro_find(const unsigned char* name, std::uint32_t length) {
  const std::uint64_t shape = macro_shape(name, length);
  return macro_mayExist(shape) ? macro_findShape(name, length, shape) : nullptr;
}

// A name with a marker in it is found by no search.
macro_def* macro_findToken() {
  unsigned char bytes[IDENTIFIER_MAX + NAME_SLACK + 1];
  SourceChar all = 0;
  for (std::uint32_t i = 0; i < gTokenLength; i++) {
    all |= gToken[i];
    bytes[i] = static_cast<unsigned char>(gToken[i]);
  }
  std::memset(bytes + gTokenLength, 0, NAME_SLACK);
  return char_isByte(all) ? macro_find(bytes, gTokenLength) : nullptr;
}

static std::uint64_t hash_macro(const macro_def* macro) {
  return hash_name(bytes_of(macro), macro->name_length, macro_shape(bytes_of(macro), macro->name_length));
}

static void index_put(macro_def* macro) {
  const name_place place = place_of(hash_macro(macro));
  std::uint32_t i = place.home;
  while (gIndex.tags[i] != 0) i = slot_behind(i);
  gIndex.tags[i] = place.tag;
  gIndex.macros[i] = macro;
}

// At most half of the slots are in use, so that searches that find nothing stay short.
static void index_grow() {
  const name_index old = gIndex;
  const std::uint32_t size = (old.mask + 1) * 2;
  gIndex = {mem_array<std::uint32_t>(size), mem_array<macro_def*>(size), size - 1, old.shift - 1, old.count};
  for (std::uint32_t i = 0; i <= old.mask; i++) {
    if (old.tags[i] != 0) index_put(old.macros[i]);
  }
  if (old.tags == gFirstTags) return;
  std::free(old.tags);
  std::free(old.macros);
}

static void index_insert(macro_def* macro) {
  if (macro->bytes == nullptr) return;
  if (++gIndex.count > (gIndex.mask + 1) / 2) index_grow();
  index_put(macro);
  const std::uint64_t bit = macro_shape(bytes_of(macro), macro->name_length) >> 48;
  gMacroShapes[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

// Closes the gap: entries that had been pushed past the freed slot move back.
static void index_remove(const macro_def* macro) {
  if (macro->bytes == nullptr) return;
  std::uint32_t gap = place_of(hash_macro(macro)).home;
  while (gIndex.macros[gap] != macro) gap = slot_behind(gap);
  gIndex.count--;
  for (std::uint32_t i = slot_behind(gap); gIndex.tags[i] != 0; i = slot_behind(i)) {
    const std::uint32_t home = place_of(hash_macro(gIndex.macros[i])).home;
    if (((i - home) & gIndex.mask) < ((i - gap) & gIndex.mask)) continue;
    gIndex.tags[gap] = gIndex.tags[i];
    gIndex.macros[gap] = gIndex.macros[i];
    gap = i;
  }
  gIndex.tags[gap] = 0;
  gIndex.macros[gap] = nullptr;
}

// --- Chains ---

static std::uint32_t chain_hash(const SourceChar* name) {
  std::uint32_t sum = 0;
  std::uint32_t length = 0;
  for (; name[length] != 0; length++) sum += name[length];
  return sum + length;
}

// The chain's entries by (hash, name), in a tree: a node's `rank`, drawn when it is made, is above those
// below it, which keeps the tree flat whatever the order of the definitions. Below 0 if `macro` comes ahead
// of the name.
static int compare_entry(const macro_def* macro, std::uint32_t hash, const SourceChar* name) {
  return macro->hash != hash ? (macro->hash < hash ? -1 : 1) : sc_compare(macro->name, name);
}

// Where a name is, or would be.
struct tree_place {
  macro_def** link;   // to its entry; empty if there is none
  macro_def* behind;  // without an entry: the first one that comes behind the name, or absent
};

static tree_place tree_find(macro_def** link, std::uint32_t hash, const SourceChar* name) {
  macro_def* behind = nullptr;
  while (*link != nullptr) {
    const int order = compare_entry(*link, hash, name);
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

// The entries below the place that `macro` takes part into those ahead of it and those behind it.
static void tree_insert(macro_def** link, macro_def* macro) {
  macro->rank = draw_rank();
  while (*link != nullptr && (*link)->rank > macro->rank) {
    link = compare_entry(*link, macro->hash, macro->name) > 0 ? &(*link)->left : &(*link)->right;
  }
  macro_def* rest = *link;
  *link = macro;
  macro_def** ahead = &macro->left;
  macro_def** behind = &macro->right;
  while (rest != nullptr) {
    if (compare_entry(rest, macro->hash, macro->name) < 0) {
      *ahead = rest;
      rest = *(ahead = &rest->right);
    } else {
      *behind = rest;
      rest = *(behind = &rest->left);
    }
  }
  *ahead = *behind = nullptr;
}

// Takes out the entry that `link` leads to.
static void tree_remove(macro_def** link) {
  macro_def* left = (*link)->left;
  macro_def* right = (*link)->right;
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

static void chain_link(macro_chain* chain, macro_def* macro, macro_def* before) {
  macro->next = before;
  macro->previous = before != nullptr ? before->previous : chain->tail;
  (macro->previous != nullptr ? macro->previous->next : chain->head) = macro;
  (before != nullptr ? before->previous : chain->tail) = macro;
}

static void chain_unlink(macro_chain* chain, const macro_def* macro) {
  (macro->previous != nullptr ? macro->previous->next : chain->head) = macro->next;
  (macro->next != nullptr ? macro->next->previous : chain->tail) = macro->previous;
}

// --- Entries ---

static void free_entry(macro_def* macro) {
  finished_forget(macro);
  std::free(macro->body);
  std::free(macro);
}

// A control line in macro text can remove a macro whose text is still being read: the entry then
// lives on, out of the table, until its last frame has ended.
static void discard_entry(macro_def* macro) {
  macro->removed = true;
  if (macro->frames == 0) {
    depth_forgetHead(macro);
    free_entry(macro);
  }
}

void macro_unhold(macro_def* macro) {
  if (--macro->frames == 0 && macro->removed) discard_entry(macro);
}

// The entry and both forms of its name in one piece, the bytes first: a look-up reads them behind the entry.
static macro_def* new_entry(const SourceChar* name, std::uint32_t hash) {
  constexpr std::uint32_t ALIGNMENT = sizeof(SourceChar);
  const std::uint32_t length = sc_length(name);
  const std::uint32_t bytes = (length + NAME_SLACK + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
  const auto entry_bytes = static_cast<std::uint32_t>(sizeof(macro_def));
  auto* entry = static_cast<macro_def*>(mem_alloc(entry_bytes + bytes + (length + 1) * ALIGNMENT));
  char* behind = reinterpret_cast<char*>(entry + 1);
  entry->hash = hash;
  entry->name_length = length;
  entry->name = reinterpret_cast<SourceChar*>(behind + bytes);
  SourceChar all = 0;
  for (std::uint32_t i = 0; i < length; i++) all |= entry->name[i] = name[i];
  if (char_isByte(all)) entry->bytes = sc_toNarrow(behind, name);
  return entry;
}

macro_def* macro_enter(const SourceChar* name, bool remove) {
  static macro_def removed;  // stands for the answer that an entry was there
  const std::uint32_t hash = chain_hash(name);
  macro_chain* chain = &gMacroTable[hash % MACRO_CHAINS];
  const tree_place place = tree_find(&chain->root, hash, name);
  macro_def* old = *place.link;
  macro_def* before = nullptr;  // where a search along the chain would stop
  if (old != nullptr) {
    before = old->next;
    index_remove(old);
    tree_remove(place.link);
    chain_unlink(chain, old);
  } else if (place.behind != nullptr && place.behind->hash == hash) {
    before = place.behind;
  }
  macro_def* entry = old != nullptr ? &removed : nullptr;
  gMacroGeneration++;
  if (!remove) {
    entry = new_entry(name, hash);
    tree_insert(&chain->root, entry);
    chain_link(chain, entry, before);
    index_insert(entry);
  }
  if (old != nullptr) discard_entry(old);
  return entry;
}

// --- Bodies ---

void macro_setBody(macro_def* macro, SourceChar* body, std::int32_t nargs) {
  gMacroGeneration++;
  finished_forget(macro);
  macro->body = body;
  macro->nargs = nargs;
  macro->traits = 0;
  macro->body_length = 0;
  if (body == nullptr) return;
  const SourceChar* p = body;
  for (; *p != 0; p++) {
    if (ch_isParam(*p)) macro->traits |= BODY_HAS_PARAMS;
    if (*p == CH_STRINGIZE || *p == CH_PASTE) macro->traits |= BODY_HAS_OPERATORS;
    if (*p == '/') macro->traits |= BODY_HAS_SLASH;
  }
  macro->body_length = static_cast<std::uint32_t>(p - body);
}

SourceChar* macro_takeBody(macro_def* macro) {
  SourceChar* body = macro->body;
  gMacroGeneration++;
  finished_forget(macro);
  macro->body = nullptr;
  macro->body_length = 0;
  macro->traits = 0;
  return body;
}

// Frames read bodies in place, so one that may still be read stays.
void macro_releaseBody(const macro_def* macro, SourceChar* body) {
  if (macro->frames == 0) std::free(body);
}
