// The memory of includes: files that have been opened, names that have led to them, and what small ones hold.
//
// A name is remembered with where it was looked up from, which is all that the search goes by; one that raised anything
// on the way is not. A file is known by its path, as written and joined. One that changes during the run, after its
// first reading, may be seen as it was; one that the run itself writes is read anew each time.
#ifndef PREPROCESSOR_INCLUDES_H
#define PREPROCESSOR_INCLUDES_H

#include <cstdint>

#include "preprocessor/sourcechar.h"

struct line_source;
struct stat;

// An #ifndef around a whole file (guards.h).
struct include_guard {
  std::uint32_t length;   // of the name, which follows with eight 0 behind it
  std::uint32_t nesting;  // conditionals that a reading opens, one in the other
  std::int32_t lines;     // without output that a reading adds
};
inline char* guard_name(include_guard* guard) { return reinterpret_cast<char*>(guard + 1); }

// What paths that lead to the same file have in common. Links and other spellings of a path lead to one file; one that
// has taken another's place is another, even if the system has given it the same number.
struct include_content {
  std::uint32_t hash;
  std::uint32_t readings;                                // begun so far
  std::uint64_t device, inode, size, modified, changed;  // `inode` is 0 for what is no regular file
  include_guard* guard;                                  // owned; absent as long as none has been observed
  unsigned char* text;                                   // owned copy of what it holds, or absent
  std::uint32_t length;
};

struct include_file {
  std::uint32_t hash;
  bool as_written;   // it is there under that path, not only under its lower-case form
  const char* path;  // key and value in gDepSeen
  SourceChar* name;  // the same in units: the name of its frames
  include_content* content;
};

// The file of that path, or nullptr if none was opened; one whose path is the same but for `./` at its beginning, as
// -I. makes it; and a new one, which is put into gDepSeen too. Raises 296.
include_file* includes_find(const char* path);
include_file* includes_findTwin(const char* path);
include_file* includes_add(const char* path, include_content* content, bool as_written);

// The content of a file that the system tells this of. Raises 296.
include_content* includes_content(const struct stat& status);

// What the search for a name goes by.
struct include_key {
  const char* name;  // lent
  std::uint32_t length;
  std::uint32_t folder_length;
  const SourceChar* folder;  // of the file that a quoted name is written in, lent for good; absent for another
  std::uint32_t hash;
};

// The key of `name`, written in the current frame, which is a file's.
include_key includes_key(const char* name, std::uint32_t length, bool quoted);

// The file that it led to before, or nullptr; and that it has led to `file`, which raised nothing.
include_file* includes_recall(const include_key* key);
void includes_remember(const include_key* key, include_file* file);

// A file frame keeps its file open until it ends, so that a file that includes itself ends by the system's limit. Far
// below that limit it need not: true if the next include, and those above it, may go without an open file.
bool includes_mayStayShut();

// From here on that is over: the frames below get something open in place of their files.
void includes_openShut();

// The highest descriptor that an include had.
void includes_noteOpen(int fd);

// True if the run itself writes the file.
bool includes_isOurs(const include_content* content);

// Keeps what `source`, of which nothing has been delivered, holds, if that is all of a small file.
void includes_keepText(include_content* content, const line_source* source);
void includes_dropText(include_content* content);

#endif
