// The input stack and the character reader.
//
// get() returns ordinary units inline; in_getSlow does the rest in three stages that follow one
// another until a unit is ready: read_top picks the frame, read_fetch takes the next unit and ends
// frames, read_treat replaces trigraphs and handles comments and backslashes. A backslash needs the
// unit behind it, which may be a backslash again; the backslashes that wait are kept on a stack of
// their own, so that no input makes the reader call itself without bound.
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/expand.h"
#include "preprocessor/expand_trace.h"
#include "preprocessor/output.h"

static const char* gPresetCursor;
bool gPresetLast;

// --- Reading: tables and the state of one read ---

static constexpr byte_set make_special() {
  byte_set special{};
  constexpr unsigned char kSpecial[] = {0, '\n', '\v', '\f', '\r', '/', '?', '\\'};
  for (unsigned char byte : kSpecial) special.has[byte] = true;
  return special;
}
byte_set gReadSpecial = make_special();

enum read_step {
  FROM_TOP,  // choose the frame again
  FETCH,     // take the next unit of the frame in hand
  TREAT,     // a unit was fetched
  DELIVER,   // a unit is ready
};

struct reader {
  input_frame* frame;  // the frame in hand
  SourceChar unit;
  std::int32_t popped;  // frames that this read has ended
};

// A backslash that waits for the unit behind it.
struct waiting_backslash {
  std::int32_t popped;  // of the read that met it
  bool spaces;          // white space has followed
};
static waiting_backslash* gWaiting;
static std::uint32_t gWaitingCount;
static std::uint32_t gWaitingCapacity;

// A run of backslashes that ends in a unit which makes none of them a continuation. A step back at the start
// of a line can land ahead of the run, on a backslash that is not part of it.
struct backslash_run {
  std::uint64_t serial;  // of the frame that holds it
  const void* start;
  const void* end;
};
static backslash_run gBackslashRun;

// --- Reading: the ends of frames ---

static void report_readError(const input_frame* frame) {
  if (frame->stream->error == 0) return;
  char* name = sc_narrowDup(frame->name);
  alert_raw("Could not read \"%s\" to its end: %s", static_cast<const char*>(name),
            std::strerror(frame->stream->error));
  std::free(name);
  gInputLost = true;
}

static read_step end_fileFrame(reader* r) {
  input_frame* frame = r->frame;
  report_readError(frame);
  source_close(frame->stream);
  frame->stream = nullptr;
  gFileFrames--;
  if (frame->parent == nullptr) {
    gCurrentFrame = nullptr;  // the record stays for the main loop
    r->unit = 0;
    return DELIVER;
  }
  gLineStale = true;
  in_resumeParent(frame);
  return FROM_TOP;
}

void in_lookBelow(bool across_macros, std::int32_t units) {
  while (!in_isFile(gCurrentFrame) && *gCurrentFrame->text_pos == 0) {
    if (gCurrentFrame->macro != nullptr) {
      depth_markDelivered(gCurrentFrame);
      if (!across_macros) return;
    }
    in_endText();
  }
  depth_settle(gCurrentFrame, units);
}

static read_step end_textFrame() {
  in_endText();
  return FROM_TOP;
}

// --- Reading: preset text, units, depth ---

static read_step read_top(reader* r) {
  r->frame = gCurrentFrame;
  if (r->frame == nullptr) {
    r->unit = 0;
    return DELIVER;
  }
  if (r->frame->parent != nullptr) return FETCH;
  if (gPresetCursor == nullptr) gPresetCursor = gPresetText;
  gPresetLast = *gPresetCursor != 0;
  if (!gPresetLast) return FETCH;
  r->unit = static_cast<unsigned char>(*gPresetCursor++);
  return DELIVER;
}

bool in_hasPreset() { return *(gPresetCursor != nullptr ? gPresetCursor : gPresetText) != 0; }

void in_forgetLine() {
  gBackslashRun.serial = 0;
  gAlertEchoed = false;
}

void in_lineBegun(input_frame* frame) {
  frame->furthest = nullptr;
  in_forgetLine();
}

static bool next_line(input_frame* frame) {
  if (!source_nextLine(frame->stream)) return false;
  frame->file_pos = frame->stream->line;
  in_lineBegun(frame);
  if (etrace_active()) etrace_lineRead(frame);
  return true;
}

