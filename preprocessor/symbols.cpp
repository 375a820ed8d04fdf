// The symbol table.
//
// Two structures hold the same entries. gMacroTable has the chains in the order that the reports
// show: a new name goes ahead of the first entry of equal hash and greater name, or to the chain's
// end. The hash is a plain sum, so names that differ in digits only crowd into a few chains; each
// chain therefore keeps its entries sorted beside, and a place in it is found by bisection. Looking
// a name up goes through a second table, open-addressed and hashed over all bits of the name.
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
  std::uint32_t count;
};

constexpr std::uint32_t INDEX_START = 512;
static std::uint32_t gFirstTags[INDEX_START];
static macro_def* gFirstMacros[INDEX_START];
static name_index gIndex = {gFirstTags, gFirstMacros, INDEX_START - 1, 0};

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
  return {static_cast<std::uint32_t>(hash) | 1, static_cast<std::uint32_t>(hash >> 32) & gIndex.mask};
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
  gIndex = {mem_array<std::uint32_t>(size), mem_array<macro_def*>(size), size - 1, old.count};
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

// The place of (hash, name) among the sorted entries; `found` tells whether it is taken.
static std::uint32_t chain_place(const macro_chain* chain, std::uint32_t hash, const SourceChar* name, bool* found) {
  std::uint32_t low = 0;
  std::uint32_t high = chain->count;
  while (low < high) {
    const std::uint32_t middle = (low + high) / 2;
    const macro_def* entry = chain->sorted[middle];
    const int order = entry->hash != hash ? (entry->hash < hash ? -1 : 1) : sc_compare(entry->name, name);
    if (order == 0) {
      *found = true;
      return middle;
    }
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  *found = false;
  return low;
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

// Puts `macro` at `place` of the sorted entries, and ahead of `before` (absent: at the end) in the chain.
static void chain_insert(macro_chain* chain, std::uint32_t place, macro_def* macro, macro_def* before) {
  if (chain->count == chain->capacity) {
    const std::uint32_t capacity = chain->capacity == 0 ? 4 : chain->capacity * 2;
    auto* grown = mem_array<macro_def*>(capacity);
    if (chain->count != 0) std::memcpy(grown, chain->sorted, chain->count * sizeof(macro_def*));
    std::free(chain->sorted);
    chain->sorted = grown;
    chain->capacity = capacity;
  }
  std::memmove(chain->sorted + place + 1, chain->sorted + place, (chain->count - place) * sizeof(macro_def*));
  chain->sorted[place] = macro;
  chain->count++;
  chain_link(chain, macro, before);
}

static void chain_erase(macro_chain* chain, std::uint32_t place) {
  chain_unlink(chain, chain->sorted[place]);
  chain->count--;
  std::memmove(chain->sorted + place, chain->sorted + place + 1, (chain->count - place) * sizeof(macro_def*));
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
  bool found;
  const std::uint32_t place = chain_place(chain, hash, name, &found);
  macro_def* old = found ? chain->sorted[place] : nullptr;
  macro_def* before = nullptr;  // where a search along the chain would stop
  if (found) {
    before = old->next;
    index_remove(old);
    chain_erase(chain, place);
  } else if (place < chain->count && chain->sorted[place]->hash == hash) {
    before = chain->sorted[place];
  }
  macro_def* entry = found ? &removed : nullptr;
  gMacroGeneration++;
  if (!remove) {
    entry = new_entry(name, hash);
    chain_insert(chain, place, entry, before);
    index_insert(entry);
  }
  if (found) discard_entry(old);
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
