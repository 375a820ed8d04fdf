// The conditionals: the stack of those that are open, and the directives that open, turn and close them.
//
// Each directive has two forms. The ordinary one reads on with get(); the one in place looks at the bytes behind its
// word in a line of a file, from `at` on, and leaves the line alone where the reader would have more to do. Both change
// the stack by the same operations.
#ifndef PREPROCESSOR_CONDITIONALS_H
#define PREPROCESSOR_CONDITIONALS_H

#include <cstdint>

enum place_outcome : std::uint8_t {
  PLACE_ORDINARY,   // nothing has happened: the ordinary road has the line
  PLACE_LINE_DONE,  // `at` is the newline
  PLACE_DROP_REST,  // done, and the rest of the line, from `at` on, is to be dropped
};

struct place_end {
  place_outcome outcome;
  const unsigned char* at;
};

// Opens a conditional in a skipped group. Raises fatal 144.
void cond_openSkipped();
bool cond_isFull();

// Raise 101, 102, 108, 163 and what expressions raise; 144.
void do_if();
void do_ifdef();
void do_ifndef();
void do_elif();
void do_else();
void do_endif();

// `expand` as for if_evaluateInPlace.
place_end do_ifInPlace(const unsigned char* at, bool expand);
place_end do_ifdefInPlace(const unsigned char* at, bool expand);
place_end do_ifndefInPlace(const unsigned char* at, bool expand);
place_end do_elifInPlace(const unsigned char* at, bool expand);
place_end do_elseInPlace(const unsigned char* at, bool expand);
place_end do_endifInPlace(const unsigned char* at, bool expand);

#endif
