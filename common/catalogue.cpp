// The message catalogue; see the header.
//
// Start-up pays for this in every run, mostly in runs that show nothing, and what costs most is touching
// memory for the first time. So a file is read in one go and checked in one pass, which keeps no more
// than the place of each number's line; and a file that is byte for byte the table embedded here, the
// usual case, is compared piece by piece and not kept at all. The row of a number is made out of its
// line when it is asked for, without allocating, so that a message can tell that memory has run out.
#include "common/catalogue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/cmode.h"
#include "common/osdep.h"
#include "common/registry.h"
#include "common/stringcache.h"

struct catalogue {
  char* bytes;  // the whole file; absent if that is the embedded table
  std::uint32_t size;
  std::uint32_t lines[ALERT_NUMBER_MAX + 1];  // place of a number's line in `bytes`, plus 1; 0 if none
};

catalogue* gAlertRows;
catalogue* gAlertOverlay;
const char* gAlertFile;

namespace {

constexpr int LANGUAGE = 9;                      // English
constexpr std::size_t COMPARE_BYTES = 8192;      // of the file in one piece
constexpr std::uint32_t PIPE_CHUNK = 64u << 10;  // first buffer for a file that does not tell its size

// The catalogues that a run may hold: the primary one and, of those read later, the last.
catalogue gPrimary;
catalogue gLater;

// Where lines are read from, for message 3. Without a path a bad line isn't reported.
struct line_source {
  const char* path;
  std::uint32_t line;  // number of the current line
};

// A line's fields. The text ends at `text_end`.
struct line_fields {
  alert_row row;
  const char* text_end;
};

// Returns false, for the line gives no row.
bool report(const line_source& in) {
  if (in.path == nullptr) return false;
  alert_typed(3, "M", "Malformed error information on line %u, in file %s\n", in.line, in.path);
  return false;
}

inline bool is_blank(char c) { return c == ' ' || c == '\t'; }

// The decimal number at the start of a token that ends at `end`: white space and a sign may precede
// it, a token without digits has the value 0, and a number beyond 32 bits the largest or smallest.
inline std::int32_t token_value(const char* at, const char* end) {
  while (at < end && (*at == '\n' || *at == '\v' || *at == '\f' || *at == '\r')) at++;
  const bool negative = at < end && *at == '-';
  if (at < end && (*at == '-' || *at == '+')) at++;
  std::int64_t value = 0;
  for (; at < end && *at >= '0' && *at <= '9'; at++) {
    if (value <= INT32_MAX) value = value * 10 + (*at - '0');
  }
  if (value > INT32_MAX) return negative ? INT32_MIN : INT32_MAX;
  return static_cast<std::int32_t>(negative ? -value : value);
}

// Splits off the next token: passes blanks and tabs, returns its start and moves `at` to its end. They
// are equal if there is none.
inline const char* next_token(const char*& at, const char* end) {
  while (at < end && is_blank(*at)) at++;
  const char* token = at;
  while (at < end && !is_blank(*at)) at++;
  return token;
}

void set_class(const line_source& in, alert_row& row, const char* token, const char* end) {
  switch (*token) {
    case 'F':
    case 'f': row.cls = ALERT_FATAL; break;
    case 'E':
    case 'e': row.cls = ALERT_ERROR; break;
    case 'M':
    case 'm': row.cls = ALERT_MESSAGE; break;
    default:
      if (*token == '-' || (*token >= '0' && *token <= '9')) {
        row.cls = ALERT_WARNING;
        row.level = token_value(token, end);
      } else {
        report(in);
      }
  }
}

// Splits a line, from `at` to `end`, its newline included. False if it gives no row: it is a comment, or
// reported.
bool split_line(const line_source& in, line_fields& fields, const char* at, const char* end) {
  if (*at == '#') return false;
  const char* number = next_token(at, end);
  const std::int32_t value = number != at ? token_value(number, at) : -1;
  if (value < 0 || value > static_cast<std::int32_t>(ALERT_NUMBER_MAX)) return report(in);
  const char* token = next_token(at, end);
  if (token == at) return report(in);

  fields.row = {};
  fields.row.number = static_cast<std::uint32_t>(value);
  set_class(in, fields.row, token, at);
  if (end[-1] == '\n') end--;
  if (at + 1 >= end) return report(in);
  fields.row.text = at + 1;
  fields.text_end = end;
  return true;
}

// One line of a file: where its characters end and where the next line begins. A line ends behind its
// newline or after CATALOGUE_LINE_MAX bytes, and a 0 byte hides the rest of it.
struct line_end {
  const char* end;
  const char* next;
};

inline line_end find_line_end(const char* at, const char* file_end) {
  const auto left = static_cast<std::size_t>(file_end - at);
  const std::size_t limit = left < CATALOGUE_LINE_MAX ? left : CATALOGUE_LINE_MAX;
  const char* newline = static_cast<const char*>(std::memchr(at, '\n', limit));
  const std::size_t length = newline != nullptr ? static_cast<std::size_t>(newline + 1 - at) : limit;
  return {at + strnlen(at, length), at + length};
}

// Checks every line and notes where each number's row stands.
void note_lines(catalogue& c, const char* path) {
  line_source in = {path, 0};
  line_fields fields;
  const char* const file_end = c.bytes + c.size;
  for (const char* at = c.bytes; at < file_end;) {
    const line_end line = find_line_end(at, file_end);
    in.line++;
    if (split_line(in, fields, at, line.end)) {
      c.lines[fields.row.number] = static_cast<std::uint32_t>(at - c.bytes) + 1;
    }
    at = line.next;
  }
}

// Reads until `room` bytes or the end of the file; returns how many came, -1 if the file can't be read.
ssize_t read_until_full(int file, char* to, std::size_t room) {
  std::size_t used = 0;
  while (used < room) {
    const ssize_t got = read(file, to + used, room - used);
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return -1;
    if (got > 0) used += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(used);
}

// Reads the open file whole into a new buffer, which has at least one byte more. Absent if it can't be read.
char* read_bytes(int file, std::uint32_t* size) {
  struct stat status;
  std::size_t capacity = PIPE_CHUNK;
  if (fstat(file, &status) == 0 && status.st_size > 0) capacity = static_cast<std::size_t>(status.st_size) + 2;
  char* buffer = nullptr;
  std::size_t used = 0;
  while (capacity <= CATALOGUE_FILE_MAX) {
    char* grown = static_cast<char*>(std::realloc(buffer, capacity));
    if (grown == nullptr) mem_exhausted();
    buffer = grown;
    const ssize_t got = read_until_full(file, buffer + used, capacity - used - 1);
    if (got < 0) break;
    used += static_cast<std::size_t>(got);
    if (used < capacity - 1) {
      buffer[used] = 0;  // so that the first character of an empty line can be looked at
      *size = static_cast<std::uint32_t>(used);
      return buffer;
    }
    capacity *= 2;
  }
  std::free(buffer);
  return nullptr;
}

inline const char* table_end() { return gCatalogueTable + gCatalogueTableSize; }

// True if the file is byte for byte the embedded table. Moves the file position.
bool is_embedded_table(int file) {
  struct stat status;
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  if (status.st_size != off_t{gCatalogueTableSize}) return false;
  char piece[COMPARE_BYTES];
  for (const char* at = gCatalogueTable; at < table_end();) {
    const auto left = static_cast<std::size_t>(table_end() - at);
    const std::size_t length = left < sizeof piece ? left : sizeof piece;
    if (read_until_full(file, piece, length) != static_cast<ssize_t>(length)) return false;
    if (std::memcmp(piece, at, length) != 0) return false;
    at += length;
  }
  return true;
}

// The line of a number in the embedded table, absent if there is none. The lines stand in numeric order,
// behind the comment.
const char* find_in_table(unsigned number) {
  const char* low = gCatalogueTable;  // both at the start of a line
  const char* high = table_end();
  while (low < high) {
    const char* line = low + (high - low) / 2;
    while (line > low && line[-1] != '\n') line--;
    const char* next = line;
    while (*next++ != '\n') continue;
    const std::int64_t found = *line == '#' ? -1 : token_value(line, next);
    if (found == number) return line;
    if (found < number) {
      low = next;
    } else {
      high = line;
    }
  }
  return nullptr;
}

// The file name, after the language.
const char* catalogue_name() {
  static char name[16];
  std::snprintf(name, sizeof name, "%s_msgs.txt", lang_code(LANGUAGE));
  return name;
}

// `dat/en_msgs.txt` beside the directory of the program; absent if that can't be told.
const char* path_beside_program() {
  char* program = osdep_exePath();
  char* directory = osdep_dirName(program);
  std::free(program);
  if (directory == nullptr) return nullptr;
  std::size_t length = std::strlen(directory);
  while (length != 0 && (directory[length - 1] == '.' || directory[length - 1] == '/')) directory[--length] = 0;
  char* parent = osdep_dirName(directory);
  std::free(directory);
  if (parent == nullptr) return nullptr;
  // The parent of "/bin" has no name left, but it is the root and not the current directory.
  const char* data = cache_joinPath(*parent != 0 ? parent : "/", "dat");
  std::free(parent);
  return cache_joinPath(data, catalogue_name());
}

bool write_table(int file) {
  for (const char* at = gCatalogueTable; at < table_end();) {
    const ssize_t done = write(file, at, static_cast<std::size_t>(table_end() - at));
    if (done < 0 && errno != EINTR) return false;
    if (done > 0) at += done;
  }
  return true;
}

// Writes the embedded table to a temporary file. Absent, with `*file` -1, if it can't be written.
const char* write_temporaryCopy(int* file) {
  char path[sizeof OSDEP_TEMP_TEMPLATE];
  *file = osdep_tempFile(path);
  if (*file < 0) return nullptr;
  if (write_table(*file) && lseek(*file, 0, SEEK_SET) == 0) return cache_intern(path);
  close(*file);
  *file = -1;
  return nullptr;
}

}  // namespace

const char* alert_findCatalogue(int* copy) {
  *copy = -1;
  const char* path = reg_mkpath(REG_DAT, catalogue_name());
  if (osdep_exists(path)) return path;
  path = path_beside_program();
  if (osdep_exists(path)) return path;
  if (osdep_exists(catalogue_name())) return catalogue_name();
  path = write_temporaryCopy(copy);
  return path != nullptr ? path : catalogue_name();
}

catalogue* alert_readCatalogue(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  return file >= 0 ? alert_readOpenCatalogue(file, path) : nullptr;
}

catalogue* alert_readOpenCatalogue(int file, const char* path) {
  std::uint32_t size = 0;
  char* bytes = nullptr;
  const bool is_table = is_embedded_table(file);
  if (!is_table) {
    lseek(file, 0, SEEK_SET);  // of no effect on a pipe, from which nothing was read
    bytes = read_bytes(file, &size);
  }
  close(file);
  if (!is_table && bytes == nullptr) return nullptr;

  catalogue* read = gAlertRows == nullptr ? &gPrimary : &gLater;
  if (read->bytes != nullptr) std::memset(read->lines, 0, sizeof read->lines);
  std::free(read->bytes);
  read->bytes = bytes;
  read->size = size;
  if (!is_table) note_lines(*read, path);
  if (gAlertRows == nullptr) gAlertRows = read;
  gAlertOverlay = read;
  gAlertFile = cache_intern(path);
  return read;
}

bool alert_loadCatalogue(const char* path) {
  if (!osdep_exists(path)) return false;
  path = cache_intern(path);
  if (path == gAlertFile) return true;
  alert_init();
  return alert_readCatalogue(path) != nullptr;
}

// Splits the line, which may be absent, into `row` and `text`.
static bool take_row(const char* line, const char* file_end, alert_row* row, char* text) {
  line_fields fields;
  if (line == nullptr || !split_line({nullptr, 0}, fields, line, find_line_end(line, file_end).end)) return false;
  const auto length = static_cast<std::size_t>(fields.text_end - fields.row.text);
  std::memcpy(text, fields.row.text, length);
  text[length] = 0;
  *row = fields.row;
  row->text = text;
  return true;
}

bool catalogue_findEmbedded(unsigned number, alert_row* row, char* text) {
  return take_row(find_in_table(number), table_end(), row, text);
}

bool catalogue_find(const catalogue* c, unsigned number, alert_row* row, char* text) {
  if (c == nullptr || number > ALERT_NUMBER_MAX) return false;
  if (c->bytes == nullptr) return catalogue_findEmbedded(number, row, text);
  const char* line = c->lines[number] != 0 ? c->bytes + c->lines[number] - 1 : nullptr;
  return take_row(line, c->bytes + c->size, row, text);
}
