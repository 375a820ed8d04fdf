// Evaluating `#if` where it lies.
//
// A text is read token by token: the line, the body of a macro, or an argument, which is a part of the line. What makes
// the ordinary road take over:
//
//   anything that raises a message, and all that the reader treats: continuations, trigraphs, comments over lines
//   names that are hidden, dynamic or too long; `#`, `##` and marks in bodies; sizeof; most character constants
//   calls anywhere but in the line itself, or with a list of arguments that is not simple
//
// Tokens that run together across the end of a text need no care. With `#define A 1 <`, `A< 2` is a shift; taken apart,
// the two tokens are values or operators that can't follow one another, which the machine refuses.
#include "preprocessor/ifinplace.h"

#include <cstring>

#include "preprocessor/cpp6.h"
#include "preprocessor/iftokens.h"
#include "preprocessor/inplace.h"

// Of one line: so few that no limit of the ordinary road, of depth or of texts that are read again, can be near.
constexpr std::uint32_t PLACE_EXPANSIONS_MAX = 256;
constexpr std::uint32_t PLACE_NESTING_MAX = 24;
constexpr std::uint32_t PLACE_BODY_MAX = 1024;

struct place_range {
  const unsigned char* start;
  const unsigned char* end;
};

// A call of a function-like macro.
struct place_call {
  std::uint32_t count;
  place_range arguments[MACRO_PARAMS_MAX];
};

template <class Unit>
struct place_text {
  const Unit* end;         // absent: the line, up to its newline
  const place_call* call;  // present in the body of a function-like macro
};

struct place {
  bool expand;
  std::uint32_t expansions;
  std::uint32_t nesting;
  evaluator e;
};

// Takes tokens from `at` on, up to the end of the text. This and all operations on tokens return the position behind
// what they have taken, or nullptr for the ordinary road.
template <class Unit>
static const Unit* run(place* in, const place_text<Unit>* text, const Unit* at);

template <class Unit>
static const Unit* push(place* in, const Unit* behind, std::int64_t value, bool is_signed) {
  return if_pushValue(&in->e, value, is_signed) == IF_GOES_ON ? behind : nullptr;
}

template <class Unit>
static const Unit* apply(place* in, const Unit* behind, if_operator op) {
  return if_applyOperator(&in->e, op) == IF_GOES_ON ? behind : nullptr;
}

// What begins with a byte.
enum place_kind : std::uint8_t {
  KIND_UNUSUAL,  // what the ordinary road has to look at
  KIND_END,      // in the line
  KIND_SPACE,
  KIND_NAME,
  KIND_NUMBER,
  KIND_CHARACTER,
  KIND_SLASH,
  KIND_QUESTION,
  KIND_PAIR,    // an operator that may have a second character
  KIND_SINGLE,  // any other
};

struct place_kinds {
  place_kind of[256];
  if_operator single[256];
};

constexpr place_kind kind_of(SourceChar c) {
  if (c == '\'') return KIND_CHARACTER;
  if (c == '\n' || c == '\r') return KIND_END;
  switch (char_classTable.of[c]) {
    case CC_SPACE: return KIND_SPACE;
    case CC_LETTER: return KIND_NAME;
    case CC_DIGIT: return KIND_NUMBER;
    case CC_SLASH: return KIND_SLASH;
    case CC_QUESTION: return KIND_QUESTION;
    case CC_OTHER:
    case CC_QUOTE: return KIND_UNUSUAL;
    default: return if_beginsPair(c) ? KIND_PAIR : KIND_SINGLE;
  }
}

constexpr place_kinds make_kinds() {
  place_kinds kinds{};
  for (SourceChar c = 0; c < 256; c++) {
    kinds.single[c] = if_single(c, char_classTable.of[c]);
    kinds.of[c] = kind_of(c);
    if (kinds.of[c] == KIND_SINGLE && kinds.single[c] == OP_NONE) kinds.of[c] = KIND_UNUSUAL;
  }
  return kinds;
}
constexpr place_kinds kKinds = make_kinds();

static const unsigned char* skip_gap(const unsigned char* at) { return place_gap(at); }
static const SourceChar* skip_gap(const SourceChar* at) {
  while (char_isWhite(*at)) at++;
  return opens_comment(at) ? nullptr : at;
}

// --- Names ---

struct place_name {
  const unsigned char* bytes;
  std::uint32_t length;
  unsigned char copy[IDENTIFIER_MAX + NAME_WORD];
};

