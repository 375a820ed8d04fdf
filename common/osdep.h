// The services that depend on the operating system: memory, temporary files, path text, file tests,
// the path of the running program, the sort, and the arguments of a file.
//
// All paths are byte strings with `/` as separator. "A new string" is the caller's, who releases it
// with free. Nothing here raises a message unless its comment names one.
#ifndef COMMON_OSDEP_H
#define COMMON_OSDEP_H

#include <cstddef>
#include <cstdint>

struct stat;

// ---- memory ----

// Zero-filled storage, released with free. Fatal alert 296 when there is none; never returns null.
void* mem_alloc(std::uint32_t size);

// The same, not cleared: for large buffers that are filled before they are read, so that no page is
// touched ahead of its use.
void* mem_allocRaw(std::uint32_t size);

// Zero-filled storage for `count` elements; the caller's counts are bounded far below 4 GiB.
template <class T>
T* mem_array(std::uint32_t count) {
  return static_cast<T*>(mem_alloc(count * static_cast<std::uint32_t>(sizeof(T))));
}

// A new copy of the first `length` bytes of `text`, with a terminator. Fatal alert 296.
char* mem_dupText(const char* text, std::size_t length);

// Raises fatal alert 296 and ends the run, for whoever finds by itself that memory is exhausted or
// that a size is out of the range of mem_alloc.
[[noreturn]] void mem_exhausted();

// ---- assertions of the containers ----

// Stops on internal misuse: writes `text`, the place and the function on standard error, and aborts.
#define CONTAINER_ASSERT(condition, text) \
  ((condition) ? static_cast<void>(0) : osdep_assertFailed((text), __FILE__, __func__, __LINE__))

[[noreturn]] void osdep_assertFailed(const char* text, const char* file, const char* function, int line);

// ---- temporary files ----

constexpr char OSDEP_TEMP_TEMPLATE[] = "/tmp/qvXXXXXXX";  // the last six are replaced

// Creates an empty temporary file under /tmp and returns its path, a new string; absent if that fails.
// Whatever has that path at process exit is removed then.
char* osdep_tempName();

// Opens an empty temporary file that has lost its name already, so that no signal can leave it behind. Fills in the
// path that it had; -1 if that fails.
int osdep_tempFile(char (&path)[sizeof OSDEP_TEMP_TEMPLATE]);

// ---- path text ----

// True if the first character is `/`. `path` may be absent.
bool osdep_isAbsolute(const char* path);

// A new string of directory, exactly one `/`, and name: one `/` at the end of `directory` and one at the
// beginning of `name` are not doubled. Absent if `directory` is absent or empty.
char* osdep_joinPath(const char* directory, const char* name);

// The position in `path` behind its last `/`, or `path` itself. Absent for an absent path.
const char* osdep_baseName(const char* path);

// A new copy of what osdep_baseName gives, absent for an absent path.
char* osdep_baseNameDup(const char* path);

// A new string: the base name without its last `.` and what follows. `.x` gives the empty string.
char* osdep_stem(const char* path);

// A new string of what stands ahead of the last `/`: `/x` gives the empty string. Absent if there is no
// `/` or no path.
char* osdep_dirName(const char* path);

// `name` in the folder of `path`, interned.
const char* osdep_pathBeside(const char* path, const char* name);

// ---- files ----

// Where the links at the end of `path` lead, also if there is nothing: `path` itself if it is no link, else interned.
// Not far if they lead in a circle.
const char* osdep_followLinks(const char* path);

// Is shown a file that an option opens or removes, and what it is for: "the report". Both are lent.
using file_visitor = void (*)(const char* path, const char* role);

// True if the file status call works on `path`, which may be absent.
bool osdep_exists(const char* path);

// Opens a file to be read as text and fills in its `status`. -1 if that fails; errno tells why. A directory
// doesn't open: EISDIR.
int osdep_openText(const char* path, struct stat* status);

// True if osdep_openText works on `path`.
bool osdep_canRead(const char* path);

// The canonical path of the running program, a new string; absent if the system does not tell it.
char* osdep_exePath();

// ---- sort ----

// Gets references to two elements; negative, zero or positive.
using osdep_compare = int (*)(const void* a, const void* b);

// Sorts `count` elements of `size` bytes in place. Not stable, but the order of equal elements depends
// on the input alone, not on the host's library. No recursion; allocates only for elements of 800 bytes
// and more, and leaves the array as it is if that fails. `base` may be absent.
void osdep_qsort(void* base, std::size_t count, std::size_t size, osdep_compare compare);

// ---- arguments from a file ----

// The number of entries in the last vector of osdep_readArgs, without the absent one at its end.
extern int gArgCount;

// The system's reason if that vector is not all, since a read failed; otherwise 0.
extern int gArgError;

// Reads words from standard input until its end and returns them as an argument vector: a copy of
// `program_name`, the words, an absent entry. The strings may be edited. Prompts with "%s> " on standard
// output if standard input is a terminal. A word has at most 2047 bytes: error 917, and it is cut there.
char** osdep_readArgs(const char* program_name);

#endif
