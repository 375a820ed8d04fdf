// The character model: the unit of program text, its control markers, the class of every unit, and
// the small string library that works on 0-terminated strings of units.
//
// A unit is a byte of source text (1 to 255, in no particular character set) or one of the markers
// below, which travel in macro bodies and expansion text beside the bytes without any escaping.
#ifndef PREPROCESSOR_SOURCECHAR_H
#define PREPROCESSOR_SOURCECHAR_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "common/hooks.h"

// Markers. Stored macro bodies, the reader and the reports rely on the values.
enum : SourceChar {
  CH_STRINGIZE = 32540,   // in a body: the next unit is a parameter to be turned into a string
  CH_NO_EXPAND = 32541,   // ahead of an identifier that is never expanded, here or in a rescan
  CH_PASTE = 32542,       // the tokens on its two sides are to be joined
  CH_MACRO_END = 32543,   // delivered by the reader once a macro's text is used up; never stored
  CH_PARAM_BASE = 32639,  // + n: stands for argument n
};
constexpr SourceChar PARAM_MARKERS = 33;

// True for the markers that no output path writes.
constexpr bool ch_isSilent(SourceChar c) { return c - CH_NO_EXPAND <= CH_MACRO_END - CH_NO_EXPAND; }
constexpr bool ch_isParam(SourceChar c) { return c - CH_PARAM_BASE < PARAM_MARKERS; }
static_assert(ch_isSilent(CH_PASTE) && !ch_isSilent(CH_STRINGIZE) && !ch_isSilent(0));

// Classes. The classes of operator characters are also their codes in the #if evaluator.
enum char_class_code : std::uint8_t {
  CC_OTHER = 0,
  CC_DIGIT = 1,
  CC_LETTER = 2,
  CC_PLUS = 3,
  CC_MINUS = 4,
  CC_STAR = 5,
  CC_SLASH = 6,
  CC_PERCENT = 7,
  CC_AND = 10,
  CC_OR = 11,
  CC_XOR = 12,
  CC_EQUAL = 13,
  CC_LESS = 15,
  CC_GREATER = 18,
  CC_QUESTION = 21,
  CC_COLON = 22,
  CC_NOT = 27,
  CC_OPEN = 28,
  CC_CLOSE = 29,
  CC_QUOTE = 65,
  CC_DOT = 66,
  CC_SPACE = 67,
  CC_BACKSLASH = 68,
  CC_END = 69,
};

struct char_class_table {
  std::uint8_t of[256];
};
constexpr char_class_table make_classTable() {
  char_class_table table{};
  for (int c = '0'; c <= '9'; c++) table.of[c] = CC_DIGIT;
  for (int c = 'A'; c <= 'Z'; c++) table.of[c] = CC_LETTER;
  for (int c = 'a'; c <= 'z'; c++) table.of[c] = CC_LETTER;
  constexpr struct {
    unsigned char byte;
    std::uint8_t code;
  } kSigns[] = {
      {'_', CC_LETTER}, {'$', CC_LETTER},  {29, CC_LETTER},      {'+', CC_PLUS},   {'-', CC_MINUS}, {'*', CC_STAR},
      {'/', CC_SLASH},  {'%', CC_PERCENT}, {'&', CC_AND},        {'|', CC_OR},     {'^', CC_XOR},   {'=', CC_EQUAL},
      {'<', CC_LESS},   {'>', CC_GREATER}, {'?', CC_QUESTION},   {':', CC_COLON},  {'!', CC_NOT},   {'~', CC_NOT},
      {'(', CC_OPEN},   {')', CC_CLOSE},   {'"', CC_QUOTE},      {'\'', CC_QUOTE}, {'.', CC_DOT},   {'\t', CC_SPACE},
      {' ', CC_SPACE},  {31, CC_SPACE},    {'\\', CC_BACKSLASH}, {0, CC_END},
  };
  for (auto sign : kSigns) table.of[sign.byte] = sign.code;
  return table;
}
inline constexpr char_class_table char_classTable = make_classTable();

