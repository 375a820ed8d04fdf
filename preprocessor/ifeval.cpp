// An operator-precedence machine over two stacks, of operators and of values.
//
// One byte describes each operator: its lowest bit is set for operators that need a value before
// them, the next bit for those behind which an operator comes next, and the whole byte, compared as
// a number, is the precedence. An operator reduces what is on the stack while the top's precedence
// is at least its own, and is pushed. `?` and `(` are pushed with a lower precedence than they arrive
// with, so that nothing but their partner reduces them.
//
// Operands that do not count (behind `0 &&`, say) are read and computed all the same; a skip state
// that travels with each operator entry silences the messages about their values.
#include "preprocessor/ifeval.h"

#include <cstdlib>

#include "common/alert.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/typesizes.h"

constexpr std::uint32_t IF_OPERATORS_MAX = 128;  // entries, the bottom one included; more: 121
constexpr std::uint32_t IF_VALUES_MAX = 127;     // more: 118

enum if_operator : std::uint8_t {
  OP_END = 0,
  OP_PLUS = CC_PLUS,
  OP_MINUS = CC_MINUS,
  OP_TIMES = CC_STAR,
  OP_DIVIDE = CC_SLASH,
  OP_MODULUS = CC_PERCENT,
  OP_SHIFT_LEFT = 8,
  OP_SHIFT_RIGHT = 9,
  OP_AND = CC_AND,
  OP_OR = CC_OR,
  OP_XOR = CC_XOR,
  OP_EQUAL = CC_EQUAL,
  OP_NOT_EQUAL = 14,
  OP_LESS = CC_LESS,
  OP_LESS_EQUAL = 16,
  OP_GREATER_EQUAL = 17,
  OP_GREATER = CC_GREATER,
  OP_AND_IF = 19,
  OP_OR_ELSE = 20,
  OP_QUESTION = CC_QUESTION,
  OP_COLON = CC_COLON,
  OP_UNARY_PLUS = 24,
  OP_UNARY_MINUS = 25,
  OP_COMPLEMENT = 26,
  OP_NOT = CC_NOT,
  OP_OPEN = CC_OPEN,
  OP_CLOSE = CC_CLOSE,
  OP_BOTTOM = 30,
};

struct operator_row {
  const char* text;
  std::uint8_t byte;
};

constexpr std::uint8_t NEEDS_VALUE = 1;  // bits of the byte
constexpr std::uint8_t THEN_OPERATOR = 2;
constexpr std::uint8_t UNARY_BYTE = 112;
constexpr std::uint8_t OPEN_PUSHED = 11;  // precedences of entries on the stack
constexpr std::uint8_t QUESTION_PUSHED = 28;
constexpr std::uint8_t BOTTOM_PUSHED = 19;

constexpr operator_row kOperators[] = {
    {"end of expression", 1},
    {"val", 0},
    {"id", 0},
    {"+", 97},
    {"-", 97},
    {"*", 105},
    {"/", 105},
    {"%", 105},
    {"<<", 89},
    {">>", 89},
    {"&", 65},
    {"|", 57},
    {"^", 61},
    {"==", 73},
    {"!=", 73},
    {"<", 81},
    {"<=", 81},
    {">=", 81},
    {">", 81},
    {"&&", 49},
    {"||", 41},
    {"?", 33},
    {":", 33},
    {",", 0},
    {"unary +", 112},
    {"unary -", 112},
    {"~", 112},
    {"!", 112},
    {"(", 120},
    {")", 11},
    {"(none)", 19},
};
static_assert(sizeof kOperators / sizeof kOperators[0] == OP_BOTTOM + 1);

// Bits of a skip state.
constexpr std::uint8_t SKIP_BRANCH = 1;  // the dead branch of ?:
constexpr std::uint8_t SKIP_LOGIC = 2;   // the dead side of && or ||

struct if_op {
  std::uint8_t op;
  std::uint8_t prec;
  std::uint8_t skip;
};

struct evaluator {
  if_op ops[IF_OPERATORS_MAX];
  if_value values[IF_VALUES_MAX];
  if_op* top;
  std::uint32_t value_count;
  bool binop;      // an operator is due, not an operand
  if_value token;  // the value of the token in hand
};

enum token_kind { TOKEN_VALUE, TOKEN_OPERATOR, TOKEN_FAILED, TOKEN_AGAIN };

struct token {
  token_kind kind;
  std::uint8_t op;
};

constexpr token kFailed = {TOKEN_FAILED, 0};
constexpr token kValue = {TOKEN_VALUE, 0};

static bool is_skipped(const evaluator* e) { return e->top->skip != 0; }

static token give_value(evaluator* e, std::int64_t value, bool is_signed) {
  e->token = {value, is_signed};
  return kValue;
}

