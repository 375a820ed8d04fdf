// Search over many lines of a block at once: 64 bytes at a time, one bit to a byte.
//
// The caller has made sure that the text is whole lines without a NUL, and that BLOCK_SLACK bytes behind
// it can be read. Where the compiler has SSE2, which every 64-bit x86 has, 16 bytes are compared at a time;
// elsewhere, and with CPP_PORTABLE, a table is looked up for each byte.
#ifndef PREPROCESSOR_BLOCKSCAN_H
#define PREPROCESSOR_BLOCKSCAN_H

#include <cstdint>

#if defined(__SSE2__) && !defined(CPP_PORTABLE)
#include <emmintrin.h>
#define CPP_SSE2 1
#else
#define CPP_SSE2 0
#endif

constexpr std::uint32_t BLOCK_STEP = 64;           // bytes to a mask
constexpr std::uint32_t BLOCK_SLACK = BLOCK_STEP;  // readable behind the text

using byte_mask = std::uint64_t;  // the lowest bit stands for the first byte

inline std::uint32_t mask_first(byte_mask mask) { return static_cast<std::uint32_t>(__builtin_ctzll(mask)); }

// What a run of text stops at.
struct text_masks {
  byte_mask word;     // letters and digits
  byte_mask blank;    // a blank
  byte_mask newline;  // a newline
  byte_mask stop;     // other white space, \v \f \r, quotes, slash, backslash, question mark
};

#if CPP_SSE2
struct text_vectors {
  __m128i word, blank, newline, stop;
};

inline __m128i vector_of(char byte) { return _mm_set1_epi8(byte); }

// Bytes of `v` in the range of `count` values from `first` on: moved to the low end of the signed values.
inline __m128i vector_inRange(__m128i v, int first, int count) {
  return _mm_cmplt_epi8(_mm_add_epi8(v, vector_of(static_cast<char>(-128 - first))),
                        vector_of(static_cast<char>(-128 + count)));
}

inline text_vectors block_textVectors(const unsigned char* at) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i letters = vector_inRange(_mm_or_si128(v, vector_of(0x20)), 'a', 26);
  const __m128i digits = vector_inRange(v, '0', 10);
  const __m128i signs = _mm_or_si128(_mm_cmpeq_epi8(v, vector_of('_')),
                                     _mm_or_si128(_mm_cmpeq_epi8(v, vector_of('$')), _mm_cmpeq_epi8(v, vector_of(29))));
  const __m128i newline = _mm_cmpeq_epi8(v, vector_of('\n'));
  const __m128i controls = _mm_or_si128(vector_inRange(v, '\t', 5), _mm_cmpeq_epi8(v, vector_of(31)));
  static_assert(('/' | 0x10) == '?');
  const __m128i marks = _mm_cmpeq_epi8(_mm_or_si128(v, vector_of(0x10)), vector_of('?'));
  const __m128i quotes = _mm_or_si128(_mm_cmpeq_epi8(v, vector_of('"')), _mm_cmpeq_epi8(v, vector_of('\'')));
  const __m128i others = _mm_or_si128(_mm_or_si128(marks, quotes), _mm_cmpeq_epi8(v, vector_of('\\')));
  return {_mm_or_si128(_mm_or_si128(letters, digits), signs), _mm_cmpeq_epi8(v, vector_of(' ')), newline,
          _mm_or_si128(_mm_andnot_si128(newline, controls), others)};
}

inline byte_mask vector_bits(__m128i v) { return static_cast<byte_mask>(static_cast<unsigned>(_mm_movemask_epi8(v))); }

inline text_masks block_textMasks(const unsigned char* at) {
  text_masks masks = {0, 0, 0, 0};
  for (unsigned part = 0; part < BLOCK_STEP; part += 16) {
    const text_vectors v = block_textVectors(at + part);
    masks.word |= vector_bits(v.word) << part;
    masks.blank |= vector_bits(v.blank) << part;
    masks.newline |= vector_bits(v.newline) << part;
    masks.stop |= vector_bits(v.stop) << part;
  }
  return masks;
}
#else
text_masks block_textMasks(const unsigned char* at);
#endif

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

#endif
