// Macro definition: what is behind `#define` and `#undef`, and the two fixed buffers that text is
// gathered in.
#ifndef PREPROCESSOR_DEFINE_H
#define PREPROCESSOR_DEFINE_H

#include "preprocessor/symbols.h"

// Appends to gWorkBuffer. Raises fatal 156 at the unit that finds 32768 stored.
void work_put(SourceChar c);

// Appends to gMacroArea; CH_MACRO_END is dropped. Raises fatal 149.
void area_put(SourceChar c);

// Is the body of `macro` equal to the `length` units in gWorkBuffer?
bool define_isSame(const macro_def* macro, std::uint32_t length);

// The new entry that a `#define` in the current line has made knows where it stands.
void define_notePlace(macro_def* macro);

// The rest of a `#define` line, up to its newline when all went well. Raises 111, 112, 113, 137, 138,
// fatal 148, 149, 156.
void do_define();

// The rest of an `#undef` line. Raises 114.
void do_undef();

#endif
