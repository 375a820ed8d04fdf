// Macro expansion.
//
// It is one pass over a stack of text frames. macro_expand reads the arguments into gMacroArea, makes
// the macro's text the next input, and returns; the reader then delivers that text as if it stood in
// the source. Nothing is expanded into a finished string: a parameter stays in the text as a marker,
// and its argument is expanded when the reader opens it. Only the operands of `#` and `##` are put in
// while the text is built. `ADD(V,ADD(1,2))` with `#define ADD(a,b) a+b` and `#define V 3`:
//
//   source       ADD(V,ADD(1,2))     arguments collected raw: `V` and `ADD(1,2)`
//   macro frame  <0>+<1>             read unit by unit; ADD is hidden
//   argument     V                   expands to 3
//   argument     ADD(1,2)            ADD is visible in its own argument: a second macro frame, 1+2
//
// A text that holds no operator, and no slash that could end a comment, is read where the symbol
// table keeps it.
#include "preprocessor/expand.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/cmode.h"
#include "common/osdep.h"
#include "preprocessor/define.h"
#include "preprocessor/expand_trace.h"
#include "preprocessor/finished.h"
#include "preprocessor/reports.h"

// --- Depth ---

// Drains all macro text in progress, with the normal end of its frames.
static void drain_macroText(const macro_def* macro) {
  depth_report(macro);
  do {
    get();
  } while (gCurrentFrame != nullptr && !in_isFile(gCurrentFrame));
  unget();
  depth_reset();
}

// A text such as `a//` for a macro `a` ends in its own name and takes the reader to the end of the line:
// the name is met behind its frame, in the text below, and would expand for ever without the depth
// growing.
static bool is_stuck() { return gCurrentFrame != nullptr && in_isStuck(gCurrentFrame); }

// In vlasm mode the first word of a line of F's own text is pushed back on F's frame, where F is not hidden: with
// `-DF=F`, a newline and `x` it would expand for ever, and the end of the word takes the depth off again.
static bool is_endless(const macro_def* macro) {
  return is_stuck() || macro->disable >= static_cast<std::int32_t>(MACRO_DEPTH_MAX);
}

// Counts one more open expansion; false if that is one too many.
static bool enter_depth(const macro_def* macro) {
  const bool endless = is_endless(macro);
  if (depth_enter(macro) && !endless) return true;
  drain_macroText(macro);
  return false;
}

// --- Dynamic replacements ---

static void push_lineNumber() {
  gVolatileTexts++;
  char digits[16];
  std::snprintf(digits, sizeof digits, "%d", static_cast<int>(gLine));
  in_pushText(sc_fromNarrow(gWorkBuffer, digits));
}

static void push_fileName() {
  gVolatileTexts++;
  const input_frame* frame = gCurrentFrame;
  while (frame != nullptr && !in_isFile(frame)) frame = frame->parent;
  if (frame == nullptr) return;
  gWorkFill = 0;
  work_put('"');
  for (const SourceChar* p = in_shownName(frame); *p != 0; p++) {
    if (*p == '\\') work_put('\\');
    work_put(*p);
  }
  work_put('"');
  work_put(0);
  in_pushText(gWorkBuffer);
}

// --- The search for `(` ---

// True at a `(`. Otherwise what was read behind the name goes back as text: of the white space, one
// newline and one blank at most.
static bool find_open() {
  bool newline = false;
  bool blank = false;
  SourceChar c = get();
  for (; c == '\n' || c == CH_MACRO_END || char_class(c) == CC_SPACE; c = get()) {
    blank = c != '\n';
    if (blank) continue;
    if (newline) gLineStale = true;
    newline = true;
  }
  if (c == '(') return true;
  if (!newline && !blank) {
    unget();
    return false;
  }
  SourceChar text[4];
  std::uint32_t length = 0;
  if (newline) text[length++] = '\n';
  if (blank) text[length++] = ' ';
  text[length++] = c;
  text[length] = 0;
  in_pushText(text);
  return false;
}

// --- Arguments ---

