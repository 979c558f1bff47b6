// The premultiply, unmultiply and alpha combine scans behind slots 35 to
// 41, 72 to 78 and 106 to 112: plain forms, and the processor variants
// that birth installs where the CPU data allows.
#pragma once

#include "RX_Frame.h"
#include "RX_Premul.h"
#include "pixelops/premultiply_math.h"

namespace rx {

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
