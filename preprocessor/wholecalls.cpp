// Whole calls.
//
// A walker goes over one text, the body of a call or an argument; `follow` of an argument's walker is where the body
// goes on. The walk that writes (write_…) does what the main loop does with a text's units, the one that collects
// (collect_…) what the collection of arguments does: names in an argument's own text are carried out at once, those of
// a body are stored.
//
// A name at the end of an argument is met when the argument's frame is gone: it is left in gWhole.named for the body's
// walker, and so may find its `(` there. A token at the end of a text looks at the unit behind, in whatever text that
// lies: gWhole.tail tells what to expect of it.
//
// The ledger of depth (depth.h) is not kept: a call of fewer than EXPANSIONS_MAX expansions can't reach the limit. What
// it leaves behind for the next call, pending_depth of the file's frame, is counted by the walker of the outermost
// text: see note_units.
#include "preprocessor/wholecalls.h"

#include <cstdio>
#include <cstring>

#include "preprocessor/codedbody.h"
#include "preprocessor/depth.h"
#include "preprocessor/expand.h"
#include "preprocessor/finished.h"
#include "preprocessor/grammar.h"
#include "preprocessor/output.h"

using byte = unsigned char;

constexpr std::uint32_t EXPANSIONS_MAX = MACRO_DEPTH_MAX - 50;
constexpr std::uint32_t NESTING_MAX = 200;        // of calls within calls
constexpr std::uint32_t BUILT_MAX = 8 * 1024;     // bytes of a built text; ordinarily EXPANSION_UNITS_MAX
constexpr std::uint32_t STORE_BYTES = 60 * 1024;  // of arguments in the making; ordinarily MACRO_AREA_UNITS
constexpr std::uint32_t COPY_STEP = 16;           // bytes copied at a time, for which all texts have room
static_assert(BUILT_MAX < EXPANSION_UNITS_MAX && STORE_BYTES < MACRO_AREA_UNITS && COPY_STEP <= CODED_SLACK);

// --- Bytes ---

enum byte_kind : byte {
  KIND_STOP,  // may have any effect
  KIND_END,
  KIND_NO_EXPAND,
  KIND_PASTE,
  KIND_PARAM,
  KIND_LETTER,
  KIND_DIGIT,
  KIND_DOT,
  KIND_QUOTE,
  KIND_SLASH,
  KIND_BLANK,
  KIND_NEWLINE,  // in a file
  KIND_OPEN,
  KIND_CLOSE,
  KIND_COMMA,
  KIND_SIGN,
};

struct kind_table {
  byte_kind of[256];
};

constexpr byte_kind kind_of(int c) {
  switch (c) {
    case CODE_END: return KIND_END;
    case CODE_NO_EXPAND: return KIND_NO_EXPAND;
    case CODE_PASTE: return KIND_PASTE;
    case CODE_PARAM: return KIND_PARAM;
    case '\n': return KIND_NEWLINE;
    case ',': return KIND_COMMA;
    default: break;
  }
  if (c < CODES || c == '\v' || c == '\f' || c == '\r') return KIND_STOP;
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
  for (int c = 0; c < 256; c++) table.of[c] = kind_of(c);
  return table;
}
static constexpr kind_table kKinds = make_kinds();

static byte_kind kind_at(const byte* p) { return kKinds.of[*p]; }
static bool is_sign(const byte* p) { return kind_at(p) >= KIND_OPEN; }
static bool is_textEnd(const byte* p) { return *p == CODE_END || *p == CODE_PARAM; }  // the next unit lies elsewhere

static bool opens_comment(const byte* p) { return p[0] == '/' && (p[1] == '/' || p[1] == '*'); }

// --- State ---

struct whole_argument {
  const byte* text;
  // What has come of it, as soon as `kept`:
  const byte* out;
  std::uint32_t out_length;
  std::uint32_t expansions;
  std::int32_t carried;
  byte tail;
  bool kept;
  bool spaces;
  bool expanded;
};

struct whole_text {
  macro_def* macro;
  const byte* text;
  std::uint32_t level;
  whole_argument args[MACRO_PARAMS_MAX];
};

struct walker {
  const byte* at;
  whole_text* of;
  const byte* follow;    // of an argument: the body's text behind it; absent in a body
  std::int32_t carried;  // as input_frame's
};

// What the last token expects of the next unit: whether it has looked at it, and whether it could go on there.
enum tail_kind : byte {
  TAIL_NONE,
  TAIL_SIGN,    // looked at it
  TAIL_DOT,     // the same, and a digit would go on
  TAIL_NAME,    // a letter or digit would
  TAIL_NUMBER,  // they or a dot would, even behind the end of a macro's text
};

struct pending_name {
  macro_def* macro;
  const byte* start;
  const byte* end;
};

