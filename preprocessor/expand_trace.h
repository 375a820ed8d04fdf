// The expansion trace: what became of each macro call, step by step, in the debug-out file. It answers "why
// did my macro become this?"; docs/why-did-my-macro.md reads one with the user.
//
//   EXPAND> call in.c:7: ADD(V, ADD(1,2))     where the call stands (as markers and __FILE__ name the place), its text
//   EXPAND>   arg 1: V                        what each argument was read as
//   EXPAND>   arg 2: ADD(1,2)
//   EXPAND>   call in.c:7: V                  a call inside it, one step further in
//   EXPAND>     gives: 3                      the text that came out
//   ...
//   EXPAND>   gives: 3+1+2
//   EXPAND> line in.c:8: #if V > 2            a conditional that is looked at, or an #include, and below it its calls
//   EXPAND>   gives: true                     true, false, not evaluated; the file that was opened, or "no file"
//
// A newline in any of these texts is shown as \n. A call inside the argument list of another stands ahead of
// that one's `arg` lines: it was carried out while the list was read. A call that began in one text and found
// its `(` behind that text's end is shown beside, not below, what it came from.
//
// Nothing is asked of the roads of text but the calls below, and none of them changes what is read, written or
// reported: the text with the trace on is the text without it. While etrace_active() is true the program takes
// the ordinary road for everything, since the fast roads pass these calls by; each tests it once, where it is
// entered. So with the trace off the price is that test.
//
//   touch point                       what it guarantees
//   --------------------------------  ------------------------------------------------------------------------
//   roads_open      roads.h           false: every token is read with get() and the scanners
//   macro_expand    expand.cpp        every call comes through it. The read position is right behind the name: what
//                                     was looked at behind it has been given back
//   take_call       expand.cpp        arguments are shown as they lie in gMacroArea, ahead of the macro's frame
//   in_endText      frames.cpp        no text frame ends elsewhere; it is still current and whole
//   next_line       reader.cpp        no line of a file becomes current elsewhere; nothing of it has been read or
//                                     written into, and all of the line ahead of it has been read
//   control_line    cpp2.cpp          every conditional and #include outside skipped groups is run from here, with
//                                     the read position behind its word
//   drv_exit        cpp1.cpp          comes ahead of the end of the debug-out file
//
// Besides, the trace relies on this of frames: `serial` grows from push to push, `text_pos` moves from
// `text_start` to the end, and get() and unget() move nothing else.
#ifndef PREPROCESSOR_EXPAND_TRACE_H
#define PREPROCESSOR_EXPAND_TRACE_H

#include <cstdint>

#include "common/qvdebug.h"
#include "preprocessor/frames.h"

// True while expansions are traced. Constant once the options have been read, until drv_exit.
inline bool etrace_active() { return gTraceExpand; }

// All of these may be called only while etrace_active(). They raise 296.

// Carries out the call of `macro`, whose name has just been read, by `take`, and returns what that returns: true
// if the frame with its text is current, false if the name stays what it is.
[[gnu::cold]] bool etrace_call(macro_def* macro, bool (*take)(macro_def*));

// The argument list of that call has been read, up to the `)`: `count` texts at these starts in gMacroArea.
[[gnu::cold]] void etrace_arguments(std::uint32_t count, const std::uint32_t* starts);

// The current frame, which is no file's, has been read to its end and is about to be released.
[[gnu::cold]] void etrace_textEnds();

// The file frame `frame` has a new line.
[[gnu::cold]] void etrace_lineRead(const input_frame* frame);

// Carries out the directive `word` by `run`; writes about it if it is one of those that are traced.
[[gnu::cold]] void etrace_directive(const char* word, void (*run)());

// Writes what waits for the end of an argument list or a line that never came. Ends the trace.
[[gnu::cold]] void etrace_finish();

#endif
