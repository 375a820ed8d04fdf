// Interned byte strings, and the operations that build them.
//
// Equal text gives the same reference, which lives to the end of the process: its holder neither changes
// nor releases it, and compares two of them by reference. The builders put their text into one shared
// scratch buffer, whose content is meaningless once they return, and hand out the interned result.
// Every operation raises fatal alert 296 when memory runs out.
#ifndef COMMON_STRINGCACHE_H
#define COMMON_STRINGCACHE_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

struct hash_table;
struct vector;

extern hash_table* gStringCache;         // key and value: the interned string; absent until first use
extern char* gCacheScratch;              // text under construction; absent until first use
extern std::uint32_t gCacheScratchSize;  // its bytes

// The interned copy of `text`; absent for absent.
const char* cache_intern(const char* text);

// The first `length` bytes of `text`, which must have that many; absent for absent.
const char* cache_internN(const char* text, std::size_t length);

// The formatted text, of any length. Aborts if the host can't format it.
__attribute__((format(printf, 1, 2))) const char* cache_printf(const char* format, ...);
__attribute__((format(printf, 1, 0))) const char* cache_vprintf(const char* format, va_list args);

// Both joined. If one is absent the result is the other, as it was given.
const char* cache_concat(const char* a, const char* b);

// The path of both, with one `/` between them unless one side has a double one. If one is absent or empty
// the result is the other, as it was given.
const char* cache_joinPath(const char* directory, const char* name);

// With the ASCII letters folded.
const char* cache_lower(const char* text);
const char* cache_upper(const char* text);

// Each byte that stands in `from` replaced by the byte at the same position in `to`; pairs are formed until
// either list ends, and of two pairs with one from-byte the later wins.
const char* cache_translate(const char* text, const char* from, const char* to);

// True if both are present and `text` begins with `prefix`; the rest of `text` is interned then.
bool cache_hasPrefix(const char* text, const char* prefix);

// A new vector of the runs of bytes that are no delimiters, interned; the caller destroys it.
vector* cache_split(const char* text, const char* delimiters);

// Lines are read in pieces of up to 1023 bytes as fgets reads them: a NUL byte hides the rest of its piece,
// and a carriage return at the end of a piece ends the line if that piece is full or not the first.
struct line_piece {
  char text[1024];
  bool last;  // of its line; set it ahead of the first piece of a stream
};

// Reads the next piece, without interning it; false at the end of the stream, which ends a line too.
bool cache_readPiece(std::FILE* stream, line_piece* piece);

// The next line of the stream, of any length, with its newline; absent at the end.
const char* cache_readLine(std::FILE* stream);

#endif
