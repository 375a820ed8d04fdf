// The debug facility: one option, `--qvdebug=`, that a support engineer asks a customer to add.
//
// qvdebug.cpp reads the option and sets the switches below; trace.cpp writes the debug-out file;
// package.cpp ends the run: it puts that file into a ZIP archive and adds the container report.
// Without the option nothing is opened, and a trace point or an assertion costs one test:
//
//   if (gDebugFlags) db_enter(__FILE__, __LINE__, "reg_mkpath", "type: %d", type);
//   if (gDebugFlags & DBF_ON) tracef(__FILE__, __LINE__, "found \"%s\"", path);
//   DB_ASSERT(size != 0);
//
// Formats here are literals of the code and are checked by the compiler. Texts from files, options or
// the environment go through "%s".
#ifndef COMMON_QVDEBUG_H
#define COMMON_QVDEBUG_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "common/osdep.h"

struct vector;

// Bits of gDebugFlags. Any bit turns on ENTER and EXIT lines and the logging of the arguments.
enum : std::uint32_t {
  DBF_ON = 1,      // free trace lines of the path look-up
  DBF_SDB = 2,     // no effect of its own
  DBF_DWARF = 4,   // no effect of its own
  DBF_ALERTS = 8,  // alert lines are mirrored into the debug-out file
  DBF_ADT = 16,    // the use of containers is tracked and reported at the end
};

// Values of gAssertMode: what a failed assertion does.
enum : std::uint32_t {
  DBA_IGNORE = 0,   // nothing, the conditions are not even tested
  DBA_FATAL = 1,    // message 1503
  DBA_ERROR = 2,    // message 1502
  DBA_WARNING = 3,  // message 1501
};

// Set by db_options, constant afterwards.
extern std::uint32_t gDebugFlags;  // DBF_ bits
extern std::uint32_t gAssertMode;  // a DBA_ value
extern std::uint32_t gDebugNum;    // number in the default debug-out name
extern std::uint8_t gDefaultOut;   // 1: no `out` item took effect, so the package may take the file
extern bool gDebugParsed;          // db_options has run
extern const char* gZipPath;       // the package archive, or absent
extern const char* gFilePath;      // the debug-out file, or absent
extern std::FILE* gFile;           // the debug-out stream, or absent
extern bool gTraceExpand;          // `debug:expand` and a flag are given: the tool traces its macro expansions

// State of the trace.
extern std::FILE* gDebugTty;          // /dev/tty, opened at first need
extern std::uint8_t gInDebugger;      // set by a debugger in the running process: copy writes to gDebugTty
extern std::uint8_t gAppHeading;      // 1: the APP heading is still to be written
extern std::uint32_t gTraceWidth;     // columns of the source position
extern std::uint32_t gIndentStep;     // columns for each nesting level
extern std::uint32_t gIndentLevel;    // nesting level
extern std::uint32_t gIndentColumns;  // indent in force, saturating

#define DB_PRINTF(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))

// Applies one option, given without its dashes: `qvdebug=item,item:arg,...`. Opens the debug-out file
// when a flag is set or an `out` item names one; fatal 141 if that fails. A bad item costs a warning on
// the alert stream. A second call warns and does nothing.
void db_options(const char* text);

// Shows `visit` each file that db_options would open or remove for these items, `+` left out. Opens nothing and warns
// of nothing. A second call shows nothing, as the second of two options counts for nothing.
void db_namedFiles(const char* items, file_visitor visit);

// Writes to `stream`, and first to the terminal if gInDebugger is set. The caller flushes.
void db_print(std::FILE* stream, const char* fmt, ...) DB_PRINTF(2, 3);
void db_vprint(std::FILE* stream, const char* fmt, std::va_list args) DB_PRINTF(2, 0);

// Each of these writes whole lines to gFile and flushes; nothing happens while gFile is absent.
void db_printArgs(vector* args);                     // the ARGS line, under the APP heading the first time
void db_logArgs(int argc, const char* const* argv);  // the same for an array; stops at an absent string
void db_line(const char* fmt, ...) DB_PRINTF(1, 2);  // one plain line
void db_text(const char* str);                       // one plain line, unformatted
void db_alert(const char* msg);                      // mirror of an alert line, which has its newline

// Writes one line for each line of the formatted text's format, each under the position `src`:`line`;
// only the first one is formatted. Nothing happens while gFile is absent.
void tracef(const char* src, int line, const char* fmt, ...) DB_PRINTF(3, 4);

// ENTER and EXIT lines of function `func`; they move the indent of what follows. `fmt` may be absent.
// Only to be called while gDebugFlags is not 0 (gFile is open then).
void db_enter(const char* src, int line, const char* func, const char* fmt, ...) DB_PRINTF(4, 5);
void db_exit(const char* src, int line, const char* func, const char* fmt, ...) DB_PRINTF(4, 5);
inline void db_enter(const char* src, int line, const char* func) {
  db_enter(src, line, func, static_cast<const char*>(nullptr));
}
inline void db_exit(const char* src, int line, const char* func) {
  db_exit(src, line, func, static_cast<const char*>(nullptr));
}

// A failed assertion: raises what gAssertMode asks for. Use DB_ASSERT, which tests the condition only
// when a mode is set. Returns unless the message ends the run.
void db_assert(const char* str, const char* src, int line);

#define DB_ASSERT(condition)                                                                  \
  do {                                                                                        \
    if (gAssertMode != DBA_IGNORE && !(condition)) db_assert(#condition, __FILE__, __LINE__); \
  } while (0)

// The last step of a run, on every way out: the package, then the container report. Never fails the
// run; what goes wrong with the package is a warning on the alert stream.
void db_finish();

// True if text written to a debug-out file did not reach it; gives the file and the system's error
// number of the first such failure. Asked after db_finish.
bool db_lost(const char** path, int* error);

#endif
