// The summed-area table's row build on SSE2: each pixel in (alpha, red) and
// (green, blue) pairs of doubles, with the plain build's operations in the
// plain build's order in every lane.
#include <emmintrin.h>

#include <cstring>

#include "sampling/area_sample.h"

namespace rx {
namespace {

struct Pairs {
  __m128d alpha_red, green_blue;
};

// A pixel as it enters the table: premultiplied at its own scale, float
// pixels as they are.
template <class Px>
Pairs table_input_sse2(const Px* p) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    const __m128 v = _mm_loadu_ps(&p->alpha);
    return {_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))};
  } else {
    const __m128i zero = _mm_setzero_si128();
    __m128i channels;
    if constexpr (std::is_same_v<Px, RX_Pixel8>) {
      int32_t bytes;
      std::memcpy(&bytes, p, 4);
      channels = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero);
    } else {
      channels = _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), zero);
    }
    const __m128d ar = _mm_cvtepi32_pd(channels);
    const __m128d gb = _mm_cvtepi32_pd(_mm_shuffle_epi32(channels, 0xEE));
    const __m128d alpha = _mm_unpacklo_pd(ar, ar);
    const __m128d one = _mm_set_sd(1.0);
    const __m128d white = _mm_set1_pd(double(Depth<Px>::white));
    // c × a / white; the alpha lane is a × 1 / 1, which is a.
    return {_mm_div_pd(_mm_mul_pd(ar, _mm_move_sd(alpha, one)), _mm_move_sd(white, one)),
            _mm_div_pd(_mm_mul_pd(gb, alpha), white)};
  }
}

template <class Entry>
void store_entry(Entry* entry, __m128d alpha_red, __m128d green_blue) {
  if constexpr (std::is_same_v<Entry, RX_PixelFloat>) {
    _mm_storeu_ps(&entry->alpha, _mm_movelh_ps(_mm_cvtpd_ps(alpha_red), _mm_cvtpd_ps(green_blue)));
  } else {
    _mm_storeu_pd(&entry->alpha, alpha_red);
    _mm_storeu_pd(&entry->green, green_blue);
  }
}

}  // namespace

template <class Px, class Entry>
void build_table_row_sse2(const Px* src, int32_t width, int32_t y, const RX_PixelDouble* above,
                          RX_PixelDouble* current, Entry* entries) {
  const double rows = double(y + 1);
  __m128d left_ar = _mm_loadu_pd(&current[0].alpha), left_gb = _mm_loadu_pd(&current[0].green);
  __m128d up_left_ar = _mm_loadu_pd(&above[0].alpha), up_left_gb = _mm_loadu_pd(&above[0].green);
  for (int32_t x = 0; x < width; ++x) {
    const Pairs p = table_input_sse2(src + x);
    const __m128d up_ar = _mm_loadu_pd(&above[x + 1].alpha);
    const __m128d up_gb = _mm_loadu_pd(&above[x + 1].green);
    // ((p + left) + up) - up_left, as the plain build adds.
    const __m128d s_ar =
        _mm_sub_pd(_mm_add_pd(_mm_add_pd(p.alpha_red, left_ar), up_ar), up_left_ar);
    const __m128d s_gb =
        _mm_sub_pd(_mm_add_pd(_mm_add_pd(p.green_blue, left_gb), up_gb), up_left_gb);
    _mm_storeu_pd(&current[x + 1].alpha, s_ar);
    _mm_storeu_pd(&current[x + 1].green, s_gb);
    const __m128d scale = _mm_set1_pd(1.0 / (double(x + 1) * rows));
    store_entry(entries + x, _mm_mul_pd(s_ar, scale), _mm_mul_pd(s_gb, scale));
    left_ar = s_ar;
    left_gb = s_gb;
    up_left_ar = up_ar;
    up_left_gb = up_gb;
  }
}

template void build_table_row_sse2<RX_Pixel8, RX_PixelFloat>(const RX_Pixel8*, int32_t, int32_t,
                                                             const RX_PixelDouble*, RX_PixelDouble*,
                                                             RX_PixelFloat*);
template void build_table_row_sse2<RX_Pixel16, RX_PixelFloat>(const RX_Pixel16*, int32_t, int32_t,
                                                              const RX_PixelDouble*,
                                                              RX_PixelDouble*, RX_PixelFloat*);
template void build_table_row_sse2<RX_PixelFloat, RX_PixelDouble>(const RX_PixelFloat*, int32_t,
                                                                  int32_t, const RX_PixelDouble*,
                                                                  RX_PixelDouble*, RX_PixelDouble*);

}  // namespace rx
