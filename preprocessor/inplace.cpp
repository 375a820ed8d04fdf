// Comments of one line.
#include "preprocessor/inplace.h"

static bool begins_trigraph(const unsigned char* at) { return at[0] == '?' && at[1] == '?'; }

// From behind the opening slash and star. A comment within it would be reported.
static const unsigned char* behind_block(const unsigned char* at) {
  for (; *at != '\n' && !begins_trigraph(at); at++) {
    if (at[0] == '*' && at[1] == '/') return at + 2;
    if (at[0] == '/' && at[1] == '*') break;
  }
  return nullptr;
}

// To the newline. A backslash takes the unit behind it with it.
static const unsigned char* behind_lineComment(const unsigned char* at) {
  for (; *at != '\n'; at++) {
    if (*at == '\\' || begins_trigraph(at)) return nullptr;
  }
  return at;
}

const unsigned char* place_gapWithComments(const unsigned char* at) {
  while (opens_comment(at)) {
    at = at[1] == '/' ? behind_lineComment(at + 2) : behind_block(at + 2);
    if (at == nullptr) return nullptr;
    while (char_isWhite(*at)) at++;
  }
  return at;
}