static struct {
  input_frame* frame;
  byte* out;
  byte* out_limit;
  byte* fill;  // in gStore: arguments in the making
  byte* kept;  // in gKept: built texts, and arguments of calls that are collected themselves
  pending_name named;
  std::uint32_t expansions;
  std::uint32_t line;
  std::int32_t pending;
  byte tail;
  bool spaces;    // as text_state's
  bool expanded;  // likewise
} gWhole;

static byte gStore[STORE_BYTES + 2 * COPY_STEP];
static byte gKept[4 * STORE_BYTES];
static byte* const kKeptLimit = gKept + sizeof gKept - 2 * COPY_STEP;

// Could the last token go on with the token at `p`?
static bool goes_on(const byte* p) {
  switch (kind_at(p)) {
    case KIND_LETTER:
    case KIND_NO_EXPAND: return gWhole.tail >= TAIL_NAME;
    case KIND_DIGIT: return gWhole.tail >= TAIL_DOT;
    case KIND_DOT: return gWhole.tail == TAIL_NUMBER;
    default: return false;
  }
}

// `units` units of the text were read, one after the other: books what had ended on it, as depth_unitRead does. The
// outermost text alone stands on the file's frame.
static void note_units(walker* w, std::int32_t units) {
  if (gWhole.tail != TAIL_NONE) units++;
  gWhole.tail = TAIL_NONE;
  if (w->of->level == 1 && w->follow == nullptr) {
    gWhole.pending = units == 1 && w->carried != 0 ? gWhole.pending + w->carried : 0;
  }
  w->carried = 0;
}

// --- Output ---

static void copy_bytes(byte* to, const byte* from, std::size_t length) {
  for (std::size_t i = 0; i < length; i += COPY_STEP) std::memmove(to + i, from + i, COPY_STEP);
}

static bool has_room(std::size_t length) {
  return static_cast<std::size_t>(gWhole.out_limit - gWhole.out) >= length + 2;
}

static void write_blank() {
  if (gWhole.spaces) *gWhole.out++ = ' ';
  gWhole.spaces = gWhole.expanded = false;
}

static bool write_bytes(const byte* from, std::size_t length) {
  if (!has_room(length)) return false;
  write_blank();
  copy_bytes(gWhole.out, from, length);
  gWhole.out += length;
  return true;
}

// A name, without its marks.
static bool write_word(const byte* from, const byte* end, bool hidden) {
  if (!hidden) return write_bytes(from, static_cast<std::size_t>(end - from));
  if (!has_room(static_cast<std::size_t>(end - from))) return false;
  write_blank();
  for (; from < end; from++) {
    if (*from != CODE_NO_EXPAND) *gWhole.out++ = *from;
  }
  return true;
}

// --- Tokens ---

struct name_token {
  const byte* start;
  const byte* end;
  bool hidden;  // has a mark: no macro's
};

// The name at `p`, absent if it is too long to be taken whole.
static name_token scan_name(const byte* p) {
  name_token name = {p, p, false};
  for (;;) {
    while (kWordBytes.has[*name.end]) name.end++;
    if (*name.end != CODE_NO_EXPAND) break;
    name.hidden = true;
    name.end++;
  }
  const bool whole = static_cast<std::uint32_t>(name.end - p) <= gIdentifierMax && name.end[-1] != CODE_NO_EXPAND;
  if (!whole) name.start = nullptr;
  return name;
}

static macro_def* find_macro(const name_token* name) {
  return name->hidden ? nullptr : macro_find(name->start, static_cast<std::uint32_t>(name->end - name->start));
}

// The end of the literal at `p`, absent if the text ends in it.
static const byte* end_ofLiteral(const byte* p) {
  const byte quote = *p++;
  for (; *p != quote; p++) {
    if (*p == '\\') p++;
    if (*p < CODES) return nullptr;
  }
  return p + 1;
}

static const byte* end_ofNumber(const byte* p, number_state* state) {
  if (*p == '.') {
    *state = number_beginDot();
    p += 2;
  } else if (*p == '0') {
    *state = number_begin(number_radixBehindZero(p[1]));
    p += state->radix != 8 ? 2 : 1;
  } else {
    *state = number_begin(10);
    p++;
  }
  while (number_accepts(state, *p)) p++;
  return p;
}

// May the name, just read and looked behind, be expanded there? As scan_isVisible, with an argument's frame gone if it
// ends there.
static bool is_visible(const walker* w, const macro_def* macro, bool at_end) {
  if (w->follow == nullptr) return macro->disable == 0;
  const bool own = macro == w->of->macro;
  return at_end ? macro->disable == 0 && !own : macro->disable == 0 || own;
}

// What follows the name of a function-like macro, as find_open sees it.
enum call_form { CALL_UNKNOWN, CALL_NONE, CALL_OPEN };

