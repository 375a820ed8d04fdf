// The string operations on units.
#include "preprocessor/sourcechar.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"

SourceChar* sc_fromNarrow(SourceChar* destination, const char* source) {
  SourceChar* to = destination;
  while ((*to++ = static_cast<unsigned char>(*source++)) != 0) {
  }
  return destination;
}

SourceChar* sc_fromNarrowN(SourceChar* destination, const char* source, std::uint32_t n) {
  bool ended = false;
  for (std::uint32_t i = 0; i < n; i++) {
    destination[i] = ended ? 0 : static_cast<unsigned char>(source[i]);
    ended = ended || destination[i] == 0;
  }
  return destination;
}

char* sc_toNarrow(char* destination, const SourceChar* source) {
  char* to = destination;
  while (*source != 0) *to++ = static_cast<char>(*source++ & 0xff);
  *to = 0;
  return destination;
}

char* sc_narrowDup(const SourceChar* source) { return sc_toNarrow(mem_array<char>(sc_length(source) + 1), source); }

SourceChar* sc_wideDup(const char* source) {
  return sc_fromNarrow(mem_array<SourceChar>(static_cast<std::uint32_t>(std::strlen(source)) + 1), source);
}

SourceChar* sc_dup(const SourceChar* source) { return sc_dupN(source, sc_length(source)); }

SourceChar* sc_dupN(const SourceChar* source, std::uint32_t length) {
  auto* copy = mem_array<SourceChar>(length + 1);
  std::memcpy(copy, source, length * sizeof(SourceChar));
  return copy;
}

void sc_write(const SourceChar* text, std::FILE* stream) {
  for (; *text != 0; text++) {
    if (!ch_isSilent(*text)) std::putc(static_cast<int>(*text & 0xff), stream);
  }
}

void sc_alert(unsigned number, const SourceChar* text) {
  char* narrow = sc_narrowDup(text);
  alert(number, static_cast<const char*>(narrow));
  std::free(narrow);
}

std::uint32_t sc_toInt(const SourceChar* source) {
  std::uint32_t value = 0;
  for (; char_isDigit(*source); source++) value = value * 10 + (*source - '0');
  return value;
}

SourceChar* sc_findLast(SourceChar* source, SourceChar unit) {
  SourceChar* found = nullptr;
  for (; *source != 0; source++) {
    if (*source == unit) found = source;
  }
  return found;
}

int sc_compare(const SourceChar* a, const SourceChar* b) {
  while (*a == *b && *a != 0) {
    a++;
    b++;
  }
  const auto left = static_cast<std::int32_t>(*a);
  const auto right = static_cast<std::int32_t>(*b);
  return left > right ? 1 : left < right ? -1 : 0;
}

std::int32_t sc_compareNarrow(const SourceChar* a, const char* b) {
  for (;; a++, b++) {
    const auto wide = static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(*b)));
    if (*a != wide || *a == 0) return static_cast<std::int32_t>(*a - wide);
  }
}

SourceChar* sc_copy(SourceChar* destination, const SourceChar* source) {
  std::memcpy(destination, source, (sc_length(source) + 1) * sizeof(SourceChar));
  return destination;
}

std::uint32_t sc_length(const SourceChar* source) {
  const SourceChar* end = source;
  while (*end != 0) end++;
  return static_cast<std::uint32_t>(end - source);
}

void sc_lower(SourceChar* source) {
  if (source == nullptr) return;
  for (; *source != 0; source++) {
    if (*source - 'A' < 26) *source += 'a' - 'A';
  }
}
