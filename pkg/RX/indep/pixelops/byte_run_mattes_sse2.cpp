// SSE2 blocks of eight alpha-first pixels: all opaque, left as they are
// (copied when the run is not in place); all transparent, zeroed; mixed,
// multiplied in 16-bit lanes with the plain form's m255, or divided pixel
// by pixel through the table.
#include <emmintrin.h>

#include <cstring>

#include "pixelops/byte_run_mattes.h"
#include "simd/sse2.h"
#include "simd/vector_arith.h"
#include "worlds/depth_arith.h"

namespace rx {
namespace {

constexpr int32_t kBlock = 8;

enum class BlockAlpha { Opaque, Transparent, Mixed };

BlockAlpha classify(__m128i p0, __m128i p1) {
  const __m128i alpha_bytes = _mm_set1_epi32(0xFF);
  const __m128i a0 = _mm_and_si128(p0, alpha_bytes), a1 = _mm_and_si128(p1, alpha_bytes);
  const int opaque = _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi32(a0, alpha_bytes),
                                                     _mm_cmpeq_epi32(a1, alpha_bytes)));
  if (opaque == 0xFFFF) return BlockAlpha::Opaque;
  const __m128i zero = _mm_setzero_si128();
  const int clear = _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi32(a0, zero), _mm_cmpeq_epi32(a1, zero)));
  return clear == 0xFFFF ? BlockAlpha::Transparent : BlockAlpha::Mixed;
}

inline __m128i m255_epu16(__m128i x) { return simd::m255_16<simd::Sse2>(x); }

// Colour bytes times their pixel's alpha; alpha bytes kept.
__m128i multiply_by_alpha(__m128i p) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i alpha_bytes = _mm_set1_epi32(0xFF);
  // Each pixel's alpha in all four bytes: shift copies within the 32-bit lane.
  __m128i alpha = _mm_and_si128(p, alpha_bytes);
  alpha = _mm_or_si128(alpha, _mm_slli_epi32(alpha, 8));
  alpha = _mm_or_si128(alpha, _mm_slli_epi32(alpha, 16));
  const __m128i lo = m255_epu16(_mm_mullo_epi16(_mm_unpacklo_epi8(p, zero), _mm_unpacklo_epi8(alpha, zero)));
  const __m128i hi = m255_epu16(_mm_mullo_epi16(_mm_unpackhi_epi8(p, zero), _mm_unpackhi_epi8(alpha, zero)));
  return _mm_or_si128(_mm_and_si128(alpha_bytes, p), _mm_andnot_si128(alpha_bytes, _mm_packus_epi16(lo, hi)));
}

template <bool Multiply>
void run(int32_t count, const uint8_t* src, uint8_t* dst) {
  int32_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    const uint8_t* in = src + 4 * i;
    uint8_t* out = dst + 4 * i;
    const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 16));
    switch (classify(p0, p1)) {
      case BlockAlpha::Opaque:
        if (in != out) std::memmove(out, in, 4 * kBlock);
        break;
      case BlockAlpha::Transparent:
        std::memset(out, 0, 4 * kBlock);
        break;
      case BlockAlpha::Mixed:
        if constexpr (Multiply) {
          _mm_storeu_si128(reinterpret_cast<__m128i*>(out), multiply_by_alpha(p0));
          _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), multiply_by_alpha(p1));
        } else {
          for (int k = 0; k < kBlock; ++k) deblack_matte_pixel(in + 4 * k, out + 4 * k, 0);
        }
        break;
    }
  }
  for (; i < count; ++i) {
    if constexpr (Multiply) {
      black_matte_pixel(src + 4 * i, dst + 4 * i, 0);
    } else {
      deblack_matte_pixel(src + 4 * i, dst + 4 * i, 0);
    }
  }
}

}  // namespace

void black_matte_run_sse2(int32_t count, const uint8_t* src, uint8_t* dst) { run<true>(count, src, dst); }
void deblack_matte_run_sse2(int32_t count, const uint8_t* src, uint8_t* dst) { run<false>(count, src, dst); }

}  // namespace rx
