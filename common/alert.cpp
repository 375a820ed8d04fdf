// Alerts; see the header.
//
// The road of one alert: alert_resolve finds class, level and text of the number; alert_vraise decides
// whether it is shown and counts it; alert_compose puts the arguments into the text and builds the
// line; finish_line writes it. The echo of a source line goes out by itself, ahead of its line.
#include "common/alert.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/catalogue.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/vector.h"
#include "common/word.h"

std::uint32_t gAlertsRaised;
bool gAlertEchoed;

namespace {

constexpr char DEFAULT_ERROR_FORMAT[] = "%f: %l: (%n) %s (error)";
constexpr char DEFAULT_WARNING_FORMAT[] = "%f: %l: (%n) %s (warning)";
constexpr char DEFAULT_MESSAGE_FORMAT[] = "%f: %l: %s";
constexpr char NO_LINE_TEXT[] = "Non line specific message";
constexpr char NO_ROW_TEXT[] = "An error, warning or message was generated, but no description is available";

constexpr std::uint32_t PATTERN_BYTES = 512;
constexpr std::uint32_t TEXT_MAX = 510;          // characters of a message text, its number included
constexpr std::uint32_t LINE_MAX_CHARS = 8191;   // characters of a line, its newline included
constexpr std::uint32_t ECHO_NAME_UNITS = 8192;  // of the name in a heading, its terminator included
constexpr Word STATE_NORMAL_AGAIN = 8;           // ALERT_STATE_NORMAL given after ALERT_DISABLE_ALL
constexpr std::uint32_t ONCE_BUCKETS = 199;
constexpr std::int32_t LEVEL_OF_LETTERS = 10;    // what a class text that is no level has for the threshold
constexpr std::size_t FILE_BUFFER_BYTES = 1024;  // of the alert stream when it goes to a file

// ---- settings and counts: set by the alert_set operations and the raises ----

std::uint32_t gErrorCount;
std::uint32_t gWarningCount;
std::uint32_t gErrorMax = 20;
std::int32_t gWarnThreshold;
bool gWarnAsError;
std::uint32_t gFormatMode;
const char* gErrFormat = "%s";
const char* gWarnFormat = "%s";
const char* gMsgFormat = "%s";
bool gNoLine;
int gAlertErrno;  // the system's error number when the alert was raised
bool gAlertReady;
vector* gAlertStates;    // indexed by number: alert_state or STATE_NORMAL_AGAIN; absent until one is set
bool gAllDisabled;       // ALERT_DISABLE_ALL was given
hash_table* gAlertOnce;  // of alert_key; absent until the first alert_once

// ---- position: references to live variables of the reader ----

void (*gPositionHook)();
const SourceChar* gAlertFileName;
const std::uint32_t* gAlertLineNumber;
const unsigned char* const* gAlertLineStart;
const unsigned char* const* gAlertLineEnd;
const unsigned char* const* gAlertColumn;

// ---- buffers ----

char gAlertRowText[CATALOGUE_LINE_MAX + 1];  // the row's text as the catalogue has it
char gAlertPattern[PATTERN_BYTES];           // the row's text with %m replaced
char gAlertText[TEXT_MAX + 2];               // the message text with its arguments
char gAlertLine[LINE_MAX_CHARS + 1];
std::uint32_t gAlertLineUsed;
SourceChar gAlertEchoFile[ECHO_NAME_UNITS];  // the name in the heading shown last

// ---- the alert stream ----

int gFirstStderr = -1;        // a duplicate of standard error as it was before alert_setFile
const char* gAlertFileShown;  // the path of alert_setFile
bool gAlertTextLost;

// ======== the alert stream ========

void note_lost(int error) {
  if (gAlertTextLost) return;
  gAlertTextLost = true;
  if (gFirstStderr >= 0) {
    dprintf(gFirstStderr, "Could not write alerts to file %s: %s\n", gAlertFileShown, std::strerror(error));
  }
}

void flush_stream() {
  if (std::fflush(stderr) != 0) {
    note_lost(errno);
  } else if (std::ferror(stderr)) {
    note_lost(EIO);  // met earlier, when nobody looked
  }
}

iovec piece(const void* bytes, std::size_t length) { return {const_cast<void*>(bytes), length}; }

// Writes the pieces behind whatever the stream still holds, with one system call as a rule.
void write_pieces(iovec* pieces, int count) {
  flush_stream();
  while (count > 0) {
    const ssize_t done = writev(STDERR_FILENO, pieces, count);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) return note_lost(errno);
    auto left = static_cast<std::size_t>(done);
    for (; count > 0 && left >= pieces->iov_len; pieces++, count--) left -= pieces->iov_len;
    if (count > 0) *pieces = piece(static_cast<char*>(pieces->iov_base) + left, pieces->iov_len - left);
  }
}

}  // namespace

