// The machine that works out `#if` expressions: operator precedence over two stacks, of operators and of values.
//
// Who reads the tokens gives it one at a time, a value to if_pushValue and an operator to if_applyOperator. An
// operator that arrives first reduces what is on the stack, as long as the level of the top entry is at least its own,
// and is then pushed. `1 + 2 * 3 > 6`, with the operators' stack and the values' stack behind each token:
//
//   token   operators        values    what happens
//   1       (none)           1
//   +       (none) +         1         the bottom's level is below that of +
//   2       (none) +         1 2
//   *       (none) + *       1 2       + is below *: nothing to reduce yet
//   3       (none) + *       1 2 3
//   >       (none) >         7         * gives 6, then + gives 7: both are above >
//   6       (none) >         7 6
//   end     (none)           1         > gives 1; the end meets the bottom: finished
//
// Operands that do not count (behind `0 &&`, say) are read and computed all the same; a skip state that travels with
// each operator entry silences the messages about their values.
#ifndef PREPROCESSOR_IFMACHINE_H
#define PREPROCESSOR_IFMACHINE_H

#include <cstdint>

#include "common/alert.h"
#include "preprocessor/sourcechar.h"

constexpr std::uint32_t IF_OPERATORS_MAX = 128;  // entries, the bottom one included; more: 121
constexpr std::uint32_t IF_VALUES_MAX = 127;     // more: 118

// An operator of one character has the code of that character's class.
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
  OP_NONE = 31,  // no operator
};

struct if_value {
  std::int64_t value;  // two's complement
  bool is_signed;
};

// Bits of a skip state.
constexpr std::uint8_t SKIP_BRANCH = 1;  // the dead branch of ?:
constexpr std::uint8_t SKIP_LOGIC = 2;   // the dead side of && or ||

struct if_op {
  std::uint8_t op;
  std::uint8_t level;  // an if_level
  std::uint8_t skip;
};

struct evaluator {
  if_op* top;
  std::uint32_t value_count;
  bool value_due;  // false: an operand is due, true: an operator, which needs the value ahead of it
  bool quiet;      // nothing may be raised: `unusual` is set instead
  bool unusual;
  if_op ops[IF_OPERATORS_MAX];
  if_value values[IF_VALUES_MAX];
};

void if_begin(evaluator* e, bool quiet);

enum if_step {
  IF_GOES_ON,  // the next token is due
  IF_FINISHED,
  IF_FAILED,
  IF_REDUCED,  // within the machine: the top entry is gone
};

// Raise 117 and 118; 120 to 123, and 175 and 990, which do not fail.
if_step if_pushValueSlow(evaluator* e);
if_step if_applyOperator(evaluator* e, std::uint8_t op);

inline if_step if_pushValue(evaluator* e, std::int64_t value, bool is_signed) {
  if (e->value_due || e->value_count == IF_VALUES_MAX) return if_pushValueSlow(e);
  e->values[e->value_count++] = {value, is_signed};
  e->value_due = true;
  return IF_GOES_ON;
}

// Once finished.
inline bool if_result(const evaluator* e) { return e->value_count > 0 && e->values[e->value_count - 1].value != 0; }

inline bool if_isSkipped(const evaluator* e) { return e->top->skip != 0; }

#endif
