// The string cache: the table of interned strings, and the builders over the shared scratch buffer.
//
// Every builder makes room in the scratch first, writes its text there and ends in cache_intern. Arguments
// never lie in the scratch, since results never do.
#include "common/stringcache.h"

#include <cstdlib>
#include <cstring>

#include "common/hash.h"
#include "common/osdep.h"
#include "common/vector.h"

hash_table* gStringCache;
char* gCacheScratch;
std::uint32_t gCacheScratchSize;

constexpr std::uint32_t CACHE_BUCKETS = 5077;
constexpr std::uint32_t SCRATCH_MINIMUM = 4096;

// ---- the table ----

const char* cache_intern(const char* text) {
  if (!text) return nullptr;
  static hash_entry* buckets[CACHE_BUCKETS];
  if (!gStringCache) gStringCache = hash_newIn_func(buckets, CACHE_BUCKETS, hash_string, hash_stringCompare);
  const hash_slot slot = hash_probe(gStringCache, to_word(text));
  if (*slot.link) return word_ptr<const char>((*slot.link)->value);
  const char* copy = mem_dupText(text, std::strlen(text));
  hash_insertAt(gStringCache, slot, to_word(copy), to_word(copy));
  return copy;
}

// ---- the scratch buffer ----

// Replaces the buffer by one of `size` bytes, at least SCRATCH_MINIMUM. Its content is given up.
static void scratch_renew(std::uint64_t size) {
  if (size < SCRATCH_MINIMUM) size = SCRATCH_MINIMUM;
  if (size > UINT32_MAX) size = UINT32_MAX;
  std::free(gCacheScratch);
  gCacheScratch = nullptr;  // the alert of a failing allocation may come back here
  gCacheScratchSize = 0;
  gCacheScratch = static_cast<char*>(mem_alloc(static_cast<std::uint32_t>(size)));
  gCacheScratchSize = static_cast<std::uint32_t>(size);
}

// Makes room for `bytes`, terminator included.
static char* scratch_reserve(std::uint64_t bytes) {
  if (bytes > UINT32_MAX) mem_exhausted();
  if (bytes > gCacheScratchSize) scratch_renew(bytes * 2);
  return gCacheScratch;
}

// ---- builders ----

const char* cache_internN(const char* text, std::size_t length) {
  if (!text) return nullptr;
  char* scratch = scratch_reserve(std::uint64_t{length} + 1);
  std::memcpy(scratch, text, length);
  scratch[length] = '\0';
  return cache_intern(scratch);
}

const char* cache_printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const char* text = cache_vprintf(format, args);
  va_end(args);
  return text;
}

const char* cache_vprintf(const char* format, va_list args) {
  const std::uint64_t length = std::strlen(format);
  if (length * 10 > gCacheScratchSize) scratch_renew(length * 20);
  va_list again;
  va_copy(again, args);
  int result = std::vsnprintf(gCacheScratch, gCacheScratchSize, format, args);
  if (result < 0 || static_cast<std::uint32_t>(result) >= gCacheScratchSize) {
    if (result >= 0) scratch_reserve(static_cast<std::uint64_t>(result) + 1);
    result = std::vsnprintf(gCacheScratch, gCacheScratchSize, format, again);
    if (result < 0 || static_cast<std::uint32_t>(result) >= gCacheScratchSize) {
      std::fputs("vsnprintf failed in a mysterious way\n", stderr);
      std::abort();
    }
  }
  va_end(again);
  return cache_intern(gCacheScratch);
}

const char* cache_concat(const char* a, const char* b) {
  if (!a) return b;
  if (!b) return a;
  const std::size_t a_length = std::strlen(a);
  const std::size_t b_length = std::strlen(b);
  char* scratch = scratch_reserve(std::uint64_t{a_length} + b_length + 1);
  std::memcpy(scratch, a, a_length);
  std::memcpy(scratch + a_length, b, b_length + 1);
  return cache_intern(scratch);
}

const char* cache_joinPath(const char* directory, const char* name) {
  if (!directory || !*directory) return name;
  if (!name || !*name) return directory;
  if (directory[std::strlen(directory) - 1] != '/') directory = cache_concat(directory, "/");
  if (*name == '/') name++;
  return cache_concat(directory, name);
}

const char* cache_lower(const char* text) {
  return cache_translate(text, "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz");
}

const char* cache_upper(const char* text) {
  return cache_translate(text, "abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

const char* cache_translate(const char* text, const char* from, const char* to) {
  char map[256];
  for (unsigned i = 0; i < sizeof map; i++) map[i] = static_cast<char>(i);
  for (; *from && *to; from++, to++) map[static_cast<unsigned char>(*from)] = *to;
  const std::size_t length = std::strlen(text);
  char* scratch = scratch_reserve(std::uint64_t{length} + 1);
  for (std::size_t i = 0; i < length; i++) scratch[i] = map[static_cast<unsigned char>(text[i])];
  scratch[length] = '\0';
  return cache_intern(scratch);
}

bool cache_hasPrefix(const char* text, const char* prefix) {
  if (!text || !prefix) return false;
  const std::size_t length = std::strlen(prefix);
  if (std::strncmp(text, prefix, length) != 0) return false;
  cache_intern(text + length);
  return true;
}

vector* cache_split(const char* text, const char* delimiters) {
  vector* words = vec_new_func();
  while (*text) {
    text += std::strspn(text, delimiters);
    const std::size_t length = std::strcspn(text, delimiters);
    if (length == 0) break;
    vec_add(words, to_word(cache_internN(text, length)));
    text += length;
  }
  return words;
}

// ---- lines ----

static bool ends_line(const char* text, std::size_t length) {
  return length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r');
}

bool cache_readPiece(std::FILE* stream, line_piece* piece) {
  const bool first = piece->last;
  piece->last = true;
  if (!std::fgets(piece->text, sizeof piece->text, stream)) return false;
  const std::size_t length = std::strlen(piece->text);
  piece->last = (first && length < sizeof piece->text - 1) || ends_line(piece->text, length);
  return true;
}

// The rest of a line whose first piece is full. The pieces are collected in a buffer of their own and
// interned once: interning each longer prefix would take memory in proportion to the line's square.
static const char* read_longLine(std::FILE* stream, line_piece* piece) {
  std::size_t room = 8 * sizeof piece->text;
  std::size_t length = 0;
  auto* line = static_cast<char*>(mem_alloc(8 * sizeof piece->text));
  do {
    const std::size_t piece_length = std::strlen(piece->text);
    if (length + piece_length >= room) {
      room *= 2;
      line = static_cast<char*>(std::realloc(line, room));
      if (!line) mem_exhausted();
    }
    std::memcpy(line + length, piece->text, piece_length + 1);
    length += piece_length;
  } while (!piece->last && cache_readPiece(stream, piece));
  const char* text = cache_intern(line);
  std::free(line);
  return text;
}

const char* cache_readLine(std::FILE* stream) {
  line_piece piece;
  piece.last = true;
  if (!cache_readPiece(stream, &piece)) return nullptr;
  return piece.last ? cache_intern(piece.text) : read_longLine(stream, &piece);
}
