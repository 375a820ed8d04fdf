// Macro expansion: one call is replaced by a macro frame, and reading does the rest.
#ifndef PREPROCESSOR_EXPAND_H
#define PREPROCESSOR_EXPAND_H

#include "preprocessor/cpp6.h"

constexpr std::uint32_t EXPANSION_UNITS_MAX = LINE_UNITS - 1;  // text of one macro frame; more: fatal 153

// Takes the call of `macro`, whose name has just been read into gToken. True: what it stands for is
// to be read from the input. False: no expansion took place, gToken still holds the name, and
// reading goes on behind it. Raises 115, 116, 171, 172, fatal 149, 150, 151, 153.
bool macro_expand(macro_def* macro);

#endif
