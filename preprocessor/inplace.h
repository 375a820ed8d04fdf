// Parts of a line of a file, looked at where it lies: the fast roads of control lines.
//
// A line is bytes up to a newline, without a NUL. Nothing here has an effect, so whoever comes upon what these
// operations do not pass can leave the line to the ordinary road, which starts again where the look began.
#ifndef PREPROCESSOR_INPLACE_H
#define PREPROCESSOR_INPLACE_H

#include "preprocessor/grammar.h"
#include "preprocessor/reader.h"
#include "preprocessor/roads.h"

// The current frame if its line may be looked at from `file_pos` on; nothing is read until that is moved. nullptr: the
// ordinary road.
inline input_frame* place_frame() {
  input_frame* frame = gCurrentFrame;
  const bool usual = roads_open() && frame != nullptr && in_isFile(frame) && !frame->depth_due && !gPresetLast;
  return usual ? frame : nullptr;
}

// The first byte from `at` on that is neither white space nor in a comment; nullptr at a comment that goes on in the
// next line or about which there is something to say.
const unsigned char* place_gapWithComments(const unsigned char* at);
inline const unsigned char* place_gap(const unsigned char* at) {
  while (char_isWhite(*at)) at++;
  return *at == '/' ? place_gapWithComments(at) : at;
}

// Does the line end at `at`? A carriage return ahead of the newline is read as nothing.
inline bool place_isLineEnd(const unsigned char* at) { return *at == '\n' || (*at == '\r' && at[1] == '\n'); }

// The newline, if nothing else follows; else nullptr.
inline const unsigned char* place_lineEnd(const unsigned char* at) {
  at = place_gap(at);
  if (at == nullptr || !place_isLineEnd(at)) return nullptr;
  return *at == '\n' ? at : at + 1;
}

// The end of the letters and digits that begin at `at`.
template <class Unit>
const Unit* place_wordEnd(const Unit* at) {
  while (char_isWord(*at)) at++;
  return at;
}

struct name_inLine {
  const unsigned char* start;
  std::uint32_t length;  // 0: none begins there, or one that would be cut
};

inline name_inLine name_at(const unsigned char* at) {
  if (char_class(*at) != CC_LETTER) return {at, 0};
  const auto length = static_cast<std::uint32_t>(place_wordEnd(at) - at);
  return {at, length <= gIdentifierMax ? length : 0};
}

#endif
