// Text lines, on two roads.
//
// The ordinary road, text_writeLine, takes one token after the other with get() and the scanners, which
// say what every unit means. Most units of most lines mean themselves: the fast road, text_run, takes
// tokens at the read position as long as neither the token nor the look-ahead that its scanner would do
// can have an effect of its own: no comment, backslash or trigraph. It expands names, opens arguments
// and ends frames on the way. What it leaves is left at the start of a token, for the ordinary road, with
// every bit of state as that road would have it.
#include "preprocessor/textlines.h"

#include <cstring>

#include "preprocessor/cpp6.h"
#include "preprocessor/expand.h"
#include "preprocessor/output.h"
#include "preprocessor/roads.h"

// A token is written without a test for room: a longer one takes the ordinary road.
constexpr std::uint32_t RUN_TOKEN_MAX = LINE_UNITS;
static_assert(RUN_TOKEN_MAX * 2 < OUT_BUFFER_BYTES);

template <class Unit>
static bool is_plain(Unit c) {
  return char_isByte(c) && !gReadSpecial.has[c];
}

// A slash that opens no comment, whatever the next unit turns out to be.
template <class Unit>
static bool is_loneSlash(const Unit* p) {
  return *p == '/' && is_plain(p[1]) && p[1] != '*';
}

// --- Tokens: each returns the end of the token at `p`, or nullptr for the ordinary road ---

static bool is_suffix(SourceChar c) { return char_upper(c) == 'U' || char_upper(c) == 'L'; }

template <class Unit>
static Unit* end_ofSuffix(Unit* p) {
  bool seen_u = false;
  bool seen_l = false;
  for (;; p++) {
    const SourceChar c = char_upper(*p);
    bool* seen = c == 'U' ? &seen_u : c == 'L' ? &seen_l : nullptr;
    if (seen == nullptr || *seen) return p;
    *seen = true;
  }
}

template <class Unit>
static Unit* end_ofNumber(Unit* p) {
  if (p[0] == '0' && char_upper(p[1]) == 'X') {
    p += 2;
    while (char_isDigit(*p) || char_upper(*p) - 'A' < 6) p++;
    return end_ofSuffix(p);
  }
  const bool leading_zero = *p == '0';
  while (char_isDigit(*p)) p++;
  const SourceChar c = char_upper(*p);
  if (c == '.' || c == 'E' || (leading_zero && c == 'B')) return nullptr;
  return end_ofSuffix(p);
}

template <class Unit>
static Unit* end_ofString(Unit* p) {
  const Unit quote = *p++;
  while (*p != quote) {
    if (!char_isByte(*p) || *p == 0 || *p == '\n' || (*p == '?' && p[1] == '?')) return nullptr;
    if (*p == '\\') {
      p++;
      if (!char_isByte(*p) || *p == 0 || *p == '\n' || *p == '?') return nullptr;
    }
    p++;
  }
  return p + 1;
}

// --- What follows the end of a text, without reading it ---

enum run_kind {
  TOKEN_NAME,
  TOKEN_NUMBER,    // without a suffix: runs on across the end of a macro's text
  TOKEN_SUFFIXED,  // a number that can only end
  TOKEN_DOT,
  TOKEN_OTHER,  // operators, other signs, literals
};

template <class Unit>
static bool is_quietUnit(const Unit* p, run_kind kind) {
  if (!is_plain(*p) && !is_loneSlash(p)) return false;
  if (kind == TOKEN_OTHER) return true;
  if (kind == TOKEN_DOT) return !char_isDigit(*p);
  return !char_isWord(*p) && (kind != TOKEN_NUMBER || *p != '.');
}

// The look-ahead of a token that ends with the text of `frame`: a plain frame gives way to the text
// below; a macro frame gives its mark, which only a number without a suffix runs across.
static bool is_quietBelow(const input_frame* frame, run_kind kind) {
  while (frame->macro == nullptr || kind == TOKEN_NUMBER) {
    frame = frame->parent;
    if (frame == nullptr || frame->at_end) return false;
    if (in_isFile(frame)) return is_quietUnit(frame->file_pos, kind);
    if (*frame->text_pos != 0) return is_quietUnit(frame->text_pos, kind);
  }
  return true;
}

// --- Tokens ---

template <class Unit>
struct plain_token {
  Unit* end;             // absent: the ordinary road
  std::uint32_t length;  // units to write; a name is cut
  run_kind kind;
  bool looks_ahead;
};

template <class Unit>
static Unit* end_ofWord(Unit* p) {
  while (char_isWord(*p)) p++;
  return p;
}

