// KO memory: malloc blocks behind a small header that keeps their size, so
// that sizes can be asked for and every live byte is on the books.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KO/KO.h"
#include "host_internal.h"

namespace {

// 16 bytes keep the caller's part as aligned as malloc's own blocks.
struct alignas(16) BlockHeader {
  uint64_t size;
  uint64_t magic;
};
static_assert(sizeof(BlockHeader) == 16);

constexpr uint64_t kLiveMagic = 0x4B4F426C6F636B21ull;  // "KOBlock!"
constexpr uint64_t kDeadMagic = 0x6465616462656566ull;  // written on free to catch a second free

std::atomic<int64_t> g_live_bytes{0};
std::atomic<int64_t> g_live_blocks{0};
std::atomic<int32_t> g_fail_countdown{0};
std::atomic<int64_t> g_accounted_bytes{0};

std::atomic<RXHost_PurgeProc> g_purge_proc{nullptr};
std::atomic<void*> g_purge_refcon{nullptr};

BlockHeader* header_of(const void* block) {
  return reinterpret_cast<BlockHeader*>(const_cast<char*>(static_cast<const char*>(block)) -
                                        sizeof(BlockHeader));
}

// A block KO did not hand out, or one already freed.
bool is_live(const void* block, const char* what) {
  if (header_of(block)->magic == kLiveMagic) return true;
  rxhost::report(RXHost_Report_Verification, KO_Class_Error, 0, __LINE__, what);
  return false;
}

void report_out_of_memory(int32_t location, const char* label, size_t size) {
  char text[KO_ReportBufferSize];
  std::snprintf(text, sizeof text, "out of memory for %s (%zu bytes)", label ? label : "a block",
                size);
  rxhost::report(RXHost_Report_OutOfMemory, KO_Class_Error, location, 0, text);
}

void* block_resize(void* block, size_t new_size) {
  if (new_size > SIZE_MAX - sizeof(BlockHeader)) return nullptr;
  BlockHeader* h = header_of(block);
  const uint64_t old_size = h->size;
  auto* moved = static_cast<BlockHeader*>(std::realloc(h, sizeof(BlockHeader) + new_size));
  if (!moved) return nullptr;
  moved->size = new_size;
  g_live_bytes += static_cast<int64_t>(new_size) - static_cast<int64_t>(old_size);
  return moved + 1;
}

}  // namespace

namespace rxhost {

bool allocation_allowed() {
  int32_t n = g_fail_countdown.load();
  while (n > 0) {
    if (g_fail_countdown.compare_exchange_weak(n, n - 1)) return n != 1;
  }
  return true;
}

void* block_allocate(size_t size, bool clear, bool consult_hook) {
  if (consult_hook && !allocation_allowed()) return nullptr;
  if (size > SIZE_MAX - sizeof(BlockHeader)) return nullptr;
  // Size 0 still gets a header of its own, hence a unique address.
  void* raw = clear ? std::calloc(1, sizeof(BlockHeader) + size)
                    : std::malloc(sizeof(BlockHeader) + size);
  if (!raw) return nullptr;
  auto* h = static_cast<BlockHeader*>(raw);
  h->size = size;
  h->magic = kLiveMagic;
  g_live_bytes += static_cast<int64_t>(size);
  ++g_live_blocks;
  return h + 1;
}

void block_free(void* block) {
  if (!block || !is_live(block, "KO freed a block it did not allocate or freed already")) return;
  BlockHeader* h = header_of(block);
  g_live_bytes -= static_cast<int64_t>(h->size);
  --g_live_blocks;
  h->magic = kDeadMagic;
  std::free(h);
}

size_t block_size(const void* block) {
  if (!block || !is_live(block, "KO was asked the size of a block it did not allocate")) return 0;
  return header_of(block)->size;
}

void** handle_allocate(size_t size, bool clear, bool consult_hook) {
  if (consult_hook && !allocation_allowed()) return nullptr;
  // The master pointer is a block of its own, so the data may move on resize.
  auto** master = static_cast<void**>(block_allocate(sizeof(void*), false, false));
  if (!master) return nullptr;
  void* data = block_allocate(size, clear, false);
  if (!data) {
    block_free(master);
    return nullptr;
  }
  *master = data;
  return master;
}

}  // namespace rxhost

// ---- pointers ----

