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

// Where a scan slot's functions come from.
struct ScanSlot {
  RX_Slot slot;
  RX_OverFunc plain;
  RX_OverFunc vector;   // null where no variant exists
  bool needs_ssse3;     // else SSE2
};

// All 21 scan slots with their plain and vector forms.
const ScanSlot* scan_slots(size_t* count);

// The vector forms, defined beside their plain ones.
RX_OverFunc ssse3_premultiply_scan(RX_Slot slot);
RX_OverFunc sse2_alpha_combine_scan(RX_Slot slot);

}  // namespace rx

RX_BEGIN_C
/* The plain (vector 0) or processor (vector 1) form of a scan slot, null
   where none exists: for modules that want to call a form directly, and for
   the tests that hold each variant against its plain form. */
RX_API RX_OverFunc RXp_ScanForm(int32_t slot, int32_t vector);
RX_END_C
