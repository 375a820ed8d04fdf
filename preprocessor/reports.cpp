// The symbol table as text (-dM, to a stream) and as HTML (--udf=, through the report writer).
//
// Both walk the chains in order and decode the encoded bodies, each in its own way.
#include "preprocessor/reports.h"

#include "common/html.h"
#include "preprocessor/chains.h"

// --- The -dM list ---

static bool is_shown(SourceChar c) { return c == '\t' || c == '\n' || (c >= ' ' && c <= '~'); }
static bool is_control(SourceChar c) { return c < ' '; }
static int caret_letter(SourceChar c) { return static_cast<int>(c + 64); }

static void list_unit(std::FILE* stream, SourceChar c) {
  if (ch_isParam(c)) {
    std::fprintf(stream, "val%d", static_cast<int>(c - CH_PARAM_BASE));
  } else if (is_shown(c)) {
    std::putc(static_cast<int>(c), stream);
  } else if (is_control(c)) {
    std::fprintf(stream, "^%c", caret_letter(c));
  } else if (c == CH_PASTE) {
    std::fputs(" ##", stream);
  }
}

static void list_macro(std::FILE* stream, const macro_def* macro) {
  if (macro->body == nullptr) return;
  std::fputs("#define ", stream);
  std::fputs(macro_name(macro), stream);
  if (macro->nargs > 0) {
    std::putc('(', stream);
    for (std::int32_t n = 0; n < macro->nargs; n++) std::fprintf(stream, "%sval%d", n == 0 ? "" : ",", n);
    std::putc(')', stream);
  }
  std::putc(' ', stream);
  for (const SourceChar* p = macro->body; *p != 0; p++) list_unit(stream, *p);
  std::putc('\n', stream);
}

void macro_listDefines(std::FILE* stream) {
  chains_visit([](const macro_def* macro, void* to) { list_macro(static_cast<std::FILE*>(to), macro); }, stream);
}

// --- The HTML table ---

static void report_unit(SourceChar c) {
  if (ch_isParam(c)) {
    HTML_print("<%d>", static_cast<int>(c - CH_PARAM_BASE));
  } else if (c == CH_STRINGIZE) {
    return;
  } else if (is_shown(c)) {
    HTML_char(static_cast<unsigned char>(c));
  } else if (is_control(c)) {
    HTML_print("<^%c>", caret_letter(c));
  } else {
    HTML_print("<\\0%o>", static_cast<unsigned>(c));
  }
}

static void report_arguments(std::int32_t nargs) {
  if (nargs > 0) {
    HTML_cell("%d", static_cast<int>(nargs));
  } else {
    HTML_cell("%s", nargs == 0 ? "empty" : "none");
  }
}

void macro_traceEntry(const macro_def* macro) {
  HTML_cell("<code>");
  HTML_print("%s", macro_name(macro));
  HTML_print("</code>");
  report_arguments(macro->nargs);
  if (macro->body == nullptr) {
    HTML_cell("<i>dynamic replacement</i>");
    return;
  }
  HTML_cell("%s", "");
  for (const SourceChar* p = macro->body; *p != 0; p++) report_unit(*p);
}

void macro_reportTable() {
  constexpr std::uint32_t REPORT_COLUMNS = 3;
  HTML_startTable(REPORT_COLUMNS);
  HTML_cell("<b>Macro name</b>");
  HTML_cell("<b>Arguments</b>");
  HTML_cell("<b>Value</b>");
  chains_visit([](const macro_def* macro, void*) { macro_traceEntry(macro); }, nullptr);
}