static token fail(unsigned number) {
  alert(number);
  return kFailed;
}

// --- Operands ---

// The value of `c` as a digit of any radix up to 16, or 16.
static std::uint32_t digit_value(SourceChar c) {
  if (char_isDigit(c)) return c - '0';
  const SourceChar letter = char_upper(c) - 'A';
  return letter < 6 ? letter + 10 : 16;
}

static token read_number(evaluator* e, SourceChar c) {
  std::uint32_t radix = 10;
  if (c == '0') {
    radix = 8;
    c = in_skipMarkers();
    if (c == 'x' || c == 'X') {
      radix = 16;
      c = in_skipMarkers();
    }
  }
  std::uint64_t value = 0;
  for (; digit_value(c) < radix; c = in_skipMarkers()) value = value * radix + digit_value(c);
  bool is_signed = (value >> 63) == 0;
  for (; char_upper(c) == 'U' || char_upper(c) == 'L'; c = in_skipMarkers()) {
    if (char_upper(c) == 'U') is_signed = false;
  }
  unget();
  return give_value(e, static_cast<std::int64_t>(value), is_signed);
}

// Up to three digits of `radix`, the first of which may be in hand.
static std::int64_t read_escapeDigits(SourceChar c, std::uint32_t radix) {
  constexpr int ESCAPE_DIGITS = 3;
  std::int64_t value = 0;
  int count = 0;
  for (; count < ESCAPE_DIGITS && digit_value(c) < radix; count++) {
    value = value * radix + digit_value(c);
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
    default: return digit_value(c) < 8 ? read_escapeDigits(c, 8) : static_cast<std::int64_t>(c);
  }
}

// Behind the opening quote. A constant that its line does not close ends there, newline and all.
static token read_character(evaluator* e) {
  gInLiteral = true;
  const SourceChar first = in_skipMarkers();
  std::uint64_t value = 0;
  if (first != '\'') {
    value = static_cast<std::uint64_t>(first == '\\' ? read_escape() : static_cast<std::int64_t>(first));
    SourceChar c;
    while ((c = get()) != '\'' && c != '\n' && c != 0) {
      value = value * 256 + c;
      if (!is_skipped(e)) alert(174u, static_cast<char>(c));
    }
  }
  gInLiteral = false;
  return give_value(e, static_cast<std::int64_t>(value), true);
}

// `defined X` or `defined(X)`, behind the word.
static token read_defined(evaluator* e) {
  SourceChar c = skip_ws();
  const bool in_parens = c == '(';
  if (in_parens) c = skip_ws();
  if (char_class(c) != CC_LETTER) return fail(127);
  const bool defined = scan_lookup(c) != nullptr;
  if (in_parens && skip_ws() != ')') return fail(127);
  return give_value(e, defined, true);
}

static token read_word(evaluator* e) {
  if (sc_compareNarrow(gToken, "defined") == 0) return read_defined(e);
  if (sc_compareNarrow(gToken, "sizeof") != 0) return give_value(e, 0, true);
  std::int64_t size;
  if (!type_readSizeof(&size)) return kFailed;
  return give_value(e, size, false);
}

// --- Operators ---

static token give_operator(std::uint8_t op) { return {TOKEN_OPERATOR, op}; }

// `doubled` if `c` stands twice, else `single`.
static token read_doubled(SourceChar c, std::uint8_t doubled, std::uint8_t single) {
  if (in_skipMarkers() == c) return give_operator(doubled);
  unget();
  return give_operator(single);
}

static token read_comparison(SourceChar c, std::uint8_t doubled, std::uint8_t with_equal, std::uint8_t single) {
  const SourceChar next = in_skipMarkers();
  if (next == c) return give_operator(doubled);
  if (next == '=') return give_operator(with_equal);
  unget();
  return give_operator(single);
}

static token read_equal() {
  if (in_skipMarkers() == '=') return give_operator(OP_EQUAL);
  unget();
  return fail(128);
}

static token read_not() {
  if (in_skipMarkers() == '=') return give_operator(OP_NOT_EQUAL);
  unget();
  return give_operator(OP_NOT);
}

static token read_operator(SourceChar c, int code) {
  switch (c) {
    case '=': return read_equal();
    case '!': return read_not();
    case '&': return read_doubled(c, OP_AND_IF, OP_AND);
    case '|': return read_doubled(c, OP_OR_ELSE, OP_OR);
    case '<': return read_comparison(c, OP_SHIFT_LEFT, OP_LESS_EQUAL, OP_LESS);
    case '>': return read_comparison(c, OP_SHIFT_RIGHT, OP_GREATER_EQUAL, OP_GREATER);
    case '~': return give_operator(OP_COMPLEMENT);
    case '\\': return get() == '\n' ? token{TOKEN_AGAIN, 0} : fail(129);
    default: return code > OP_BOTTOM ? fail(119) : give_operator(static_cast<std::uint8_t>(code));
  }
}

