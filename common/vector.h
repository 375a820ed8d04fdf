// The growable array of words.
//
// Storage for the elements comes with the first store and grows by doubling; it never shrinks. The
// elements are words that the vector does not own. All loops have one form, which survives removal at or
// behind the current element and nests over one vector:
//
//   vec_iterStart(v);
//   while (vec_iterDone(v, vec_iterHasNext(v))) use(vec_iterNext(v));
//
// vec_iterDone pops the iterator at the loop's end; who leaves early calls vec_iterDone(v, false).
//
// Where an absent vector is not allowed, passing one is stopped by an assertion. Storing operations raise
// fatal alert 296 when memory runs out.
#ifndef COMMON_VECTOR_H
#define COMMON_VECTOR_H

#include <cstdint>

#include "common/osdep.h"
#include "common/word.h"

struct vec_iterator {
  std::uint32_t position;  // index of the next element
  vec_iterator* next;      // the iterator beneath
};

struct vector;

// What is known of a vector made while tracking was on. It outlives its vector.
struct vec_record {
  const vector* tracked;  // the vector; gone if not alive
  std::uint32_t flags;    // VEC_ALIVE
  const char* file;       // place of the creation
  int line;
  std::uint32_t max_capacity;  // the capacity reached
  std::uint32_t max_count;     // the largest count seen
  std::uint32_t serial;        // order of creation
};
constexpr std::uint32_t VEC_ALIVE = 1;

struct vector {
  std::uint32_t count;      // elements in use
  std::uint32_t capacity;   // elements allocated, 0 until the first store
  std::uint32_t initial;    // capacity to start from
  vec_iterator* iterators;  // top of the stack of running loops
  Word* data;               // absent until the first store
  std::uint32_t id;         // running number
  vec_record* record;       // absent unless tracking was on at creation
};

constexpr std::uint32_t VEC_INITIAL = 10;           // capacity to start from unless given
constexpr std::uint32_t VEC_ITERATORS_KEPT = 8192;  // released iterators retained

extern bool gVecTrack;       // set by vec_track: new vectors get a record
extern vector* gVecRecords;  // of vec_record, in no particular order; absent until vec_track(true)

// An empty vector. `capacity` (above 0) is the capacity to start from.
vector* vec_new_func(const char* file = __builtin_FILE(), int line = __builtin_LINE());
vector* vec_newSized_func(std::uint32_t capacity, const char* file = __builtin_FILE(), int line = __builtin_LINE());

// Releases the vector and its iterators, not what the elements refer to. `v` may be absent.
void vec_destroy(vector* v);

void vec_add(vector* v, Word element);

// Stores at any index and returns the elements. Cells between the old count and `index` hold 0.
Word* vec_setAt(vector* v, Word element, std::uint32_t index);

// These give 0 where there is no such element. vec_pop takes the element away.
Word vec_elementAt(const vector* v, std::uint32_t index);
Word vec_top(const vector* v);
Word vec_pop(vector* v);

// Closes the gap at `index`; running loops neither skip nor repeat an element. Returns 1, or 0 if there is
// no such element.
int vec_removeAt(vector* v, std::uint32_t index);

// Makes the count 0 and keeps the storage. Running loops end.
void vec_removeAll(vector* v);

// The count; 0 for an absent vector.
std::uint32_t vec_size(const vector* v);

// A vector with the same words, capacity and id, without iterators; tracked if `v` is. Absent for absent.
vector* vec_copy_func(const vector* v, const char* file = __builtin_FILE(), int line = __builtin_LINE());

// Sorts with osdep_qsort; `compare` gets references to two words.
void vec_sort(vector* v, osdep_compare compare);

// The loop operations, on the top iterator. `v` may be absent: then there is no element.
void vec_iterStart(vector* v);
bool vec_iterHasNext(const vector* v);
Word vec_iterNext(vector* v);             // 0 at the end
bool vec_iterDone(vector* v, bool more);  // returns `more`

// Switches tracking of the vectors made from now on.
void vec_track(bool on);

// Writes what is known of the tracked vectors, and a summary by place of creation, to the debug-out file.
// Nothing if tracking was never on.
void vec_writeMasterList();

#endif