// A set of byte values.
struct byte_set {
  bool has[256];
};

constexpr byte_set make_wordBytes() {
  byte_set words{};
  for (int c = 0; c < 256; c++) words.has[c] = char_classTable.of[c] == CC_LETTER || char_classTable.of[c] == CC_DIGIT;
  return words;
}
inline constexpr byte_set kWordBytes = make_wordBytes();  // letters and digits

// The class of any unit, marker or byte.
inline int char_class(SourceChar c) {
  if (c == CH_NO_EXPAND) return CC_LETTER;
  if (c == CH_PASTE) return CC_SPACE;
  if (c & 0xff00) return CC_OTHER;
  return char_classTable.of[c & 0xff];
}

inline bool char_isByte(SourceChar c) { return c < 256; }
inline bool char_isWord(SourceChar c) { return char_isByte(c) && kWordBytes.has[c]; }   // letter or digit
constexpr bool char_isWhite(SourceChar c) { return c == ' ' || c == '\t' || c == 31; }  // a byte of class CC_SPACE
constexpr bool char_isGap(SourceChar c) {
  return char_isWhite(c) || (c - '\v' <= '\r' - '\v');
}  // read as white space or as nothing, outside literals
constexpr bool char_isDigit(SourceChar c) { return c - '0' < 10; }
constexpr SourceChar char_upper(SourceChar c) { return c - 'a' < 26 ? c - ('a' - 'A') : c; }

// Sets of classes up to CC_NOT, one bit to a class.
template <class... Class>
constexpr std::uint32_t class_set(Class... classes) {
  return ((std::uint32_t{1} << classes) | ...);
}
constexpr bool class_isIn(std::uint32_t set, int char_class) {
  return char_class <= CC_NOT && ((set >> char_class) & 1) != 0;
}

// May a token of this class be the left operand of a paste that is still to be looked for?
constexpr std::uint32_t CAN_CATENATE = class_set(CC_DIGIT, CC_LETTER, CC_PLUS, CC_MINUS, CC_STAR, CC_SLASH, CC_PERCENT,
                                                 CC_AND, CC_OR, CC_XOR, CC_LESS, CC_GREATER, CC_NOT);
constexpr bool char_canCatenate(int char_class) { return class_isIn(CAN_CATENATE, char_class); }

// Copies with a change of width. `sc_toNarrow` keeps the low 8 bits of each unit. The destination is
// the caller's and large enough for the terminator; all return the destination.
SourceChar* sc_fromNarrow(SourceChar* destination, const char* source);
char* sc_toNarrow(char* destination, const SourceChar* source);

// At most `n` units; a shorter source is filled up with zeros, a longer one leaves no terminator.
SourceChar* sc_fromNarrowN(SourceChar* destination, const char* source, std::uint32_t n);

// New strings from mem_alloc (raises 296), released by the caller with `free`.
char* sc_narrowDup(const SourceChar* source);
SourceChar* sc_wideDup(const char* source);
SourceChar* sc_dup(const SourceChar* source);
SourceChar* sc_dupN(const SourceChar* source, std::uint32_t length);

// Raises message `number` with `text` as its one argument.
void sc_alert(unsigned number, const SourceChar* text);

// Decimal value of the digits at the start, 0 if there are none; wraps at 32 bits.
std::uint32_t sc_toInt(const SourceChar* source);

// Position of the last `unit`, or nullptr.
SourceChar* sc_findLast(SourceChar* source, SourceChar unit);

// 1, -1 or 0: unit by unit as signed values; a prefix sorts first.
int sc_compare(const SourceChar* a, const SourceChar* b);

// Difference of the first unequal pair, or 0; the bytes of `b` are taken as signed.
std::int32_t sc_compareNarrow(const SourceChar* a, const char* b);

SourceChar* sc_copy(SourceChar* destination, const SourceChar* source);
std::uint32_t sc_length(const SourceChar* source);

// Folds A to Z to lower case in place; `source` may be nullptr.
void sc_lower(SourceChar* source);

#endif
