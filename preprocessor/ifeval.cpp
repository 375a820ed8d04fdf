// The ordinary road of `#if` expressions: tokens out of the reader, with all that reading them brings with it.
#include "preprocessor/ifeval.h"

#include <cstdlib>

#include "common/alert.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/ifmachine.h"
#include "preprocessor/iftokens.h"
#include "preprocessor/typesizes.h"

enum token_kind { READ_VALUE, READ_OPERATOR, READ_FAILED, READ_AGAIN };

struct token {
  token_kind kind;
  std::uint8_t op;
  if_value value;
};

constexpr token kFailed = {READ_FAILED, OP_NONE, {0, true}};
constexpr token kAgain = {READ_AGAIN, OP_NONE, {0, true}};

static token give_value(std::int64_t value, bool is_signed) { return {READ_VALUE, OP_NONE, {value, is_signed}}; }
static token give_operator(std::uint8_t op) { return {READ_OPERATOR, op, {0, true}}; }

static token fail(unsigned number) {
  alert(number);
  return kFailed;
}

// --- Operands ---

static token read_number(SourceChar c) {
  const if_value number = if_readNumber(c, in_skipMarkers);
  unget();
  return give_value(number.value, number.is_signed);
}

// Up to three digits of `radix`, the first of which may be in hand.
static std::int64_t read_escapeDigits(SourceChar c, std::uint32_t radix) {
  constexpr int ESCAPE_DIGITS = 3;
  std::int64_t value = 0;
  int count = 0;
  for (; count < ESCAPE_DIGITS && if_digitValue(c) < radix; count++) {
    value = value * radix + if_digitValue(c);
    c = get();
  }
  unget();
  return value;
}

static std::int64_t read_escape() {
  const SourceChar c = in_skipMarkers();
  switch (c) {
    case 'a': return 7;
    case 'b': return 8;
    case 'f': return 12;
    case 'n': return 10;
    case 'r': return 13;
    case 't': return 9;
    case 'v': return 11;
    case 'x': return read_escapeDigits(get(), 16);
    default: return if_digitValue(c) < 8 ? read_escapeDigits(c, 8) : static_cast<std::int64_t>(c);
  }
}

// Behind the opening quote. A constant that its line does not close ends there, newline and all.
static token read_character(const evaluator* e) {
  gInLiteral = true;
  const SourceChar first = in_skipMarkers();
  std::uint64_t value = 0;
  if (first != '\'') {
    value = static_cast<std::uint64_t>(first == '\\' ? read_escape() : static_cast<std::int64_t>(first));
    SourceChar c;
    while ((c = get()) != '\'' && c != '\n' && c != 0) {
      value = value * 256 + c;
      if (!if_isSkipped(e)) alert(174u, static_cast<char>(c));
    }
  }
  gInLiteral = false;
  return give_value(static_cast<std::int64_t>(value), true);
}

// `defined X` or `defined(X)`, behind the word.
static token read_defined() {
  SourceChar c = skip_ws();
  const bool in_parens = c == '(';
  if (in_parens) c = skip_ws();
  if (char_class(c) != CC_LETTER) return fail(127);
  const bool defined = scan_lookup(c) != nullptr;
  if (in_parens && skip_ws() != ')') return fail(127);
  return give_value(defined, true);
}

static token read_word() {
  if (sc_compareNarrow(gToken, "defined") == 0) return read_defined();
  if (sc_compareNarrow(gToken, "sizeof") != 0) return give_value(0, true);
  std::int64_t size;
  if (!type_readSizeof(&size)) return kFailed;
  return give_value(size, false);
}

// --- Operators ---

static token read_operator(SourceChar c, int code) {
  if (c == '\\') return get() == '\n' ? kAgain : fail(129);
  if (if_beginsPair(c)) {
    const std::uint8_t pair = if_pair(c, in_skipMarkers());
    if (pair != OP_NONE) return give_operator(pair);
    unget();
    if (c == '=') return fail(128);
  }
  const std::uint8_t op = if_single(c, code);
  return op != OP_NONE ? give_operator(op) : fail(119);
}

static token refuse_character(const evaluator* e, SourceChar c) {
  if (if_isSkipped(e)) return kFailed;
  if (c >= ' ' && c <= '~') {
    alert(124u, static_cast<char>(c));
  } else if (c >= CH_STRINGIZE && c <= CH_MACRO_END) {
    alert(1500u);
  } else {
    alert(125u, static_cast<int>(c));
  }
  return kFailed;
}

static token read_token(const evaluator* e) {
  const SourceChar c = scan_expandName(skip_ws());
  if (c == '\n' || c == 0) {
    unget();
    return give_operator(OP_END);
  }
  const int code = char_class(c);
  if (char_canCatenate(code) && scan_catenate(c)) return kAgain;
  switch (code) {
    case CC_OTHER: return refuse_character(e, c);
    case CC_QUOTE: return c == '\'' ? read_character(e) : fail(126);
    case CC_LETTER: return read_word();
    case CC_DIGIT: return read_number(c);
    default: return read_operator(c, code);
  }
}

int eval_if() {
  evaluator e;
  if_begin(&e, false);
  for (;;) {
    const token t = read_token(&e);
    if (t.kind == READ_AGAIN) continue;
    if (t.kind == READ_FAILED) return 1;
    const if_step step =
        t.kind == READ_VALUE ? if_pushValue(&e, t.value.value, t.value.is_signed) : if_applyOperator(&e, t.op);
    if (step == IF_FAILED) return 1;
    if (step == IF_FINISHED) return if_result(&e);
  }
}