static void take_bytes(place_name* name, const unsigned char* at) { name->bytes = at; }

static void take_bytes(place_name* name, const SourceChar* at) {
  for (std::uint32_t i = 0; i < name->length; i++) name->copy[i] = static_cast<unsigned char>(at[i]);
  std::memset(name->copy + name->length, 0, NAME_WORD);
  name->bytes = name->copy;
}

template <class Unit>
static const Unit* read_name(place_name* name, const Unit* at) {
  const Unit* end = place_wordEnd(at);
  if (end - at > static_cast<std::ptrdiff_t>(gIdentifierMax)) return nullptr;
  name->length = static_cast<std::uint32_t>(end - at);
  take_bytes(name, at);
  return end;
}

static bool is_named(const place_name* name, const char* word, std::uint32_t length) {
  return name->length == length && std::memcmp(name->bytes, word, length) == 0;
}

// From behind the word `defined`.
template <class Unit>
static const Unit* run_defined(place* in, const Unit* at) {
  at = skip_gap(at);
  const bool in_parens = at != nullptr && *at == '(';
  if (in_parens) at = skip_gap(at + 1);
  if (at == nullptr || !char_isByte(*at) || kKinds.of[*at] != KIND_NAME) return nullptr;
  place_name name;
  at = read_name(&name, at);
  if (at == nullptr) return nullptr;
  if (in_parens) {
    at = skip_gap(at);
    if (at == nullptr || *at++ != ')') return nullptr;
  }
  const macro_def* macro = macro_find(name.bytes, name.length);
  if (macro != nullptr && macro->disable != 0) return nullptr;
  return push(in, at, macro != nullptr, true);
}

// --- Macros ---

// False: the ordinary road. A body that begins with nothing, or with white space, is no token of an expression.
static bool run_body(place* in, macro_def* macro, const place_call* call) {
  if (macro->body == nullptr || (macro->traits & BODY_HAS_OPERATORS) != 0) return false;
  if (macro->body_length - 1 >= PLACE_BODY_MAX || char_isWhite(macro->body[0])) return false;
  if (++in->expansions > PLACE_EXPANSIONS_MAX || in->nesting == PLACE_NESTING_MAX) return false;
  const place_text<SourceChar> body = {macro->body + macro->body_length, call};
  in->nesting++;
  macro->disable++;
  const bool done = run<SourceChar>(in, &body, macro->body) != nullptr;
  macro->disable--;
  in->nesting--;
  return done;
}

static const unsigned char* skip_white(const unsigned char* at) {
  while (char_isWhite(*at)) at++;
  return at;
}

static bool add_argument(place_call* call, const unsigned char* start, const unsigned char* end) {
  while (end > start && char_isWhite(end[-1])) end--;
  if (end == start || call->count == MACRO_PARAMS_MAX) return false;
  call->arguments[call->count++] = {start, end};
  return true;
}

static constexpr byte_set make_notable() {
  byte_set notable{};
  constexpr unsigned char kNotable[] = {'(', ')', ',', '/', '\n', '\v', '\f', '\r', '\\', '?', '#', '"', '\''};
  for (unsigned char byte : kNotable) notable.has[byte] = true;
  return notable;
}

// From behind the `(` to the `)`. Not over whatever is more than itself in a list of arguments.
static const unsigned char* read_arguments(place_call* call, const unsigned char* at) {
  static constexpr byte_set kNotable = make_notable();
  const unsigned char* start = at = skip_white(at);
  call->count = 0;
  if (*at == ')') return at;
  for (std::uint32_t depth = 0;; at++) {
    while (!kNotable.has[*at]) at++;
    if (*at == '(') {
      depth++;
    } else if (*at == ')' && depth > 0) {
      depth--;
    } else if (*at == ')' || *at == ',') {
      if (depth > 0) continue;
      if (!add_argument(call, start, at)) return nullptr;
      if (*at == ')') return at;
      start = skip_white(at + 1);
    } else if (*at != '/' || opens_comment(at)) {
      return nullptr;
    }
  }
}

// In the line itself, from behind the name.
static const unsigned char* run_call(place* in, const place_text<unsigned char>* text, const unsigned char* at,
                                     macro_def* macro) {
  if (text->end != nullptr) return nullptr;
  at = skip_gap(at);
  if (at == nullptr || *at != '(') return nullptr;
  place_call call;
  at = read_arguments(&call, at + 1);
  if (at == nullptr || static_cast<std::int32_t>(call.count) != macro->nargs) return nullptr;
  return run_body(in, macro, &call) ? at + 1 : nullptr;
}

