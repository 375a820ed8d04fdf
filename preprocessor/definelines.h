// `#define` and `#undef` lines, read where they lie: the fast road beside do_define and do_undef.
#ifndef PREPROCESSOR_DEFINELINES_H
#define PREPROCESSOR_DEFINELINES_H

#include "preprocessor/conditionals.h"

// The line of a file from behind the directive's word on. PLACE_ORDINARY: it holds something that has an effect of its
// own, or is to be reported. Raise 296.
place_end do_defineInPlace(const unsigned char* at, bool expand);
place_end do_undefInPlace(const unsigned char* at, bool expand);

#endif
