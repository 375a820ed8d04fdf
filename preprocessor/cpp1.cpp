// The main loop: start-up, text lines, the end of the run.
//
// A line of input that begins with `#` goes to control_line. Of any other line the main loop writes
// the tokens, with runs of white space reduced to one blank, and keeps the output's line numbers in
// step: `pending` counts the input lines without output since the last line written.
#include "preprocessor/cpp1.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "common/alert.h"
#include "common/html.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/registry.h"
#include "preprocessor/blocklines.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp3.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/depend.h"
#include "preprocessor/expand_trace.h"
#include "preprocessor/filecheck.h"
#include "preprocessor/output.h"
#include "preprocessor/reports.h"
#include "preprocessor/roads.h"
#include "preprocessor/textlines.h"

// --- Alert position ---

// The top frame decides. Only a file frame has a source line to show; in others the start of the
// line and the read position are one place.
static void alert_positionHook() {
  static const unsigned char* start;
  static const unsigned char* end;
  static const unsigned char* position;
  const input_frame* frame = gCurrentFrame;
  if (frame == nullptr) {
    alert_setPosition(nullptr, nullptr, nullptr, nullptr, nullptr);
    return;
  }
  start = end = position = gOutBuffer;
  if (in_isFile(frame)) {
    start = frame->stream->line;
    end = frame->stream->line_end;
    position = frame->file_pos;
  }
  alert_setPosition(in_name(frame), &gLine, &start, &end, &position);
}

// --- The end of the run: each step returns 1 if it makes the run fail ---

static int write_dependencies() {
  if (gDepStream == nullptr || gDepSeen == nullptr) return 0;
  out_setDiscard(false);  // what the buffer holds is still dropped
  dep_writeAll();
  return 0;
}

static int close_output() {
  out_flush();
  errno = 0;
  const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  if ((!lost && close(STDOUT_FILENO) == 0) || out_failed()) return 0;
  alert_raw("Could not write the output: %s", static_cast<const char*>(std::strerror(errno != 0 ? errno : EIO)));
  return 1;
}

static int finish_debug() {
  if (etrace_active()) etrace_finish();
  db_finish();
  return 0;
}

static int report_lostFile(const char* path, int error) {
  alert_raw("Could not write \"%s\": %s", path, static_cast<const char*>(std::strerror(error)));
  return 1;
}

static int check_files() {
  int status = 0;
  for (auto lost : {HTML_lost, db_lost}) {
    const char* path;
    int error;
    if (lost(&path, &error)) status = report_lostFile(path, error);
  }
  return status;
}

// A write of text that fails comes back here from within a step; the steps behind it still run.
void drv_exit(int code) {
  static constexpr int (*kSteps[])() = {write_dependencies, close_output, finish_debug, check_files, alert_lost};
  static std::size_t next;
  static int status;
  status |= code;
  while (next < sizeof kSteps / sizeof kSteps[0]) status |= kSteps[next++]();
  std::exit(status);
}

// --- Start-up ---

// A standard stream that is closed would lend its number to the next file that is opened, and text
// would land there. What takes its place can't be used in that direction, so that a read or a write fails.
static void guard_standardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
    if (fcntl(fd, F_GETFD) >= 0) continue;
    const int placeholder = fd == STDIN_FILENO ? open("/dev/null", O_WRONLY) : open("/", O_RDONLY);
    if (placeholder < 0 && open("/", O_RDONLY) < 0) std::abort();  // else: the lowest free number, so this one
  }
  // A closed pipe or a file that may not grow is a failed write, and reported as one.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

static char** read_arguments(const char* source) {
  char** arguments = osdep_readArgs("cpp");
  if (gArgError == 0) return arguments;
  alert_raw("Could not read \"%s\" to its end: %s", source, static_cast<const char*>(std::strerror(gArgError)));
  drv_exit(1);
}

static char** read_argumentFile(char* argument) {
  gArgFileName = argument;
  struct stat status;
  const int fd = osdep_openText(argument + 1, &status);
  if (fd < 0 || dup2(fd, STDIN_FILENO) < 0) {
    alert(141u, "command", static_cast<const char*>(argument + 1));
    static char no_name[] = "cpp";
    static char* no_arguments[] = {no_name, nullptr};
    gArgCount = 1;
    return no_arguments;
  }
  close(fd);
  files_noteArguments(argument + 1, status);
  return read_arguments(argument + 1);
}

