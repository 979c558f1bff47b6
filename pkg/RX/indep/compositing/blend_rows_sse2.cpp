// The SSE2 form of the 8-bit Copy row: eight pixels a turn, alpha weighted
// by opacity and mask with the exact rounded multiply, colours copied. It
// gives the same bytes as the scalar body.
#include <emmintrin.h>

#include "compositing/blend_rows_vector.h"
#include "simd/sse2.h"
#include "simd/vector_arith.h"

namespace rx::blend {
namespace {

const __m128i kAlphaBytes = _mm_set1_epi32(0xFF);

// mul(x, y) of 8-bit values held in 32-bit lanes.
inline __m128i mul8_epi32(__m128i x, __m128i y) { return simd::mul8_32<simd::Sse2>(x, y); }

// Four pixels: alpha := mul(mul(alpha, opacity), mask alpha).
inline __m128i copy_four(__m128i pixels, __m128i opacity, const RX_Pixel8* mask) {
  __m128i alpha = mul8_epi32(_mm_and_si128(pixels, kAlphaBytes), opacity);
  if (mask) {
    const __m128i mask_alpha = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask)), kAlphaBytes);
    alpha = mul8_epi32(mask_alpha, alpha);
  }
  return _mm_or_si128(_mm_andnot_si128(kAlphaBytes, pixels), alpha);
}

}  // namespace

int32_t copy_weighted_sse2(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                           RX_Pixel8* dst) {
  const __m128i opacity_v = _mm_set1_epi32(opacity);
  int32_t i = 0;
  for (; i + 8 <= width; i += 8) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 4));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), copy_four(first, opacity_v, mask ? mask + i : nullptr));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 4),
                     copy_four(second, opacity_v, mask ? mask + i + 4 : nullptr));
  }
  return i;
}

}  // namespace rx::blend
