// The host's allocator may not be called while an abort callback runs, so
// allocation takes the handler lock that polling takes.
#include "frameblend/parallel/vesper_memory.h"

#include <mutex>

#include "KO/KO.h"
#include "frameblend/parallel/handler_lock.h"

void* RX_VesperAlloc(size_t size) {
  std::lock_guard lock(RX_HandlerLock());
  return KO_AllocatePtr(0, "Vesper image", size);
}

void RX_VesperFree(void* block) {
  if (block) KO_FreePtr(block);
}
