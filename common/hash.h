// The associative container: a fixed number of buckets with chained entries, in order of insertion.
//
// Keys and values are words that the table neither owns nor frees. Tables live to the end of the run; no
// entry is ever removed and the number of buckets never changes: it decides the order of a walk and the
// figures of the tracking records. Once a chain has become long, the table gets an index beside the buckets
// that grows with it, so that an insertion or a look-up costs the same however full it is.
#ifndef COMMON_HASH_H
#define COMMON_HASH_H

#include <cstdint>

#include "common/word.h"

struct vector;
struct hash_table;

using hash_function = std::uint32_t (*)(Word key);
using hash_comparison = int (*)(Word a, Word b);  // 0 if equal

struct hash_entry {
  Word value;
  Word key;
  hash_entry* next;
};

// What is known of a table made while tracking was on.
struct hash_record {
  const hash_table* table;
  std::uint32_t flags;  // HASH_ALIVE, HASH_DEFAULT_COMPARE, HASH_DEFAULT_HASH
  const char* file;     // place of the creation
  int line;
  std::uint32_t capacity;   // the table's size
  std::uint32_t max_usage;  // the largest count seen
  std::uint32_t max_util;   // the largest cur_util seen
  std::uint32_t cur_util;   // insertions that found their bucket empty
  std::uint32_t clashes;    // entries passed by all insertions
  std::uint32_t serial;     // order of creation
};
constexpr std::uint32_t HASH_ALIVE = 1;
constexpr std::uint32_t HASH_DEFAULT_COMPARE = 2;
constexpr std::uint32_t HASH_DEFAULT_HASH = 4;

struct hash_index;

struct hash_table {
  std::uint32_t size;   // buckets, never 0
  std::uint32_t count;  // entries
  hash_function hash;
  hash_comparison compare;
  hash_entry** buckets;  // chain heads
  hash_record* record;   // absent unless tracking was on at creation
  hash_function spread;  // the hash of the index, which all of the key enters
  hash_index* index;     // absent while all chains are short
};

extern bool gHashTrack;       // set by hash_track: new tables get a record
extern vector* gHashRecords;  // of hash_record; absent until the first tracked table

// A table of `size` buckets (asserted not to be 0). An absent operation becomes hash_key or
// hash_keyCompare. The index goes by `hash`, but by hash_spreadString where hash_stringCompare compares; a
// caller whose `hash` leaves a part of the key out sets `spread` before the first insertion. Fatal alert 296.
hash_table* hash_new_func(std::uint32_t size, hash_function hash, hash_comparison compare,
                          const char* file = __builtin_FILE(), int line = __builtin_LINE());

// The same with `buckets`, `size` absent chain heads that the caller lends: for a table that every run
// makes, whose untouched pages then cost nothing.
hash_table* hash_newIn_func(hash_entry** buckets, std::uint32_t size, hash_function hash, hash_comparison compare,
                            const char* file = __builtin_FILE(), int line = __builtin_LINE());

// Returns 1, or 0 if the key is already there: then its old value stays. Fatal alert 296.
int hash_insert_func(hash_table* table, Word key, Word value, const char* file = __builtin_FILE(),
                     int line = __builtin_LINE());

// The value of the key, 0 if the key is absent: a value of 0 can't be told from that.
Word hash_lookup(const hash_table* table, Word key);

// Calls `operation` for every entry, buckets from 0 upward, each chain from its head, until it returns
// nonzero, and returns that result, else 0. The table must not change meanwhile.
int hash_foreach(const hash_table* table, void* context, int (*operation)(void* context, Word key, Word value));

// The two halves of an insertion, for callers that make the entry only if the key is new: hash_probe finds
// a link that leads to the key's entry, or the empty link at the end of its chain; hash_insertAt links a
// new entry there. No insertion may come between the two.
struct hash_slot {
  hash_entry** link;
  std::uint32_t bucket;  // with an empty link: the chain
  std::uint32_t passed;  // with an empty link: the entries in the chain
};
hash_slot hash_probe(const hash_table* table, Word key);
void hash_insertAt(hash_table* table, hash_slot slot, Word key, Word value, const char* file = __builtin_FILE(),
                   int line = __builtin_LINE());

// Ready-made operations. Strings are given as to_word(const char*).
std::uint32_t hash_key(Word key);              // the low 32 bits
int hash_keyCompare(Word a, Word b);           // 0 for the same word, else 1
std::uint32_t hash_string(Word text);          // 5381, then h * 33 + each byte, taken as signed
int hash_stringCompare(Word a, Word b);        // difference of the first differing unsigned bytes
std::uint32_t hash_stringNoCase(Word text);    // hash_string of the lower-case text
int hash_stringCompareNoCase(Word a, Word b);  // the same with both in lower case

// The key of the alerts that are raised once only, passed as to_word(const alert_key*).
struct alert_key {
  std::uint32_t number;
  std::uint32_t line;  // 0 if there is none
  const char* file;    // "" if there is none
};
std::uint32_t hash_alertKey(Word key);

// For the index: unlike the hashes above, neither mixes up "bA" and "ab" nor loses the upper half of a line.
std::uint32_t hash_spreadString(Word text);
std::uint32_t hash_spreadAlertKey(Word key);

// Switches tracking of the tables made from now on.
void hash_track(bool on);

// Writes the figures of all tracked tables to the debug-out file; nothing if no table was tracked.
void hash_writeMasterList();

#endif
