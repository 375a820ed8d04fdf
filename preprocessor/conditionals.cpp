// The stack of conditionals keeps flags; the base entry's flags are gCompiling.
#include "preprocessor/conditionals.h"

#include "common/alert.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/ifeval.h"
#include "preprocessor/ifinplace.h"
#include "preprocessor/inplace.h"

// --- The stack ---

bool cond_isFull() { return gIfTop == gIfStack + IF_STACK_ENTRIES - 1; }

static void open_conditional(std::uint8_t flags) {
  if (cond_isFull()) {
    alert(144u);
    return;
  }
  gIfTop++;
  *gIfTop = {flags, gLine};
}

void cond_openSkipped() { open_conditional(0); }

static void select_branch(bool condition) {
  gCompiling = condition;
  if (condition) gIfTop->flags |= IF_TRUE_SEEN;
}

static bool none_open() { return gIfTop == gIfStack; }

static bool is_behindElse() { return (gIfTop->flags & IF_ELSE_SEEN) != 0; }
static bool may_branch() { return !none_open() && !is_behindElse(); }

// Does an #elif have to be evaluated? If not, nothing behind it up to the next branch counts.
static bool elif_decides() { return (gIfTop->flags & (IF_WAS_COMPILING | IF_TRUE_SEEN)) == IF_WAS_COMPILING; }

static void turn_else() {
  gIfTop->flags |= IF_ELSE_SEEN;
  if ((gIfTop->flags & IF_WAS_COMPILING) != 0) {
    gCompiling = !gCompiling && (gIfTop->flags & IF_TRUE_SEEN) == 0;
  }
}

static void close_conditional() {
  const bool was_compiling = (gIfTop->flags & IF_WAS_COMPILING) != 0;
  if (!gCompiling && was_compiling) gLineStale = true;
  gCompiling = was_compiling;
  gIfTop--;
}

// --- The ordinary road ---

// Message 108; the newline is read again by the line end check.
static void report_noArgument() {
  alert(108u);
  skip_line();
  unget();
}

static void evaluate_condition() {
  const SourceChar c = skip_ws();
  unget();
  if (is_lineEnd(c)) {
    report_noArgument();
  } else {
    select_branch(eval_if() != 0);
  }
  check_lineEnd();
}

void do_if() {
  open_conditional(IF_WAS_COMPILING);
  evaluate_condition();
}

static void open_byName(bool when_defined) {
  open_conditional(IF_WAS_COMPILING);
  const SourceChar c = skip_ws();
  if (char_class(c) == CC_LETTER) {
    select_branch((scan_lookup(c) != nullptr) == when_defined);
  } else {
    if (is_lineEnd(c)) unget();
    report_noArgument();
  }
  check_lineEnd();
}

void do_ifdef() { open_byName(true); }
void do_ifndef() { open_byName(false); }

// Message 102 or 101 for a branch that has no conditional or follows its #else; the line is dropped.
static void refuse_branch() {
  sc_alert(none_open() ? 102 : 101, gToken);
  skip_line();
}

void do_elif() {
  if (!may_branch()) return refuse_branch();
  if (!elif_decides()) {
    gCompiling = 0;
    skip_line();
    return;
  }
  gIfTop->line = gLine;
  evaluate_condition();
}

void do_else() {
  if (!may_branch()) return refuse_branch();
  turn_else();
  check_lineEnd();
}

void do_endif() {
  if (none_open()) return refuse_branch();
  close_conditional();
  check_lineEnd();
}

// --- In place ---

constexpr place_end kOrdinary = {PLACE_ORDINARY, nullptr};

static place_end line_done(const unsigned char* newline) { return {PLACE_LINE_DONE, newline}; }

place_end do_ifInPlace(const unsigned char* at, bool expand) {
  bool truth;
  const unsigned char* newline = cond_isFull() ? nullptr : if_evaluateInPlace(at, expand, &truth);
  if (newline == nullptr) return kOrdinary;
  open_conditional(IF_WAS_COMPILING);
  select_branch(truth);
  return line_done(newline);
}

static place_end open_byNameInPlace(const unsigned char* at, bool when_defined) {
  const unsigned char* name = place_gap(at);
  if (name == nullptr || char_class(*name) != CC_LETTER || cond_isFull()) return kOrdinary;
  const unsigned char* end = place_wordEnd(name);
  const auto length = static_cast<std::uint32_t>(end - name);
  const unsigned char* newline = length <= gIdentifierMax ? place_lineEnd(end) : nullptr;
  if (newline == nullptr) return kOrdinary;
  const macro_def* macro = macro_find(name, length);
  if (macro != nullptr && macro->disable != 0) return kOrdinary;
  open_conditional(IF_WAS_COMPILING);
  select_branch((macro != nullptr) == when_defined);
  return line_done(newline);
}

place_end do_ifdefInPlace(const unsigned char* at, bool) { return open_byNameInPlace(at, true); }
place_end do_ifndefInPlace(const unsigned char* at, bool) { return open_byNameInPlace(at, false); }

place_end do_elifInPlace(const unsigned char* at, bool expand) {
  if (!may_branch()) return kOrdinary;
  if (!elif_decides()) {
    gCompiling = 0;
    return {PLACE_DROP_REST, at};
  }
  bool truth;
  const unsigned char* newline = if_evaluateInPlace(at, expand, &truth);
  if (newline == nullptr) return kOrdinary;
  gIfTop->line = gLine;
  select_branch(truth);
  return line_done(newline);
}

place_end do_elseInPlace(const unsigned char* at, bool) {
  const unsigned char* newline = place_lineEnd(at);
  if (newline == nullptr || !may_branch()) return kOrdinary;
  turn_else();
  return line_done(newline);
}

place_end do_endifInPlace(const unsigned char* at, bool) {
  const unsigned char* newline = place_lineEnd(at);
  if (newline == nullptr || none_open()) return kOrdinary;
  close_conditional();
  return line_done(newline);
}
