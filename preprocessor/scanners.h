// The scanners: identifiers, numbers, strings, the step from a name to its expansion, and pasting.
//
// A first unit comes from the caller, what ends a token goes back with unget.
#ifndef PREPROCESSOR_SCANNERS_H
#define PREPROCESSOR_SCANNERS_H

#include "preprocessor/reader.h"

using unit_sink = void (*)(SourceChar);

void scan_identifier(SourceChar first);       // into gToken, cut at gIdentifierMax
macro_def* scan_lookup(SourceChar first);     // the same; the macro if it may be expanded here
bool scan_isVisible(const macro_def* macro);  // may its name, just read, be expanded here?
SourceChar scan_expandName(SourceChar c);     // expands until no call is left; what remains
SourceChar scan_expandFurther(SourceChar c);  // the same within an expansion: the depth goes on
bool scan_catenate(SourceChar c);             // pastes at a CH_PASTE; raises 169, fatal 155
bool scan_string(SourceChar quote, unit_sink sink);
void scan_number(SourceChar first, unit_sink sink);

#endif
