// What the common library needs from the tool that it is built into.
//
// The library never includes a header of the tool. The type of program text and the few operations
// that only the tool can supply are declared here, and the tool defines the operations.
#ifndef COMMON_HOOKS_H
#define COMMON_HOOKS_H

#include <cstdint>
#include <cstdio>

// One unit of program text: a byte value or a marker code, in strings that end with 0.
using SourceChar = std::uint32_t;

// Ends the run in an orderly way with `code` (0 or 1): the one way out, for fatal alerts too.
[[noreturn]] void drv_exit(int code);

// Writes the low 8 bits of each unit of `text` (0-terminated) to `stream`, leaving the control
// markers out.
void sc_write(const SourceChar* text, std::FILE* stream);

#endif