static call_form form_ofCall(const byte** at) {
  const byte* p = *at;
  if (*p == ' ') p++;
  if (*p == '(') {
    *at = p + 1;
    return CALL_OPEN;
  }
  const byte_kind kind = kind_at(p);
  const bool usual = p == *at && kind >= KIND_LETTER && kind != KIND_BLANK && kind != KIND_NEWLINE;
  return usual ? CALL_NONE : CALL_UNKNOWN;
}

// A paste: `name`, directly ahead of CODE_PASTE, and the name behind it, which become one; more of them likewise.
static bool paste_names(walker* w, name_token* name) {
  byte* start = gWhole.kept;
  byte* to = start;
  const byte* p = name->start;
  while (*p == CODE_NO_EXPAND) p++;
  if (name->end - p > IDENTIFIER_MAX || gWhole.kept + 2 * IDENTIFIER_MAX > kKeptLimit || char_isDigit(*p)) return false;
  for (; p < name->end; p++) {
    if (*p == CODE_NO_EXPAND) return false;
    *to++ = *p;
  }
  p = name->end;
  while (*p == CODE_PASTE) {
    p++;
    while (*p == CODE_NO_EXPAND) p++;
    const byte* right = p;
    while (kWordBytes.has[*p]) p++;
    if (p == right || *p == CODE_PARAM || *p == CODE_NO_EXPAND) return false;
    if (static_cast<std::size_t>(to - start) + static_cast<std::size_t>(p - right) > gIdentifierMax) return false;
    copy_bytes(to, right, static_cast<std::size_t>(p - right));
    to += p - right;
  }
  *name = {start, to, false};
  gWhole.kept = to + CODED_SLACK;
  w->at = p;
  note_units(w, 2);
  w->carried = 1;  // the text of the pasted name has ended
  if (is_textEnd(p)) {
    gWhole.tail = TAIL_NAME;
  } else {
    note_units(w, 2);  // looked at for the name's end, and for a paste
  }
  return true;
}

// --- Arguments in the making ---

struct whole_list {
  const macro_def* macro;
  const walker* owner;  // the walker of the text that the call stands in; absent: the file
  std::uint32_t depth;  // of parentheses
  std::uint32_t count;
  bool begun;   // an argument is in the making
  bool spaces;  // white space ahead of the next unit
  bool done;    // at the `)`
  const byte* start[MACRO_PARAMS_MAX];
};

static bool store_has(std::size_t length) {
  return static_cast<std::size_t>(gStore + STORE_BYTES - gWhole.fill) >= length + 3;
}

// Ahead of a unit of an argument that is no white space.
static bool begin_unit(whole_list* at) {
  if (at->begun) return true;
  if (at->count == MACRO_PARAMS_MAX) return false;
  at->start[at->count] = gWhole.fill;
  at->begun = true;
  at->spaces = false;
  return true;
}

static bool store_bytes(whole_list* at, const byte* from, std::size_t length) {
  if (!begin_unit(at) || !store_has(length)) return false;
  if (at->spaces) *gWhole.fill++ = ' ';
  at->spaces = false;
  copy_bytes(gWhole.fill, from, length);
  gWhole.fill += length;
  return true;
}

static bool end_argument(whole_list* at) {
  if (!begin_unit(at) || !store_has(1)) return false;
  *gWhole.fill++ = CODE_END;
  at->count++;
  at->begun = false;
  return true;
}

// A parenthesis or comma at `p` in the text of `w`.
static bool store_separator(whole_list* at, const byte* p, const walker* w) {
  if (at->depth == 0) {
    if (*p == ',') return end_argument(at);
    if (*p == ')') {
      at->done = true;
      return w == at->owner && (!at->begun || end_argument(at));
    }
  }
  if (*p == '(') at->depth++;
  if (*p == ')') at->depth--;
  return store_bytes(at, p, 1);
}

// An identifier that is no call; `macro` is what has its name.
static bool store_name(whole_list* at, const name_token* name, const macro_def* macro) {
  static constexpr byte kMark[COPY_STEP] = {CODE_NO_EXPAND};
  if (macro == at->macro && !name->hidden && !store_bytes(at, kMark, 1)) return false;
  return store_bytes(at, name->start, static_cast<std::size_t>(name->end - name->start));
}

// --- The text of a call ---

static bool build_put(const byte* from, std::size_t length, const byte* start) {
  if (static_cast<std::size_t>(gWhole.kept - start) + length > BUILT_MAX) return false;
  copy_bytes(gWhole.kept, from, length);
  gWhole.kept += length;
  return true;
}

static bool build_string(const byte* argument, const byte* start) {
  if (static_cast<std::size_t>(gWhole.kept - start) + 2 * std::strlen(reinterpret_cast<const char*>(argument)) >
      BUILT_MAX)
    return false;
  *gWhole.kept++ = '"';
  for (; *argument != CODE_END; argument++) {
    if (*argument < CODES) return false;
    if (*argument == '"' || *argument == '\\') *gWhole.kept++ = '\\';
    *gWhole.kept++ = *argument;
  }
  *gWhole.kept++ = '"';
  return true;
}

