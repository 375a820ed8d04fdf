// The ledger of depth: how many macro expansions are open.
//
// gMacroDepth goes up by 1 at each expansion and back to 0 at a name in a file. It comes down for each
// frame that ends, but one unit late: the unit read behind the end books the ended frames to the parent
// of the frame that it lies in, and only the next unit of that frame takes them off. So a macro that ends
// its caller's text stays counted, and a chain of macros, each the whole text of the one before, ends at
// MACRO_DEPTH_MAX. With `#define A B;` `#define B C,` `#define C c` and the text `A` (a file frame has no
// parent, so what is booked while it is current comes to nothing: the next name starts at 0 again):
//
//   unit read    in the text of   `carried` there   pending_depth of its parent   gMacroDepth
//   A            file                  0                    -                          1
//   B            A                     0                    0                          2
//   C            B                     0                    0                          3
//   c            C                     0                    0                          3
//   (end of C)                                                                         3
//   ,            B                     1 -> 0               1                          3
//   (end of B)   the pending 1 goes with B                                             2
//   ;            A                     1 -> 0               1                          2
//   (end of A)                                                                         1
#ifndef PREPROCESSOR_DEPTH_H
#define PREPROCESSOR_DEPTH_H

#include "preprocessor/frames.h"

constexpr std::uint32_t MACRO_DEPTH_MAX = 1000;  // reaching it: message 115

// Counts one more open expansion, that of `macro`; false if it reaches MACRO_DEPTH_MAX.
bool depth_enter(const macro_def* macro);

// A name in a file frame: nothing is open.
inline void depth_reset() { gMacroDepth = 0; }

// Message 115 for `macro`, with the macro whose expansion took the depth from 0 to 1.
void depth_report(const macro_def* macro);

// `macro` is about to be given back: it can't be named as the head of a chain of calls any more.
void depth_forgetHead(const macro_def* macro);

// `ended` is about to give way to its parent.
void depth_frameEnded(const input_frame* ended);

// The CH_MACRO_END of `frame` has been delivered: what ended right ahead of it is not booked.
inline void depth_markDelivered(input_frame* frame) { frame->carried = 0; }

// What ended on `caller` is booked by the first unit of the argument pushed on it.
void depth_passOn(input_frame* caller, input_frame* argument);

// The frames that ended on `frame` since its last unit was read; they are the caller's to book.
inline std::int32_t depth_takeEnded(input_frame* frame) {
  const std::int32_t ended = frame->carried;
  frame->carried = 0;
  return ended;
}

// One unit of `frame` has been read, behind the end of `ended` frames.
void depth_unitRead(input_frame* frame, std::int32_t ended);

// The same for the next `units` units of `frame`, read where they lie.
void depth_settleSlow(input_frame* frame, std::int32_t units);
inline void depth_settle(input_frame* frame, std::int32_t units) {
  if (frame->depth_due) depth_settleSlow(frame, units);
}

#endif
