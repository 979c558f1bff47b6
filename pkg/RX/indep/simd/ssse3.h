// 128-bit registers with the SSSE3 operations (byte shuffles, absolute
// values) beside the baseline ones of Sse2. Included only by files
// compiled for SSSE3.
#pragma once

#include <tmmintrin.h>

#include "simd/sse2.h"

namespace rx::simd {

struct Sse : Sse2 {
  static I abs16(I a) { return _mm_abs_epi16(a); }
  // Byte 0 (or the low word) of each pixel's lane over its four 16-bit
  // lanes, for the pixels of the low or the high half.
  static I spread_bytes(I a, int half) {
    return _mm_shuffle_epi8(a, half == 0 ? _mm_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1)
                                         : _mm_setr_epi8(8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1));
  }
  static I spread_words(I a, int half) {
    return _mm_shuffle_epi8(a, half == 0 ? _mm_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5)
                                         : _mm_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13));
  }
};

}  // namespace rx::simd
