// The debug-out file: headings, the indented trace of ENTER and EXIT lines, plain lines, the mirror of the
// alerts, and failed assertions.
//
// What comes in: calls from trace points while --qvdebug= has switched them on. What goes out: lines in
// gFile, each flushed as soon as it is whole, so that the file is complete even if the process dies; and,
// with gInDebugger set, the same text on the terminal.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "common/alert.h"
#include "common/db_warning.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/stringcache.h"
#include "common/vector.h"

std::FILE* gDebugTty;
std::uint8_t gInDebugger;
std::uint8_t gAppHeading = 1;
std::uint32_t gTraceWidth = 20;
std::uint32_t gIndentStep = 4;
std::uint32_t gIndentLevel;
std::uint32_t gIndentColumns;

constexpr std::size_t POSITION_BYTES = 512;  // a file name of the host (255 bytes at most), `:` and a number

static const char* gLostPath;  // the first debug-out file that did not take a text
static int gLostError;         // the system's reason

static void note_loss() {
  if (gLostPath != nullptr) return;
  gLostError = errno;
  gLostPath = gFilePath;
}

static void flush_all() {
  if (gDebugTty != nullptr) std::fflush(gDebugTty);
  if (gFile != nullptr && std::fflush(gFile) != 0) note_loss();
}

bool db_lost(const char** path, int* error) {
  *path = gLostPath;
  *error = gLostError;
  return gLostPath != nullptr;
}

// ---- writing ----

// Where no terminal can be opened, its copy is left out.
static std::FILE* debugger_terminal() {
  if (gInDebugger == 0) return nullptr;
  if (gDebugTty == nullptr) gDebugTty = std::fopen("/dev/tty", "w");
  return gDebugTty;
}

void db_vprint(std::FILE* stream, const char* fmt, std::va_list args) {
  DB_ASSERT(fmt != NULL);
  if (std::FILE* terminal = debugger_terminal()) {
    std::va_list copy;
    va_copy(copy, args);
    std::vfprintf(terminal, fmt, copy);
    va_end(copy);
  }
  // The stream is absent if its file could not be opened and a catalogue made that alert less than fatal.
  if (stream != nullptr && std::vfprintf(stream, fmt, args) < 0) note_loss();
}

void db_print(std::FILE* stream, const char* fmt, ...) {
  DB_ASSERT(fmt != NULL);
  std::va_list args;
  va_start(args, fmt);
  db_vprint(stream, fmt, args);
  va_end(args);
}

// `registry.c:125      > ` and the indent in force.
static void write_prefix(const char* src, int line) {
  char position[POSITION_BYTES];
  std::snprintf(position, sizeof position, "%s:%d", osdep_baseName(src), line);
  db_print(gFile, "%-*s> ", static_cast<int>(gTraceWidth), position);
  db_print(gFile, "%*s", static_cast<int>(std::min<std::uint32_t>(gIndentColumns, INT_MAX)), "");
}

// ---- plain lines ----

void db_printArgs(vector* args) {
  DB_ASSERT(args != NULL);
  if (gFile == nullptr) return;
  if (gAppHeading != 0) {
    db_print(gFile, "\nAPP: %s\n", cache_upper("preprocessor"));
    gAppHeading = 0;
  }
  db_print(gFile, "ARGS:");
  if (vec_size(args) == 0) db_print(gFile, " None");
  vec_iterStart(args);
  while (vec_iterDone(args, vec_iterHasNext(args))) db_print(gFile, " %s", word_ptr<const char>(vec_iterNext(args)));
  db_print(gFile, "\n");
  flush_all();
}

void db_logArgs(int argc, const char* const* argv) {
  DB_ASSERT(argv != NULL);
  vector* args = vec_new_func();
  for (int i = 0; i < argc && argv[i] != nullptr; i++) vec_add(args, to_word(argv[i]));
  db_printArgs(args);
  vec_destroy(args);
}

void db_line(const char* fmt, ...) {
  DB_ASSERT(fmt != NULL);
  if (gFile == nullptr) return;
  std::va_list args;
  va_start(args, fmt);
  db_vprint(gFile, fmt, args);
  va_end(args);
  db_print(gFile, "\n");
  flush_all();
}

void db_text(const char* str) {
  DB_ASSERT(str != NULL);
  if (gFile == nullptr) return;
  db_print(gFile, "%s\n", str);
  flush_all();
}

void db_alert(const char* msg) {
  DB_ASSERT(msg != NULL);
  if (gFile == nullptr) return;
  db_print(gFile, "ALERT> %s", msg);
  flush_all();
}

// ---- position lines ----

void tracef(const char* src, int line, const char* fmt, ...) {
  DB_ASSERT(src != NULL);
  DB_ASSERT(fmt != NULL);
  if (gFile == nullptr) return;
  vector* lines = cache_split(fmt, "\n");
  if (vec_size(lines) == 0) db_warning("tracef (at %s:%d) contains no lines", src, line);
  for (std::uint32_t i = 0; i < vec_size(lines); i++) {
    const char* text = word_ptr<const char>(vec_elementAt(lines, i));
    write_prefix(src, line);
    if (i == 0) {
      std::va_list args;
      va_start(args, fmt);
      db_vprint(gFile, text, args);
      va_end(args);
      db_print(gFile, "\n");
    } else {
      db_print(gFile, "%s\n", text);
    }
  }
  vec_destroy(lines);
  flush_all();
}

static void indent() {
  if (gIndentLevel < UINT32_MAX) {
    gIndentLevel++;
  } else {
    db_warning("max debug-out indent level readched");
  }
  gIndentColumns += std::min(gIndentStep, UINT32_MAX - gIndentColumns);
}

static void outdent() {
  if (gIndentLevel > 0) {
    gIndentLevel--;
  } else {
    db_warning("min debug-out indent level reached");
  }
  gIndentColumns -= std::min(gIndentStep, gIndentColumns);
}

void db_enter(const char* src, int line, const char* func, const char* fmt, ...) {
  DB_ASSERT(src != NULL);
  DB_ASSERT(func != NULL);
  write_prefix(src, line);
  db_print(gFile, "ENTER %s(", func);
  if (fmt != nullptr) {
    std::va_list args;
    va_start(args, fmt);
    db_vprint(gFile, fmt, args);
    va_end(args);
  }
  db_print(gFile, ")\n");
  indent();
  flush_all();
}

void db_exit(const char* src, int line, const char* func, const char* fmt, ...) {
  DB_ASSERT(src != NULL);
  DB_ASSERT(func != NULL);
  outdent();
  write_prefix(src, line);
  db_print(gFile, "EXIT %s()", func);
  if (fmt != nullptr) {
    db_print(gFile, " -> ");
    std::va_list args;
    va_start(args, fmt);
    db_vprint(gFile, fmt, args);
    va_end(args);
  }
  db_print(gFile, "\n");
  flush_all();
}

// ---- assertions ----

void db_assert(const char* str, const char* src, int line) {
  DB_ASSERT(str != NULL);
  DB_ASSERT(src != NULL);
  switch (gAssertMode) {
    case DBA_FATAL: alert_noLine(1503u, str, src, line); break;
    case DBA_ERROR: alert_noLine(1502u, str, src, line); break;
    case DBA_WARNING: alert_noLine(1501u, str, src, line); break;
    default: break;
  }
}