void alert_text(const char* text) {
  iovec all = piece(text, std::strlen(text));
  write_pieces(&all, 1);
}

namespace {

// ======== building a line ========

void line_clear() { gAlertLineUsed = 0; }

void line_repeat(char c, std::size_t count) {
  const std::size_t room = LINE_MAX_CHARS - gAlertLineUsed;
  if (count > room) count = room;
  std::memset(gAlertLine + gAlertLineUsed, c, count);
  gAlertLineUsed += static_cast<std::uint32_t>(count);
}

void line_bytes(const char* bytes, std::size_t length) {
  const std::size_t room = LINE_MAX_CHARS - gAlertLineUsed;
  if (length > room) length = room;
  std::memcpy(gAlertLine + gAlertLineUsed, bytes, length);
  gAlertLineUsed += static_cast<std::uint32_t>(length);
}

void line_text(const char* text) { line_bytes(text, std::strlen(text)); }

void line_number(std::uint32_t number) {
  char digits[12];
  std::snprintf(digits, sizeof digits, "%u", number);
  line_text(digits);
}

// The name of the current file, in bytes.
void line_fileName() {
  if (gAlertFileName == nullptr) return;
  for (const SourceChar* at = gAlertFileName; *at != 0; at++) line_repeat(static_cast<char>(*at), 1);
}

void line_place() {
  if (gNoLine) {
    line_text(NO_LINE_TEXT);
  } else {
    line_fileName();
  }
}

// Ends the line with a newline, for which the last character gives way if the line is full.
void finish_line() {
  if (gAlertLineUsed == LINE_MAX_CHARS) gAlertLineUsed--;
  gAlertLine[gAlertLineUsed++] = '\n';
  gAlertLine[gAlertLineUsed] = 0;
  if (gDebugFlags & DBF_ALERTS) db_alert(gAlertLine);
  iovec line = piece(gAlertLine, gAlertLineUsed);
  write_pieces(&line, 1);
}

// ======== the parts of a line ========

enum line_kind { KIND_ERROR, KIND_MESSAGE, KIND_WARNING };

// `cls` is an alert_class or the first character of a class text.
line_kind kind_of(std::int32_t cls) {
  switch (cls) {
    case ALERT_FATAL:
    case ALERT_ERROR:
    case 'E':
    case 'e':
    case 'F':
    case 'f': return KIND_ERROR;
    case ALERT_MESSAGE:
    case 'M':
    case 'm': return KIND_MESSAGE;
    default: return KIND_WARNING;
  }
}

// Copies a row's text to gAlertPattern with the system's reason in place of each %m.
void fill_pattern(const char* text) {
  std::uint32_t used = 0;
  const auto add = [&used](const char* from, std::size_t length) {
    const std::size_t room = PATTERN_BYTES - 1 - used;
    if (length > room) length = room;
    std::memcpy(gAlertPattern + used, from, length);
    used += static_cast<std::uint32_t>(length);
  };
  for (const char* at = text; *at != 0;) {
    if (at[0] == '%' && at[1] == 'm') {
      const char* reason = gAlertErrno != 0 ? std::strerror(gAlertErrno) : "";
      add(reason, std::strlen(reason));
      at += 2;
    } else {
      const std::size_t length = at[0] == '%' && at[1] != 0 ? 2 : 1;
      add(at, length);
      at += length;
    }
  }
  gAlertPattern[used] = 0;
}

void fill_text(unsigned number, line_kind kind, const char* text, const alert_arg* args, unsigned count) {
  std::uint32_t used = 0;
  if (gFormatMode == 0 && kind != KIND_MESSAGE) {
    used = static_cast<std::uint32_t>(std::snprintf(gAlertText, TEXT_MAX + 1, "(%u) ", number));
  }
  fill_pattern(text);
  alert_format(gAlertText + used, TEXT_MAX + 1 - used, gAlertPattern, args, count);
}

// Format mode: the template of the kind with its letters replaced.
void compose_template(unsigned number, line_kind kind) {
  const char* at = kind == KIND_ERROR ? gErrFormat : kind == KIND_MESSAGE ? gMsgFormat : gWarnFormat;
  for (; *at != 0; at++) {
    if (*at != '%') {
      line_repeat(*at, 1);
      continue;
    }
    switch (*++at) {
      case 0: return;
      case 'f': line_place(); break;
      case 'l':
        if (!gNoLine && gAlertLineNumber != nullptr) line_number(*gAlertLineNumber);
        break;
      case 'c':
        if (gAlertColumn != nullptr && gAlertLineStart != nullptr) {
          line_number(static_cast<std::uint32_t>(*gAlertColumn - *gAlertLineStart));
        }
        break;
      case 'n': line_number(number); break;
      case 's': line_text(gAlertText); break;
      case 'a': line_text("preprocessor"); break;
      case 'm': line_text(std::strerror(gAlertErrno)); break;
      default: line_repeat(*at, 1); break;
    }
  }
}

// True if the file name differs from the one in the last heading, as far as that holds it; takes it
// over then.
bool take_echo_name() {
  std::uint32_t i = 0;
  while (i < ECHO_NAME_UNITS - 1 && gAlertFileName[i] == gAlertEchoFile[i]) {
    if (gAlertFileName[i] == 0) return false;
    i++;
  }
  if (i == ECHO_NAME_UNITS - 1) return false;
  for (; i < ECHO_NAME_UNITS - 1 && gAlertFileName[i] != 0; i++) gAlertEchoFile[i] = gAlertFileName[i];
  gAlertEchoFile[i] = 0;
  return true;
}

// Shows the current source line once, under a heading if its file isn't the one shown last. The line's
// bytes go out as they stand, its newline among them. What precedes them is built in gAlertLine, which
// is still empty.
void alert_echoLine() {
  if (gAlertEchoed) return;
  if (gAlertFileName != nullptr && take_echo_name()) {
    line_fileName();
    line_text(":\n");
  }
  char number[16];
  std::snprintf(number, sizeof number, "%6d:\t", gAlertLineNumber != nullptr ? static_cast<int>(*gAlertLineNumber) : 0);
  line_text(number);
  iovec pieces[] = {piece(gAlertLine, gAlertLineUsed),
                    piece(*gAlertLineStart, static_cast<std::size_t>(*gAlertLineEnd - *gAlertLineStart))};
  write_pieces(pieces, 2);
  line_clear();
  gAlertEchoed = true;
}

// The display column of the byte read last, with tab stops of 8.
std::size_t display_column() {
  std::size_t column = 0;
  for (const unsigned char* at = *gAlertLineStart; at < *gAlertColumn - 1; at++) {
    column = *at == '\t' ? (column + 8) & ~std::size_t{7} : column + 1;
  }
  return column;
}

// The caret under the column and the text behind it; or ahead of it where the text fits there.
void compose_caret() {
  const std::size_t column = display_column();
  const std::size_t length = std::strlen(gAlertText);
  line_repeat('\t', 1);
  if (column <= length + 1) {
    line_repeat(' ', column);
    line_text("^ ");
    line_text(gAlertText);
  } else {
    line_repeat(' ', column - 1 - length);
    line_text(gAlertText);
    line_text(" ^");
  }
}

void compose_prefix() {
  if (gAlertFileName != nullptr) {
    line_place();
    line_text(": ");
  }
  if (gAlertLineNumber != nullptr && !gNoLine) {
    line_number(*gAlertLineNumber);
    line_text(": ");
  }
  line_text(gAlertText);
}

// True if something of the current line has been read, so that a caret can point at it.
bool has_echo() {
  return gAlertColumn != nullptr && gAlertLineStart != nullptr && gAlertLineEnd != nullptr &&
         *gAlertColumn > *gAlertLineStart && *gAlertColumn <= *gAlertLineEnd;
}

void alert_compose(unsigned number, std::int32_t cls, const char* text, const alert_arg* args, unsigned count) {
  const line_kind kind = kind_of(cls);
  fill_text(number, kind, text, args, count);
  if (gFormatMode != 0) {
    compose_template(number, kind);
  } else {
    if (kind != KIND_MESSAGE && has_echo()) {
      alert_echoLine();
      compose_caret();
    } else {
      compose_prefix();
    }
    if (kind == KIND_WARNING) line_text(" (warning)");
  }
  finish_line();
}

// ======== resolving and raising ========

bool has_warning_class(const alert_row& row) { return row.cls == ALERT_MESSAGE || row.cls == ALERT_WARNING; }

void apply_state(alert_row& row) {
  const Word state = gAlertStates != nullptr ? vec_elementAt(gAlertStates, row.number) : Word{ALERT_STATE_NORMAL};
  bool silent = state == ALERT_STATE_OFF && row.cls != ALERT_FATAL;
  if (has_warning_class(row)) {
    silent = silent || state == ALERT_STATE_DISABLED || (gAllDisabled && state != STATE_NORMAL_AGAIN);
  }
  if (silent) row.cls = ALERT_SILENT;
}

// Disables every message and warning of the primary catalogue: not row by row, since the class of a row
// is known when it is resolved and never changes. Of the states stored before, those of errors stay in
// force, and the others come to the same as this.
void disable_all() {
  if (gAlertRows == nullptr) return;
  gAllDisabled = true;
  for (std::uint32_t n = 0; n < vec_size(gAlertStates); n++) {
    if (vec_elementAt(gAlertStates, n) == STATE_NORMAL_AGAIN) vec_setAt(gAlertStates, ALERT_STATE_NORMAL, n);
  }
}

// What the number means in this run, with the text of the overlay and the state applied. The text lies
// in gAlertRowText, or is a constant.
alert_row alert_resolve(unsigned number) {
  alert_row row = {ALERT_ERROR, number, NO_ROW_TEXT, 0};
  if (!gAlertReady) {  // only memory can run out before a catalogue is read
    catalogue_findEmbedded(number, &row, gAlertRowText);
  } else if (catalogue_find(gAlertRows, number, &row, gAlertRowText) && gAlertOverlay != gAlertRows) {
    alert_row overlay;
    catalogue_find(gAlertOverlay, number, &overlay, gAlertRowText);
  }
  apply_state(row);
  return row;
}

bool is_shown(const alert_row& row) {
  return row.cls != ALERT_SILENT && !(row.cls == ALERT_WARNING && row.level < gWarnThreshold);
}

void call_hook() {
  if (gPositionHook != nullptr) gPositionHook();
}

void count_error() {
  if (gErrorCount++ < gErrorMax) return;
  alert_typed(1, "M", "too many errors (%u)", gErrorCount);
  drv_exit(1);
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

const char* from_environment(const char* name, const char* otherwise, const char* default_format) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : otherwise != nullptr ? otherwise : default_format;
}

void choose_formats(const char* error_format, const char* warning_format, const char* message_format) {
  gErrFormat = from_environment("LKS_ERR_FORMAT", error_format, DEFAULT_ERROR_FORMAT);
  gWarnFormat = from_environment("LKS_WARN_FORMAT", warning_format, DEFAULT_WARNING_FORMAT);
  gMsgFormat = from_environment("LKS_MSG_FORMAT", message_format, DEFAULT_MESSAGE_FORMAT);
}

// The shared end of alert_typed and alert_unnumbered.
int raise_text(unsigned number, const char* class_text, const char* format, const alert_arg* args, unsigned count,
               bool ask_hook) {
  const char first = *class_text;
  const bool has_level = is_digit(first) || (first == '-' && is_digit(class_text[1]));
  const long level = has_level ? std::strtol(class_text, nullptr, 10) : LEVEL_OF_LETTERS;
  if (first == 'e' || first == 'E') count_error();
  if (level < gWarnThreshold) return 0;
  line_clear();
  if (ask_hook) call_hook();
  alert_compose(number, first, format, args, count);
  if (first == 'f' || first == 'F') drv_exit(1);
  return 1;
}

// ======== once only ========

int compare_keys(Word a, Word b) {
  const auto* x = word_ptr<const alert_key>(a);
  const auto* y = word_ptr<const alert_key>(b);
  if (x->number != y->number) return 1;
  if (x->line != y->line) return 1;
  return std::strcmp(x->file, y->file);
}

// The name of the current file in bytes, good until the next call; "" if there is none.
const char* once_fileName() {
  static char* name;
  static std::uint32_t room;
  std::uint32_t length = 0;
  while (gAlertFileName != nullptr && gAlertFileName[length] != 0) length++;
  if (length >= room) {
    std::free(name);
    name = nullptr;  // running out of memory can come back here
    room = 0;
    name = mem_array<char>(2 * length + 1);
    room = 2 * length + 1;
  }
  for (std::uint32_t i = 0; i < length; i++) name[i] = static_cast<char>(gAlertFileName[i]);
  name[length] = 0;
  return name;
}

// Puts the number with the current line and file into the table; false if it is there already. The copy of
// the name is shared as long as it stays the same.
bool mark_once(unsigned number) {
  static const char* kept;
  alert_key key = {number, gAlertLineNumber != nullptr ? *gAlertLineNumber : 0, once_fileName()};
  const hash_slot slot = hash_probe(gAlertOnce, to_word(&key));
  if (*slot.link != nullptr) return false;
  if (kept == nullptr || std::strcmp(kept, key.file) != 0) kept = mem_dupText(key.file, std::strlen(key.file));
  key.file = kept;
  auto* copy = mem_array<alert_key>(1);
  *copy = key;
  hash_insertAt(gAlertOnce, slot, to_word(copy), to_word(copy));
  return true;
}

}  // namespace

