// The symbol table.
//
// Names are found in an open-addressed table, hashed over all bits of the name. Entries are cut from large pieces of
// memory; what one that is removed leaves waits for the next of its size.
#include "preprocessor/symbols.h"

#include <cstdlib>
#include <cstring>

#include "common/osdep.h"
#include "preprocessor/chains.h"
#include "preprocessor/codedbody.h"
#include "preprocessor/depth.h"
#include "preprocessor/finished.h"

// A name is read eight bytes at a time, and so up to this many past its end.
constexpr std::uint32_t NAME_SLACK = NAME_WORD;

// --- The look-up table ---

// Two arrays side by side: a search that finds nothing, the usual one, touches the tags alone.
struct name_index {
  std::uint32_t* tags;  // the upper half of the name's hash; 0: the slot is free
  macro_def** macros;
  std::uint32_t mask;   // slots less 1
  std::uint32_t shift;  // of a tag, for the slot where the search begins
  std::uint32_t count;
};

constexpr std::uint32_t INDEX_START_BITS = 9;
constexpr std::uint32_t INDEX_START = 1u << INDEX_START_BITS;
static std::uint32_t gFirstTags[INDEX_START];
static macro_def* gFirstMacros[INDEX_START];
static name_index gIndex = {gFirstTags, gFirstMacros, INDEX_START - 1, 32 - INDEX_START_BITS, 0};

std::uint64_t gMacroShapes[SHAPE_BITS / 64];
std::uint32_t gMacroGeneration;

// The tag of a name: of all bytes, also those between the first and the last eight. Its upper bits are the place where
// the search begins, since a factor carries upward only: the last byte of `REG_1234` reaches the topmost eight bits and
// no others. Never 0.
static std::uint32_t tag_of(const unsigned char* name, std::uint32_t length, std::uint64_t shape) {
  constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15;
  for (std::uint32_t at = NAME_WORD; at + NAME_WORD < length; at += NAME_WORD) {
    shape = (shape + macro_loadWord(name + at)) * FACTOR;
    shape ^= shape >> 32;
  }
  return static_cast<std::uint32_t>(shape >> 32) | 1;
}

static const unsigned char* bytes_of(const macro_def* macro) {
  return reinterpret_cast<const unsigned char*>(macro + 1);
}

static bool is_named(const macro_def* macro, const unsigned char* name, std::uint32_t length) {
  if (macro->name_length != length) return false;
  const unsigned char* bytes = bytes_of(macro);
  for (; length > NAME_WORD; length -= NAME_WORD, name += NAME_WORD, bytes += NAME_WORD) {
    if (macro_loadWord(name) != macro_loadWord(bytes)) return false;
  }
  return macro_firstBytes(name, length) == macro_firstBytes(bytes, length);
}

static std::uint32_t slot_behind(std::uint32_t slot) { return (slot + 1) & gIndex.mask; }

