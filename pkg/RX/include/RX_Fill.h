/* Plain writes of colour into worlds, and moves of channels between
   interleaved pixels and separate planes. The fills take a world of any
   depth and convert their colour to it; the plane moves work on 8-bit
   pixels. */
#ifndef RX_FILL_H
#define RX_FILL_H

#include "KO/KO.h"
#include "RX_Iterate.h"
#include "RX_Pixels.h"

RX_BEGIN_C

/* Fills rect of world with colour (null: transparent black) converted to
   the world's depth. The rectangle is put in order (left with right, top
   with bottom) and clamped to the world; null means the whole world.
   An 8-bit colour becomes ((c << 15) | 128) / 255 at 16 bits and
   c * 0.00392156862745098 (in double) in float; a 16-bit colour becomes
   (c * 255 + 16384) >> 15 at 8 bits and c * 2^-15 in float; a float colour
   becomes trunc(c * white + 0.5) with all four channels clamped to
   0..white. A depth other than 8, 16, 32 reports "Unknown world bitdepth
   in RX_Fill" (RX_Fill16, RX_FillFloat) and gives RX_Result_Internal; a
   null world or null data reports bad parameter 13. The context is not
   read. */
RX_API RX_Err RX_Fill(RX_EffectContext* context, const RX_Pixel8* colour, const GE_LRect* rect,
                      RX_LayerDef* world);
RX_API RX_Err RX_Fill16(RX_EffectContext* context, const RX_Pixel16* colour, const GE_LRect* rect,
                        RX_LayerDef* world);
RX_API RX_Err RX_FillFloat(RX_EffectContext* context, const RX_PixelFloat* colour,
                           const GE_LRect* rect, RX_LayerDef* world);

/* Stores *pixel at (x, y) and gives 1; gives 0 and writes nothing for a
   null pixel, a null world or a position outside the world. The depth is
   not checked: the caller picks the setter of the world's depth. */
RX_API int32_t RX_SetPixel8(int32_t x, int32_t y, const RX_Pixel8* pixel, RX_LayerDef* world);
RX_API int32_t RX_SetPixel16(int32_t x, int32_t y, const RX_Pixel16* pixel, RX_LayerDef* world);
RX_API int32_t RX_SetPixelFloat(int32_t x, int32_t y, const RX_PixelFloat* pixel,
                                RX_LayerDef* world);

/* Sets every pixel outside rect to transparent black (all four channels),
   leaving rect as it is. The rectangle is clipped to the world; one that
   covers the whole world (or null) returns 0 at once, an empty one clears
   the whole world. The progress record's abort function is asked once per
   row; a non-zero answer stops the walk and is returned. */
RX_API RX_Err RX_ClearAlphaExceptRect(const RX_ProgressInfo* progress, const GE_LRect* rect,
                                      RX_LayerDef* world);

/* Channel masks of the plane moves. */
enum {
  RX_PlaneMask_Alpha = 1,
  RX_PlaneMask_Red = 2,
  RX_PlaneMask_Green = 4,
  RX_PlaneMask_Blue = 8
};

/* Copies planes into the 8-bit pixels of world. planes[0] is one buffer in
   which each row (plane_row_stride bytes apart) holds, for each pixel, one
   byte of each channel whose bit is set in channel_mask, in the order
   alpha, red, green, blue. Other channels stay. Refused with bad parameter
   5: a null world, data or plane array, a mask outside 0..15, a zero
   plane_row_stride. The world is read as 8-bit whatever its flags. */
RX_API RX_Err RX_InsertPlanes(RX_EffectContext* context, void** planes, int32_t plane_row_stride,
                              int32_t channel_mask, RX_LayerDef* world);
/* The reverse: allocates a handle (labelled "image plane buffer") of
   (set bits of channel_mask) * width bytes a row, rows packed, copies the
   channels into it, and gives the handle and that row stride. The handle
   can be passed to RX_InsertPlanes as its plane array; the caller frees it
   with KO_FreeHandle. Refused with bad parameter 6 as RX_InsertPlanes, or
   for null out pointers. An empty world gives 0 with a null handle; a
   failed allocation gives RX_Result_OutOfMemory with a null handle. */
