// The input stack, the character reader, the scanners over it, and the symbol table.
//
// Whatever looks at program text calls get() and gives one unit back with unget(). Between the two
// lies a stack of frames: the source at the bottom, include files, macro texts, arguments and
// pushed-back text above it. Callers see one stream in which trigraphs, comments and continuation
// lines are gone and parameters are replaced by their arguments.
//
//   file frame    one line at a time, as bytes, in place in the block of its line_source
//   macro frame   a macro's encoded body; ends with one CH_MACRO_END
//   plain frame   an argument or pushed text; ends without a mark
//
// cpp6.cpp holds the stack and the reader, cpp6_scan.cpp the scanners, cpp6_symbols.cpp the table.
#ifndef PREPROCESSOR_CPP6_H
#define PREPROCESSOR_CPP6_H

#include <cstdint>

#include "preprocessor/linesource.h"
#include "preprocessor/sourcechar.h"
#include "preprocessor/state.h"

constexpr std::uint32_t MACRO_PARAMS_MAX = 31;  // parameters or arguments; one more: fatal 148 or 151

// --- Macros ---

enum macro_kind : std::int32_t {
  MACRO_OBJECT = -1,  // no parameter list
  MACRO_LINE = -2,    // __LINE__: replacement made at each use, no body
  MACRO_FILE = -3,    // __FILE__: likewise
};

// What a body holds, found once when it is stored, so that a call knows what it has to do.
enum body_traits : std::uint8_t {
  BODY_HAS_PARAMS = 1,     // parameter markers
  BODY_HAS_OPERATORS = 2,  // CH_STRINGIZE or CH_PASTE: the text of a call must be built
  BODY_HAS_SLASH = 4,      // a comment may end in it, which writes into the text: needs a copy
};

// One entry of the symbol table.
struct macro_def {
  macro_def* next;       // in the chain
  SourceChar* body;      // owned; absent: dynamic replacement or failed definition
  std::uint32_t hash;    // sum of the name's units, plus their number
  std::int32_t nargs;    // parameters, or a macro_kind
  std::int32_t disable;  // expansions that now hide the name
  const char* file;      // interned; where #define made the entry, absent for -D and presets
  std::int32_t line;
  SourceChar* name;     // behind the entry, like `bytes`
  macro_def* previous;  // in the chain
  std::uint32_t name_length;
  std::uint32_t body_length;
  std::uint32_t frames;  // macro frames that hold this entry's text
  std::uint8_t traits;   // body_traits of `body`
  bool removed;          // out of the table, kept only for its living frames
  char* bytes;           // the name in bytes for the look-up, absent if it holds a marker
};

constexpr std::uint32_t MACRO_CHAINS = 8192;
struct macro_chain {
  macro_def* head;
  macro_def* tail;
  macro_def** sorted;  // owned; all entries of the chain by (hash, name)
  std::uint32_t count;
  std::uint32_t capacity;
};
extern macro_chain gMacroTable[MACRO_CHAINS];

// Removes any entry of that name and, unless `remove`, makes a new one that the caller fills.
// Returns the new entry; with `remove`, a non-null answer only says that the name was there. Raises 296.
macro_def* macro_enter(const SourceChar* name, bool remove);

// Gives `macro` a body (a string from mem_alloc that the entry takes over, or nullptr) and its kind.
void macro_setBody(macro_def* macro, SourceChar* body, std::int32_t nargs);

// Takes the body out; the caller owns it, and gives it back with macro_releaseBody, which keeps it
// while a frame still reads it.
SourceChar* macro_takeBody(macro_def* macro);
void macro_releaseBody(const macro_def* macro, SourceChar* body);

// A macro frame of `macro` begins or ends; the end releases an entry that was removed meanwhile.
inline void macro_hold(macro_def* macro) { macro->frames++; }
void macro_unhold(macro_def* macro);

// The entry of that name, whatever its `disable`, or nullptr. `name` may be read up to 7 bytes past
// its end.
macro_def* macro_find(const unsigned char* name, std::uint32_t length);
macro_def* macro_findToken();  // the name in gToken

// --- Frames ---

struct input_frame {
  unsigned char* file_pos;     // read position of a file frame
  SourceChar* text_pos;        // read position of all others; at the terminator while at_end
  std::uint32_t saved_line;    // gLine when another frame was pushed on this one
  std::int32_t pending_depth;  // ended frames above whose depth has yet to leave gMacroDepth
  std::int32_t carried;        // frames that ended on this one since its last unit was read
  line_source* stream;         // present in a file frame
  input_frame* parent;         // absent only in the frame of the primary source
  const SourceChar* name;      // file name as opened, macro name, or empty; never absent
  macro_def* macro;            // present in a macro frame
  SourceChar** args;           // arguments of the call, or absent; entries may be absent
  SourceChar* line_name;       // owned; file name set by #line, or absent
  macro_def* arg_of;           // argument frame: the macro whose `disable` was lowered for it
  bool at_end;                 // CH_MACRO_END has been delivered
  bool args_have_slash;        // a comment may end in one of `args`
  bool depth_due;              // `carried` or the parent's `pending_depth` is not 0
  SourceChar* text_start;      // first cell of the text; in `buffer`, or lent by its owner
  SourceChar* owned_name;      // `name` if the frame owns it
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

// The name that markers and __FILE__ show.
inline const SourceChar* in_shownName(const input_frame* frame) {
  return frame->line_name != nullptr ? frame->line_name : frame->name;
}

// Pushes an empty frame whose buffer has room for `capacity` units; `name` is lent. Raises 296.
input_frame* in_pushFrame(std::uint32_t capacity, const SourceChar* name);

// Pushes a file frame on the open descriptor `fd`, which it owns, under a copy of `name`.
void in_pushFile(int fd, const char* name);

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

// --- The reader ---

// Bytes at which get() has to look closer: line ends, comments, backslashes, trigraphs, and `;` once
// gVlasmMode is set.
extern byte_set gReadSpecial;
inline void in_setComment(unsigned char byte, bool on) { gReadSpecial.has[byte] = on; }

SourceChar in_getSlow();
void in_ungetSlow();
extern bool gPresetLast;  // the last read came from the preset text

// The depth of ended frames leaves gMacroDepth one unit late: the unit read behind them notes them at
// the parent, and the unit after that takes them off. Both are due at a `frame` with `depth_due`;
// in_settle does it for the next `units` of it.
void in_settleSlow(input_frame* frame, std::int32_t units);
inline void in_settle(input_frame* frame, std::int32_t units) {
  if (frame->depth_due) in_settleSlow(frame, units);
}

// Ends the current frame, whose text is used up and, in a macro frame, whose CH_MACRO_END has been
// delivered; its parent becomes current. Raises 158.
void in_endText();

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

// --- Scanners (a first unit comes from the caller, what ends them goes back with unget) ---

using unit_sink = void (*)(SourceChar);

void scan_identifier(SourceChar first);       // into gToken, cut at gIdentifierMax
macro_def* scan_lookup(SourceChar first);     // the same; the macro if it may be expanded here
bool scan_isVisible(const macro_def* macro);  // may its name, just read, be expanded here?
SourceChar scan_expandName(SourceChar c);     // expands until no call is left; what remains
SourceChar scan_expandFurther(SourceChar c);  // the same within an expansion: the depth goes on
bool scan_catenate(SourceChar c);             // pastes at a CH_PASTE; raises 169, fatal 155
bool scan_string(SourceChar quote, unit_sink sink);
void scan_number(SourceChar first, unit_sink sink);

#endif