static token refuse_character(const evaluator* e, SourceChar c) {
  if (is_skipped(e)) return kFailed;
  if (c >= ' ' && c <= '~') {
    alert(124u, static_cast<char>(c));
  } else if (c >= CH_STRINGIZE && c <= CH_MACRO_END) {
    alert(1500u);
  } else {
    alert(125u, static_cast<int>(c));
  }
  return kFailed;
}

static token read_token(evaluator* e) {
  const SourceChar c = scan_expandName(skip_ws());
  if (c == '\n' || c == 0) {
    unget();
    return give_operator(OP_END);
  }
  const int code = char_class(c);
  if (char_canCatenate(code) && scan_catenate(c)) return {TOKEN_AGAIN, 0};
  switch (code) {
    case CC_OTHER: return refuse_character(e, c);
    case CC_QUOTE: return c == '\'' ? read_character(e) : fail(126);
    case CC_LETTER: return read_word(e);
    case CC_DIGIT: return read_number(e, c);
    default: return read_operator(c, code);
  }
}

// --- Reducing ---

static bool is_unary(std::uint8_t op) { return op >= OP_UNARY_PLUS && op <= OP_NOT; }

static std::int64_t divide(const evaluator* e, std::uint8_t op, if_value left, if_value right, bool is_signed) {
  if (right.value == 0) {
    if (e->top[1].skip == 0) alert(op == OP_DIVIDE ? 175u : 990u);
    return 0;
  }
  const auto a = static_cast<std::uint64_t>(left.value);
  const auto b = static_cast<std::uint64_t>(right.value);
  if (!is_signed) return static_cast<std::int64_t>(op == OP_DIVIDE ? a / b : a % b);
  // The most negative value has no negative: by -1 it stays what it is, with nothing left over.
  if (right.value == -1) return op == OP_DIVIDE ? static_cast<std::int64_t>(0 - a) : 0;
  return op == OP_DIVIDE ? left.value / right.value : left.value % right.value;
}

static std::int64_t shift_right(if_value left, std::uint32_t count) {
  const auto bits = static_cast<std::uint64_t>(left.value) >> count;
  if (!left.is_signed || left.value >= 0 || count == 0) return static_cast<std::int64_t>(bits);
  return static_cast<std::int64_t>(bits | ~(~std::uint64_t{0} >> count));
}

static std::int64_t apply_binary(const evaluator* e, std::uint8_t op, if_value left, if_value right) {
  const bool is_signed = left.is_signed && right.is_signed;
  const auto a = static_cast<std::uint64_t>(left.value);
  const auto b = static_cast<std::uint64_t>(right.value);
  const bool less = is_signed ? left.value < right.value : a < b;
  const auto count = static_cast<std::uint32_t>(b & 63);
  switch (op) {
    case OP_PLUS: return static_cast<std::int64_t>(a + b);
    case OP_MINUS: return static_cast<std::int64_t>(a - b);
    case OP_TIMES: return static_cast<std::int64_t>(a * b);
    case OP_DIVIDE:
    case OP_MODULUS: return divide(e, op, left, right, is_signed);
    case OP_SHIFT_LEFT: return static_cast<std::int64_t>(a << count);
    case OP_SHIFT_RIGHT: return shift_right(left, count);
    case OP_AND: return static_cast<std::int64_t>(a & b);
    case OP_OR: return static_cast<std::int64_t>(a | b);
    case OP_XOR: return static_cast<std::int64_t>(a ^ b);
    case OP_EQUAL: return a == b;
    case OP_NOT_EQUAL: return a != b;
    case OP_LESS: return less;
    case OP_LESS_EQUAL: return less || a == b;
    case OP_GREATER_EQUAL: return !less;
    case OP_GREATER: return !less && a != b;
    case OP_AND_IF: return a != 0 && b != 0;
    default: return a != 0 || b != 0;  // OP_OR_ELSE: no other code reaches the stack
  }
}

static if_value* top_value(evaluator* e) { return &e->values[e->value_count - 1]; }

static void reduce_unary(evaluator* e, std::uint8_t op) {
  if_value* operand = top_value(e);
  const auto bits = static_cast<std::uint64_t>(operand->value);
  switch (op) {
    case OP_UNARY_MINUS: operand->value = static_cast<std::int64_t>(0 - bits); break;
    case OP_COMPLEMENT: operand->value = static_cast<std::int64_t>(~bits); break;
    case OP_NOT: operand->value = bits == 0; break;
    default: break;
  }
}

