// Bodies as bytes: the form in which a call that is carried out as a whole (wholecalls.h) reads a macro's text.
//
// Most of a body is bytes that mean themselves. What a body of units marks is a code below the white space here; a body
// that holds such a byte itself, or one whose reading could have another effect than the usual one, is refused. For
// `#define J(a, b) a ## b #b` it is
//
//   CODE_RAW 0  CODE_PASTE  CODE_RAW_RIGHT 1  blank  CODE_STRING 1
#ifndef PREPROCESSOR_CODEDBODY_H
#define PREPROCESSOR_CODEDBODY_H

#include "preprocessor/symbols.h"

enum body_code : unsigned char {
  CODE_END,
  CODE_PARAM,      // and three more, each with the number of a parameter behind it: read its argument here
  CODE_STRING,     // its argument as a string
  CODE_RAW,        // its argument as it is, the left operand of a paste
  CODE_RAW_RIGHT,  // the same for a right operand
  CODE_NO_EXPAND,  // as CH_NO_EXPAND
  CODE_PASTE,      // as CH_PASTE
  CODES,
};
static_assert(CODES < '\t');

constexpr std::uint32_t CODED_SLACK = 16;  // bytes readable behind a coded text

struct coded_body {
  bool refused;
  bool builds;           // holds codes that are gone once the text of a call has been built
  std::uint32_t length;  // then the text, 0-terminated
};

inline const unsigned char* coded_text(const coded_body* body) {
  return reinterpret_cast<const unsigned char*>(body + 1);
}

// The coded body of `macro`, which keeps it; nullptr if it is refused. Raises 296.
const coded_body* coded_make(macro_def* macro);
inline const coded_body* coded_of(macro_def* macro) {
  const coded_body* body = macro->coded;
  if (body == nullptr) return coded_make(macro);
  return body->refused ? nullptr : body;
}

// `macro` gets another body, or is given back.
void coded_forget(macro_def* macro);

#endif
