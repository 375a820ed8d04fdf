// Lines of a file, many at once.
//
// The text of a line needs a closer look only at the first byte of a word, at a run of white space that is not
// one blank, at a newline, and at the few bytes of text_masks.stop. What lies between is passed without being
// read. `from` is the first byte that has not been written yet: a run goes to the output when something in it
// has to be written differently.
//
// It is one room because all of it walks one cursor over one opened block: whoever stops it anywhere has to close the
// block there, with the line, the depth and the owed white space as the ordinary road would have them.
#include "preprocessor/blocklines.h"

#include <cstring>

#include "common/alert.h"
#include "preprocessor/blockscan.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/finished.h"
#include "preprocessor/grammar.h"
#include "preprocessor/guards.h"
#include "preprocessor/output.h"
#include "preprocessor/roads.h"
#include "preprocessor/wholecalls.h"

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

// Most runs are shorter than a line of source: they are copied with a fixed number of steps, for which both sides have
// room, and without a branch on their length.
static void write_run(const unsigned char* from, std::size_t length) {
  constexpr std::size_t SHORT = 64;
  static_assert(SHORT < SOURCE_SLACK);
  if (length > OUT_BUFFER_BYTES / 2) {
    out_bytes(from, length);
    return;
  }
  out_reserve(static_cast<std::uint32_t>(length + SHORT));
  std::memcpy(gOutPos, from, SHORT);
  if (length > SHORT) std::memcpy(gOutPos + SHORT, from + SHORT, length - SHORT);
  gOutPos += length;
}

