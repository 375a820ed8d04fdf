// The growable array of words, its loops, and the report on all vectors made under tracking.
#include "common/vector.h"

#include <cstdlib>
#include <cstring>

#include "common/freecache.h"
#include "common/qvdebug.h"

bool gVecTrack;
vector* gVecRecords;

static freecache* gVecIterators;       // of vec_iterator, from the first vector on
static std::uint32_t gVecNextId;       // vectors made so far, copies not counted
static std::uint32_t gVecRecordCount;  // records made so far

// ---- creation and release ----

static vector* vec_make(std::uint32_t initial) {
  if (!gVecIterators) gVecIterators = freecache_new(sizeof(vec_iterator), VEC_ITERATORS_KEPT);
  auto* v = static_cast<vector*>(mem_alloc(sizeof(vector)));
  v->initial = initial;
  v->id = gVecNextId++;
  return v;
}

// Gives v a record of its own, with the figures of `figures` if there are any.
static void vec_addRecord(vector* v, const vec_record* figures, const char* file, int line) {
  auto* record = static_cast<vec_record*>(mem_alloc(sizeof(vec_record)));
  if (figures) *record = *figures;
  record->tracked = v;
  record->flags = VEC_ALIVE;
  record->file = file;
  record->line = line;
  record->serial = gVecRecordCount++;
  v->record = record;
  vec_add(gVecRecords, to_word(record));
}

vector* vec_newSized_func(std::uint32_t capacity, const char* file, int line) {
  CONTAINER_ASSERT(capacity != 0, "capacity != 0");
  vector* v = vec_make(capacity);
  if (gVecTrack) vec_addRecord(v, nullptr, file, line);
  return v;
}

vector* vec_new_func(const char* file, int line) { return vec_newSized_func(VEC_INITIAL, file, line); }

vector* vec_copy_func(const vector* v, const char* file, int line) {
  if (!v) return nullptr;
  auto* copy = static_cast<vector*>(mem_alloc(sizeof(vector)));
  *copy = *v;
  copy->iterators = nullptr;
  copy->record = nullptr;
  if (v->data) {
    const std::size_t bytes = v->capacity * sizeof(Word);
    copy->data = static_cast<Word*>(mem_alloc(static_cast<std::uint32_t>(bytes)));
    std::memcpy(copy->data, v->data, v->count * sizeof(Word));
  }
  if (v->record) vec_addRecord(copy, v->record, file, line);
  return copy;
}

static void pop_iterator(vector* v) {
  vec_iterator* top = v->iterators;
  v->iterators = top->next;
  freecache_add(gVecIterators, top);
}

void vec_destroy(vector* v) {
  if (!v) return;
  while (v->iterators) pop_iterator(v);
  if (v->record) v->record->flags &= ~VEC_ALIVE;
  std::free(v->data);
  std::free(v);
}

// ---- elements ----

// Makes room for a store at `index`: the capacity ends above both the count and the index.
static void vec_grow(vector* v, std::uint32_t index) {
  const std::uint32_t need = index > v->count ? index : v->count;
  if (v->capacity > need) return;
  std::uint64_t capacity = v->capacity ? std::uint64_t{v->capacity} * 2 : v->initial;
  while (capacity <= need) capacity *= 2;
  const std::uint64_t bytes = capacity * sizeof(Word);
  if (bytes > UINT32_MAX) mem_exhausted();
  auto* data = static_cast<Word*>(mem_alloc(static_cast<std::uint32_t>(bytes)));
  if (v->count) std::memcpy(data, v->data, v->count * sizeof(Word));
  std::free(v->data);
  v->data = data;
  v->capacity = static_cast<std::uint32_t>(capacity);
  if (v->record) v->record->max_capacity = v->capacity;
}

static void set_count(vector* v, std::uint32_t count) {
  v->count = count;
  if (v->record && v->record->max_count < count) v->record->max_count = count;
}

void vec_add(vector* v, Word element) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  vec_grow(v, v->count);
  v->data[v->count] = element;
  set_count(v, v->count + 1);
}

Word* vec_setAt(vector* v, Word element, std::uint32_t index) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  vec_grow(v, index);
  if (index >= v->count) {
    // Words that vec_pop and vec_removeAll left behind must not come back as elements.
    std::memset(v->data + v->count, 0, (index - v->count) * sizeof(Word));
    set_count(v, index + 1);
  }
  v->data[index] = element;
  return v->data;
}

Word vec_elementAt(const vector* v, std::uint32_t index) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  return index < v->count ? v->data[index] : 0;
}

Word vec_top(const vector* v) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  return v->count ? v->data[v->count - 1] : 0;
}

Word vec_pop(vector* v) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  return v->count ? v->data[--v->count] : 0;
}

int vec_removeAt(vector* v, std::uint32_t index) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  if (index >= v->count) return 0;
  v->count--;
  std::memmove(v->data + index, v->data + index + 1, (v->count - index) * sizeof(Word));
  v->data[v->count] = 0;
  for (vec_iterator* it = v->iterators; it; it = it->next) {
    if (it->position > index) it->position--;
  }
  return 1;
}

