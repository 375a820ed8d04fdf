// Evaluating `#if` where it lies.
//
// A text is read token by token: the line, the body of a macro, or an argument, which is a part of the line. What makes
// the ordinary road take over:
//
//   anything that raises a message, and all that the reader treats: continuations, trigraphs, comments over lines
//   tokens that could go on behind the end of their text: with `#define A 1 <`, `A < 2` is a shift
//   names that are hidden, dynamic or too long; `#`, `##` and marks in bodies; sizeof; most character constants
//   calls anywhere but in the line itself, or with a list of arguments that is not simple
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
  const Unit* at;
  const Unit* end;         // absent: the line, up to its newline
  const place_call* call;  // present in the body of a function-like macro
};

struct place {
  bool expand;
  std::uint32_t expansions;
  std::uint32_t nesting;
  evaluator e;
};

// All of these return false for the ordinary road.
template <class Unit>
static bool run(place* in, place_text<Unit>* text);

static bool push(place* in, std::int64_t value, bool is_signed) {
  return if_pushValue(&in->e, value, is_signed) == IF_GOES_ON;
}

static bool apply(place* in, std::uint8_t op) { return if_applyOperator(&in->e, op) == IF_GOES_ON; }

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

// The name at `at`; its end, or nullptr if a mark of a body lies in it or behind it.
template <class Unit>
static const Unit* read_name(place_name* name, const Unit* at) {
  const Unit* end = place_wordEnd(at);
  if (end == at || !char_isByte(*end) || end - at > static_cast<std::ptrdiff_t>(gIdentifierMax)) return nullptr;
  name->length = static_cast<std::uint32_t>(end - at);
  take_bytes(name, at);
  return end;
}

static bool is_named(const place_name* name, const char* word, std::uint32_t length) {
  return name->length == length && std::memcmp(name->bytes, word, length) == 0;
}

static const unsigned char* skip_gap(const unsigned char* at) { return place_gap(at); }
static const SourceChar* skip_gap(const SourceChar* at) {
  while (char_isWhite(*at)) at++;
  return at;
}

// Behind the word `defined`.
template <class Unit>
static bool run_defined(place* in, place_text<Unit>* text) {
  const Unit* at = skip_gap(text->at);
  const bool in_parens = at != nullptr && *at == '(';
  if (in_parens) at = skip_gap(at + 1);
  if (at == nullptr || char_class(*at) != CC_LETTER) return false;
  place_name name;
  at = read_name(&name, at);
  if (at != nullptr && in_parens) {
    at = skip_gap(at);
    at = at != nullptr && *at == ')' ? at + 1 : nullptr;
  }
  if (at == nullptr) return false;
  const macro_def* macro = macro_find(name.bytes, name.length);
  if (macro != nullptr && macro->disable != 0) return false;
  text->at = at;
  return push(in, macro != nullptr, true);
}

// --- Macros ---

// A body that begins with nothing, or with white space, is no token of an expression.
static bool run_body(place* in, macro_def* macro, const place_call* call) {
  if (macro->body == nullptr || (macro->traits & BODY_HAS_OPERATORS) != 0) return false;
  if (macro->body_length - 1 >= PLACE_BODY_MAX || char_class(macro->body[0]) == CC_SPACE) return false;
  if (++in->expansions > PLACE_EXPANSIONS_MAX || in->nesting == PLACE_NESTING_MAX) return false;
  place_text<SourceChar> body = {macro->body, macro->body + macro->body_length, call};
  in->nesting++;
  macro->disable++;
  const bool done = run(in, &body);
  macro->disable--;
  in->nesting--;
  return done;
}

static bool add_argument(place_call* call, const unsigned char* start, const unsigned char* end) {
  while (end > start && char_isWhite(end[-1])) end--;
  if (end == start || call->count == MACRO_PARAMS_MAX) return false;
  call->arguments[call->count++] = {start, end};
  return true;
}

static const unsigned char* skip_white(const unsigned char* at) {
  while (char_isWhite(*at)) at++;
  return at;
}

// From behind the `(` to the `)`, or nullptr at whatever is more than itself in a list of arguments.
static const unsigned char* read_arguments(place_call* call, const unsigned char* at) {
  const unsigned char* start = at = skip_white(at);
  call->count = 0;
  if (*at == ')') return at;
  for (std::uint32_t depth = 0;; at++) {
    switch (*at) {
      case '(': depth++; break;
      case ')':
      case ',':
        if (depth == 0) {
          if (!add_argument(call, start, at)) return nullptr;
          if (*at == ')') return at;
          start = skip_white(at + 1);
        } else if (*at == ')') {
          depth--;
        }
        break;
      case '/':
        if (opens_comment(at)) return nullptr;
        break;
      case '\n':
      case '\v':
      case '\f':
      case '\r':
      case '\\':
      case '?':
      case '#':
      case '"':
      case '\'': return nullptr;
      default: break;
    }
  }
}

