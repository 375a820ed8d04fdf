// Comments of one line.
#include "preprocessor/inplace.h"

static constexpr byte_set set_of(const char* bytes) {
  byte_set set{};
  for (; *bytes != 0; bytes++) set.has[static_cast<unsigned char>(*bytes)] = true;
  return set;
}

// From behind the opening slash and star. A comment within it would be reported.
static const unsigned char* behind_block(const unsigned char* at) {
  static constexpr byte_set kNotable = set_of("\n*/?");
  for (;; at++) {
    while (!kNotable.has[*at]) at++;
    if (at[0] == '*' && at[1] == '/') return at + 2;
    if (at[0] == '\n' || (at[0] == '/' && at[1] == '*') || (at[0] == '?' && at[1] == '?')) return nullptr;
  }
}

// To the newline. A backslash takes the unit behind it with it.
static const unsigned char* behind_lineComment(const unsigned char* at) {
  static constexpr byte_set kNotable = set_of("\n\\?");
  while (!kNotable.has[*at] || (at[0] == '?' && at[1] != '?')) at++;
  return *at == '\n' ? at : nullptr;
}

const unsigned char* place_gapWithComments(const unsigned char* at) {
  while (opens_comment(at)) {
    at = at[1] == '/' ? behind_lineComment(at + 2) : behind_block(at + 2);
    if (at == nullptr) return nullptr;
    while (char_isWhite(*at)) at++;
  }
  return at;
}
