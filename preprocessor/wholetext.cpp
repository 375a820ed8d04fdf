// Texts and tokens of whole calls.
#include "preprocessor/wholetext.h"

#include <cstdio>

#include "preprocessor/expand.h"
#include "preprocessor/finished.h"
#include "preprocessor/grammar.h"

constexpr std::uint32_t NESTING_MAX = 200;     // of calls within calls
constexpr std::uint32_t BUILT_MAX = 8 * 1024;  // bytes of a built text
static_assert(BUILT_MAX < EXPANSION_UNITS_MAX);

whole_state gWhole;
text_byte gWholeStore[WHOLE_STORE_BYTES + 2 * COPY_STEP];
text_byte gWholeKept[WHOLE_KEPT_BYTES + 2 * COPY_STEP];

static const text_byte kMark[COPY_STEP] = {CODE_NO_EXPAND};

// --- The text of a call ---

static bool build_put(const text_byte* from, std::size_t length, const text_byte* start) {
  if (static_cast<std::size_t>(gWhole.kept - start) + length > BUILT_MAX) return false;
  copy_bytes(gWhole.kept, from, length);
  gWhole.kept += length;
  return true;
}

static bool build_string(const whole_argument* argument, const text_byte* start) {
  if (static_cast<std::size_t>(gWhole.kept - start) + std::size_t{2} * argument->length > BUILT_MAX) return false;
  text_byte* to = gWhole.kept;
  *to++ = '"';
  for (const text_byte* p = argument->text; *p != CODE_END; p++) {
    if (*p < CODES) return false;
    if (*p == '"' || *p == '\\') *to++ = '\\';
    *to++ = *p;
  }
  *to++ = '"';
  gWhole.kept = to;
  return true;
}

static bool build_operand(body_code code, const whole_argument* argument, const text_byte* start) {
  if (code == CODE_STRING) return build_string(argument, start);
  if (code == CODE_RAW_RIGHT && *argument->text != CODE_NO_EXPAND && !build_put(kMark, 1, start)) return false;
  return build_put(argument->text, argument->length, start);
}

// The body with the operands of its operators put in.
static const text_byte* build_text(const coded_body* body, const whole_argument* args) {
  const text_byte* start = gWhole.kept;
  if (!kept_hasRoom(std::size_t{2} * BUILT_MAX)) return nullptr;
  for (const text_byte* p = coded_text(body);;) {
    const text_byte* from = p;
    while (*p > CODE_RAW_RIGHT || *p == CODE_PARAM) p += *p == CODE_PARAM ? 2 : 1;
    if (!build_put(from, static_cast<std::size_t>(p - from), start)) return nullptr;
    if (*p == CODE_END) break;
    if (!build_operand(static_cast<body_code>(*p), &args[p[1]], start)) return nullptr;
    p += 2;
  }
  *gWhole.kept = CODE_END;
  gWhole.kept += CODED_SLACK;
  return start;
}

bool whole_beginText(whole_text* text, macro_def* macro, const whole_list* list, std::uint32_t level) {
  const coded_body* body = coded_of(macro);
  if (body == nullptr || macro->body_length > EXPANSION_UNITS_MAX || level > NESTING_MAX) return false;
  text->macro = macro;
  text->level = level;
  if (list != nullptr) {
    if (static_cast<std::int32_t>(list->count) != macro->nargs) return false;
    for (std::uint32_t n = 0; n < list->count; n++) {
      text->args[n].text = list->start[n];
      text->args[n].length = static_cast<std::uint32_t>(list->start[n + 1] - list->start[n]) - 1;
      text->args[n].kept = false;
    }
  }
  text->text = body->builds ? build_text(body, text->args) : coded_text(body);
  return text->text != nullptr;
}

static text_byte* put_fileName(text_byte* to) {
  const text_byte* start = to;
  *to++ = '"';
  for (const SourceChar* p = in_shownName(gWhole.frame); *p != 0; p++) {
    const bool usual = char_isByte(*p) && *p >= ' ' && *p != '"' && *p != '\\';
    if (!usual || to - start > static_cast<std::ptrdiff_t>(FILE_NAME_MAX)) return nullptr;
    *to++ = static_cast<text_byte>(*p);
  }
  *to++ = '"';
  return to;
}

