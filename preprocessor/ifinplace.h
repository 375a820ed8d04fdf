// The fast road of `#if`: an expression is evaluated over the bytes of its line.
//
// Macros are expanded by reading their bodies where the symbol table keeps them, without frames. That is done only
// where no frame could make a difference: what is left is told at the head of ifinplace.cpp.
#ifndef PREPROCESSOR_IFINPLACE_H
#define PREPROCESSOR_IFINPLACE_H

// Evaluates the expression from `at` to the end of its line. Returns the newline, with `*truth` set, or nullptr, with
// no effect at all, where the ordinary road has to read the expression. `expand`: an expansion is of no consequence but
// for its text: no report of it is written, and no macro text lies below the file.
const unsigned char* if_evaluateInPlace(const unsigned char* at, bool expand, bool* truth);

#endif
