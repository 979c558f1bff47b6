// The dithered Screen of 8 bits in SSE2: eight values a unit in 16-bit
// lanes, with noise from a vector generator that the dither table seeds
// once a row. Value j of a unit takes the low byte of 16-bit half j of
// the generator's four 32-bit lanes, after the unit's step.
#include <emmintrin.h>

#include "masks/uno_access.h"
#include "masks/uno_mode_rows.h"
#include "worlds/value_conversions.h"

namespace rx::uno {
namespace {

constexpr int32_t kUnit = 8;

// Lane-wise 32-bit multiply, which SSE2 lacks: even lanes and odd lanes
// through the 64-bit products, low halves put back together.
__m128i mullo_epi32(__m128i a, __m128i b) {
  const __m128i even = _mm_mul_epu32(a, b);
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(b, 32));
  return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                            _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

class NoiseLanes {
 public:
  explicit NoiseLanes(uint32_t seed)
      : state_(_mm_setr_epi32(int32_t(seed), int32_t(seed + 1), int32_t(seed), int32_t(seed + 1))),
        multiplier_(_mm_setr_epi32(int32_t(DitherLanes::kMultiplier[0]), int32_t(DitherLanes::kMultiplier[1]),
                                   int32_t(DitherLanes::kMultiplier[2]), int32_t(DitherLanes::kMultiplier[3]))),
        increment_(_mm_setr_epi32(int32_t(DitherLanes::kIncrement[0]), int32_t(DitherLanes::kIncrement[1]),
                                  int32_t(DitherLanes::kIncrement[2]), int32_t(DitherLanes::kIncrement[3]))) {}

  // One step; eight noise values in the low bytes of 16-bit lanes.
  __m128i next() {
    state_ = _mm_add_epi32(mullo_epi32(state_, multiplier_), increment_);
    return _mm_and_si128(state_, _mm_set1_epi16(0x00ff));
  }

 private:
  __m128i state_, multiplier_, increment_;
};

// 255 - ((p + n + ((p + n) >> 8)) >> 8) with p = (255 - s)(255 - d), on
// eight 16-bit lanes: p + n + 255 stays below 65536.
__m128i screen_unit(__m128i s16, __m128i d16, __m128i noise) {
  const __m128i white = _mm_set1_epi16(kWhite8);
  const __m128i p = _mm_mullo_epi16(_mm_sub_epi16(white, s16), _mm_sub_epi16(white, d16));
  const __m128i t = _mm_add_epi16(p, noise);
  return _mm_sub_epi16(white, _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8));
}

}  // namespace

void dithered_screen_row8_sse2(int32_t count, const uint8_t* src, uint8_t* dst) {
  if (count < 1) return;
  uint32_t seed;
  {
    DitherCursor cursor;
    seed = cursor.next();
  }
  NoiseLanes lanes(seed);
  const __m128i zero = _mm_setzero_si128();
  int32_t i = 0;
  for (; i + kUnit <= count; i += kUnit) {
    const __m128i s = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i)), zero);
    const __m128i d = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + i)), zero);
    const __m128i r = screen_unit(s, d, lanes.next());
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(r, r));
  }
  if (i == count) return;
  // The tail: one more step, its first values used one by one.
  alignas(16) uint16_t noise[kUnit];
  _mm_store_si128(reinterpret_cast<__m128i*>(noise), lanes.next());
  for (int32_t k = 0; i < count; ++i, ++k) {
    const int32_t p = (kWhite8 - src[i]) * (kWhite8 - dst[i]) + noise[k];
    dst[i] = uint8_t(kWhite8 - ((p + (p >> 8)) >> 8));
  }
}

}  // namespace rx::uno
