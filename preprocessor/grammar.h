// The grammar of tokens: predicates on units that all roads ask.
//
// A fast road may pass ordinary bytes in a loop of its own; the unit that ends the loop is judged here, where
// the scanners judge it too.
#ifndef PREPROCESSOR_GRAMMAR_H
#define PREPROCESSOR_GRAMMAR_H

#include "preprocessor/sourcechar.h"
#include "preprocessor/state.h"

// --- Numbers ---

// A number in the making. The first unit decides on `radix`: number_begin for a digit, number_beginDot behind a
// dot that a digit follows.
struct number_state {
  int radix;
  bool seen_dot;
  bool seen_exp;
  bool sign_ok;    // a sign may follow
  bool in_suffix;  // digits are over
  bool seen_u;
  bool seen_l;
};

constexpr number_state number_begin(int radix) { return {radix, false, false, false, false, false, false}; }
constexpr number_state number_beginDot() { return {10, true, false, false, false, false, false}; }

constexpr bool is_hexLetter(SourceChar c) { return char_upper(c) - 'A' < 6; }
constexpr bool is_asciiLetter(SourceChar c) { return char_upper(c) - 'A' < 26; }

// The radix that the unit behind a leading 0 chooses; for 16 and 2 the unit belongs to the prefix.
inline int number_radixBehindZero(SourceChar c) { return char_upper(c) == 'X' ? 16 : char_upper(c) == 'B' ? 2 : 8; }

inline bool number_acceptsExponent(number_state* state) {
  if (state->seen_exp) return false;
  state->seen_exp = state->sign_ok = true;
  state->radix = 10;
  return true;
}

inline bool number_acceptsDot(number_state* state) {
  if (state->seen_dot) return false;
  state->seen_dot = true;
  state->radix = 10;
  return true;
}

// At most one U and one L in any order; behind a dot or an exponent one L alone.
inline bool number_acceptsSuffix(number_state* state, SourceChar c) {
  const SourceChar letter = char_upper(c);
  state->in_suffix = true;
  if (state->seen_dot || state->seen_exp) state->seen_u = true;
  bool* seen = letter == 'U' ? &state->seen_u : letter == 'L' ? &state->seen_l : nullptr;
  if (seen == nullptr || *seen) return false;
  *seen = true;
  return true;
}

// Does `c` belong to the number? Units are asked in turn, until one does not. A number runs on across the end of a
// macro's text, as long as no suffix has begun.
inline bool number_accepts(number_state* state, SourceChar c) {
  if (state->in_suffix) return number_acceptsSuffix(state, c);
  if (state->radix != 16 && char_upper(c) == 'E') return number_acceptsExponent(state);
  if (state->radix != 16 && c == '.') return number_acceptsDot(state);
  if ((c == '+' || c == '-') && state->sign_ok) {
    state->sign_ok = false;
    return true;
  }
  if (char_isDigit(c) || c == CH_MACRO_END) return true;
  if (state->radix == 16 && is_hexLetter(c)) return true;
  if (gInAsm && is_asciiLetter(c)) return true;
  return number_acceptsSuffix(state, c);
}

// Behind the number whose first digit lies at `at`, or behind `at` if there is a dot that no digit follows.
template <class Unit>
Unit* number_end(Unit* at) {
  if (*at == '.' && !char_isDigit(at[1])) return at + 1;
  number_state state = *at == '.' ? number_beginDot() : number_begin(10);
  if (*at == '0') state = number_begin(number_radixBehindZero(at[1]));
  at += *at == '0' && state.radix != 8 ? 2 : 1;
  while (number_accepts(&state, *at)) at++;
  return at;
}

// --- Comments ---

// Does a comment begin at `at`?
template <class Unit>
bool opens_comment(const Unit* at) {
  return at[0] == '/' && (at[1] == '*' || at[1] == '/');
}

#endif