struct argument_list {
  std::uint32_t count;
  std::uint32_t start[MACRO_PARAMS_MAX];  // in gMacroArea
};

// One argument in the making.
struct collector {
  const macro_def* macro;
  std::uint32_t depth;  // of parentheses
  bool spaces;          // white space ahead of the unit in hand
};

static void put_blankIfDue(collector* at) {
  if (at->spaces) area_put(' ');
  at->spaces = false;
}

// White space between the units of an argument, newlines included.
static SourceChar skip_argumentSpace(SourceChar c, collector* at) {
  at->spaces = false;
  while (c == '\n' || char_class(c) == CC_SPACE) {
    if (c == '\n') gLineStale = true;
    at->spaces = true;
    c = skip_ws();
  }
  return c;
}

constexpr byte_set make_argumentBytes() {
  byte_set bytes{};
  for (int c = 1; c < 256; c++) {
    const int code = char_classTable.of[c];
    bytes.has[c] = c != ',' && code != CC_SPACE && code != CC_QUOTE && code != CC_OPEN && code != CC_CLOSE;
  }
  return bytes;
}

// Units that an argument takes as they are, from a file frame or a macro frame.
static bool is_plainArgument(SourceChar c) {
  static constexpr byte_set kArgumentBytes = make_argumentBytes();
  return char_isByte(c) && kArgumentBytes.has[c] && !gReadSpecial.has[c];
}

template <class Unit>
static Unit* take_argumentRun(Unit* p, collector* at) {
  SourceChar* fill = gMacroArea + gMacroAreaFill;
  SourceChar* const limit = gMacroArea + MACRO_AREA_UNITS;
  for (; fill < limit; p++) {
    if (*p == '(') {
      at->depth++;
    } else if (*p == ')' || *p == ',') {
      if (at->depth == 0) break;
      if (*p == ')') at->depth--;
    } else if (*p == ' ') {
      if (!is_plainArgument(p[1])) break;
    } else if (!is_plainArgument(*p)) {
      break;
    }
    *fill++ = *p;
  }
  gMacroAreaFill = static_cast<std::uint32_t>(fill - gMacroArea);
  return p;
}

static void take_plainRun(collector* at) {
  input_frame* frame = gCurrentFrame;
  if (frame == nullptr || in_isPlain(frame) || frame->depth_due) return;
  if (in_isFile(frame)) {
    frame->file_pos = take_argumentRun(frame->file_pos, at);
  } else {
    frame->text_pos = take_argumentRun(frame->text_pos, at);
  }
}

// In argument text and pushed text calls are carried out while they are collected, and names are pasted. True: an
// identifier that is no call has been stored, and `*unit` is the one behind it. False: `*unit` is no letter's, and the
// caller has to store it.
static bool expand_plainText(SourceChar* unit, collector* at) {
  SourceChar c = *unit;
  for (;;) {
    c = scan_expandName(c);
    if (!char_canCatenate(char_class(c)) || !scan_catenate(c)) break;
    c = get();
  }
  *unit = c;
  if (char_class(c) != CC_LETTER) return false;
  put_blankIfDue(at);
  if (sc_compareNarrow(gToken, macro_name(at->macro)) == 0) area_put(CH_NO_EXPAND);
  for (const SourceChar* p = gToken; *p != 0; p++) area_put(*p);
  *unit = in_skipMarkers();
  return true;
}

enum argument_end { ARG_GOES_ON, ARG_COMPLETE };

// One unit of an argument, or a whole literal.
static argument_end store_unit(SourceChar c, collector* at) {
  if (c == '\\') {
    put_blankIfDue(at);
    area_put(c);
    area_put(in_skipMarkers());
    return ARG_GOES_ON;
  }
  if (char_class(c) == CC_QUOTE) {
    put_blankIfDue(at);
    scan_string(c, area_put);
    return ARG_GOES_ON;
  }
  if (c == ',' && at->depth == 0) return ARG_COMPLETE;
  if (c == ')' && at->depth == 0) {
    unget();
    return ARG_COMPLETE;
  }
  if (c == CH_MACRO_END) return ARG_GOES_ON;
  if (c == '(') at->depth++;
  if (c == ')') at->depth--;
  put_blankIfDue(at);
  area_put(c);
  take_plainRun(at);
  return ARG_GOES_ON;
}