// In the line itself, behind the name. A number that ends the text could go on behind the call.
static bool run_call(place* in, place_text<unsigned char>* text, macro_def* macro) {
  if (text->end != nullptr) return false;
  const unsigned char* at = skip_gap(text->at);
  if (at == nullptr || *at != '(') return false;
  place_call call;
  at = read_arguments(&call, at + 1);
  if (at == nullptr || static_cast<std::int32_t>(call.count) != macro->nargs || char_isWord(at[1])) return false;
  text->at = at + 1;
  return run_body(in, macro, &call);
}

static bool run_call(place*, place_text<SourceChar>*, macro_def*) { return false; }

template <class Unit>
static bool run_name(place* in, place_text<Unit>* text) {
  place_name name;
  const Unit* end = read_name(&name, text->at);
  if (end == nullptr) return false;
  text->at = end;
  macro_def* macro = macro_find(name.bytes, name.length);
  if (macro == nullptr) {
    if (is_named(&name, "defined", 7)) return run_defined(in, text);
    return !is_named(&name, "sizeof", 6) && push(in, 0, true);
  }
  if (!in->expand || macro->disable != 0) return false;
  if (macro->nargs >= 0) return run_call(in, text, macro);
  return macro->nargs == MACRO_OBJECT && run_body(in, macro, nullptr);
}

// A marker of a parameter. Its text must not run together with what follows it in the body.
static bool run_argument(place* in, place_text<SourceChar>* text) {
  const SourceChar n = *text->at - CH_PARAM_BASE;
  const SourceChar next = *++text->at;
  if (text->call == nullptr || n >= text->call->count || char_isWord(next) || !char_isByte(next)) return false;
  place_text<unsigned char> argument = {text->call->arguments[n].start, text->call->arguments[n].end, nullptr};
  return run(in, &argument);
}

// --- Other tokens ---

template <class Unit>
static bool run_number(place* in, place_text<Unit>* text) {
  const if_value number = if_readNumber(*text->at, [text] { return static_cast<SourceChar>(*++text->at); });
  return char_isByte(*text->at) && push(in, number.value, number.is_signed);
}

// One ordinary character between quotes.
template <class Unit>
static bool run_character(place* in, place_text<Unit>* text) {
  const Unit* at = text->at;
  if (at[0] != '\'' || at[1] == '\'' || at[1] == '\\' || at[1] == '?' || at[1] == '\n' || at[1] == 0) return false;
  if (!char_isByte(at[1]) || at[2] != '\'') return false;
  text->at = at + 3;
  return push(in, static_cast<std::int64_t>(at[1]), true);
}

// An operator may have a second character. It must not be looked for behind the end of a text, or in an argument.
template <class Unit>
static bool run_operator(place* in, place_text<Unit>* text, int code) {
  const Unit* at = text->at;
  if (if_beginsPair(*at)) {
    if (at + 1 == text->end || !char_isByte(at[1])) return false;
    const if_operator pair = if_pair(*at, at[1]);
    if (pair != OP_NONE) {
      text->at = at + 2;
      return apply(in, pair);
    }
  }
  const if_operator op = if_single(*at, code);
  text->at = at + 1;
  return op != OP_NONE && apply(in, op);
}

// A slash that ends its text could open a comment with what follows.
template <class Unit>
static bool run_slash(place* in, place_text<Unit>* text) {
  const Unit* at = text->at;
  if (at + 1 == text->end) return false;
  if (!opens_comment(at)) {
    text->at = at + 1;
    return apply(in, OP_DIVIDE);
  }
  if (text->end != nullptr) return false;
  text->at = skip_gap(at);
  return text->at != nullptr;
}

// --- The texts ---

// At a unit that no expression holds: the end of the line, or a marker.
static bool run_other(place*, place_text<unsigned char>*) { return false; }
static bool run_other(place* in, place_text<SourceChar>* text) {
  return ch_isParam(*text->at) && run_argument(in, text);
}

// Takes tokens up to the end of the text.
template <class Unit>
static bool run(place* in, place_text<Unit>* text) {
  while (text->at != text->end) {
    const int code = char_class(*text->at);
    bool usual;
    switch (code) {
      case CC_SPACE: text->at++; continue;
      case CC_LETTER: usual = run_name(in, text); break;
      case CC_DIGIT: usual = run_number(in, text); break;
      case CC_QUOTE: usual = run_character(in, text); break;
      case CC_SLASH: usual = run_slash(in, text); break;
      case CC_OTHER:
        if (text->end == nullptr && (*text->at == '\n' || *text->at == '\r')) return true;
        usual = run_other(in, text);
        break;
      case CC_QUESTION:
        if (text->at[1] == '?') return false;
        [[fallthrough]];
      default: usual = run_operator(in, text, code); break;
    }
    if (!usual) return false;
  }
  return true;
}

const unsigned char* if_evaluateInPlace(const unsigned char* at, bool expand, bool* truth) {
  place in;
  in.expand = expand;
  in.expansions = in.nesting = 0;
  if_begin(&in.e, true);
  place_text<unsigned char> line = {at, nullptr, nullptr};
  if (!run(&in, &line) || !place_isLineEnd(line.at)) return nullptr;
  if (if_applyOperator(&in.e, OP_END) != IF_FINISHED || in.e.unusual) return nullptr;
  *truth = if_result(&in.e);
  return *line.at == '\n' ? line.at : line.at + 1;
}
