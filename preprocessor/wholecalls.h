// Calls of a file's text carried out as a whole, without frames: the fast road of expansion.
//
// Nearly every call has the usual effect alone: its arguments end where they are expected to, its texts hold whole
// tokens, nothing is reported. Such a call is written by one walk over its text, which is bytes (codedbody.h): a name
// leads into the walk over another macro's text, a parameter into that over its argument, which is kept where it was
// collected. What has come of an argument is copied when the same text uses it again.
//
// The rules are those of expand.cpp and textlines.cpp. Whatever could have another effect than the usual one, down to
// the units that a scanner looks ahead, gives the call up: the ordinary road then takes it from its name on, and sees
// everything as it was.
#ifndef PREPROCESSOR_WHOLECALLS_H
#define PREPROCESSOR_WHOLECALLS_H

#include "preprocessor/frames.h"

struct whole_call {
  unsigned char* behind;  // the first byte of the file that has not been read; absent: given up
  unsigned char* line;    // start of the line that it lies in, absent if that is the line of the name
  std::uint32_t lines;    // newlines among the arguments
  std::int32_t pending;   // the frame's pending_depth behind the call
  bool is_call;           // false: the name stands for itself
};

// The call of `macro` in the text of `frame`, a file frame below which lie file frames only. Its name ends ahead of
// `at`; the bytes up to `end`, whole lines, may be read. What the call stands for is written to the output, all of it;
// nothing else is changed. No macro may be in use, and no report may be written.
whole_call whole_write(input_frame* frame, macro_def* macro, unsigned char* at, unsigned char* end);

#endif
