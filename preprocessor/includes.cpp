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

// --- Tables: open addressing, at most half full ---

struct include_slot {
  std::uint64_t hash;
  void* entry;  // nullptr: free
};

struct include_table {
  include_slot* slots;
  std::uint32_t mask;  // slots less 1
  std::uint32_t count;
};

static include_slot* slot_from(const include_table* table, std::uint64_t hash) {
  return &table->slots[static_cast<std::uint32_t>(hash) & table->mask];
}

static include_slot* slot_behind(const include_table* table, include_slot* slot) {
  return slot == table->slots + table->mask ? table->slots : slot + 1;
}

static void put(include_table* table, std::uint64_t hash, void* entry) {
  include_slot* slot = slot_from(table, hash);
  while (slot->entry != nullptr) slot = slot_behind(table, slot);
  *slot = {hash, entry};
}

static void insert(include_table* table, std::uint64_t hash, void* entry) {
  constexpr std::uint32_t START = 64;
  if (table->slots == nullptr || table->count > table->mask / 2) {
    const include_table old = *table;
    const std::uint32_t size = old.slots == nullptr ? START : 2 * (old.mask + 1);
    *table = {mem_array<include_slot>(size), size - 1, old.count};
    for (std::uint32_t i = 0; old.slots != nullptr && i <= old.mask; i++) {
      if (old.slots[i].entry != nullptr) put(table, old.slots[i].hash, old.slots[i].entry);
    }
    std::free(old.slots);
  }
  table->count++;
  put(table, hash, entry);
}

static std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
  constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15;
  hash = (hash ^ word) * FACTOR;
  return hash ^ hash >> 32;
}

static std::uint64_t hash_bytes(const char* bytes, std::size_t length, std::uint64_t hash) {
  std::uint64_t word = 0;
  for (; length >= sizeof word; length -= sizeof word, bytes += sizeof word) {
    std::memcpy(&word, bytes, sizeof word);
    hash = mix(hash, word);
  }
  word = length;
  for (; length > 0; length--) word = word << 8 | static_cast<unsigned char>(*bytes++);
  return mix(hash, word);
}

// --- Files ---

static include_table gFiles;

include_file* includes_find(const char* path) {
  if (gFiles.slots == nullptr) return nullptr;
  const std::uint64_t hash = hash_bytes(path, std::strlen(path), 0);
  for (include_slot* slot = slot_from(&gFiles, hash); slot->entry != nullptr; slot = slot_behind(&gFiles, slot)) {
    auto* file = static_cast<include_file*>(slot->entry);
    if (slot->hash == hash && std::strcmp(file->path, path) == 0) return file;
  }
  return nullptr;
}

static include_table gContents;

// Links and other spellings of a path lead to one file. One that has taken another's place is another, even if the
// system has given it the same number.
static bool is_same(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
         a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

static include_content* content_of(const struct stat& status) {
  const std::uint64_t hash = mix(status.st_dev, status.st_ino);
  if (gContents.slots != nullptr && S_ISREG(status.st_mode)) {
    include_slot* slot = slot_from(&gContents, hash);
    for (; slot->entry != nullptr; slot = slot_behind(&gContents, slot)) {
      auto* content = static_cast<include_content*>(slot->entry);
      if (slot->hash == hash && is_same(content->status, status)) return content;
    }
  }
  auto* content = mem_array<include_content>(1);
  content->status = status;
  insert(&gContents, hash, content);
  return content;
}

include_file* includes_add(const char* path, const struct stat& status, bool as_written) {
  auto* file = mem_array<include_file>(1);
  const std::size_t length = std::strlen(path);
  const char* copy = mem_dupText(path, length);
  file->path = copy;
  file->name = sc_wideDup(path);
  file->content = content_of(status);
  file->as_written = as_written;
  insert(&gFiles, hash_bytes(path, length, 0), file);
  hash_insert_func(gDepSeen, to_word(copy), to_word(copy));
  return file;
}

// --- Names ---

struct include_name {
  include_key key;
  include_file* file;
};

static include_table gNames;

include_key includes_key(const char* name, std::uint32_t length, bool quoted) {
  static std::uint64_t serial;  // of the frame whose folder was worked out last
  static include_key folder;
  if (!quoted) return {name, length, 0, nullptr, hash_bytes(name, length, 1)};
  const input_frame* frame = gCurrentFrame;
  if (serial != frame->serial) {
    serial = frame->serial;
    folder = {nullptr, 0, 0, frame->name, 0};
    for (std::uint32_t i = 0; frame->name[i] != 0; i++) {
      if (frame->name[i] == '/') folder.folder_length = i + 1;
    }
    for (std::uint32_t i = 0; i < folder.folder_length; i++) folder.hash = mix(folder.hash, frame->name[i]);
  }
  return {name, length, folder.folder_length, folder.folder, hash_bytes(name, length, folder.hash)};
}

static bool is_same(const include_key* a, const include_key* b) {
  if (a->hash != b->hash || a->length != b->length || std::memcmp(a->name, b->name, a->length) != 0) return false;
  if (a->folder == nullptr || b->folder == nullptr) return a->folder == b->folder;
  return a->folder_length == b->folder_length &&
         std::memcmp(a->folder, b->folder, a->folder_length * sizeof(SourceChar)) == 0;
}

static include_name* find_name(const include_key* key) {
  if (gNames.slots == nullptr) return nullptr;
  for (include_slot* slot = slot_from(&gNames, key->hash); slot->entry != nullptr; slot = slot_behind(&gNames, slot)) {
    auto* known = static_cast<include_name*>(slot->entry);
    if (is_same(&known->key, key)) return known;
  }
  return nullptr;
}

include_file* includes_recall(const include_key* key) {
  const include_name* known = find_name(key);
  return known != nullptr ? known->file : nullptr;
}

void includes_remember(const include_key* key, include_file* file) {
  include_name* known = find_name(key);
  if (known != nullptr) {
    known->file = file;
    return;
  }
  known = mem_array<include_name>(1);
  known->key = *key;
  known->key.name = mem_dupText(key->name, key->length);
  known->file = file;
  insert(&gNames, key->hash, known);
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
constexpr std::uint32_t ALL_TEXTS_MAX = 1024 * 1024;
static std::uint32_t gAllTexts;  // bytes

// Messages go to standard error, and with it to the file of -E; what else the run writes is asked for by options that
// make no difference to be quick.
bool includes_isOurs(const include_content* content) {
  static struct stat streams[2];
  static bool known;
  if (gReportHandle != nullptr || gDebugFlags != 0 || !S_ISREG(content->status.st_mode)) return true;
  for (int i = 0; i < 2 && !known; i++) {
    if (fstat(STDOUT_FILENO + i, &streams[i]) != 0) streams[i] = {};
  }
  known = true;
  for (const struct stat& stream : streams) {
    if (stream.st_dev == content->status.st_dev && stream.st_ino == content->status.st_ino) return true;
  }
  return false;
}

void includes_keepText(include_content* content, const line_source* source) {
  const auto length = static_cast<std::uint32_t>(source->limit - source->next);
  if (!source->at_eof || source->error != 0 || length == 0 || length > TEXT_MAX) return;
  if (!S_ISREG(content->status.st_mode) || content->text != nullptr || gAllTexts + length > ALL_TEXTS_MAX) return;
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
