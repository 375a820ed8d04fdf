// The files of a run, told apart by what the system knows them by.
#include "preprocessor/filecheck.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/osdep.h"
#include "preprocessor/cpp3.h"
#include "preprocessor/output.h"
#include "preprocessor/state.h"

// A file that isn't there is known by the directory that it would lie in, and its name there.
struct file_key {
  dev_t device;
  ino_t inode;          // 0 if there is nothing to compare
  const char* missing;  // lent; absent for a file that is there
};

struct run_file {
  const char* name;  // absent for a standard stream
  const char* role;
  file_key key;
};

constexpr int FILES_LOOKED_AT = 8;  // of the file arguments: from the third on they are a mistake already

static run_file gFiles[FILES_LOOKED_AT] = {{nullptr, "the input", {}}, {nullptr, "the output", {}}};
static const run_file& gInput = gFiles[0];
static const run_file& gOutput = gFiles[1];
static run_file gArguments = {nullptr, "the argument file", {}};

// --- Comparing ---

static file_key key_of(const struct stat& status) {
  return S_ISREG(status.st_mode) ? file_key{status.st_dev, status.st_ino, nullptr} : file_key{};
}

static file_key key_ofStream(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 ? key_of(status) : file_key{};
}

static file_key key_ofPath(const char* path) {
  struct stat status;
  if (stat(path, &status) == 0) return key_of(status);
  path = osdep_followLinks(path);
  if (*osdep_baseName(path) == 0) return {};  // no file can have that name
  char* directory = osdep_dirName(path);
  const char* place = directory == nullptr ? "." : *directory == 0 ? "/" : directory;
  const bool found = stat(place, &status) == 0;
  std::free(directory);
  return found ? file_key{status.st_dev, status.st_ino, osdep_baseName(path)} : file_key{};
}

static bool is_same(const file_key& a, const file_key& b) {
  if (a.inode == 0 || a.inode != b.inode || a.device != b.device) return false;
  if (a.missing == nullptr || b.missing == nullptr) return a.missing == b.missing;
  return std::strcmp(a.missing, b.missing) == 0;
}

// --- Refusing ---

// What lies behind standard input; the system keeps a link to it.
static const char* input_path() {
  static char path[4096];
  const ssize_t length = readlink("/proc/self/fd/0", path, sizeof path - 1);
  return length > 0 ? path : "standard input";
}

[[noreturn]] static void refuse(const run_file& a, const run_file& b) {
  const char* name = a.name != nullptr ? a.name : b.name != nullptr ? b.name : input_path();
  alert_raw("\"%s\" is both %s and %s", name, a.role, b.role);
  drv_exit(1);
}

static void refuse_ifSame(const run_file& a, const run_file& b) {
  if (is_same(a.key, b.key)) refuse(a, b);
}

// An input without a name may follow the arguments on standard input.
static void compare_ends() {
  refuse_ifSame(gInput, gOutput);
  refuse_ifSame(gOutput, gArguments);
  if (gInput.name != nullptr) refuse_ifSame(gInput, gArguments);
}

// --- The look ahead ---

static int gArgc;  // of files_lookAhead, until the first option that names a file
static char** gArgv;

static void find_files() {
  int count = 0;
  for (int i = 1; i < gArgc && count < FILES_LOOKED_AT; i++) {
    if (!drv_isFile(gArgv[i])) continue;
    run_file& file = gFiles[count++];
    if (drv_isStream(gArgv[i])) continue;
    file = {gArgv[i], file.role != nullptr ? file.role : "a file argument", key_ofPath(gArgv[i])};
  }
  if (gInput.name == nullptr) gFiles[0].key = key_ofStream(STDIN_FILENO);
  if (gOutput.name == nullptr) gFiles[1].key = key_ofStream(STDOUT_FILENO);
  if (count <= 2) compare_ends();  // a run with more will not begin
}

// Messages may go where standard output goes, so the output only counts under a name of its own.
static void compare_named(const char* path, const char* role) {
  if (gArgc != 0) find_files();
  gArgc = 0;
  const run_file named = {path, role, key_ofPath(path)};
  refuse_ifSame(gArguments, named);
  for (const run_file& file : gFiles) {
    if (&file != &gOutput || file.name != nullptr) refuse_ifSame(file, named);
  }
}

void files_lookAhead(int argc, char** argv) {
  gArgc = argc;
  gArgv = argv;
  for (int i = 1; i < argc && drv_namedFiles(argv[i], compare_named); i++) continue;
}

// --- Files that are open ---

void files_noteArguments(const char* name, const struct stat& status) {
  gArguments.name = name;
  gArguments.key = key_of(status);
}

void files_check(const char* input_name, const struct stat& input, const char* output_name, const struct stat& output) {
  gFiles[0] = {drv_isStream(input_name) ? nullptr : input_name, gInput.role, key_of(input)};
  gFiles[1] = {drv_isStream(output_name) ? nullptr : output_name, gOutput.role, key_of(output)};
  compare_ends();
}

void files_checkInclude(const char* path, const struct stat& status) {
  if (gListMacros && gDepMode == DEP_NONE) return;  // the list is written when all is read
  const run_file include = {path, "an include file", key_of(status)};
  if (!is_same(include.key, gOutput.key)) return;
  out_abandon();
  gDepStream = nullptr;
  refuse(include, gOutput);
}
