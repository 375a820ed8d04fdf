// The memory of includes.
#include "preprocessor/includes.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "common/hash.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "preprocessor/frames.h"
#include "preprocessor/state.h"

// --- Tables: open addressing, at most three quarters full ---

// Each entry begins with its hash.
struct include_table {
  std::uint32_t** slots;  // nullptr in a slot: free
  std::uint32_t mask;     // slots less 1
  std::uint32_t count;
};

static void put(include_table* table, std::uint32_t* entry) {
  std::uint32_t i = *entry & table->mask;
  while (table->slots[i] != nullptr) i = (i + 1) & table->mask;
  table->slots[i] = entry;
}

static void insert(include_table* table, std::uint32_t* entry) {
  constexpr std::uint32_t START = 64;
  if (table->slots == nullptr || table->count > table->mask / 4 * 3) {
    const include_table old = *table;
    const std::uint32_t size = old.slots == nullptr ? START : 2 * (old.mask + 1);
    *table = {mem_array<std::uint32_t*>(size), size - 1, old.count};
    for (std::uint32_t i = 0; old.slots != nullptr && i <= old.mask; i++) {
      if (old.slots[i] != nullptr) put(table, old.slots[i]);
    }
    std::free(old.slots);
  }
  table->count++;
  put(table, entry);
}

// The first entry of that hash for which `fits` is true, or nullptr.
template <class Entry, class Fits>
static Entry* find(const include_table* table, std::uint32_t hash, Fits fits) {
  if (table->slots == nullptr) return nullptr;
  for (std::uint32_t i = hash & table->mask; table->slots[i] != nullptr; i = (i + 1) & table->mask) {
    auto* entry = reinterpret_cast<Entry*>(table->slots[i]);
    if (entry->hash == hash && fits(entry)) return entry;
  }
  return nullptr;
}

static std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
  constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15;
  hash = (hash ^ word) * FACTOR;
  return hash ^ hash >> 32;
}

static std::uint32_t hash_bytes(const char* bytes, std::size_t length, std::uint64_t hash) {
  std::uint64_t word = 0;
  for (; length >= sizeof word; length -= sizeof word, bytes += sizeof word) {
    std::memcpy(&word, bytes, sizeof word);
    hash = mix(hash, word);
  }
  word = length;
  for (; length > 0; length--) word = word << 8 | static_cast<unsigned char>(*bytes++);
  return static_cast<std::uint32_t>(mix(hash, word));
}

// --- Files ---

static include_table gFiles;  // by what follows `./`

static const char* behind_dots(const char* path) {
  while (path[0] == '.' && path[1] == '/' && path[2] != '/' && path[2] != 0) path += 2;
  return path;
}

static std::uint32_t hash_path(const char* path) {
  path = behind_dots(path);
  return hash_bytes(path, std::strlen(path), 0);
}

include_file* includes_find(const char* path) {
  return find<include_file>(&gFiles, hash_path(path),
                            [path](const include_file* file) { return std::strcmp(file->path, path) == 0; });
}

include_file* includes_findTwin(const char* path) {
  path = behind_dots(path);
  return find<include_file>(&gFiles, hash_path(path), [path](const include_file* file) {
    return file->as_written && std::strcmp(behind_dots(file->path), path) == 0;
  });
}

// In one piece with its path in both forms.
include_file* includes_add(const char* path, include_content* content, bool as_written) {
  const auto units = static_cast<std::uint32_t>(std::strlen(path)) + 1;
  const auto bytes = static_cast<std::uint32_t>(sizeof(include_file) + units * sizeof(SourceChar)) + units;
  auto* file = static_cast<include_file*>(mem_alloc(bytes));
  file->hash = hash_path(path);
  file->as_written = as_written;
  file->name = sc_fromNarrow(reinterpret_cast<SourceChar*>(file + 1), path);
  file->path = std::strcpy(reinterpret_cast<char*>(file->name + units), path);
  file->content = content;
  insert(&gFiles, &file->hash);
  hash_insert_func(gDepSeen, to_word(file->path), to_word(file->path));
  return file;
}

// --- Contents ---

static include_table gContents;

static std::uint64_t nanoseconds(const struct timespec& time) {
  constexpr std::uint64_t A_SECOND = 1000000000;
  return static_cast<std::uint64_t>(time.tv_sec) * A_SECOND + static_cast<std::uint64_t>(time.tv_nsec);
}

static bool is_same(const include_content* a, const include_content* b) {
  return a->inode != 0 && a->device == b->device && a->inode == b->inode && a->size == b->size &&
         a->modified == b->modified && a->changed == b->changed;
}

include_content* includes_content(const struct stat& status) {
  include_content wanted = {};
  wanted.device = status.st_dev;
  wanted.inode = S_ISREG(status.st_mode) ? status.st_ino : 0;
  wanted.size = static_cast<std::uint64_t>(status.st_size);
  wanted.modified = nanoseconds(status.st_mtim);
  wanted.changed = nanoseconds(status.st_ctim);
  wanted.hash = static_cast<std::uint32_t>(mix(wanted.device, wanted.inode));
  auto* content = find<include_content>(&gContents, wanted.hash,
                                        [&wanted](const include_content* known) { return is_same(known, &wanted); });
  if (content != nullptr) return content;
  content = mem_array<include_content>(1);
  *content = wanted;
  insert(&gContents, &content->hash);
  return content;
}

