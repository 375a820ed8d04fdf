// `#define` and `#undef` lines, read where they lie.
//
// One pass over the bytes of the line encodes the body as define.cpp does. At a continuation, a trigraph, a comment
// that goes on in the next line, at whatever needs a message the pass ends: nothing has happened yet, and the ordinary
// road reads the line.
#include "preprocessor/definelines.h"

#include <cstring>

#include "preprocessor/cpp6.h"
#include "preprocessor/define.h"
#include "preprocessor/grammar.h"
#include "preprocessor/inplace.h"

// A line's bytes become no more than two units each.
static_assert(WORK_BUFFER_UNITS > 2 * LINE_UNITS);

using byte_pointer = const unsigned char*;

struct line_definition {
  name_inLine name;
  std::int32_t count;  // parameters, or MACRO_OBJECT
  name_inLine parameters[MACRO_PARAMS_MAX];
  SourceChar* to;  // the body goes on here, in gWorkBuffer
};

static bool is_same(name_inLine a, name_inLine b) {
  return a.length == b.length && std::memcmp(a.start, b.start, a.length) == 0;
}

// --- What each of these returns is where the line goes on, or nullptr for the ordinary road ---

// Behind the `(`: a list may end in a comma.
static byte_pointer read_parameters(line_definition* line, byte_pointer at) {
  for (line->count = 0; line->count < static_cast<std::int32_t>(MACRO_PARAMS_MAX);) {
    at = place_gap(at);
    if (at == nullptr) return nullptr;
    if (*at == ')') return at + 1;
    const name_inLine name = name_at(at);
    at = name.length != 0 ? place_gap(at + name.length) : nullptr;
    if (at == nullptr) return nullptr;
    line->parameters[line->count++] = name;
    if (*at == ')') return at + 1;
    if (*at++ != ',') return nullptr;
  }
  return nullptr;
}

static byte_pointer encode_bytes(line_definition* line, byte_pointer at, byte_pointer end) {
  while (at < end) *line->to++ = *at++;
  return at;
}

static byte_pointer encode_name(line_definition* line, byte_pointer at) {
  const name_inLine name = name_at(at);
  if (name.length == 0) return nullptr;
  for (std::int32_t n = 0; n < line->count; n++) {
    if (!is_same(line->parameters[n], name)) continue;
    *line->to++ = CH_PARAM_BASE + static_cast<SourceChar>(n);
    return at + name.length;
  }
  if (is_same(line->name, name)) *line->to++ = CH_NO_EXPAND;
  return encode_bytes(line, at, at + name.length);
}

static byte_pointer encode_literal(line_definition* line, byte_pointer at) {
  byte_pointer end = at + 1;
  for (; *end != *at; end++) {
    if (*end == '\\') end++;
    if (*end == '\n' || (*end == '?' && (end[1] == '?' || end[-1] == '\\'))) return nullptr;
  }
  return encode_bytes(line, at, end + 1);
}

static bool ends_inSpace(const line_definition* line) {
  return line->to > gWorkBuffer && char_class(line->to[-1]) == CC_SPACE;
}

// A name goes on as usual; digits are taken here, since a number would take more.
static byte_pointer encode_paste(line_definition* line, byte_pointer at) {
  while (ends_inSpace(line)) line->to--;
  *line->to++ = CH_PASTE;
  at = place_gap(at);
  if (at == nullptr || !kWordBytes.has[*at]) return nullptr;
  byte_pointer end = at;
  while (char_isDigit(*end)) end++;
  return encode_bytes(line, at, end);
}

static byte_pointer encode_operator(line_definition* line, byte_pointer at) {
  if (at[1] == '#') return encode_paste(line, at + 2);
  at = place_gap(at + 1);
  if (at == nullptr || *at == '#' || gReadSpecial.has[*at]) return nullptr;
  *line->to++ = CH_STRINGIZE;
  return at;
}

// White space and comments.
static byte_pointer encode_gap(line_definition* line, byte_pointer at) {
  if (!ends_inSpace(line)) *line->to++ = ' ';
  return place_gap(at);
}

static byte_pointer encode_special(line_definition* line, byte_pointer at) {
  if (opens_comment(at)) return encode_gap(line, at);
  const bool plain = *at == '/' ? !gReadSpecial.has[at[1]] : *at == '?' && at[1] != '?';
  return plain ? encode_bytes(line, at, at + 1) : nullptr;
}

// From the first unit of the body to its end.
static byte_pointer encode_body(line_definition* line, byte_pointer at) {
  line->to = gWorkBuffer;
  while (at != nullptr && !place_isLineEnd(at)) {
    switch (char_classTable.of[*at]) {
      case CC_LETTER: at = encode_name(line, at); break;
      case CC_DOT:
      case CC_DIGIT: at = encode_bytes(line, at, number_end(at)); break;
      case CC_SPACE: at = encode_gap(line, at); break;
      case CC_QUOTE: at = encode_literal(line, at); break;
      default:
        if (*at == '#') {
          at = encode_operator(line, at);
        } else if (gReadSpecial.has[*at]) {
          at = encode_special(line, at);
        } else {
          *line->to++ = *at++;
        }
        break;
    }
  }
  if (at == nullptr) return nullptr;
  if (line->to > gWorkBuffer && line->to[-1] == ' ') line->to--;
  *line->to = 0;
  return *at == '\r' ? at + 1 : at;
}

// --- The lines ---

constexpr place_end kOrdinary = {PLACE_ORDINARY, nullptr};

place_end do_defineInPlace(const unsigned char* at, bool) {
  line_definition line;
  at = place_gap(at);
  if (at == nullptr || gReportHandle != nullptr) return kOrdinary;
  line.name = name_at(at);
  if (line.name.length == 0) return kOrdinary;
  line.count = MACRO_OBJECT;
  at += line.name.length;
  if (*at == '(') at = read_parameters(&line, at + 1);
  if (at != nullptr) at = place_gap(at);
  if (at != nullptr) at = encode_body(&line, at);
  if (at == nullptr) return kOrdinary;
  const std::uint64_t shape = macro_shape(line.name.start, line.name.length);
  macro_def* macro = macro_mayExist(shape) ? macro_findShape(line.name.start, line.name.length, shape) : nullptr;
  const auto length = static_cast<std::uint32_t>(line.to - gWorkBuffer);
  if (macro == nullptr) {
    macro = macro_enterNew(line.name.start, line.name.length, shape, length + 1);
    define_notePlace(macro);
    macro_setBody(macro, gWorkBuffer, length, line.count);
  } else if (macro->disable != 0 || macro->nargs != line.count || !define_isSame(macro, length)) {
    return kOrdinary;
  }
  return {PLACE_LINE_DONE, at};
}

place_end do_undefInPlace(const unsigned char* at, bool) {
  at = place_gap(at);
  if (at == nullptr) return kOrdinary;
  const name_inLine name = name_at(at);
  const unsigned char* newline = name.length != 0 ? place_lineEnd(at + name.length) : nullptr;
  if (newline == nullptr) return kOrdinary;
  macro_def* macro = macro_find(name.start, name.length);
  if (macro != nullptr) macro_removeEntry(macro);
  return {PLACE_LINE_DONE, newline};
}