// The body with the operands of its operators put in; absent: given up.
static const byte* build_text(const coded_body* body, const whole_argument* args) {
  static constexpr byte kMark[COPY_STEP] = {CODE_NO_EXPAND};
  byte* start = gWhole.kept;
  if (kKeptLimit - start < 2 * static_cast<std::ptrdiff_t>(BUILT_MAX)) return nullptr;
  const byte* p = coded_text(body);
  for (;;) {
    const byte* from = p;
    while (*p >= CODES || *p == CODE_PASTE || *p == CODE_NO_EXPAND) p++;
    if (!build_put(from, static_cast<std::size_t>(p - from), start)) return nullptr;
    if (*p == CODE_END) break;
    const body_code code = static_cast<body_code>(*p);
    const byte* argument = args[p[1]].text;
    if (code == CODE_PARAM) {
      if (!build_put(p, 2, start)) return nullptr;
    } else if (code == CODE_STRING) {
      if (!build_string(argument, start)) return nullptr;
    } else {
      if (code == CODE_RAW_RIGHT && *argument != CODE_NO_EXPAND && !build_put(kMark, 1, start)) return nullptr;
      if (!build_put(argument, std::strlen(reinterpret_cast<const char*>(argument)), start)) return nullptr;
    }
    p += 2;
  }
  std::memset(gWhole.kept, 0, CODED_SLACK);
  gWhole.kept += CODED_SLACK;
  return start;
}

// The frame of a call of `macro`, its arguments collected. Nothing but `text` is left to do.
static bool begin_text(whole_text* text, macro_def* macro, const whole_list* list, std::uint32_t level) {
  const coded_body* body = coded_of(macro);
  if (body == nullptr || macro->body_length > EXPANSION_UNITS_MAX || level > NESTING_MAX) return false;
  const std::uint32_t count = list != nullptr ? list->count : 0;
  if (list != nullptr && static_cast<std::int32_t>(count) != macro->nargs) return false;
  text->macro = macro;
  text->level = level;
  for (std::uint32_t n = 0; n < count; n++) {
    text->args[n].text = list->start[n];
    text->args[n].kept = false;
  }
  text->text = body->builds ? build_text(body, text->args) : coded_text(body);
  return text->text != nullptr;
}

static bool count_expansion() { return ++gWhole.expansions < EXPANSIONS_MAX; }

// The digits of __LINE__, or __FILE__'s name in quotes; absent: given up. Behind the digits a number may go on.
static const byte* dynamic_text(const macro_def* macro, std::size_t* length) {
  byte* start = gWhole.kept;
  if (kKeptLimit - start < 2 * static_cast<std::ptrdiff_t>(FILE_NAME_MAX)) return nullptr;
  gVolatileTexts++;
  byte* to = start;
  if (macro->nargs == MACRO_LINE) {
    *length = static_cast<std::size_t>(
        std::snprintf(reinterpret_cast<char*>(start), COPY_STEP, "%d", static_cast<int>(gWhole.line)));
  } else {
    *to++ = '"';
    for (const SourceChar* p = in_shownName(gWhole.frame); *p != 0; p++) {
      if (!char_isByte(*p) || *p < ' ' || *p == '"' || *p == '\\' ||
          to - start > static_cast<std::ptrdiff_t>(FILE_NAME_MAX))
        return nullptr;
      *to++ = static_cast<byte>(*p);
    }
    *to++ = '"';
    *length = static_cast<std::size_t>(to - start);
  }
  gWhole.kept = start + *length + COPY_STEP;
  return start;
}

// --- Collecting ---

static bool collect(walker* w, whole_list* at);
static bool collect_call(walker* w, macro_def* macro, const name_token* name, whole_list* at);

// A name in an argument's text, whose calls are carried out while it is collected.
static bool collect_name(walker* w, whole_list* at) {
  const name_token name = scan_name(w->at);
  if (name.start == nullptr || !begin_unit(at)) return false;
  w->at = name.end;
  macro_def* macro = find_macro(&name);
  const bool at_end = *name.end == CODE_END;
  if (macro == nullptr || !is_visible(w, macro, at_end)) return store_name(at, &name, macro);
  if (!at_end) return collect_call(w, macro, &name, at);
  gWhole.named = {macro, name.start, name.end};
  return true;
}

