// Coding of bodies.
#include "preprocessor/codedbody.h"

#include <cstdlib>

#include "common/osdep.h"

struct coder {
  const SourceChar* from;
  unsigned char* to;
  std::uint32_t params;
  bool builds;
};

// Bytes that a body may hold outside literals and at any place: they are read as they lie.
static constexpr byte_set make_usualBytes() {
  byte_set usual{};
  for (int c = CODES; c < 256; c++) usual.has[c] = c != '\\' && (c < '\n' || c > '\r');
  return usual;
}
static constexpr byte_set kUsualBytes = make_usualBytes();
static bool is_usual(SourceChar c) { return char_isByte(c) && kUsualBytes.has[c]; }

// The run of such units, but literals, at the read position.
static void code_run(coder* code) {
  const SourceChar* from = code->from;
  unsigned char* to = code->to;
  for (; is_usual(*from) && *from != '"' && *from != '\''; from++) *to++ = static_cast<unsigned char>(*from);
  code->from = from;
  code->to = to;
}

static bool put_param(coder* code, body_code kind, SourceChar marker) {
  const SourceChar n = marker - CH_PARAM_BASE;
  if (n >= code->params) return false;
  *code->to++ = kind;
  *code->to++ = static_cast<unsigned char>(n);
  return true;
}

static bool code_literal(coder* code) {
  const SourceChar quote = *code->from;
  *code->to++ = static_cast<unsigned char>(quote);
  for (const SourceChar* p = code->from + 1;; p++) {
    if (!is_usual(*p) && *p != '\\') return false;
    *code->to++ = static_cast<unsigned char>(*p);
    if (*p == quote) {
      code->from = p + 1;
      return true;
    }
    if (*p != '\\') continue;
    if (!is_usual(*++p) && *p != '\\') return false;
    *code->to++ = static_cast<unsigned char>(*p);
  }
}

// As the text of a call is built: the left operand is the marker stored last, if it is one.
static bool code_paste(coder* code, const unsigned char* last_param) {
  if (last_param != nullptr && code->to == last_param + 2) code->to[-2] = CODE_RAW;
  *code->to++ = CODE_PASTE;
  code->from++;
  code->builds = true;
  if (!ch_isParam(*code->from)) return true;
  return put_param(code, CODE_RAW_RIGHT, *code->from++);
}

static bool code_string(coder* code) {
  if (!ch_isParam(code->from[1]) || !put_param(code, CODE_STRING, code->from[1])) return false;
  code->from += 2;
  code->builds = true;
  return true;
}

static bool code_all(coder* code) {
  const unsigned char* last_param = nullptr;
  for (;;) {
    code_run(code);
    const SourceChar c = *code->from;
    if (c == 0) return true;
    if (c == CH_STRINGIZE) {
      if (!code_string(code)) return false;
    } else if (c == CH_PASTE) {
      if (!code_paste(code, last_param)) return false;
    } else if (ch_isParam(c)) {
      last_param = code->to;
      if (!put_param(code, CODE_PARAM, *code->from++)) return false;
    } else if (c == '"' || c == '\'') {
      if (!code_literal(code)) return false;
    } else if (c == CH_NO_EXPAND) {
      *code->to++ = CODE_NO_EXPAND;
      code->from++;
    } else {
      return false;
    }
  }
}

const coded_body* coded_make(macro_def* macro) {
  static coded_body refused = {true, false, 0};
  macro->coded = &refused;
  if (macro->body == nullptr) return nullptr;
  const auto head = static_cast<std::uint32_t>(sizeof(coded_body));
  auto* body = static_cast<coded_body*>(mem_alloc(head + 2 * macro->body_length + CODED_SLACK));
  unsigned char* text = reinterpret_cast<unsigned char*>(body + 1);
  coder code = {macro->body, text, macro->nargs > 0 ? static_cast<std::uint32_t>(macro->nargs) : 0, false};
  if (!code_all(&code)) {
    std::free(body);
    return nullptr;
  }
  *code.to = CODE_END;
  body->refused = false;
  body->builds = code.builds;
  body->length = static_cast<std::uint32_t>(code.to - text);
  macro->coded = body;
  return body;
}

void coded_forget(macro_def* macro) {
  if (macro->coded != nullptr && !macro->coded->refused) std::free(macro->coded);
  macro->coded = nullptr;
}
