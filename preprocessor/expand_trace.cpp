// Which text came out of which call, seen from the input stack.
//
// Expansion makes no finished string that could be shown: a macro's text is a frame, and whoever reads it takes it
// unit by unit (expand.cpp). So the trace looks at how far the frames have been read. The units passed over are put
// on a tape; a call takes its name off again and notes where the tape stands; when its frame ends, what has come on
// the tape since is its result. With `#define ADD(a,b) a+b` and `#define V 3`, `ADD(V,1)`:
//
//   ADD's text  <0>+<1>     mark 0
//   argument    V           tape "V"; it is a call: tape "", mark 0
//   V's text    3           tape "3", ends: gives "3"
//   the rest    + and 1     tape "3+1", ADD's text ends: gives "3+1"
//
// The text of the call itself is taken from the frame that it stands in, and those below. The bytes of a file are
// copied ahead of reading, since the reader writes into them.
//
// An entry is a call, from its name to the end of its text, or a directive. Its own line is due when its text is
// known; until then it waits, and keeps the lines of entries above it.
#include "preprocessor/expand_trace.h"

#include <cstdlib>
#include <cstring>

#include "common/osdep.h"
#include "preprocessor/cpp6.h"

struct trace_text {
  char* bytes;  // owned, `capacity` bytes
  std::uint32_t length;
  std::uint32_t capacity;
};

struct trace_entry {
  bool waits;               // its own line is not written yet
  std::uint64_t id;         // no two entries have the same
  std::uint64_t frame;      // serial of the frame with its text, 0 while there is none
  std::uint32_t mark;       // on the tape: what comes behind it is the entry's
  trace_text head;          // its own line
  std::uint32_t head_text;  // where in `head` the text of the call begins, behind word and place
  trace_text held;          // lines of entries above, indented from here on
  // How far `head` has got; meaningful while the entry waits.
  std::uint64_t source;      // serial of the frame that its text is taken from
  const void* from;          // file frame: where in the line the copy begins; others: the next unit to take
  std::uint32_t copy_start;  // file frame: where in `head` the copy of its line begins
};

constexpr std::uint32_t INDENT = 2;

static trace_entry* gEntries;  // the lowest first
static std::uint32_t gEntryCount;
static std::uint32_t gEntryCapacity;

static trace_text gTape;
static std::uint64_t gSeenFrame;  // the tape holds what was read up to gSeenUnit of this frame
static const SourceChar* gSeenUnit;

// --- Texts ---

static void put_bytes(trace_text* text, const char* bytes, std::size_t count) {
  const auto length = text->length + static_cast<std::uint32_t>(count);
  if (length + 1 > text->capacity) {
    text->capacity = (length + 1) * 2;
    auto* grown = static_cast<char*>(mem_allocRaw(text->capacity));
    if (text->length != 0) std::memcpy(grown, text->bytes, text->length);
    std::free(text->bytes);
    text->bytes = grown;
  }
  std::memcpy(text->bytes + text->length, bytes, count);
  text->length = length;
  text->bytes[length] = 0;
}

static void put_text(trace_text* text, const char* bytes) { put_bytes(text, bytes, std::strlen(bytes)); }

static void put_blanks(trace_text* text, std::uint32_t count) {
  for (; count > 0; count--) put_bytes(text, " ", 1);
}

// Markers are left out.
static void put_unit(trace_text* text, SourceChar unit) {
  if (!char_isByte(unit)) return;
  const char byte = static_cast<char>(unit);
  put_bytes(text, &byte, 1);
}

static void put_units(trace_text* text, const SourceChar* units) {
  for (; *units != 0; units++) put_unit(text, *units);
}

static void cut(trace_text* text, std::uint32_t length) {
  if (length < text->length) text->length = length;
}

// --- Lines ---

// Writes a line `depth` steps in, or has it kept by the entry below `below` that waits.
static void write_line(std::uint32_t below, std::uint32_t depth, const char* line, std::uint32_t length) {
  static trace_text whole;
  trace_text* to = &whole;
  std::uint32_t base = 0;
  for (std::uint32_t i = 0; i < below; i++) {
    if (!gEntries[i].waits) continue;
    to = &gEntries[i].held;
    base = i;
  }
  if (to == &whole) {
    cut(&whole, 0);
    put_text(&whole, "EXPAND> ");
  }
  put_blanks(to, (depth - base) * INDENT);
  for (const char* end = line + length; line < end; line++) {
    if (*line == '\n') {
      put_text(to, "\\n");
    } else {
      put_bytes(to, line, 1);
    }
  }
  if (to == &whole) {
    db_text(whole.bytes);
  } else {
    put_bytes(to, "\n", 1);
  }
}

