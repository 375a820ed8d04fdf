// The compatibility mode, the version banner and the language codes: what all tools of the chain share.
#ifndef COMMON_CMODE_H
#define COMMON_CMODE_H

#include <cstdint>

// Each mode is one bit, so that several can be tested with one mask.
enum cmode_value : std::uint32_t {
  CMODE_LKS = 1,
  CMODE_D36 = 2,
  CMODE_D36E = 4,
  CMODE_VLASM = 8,
  CMODE_VLLINK = 16,
  CMODE_VLLIB = 32,
  CMODE_GCI = 64,
  CMODE_WBC = 128
};

// Selects the mode of exactly that name and returns its value. With an unknown name the mode is 0 and a raw
// alert line says "Unknown cmode (%s)".
std::uint32_t cmode_set(const char* name);

// The current mode, 0 at program start.
std::uint32_t cmode_get();

// The low 8 bits: `mask` and the mode ANDed. Higher bits of `mask` come back unchanged.
std::uint32_t cmode_has(std::uint32_t mask);

// Writes the version banner to the stream of standard output.
void banner_print();

// The two-letter code of a language: 7 is "de", 12 is "fr", any other "en".
const char* lang_code(int number);

#endif
