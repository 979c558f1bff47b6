// Objects allocated through KO: counted by the books, reached by the
// allocation failure hook.
#include "KO/KO.h"

void* KO_MemTrackedObject::operator new(size_t size) {
  if (void* block = KO_AllocatePtrQuiet(size)) return block;
  throw std::bad_alloc();
}

void* KO_MemTrackedObject::operator new(size_t size, const std::nothrow_t&) noexcept {
  return KO_AllocatePtrQuiet(size);
}

void KO_MemTrackedObject::operator delete(void* block) noexcept { KO_FreePtr(block); }

void KO_MemTrackedObject::operator delete(void* block, const std::nothrow_t&) noexcept {
  KO_FreePtr(block);
}
