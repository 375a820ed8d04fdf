// What the rooms of whole calls share (wholecalls.h): the texts of a call, the walk over them, and their tokens.
//
// A walker goes over one text, the body of a call or an argument; `follow` of an argument's walker is where the body
// goes on. The walk that writes (wholecalls.cpp) does what the main loop does with a text's units, the one that
// collects (wholelist.cpp) what the collection of arguments does: names in an argument's own text are carried out at
// once, those of a body are stored.
//
// A name at the end of an argument is met when the argument's frame is gone: it is left in gWhole.named for the body's
// walker, and so may find its `(` there. A token at the end of a text looks at the unit behind, in whatever text that
// lies: gWhole.tail tells what it expects of it.
//
// The ledger of depth (depth.h) is not kept: a call of fewer than WHOLE_EXPANSIONS_MAX expansions can't reach the
// limit. What it leaves behind for the next call, pending_depth of the file's frame, is counted by the walker of the
// outermost text: see whole_noteUnits.
#ifndef PREPROCESSOR_WHOLETEXT_H
#define PREPROCESSOR_WHOLETEXT_H

#include <cstring>

#include "preprocessor/codedbody.h"
#include "preprocessor/depth.h"
#include "preprocessor/frames.h"

using text_byte = unsigned char;

constexpr std::uint32_t WHOLE_EXPANSIONS_MAX = MACRO_DEPTH_MAX - 50;
constexpr std::size_t WHOLE_STORE_BYTES = std::size_t{60} * 1024;  // of arguments in the making
constexpr std::size_t COPY_STEP = 16;  // bytes copied at a time, for which all texts have room
static_assert(WHOLE_STORE_BYTES < MACRO_AREA_UNITS && COPY_STEP <= CODED_SLACK);

// --- Bytes ---

enum byte_kind : text_byte {
  KIND_STOP,  // may have any effect
  KIND_END,
  KIND_NO_EXPAND,
  KIND_PASTE,
  KIND_PARAM,
  KIND_NEWLINE,  // in a file
  KIND_BLANK,
  KIND_LETTER,  // from here on: tokens
  KIND_DIGIT,
  KIND_DOT,
  KIND_QUOTE,
  KIND_SLASH,
  KIND_OPEN,  // from here on: signs
  KIND_CLOSE,
  KIND_COMMA,
  KIND_SIGN,
};

struct kind_table {
  byte_kind of[256];
};

constexpr byte_kind kind_of(unsigned char c) {
  switch (c) {
    case CODE_END: return KIND_END;
    case CODE_NO_EXPAND: return KIND_NO_EXPAND;
    case CODE_PASTE: return KIND_PASTE;
    case CODE_PARAM: return KIND_PARAM;
    case '\n': return KIND_NEWLINE;
    case ',': return KIND_COMMA;
    case CODE_STRING:
    case CODE_RAW:
    case CODE_RAW_RIGHT:
    case '\v':
    case '\f':
    case '\r': return KIND_STOP;
    default: break;
  }
  switch (char_classTable.of[c]) {
    case CC_LETTER: return KIND_LETTER;
    case CC_DIGIT: return KIND_DIGIT;
    case CC_DOT: return KIND_DOT;
    case CC_QUOTE: return KIND_QUOTE;
    case CC_SLASH: return KIND_SLASH;
    case CC_SPACE: return KIND_BLANK;
    case CC_BACKSLASH: return KIND_STOP;
    case CC_OPEN: return KIND_OPEN;
    case CC_CLOSE: return KIND_CLOSE;
    default: return KIND_SIGN;
  }
}

constexpr kind_table make_kinds() {
  kind_table table{};
  for (int c = 0; c < 256; c++) table.of[c] = kind_of(static_cast<unsigned char>(c));
  return table;
}
inline constexpr kind_table kKinds = make_kinds();

inline byte_kind kind_at(const text_byte* p) { return kKinds.of[*p]; }
inline bool is_sign(const text_byte* p) { return kind_at(p) >= KIND_OPEN; }
inline bool is_token(const text_byte* p) { return kind_at(p) >= KIND_LETTER; }
inline bool is_textEnd(const text_byte* p) {
  return *p == CODE_END || *p == CODE_PARAM;
}  // the next unit lies elsewhere
inline bool opens_comment(const text_byte* p) { return p[0] == '/' && (p[1] == '/' || p[1] == '*'); }

// --- Texts ---

struct whole_argument {
  const text_byte* text;
  std::uint32_t length;
  // What has come of it, as soon as `kept`:
  std::uint32_t out_length;
  const text_byte* out;
  std::uint32_t expansions;
  std::int32_t carried;
  text_byte tail;
  bool kept;
  bool spaces;
  bool expanded;
};

struct whole_text {
  macro_def* macro;
  const text_byte* text;
  std::uint32_t level;
  whole_argument args[MACRO_PARAMS_MAX];
};

struct walker {
  const text_byte* at;
  whole_text* of;
  const text_byte* follow;  // of an argument: the body's text behind it; absent in a body
  std::int32_t carried;     // as input_frame's
  bool outermost;           // its text lies on the file
};

