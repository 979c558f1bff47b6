// SSE2 forms of the alpha combine scans: the union of each pixel's alpha
// with mask times opacity, the masks read at each pixel's alpha, with
// exactly the plain forms' arithmetic.
#include <emmintrin.h>

#include "pixelops/premultiply_scans.h"
#include "simd/sse2.h"
#include "simd/vector_arith.h"

namespace rx {
namespace {

inline __m128i m255_epi32(__m128i x) { return simd::m255_32<simd::Sse2>(x); }

// The alphas of four mask pixels, in the low bytes of four 32-bit lanes.
inline __m128i load_four_alphas(const RX_Pixel8* p) {
  return _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi32(0xFF));
}

// Products of values below 65536 whose result fits 32 bits: 16-bit lanes
// hold the factors, so the low 16-bit product is exact below 65536.
inline __m128i mul_small(__m128i x, __m128i y) { return _mm_mullo_epi16(x, y); }

RX_Err alpha_combine8(int32_t count, const RX_Pixel8* mask, uint8_t opacity, const RX_Pixel8* mask2,
                      RX_Pixel8* dst) {
  if (count < 1 || opacity == 0) return RX_Result_OK;
  const __m128i white = _mm_set1_epi32(255);
  const __m128i alpha_bytes = _mm_set1_epi32(0xFF);
  const __m128i opacity_v = _mm_set1_epi32(opacity);
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) {
    __m128i b = load_four_alphas(mask + i);
    if (opacity != 255) b = m255_epi32(mul_small(b, opacity_v));
    if (mask2) b = m255_epi32(mul_small(b, load_four_alphas(mask2 + i)));
    __m128i* at = reinterpret_cast<__m128i*>(dst + i);
    const __m128i pixels = _mm_loadu_si128(at);
    const __m128i d = _mm_and_si128(pixels, alpha_bytes);
    const __m128i union_alpha =
        _mm_sub_epi32(white, m255_epi32(mul_small(_mm_sub_epi32(white, b), _mm_sub_epi32(white, d))));
    _mm_storeu_si128(at, _mm_or_si128(_mm_andnot_si128(alpha_bytes, pixels), union_alpha));
  }
  if (i < count) alpha_combine_scan<RX_Pixel8>(count - i, mask + i, opacity, mask2 ? mask2 + i : nullptr, dst + i);
  return RX_Result_OK;
}

// 16 bits: two pixels a register, the alphas in the low words of the two
// 64-bit lanes, products through the 32 x 32 multiply.
inline __m128i mul16_epu64(__m128i x, __m128i y) {
  return _mm_srli_epi64(_mm_add_epi64(_mm_mul_epu32(x, y), _mm_set1_epi64x(16383)), 15);
}

// The alphas of two mask pixels, in the low words of the 64-bit lanes.
inline __m128i load_two_alphas(const RX_Pixel16* p) {
  return _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi64x(0xFFFF));
}

RX_Err alpha_combine16(int32_t count, const RX_Pixel16* mask, uint16_t opacity,
                       const RX_Pixel16* mask2, RX_Pixel16* dst) {
  if (count < 1 || opacity == 0) return RX_Result_OK;
  const __m128i white = _mm_set1_epi64x(32768);
  const __m128i low_word = _mm_set1_epi64x(0xFFFF);
  const __m128i opacity_v = _mm_set1_epi64x(opacity);
  int32_t i = 0;
  for (; i + 2 <= count; i += 2) {
    __m128i b = load_two_alphas(mask + i);
    if (opacity != 32768) b = mul16_epu64(b, opacity_v);
    if (mask2) b = mul16_epu64(b, load_two_alphas(mask2 + i));
    __m128i* at = reinterpret_cast<__m128i*>(dst + i);
    const __m128i pixels = _mm_loadu_si128(at);
    const __m128i d = _mm_and_si128(pixels, low_word);
    // The plain form takes both complements as 16-bit values.
    const __m128i inverse_b = _mm_and_si128(_mm_sub_epi64(white, b), low_word);
    const __m128i inverse_d = _mm_and_si128(_mm_sub_epi64(white, d), low_word);
    const __m128i union_alpha =
        _mm_and_si128(_mm_sub_epi64(white, mul16_epu64(inverse_b, inverse_d)), low_word);
    _mm_storeu_si128(at, _mm_or_si128(_mm_andnot_si128(low_word, pixels), union_alpha));
  }
  if (i < count) alpha_combine_scan<RX_Pixel16>(count - i, mask + i, opacity, mask2 ? mask2 + i : nullptr, dst + i);
  return RX_Result_OK;
}

