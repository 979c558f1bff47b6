// The SSE2 form of the matte colour rows: four pixels a turn through
// saturating byte adds, the tail by the plain row; the same results.
#include <emmintrin.h>

#include "pixelops/matte_to_colour.h"

namespace rx {

void matte_add_row_sse2(uint8_t* row, int32_t width, const MatteAddends& table, int alpha_at) {
  int32_t x = 0;
  for (; x + 4 <= width; x += 4) {
    uint8_t* p = row + 4 * x;
    const __m128i addend = _mm_setr_epi32(int32_t(table[p[alpha_at]]), int32_t(table[p[4 + alpha_at]]),
                                          int32_t(table[p[8 + alpha_at]]), int32_t(table[p[12 + alpha_at]]));
    __m128i* at = reinterpret_cast<__m128i*>(p);
    _mm_storeu_si128(at, _mm_adds_epu8(_mm_loadu_si128(at), addend));
  }
  matte_add_row_plain(row + 4 * x, width - x, table, alpha_at);
}

}  // namespace rx
