// Released objects of one size, kept on a list for the next use, last in, first out.
//
// For objects that come and go often. A free object's first word is the link to the next one, so a
// cached object costs no storage of its own.
#ifndef COMMON_FREECACHE_H
#define COMMON_FREECACHE_H

#include <cstddef>
#include <cstdint>

struct freecache {
  std::size_t obj_size;    // bytes, at least a reference
  std::uint32_t num_free;  // objects on the list
  std::uint32_t max_free;  // most that the list may hold
  void* free_list;
};

// An empty cache, which lives to the end of the run. Asserts that both are above 0 and that an object can
// hold a link. Fatal alert 296.
freecache* freecache_new(std::size_t obj_size, std::uint32_t max_objs);

// A zero-filled object of `obj_size` bytes: the one released last, or a new one. Absent for an absent
// cache. Fatal alert 296.
void* freecache_get(freecache* fc);

// Takes `obj` back. Returns the new `num_free`, or 0 if the list was full and the object was released.
std::uint32_t freecache_add(freecache* fc, void* obj);

#endif
