/* ZW, bitmaps and the frame store. A ZW_World is a handle: a pointer to a
   pointer to the bitmap record below, whose layout the package reads. */
#ifndef ZW_H
#define ZW_H

#include "HostAPI.h"
#include "GE/GE.h"

HOST_BEGIN_C

#define ZW_VERSION 31

typedef struct ZW_Bitmap {
  uint64_t reserved0;        /* 0 */
  int16_t width;             /* 8 */
  int16_t height;            /* 10 */
  uint8_t reserved1[8];      /* 12 */
  int16_t bits_per_pixel;    /* 20: 32, 64 or 128 */
  int16_t channel_order;     /* 22: 0 alpha first, 1 BGRA (32 bits only) */
  uint8_t reserved2[52];     /* 24 */
  void* base_address;        /* 80: set while the pixels are locked, else null */
  int32_t row_bytes;         /* 88 */
  int32_t lock_count;        /* 92 */
  void* pixels;              /* 96: the storage, whether locked or not */
  uint64_t reserved3;        /* 104 */
} ZW_Bitmap;

#ifdef __cplusplus
static_assert(offsetof(ZW_Bitmap, width) == 8, "bitmap record layout");
static_assert(offsetof(ZW_Bitmap, height) == 10, "bitmap record layout");
static_assert(offsetof(ZW_Bitmap, bits_per_pixel) == 20, "bitmap record layout");
static_assert(offsetof(ZW_Bitmap, base_address) == 80, "bitmap record layout");
static_assert(offsetof(ZW_Bitmap, row_bytes) == 88, "bitmap record layout");
#endif

typedef ZW_Bitmap** ZW_World;

HOST_API HOST_Err ZW_CheckVersions(int32_t location, int32_t caller_version);

/* Frame memory: blocks 8-byte aligned, counted by KO. Null on failure,
   with no report. */
HOST_API void* ZW_AllocateFrameQuiet(size_t size);
HOST_API void ZW_FreeFrame(void* block, size_t size);
HOST_API void ZW_ReportWorldAllocationFailure(int32_t kind, int32_t row_stride, int32_t width,
                                              int32_t height, int32_t bits_per_pixel);

/* Bitmaps. flags and kind are passed through; bounds in frame store order. */
HOST_API HOST_Err ZW_NewWorld(int32_t flags, int32_t kind, const GE_Rect* bounds,
                              int32_t bits_per_pixel, int32_t reserved1, int32_t reserved2,
                              ZW_World* out);
/* Loads (nothing to load here) and locks the pixels. */
HOST_API HOST_Err ZW_LoadLockPixels(int32_t load, ZW_World world, int32_t reserved1,
                                    int32_t reserved2);
HOST_API HOST_Err ZW_LockPixels(ZW_World world);
HOST_API void ZW_UnlockPixels(ZW_World world);
HOST_API void ZW_DisposeWorld(ZW_World world);
HOST_API void* ZWp_GetPixBaseAddr(ZW_World world);
/* 0 alpha first, 1 BGRA; bitmaps of other than 32 bits per pixel give 0
   and keep 0 when set. */
HOST_API int32_t ZW_GetChannelOrder(ZW_World world);
HOST_API void ZW_SetChannelOrder(ZW_World world, int32_t order);

HOST_END_C

#endif
