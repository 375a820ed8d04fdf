// Booking of ended frames, and the head of a chain of expansions.
#include "preprocessor/depth.h"

#include "common/alert.h"

// The macro whose expansion took gMacroDepth from 0 to 1: a chain that grows too deep is reported with it.
static const macro_def* gDepthHead;

bool depth_enter(const macro_def* macro) {
  if (gMacroDepth++ == 0) gDepthHead = macro;
  return gMacroDepth != MACRO_DEPTH_MAX;
}

void depth_report(const macro_def* macro) {
  alert(115u, macro_name(macro), gDepthHead != nullptr ? macro_name(gDepthHead) : nullptr);
}

void depth_forgetHead(const macro_def* macro) {
  if (gDepthHead == macro) gDepthHead = nullptr;
}

static void lower_depth(std::int32_t by) {
  const auto ended = static_cast<std::uint32_t>(by);
  gMacroDepth = gMacroDepth > ended ? gMacroDepth - ended : 0;
}

static void note_ended(input_frame* frame, std::int32_t ended) {
  frame->carried += ended;
  frame->depth_due = true;
}

void depth_frameEnded(const input_frame* ended) {
  lower_depth(ended->pending_depth);
  if (ended->parent != nullptr) note_ended(ended->parent, ended->carried + 1);
}

void depth_passOn(input_frame* caller, input_frame* argument) {
  if (caller->carried != 0) note_ended(argument, depth_takeEnded(caller));
}

void depth_unitRead(input_frame* frame, std::int32_t ended) {
  input_frame* parent = frame->parent;
  frame->depth_due = parent != nullptr && ended != 0;
  if (parent == nullptr) return;
  if (ended != 0) {
    parent->pending_depth += ended;
  } else {
    lower_depth(parent->pending_depth);
    parent->pending_depth = 0;
  }
}

void depth_settleSlow(input_frame* frame, std::int32_t units) {
  for (; units > 0 && frame->depth_due; units--) depth_unitRead(frame, depth_takeEnded(frame));
}