// A line about entry `index`: a word and a text.
static void write_detail(std::uint32_t index, const char* word, const char* text, std::uint32_t length) {
  static trace_text line;
  cut(&line, 0);
  put_text(&line, word);
  put_text(&line, ": ");
  put_bytes(&line, text, length);
  write_line(index, index + 1, line.bytes, line.length);
}

// The entry's own line, which is complete, and those that it has kept.
static void write_head(std::uint32_t index) {
  trace_entry* entry = &gEntries[index];
  write_line(index, index, entry->head.bytes, entry->head.length);
  entry->waits = false;
  const char* line = entry->held.bytes;
  const char* end = line + entry->held.length;
  while (line < end) {
    const auto length = static_cast<std::uint32_t>(std::strcspn(line, "\n"));
    write_line(index, index, line, length);
    line += length + 1;
  }
  cut(&entry->held, 0);
}

// --- The tape ---

static void see(const input_frame* frame) {
  gSeenFrame = frame != nullptr ? frame->serial : 0;
  gSeenUnit = frame != nullptr ? frame->text_pos : nullptr;
}

// Takes `text`, which something else stands for, off the end of the tape.
static void take_off(const SourceChar* text) {
  std::uint32_t at = gTape.length;
  for (const SourceChar* end = text + sc_length(text); end > text; end--) {
    if (!char_isByte(end[-1])) continue;
    if (at == 0 || gTape.bytes[at - 1] != static_cast<char>(end[-1])) return;
    at--;
  }
  cut(&gTape, at);
}

// The name at `from`, as it was read: cut. Returns its end.
static const SourceChar* take_name(const SourceChar* from, const SourceChar* end) {
  for (std::uint32_t count = 0; from < end && (char_isWord(*from) || *from == CH_NO_EXPAND); from++, count++) {
    if (count < gIdentifierMax) put_unit(&gTape, *from);
  }
  return from;
}

static const SourceChar* take_number(const SourceChar* from, const SourceChar* end) {
  for (; from < end && char_isWord(*from); from++) put_unit(&gTape, *from);
  return from;
}

static const SourceChar* take_literal(const SourceChar* from, const SourceChar* end) {
  const SourceChar quote = *from;
  do {
    put_unit(&gTape, *from);
    if (*from == '\\' && from + 1 < end) put_unit(&gTape, *++from);
    from++;
  } while (from < end && *from != quote);
  if (from < end) put_unit(&gTape, *from++);
  return from;
}

static void take_units(const input_frame* frame, const SourceChar* from) {
  if (in_isFile(frame)) return;
  const SourceChar* const end = frame->text_pos;
  const auto back = static_cast<std::uint32_t>(from > end ? from - end : 0);  // given back since
  cut(&gTape, gTape.length > back ? gTape.length - back : 0);
  while (from < end) {
    switch (char_class(*from)) {
      case CC_LETTER: from = take_name(from, end); break;
      case CC_DIGIT: from = take_number(from, end); break;
      case CC_QUOTE: from = take_literal(from, end); break;
      default: put_unit(&gTape, *from++); break;
    }
  }
}

// What was read of `frame` and of those below it, down to where the tape stands.
static void take_frames(const input_frame* frame) {
  if (frame == nullptr || frame->serial < gSeenFrame) return;
  if (frame->serial == gSeenFrame) {
    take_units(frame, gSeenUnit);
    return;
  }
  take_frames(frame->parent);
  // Text that was pushed back: the paste of the tokens that were read last.
  if (in_isPlain(frame) && frame->arg_of == nullptr) take_off(frame->text_start);
  take_units(frame, frame->text_start);
}

static void bring_tapeUpToDate() {
  if (gEntryCount == 0) {
    cut(&gTape, 0);
  } else {
    take_frames(gCurrentFrame);
  }
  see(gCurrentFrame);
}

// --- The text of a call or a directive ---

static void copy_line(trace_entry* entry, const input_frame* frame) {
  entry->from = frame->file_pos;
  entry->copy_start = entry->head.length;
  put_bytes(&entry->head, reinterpret_cast<const char*>(frame->file_pos),
            static_cast<std::size_t>(frame->stream->line_end - frame->file_pos));
}

static void begin_source(trace_entry* entry, const input_frame* frame) {
  entry->source = frame != nullptr ? frame->serial : 0;
  if (frame == nullptr) return;
  if (in_isFile(frame)) {
    copy_line(entry, frame);
  } else {
    entry->from = frame->text_pos;
  }
}

// An argument's marker in a macro's text is shown as the argument.
static void put_sourceUnit(trace_text* text, const input_frame* frame, SourceChar unit) {
  if (!ch_isParam(unit)) {
    put_unit(text, unit);
  } else if (frame->args != nullptr && frame->args[unit - CH_PARAM_BASE] != nullptr) {
    put_units(text, frame->args[unit - CH_PARAM_BASE]);
  }
}

