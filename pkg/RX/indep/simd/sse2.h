// 128-bit registers for the width-generic vector code, with the
// operations of the x86-64 baseline (SSE2): four 8-bit pixels a register.
// simd/ssse3.h adds the SSSE3 operations.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "RX_Pixels.h"

namespace rx::simd {

struct Sse2 {
  using I = __m128i;
  static constexpr int32_t pixels = 4;
  static I load(const RX_Pixel8* p) { return _mm_loadu_si128(reinterpret_cast<const I*>(p)); }
  static void store(RX_Pixel8* p, I v) { _mm_storeu_si128(reinterpret_cast<I*>(p), v); }
  static I set16(int16_t v) { return _mm_set1_epi16(v); }
  static I set32(int32_t v) { return _mm_set1_epi32(v); }
  static I bit_and(I a, I b) { return _mm_and_si128(a, b); }
  static I bit_or(I a, I b) { return _mm_or_si128(a, b); }
  static I andnot(I a, I b) { return _mm_andnot_si128(a, b); }
  static I select(I where, I yes, I no) { return bit_or(bit_and(where, yes), andnot(where, no)); }
  static bool all(I mask) { return _mm_movemask_epi8(mask) == 0xFFFF; }
  static I cmpeq32(I a, I b) { return _mm_cmpeq_epi32(a, b); }
  static I add32(I a, I b) { return _mm_add_epi32(a, b); }
  static I sub32(I a, I b) { return _mm_sub_epi32(a, b); }
  static I srli32(I a, int n) { return _mm_srli_epi32(a, n); }
  static I add16(I a, I b) { return _mm_add_epi16(a, b); }
  static I sub16(I a, I b) { return _mm_sub_epi16(a, b); }
  static I mullo16(I a, I b) { return _mm_mullo_epi16(a, b); }
  static I mulhi_u16(I a, I b) { return _mm_mulhi_epu16(a, b); }
  static I srli16(I a, int n) { return _mm_srli_epi16(a, n); }
  static I slli16(I a, int n) { return _mm_slli_epi16(a, n); }
  static I cmpgt16(I a, I b) { return _mm_cmpgt_epi16(a, b); }
  static I subs_u16(I a, I b) { return _mm_subs_epu16(a, b); }
  static I min16(I a, I b) { return _mm_min_epi16(a, b); }
  static I max16(I a, I b) { return _mm_max_epi16(a, b); }
  static I cmpeq16(I a, I b) { return _mm_cmpeq_epi16(a, b); }
  static I pack_u8(I a, I b) { return _mm_packus_epi16(a, b); }
  static I widen_low(I a) { return _mm_unpacklo_epi8(a, _mm_setzero_si128()); }
  static I widen_high(I a) { return _mm_unpackhi_epi8(a, _mm_setzero_si128()); }
  static I reciprocal_65280(I r) { return _mm_cvtps_epi32(_mm_div_ps(_mm_set1_ps(65280.0f), _mm_cvtepi32_ps(r))); }
};

}  // namespace rx::simd
