// The fast road of text: tokens that need nothing of the reader go from the frames to the output in
// one loop.
//
// get() and the scanners say what every unit means, and most units of most lines mean themselves. A
// run takes tokens at the read position as long as neither the token nor the look-ahead that its
// scanner would do can have an effect of its own: no comment, backslash or trigraph. It expands names,
// opens arguments and ends frames on the way. What it leaves is left at the start of a token, for the
// ordinary road, with every bit of state as that road would have it.
#ifndef PREPROCESSOR_TEXTRUN_H
#define PREPROCESSOR_TEXTRUN_H

struct text_state {
  bool spaces;    // white space is still to be written ahead of the next token
  bool expanded;  // the next unit follows the start of an expansion: white space is written as it is
};

// Writes what it can of a text line. True: the line is complete, its newline written.
bool text_run(text_state* state);

#endif