int alert_vraise(unsigned number, const alert_arg* args, unsigned count) {
  gAlertErrno = errno;
  gAlertsRaised++;
  alert_init();
  const alert_row row = alert_resolve(number);
  if (!is_shown(row)) return 0;
  call_hook();
  line_clear();
  if (row.cls == ALERT_ERROR) count_error();
  if (row.cls == ALERT_WARNING) gWarningCount++;
  alert_compose(number, row.cls, row.text, args, count);
  if (row.cls == ALERT_FATAL) drv_exit(1);
  return 1;
}

int alert_vnoLine(unsigned number, const alert_arg* args, unsigned count) {
  gNoLine = true;
  const int shown = alert_vraise(number, args, count);
  gNoLine = false;
  return shown;
}

int alert_vonce(unsigned number, const alert_arg* args, unsigned count) {
  const int error = errno;
  gAlertsRaised++;
  alert_init();
  call_hook();
  if (gAlertOnce == nullptr) {
    gAlertOnce = hash_new_func(ONCE_BUCKETS, hash_alertKey, compare_keys);
    gAlertOnce->spread = hash_spreadAlertKey;
  }
  if (is_shown(alert_resolve(number)) && !mark_once(number)) return 0;
  errno = error;
  return alert_vraise(number, args, count);
}

