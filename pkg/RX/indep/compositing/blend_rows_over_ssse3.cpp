// The SSSE3 form of the 8-bit Over row: the vector body over 128-bit
// registers, four pixels a turn, the last few on a padded copy.
#include <tmmintrin.h>

#include "compositing/blend_rows_over_simd.h"
#include "simd/ssse3.h"

namespace rx::blend {

RX_Err over_row_ssse3(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                      RX_Pixel8* dst) {
  if (width > 0) over_simd::over_row<simd::Sse>(width, opacity, src, mask, dst);
  return RX_Result_OK;
}

}  // namespace rx::blend