static read_step read_fetch(reader* r) {
  input_frame* frame = r->frame;
  r->popped += depth_takeEnded(frame);
  if (in_isFile(frame)) {
    if (frame->file_pos == frame->stream->line_end && !next_line(frame)) return end_fileFrame(r);
    r->unit = *frame->file_pos++;
  } else {
    if (frame->at_end) return end_textFrame();
    r->unit = *frame->text_pos;
    if (r->unit == 0) {
      if (frame->macro == nullptr) return end_textFrame();
      frame->at_end = true;
      r->unit = CH_MACRO_END;
      return DELIVER;
    }
    frame->text_pos++;
    if (ch_isParam(r->unit) && !gNoParamSubst) {
      in_pushArgument(r->unit - CH_PARAM_BASE);
      return FROM_TOP;
    }
  }
  depth_unitRead(frame, r->popped);
  return TREAT;
}

// --- Reading: comments ---

static bool is_white(SourceChar c) { return char_class(c) == CC_SPACE; }

// Bytes that do nothing in a comment are passed over in one go.
static void skip_plainComment(std::uint64_t serial, bool line_comment) {
  input_frame* frame = gCurrentFrame;
  if (frame == nullptr || frame->serial != serial || !in_isFile(frame)) return;
  const unsigned char* from = frame->file_pos;
  unsigned char* p = frame->file_pos;
  if (line_comment) {
    while (*p != '\n' && *p != '\\' && *p != '?' && *p != 0) p++;
  } else {
    while (*p != '\n' && *p != '*' && *p != '/' && *p != '?' && *p != 0) p++;
  }
  if (gKeepComments) out_bytes(from, static_cast<std::size_t>(p - from));
  frame->file_pos = p;
}

static SourceChar copy_comment(SourceChar c) {
  if (gKeepComments && c != 0) out_char(c);
  return c;
}

// A comment that an include file leaves open goes on in the file below.
static void check_commentFrame(std::uint64_t* serial) {
  if (gCurrentFrame == nullptr || gCurrentFrame->serial == *serial) return;
  alert(180u);
  *serial = gCurrentFrame->serial;
}

static read_step read_lineComment(reader* r, std::uint64_t serial) {
  for (;;) {
    skip_plainComment(serial, true);
    const SourceChar c = copy_comment(get());
    if (c == '\n' || c == 0) break;
    if (c == '\\') {
      if (get() == '\n' && !gKeepComments) gLineStale = true;
    } else if (c != '*' && c != '/') {
      check_commentFrame(&serial);
    }
  }
  gInLiteral = false;
  r->unit = '\n';
  return DELIVER;
}

// The comment is gone where white space follows anyway; elsewhere it is one blank, written over the
// cell ahead of the read position so that a step back finds it again.
static read_step end_blockComment(reader* r) {
  gInLiteral = false;
  input_frame* frame = r->frame = gCurrentFrame;
  const bool in_file = in_isFile(frame);
  const SourceChar next = in_file ? *frame->file_pos : *frame->text_pos;
  if (next == '\n' || is_white(next)) return FROM_TOP;
  if (in_file && frame->file_pos > frame->stream->line) frame->file_pos[-1] = ' ';
  if (!in_file && frame->text_pos > frame->text_start) frame->text_pos[-1] = ' ';
  r->unit = ' ';
  return DELIVER;
}

static read_step read_blockComment(reader* r, std::uint64_t serial) {
  skip_plainComment(serial, false);
  SourceChar c = copy_comment(get());
  for (;;) {
    switch (c) {
      case '*':
        c = copy_comment(get());
        if (c == '/') return end_blockComment(r);
        continue;
      case '/':
        c = get();
        if (c == '*') {
          alert(179u);
        } else {
          copy_comment(c);
        }
        continue;
      case 0:
        alert(139u);
        gInLiteral = false;
        r->unit = 0;
        return DELIVER;
      case '\\': break;
      case '\n':
        if (!gKeepComments) gLineStale = true;
        check_commentFrame(&serial);
        break;
      default: check_commentFrame(&serial); break;
    }
    skip_plainComment(serial, false);
    c = copy_comment(get());
  }
}

