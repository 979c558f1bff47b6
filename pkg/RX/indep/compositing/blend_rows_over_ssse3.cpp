// The SSSE3 form of the 8-bit Over row, four pixels a turn. Groups that
// are wholly transparent or wholly opaque after weighting take their short
// cut; mixed groups compute every case and select per pixel. Everything is
// the scalar body's arithmetic except the division by the union alpha,
// which uses a reciprocal and may differ from the divide table by one.
#include <tmmintrin.h>

#include "compositing/blend_rows_vector.h"

namespace rx::blend {
namespace {

const __m128i kAlphaBytes = _mm_set1_epi32(0xFF);

// mul(x, y) of 8-bit values in 16-bit or 32-bit lanes (products below 65536).
inline __m128i mul8_epi16(__m128i x, __m128i y) {
  const __m128i t = _mm_add_epi16(_mm_mullo_epi16(x, y), _mm_set1_epi16(128));
  return _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
}
inline __m128i mul8_epi32(__m128i x, __m128i y) {
  const __m128i t = _mm_add_epi32(_mm_mullo_epi16(x, y), _mm_set1_epi32(128));
  return _mm_srli_epi32(_mm_add_epi32(t, _mm_srli_epi32(t, 8)), 8);
}

// x + mul(y - x, k) in 16-bit lanes, exactly as the scalar signed blend:
// a non-negative difference rounds by mul, a negative one by the floor of
// the wrapped 32-bit form, which is x - ceil((Q + ceil(Q / 256)) / 256)
// with Q = |y - x| k - 128 (0 when that is negative).
inline __m128i signed_blend_epi16(__m128i x, __m128i y, __m128i k) {
  const __m128i negative = _mm_cmpgt_epi16(x, y);
  const __m128i magnitude = _mm_abs_epi16(_mm_sub_epi16(y, x));
  const __m128i product = _mm_mullo_epi16(magnitude, k);
  const __m128i up = _mm_add_epi16(product, _mm_set1_epi16(128));
  const __m128i rise = _mm_srli_epi16(_mm_add_epi16(up, _mm_srli_epi16(up, 8)), 8);
  const __m128i q = _mm_subs_epu16(product, _mm_set1_epi16(128));
  const __m128i inner = _mm_add_epi16(q, _mm_srli_epi16(_mm_add_epi16(q, _mm_set1_epi16(255)), 8));
  const __m128i fall = _mm_srli_epi16(_mm_add_epi16(inner, _mm_set1_epi16(255)), 8);
  return _mm_or_si128(_mm_andnot_si128(negative, _mm_add_epi16(x, rise)), _mm_and_si128(negative, _mm_sub_epi16(x, fall)));
}

// Each pixel's byte 0 (alpha) spread over its four 16-bit lanes, for the
// two pixels of the low (first) or high (second) half of a register.
const __m128i kSpreadLow = _mm_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1);
const __m128i kSpreadHigh = _mm_setr_epi8(8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1);
// The same for the low word of each 32-bit lane.
const __m128i kSpreadLowWords = _mm_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5);
const __m128i kSpreadHighWords = _mm_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13);

