// The AVX2 form of the 8-bit Over row: the vector body over 256-bit
// registers, eight pixels a turn, the last few on a padded copy.
#include <immintrin.h>

#include <algorithm>

#include "compositing/blend_rows_over_simd.h"
#include "simd/avx2.h"

namespace rx::blend {

RX_Err over_row_avx2(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                     RX_Pixel8* dst) {
  if (width < 1) return RX_Result_OK;
  // The line's start up to a 32-byte boundary of dst goes to the SSSE3
  // form, whose arithmetic is the same, so that no store of eight pixels
  // straddles two cache lines.
  const int32_t head = std::min(width, int32_t((32 - reinterpret_cast<uintptr_t>(dst) % 32) % 32 / sizeof(RX_Pixel8)));
  if (head > 0) over_row_ssse3(head, opacity, src, mask, dst);
  if (head < width) {
    over_simd::over_row<simd::Avx2>(width - head, opacity, src + head, mask ? mask + head : nullptr, dst + head);
  }
  return RX_Result_OK;
}

}  // namespace rx::blend
