// What happens ahead of the first line.
//
// Options are decoded by hand, in one pass; a value is always joined to its option. File arguments
// move down in the vector, and what later options say overwrites what earlier ones said. The
// predefined macros are entered before them, so that an option can replace or remove each.
#include "preprocessor/cpp3.h"

#include <strings.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "common/alert.h"
#include "common/catalogue.h"
#include "common/cmode.h"
#include "common/hash.h"
#include "common/html.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/stringcache.h"
#include "preprocessor/chains.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/filecheck.h"
#include "preprocessor/typesizes.h"

// --- Predefined macros ---

static void preset(const char* name, const char* body, macro_kind kind) {
  SourceChar wide_name[16], wide_body[16];
  const std::uint32_t length = body != nullptr ? sc_length(sc_fromNarrow(wide_body, body)) : 0;
  macro_def* macro = macro_enter(sc_fromNarrow(wide_name, name), length + 1);
  macro_setBody(macro, body != nullptr ? wide_body : nullptr, length, kind);
}

// Both from one reading of the clock, "Www Mmm dd hh:mm:ss yyyy\n", so that they agree.
static void preset_clock() {
  constexpr std::size_t DATE_AT = 4, DATE_LENGTH = 7, TIME_AT = 11, TIME_LENGTH = 8, YEAR_AT = 20, YEAR_LENGTH = 4;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char clock[64] = "??? ??? ?? ??:??:?? ????\n";
  if (localtime_r(&now, &local) != nullptr) std::strftime(clock, sizeof clock, "%a %b %e %H:%M:%S %Y\n", &local);
  char date[] = "\"Mmm dd yyyy\"";
  std::memcpy(date + 1, clock + DATE_AT, DATE_LENGTH);
  std::memcpy(date + 1 + DATE_LENGTH, clock + YEAR_AT, YEAR_LENGTH);
  char time[] = "\"hh:mm:ss\"";
  std::memcpy(time + 1, clock + TIME_AT, TIME_LENGTH);
  preset("__DATE__", date, MACRO_OBJECT);
  preset("__TIME__", time, MACRO_OBJECT);
}

void drv_presets() {
  preset("__STDC__", "1", MACRO_OBJECT);
  preset("__LINE__", nullptr, MACRO_LINE);
  preset("__FILE__", nullptr, MACRO_FILE);
  preset_clock();
}

// --- Options of one letter; `value` is what follows it ---

static void define_macro(char* value) {
  char* equal = std::strchr(value, '=');
  if (equal != nullptr) *equal = 0;
  SourceChar* name = sc_wideDup(value);
  SourceChar* body = sc_wideDup(equal != nullptr ? equal + 1 : "1");
  const std::uint32_t length = sc_length(body);
  macro_setBody(macro_enter(name, length + 1), body, length, MACRO_OBJECT);
  std::free(name);
  std::free(body);
}

static void remove_macro(const char* value) {
  SourceChar* name = sc_wideDup(value);
  if (!macro_remove(name)) alert(177u, value);
  std::free(name);
}

static bool is_digit(char c) { return c >= '0' && c <= '9'; }

static bool is_alertFile(const char* value) { return *value != 0 && !(is_digit(value[0]) && value[1] == 0); }

static void set_alertOutput(const char* value) {
  if (*value == 0) return;
  if (!is_alertFile(value)) {
    alert_setFormatMode(static_cast<std::uint32_t>(value[0] - '0'));
  } else if (!alert_setFile(value)) {
    alert_raw("Could not open file %s", value);
  }
}

static void add_directory(const char* value) {
  if (gIncludeDirsEnd == INCLUDE_DIRS_MAX) {
    alert(147u);
    return;
  }
  gIncludeDirs[gIncludeDirsEnd++] = value;
}

static void set_dependencies(const char* value) {
  if (gDepMode != DEP_NONE) {
    alert(1447u, value);
  } else if (*value == 0) {
    alert(1448u);
  } else if (strcasecmp(value, "gcc") == 0) {
    gDepMode = DEP_GCC;
  } else if (strcasecmp(value, "list") == 0) {
    gDepMode = DEP_LIST;
  } else {
    alert(1449u, value);
  }
}

// Saturates instead of wrapping: a number that large is a limit of nothing.
static std::int32_t signed_number(const char* text) {
  const long value = std::strtol(text, nullptr, 10);
  return value > INT32_MAX ? INT32_MAX : value < INT32_MIN ? INT32_MIN : static_cast<std::int32_t>(value);
}

static void set_warnings(const char* value) {
  if (is_digit(*value) || *value == '-') gWarningLevel = signed_number(value);
  if (std::strchr(value, '!') != nullptr) alert_setWarnAsError(true);
  alert_setThreshold(gWarningLevel);
}

// False if there is no such option.
static bool apply_letter(char* argument) {
  char* value = argument + 2;
  switch (char_upper(static_cast<unsigned char>(argument[1]))) {
    case 'C': gKeepCommentsOption = gKeepComments = true; return true;
    case 'D':
      if (std::strcmp(argument, "-dM") == 0) {
        gListMacros = true;
      } else {
        define_macro(value);
      }
      return true;
    case 'E': set_alertOutput(value); return true;
    case 'F':
      if (*value != 0) gSourceName = value;
      return true;
    case 'H': gShowIncludes = true; return true;
    case 'I': add_directory(value); return true;
    case 'L': set_dependencies(value); return true;
    case 'N':
      if (is_digit(*value)) gIdentifierMax = static_cast<std::uint32_t>(signed_number(value));
      return true;
    case 'S': type_setSizes(argument); return true;
    case 'U': remove_macro(value); return true;
    case 'V': gShowSearchList = true; return true;
    case 'W': set_warnings(value); return true;
    default: return false;
  }
}