// --- Names ---

// `length` bytes, the name, follow.
struct include_name {
  std::uint32_t hash;
  std::uint32_t length;
  std::uint32_t folder_length;
  const SourceChar* folder;
  include_file* file;
};

static include_table gNames;

include_key includes_key(const char* name, std::uint32_t length, bool quoted) {
  static std::uint64_t serial;  // of the frame whose folder was worked out last
  static const SourceChar* folder;
  static std::uint32_t folder_length;
  static std::uint64_t folder_hash;
  if (!quoted) return {name, length, 0, nullptr, hash_bytes(name, length, 1)};
  const input_frame* frame = gCurrentFrame;
  if (serial != frame->serial) {
    serial = frame->serial;
    folder = frame->name;
    folder_length = 0;
    for (std::uint32_t i = 0; folder[i] != 0; i++) {
      if (folder[i] == '/') folder_length = i + 1;
    }
    folder_hash = 0;
    for (std::uint32_t i = 0; i < folder_length; i++) folder_hash = mix(folder_hash, folder[i]);
  }
  return {name, length, folder_length, folder, hash_bytes(name, length, folder_hash)};
}

static bool is_named(const include_name* known, const include_key* key) {
  if (known->length != key->length || std::memcmp(known + 1, key->name, key->length) != 0) return false;
  if (known->folder == nullptr || key->folder == nullptr) return known->folder == key->folder;
  return known->folder_length == key->folder_length &&
         std::memcmp(known->folder, key->folder, key->folder_length * sizeof(SourceChar)) == 0;
}

static include_name* find_name(const include_key* key) {
  return find<include_name>(&gNames, key->hash, [key](const include_name* known) { return is_named(known, key); });
}

include_file* includes_recall(const include_key* key) {
  const include_name* known = find_name(key);
  return known != nullptr ? known->file : nullptr;
}

void includes_remember(const include_key* key, include_file* file) {
  include_name* known = find_name(key);
  if (known == nullptr) {
    known = static_cast<include_name*>(mem_alloc(static_cast<std::uint32_t>(sizeof(include_name)) + key->length));
    *known = {key->hash, key->length, key->folder_length, key->folder, nullptr};
    std::memcpy(known + 1, key->name, key->length);
    insert(&gNames, &known->hash);
  }
  known->file = file;
}

// --- Includes without an open file ---

// Frames of files above which each has its file open, and what must be free of descriptors beyond those seen.
constexpr std::uint32_t SHUT_FRAMES = 16;
constexpr std::uint32_t SPARE_DESCRIPTORS = 2 * SHUT_FRAMES;

static std::uint32_t gHighestOpen;

void includes_noteOpen(int fd) {
  if (static_cast<std::uint32_t>(fd) > gHighestOpen) gHighestOpen = static_cast<std::uint32_t>(fd);
}

static rlim_t limit_ofDescriptors() {
  static rlim_t limit;
  rlimit limits;
  if (limit == 0) limit = getrlimit(RLIMIT_NOFILE, &limits) == 0 && limits.rlim_cur != 0 ? limits.rlim_cur : 1;
  return limit;
}

bool includes_mayStayShut() {
  return gFileFrames < SHUT_FRAMES && gHighestOpen + SPARE_DESCRIPTORS < limit_ofDescriptors();
}

void includes_openShut() {
  if (gFileFrames < SHUT_FRAMES) return;
  for (const input_frame* frame = gCurrentFrame; frame != nullptr; frame = frame->parent) {
    if (in_isFile(frame) && frame->stream->fd < 0) frame->stream->fd = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
  }
}

// --- What small files hold ---

constexpr std::uint32_t TEXT_MAX = 16 * 1024;
constexpr std::uint32_t ALL_TEXTS_MAX = 128 * 1024;
static std::uint32_t gAllTexts;  // bytes

// Messages go to standard error, and with it to the file of -E; what else the run writes is asked for by options that
// make no difference to be quick.
bool includes_isOurs(const include_content* content) {
  static struct stat streams[2];
  static bool known;
  if (gReportHandle != nullptr || gDebugFlags != 0 || content->inode == 0) return true;
  for (int i = 0; i < 2 && !known; i++) {
    if (fstat(STDOUT_FILENO + i, &streams[i]) != 0) streams[i] = {};
  }
  known = true;
  for (const struct stat& stream : streams) {
    if (stream.st_dev == content->device && stream.st_ino == content->inode) return true;
  }
  return false;
}

void includes_keepText(include_content* content, const line_source* source) {
  const auto length = static_cast<std::uint32_t>(source->limit - source->next);
  if (!source->at_eof || source->error != 0 || length == 0 || length > TEXT_MAX) return;
  if (content->inode == 0 || content->text != nullptr || gAllTexts + length > ALL_TEXTS_MAX) return;
  content->text = static_cast<unsigned char*>(mem_allocRaw(length));
  content->length = length;
  gAllTexts += length;
  std::memcpy(content->text, source->next, length);
  content->text[0] = source->covered;
}

void includes_dropText(include_content* content) {
  if (content->text == nullptr) return;
  gAllTexts -= content->length;
  std::free(content->text);
  content->text = nullptr;
}
