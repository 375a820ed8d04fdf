// The services that depend on the operating system, but for the arguments of a file (argfile.cpp).
#include "common/osdep.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "common/hooks.h"
#include "common/stringcache.h"

// ---- memory ----

void mem_exhausted() {
  static bool reported;
  if (reported) {
    // The alert or the orderly way out needed memory too.
    std::fputs("memory exhausted\n", stderr);
    std::exit(1);
  }
  reported = true;
  alert(296u);
  drv_exit(1);  // a catalogue that makes the message harmless doesn't bring the memory back
}

void* mem_alloc(std::uint32_t size) {
  void* memory = std::calloc(1, size);
  if (!memory) mem_exhausted();
  return memory;
}

void* mem_allocRaw(std::uint32_t size) {
  void* memory = std::malloc(size);
  if (!memory) mem_exhausted();
  return memory;
}

char* mem_dupText(const char* text, std::size_t length) {
  if (length >= UINT32_MAX) mem_exhausted();
  auto* copy = static_cast<char*>(mem_alloc(static_cast<std::uint32_t>(length + 1)));
  std::memcpy(copy, text, length);
  return copy;
}

// ---- assertions of the containers ----

void osdep_assertFailed(const char* text, const char* file, const char* function, int line) {
  std::fprintf(stderr, "Assertion failed: %s (%s: %s: %d)\n", text, file, function, line);
  std::abort();
}

// ---- temporary files ----

struct temp_node {
  char* path;
  temp_node* next;
};

static temp_node* gTempFiles;  // newest first

static int remove_visited(const char* path, const struct stat*, int, FTW*) {
  std::remove(path);
  return 0;
}

static void remove_path(const char* path) {
  constexpr int OPEN_DIRECTORIES = 8;
  if (unlink(path) != 0 && errno == EISDIR) nftw(path, remove_visited, OPEN_DIRECTORIES, FTW_DEPTH | FTW_PHYS);
}

static void remove_tempFiles() {
  while (gTempFiles) {
    temp_node* node = gTempFiles;
    gTempFiles = node->next;
    remove_path(node->path);
    std::free(node->path);
    std::free(node);
  }
}

char* osdep_tempName() {
  // Memory first: nothing may fail between the making of the file and its note for removal.
  auto* node = mem_array<temp_node>(1);
  node->path = mem_dupText(OSDEP_TEMP_TEMPLATE, sizeof OSDEP_TEMP_TEMPLATE - 1);
  char* path = mem_dupText(OSDEP_TEMP_TEMPLATE, sizeof OSDEP_TEMP_TEMPLATE - 1);
  const int descriptor = mkstemp(node->path);
  if (descriptor < 0) {
    std::free(node->path);
    std::free(node);
    std::free(path);
    return nullptr;
  }
  close(descriptor);
  if (!gTempFiles) std::atexit(remove_tempFiles);
  node->next = gTempFiles;
  gTempFiles = node;
  return std::strcpy(path, node->path);
}

int osdep_tempFile(char (&path)[sizeof OSDEP_TEMP_TEMPLATE]) {
  std::memcpy(path, OSDEP_TEMP_TEMPLATE, sizeof path);
  const int descriptor = mkstemp(path);
  if (descriptor >= 0) unlink(path);
  return descriptor;
}

// ---- path text ----

bool osdep_isAbsolute(const char* path) { return path && *path == '/'; }

char* osdep_joinPath(const char* directory, const char* name) {
  if (!directory || !*directory) return nullptr;
  std::size_t length = std::strlen(directory);
  if (directory[length - 1] == '/') length--;
  if (*name == '/') name++;
  const std::size_t name_length = std::strlen(name);
  const std::size_t bytes = length + 1 + name_length + 1;
  if (bytes > UINT32_MAX) mem_exhausted();
  auto* path = static_cast<char*>(mem_alloc(static_cast<std::uint32_t>(bytes)));
  std::memcpy(path, directory, length);
  path[length] = '/';
  std::memcpy(path + length + 1, name, name_length);
  return path;
}

