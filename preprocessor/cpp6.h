// Program text as everything above it sees it, in four rooms: the input stack (frames, with the ledger
// of depth), the character reader, the scanners, and the symbol table.
#ifndef PREPROCESSOR_CPP6_H
#define PREPROCESSOR_CPP6_H

#include "preprocessor/depth.h"
#include "preprocessor/frames.h"
#include "preprocessor/reader.h"
#include "preprocessor/scanners.h"
#include "preprocessor/symbols.h"

#endif
