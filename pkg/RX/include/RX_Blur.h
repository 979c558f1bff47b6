/* One-dimensional blurs of a world: a Gaussian (a direct weighted sum with
   the package's integer bell kernel) and a box of fractional radius
   repeated a number of passes. Each call blurs along one axis; a
   two-dimensional blur is two calls, the second reading what the first
   wrote. The source's lines (rows, or columns when src_vertical is
   non-zero) may become the destination's columns (dst_vertical 1), so a
   blur may also transpose. Worlds are of one depth, 8, 16 or float,
   straight or premultiplied on either side; the destination's origin may
   differ from the source's, which shifts the lines.

   Lines are handed out through RX_IterateGeneric (override slot 53), so a
   host that puts a parallel iterate there runs the blurs on its threads;
   per-thread scratch is sized by the host's thread count. */
#ifndef RX_BLUR_H
#define RX_BLUR_H

#include "RX_Pixels.h"

RX_BEGIN_C

/* Which channels a blur touches. A channel left out takes the source pixel
   under the kernel's centre. Without RX_BLUR_RENORMALIZE what lies beyond
   the source line counts as transparent black; with it, as absent (the
   sums are divided by the weight that fell inside). */
typedef int32_t RX_BlurChannels;
enum {
  RX_BLUR_ALPHA = 1,
  RX_BLUR_RED = 2,
  RX_BLUR_GREEN = 4,
  RX_BLUR_BLUE = 8,
  RX_BLUR_RENORMALIZE = 16
};

/* Obsolete entries, kept in override slots 26 and 27: they do nothing and
   return RX_Result_Unimplemented whatever they are given. */
RX_API RX_Err RX_FastBlur_Straight(void* unused, ...);
RX_API RX_Err RX_FastBlur_Premul(void* unused, ...);

#ifdef __cplusplus
/* Both blurs report failure by throwing an RX_Err (C++ callers only):
   RX_Result_Internal for worlds of different depths, a null world, a
   negative radius or a dst_vertical other than 0 and 1; the allocator's or
   the thread count's code; the code an abort callback returned (polled
   after every line, and after every box pass, on thread 0). What the
   destination holds after a failure is the lines finished so far.

   force_copy takes every source line through scratch, so that source and
   destination may be the same memory. */
RX_API void RX_GaussianBlur1D(const RX_ProgressInfo* progress, const RX_WorldObject* src,
                              float radius, RX_BlurChannels channels, uint32_t src_vertical,
                              int32_t src_premultiplied, uint32_t dst_vertical,
                              uint32_t dst_premultiplied, uint8_t force_copy,
                              RX_WorldObject* dst);

/* passes is at least 1. */
RX_API void RX_BoxBlur1D(const RX_ProgressInfo* progress, const RX_WorldObject* src,
                         float radius, uint32_t passes, RX_BlurChannels channels,
                         uint32_t src_vertical, int32_t src_premultiplied,
                         uint32_t dst_vertical, uint32_t dst_premultiplied, uint8_t force_copy,
                         RX_WorldObject* dst);
#endif

RX_END_C

#endif