// Reads one argument, whose first unit is `c`, up to the comma behind it or the `)`, which is given
// back. False at the end of all input.
static bool collect_argument(SourceChar c, const macro_def* macro) {
  collector at = {macro, 0, false};
  for (;;) {
    c = skip_argumentSpace(c, &at);
    if (c == CH_MACRO_END) {
      c = in_skipMarkers();
      continue;
    }
    if (c == 0) return false;
    if (gCurrentFrame != nullptr && in_isPlain(gCurrentFrame) && expand_plainText(&c, &at)) continue;
    if (store_unit(c, &at) == ARG_COMPLETE) return true;
    c = in_skipMarkers();
  }
}

static SourceChar skip_toArgument() {
  SourceChar c;
  while ((c = skip_ws()) == '\n') gLineStale = true;
  return c;
}

// Behind the `(`. A `)` right behind a comma ends the list without one more argument.
static void collect_arguments(const macro_def* macro, argument_list* list) {
  const std::uint32_t line = gLine;
  list->count = 0;
  for (;;) {
    const SourceChar c = skip_toArgument();
    if (c == ')') break;
    if (list->count == MACRO_PARAMS_MAX) {
      alert(151u);
      break;
    }
    list->start[list->count] = gMacroAreaFill;
    if (!collect_argument(c, macro)) {
      alert(116u, static_cast<int>(line));
      list->count = 0;
      return;
    }
    area_put(0);
    list->count++;
  }
  area_put(0);
}

static void check_count(const macro_def* macro, std::uint32_t count) {
  if (static_cast<std::int32_t>(count) == macro->nargs || cmode_has(CMODE_GCI) != 0) return;
  if (std::strcmp(macro_name(macro), "__interrupt") == 0) return;
  alert(171u, macro_name(macro), static_cast<int>(count), static_cast<int>(macro->nargs));
}

// --- Building the text ---

struct text_builder {
  const macro_def* macro;
  const argument_list* list;
  SourceChar* start;
  SourceChar* fill;
  bool full;  // the limit was reached and reported
};

static void put(text_builder* text, SourceChar c) {
  if (text->fill < text->start + EXPANSION_UNITS_MAX) {
    *text->fill++ = c;
    return;
  }
  if (text->full) return;
  text->full = true;
  alert(153u, macro_name(text->macro));
}

// The raw text of the argument that marker `c` stands for, or absent.
static const SourceChar* argument_of(const text_builder* text, SourceChar c) {
  const SourceChar n = c - CH_PARAM_BASE;
  return n < text->list->count ? gMacroArea + text->list->start[n] : nullptr;
}

static void put_string(text_builder* text, const SourceChar* argument) {
  put(text, '"');
  for (; argument != nullptr && *argument != 0; argument++) {
    if (*argument == '"' || *argument == '\\') put(text, '\\');
    put(text, *argument);
  }
  put(text, '"');
}

static void put_raw(text_builder* text, const SourceChar* argument) {
  for (; argument != nullptr && *argument != 0; argument++) put(text, *argument);
}

// `#`: returns the last unit of the body that it has used.
static const SourceChar* build_stringize(text_builder* text, const SourceChar* body) {
  const SourceChar operand = body[1];
  if (ch_isParam(operand)) {
    put_string(text, argument_of(text, operand));
    return body + 1;
  }
  alert(172u);
  put(text, '#');
  if (operand == 0) return body;
  put(text, operand);
  return body + 1;
}

// `##`: operands that are parameters stand there raw, and the right one is kept from expanding.
static const SourceChar* build_paste(text_builder* text, const SourceChar* body) {
  if (text->fill > text->start && ch_isParam(text->fill[-1])) {
    const SourceChar left = *--text->fill;
    put_raw(text, argument_of(text, left));
  }
  put(text, CH_PASTE);
  if (!ch_isParam(body[1])) return body;
  const SourceChar* right = argument_of(text, body[1]);
  if (right != nullptr && *right != CH_NO_EXPAND) put(text, CH_NO_EXPAND);
  put_raw(text, right);
  return body + 1;
}

