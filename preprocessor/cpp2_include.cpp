// `#include`: the name, and the search for the file that it means.
//
// The search has no directories of its own: for a quoted name the directory of the including file,
// under the name it was opened by, and then the -I directories in their order.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/cmode.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp3.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/define.h"

constexpr std::uint32_t INCLUDE_NAME_MAX = 2047;   // bytes of the name as written; more: fatal 146
constexpr std::uint32_t INCLUDE_JOIN_MAX = 32766;  // directory and name together; more: fatal 146

// The name up to `closing` into gWorkBuffer, units as they are; false if the line ends first.
static bool read_name(SourceChar closing) {
  gWorkFill = 0;
  gInLiteral = true;
  SourceChar c;
  while ((c = get()) != closing && c != '\n' && c != 0) work_put(c);
  gInLiteral = false;
  if (c != closing) return false;
  const std::uint32_t fill = gWorkFill;
  work_put(0);
  gWorkFill = fill;
  return true;
}

static void warn_aboutSeparators(const char* name) {
  if (cmode_has(CMODE_GCI) == 0) return;
  for (; *name != 0; name++) {
    if (*name == '\\' || *name == '/') alert_once(1427u);
  }
}

static void use_forwardSlashes(char* name) {
  for (; *name != 0; name++) {
    if (*name == '\\') *name = '/';
  }
}

void do_include() {
  const SourceChar opening = scan_expandName(skip_ws());
  if ((opening != '<' && opening != '"') || !read_name(opening == '<' ? '>' : '"')) {
    alert(109u);
    return;
  }
  if (gWorkFill > INCLUDE_NAME_MAX) {
    alert(146u);
    return;
  }
  char name[INCLUDE_NAME_MAX + 1];
  sc_toNarrow(name, gWorkBuffer);
  warn_aboutSeparators(name);
  const bool quoted = opening == '"';
  errno = ENOENT;  // the reason shown if there is no directory to search
  if (include_search(name, quoted)) return;
  use_forwardSlashes(name);
  if (include_search(name, quoted)) return;
  char* written = sc_narrowDup(gWorkBuffer);
  alert(141u, "include", static_cast<const char*>(written));
  std::free(written);
}

// In a dependency run a file is read once, however often it is included.
static bool try_path(const char* path) {
  const bool seen = hash_lookup(gDepSeen, to_word(path)) != 0;
  if (gDepMode != DEP_NONE && seen) return true;
  if (!include_open(path)) return false;
  if (!seen) {
    const char* copy = mem_dupText(path, std::strlen(path));
    hash_insert_func(gDepSeen, to_word(copy), to_word(copy));
  }
  return true;
}

struct include_path {
  char text[FILE_NAME_MAX + 1];
};

// `directory` (of `length` bytes), `between` and `name` as one path; false after message 146.
static bool join_path(include_path* path, const char* directory, std::size_t length, const char* between,
                      const char* name) {
  if (length + std::strlen(between) + std::strlen(name) > FILE_NAME_MAX) {
    alert(146u);
    return false;
  }
  std::memcpy(path->text, directory, length);
  std::strcpy(path->text + length, between);
  std::strcat(path->text, name);
  return true;
}

static bool search_besideCurrent(const char* name) {
  include_path path;
  const SourceChar no_name[1] = {0};
  char* current = sc_narrowDup(gCurrentFrame != nullptr ? in_name(gCurrentFrame) : no_name);
  const char* slash = std::strrchr(current, '/');
  const std::size_t length = name[0] != '/' && slash != nullptr ? static_cast<std::size_t>(slash + 1 - current) : 0;
  const bool settled = join_path(&path, current, length, "", name) && try_path(path.text);
  std::free(current);
  return settled;
}

bool include_search(const char* name, bool quoted) {
  if (quoted && search_besideCurrent(name)) return true;
  for (std::uint32_t i = 0; i < gIncludeDirsEnd; i++) {
    const char* directory = gIncludeDirs[i];
    const std::size_t length = std::strlen(directory);
    if (length + std::strlen(name) > INCLUDE_JOIN_MAX) {  // also where the name stands alone
      alert(146u);
      continue;
    }
    include_path path;
    bool fits;
    if (name[0] == '/') {
      fits = join_path(&path, directory, 0, "", name);
    } else {
      fits = join_path(&path, directory, length, length > 0 && directory[length - 1] == '/' ? "" : "/", name);
    }
    if (fits && try_path(path.text)) return true;
  }
  return false;
}
