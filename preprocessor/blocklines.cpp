// Lines of a file, many at once.
//
// The text of a line needs a closer look only at the first byte of a word, at a run of white space that is not
// one blank, at a newline, and at the few bytes of text_masks.stop. What lies between is passed without being
// read. `from` is the first byte that has not been written yet: a run goes to the output when something in it
// has to be written differently.
#include "preprocessor/blocklines.h"

#include <cstring>

#include "common/alert.h"
#include "preprocessor/blockscan.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/finished.h"
#include "preprocessor/grammar.h"
#include "preprocessor/output.h"
#include "preprocessor/roads.h"

static_assert(SOURCE_SLACK > BLOCK_SLACK);

struct block_text {
  input_frame* frame;
  line_source* source;
  unsigned char* line;    // the start of the line in hand
  unsigned char* opened;  // the line that was current before
  unsigned char* end;     // of the lines that may be taken
  unsigned char* from;    // the first byte that has not been written
  bool reopened;          // the block has been closed and opened again: masks of it do not hold any more
  bool bare;              // files alone lie below, and no report is written: finished texts may be used
  bool in_text;           // stopped within a text line
  text_state state;       // then: what is still to be written ahead of its next token
};

// --- Output ---

// Runs are short: 16 bytes at a time, for which both sides have room.
static void write_run(const unsigned char* from, std::size_t length) {
  constexpr std::size_t STEP = 16;
  if (length > OUT_BUFFER_BYTES / 2) {
    out_bytes(from, length);
    return;
  }
  out_reserve(static_cast<std::uint32_t>(length + STEP));
  for (std::size_t i = 0; i < length; i += STEP) std::memcpy(gOutPos + i, from + i, STEP);
  gOutPos += length;
}

static void write_upTo(block_text* text, unsigned char* at) {
  write_run(text->from, static_cast<std::size_t>(at - text->from));
  text->from = at;
}

// --- What a closer look at the byte behind a token has to tell ---

// Does reading the byte at `at` do more than read it? A continuation and a carriage return vanish, also a continuation
// that is written as a trigraph, and a slash needs the unit behind it.
static bool is_open(const unsigned char* at) {
  if (*at == '/') at++;
  return *at == '\\' || *at == '\r' || (*at == '?' && at[1] == '?');
}

static bool opens_comment(const unsigned char* at) { return at[0] == '/' && (at[1] == '*' || at[1] == '/'); }

static unsigned char* skip_white(unsigned char* at) {
  while (char_isWhite(*at)) at++;
  return at;
}

// --- Comments ---

static void pass_lines(block_text* text, const block_pass* pass) {
  if (pass->lines == 0) return;
  gLine += pass->lines;
  text->line = pass->line;
}

// From a comment's first byte to behind it; for a line comment, to its newline. nullptr: the ordinary road has to read
// it.
static unsigned char* pass_comment(block_text* text, unsigned char* at) {
  if (at[1] == '/') {
    const auto left = static_cast<std::size_t>(text->end - at);
    auto* newline = static_cast<unsigned char*>(std::memchr(at, '\n', left));
    const auto length = static_cast<std::size_t>(newline - at);
    const bool quiet = std::memchr(at, '\\', length) == nullptr && std::memchr(at, '?', length) == nullptr;
    return quiet ? newline : nullptr;
  }
  bool ended;
  const block_pass pass = block_comment(at + 2, text->end, &ended);
  if (!ended) return nullptr;
  if (pass.lines != 0) gLineStale = true;
  pass_lines(text, &pass);
  // As the reader does: a message that echoes the line shows it.
  if (*pass.at != '\n' && !char_isWhite(*pass.at)) pass.at[-1] = ' ';
  return pass.at;
}

// White space and comments from `at` on: the first byte that is neither, and whether there was any of them. nullptr: a
// comment that the ordinary road has to read; `*at` is then where it starts, or the white space ahead of it.
static unsigned char* pass_gap(block_text* text, unsigned char** at, bool* any) {
  unsigned char* p = skip_white(*at);
  while (opens_comment(p)) {
    unsigned char* behind = pass_comment(text, p);
    if (behind == nullptr) {
      *any = *any || p != *at;
      *at = p;
      return nullptr;
    }
    *any = true;
    *at = behind;
    p = skip_white(behind);
  }
  *any = *any || p != *at;
  return p;
}

// --- The end: each returns nullptr ---

// Ahead of the line at `line`.
static unsigned char* stop_atLine(block_text* text, unsigned char* line) {
  if (line != text->source->next) in_lineBegun(text->frame);
  source_closeAt(text->source, line);
  text->frame->file_pos = line;
  return nullptr;
}

