// The 8-bit straight bilinear kernel on SSE2.
#include <emmintrin.h>

#include "sampling/bilinear_sse2.h"

namespace rx {
namespace {

inline __m128 lanes(const RX_Pixel8& p) {
  int32_t bytes;
  std::memcpy(&bytes, &p, 4);
  const __m128i zero = _mm_setzero_si128();
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
}

// v + 0.5, truncated, limited to 0..255, as bytes of a pixel.
inline RX_Pixel8 to_pixel(__m128 v) {
  const __m128i t = _mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(0.5f)));
  const __m128i words = _mm_packs_epi32(t, t);
  const int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  RX_Pixel8 p;
  std::memcpy(&p, &bytes, 4);
  return p;
}

}  // namespace

RX_Pixel8 blend_taps8_sse2(const RX_Pixel8 t[4], const TapWeights<float>& w) {
  if (all_identical(t)) return t[0];
  const __m128 p0 = lanes(t[0]), p1 = lanes(t[1]), p2 = lanes(t[2]), p3 = lanes(t[3]);
  if (t[0].alpha == t[1].alpha && t[0].alpha == t[2].alpha && t[0].alpha == t[3].alpha) {
    if (t[0].alpha == 0) return RX_Pixel8{};
    const __m128 sum = _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(w.w00), p0),
                                                        _mm_mul_ps(_mm_set1_ps(w.w10), p1)),
                                             _mm_mul_ps(_mm_set1_ps(w.w01), p2)),
                                  _mm_mul_ps(_mm_set1_ps(w.w11), p3));
    RX_Pixel8 out = to_pixel(sum);
    out.alpha = t[0].alpha;
    return out;
  }
  const float a0 = w.w00 * float(t[0].alpha), a1 = w.w10 * float(t[1].alpha);
  const float a2 = w.w01 * float(t[2].alpha), a3 = w.w11 * float(t[3].alpha);
  const float total = a0 + a1 + a2 + a3;
  if (total < 0.5f) return RX_Pixel8{};
  const float inverse = 1.0f / total;
  const __m128 sum = _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(a0), p0),
                                                      _mm_mul_ps(_mm_set1_ps(a1), p1)),
                                           _mm_mul_ps(_mm_set1_ps(a2), p2)),
                                _mm_mul_ps(_mm_set1_ps(a3), p3));
  RX_Pixel8 out = to_pixel(_mm_mul_ps(sum, _mm_set1_ps(inverse)));
  out.alpha = to_channel<RX_Pixel8>(total);
  return out;
}

RX_Err subpixel_noclip8_sse2(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  *result = bilinear_straight8_sse2<false>(*pb->src, x, y);
  return RX_Result_OK;
}

}  // namespace rx
