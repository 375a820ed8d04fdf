// Text lines: what is no control line is written token by token, macros expanded, runs of white space
// reduced to one blank.
#ifndef PREPROCESSOR_TEXTLINES_H
#define PREPROCESSOR_TEXTLINES_H

// Writes the rest of the current text line, from its first token to its newline. Raises what expansion raises.
void text_writeLine();

#endif