// The general case of Over on four pixels of weights sa (32-bit lanes):
// colour div(blend(mul(d, da), s - mul(d, da), sa), r), alpha r. The
// division is n * R / 65536 with R = 65280 / r from a float reciprocal and
// n taken as 256 n + r / 2 for the rounding: within one step of the
// divide table, as the vector form is allowed.
__attribute__((always_inline)) inline __m128i over_general(__m128i s, __m128i d, __m128i sa, __m128i r) {
  const __m128i zero = _mm_setzero_si128();
  const __m128 reciprocal = _mm_div_ps(_mm_set1_ps(65280.0f), _mm_cvtepi32_ps(r));
  // R and r / 2 of each pixel in the low word of its 32-bit lane.
  const __m128i factors = _mm_cvtps_epi32(reciprocal);
  const __m128i half_r = _mm_srli_epi32(r, 1);
  __m128i halves[2];
  for (int half = 0; half < 2; ++half) {
    const __m128i spread = half == 0 ? kSpreadLow : kSpreadHigh;
    const __m128i word_spread = half == 0 ? kSpreadLowWords : kSpreadHighWords;
    const __m128i s16 = half == 0 ? _mm_unpacklo_epi8(s, zero) : _mm_unpackhi_epi8(s, zero);
    const __m128i d16 = half == 0 ? _mm_unpacklo_epi8(d, zero) : _mm_unpackhi_epi8(d, zero);
    const __m128i sa16 = _mm_shuffle_epi8(sa, spread);
    const __m128i da16 = _mm_shuffle_epi8(d, spread);
    const __m128i matted = mul8_epi16(d16, da16);
    const __m128i numerators = signed_blend_epi16(matted, s16, sa16);
    const __m128i scaled = _mm_add_epi16(_mm_slli_epi16(numerators, 8), _mm_shuffle_epi8(half_r, spread));
    halves[half] = _mm_min_epi16(_mm_mulhi_epu16(scaled, _mm_shuffle_epi8(factors, word_spread)), _mm_set1_epi16(255));
  }
  const __m128i colours = _mm_packus_epi16(halves[0], halves[1]);
  return _mm_or_si128(_mm_andnot_si128(kAlphaBytes, colours), r);
}

inline __m128i select(__m128i where, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(where, yes), _mm_andnot_si128(where, no));
}

template <bool FullOpacity, bool WithMask>
void over_loop(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst,
               int32_t& i) {
  const __m128i opacity_v = _mm_set1_epi32(opacity);
  const __m128i white = _mm_set1_epi32(255), zero = _mm_setzero_si128();
  for (; i + 4 <= width; i += 4) {
    const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i sa = _mm_and_si128(s, kAlphaBytes);
    if constexpr (!FullOpacity) sa = mul8_epi32(sa, opacity_v);
    if constexpr (WithMask) {
      sa = mul8_epi32(_mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i)), kAlphaBytes), sa);
    }
    const __m128i transparent = _mm_cmpeq_epi32(sa, zero);
    const __m128i opaque = _mm_cmpeq_epi32(sa, white);
    const int transparent_bits = _mm_movemask_epi8(transparent), opaque_bits = _mm_movemask_epi8(opaque);
    if (transparent_bits == 0xFFFF) continue;
    __m128i* at = reinterpret_cast<__m128i*>(dst + i);
    if (opaque_bits == 0xFFFF) {
      _mm_storeu_si128(at, s);
      continue;
    }
    const __m128i d = _mm_loadu_si128(at);
    const __m128i da = _mm_and_si128(d, kAlphaBytes);
    const __m128i r = _mm_sub_epi32(white, mul8_epi32(_mm_sub_epi32(white, sa), _mm_sub_epi32(white, da)));
    // Source with the weighted alpha: where sa is full, and where da is 0.
    const __m128i weighted_src = _mm_or_si128(_mm_andnot_si128(kAlphaBytes, s), sa);
    __m128i out = over_general(s, d, sa, r);
    out = select(_mm_cmpeq_epi32(da, zero), weighted_src, out);
    out = select(opaque, weighted_src, out);
    out = select(transparent, d, out);
    _mm_storeu_si128(at, out);
  }
}

}  // namespace

RX_Err over_row_ssse3(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                      RX_Pixel8* dst) {
  int32_t i = 0;
  if (opacity == 255) {
    mask ? over_loop<true, true>(width, opacity, src, mask, dst, i) : over_loop<true, false>(width, opacity, src, mask, dst, i);
  } else {
    mask ? over_loop<false, true>(width, opacity, src, mask, dst, i) : over_loop<false, false>(width, opacity, src, mask, dst, i);
  }
  if (i == width) return RX_Result_OK;
  return over_row_scalar8(width - i, opacity, src + i, mask ? mask + i : nullptr, dst + i);
}

}  // namespace rx::blend
