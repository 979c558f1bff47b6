// The 8-bit straight area sampler on SSE2: the four sums in (alpha, red)
// and (green, blue) pairs of doubles. Every lane does the plain form's
// operations in the plain form's order, so the results are the same to the
// bit.
#include <emmintrin.h>

#include <cstring>

#include "sampling/area_sample.h"

namespace rx {
namespace {

struct Sse2Sums {
  __m128d alpha_red = _mm_setzero_pd();
  __m128d green_blue = _mm_setzero_pd();

  void add(double weight, const RX_Pixel8& p) {
    int32_t bytes;
    std::memcpy(&bytes, &p, 4);
    const __m128i zero = _mm_setzero_si128();
    const __m128i channels =
        _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero);
    const __m128d ar = _mm_cvtepi32_pd(channels);                               // (a, r)
    const __m128d gb = _mm_cvtepi32_pd(_mm_shuffle_epi32(channels, 0xEE));      // (g, b)
    // (w·a, w·a): the alpha lane adds w·a × 1, which is w·a exactly.
    const __m128d weighted_alpha = _mm_mul_pd(_mm_set1_pd(weight), _mm_unpacklo_pd(ar, ar));
    const __m128d one_red = _mm_move_sd(ar, _mm_set_sd(1.0));                 // (1, r)
    alpha_red = _mm_add_pd(alpha_red, _mm_mul_pd(weighted_alpha, one_red));
    green_blue = _mm_add_pd(green_blue, _mm_mul_pd(weighted_alpha, gb));
  }
  void add_run(double weight, const RX_Pixel8* p, int32_t count) {
    for (int32_t i = 0; i < count; ++i) add(weight, p[i]);
  }
  RX_PixelDouble totals() const {
    RX_PixelDouble t;
    _mm_storeu_pd(&t.alpha, alpha_red);
    _mm_storeu_pd(&t.green, green_blue);
    return t;
  }
};

}  // namespace

RX_Err area_sample8_sse2(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  *result = area_sample<RX_Pixel8, Sse2Sums>(x, y, pb);
  return RX_Result_OK;
}

}  // namespace rx
