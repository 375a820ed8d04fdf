// The masks, in three ways, and passing comments and skipped groups by them.
//
// A way gives two kinds of masks: those of text, and the newlines together with the pairs of bytes that a comment or a
// skipped group has to be looked at for.
#include "preprocessor/blockscan.h"

#include "preprocessor/sourcechar.h"

#if defined(__SSE2__) && !defined(CPP_PORTABLE)
#include <immintrin.h>
#if __has_include(<sys/platform/x86.h>) && !defined(__clang__)  // it is C for another compiler than gcc
#include <sys/platform/x86.h>
#endif
#endif

struct pair_masks {
  byte_mask newline;
  byte_mask hit;  // a byte that with the one behind it is something to look at
};

struct block_functions {
  text_masks (*text)(const unsigned char* at);
  pair_masks (*comment)(const unsigned char* at);
  pair_masks (*skipped)(const unsigned char* at);
  unsigned char* (*literal)(unsigned char* at);
  unsigned char* (*comment_line)(unsigned char* at);
};

// --- One byte after the other ---

static bool stops_text(unsigned char c) {
  return (char_isGap(c) && c != ' ') || c == '"' || c == '\'' || c == '/' || c == '\\' || c == '?';
}

static text_masks text_bytes(const unsigned char* at) {
  text_masks masks = {0, 0, 0, 0, 0, 0};
  for (unsigned i = 0; i < BLOCK_STEP; i++) {
    const unsigned char c = at[i];
    masks.word |= static_cast<byte_mask>(kWordBytes.has[c]) << i;
    masks.digit |= static_cast<byte_mask>(char_isDigit(c)) << i;
    masks.dot |= static_cast<byte_mask>(c == '.') << i;
    masks.blank |= static_cast<byte_mask>(c == ' ') << i;
    masks.newline |= static_cast<byte_mask>(c == '\n') << i;
    masks.stop |= static_cast<byte_mask>(stops_text(c)) << i;
  }
  return masks;
}

// The end of a comment, the start of another one in it, a trigraph.
static bool hits_comment(unsigned char c, unsigned char next) {
  return (c == '*' && next == '/') || (c == '/' && next == '*') || (c == '?' && next == '?');
}

// The start of a comment, a trigraph, a control line, a continuation.
static bool hits_skipped(unsigned char c, unsigned char next) {
  return (c == '/' && (next == '*' || next == '/')) || (c == '?' && next == '?') || c == '#' || c == '\\';
}

template <bool hits(unsigned char, unsigned char)>
static pair_masks pair_bytes(const unsigned char* at) {
  pair_masks masks = {0, 0};
  for (unsigned i = 0; i < BLOCK_STEP; i++) {
    masks.newline |= static_cast<byte_mask>(at[i] == '\n') << i;
    masks.hit |= static_cast<byte_mask>(hits(at[i], at[i + 1])) << i;
  }
  return masks;
}

static unsigned char* literal_bytes(unsigned char* at) {
  while (*at != '"' && *at != '\'' && *at != '\\' && *at != '?' && *at != '\n') at++;
  return at;
}

static unsigned char* line_bytes(unsigned char* at) {
  while (*at != '\\' && *at != '?' && *at != '\n') at++;
  return at;
}

constexpr block_functions kBytes = {text_bytes, pair_bytes<hits_comment>, pair_bytes<hits_skipped>, literal_bytes,
                                    line_bytes};

#if defined(__SSE2__) && !defined(CPP_PORTABLE)

// --- 16 bytes at a time ---

