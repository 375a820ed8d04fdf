// Whether the fast roads are open.
//
// Every rule is stated once, on an ordinary road that takes a unit at a time with get(). Where that is too
// slow a fast road stands beside it, for input that can have no other effect than the usual one. Each asks
// here at its entry, so that a build in which all of them are closed can tell whether any of them differs, and
// so that a trace of expansions, which looks on at the ordinary road, misses nothing.
#ifndef PREPROCESSOR_ROADS_H
#define PREPROCESSOR_ROADS_H

#include "preprocessor/expand_trace.h"

extern const bool kFastRoads;

inline bool roads_open() { return kFastRoads && !etrace_active(); }

#endif