static bool collect_argument(walker* w, whole_list* at) {
  whole_text* of = w->of;
  const byte* text = of->args[w->at[1]].text;
  w->at += 2;
  if (*text == CODE_END) return true;
  walker argument = {text, of, w->at, 0};
  of->macro->disable--;
  const bool done = collect(&argument, at);
  of->macro->disable++;
  if (!done || gWhole.named.macro == nullptr) return done;
  macro_def* macro = gWhole.named.macro;
  const name_token name = {gWhole.named.start, gWhole.named.end, false};
  gWhole.named.macro = nullptr;
  return collect_call(w, macro, &name, at);
}

// What a call brings up first is looked at as the call itself was, even in a body.
static bool collect_first(walker* w, whole_list* at) {
  while (*w->at == CODE_PARAM && *w->of->args[w->at[1]].text == CODE_END) w->at += 2;
  switch (kind_at(w->at)) {
    case KIND_END: at->spaces = false; return true;
    case KIND_PARAM: return true;
    case KIND_LETTER:
    case KIND_NO_EXPAND: break;
    default: return kind_at(w->at) >= KIND_DIGIT && kind_at(w->at) != KIND_BLANK && w->at[1] != CODE_PASTE;
  }
  name_token name = scan_name(w->at);
  if (name.start == nullptr) return false;
  w->at = name.end;
  if (*w->at == CODE_PASTE && !paste_names(w, &name)) return false;
  if (*w->at == CODE_PARAM) return false;
  macro_def* macro = find_macro(&name);
  if (macro == nullptr || macro->disable != 0) return store_name(at, &name, macro);
  return collect_call(w, macro, &name, at);
}

static bool collect_text(macro_def* macro, const whole_list* list, whole_list* at, std::uint32_t level) {
  whole_text text;
  if (!begin_text(&text, macro, list, level)) return false;
  walker w = {text.text, &text, nullptr, 0};
  macro->disable++;
  const bool done = collect_first(&w, at) && collect(&w, at);
  macro->disable--;
  return done;
}

// The arguments of a call, from behind the `(` on. They lie in gStore.
static bool collect_list(walker* w, const macro_def* macro, whole_list* list) {
  list->macro = macro;
  list->owner = w;
  list->depth = list->count = 0;
  list->begun = list->spaces = list->done = false;
  return collect(w, list) && list->done;
}

// Arguments of a call whose text is collected itself make room for that.
static bool keep_list(whole_list* list, byte* start) {
  const auto length = static_cast<std::size_t>(gWhole.fill - start);
  if (kKeptLimit - gWhole.kept < static_cast<std::ptrdiff_t>(length + CODED_SLACK)) return false;
  copy_bytes(gWhole.kept, start, length);
  for (std::uint32_t n = 0; n < list->count; n++) list->start[n] = gWhole.kept + (list->start[n] - start);
  gWhole.kept += length + CODED_SLACK;
  gWhole.fill = start;
  return true;
}

static bool collect_dynamic(const macro_def* macro, whole_list* at) {
  std::size_t length;
  const byte* text = dynamic_text(macro, &length);
  return text != nullptr && store_bytes(at, text, length);
}

// `macro`, whose name has been read in the text of `w` and is visible there.
static bool collect_call(walker* w, macro_def* macro, const name_token* name, whole_list* at) {
  if (*w->at == CODE_PARAM || !count_expansion()) return false;
  byte* const kept = gWhole.kept;
  byte* const start = gWhole.fill;
  bool done;
  if (macro->nargs == MACRO_LINE || macro->nargs == MACRO_FILE) {
    done = collect_dynamic(macro, at);
  } else if (macro->nargs < 0) {
    done = collect_text(macro, nullptr, at, w->of->level + 1);
  } else {
    const call_form form = form_ofCall(&w->at);
    if (form != CALL_OPEN) return form == CALL_NONE && store_name(at, name, macro);
    whole_list list;
    done = collect_list(w, macro, &list) && keep_list(&list, start) && collect_text(macro, &list, at, w->of->level + 1);
  }
  gWhole.kept = kept;
  return done;
}

static bool collect_literal(walker* w, whole_list* at) {
  const byte* end = end_ofLiteral(w->at);
  if (end == nullptr || !store_bytes(at, w->at, static_cast<std::size_t>(end - w->at))) return false;
  w->at = end;
  return true;
}

// A slash that opens no comment.
static bool is_loneSlash(const walker* w) {
  if (w->at[1] != CODE_END) return !opens_comment(w->at) && kind_at(w->at + 1) != KIND_STOP;
  return w->follow == nullptr || (*w->follow != '/' && *w->follow != '*');
}

// Bytes that are stored as they lie: all words of a body, digits and signs of an argument.
static bool collect_run(walker* w, whole_list* at) {
  const byte* end = w->at + 1;
  const bool words = w->follow == nullptr;
  while (kind_at(end) == KIND_SIGN || kind_at(end) == KIND_DIGIT || (words && kind_at(end) == KIND_LETTER)) end++;
  if (!store_bytes(at, w->at, static_cast<std::size_t>(end - w->at))) return false;
  w->at = end;
  return true;
}

