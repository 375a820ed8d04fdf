// The compatibility mode, the version banner and the language codes.
#include "common/cmode.h"

#include <cstdio>
#include <cstring>

#include "common/alert.h"

struct cmode_row {
  const char* name;
  cmode_value value;
};

constexpr cmode_row kModes[] = {
    {"lks", CMODE_LKS},       {"d36", CMODE_D36},     {"d36e", CMODE_D36E}, {"vlasm", CMODE_VLASM},
    {"vllink", CMODE_VLLINK}, {"vllib", CMODE_VLLIB}, {"gci", CMODE_GCI},   {"wbc", CMODE_WBC},
};

static std::uint32_t gMode;  // a cmode_value or 0

std::uint32_t cmode_set(const char* name) {
  gMode = 0;
  for (const cmode_row& row : kModes) {
    if (std::strcmp(row.name, name) == 0) return gMode = row.value;
  }
  alert_raw("Unknown cmode (%s)", name);
  return gMode;
}

std::uint32_t cmode_get() { return gMode; }

std::uint32_t cmode_has(std::uint32_t mask) { return mask & (gMode | ~0xffu); }

void banner_print() {
  constexpr const char* kProduct = "QV4";
  constexpr const char* kComponent = "preprocessor";
  constexpr const char* kVersion = QV4_VERSION;
  constexpr const char* kRelease = "";
  constexpr const char* kBuildNumber = "20200706181825";
  std::printf(
      "\nProduct:\t%s\nComponent:\t%s\nVersion:\t%s%c\nBuild date:\tJul  6 2020\nRelease:\t%s\nBuild number:\t%s\n",
      kProduct, kComponent, kVersion, ' ', kRelease, kBuildNumber);
}

const char* lang_code(int number) {
  switch (number) {
    case 7: return "de";
    case 12: return "fr";
    default: return "en";
  }
}
