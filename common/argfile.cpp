// The reader of an argument file: lines of standard input in, an argument vector out.
//
// Blanks, tabs and newlines end words. Quotes of either kind and a backslash ahead of a blank keep a word
// together; a backslash ahead of an ordinary character stays. Every end of a word gives an argument, so two
// blanks in a row give an empty one.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "common/stringcache.h"

int gArgCount;
int gArgError;

constexpr std::size_t WORD_BYTES = 2047;      // longer: error 917
constexpr std::size_t VECTOR_ENTRIES = 1024;  // first room of the vector

struct arg_reader {
  char** entries;
  std::size_t count;
  std::size_t room;
  char word[WORD_BYTES];
  std::size_t length;  // of word
  char quote;          // the open quote, or 0
  bool escaped;
  bool full;  // a word did not fit: the rest of the line is dropped
};

// Adds one entry and leaves room for the absent one at the end.
static void add_entry(arg_reader* r, char* entry) {
  if (r->count + 1 >= r->room) {
    r->room = r->room == 0 ? VECTOR_ENTRIES : 2 * r->room;
    r->entries = static_cast<char**>(std::realloc(r->entries, r->room * sizeof(char*)));
    if (!r->entries) mem_exhausted();
  }
  r->entries[r->count++] = entry;
}

static void end_word(arg_reader* r) {
  add_entry(r, mem_dupText(r->word, r->length));
  r->length = 0;
}

// False if the word is full: then 917 has been raised.
static bool store(arg_reader* r, char c) {
  if (r->length == WORD_BYTES) {
    alert(917u);
    return false;
  }
  r->word[r->length++] = c;
  return true;
}

static bool store_plain(arg_reader* r, char c) {
  r->escaped = false;
  return store(r, c);
}

static bool take_quote(arg_reader* r, char c) {
  if (r->escaped) return store_plain(r, c);
  if (r->quote && r->quote != c) return store(r, c);
  r->quote = r->quote ? '\0' : c;
  return true;
}

// One character of a line; false if the word is full.
static bool take(arg_reader* r, char c) {
  switch (c) {
    case ' ':
      if (r->quote || r->escaped) return store_plain(r, c);
      end_word(r);
      return true;
    case '\t':
    case '\n': end_word(r); return true;
    case '\\':
      if (r->escaped) return store_plain(r, c);
      r->escaped = true;
      return true;
    case '\'':
    case '"': return take_quote(r, c);
    default:
      if (r->escaped && !store(r, '\\')) return false;
      return store_plain(r, c);
  }
}

static void begin_line(arg_reader* r, bool prompt, const char* program_name) {
  r->quote = '\0';
  r->escaped = r->full = false;
  if (!prompt) return;
  std::printf("%s> ", program_name);
  std::fflush(stdout);
}

static void end_line(arg_reader* r) {
  if (r->length > 0) end_word(r);
}

static void take_piece(arg_reader* r, const char* text) {
  for (; *text && !r->full; text++) r->full = !take(r, *text);
}

char** osdep_readArgs(const char* program_name) {
  arg_reader reader = {};
  add_entry(&reader, mem_dupText(program_name, std::strlen(program_name)));
  const bool prompt = isatty(STDIN_FILENO) != 0;
  errno = 0;
  line_piece piece;
  piece.last = true;
  begin_line(&reader, prompt, program_name);
  while (cache_readPiece(stdin, &piece)) {
    take_piece(&reader, piece.text);
    if (!piece.last) continue;
    end_line(&reader);
    begin_line(&reader, prompt, program_name);
  }
  gArgError = std::ferror(stdin) == 0 ? 0 : errno != 0 ? errno : EIO;
  end_line(&reader);
  reader.entries[reader.count] = nullptr;
  gArgCount = static_cast<int>(reader.count);
  return reader.entries;
}