// Does the text below an argument that a `/` ends begin with what can't open a comment? Then the frame
// is not left for the look-ahead, and the slash can be given back.
static bool is_loneBelow(const input_frame* frame) {
  if (frame->arg_of == nullptr || *frame->text_pos != 0) return false;
  const input_frame* below = frame->parent;
  if (below == nullptr || in_isFile(below) || below->at_end) return false;
  return *below->text_pos != '*' && *below->text_pos != '/' && (*below->text_pos != 0 || below->macro != nullptr);
}

// The unit behind the slash is read to see whether a comment opens, and given back if not. A parameter there must not
// be opened by that: its frame would stay, with the marker gone, and the step back would land in the argument. So with
// `#define D(x) 1/x`, in `D(*p)`, the marker is read as a unit, given back, and opened at the next read; the slash has
// been delivered by then, and no comment comes of the two.
static read_step read_slash(reader* r) {
  if (is_loneBelow(r->frame)) return DELIVER;
  const std::uint64_t serial = r->frame->serial;
  gInLiteral = gNoParamSubst = true;
  const SourceChar c = get();
  gNoParamSubst = false;
  if (c != '*' && c != '/') {
    gInLiteral = false;
    unget();
    r->unit = '/';
    return DELIVER;
  }
  copy_comment('/');
  copy_comment(c);
  return c == '/' ? read_lineComment(r, serial) : read_blockComment(r, serial);
}

static read_step read_semicolon(reader* r) {
  gInLiteral = true;
  copy_comment(';');
  return read_lineComment(r, r->frame->serial);
}

// --- Reading: backslashes and trigraphs ---

// Units behind a backslash that leave it as it is, without a look at anything else.
static bool is_inert(SourceChar c) { return char_isByte(c) && !gReadSpecial.has[c] && !is_white(c); }

// The unit at the read position of `frame`, as it lies; 0 where its line or its text is used up.
static SourceChar unit_at(const input_frame* frame) {
  if (frame->parent == nullptr && gPresetCursor != nullptr && *gPresetCursor != 0) {
    return static_cast<unsigned char>(*gPresetCursor);
  }
  return in_isFile(frame) ? *frame->file_pos : *frame->text_pos;
}

// A text that ends in a backslash can't be left for a look at the unit behind: in the text below, the
// backslash could not be given back. So with `#define DIR(x) x/lib`, in `DIR(d:\\)`, the unit below decides
// where it lies. Only what may turn out to be the end of a line is read.
static bool may_endLine(SourceChar c) {
  return c == '\n' || c == '\v' || c == '\f' || c == '\r' || c == CH_NO_EXPAND || is_white(c);
}

static bool is_lastBackslash(const input_frame* frame) {
  while (frame->macro != nullptr || frame->arg_of != nullptr) {
    frame = frame->parent;
    if (frame == nullptr) return false;
    const SourceChar c = unit_at(frame);
    if (c != 0) return !may_endLine(c);
  }
  return false;  // pushed text can be left: a step back finds the unit that it was made from
}

template <class Unit>
static bool is_backslashRun(const input_frame* frame, const Unit* next) {
  backslash_run* run = &gBackslashRun;
  if (run->serial == frame->serial && next >= run->start && next < run->end) return true;
  const Unit* start = next;
  while (*next == '\\') next++;
  if (!is_inert(*next) && (*next != 0 || in_isFile(frame) || !is_lastBackslash(frame))) return false;
  *run = {frame->serial, start, next};
  return true;
}

static read_step read_backslash(reader* r) {
  const input_frame* frame = r->frame;
  if (in_isFile(frame) ? is_backslashRun(frame, frame->file_pos) : is_backslashRun(frame, frame->text_pos))
    return DELIVER;
  if (gWaitingCount == gWaitingCapacity) {
    const std::uint32_t capacity = gWaitingCapacity == 0 ? 64 : gWaitingCapacity * 2;
    auto* grown = mem_array<waiting_backslash>(capacity);
    if (gWaitingCount != 0) std::memcpy(grown, gWaiting, gWaitingCount * sizeof *grown);
    std::free(gWaiting);
    gWaiting = grown;
    gWaitingCapacity = capacity;
  }
  gWaiting[gWaitingCount++] = {r->popped, false};
  r->popped = 0;
  return FROM_TOP;
}

