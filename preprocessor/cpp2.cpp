// The directive processor.
//
// A word is recognised by a hash of two of its characters, which selects one row of the table of
// directives, and one comparison with that row's word.
#include "preprocessor/cpp2.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/cmode.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/define.h"
#include "preprocessor/definelines.h"
#include "preprocessor/expand_trace.h"
#include "preprocessor/guards.h"
#include "preprocessor/ifeval.h"
#include "preprocessor/inplace.h"
#include "preprocessor/output.h"

// --- Parts that the directives share ---

void check_lineEnd() {
  if (skip_ws() == '\n') return;
  alert(163u);
  skip_line();
}

// The rest of the line into gWorkBuffer; its newline is read again.
static void collect_rest() {
  gWorkFill = 0;
  SourceChar c = skip_ws();
  for (; c != '\n' && c != 0; c = get()) work_put(c);
  unget();
  work_put(0);
}

// --- Directives that carry text ---

static void report_text(unsigned number) {
  collect_rest();
  sc_alert(number, gWorkBuffer);
  check_lineEnd();
}

static void do_error() { report_text(103); }
static void do_warning() { report_text(162); }
static void do_advisory() { report_text(1445); }
static void do_info() { report_text(1446); }

// The name in what follows the number, or nullptr. Without a second quote it is all of the rest.
static SourceChar* line_name(SourceChar* rest) {
  if (*rest == 0) return nullptr;
  if (*rest != '"') return rest;
  SourceChar* closing = sc_findLast(rest + 1, '"');
  if (closing == nullptr) return rest;
  *closing = 0;
  return rest[1] != 0 ? rest + 1 : nullptr;
}

static void do_line() {
  collect_rest();
  gLine = sc_toInt(gWorkBuffer) - 1;  // the newline that ends the directive adds it again
  SourceChar* rest = gWorkBuffer;
  while (char_isDigit(*rest) || char_class(*rest) == CC_SPACE) rest++;
  const SourceChar* name = line_name(rest);
  if (name != nullptr && gCurrentFrame != nullptr) {
    std::free(gCurrentFrame->line_name);
    gCurrentFrame->line_name = sc_dup(name);
  }
  gLineStale = true;
  check_lineEnd();
}

// --- The others ---

static void do_defineLine() {
  do_define();
  check_lineEnd();
}

static void do_undefLine() {
  do_undef();
  check_lineEnd();
}

static void do_assert() {
  if (eval_if() == 0) alert(104u);
  check_lineEnd();
}

// --- The table of directives ---

constexpr std::uint32_t WORD_BYTES = 8;  // of the longest word: one load compares it

enum skipped_action : std::uint8_t { DROP_LINE, NEST, PROCESS };

struct directive {
  char word[WORD_BYTES + 1];
  skipped_action when_skipped;
  bool newline_first;  // the directive writes text of its own
  void (*run)();       // for those that leave the count at pending + 1; else nullptr
  place_end (*run_inPlace)(const unsigned char* at, bool expand);  // or nullptr: it needs the reader
};

enum directive_row : std::uint8_t {
  // clang-format off
  DIR_IF, DIR_IFDEF, DIR_IFNDEF, DIR_ELIF, DIR_ELSE, DIR_ENDIF, DIR_FI, DIR_INCLUDE, DIR_DEFINE, DIR_UNDEF,
  DIR_UNDEFINE, DIR_LINE, DIR_PRAGMA, DIR_IDENT, DIR_ASSERT, DIR_ERROR, DIR_WARNING, DIR_ADVISORY, DIR_INFO,
  DIR_ASM, DIR_ENDASM, DIRECTIVES, DIR_UNKNOWN = DIRECTIVES,
  // clang-format on
};

