// Control lines: every line whose first significant character is `#`, and the search for included
// files.
#ifndef PREPROCESSOR_CPP2_H
#define PREPROCESSOR_CPP2_H

#include <cstdint>

// Handles the control line whose `#` has just been read. `pending` is the number of input lines that
// have passed without output; the result takes its place. Raises 101 to 108, 144, 161 to 163, 1445,
// 1446, and what the directives raise.
std::int32_t control_line(std::int32_t pending);

// The rest of an `#include` line, up to the closing delimiter. Raises 109, 1427, fatal 141, 146.
void do_include();

// Searches for `name`, in the directory of the current file first if it was `quoted`, and pushes the
// file's frame. True if the include is settled, which in a dependency run it also is for a file seen
// before. Raises fatal 146.
bool include_search(const char* name, bool quoted);

#endif