static __m128i all16(char byte) { return _mm_set1_epi8(byte); }
static __m128i equal16(__m128i v, char byte) { return _mm_cmpeq_epi8(v, all16(byte)); }
static __m128i load16(const unsigned char* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
static byte_mask bits16(__m128i v) { return static_cast<unsigned>(_mm_movemask_epi8(v)); }

// Bytes in the range of `count` values from `first` on: moved to the low end of the signed values.
static __m128i range16(__m128i v, int first, int count) {
  return _mm_cmplt_epi8(_mm_add_epi8(v, all16(static_cast<char>(-128 - first))),
                        all16(static_cast<char>(-128 + count)));
}

static text_masks text_sse2(const unsigned char* at) {
  text_masks masks = {0, 0, 0, 0, 0, 0};
  static_assert(('/' | 0x10) == '?');
  for (unsigned part = 0; part < BLOCK_STEP; part += 16) {
    const __m128i v = load16(at + part);
    const __m128i digits = range16(v, '0', 10);
    const __m128i letters = range16(_mm_or_si128(v, all16(0x20)), 'a', 26);
    const __m128i signs = _mm_or_si128(equal16(v, '_'), _mm_or_si128(equal16(v, '$'), equal16(v, 29)));
    const __m128i newline = equal16(v, '\n');
    const __m128i controls = _mm_or_si128(range16(v, '\t', 5), equal16(v, 31));
    const __m128i marks = equal16(_mm_or_si128(v, all16(0x10)), '?');
    const __m128i quotes = _mm_or_si128(equal16(v, '"'), equal16(v, '\''));
    const __m128i others = _mm_or_si128(_mm_or_si128(marks, quotes), equal16(v, '\\'));
    masks.word |= bits16(_mm_or_si128(_mm_or_si128(letters, digits), signs)) << part;
    masks.digit |= bits16(digits) << part;
    masks.dot |= bits16(equal16(v, '.')) << part;
    masks.blank |= bits16(equal16(v, ' ')) << part;
    masks.newline |= bits16(newline) << part;
    masks.stop |= bits16(_mm_or_si128(_mm_andnot_si128(newline, controls), others)) << part;
  }
  return masks;
}

static __m128i comment16(__m128i v, __m128i next) {
  const __m128i ends = _mm_and_si128(equal16(v, '*'), equal16(next, '/'));
  const __m128i opens = _mm_and_si128(equal16(v, '/'), equal16(next, '*'));
  return _mm_or_si128(_mm_or_si128(ends, opens), _mm_and_si128(equal16(v, '?'), equal16(next, '?')));
}

static __m128i skipped16(__m128i v, __m128i next) {
  const __m128i opens = _mm_and_si128(equal16(v, '/'), _mm_or_si128(equal16(next, '*'), equal16(next, '/')));
  const __m128i marks = _mm_and_si128(equal16(v, '?'), equal16(next, '?'));
  return _mm_or_si128(_mm_or_si128(opens, marks), _mm_or_si128(equal16(v, '#'), equal16(v, '\\')));
}

template <__m128i hits(__m128i, __m128i)>
static pair_masks pair_sse2(const unsigned char* at) {
  pair_masks masks = {0, 0};
  for (unsigned part = 0; part < BLOCK_STEP; part += 16) {
    const __m128i v = load16(at + part);
    masks.newline |= bits16(equal16(v, '\n')) << part;
    masks.hit |= bits16(hits(v, load16(at + part + 1))) << part;
  }
  return masks;
}

static unsigned char* literal_sse2(unsigned char* at) {
  for (;; at += 16) {
    const __m128i v = load16(at);
    const __m128i quotes = _mm_or_si128(equal16(v, '"'), equal16(v, '\''));
    const __m128i others = _mm_or_si128(_mm_or_si128(equal16(v, '\\'), equal16(v, '?')), equal16(v, '\n'));
    const byte_mask stops = bits16(_mm_or_si128(quotes, others));
    if (stops != 0) return at + mask_first(stops);
  }
}

static unsigned char* line_sse2(unsigned char* at) {
  for (;; at += 16) {
    const __m128i v = load16(at);
    const byte_mask stops = bits16(_mm_or_si128(_mm_or_si128(equal16(v, '\\'), equal16(v, '?')), equal16(v, '\n')));
    if (stops != 0) return at + mask_first(stops);
  }
}

constexpr block_functions kSse2 = {text_sse2, pair_sse2<comment16>, pair_sse2<skipped16>, literal_sse2, line_sse2};

// --- 32 bytes at a time ---

#define AVX2 [[gnu::target("avx2")]]
#define AVX2_INLINE [[gnu::target("avx2"), gnu::always_inline]] inline

AVX2_INLINE static __m256i all32(char byte) { return _mm256_set1_epi8(byte); }
AVX2_INLINE static __m256i equal32(__m256i v, char byte) { return _mm256_cmpeq_epi8(v, all32(byte)); }
AVX2_INLINE static __m256i load32(const unsigned char* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}
AVX2_INLINE static byte_mask bits32(__m256i v) { return static_cast<unsigned>(_mm256_movemask_epi8(v)); }

// The class bits of a byte stand both at its low four bits in one table and at its high four bits in another, and
// nowhere else do the two have a bit in common. What would not come apart so has a bit of its own or is compared.
enum nibble_class : std::uint8_t {
  NC_A_TO_O = 1,      // in either case
  NC_P_TO_Z = 2,      // in either case
  NC_DIGIT = 4,       // 0 to 9
  NC_MARK = 8,        // " ' /
  NC_CONTROL = 16,    // \t \v \f \r
  NC_LAST = 32,       // 31 and ?
  NC_DOLLAR = 64,     // $
  NC_BACKSLASH = 128  // \ alone
};
constexpr std::uint8_t NC_WORD = NC_A_TO_O | NC_P_TO_Z | NC_DIGIT | NC_DOLLAR;  // and _ and 29
constexpr std::uint8_t NC_STOP = NC_MARK | NC_CONTROL | NC_LAST | NC_BACKSLASH;

struct nibble_tables {
  std::uint8_t low[16];
  std::uint8_t high[16];
};

constexpr std::uint8_t nibble_classOf(int c) {
  if ((c >= 'A' && c <= 'O') || (c >= 'a' && c <= 'o')) return NC_A_TO_O;
  if ((c >= 'P' && c <= 'Z') || (c >= 'p' && c <= 'z')) return NC_P_TO_Z;
  if (c >= '0' && c <= '9') return NC_DIGIT;
  if (c == '"' || c == '\'' || c == '/') return NC_MARK;
  if (c == '\t' || (c >= '\v' && c <= '\r')) return NC_CONTROL;
  if (c == 31 || c == '?') return NC_LAST;
  return c == '$' ? NC_DOLLAR : c == '\\' ? NC_BACKSLASH : 0;
}

constexpr nibble_tables make_nibbleTables() {
  nibble_tables tables{};
  for (int c = 0; c < 256; c++) {
    tables.low[c & 15] = static_cast<std::uint8_t>(tables.low[c & 15] | nibble_classOf(c));
    tables.high[c >> 4] = static_cast<std::uint8_t>(tables.high[c >> 4] | nibble_classOf(c));
  }
  return tables;
}
constexpr nibble_tables kNibbles = make_nibbleTables();

constexpr bool nibbles_comeApart() {
  for (int c = 0; c < 256; c++) {
    if ((kNibbles.low[c & 15] & kNibbles.high[c >> 4]) != nibble_classOf(c)) return false;
  }
  return true;
}
static_assert(nibbles_comeApart());

AVX2_INLINE static __m256i table32(const std::uint8_t* table) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table)));
}