static text_byte* put_digits(text_byte* to) {
  return to + std::snprintf(reinterpret_cast<char*>(to), COPY_STEP, "%d", static_cast<int>(gWhole.line));
}

const text_byte* whole_dynamicText(const macro_def* macro, std::size_t* length) {
  text_byte* start = gWhole.kept;
  if (!kept_hasRoom(FILE_NAME_MAX + 2 * COPY_STEP)) return nullptr;
  gVolatileTexts++;
  const text_byte* end = macro->nargs == MACRO_LINE ? put_digits(start) : put_fileName(start);
  if (end == nullptr) return nullptr;
  *length = static_cast<std::size_t>(end - start);
  gWhole.kept += *length + CODED_SLACK;
  return start;
}

// --- Tokens ---

name_token whole_name(const text_byte* p) {
  name_token name = {p, p, false};
  for (;;) {
    while (kWordBytes.has[*name.end]) name.end++;
    if (*name.end != CODE_NO_EXPAND) break;
    name.hidden = true;
    name.end++;
  }
  const bool whole = static_cast<std::uint32_t>(name.end - p) <= gIdentifierMax && name.end[-1] != CODE_NO_EXPAND;
  if (!whole) name.start = nullptr;
  return name;
}

const text_byte* whole_endOfLiteral(const text_byte* p) {
  const text_byte quote = *p++;
  for (; *p != quote; p++) {
    if (*p == '\\') p++;
    if (*p < CODES) return nullptr;
  }
  return p + 1;
}

const text_byte* whole_endOfNumber(const text_byte* p, bool* open) {
  *open = false;
  const text_byte* end = p;
  while (char_isDigit(*end)) end++;
  if (!kWordBytes.has[*end] && *end != '.') return end;
  number_state state = *p == '.' ? number_beginDot() : number_begin(10);
  if (*p == '0') state = number_begin(number_radixBehindZero(p[1]));
  p += *p == '.' || (*p == '0' && state.radix != 8) ? 2 : 1;
  while (number_accepts(&state, *p)) p++;
  *open = state.sign_ok;
  return p;
}

call_form whole_takeOpen(walker* w) {
  const text_byte* p = w->at;
  if (*p == ' ') p++;
  if (*p == '(') {
    w->at = p + 1;
    return CALL_OPEN;
  }
  return p == w->at && is_token(p) ? CALL_NONE : CALL_UNKNOWN;
}

// Adds the bytes from `from` to the pasted name that has grown from `start` to `to`.
static text_byte* put_operand(text_byte* start, text_byte* to, const text_byte* from, const text_byte* end) {
  const std::ptrdiff_t length = end - from;
  if (to - start + length > static_cast<std::ptrdiff_t>(gIdentifierMax)) return nullptr;
  copy_bytes(to, from, static_cast<std::size_t>(length));
  return to + length;
}

static const text_byte* skip_marks(const text_byte* p) {
  while (*p == CODE_NO_EXPAND) p++;
  return p;
}

bool whole_paste(walker* w, name_token* name) {
  text_byte* start = gWhole.kept;
  if (!kept_hasRoom(IDENTIFIER_MAX + CODED_SLACK)) return false;
  const text_byte* p = skip_marks(name->start);
  if (char_isDigit(*p) || std::memchr(p, CODE_NO_EXPAND, static_cast<std::size_t>(name->end - p)) != nullptr)
    return false;
  text_byte* to = put_operand(start, start, p, name->end);
  for (p = name->end; to != nullptr && *p == CODE_PASTE;) {
    const text_byte* right = p = skip_marks(p + 1);
    while (kWordBytes.has[*p]) p++;
    if (p == right || *p == CODE_PARAM || *p == CODE_NO_EXPAND) return false;
    to = put_operand(start, to, right, p);
  }
  if (to == nullptr) return false;
  *name = {start, to, false};
  gWhole.kept = to + CODED_SLACK;
  w->at = p;
  whole_noteUnits(w, 2);
  w->carried = 1;  // the text of the pasted name has ended
  if (is_textEnd(p)) {
    gWhole.tail = TAIL_NAME;
  } else {
    whole_noteUnits(w, 2);  // looked at for the name's end, and for a paste
  }
  return true;
}