// Units of the text go to the argument in the making, to the end of the text or of the list.
static bool collect(walker* w, whole_list* at) {
  for (;;) {
    bool done;
    switch (kind_at(w->at)) {
      case KIND_END: return true;
      case KIND_BLANK:
        at->spaces = true;
        w->at++;
        continue;
      case KIND_PASTE: w->at++; continue;
      case KIND_PARAM: done = collect_argument(w, at); break;
      case KIND_NO_EXPAND:
      case KIND_LETTER: done = w->follow != nullptr ? collect_name(w, at) : collect_run(w, at); break;
      case KIND_QUOTE: done = collect_literal(w, at); break;
      case KIND_SLASH: done = is_loneSlash(w) && collect_run(w, at); break;
      case KIND_OPEN:
      case KIND_CLOSE:
      case KIND_COMMA:
        done = store_separator(at, w->at, w);
        w->at++;
        if (at->done) return done;
        break;
      case KIND_DIGIT:
      case KIND_DOT:
      case KIND_SIGN: done = collect_run(w, at); break;
      default: return false;
    }
    if (!done) return false;
    if (gWhole.named.macro != nullptr) return true;
  }
}

// --- Writing ---

static bool write_text(walker* w);

static bool write_dynamic(walker* w, const macro_def* macro) {
  std::size_t length;
  const byte* text = dynamic_text(macro, &length);
  if (text == nullptr || !write_bytes(text, length)) return false;
  if (macro->nargs == MACRO_LINE) gWhole.tail = TAIL_NUMBER;
  w->carried++;
  return true;
}

// The text of a call, in the place of its name.
static bool write_expansion(walker* w, macro_def* macro, const whole_list* list) {
  whole_text text;
  if (!has_room(0) || !begin_text(&text, macro, list, w->of->level + 1)) return false;
  write_blank();
  gWhole.expanded = true;
  walker inner = {text.text, &text, nullptr, 0};
  macro->disable++;
  const bool done = write_text(&inner);
  macro->disable--;
  if (!done || !has_room(0)) return false;
  write_blank();
  if (gWhole.tail != TAIL_NUMBER) gWhole.tail = TAIL_NONE;
  w->carried++;
  return true;
}

// `macro`, whose name has been read in the text of `w` and is visible there. The name's units are booked already.
static bool write_call(walker* w, macro_def* macro, const name_token* name) {
  if (*w->at == CODE_PARAM || !count_expansion()) return false;
  if (macro->nargs == MACRO_LINE || macro->nargs == MACRO_FILE) {
    byte* const kept = gWhole.kept;
    const bool done = has_room(0) && write_dynamic(w, macro);
    gWhole.kept = kept;
    return done;
  }
  byte* const kept = gWhole.kept;
  byte* const start = gWhole.fill;
  bool done;
  if (macro->nargs < 0) {
    done = write_expansion(w, macro, nullptr);
  } else {
    const call_form form = form_ofCall(&w->at);
    if (form != CALL_OPEN) return form == CALL_NONE && write_word(name->start, name->end, false);
    whole_list list;
    done = collect_list(w, macro, &list);
    note_units(w, 2);  // a `)` is read twice
    done = done && write_expansion(w, macro, &list);
  }
  gWhole.fill = start;
  gWhole.kept = kept;
  return done;
}

// A token without look-ahead has ended, or one that has looked at what lies behind it in the same text.
static void note_token(walker* w, std::ptrdiff_t units, tail_kind at_end) {
  const bool looks = at_end != TAIL_NONE;
  const bool elsewhere = looks && is_textEnd(w->at);
  note_units(w, static_cast<std::int32_t>(units) + (looks && !elsewhere ? 1 : 0));
  if (elsewhere) gWhole.tail = at_end;
}

static bool write_name(walker* w) {
  name_token name = scan_name(w->at);
  if (name.start == nullptr || goes_on(w->at)) return false;
  w->at = name.end;
  if (*w->at == CODE_PASTE) {
    if (!paste_names(w, &name)) return false;
  } else {
    note_token(w, name.end - name.start, TAIL_NAME);
  }
  macro_def* macro = find_macro(&name);
  if (macro == nullptr || !is_visible(w, macro, *w->at == CODE_END))
    return write_word(name.start, name.end, name.hidden);
  if (w->follow == nullptr || *w->at != CODE_END) {
    gWhole.tail = TAIL_NONE;
    return write_call(w, macro, &name);
  }
  gWhole.tail = TAIL_NONE;
  gWhole.named = {macro, name.start, name.end};
  return true;
}

// The name that the argument ended in, met in the body.
static bool write_named(walker* w) {
  macro_def* macro = gWhole.named.macro;
  const name_token name = {gWhole.named.start, gWhole.named.end, false};
  gWhole.named.macro = nullptr;
  if (*w->at == CODE_END) {
    w->carried = 0;
  } else {
    note_units(w, 2);
  }
  return write_call(w, macro, &name);
}

