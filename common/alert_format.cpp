// The formatter of message texts; see the header for what a wrong text does.
#include "common/alert_format.h"

#include <cstring>

namespace {

// No line of the program is longer, so a larger width or precision can only hide the text.
constexpr std::uint32_t FORMAT_WIDTH_MAX = 8191;

constexpr std::uint32_t NO_PRECISION = ~0u;

// Where the result goes. `end` is the last byte of the buffer, which is kept for the terminator.
struct out_buffer {
  char* at;
  char* end;
};

// Where the conversions of a text take their arguments from; the first known one decides.
enum arg_order : std::uint8_t { ORDER_OPEN, ORDER_NEXT, ORDER_INDEXED };

// One conversion of the text, between its `%` and the character behind it.
struct conversion {
  arg_order order;      // ORDER_NEXT, or ORDER_INDEXED
  std::uint32_t index;  // of the argument, from 1
  bool left;            // -
  bool plus;            // +
  bool blank;           // space
  bool zero;            // 0
  bool alt;             // #
  std::uint32_t width;
  std::uint32_t precision;
  char letter;       // 0 if the text ends first
  const char* next;  // behind the letter
};

void put(out_buffer& out, const char* text, std::size_t length) {
  const auto room = static_cast<std::size_t>(out.end - out.at);
  if (length > room) length = room;
  std::memcpy(out.at, text, length);
  out.at += length;
}

void put_repeated(out_buffer& out, char c, std::size_t count) {
  const auto room = static_cast<std::size_t>(out.end - out.at);
  if (count > room) count = room;
  std::memset(out.at, c, count);
  out.at += count;
}

// Reads digits; a number beyond FORMAT_WIDTH_MAX gives `excess`.
std::uint32_t read_number(const char*& at, std::uint32_t excess) {
  std::uint32_t value = 0;
  for (; *at >= '0' && *at <= '9'; at++) {
    if (value <= FORMAT_WIDTH_MAX) value = value * 10 + static_cast<std::uint32_t>(*at - '0');
  }
  return value > FORMAT_WIDTH_MAX ? excess : value;
}

void read_flags(conversion& c, const char*& at) {
  for (;; at++) {
    switch (*at) {
      case '-': c.left = true; break;
      case '+': c.plus = true; break;
      case ' ': c.blank = true; break;
      case '0': c.zero = true; break;
      case '#': c.alt = true; break;
      default: return;
    }
  }
}

// Reads the `2$` of `%2$s`.
void read_index(conversion& c, const char*& at) {
  const char* digits = at;
  c.index = read_number(at, 0);
  c.order = at != digits && *at == '$' ? ORDER_INDEXED : ORDER_NEXT;
  at = c.order == ORDER_INDEXED ? at + 1 : digits;  // digits alone are flags and a width
}

// Reads a conversion; `at` is behind its `%`.
conversion read_conversion(const char* at) {
  conversion c = {};
  c.precision = NO_PRECISION;
  read_index(c, at);
  read_flags(c, at);
  c.width = read_number(at, 0);
  if (*at == '.') {
    at++;
    c.precision = read_number(at, NO_PRECISION);
  }
  while (*at != 0 && std::strchr("hljztL", *at) != nullptr) at++;
  c.letter = *at;
  c.next = c.letter == 0 ? at : at + 1;
  return c;
}

// Puts `body` behind `prefix`, with zeros between them up to the precision, filled up to the width.
void put_padded(out_buffer& out, const conversion& c, const char* prefix, const char* body, std::size_t length) {
  const std::size_t prefix_length = std::strlen(prefix);
  std::size_t zeros = 0;
  if (c.precision != NO_PRECISION && c.precision > length) zeros = c.precision - length;
  std::size_t used = prefix_length + zeros + length;
  if (c.zero && !c.left && c.precision == NO_PRECISION && c.width > used) {
    zeros = c.width - used;
    used = c.width;
  }
  const std::size_t fill = c.width > used ? c.width - used : 0;
  if (!c.left) put_repeated(out, ' ', fill);
  put(out, prefix, prefix_length);
  put_repeated(out, '0', zeros);
  put(out, body, length);
  if (c.left) put_repeated(out, ' ', fill);
}

void put_number(out_buffer& out, const conversion& c, const char* prefix, std::uint32_t value, std::uint32_t base) {
  const char* alphabet = c.letter == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  char digits[12];  // of the largest number in base 8, and its sign of that base
  char* const end = digits + sizeof digits;
  char* first = end;
  for (; value != 0; value /= base) *--first = alphabet[value % base];
  const bool shows_sign = base == 8 && c.alt;  // which is a 0, and no second one for the number 0
  if (shows_sign || (first == end && c.precision != 0)) *--first = '0';
  put_padded(out, c, prefix, first, static_cast<std::size_t>(end - first));
}

void put_signed(out_buffer& out, const conversion& c, std::uint32_t value) {
  if (value > 0x7fffffffu) {
    put_number(out, c, "-", 0u - value, 10);
  } else {
    put_number(out, c, c.plus ? "+" : c.blank ? " " : "", value, 10);
  }
}

void put_hex(out_buffer& out, const conversion& c, std::uint32_t value) {
  put_number(out, c, !c.alt || value == 0 ? "" : c.letter == 'X' ? "0X" : "0x", value, 16);
}

// Strings and characters are filled with blanks only.
void put_text(out_buffer& out, conversion c, const char* text, std::size_t length) {
  c.zero = false;
  c.precision = NO_PRECISION;
  put_padded(out, c, "", text, length);
}

// An absent string shows as "(null)", or as nothing where the precision would cut that.
void put_string(out_buffer& out, const conversion& c, const char* text) {
  const char* shown = text != nullptr ? text : c.precision >= 6 ? "(null)" : "";
  put_text(out, c, shown, c.precision == NO_PRECISION ? std::strlen(shown) : strnlen(shown, c.precision));
}

bool is_known(char letter) { return letter != 0 && std::strchr("diouxXcs", letter) != nullptr; }

// Puts an argument that may be of another kind than the conversion expects.
void put_argument(out_buffer& out, conversion c, const alert_arg& arg) {
  if (arg.kind == alert_arg::TEXT) {
    if (c.letter != 's') c.precision = NO_PRECISION;
    put_string(out, c, arg.text);
    return;
  }
  if (c.letter == 's') {
    c.precision = NO_PRECISION;
    c.letter = arg.kind == alert_arg::INT ? 'd' : arg.kind == alert_arg::CHAR ? 'c' : 'u';
  }
  switch (c.letter) {
    case 'c': {
      const char byte = static_cast<char>(arg.number);
      put_text(out, c, &byte, 1);
      break;
    }
    case 'u': put_number(out, c, "", arg.number, 10); break;
    case 'o': put_number(out, c, "", arg.number, 8); break;
    case 'x':
    case 'X': put_hex(out, c, arg.number); break;
    default: put_signed(out, c, arg.number); break;
  }
}

// The arguments of one text, and which of them its conversions have taken.
struct arg_list {
  const alert_arg* args;
  unsigned count;
  unsigned taken;
  arg_order order;
};

// The argument that a conversion asks for, absent if there is none.
const alert_arg* take_argument(arg_list& list, const conversion& c) {
  if (!is_known(c.letter)) return nullptr;
  if (list.order == ORDER_OPEN) list.order = c.order;
  if (c.order != list.order) return nullptr;
  const std::uint32_t index = c.order == ORDER_INDEXED ? c.index : list.taken + 1;
  if (index == 0 || index > list.count) return nullptr;
  list.taken = index;
  return &list.args[index - 1];
}

}  // namespace

std::uint32_t alert_format(char* out, std::uint32_t size, const char* format, const alert_arg* args, unsigned count) {
  out_buffer buffer = {out, out + size - 1};
  arg_list list = {args, count, 0, ORDER_OPEN};
  for (const char* at = format; *at != 0;) {
    const char* percent = strchrnul(at, '%');
    put(buffer, at, static_cast<std::size_t>(percent - at));
    if (*percent == 0) break;
    const conversion c = read_conversion(percent + 1);
    if (c.letter == '%') {
      put(buffer, "%", 1);
    } else if (const alert_arg* arg = take_argument(list, c)) {
      put_argument(buffer, c, *arg);
    } else {
      put(buffer, percent, static_cast<std::size_t>(c.next - percent));
    }
    at = c.next;
  }
  *buffer.at = 0;
  return static_cast<std::uint32_t>(buffer.at - out);
}
