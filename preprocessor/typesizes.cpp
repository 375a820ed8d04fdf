// Types are named by a small set of words, each with a bit; a type is the OR of its words' bits.
#include "preprocessor/typesizes.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "preprocessor/cpp6.h"

enum type_bits : std::uint32_t {
  TYPE_CHAR = 0x001,
  TYPE_INT = 0x002,
  TYPE_FLOAT = 0x004,
  TYPE_DOUBLE = 0x008,
  TYPE_SHORT = 0x010,
  TYPE_LONG = 0x020,
  TYPE_SIGNED = 0x040,
  TYPE_UNSIGNED = 0x080,
  TYPE_POINTER = 0x100,   // a `*` behind the words
  TYPE_FUNCTION = 0x200,  // the pointer-to-function form
  TYPE_INT24 = 0x400,     // `short long` and its other names
};

struct type_word {
  const char* name;
  std::uint32_t mask;
};

constexpr type_word kTypeWords[] = {
    {"char", TYPE_CHAR},     {"int", TYPE_INT},        {"float", TYPE_FLOAT},   {"double", TYPE_DOUBLE},
    {"short", TYPE_SHORT},   {"long", TYPE_LONG},      {"signed", TYPE_SIGNED}, {"unsigned", TYPE_UNSIGNED},
    {"__int24", TYPE_INT24}, {"__uint24", TYPE_INT24},
};

// Of each mask a type may have one bit.
constexpr std::uint32_t kTypeConflicts[] = {
    TYPE_FLOAT | TYPE_DOUBLE | TYPE_SHORT | TYPE_LONG,
    TYPE_CHAR | TYPE_INT | TYPE_FLOAT | TYPE_DOUBLE,
    TYPE_FLOAT | TYPE_DOUBLE | TYPE_SIGNED | TYPE_UNSIGNED,
    TYPE_CHAR | TYPE_SHORT | TYPE_LONG,
};
static_assert(kTypeConflicts[0] == 0x3C && kTypeConflicts[1] == 0x0F && kTypeConflicts[2] == 0xCC &&
              kTypeConflicts[3] == 0x31);

struct type_size {
  std::uint32_t code;
  std::int16_t size;
  std::int16_t pointer_size;
};

static type_size gTypeSizes[] = {
    {TYPE_CHAR, 1, 8}, {TYPE_SHORT, 2, 8}, {TYPE_INT, 4, 8},    {TYPE_INT24, 6, 8},
    {TYPE_LONG, 8, 8}, {TYPE_FLOAT, 4, 8}, {TYPE_DOUBLE, 8, 8}, {TYPE_FUNCTION, 0, 8},
};
constexpr std::uint32_t TYPE_ROWS = sizeof gTypeSizes / sizeof gTypeSizes[0];
constexpr std::uint32_t INT24_ROW = 3;

// --- -S ---

// A list for six types leaves the 24-bit row out; commas are counted, not values.
static bool list_skipsInt24(const char* list, bool pointers) {
  std::uint32_t count = pointers ? 0 : 1;
  for (; *list != 0; list++) count += *list == ',';
  return count <= 6;
}

static std::uint32_t next_row(std::uint32_t row, bool skips_int24) {
  row++;
  return row == INT24_ROW && skips_int24 ? row + 1 : row;
}

void type_setSizes(const char* option) {
  const char* list = option + std::strlen("-S");
  const bool pointers = *list == '*' || *list == 'P';
  if (pointers) list++;
  const bool skips_int24 = list_skipsInt24(list, pointers);
  const std::uint32_t stop = pointers ? TYPE_ROWS : TYPE_ROWS - 1;
  std::uint32_t row = 0;
  while (row < stop) {
    while (*list != 0 && !char_isDigit(static_cast<unsigned char>(*list))) list++;
    if (*list == 0) {
      alert(166u, option);
      return;
    }
    std::uint32_t value = 0;
    for (; char_isDigit(static_cast<unsigned char>(*list)); list++) {
      value = value * 10 + static_cast<std::uint32_t>(*list - '0');
    }
    (pointers ? gTypeSizes[row].pointer_size : gTypeSizes[row].size) = static_cast<std::int16_t>(value);
    row = next_row(row, skips_int24);
  }
  if (*list != 0) alert(167u, list);
}

// --- The operand ---

struct type_operand {
  std::uint32_t types;         // bits
  const type_word* last_word;  // absent if none was read
};

