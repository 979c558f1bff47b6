// SSE2 forms of the float to 8 rows: multiply by 255, convert with round to
// nearest even, saturate to signed 16 and then to unsigned 8. Unlike the
// scalar form this clamps alpha too and rounds exact halves to even.
// The source must be 16-byte aligned.
#include <emmintrin.h>

#include "worlds/value_conversions.h"

namespace {

inline __m128i pixel_to_int32(__m128 pixel) {
  return _mm_cvtps_epi32(_mm_mul_ps(pixel, _mm_set1_ps(255.0f)));
}

// Packs four converted pixels to 16 bytes.
inline __m128i pack_four(__m128i p0, __m128i p1, __m128i p2, __m128i p3) {
  return _mm_packus_epi16(_mm_packs_epi32(p0, p1), _mm_packs_epi32(p2, p3));
}

inline void store_one(__m128i p, RX_Pixel8* dst) {
  const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(p, p), _mm_setzero_si128());
  const int32_t bytes = _mm_cvtsi128_si32(packed);
  __builtin_memcpy(dst, &bytes, sizeof bytes);
}

// The same noise the scalar form adds, lanes in memory order.
inline __m128 noisy_pixel(const RX_PixelFloat* p, rx::DitherCursor& cursor) {
  const rx::DitherWords w = rx::next_dither_words_for_float_pixel(cursor);
  const __m128 noise = _mm_mul_ps(
      _mm_set_ps(rx::word_as_float(w.blue), rx::word_as_float(w.green), rx::word_as_float(w.red),
                 rx::word_as_float(w.alpha)),
      _mm_set1_ps(rx::kDitherScale));
  const __m128 pixel = _mm_load_ps(&p->alpha);
  return _mm_add_ps(_mm_sub_ps(pixel, _mm_set1_ps(rx::kDitherOffset)), noise);
}

}  // namespace

RX_Pixel8 rx::convert_float_to_8_vector(const RX_PixelFloat& p) {
  RX_Pixel8 out;
  store_one(pixel_to_int32(_mm_loadu_ps(&p.alpha)), &out);
  return out;
}

void RXp_ConvertRowFloatTo8_SSE2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) {
    const __m128i packed = pack_four(pixel_to_int32(_mm_load_ps(&src[i].alpha)),
                                     pixel_to_int32(_mm_load_ps(&src[i + 1].alpha)),
                                     pixel_to_int32(_mm_load_ps(&src[i + 2].alpha)),
                                     pixel_to_int32(_mm_load_ps(&src[i + 3].alpha)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), packed);
  }
  for (; i < count; ++i) store_one(pixel_to_int32(_mm_load_ps(&src[i].alpha)), dst + i);
}

void RXp_ConvertRowFloatTo8Dithered_SSE2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  rx::DitherCursor cursor;
  rx::convert_row_float_to_8_dithered_sse2(src, dst, count, cursor);
}

void rx::convert_row_float_to_8_dithered_sse2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count,
                                              DitherCursor& cursor) {
  for (int32_t i = 0; i < count; ++i) store_one(pixel_to_int32(noisy_pixel(src + i, cursor)), dst + i);
}