int alert_vonceNoLine(unsigned number, const alert_arg* args, unsigned count) {
  gNoLine = true;
  const int shown = alert_vonce(number, args, count);
  gNoLine = false;
  return shown;
}

int alert_vtyped(unsigned number, const char* class_text, const char* format, const alert_arg* args, unsigned count) {
  gAlertErrno = errno;
  return raise_text(number, class_text, format, args, count, false);
}

int alert_vunnumbered(const char* class_text, const char* format, const alert_arg* args, unsigned count) {
  return raise_text(0, class_text, format, args, count, true);
}

void alert_rawv(const char* format, const alert_arg* args, unsigned count) {
  gAlertErrno = errno;
  alert_format(gAlertLine, sizeof gAlertLine, format, args, count);
  gAlertLineUsed = static_cast<std::uint32_t>(std::strlen(gAlertLine));
  finish_line();
}

void alert_init() {
  static bool starting;  // so that running out of memory on the way doesn't start it all over
  if (gAlertReady || starting) return;
  starting = true;
  choose_formats(nullptr, nullptr, nullptr);
  int copy;
  const char* path = alert_findCatalogue(&copy);
  if (copy < 0) {
    alert_readCatalogue(path);
  } else {
    alert_readOpenCatalogue(copy, path);
  }
  gAlertReady = true;
}

