// The premultiply, unmultiply and alpha combine scans behind slots 35 to
// 41, 72 to 78 and 106 to 112: plain forms, and the processor variants
// that birth installs where the CPU data allows.
#pragma once

#include "RX_Frame.h"
#include "RX_Premul.h"
#include "worlds/depth_arith.h"

namespace rx {

// One pixel: alpha copied, each colour seen on the matte (premultiply) or
// brought back from it (unmultiply), by the depth's arithmetic. The 8-bit
// forms divide by nothing: m255 and the divide table replace it. A
// transparent pixel unmultiplies to white against black at every depth (the
// divide table's row 0 at 8 bits).
template <class Px, Matte M, bool Forward>
RX_PIXEL_STEP Px premultiply_pixel(const Px& in) {
  using A = DepthArith<Px>;
  using Cv = typename A::Cv;
  const typename A::V a = in.alpha;
  auto f = [a](Cv c) RX_CHANNEL_BODY { return Cv(Forward ? matte<A, M>(c, a) : unmultiply<A, M>(c, a)); };
  return Px{in.alpha, f(in.red), f(in.green), f(in.blue)};
}

// Plain scans: one body per depth, matte and direction.
template <class Px, Matte M, bool Forward>
RX_Err premultiply_scan(int32_t count, const Px* src, Px* dst) {
  if (count < 1) return RX_Result_OK;
  if (!src) src = dst;
  // Unrolled by the compiler; pixels are independent.
  for (int32_t i = 0; i < count; ++i) dst[i] = premultiply_pixel<Px, M, Forward>(src[i]);
  return RX_Result_OK;
}

// d' = 1 - (1 - b)(1 - d) on dst's alpha, b = mask * opacity (* mask2),
// the masks read at the alpha of each pixel.
template <class Px>
RX_Err alpha_combine_scan(int32_t count, const Px* mask, typename Depth<Px>::Cv opacity, const Px* mask2,
                          Px* dst);

// The vector forms of a slot, defined beside their plain ones; null where
// the slot has none. The family's 21 slots register in the variant list
// premultiply_scans_variants() (frame/variants.h).
RX_OverFunc ssse3_premultiply_scan(RX_Slot slot);
RX_OverFunc sse2_alpha_combine_scan(RX_Slot slot);

}  // namespace rx