static bool refuse(unsigned number) {
  alert(number);
  return false;
}

static bool refuse_syntax() {
  unget();
  return refuse(134);
}

static bool is_next(SourceChar c) { return skip_ws() == c; }

// Behind a second `(`: `*)`, and perhaps `()`.
static bool read_functionForm(type_operand* operand) {
  if (!is_next('*') || !is_next(')')) return refuse_syntax();
  if (!is_next('(')) {
    unget();
  } else if (!is_next(')')) {
    return refuse_syntax();
  }
  operand->types |= TYPE_FUNCTION;
  return true;
}

// The word in gToken.
static bool take_word(type_operand* operand) {
  for (const type_word& word : kTypeWords) {
    if (sc_compareNarrow(gToken, word.name) != 0) continue;
    operand->types |= word.mask;
    operand->last_word = &word;
    return true;
  }
  sc_alert(130u, gToken);
  return false;
}

static bool read_operand(type_operand* operand) {
  if (skip_ws() != '(') return refuse_syntax();
  for (;;) {
    SourceChar c = skip_ws();
    if (c != 0) c = scan_expandName(c);
    if (c == 0 || c == '\n') return refuse_syntax();
    if (c == '(') {
      if (!read_functionForm(operand)) return false;
      continue;
    }
    if (char_class(c) == CC_LETTER) {
      if (!scan_catenate(c) && !take_word(operand)) return false;
      continue;
    }
    if (c == '*') {
      operand->types |= TYPE_POINTER;
      c = skip_ws();
    }
    return c == ')' || refuse_syntax();
  }
}

// --- The type ---

static bool has_severalBits(std::uint32_t bits) { return (bits & (bits - 1)) != 0; }

// `*code` is the row to look for, `*flags` what the type was.
static bool resolve_type(std::uint32_t types, std::uint32_t* code, std::uint32_t* flags) {
  constexpr std::uint32_t SHORT_LONG = TYPE_SHORT | TYPE_LONG;
  for (std::uint32_t mask : kTypeConflicts) {
    if (!has_severalBits(types & mask)) continue;
    if ((types & SHORT_LONG) != SHORT_LONG) return refuse(131);
    *code = *flags = TYPE_INT24;
    return true;
  }
  if ((types & TYPE_FUNCTION) != 0) {
    *code = TYPE_FUNCTION;
    *flags = TYPE_FUNCTION | TYPE_POINTER;
    return true;
  }
  *flags = types & ~static_cast<std::uint32_t>(TYPE_SIGNED | TYPE_UNSIGNED);
  if ((types & SHORT_LONG) != 0) *flags &= ~static_cast<std::uint32_t>(TYPE_INT);
  *code = *flags & ~static_cast<std::uint32_t>(TYPE_POINTER);
  return *code != 0 || refuse(132);
}

static const type_size* find_row(std::uint32_t code) {
  for (const type_size& row : gTypeSizes) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

// The macro that serves better is named in the warning.
static void warn_aboutSizeof(const type_operand* operand, std::uint32_t flags) {
  constexpr std::uint32_t LONGEST_WORD = 16;
  char name[LONGEST_WORD] = "XXX";
  if (operand->last_word != nullptr) {
    std::uint32_t i = 0;
    for (const char* p = operand->last_word->name; *p != 0 && i < LONGEST_WORD - 1; p++) {
      name[i++] = static_cast<char>(char_upper(static_cast<unsigned char>(*p)));
    }
    name[i] = 0;
  }
  const bool short_long = operand->last_word != nullptr && flags == TYPE_INT24;
  alert(2035u, short_long ? "SHORT_LONG" : static_cast<const char*>(name));
}

bool type_readSizeof(std::int64_t* size) {
  type_operand operand = {0, nullptr};
  std::uint32_t code;
  std::uint32_t flags;
  if (!read_operand(&operand) || !resolve_type(operand.types, &code, &flags)) return false;
  const type_size* row = find_row(code);
  if (row == nullptr) {
    alert(133u, flags);
    return false;
  }
  const bool pointer = (flags & TYPE_POINTER) != 0;
  const std::int16_t value = pointer ? row->pointer_size : row->size;
  if (pointer) alert(1486u, static_cast<unsigned>(value));
  warn_aboutSizeof(&operand, flags);
  *size = value;
  return true;
}