static void close_in(block_text* text, unsigned char* at) {
  if (text->line != text->opened) in_lineBegun(text->frame);
  source_closeIn(text->source, text->line, at);
  text->frame->file_pos = at;
}

// Within the text of the line in hand, ahead of `at`.
static unsigned char* stop_inText(block_text* text, unsigned char* at, bool spaces) {
  close_in(text, at);
  text->in_text = true;
  text->state = {spaces, false};
  return nullptr;
}

// Ahead of `at`, with nothing of the line in hand taken but white space and comments.
static unsigned char* stop_ahead(block_text* text, unsigned char* at) {
  close_in(text, at);
  return nullptr;
}

// --- Skipped groups ---

// The rest of a skipped line that only the reader can tell.
static unsigned char* skip_ordinarily(block_text* text, unsigned char* at, std::int32_t* pending) {
  close_in(text, at);
  skip_line();
  ++*pending;
  return nullptr;
}

// Comments that a skipped line begins with; a `#` behind them begins a control line.
static unsigned char* pass_leadingComments(block_text* text, unsigned char* at) {
  bool any = false;
  unsigned char* first = pass_gap(text, &at, &any);
  if (first == nullptr) return stop_ahead(text, at);
  return *first == '#' || is_open(first) || (char_isGap(*first) && *first != '\n') ? stop_ahead(text, first) : first;
}

// From the start of a line in a skipped group. nullptr: stopped, and closed.
static unsigned char* pass_skippedLines(block_text* text, unsigned char* at, std::int32_t* pending) {
  text->line = at;
  for (;;) {
    const block_pass pass = block_skipped(text->line, at, text->end);
    pass_lines(text, &pass);
    *pending += static_cast<std::int32_t>(pass.lines);
    at = pass.at;
    if (at == text->end) return stop_atLine(text, at);
    const bool first = block_isFirstOnLine(at, text->line);
    if (*at != '/') return first ? stop_ahead(text, at) : skip_ordinarily(text, at, pending);
    if (first) {
      at = pass_leadingComments(text, at);
      if (at == nullptr) return nullptr;
      continue;
    }
    if (at[-1] == '\\') return skip_ordinarily(text, at - 1, pending);
    unsigned char* behind = pass_comment(text, at);
    if (behind == nullptr) return skip_ordinarily(text, at, pending);
    at = behind;
  }
}

// --- The start of a line ---

// From the start of a line to the first byte of text, with all written that is owed ahead of it.
static unsigned char* begin_text(block_text* text, unsigned char* at, std::int32_t* pending) {
  for (;;) {
    if (at == text->end || text->frame->depth_due) return stop_atLine(text, at);
    if (!gCompiling) return pass_skippedLines(text, at, pending);
    text->line = at;
    bool any = false;
    unsigned char* first = pass_gap(text, &at, &any);
    if (first == nullptr) return stop_ahead(text, at);
    if (*first != '\n') {
      const bool usual = *first != '#' && !char_isGap(*first) && !is_open(first);
      if (!usual) return stop_ahead(text, first);
      *pending = line_gap(*pending);
      text->from = first;
      return first;
    }
    ++*pending;
    gLine++;
    at = first + 1;
  }
}

// --- Within a text line: each returns where the text goes on, or nullptr once it stopped ---

// At white space or a comment, with `spaces` white space already ahead of it.
static unsigned char* text_gap(block_text* text, unsigned char* at, bool spaces) {
  unsigned char* start = at;
  unsigned char* first = pass_gap(text, &at, &spaces);
  const bool blank_lies = *start == ' ' && first != nullptr && *first != '\n' && !is_open(first) && !char_isGap(*first);
  write_upTo(text, blank_lies ? start + 1 : start);
  if (first == nullptr) return stop_inText(text, at, spaces);
  if (is_open(first) || (char_isGap(*first) && *first != '\n')) return stop_inText(text, first, spaces);
  if (spaces && !blank_lies && *first != '\n') out_byte(' ');
  text->from = first;
  return first;
}

static unsigned char* text_literal(block_text* text, unsigned char* at) {
  const unsigned char quote = *at;
  for (unsigned char* p = at + 1;; p++) {
    if (*p == quote) return p + 1;
    if (*p == '\n') return p;
    if (*p == '\\' && (*++p == '\n' || *p == '?')) break;
    if (*p == '?' && p[1] == '?') break;
  }
  write_upTo(text, at);
  return stop_inText(text, at, false);
}

// The end of the number that begins at `at`; `behind_dot` if the byte there is a digit behind a dot.
static unsigned char* end_ofNumber(unsigned char* at, bool behind_dot) {
  number_state state = behind_dot ? number_beginDot() : number_begin(10);
  if (*at == '0' && !behind_dot) {
    state = number_begin(number_radixBehindZero(at[1]));
    at += state.radix != 8 ? 2 : 1;
  }
  while (number_accepts(&state, *at)) at++;
  return at;
}

