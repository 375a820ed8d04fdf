// The directories of the tool tree by purpose.
#include "common/registry.h"

#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/qvinstdir.h"
#include "common/stringcache.h"

const char* gCStdLib;

struct reg_directory {
  const char* name;
  bool of_library;  // the library's name is appended
};

// In the order of reg_type.
constexpr reg_directory kDirectories[] = {
    {nullptr, false},      // REG_INSTALL
    {"bin", false},        // REG_BIN
    {"lib", true},         // REG_LIB
    {"help", false},       // REG_HELP
    {"include", false},    // REG_INC
    {"dat", false},        // REG_DAT
    {"sources", true},     // REG_SRC
    {"resources", false},  // REG_RES
    {"docs", false},       // REG_DOC
    {nullptr, false},      // no type has this number
    {"include", true},     // REG_INC_STD
};
static_assert(sizeof kDirectories / sizeof kDirectories[0] == REG_INC_STD + 1, "one row for each number");

void reg_set_c_stdlib(const char* name) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__);
  gCStdLib = cache_intern(name);
  if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
}

// The directory of the type below `base`.
static const char* reg_create_path(const char* base, reg_type type) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__);
  const char* path = cache_joinPath(base, kDirectories[type].name);
  if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
  return path;
}

// `path`, with the library's name behind it where the type asks for that.
static const char* reg_path_mods(const char* path, reg_type type) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__);
  if (!gCStdLib || !kDirectories[type].of_library) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
    return path;
  }
  if (gDebugFlags) {
    db_exit(__FILE__, __LINE__, __func__, "Returning concatenation of path: \"%s\" and \"%s\"", path, gCStdLib);
  }
  return cache_joinPath(path, gCStdLib);
}

const char* reg_instdir(reg_type type) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__);
  const char* base = qvinstdir(QVINSTDIR_TNK);
  if (!osdep_exists(base)) base = qvinstdir(QVINSTDIR_VER);
  if (!base) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Could not locate installation directory");
    return nullptr;
  }
  if (type == REG_INSTALL) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Returning installation directory: \"%s\"", base);
    return base;
  }
  const char* path = reg_path_mods(reg_create_path(base, type), type);
  if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
  return path;
}

const char* reg_mkpath(reg_type type, const char* name) {
  if (gDebugFlags) db_enter(__FILE__, __LINE__, __func__, "type: %d, name: \"%s\"", static_cast<int>(type), name);
  if (osdep_isAbsolute(name)) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Returning absolute path: \"%s\"", name);
    return cache_intern(name);
  }
  const char* directory = reg_instdir(type);
  if (!directory) {
    if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__);
    return nullptr;
  }
  const char* path = cache_joinPath(directory, name);
  if (gDebugFlags) db_exit(__FILE__, __LINE__, __func__, "Returning path: \"%s\"", path);
  return path;
}
