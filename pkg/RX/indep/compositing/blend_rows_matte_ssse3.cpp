// The SSSE3 forms of the 8-bit matte rows without tables, four pixels a
// register.
#include "compositing/blend_rows_matte_simd.h"
#include "simd/ssse3.h"

namespace rx::blend {

RX_Err matte_row_ssse3(int32_t mode, int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                       RX_Pixel8* dst) {
  if (width > 0) matte_simd::matte_row_by_mode<simd::Sse>(mode, width, opacity, src, mask, dst);
  return RX_Result_OK;
}

}  // namespace rx::blend