// clang-format off
constexpr directive kDirectives[] = {
    // word       when skipped  newline first  action         in place
    {"if",        NEST,         false,         do_if,         do_ifInPlace},
    {"ifdef",     NEST,         false,         do_ifdef,      do_ifdefInPlace},
    {"ifndef",    NEST,         false,         do_ifndef,     do_ifndefInPlace},
    {"elif",      PROCESS,      false,         do_elif,       do_elifInPlace},
    {"else",      PROCESS,      false,         do_else,       do_elseInPlace},
    {"endif",     PROCESS,      false,         do_endif,      do_endifInPlace},
    {"fi",        PROCESS,      false,         do_endif,      nullptr},
    {"include",   DROP_LINE,    false,         do_include,    do_includeInPlace},
    {"define",    DROP_LINE,    false,         do_defineLine, do_defineInPlace},
    {"undef",     DROP_LINE,    false,         do_undefLine,  do_undefInPlace},
    {"undefine",  DROP_LINE,    false,         do_undefLine,  nullptr},
    {"line",      DROP_LINE,    true,          do_line,       nullptr},
    {"pragma",    DROP_LINE,    true,          nullptr,       nullptr},
    {"ident",     DROP_LINE,    false,         check_lineEnd, nullptr},
    {"assert",    DROP_LINE,    false,         do_assert,     nullptr},
    {"error",     DROP_LINE,    false,         do_error,      nullptr},
    {"warning",   DROP_LINE,    false,         do_warning,    nullptr},
    {"advisory",  DROP_LINE,    false,         do_advisory,   nullptr},
    {"info",      DROP_LINE,    false,         do_info,       nullptr},
    {"asm",       DROP_LINE,    true,          nullptr,       nullptr},
    {"endasm",    DROP_LINE,    true,          nullptr,       nullptr},
};
// clang-format on
static_assert(sizeof kDirectives / sizeof kDirectives[0] == DIRECTIVES);

// The first character and twice the third: no two words share it but undef and undefine, endif and endasm.
constexpr std::uint32_t WORD_HASHES = 512;
template <class Unit>
constexpr std::uint32_t word_hash(Unit first, Unit third) {
  return (first + 2u * third) % WORD_HASHES;
}

struct directive_index {
  directive_row of[WORD_HASHES];
};
constexpr directive_index make_index() {
  directive_index index{};
  for (directive_row& row : index.of) row = DIR_UNKNOWN;
  for (int row = DIRECTIVES; row-- > 0;) {
    const char* word = kDirectives[row].word;
    index.of[word_hash<unsigned char>(static_cast<unsigned char>(word[0]), static_cast<unsigned char>(word[2]))] =
        static_cast<directive_row>(row);
  }
  return index;
}
constexpr directive_index kIndex = make_index();
static_assert(kIndex.of['u' + 2 * 'd'] == DIR_UNDEF && kIndex.of['e' + 2 * 'd'] == DIR_ENDIF);

// The row that a word of at least two characters may stand in, by its hash; `third` is 0 for a word of two.
template <class Unit>
static directive_row candidate(const Unit* word, Unit third) {
  const directive_row row = kIndex.of[word_hash(word[0], third)];
  if (row == DIR_ENDIF && word[3] == 'a') return DIR_ENDASM;
  if (row == DIR_FI && cmode_has(CMODE_VLLINK) == 0) return DIR_UNKNOWN;
  return row;
}

static bool is_word(directive_row row) { return sc_compareNarrow(gToken, kDirectives[row].word) == 0; }

static directive_row recognise() {
  const directive_row row = gTokenLength < 2 ? DIR_UNKNOWN : candidate(gToken, gToken[2]);
  if (row == DIR_UNKNOWN || is_word(row)) return row;
  if (row == DIR_UNDEF && cmode_has(CMODE_VLASM) != 0 && is_word(DIR_UNDEFINE)) return DIR_UNDEFINE;
  return DIR_UNKNOWN;
}

// The directive's word into gToken; `# 12 "a.c"` is a #line with the word left out.
static void scan_word(SourceChar c) {
  if (char_isDigit(c)) {
    unget();
    sc_fromNarrow(gToken, "line");
    gTokenLength = 4;
    return;
  }
  scan_identifier(c);
  if (cmode_has(CMODE_VLLINK) != 0) sc_lower(gToken);
}

// --- Directives that bring the output up to date ---

static void out_directive(directive_row row) {
  out_byte('#');
  out_text(kDirectives[row].word);
}

// The rest of the line is left to the main loop, which expands macros in it.
static std::int32_t do_pragma(std::int32_t pending) {
  line_gap(pending);
  out_directive(DIR_PRAGMA);
  out_byte(' ');
  return 0;
}

static std::int32_t do_asm() {
  if (gInAsm) alert(106u);
  emit_sync();
  skip_line();
  out_directive(DIR_ASM);
  out_byte('\n');
  gInAsm = true;
  return 0;
}