// An argument that has been written before, in the same call: nothing it depends on has changed.
static bool write_again(walker* w, const whole_argument* argument) {
  if (gWhole.tail > TAIL_SIGN && goes_on(argument->text)) return false;
  gWhole.expansions += argument->expansions;
  if (gWhole.expansions >= EXPANSIONS_MAX || !write_bytes(argument->out, argument->out_length)) return false;
  gWhole.spaces = argument->spaces;
  gWhole.expanded = argument->expanded;
  gWhole.tail = argument->tail;
  w->carried = argument->carried + 1;
  return true;
}

static bool write_argument(walker* w) {
  whole_text* of = w->of;
  whole_argument* argument = &of->args[w->at[1]];
  w->at += 2;
  if (*argument->text == CODE_END) {
    w->carried++;
    return true;
  }
  if (argument->kept) return write_again(w, argument);
  if (!has_room(0)) return false;
  write_blank();  // an argument begins with a token
  argument->out = gWhole.out;
  argument->expansions = gWhole.expansions;
  walker inner = {argument->text, of, w->at, w->carried};
  w->carried = 0;
  of->macro->disable--;
  const bool done = write_text(&inner);
  of->macro->disable++;
  if (!done) return false;
  w->carried += inner.carried + 1;
  if (gWhole.named.macro != nullptr) return write_named(w);
  argument->kept = true;
  argument->out_length = static_cast<std::uint32_t>(gWhole.out - argument->out);
  argument->expansions = gWhole.expansions - argument->expansions;
  argument->carried = inner.carried;
  argument->tail = gWhole.tail;
  argument->spaces = gWhole.spaces;
  argument->expanded = gWhole.expanded;
  return true;
}

static bool write_number(walker* w) {
  if (goes_on(w->at)) return false;
  number_state state;
  const byte* start = w->at;
  w->at = end_ofNumber(start, &state);
  if (*w->at == CODE_PASTE || *w->at == CODE_NO_EXPAND || (state.sign_ok && is_textEnd(w->at))) return false;
  note_token(w, w->at - start, TAIL_NUMBER);
  return write_bytes(start, static_cast<std::size_t>(w->at - start));
}

static bool write_dot(walker* w) {
  if (char_isDigit(w->at[1])) return write_number(w);
  if (goes_on(w->at) || w->at[1] == CODE_PASTE) return false;
  const byte* start = w->at++;
  note_token(w, 1, TAIL_DOT);
  return write_bytes(start, 1);
}

static bool write_slash(walker* w) {
  if (!is_loneSlash(w) || w->at[1] == CODE_PASTE) return false;
  const byte* start = w->at++;
  note_token(w, *w->at == CODE_PARAM ? 2 : 1, TAIL_SIGN);
  return write_bytes(start, 1);
}

static bool write_signs(walker* w) {
  const byte* start = w->at;
  while (is_sign(w->at)) w->at++;
  if (*w->at == CODE_PASTE) return false;
  note_token(w, w->at - start, char_canCatenate(char_class(w->at[-1])) ? TAIL_SIGN : TAIL_NONE);
  return write_bytes(start, static_cast<std::size_t>(w->at - start));
}

static bool write_literal(walker* w) {
  const byte* start = w->at;
  const byte* end = end_ofLiteral(start);
  if (end == nullptr) return false;
  w->at = end;
  if (*end == CODE_PASTE) return false;
  note_token(w, end - start, TAIL_NONE);
  return write_bytes(start, static_cast<std::size_t>(end - start));
}

static bool pass_blank(walker* w) {
  const byte* start = w->at++;
  note_units(w, 1);
  if (gWhole.expanded) return write_bytes(start, 1);
  gWhole.spaces = true;
  return true;
}

// To the end of the text, or of an argument that ends in a macro's name.
static bool write_text(walker* w) {
  for (;;) {
    bool done;
    switch (kind_at(w->at)) {
      case KIND_END: return true;
      case KIND_PARAM: done = write_argument(w); break;
      case KIND_NO_EXPAND:
      case KIND_LETTER: done = write_name(w); break;
      case KIND_DIGIT: done = write_number(w); break;
      case KIND_DOT: done = write_dot(w); break;
      case KIND_QUOTE: done = write_literal(w); break;
      case KIND_SLASH: done = write_slash(w); break;
      case KIND_BLANK: done = pass_blank(w); break;
      case KIND_OPEN:
      case KIND_CLOSE:
      case KIND_COMMA:
      case KIND_SIGN: done = write_signs(w); break;
      default: return false;
    }
    if (!done) return false;
    if (gWhole.named.macro != nullptr) return true;
  }
}

// --- The file's text ---

