// Search over many lines of a block at once: 64 bytes at a time, one bit to a byte.
//
// The caller has made sure that the text is whole lines without a NUL, and that BLOCK_SLACK bytes behind
// it can be read. Three ways lead to the same masks: 32 bytes at a time where the processor has AVX2, which is
// asked at run time; 16 bytes with SSE2, which every 64-bit x86 has; a table looked up for each byte elsewhere,
// and with CPP_PORTABLE.
#ifndef PREPROCESSOR_BLOCKSCAN_H
#define PREPROCESSOR_BLOCKSCAN_H

#include <cstdint>

constexpr std::uint32_t BLOCK_STEP = 64;           // bytes to a mask
constexpr std::uint32_t BLOCK_SLACK = BLOCK_STEP;  // readable behind the text

using byte_mask = std::uint64_t;  // the lowest bit stands for the first byte

inline std::uint32_t mask_first(byte_mask mask) { return static_cast<std::uint32_t>(__builtin_ctzll(mask)); }

// What a run of text stops at.
struct text_masks {
  byte_mask word;     // letters and digits
  byte_mask digit;    // digits
  byte_mask dot;      // a dot
  byte_mask blank;    // a blank
  byte_mask newline;  // a newline
  byte_mask stop;     // other white space, \v \f \r, quotes, slash, backslash, question mark
};

text_masks block_textMasks(const unsigned char* at);

inline bool mask_has(byte_mask mask, std::uint32_t bit) { return ((mask >> bit) & 1) != 0; }

// The bits below `bit`, 0 to 64.
inline byte_mask mask_below(std::uint32_t bit) { return bit < BLOCK_STEP ? (byte_mask{1} << bit) - 1 : ~byte_mask{0}; }

// Where the run of set bits that reaches the highest bit begins; 64 without one.
inline std::uint32_t mask_lastRun(byte_mask mask) {
  return ~mask == 0 ? 0 : BLOCK_STEP - static_cast<std::uint32_t>(__builtin_clzll(~mask));
}

// The first quote, backslash, question mark or newline from `at` on.
unsigned char* block_literalStop(unsigned char* at);

// The first backslash, question mark or newline from `at` on.
unsigned char* block_lineStop(unsigned char* at);

// A comment or a skipped group: how far it was passed, and the lines that end ahead of that place.
struct block_pass {
  unsigned char* at;
  unsigned char* line;  // the start of the last line begun
  std::uint32_t lines;
};

// Passes a block comment whose text begins at `from`. It ended if `at` is behind its `*` and `/`, and was given up
// at `end`, at a `/` ahead of a `*`, or at two question marks: `ended` tells.
block_pass block_comment(unsigned char* from, unsigned char* end, bool* ended);

// Passes lines of a skipped group from `from` on, which lies in the line that begins at `line`. `at` is `end`, or
// something that has to be looked at: a `#` that is first on its line, a slash ahead of a slash or a star, two question
// marks, or a backslash ahead of white space, a control byte or a backslash.
block_pass block_skipped(unsigned char* line, unsigned char* from, unsigned char* end);

// Is there nothing ahead of `at` but white space and what is read as such, in the line that begins at `line` or in one
// behind it?
bool block_isFirstOnLine(const unsigned char* at, const unsigned char* line);

// The widest way that this processor can go, and the choice of one, which a test may make narrower. block_prepare comes
// ahead of all the others and chooses the widest.
enum block_way { BLOCK_BYTES, BLOCK_SSE2, BLOCK_AVX2 };
block_way block_widest();
void block_choose(block_way way);
void block_prepare();

#endif
