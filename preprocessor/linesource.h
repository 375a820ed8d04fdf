// Lines out of an open file.
//
// A file is read in large blocks and handed out one line at a time, in place: a line is found by a
// block search, and the byte behind it is replaced by a 0 for as long as the line is current, so
// that a scanner needs one test for "ordinary byte" and none for "end of line". The caller may
// write into the current line.
//
// What a line is: up to 10239 bytes, through the newline. A longer line comes in pieces, each with a
// newline of its own; a last line without a newline gets one; what stands behind a NUL byte in a
// piece is dropped, and the piece ends there with a newline.
#ifndef PREPROCESSOR_LINESOURCE_H
#define PREPROCESSOR_LINESOURCE_H

#include <cstdint>

struct stat;

constexpr std::uint32_t LINE_UNITS = 10240;               // a line buffer: one piece and its terminator
constexpr std::uint32_t LINE_BYTES_MAX = LINE_UNITS - 1;  // bytes of one piece, its newline included
constexpr std::uint32_t SOURCE_BLOCK_BYTES = 64 * 1024;   // asked of the system at a time
constexpr std::uint32_t SOURCE_SLACK = 96;                // readable and writable behind every line

struct line_source {
  int fd;                   // owned; below 0 if there is none to close
  int error;                // errno of a failed read, 0 if none; a failed read ends the file
  std::uint64_t expected;   // bytes that are left of a regular file by its size; 0: a read of nothing tells its end
  bool at_eof;              // the system has no more bytes
  bool has_nul;             // the block holds a NUL byte
  unsigned char covered;    // the byte that the terminator of the current line hides
  unsigned char* line;      // the current line
  unsigned char* line_end;  // one past its newline; holds 0
  unsigned char* next;      // first byte that no line has delivered yet
  unsigned char* limit;     // one past the last byte read
  unsigned char* clean;     // from `next` up to here lie whole lines, none overlong, none with a NUL
  unsigned char* block;     // owned, `capacity` + SOURCE_SLACK bytes
  std::uint32_t capacity;
  unsigned char* piece;   // owned copy of a piece of an overlong line; made at first need
  line_source* recycled;  // next on the list of sources that wait for another file
};

// A source that reads from `fd`, which it owns from now on; `status` is what the system tells of it. No
// line is current yet: `line` and `line_end` point at an empty line. Raises 296.
line_source* source_open(int fd, const struct stat& status);

// A source that reads a copy of `length` bytes, without a file: `fd` is below 0. Raises 296.
line_source* source_openText(const unsigned char* text, std::uint32_t length);

// Reads the first block ahead of its time: of a small regular file that is all of it.
void source_readAhead(line_source* source);

// Makes the next line current and returns true; false at the end of the file.
bool source_nextLine(line_source* source);

// Many lines at once: between source_openBlock and source_closeIn or source_closeAt the block holds nothing
// but the file's bytes, and what lies from the read position up to `clean` may be taken as one text. No line
// is current meanwhile, so nothing may be raised.

// Reads on if the block holds no whole line behind the current one, which is used up: then no line is current,
// and `line` and `line_end` are the next one's start. True if lines lie between `next` and `clean`.
bool source_hasLines(line_source* source);

// Gives the hidden byte back: what has not been delivered begins at `next`.
inline void source_openBlock(line_source* source) { *source->line_end = source->covered; }

// Does the current line lie ahead of `clean`, so that the block can be opened in mid-line? (A piece of an overlong line
// is a copy.)
inline bool source_isClean(const line_source* source) {
  return source->line != source->piece && source->line_end <= source->clean;
}

// Makes the line that begins at `line` current, of which `at` is a byte. Both lie ahead of `clean`.
void source_closeIn(line_source* source, unsigned char* line, unsigned char* at);

// No line is current; the next one begins at `line`, which may be `clean`.
void source_closeAt(line_source* source, unsigned char* line);

// Closes the file and keeps the record and its block for the next source_open.
void source_close(line_source* source);

#endif