// At the first digit of a number; a dot at `floor` or behind it may belong to it.
static unsigned char* text_number(block_text* text, unsigned char* at, const unsigned char* floor) {
  unsigned char* end = at;
  const bool behind_dot = at > floor && at[-1] == '.';
  while (char_isDigit(*end)) end++;
  if (behind_dot || *end == '.' || kWordBytes.has[*end]) end = end_ofNumber(at, behind_dot);
  if (!is_open(end)) return end;
  unsigned char* start = at - (behind_dot ? 1 : 0);
  write_upTo(text, start);
  return stop_inText(text, start, false);
}

// A byte that is more than itself: the token ahead of it, which looks one unit ahead, goes the ordinary road too.
static unsigned char* text_stopAtToken(block_text* text, unsigned char* at, const unsigned char* floor) {
  unsigned char* start = at;
  while (start > floor && kWordBytes.has[start[-1]]) start--;
  if (start == at && start > floor && (start[-1] == '.' || char_canCatenate(char_class(start[-1])))) start--;
  write_upTo(text, start);
  return stop_inText(text, start, false);
}

// Is the token that a finished text ends in complete, with `behind` the byte behind the call?
static bool ends_there(const finished_text* finished, unsigned char behind) {
  return !finished->ends_in_number || (behind != '.' && behind != '+' && behind != '-');
}

// Expands the call and writes all that comes of it. False: the ordinary road has the next token.
static bool run_call(block_text* text, macro_def* macro, unsigned char* behind) {
  const std::uint64_t serial = text->frame->serial;
  const finished_mark mark = finished_begin();
  const bool keep = macro->nargs == MACRO_OBJECT && text->bare;
  close_in(text, behind);
  depth_reset();
  macro_hold(macro);
  text->state = {false, false};
  text_expandName(macro, &text->state);
  const bool back = text_runAbove(serial, &text->state) && !text->state.expanded;
  if (back && keep && !text->state.spaces && text->frame->file_pos == behind) finished_end(macro, &mark);
  macro_unhold(macro);
  return back;
}

// Goes on behind a call, in the line and the block that it ended in.
static unsigned char* resume(block_text* text) {
  line_source* source = text->source;
  unsigned char* at = text->from = text->frame->file_pos;
  depth_settle(text->frame, *at == '\n' ? 1 : 2);
  source_openBlock(source);
  text->line = text->opened = source->line;
  text->end = source->clean;
  text->reopened = true;
  return text->state.spaces ? text_gap(text, at, true) : at;
}

// Ahead of the name of a macro, from `at` to `behind`.
static unsigned char* text_call(block_text* text, macro_def* macro, unsigned char* at, unsigned char* behind) {
  if (macro->disable != 0) return behind;
  write_upTo(text, at);
  if (is_open(behind) || *behind == '\v' || *behind == '\f' || opens_comment(behind))
    return stop_inText(text, at, false);
  finished_text* finished = text->bare ? finished_of(macro) : nullptr;
  if (finished != nullptr && ends_there(finished, *behind)) {
    write_run(finished_bytes(finished), finished->length);
    text->from = behind;
    return behind;
  }
  if (run_call(text, macro, behind) && source_isClean(text->source)) return resume(text);
  text->in_text = true;
  return nullptr;
}

// Bytes that text may begin with, as opposed to lines of another kind.
static constexpr byte_set make_usualStarts() {
  byte_set usual{};
  for (int c = 1; c < 256; c++) {
    usual.has[c] =
        !char_isGap(static_cast<SourceChar>(c)) && c != '\n' && c != '#' && c != '/' && c != '\\' && c != '?';
  }
  return usual;
}

// At the newline of a text line: to the first byte of the next one.
static unsigned char* text_newline(block_text* text, unsigned char* at, std::int32_t* pending) {
  static constexpr byte_set kUsual = make_usualStarts();
  write_upTo(text, at + 1);
  gLine++;
  unsigned char* first = skip_white(at + 1);
  if (gLineStale || text->frame->depth_due || first >= text->end || !kUsual.has[*first]) {
    return begin_text(text, at + 1, pending);
  }
  text->line = at + 1;
  text->from = first;
  return first;
}

// From the start of a name: to its end, or stopped ahead of it.
static unsigned char* text_name(block_text* text, unsigned char* at, std::uint32_t length, std::uint64_t shape) {
  if (length > gIdentifierMax) {
    write_upTo(text, at);
    return stop_inText(text, at, false);
  }
  macro_def* macro = macro_findShape(at, length, shape);
  return macro != nullptr ? text_call(text, macro, at, at + length) : at + length;
}

