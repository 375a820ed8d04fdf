// Macro definition: what is behind `#define` and `#undef`, and the two fixed buffers that text is
// gathered in.
#ifndef PREPROCESSOR_DEFINE_H
#define PREPROCESSOR_DEFINE_H

#include "preprocessor/sourcechar.h"

// Appends to gWorkBuffer. Raises fatal 156 at the unit that finds 32768 stored.
void work_put(SourceChar c);

// Appends to gMacroArea; CH_MACRO_END is dropped. Raises fatal 149.
void area_put(SourceChar c);

// The rest of a `#define` line, up to its newline when all went well. Raises 111, 112, 113, 137, 138,
// fatal 148, 149, 156.
void do_define();

// The rest of an `#undef` line. Raises 114.
void do_undef();

#endif