// The end of the literal at `p`, absent where its line does not close it, or a byte could be more than itself.
static byte* end_ofFileLiteral(byte* p) {
  const byte quote = *p++;
  for (; *p != quote; p++) {
    if (*p == '\\') p++;
    if (*p < CODES || *p == '\n' || (*p == '?' && p[1] == '?')) return nullptr;
    if (p[-1] == '\\' && *p == '?') return nullptr;
  }
  return p + 1;
}

static bool is_usualSlash(const byte* p) {
  return p[1] != '/' && p[1] != '*' && p[1] != '?' && kind_at(p + 1) != KIND_STOP;
}

static byte* end_ofFileRun(byte* p) {
  for (;; p++) {
    switch (kind_at(p)) {
      case KIND_LETTER:
      case KIND_DIGIT:
      case KIND_DOT: break;
      case KIND_SLASH:
        if (!is_usualSlash(p)) return p;
        break;
      case KIND_SIGN:
        if (p[0] == '?' && p[1] == '?') return p;
        break;
      default: return p;
    }
  }
}

// The arguments of a call, from behind the `(` on: to behind the `)`, or absent.
static byte* collect_fromFile(byte* p, const byte* end, whole_list* at, whole_call* call) {
  while (p < end) {
    byte* start = p;
    switch (kind_at(p)) {
      case KIND_NEWLINE:
        call->lines++;
        call->line = p + 1;
        at->spaces = true;
        p++;
        continue;
      case KIND_BLANK:
        at->spaces = true;
        p++;
        continue;
      case KIND_OPEN:
      case KIND_CLOSE:
      case KIND_COMMA:
        if (!store_separator(at, p++, nullptr)) return nullptr;
        if (at->done) return p;
        continue;
      case KIND_QUOTE: p = end_ofFileLiteral(p); break;
      default: p = end_ofFileRun(p); break;
    }
    if (p == nullptr || p == start || !store_bytes(at, start, static_cast<std::size_t>(p - start))) return nullptr;
  }
  return nullptr;
}

// Does the number that the call ended in end ahead of the byte at `p`, whatever reading it does?
static bool ends_number(const byte* p) {
  const byte_kind kind = kind_at(p);
  return kind == KIND_BLANK || kind == KIND_NEWLINE || kind == KIND_QUOTE || (kind >= KIND_OPEN && *p != '?');
}

static byte* skip_blanks(byte* p) {
  while (char_isWhite(*p)) p++;
  return p;
}

// From behind the name: writes the call, and returns where the text goes on, or nullptr.
static byte* write_fileCall(macro_def* macro, byte* at, const byte* end, whole_call* call) {
  whole_text file;
  file.level = 0;
  walker w = {nullptr, &file, nullptr, 0};
  static const byte kNone[1] = {CODE_END};
  w.at = kNone;
  whole_list list;
  if (macro->nargs >= 0) {
    list.macro = macro;
    list.owner = nullptr;
    list.depth = list.count = 0;
    list.begun = list.spaces = list.done = false;
    at = collect_fromFile(at, end, &list, call);
    if (at == nullptr) return nullptr;
    gWhole.line += call->lines;
  }
  if (!count_expansion() || !write_expansion(&w, macro, macro->nargs >= 0 ? &list : nullptr)) return nullptr;
  return gWhole.tail == TAIL_NUMBER && !ends_number(at) ? nullptr : at;
}

whole_call whole_write(input_frame* frame, macro_def* macro, unsigned char* at, unsigned char* end) {
  whole_call call = {nullptr, nullptr, 0, 0, true};
  if (macro->nargs < MACRO_OBJECT) return call;
  if (macro->nargs >= 0) {
    byte* open = skip_blanks(at);
    if (*open != '(') {
      const bool usual = open == at && kind_at(at) >= KIND_QUOTE && *at != '?' && *at != '\n' && *at != '/';
      if (!usual) return call;
      call.behind = at;
      call.is_call = false;
      return call;
    }
    at = open + 1;
  }
  constexpr std::uint32_t ROOM = OUT_BUFFER_BYTES / 4;
  out_reserve(ROOM);
  gWhole.frame = frame;
  gWhole.out = gOutPos;
  gWhole.out_limit = gOutBuffer + OUT_BUFFER_BYTES - 2 * COPY_STEP;
  gWhole.fill = gStore;
  gWhole.kept = gKept;
  gWhole.named.macro = nullptr;
  gWhole.expansions = 0;
  gWhole.line = gLine;
  gWhole.pending = frame->pending_depth;
  gWhole.tail = TAIL_NONE;
  gWhole.spaces = gWhole.expanded = false;
  call.behind = write_fileCall(macro, at, end, &call);
  if (call.behind == nullptr) return call;
  call.pending = gWhole.pending;
  gOutPos = gWhole.out;
  return call;
}
