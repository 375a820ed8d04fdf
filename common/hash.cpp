// Hash tables: insertion, look-up, the index of a table with long chains, the ready-made hashes and
// comparisons, and the report on all tables made under tracking.
#include "common/hash.h"

#include <cstdlib>

#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/vector.h"

bool gHashTrack;
vector* gHashRecords;

// ---- the index: open addressing over all entries ----

constexpr std::uint32_t LONG_CHAIN = 16;  // entries of a chain that make an index worth its memory
constexpr std::uint32_t TAG_BITS = 32;

// Where a bucket's chain ends.
struct chain_end {
  hash_entry** link;
  std::uint32_t length;
};

struct hash_index {
  std::uint32_t* tags;  // of the entries; 0: the slot is free
  hash_entry** entries;
  std::uint32_t mask;   // slots less 1, a power of two
  std::uint32_t shift;  // the slot of a tag is its upper bits
  chain_end* ends;      // one for each bucket
};

// Lets all bits of the spread take part in the upper ones. Never 0.
static std::uint32_t tag_of(const hash_table* table, Word key) {
  constexpr std::uint32_t GOLDEN_RATIO = 0x9e3779b1;
  return table->spread(key) * GOLDEN_RATIO | 1;
}

static void index_put(hash_index* index, std::uint32_t tag, hash_entry* entry) {
  std::uint32_t i = tag >> index->shift;
  while (index->tags[i] != 0) i = (i + 1) & index->mask;
  index->tags[i] = tag;
  index->entries[i] = entry;
}

static void index_allocate(hash_index* index, std::uint32_t slots) {
  if (slots > UINT32_MAX / sizeof(hash_entry*)) mem_exhausted();
  index->mask = slots - 1;
  index->shift = TAG_BITS;
  for (; slots > 1; slots /= 2) index->shift--;
  index->tags = mem_array<std::uint32_t>(index->mask + 1);
  index->entries = mem_array<hash_entry*>(index->mask + 1);
}

static void index_grow(hash_index* index) {
  const hash_index old = *index;
  index_allocate(index, (old.mask + 1) * 2);
  for (std::uint32_t i = 0; i <= old.mask; i++) {
    if (old.tags[i] != 0) index_put(index, old.tags[i], old.entries[i]);
  }
  std::free(old.tags);
  std::free(old.entries);
}

// At most three quarters of the slots are in use.
static bool index_isFull(const hash_index* index, std::uint32_t count) { return count > index->mask / 4 * 3; }

static void index_build(hash_table* table) {
  auto* index = mem_array<hash_index>(1);
  std::uint32_t slots = LONG_CHAIN;
  while (slots / 2 < table->count) slots *= 2;
  index_allocate(index, slots);
  index->ends = mem_array<chain_end>(table->size);
  for (std::uint32_t i = 0; i < table->size; i++) {
    chain_end* end = &index->ends[i];
    end->link = &table->buckets[i];
    for (; *end->link; end->link = &(*end->link)->next) {
      end->length++;
      index_put(index, tag_of(table, (*end->link)->key), *end->link);
    }
  }
  table->index = index;
}

static void index_insert(hash_table* table, hash_slot slot, hash_entry* entry) {
  hash_index* index = table->index;
  index->ends[slot.bucket] = {&entry->next, slot.passed + 1};
  if (index_isFull(index, table->count)) index_grow(index);
  index_put(index, tag_of(table, entry->key), entry);
}

static hash_slot index_probe(const hash_table* table, Word key) {
  const hash_index* index = table->index;
  const std::uint32_t tag = tag_of(table, key);
  for (std::uint32_t i = tag >> index->shift; index->tags[i] != 0; i = (i + 1) & index->mask) {
    if (index->tags[i] == tag && table->compare(key, index->entries[i]->key) == 0) return {&index->entries[i], 0, 0};
  }
  const std::uint32_t bucket = table->hash(key) % table->size;
  return {index->ends[bucket].link, bucket, index->ends[bucket].length};
}

// ---- tables ----