AVX2 static text_masks text_avx2(const unsigned char* at) {
  text_masks masks = {0, 0, 0, 0, 0, 0};
  const __m256i low = table32(kNibbles.low);
  const __m256i high = table32(kNibbles.high);
  const __m256i nibble = all32(15);
  const __m256i zero = _mm256_setzero_si256();
  for (unsigned part = 0; part < BLOCK_STEP; part += 32) {
    const __m256i v = load32(at + part);
    const __m256i classes =
        _mm256_and_si256(_mm256_shuffle_epi8(low, _mm256_and_si256(v, nibble)),
                         _mm256_shuffle_epi8(high, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
    const __m256i letters = _mm256_cmpgt_epi8(_mm256_and_si256(classes, all32(NC_WORD)), zero);
    const __m256i signs = _mm256_or_si256(equal32(v, '_'), equal32(v, 29));
    const __m256i quiet = _mm256_cmpeq_epi8(_mm256_and_si256(classes, all32(static_cast<char>(NC_STOP))), zero);
    static_assert(NC_DIGIT << 5 == 128);
    masks.word |= bits32(_mm256_or_si256(letters, signs)) << part;
    masks.digit |= bits32(_mm256_slli_epi16(classes, 5)) << part;
    masks.dot |= bits32(equal32(v, '.')) << part;
    masks.blank |= bits32(equal32(v, ' ')) << part;
    masks.newline |= bits32(equal32(v, '\n')) << part;
    masks.stop |= bits32(quiet) << part;
  }
  masks.stop = ~masks.stop;
  return masks;
}

AVX2_INLINE static __m256i comment32(__m256i v, __m256i next) {
  const __m256i ends = _mm256_and_si256(equal32(v, '*'), equal32(next, '/'));
  const __m256i opens = _mm256_and_si256(equal32(v, '/'), equal32(next, '*'));
  return _mm256_or_si256(_mm256_or_si256(ends, opens), _mm256_and_si256(equal32(v, '?'), equal32(next, '?')));
}

AVX2_INLINE static __m256i skipped32(__m256i v, __m256i next) {
  const __m256i opens = _mm256_and_si256(equal32(v, '/'), _mm256_or_si256(equal32(next, '*'), equal32(next, '/')));
  const __m256i marks = _mm256_and_si256(equal32(v, '?'), equal32(next, '?'));
  return _mm256_or_si256(_mm256_or_si256(opens, marks), _mm256_or_si256(equal32(v, '#'), equal32(v, '\\')));
}

AVX2 static pair_masks comment_avx2(const unsigned char* at) {
  const __m256i v = load32(at);
  const __m256i w = load32(at + 32);
  return {bits32(equal32(v, '\n')) | bits32(equal32(w, '\n')) << 32,
          bits32(comment32(v, load32(at + 1))) | bits32(comment32(w, load32(at + 33))) << 32};
}

AVX2 static pair_masks skipped_avx2(const unsigned char* at) {
  const __m256i v = load32(at);
  const __m256i w = load32(at + 32);
  return {bits32(equal32(v, '\n')) | bits32(equal32(w, '\n')) << 32,
          bits32(skipped32(v, load32(at + 1))) | bits32(skipped32(w, load32(at + 33))) << 32};
}

AVX2 static unsigned char* literal_avx2(unsigned char* at) {
  for (;; at += 32) {
    const __m256i v = load32(at);
    const __m256i quotes = _mm256_or_si256(equal32(v, '"'), equal32(v, '\''));
    const __m256i marks = _mm256_or_si256(equal32(v, '\\'), equal32(v, '?'));
    const byte_mask stops = bits32(_mm256_or_si256(_mm256_or_si256(quotes, marks), equal32(v, '\n')));
    if (stops != 0) return at + mask_first(stops);
  }
}

AVX2 static unsigned char* line_avx2(unsigned char* at) {
  for (;; at += 32) {
    const __m256i v = load32(at);
    const __m256i marks = _mm256_or_si256(equal32(v, '\\'), equal32(v, '?'));
    const byte_mask stops = bits32(_mm256_or_si256(marks, equal32(v, '\n')));
    if (stops != 0) return at + mask_first(stops);
  }
}

constexpr block_functions kAvx2 = {text_avx2, comment_avx2, skipped_avx2, literal_avx2, line_avx2};

// The C library has asked the processor already, which takes long on a virtual machine; where it does not tell, 16
// bytes at a time will do.
block_way block_widest() {
#ifdef CPU_FEATURE_ACTIVE
  return CPU_FEATURE_ACTIVE(AVX2) ? BLOCK_AVX2 : BLOCK_SSE2;
#else
  return BLOCK_SSE2;
#endif
}

static const block_functions* functions_of(block_way way) {
  return way == BLOCK_AVX2 ? &kAvx2 : way == BLOCK_SSE2 ? &kSse2 : &kBytes;
}
#else
block_way block_widest() { return BLOCK_BYTES; }
static const block_functions* functions_of(block_way) { return &kBytes; }
#endif

// --- The way that is gone ---

static const block_functions* gWay;

void block_choose(block_way way) { gWay = functions_of(way); }

void block_prepare() {
  if (gWay == nullptr) block_choose(block_widest());
}

text_masks block_textMasks(const unsigned char* at) { return gWay->text(at); }
unsigned char* block_literalStop(unsigned char* at) { return gWay->literal(at); }
unsigned char* block_lineStop(unsigned char* at) { return gWay->comment_line(at); }

// --- Passing ---

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
  return end - at < static_cast<std::ptrdiff_t>(BLOCK_STEP) ? mask_below(static_cast<std::uint32_t>(end - at))
                                                            : ~byte_mask{0};
}

// The bits below the lowest one of `mask`, which has one.
static byte_mask below_first(byte_mask mask) { return (mask & (0 - mask)) - 1; }

block_pass block_comment(unsigned char* from, unsigned char* end, bool* ended) {
  block_pass pass = {from, nullptr, 0};
  *ended = false;
  for (; pass.at < end; pass.at += BLOCK_STEP) {
    const pair_masks masks = gWay->comment(pass.at);
    const byte_mask inside = within(pass.at, end);
    const byte_mask hits = masks.hit & inside;
    if (hits == 0) {
      pass_newlines(&pass, pass.at, masks.newline & inside);
      continue;
    }
    pass_newlines(&pass, pass.at, masks.newline & below_first(hits));
    pass.at += mask_first(hits);
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
    const pair_masks masks = gWay->skipped(pass.at);
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