void* KO_AllocatePtr(int32_t location, const char* label, size_t size) {
  void* p = rxhost::block_allocate(size, false, true);
  if (!p) report_out_of_memory(location, label, size);
  return p;
}

void* KO_AllocatePtrClear(int32_t location, const char* label, size_t size) {
  void* p = rxhost::block_allocate(size, true, true);
  if (!p) report_out_of_memory(location, label, size);
  return p;
}

void* KO_AllocatePtrQuiet(size_t size) { return rxhost::block_allocate(size, false, true); }

HOST_Err KO_ResizePtr(void** ptr, size_t new_size) {
  if (!ptr) return KO_Err_Internal;
  if (!*ptr) {
    void* p = rxhost::block_allocate(new_size, false, true);
    if (!p) return KO_Err_OutOfMemory;
    *ptr = p;
    return KO_Err_None;
  }
  if (!is_live(*ptr, "KO_ResizePtr of a block KO did not allocate")) return KO_Err_Internal;
  void* moved = block_resize(*ptr, new_size);
  if (!moved) return KO_Err_OutOfMemory;  // the old block stays as it was
  *ptr = moved;
  return KO_Err_None;
}

void KO_FreePtr(void* ptr) { rxhost::block_free(ptr); }

size_t KO_GetPtrSize(const void* ptr) { return rxhost::block_size(ptr); }

// ---- handles ----

KO_Handle KO_AllocateHandle(int32_t location, const char* label, size_t size) {
  KO_Handle h = rxhost::handle_allocate(size, false, true);
  if (!h) report_out_of_memory(location, label, size);
  return h;
}

KO_Handle KO_AllocateHandleClear(int32_t location, const char* label, size_t size) {
  KO_Handle h = rxhost::handle_allocate(size, true, true);
  if (!h) report_out_of_memory(location, label, size);
  return h;
}

KO_Handle KO_AllocateHandleQuiet(size_t size) { return rxhost::handle_allocate(size, false, true); }

HOST_Err KO_ResizeHandle(KO_Handle handle, size_t new_size) {
  if (!handle || !*handle) return KO_Err_Internal;
  return KO_ResizePtr(handle, new_size);
}

void KO_FreeHandle(KO_Handle handle) {
  if (!handle) return;
  rxhost::block_free(*handle);
  rxhost::block_free(handle);
}

size_t KO_GetHandleSize(KO_Handle handle) { return handle ? rxhost::block_size(*handle) : 0; }

// ---- books ----

void KO_AccountAllocationEx(int64_t bytes, int32_t add) {
  g_accounted_bytes += add ? bytes : -bytes;
}

// The host keeps no purgeable memory of its own; a test may lend a purge
// procedure.
HOST_Err KO_PurgeLoop(size_t bytes, KO_PurgeAllocator allocator, void* context, int32_t) {
  if (!allocator) return KO_Err_Internal;
  for (;;) {
    const HOST_Err err = allocator(context, bytes);
    if (err != KO_Err_OutOfMemory) return err;
    const RXHost_PurgeProc purge = g_purge_proc.load();
    if (!purge || !purge(g_purge_refcon.load(), bytes)) return err;
  }
}

void RXHost_SetPurgeProc(RXHost_PurgeProc proc, void* refcon) {
  g_purge_refcon.store(refcon);
  g_purge_proc.store(proc);
}

int64_t RXHost_AccountedBytes(void) { return g_accounted_bytes.load(); }

int64_t RXHost_LiveBytes(void) { return g_live_bytes.load(); }
int64_t RXHost_LiveBlocks(void) { return g_live_blocks.load(); }

void RXHost_FailNthAllocation(int32_t n) { g_fail_countdown.store(n > 0 ? n : 0); }

// ---- fills ----
// memcpy per value, as callers may hand an unaligned destination.

void KOp_Memset32(void* dst, uint32_t value, size_t count) {
  auto* out = static_cast<unsigned char*>(dst);
  for (size_t i = 0; i < count; ++i) std::memcpy(out + i * sizeof value, &value, sizeof value);
}

void KOp_Memset16(void* dst, uint16_t value, size_t count) {
  auto* out = static_cast<unsigned char*>(dst);
  for (size_t i = 0; i < count; ++i) std::memcpy(out + i * sizeof value, &value, sizeof value);
}
