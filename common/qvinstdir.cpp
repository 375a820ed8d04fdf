// Where the tools are installed: from the path of the running program, up the installation tree.
#include "common/qvinstdir.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/stringcache.h"

const char* qvinstall_ver;
const char* qvinstall_dir;

// The names below the version directory, from QVINSTDIR_BIN on.
constexpr const char* kRowNames[] = {"bin", "docs", "include", "etc", "tnk", "rsk", "vlasmx", "tnk-as"};
static_assert(sizeof kRowNames / sizeof kRowNames[0] == QVINSTDIR_LAST - QVINSTDIR_BIN, "one name for each row");

constexpr const char* kDerivation = "set_qvinstall_paths";  // the function that the trace shows

// Traces the end of a derivation that failed, with a reason or none.
static const char* give_up(const char* reason, int line = __builtin_LINE()) {
  if (gDebugFlags && reason) db_exit(__FILE__, line, kDerivation, "%s", reason);
  if (gDebugFlags && !reason) db_exit(__FILE__, line, kDerivation);
  return nullptr;
}

// One level up: absent without a `/`. The root, which osdep_dirName gives as the empty string, is "/".
static const char* parent(const char* path) {
  char* directory = osdep_dirName(path);
  const char* result = directory && !*directory ? "/" : directory;
  result = cache_intern(result);
  std::free(directory);
  return result;
}

static const char* cut_tail(const char* path) {
  std::size_t length = std::strlen(path);
  while (length > 0 && (path[length - 1] == '.' || path[length - 1] == '/')) length--;
  return cache_internN(path, length);
}

// True if the last name of the path, without its extension and whatever its case, is `name`.
static bool has_stem(const char* path, const char* name) {
  char* stem = osdep_stem(path);
  const bool same = strcasecmp(stem, name) == 0;
  std::free(stem);
  return same;
}

// The directory above `bin`, and one more level up if that is a tool's own tree. The root has no name and
// counts as a version directory, so that a program in /bin works.
static const char* version_above(const char* bin) {
  const char* path = parent(bin);
  if (!path) return give_up("ERROR - path not deep enough?");
  if (has_stem(path, "tnk")) {
    if (gDebugFlags & DBF_ON)
      tracef(__FILE__, __LINE__, "Identified as running from the 'tnk' directory: \"%s\"", path);
  } else if (has_stem(path, "tnk-as")) {
    if (gDebugFlags & DBF_ON) {
      tracef(__FILE__, __LINE__, "Identified as running from the 'tnk-as' directory: \"%s\"", path);
    }
  } else {
    return path;
  }
  path = parent(path);
  return path ? path : give_up("ERROR - path not deep enough?");
}

// The version directory of `program`; absent, with the failure traced, if it doesn't run from a tool tree.
static const char* find_version(const char* program) {
  const char* path = parent(program);
  if (!path) return give_up("ERROR - couldn't get a path based on progname");
  path = cut_tail(path);
  if (gDebugFlags & DBF_ON) {
    tracef(__FILE__, __LINE__, "Application appears to be running from directory: \"%s\"", path);
  }
  const char* name = osdep_baseName(path);
  if (!*name) return give_up(cache_printf("ERROR - couldn't get a basename from the path: \"%s\"", path));
  if (strcasecmp(name, "bin") != 0) {
    return give_up("ERROR - the application is not running from a 'bin' directory");
  }
  path = version_above(path);
  if (!path) return nullptr;
  const char* tree = cache_joinPath(path, "tnk");
  if (!osdep_exists(tree)) {
    if (gDebugFlags & DBF_ON) tracef(__FILE__, __LINE__, "The 'tnk' directory could not be found: \"%s\"", tree);
    return give_up(nullptr);
  }
  if (gDebugFlags & DBF_ON) tracef(__FILE__, __LINE__, "Identified 'tnk' directory: \"%s\"", tree);
  return path;
}

void set_qvinstall_pathsFrom(const char* program) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, kDerivation);
  const char* version = find_version(program);
  if (!version) return;
  if (gDebugFlags & DBF_ON) tracef(__FILE__, __LINE__, "qvinstall_ver has been set to: \"%s\"", version);
  const char* install = parent(version);
  if (!install) {
    give_up(nullptr);
    return;
  }
  qvinstall_ver = version;
  qvinstall_dir = install;
  if (gDebugFlags & DBF_ON) tracef(__FILE__, __LINE__, "qvinstall_dir has been set to: \"%s\"", install);
  if (gDebugFlags) db_exit(__FILE__, __LINE__, kDerivation);
}

void set_qvinstall_paths() {
  char* program = osdep_exePath();
  set_qvinstall_pathsFrom(program);
  std::free(program);
}

const char* qvinstdir(int path) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__);
  DB_ASSERT((path >= QVINSTDIR_FIRST) && (path < QVINSTDIR_LAST));
  if (!qvinstall_dir || !qvinstall_ver) set_qvinstall_paths();
  if (!qvinstall_dir || path < QVINSTDIR_FIRST || path >= QVINSTDIR_LAST) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
    return nullptr;
  }
  if (path == QVINSTDIR_DIR) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Returning install directory: \"%s\"", qvinstall_dir);
    return qvinstall_dir;
  }
  if (path == QVINSTDIR_VER) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Returning ver directory: \"%s\"", qvinstall_ver);
    return qvinstall_ver;
  }
  const char* name = kRowNames[path - QVINSTDIR_BIN];
  if (gDebugFlags) {
    db_exit(__FILE__, __LINE__, __func__, "Returning concatenation of \"%s\" and \"%s\"", qvinstall_ver, name);
  }
  return cache_joinPath(qvinstall_ver, name);
}
