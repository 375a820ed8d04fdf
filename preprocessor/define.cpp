// Macro definition.
//
// A definition is read unit by unit and encoded on the way: parameters become markers, `#` and `##`
// become operators, white space is reduced. The text grows in gWorkBuffer, the parameter names lie
// one behind the other in gMacroArea while it does, and the finished body gets an allocation of its
// own. For `#define XY(a, b) a ## b + XY` the body is
//
//   CH_PARAM_BASE  CH_PASTE  CH_PARAM_BASE+1  blank  +  blank  CH_NO_EXPAND  X  Y
#include "preprocessor/define.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/stringcache.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/reports.h"

// A full buffer is reported once; what does not fit is lost.
void work_put(SourceChar c) {
  static bool full;
  if (gWorkFill < WORK_BUFFER_UNITS) {
    full = false;
    gWorkBuffer[gWorkFill++] = c;
    return;
  }
  gWorkBuffer[WORK_BUFFER_UNITS - 1] = 0;
  if (!full) sc_alert(156u, gWorkBuffer);
  full = true;
}

void area_put(SourceChar c) {
  static bool full;
  if (c == CH_MACRO_END) return;
  if (gMacroAreaFill < MACRO_AREA_UNITS) {
    full = false;
    gMacroArea[gMacroAreaFill++] = c;
    return;
  }
  if (!full) alert(149u);
  full = true;
}

// --- Parameters ---

struct parameter_list {
  std::int32_t count;                         // or MACRO_OBJECT
  const SourceChar* names[MACRO_PARAMS_MAX];  // in gMacroArea
};

static bool store_parameter(parameter_list* list) {
  if (gMacroAreaFill + gTokenLength + 1 >= MACRO_AREA_UNITS) {
    alert(149u);
    return false;
  }
  list->names[list->count++] = sc_copy(gMacroArea + gMacroAreaFill, gToken);
  gMacroAreaFill += gTokenLength + 1;
  return true;
}

// Behind the `(`; true at the `)`. A list may end in a comma.
static bool read_parameters(parameter_list* list) {
  list->count = 0;
  for (;;) {
    if (list->count == static_cast<std::int32_t>(MACRO_PARAMS_MAX)) {
      alert(148u);
      return false;
    }
    SourceChar c = skip_ws();
    if (c == ')') return true;
    if (char_class(c) != CC_LETTER) break;
    scan_identifier(c);
    if (!store_parameter(list)) return false;
    c = skip_ws();
    if (c == ')') return true;
    if (c != ',') break;
  }
  alert(112u);
  return false;
}

// --- Body ---

// A definition that begins in macro text can run on behind it; the mark between is no part of the body.
static void body_put(SourceChar c) {
  if (c != CH_MACRO_END) work_put(c);
}

static bool ends_line(SourceChar c) { return c == 0 || c == '\n'; }

static void put_text(const SourceChar* text) {
  while (*text != 0) body_put(*text++);
}

// `own` is the macro's name.
static void encode_identifier(SourceChar first, const SourceChar* own, const parameter_list* list) {
  scan_identifier(first);
  for (std::int32_t n = 0; n < list->count; n++) {
    if (sc_compare(list->names[n], gToken) == 0) {
      body_put(CH_PARAM_BASE + static_cast<SourceChar>(n));
      return;
    }
  }
  if (sc_compare(own, gToken) == 0) body_put(CH_NO_EXPAND);
  put_text(gToken);
}

// A literal that its line does not close takes in the newline, and the definition goes on.
static void encode_literal(SourceChar quote) {
  gInLiteral = true;
  body_put(quote);
  SourceChar c;
  while ((c = get()) != quote && !ends_line(c)) {
    body_put(c);
    if (c == '\\') body_put(get());
  }
  gInLiteral = false;
  if (c != quote) alert(113u);
  body_put(c);
}

static void encode_backslash() {
  body_put('\\');
  const SourceChar c = get();
  if (c == '\n') gLineStale = true;
  body_put(c);
}

// One token of a body, by its first unit.
static void encode_token(SourceChar c, const SourceChar* own, const parameter_list* list) {
  switch (char_class(c)) {
    case CC_QUOTE: encode_literal(c); break;
    case CC_DOT:
    case CC_DIGIT: scan_number(c, body_put); break;
    case CC_SPACE:
      if (gWorkFill == 0 || char_class(gWorkBuffer[gWorkFill - 1]) != CC_SPACE) body_put(' ');
      break;
    case CC_BACKSLASH: encode_backslash(); break;
    case CC_LETTER: encode_identifier(c, own, list); break;
    default: body_put(c); break;
  }
}