static void write_finished(finished_text* finished) {
  out_reserve(FINISHED_BYTES_MAX + FINISHED_STEP);
  const unsigned char* from = finished_bytes(finished);
  for (std::uint32_t i = 0; i < finished->length; i += FINISHED_STEP) {
    std::memcpy(gOutPos + i, from + i, FINISHED_STEP);
  }
  gOutPos += finished->length;
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
    for (unsigned char* p = block_lineStop(at + 2);; p = block_lineStop(p + 1)) {
      if (*p == '\n') return p;
      if (*p == '\\' || p[1] == '?') return nullptr;
    }
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

// --- Control lines ---

// At the `#` of a control line: where the next line begins, or, in a skipped group, where the rest of this one goes on;
// or stopped ahead of it.
static unsigned char* take_control(block_text* text, unsigned char* hash, std::int32_t* pending) {
  const place_end end = control_lineInPlace(hash + 1, text->bare);
  if (end.outcome == PLACE_ORDINARY) return stop_ahead(text, hash);
  unsigned char* at = hash + (end.at - hash);
  if (end.outcome == PLACE_DROP_REST) return at;
  *pending += 1 + guard_takeLines();
  gLine++;
  text->reopened = true;  // a name may be a macro's from now on
  return text->line = at + 1;
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

// From within the line in hand in a skipped group to the start of the line behind the group. nullptr: stopped, and
// closed.
static unsigned char* pass_skippedLines(block_text* text, unsigned char* at, std::int32_t* pending) {
  while (!gCompiling) {
    if (at == text->line && at != text->end && *at == '#') {
      at = take_control(text, at, pending);
      if (at == nullptr) return nullptr;
      continue;
    }
    const block_pass pass = block_skipped(text->line, at, text->end);
    pass_lines(text, &pass);
    *pending += static_cast<std::int32_t>(pass.lines);
    at = pass.at;
    if (at == text->end) return stop_atLine(text, at);
    if (*at != '#' && at > text->line && at[-1] == '\\') at--;  // it is read with what follows
    const bool first = block_isFirstOnLine(at, text->line);
    if (*at == '#') {
      at = take_control(text, at, pending);
      if (at == nullptr) return nullptr;
      continue;
    }
    if (*at != '/') return first ? stop_ahead(text, at) : skip_ordinarily(text, at, pending);
    if (first) {
      at = pass_leadingComments(text, at);
      if (at == nullptr) return nullptr;
      continue;
    }
    unsigned char* behind = pass_comment(text, at);
    if (behind == nullptr) return skip_ordinarily(text, at, pending);
    at = behind;
  }
  return at;
}

// --- The start of a line ---

// From the start of a line to the first byte of text, with all written that is owed ahead of it.
static unsigned char* begin_text(block_text* text, unsigned char* at, std::int32_t* pending) {
  text->line = at;
  for (;;) {
    if (!gCompiling) {
      at = pass_skippedLines(text, at, pending);
      if (at == nullptr) return nullptr;
    }
    if (at == text->end || text->frame->depth_due) return stop_atLine(text, at);
    bool any = false;
    unsigned char* first = *at == '#' ? at : pass_gap(text, &at, &any);
    if (first == nullptr) return stop_ahead(text, at);
    if (*first == '#') {
      at = take_control(text, first, pending);
      if (at == nullptr) return nullptr;
      continue;
    }
    if (*first != '\n') {
      const bool usual = !char_isGap(*first) && !is_open(first);
      if (!usual) return stop_ahead(text, first);
      *pending = line_gap(*pending);
      text->from = first;
      return first;
    }
    ++*pending;
    gLine++;
    text->line = at = first + 1;
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
    p = block_literalStop(p);
    if (*p == quote) return p + 1;
    if (*p == '\n') return p;
    if (*p == '\\' && (*++p == '\n' || *p == '?')) break;
    if (*p == '?' && p[1] == '?') break;
  }
  write_upTo(text, at);
  return stop_inText(text, at, false);
}

constexpr byte_set make_hexDigits() {
  byte_set digits{};
  for (int c = 0; c < 256; c++)
    digits.has[c] = char_isDigit(static_cast<SourceChar>(c)) || is_hexLetter(static_cast<SourceChar>(c));
  return digits;
}

// The end of the number that begins at `at` and whose first digits end at `end`; `behind_dot` if a dot stands ahead.
static unsigned char* end_ofNumber(const unsigned char* at, unsigned char* end, bool behind_dot) {
  static constexpr byte_set kHexDigits = make_hexDigits();
  number_state state = behind_dot ? number_beginDot() : number_begin(10);
  if (*at == '0' && !behind_dot) {
    state = number_begin(number_radixBehindZero(at[1]));
    if (state.radix != 8) end = end - at == 1 ? end + 1 : end;  // the letter of the prefix
    if (state.radix == 16) {
      while (kHexDigits.has[*end]) end++;
    }
  }
  while (number_accepts(&state, *end)) end++;
  return end;
}

// At the first digit of a number; a dot at `floor` or behind it may belong to it.
static unsigned char* text_number(block_text* text, unsigned char* at, const unsigned char* floor) {
  unsigned char* end = at;
  const bool behind_dot = at > floor && at[-1] == '.';
  while (char_isDigit(*end)) end++;
  if (behind_dot || *end == '.' || kWordBytes.has[*end]) end = end_ofNumber(at, end, behind_dot);
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
  // What has yet to leave the depth lets a chain of calls go further than at the next use.
  const bool keep = macro->nargs == MACRO_OBJECT && text->bare && text->frame->pending_depth == 0;
  close_in(text, behind);
  depth_reset();
  macro_hold(macro);
  text->state = {false, false};
  text_expandName(macro, &text->state);
  const bool back = text_runAbove(serial, &text->state) && !text->state.expanded;
  if (back && keep && text->frame->pending_depth == 0 && !text->state.spaces && text->frame->file_pos == behind)
    finished_end(macro, &mark);
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

// The text of a call that ends ahead of `behind` has ended on the file's frame, without having been there.
static void leave_depth(block_text* text, const unsigned char* behind, std::int32_t pending) {
  input_frame* frame = text->frame;
  frame->pending_depth = pending;
  if (frame->parent == nullptr) return;
  frame->carried++;
  frame->depth_due = true;
  depth_settle(frame, behind + 1 == text->end ? 1 : 2);
}

// Goes on behind a call that has been written as a whole.
static unsigned char* pass_call(block_text* text, unsigned char* at, const whole_call* call) {
  text->from = call->is_call ? call->behind : at;
  if (!call->is_call) return call->behind;
  if (call->lines != 0) {
    gLine += call->lines;
    gLineStale = true;
    text->line = call->line;
  }
  leave_depth(text, call->behind, call->pending);
  return call->behind;
}

// Writes the call as a whole; absent if it was given up.
static unsigned char* whole_inText(block_text* text, macro_def* macro, unsigned char* at, unsigned char* behind) {
  const finished_mark mark = finished_begin();
  const whole_call call = whole_write(text->frame, macro, behind, text->end);
  if (call.behind == nullptr) return nullptr;
  const bool cut = behind - at > static_cast<std::ptrdiff_t>(gIdentifierMax);
  if (!call.is_call && cut) return nullptr;
  if (macro->nargs == MACRO_OBJECT && call.pending == 0) finished_end(macro, &mark);
  return pass_call(text, at, &call);
}

// Ahead of the name of a macro that is not hidden, from `at` to `behind`.
static unsigned char* text_call(block_text* text, macro_def* macro, unsigned char* at, unsigned char* behind) {
  write_upTo(text, at);
  if (is_open(behind) || *behind == '\v' || *behind == '\f' || opens_comment(behind))
    return stop_inText(text, at, false);
  finished_text* finished = text->bare ? finished_of(macro) : nullptr;
  if (finished != nullptr && ends_there(finished, *behind)) {
    write_finished(finished);
    text->from = behind;
    leave_depth(text, behind, macro->body_length != 0 ? 0 : text->frame->pending_depth);
    return behind;
  }
  const bool is_whole =
      text->bare && behind - at <= static_cast<std::ptrdiff_t>(gIdentifierMax);  // not cut, if no call
  unsigned char* whole = is_whole ? whole_inText(text, macro, at, behind) : nullptr;
  if (whole != nullptr) return whole;
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

// At the newline of a text line: to the first byte of the next one. `indent` blanks follow the newline, or more.
static unsigned char* text_newline(block_text* text, unsigned char* at, std::uint32_t indent, std::int32_t* pending) {
  static constexpr byte_set kUsual = make_usualStarts();
  write_upTo(text, at + 1);
  gLine++;
  unsigned char* first = at + 1 + indent;
  if (char_isWhite(*first)) first = skip_white(first);
  if (gLineStale || text->frame->depth_due || first >= text->end || !kUsual.has[*first]) {
    return begin_text(text, at + 1, pending);
  }
  text->line = at + 1;
  text->from = first;
  return first;
}

// From the start of a name: to its end, or stopped ahead of it.
static unsigned char* text_name(block_text* text, unsigned char* at) {
  unsigned char* behind = at + 1;
  while (kWordBytes.has[*behind]) behind++;
  const auto length = static_cast<std::uint32_t>(behind - at);
  const bool is_long = length > gIdentifierMax;
  macro_def* macro = macro_find(at, is_long ? gIdentifierMax : length);
  if (macro != nullptr && macro->disable == 0) return text_call(text, macro, at, behind);
  if (!is_long) return behind;
  if (is_open(behind)) return text_stopAtToken(text, behind, at);
  write_upTo(text, at + gIdentifierMax);  // the rest does not count
  text->from = behind;
  return behind;
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

// What of a step needs a closer look.
struct step_points {
  byte_mask words;  // letters and digits
  byte_mask blanks;
  byte_mask
      numbers;      // a number that is more than digits: its first digit behind a dot, or what follows its first digits
  byte_mask names;  // names that may be macros', and longer ones than count
  byte_mask all;    // these, newlines, stops, and blanks but those that stand alone between other bytes of text
  std::uint32_t end;  // the bytes from here on are left to the next step: a word or blanks that may go on
};

// A number that is nothing but digits needs no look. What follows the digits of all numbers at once: adding the first
// digit carries through the others.
static byte_mask find_numbers(const text_masks* masks, byte_mask starts) {
  const byte_mask first = starts & masks->digit;
  const byte_mask behind = (masks->digit + first) & ~masks->digit;
  return (behind & (masks->word | masks->dot)) | (first & (masks->dot << 1 | 1));
}

// Whether a name may be a macro's is found for one name after the other without a branch that depends on it.
static byte_mask find_names(const unsigned char* base, byte_mask words, byte_mask starts) {
  byte_mask found = 0;
  for (; starts != 0; starts &= starts - 1) {
    const std::uint32_t bit = mask_first(starts);
    const std::uint32_t length = mask_first(~(words >> bit));
    const bool candidate = macro_mayExist(macro_shape(base + bit, length)) | (length > gIdentifierMax);
    found |= static_cast<byte_mask>(candidate) << bit;
  }
  return found;
}

static step_points find_points(const unsigned char* base) {
  const text_masks masks = block_textMasks(base);
  step_points points;
  const std::uint32_t word_end = mask_lastRun(masks.word);
  const std::uint32_t blank_end = mask_lastRun(masks.blank);
  points.end = word_end < blank_end ? word_end : blank_end;
  const byte_mask starts = masks.word & ~(masks.word << 1) & mask_below(points.end);
  const byte_mask other = masks.blank | masks.newline | masks.stop;
  const byte_mask alone = masks.blank & ~(masks.blank << 1) & ~(other >> 1);
  points.words = masks.word;
  points.blanks = masks.blank;
  points.numbers = find_numbers(&masks, starts);
  points.names = find_names(base, masks.word, starts & ~masks.digit);
  points.all =
      (points.numbers | points.names | masks.newline | masks.stop | (masks.blank & ~alone)) & mask_below(points.end);
  if (points.end == 0) points.all = 1;  // nothing but one word or blanks
  return points;
}

// At a point of a step, `at`, that is no name.
static unsigned char* take_sign(block_text* text, const step_points* points, std::uint32_t bit, unsigned char* at,
                                const unsigned char* floor, std::int32_t* pending) {
  if (*at == '\n') {
    const byte_mask behind = ~(points->blanks >> bit >> 1);  // not 0, since the highest bit is set
    return text_newline(text, at, mask_first(behind), pending);
  }
  if (mask_has(points->numbers, bit) || char_isDigit(*at)) {
    while (at > floor && char_isDigit(at[-1])) at--;
    return text_number(text, at, floor);
  }
  return *at == ' ' ? text_gap(text, at, false) : text_stop(text, at, floor);
}

// A name, as opposed to a number that letters follow.
static bool is_name(const step_points* points, std::uint32_t bit, const unsigned char* at, const unsigned char* floor) {
  return mask_has(points->words, bit) && !char_isDigit(*at) && (!mask_has(points->numbers, bit) || at == floor);
}

// Writes text lines from `p` on, the first byte of text of one, until something stops it.
static void write_lines(block_text* text, unsigned char* p, std::int32_t* pending) {
  const unsigned char* floor = p;  // nothing ahead of it belongs to the next token
  while (p != nullptr) {
    unsigned char* const base = p;
    const step_points points = find_points(base);
    p = base + points.end;
    text->reopened = false;
    byte_mask todo = points.all;
    while (todo != 0) {
      const std::uint32_t bit = mask_first(todo);
      if (is_name(&points, bit, base + bit, floor)) {
        p = text_name(text, base + bit);
        if (text->from > floor) floor = text->from;  // else the name may still have to be read again
      } else {
        floor = p = take_sign(text, &points, bit, base + bit, floor, pending);
      }
      if (p == nullptr) return;
      const auto passed = static_cast<std::uint64_t>(p - base);
      if (passed >= points.end || text->reopened) break;
      // Behind a number a name may begin in mid-word; a dot there is no part of it.
      const byte_mask here = byte_mask{1} << passed;
      todo = (points.all & ~mask_below(static_cast<std::uint32_t>(passed)) & ~(points.numbers & ~points.words & here)) |
             (points.words & points.words << 1 & here);
      if (todo == 0) p = base + points.end;
    }
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
  if (guard_watches(frame)) guard_atLine(*pending);
  if (!ready) return false;
  block_text text = {frame,   source, nullptr,        nullptr, source->clean,
                     nullptr, false,  is_bare(frame), false,   {false, false}};
  block_prepare();
  source_openBlock(source);
  unsigned char* first = begin_text(&text, source->next, pending);
  if (first != nullptr) write_lines(&text, first, pending);
  if (guard_watches(gCurrentFrame)) guard_atLine(*pending);
  *state = text.state;
  return text.in_text;
}