// `frame`, where the entry's text is taken from, has been read up to its position.
static void take_source(trace_entry* entry, const input_frame* frame) {
  if (in_isFile(frame)) {
    const auto* from = static_cast<const unsigned char*>(entry->from);
    cut(&entry->head, entry->copy_start + static_cast<std::uint32_t>(frame->file_pos - from));
    return;
  }
  for (const auto* unit = static_cast<const SourceChar*>(entry->from); unit < frame->text_pos; unit++) {
    put_sourceUnit(&entry->head, frame, *unit);
  }
  entry->from = frame->text_pos;
}

static void end_source(trace_entry* entry) {
  const input_frame* frame = gCurrentFrame;
  while (frame != nullptr && frame->serial != entry->source) frame = frame->parent;
  if (frame != nullptr) {
    take_source(entry, frame);
  } else {
    put_text(&entry->head, " ...");  // the text goes on in a file around an include file that has ended
  }
}

void etrace_lineRead(const input_frame* frame) {
  for (std::uint32_t i = 0; i < gEntryCount; i++) {
    trace_entry* entry = &gEntries[i];
    if (entry->waits && entry->source == frame->serial) copy_line(entry, frame);
  }
}

// --- Entries ---

static trace_entry* push_entry(const char* word) {
  if (gEntryCount == gEntryCapacity) {
    const std::uint32_t capacity = gEntryCapacity == 0 ? 64 : gEntryCapacity * 2;
    auto* grown = mem_array<trace_entry>(capacity);
    if (gEntryCount != 0) std::memcpy(grown, gEntries, gEntryCount * sizeof *grown);
    std::free(gEntries);
    gEntries = grown;
    gEntryCapacity = capacity;
  }
  trace_entry* entry = &gEntries[gEntryCount++];
  entry->waits = true;
  static std::uint64_t last_id;
  entry->id = ++last_id;
  entry->frame = entry->source = 0;
  entry->mark = gTape.length;
  cut(&entry->head, 0);
  const input_frame* frame = gCurrentFrame;
  while (frame != nullptr && !in_isFile(frame)) frame = frame->parent;
  put_text(&entry->head, word);
  if (frame != nullptr) put_units(&entry->head, in_shownName(frame));
  char line[16];
  std::snprintf(line, sizeof line, ":%d: ", static_cast<int>(gLine));
  put_text(&entry->head, line);
  entry->head_text = entry->head.length;
  return entry;
}

// The record goes behind the last one, where the next push finds it with its buffers.
static void remove_entry(std::uint32_t index) {
  const trace_entry removed = gEntries[index];
  gEntryCount--;
  std::memmove(gEntries + index, gEntries + index + 1, (gEntryCount - index) * sizeof removed);
  gEntries[gEntryCount] = removed;
}

// What came out of an entry whose text has ended. A call in the making takes its name, and what it has read so
// far, from that text: they are part of it.
static void write_result(std::uint32_t index) {
  static trace_text result;
  std::uint32_t end = gTape.length;
  const trace_entry* rest = nullptr;
  for (std::uint32_t i = gEntryCount; --i > index;) {
    if (gEntries[i].waits) rest = &gEntries[i];
  }
  if (rest != nullptr) end = rest->mark;
  cut(&result, 0);
  if (end > gEntries[index].mark) put_bytes(&result, gTape.bytes + gEntries[index].mark, end - gEntries[index].mark);
  if (rest != nullptr) put_text(&result, rest->head.bytes + rest->head_text);
  write_detail(index, "gives", result.length != 0 ? result.bytes : "", result.length);
}

// --- Calls ---

static void begin_call(const macro_def* macro) {
  bring_tapeUpToDate();
  if (!in_isFile(gCurrentFrame)) take_off(macro_wideName(macro));
  trace_entry* entry = push_entry("call ");
  put_text(&entry->head, macro_name(macro));
  if (macro->nargs >= 0) begin_source(entry, gCurrentFrame);
}

void etrace_arguments(std::uint32_t count, const std::uint32_t* starts) {
  const std::uint32_t index = gEntryCount - 1;
  end_source(&gEntries[index]);
  write_head(index);
  for (std::uint32_t n = 0; n < count; n++) {
    static trace_text argument;
    char word[16];
    std::snprintf(word, sizeof word, "arg %u", n + 1);
    cut(&argument, 0);
    put_text(&argument, "");
    put_units(&argument, gMacroArea + starts[n]);
    write_detail(index, word, argument.bytes, argument.length);
  }
}