template <class Unit>
static plain_token<Unit> measure(Unit* p) {
  plain_token<Unit> token = {p + 1, 1, TOKEN_OTHER, true};
  const int code = char_class(*p);
  switch (code) {
    case CC_LETTER:
      token.end = end_ofWord(p + 1);
      token.kind = TOKEN_NAME;
      break;
    case CC_DIGIT:
      token.end = end_ofNumber(p);
      token.kind = token.end != nullptr && is_suffix(token.end[-1]) ? TOKEN_SUFFIXED : TOKEN_NUMBER;
      break;
    case CC_DOT:
      if (char_isDigit(p[1])) token.end = nullptr;
      token.kind = TOKEN_DOT;
      break;
    case CC_QUOTE:
      token.end = end_ofString(p);
      token.looks_ahead = false;
      break;
    default: token.looks_ahead = char_canCatenate(code); break;
  }
  if (token.end == nullptr) return token;
  token.length = static_cast<std::uint32_t>(token.end - p);
  if (token.kind == TOKEN_NAME && token.length > gIdentifierMax) token.length = gIdentifierMax;
  return token;
}

// May the token be taken here, look-ahead and all?
template <class Unit>
static bool is_quiet(const input_frame* frame, const plain_token<Unit>* token) {
  if (token->length > RUN_TOKEN_MAX) return false;
  if (!token->looks_ahead) return true;
  const Unit* next = token->end;
  if (*next == 0 && !in_isFile(frame)) return is_quietBelow(frame, token->kind);
  return is_plain(*next) || *next == '\n' || is_loneSlash(next);
}

// May a token begin at `*p`?
template <class Unit>
static bool begins_token(const Unit* p, bool in_file) {
  if (is_plain(*p)) return true;
  if (*p == '/') return is_loneSlash(p);
  if (*p == '?') return !(in_file && p[1] == '?');
  return *p == CH_NO_EXPAND && char_isWord(p[1]);
}

// --- Names ---

static const unsigned char* name_bytes(const unsigned char* name, std::uint32_t, unsigned char*) { return name; }

static const unsigned char* name_bytes(const SourceChar* name, std::uint32_t length, unsigned char* bytes) {
  for (std::uint32_t i = 0; i < length; i++) bytes[i] = static_cast<unsigned char>(name[i]);
  std::memset(bytes + length, 0, sizeof(std::uint64_t));
  return bytes;
}

// The macro of that name, hidden or not. A name that begins with CH_NO_EXPAND is no macro's.
template <class Unit>
static macro_def* find_macro(const Unit* name, std::uint32_t length) {
  unsigned char bytes[IDENTIFIER_MAX + sizeof(std::uint64_t)];
  if (*name == CH_NO_EXPAND) return nullptr;
  return macro_find(name_bytes(name, length, bytes), length);
}

static void write_blank(text_state* state) {
  if (state->spaces) out_byte(' ');
  state->spaces = state->expanded = false;
}

void text_expandName(macro_def* macro, text_state* state) {
  write_blank(state);
  if (macro_expand(macro)) {
    state->expanded = true;
    return;
  }
  sc_fromNarrow(gToken, macro_name(macro));
  gTokenLength = macro->name_length;
  if (!scan_catenate(gToken[0])) out_name(gToken);
}

// --- The run ---

enum run_end {
  RUN_ORDINARY,  // the ordinary road has the next token
  RUN_FRAME,     // another frame is current
};

static void copy_units(unsigned char* to, const SourceChar* from, std::uint32_t length) {
  for (std::uint32_t i = 0; i < length; i++) to[i] = static_cast<unsigned char>(from[i]);
}

// Most tokens are short: one copy of fixed length, for which both sides have room.
static void copy_units(unsigned char* to, const unsigned char* from, std::uint32_t length) {
  constexpr std::uint32_t SHORT_TOKEN = 16;
  static_assert(SHORT_TOKEN <= SOURCE_SLACK && SHORT_TOKEN < RUN_TOKEN_MAX);
  std::memcpy(to, from, SHORT_TOKEN);
  if (length > SHORT_TOKEN) std::memcpy(to + SHORT_TOKEN, from + SHORT_TOKEN, length - SHORT_TOKEN);
}

template <class Unit>
static void write_units(const Unit* from, std::uint32_t length, text_state* state) {
  out_reserve(RUN_TOKEN_MAX + 1);
  if (state->spaces) *gOutPos++ = ' ';
  state->spaces = state->expanded = false;
  copy_units(gOutPos, from, length);
  gOutPos += length;
}

template <class Unit>
static Unit* pass_spaces(input_frame* frame, Unit* p, text_state* state) {
  for (; char_class(*p) == CC_SPACE; p++) {
    depth_settle(frame, 1);
    if (*p == CH_PASTE) {
      state->expanded = false;
    } else if (state->expanded) {
      write_units(p, 1, state);
    } else {
      state->spaces = true;
    }
  }
  return p;
}