static hash_record* new_record(const hash_table* table, bool default_hash, bool default_compare, const char* file,
                               int line) {
  if (!gHashRecords) gHashRecords = vec_new_func();  // a vector like any other in the report
  auto* record = static_cast<hash_record*>(mem_alloc(sizeof(hash_record)));
  record->table = table;
  record->flags = HASH_ALIVE | (default_compare ? HASH_DEFAULT_COMPARE : 0) | (default_hash ? HASH_DEFAULT_HASH : 0);
  record->file = file;
  record->line = line;
  record->capacity = table->size;
  record->serial = gHashRecords->count;
  vec_add(gHashRecords, to_word(record));
  return record;
}

hash_table* hash_new_func(std::uint32_t size, hash_function hash, hash_comparison compare, const char* file, int line) {
  CONTAINER_ASSERT(size != 0, "size != 0");
  if (size > UINT32_MAX / sizeof(hash_entry*)) mem_exhausted();
  return hash_newIn_func(mem_array<hash_entry*>(size), size, hash, compare, file, line);
}

hash_table* hash_newIn_func(hash_entry** buckets, std::uint32_t size, hash_function hash, hash_comparison compare,
                            const char* file, int line) {
  auto* table = mem_array<hash_table>(1);
  table->size = size;
  table->hash = hash ? hash : hash_key;
  table->compare = compare ? compare : hash_keyCompare;
  table->spread = compare == hash_stringCompare ? hash_spreadString : table->hash;
  table->buckets = buckets;
  if (gHashTrack) table->record = new_record(table, !hash, !compare, file, line);
  return table;
}

hash_slot hash_probe(const hash_table* table, Word key) {
  if (table->index) return index_probe(table, key);
  const std::uint32_t bucket = table->hash(key) % table->size;
  hash_slot slot = {&table->buckets[bucket], bucket, 0};
  while (*slot.link && table->compare(key, (*slot.link)->key) != 0) {
    slot.link = &(*slot.link)->next;
    slot.passed++;
  }
  return slot;
}

// The figures of one insertion that passed `passed` entries.
static void count_insertion(const hash_table* table, std::uint32_t passed, const hash_entry* entry, const char* file,
                            int line) {
  hash_record* record = table->record;
  if (passed > 0) {
    tracef(file, line, "HASH @ %s:%d (%u/%u) clashed %d times inserting (%p,%p)", record->file, record->line,
           table->count, table->size, static_cast<int>(passed), word_ptr<void>(entry->key),
           word_ptr<void>(entry->value));
  } else {
    record->cur_util++;
    if (record->max_util < record->cur_util) record->max_util = record->cur_util;
  }
  record->clashes += passed;
  if (record->max_usage < table->count) record->max_usage = table->count;
}

void hash_insertAt(hash_table* table, hash_slot slot, Word key, Word value, const char* file, int line) {
  auto* entry = static_cast<hash_entry*>(mem_alloc(sizeof(hash_entry)));
  entry->value = value;
  entry->key = key;
  *slot.link = entry;
  table->count++;
  if (table->index) {
    index_insert(table, slot, entry);
  } else if (slot.passed >= LONG_CHAIN) {
    index_build(table);
  }
  if (table->record) count_insertion(table, slot.passed, entry, file, line);
}

int hash_insert_func(hash_table* table, Word key, Word value, const char* file, int line) {
  const hash_slot slot = hash_probe(table, key);
  if (*slot.link) return 0;
  hash_insertAt(table, slot, key, value, file, line);
  return 1;
}

Word hash_lookup(const hash_table* table, Word key) {
  const hash_entry* entry = *hash_probe(table, key).link;
  return entry ? entry->value : 0;
}

int hash_foreach(const hash_table* table, void* context, int (*operation)(void* context, Word key, Word value)) {
  for (std::uint32_t i = 0; i < table->size; i++) {
    for (const hash_entry* entry = table->buckets[i]; entry; entry = entry->next) {
      const int result = operation(context, entry->key, entry->value);
      if (result != 0) return result;
    }
  }
  return 0;
}

