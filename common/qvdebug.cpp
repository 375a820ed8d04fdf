// The debug option: `--qvdebug=item,item:arg,...` sets the switches of the debug facility.
//
// What comes in: the option's text. What goes out: the switches declared in qvdebug.h, and the open
// debug-out file if a flag is set or an `out` item names one. What can't be understood costs a warning on
// the alert stream; only a debug-out file that can't be opened ends the run.
#include "common/qvdebug.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/db_warning.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/stringcache.h"
#include "common/vector.h"

std::uint32_t gDebugFlags;
std::uint32_t gAssertMode;
std::uint32_t gDebugNum = 1;
std::uint8_t gDefaultOut = 1;
bool gDebugParsed;
const char* gZipPath;
const char* gFilePath;
std::FILE* gFile;
bool gTraceExpand;

static hash_table* gDebugNames;  // the names of `debug` items, kept for other tools' sake
static bool gExpandNamed;        // `expand` is among them

constexpr std::uint32_t DEBUG_NAME_BUCKETS = 13;
constexpr char DEFAULT_PACKAGE[] = "qv4_package.zip";

const char* db_warningFormat(char (&buffer)[DB_WARNING_BYTES], const char* format) {
  std::snprintf(buffer, sizeof buffer, "QVDEBUG (warning): %s", format);
  return buffer;
}

static const char* default_debugOut(std::uint32_t number) { return cache_printf("preprocessor-%u.out", number); }

static const char* string_at(const vector* args, std::uint32_t index) {
  return word_ptr<const char>(vec_elementAt(args, index));
}

// Opens gFilePath. The alert is fatal, but a catalogue can class it lower, so the result may be absent.
static std::FILE* open_debugOut(const char* mode) {
  std::FILE* stream = std::fopen(gFilePath, mode);
  if (stream == nullptr) alert_onceNoLine(141u, "debug-out", gFilePath);
  return stream;
}

// ---- handlers of items with arguments; `args` is absent if the item has no colon ----

static void parse_out(vector* args) {
  if (vec_size(args) == 0) {
    db_warning("option \"out\", must have a filename argument");
    return;
  }
  const char* name = string_at(args, 0);
  gDefaultOut = 0;
  if (vec_size(args) > 1) db_warning("ignoring extraneous arguments with \"out\" option, using \"%s\"", name);
  if (gFilePath != nullptr) {
    db_warning("debug-out file was set to \"%s\", resetting to \"%s\"", gFilePath, name);
  }
  const bool append = name[0] == '+';
  gFilePath = append ? cache_intern(name + 1) : name;
  std::FILE* stream = open_debugOut(append ? "a" : "w");
  if (stream == nullptr) return;
  if (gFile != nullptr) std::fclose(gFile);  // every line in it has been flushed
  gFile = stream;
}

// An archive of an earlier run goes, but nothing that can't be one: a directory or a device stays.
static bool remove_package(const char* name) {
  struct stat status;
  if (lstat(name, &status) != 0) return false;
  return (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)) && unlink(name) == 0;
}

static void parse_zip(vector* args) {
  const char* name = vec_size(args) != 0 ? string_at(args, 0) : DEFAULT_PACKAGE;
  if (gZipPath != nullptr) {
    db_warning("Zip file already set to \"%s\", ignoring addtional zip options", gZipPath);
    return;
  }
  if (vec_size(args) > 1) db_warning("ignoring extraneous arguments with \"zip\" option, using \"%s\"", name);
  if (name[0] == '+') {
    gZipPath = cache_intern(name + 1);
    return;
  }
  if (osdep_exists(name)) {
    db_warning("Package zip \"%s\" already exists and will be over-written", name);
    if (!remove_package(name)) db_warning("Unable to remove \"%s\", it will be updated if possible", name);
  }
  gZipPath = name;
}

static void parse_assert(vector* args) {
  static constexpr const char* MODES[] = {"ignore", "fatal", "error", "warning"};  // in the order of DBA_
  if (vec_size(args) == 0) {
    db_warning("option \"assert\", must have an argument");
    return;
  }
  const char* word = cache_lower(string_at(args, 0));
  if (vec_size(args) > 1) db_warning("ignoring extraneous arguments with \"assert\" option, using \"%s\"", word);
  for (std::uint32_t mode = DBA_IGNORE; mode <= DBA_WARNING; mode++) {
    if (std::strcmp(word, MODES[mode]) == 0) {
      gAssertMode = mode;
      return;
    }
  }
  db_warning("unknown argument (%s) given to assert option", word);
}

static void parse_debug(vector* args) {
  if (vec_size(args) == 0) {
    db_warning("option \"debug\", must have at least one argument");
    return;
  }
  if (gDebugNames == nullptr) {
    gDebugNames = hash_new_func(DEBUG_NAME_BUCKETS, hash_stringNoCase, hash_stringCompareNoCase);
  }
  vec_iterStart(args);
  while (vec_iterDone(args, vec_iterHasNext(args))) {
    const Word name = vec_iterNext(args);
    hash_insert_func(gDebugNames, name, name);
    if (std::strcmp(word_ptr<const char>(name), "expand") == 0) gExpandNamed = true;
  }
}

