// The character reader over the input stack.
//
// Whatever looks at program text calls get() and gives one unit back with unget(). Callers see one
// stream in which trigraphs, comments and continuation lines are gone and parameters are replaced by
// their arguments.
#ifndef PREPROCESSOR_READER_H
#define PREPROCESSOR_READER_H

#include "preprocessor/depth.h"
#include "preprocessor/frames.h"

// Bytes at which get() has to look closer: line ends, comments, backslashes, trigraphs, and `;` once
// gVlasmMode is set.
extern byte_set gReadSpecial;
inline void in_setComment(unsigned char byte, bool on) { gReadSpecial.has[byte] = on; }

SourceChar in_getSlow();
void in_ungetSlow();
extern bool gPresetLast;  // the last read came from the preset text
bool in_hasPreset();      // the next read of the primary source's frame comes from it

// Another line of `frame`, a file frame, is current: what was remembered of the last one is not true any more.
void in_lineBegun(input_frame* frame);

// The same for the current frame where lines above it have come and gone.
void in_forgetLine();

// What the look-ahead behind the end of the current text does: ends plain frames, and with `across_macros`
// macro frames too, until a unit comes, and reads that unit `units` times; it is given back each time.
void in_lookBelow(bool across_macros, std::int32_t units);

// The next unit of input, 0 at the end of all input. Raises 139, 158, 179, 180, 1342, 1470.
inline SourceChar get() {
  input_frame* const frame = gCurrentFrame;
  if (frame != nullptr && !frame->depth_due) {
    if (in_isFile(frame)) {
      const unsigned char byte = *frame->file_pos;
      if (!gReadSpecial.has[byte]) {
        frame->file_pos++;
        return byte;
      }
    } else {
      const SourceChar unit = *frame->text_pos;
      if (char_isByte(unit) && !gReadSpecial.has[unit]) {
        frame->text_pos++;
        return unit;
      }
    }
  }
  return in_getSlow();
}

// Undoes the last get; one step back is guaranteed. Does nothing at the end of all input. Raises
// fatal 159.
inline void unget() {
  input_frame* const frame = gCurrentFrame;
  if (frame == nullptr) return;
  if (in_isFile(frame)) {
    if (!gPresetLast && frame->file_pos > frame->stream->line) {
      if (*--frame->file_pos == '\n') gLine--;
      return;
    }
  } else if (!frame->at_end && frame->text_pos > frame->text_start) {
    frame->text_pos--;
    return;
  }
  in_ungetSlow();
}

void skip_line();             // through the next newline
SourceChar skip_ws();         // the first unit that is no white space; a newline is none
SourceChar in_skipMarkers();  // the first unit that is neither CH_PASTE nor CH_MACRO_END

#endif