// The unit behind the topmost waiting backslash has come.
static read_step end_backslash(reader* r) {
  waiting_backslash* waiting = &gWaiting[gWaitingCount - 1];
  if (is_white(r->unit) || r->unit == CH_MACRO_END) {
    waiting->spaces = true;
    r->popped = 0;
    return FROM_TOP;
  }
  r->popped = waiting->popped;
  gWaitingCount--;
  if (r->unit != '\n') {
    unget();
    r->unit = '\\';
    return DELIVER;
  }
  if (waiting->spaces) alert(1342u);
  gLineStale = true;
  return FROM_TOP;
}

// The replacement for `??` and `third`, or 0.
static unsigned char trigraph(unsigned char third) {
  static constexpr char kThird[] = "=/'()!<>-";
  static constexpr char kReplacement[] = "#\\^[]|{}~";
  static_assert(sizeof kThird == sizeof kReplacement);
  const void* found = third != 0 ? std::strchr(kThird, third) : nullptr;
  return found != nullptr ? static_cast<unsigned char>(kReplacement[static_cast<const char*>(found) - kThird]) : 0;
}

static void read_trigraph(reader* r) {
  input_frame* frame = r->frame;
  if (frame->file_pos[0] != '?') return;
  const unsigned char third = frame->file_pos[1];
  const unsigned char replacement = trigraph(third);
  if (replacement == 0) return;
  frame->file_pos += 2;
  alert_once(1470u, static_cast<char>(third));
  frame->file_pos[-1] = replacement;
  r->unit = replacement;
}

static read_step read_treat(reader* r) {
  if (r->unit == '?' && in_isFile(r->frame)) {
    read_trigraph(r);
    return r->unit == '\\' && !gInLiteral ? read_backslash(r) : DELIVER;
  }
  if (r->unit == '\n') {
    if (in_isFile(r->frame)) gLine++;
    return DELIVER;
  }
  if (gInLiteral) return DELIVER;
  switch (r->unit) {
    case ';': return gVlasmMode ? read_semicolon(r) : DELIVER;
    case '/': return read_slash(r);
    case '\\': return read_backslash(r);
    case '\v':
    case '\f': r->unit = ' '; return DELIVER;
    case '\r': return FROM_TOP;
    default: return DELIVER;
  }
}

SourceChar in_getSlow() {
  const std::uint32_t outer = gWaitingCount;  // backslashes of a read that this one is part of
  reader r = {nullptr, 0, 0};
  read_step step = FROM_TOP;
  for (;;) {
    if (step == FROM_TOP) step = read_top(&r);
    if (step == FETCH) step = read_fetch(&r);
    if (step == TREAT) step = read_treat(&r);
    if (step == DELIVER) {
      if (gWaitingCount == outer) return r.unit;
      step = end_backslash(&r);
    }
  }
}

// --- Stepping back ---

void in_ungetSlow() {
  input_frame* frame = gCurrentFrame;
  if (frame->at_end) {
    frame->at_end = false;  // the terminator is met again, and with it the mark
    return;
  }
  if (gPresetLast && frame->parent == nullptr) {
    if (gPresetCursor > gPresetText) {
      gPresetCursor--;
    } else {
      alert(159u);
    }
    return;
  }
  if (in_isFile(frame) && frame->file_pos > frame->stream->line) {
    if (*--frame->file_pos == '\n') gLine--;
    return;
  }
  alert(159u);
}

// --- Skipping ---

void skip_line() {
  for (;;) {
    input_frame* frame = gCurrentFrame;
    if (frame != nullptr && in_isFile(frame)) {
      unsigned char* p = frame->file_pos;
      while (!gReadSpecial.has[*p]) p++;
      frame->file_pos = p;
    }
    const SourceChar c = get();
    if (c == '\n' || c == 0) return;
  }
}

SourceChar skip_ws() {
  for (;;) {
    const SourceChar c = get();
    if (c != CH_MACRO_END && !is_white(c)) return c;
  }
}

SourceChar in_skipMarkers() {
  for (;;) {
    const SourceChar c = get();
    if (c != CH_PASTE && c != CH_MACRO_END) return c;
  }
}
