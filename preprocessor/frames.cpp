// Pushing and ending frames. Records are used again, with the buffers that they hold.
#include "preprocessor/frames.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "preprocessor/depth.h"
#include "preprocessor/expand_trace.h"
#include "preprocessor/reader.h"

static SourceChar gEmptyText[1];
static input_frame* gFreeFrames;  // linked by `parent`
static std::uint64_t gFrameSerial;
std::uint32_t gFileFrames;

// --- Pushing ---

static void reserve_buffer(input_frame* frame, std::uint32_t units) {
  if (frame->capacity >= units) return;
  std::free(frame->buffer);
  frame->buffer = static_cast<SourceChar*>(mem_allocRaw(units * static_cast<std::uint32_t>(sizeof(SourceChar))));
  frame->capacity = units;
}

input_frame* in_pushFrame(std::uint32_t capacity) {
  input_frame* frame = gFreeFrames;
  if (frame != nullptr) {
    gFreeFrames = frame->parent;
  } else {
    frame = mem_array<input_frame>(1);
  }
  reserve_buffer(frame, capacity);
  if (gCurrentFrame != nullptr) gCurrentFrame->saved_line = gLine;
  frame->file_pos = nullptr;
  frame->text_start = frame->text_pos = capacity != 0 ? frame->buffer : gEmptyText;
  *frame->text_pos = 0;
  frame->saved_line = 0;
  frame->pending_depth = frame->carried = 0;
  frame->stream = nullptr;
  frame->parent = gCurrentFrame;
  frame->depth_due = gCurrentFrame != nullptr && gCurrentFrame->pending_depth != 0;
  frame->name = gEmptyText;
  frame->macro = nullptr;
  frame->args = nullptr;
  frame->line_name = nullptr;
  frame->arg_of = nullptr;
  frame->at_end = false;
  frame->furthest = nullptr;
  frame->stuck = 0;
  frame->serial = ++gFrameSerial;
  gPresetLast = false;
  gCurrentFrame = frame;
  return frame;
}

static void release_frame(input_frame* frame) {
  std::free(frame->line_name);
  frame->parent = gFreeFrames;
  gFreeFrames = frame;
}

void in_releaseMain() {
  if (gMainFrame != nullptr) release_frame(gMainFrame);
  gMainFrame = nullptr;
}

void in_pushFile(line_source* stream, const SourceChar* name) {
  input_frame* frame = in_pushFrame(0);
  frame->name = name;
  frame->stream = stream;
  frame->file_pos = stream->line;
  gFileFrames++;
  gLine = 1;
  gLineStale = true;
}

void in_pushText(const SourceChar* text) {
  const std::uint32_t length = sc_length(text);
  const input_frame* frame = in_pushFrame(length + 1);
  std::memcpy(frame->buffer, text, (length + 1) * sizeof(SourceChar));
}

bool in_isStuck(input_frame* frame) {
  const void* position = in_isFile(frame) ? static_cast<const void*>(frame->file_pos) : frame->text_pos;
  if (position > frame->furthest) {
    frame->furthest = position;
    frame->stuck = 0;
  }
  return ++frame->stuck > MACRO_DEPTH_MAX;
}

// The frame reads the argument where the macro frame keeps it: arguments end before their macro
// frame does. Only a text in which a comment may end is copied, since the end of a comment leaves a
// blank in the text, which a second use of the argument must not see.
void in_pushArgument(std::uint32_t n) {
  input_frame* caller = gCurrentFrame;
  macro_def* macro = caller->macro;
  if (macro == nullptr || macro->nargs < 0 || n >= static_cast<std::uint32_t>(macro->nargs)) {
    alert(152u, n);
    return;
  }
  if (caller->args == nullptr || caller->args[n] == nullptr) return;
  if (in_isStuck(caller)) {
    depth_report(macro);
    return;
  }
  SourceChar* text = caller->args[n];
  if (caller->args_have_slash) {
    in_pushText(text);
  } else {
    input_frame* frame = in_pushFrame(0);
    frame->text_start = frame->text_pos = text;
  }
  gCurrentFrame->arg_of = macro;
  macro->disable--;
  depth_passOn(caller, gCurrentFrame);
}

// --- Ending ---

void in_resumeParent(input_frame* ended) {
  gCurrentFrame = ended->parent;
  if (gCurrentFrame != nullptr) gLine = gCurrentFrame->saved_line;
  release_frame(ended);
}

static void show_macro(macro_def* macro) {
  if (--macro->disable < 0) {
    alert(158u, macro_name(macro));
  }
  macro_unhold(macro);
}

void in_endText() {
  if (etrace_active()) etrace_textEnds();
  input_frame* frame = gCurrentFrame;
  if (frame->macro != nullptr) show_macro(frame->macro);
  if (frame->arg_of != nullptr) frame->arg_of->disable++;
  depth_frameEnded(frame);
  in_resumeParent(frame);
}