RX_API RX_Err RX_ExtractPlanes(RX_EffectContext* context, RX_LayerDef* world, int32_t channel_mask,
                               KO_Handle* out_planes, int32_t* out_row_stride);

RX_END_C

#ifdef __cplusplus

#include <cstddef>
#include <cstdint>
#include <type_traits>

/* Width and height in pixels of a block of channel values. */
struct RX_PlaneSize {
  int32_t width;
  int32_t height;
};
static_assert(offsetof(RX_PlaneSize, height) == 4 && sizeof(RX_PlaneSize) == 8, "RX_PlaneSize layout");

template <class V>
inline constexpr bool RX_IsPlaneValue =
    std::is_same_v<V, uint8_t> || std::is_same_v<V, uint16_t> || std::is_same_v<V, float>;

/* Copies one channel of interleaved pixels into a packed plane of V
   (uint8_t, uint16_t or float). src points at that channel of the first
   pixel; pixels are src_pixel_stride bytes apart, rows src_row_stride.
   Plane rows are dst_row_stride bytes apart. The block read starts at
   src_offset (x in pixels, y in rows); the block written starts at
   dst_offset (x in values of V, y in rows). For each row and x:
   dst[x] = *(src + x * src_pixel_stride). All strides are in bytes and may
   be negative. */
template <class V>
void RX_Deinterleave1(const V* src, int32_t src_pixel_stride, int32_t src_row_stride,
                      int32_t dst_row_stride, RX_PlaneSize size, GE_LPoint src_offset,
                      GE_LPoint dst_offset, V* dst) {
  static_assert(RX_IsPlaneValue<V>, "planes hold uint8_t, uint16_t or float");
  const char* src_row = reinterpret_cast<const char*>(src) +
                        ptrdiff_t{src_offset.y} * src_row_stride +
                        ptrdiff_t{src_offset.x} * src_pixel_stride;
  char* dst_row = reinterpret_cast<char*>(dst) + ptrdiff_t{dst_offset.y} * dst_row_stride +
                  ptrdiff_t{dst_offset.x} * ptrdiff_t{sizeof(V)};
  for (int32_t y = 0; y < size.height; ++y) {
    V* out = reinterpret_cast<V*>(dst_row);
    for (int32_t x = 0; x < size.width; ++x) {
      out[x] = *reinterpret_cast<const V*>(src_row + ptrdiff_t{x} * src_pixel_stride);
    }
    src_row += src_row_stride;
    dst_row += dst_row_stride;
  }
}

/* Scatters a packed plane of V into one channel of four-channel pixels of
   V: dst points at that channel of the first pixel, pixels are
   4 * sizeof(V) bytes apart, rows dst_row_stride. Plane rows are
   src_row_stride bytes apart. Offsets as for RX_Deinterleave1: src_offset
   in values of V and rows, dst_offset in pixels and rows. The other three
   channels stay. */
template <class V>
void RX_Interleave1to4(const V* src, int32_t src_row_stride, int32_t dst_row_stride,
                       RX_PlaneSize size, GE_LPoint src_offset, GE_LPoint dst_offset, V* dst) {
  static_assert(RX_IsPlaneValue<V>, "planes hold uint8_t, uint16_t or float");
  constexpr ptrdiff_t pixel_stride = 4 * ptrdiff_t{sizeof(V)};
  const char* src_row = reinterpret_cast<const char*>(src) +
                        ptrdiff_t{src_offset.y} * src_row_stride +
                        ptrdiff_t{src_offset.x} * ptrdiff_t{sizeof(V)};
  char* dst_row = reinterpret_cast<char*>(dst) + ptrdiff_t{dst_offset.y} * dst_row_stride +
                  ptrdiff_t{dst_offset.x} * pixel_stride;
  for (int32_t y = 0; y < size.height; ++y) {
    const V* in = reinterpret_cast<const V*>(src_row);
    for (int32_t x = 0; x < size.width; ++x) {
      *reinterpret_cast<V*>(dst_row + ptrdiff_t{x} * pixel_stride) = in[x];
    }
    src_row += src_row_stride;
    dst_row += dst_row_stride;
  }
}

#endif

#endif
