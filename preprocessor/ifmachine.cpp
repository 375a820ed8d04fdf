// The table of operators, and the machine that reduces them.
#include "preprocessor/ifmachine.h"

// What binds tighter stands on a higher level.
enum if_level : std::uint8_t {
  LEVEL_END,
  LEVEL_CLOSE,     // `)`, and a `(` on the stack: nothing but its partner reduces it
  LEVEL_BOTTOM,    // reduced by the two above, the ends
  LEVEL_QUESTION,  // a `?` on the stack, which waits for its `:`
  LEVEL_CHOICE,
  LEVEL_OR_ELSE,
  LEVEL_AND_IF,
  LEVEL_OR,
  LEVEL_XOR,
  LEVEL_AND,
  LEVEL_EQUALITY,
  LEVEL_RELATION,
  LEVEL_SHIFT,
  LEVEL_SUM,
  LEVEL_PRODUCT,
  LEVEL_UNARY,
  LEVEL_OPEN,
};

enum operator_place : bool { AHEAD_OF_VALUE = false, BEHIND_VALUE = true };
enum operator_successor : bool { THEN_OPERAND = false, THEN_OPERATOR = true };

struct operator_row {
  if_level level;               // with which it arrives
  if_level pushed;              // with which it lies on the stack
  operator_place place;         // anywhere else: 120
  operator_successor followed;  // what comes next
  char text[20];                // in messages
};

constexpr operator_row kUnused = {LEVEL_END, LEVEL_END, AHEAD_OF_VALUE, THEN_OPERAND, ""};

constexpr operator_row kOperators[] = {
    {LEVEL_END, LEVEL_END, BEHIND_VALUE, THEN_OPERAND, "end of expression"},
    kUnused,
    kUnused,
    {LEVEL_SUM, LEVEL_SUM, BEHIND_VALUE, THEN_OPERAND, "+"},
    {LEVEL_SUM, LEVEL_SUM, BEHIND_VALUE, THEN_OPERAND, "-"},
    {LEVEL_PRODUCT, LEVEL_PRODUCT, BEHIND_VALUE, THEN_OPERAND, "*"},
    {LEVEL_PRODUCT, LEVEL_PRODUCT, BEHIND_VALUE, THEN_OPERAND, "/"},
    {LEVEL_PRODUCT, LEVEL_PRODUCT, BEHIND_VALUE, THEN_OPERAND, "%"},
    {LEVEL_SHIFT, LEVEL_SHIFT, BEHIND_VALUE, THEN_OPERAND, "<<"},
    {LEVEL_SHIFT, LEVEL_SHIFT, BEHIND_VALUE, THEN_OPERAND, ">>"},
    {LEVEL_AND, LEVEL_AND, BEHIND_VALUE, THEN_OPERAND, "&"},
    {LEVEL_OR, LEVEL_OR, BEHIND_VALUE, THEN_OPERAND, "|"},
    {LEVEL_XOR, LEVEL_XOR, BEHIND_VALUE, THEN_OPERAND, "^"},
    {LEVEL_EQUALITY, LEVEL_EQUALITY, BEHIND_VALUE, THEN_OPERAND, "=="},
    {LEVEL_EQUALITY, LEVEL_EQUALITY, BEHIND_VALUE, THEN_OPERAND, "!="},
    {LEVEL_RELATION, LEVEL_RELATION, BEHIND_VALUE, THEN_OPERAND, "<"},
    {LEVEL_RELATION, LEVEL_RELATION, BEHIND_VALUE, THEN_OPERAND, "<="},
    {LEVEL_RELATION, LEVEL_RELATION, BEHIND_VALUE, THEN_OPERAND, ">="},
    {LEVEL_RELATION, LEVEL_RELATION, BEHIND_VALUE, THEN_OPERAND, ">"},
    {LEVEL_AND_IF, LEVEL_AND_IF, BEHIND_VALUE, THEN_OPERAND, "&&"},
    {LEVEL_OR_ELSE, LEVEL_OR_ELSE, BEHIND_VALUE, THEN_OPERAND, "||"},
    {LEVEL_CHOICE, LEVEL_QUESTION, BEHIND_VALUE, THEN_OPERAND, "?"},
    {LEVEL_CHOICE, LEVEL_CHOICE, BEHIND_VALUE, THEN_OPERAND, ":"},
    kUnused,
    {LEVEL_UNARY, LEVEL_UNARY, AHEAD_OF_VALUE, THEN_OPERAND, "unary +"},
    {LEVEL_UNARY, LEVEL_UNARY, AHEAD_OF_VALUE, THEN_OPERAND, "unary -"},
    {LEVEL_UNARY, LEVEL_UNARY, AHEAD_OF_VALUE, THEN_OPERAND, "~"},
    {LEVEL_UNARY, LEVEL_UNARY, AHEAD_OF_VALUE, THEN_OPERAND, "!"},
    {LEVEL_OPEN, LEVEL_CLOSE, AHEAD_OF_VALUE, THEN_OPERAND, "("},
    {LEVEL_CLOSE, LEVEL_CLOSE, BEHIND_VALUE, THEN_OPERATOR, ")"},
    {LEVEL_BOTTOM, LEVEL_BOTTOM, BEHIND_VALUE, THEN_OPERATOR, "(none)"},
};
static_assert(sizeof kOperators / sizeof kOperators[0] == OP_BOTTOM + 1);

