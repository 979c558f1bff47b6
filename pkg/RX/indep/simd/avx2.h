// 256-bit registers for the width-generic vector code: the operations
// they use, eight 8-bit pixels a register. The unpacks, packs and byte
// shuffles work within each 128-bit half, so every step sees the same
// two-pixel pairs as with 128-bit registers. Included only by files
// compiled for AVX2.
#pragma once

#include <immintrin.h>

#include "RX_Pixels.h"

namespace rx::simd {

struct Avx2 {
  using I = __m256i;
  static constexpr int32_t pixels = 8;
  static I load(const RX_Pixel8* p) { return _mm256_loadu_si256(reinterpret_cast<const I*>(p)); }
  static void store(RX_Pixel8* p, I v) { _mm256_storeu_si256(reinterpret_cast<I*>(p), v); }
  static I set16(int16_t v) { return _mm256_set1_epi16(v); }
  static I set32(int32_t v) { return _mm256_set1_epi32(v); }
  static I bit_and(I a, I b) { return _mm256_and_si256(a, b); }
  static I bit_or(I a, I b) { return _mm256_or_si256(a, b); }
  static I andnot(I a, I b) { return _mm256_andnot_si256(a, b); }
  static I select(I where, I yes, I no) { return _mm256_blendv_epi8(no, yes, where); }
  static bool all(I mask) { return _mm256_movemask_epi8(mask) == -1; }
  static I cmpeq32(I a, I b) { return _mm256_cmpeq_epi32(a, b); }
  static I add32(I a, I b) { return _mm256_add_epi32(a, b); }
  static I sub32(I a, I b) { return _mm256_sub_epi32(a, b); }
  static I srli32(I a, int n) { return _mm256_srli_epi32(a, n); }
  static I add16(I a, I b) { return _mm256_add_epi16(a, b); }
  static I sub16(I a, I b) { return _mm256_sub_epi16(a, b); }
  static I mullo16(I a, I b) { return _mm256_mullo_epi16(a, b); }
  static I mulhi_u16(I a, I b) { return _mm256_mulhi_epu16(a, b); }
  static I srli16(I a, int n) { return _mm256_srli_epi16(a, n); }
  static I slli16(I a, int n) { return _mm256_slli_epi16(a, n); }
  static I cmpgt16(I a, I b) { return _mm256_cmpgt_epi16(a, b); }
  static I abs16(I a) { return _mm256_abs_epi16(a); }
  static I subs_u16(I a, I b) { return _mm256_subs_epu16(a, b); }
  static I min16(I a, I b) { return _mm256_min_epi16(a, b); }
  static I max16(I a, I b) { return _mm256_max_epi16(a, b); }
  static I cmpeq16(I a, I b) { return _mm256_cmpeq_epi16(a, b); }
  static I pack_u8(I a, I b) { return _mm256_packus_epi16(a, b); }
  static I widen_low(I a) { return _mm256_unpacklo_epi8(a, _mm256_setzero_si256()); }
  static I widen_high(I a) { return _mm256_unpackhi_epi8(a, _mm256_setzero_si256()); }
  static I spread_bytes(I a, int half) {
    return _mm256_shuffle_epi8(
        a, half == 0 ? _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1, 0, -1, 0, -1, 0, -1, 0,
                                        -1, 4, -1, 4, -1, 4, -1, 4, -1)
                     : _mm256_setr_epi8(8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1, 8, -1, 8, -1, 8, -1,
                                        8, -1, 12, -1, 12, -1, 12, -1, 12, -1));
  }
  static I spread_words(I a, int half) {
    return _mm256_shuffle_epi8(
        a, half == 0 ? _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5, 0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4,
                                        5, 4, 5, 4, 5)
                     : _mm256_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13, 8, 9, 8, 9, 8, 9, 8, 9,
                                        12, 13, 12, 13, 12, 13, 12, 13));
  }
  static I reciprocal_65280(I r) {
    return _mm256_cvtps_epi32(_mm256_div_ps(_mm256_set1_ps(65280.0f), _mm256_cvtepi32_ps(r)));
  }
};

}  // namespace rx::simd