static char** read_argumentStream() {
  struct stat status;
  if (fstat(STDIN_FILENO, &status) == 0) files_noteArguments(nullptr, status);
  return read_arguments("standard input");
}

// True if the file of that name is standard output from now on. What it holds stays: with `-D X ok.c`
// the output is ok.c, and there is no input X.
static bool bind_output(const char* name) {
  if (drv_isStream(name)) return false;
  if (gListMacros && gDepMode == DEP_NONE) {
    gMacroListFile = name;
    return false;
  }
  const int fd = open(name, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) {
    alert(141u, "output", name);
    return false;
  }
  close(fd);
  return true;
}

// A terminal, a pipe or a device has nothing to empty.
static void empty_output(const char* name, const struct stat& status) {
  if (!S_ISREG(status.st_mode) || status.st_size == 0 || ftruncate(STDOUT_FILENO, 0) == 0) return;
  alert(141u, "output", name);
}

// Opens the input and fills in its `status`.
static int bind_input(const char* name, struct stat* status) {
  if (!drv_isStream(name)) {
    const int fd = osdep_openText(name, status);
    if (fd >= 0) return fd;
    alert(141u, "input", name);
  }
  if (fstat(STDIN_FILENO, status) != 0) *status = {};
  return STDIN_FILENO;
}

static void stat_output(struct stat* status) {
  const int failed = gMacroListFile != nullptr ? stat(gMacroListFile, status) : fstat(STDOUT_FILENO, status);
  if (failed != 0) *status = {};
}

// Both are open, and known to be two files, before the output is emptied.
static int bind_files(const char* source, const char* output, struct stat* status) {
  const bool is_named = bind_output(output);
  const int input = bind_input(source, status);
  struct stat out_status;
  stat_output(&out_status);
  files_check(source, *status, output, out_status);
  if (is_named) empty_output(output, out_status);
  return input;
}

// In a dependency run the first error ends the run, and only what concerns it is shown.
static void limit_alerts() {
  if (gDepMode == DEP_NONE) {
    alert_setMax(gMaxErrors);
    return;
  }
  alert_setMax(1);
  alert_setState(0, ALERT_DISABLE_ALL);
  constexpr unsigned kShown[] = {109, 110, 140, 141, 146, 147, 168, 1447, 1448, 1449};
  for (unsigned number : kShown) {
    alert_setState(number, ALERT_STATE_NORMAL);
  }
}

static void prepare_dependencies(const char* target) {
  if (gDepMode != DEP_NONE) {
    gDepStream = stdout;
    gDepTargetName = mem_dupText(target, std::strlen(target));
  }
  dep_init();
}

static void start_report() {
  if (gReportHandle == nullptr) return;
  HTML_anchor("symbol_table");
  HTML_heading(2, "CPP symbol table");
  macro_reportTable();
}

static void start_run(int argc, char** argv) {
  guard_standardStreams();
  alert_setFormats("%f: %l: (%n) %s (error)", "%f: %l: (%n) %s (warning)", "%f: %l: %s");
  alert_setPositionHook(alert_positionHook);
  reg_set_c_stdlib("c90");
  if (argc <= 1 || (argc == 2 && argv[1][0] == '@')) {
    argv = argc == 2 ? read_argumentFile(argv[1]) : read_argumentStream();
    argc = gArgCount;
  }
  files_lookAhead(argc, argv);
  drv_presets();
  const int count = drv_options(argc, argv);
  if (gListMacros || gDepMode != DEP_NONE) out_setDiscard(true);
  if (count > 3) drv_exit(1);
  const char* source = count > 1 ? argv[1] : "-";
  struct stat status;
  const int input = bind_files(source, count == 3 ? argv[2] : "-", &status);
  limit_alerts();
  if (gShowSearchList && gDepMode == DEP_NONE) drv_searchList();
  prepare_dependencies(count == 3 ? argv[2] : "");
  if (gSourceName == nullptr || *gSourceName == 0) gSourceName = drv_isStream(source) ? "" : source;
  static SourceChar wide[FILE_NAME_MAX + 1];
  in_pushFile(source_open(input, status), sc_fromNarrowN(wide, gSourceName, FILE_NAME_MAX));
  gMainFrame = gCurrentFrame;
  start_report();
  emit_sync();
}

// --- Text lines ---

// In vlasm mode `ifdef` and `ifndef` need no `#`: a line that begins with such a word is answered at
// once, by `if 1` or `if 0`.
struct first_word {
  SourceChar text[16];
  std::uint32_t length;
};

