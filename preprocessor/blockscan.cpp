// Passing comments and skipped groups, and the masks where there are no vectors.
#include "preprocessor/blockscan.h"

#include "preprocessor/sourcechar.h"

// The newlines of 64 bytes, and the bytes that with the one behind them are something to look at.
struct pair_masks {
  byte_mask newline;
  byte_mask hit;
};

#if CPP_SSE2
static __m128i equal(__m128i v, char byte) { return _mm_cmpeq_epi8(v, vector_of(byte)); }

static __m128i load(const unsigned char* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }

static __m128i comment_hits(__m128i v, __m128i next) {
  const __m128i ends = _mm_and_si128(equal(v, '*'), equal(next, '/'));
  const __m128i opens = _mm_and_si128(equal(v, '/'), equal(next, '*'));
  const __m128i marks = _mm_and_si128(equal(v, '?'), equal(next, '?'));
  return _mm_or_si128(_mm_or_si128(ends, opens), marks);
}

static __m128i skipped_hits(__m128i v, __m128i next) {
  const __m128i opens = _mm_and_si128(equal(v, '/'), _mm_or_si128(equal(next, '*'), equal(next, '/')));
  const __m128i marks = _mm_and_si128(equal(v, '?'), equal(next, '?'));
  return _mm_or_si128(_mm_or_si128(opens, marks), _mm_or_si128(equal(v, '#'), equal(v, '\\')));
}

template <__m128i hits(__m128i, __m128i)>
static pair_masks find_pairs(const unsigned char* at) {
  pair_masks masks = {0, 0};
  for (unsigned part = 0; part < BLOCK_STEP; part += 16) {
    const __m128i v = load(at + part);
    masks.newline |= vector_bits(equal(v, '\n')) << part;
    masks.hit |= vector_bits(hits(v, load(at + part + 1))) << part;
  }
  return masks;
}
#else
static bool comment_hits(unsigned char c, unsigned char next) {
  return (c == '*' && next == '/') || (c == '/' && next == '*') || (c == '?' && next == '?');
}

static bool skipped_hits(unsigned char c, unsigned char next) {
  return (c == '/' && (next == '*' || next == '/')) || (c == '?' && next == '?') || c == '#' || c == '\\';
}

template <bool hits(unsigned char, unsigned char)>
static pair_masks find_pairs(const unsigned char* at) {
  pair_masks masks = {0, 0};
  for (unsigned i = 0; i < BLOCK_STEP; i++) {
    masks.newline |= static_cast<byte_mask>(at[i] == '\n') << i;
    masks.hit |= static_cast<byte_mask>(hits(at[i], at[i + 1])) << i;
  }
  return masks;
}

text_masks block_textMasks(const unsigned char* at) {
  text_masks masks = {0, 0, 0, 0};
  for (unsigned i = 0; i < BLOCK_STEP; i++) {
    const unsigned char c = at[i];
    const bool stops = (char_classTable.of[c] == CC_SPACE && c != ' ') || c == '\v' || c == '\f' || c == '\r' ||
                       c == '"' || c == '\'' || c == '/' || c == '\\' || c == '?';
    masks.word |= static_cast<byte_mask>(kWordBytes.has[c]) << i;
    masks.blank |= static_cast<byte_mask>(c == ' ') << i;
    masks.newline |= static_cast<byte_mask>(c == '\n') << i;
    masks.stop |= static_cast<byte_mask>(stops) << i;
  }
  return masks;
}
#endif

static std::uint32_t count_bits(byte_mask mask) { return static_cast<std::uint32_t>(__builtin_popcountll(mask)); }
static std::uint32_t last_bit(byte_mask mask) { return 63u - static_cast<std::uint32_t>(__builtin_clzll(mask)); }

// The newlines of `mask` are passed, of a step that began at `at`.
static void pass_newlines(block_pass* pass, unsigned char* at, byte_mask newlines) {
  if (newlines == 0) return;
  pass->lines += count_bits(newlines);
  pass->line = at + last_bit(newlines) + 1;
}

// The bits of a step that lie ahead of `end`.
static byte_mask within(const unsigned char* at, const unsigned char* end) {
  const auto left = static_cast<std::uint64_t>(end - at);
  return left < BLOCK_STEP ? (byte_mask{1} << left) - 1 : ~byte_mask{0};
}

// The bits below the lowest one of `mask`, which has one.
static byte_mask below_first(byte_mask mask) { return (mask & (0 - mask)) - 1; }

block_pass block_comment(unsigned char* from, unsigned char* end, bool* ended) {
  block_pass pass = {from, nullptr, 0};
  *ended = false;
  for (; pass.at < end; pass.at += BLOCK_STEP) {
    pair_masks masks = find_pairs<comment_hits>(pass.at);
    const byte_mask inside = within(pass.at, end);
    masks.hit &= inside;
    if (masks.hit == 0) {
      pass_newlines(&pass, pass.at, masks.newline & inside);
      continue;
    }
    pass_newlines(&pass, pass.at, masks.newline & below_first(masks.hit));
    pass.at += mask_first(masks.hit);
    *ended = *pass.at == '*';
    if (*ended) pass.at += 2;
    return pass;
  }
  pass.at = end;
  return pass;
}

bool block_isFirstOnLine(const unsigned char* at, const unsigned char* line) {
  while (at > line && char_isGap(at[-1])) at--;
  return at == line || at[-1] == '\n';
}

// Is a hit of a skipped group something that has to be looked at?
static bool is_noteworthy(const unsigned char* at, const unsigned char* line) {
  if (*at == '#') return block_isFirstOnLine(at, line);
  return *at != '\\' || at[1] <= ' ' || at[1] == '\\';
}

block_pass block_skipped(unsigned char* line, unsigned char* from, unsigned char* end) {
  block_pass pass = {from, line, 0};
  for (; pass.at < end; pass.at += BLOCK_STEP) {
    const pair_masks masks = find_pairs<skipped_hits>(pass.at);
    const byte_mask inside = within(pass.at, end);
    for (byte_mask hits = masks.hit & inside; hits != 0; hits &= hits - 1) {
      unsigned char* hit = pass.at + mask_first(hits);
      if (!is_noteworthy(hit, line)) continue;
      pass_newlines(&pass, pass.at, masks.newline & below_first(hits));
      pass.at = hit;
      return pass;
    }
    pass_newlines(&pass, pass.at, masks.newline & inside);
  }
  pass.at = end;
  return pass;
}
