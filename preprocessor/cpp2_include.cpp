// `#include`: the name, the search for the file that it means, and its opening.
//
// The search has no directories of its own: for a quoted name the directory of the including file,
// under the name it was opened by, and then the -I directories in their order. A name that has been searched for is
// remembered (includes.h), and a file that its guard makes empty is passed over (guards.h).
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/cmode.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/stringcache.h"
#include "preprocessor/cpp2.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/define.h"
#include "preprocessor/filecheck.h"
#include "preprocessor/guards.h"
#include "preprocessor/includes.h"
#include "preprocessor/inplace.h"

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

// --- Opening ---

static void show_include(const char* path) {
  constexpr std::uint32_t SHOWN_BUCKETS = 128;
  static hash_table* shown;
  if (shown == nullptr) shown = hash_new_func(SHOWN_BUCKETS, hash_string, hash_stringCompare);
  const char* interned = cache_intern(path);
  if (hash_insert_func(shown, to_word(interned), to_word(interned))) alert_text(cache_printf("%s\n", path));
}

static int open_counted(const char* path, struct stat* status) {
  includes_openShut();
  const int fd = osdep_openText(path, status);
  includes_noteOpen(fd);
  return fd;
}

// The copy of `path` in lower case, if that is another name.
static int open_lowerCase(const char* path, struct stat* status) {
  char lower[FILE_NAME_MAX + 1];
  std::size_t i = 0;
  for (; i < FILE_NAME_MAX && path[i] != 0; i++) {
    lower[i] = path[i] >= 'A' && path[i] <= 'Z' ? static_cast<char>(path[i] + ('a' - 'A')) : path[i];
  }
  lower[i] = 0;
  return std::strcmp(lower, path) != 0 ? open_counted(lower, status) : -1;
}

static void push(include_file* file, line_source* source) {
  const bool in_file = gCurrentFrame != nullptr && in_isFile(gCurrentFrame);
  in_pushFile(source, file->name);
  file->content->readings++;
  if (in_file) guard_watch(file->content);
}

static bool may_readText(const include_content* content) {
  return content->text != nullptr && includes_mayStayShut() && !includes_isOurs(content);
}

// In a dependency run no guard is watched for, and few files have a third path.
static void push_text(include_file* file) {
  include_content* content = file->content;
  push(file, source_openText(content->text, content->length));
  if (gDepMode != DEP_NONE) includes_dropText(content);
}

// Without opening the file; false if that can't be.
static bool enter_known(include_file* file) {
  if (!file->as_written) return false;
  if (guard_passOver(file->content)) return true;
  if (!may_readText(file->content)) return false;
  push_text(file);
  return true;
}

// The same under another path, for the first time: the file that was opened under that of `twin`. nullptr if that can't
// be.
static include_file* enter_twin(const char* path, const include_file* twin) {
  const bool pass = guard_passOver(twin->content);
  if (!pass && !may_readText(twin->content)) return nullptr;
  include_file* file = includes_add(path, twin->content, true);
  if (gShowIncludes) show_include(path);
  if (!pass) push_text(file);
  return file;
}

// The file has been opened.
static void enter(include_file* file, int fd, const struct stat& status) {
  if (guard_passOver(file->content)) {
    close(fd);
    return;
  }
  line_source* source = source_open(fd, status);
  if (file->content->readings == 0 && roads_open()) {
    source_readAhead(source);
    includes_keepText(file->content, source);
  }
  push(file, source);
}

// Opens `path` for reading, under its lower-case form if need be, and pushes its frame; `file` is what is known of it.
// nullptr if neither opens; errno tells why.
static include_file* open_file(const char* path, include_file* file) {
  struct stat status;
  int fd = open_counted(path, &status);
  const bool as_written = fd >= 0;
  if (!as_written) {
    fd = open_lowerCase(path, &status);
    if (fd < 0) return nullptr;
  }
  files_checkInclude(path, status);
  if (!as_written) alert(164u, path);
  if (gShowIncludes) show_include(path);
  if (!as_written && !osdep_canRead(path)) alert(165u, path);
  if (file == nullptr) file = includes_add(path, includes_content(status), as_written);
  enter(file, fd, status);
  return file;
}

// --- Searching ---

