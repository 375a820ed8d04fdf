// Files that a guard keeps from being read twice, found out by watching.
//
// A file is watched while it is read again. If the one line of it that had an effect was an #ifndef of a name that was
// defined, and nothing was written, said or changed, then reading it while that name is defined does nothing but count
// its lines. So nothing is concluded from how the file looks; what it says is learned from what it did.
//
//   what makes that stale                        it is asked for at each include
//   -------------------------------------------  -----------------------------------------------------------
//   the name is removed, or hidden               macro_find, `disable`
//   conditionals around it                       the file's own could be one too many (144)
//   an #asm block, a depth that is owed          as such
//   the limit of open files is near              includes_mayStayShut: the file could not be opened then
//   the run writes into the file                 includes_isOurs
//   the file is written by others                it may be seen as it was
#ifndef PREPROCESSOR_GUARDS_H
#define PREPROCESSOR_GUARDS_H

#include "preprocessor/frames.h"
#include "preprocessor/includes.h"

// True if including a file with that `content` here would have no effect but that of a guard; it has been done then,
// but for the lines, which guard_takeLines gives.
bool guard_passOver(const include_content* content);
std::int32_t guard_takeLines();

// The current frame has just been pushed for such a file, from the frame of a file: it is watched if the file has been
// read before.
void guard_watch(include_content* content);

extern std::uint64_t gGuardWatched;  // serial of the watched frame
inline bool guard_watches(const input_frame* frame) { return frame != nullptr && frame->serial == gGuardWatched; }

// Called for the watched frame: where its next line begins, with the lines that are without output; and for each
// control line in kept text, with gLine its line, and `at` behind its `#` if the line is looked at as bytes.
void guard_atLine(std::int32_t pending);
void guard_atDirective(const unsigned char* at);

#endif