void alert_setFormats(const char* error_format, const char* warning_format, const char* message_format) {
  alert_init();
  choose_formats(error_format, warning_format, message_format);
}

std::uint32_t alert_setMax(std::uint32_t max) {
  alert_init();
  const std::uint32_t old = gErrorMax;
  gErrorMax = max;
  return old;
}

void alert_setFormatMode(std::uint32_t mode) { gFormatMode = mode; }

std::int32_t alert_setThreshold(std::int32_t level) {
  const std::int32_t old = gWarnThreshold;
  gWarnThreshold = level;
  return old;
}

void alert_setWarnAsError(bool flag) { gWarnAsError = flag; }

void alert_setPositionHook(void (*hook)()) { gPositionHook = hook; }

void alert_setPosition(const SourceChar* file_name, const std::uint32_t* line, const unsigned char* const* line_start,
                       const unsigned char* const* line_end, const unsigned char* const* position) {
  gAlertFileName = file_name != nullptr && *file_name != 0 ? file_name : nullptr;
  gAlertLineNumber = line;
  gAlertLineStart = line_start;
  gAlertLineEnd = line_end;
  gAlertColumn = position;
}

void alert_setState(unsigned number, alert_state state) {
  if (state == ALERT_DISABLE_ALL) return disable_all();
  if (number > ALERT_NUMBER_MAX) return;
  if (gAlertStates == nullptr) gAlertStates = vec_new_func();
  vec_setAt(gAlertStates, state == ALERT_STATE_NORMAL && gAllDisabled ? STATE_NORMAL_AGAIN : Word{state}, number);
}

