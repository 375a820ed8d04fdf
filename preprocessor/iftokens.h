// The tokens of `#if` expressions, as far as their units alone decide: numbers, and operators of two characters.
//
// Both roads ask here. The ordinary one takes units with get(), which can end frames and raise messages; the other one
// looks at a text where it lies.
#ifndef PREPROCESSOR_IFTOKENS_H
#define PREPROCESSOR_IFTOKENS_H

#include "preprocessor/ifmachine.h"
#include "preprocessor/sourcechar.h"

// The value of `c` as a digit of any radix up to 16, or 16.
inline std::uint32_t if_digitValue(SourceChar c) {
  if (char_isDigit(c)) return c - '0';
  const SourceChar letter = char_upper(c) - 'A';
  return letter < 6 ? letter + 10 : 16;
}

// A number whose first digit is `c`; `next` gives one unit after the other, the last of which is the first behind the
// number. It wraps at 64 bits; any run of U and L follows.
template <class Next>
if_value if_readNumber(SourceChar c, Next next) {
  std::uint32_t radix = 10;
  if (c == '0') {
    radix = 8;
    c = next();
    if (c == 'x' || c == 'X') {
      radix = 16;
      c = next();
    }
  }
  std::uint64_t value = 0;
  for (std::uint32_t digit; (digit = if_digitValue(c)) < radix; c = next()) value = value * radix + digit;
  bool is_signed = (value >> 63) == 0;
  for (; char_upper(c) == 'U' || char_upper(c) == 'L'; c = next()) {
    if (char_upper(c) == 'U') is_signed = false;
  }
  return {static_cast<std::int64_t>(value), is_signed};
}

// May an operator that begins with this unit go on with the next one?
constexpr bool if_beginsPair(SourceChar c) {
  return c == '=' || c == '!' || c == '&' || c == '|' || c == '<' || c == '>';
}

// The operator of both units, or OP_NONE.
constexpr if_operator if_pair(SourceChar c, SourceChar next) {
  if (next != '=' && next != c) return OP_NONE;
  if (next == '=') {
    return c == '='   ? OP_EQUAL
           : c == '!' ? OP_NOT_EQUAL
           : c == '<' ? OP_LESS_EQUAL
           : c == '>' ? OP_GREATER_EQUAL
                      : OP_NONE;
  }
  return c == '&' ? OP_AND_IF : c == '|' ? OP_OR_ELSE : c == '<' ? OP_SHIFT_LEFT : c == '>' ? OP_SHIFT_RIGHT : OP_NONE;
}

// The operator of one unit of class `code`, or OP_NONE.
constexpr if_operator if_single(SourceChar c, int code) {
  if (c == '=' || code > OP_CLOSE) return OP_NONE;
  return c == '~' ? OP_COMPLEMENT : static_cast<if_operator>(code);
}

#endif