// Copies the body, with the operands of its operators put in. Returns true if a marker was stored.
static bool build_text(text_builder* text) {
  bool used = false;
  for (const SourceChar* body = text->macro->body; *body != 0; body++) {
    if (*body == CH_STRINGIZE) {
      body = build_stringize(text, body);
    } else if (*body == CH_PASTE) {
      body = build_paste(text, body);
    } else {
      used = used || ch_isParam(*body);
      put(text, *body);
    }
  }
  *text->fill = 0;
  return used;
}

// Arguments lie one behind the other in gMacroArea; the frame gets one copy of them all.
static void attach_arguments(input_frame* frame, const macro_def* macro, const argument_list* list,
                             std::uint32_t area_start) {
  const std::uint32_t units = gMacroAreaFill - area_start;
  if (frame->arg_capacity <= units) {
    std::free(frame->arg_text);
    frame->arg_capacity = units < 256 ? 256 : units * 2;
    frame->arg_text = mem_array<SourceChar>(frame->arg_capacity);
  }
  SourceChar slashes = 0;
  for (std::uint32_t i = 0; i < units; i++) {
    const SourceChar unit = gMacroArea[area_start + i];
    frame->arg_text[i] = unit;
    slashes |= static_cast<SourceChar>(unit == '/');
  }
  frame->arg_text[units] = 0;  // in a full area the last argument has no end
  frame->args_have_slash = slashes != 0;
  const auto nargs = static_cast<std::uint32_t>(macro->nargs);
  for (std::uint32_t n = 0; n < nargs; n++) {
    frame->arg_table[n] = n < list->count ? frame->arg_text + (list->start[n] - area_start) : nullptr;
  }
  frame->args = frame->arg_table;
}

static void push_macroFrame(macro_def* macro, const argument_list* list, std::uint32_t area_start) {
  const bool in_place = (macro->traits & (BODY_HAS_OPERATORS | BODY_HAS_SLASH)) == 0 &&
                        macro->body_length <= EXPANSION_UNITS_MAX && macro->body != nullptr;
  input_frame* frame = in_pushFrame(in_place ? 0 : LINE_UNITS);
  frame->macro = macro;
  macro_hold(macro);
  bool used = (macro->traits & BODY_HAS_PARAMS) != 0;
  if (in_place) {
    frame->text_start = frame->text_pos = macro->body;
  } else if (macro->body != nullptr) {
    text_builder text = {macro, list, frame->buffer, frame->buffer, false};
    used = build_text(&text);
  }
  macro->disable++;
  if (list->count != 0 && used && macro->nargs > 0) attach_arguments(frame, macro, list, area_start);
}

// An internal check: no entry of another negative kind can be made.
static bool refuse_kind(const macro_def* macro) {
  alert(150u, macro_name(macro));
  return false;
}

static bool take_call(macro_def* macro) {
  const std::uint32_t area_start = gMacroAreaFill;
  argument_list list;
  list.count = 0;
  switch (macro->nargs) {
    case MACRO_LINE: push_lineNumber(); return true;
    case MACRO_FILE: push_fileName(); return true;
    case MACRO_OBJECT: break;
    default:
      if (macro->nargs < 0) return refuse_kind(macro);
      if (!find_open()) return false;
      collect_arguments(macro, &list);
      if (etrace_active()) etrace_arguments(list.count, list.start);
      check_count(macro, list.count);
      break;
  }
  push_macroFrame(macro, &list, area_start);
  gMacroAreaFill = area_start;
  return true;
}

bool macro_expand(macro_def* macro) {
  if (gReportHandle != nullptr) macro_traceEntry(macro);
  if (!enter_depth(macro)) return false;
  return etrace_active() ? etrace_call(macro, take_call) : take_call(macro);
}
