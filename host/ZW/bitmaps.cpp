// Bitmaps: a handle (master pointer and record) and zeroed pixel storage,
// three KO blocks that count as one allocation for the failure hook.
#include "KO/KO.h"
#include "ZW/ZW.h"
#include "host_internal.h"

namespace {

constexpr int32_t kMaxSide = 32767;

// Rows padded to 16 bytes so that every row starts aligned for vectors.
int32_t row_bytes_for(int32_t width, int32_t bits_per_pixel) {
  const int32_t bytes = width * (bits_per_pixel / 8);
  return (bytes + 15) & ~15;
}

bool valid_depth(int32_t bits) { return bits == 32 || bits == 64 || bits == 128; }

}  // namespace

HOST_Err ZW_NewWorld(int32_t, int32_t, const GE_Rect* bounds, int32_t bits_per_pixel, int32_t,
                     int32_t, ZW_World* out) {
  if (!out) return KO_Err_Internal;
  *out = nullptr;
  if (!bounds || !valid_depth(bits_per_pixel)) return KO_Err_Internal;
  const int32_t width = int32_t{bounds->right} - bounds->left;
  const int32_t height = int32_t{bounds->bottom} - bounds->top;
  if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) return KO_Err_Internal;

  if (!rxhost::allocation_allowed()) return KO_Err_OutOfMemory;
  ZW_World world = reinterpret_cast<ZW_World>(rxhost::handle_allocate(sizeof(ZW_Bitmap), true, false));
  if (!world) return KO_Err_OutOfMemory;
  ZW_Bitmap* bm = *world;
  bm->width = static_cast<int16_t>(width);
  bm->height = static_cast<int16_t>(height);
  bm->bits_per_pixel = static_cast<int16_t>(bits_per_pixel);
  bm->row_bytes = row_bytes_for(width, bits_per_pixel);
  bm->pixels = rxhost::block_allocate(static_cast<size_t>(bm->row_bytes) * height, true, false);
  if (!bm->pixels) {
    KO_FreeHandle(reinterpret_cast<KO_Handle>(world));
    return KO_Err_OutOfMemory;
  }
  *out = world;
  return KO_Err_None;
}

HOST_Err ZW_LoadLockPixels(int32_t, ZW_World world, int32_t, int32_t) {
  // The pixels always stay in memory: loading has nothing to do.
  return ZW_LockPixels(world);
}

HOST_Err ZW_LockPixels(ZW_World world) {
  if (!world || !*world) return KO_Err_Internal;
  ZW_Bitmap* bm = *world;
  ++bm->lock_count;
  bm->base_address = bm->pixels;
  return KO_Err_None;
}

void ZW_UnlockPixels(ZW_World world) {
  if (!world || !*world || (*world)->lock_count == 0) return;
  ZW_Bitmap* bm = *world;
  if (--bm->lock_count == 0) bm->base_address = nullptr;
}

void ZW_DisposeWorld(ZW_World world) {
  if (!world) return;
  if (*world) rxhost::block_free((*world)->pixels);
  KO_FreeHandle(reinterpret_cast<KO_Handle>(world));
}

void* ZWp_GetPixBaseAddr(ZW_World world) { return world && *world ? (*world)->pixels : nullptr; }

int32_t ZW_GetChannelOrder(ZW_World world) {
  if (!world || !*world || (*world)->bits_per_pixel != 32) return 0;
  return (*world)->channel_order;
}

// Only 32-bit bitmaps have a channel order; others keep alpha first.
void ZW_SetChannelOrder(ZW_World world, int32_t order) {
  if (!world || !*world || (*world)->bits_per_pixel != 32) return;
  (*world)->channel_order = static_cast<int16_t>(order);
}
