// `#define` and `#undef` lines, read where they lie.
//
// One pass over the bytes of the current line encodes the body as define.cpp does. A continuation, a trigraph, a
// comment with text behind it, whatever needs a message: there the pass ends, nothing has happened yet, and the
// ordinary road reads the line from behind its word.
#include "preprocessor/definelines.h"

#include <cstring>

#include "preprocessor/cpp6.h"
#include "preprocessor/define.h"
#include "preprocessor/grammar.h"
#include "preprocessor/roads.h"

// A line's bytes become no more than two units each.
static_assert(WORK_BUFFER_UNITS > 2 * LINE_UNITS);

using byte_pointer = const unsigned char*;

struct line_name {
  byte_pointer start;
  std::uint32_t length;
};

struct line_definition {
  line_name name;
  std::int32_t count;  // parameters, or MACRO_OBJECT
  line_name parameters[MACRO_PARAMS_MAX];
  SourceChar* to;  // the body goes on here, in gWorkBuffer
};

// May the current frame's line be looked at as bytes?
static input_frame* frame_inPlace() {
  input_frame* frame = gCurrentFrame;
  const bool usual = roads_open() && frame != nullptr && in_isFile(frame) && !frame->depth_due && !gPresetLast;
  return usual ? frame : nullptr;
}

static byte_pointer skip_white(byte_pointer at) {
  while (char_isWhite(*at)) at++;
  return at;
}

static byte_pointer end_ofWord(byte_pointer at) {
  while (kWordBytes.has[*at]) at++;
  return at;
}

// A name that begins at `at`; of length 0 if none does, or one that would be cut.
static line_name name_at(byte_pointer at) {
  if (char_classTable.of[*at] != CC_LETTER) return {at, 0};
  const auto length = static_cast<std::uint32_t>(end_ofWord(at + 1) - at);
  return {at, length <= gIdentifierMax ? length : 0};
}

static bool is_same(line_name a, line_name b) {
  return a.length == b.length && std::memcmp(a.start, b.start, a.length) == 0;
}

// --- What each of these returns is where the line goes on, or nullptr for the ordinary road ---

// A comment with nothing but white space or the newline behind it has no effect but its end.
static byte_pointer pass_comment(byte_pointer at) {
  const bool line_comment = at[1] == '/';
  for (at += 2; *at != '\n'; at++) {
    if (*at == '?' || (line_comment ? *at == '\\' : *at == '/' && at[1] == '*')) return nullptr;
    if (!line_comment && *at == '*' && at[1] == '/') {
      return char_isWhite(at[2]) || at[2] == '\n' ? at + 2 : nullptr;
    }
  }
  return line_comment ? at : nullptr;
}

static bool opens_comment(byte_pointer at) { return at[0] == '/' && (at[1] == '*' || at[1] == '/'); }

static byte_pointer pass_gap(byte_pointer at) {
  at = skip_white(at);
  while (at != nullptr && opens_comment(at)) {
    at = pass_comment(at);
    if (at != nullptr) at = skip_white(at);
  }
  return at;
}

// Behind the `(`: a list may end in a comma.
static byte_pointer read_parameters(line_definition* line, byte_pointer at) {
  for (line->count = 0; line->count < static_cast<std::int32_t>(MACRO_PARAMS_MAX);) {
    at = skip_white(at);
    if (*at == ')') return at + 1;
    const line_name name = name_at(at);
    if (name.length == 0) return nullptr;
    line->parameters[line->count++] = name;
    at = skip_white(at + name.length);
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
  const line_name name = name_at(at);
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
  at = pass_gap(at);
  if (at == nullptr || !kWordBytes.has[*at]) return nullptr;
  byte_pointer end = at;
  while (char_isDigit(*end)) end++;
  return encode_bytes(line, at, end);
}

static byte_pointer encode_operator(line_definition* line, byte_pointer at) {
  if (at[1] == '#') return encode_paste(line, at + 2);
  if (char_isWhite(at[1])) {
    at = pass_gap(at + 1);
  } else {
    at++;
  }
  if (at == nullptr || *at == '#' || gReadSpecial.has[*at]) return nullptr;
  *line->to++ = CH_STRINGIZE;
  return at;
}

static byte_pointer encode_white(line_definition* line, byte_pointer at) {
  if (line->to == gWorkBuffer || !ends_inSpace(line)) *line->to++ = ' ';
  return skip_white(at);
}

static byte_pointer encode_special(line_definition* line, byte_pointer at) {
  if (opens_comment(at)) return pass_comment(at);
  const bool plain = *at == '/' ? !gReadSpecial.has[at[1]] : *at == '?' && at[1] != '?';
  return plain ? encode_bytes(line, at, at + 1) : nullptr;
}

static bool ends_line(byte_pointer at) { return at[0] == '\n' || (at[0] == '\r' && at[1] == '\n'); }

// From the first unit of the body to its end.
static byte_pointer encode_body(line_definition* line, byte_pointer at) {
  line->to = gWorkBuffer;
  while (at != nullptr && !ends_line(at)) {
    switch (char_classTable.of[*at]) {
      case CC_LETTER: at = encode_name(line, at); break;
      case CC_DOT:
      case CC_DIGIT: at = encode_bytes(line, at, number_end(at)); break;
      case CC_SPACE: at = encode_white(line, at); break;
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

bool define_inPlace() {
  input_frame* frame = frame_inPlace();
  if (frame == nullptr) return false;
  line_definition line;
  line.name = name_at(skip_white(frame->file_pos));
  if (line.name.length == 0) return false;
  const std::uint64_t shape = macro_shape(line.name.start, line.name.length);
  macro_def* macro = macro_mayExist(shape) ? macro_findShape(line.name.start, line.name.length, shape) : nullptr;
  if (macro != nullptr && macro->disable != 0) return false;
  line.count = MACRO_OBJECT;
  byte_pointer at = line.name.start + line.name.length;
  if (*at == '(') at = read_parameters(&line, at + 1);
  if (at != nullptr) at = pass_gap(at);
  if (at != nullptr) at = encode_body(&line, at);
  if (at == nullptr) return false;
  frame->file_pos += at - frame->file_pos;
  const auto length = static_cast<std::uint32_t>(line.to - gWorkBuffer);
  const bool redefined = macro != nullptr;
  if (!redefined) {
    macro = macro_enterNew(line.name.start, line.name.length, shape, length + 1);
    define_notePlace(macro);
  }
  define_finish(macro, redefined, length, line.count);
  return true;
}

bool undef_inPlace() {
  input_frame* frame = frame_inPlace();
  if (frame == nullptr) return false;
  const line_name name = name_at(skip_white(frame->file_pos));
  byte_pointer at = name.start + name.length;
  if (name.length == 0 || (gReadSpecial.has[*at] && *at != '\n')) return false;
  macro_def* macro = macro_find(name.start, name.length);
  frame->file_pos += at - frame->file_pos;
  if (macro != nullptr) macro_removeEntry(macro);
  return true;
}
