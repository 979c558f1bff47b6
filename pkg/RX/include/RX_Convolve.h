/* Convolution of a world with a per-channel integer kernel, and the bell
   curve that the package's kernels and blurs share. */
#ifndef RX_CONVOLVE_H
#define RX_CONVOLVE_H

#include "RX_Pixels.h"

RX_BEGIN_C

/* Flags of RX_Convolve. Without RX_CONVOLVE_1D the kernel is square,
   kernel_size by kernel_size. */
typedef uint32_t RX_ConvolveFlags;
enum {
  RX_CONVOLVE_1D = 1,         /* one row of kernel_size entries ... */
  RX_CONVOLVE_NORMALIZE = 2,  /* divide by each channel's kernel sum (0 counts as 1) */
  RX_CONVOLVE_NO_CLAMP = 4,   /* do not limit the results */
  RX_CONVOLVE_VERTICAL = 32   /* ... with RX_CONVOLVE_1D: one column instead */
};

/* Flags of RX_GaussianKernel. */
enum {
  RX_KERNEL_1D = 1,        /* one row only */
  RX_KERNEL_NORMALIZE = 2  /* scale the entries to add up to 255 times their count */
};

/* The bell: 0 beyond d = 1, else 1 - (1 - exp(-2.378 d^2)) * 1.102. It is 1
   at 0 and about 0.00018 at 1. */
RX_API double RXp_GaussianValue(double d);

/* Fills kernel with the bell of the radius: 2R + 1 entries a row, R the
   radius rounded up, one row with RX_KERNEL_1D, else 2R + 1 rows; each
   entry is 255 times the bell (times multiplier), rounded, within 0..255.
   *size gets 2R + 1. A negative radius or a null pointer is a bad
   parameter (3). The caller's kernel holds (2R + 1)^2 entries (2R + 1 for
   one row). */
RX_API RX_Err RX_GaussianKernel(void* unused, double radius, uint32_t flags, double multiplier,
                                uint32_t* size, int32_t* kernel);

/* Convolves src into dst, one kernel a channel, each of kernel_size entries
   a side (kernel_size odd) in rows top to bottom. Every pixel of dst gets
   sum(value * entry) / divisor over the part of the window inside the
   picture, truncated toward zero and, unless RX_CONVOLVE_NO_CLAMP, limited
   to the depth's range; float alpha is always limited to 0..1. The divisor
   is entries * 256, or the channel's kernel sum with
   RX_CONVOLVE_NORMALIZE. src and dst are different worlds of one depth.
   The default of override slot 28. */
RX_API RX_Err RX_Convolve(const RX_ProgressInfo* progress, const RX_WorldObject* src,
                          void* unused, uint32_t flags, int32_t kernel_size,
                          const int32_t* alpha_kernel, const int32_t* red_kernel,
                          const int32_t* green_kernel, const int32_t* blue_kernel,
                          RX_WorldObject* dst);
typedef RX_Err (*RX_ConvolveFunc)(const RX_ProgressInfo* progress, const RX_WorldObject* src,
                                  void* unused, uint32_t flags, int32_t kernel_size,
                                  const int32_t* alpha_kernel, const int32_t* red_kernel,
                                  const int32_t* green_kernel, const int32_t* blue_kernel,
                                  RX_WorldObject* dst);

RX_END_C

#ifdef __cplusplus
#include "RX_World.h"

RX_VISIBLE_BEGIN
/* The convolution at one depth, for RX_Pixel8, RX_Pixel16 and
   RX_PixelFloat. */
template <class Px>
RX_API RX_Err RXp_Convolve(const RX_ProgressInfo* progress, const RX_WorldX<Px>* src,
                           void* unused, uint32_t flags, int32_t kernel_size,
                           const int32_t* alpha_kernel, const int32_t* red_kernel,
                           const int32_t* green_kernel, const int32_t* blue_kernel,
                           RX_WorldX<Px>* dst);
extern template RX_Err RXp_Convolve<RX_Pixel8>(const RX_ProgressInfo*, const RX_WorldX<RX_Pixel8>*,
                                               void*, uint32_t, int32_t, const int32_t*,
                                               const int32_t*, const int32_t*, const int32_t*,
                                               RX_WorldX<RX_Pixel8>*);
extern template RX_Err RXp_Convolve<RX_Pixel16>(const RX_ProgressInfo*,
                                                const RX_WorldX<RX_Pixel16>*, void*, uint32_t,
                                                int32_t, const int32_t*, const int32_t*,
                                                const int32_t*, const int32_t*,
                                                RX_WorldX<RX_Pixel16>*);
extern template RX_Err RXp_Convolve<RX_PixelFloat>(const RX_ProgressInfo*,
                                                   const RX_WorldX<RX_PixelFloat>*, void*,
                                                   uint32_t, int32_t, const int32_t*,
                                                   const int32_t*, const int32_t*,
                                                   const int32_t*, RX_WorldX<RX_PixelFloat>*);
RX_VISIBLE_END
#endif

#endif