static SourceChar read_folded(first_word* word) {
  const SourceChar c = get();
  word->text[word->length++] = c;
  return c - 'A' < 26 ? c + ('a' - 'A') : c;
}

static void push_back(first_word* word) {
  word->text[word->length] = 0;
  in_pushText(word->text);
}

// Reads three characters and then as much of `ifdef` or `ifndef` as matches; returns the word, or nullptr
// once a character fails.
static const char* match_conditional(first_word* word) {
  SourceChar folded[3];
  for (SourceChar& c : folded) {
    c = read_folded(word);
    if (!char_isWord(c)) return nullptr;
  }
  const bool is_if = folded[0] == 'i' && folded[1] == 'f';
  const SourceChar fourth = read_folded(word);
  const char* wanted = !is_if ? nullptr : folded[2] == 'd' ? "ifdef" : folded[2] == 'n' ? "ifndef" : nullptr;
  if (wanted == nullptr) return nullptr;
  SourceChar c = fourth;
  for (const char* rest = wanted + 3; *rest != 0; rest++) {
    if (c != static_cast<SourceChar>(*rest)) return nullptr;
    c = read_folded(word);
  }
  return char_class(c) == CC_SPACE ? wanted : nullptr;
}

static void asm_conditional() {
  first_word word = {{0}, 0};
  const SourceChar first = get();
  unget();
  if (!char_isWord(first)) return;
  const char* conditional = match_conditional(&word);
  if (conditional == nullptr) {
    push_back(&word);
    return;
  }
  const bool defined = scan_lookup(skip_ws()) != nullptr;
  const bool wanted = std::strcmp(conditional, "ifdef") == 0;
  SourceChar text[8];
  in_pushText(sc_fromNarrow(text, defined == wanted ? "if 1" : "if 0"));
}

// A line whose first character has just been read.
static void text_line(std::int32_t pending, std::int32_t indent) {
  line_gap(pending);
  unget();
  if (gVlasmMode) asm_conditional();
  for (; indent > 0; indent--) out_byte(' ');
  text_writeLine({false, false});
}

// Reads all input; returns the lines without output at its end.
static std::int32_t main_loop() {
  std::int32_t pending = 0;
  std::int32_t indent = 0;
  text_state state;
  for (;;) {
    if (roads_open() && indent == 0 && block_lines(&pending, &state)) {
      text_writeLine(state);
      pending = 0;
    }
    const SourceChar c = get();
    if (char_class(c) == CC_SPACE) {
      if (gInAsm) indent++;
    } else if (c == '\n') {
      pending++;
    } else if (c == '#') {
      gKeepComments = false;
      pending = control_line(pending);
      gKeepComments = gKeepCommentsOption && gCompiling;
    } else if (c == 0) {
      return pending;
    } else if (!gCompiling) {
      skip_line();
      pending++;
    } else {
      text_line(pending, indent);
      pending = indent = 0;
    }
  }
}

// --- End of input ---

// No frame exists any more: the place is given by hand.
static void report_openConditional() {
  const std::uint32_t line = gIfStack[1].line;
  alert_setPositionHook(nullptr);
  alert_setPosition(gMainFrame->name, &line, nullptr, nullptr, nullptr);
  alert(100u, static_cast<int>(line));
  alert_setPosition(nullptr, nullptr, nullptr, nullptr, nullptr);
  alert_setPositionHook(alert_positionHook);
}

static void write_macroList() {
  out_flush();
  std::FILE* stream = stdout;
  if (gMacroListFile != nullptr) {
    stream = std::fopen(gMacroListFile, "w");
    if (stream == nullptr) {
      alert(141u, "output", gMacroListFile);
      return;
    }
  }
  macro_listDefines(stream);
  if (stream == stdout) return;
  const bool lost = std::fflush(stream) != 0 || std::ferror(stream) != 0;
  const int error = errno;
  if (std::fclose(stream) == 0 && !lost) return;
  report_lostFile(gMacroListFile, lost ? error : errno);
  drv_exit(1);
}

void cpp_main(int argc, char** argv) {
  start_run(argc, argv);
  const std::int32_t pending = main_loop();
  if (pending != 0) out_byte('\n');
  if (gIfTop != gIfStack) report_openConditional();
  if (gListMacros && gDepMode == DEP_NONE) write_macroList();
  if (alert_failed() || gInputLost) drv_exit(1);
  in_releaseMain();
  if (gReportHandle != nullptr) {
    HTML_endTable();
    HTML_close();
  }
  drv_exit(0);
}