static void reduce_binary(evaluator* e, std::uint8_t op) {
  const if_value right = *top_value(e);
  e->value_count--;
  if_value* left = top_value(e);
  left->value = apply_binary(e, op, *left, right);
  left->is_signed = left->is_signed && right.is_signed;
}

static void reduce_choice(evaluator* e) {
  if_value* condition = &e->values[e->value_count - 3];
  const if_value chosen = condition->value != 0 ? condition[1] : condition[2];
  *condition = {chosen.value, condition[1].is_signed && condition[2].is_signed};
  e->value_count -= 2;
}

enum reduction { REDUCED, NEXT_TOKEN, FINISHED, FAILED };

static reduction fail_at(unsigned number, std::uint8_t op) {
  alert(number, kOperators[op].text);
  return FAILED;
}

// Reduces the top entry for the operator that arrives.
static reduction reduce(evaluator* e, std::uint8_t arriving) {
  const std::uint8_t op = e->top->op;
  switch (op) {
    case OP_BOTTOM: return arriving == OP_END ? FINISHED : NEXT_TOKEN;  // a `)` without a `(` is dropped
    case OP_OPEN:
      if (arriving != OP_CLOSE) return fail_at(122, arriving);
      e->top--;
      return NEXT_TOKEN;
    case OP_QUESTION: return NEXT_TOKEN;  // no `:` yet: what arrives is dropped
    case OP_COLON:
      if (e->top[-1].op != OP_QUESTION) return fail_at(123, e->top[-1].op);
      e->top -= 2;
      reduce_choice(e);
      return REDUCED;
    default:
      e->top--;
      if (is_unary(op)) {
        reduce_unary(e, op);
      } else {
        reduce_binary(e, op);
      }
      return REDUCED;
  }
}

// --- Pushing ---

static std::uint8_t skip_behind(evaluator* e, std::uint8_t op) {
  const std::uint8_t skip = e->top->skip;
  const bool is_zero = e->value_count == 0 || top_value(e)->value == 0;
  switch (op) {
    case OP_AND_IF: return is_zero ? SKIP_LOGIC : skip;
    case OP_OR_ELSE: return is_zero ? skip : SKIP_LOGIC;
    case OP_QUESTION: return static_cast<std::uint8_t>((skip & SKIP_LOGIC) | (is_zero ? SKIP_BRANCH : 0));
    case OP_COLON: return static_cast<std::uint8_t>((skip & (SKIP_LOGIC | SKIP_BRANCH)) ^ SKIP_BRANCH);
    default: return skip;
  }
}

static reduction push_operator(evaluator* e, std::uint8_t op, std::uint8_t byte) {
  if (e->top == e->ops + IF_OPERATORS_MAX - 1) return fail_at(121, op);
  const std::uint8_t skip = skip_behind(e, op);
  const std::uint8_t prec = op == OP_OPEN ? OPEN_PUSHED : op == OP_QUESTION ? QUESTION_PUSHED : byte;
  *++e->top = {op, prec, skip};
  return NEXT_TOKEN;
}

static reduction push_value(evaluator* e) {
  if (e->binop || e->value_count == IF_VALUES_MAX) {
    alert(e->binop ? 117u : 118u);
    return FAILED;
  }
  e->values[e->value_count++] = e->token;
  e->binop = true;
  return NEXT_TOKEN;
}

static reduction apply_operator(evaluator* e, std::uint8_t op) {
  std::uint8_t byte = kOperators[op].byte;
  if (!e->binop && (op == OP_MINUS || op == OP_PLUS)) {
    op = op == OP_MINUS ? OP_UNARY_MINUS : OP_UNARY_PLUS;
    byte = UNARY_BYTE;
  } else if (((byte & NEEDS_VALUE) != 0) != e->binop) {
    return fail_at(120, op);
  }
  e->binop = (byte & THEN_OPERATOR) != 0;
  // A unary operator reduces nothing, and a `?` stops at a `:`, so that both group from the right.
  while (!is_unary(op) && e->top->prec >= byte && !(op == OP_QUESTION && e->top->op == OP_COLON)) {
    const reduction result = reduce(e, op);
    if (result != REDUCED) return result;
  }
  return push_operator(e, op, byte);
}

int eval_if() {
  evaluator e;
  e.top = e.ops;
  e.ops[0] = {OP_BOTTOM, BOTTOM_PUSHED, 0};
  e.value_count = 0;
  e.binop = false;
  for (;;) {
    const token t = read_token(&e);
    if (t.kind == TOKEN_AGAIN) continue;
    if (t.kind == TOKEN_FAILED) return 1;
    const reduction result = t.kind == TOKEN_VALUE ? push_value(&e) : apply_operator(&e, t.op);
    if (result == FAILED) return 1;
    if (result == FINISHED) return e.value_count > 0 && top_value(&e)->value != 0;
  }
}
