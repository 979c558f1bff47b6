// The 8-bit straight kernel on SSE2: the four channels of a pixel in four
// float lanes, with the plain kernel's operations in the same order, so the
// results are the same to the bit.
#pragma once

#include "sampling/bilinear_kernel.h"

namespace rx {

RX_Pixel8 blend_taps8_sse2(const RX_Pixel8 taps[4], const TapWeights<float>& w);

template <bool Clip>
RX_Pixel8 bilinear_straight8_sse2(const RX_LayerDef& world, int32_t x, int32_t y) {
  const int32_t i = x >> 16, j = y >> 16;
  const uint32_t fx = uint32_t(x) & 0xFFFF, fy = uint32_t(y) & 0xFFFF;
  if (fx == 0 && fy == 0) {
    if (Clip && !inside<RX_Pixel8>(world, i, j)) return RX_Pixel8{};
    return *pixel_at<RX_Pixel8>(world, i, j);
  }
  RX_Pixel8 taps[4];
  read_taps<RX_Pixel8, Clip>(world, i, j, taps);
  return blend_taps8_sse2(taps, tap_weights<float>(fx, fy));
}

// The slot's vector form of the unclipped 8-bit sampler.
RX_Err subpixel_noclip8_sse2(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result);

}  // namespace rx
