// Finished texts: what an object-like macro stands for, as bytes, kept from one use to the next.
//
// A use in a file's own text, with no macro text below it, has the same outcome as the last one as long as no name has
// changed its meaning: for a text without names that is for ever, for another until the table of macros changes.
// What makes a text stale: any entry entered, removed or given another body (gMacroGeneration); the macro's own body
// taken or replaced, which forgets the text. What was not kept to begin with: see finished_begin.
#ifndef PREPROCESSOR_FINISHED_H
#define PREPROCESSOR_FINISHED_H

#include <cstdint>

#include "preprocessor/symbols.h"

constexpr std::uint32_t FINISHED_BYTES_MAX = 1024;  // a longer text is not kept
constexpr std::uint32_t FINISHED_STEP = 16;         // a text may be read in steps of so many bytes

struct finished_text {
  std::uint32_t generation;  // gMacroGeneration when it was made
  std::uint16_t length;
  std::uint16_t capacity;
  bool lasting;         // no name in it: true whatever becomes of other macros
  bool ends_in_number;  // what follows in the source may belong to its last token
  // `capacity` bytes follow, and FINISHED_STEP more
};

inline unsigned char* finished_bytes(finished_text* text) { return reinterpret_cast<unsigned char*>(text + 1); }

// The text of `macro`, if there is one and it is not stale.
inline finished_text* finished_of(const macro_def* macro) {
  finished_text* text = macro->finished;
  const bool valid = text != nullptr && text->capacity != 0 && (text->lasting || text->generation == gMacroGeneration);
  return valid ? text : nullptr;
}

// The state around an expansion that is to be kept.
struct finished_mark {
  std::uint32_t generation, alerts, flushes, volatiles, line;
  unsigned char* start;
  bool stale;
};

// Dynamic replacements made so far: a text with one in it is another one at the next use.
extern std::uint32_t gVolatileTexts;

// Around the expansion of `macro` in a file's own text: finished_end keeps what has been written since, unless anything
// else happened: a message, a change of the table or of the line, a dynamic replacement. The caller makes sure that
// nothing of the source behind the name was read and that no white space is owed. Raises 296.
finished_mark finished_begin();
void finished_end(macro_def* macro, const finished_mark* mark);

// `macro` gets another body, or is given back.
void finished_forget(macro_def* macro);

#endif