static std::int32_t do_endasm(std::int32_t pending) {
  if (!gInAsm) alert(105u);
  gInAsm = false;
  out_directive(DIR_ENDASM);
  out_byte(' ');
  pending = line_gap(pending);
  SourceChar c;
  while (!is_lineEnd(c = get())) out_char(c);
  unget();
  check_lineEnd();
  return pending + 1;
}

// --- Dispatch ---

// In a skipped group only conditionals count, and unknown words for what follows them on the line.
static bool drop_skipped(directive_row row) {
  if (gCompiling || row == DIR_UNKNOWN) return false;
  const skipped_action action = kDirectives[row].when_skipped;
  if (action == PROCESS) return false;
  if (action == NEST) cond_openSkipped();
  skip_line();
  return true;
}

static void do_unknown() {
  if (gCompiling) sc_alert(107, gToken);
  check_lineEnd();
}

std::int32_t control_line(std::int32_t pending) {
  if (gCompiling && guard_watches(gCurrentFrame)) {
    const input_frame* frame = place_frame();
    guard_atDirective(frame != nullptr ? frame->file_pos : nullptr);
  }
  const SourceChar c = skip_ws();
  if (is_lineEnd(c)) return pending + 1;
  scan_word(c);
  const directive_row row = recognise();
  if (gCurrentFrame != nullptr && !in_isFile(gCurrentFrame)) sc_alert(161, gToken);
  if (drop_skipped(row)) return pending + 1;
  if (row == DIR_UNKNOWN) {
    do_unknown();
    return pending + 1;
  }
  if (kDirectives[row].newline_first && pending >= 1) {
    out_byte('\n');
    pending--;
  }
  switch (row) {
    case DIR_PRAGMA: return do_pragma(pending);
    case DIR_ASM: return do_asm();
    case DIR_ENDASM: return do_endasm(pending);
    default: break;
  }
  if (etrace_active()) {
    etrace_directive(kDirectives[row].word, kDirectives[row].run);
  } else {
    kDirectives[row].run();
  }
  return pending + 1 + guard_takeLines();
}

// --- In place ---

struct word_lengths {
  std::uint8_t of[DIRECTIVES];
};
constexpr word_lengths make_lengths() {
  word_lengths lengths{};
  for (int row = 0; row < DIRECTIVES; row++) {
    while (kDirectives[row].word[lengths.of[row]] != 0) lengths.of[row]++;
  }
  return lengths;
}
constexpr word_lengths kLengths = make_lengths();

static bool is_wordAt(const unsigned char* at, directive_row row) {
  const std::uint32_t length = kLengths.of[row];
  const auto* word = reinterpret_cast<const unsigned char*>(kDirectives[row].word);
  return macro_firstBytes(at, length) == macro_loadWord(word) && !kWordBytes.has[at[length]];
}

// Is the word complete at `end`, whatever the reader makes of the byte there? A comment goes on where the line is
// evaluated, but is left to the reader where it is dropped, since it may hold line ends.
static bool is_wordEnd(const unsigned char* end, bool evaluated) {
  if (*end == '\r') return place_isLineEnd(end);
  return *end != '\\' && *end != '?' && (evaluated || *end != '/');
}

place_end control_lineInPlace(const unsigned char* at, bool expand) {
  while (char_isWhite(*at)) at++;
  const directive_row row = candidate<unsigned char>(at, kWordBytes.has[at[2]] ? at[2] : 0);
  if (row == DIR_UNKNOWN || !is_wordAt(at, row)) return {PLACE_ORDINARY, nullptr};
  const unsigned char* end = at + kLengths.of[row];
  const directive& found = kDirectives[row];
  if (gCompiling || found.when_skipped == PROCESS) {
    if (found.run_inPlace == nullptr || !is_wordEnd(end, true)) return {PLACE_ORDINARY, nullptr};
    const bool watched = gCompiling && guard_watches(gCurrentFrame);
    const place_end done = found.run_inPlace(end, expand);
    if (watched && done.outcome != PLACE_ORDINARY) guard_atDirective(at);
    return done;
  }
  if (!is_wordEnd(end, false) || (found.when_skipped == NEST && cond_isFull())) return {PLACE_ORDINARY, nullptr};
  if (found.when_skipped == NEST) cond_openSkipped();
  return {PLACE_DROP_REST, end};
}