static include_file* try_path(const char* path) {
  include_file* file = includes_find(path);
  if (file != nullptr) return gDepMode != DEP_NONE || enter_known(file) ? file : open_file(path, file);
  const include_file* twin = includes_findTwin(path);
  if (twin != nullptr) file = enter_twin(path, twin);
  return file != nullptr ? file : open_file(path, nullptr);
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

static include_file* search_besideCurrent(const char* name) {
  include_path path;
  const SourceChar no_name[1] = {0};
  char* current = sc_narrowDup(gCurrentFrame != nullptr ? in_name(gCurrentFrame) : no_name);
  const char* slash = std::strrchr(current, '/');
  const std::size_t length = name[0] != '/' && slash != nullptr ? static_cast<std::size_t>(slash + 1 - current) : 0;
  include_file* file = join_path(&path, current, length, "", name) ? try_path(path.text) : nullptr;
  std::free(current);
  return file;
}

// In the directory of the current file first if the name was `quoted`. The file, or nullptr.
static include_file* search(const char* name, bool quoted) {
  include_file* file = quoted ? search_besideCurrent(name) : nullptr;
  for (std::uint32_t i = 0; i < gIncludeDirsEnd && file == nullptr; i++) {
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
    if (fits) file = try_path(path.text);
  }
  return file;
}

// --- Carrying out ---

// What was found for the name before, if it can be had again. In a dependency run a file is read once, however often
// it is included.
static bool include_again(const include_key* key) {
  include_file* file = includes_recall(key);
  if (file == nullptr) return false;
  if (gDepMode != DEP_NONE || enter_known(file)) return true;
  struct stat status;
  const int fd = open_counted(file->path, &status);
  if (fd < 0) return false;
  files_checkInclude(file->path, status);
  enter(file, fd, status);
  return true;
}

// `name` may be read a few bytes past its end.
static void include_name(const char* name, std::size_t length, bool quoted) {
  warn_aboutSeparators(name);
  const bool usual = roads_open() && gCurrentFrame != nullptr && in_isFile(gCurrentFrame);
  include_key key = {};
  if (usual) key = includes_key(name, static_cast<std::uint32_t>(length), quoted);
  if (usual && include_again(&key)) return;
  const std::uint32_t alerts = gAlertsRaised;
  errno = ENOENT;  // the reason shown if there is no directory to search
  include_file* file = search(name, quoted);
  if (file == nullptr) {
    char slashed[INCLUDE_NAME_MAX + 1];
    use_forwardSlashes(std::strcpy(slashed, name));
    file = search(slashed, quoted);
  }
  if (file == nullptr) {
    alert(141u, "include", name);
  } else if (usual && alerts == gAlertsRaised) {
    includes_remember(&key, file);
  }
}

// --- The line, read where it lies ---

struct written_name {
  char text[INCLUDE_NAME_MAX + 1];
  std::uint32_t length;
  bool quoted;
};

// From behind the word to behind the closing delimiter, or nullptr.
static const unsigned char* take_name(const unsigned char* at, written_name* name) {
  while (char_isWhite(*at)) at++;
  if (*at != '<' && *at != '"') return nullptr;
  const unsigned char closing = *at == '<' ? '>' : '"';
  name->quoted = *at++ == '"';
  for (name->length = 0; *at != closing; at++) {
    if (*at == '\n' || *at == '?' || name->length == INCLUDE_NAME_MAX) return nullptr;
    name->text[name->length++] = static_cast<char>(*at);
  }
  name->text[name->length] = 0;
  return at + 1;
}

static bool include_inPlace() {
  input_frame* frame = place_frame();
  written_name name;
  const unsigned char* end = frame != nullptr ? take_name(frame->file_pos, &name) : nullptr;
  if (end == nullptr) return false;
  frame->file_pos += end - frame->file_pos;
  depth_reset();
  include_name(name.text, name.length, name.quoted);
  return true;
}

place_end do_includeInPlace(const unsigned char* at, bool) {
  constexpr place_end kOrdinary = {PLACE_ORDINARY, nullptr};
  written_name name;
  const unsigned char* end = cmode_has(CMODE_GCI) == 0 ? take_name(at, &name) : nullptr;
  const unsigned char* newline = end != nullptr ? place_lineEnd(end) : nullptr;
  if (newline == nullptr) return kOrdinary;
  const include_key key = includes_key(name.text, name.length, name.quoted);
  const include_file* file = includes_recall(&key);
  if (file == nullptr) return kOrdinary;
  if (gDepMode == DEP_NONE && !(file->as_written && guard_passOver(file->content))) return kOrdinary;
  depth_reset();
  return {PLACE_LINE_DONE, newline};
}

void do_include() {
  if (include_inPlace()) return;
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
  include_name(name, std::strlen(name), opening == '"');
}
