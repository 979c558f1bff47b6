// Growable lists of fixed-size elements. The record and the elements are
// KO blocks, so the books and the failure hook see them.
#include <cstring>

#include "KO/KO.h"
#include "SEQ/SEQ.h"
#include "host_internal.h"

struct SEQ_ListRecord {
  int32_t kind;
  int32_t element_size;
  int32_t count;
  int32_t capacity;
  int32_t grow_count;
  int32_t locks;
  unsigned char* elements;
};

namespace {

size_t bytes_for(const SEQ_ListRecord* list, int32_t count) {
  return static_cast<size_t>(list->element_size) * static_cast<size_t>(count);
}

HOST_Err set_capacity(SEQ_ListRecord* list, int32_t capacity) {
  void* block = list->elements;
  if (HOST_Err err = KO_ResizePtr(&block, bytes_for(list, capacity))) return err;
  list->elements = static_cast<unsigned char*>(block);
  list->capacity = capacity;
  return KO_Err_None;
}

}  // namespace

HOST_Err SEQ_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("SEQ", location, caller_version);
}

HOST_Err SEQ_New(int32_t kind, int32_t element_size, int32_t initial_count, int32_t grow_count,
                 SEQ_List* out) {
  if (!out || element_size <= 0 || initial_count < 0) return KO_Err_Internal;
  *out = nullptr;
  auto* list = static_cast<SEQ_ListRecord*>(rxhost::block_allocate(sizeof(SEQ_ListRecord), true, true));
  if (!list) return KO_Err_OutOfMemory;
  list->kind = kind;
  list->element_size = element_size;
  list->grow_count = grow_count > 0 ? grow_count : 1;  // a list must be able to grow
  list->elements = static_cast<unsigned char*>(
      rxhost::block_allocate(bytes_for(list, initial_count), false, true));
  if (!list->elements) {
    rxhost::block_free(list);
    return KO_Err_OutOfMemory;
  }
  list->capacity = initial_count;
  *out = list;
  return KO_Err_None;
}

HOST_Err SEQ_Dispose(SEQ_List list) {
  if (!list) return KO_Err_Internal;
  rxhost::block_free(list->elements);
  rxhost::block_free(list);
  return KO_Err_None;
}

int32_t SEQ_Count(SEQ_List list) { return list ? list->count : 0; }

HOST_Err SEQ_Lock(SEQ_List list) {
  if (!list) return KO_Err_Internal;
  ++list->locks;
  return KO_Err_None;
}

HOST_Err SEQ_Unlock(SEQ_List list) {
  if (!list || list->locks == 0) return KO_Err_Internal;
  --list->locks;
  return KO_Err_None;
}

void* SEQ_GetAddress(SEQ_List list, int32_t index) {
  if (!list || index < 0 || index >= list->count) return nullptr;
  return list->elements + bytes_for(list, index);
}

HOST_Err SEQ_Insert(SEQ_List list, int32_t index, const void* element) {
  if (!list || !element || index < 0 || index > list->count) return KO_Err_Internal;
  if (list->count == list->capacity) {
    // Growing may move the elements, which a lock forbids.
    if (list->locks > 0) return KO_Err_Internal;
    if (HOST_Err err = set_capacity(list, list->capacity + list->grow_count)) return err;
  }
  unsigned char* at = list->elements + bytes_for(list, index);
  std::memmove(at + list->element_size, at, bytes_for(list, list->count - index));
  std::memcpy(at, element, static_cast<size_t>(list->element_size));
  ++list->count;
  return KO_Err_None;
}

HOST_Err SEQ_RemoveRange(SEQ_List list, int32_t first, int32_t count) {
  if (!list || first < 0 || count < 0 || count > list->count - first) return KO_Err_Internal;
  unsigned char* at = list->elements + bytes_for(list, first);
  std::memmove(at, at + bytes_for(list, count), bytes_for(list, list->count - first - count));
  list->count -= count;
  return KO_Err_None;
}

HOST_Err SEQ_Compact(SEQ_List list) {
  if (!list || list->locks > 0) return KO_Err_Internal;
  if (list->capacity == list->count) return KO_Err_None;
  return set_capacity(list, list->count);
}

HOST_Err SEQ_SetCount(SEQ_List list, int32_t count) {
  if (!list || count < 0) return KO_Err_Internal;
  if (count > list->capacity) {
    if (list->locks > 0) return KO_Err_Internal;
    if (HOST_Err err = set_capacity(list, count)) return err;
  }
  if (count > list->count) {
    std::memset(list->elements + bytes_for(list, list->count), 0, bytes_for(list, count - list->count));
  }
  list->count = count;
  return KO_Err_None;
}