void vec_removeAll(vector* v) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  v->count = 0;
}

std::uint32_t vec_size(const vector* v) { return v ? v->count : 0; }

void vec_sort(vector* v, osdep_compare compare) {
  CONTAINER_ASSERT(v != nullptr, "p != NULL");
  osdep_qsort(v->data, v->count, sizeof(Word), compare);
}

// ---- loops ----

void vec_iterStart(vector* v) {
  if (!v) return;
  auto* it = static_cast<vec_iterator*>(freecache_get(gVecIterators));
  it->next = v->iterators;
  v->iterators = it;
}

bool vec_iterHasNext(const vector* v) {
  if (!v) return false;
  CONTAINER_ASSERT(v->iterators != nullptr, "p->iterator != NULL");
  return v->iterators->position < v->count;
}

Word vec_iterNext(vector* v) {
  if (!v) return 0;
  CONTAINER_ASSERT(v->iterators != nullptr, "p->iterator != NULL");
  return v->iterators->position < v->count ? v->data[v->iterators->position++] : 0;
}

bool vec_iterDone(vector* v, bool more) {
  if (!v) {
    CONTAINER_ASSERT(!more, "more == 0");
    return more;
  }
  CONTAINER_ASSERT(v->iterators != nullptr, "p->iterator != NULL");
  if (!more) pop_iterator(v);
  return more;
}

// ---- tracking ----

void vec_track(bool on) {
  if (on && !gVecRecords) gVecRecords = vec_make(VEC_INITIAL);  // the one vector without a record
  gVecTrack = on;
}

// Vectors and the sum of their capacities.
struct vec_figures {
  std::uintmax_t vectors;
  std::uintmax_t capacity;
};

// The vectors made at one place; `next` in the order of the report.
struct vec_summary {
  const char* file;
  int line;
  vec_figures living;
  vec_figures dead;
  vec_figures total;
  vec_summary* next;
};

// The largest first, then the emptiest, then by place and age.
static int compare_records(const void* left, const void* right) {
  const auto* a = word_ptr<const vec_record>(*static_cast<const Word*>(left));
  const auto* b = word_ptr<const vec_record>(*static_cast<const Word*>(right));
  if (a->max_capacity != b->max_capacity) return a->max_capacity > b->max_capacity ? -1 : 1;
  if (a->max_count != b->max_count) return a->max_count < b->max_count ? -1 : 1;
  const int files = std::strcmp(a->file, b->file);
  if (files != 0) return files;
  if (a->line != b->line) return a->line < b->line ? -1 : 1;
  if (a->serial == b->serial) return 0;
  return a->serial < b->serial ? -1 : 1;
}

static void count_record(vec_summary* row, const vec_record* record) {
  vec_figures* column = record->flags & VEC_ALIVE ? &row->living : &row->dead;
  column->vectors++;
  column->capacity += record->max_capacity;
  row->total.vectors++;
  row->total.capacity += record->max_capacity;
}

// The row of the record's place of creation; a new one goes to the head of the list.
static vec_summary* find_summary(vec_summary** head, const vec_record* record) {
  for (vec_summary* row = *head; row; row = row->next) {
    if (row->line == record->line && std::strcmp(row->file, record->file) == 0) return row;
  }
  auto* row = static_cast<vec_summary*>(mem_alloc(sizeof(vec_summary)));
  row->file = record->file;
  row->line = record->line;
  row->next = *head;
  *head = row;
  return row;
}

static void write_summary(const vec_summary* row) {
  db_line("# %35s:%-5d                        %ju/%ju    %ju/%ju    %ju/%ju", row->file, row->line, row->living.vectors,
          row->living.capacity, row->dead.vectors, row->dead.capacity, row->total.vectors, row->total.capacity);
}

void vec_writeMasterList() {
  if (!gVecRecords) return;
  vec_sort(gVecRecords, compare_records);
  db_text("# Living Vector Master List:");
  db_text("# ptr    file:line    max_count/capacity    alive");
  vec_summary total = {"Total Summary", 0, {}, {}, {}, nullptr};
  vec_summary* head = &total;
  for (std::uint32_t i = 0; i < gVecRecords->count; i++) {
    const auto* record = word_ptr<const vec_record>(gVecRecords->data[i]);
    count_record(find_summary(&head, record), record);
    count_record(&total, record);
    if (record->flags & VEC_ALIVE) {
      db_line("# %p    %s:%d    %u/%u    %c", static_cast<const void*>(record->tracked), record->file, record->line,
              record->max_count, record->max_capacity, 'Y');
    }
  }
  db_text("# Vector Master List Summary:");
  db_text(
      "#                                                                  Living              Dead                "
      "Total");
  db_text(
      "#                                file:line                         vectors/capacity    vectors/capacity    "
      "vectors/capacity");
  while (head != &total) {
    vec_summary* next = head->next;
    write_summary(head);
    std::free(head);
    head = next;
  }
  write_summary(&total);
}
