// Text lines: what is no control line is written token by token, macros expanded, runs of white space
// reduced to one blank.
#ifndef PREPROCESSOR_TEXTLINES_H
#define PREPROCESSOR_TEXTLINES_H

#include "preprocessor/frames.h"

struct text_state {
  bool spaces;    // white space is still to be written ahead of the next token
  bool expanded;  // the next unit follows the start of an expansion: white space is written as it is
};

// Writes the rest of the current text line, from the start of a token to its newline. Raises what expansion raises.
void text_writeLine(text_state state);

// A call of `macro`, whose name has just been passed and whose state allows it. A name that turns out to be no call is
// written.
void text_expandName(macro_def* macro, text_state* state);

// Writes what lies in the frames above the file frame of that serial. True: it is current again; false: the ordinary
// road has the next token, or the file has ended.
bool text_runAbove(std::uint64_t serial, text_state* state);

#endif