void if_begin(evaluator* e, bool quiet) {
  e->top = e->ops;
  e->ops[0] = {OP_BOTTOM, LEVEL_BOTTOM, 0};
  e->value_count = 0;
  e->value_due = e->unusual = false;
  e->quiet = quiet;
}

template <class... A>
static void complain(evaluator* e, unsigned number, A... arguments) {
  if (e->quiet) {
    e->unusual = true;
  } else {
    alert(number, arguments...);
  }
}

[[gnu::cold]] static if_step fail_at(evaluator* e, unsigned number, std::uint8_t op) {
  complain(e, number, static_cast<const char*>(kOperators[op].text));
  return IF_FAILED;
}

// --- Reducing ---

static bool is_unary(std::uint8_t op) { return op >= OP_UNARY_PLUS && op <= OP_NOT; }

static std::int64_t divide(evaluator* e, std::uint8_t op, if_value left, if_value right, bool is_signed) {
  if (right.value == 0) {
    if (e->top[1].skip == 0) complain(e, op == OP_DIVIDE ? 175u : 990u);
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

static bool is_less(if_value left, if_value right, bool is_signed) {
  if (is_signed) return left.value < right.value;
  return static_cast<std::uint64_t>(left.value) < static_cast<std::uint64_t>(right.value);
}

static std::int64_t apply_binary(evaluator* e, std::uint8_t op, if_value left, if_value right, bool is_signed) {
  constexpr std::uint64_t COUNT_MASK = 63;
  const auto a = static_cast<std::uint64_t>(left.value);
  const auto b = static_cast<std::uint64_t>(right.value);
  switch (op) {
    case OP_PLUS: return static_cast<std::int64_t>(a + b);
    case OP_MINUS: return static_cast<std::int64_t>(a - b);
    case OP_TIMES: return static_cast<std::int64_t>(a * b);
    case OP_DIVIDE:
    case OP_MODULUS: return divide(e, op, left, right, is_signed);
    case OP_SHIFT_LEFT: return static_cast<std::int64_t>(a << (b & COUNT_MASK));
    case OP_SHIFT_RIGHT: return shift_right(left, static_cast<std::uint32_t>(b & COUNT_MASK));
    case OP_AND: return static_cast<std::int64_t>(a & b);
    case OP_OR: return static_cast<std::int64_t>(a | b);
    case OP_XOR: return static_cast<std::int64_t>(a ^ b);
    case OP_EQUAL: return a == b;
    case OP_NOT_EQUAL: return a != b;
    case OP_LESS: return is_less(left, right, is_signed);
    case OP_LESS_EQUAL: return !is_less(right, left, is_signed);
    case OP_GREATER_EQUAL: return !is_less(left, right, is_signed);
    case OP_GREATER: return is_less(right, left, is_signed);
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
  e->value_count--;
  if_value* left = top_value(e);
  const bool is_signed = left[0].is_signed && left[1].is_signed;
  *left = {apply_binary(e, op, left[0], left[1], is_signed), is_signed};
}

static void reduce_choice(evaluator* e) {
  if_value* condition = &e->values[e->value_count - 3];
  const if_value chosen = condition->value != 0 ? condition[1] : condition[2];
  *condition = {chosen.value, condition[1].is_signed && condition[2].is_signed};
  e->value_count -= 2;
}

// The entries that are neither binary nor unary. Anything but IF_REDUCED: the operator that arrives is used up.
static if_step reduce_structure(evaluator* e, std::uint8_t op, std::uint8_t arriving) {
  switch (op) {
    case OP_OPEN:
      if (arriving != OP_CLOSE) return fail_at(e, 122, arriving);
      e->top--;
      return IF_GOES_ON;
    case OP_QUESTION: return IF_GOES_ON;  // no `:` yet: what arrives is dropped
    case OP_COLON:
      if (e->top[-1].op != OP_QUESTION) return fail_at(e, 123, e->top[-1].op);
      e->top -= 2;
      reduce_choice(e);
      return IF_REDUCED;
    default: return arriving == OP_END ? IF_FINISHED : IF_GOES_ON;  // the bottom: a `)` without a `(` is dropped
  }
}

static bool is_binary(std::uint8_t op) { return op >= OP_PLUS && op <= OP_OR_ELSE; }

// Reduces the top entry for the operator that arrives.
static if_step reduce(evaluator* e, std::uint8_t arriving) {
  const std::uint8_t op = e->top->op;
  if (!is_binary(op) && !is_unary(op)) return reduce_structure(e, op, arriving);
  e->top--;
  if (is_binary(op)) {
    reduce_binary(e, op);
  } else {
    reduce_unary(e, op);
  }
  return IF_REDUCED;
}

// --- Pushing ---

// The skip state behind one of the operators that choose.
static std::uint8_t skip_behind(evaluator* e, std::uint8_t op) {
  const std::uint8_t skip = e->top->skip;
  const bool is_zero = e->value_count == 0 || top_value(e)->value == 0;
  switch (op) {
    case OP_AND_IF: return is_zero ? SKIP_LOGIC : skip;
    case OP_OR_ELSE: return is_zero ? skip : SKIP_LOGIC;
    case OP_QUESTION: return static_cast<std::uint8_t>((skip & SKIP_LOGIC) | (is_zero ? SKIP_BRANCH : 0));
    default: return static_cast<std::uint8_t>((skip & (SKIP_LOGIC | SKIP_BRANCH)) ^ SKIP_BRANCH);  // OP_COLON
  }
}

static bool is_choosing(std::uint8_t op) { return op >= OP_AND_IF && op <= OP_COLON; }

static if_step push_operator(evaluator* e, std::uint8_t op) {
  if (e->top == e->ops + IF_OPERATORS_MAX - 1) return fail_at(e, 121, op);
  const std::uint8_t skip = is_choosing(op) ? skip_behind(e, op) : e->top->skip;
  *++e->top = {op, kOperators[op].pushed, skip};
  return IF_GOES_ON;
}

[[gnu::cold]] if_step if_pushValueSlow(evaluator* e) {
  complain(e, e->value_due ? 117u : 118u);
  return IF_FAILED;
}

// Where an operand is due. These operators reduce nothing, so that they group from the right.
static if_step apply_prefix(evaluator* e, std::uint8_t op) {
  if (op == OP_MINUS) op = OP_UNARY_MINUS;
  if (op == OP_PLUS) op = OP_UNARY_PLUS;
  return kOperators[op].place == AHEAD_OF_VALUE ? push_operator(e, op) : fail_at(e, 120, op);
}

if_step if_applyOperator(evaluator* e, std::uint8_t op) {
  if (!e->value_due) return apply_prefix(e, op);
  const operator_row& row = kOperators[op];
  if (row.place != BEHIND_VALUE) return fail_at(e, 120, op);
  e->value_due = row.followed;
  // A `?` stops at a `:`, so that both group from the right.
  while (e->top->level >= row.level && !(op == OP_QUESTION && e->top->op == OP_COLON)) {
    const if_step step = reduce(e, op);
    if (step != IF_REDUCED) return step;
  }
  return push_operator(e, op);
}
