// Reading blocks and cutting lines out of them.
#include "preprocessor/linesource.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/osdep.h"

static line_source* gRecycledSources;

constexpr std::uint32_t SMALLEST_BLOCK = 2 * LINE_UNITS;
static_assert(SMALLEST_BLOCK > LINE_BYTES_MAX && SOURCE_BLOCK_BYTES >= SMALLEST_BLOCK);

// Most files are small headers: a block that holds the whole file, and one byte more so that the
// first read sees its end.
static std::uint32_t block_bytes(const struct stat& status) {
  if (!S_ISREG(status.st_mode) || status.st_size >= SOURCE_BLOCK_BYTES) return SOURCE_BLOCK_BYTES;
  const auto size = static_cast<std::uint32_t>(status.st_size) + 1;
  return size < SMALLEST_BLOCK ? SMALLEST_BLOCK : size;
}

static void set_emptyLine(line_source* source) {
  source->line = source->line_end = source->next = source->limit = source->clean = source->block;
  source->block[0] = source->covered = 0;
}

// With a block of at least `wanted` bytes.
static line_source* new_source(std::uint32_t wanted) {
  line_source* source = gRecycledSources;
  if (source != nullptr) {
    gRecycledSources = source->recycled;
  } else {
    source = mem_array<line_source>(1);
  }
  if (source->capacity < wanted) {
    std::free(source->block);
    source->block = static_cast<unsigned char*>(mem_allocRaw(wanted + SOURCE_SLACK));
    source->capacity = wanted;
  }
  source->fd = -1;
  source->error = 0;
  source->expected = 0;
  source->at_eof = source->has_nul = false;
  set_emptyLine(source);
  return source;
}

line_source* source_open(int fd, const struct stat& status) {
  line_source* source = new_source(block_bytes(status));
  source->fd = fd;
  if (S_ISREG(status.st_mode)) source->expected = static_cast<std::uint64_t>(status.st_size);
  return source;
}

void source_close(line_source* source) {
  if (source->fd >= 0) close(source->fd);
  source->recycled = gRecycledSources;
  gRecycledSources = source;
}

// Finds `clean`. From the start of a line, the last newline in reach of one piece ends a line that is not
// overlong, and so does every newline ahead of it.
static void survey(line_source* source) {
  unsigned char* line = source->next;
  while (!source->has_nul) {
    const auto left = static_cast<std::size_t>(source->limit - line);
    void* newline = memrchr(line, '\n', left < LINE_BYTES_MAX ? left : LINE_BYTES_MAX);
    if (newline == nullptr) break;
    line = static_cast<unsigned char*>(newline) + 1;
  }
  source->clean = line;
}

// `got` bytes lie behind `limit`.
static void take_bytes(line_source* source, std::size_t got) {
  source->has_nul =
      std::memchr(source->block, 0, static_cast<std::size_t>(source->limit - source->block) + got) != nullptr;
  source->limit += got;
  survey(source);
}

// A regular file whose size has been read is at its end, without one more read to tell. One that has grown meanwhile
// gives more than that in one of its reads, as a rule; then it is read to where the system says that it ends.
static void count_expected(line_source* source, std::uint64_t got) {
  if (source->expected == 0) return;
  source->at_eof = source->expected == got;
  source->expected = source->expected > got ? source->expected - got : 0;
}

// Moves what is left to the start of the block and reads behind it.
static void fill(line_source* source) {
  const auto kept = static_cast<std::size_t>(source->limit - source->next);
  std::memmove(source->block, source->next, kept);
  source->next = source->block;
  source->limit = source->block + kept;
  ssize_t got;
  do {
    got = read(source->fd, source->limit, source->capacity - kept);
  } while (got < 0 && errno == EINTR);
  source->clean = source->next;
  if (got <= 0) {
    source->at_eof = true;
    if (got < 0) source->error = errno;
    return;
  }
  count_expected(source, static_cast<std::uint64_t>(got));
  take_bytes(source, static_cast<std::size_t>(got));
}

line_source* source_openText(const unsigned char* text, std::uint32_t length) {
  line_source* source = new_source(length + 1 < SMALLEST_BLOCK ? SMALLEST_BLOCK : length + 1);
  std::memcpy(source->block, text, length);
  source->at_eof = true;
  take_bytes(source, length);
  source_closeAt(source, source->next);
  return source;
}

void source_readAhead(line_source* source) {
  source_openBlock(source);
  fill(source);
  source_closeAt(source, source->next);
}

// Length of the next piece, its newline included if it has one; 0 at the end of the file.
static std::uint32_t next_length(line_source* source) {
  for (std::uint32_t searched = 0;;) {
    const auto left = static_cast<std::uint32_t>(source->limit - source->next);
    const std::uint32_t upto = left < LINE_BYTES_MAX ? left : LINE_BYTES_MAX;
    if (upto > searched) {
      const void* newline = std::memchr(source->next + searched, '\n', upto - searched);
      if (newline != nullptr) {
        return static_cast<std::uint32_t>(static_cast<const unsigned char*>(newline) - source->next) + 1;
      }
    }
    if (upto == LINE_BYTES_MAX || source->at_eof) return upto;
    searched = upto;
    fill(source);
  }
}

// The first `length` bytes of an overlong line, moved where a newline can be added.
static void copy_piece(line_source* source, std::uint32_t length) {
  if (source->piece == nullptr) {
    source->piece = mem_array<unsigned char>(LINE_UNITS + SOURCE_SLACK);
  }
  std::memcpy(source->piece, source->next, length);
  source->line = source->piece;
}

bool source_nextLine(line_source* source) {
  *source->line_end = source->covered;
  const std::uint32_t length = next_length(source);
  if (length == 0) {
    set_emptyLine(source);
    return false;
  }
  source->line = source->next;
  std::uint32_t text = length;
  if (source->has_nul) {
    const void* nul = std::memchr(source->next, 0, length);
    if (nul != nullptr) text = static_cast<std::uint32_t>(static_cast<const unsigned char*>(nul) - source->next);
  }
  if (text == 0 || source->next[text - 1] != '\n') {
    // Ends at a NUL or at the end of the file, where there is room for the newline, or in mid-line.
    if (text == length && source->next + length < source->limit) copy_piece(source, length);
    source->line[text++] = '\n';
  }
  source->next += length;
  source->line_end = source->line + text;
  source->covered = *source->line_end;
  *source->line_end = 0;
  return true;
}

// --- Many lines at once ---

static void hide_behind(line_source* source, unsigned char* line_end) {
  source->line_end = source->next = line_end;
  source->covered = *line_end;
  *line_end = 0;
}

void source_closeIn(line_source* source, unsigned char* line, unsigned char* at) {
  const void* newline = std::memchr(at, '\n', static_cast<std::size_t>(source->clean - at));
  source->line = line;
  hide_behind(source, at + (static_cast<const unsigned char*>(newline) - at) + 1);
}

void source_closeAt(line_source* source, unsigned char* line) {
  source->line = line;
  hide_behind(source, line);
}

// More must be read for the next line.
static bool is_short(const line_source* source) {
  const auto left = static_cast<std::size_t>(source->limit - source->next);
  return !source->at_eof && left < LINE_BYTES_MAX && std::memchr(source->next, '\n', left) == nullptr;
}

bool source_hasLines(line_source* source) {
  if (source->next == source->clean && is_short(source)) {
    source_openBlock(source);
    fill(source);
    source_closeAt(source, source->next);
  }
  return source->next < source->clean;
}