// Behind `##`: returns the unit that the body goes on with.
static SourceChar encode_paste() {
  while (gWorkFill > 0 && char_class(gWorkBuffer[gWorkFill - 1]) == CC_SPACE) gWorkFill--;
  body_put(CH_PASTE);
  SourceChar c = skip_ws();
  const int code = char_class(c);
  if (code == CC_DIGIT) {
    for (; char_class(c) == CC_DIGIT; c = get()) body_put(c);
  } else if (code != CC_LETTER) {
    if (c >= ' ' && c <= '~') {
      alert(137u, static_cast<char>(c));
    } else {
      alert(138u, static_cast<int>(c));
    }
  }
  return c;
}

static void encode_body(SourceChar c, const SourceChar* own, const parameter_list* list) {
  gWorkFill = 0;
  while (!ends_line(c)) {
    if (c == '#') {
      c = get();
      if (c == '#') {
        c = encode_paste();
        continue;
      }
      if (char_class(c) == CC_SPACE) c = skip_ws();
      body_put(CH_STRINGIZE);
    }
    encode_token(c, own, list);
    c = get();
  }
  unget();
  if (gWorkFill > 0 && gWorkBuffer[gWorkFill - 1] == ' ') gWorkFill--;
  body_put(0);
}

// --- Definition ---

// The place named is that of the definition that made the entry, however often it was redefined.
static void report_redefinition(const macro_def* macro) {
  const char* file = macro->file != nullptr ? macro->file : "predefined";  // -D and the program's own have none
  alert(111u, macro_name(macro), file, static_cast<int>(macro->line));
}

// The interned name of the current frame; most definitions come from the same frame as the last one.
static const char* current_fileName() {
  static std::uint64_t last_serial;
  static const char* last_name;
  if (gCurrentFrame == nullptr) return nullptr;
  if (gCurrentFrame->serial != last_serial) {
    char* name = sc_narrowDup(in_name(gCurrentFrame));
    last_name = cache_intern(name);
    last_serial = gCurrentFrame->serial;
    std::free(name);
  }
  return last_name;
}

void define_notePlace(macro_def* macro) {
  macro->line = static_cast<std::int32_t>(gLine);
  macro->file = current_fileName();
}

static macro_def* enter_here() {
  macro_def* macro = macro_enter(gToken, 0);
  define_notePlace(macro);
  return macro;
}

bool define_isSame(const macro_def* macro, std::uint32_t length) {
  return macro->body != nullptr && macro->body_length == length &&
         std::memcmp(macro->body, gWorkBuffer, length * sizeof(SourceChar)) == 0;
}

static void finish(macro_def* macro, bool redefined, std::uint32_t length, std::int32_t nargs) {
  const bool same = redefined && define_isSame(macro, length);
  if (!same || macro->nargs != nargs) macro_setBody(macro, gWorkBuffer, length, nargs);
  if (gReportHandle != nullptr) macro_traceEntry(macro);
  if (redefined && !same) report_redefinition(macro);
}

void do_define() {
  SourceChar c = skip_ws();
  if (char_class(c) != CC_LETTER) {
    alert(112u);
    gMacroAreaFill = 0;
    return;
  }
  macro_def* macro = scan_lookup(c);
  SourceChar own[IDENTIFIER_MAX + 1];
  sc_copy(own, gToken);
  const bool redefined = macro != nullptr;
  if (!redefined) macro = enter_here();
  gMacroAreaFill = 0;
  parameter_list list;
  list.count = MACRO_OBJECT;
  c = get();
  bool complete = true;
  if (c == '(') {
    complete = read_parameters(&list);
    c = ' ';
  }
  if (complete) {
    if (char_class(c) == CC_SPACE) c = skip_ws();
    encode_body(c, own, &list);
    finish(macro, redefined, sc_length(gWorkBuffer), list.count);
  } else {
    macro_setBody(macro, nullptr, 0, macro->nargs);
  }
  gMacroAreaFill = 0;
}

void do_undef() {
  const SourceChar c = skip_ws();
  if (char_class(c) != CC_LETTER) {
    alert(114u);
    return;
  }
  scan_identifier(c);
  macro_remove(gToken);
}
