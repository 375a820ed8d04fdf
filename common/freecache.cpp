// The object cache: a bounded list of released objects of one size.
#include "common/freecache.h"

#include <cstdlib>
#include <cstring>

#include "common/osdep.h"

// A free object, seen as the link that its first word is.
struct free_link {
  void* next;
};

freecache* freecache_new(std::size_t obj_size, std::uint32_t max_objs) {
  CONTAINER_ASSERT(obj_size != 0, "obj_size != 0");
  CONTAINER_ASSERT(max_objs != 0, "max_objs != 0");
  CONTAINER_ASSERT(obj_size >= sizeof(void*), "obj_size >= sizeof (void*)");
  auto* fc = static_cast<freecache*>(mem_alloc(sizeof(freecache)));
  fc->obj_size = obj_size;
  fc->max_free = max_objs;
  return fc;
}

void* freecache_get(freecache* fc) {
  if (!fc) return nullptr;
  void* obj = fc->free_list;
  if (!obj) return mem_alloc(static_cast<std::uint32_t>(fc->obj_size));
  fc->free_list = static_cast<free_link*>(obj)->next;
  fc->num_free--;
  return std::memset(obj, 0, fc->obj_size);
}

std::uint32_t freecache_add(freecache* fc, void* obj) {
  CONTAINER_ASSERT(fc != nullptr, "fc != NULL");
  CONTAINER_ASSERT(obj != nullptr, "obj != NULL");
  if (fc->num_free == fc->max_free) {
    std::free(obj);
    return 0;
  }
  static_cast<free_link*>(obj)->next = fc->free_list;
  fc->free_list = obj;
  return ++fc->num_free;
}