static const SourceChar* run_call(place*, const place_text<SourceChar>*, const SourceChar*, macro_def*) {
  return nullptr;
}

template <class Unit>
static const Unit* run_name(place* in, const place_text<Unit>* text, const Unit* at) {
  place_name name;
  at = read_name(&name, at);
  if (at == nullptr) return nullptr;
  macro_def* macro = macro_find(name.bytes, name.length);
  if (macro == nullptr) {
    if (is_named(&name, "defined", 7)) return run_defined(in, at);
    return is_named(&name, "sizeof", 6) ? nullptr : push(in, at, 0, true);
  }
  if (!in->expand || macro->disable != 0) return nullptr;
  if (macro->nargs >= 0) return run_call(in, text, at, macro);
  return macro->nargs == MACRO_OBJECT && run_body(in, macro, nullptr) ? at : nullptr;
}

// --- Other tokens ---

template <class Unit>
static const Unit* run_number(place* in, const Unit* at) {
  const if_value number = if_readNumber(*at, [&at] { return static_cast<SourceChar>(*++at); });
  return push(in, at, number.value, number.is_signed);
}

// One ordinary character between quotes.
template <class Unit>
static const Unit* run_character(place* in, const Unit* at) {
  if (at[1] == '\'' || at[1] == '\\' || at[1] == '?' || at[1] == '\n' || at[1] == 0) return nullptr;
  if (!char_isByte(at[1]) || at[2] != '\'') return nullptr;
  return push(in, at + 3, static_cast<std::int64_t>(at[1]), true);
}

template <class Unit>
static const Unit* run_pair(place* in, const Unit* at) {
  const if_operator pair = if_pair(*at, at[1]);
  if (pair != OP_NONE) return apply(in, at + 2, pair);
  return *at != '=' ? apply(in, at + 1, kKinds.single[*at]) : nullptr;
}

template <class Unit>
static const Unit* run_slash(place* in, const Unit* at) {
  return opens_comment(at) ? skip_gap(at) : apply(in, at + 1, OP_DIVIDE);
}

// --- The texts ---

static const unsigned char* run_argument(place*, const place_text<unsigned char>*, const unsigned char*) {
  return nullptr;
}

// A marker of a parameter.
static const SourceChar* run_argument(place* in, const place_text<SourceChar>* text, const SourceChar* at) {
  const SourceChar n = *at++ - CH_PARAM_BASE;
  if (text->call == nullptr || n >= text->call->count) return nullptr;
  const place_range* argument = &text->call->arguments[n];
  const place_text<unsigned char> raw = {argument->end, nullptr};
  return run(in, &raw, argument->start) != nullptr ? at : nullptr;
}

template <class Unit>
static const Unit* run(place* in, const place_text<Unit>* text, const Unit* at) {
  while (at != text->end) {
    at += *at == ' ';
    switch (char_isByte(*at) ? kKinds.of[*at] : KIND_UNUSUAL) {
      case KIND_UNUSUAL: at = char_isByte(*at) ? nullptr : run_argument(in, text, at); break;
      case KIND_END: return text->end == nullptr ? at : nullptr;
      case KIND_SPACE: at++; continue;
      case KIND_NAME: at = run_name(in, text, at); break;
      case KIND_NUMBER: at = run_number(in, at); break;
      case KIND_CHARACTER: at = run_character(in, at); break;
      case KIND_SLASH: at = run_slash(in, at); break;
      case KIND_QUESTION: at = at[1] == '?' ? nullptr : apply(in, at + 1, OP_QUESTION); break;
      case KIND_PAIR: at = run_pair(in, at); break;
      case KIND_SINGLE: at = apply(in, at + 1, kKinds.single[*at]); break;
    }
    if (at == nullptr) return nullptr;
  }
  return at;
}

const unsigned char* if_evaluateInPlace(const unsigned char* at, bool expand, bool* truth) {
  place in;
  in.expand = expand;
  in.expansions = in.nesting = 0;
  if_begin(&in.e, true);
  const place_text<unsigned char> line = {nullptr, nullptr};
  at = run(&in, &line, at);
  if (at == nullptr || !place_isLineEnd(at)) return nullptr;
  if (if_applyOperator(&in.e, OP_END) != IF_FINISHED || in.e.unusual) return nullptr;
  *truth = if_result(&in.e);
  return *at == '\n' ? at : at + 1;
}
