// Dependency text, in the order of the table of files seen, and the search list.
#include "preprocessor/depend.h"

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/cmode.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/registry.h"
#include "common/stringcache.h"
#include "preprocessor/output.h"
#include "preprocessor/state.h"

// `a.h` and `a` fall into one bucket: a trailing ".h" does not enter the hash. Bytes are signed.
static std::uint32_t dep_hash(Word key) {
  std::uint32_t hash = 0;
  for (const char* name = word_ptr<const char>(key); *name != 0 && std::strcmp(name, ".h") != 0; name++) {
    hash = hash * 4 + static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(*name)));
  }
  return hash;
}

void dep_init() {
  constexpr std::uint32_t DEP_BUCKETS = 237;
  gDepSeen = hash_new_func(DEP_BUCKETS, dep_hash, hash_stringCompare);
}

// --- Names ---

static void out_escaped(const char* name, std::size_t length) {
  for (std::size_t i = 0; i < length; i++) {
    if (name[i] == ' ') out_byte('\\');
    out_byte(name[i] == '\\' ? '/' : static_cast<unsigned char>(name[i]));
  }
}

static void out_path(const char* path) {
  out_byte(' ');
  out_escaped(path, std::strlen(path));
}

// Below the tool tree, and --dep_nosys leaves those out?
static bool is_leftOut(const char* path) {
  if (!gDepNoSystem) return false;
  static const char* system_dir;
  if (system_dir == nullptr) system_dir = reg_instdir(REG_INSTALL);
  return cache_hasPrefix(path, system_dir);
}

// --- The two forms ---

static void write_listEntry(const char* path) {
  if (is_leftOut(path)) return;
  out_path(path);
  out_byte('\n');
}

// The object extension for a source with the extension `source` (with its dot, or "").
static const char* object_extension(const char* source) {
  if (std::strcmp(source, ".c") != 0) return "obj";
  return cmode_has(CMODE_LKS | CMODE_GCI) != 0 ? "p1" : "o";
}

// " dep.d  dep.o:  in.c"; false, with nothing written, if the target has no extension to replace.
static bool write_head() {
  const char* target_dot = std::strrchr(gDepTargetName, '.');
  if (target_dot == nullptr) return false;
  const char* source_dot = std::strrchr(gSourceName, '.');
  const char* extension = source_dot != nullptr ? source_dot : "";
  out_path(gDepTargetName);
  out_text("  ");
  out_escaped(gDepTargetName, static_cast<std::size_t>(target_dot - gDepTargetName));
  out_byte('.');
  out_text(object_extension(extension));
  out_text(":  ");
  out_escaped(gSourceName, std::strlen(gSourceName) - std::strlen(extension));
  out_text(extension);
  return true;
}

static void write_gccEntry(const char* path, bool* head_written) {
  if (!*head_written) *head_written = write_head();
  if (!is_leftOut(path)) out_path(path);
}

static int dep_write(void* head_written, Word key, Word) {
  const char* path = word_ptr<const char>(key);
  if (gDepMode == DEP_GCC) {
    write_gccEntry(path, static_cast<bool*>(head_written));
  } else {
    write_listEntry(path);
  }
  return 0;
}

void dep_writeAll() {
  bool head_written = false;
  hash_foreach(gDepSeen, &head_written, dep_write);
}

void drv_searchList() {
  alert_text("#include \"...\" search starts here:\n#include <...> search starts here:\n");
  for (std::uint32_t i = 0; i < gIncludeDirsEnd; i++) alert_text(cache_printf("%s\n", gIncludeDirs[i]));
  alert_text("End of search list.\n");
}