void alert_disableList(const char* list) {
  if (list == nullptr || *list == 0) return;
  if (*list == '0') return alert_setState(0, ALERT_DISABLE_ALL);
  for (const char* item = list; item != nullptr;) {
    char* end;
    const long number = std::strtol(item, &end, 10);
    const bool off = strncasecmp(end, ":off", 4) == 0;
    if (number >= 0 && number <= long{ALERT_NUMBER_MAX}) {
      alert_setState(static_cast<unsigned>(number), off ? ALERT_STATE_OFF : ALERT_STATE_DISABLED);
    }
    item = std::strchr(item, ',');
    if (item != nullptr) item++;
  }
}

int alert_failed() { return gErrorCount != 0 || (gWarnAsError && gWarningCount != 0) ? 1 : 0; }

bool alert_setFile(const char* path) {
  static char buffer[FILE_BUFFER_BYTES];
  const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file < 0) return false;
  flush_stream();
  const int first = gFirstStderr >= 0 ? gFirstStderr : fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (file != STDERR_FILENO && dup2(file, STDERR_FILENO) < 0) {
    const int reason = errno;
    if (first != gFirstStderr) close(first);
    close(file);
    errno = reason;
    return false;
  }
  if (file != STDERR_FILENO) close(file);
  gFirstStderr = first;
  gAlertFileShown = path;
  std::setvbuf(stderr, buffer, _IOLBF, sizeof buffer);
  return true;
}

int alert_lost() {
  flush_stream();
  return gAlertTextLost ? 1 : 0;
}