macro_def* macro_findShape(const unsigned char* name, std::uint32_t length, std::uint64_t shape) {
  const std::uint32_t tag = tag_of(name, length, shape);
  for (std::uint32_t i = tag >> gIndex.shift; gIndex.tags[i] != 0; i = slot_behind(i)) {
    if (gIndex.tags[i] == tag && is_named(gIndex.macros[i], name, length)) return gIndex.macros[i];
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

static void index_put(macro_def* macro, std::uint32_t tag) {
  std::uint32_t i = tag >> gIndex.shift;
  while (gIndex.tags[i] != 0) i = slot_behind(i);
  gIndex.tags[i] = tag;
  gIndex.macros[i] = macro;
}

// At most half of the slots are in use, so that searches that find nothing stay short.
static void index_grow() {
  const name_index old = gIndex;
  const std::uint32_t size = (old.mask + 1) * 2;
  gIndex = {mem_array<std::uint32_t>(size), mem_array<macro_def*>(size), size - 1, old.shift - 1, old.count};
  for (std::uint32_t i = 0; i <= old.mask; i++) {
    if (old.tags[i] != 0) index_put(old.macros[i], old.tags[i]);
  }
  if (old.tags == gFirstTags) return;
  std::free(old.tags);
  std::free(old.macros);
}

static void index_insert(macro_def* macro, std::uint64_t shape) {
  if (++gIndex.count > (gIndex.mask + 1) / 2) index_grow();
  index_put(macro, tag_of(bytes_of(macro), macro->name_length, shape));
  const std::uint64_t bit = shape >> 48;
  gMacroShapes[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

static std::uint64_t shape_of(const macro_def* macro) { return macro_shape(bytes_of(macro), macro->name_length); }

// Closes the gap: entries that had been pushed past the freed slot move back.
static void index_remove(const macro_def* macro) {
  std::uint32_t gap = tag_of(bytes_of(macro), macro->name_length, shape_of(macro)) >> gIndex.shift;
  while (gIndex.macros[gap] != macro) gap = slot_behind(gap);
  gIndex.count--;
  for (std::uint32_t i = slot_behind(gap); gIndex.tags[i] != 0; i = slot_behind(i)) {
    const std::uint32_t home = gIndex.tags[i] >> gIndex.shift;
    if (((i - home) & gIndex.mask) < ((i - gap) & gIndex.mask)) continue;
    gIndex.tags[gap] = gIndex.tags[i];
    gIndex.macros[gap] = gIndex.macros[i];
    gap = i;
  }
  gIndex.tags[gap] = 0;
  gIndex.macros[gap] = nullptr;
}

// --- Memory of entries ---

// Pieces of up to so many bytes are cut from large ones; the few above have an allocation each.
constexpr std::uint32_t PIECE_STEP = 8;
constexpr std::uint32_t PIECE_MAX = 4096;
constexpr std::uint32_t CHUNK_BYTES = 256 * 1024;
constexpr std::uint32_t FIRST_CHUNK_BYTES = 16 * 1024;

struct free_piece {
  free_piece* next;
};
static free_piece* gFreePieces[PIECE_MAX / PIECE_STEP + 1];  // by size
alignas(macro_def) static char gFirstChunk[FIRST_CHUNK_BYTES + NAME_SLACK];
static char* gChunkAt = gFirstChunk;
static std::uint32_t gChunkLeft = FIRST_CHUNK_BYTES;

static void* get_piece(std::uint32_t bytes) {
  if (bytes > PIECE_MAX) return mem_allocRaw(bytes + NAME_SLACK);
  free_piece** waiting = &gFreePieces[bytes / PIECE_STEP];
  if (*waiting != nullptr) {
    free_piece* piece = *waiting;
    *waiting = piece->next;
    return piece;
  }
  if (gChunkLeft < bytes) {  // what is left of it is lost
    gChunkAt = static_cast<char*>(mem_allocRaw(CHUNK_BYTES + NAME_SLACK));
    gChunkLeft = CHUNK_BYTES;
  }
  char* piece = gChunkAt;
  gChunkAt += bytes;
  gChunkLeft -= bytes;
  return piece;
}

static void put_piece(void* memory, std::uint32_t bytes) {
  if (bytes > PIECE_MAX) {
    std::free(memory);
    return;
  }
  auto* piece = static_cast<free_piece*>(memory);
  piece->next = gFreePieces[bytes / PIECE_STEP];
  gFreePieces[bytes / PIECE_STEP] = piece;
}

// --- Entries ---

// Bytes from the start of an entry to its room.
static std::uint32_t room_at(std::uint32_t name_length) {
  constexpr std::uint32_t UNIT = sizeof(SourceChar);
  return static_cast<std::uint32_t>(sizeof(macro_def)) + name_length / UNIT * UNIT + UNIT;
}

static std::uint32_t piece_bytes(std::uint32_t name_length, std::uint32_t room) {
  const std::uint32_t bytes = room_at(name_length) + room * static_cast<std::uint32_t>(sizeof(SourceChar));
  return (bytes + PIECE_STEP - 1) / PIECE_STEP * PIECE_STEP;
}

static SourceChar* room_of(macro_def* macro) {
  return reinterpret_cast<SourceChar*>(reinterpret_cast<char*>(macro) + room_at(macro->name_length));
}

// An entry whose name is still to be put behind it.
static macro_def* new_entry(std::uint32_t name_length, std::uint32_t room) {
  constexpr std::uint32_t ROOM_MAX = 512;  // a longer body has an allocation of its own
  static_assert(ROOM_MAX <= UINT16_MAX);
  if (room > ROOM_MAX) room = 0;
  auto* entry = static_cast<macro_def*>(get_piece(piece_bytes(name_length, room)));
  std::memset(static_cast<void*>(entry), 0, sizeof *entry);
  entry->name_length = name_length;
  entry->room = static_cast<std::uint16_t>(room);
  reinterpret_cast<char*>(entry + 1)[name_length] = 0;
  return entry;
}

static void free_body(macro_def* macro) {
  if (macro->body != room_of(macro)) std::free(macro->body);
}

static void free_entry(macro_def* macro) {
  finished_forget(macro);
  coded_forget(macro);
  free_body(macro);
  put_piece(macro, piece_bytes(macro->name_length, macro->room));
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

const SourceChar* macro_wideName(const macro_def* macro) {
  static SourceChar wide[IDENTIFIER_MAX + 1];
  return sc_fromNarrowN(wide, macro_name(macro), IDENTIFIER_MAX);
}

// --- Names in bytes ---

static void widen(SourceChar* wide, const unsigned char* name, std::uint32_t length) {
  for (std::uint32_t i = 0; i < length; i++) wide[i] = name[i];
  wide[length] = 0;
}

macro_def* macro_enterNew(const unsigned char* name, std::uint32_t length, std::uint64_t shape, std::uint32_t room) {
  macro_def* entry = new_entry(length, room);
  std::memcpy(entry + 1, name, length);
  gMacroGeneration++;
  index_insert(entry, shape);
  if (gChainsKept) {
    SourceChar wide[IDENTIFIER_MAX + 1];
    widen(wide, name, length);
    chains_put(wide, entry);
  }
  return entry;
}

void macro_removeEntry(macro_def* macro) {
  gMacroGeneration++;
  index_remove(macro);
  if (gChainsKept) {
    SourceChar wide[IDENTIFIER_MAX + 1];
    widen(wide, bytes_of(macro), macro->name_length);
    chains_take(wide);
  }
  discard_entry(macro);
}

// --- Names in units ---

// What is known of a name that may hold marks of the reader, as in `#define` in macro text: an entry of such a name is
// in the chains alone, or nowhere if there are none.
struct unit_name {
  std::uint32_t length;  // without marks
  bool marked;
};

static unit_name measure(const SourceChar* name) {
  unit_name measured = {0, false};
  for (; *name != 0; name++) {
    const bool byte = char_isByte(*name);
    measured.length += byte;
    measured.marked = measured.marked || !byte;
  }
  return measured;
}

static macro_def* new_named(const SourceChar* name, std::uint32_t length, std::uint32_t room) {
  macro_def* entry = new_entry(length, room);
  auto* bytes = reinterpret_cast<unsigned char*>(entry + 1);
  for (; *name != 0; name++) {
    if (char_isByte(*name)) *bytes++ = static_cast<unsigned char>(*name);
  }
  return entry;
}

static macro_def* find_same(const macro_def* entry) {
  return macro_findShape(bytes_of(entry), entry->name_length, shape_of(entry));
}

macro_def* macro_enter(const SourceChar* name, std::uint32_t room) {
  static macro_def* unfound;  // the last entry that is nowhere
  const unit_name measured = measure(name);
  macro_def* entry = new_named(name, measured.length, room);
  macro_def* old = measured.marked ? unfound : find_same(entry);
  gMacroGeneration++;
  if (old != nullptr && !measured.marked) index_remove(old);
  if (!measured.marked) index_insert(entry, shape_of(entry));
  if (gChainsKept) {
    old = chains_put(name, entry);
  } else if (measured.marked) {
    unfound = entry;
  }
  if (old != nullptr) discard_entry(old);
  return entry;
}

bool macro_remove(const SourceChar* name) {
  const unit_name measured = measure(name);
  macro_def* old = nullptr;
  if (!measured.marked) {
    macro_def* entry = new_named(name, measured.length, 0);
    old = find_same(entry);
    free_entry(entry);
  }
  if (gChainsKept) old = chains_take(name);
  if (old == nullptr) return false;
  gMacroGeneration++;
  if (!measured.marked) index_remove(old);
  discard_entry(old);
  return true;
}

// --- Bodies ---

static bool is_marker(SourceChar c) { return !char_isByte(c); }

static std::uint8_t traits_of(const SourceChar* body, std::uint32_t length) {
  SourceChar all = 0;
  bool slash = false;
  for (std::uint32_t i = 0; i < length; i++) {
    all |= body[i];
    slash |= body[i] == '/';
  }
  std::uint32_t traits = 0;
  if (slash) traits |= BODY_HAS_SLASH;
  for (std::uint32_t i = 0; i < length && is_marker(all); i++) {
    if (ch_isParam(body[i])) traits |= BODY_HAS_PARAMS;
    if (body[i] == CH_STRINGIZE || body[i] == CH_PASTE) traits |= BODY_HAS_OPERATORS;
  }
  return static_cast<std::uint8_t>(traits);
}

// Frames read bodies in place: one that a frame may still read stays, and where it lies in the room, the room is lost
// to what comes meanwhile.
void macro_setBody(macro_def* macro, const SourceChar* body, std::uint32_t length, std::int32_t nargs) {
  gMacroGeneration++;
  finished_forget(macro);
  coded_forget(macro);
  if (macro->frames == 0) free_body(macro);
  macro->nargs = static_cast<std::int16_t>(nargs);
  macro->body_length = length;
  macro->traits = 0;
  macro->body = nullptr;
  if (body == nullptr) return;
  const bool fits = length < macro->room && macro->frames == 0;
  macro->body = fits ? room_of(macro) : static_cast<SourceChar*>(mem_allocRaw((length + 1) * sizeof(SourceChar)));
  std::memcpy(macro->body, body, length * sizeof(SourceChar));
  macro->body[length] = 0;
  macro->traits = traits_of(body, length);
}
