// The AVX2 forms of the 8-bit matte rows without tables, eight pixels a
// register.
#include "compositing/blend_rows_matte_simd.h"
#include "simd/avx2.h"

namespace rx::blend {

RX_Err matte_row_avx2(int32_t mode, int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                      RX_Pixel8* dst) {
  if (width > 0) matte_simd::matte_row_by_mode<simd::Avx2>(mode, width, opacity, src, mask, dst);
  return RX_Result_OK;
}

}  // namespace rx::blend
