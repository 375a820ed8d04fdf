// The order of macros that the reports show.
//
// It is a hash table's: chains by the sum of a name's units, in which a new name goes ahead of the first entry of equal
// hash and greater name, or to the chain's end. It depends on the history of entering and removing, so it is kept from
// the first entry on, and given up once the command line has asked for no report. Looking names up has nothing to do
// with it.
#ifndef PREPROCESSOR_CHAINS_H
#define PREPROCESSOR_CHAINS_H

#include "preprocessor/symbols.h"

constexpr std::uint32_t CHAINS = 8192;

extern bool gChainsKept;  // starts at true; nothing below may be called once it is false

// Puts `macro` in under `name`, in the place of an entry of the same name, which is returned, or absent. Raises 296.
macro_def* chains_put(const SourceChar* name, macro_def* macro);

// Takes the entry of that name out and returns it, or nullptr.
macro_def* chains_take(const SourceChar* name);

// Gives all up.
void chains_stop();

// Shows every entry in order.
void chains_visit(void (*visit)(const macro_def* macro, void* context), void* context);

#endif