// Arguments in the making, and in the end the list of them: argument n lies from start[n] to a CODE_END ahead of
// start[n + 1].
struct whole_list {
  const macro_def* macro;
  const walker* owner;  // the walker of the text that the call stands in; absent: the file
  std::uint32_t depth;  // of parentheses
  std::uint32_t count;
  bool begun;   // an argument is in the making
  bool spaces;  // white space ahead of the next unit
  bool done;    // at the `)`
  const text_byte* start[MACRO_PARAMS_MAX + 1];
};

// What the last token expects of the next unit: whether it has looked at it, and whether it could go on there.
enum tail_kind : text_byte {
  TAIL_NONE,
  TAIL_SIGN,    // looked at it
  TAIL_DOT,     // the same, and a digit would go on
  TAIL_NAME,    // a letter or digit would
  TAIL_NUMBER,  // they or a dot would, even behind the end of a macro's text
};

struct name_token {
  const text_byte* start;
  const text_byte* end;
  bool hidden;  // has a mark: no macro's
};

// The call in the making; set by whole_write.
struct whole_state {
  input_frame* frame;
  text_byte* out;
  text_byte* out_limit;
  text_byte* fill;  // in gWholeStore: arguments in the making
  text_byte* kept;  // in gWholeKept: built texts, pasted names, and arguments of calls that are collected themselves
  macro_def* named;
  name_token name;  // of `named`
  std::uint32_t expansions;
  std::uint32_t line;
  std::int32_t pending;
  text_byte tail;
  bool spaces;    // as text_state's
  bool expanded;  // likewise
};
extern whole_state gWhole;
extern text_byte gWholeStore[WHOLE_STORE_BYTES + 2 * COPY_STEP];
constexpr std::size_t WHOLE_KEPT_BYTES = 4 * WHOLE_STORE_BYTES;
extern text_byte gWholeKept[WHOLE_KEPT_BYTES + 2 * COPY_STEP];

inline bool kept_hasRoom(std::size_t bytes) {
  return static_cast<std::size_t>(gWholeKept + WHOLE_KEPT_BYTES - gWhole.kept) >= bytes;
}

// `length` bytes, in steps: may write, and read, up to COPY_STEP bytes more.
inline void copy_bytes(text_byte* to, const text_byte* from, std::size_t length) {
  for (std::size_t i = 0; i < length; i += COPY_STEP) std::memmove(to + i, from + i, COPY_STEP);
}

// All functions that give false or nothing where they could fail: the call is to be given up.

// The text of a call of `macro`, whose arguments are `list`; absent for an object-like one.
bool whole_beginText(whole_text* text, macro_def* macro, const whole_list* list, std::uint32_t level);

// Counts one more expansion.
inline bool whole_count() { return ++gWhole.expansions < WHOLE_EXPANSIONS_MAX; }

// The digits of __LINE__, or __FILE__'s name in quotes, 0-terminated.
const text_byte* whole_dynamicText(const macro_def* macro, std::size_t* length);

// `units` units of the text were read, one after the other: books what had ended on it, as depth_unitRead does. The
// outermost text alone stands on the file's frame.
inline void whole_noteUnits(walker* w, std::size_t units) {
  if (gWhole.tail != TAIL_NONE) units++;
  gWhole.tail = TAIL_NONE;
  if (w->outermost) gWhole.pending = units == 1 && w->carried != 0 ? gWhole.pending + w->carried : 0;
  w->carried = 0;
}

// --- Tokens ---

// The name at `p`; `start` is absent if it is too long to be taken whole.
name_token whole_name(const text_byte* p);

inline macro_def* find_macro(const name_token* name) {
  return name->hidden ? nullptr : macro_find(name->start, static_cast<std::uint32_t>(name->end - name->start));
}

// The end of the literal at `p`, absent if the text ends in it.
const text_byte* whole_endOfLiteral(const text_byte* p);

// The end of the number at `p`; `open` if a sign could go on with it. A dot there has a digit behind it.
const text_byte* whole_endOfNumber(const text_byte* p, bool* open);

// Does the slash at `p` open no comment?
inline bool is_loneSlash(const walker* w, const text_byte* p) {
  if (p[1] != CODE_END) return !opens_comment(p) && kind_at(p + 1) != KIND_STOP;
  return w->follow == nullptr || (*w->follow != '/' && *w->follow != '*');
}

// May the name, just read and looked behind, be expanded there? As scan_isVisible, with an argument's frame gone if the
// name ends it.
inline bool is_visible(const walker* w, const macro_def* macro, bool at_end) {
  if (w->follow == nullptr) return macro->disable == 0;
  const bool own = macro == w->of->macro;
  return at_end ? macro->disable == 0 && !own : macro->disable == 0 || own;
}

// What follows the name of a function-like macro, as find_open sees it; of a call, takes the `(`.
enum call_form { CALL_UNKNOWN, CALL_NONE, CALL_OPEN };
call_form whole_takeOpen(walker* w);

// `name`, directly ahead of a CODE_PASTE, becomes one with the name behind it; more of them likewise.
bool whole_paste(walker* w, name_token* name);

#endif
