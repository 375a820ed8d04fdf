// Control lines: every line whose first significant character is `#`, and the search for included
// files.
#ifndef PREPROCESSOR_CPP2_H
#define PREPROCESSOR_CPP2_H

#include <cstdint>

#include "preprocessor/conditionals.h"
#include "preprocessor/sourcechar.h"

// Handles the control line whose `#` has just been read. `pending` is the number of input lines that
// have passed without output; the result takes its place. Raises 101 to 108, 144, 161 to 163, 1445,
// 1446, and what the directives raise.
std::int32_t control_line(std::int32_t pending);

// The same in place, for a line of a file whose `#` lies ahead of `at`, where nothing has to be raised, written or read
// that the line itself does not hold: conditionals, and in a skipped group all that are dropped there. The line must
// end in a newline and hold no NUL, comments must not be copied, and gLine must be the line's number. The caller counts
// the line that is done, and passes over the rest of one that is dropped as it does in a skipped group (gCompiling is 0
// then). `expand` as for if_evaluateInPlace.
place_end control_lineInPlace(const unsigned char* at, bool expand);

inline bool is_lineEnd(SourceChar c) { return c == '\n' || c == 0; }

// The rest of a control line, newline and all, in which nothing must follow. Raises 163.
void check_lineEnd();

// The rest of an `#include` line, up to the closing delimiter. Raises 109, 164, 165, 1427, fatal 141, 146.
void do_include();

// The same in place, where the file need not be read again.
place_end do_includeInPlace(const unsigned char* at, bool expand);

#endif