// Float: a pixel is one register with its alpha in lane 0.
inline __m128 load_pixel(const RX_PixelFloat* p) { return _mm_loadu_ps(reinterpret_cast<const float*>(p)); }

// The alphas of four loaded pixels, brought into one register in order.
inline __m128 alphas_of(__m128 p0, __m128 p1, __m128 p2, __m128 p3) {
  return _mm_movelh_ps(_mm_unpacklo_ps(p0, p1), _mm_unpacklo_ps(p2, p3));
}

inline __m128 four_alphas(const RX_PixelFloat* p) {
  return alphas_of(load_pixel(p), load_pixel(p + 1), load_pixel(p + 2), load_pixel(p + 3));
}

RX_Err alpha_combine_float(int32_t count, const RX_PixelFloat* mask, float opacity,
                           const RX_PixelFloat* mask2, RX_PixelFloat* dst) {
  if (count < 1 || opacity == 0.0f) return RX_Result_OK;
  const __m128 one = _mm_set1_ps(1.0f);
  const __m128 opacity_v = _mm_set1_ps(opacity);
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) {
    __m128 b = _mm_mul_ps(four_alphas(mask + i), opacity_v);
    if (mask2) b = _mm_mul_ps(b, four_alphas(mask2 + i));
    RX_PixelFloat* at = dst + i;
    const __m128 p0 = load_pixel(at), p1 = load_pixel(at + 1), p2 = load_pixel(at + 2),
                 p3 = load_pixel(at + 3);
    const __m128 d = alphas_of(p0, p1, p2, p3);
    const __m128 r = _mm_sub_ps(one, _mm_mul_ps(_mm_sub_ps(one, b), _mm_sub_ps(one, d)));
    // Each new alpha goes back into lane 0 of its pixel; the colours are
    // stored as they were loaded, bit for bit.
    float* out = reinterpret_cast<float*>(at);
    _mm_storeu_ps(out, _mm_move_ss(p0, r));
    _mm_storeu_ps(out + 4, _mm_move_ss(p1, _mm_shuffle_ps(r, r, _MM_SHUFFLE(1, 1, 1, 1))));
    _mm_storeu_ps(out + 8, _mm_move_ss(p2, _mm_shuffle_ps(r, r, _MM_SHUFFLE(2, 2, 2, 2))));
    _mm_storeu_ps(out + 12, _mm_move_ss(p3, _mm_shuffle_ps(r, r, _MM_SHUFFLE(3, 3, 3, 3))));
  }
  if (i < count) alpha_combine_scan<RX_PixelFloat>(count - i, mask + i, opacity, mask2 ? mask2 + i : nullptr, dst + i);
  return RX_Result_OK;
}

}  // namespace

RX_OverFunc sse2_alpha_combine_scan(RX_Slot slot) {
  switch (slot) {
    case RX_Slot_AlphaCombineScan8: return reinterpret_cast<RX_OverFunc>(&alpha_combine8);
    case RX_Slot_AlphaCombineScan16: return reinterpret_cast<RX_OverFunc>(&alpha_combine16);
    case RX_Slot_AlphaCombineScanFloat: return reinterpret_cast<RX_OverFunc>(&alpha_combine_float);
    default: return nullptr;
  }
}

}  // namespace rx