// Stores the number of a `num` item; returns absent, or with nothing stored the warning, which takes the number in
// force.
static const char* read_number(const char* text, std::uint32_t* number) {
  const long value = std::strtol(text, nullptr, 10);
  if (value <= 0) return "\"num\" option must be a decimal integer > 0, using \"%u\"";
  if (value > static_cast<long>(UINT32_MAX)) return "\"num\" option is too large, using \"%u\"";
  *number = static_cast<std::uint32_t>(value);
  return nullptr;
}

static void parse_num(vector* args) {
  if (vec_size(args) == 0) {
    db_warning("option \"num\", must have an argument");
    return;
  }
  const char* text = string_at(args, 0);
  if (vec_size(args) > 1) db_warning("ignoring extraneous arguments with \"num\" option, using \"%s\"", text);
  const char* warning = read_number(text, &gDebugNum);
  if (warning != nullptr) db_warning(warning, gDebugNum);
}

// ---- the option ----

struct debug_option {
  std::uint32_t dbo_flag;
  const char* dbo_name;
  void (*dbo_optParser)(vector* args);
};

// Searched in this order; the first row whose word begins the item wins.
static constexpr debug_option OPTIONS[] = {
    {DBF_ON, "default", nullptr},    {DBF_ON, "on", nullptr},       {0, "out", parse_out},
    {DBF_SDB, "sdb", nullptr},       {DBF_DWARF, "dwarf", nullptr}, {0, "zip", parse_zip},
    {DBF_ALERTS, "alerts", nullptr}, {0, "assert", parse_assert},   {0, "debug", parse_debug},
    {DBF_ADT, "adt", nullptr},       {0, "num", parse_num},
};

// Absent if no row matches.
static const debug_option* find_option(const char* item) {
  for (const debug_option& option : OPTIONS) {
    if (strncasecmp(item, option.dbo_name, std::strlen(option.dbo_name)) == 0) return &option;
  }
  return nullptr;
}

// The arguments behind the first colon; absent without one.
static vector* item_arguments(const char* item) {
  const char* colon = std::strchr(item, ':');
  return colon != nullptr ? cache_split(colon + 1, ":") : nullptr;
}

static void apply_item(const char* item) {
  const debug_option* option = find_option(item);
  if (option == nullptr) {
    db_warning("unknown option \"%s\"", item);
    return;
  }
  gDebugFlags |= option->dbo_flag;
  if (option->dbo_optParser == nullptr) return;
  vector* args = item_arguments(item);
  option->dbo_optParser(args);
  vec_destroy(args);
}

void db_options(const char* text) {
  if (gDebugParsed) {
    db_warning("Ignoring extra --qvdebug options");
    return;
  }
  gDebugParsed = true;
  const char* equals = std::strchr(text, '=');
  vector* items = cache_split(equals != nullptr ? equals + 1 : text, ",");
  vec_iterStart(items);
  while (vec_iterDone(items, vec_iterHasNext(items))) apply_item(word_ptr<const char>(vec_iterNext(items)));
  vec_destroy(items);

  if (gDebugFlags == 0) return;
  if (gFile == nullptr) {
    gFilePath = default_debugOut(gDebugNum);
    gFile = open_debugOut("w");
  }
  gTraceExpand = gExpandNamed && gFile != nullptr;
  if ((gDebugFlags & DBF_ADT) != 0) {
    hash_track(true);
    vec_track(true);
  }
}

// ---- the files that it names ----

static const char* without_plus(const char* name) { return name[0] == '+' ? name + 1 : name; }

// The default debug-out file counts too: a flag opens it if no item names another. Of two
// packages the first counts.
void db_namedFiles(const char* text, file_visitor visit) {
  static bool given;
  if (given) return;
  given = true;
  std::uint32_t flags = 0;
  std::uint32_t number = gDebugNum;
  bool has_out = false;
  bool has_zip = false;
  vector* items = cache_split(text, ",");
  for (std::uint32_t i = 0; i < vec_size(items); i++) {
    const debug_option* option = find_option(string_at(items, i));
    if (option == nullptr) continue;
    flags |= option->dbo_flag;
    vector* args = item_arguments(string_at(items, i));
    const char* first = vec_size(args) != 0 ? string_at(args, 0) : nullptr;
    if (option->dbo_optParser == parse_zip && !has_zip) {
      has_zip = true;
      visit(without_plus(first != nullptr ? first : DEFAULT_PACKAGE), "the package");
    }
    if (option->dbo_optParser == parse_num && first != nullptr) read_number(first, &number);
    if (option->dbo_optParser == parse_out && first != nullptr) {
      has_out = true;
      visit(without_plus(first), "the debug-out file");
    }
    vec_destroy(args);
  }
  vec_destroy(items);
  if (flags != 0 && !has_out) visit(default_debugOut(number), "the debug-out file");
}