// ---- ready-made operations ----

static unsigned char lower(unsigned char c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

static std::uint32_t step(std::uint32_t h, unsigned char byte) {
  return h * 33 + static_cast<std::uint32_t>(static_cast<signed char>(byte));
}

constexpr std::uint32_t HASH_SEED = 5381;

std::uint32_t hash_key(Word key) { return static_cast<std::uint32_t>(key); }

int hash_keyCompare(Word a, Word b) { return a != b; }

std::uint32_t hash_string(Word text) {
  std::uint32_t h = HASH_SEED;
  for (const auto* p = word_ptr<const unsigned char>(text); *p; p++) h = step(h, *p);
  return h;
}

int hash_stringCompare(Word a, Word b) {
  const auto* p = word_ptr<const unsigned char>(a);
  const auto* q = word_ptr<const unsigned char>(b);
  while (*p && *p == *q) {
    p++;
    q++;
  }
  return *p - *q;
}

std::uint32_t hash_stringNoCase(Word text) {
  std::uint32_t h = HASH_SEED;
  for (const auto* p = word_ptr<const unsigned char>(text); *p; p++) h = step(h, lower(*p));
  return h;
}

int hash_stringCompareNoCase(Word a, Word b) {
  const auto* p = word_ptr<const unsigned char>(a);
  const auto* q = word_ptr<const unsigned char>(b);
  while (*p && lower(*p) == lower(*q)) {
    p++;
    q++;
  }
  return lower(*p) - lower(*q);
}

std::uint32_t hash_alertKey(Word key) {
  const auto* k = word_ptr<const alert_key>(key);
  return hash_string(to_word(k->file)) ^ (k->line << 16) ^ k->number;
}

// The hash of Fowler, Noll and Vo over 64 bits, folded.
std::uint32_t hash_spreadString(Word text) {
  std::uint64_t h = 0xcbf29ce484222325;
  for (const auto* p = word_ptr<const unsigned char>(text); *p; p++) h = (h ^ *p) * 0x100000001b3;
  return static_cast<std::uint32_t>(h ^ h >> 32);
}

std::uint32_t hash_spreadAlertKey(Word key) {
  constexpr std::uint32_t ODD = 0x85ebca6b;
  const auto* k = word_ptr<const alert_key>(key);
  return ((hash_spreadString(to_word(k->file)) ^ k->line) * ODD ^ k->number) * ODD;
}

// ---- tracking ----

void hash_track(bool on) { gHashTrack = on; }

// The most clashes first; of two alike, the younger table.
static int compare_records(const void* left, const void* right) {
  const auto* a = word_ptr<const hash_record>(*static_cast<const Word*>(left));
  const auto* b = word_ptr<const hash_record>(*static_cast<const Word*>(right));
  if (a->clashes != b->clashes) return a->clashes > b->clashes ? -1 : 1;
  if (a->serial == b->serial) return 0;
  return a->serial > b->serial ? -1 : 1;
}

void hash_writeMasterList() {
  if (!gHashRecords) return;
  vec_sort(gHashRecords, compare_records);
  db_text("# Hash Table Master List:");
  db_text("# ptr    file:line    max_util/capacity    max_usage/capacity    clashes    voidcmp    voidhash    alive");
  if (vec_size(gHashRecords) == 0) db_text("# No hash tables were used");
  for (std::uint32_t i = 0; i < gHashRecords->count; i++) {
    const auto* r = word_ptr<const hash_record>(gHashRecords->data[i]);
    const auto flag = [r](std::uint32_t bit) { return r->flags & bit ? 'Y' : 'n'; };
    db_line("# %p    %s:%d    %u/%u    %u/%u    %u    %c    %c    %c", static_cast<const void*>(r->table), r->file,
            r->line, r->max_util, r->capacity, r->max_usage, r->capacity, r->clashes, flag(HASH_DEFAULT_COMPARE),
            flag(HASH_DEFAULT_HASH), flag(HASH_ALIVE));
  }
}
