// The input stack.
//
// The source lies at the bottom, include files, macro texts, arguments and pushed-back text above it.
//
//   file frame    one line at a time, as bytes, in place in the block of its line_source
//   macro frame   a macro's encoded body; ends with one CH_MACRO_END
//   plain frame   an argument or pushed text; ends without a mark
#ifndef PREPROCESSOR_FRAMES_H
#define PREPROCESSOR_FRAMES_H

#include <cstdint>

#include "preprocessor/linesource.h"
#include "preprocessor/state.h"
#include "preprocessor/symbols.h"

struct input_frame {
  unsigned char* file_pos;     // read position of a file frame
  SourceChar* text_pos;        // read position of all others; at the terminator while at_end
  std::uint32_t saved_line;    // gLine when another frame was pushed on this one
  std::int32_t pending_depth;  // ended frames above whose depth has yet to leave gMacroDepth
  std::int32_t carried;        // frames that ended on this one since its last unit was read
  line_source* stream;         // present in a file frame
  input_frame* parent;         // absent only in the frame of the primary source
  const SourceChar* name;      // file name as opened, or empty; never absent
  macro_def* macro;            // present in a macro frame
  SourceChar** args;           // arguments of the call, or absent; entries may be absent
  SourceChar* line_name;       // owned; file name set by #line, or absent
  macro_def* arg_of;           // argument frame: the macro whose `disable` was lowered for it
  bool at_end;                 // CH_MACRO_END has been delivered
  bool args_have_slash;        // a comment may end in one of `args`
  bool depth_due;              // `carried` or the parent's `pending_depth` is not 0
  SourceChar* text_start;      // first cell of the text; in `buffer`, or lent by its owner
  const void* furthest;        // for in_isStuck
  std::uint32_t stuck;
  std::uint64_t serial;  // no two frames of a run have the same
  // Kept from one use of the record to the next:
  SourceChar* buffer;  // owned, `capacity` units
  std::uint32_t capacity;
  std::uint32_t arg_capacity;
  SourceChar* arg_text;  // owned, `arg_capacity` units: the texts that `args` refers to
  SourceChar* arg_table[MACRO_PARAMS_MAX];
};

inline bool in_isFile(const input_frame* frame) { return frame->stream != nullptr; }
inline bool in_isPlain(const input_frame* frame) { return frame->stream == nullptr && frame->macro == nullptr; }

// The file name as opened, the macro's name, or nothing; a macro's is good until the next call.
inline const SourceChar* in_name(const input_frame* frame) {
  return frame->macro != nullptr ? macro_wideName(frame->macro) : frame->name;
}

// The name that markers and __FILE__ show.
inline const SourceChar* in_shownName(const input_frame* frame) {
  return frame->line_name != nullptr ? frame->line_name : frame->name;
}

// Pushes an empty frame whose buffer has room for `capacity` units. Raises 296.
input_frame* in_pushFrame(std::uint32_t capacity);

// Pushes a file frame that reads `stream`, which it owns. `name` is lent for good.
void in_pushFile(line_source* stream, const SourceChar* name);

extern std::uint32_t gFileFrames;  // how many there are

// Pushes a copy of `text` (0-terminated) as the next input.
void in_pushText(const SourceChar* text);

// Pushes argument `n` of the current macro frame, if there is one. Raises fatal 152.
void in_pushArgument(std::uint32_t n);

// Called where `frame` gives rise to another one. A step back behind the end of a text lands in the text
// below, which can bring what was just read up again, for ever: true once that has happened more often
// than any expansion may nest.
bool in_isStuck(input_frame* frame);

// Gives back the primary source's frame, which the reader leaves alone.
void in_releaseMain();

// `ended`, the current frame, gives way to the one below, whose line number returns.
void in_resumeParent(input_frame* ended);

// Ends the current frame, whose text is used up and, in a macro frame, whose CH_MACRO_END has been
// delivered; its parent becomes current. Raises 158.
void in_endText();

#endif
