// The scanners: identifiers, numbers, strings, the step from a name to its expansion, and pasting.
//
// Each takes a first unit from its caller, reads on with get(), and gives back with unget() what
// ended it. Identifiers go to gToken; strings and numbers go unit by unit to a sink.
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/expand.h"
#include "preprocessor/grammar.h"

// --- Identifiers ---

static bool continues_identifier(SourceChar c) {
  if (c == CH_NO_EXPAND) return true;
  if (c == CH_PASTE || (c & 0xff00) != 0) return false;
  return kWordBytes.has[c & 0xff];
}

// The run of letters and digits at the read position, as far as it lies in one frame.
static void take_wordRun() {
  input_frame* frame = gCurrentFrame;
  if (frame == nullptr || frame->depth_due) return;
  if (in_isFile(frame)) {
    unsigned char* p = frame->file_pos;
    while (kWordBytes.has[*p]) {
      if (gTokenLength < gIdentifierMax) gToken[gTokenLength++] = *p;
      p++;
    }
    frame->file_pos = p;
  } else {
    SourceChar* p = frame->text_pos;
    while (char_isWord(*p)) {
      if (gTokenLength < gIdentifierMax) gToken[gTokenLength++] = *p;
      p++;
    }
    frame->text_pos = p;
  }
}

void scan_identifier(SourceChar first) {
  SourceChar c = first;
  gTokenLength = 0;
  do {
    if (gTokenLength < gIdentifierMax) gToken[gTokenLength++] = c;
    take_wordRun();
    c = get();
  } while (continues_identifier(c));
  unget();
  gToken[gTokenLength] = 0;
}

// A macro in use is hidden. In a plain frame that lies directly on the macro's own frame it is not:
// so `F(F(1))` works, where the inner name is met in the argument of the outer call.
bool scan_isVisible(const macro_def* macro) {
  const input_frame* frame = gCurrentFrame;
  if (frame == nullptr) return false;  // the name was the last of all input
  if (macro->disable == 0) return true;
  return in_isPlain(frame) && frame->parent != nullptr && frame->parent->macro == macro;
}

macro_def* scan_lookup(SourceChar first) {
  scan_identifier(first);
  macro_def* macro = macro_findToken();
  return macro != nullptr && scan_isVisible(macro) ? macro : nullptr;
}

// A name directly ahead of ## stays as it is: with `#define A B`, `A ## C` pastes A and C.
static bool is_beforePaste() {
  const bool before = get() == CH_PASTE;
  unget();
  return before;
}

SourceChar scan_expandName(SourceChar c) {
  if (gCurrentFrame != nullptr && in_isFile(gCurrentFrame)) depth_reset();
  return scan_expandFurther(c);
}

SourceChar scan_expandFurther(SourceChar c) {
  while (char_class(c) == CC_LETTER) {
    macro_def* macro = scan_lookup(c);
    if (macro == nullptr || is_beforePaste() || !macro_expand(macro)) break;
    c = get();
  }
  return c;
}

// --- Pasting ---

// First units that may begin a right operand.
constexpr std::uint32_t RIGHT_OPERANDS =
    class_set(CC_DIGIT, CC_LETTER, CC_PLUS, CC_MINUS, CC_AND, CC_OR, CC_LESS, CC_GREATER);
static bool begins_rightOperand(SourceChar c) { return c == CH_NO_EXPAND || class_isIn(RIGHT_OPERANDS, char_class(c)); }

static const SourceChar* skip_noExpand(const SourceChar* text) {
  while (*text == CH_NO_EXPAND) text++;
  return text;
}

// Reads the right operand into gToken. At the end of a macro's text there is none: the frame ends,
// and reading goes on behind the macro call with nothing lost.
static void scan_rightOperand(SourceChar first) {
  if (first != CH_MACRO_END) {
    scan_identifier(first);
    return;
  }
  get();
  unget();
}

bool scan_catenate(SourceChar c) {
  if (get() != CH_PASTE) {
    unget();
    return false;
  }
  SourceChar single[2] = {c, 0};
  SourceChar* left = sc_dup(char_class(c) == CC_LETTER ? skip_noExpand(gToken) : single);
  const std::uint32_t left_length = sc_length(left);
  const SourceChar first = get();
  scan_rightOperand(first);
  std::memcpy(gWorkBuffer, left, (left_length + 1) * sizeof(SourceChar));
  if (begins_rightOperand(first)) {
    const SourceChar* right = skip_noExpand(gToken);
    if (left_length + sc_length(right) >= WORK_BUFFER_UNITS) {
      sc_alert(155u, left);
    } else {
      sc_copy(gWorkBuffer + left_length, right);
    }
  } else {
    alert(169u, static_cast<int>(first));
    // An operand that stood alone is read again.
    if (first != CH_MACRO_END) unget();
  }
  std::free(left);
  in_pushText(gWorkBuffer);
  return true;
}

// --- Strings ---

// Units of a literal that mean nothing to its scanner go to the sink without a call of get.
static void pass_literalRun(SourceChar quote, unit_sink sink) {
  input_frame* frame = gCurrentFrame;
  if (frame == nullptr || !in_isFile(frame) || frame->depth_due) return;
  for (;;) {
    const unsigned char c = *frame->file_pos;
    if (c == quote || c == '\\' || c == '?' || c == '\n' || c == 0) return;
    frame->file_pos++;
    sink(c);
  }
}

bool scan_string(SourceChar quote, unit_sink sink) {
  gInLiteral = true;
  sink(quote);
  for (;;) {
    pass_literalRun(quote, sink);
    const SourceChar c = get();
    if (c == quote) break;
    if (c == '\n' || c == 0) {
      gInLiteral = false;
      unget();
      return false;
    }
    sink(c);
    if (c != '\\') continue;
    const SourceChar escaped = get();
    if (escaped != 0) sink(escaped);
  }
  gInLiteral = false;
  sink(quote);
  return true;
}

// --- Numbers ---

static SourceChar pass(SourceChar c, unit_sink sink) {
  sink(c);
  return get();
}

void scan_number(SourceChar first, unit_sink sink) {
  number_state state = number_begin(10);
  SourceChar c = pass(first, sink);
  if (first == '.') {
    if (!char_isDigit(c)) {
      unget();
      return;
    }
    state = number_beginDot();
  } else if (first == '0') {
    state = number_begin(number_radixBehindZero(c));
    if (state.radix != 8) c = pass(c, sink);
  }
  while (number_accepts(&state, c)) c = pass(c, sink);
  unget();
}