// The frame with the text of the call is current.
static void begin_text() {
  const std::uint32_t index = gEntryCount - 1;
  if (gEntries[index].waits) write_head(index);
  cut(&gTape, gEntries[index].mark);
  gEntries[index].frame = gCurrentFrame != nullptr ? gCurrentFrame->serial : 0;
  see(gCurrentFrame);
}

// The name stays what it is.
static void drop_call(const macro_def* macro) {
  const std::uint32_t index = gEntryCount - 1;
  cut(&gTape, gEntries[index].mark);
  put_text(&gTape, macro_name(macro));
  remove_entry(index);
  see(gCurrentFrame);
}

bool etrace_call(macro_def* macro, bool (*take)(macro_def*)) {
  begin_call(macro);
  const bool taken = take(macro);
  if (taken) {
    begin_text();
  } else {
    drop_call(macro);
  }
  return taken;
}

void etrace_textEnds() {
  if (gEntryCount == 0) return;
  const input_frame* frame = gCurrentFrame;
  bring_tapeUpToDate();
  for (std::uint32_t i = 0; i < gEntryCount; i++) {
    if (gEntries[i].waits && gEntries[i].source == frame->serial) take_source(&gEntries[i], frame);
  }
  for (std::uint32_t i = gEntryCount; i-- > 0;) {
    if (gEntries[i].frame != frame->serial) continue;
    write_result(i);
    remove_entry(i);
  }
  for (std::uint32_t i = 0; i < gEntryCount; i++) {
    if (gEntries[i].waits && gEntries[i].source == frame->serial) begin_source(&gEntries[i], frame->parent);
  }
  see(frame->parent);
}

// --- Directives ---

static bool is_word(const char* word, const char* wanted) { return std::strcmp(word, wanted) == 0; }

// An #elif is looked at in the conditionals of kept text only.
static bool is_tracedCondition(const char* word) {
  if (is_word(word, "elif")) {
    return gIfTop != gIfStack && (gIfTop->flags & (IF_WAS_COMPILING | IF_ELSE_SEEN)) == IF_WAS_COMPILING;
  }
  return is_word(word, "if") || is_word(word, "ifdef") || is_word(word, "ifndef");
}

static void trim_end(trace_text* text) {
  while (text->length > 0 && (text->bytes[text->length - 1] == '\n' || text->bytes[text->length - 1] == ' ')) {
    text->length--;
  }
}

// A macro that a directive has used may have its end ahead of it: that of `#include NAME` lies behind the file.
static void end_directive(std::uint32_t index) {
  while (gEntryCount > index + 1) {
    write_result(gEntryCount - 1);
    remove_entry(gEntryCount - 1);
  }
  end_source(&gEntries[index]);
  trim_end(&gEntries[index].head);
  write_head(index);
}

static void write_openedFile(std::uint32_t index, std::uint64_t below) {
  static trace_text name;
  const bool opened = gCurrentFrame != nullptr && gCurrentFrame->serial > below && in_isFile(gCurrentFrame);
  cut(&name, 0);
  if (opened) {
    put_units(&name, in_name(gCurrentFrame));
  } else {
    put_text(&name, "no file");
  }
  write_detail(index, "gives", name.bytes, name.length);
}

// Where the entry is now that `index` was given: entries below it may have ended.
static std::uint32_t place_of(std::uint64_t id, std::uint32_t index) {
  while (gEntries[index].id != id) index--;
  return index;
}

void etrace_directive(const char* word, void (*run)()) {
  const bool is_condition = is_tracedCondition(word);
  if (!is_condition && !is_word(word, "include")) {
    run();
    return;
  }
  const bool evaluated = !is_word(word, "elif") || (gIfTop->flags & IF_TRUE_SEEN) == 0;
  const std::uint64_t serial = gCurrentFrame != nullptr ? gCurrentFrame->serial : 0;
  bring_tapeUpToDate();
  std::uint32_t index = gEntryCount;
  trace_entry* entry = push_entry("line ");
  const std::uint64_t id = entry->id;
  put_text(&entry->head, "#");
  put_text(&entry->head, word);
  begin_source(entry, gCurrentFrame);
  run();
  bring_tapeUpToDate();
  index = place_of(id, index);
  end_directive(index);
  if (is_condition) {
    const char* result = !evaluated ? "not evaluated" : gCompiling ? "true" : "false";
    write_detail(index, "gives", result, static_cast<std::uint32_t>(std::strlen(result)));
  } else {
    write_openedFile(index, serial);
  }
  remove_entry(index);
}

// --- The end ---

void etrace_finish() {
  for (std::uint32_t i = 0; i < gEntryCount; i++) {
    if (!gEntries[i].waits) continue;
    trim_end(&gEntries[i].head);
    write_head(i);
  }
  gEntryCount = 0;
  gTraceExpand = false;
}
