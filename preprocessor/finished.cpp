// Keeping what an expansion has written.
#include "preprocessor/finished.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "preprocessor/grammar.h"
#include "preprocessor/output.h"
#include "preprocessor/state.h"

std::uint32_t gVolatileTexts;

finished_mark finished_begin() {
  return {gMacroGeneration, gAlertsRaised, gOutFlushes, gVolatileTexts, gLine, gOutPos, gLineStale};
}

static bool is_unchanged(const finished_mark* mark) {
  return mark->generation == gMacroGeneration && mark->alerts == gAlertsRaised && mark->flushes == gOutFlushes &&
         mark->volatiles == gVolatileTexts && mark->line == gLine && mark->stale == gLineStale;
}

static const SourceChar* behind_number(const SourceChar* at) {
  number_state state = *at == '.' ? number_beginDot() : number_begin(10);
  if (*at == '0') state = number_begin(number_radixBehindZero(at[1]));
  at += *at == '.' || (*at == '0' && state.radix != 8) ? 2 : 1;
  while (number_accepts(&state, *at)) at++;
  return at;
}

static const SourceChar* behind_literal(const SourceChar* at) {
  const SourceChar quote = *at++;
  while (*at != quote && *at != 0) at += *at == '\\' && at[1] != 0 ? 2 : 1;
  return *at == 0 ? at : at + 1;
}

// Could the text be another one with other macros? Not if no name begins in the body: it is its own outcome then.
static bool has_names(const SourceChar* at) {
  while (*at != 0) {
    const int code = char_class(*at);
    if (code == CC_LETTER) return true;
    if (code == CC_DIGIT || (code == CC_DOT && char_isDigit(at[1]))) {
      at = behind_number(at);
    } else {
      at = code == CC_QUOTE ? behind_literal(at) : at + 1;
    }
  }
  return false;
}

// Letters, digits and dots, and signs behind an exponent, that begin with a digit or hold a dot.
static bool ends_inNumber(const unsigned char* bytes, std::uint32_t length) {
  bool dot = false;
  std::uint32_t at = length;
  for (; at > 0; at--) {
    const unsigned char c = bytes[at - 1];
    const bool sign = (c == '+' || c == '-') && at > 1 && char_upper(bytes[at - 2]) == 'E';
    if (!kWordBytes.has[c] && c != '.' && !sign) break;
    dot = dot || c == '.';
  }
  return at < length && (dot || char_isDigit(bytes[at]));
}

static finished_text* reserve(macro_def* macro, std::uint32_t length) {
  if (macro->finished != nullptr && macro->finished->capacity >= length) return macro->finished;
  const std::uint32_t capacity = length < 24 ? 24 : length * 2;
  std::free(macro->finished);
  macro->finished = static_cast<finished_text*>(
      mem_alloc(static_cast<std::uint32_t>(sizeof(finished_text)) + capacity + FINISHED_STEP));
  macro->finished->capacity = static_cast<std::uint16_t>(capacity);
  return macro->finished;
}

void finished_end(macro_def* macro, const finished_mark* mark) {
  if (!is_unchanged(mark) || gOutPos < mark->start || macro->body == nullptr) return;
  const auto length = static_cast<std::size_t>(gOutPos - mark->start);
  if (length > FINISHED_BYTES_MAX) return;
  finished_text* text = reserve(macro, static_cast<std::uint32_t>(length));
  text->generation = gMacroGeneration;
  text->length = static_cast<std::uint16_t>(length);
  text->lasting = !has_names(macro->body);
  text->ends_in_number = ends_inNumber(mark->start, text->length);
  std::memcpy(finished_bytes(text), mark->start, length);
}

void finished_forget(macro_def* macro) {
  std::free(macro->finished);
  macro->finished = nullptr;
}