// --- Long options ---

struct long_call {
  const char* text;   // the option without its dashes
  const char* value;  // what follows its name
  int argc;           // the vector as it stands
  char** argv;
};

static void load_catalogue(const long_call* call) {
  if (!alert_loadCatalogue(call->value)) alert_raw("Could not open error description file %s\n", call->value);
}

static void open_report(const long_call* call) {
  constexpr std::int32_t CONTENTS_DEPTH = 3;
  gReportHandle = HTML_open(call->value, "CPP information for ", call->value, "udf_styles.css");
  if (gReportHandle != nullptr) HTML_useTOC(CONTENTS_DEPTH);
}

static void disable_alerts(const long_call* call) { alert_disableList(call->value); }

static void set_maxErrors(const long_call* call) {
  gMaxErrors = static_cast<std::uint32_t>(signed_number(call->value));
  alert_setMax(gMaxErrors);
}

static void show_version(const long_call*) {
  banner_print();
  drv_exit(0);
}

static void set_mode(const long_call* call) {
  cmode_set(call->value);
  gVlasmMode = cmode_get() == CMODE_VLASM;
  in_setComment(';', gVlasmMode);
}

static void leave_systemOut(const long_call*) { gDepNoSystem = true; }

static void add_include(const long_call* call) {
  static char* text;
  static std::size_t length, room;
  const std::size_t needed = length + std::strlen(call->value) + sizeof "#include <>\n";
  if (needed > room) {
    room = 2 * needed;
    text = static_cast<char*>(std::realloc(text, room));
    if (text == nullptr) mem_exhausted();
    gPresetText = text;
  }
  length += static_cast<std::size_t>(std::sprintf(text + length, "#include <%s>\n", call->value));
}

// The arguments are logged as they stand now.
static void set_debug(const long_call* call) {
  db_options(call->text);
  if (gDebugFlags == 0) return;
  if (gArgFileName != nullptr) db_logArgs(1, &gArgFileName);
  db_logArgs(call->argc - 1, call->argv + 1);
}

struct long_option {
  const char* name;  // with its `=` if a value follows
  void (*apply)(const long_call* call);
  void (*files)(const char* value, file_visitor visit);  // shows the files that it writes; absent without any
};

constexpr long_option kLongOptions[] = {
    {"edf=", load_catalogue, nullptr},  {"udf=", open_report, HTML_namedFiles},
    {"disl=", disable_alerts, nullptr}, {"msgdisable=", disable_alerts, nullptr},
    {"emax=", set_maxErrors, nullptr},  {"ver", show_version, nullptr},
    {"cmode=", set_mode, nullptr},      {"dep_nosys", leave_systemOut, nullptr},
    {"include=", add_include, nullptr}, {"qvdebug=", set_debug, db_namedFiles},
};

// Absent if there is no such option.
static const long_option* find_long(const char* text) {
  for (const long_option& option : kLongOptions) {
    const std::size_t length = std::strlen(option.name);
    if (strncasecmp(text, option.name, length) != 0) continue;
    if (option.name[length - 1] == '=' || text[length] == 0) return &option;
  }
  return nullptr;
}

// False if there is no such option.
static bool apply_long(const char* text, int argc, char** argv) {
  const long_option* option = find_long(text);
  if (option == nullptr) return false;
  const long_call call = {text, text + std::strlen(option->name), argc, argv};
  option->apply(&call);
  return true;
}

// --- The whole line ---

static void clamp_identifierMax() {
  if (gIdentifierMax < IDENTIFIER_MIN) gIdentifierMax = IDENTIFIER_MIN;
  if (gIdentifierMax > IDENTIFIER_MAX) gIdentifierMax = IDENTIFIER_MAX;
}

bool drv_isFile(const char* argument) { return argument[0] != '-' || argument[1] == 0; }

bool drv_isStream(const char* file) { return std::strcmp(file, "-") == 0; }

bool drv_namedFiles(const char* argument, file_visitor visit) {
  if (drv_isFile(argument)) return true;
  if (argument[1] != '-') {
    if (char_upper(static_cast<unsigned char>(argument[1])) == 'E' && is_alertFile(argument + 2)) {
      visit(argument + 2, "the file of messages");
    }
    return true;
  }
  const long_option* option = find_long(argument + 2);
  if (option != nullptr && option->files != nullptr) option->files(argument + 2 + std::strlen(option->name), visit);
  return option == nullptr || option->apply != show_version;
}

int drv_options(int argc, char** argv) {
  constexpr int FILE_ARGUMENTS_MAX = 2;
  int files = 0;
  cmode_set("lks");
  for (int i = 1; i < argc; i++) {
    char* argument = argv[i];
    if (drv_isFile(argument)) {
      argv[++files] = argument;
    } else if (argument[1] == '-' ? !apply_long(argument + 2, argc, argv) : !apply_letter(argument)) {
      alert(168u, static_cast<const char*>(argument));
    }
  }
  clamp_identifierMax();
  if (!gListMacros && gReportHandle == nullptr) chains_stop();
  if (gReportHandle != nullptr) {
    HTML_anchor("CPP");
    HTML_commandLine(argv, argc, "CPP");
  }
  if (files > FILE_ARGUMENTS_MAX) alert(110u);
  return files + 1;
}
