// The formatter of message texts: printf's conversions on typed arguments.
//
// What comes in: a text that may come from a file or the environment, and arguments whose types are
// known. What goes out: a string in a buffer of fixed size. A correct text prints what printf
// prints, byte for byte. A wrong one can't do harm:
//
//   %s, %d and so on for an argument of another kind   the argument in its own natural form
//   more conversions than arguments, %n, %*d, others   the conversion as it stands in the text
//   %0$s, %2$s with one argument                       the same
//   %s behind a %1$s, or %1$s behind a %s              the same: the first decides how arguments are told
//   a width beyond every line, for instance %99999d    no width
//   a lone % at the end                                %
//
// Known are %d %i %u %o %x %X %c %s and %%, the flags - + space 0 #, width and precision. The length
// modifiers of printf (h l j z t L) are passed over, as an argument knows its own size. %2$s is the
// second argument, so that a translation can change the order; arguments may be left out or repeated.
#ifndef COMMON_ALERT_FORMAT_H
#define COMMON_ALERT_FORMAT_H

#include <cstdint>

// One argument of a message text, with its type.
struct alert_arg {
  enum kind_t : std::uint8_t { INT, UNSIGNED, CHAR, TEXT };

  constexpr alert_arg() : kind(INT), number(0) {}
  constexpr explicit alert_arg(int value) : kind(INT), number(static_cast<std::uint32_t>(value)) {}
  constexpr explicit alert_arg(unsigned value) : kind(UNSIGNED), number(value) {}
  constexpr explicit alert_arg(char value) : kind(CHAR), number(static_cast<std::uint32_t>(int{value})) {}
  constexpr explicit alert_arg(const char* value) : kind(TEXT), text(value) {}

  kind_t kind;
  union {
    std::uint32_t number;
    const char* text;
  };
};

// Formats `format` with `count` arguments into `out`, which holds `size` bytes, at least 1. The
// result is cut at size - 1 characters and always terminated. Returns the number of characters
// stored, which may include a 0 byte if %c was given one.
std::uint32_t alert_format(char* out, std::uint32_t size, const char* format, const alert_arg* args, unsigned count);

#endif
