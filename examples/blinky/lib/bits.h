/* Pins and bit fields. A pin is a name X with X_LETTER, the letter of its port, and X_BIT behind it. */
#ifndef BITS_H
#define BITS_H

#define BIT(n)                  (1u << (n))
#define MASK(width)             (BIT(width) - 1u)

#define JOIN_OF(a, b)           a##b
#define JOIN(a, b)              JOIN_OF(a, b)
#define TEXT_OF(x)              #x
#define TEXT(x)                 TEXT_OF(x)

#define PORT(pin)               JOIN(PORT_, pin##_LETTER)
#define DIRECTION(pin)          JOIN(DIRECTION_, pin##_LETTER)
#define TOGGLE(pin)             (PORT(pin) ^= BIT(pin##_BIT))
#define IS_SET(pin)             ((PORT(pin) & BIT(pin##_BIT)) != 0)
#define MAKE_OUTPUT(pin)        (DIRECTION(pin) |= BIT(pin##_BIT))

#define FIELD(name, value)      (((value) & MASK(name##_WIDTH)) << name##_SHIFT)

#endif
