// The preprocessed text on its way out: one large buffer over standard output, and the bookkeeping
// that keeps its line numbers in step with those of the input.
//
// In a dependency run and in a -dM run the text goes nowhere: the buffer is emptied instead of
// written. Dependency text goes through the same buffer once the text is dropped.
#ifndef PREPROCESSOR_OUTPUT_H
#define PREPROCESSOR_OUTPUT_H

#include <cstdint>

#include "preprocessor/sourcechar.h"

constexpr std::uint32_t OUT_BUFFER_BYTES = 64 * 1024;

extern std::uint32_t gOutFlushes;  // times that the buffer has been emptied
extern unsigned char* gOutPos;
extern unsigned char gOutBuffer[OUT_BUFFER_BYTES];

// Writes the buffer out, or drops it. On the first failed write one line on the alert stream says
// so, and the run ends with status 1.
void out_flush();

// From now on text is dropped (true) or written (false); what the buffer holds is treated as before.
void out_setDiscard(bool discard);

// Drops what the buffer holds and all text from now on.
void out_abandon();

// True once a write has failed.
bool out_failed();

// Makes room for `bytes` (at most OUT_BUFFER_BYTES) without a further test.
inline void out_reserve(std::uint32_t bytes) {
  if (static_cast<std::uint32_t>(gOutBuffer + OUT_BUFFER_BYTES - gOutPos) < bytes) out_flush();
}

inline void out_byte(unsigned char byte) {
  out_reserve(1);
  *gOutPos++ = byte;
}

// The sink of the text path: the low 8 bits of a unit; silent markers are dropped.
inline void out_char(SourceChar c) {
  if (!ch_isSilent(c)) out_byte(static_cast<unsigned char>(c & 0xff));
}

void out_bytes(const unsigned char* bytes, std::size_t count);
void out_text(const char* text);
void out_name(const SourceChar* name);  // a 0-terminated string through out_char

// A line marker for the current position; clears gLineStale.
void emit_sync();

// What is owed ahead of a line after `pending` lines without output: a marker, up to four newlines
// or nothing. Clears gLineStale and returns 0, the new `pending`.
std::int32_t line_gap(std::int32_t pending);

#endif