const char* osdep_baseName(const char* path) {
  if (!path) return nullptr;
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

char* osdep_baseNameDup(const char* path) {
  const char* name = osdep_baseName(path);
  return name ? mem_dupText(name, std::strlen(name)) : nullptr;
}

char* osdep_stem(const char* path) {
  const char* name = osdep_baseName(path);
  const char* dot = std::strrchr(name, '.');
  return mem_dupText(name, dot ? static_cast<std::size_t>(dot - name) : std::strlen(name));
}

char* osdep_dirName(const char* path) {
  const char* slash = path ? std::strrchr(path, '/') : nullptr;
  return slash ? mem_dupText(path, static_cast<std::size_t>(slash - path)) : nullptr;
}

const char* osdep_pathBeside(const char* path, const char* name) {
  return cache_printf("%.*s%s", static_cast<int>(osdep_baseName(path) - path), path, name);
}

// ---- files ----

const char* osdep_followLinks(const char* path) {
  constexpr int LINKS_MAX = 40;  // as many as the system follows
  char target[PATH_MAX];
  for (int links = 0; links < LINKS_MAX; links++) {
    const ssize_t length = readlink(path, target, sizeof target - 1);
    if (length < 0) return path;
    target[length] = 0;
    path = osdep_isAbsolute(target) ? cache_intern(target) : osdep_pathBeside(path, target);
  }
  return path;
}

bool osdep_exists(const char* path) {
  struct stat status;
  return path && stat(path, &status) == 0;
}

int osdep_openText(const char* path, struct stat* status) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  if (fstat(descriptor, status) == 0) {
    if (!S_ISDIR(status->st_mode)) return descriptor;
    errno = EISDIR;
  }
  const int reason = errno;
  close(descriptor);
  errno = reason;
  return -1;
}

bool osdep_canRead(const char* path) {
  struct stat status;
  const int descriptor = osdep_openText(path, &status);
  if (descriptor < 0) return false;
  close(descriptor);
  return true;
}

// The system keeps this link canonical, so one call reads what realpath would find with one for each level.
// A program outside of the process's root has no absolute path there.
char* osdep_exePath() {
  constexpr std::size_t PATH_BYTES = 4097;
  char path[PATH_BYTES];
  const ssize_t length = readlink("/proc/self/exe", path, PATH_BYTES);
  if (length <= 0 || static_cast<std::size_t>(length) == PATH_BYTES || *path != '/') return nullptr;
  return mem_dupText(path, static_cast<std::size_t>(length));
}

// ---- sort ----

static void swap_elements(char* a, char* b, std::size_t size) {
  for (std::size_t i = 0; i < size; i++) {
    const char byte = a[i];
    a[i] = b[i];
    b[i] = byte;
  }
}

// The array and what one pass over it needs. Indices are signed: j can end one ahead of the first element.
struct sort_job {
  char* base;
  std::size_t size;
  osdep_compare compare;
  char* pivot;
};

struct sort_range {
  std::ptrdiff_t lo;
  std::ptrdiff_t hi;
};

// Parts `range` around the value of its middle element: what lies up to hi of the result is not above it,
// what lies from lo on is not below it. Both scans stop at equal elements, so they end at the pivot.
static sort_range sort_partition(const sort_job& job, sort_range range) {
  const auto at = [&job](std::ptrdiff_t index) { return job.base + static_cast<std::size_t>(index) * job.size; };
  std::memcpy(job.pivot, at((range.lo + range.hi) / 2), job.size);
  std::ptrdiff_t i = range.lo;
  std::ptrdiff_t j = range.hi;
  do {
    while (job.compare(at(i), job.pivot) < 0) i++;
    while (job.compare(job.pivot, at(j)) < 0) j--;
    if (j < i) break;
    swap_elements(at(i), at(j), job.size);
    i++;
    j--;
  } while (i <= j);
  return {i, j};
}

// Does the smaller part first and keeps the larger one for later, so at most log2(count) ranges wait.
static void sort_ranges(const sort_job& job, sort_range range) {
  sort_range waiting[64];
  std::size_t count = 0;
  for (;;) {
    while (range.lo < range.hi) {
      const sort_range parts = sort_partition(job, range);
      if (parts.hi - range.lo >= range.hi - parts.lo) {
        if (range.lo < parts.hi) waiting[count++] = {range.lo, parts.hi};
        range.lo = parts.lo;
      } else {
        if (parts.lo < range.hi) waiting[count++] = {parts.lo, range.hi};
        range.hi = parts.hi;
      }
    }
    if (count == 0) return;
    range = waiting[--count];
  }
}

void osdep_qsort(void* base, std::size_t count, std::size_t size, osdep_compare compare) {
  constexpr std::size_t LOCAL_PIVOT = 800;
  if (count < 2 || !base) return;
  char local[LOCAL_PIVOT];
  char* pivot = size < LOCAL_PIVOT ? local : static_cast<char*>(std::malloc(size + 1));
  if (!pivot) return;
  const sort_job job = {static_cast<char*>(base), size, compare, pivot};
  sort_ranges(job, {0, static_cast<std::ptrdiff_t>(count) - 1});
  if (pivot != local) std::free(pivot);
}
