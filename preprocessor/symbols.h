// The symbol table: what a macro is, and how its name is found.
#ifndef PREPROCESSOR_SYMBOLS_H
#define PREPROCESSOR_SYMBOLS_H

#include <cstdint>
#include <cstring>

#include "preprocessor/sourcechar.h"

constexpr std::uint32_t MACRO_PARAMS_MAX = 31;  // parameters or arguments; one more: fatal 148 or 151

enum macro_kind : std::int32_t {  // 0 and above: that many parameters
  MACRO_OBJECT = -1,              // no parameter list
  MACRO_LINE = -2,                // __LINE__: replacement made at each use, no body
  MACRO_FILE = -3,                // __FILE__: likewise
};

// What a body holds, found once when it is stored, so that a call knows what it has to do.
enum body_traits : std::uint8_t {
  BODY_HAS_PARAMS = 1,     // parameter markers
  BODY_HAS_OPERATORS = 2,  // CH_STRINGIZE or CH_PASTE: the text of a call must be built
  BODY_HAS_SLASH = 4,      // a comment may end in it, which writes into the text: needs a copy
};

struct coded_body;
struct finished_text;

// One entry of the symbol table. Behind it, in the same piece of memory, lie the bytes of its name with a 0, and room
// for a body: a million macros need some 110 bytes each, the look-up table included.
struct macro_def {
  SourceChar* body;         // in the entry's room or owned; absent: dynamic replacement or failed definition
  finished_text* finished;  // what its expansion has written, or absent (finished.h)
  coded_body* coded;        // the body as whole calls read it, or absent (codedbody.h)
  const char* file;         // interned; where #define made the entry, absent for -D and presets
  std::int32_t line;
  std::uint32_t name_length;
  std::uint32_t body_length;
  std::uint32_t frames;  // macro frames that hold this entry's text
  std::int16_t disable;  // expansions that now hide the name
  std::int16_t nargs;    // parameters, or a macro_kind
  std::uint16_t room;    // units behind the name
  std::uint8_t traits;   // body_traits of `body`
  bool removed;          // out of the table, kept only for its living frames
};
static_assert(sizeof(macro_def) == 56);

// The name, without marks of the reader that may have stood in it: a name with one is found by no search.
inline const char* macro_name(const macro_def* macro) { return reinterpret_cast<const char*>(macro + 1); }

// The name in units, at most IDENTIFIER_MAX of them, in a buffer that the next call uses again.
const SourceChar* macro_wideName(const macro_def* macro);

// Makes a new entry that the caller fills, in the place of any entry of that name; `room` is the number of units that
// its body is expected to need, with its 0. Raises 296.
macro_def* macro_enter(const SourceChar* name, std::uint32_t room);

// Removes the entry of that name; false if there is none.
bool macro_remove(const SourceChar* name);

// The same where the look-up has told whether there is an entry: a new one, or the removal of `macro`. `shape` is what
// macro_shape gives, and `name` may be read up to 7 bytes past its end.
macro_def* macro_enterNew(const unsigned char* name, std::uint32_t length, std::uint64_t shape, std::uint32_t room);
void macro_removeEntry(macro_def* macro);

// Gives `macro` its kind and a copy of the `length` units of `body`, whose old one is gone unless a frame still reads
// it. With an absent `body` there is none. Raises 296.
void macro_setBody(macro_def* macro, const SourceChar* body, std::uint32_t length, std::int32_t nargs);

// A macro frame of `macro` begins or ends; the end releases an entry that was removed meanwhile.
inline void macro_hold(macro_def* macro) { macro->frames++; }
void macro_unhold(macro_def* macro);

// A hash over the first and the last eight bytes of a name and its length: all of it up to 16 bytes. `name` may be
// read up to 7 bytes past its end, and `first` is what macro_firstBytes gives.
constexpr std::uint32_t NAME_WORD = sizeof(std::uint64_t);
inline std::uint64_t macro_loadWord(const unsigned char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}
// Keeps the first bytes of a word, by their number.
struct name_masks {
  std::uint64_t of[NAME_WORD + 1];
};
constexpr name_masks make_nameMasks() {
  name_masks masks{};
  for (std::uint32_t n = 1; n <= NAME_WORD; n++) masks.of[n] = masks.of[n - 1] << 8 | 0xff;
  return masks;
}
inline constexpr name_masks kNameMasks = make_nameMasks();

inline std::uint64_t macro_firstBytes(const unsigned char* name, std::uint32_t length) {
  return macro_loadWord(name) & kNameMasks.of[length < NAME_WORD ? length : NAME_WORD];
}

// No branch depends on the length, which is hard to foresee.
inline std::uint64_t macro_shape(const unsigned char* name, std::uint32_t length) {
  constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15;
  const std::uint32_t whole = length < NAME_WORD ? length : NAME_WORD;
  const std::uint64_t mask = kNameMasks.of[whole];
  const std::uint64_t first = macro_loadWord(name) & mask;
  const std::uint64_t last = macro_loadWord(name + (length - whole)) & mask;
  std::uint64_t hash = (first + length) * FACTOR;
  hash = ((hash ^ hash >> 32) + last) * FACTOR;
  return hash ^ hash >> 32;
}

// One bit for each of so many shapes, set once a name of that shape has been entered: most names of a text are no
// macros', and are told by it.
constexpr std::uint32_t SHAPE_BITS = 1u << 16;
extern std::uint64_t gMacroShapes[SHAPE_BITS / 64];
inline bool macro_mayExist(std::uint64_t shape) {
  const std::uint64_t bit = shape >> 48;
  return ((gMacroShapes[bit / 64] >> (bit % 64)) & 1) != 0;
}

// The same look-up with the name's shape in hand.
macro_def* macro_findShape(const unsigned char* name, std::uint32_t length, std::uint64_t shape);

// Raised by 1 whenever an entry is entered or removed or changes its body: what was concluded from the table
// before need not hold any more.
extern std::uint32_t gMacroGeneration;

// The entry of that name, whatever its `disable`, or nullptr. `name` may be read up to 7 bytes past
// its end.
macro_def* macro_find(const unsigned char* name, std::uint32_t length);
macro_def* macro_findToken();  // the name in gToken

#endif
