// Warnings of the debug facility about itself: options that make no sense, a package that can't be made.
#ifndef COMMON_DB_WARNING_H
#define COMMON_DB_WARNING_H

#include "common/alert.h"

constexpr unsigned DB_WARNING_BYTES = 256;  // the prefix and the longest format

// The format with "QVDEBUG (warning): " ahead of it, put into `buffer`, which is returned.
const char* db_warningFormat(char (&buffer)[DB_WARNING_BYTES], const char* format);

// One line on the alert stream, uncounted. `format` is a literal; arguments are typed as those of alerts.
template <class... A>
void db_warning(const char* format, A... args) {
  char buffer[DB_WARNING_BYTES];
  alert_raw(db_warningFormat(buffer, format), args...);
}

#endif
