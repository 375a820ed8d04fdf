// Watching files that are read again.
#include "preprocessor/guards.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "preprocessor/inplace.h"
#include "preprocessor/output.h"

std::uint64_t gGuardWatched;

// What must be the same when the file has been read.
struct watch_state {
  std::uint32_t alerts, flushes, generation;
  const unsigned char* written;
  const if_entry* top;
  bool compiling;
};

struct file_watch {
  include_content* content;
  bool begun;  // `pending` is known
  watch_state before;
  std::int32_t pending;
  std::uint32_t directives;  // control lines in kept text
  unsigned char name[IDENTIFIER_MAX + NAME_WORD];
  std::uint32_t length;  // of the name that the first of them asks for, 0: none
  std::uint32_t line;    // of that one
};
static file_watch gWatch;
static std::int32_t gPassedLines;

static watch_state state_now() {
  return {gAlertsRaised, gOutFlushes, gMacroGeneration, gOutPos, gIfTop, gCompiling != 0};
}

static bool is_same(const watch_state* a, const watch_state* b) {
  return a->alerts == b->alerts && a->flushes == b->flushes && a->generation == b->generation &&
         a->written == b->written && a->top == b->top && a->compiling == b->compiling;
}

// The entries above the top of the stack of conditionals are nobody's: a mark in them tells which have been used.
constexpr std::uint8_t UNUSED = 0xff;

static void mark_unused() {
  for (if_entry* entry = gIfTop + 1; entry < gIfStack + IF_STACK_ENTRIES; entry++) entry->flags = UNUSED;
}

static std::uint32_t count_used() {
  const if_entry* entry = gIfTop + 1;
  while (entry < gIfStack + IF_STACK_ENTRIES && entry->flags != UNUSED) entry++;
  return static_cast<std::uint32_t>(entry - gIfTop - 1);
}

// --- Watching ---

void guard_watch(include_content* content) {
  if (content->readings < 2 || !roads_open() || gDepMode != DEP_NONE || includes_isOurs(content)) return;
  gWatch.content = content;
  gWatch.begun = false;
  gWatch.before = state_now();
  mark_unused();
  gWatch.directives = gWatch.length = 0;
  gGuardWatched = gCurrentFrame->serial;
}

static const unsigned char* skip_white(const unsigned char* at) {
  while (char_isWhite(*at)) at++;
  return at;
}

static const unsigned char* pass_word(const unsigned char* at, const char* word) {
  const std::size_t length = std::strlen(word);
  return std::memcmp(at, word, length) == 0 && !kWordBytes.has[at[length]] ? skip_white(at + length) : nullptr;
}

// `ifndef NAME`, `if !defined(NAME)` or `if !defined NAME`, with nothing else in the line.
static name_inLine asked_name(const unsigned char* at) {
  constexpr name_inLine none = {nullptr, 0};
  bool open = false;
  at = skip_white(at);
  const unsigned char* p = pass_word(at, "ifndef");
  if (p == nullptr) {
    p = pass_word(at, "if");
    if (p != nullptr) p = *p == '!' ? pass_word(skip_white(p + 1), "defined") : nullptr;
    if (p == nullptr) return none;
    open = *p == '(';
    if (open) p = skip_white(p + 1);
  }
  const name_inLine name = name_at(p);
  p = skip_white(p + name.length);
  if (open && *p++ != ')') return none;
  return place_lineEnd(p) != nullptr ? name : none;
}

void guard_atDirective(const unsigned char* at) {
  if (gWatch.directives++ != 0 || at == nullptr) return;
  const name_inLine name = asked_name(at);
  gWatch.line = gLine;
  gWatch.length = name.length;
  if (name.length != 0) std::memcpy(gWatch.name, name.start, name.length);
  std::memset(gWatch.name + name.length, 0, NAME_WORD);
}

// The conditional that the file opened, whose entry in the stack nobody has used since: the one of the directive, with
// no #else, no #elif that was looked at, and no branch that was kept.
static bool is_oneGroup() {
  const if_entry* entry = gIfTop + 1;
  return count_used() != 0 && entry->line == gWatch.line && entry->flags == IF_WAS_COMPILING;
}

static void learn(std::int32_t lines) {
  include_content* content = gWatch.content;
  std::free(content->guard);
  const auto bytes = static_cast<std::uint32_t>(sizeof(include_guard)) + gWatch.length + NAME_WORD;
  content->guard = static_cast<include_guard*>(mem_alloc(bytes));
  *content->guard = {gWatch.length, count_used(), lines};
  std::memcpy(guard_name(content->guard), gWatch.name, gWatch.length);
  includes_dropText(content);
}

void guard_atLine(std::int32_t pending) {
  const input_frame* frame = gCurrentFrame;
  const line_source* source = frame->stream;
  if (!gWatch.begun) {
    gWatch.begun = true;
    gWatch.pending = pending;
    if (gLine != 1) gGuardWatched = 0;  // a depth that is owed sends the first line the ordinary road
    return;
  }
  if (!source->at_eof || source->next != source->limit || frame->file_pos != source->line_end) return;
  const bool guarded = gWatch.directives == 1 && gWatch.length != 0 && source->error == 0;
  const watch_state now = state_now();
  if (guarded && is_same(&gWatch.before, &now) && is_oneGroup()) learn(pending - gWatch.pending);
  gGuardWatched = 0;
}

// --- Passing over ---

static bool is_visible(include_guard* guard) {
  const macro_def* macro = macro_find(reinterpret_cast<const unsigned char*>(guard_name(guard)), guard->length);
  return macro != nullptr && macro->disable == 0;
}

bool guard_passOver(const include_content* content) {
  include_guard* guard = content->guard;
  const input_frame* frame = place_frame();
  if (guard == nullptr || frame == nullptr || frame->pending_depth != 0 || gInAsm) return false;
  if (gIfTop + guard->nesting >= gIfStack + IF_STACK_ENTRIES || !includes_mayStayShut() || !is_visible(guard))
    return false;
  gPassedLines = guard->lines;
  gLineStale = true;
  in_forgetLine();
  return true;
}

std::int32_t guard_takeLines() {
  const std::int32_t lines = gPassedLines;
  gPassedLines = 0;
  return lines;
}
