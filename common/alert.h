// Alerts: every diagnostic of the program, from its raise to the printed line.
//
// What comes in: a message number and its typed arguments from whoever has something to tell, the
// position of the input from the tool's hook, and the settings of the command line and environment.
// What goes out: lines on the alert stream (standard error, or the file of alert_setFile), the
// counts that decide the exit status, and the end of the run at a fatal alert or beyond the limit
// of errors.
//
// A message's class, level and text are not in the code but in the catalogue (common/catalogue.h).
// The arguments are therefore packed with their types when compiling and put into the text by a
// formatter of our own (common/alert_format.h): no text from a file ever reaches printf.
//
// One thread; the buffers are process-wide and a line is complete before the next one begins.
#ifndef COMMON_ALERT_H
#define COMMON_ALERT_H

#include <cstdint>

#include "common/alert_format.h"
#include "common/hooks.h"

// The class of a resolved row. A row with a bad class token has class 0: it is composed like a
// warning, but neither the threshold nor a count applies to it.
enum alert_class : std::int32_t {
  ALERT_FATAL = 1,
  ALERT_MESSAGE = 2,
  ALERT_ERROR = 3,
  ALERT_WARNING = 4,
  ALERT_SILENT = 5,
};

// What alert_setState does to a number.
enum alert_state : std::uint32_t {
  ALERT_STATE_NORMAL = 0,
  ALERT_STATE_DISABLED = 1,  // messages and warnings fall silent
  ALERT_STATE_OFF = 4,       // all but fatal errors fall silent
  ALERT_DISABLE_ALL = 7,     // no state: DISABLED for every message and warning of the catalogue
};

struct alert_row {
  std::int32_t cls;      // alert_class, or 0
  std::uint32_t number;  // 0 to 10000
  const char* text;
  std::int32_t level;  // of a warning
};

// ---- Raising: the operations on prepared argument lists ----------------------------------------
// The templates below are what callers use; these do the work. Each returns 1 if something was
// printed and 0 if not, and does not return when the alert ends the run through drv_exit(1).

int alert_vraise(unsigned number, const alert_arg* args, unsigned count);
int alert_vnoLine(unsigned number, const alert_arg* args, unsigned count);
int alert_vonce(unsigned number, const alert_arg* args, unsigned count);
int alert_vonceNoLine(unsigned number, const alert_arg* args, unsigned count);
int alert_vtyped(unsigned number, const char* class_text, const char* format, const alert_arg* args, unsigned count);
int alert_vunnumbered(const char* class_text, const char* format, const alert_arg* args, unsigned count);

// One line straight to the alert stream, at most 8191 characters with the newline that is added;
// no class, no count, no position.
void alert_rawv(const char* format, const alert_arg* args, unsigned count);

// ---- Raising: what callers use -------------------------------------------------------------------
// Arguments may be int, unsigned, char and `const char*`, which may be absent ("(null)" is shown).
// Anything else does not compile. SourceChar strings are narrowed by the caller.

// Raises `number` with the class and text of its row.
template <class... A>
int alert(unsigned number, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vraise(number, list, sizeof...(args));
}

// As alert, and shows "Non line specific message" in place of a position.
template <class... A>
int alert_noLine(unsigned number, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vnoLine(number, list, sizeof...(args));
}

// As alert, but shown at most once for each number, line and file.
template <class... A>
int alert_once(unsigned number, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vonce(number, list, sizeof...(args));
}

// alert_once without a position.
template <class... A>
int alert_onceNoLine(unsigned number, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vonceNoLine(number, list, sizeof...(args));
}

// Raises a text that needs no row. The first character of `class_text` gives the class as in the
// catalogue: "E", "F", "M", or a level such as "0" or "-1". Letters count as level 10 against the
// threshold, fatal errors too. The position is the one stored last: the hook isn't asked.
template <class... A>
int alert_typed(unsigned number, const char* class_text, const char* format, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vtyped(number, class_text, format, list, sizeof...(args));
}

// As alert_typed with the number 0 and the hook's position.
template <class... A>
int alert_unnumbered(const char* class_text, const char* format, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  return alert_vunnumbered(class_text, format, list, sizeof...(args));
}

template <class... A>
void alert_raw(const char* format, A... args) {
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  alert_rawv(format, list, sizeof...(args));
}

// Text straight to the alert stream, as it is: for what the user asked to be listed there.
void alert_text(const char* text);

// ---- Settings --------------------------------------------------------------------------------------

// Reads the environment and loads the catalogue, at the first call only. Every numbered raise and
// alert_setFormats, alert_setMax and alert_loadCatalogue call it.
void alert_init();

// The templates of format mode. The environment (LKS_ERR_FORMAT, LKS_WARN_FORMAT, LKS_MSG_FORMAT)
// comes before the argument, and an absent argument means the default. The texts are not copied.
void alert_setFormats(const char* error_format, const char* warning_format, const char* message_format);

// Sets how many errors are shown before the run ends; returns the old limit.
std::uint32_t alert_setMax(std::uint32_t max);

// 0: default layout with echo and caret; anything else: the templates of alert_setFormats.
void alert_setFormatMode(std::uint32_t mode);

// Warnings of a lower level are not shown and not counted. Returns the old threshold.
std::int32_t alert_setThreshold(std::int32_t level);

// With true, a shown warning makes alert_failed answer 1.
void alert_setWarnAsError(bool flag);

// `hook` is called before a line is composed and is to call alert_setPosition. May be absent.
void alert_setPositionHook(void (*hook)());

// Stores where the input stands: references to live variables, read when a line is composed. Each
// may be absent. An empty name counts as absent. `*line_start` to `*line_end` is the current source
// line in bytes, its newline included, and `*position` is behind the byte read last; a frame that
// has no source line gives one place for start and position, and so gets no echo.
void alert_setPosition(const SourceChar* file_name, const std::uint32_t* line, const unsigned char* const* line_start,
                       const unsigned char* const* line_end, const unsigned char* const* position);

// Stores a state for `number`, or disables all (see alert_state). Numbers above 10000 are ignored:
// no message has one.
void alert_setState(unsigned number, alert_state state);

// Applies the text of --msgdisable=: numbers with commas between, each perhaps followed by ":off";
// a text that begins with 0 disables all. May be absent.
void alert_disableList(const char* list);

// 1 if the run has failed: an error was raised, or a warning shown that counts as one.
int alert_failed();

// ---- The alert stream ------------------------------------------------------------------------------

// Sends the alert stream, standard error, to the end of the file `path`, line buffered. Returns
// false if it can't be opened; then errno tells why and the stream stays as it was.
bool alert_setFile(const char* path);

// 1 if text for the alert stream could not be written, whoever wrote it. The first time that this
// is found out, one line with the system's reason goes to the standard error of the process's start
// if the stream was redirected. For drv_exit.
int alert_lost();

// ---- State that others touch -------------------------------------------------------------------------

// The current source line has been echoed. The reader clears it at each line that it reads.
extern bool gAlertEchoed;

// Alerts raised so far by number, shown or not: equal before and after, nothing was said.
extern std::uint32_t gAlertsRaised;

#endif