// At a byte of text_masks.stop.
static unsigned char* text_stop(block_text* text, unsigned char* at, const unsigned char* floor) {
  switch (*at) {
    case '"':
    case '\'': return text_literal(text, at);
    case '/':
      if (opens_comment(at)) return text_gap(text, at, false);
      return is_open(at) ? text_stopAtToken(text, at, floor) : at + 1;
    case '?': return at[1] == '?' ? text_stopAtToken(text, at, floor) : at + 1;
    case '\\':
    case '\r': return text_stopAtToken(text, at, floor);
    case '\v':
    case '\f': return text_stopAtToken(text, at, at);
    default: return text_gap(text, at, false);
  }
}

// --- Text ---

// The bytes of a step that need a closer look. A blank needs none where it stands alone between other bytes of text;
// what follows the last byte of a step is not known.
static byte_mask attention_of(const text_masks* masks) {
  const byte_mask other = masks->blank | masks->newline | masks->stop;
  const byte_mask alone = masks->blank & ~(masks->blank << 1) & ~(other >> 1) & (~byte_mask{0} >> 1);
  return (masks->word & ~(masks->word << 1)) | (masks->blank & ~alone) | masks->newline | masks->stop;
}

static bool has_bit(byte_mask mask, std::uint32_t bit) { return ((mask >> bit) & 1) != 0; }

// The end of the word that begins at bit `bit` of a step.
static unsigned char* end_ofWord(unsigned char* base, byte_mask words, std::uint32_t bit) {
  const byte_mask behind = ~(words >> bit);
  if (behind != 0 && bit + mask_first(behind) < BLOCK_STEP) return base + bit + mask_first(behind);
  unsigned char* p = base + BLOCK_STEP;
  while (kWordBytes.has[*p]) p++;
  return p;
}

// Writes text lines from `p` on, the first byte of text of one, until something stops it.
static void write_lines(block_text* text, unsigned char* p, std::int32_t* pending) {
  const unsigned char* floor = p;  // nothing ahead of it belongs to the next token
  while (p != nullptr) {
    unsigned char* const base = p;
    const text_masks masks = block_textMasks(base);
    const byte_mask attention = attention_of(&masks);
    byte_mask todo = attention | (masks.word & 1);
    text->reopened = false;
    while (todo != 0) {
      const std::uint32_t bit = mask_first(todo);
      unsigned char* at = base + bit;
      if (has_bit(masks.word, bit) && !char_isDigit(*at)) {
        p = end_ofWord(base, masks.word, bit);
        const auto length = static_cast<std::uint32_t>(p - at);
        const std::uint64_t shape = macro_shape(at, length);
        if (macro_mayExist(shape) || length > gIdentifierMax) {
          p = text_name(text, at, length, shape);
          floor = p;
        }
      } else if (has_bit(masks.word, bit)) {
        floor = p = text_number(text, at, floor);
      } else if (has_bit(masks.newline, bit)) {
        floor = p = text_newline(text, at, pending);
      } else if (has_bit(masks.blank, bit)) {
        floor = p = text_gap(text, at, false);
      } else {
        floor = p = text_stop(text, at, floor);
      }
      if (p == nullptr) return;
      const auto passed = static_cast<std::uint64_t>(p - base);
      if (passed >= BLOCK_STEP || text->reopened) break;
      todo = (attention & (~byte_mask{0} << passed)) | (masks.word & (byte_mask{1} << passed));
    }
    if (todo == 0) p = base + BLOCK_STEP;
  }
}

// May the current frame's lines be taken? Not where a unit that is read has an effect of its own.
static bool may_begin(const input_frame* frame) {
  if (frame == nullptr || !in_isFile(frame) || frame->depth_due) return false;
  if (frame->file_pos != frame->stream->line_end || gPresetLast) return false;
  if (frame->parent == nullptr && in_hasPreset()) return false;
  return !gInAsm && !gVlasmMode && !gKeepCommentsOption;
}

static bool is_bare(const input_frame* frame) {
  while (frame != nullptr && in_isFile(frame)) frame = frame->parent;
  return frame == nullptr && gReportHandle == nullptr;
}

bool block_lines(std::int32_t* pending, text_state* state) {
  input_frame* frame = gCurrentFrame;
  if (!may_begin(frame)) return false;
  line_source* source = frame->stream;
  const bool ready = source_hasLines(source);
  frame->file_pos = source->line_end;
  if (!ready) return false;
  block_text text = {frame,   source, nullptr,        nullptr, source->clean,
                     nullptr, false,  is_bare(frame), false,   {false, false}};
  source_openBlock(source);
  unsigned char* first = begin_text(&text, source->next, pending);
  if (first != nullptr) write_lines(&text, first, pending);
  *state = text.state;
  return text.in_text;
}