// Takes tokens from `*pos` on, which is the read position of `frame`.
template <class Unit>
static run_end run(input_frame* frame, Unit** pos, text_state* state) {
  const bool in_file = in_isFile(frame);
  for (;;) {
    Unit* p = *pos = pass_spaces(frame, *pos, state);
    if (!begins_token(p, in_file)) return RUN_ORDINARY;
    const plain_token<Unit> token = measure(p);
    if (token.end == nullptr || !is_quiet(frame, &token)) return RUN_ORDINARY;
    if (in_file) depth_reset();
    macro_def* macro = token.kind == TOKEN_NAME ? find_macro(p, token.length) : nullptr;
    const bool at_end = token.looks_ahead && *token.end == 0 && !in_file;
    *pos = token.end;
    depth_settle(frame, static_cast<std::int32_t>(token.end - p) + (token.looks_ahead && !at_end ? 1 : 0));
    if (macro == nullptr) write_units(p + (*p == CH_NO_EXPAND), token.length - (*p == CH_NO_EXPAND), state);
    // A macro's name is looked behind twice: for its end, and for a paste.
    if (at_end) in_lookBelow(token.kind == TOKEN_NUMBER, macro != nullptr ? 2 : 1);
    if (macro != nullptr) {
      if (scan_isVisible(macro)) {
        text_expandName(macro, state);
        return RUN_FRAME;
      }
      write_units(p, token.length, state);
    }
    if (gCurrentFrame != frame) return RUN_FRAME;
  }
}

// At what is no token in a text frame: markers of parameters, and its end.
static run_end pass_marker(input_frame* frame, text_state* state) {
  const SourceChar c = *frame->text_pos;
  if (ch_isParam(c)) {
    frame->text_pos++;
    in_pushArgument(c - CH_PARAM_BASE);
    return RUN_FRAME;
  }
  if (c != 0) return RUN_ORDINARY;
  if (frame->macro != nullptr && !frame->at_end) {
    write_blank(state);
    depth_markDelivered(frame);
  }
  in_endText();
  return RUN_FRAME;
}

static run_end run_text(input_frame* frame, text_state* state) {
  const run_end end = frame->at_end ? RUN_ORDINARY : run(frame, &frame->text_pos, state);
  return end == RUN_ORDINARY && gCurrentFrame == frame ? pass_marker(frame, state) : end;
}

bool text_runAbove(std::uint64_t serial, text_state* state) {
  while (gCurrentFrame != nullptr && !in_isFile(gCurrentFrame)) {
    if (run_text(gCurrentFrame, state) == RUN_ORDINARY) return false;
  }
  return gCurrentFrame != nullptr && gCurrentFrame->serial == serial;
}

// Writes what it can of a text line. True: the line is complete, its newline written.
static bool text_run(text_state* state) {
  for (;;) {
    input_frame* frame = gCurrentFrame;
    if (frame == nullptr || gInAsm) return false;
    if (!in_isFile(frame)) {
      if (run_text(frame, state) == RUN_ORDINARY) return false;
      continue;
    }
    if (run(frame, &frame->file_pos, state) == RUN_FRAME) continue;
    if (*frame->file_pos != '\n') return false;
    depth_settle(frame, 1);
    frame->file_pos++;
    gLine++;
    out_byte('\n');
    return true;
  }
}

// --- The ordinary road ---

static void write_token(SourceChar c) {
  switch (char_class(c)) {
    case CC_DIGIT:
    case CC_DOT: scan_number(c, out_char); break;
    case CC_LETTER: out_name(gToken); break;
    case CC_QUOTE: scan_string(c, out_char); break;
    default: out_char(c); break;
  }
}

void text_writeLine(text_state state) {
  for (;;) {
    if (roads_open() && text_run(&state)) return;
    SourceChar c = get();
    const bool expanded = state.expanded;
    state.expanded = false;
    for (; char_class(c) == CC_SPACE && !expanded; c = get()) state.spaces = state.spaces || c != CH_PASTE;
    if (c != 0 && c != '\n') {
      if (state.spaces) out_byte(' ');
      state.spaces = false;
      c = expanded ? scan_expandFurther(c) : scan_expandName(c);
      if (char_canCatenate(char_class(c)) && scan_catenate(c)) continue;
    }
    if (c == 0) return;
    if (c == '\n') break;
    write_token(c);
  }
  out_byte('\n');
  if (gCurrentFrame != nullptr && !in_isFile(gCurrentFrame)) gLineStale = true;
}
