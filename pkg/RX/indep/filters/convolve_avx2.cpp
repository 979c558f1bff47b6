// The convolution's row run on AVX2, equal to the plain run bit for bit.
// Integer sums wrap modulo 2^32 like the plain ones, so their order is
// free: 8-bit pictures with entries that fit 16 bits multiply two kernel
// rows at once (madd); other integer kernels multiply 32-bit lanes. Float
// sums keep the plain order, row by row and column by column, each lane its
// own channel of its own pixel. Quotients of the integer sums come from a
// double division, which truncates to the integer quotient exactly for any
// 32-bit sum and divisor.
#include <immintrin.h>

#include <cstring>

#include "filters/convolve.h"

namespace rx {
namespace {

// Kernels up to this many entries take the vector run; their coefficients
// are laid out on the stack once a row.
constexpr int32_t kMaxVectorEntries = 1024;

inline __m256i broadcast128(const void* p) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(p)));
}

// Four channel quotients (truncated) of four 32-bit sums by their divisors.
inline __m128i quotients(__m128i sums, __m256d divisors) {
  return _mm256_cvttpd_epi32(_mm256_div_pd(_mm256_cvtepi32_pd(sums), divisors));
}

// Eight pixels' quotients, in pixel order, limited when the job clamps, into
// the destination at 8 or 16 bits.
template <class Px>
inline void store_integer_pixels(const __m128i q[8], bool clamp, Px* out) {
  __m256i p01 = _mm256_set_m128i(q[1], q[0]);
  __m256i p23 = _mm256_set_m128i(q[3], q[2]);
  __m256i p45 = _mm256_set_m128i(q[5], q[4]);
  __m256i p67 = _mm256_set_m128i(q[7], q[6]);
  if (clamp) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i white = _mm256_set1_epi32(Depth<Px>::white);
    p01 = _mm256_min_epi32(_mm256_max_epi32(p01, zero), white);
    p23 = _mm256_min_epi32(_mm256_max_epi32(p23, zero), white);
    p45 = _mm256_min_epi32(_mm256_max_epi32(p45, zero), white);
    p67 = _mm256_min_epi32(_mm256_max_epi32(p67, zero), white);
  }
  // Unclamped results keep their low bits, as the plain store's cast does.
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    const __m256i low_bytes = _mm256_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                               -1, -1, 0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1,
                                               -1, -1, -1, -1);
    const __m256i b01 = _mm256_shuffle_epi8(p01, low_bytes);
    const __m256i b23 = _mm256_shuffle_epi8(p23, low_bytes);
    const __m256i b45 = _mm256_shuffle_epi8(p45, low_bytes);
    const __m256i b67 = _mm256_shuffle_epi8(p67, low_bytes);
    uint32_t words[8] = {
        uint32_t(_mm256_extract_epi32(b01, 0)), uint32_t(_mm256_extract_epi32(b01, 4)),
        uint32_t(_mm256_extract_epi32(b23, 0)), uint32_t(_mm256_extract_epi32(b23, 4)),
        uint32_t(_mm256_extract_epi32(b45, 0)), uint32_t(_mm256_extract_epi32(b45, 4)),
        uint32_t(_mm256_extract_epi32(b67, 0)), uint32_t(_mm256_extract_epi32(b67, 4))};
    std::memcpy(out, words, sizeof words);
  } else {
    const __m256i low_words = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1,
                                               -1, -1, 0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1,
                                               -1, -1, -1, -1);
    const __m256i w01 = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(p01, low_words), 0x08);
    const __m256i w23 = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(p23, low_words), 0x08);
    const __m256i w45 = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(p45, low_words), 0x08);
    const __m256i w67 = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(p67, low_words), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(w01));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2), _mm256_castsi256_si128(w23));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm256_castsi256_si128(w45));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 6), _mm256_castsi256_si128(w67));
  }
}

__m256d divisor_vector(const ConvolveJob& job) {
  return _mm256_setr_pd(job.divisors[0], job.divisors[1], job.divisors[2], job.divisors[3]);
}

// 8-bit pixels, entries of 16 bits: rows r and r + 1 interleaved byte by
// byte, so that one madd gives value(r) × entry(r) + value(r + 1) ×
// entry(r + 1) for each channel. Accumulator k holds pixels k and k + 4.
void run8_pairs(const ConvolveJob& job, int32_t y, int32_t x, int32_t x_end, RX_Pixel8* out) {
  const int32_t rows = 2 * job.hh + 1;
  const int32_t pairs = (rows + 1) / 2;
  alignas(16) int16_t coefficients[kMaxVectorEntries + 64][8];
  for (int32_t p = 0; p < pairs; ++p) {
    for (int32_t j = 0; j < job.cols; ++j) {
      int16_t* c = coefficients[p * job.cols + j];
      for (int ch = 0; ch < 4; ++ch) {
        const int32_t* k = job.kernels[ch];
        c[2 * ch] = static_cast<int16_t>(k[(2 * p) * job.cols + j]);
        c[2 * ch + 1] =
            2 * p + 1 < rows ? static_cast<int16_t>(k[(2 * p + 1) * job.cols + j]) : int16_t{0};
      }
    }
  }
  const uint8_t* row_start[64];
  for (int32_t r = 0; r < rows; ++r) {
    row_start[r] = job.src + intptr_t{y - job.hh + r} * job.src_stride;
  }
  const __m256d divisors = divisor_vector(job);
  const __m256i zero = _mm256_setzero_si256();

  for (; x + 8 <= x_end; x += 8) {
    __m256i acc[4] = {zero, zero, zero, zero};
    const intptr_t first = intptr_t{x - job.hw} * 4;
    for (int32_t p = 0; p < pairs; ++p) {
      const uint8_t* a = row_start[2 * p] + first;
      const uint8_t* b = 2 * p + 1 < rows ? row_start[2 * p + 1] + first : a;
      const int16_t(*c)[8] = coefficients + p * job.cols;
      for (int32_t j = 0; j < job.cols; ++j) {
        const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 4 * j));
        const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 4 * j));
        const __m256i k = broadcast128(c[j]);
        const __m256i lo = _mm256_unpacklo_epi8(va, vb);  // pixels 0, 1 | 4, 5
        const __m256i hi = _mm256_unpackhi_epi8(va, vb);  // pixels 2, 3 | 6, 7
        acc[0] = _mm256_add_epi32(acc[0], _mm256_madd_epi16(_mm256_unpacklo_epi8(lo, zero), k));
        acc[1] = _mm256_add_epi32(acc[1], _mm256_madd_epi16(_mm256_unpackhi_epi8(lo, zero), k));
        acc[2] = _mm256_add_epi32(acc[2], _mm256_madd_epi16(_mm256_unpacklo_epi8(hi, zero), k));
        acc[3] = _mm256_add_epi32(acc[3], _mm256_madd_epi16(_mm256_unpackhi_epi8(hi, zero), k));
      }
    }
    __m128i q[8];
    for (int k = 0; k < 4; ++k) {
      q[k] = quotients(_mm256_castsi256_si128(acc[k]), divisors);
      q[k + 4] = quotients(_mm256_extracti128_si256(acc[k], 1), divisors);
    }
    store_integer_pixels<RX_Pixel8>(q, job.clamp, out + x);
  }
  for (; x < x_end; ++x) out[x] = convolve_pixel<RX_Pixel8>(job, x, y);
}

// Two pixels of 8 or 16 bits as eight 32-bit lanes.
template <class Px>
inline __m256i load_two(const Px* p) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
  } else {
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  }
}

// Any integer kernel: 32-bit products, whose low halves are the plain
// form's wrapping products. Accumulator k holds pixels 2k and 2k + 1.
template <class Px>
void run_integer(const ConvolveJob& job, int32_t y, int32_t x, int32_t x_end, Px* out) {
  const int32_t rows = 2 * job.hh + 1;
  const int32_t entries = rows * job.cols;
  alignas(16) int32_t coefficients[kMaxVectorEntries][4];
  for (int32_t e = 0; e < entries; ++e) {
    for (int ch = 0; ch < 4; ++ch) coefficients[e][ch] = job.kernels[ch][e];
  }
  const __m256d divisors = divisor_vector(job);
  for (; x + 8 <= x_end; x += 8) {
    __m256i acc[4] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256(),
                      _mm256_setzero_si256()};
    for (int32_t r = 0; r < rows; ++r) {
      const Px* in = reinterpret_cast<const Px*>(job.src + intptr_t{y - job.hh + r} * job.src_stride) +
                     (x - job.hw);
      const int32_t(*c)[4] = coefficients + r * job.cols;
      for (int32_t j = 0; j < job.cols; ++j) {
        const __m256i k = broadcast128(c[j]);
        for (int a = 0; a < 4; ++a) {
          acc[a] = _mm256_add_epi32(acc[a], _mm256_mullo_epi32(load_two(in + j + 2 * a), k));
        }
      }
    }
    __m128i q[8];
    for (int a = 0; a < 4; ++a) {
      q[2 * a] = quotients(_mm256_castsi256_si128(acc[a]), divisors);
      q[2 * a + 1] = quotients(_mm256_extracti128_si256(acc[a], 1), divisors);
    }
    store_integer_pixels<Px>(q, job.clamp, out + x);
  }
  for (; x < x_end; ++x) out[x] = convolve_pixel<Px>(job, x, y);
}

// Where the mask is set, take the value.
inline __m256 where(__m256 mask, __m256 value, __m256 v) { return _mm256_blendv_ps(v, value, mask); }

// Float: lane by lane the plain form's f32 products, sums, quotient and
// limits, in the plain order. Two pixels a register.
void run_float(const ConvolveJob& job, int32_t y, int32_t x, int32_t x_end, RX_PixelFloat* out) {
  const int32_t rows = 2 * job.hh + 1;
  const int32_t entries = rows * job.cols;
  alignas(16) float coefficients[kMaxVectorEntries][4];
  for (int32_t e = 0; e < entries; ++e) {
    for (int ch = 0; ch < 4; ++ch) coefficients[e][ch] = float(job.kernels[ch][e]);
  }
  const __m256 divisors = _mm256_setr_ps(float(job.divisors[0]), float(job.divisors[1]),
                                         float(job.divisors[2]), float(job.divisors[3]),
                                         float(job.divisors[0]), float(job.divisors[1]),
                                         float(job.divisors[2]), float(job.divisors[3]));
  const __m256 zero = _mm256_setzero_ps();
  const __m256 one = _mm256_set1_ps(1.0f);
  const __m256 tiny = _mm256_set1_ps(1e-16f);
  const __m256 alpha_lanes = _mm256_castsi256_ps(_mm256_setr_epi32(-1, 0, 0, 0, -1, 0, 0, 0));
  for (; x + 8 <= x_end; x += 8) {
    __m256 acc[4] = {zero, zero, zero, zero};
    for (int32_t r = 0; r < rows; ++r) {
      const float* in = reinterpret_cast<const float*>(job.src + intptr_t{y - job.hh + r} * job.src_stride) +
                        intptr_t{x - job.hw} * 4;
      const float(*c)[4] = coefficients + r * job.cols;
      for (int32_t j = 0; j < job.cols; ++j) {
        const __m256 k = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(c[j]));
        for (int a = 0; a < 4; ++a) {
          acc[a] = _mm256_add_ps(acc[a], _mm256_mul_ps(_mm256_loadu_ps(in + 4 * (j + 2 * a)), k));
        }
      }
    }
    for (int a = 0; a < 4; ++a) {
      __m256 v = _mm256_div_ps(acc[a], divisors);
      if (job.clamp) {
        v = where(_mm256_cmp_ps(v, zero, _CMP_LT_OQ), zero, v);
        v = where(_mm256_cmp_ps(v, one, _CMP_GT_OQ), one, v);
      }
      v = where(_mm256_and_ps(alpha_lanes, _mm256_cmp_ps(v, one, _CMP_GT_OQ)), one, v);
      v = where(_mm256_and_ps(alpha_lanes, _mm256_cmp_ps(v, tiny, _CMP_LT_OQ)), zero, v);
      _mm256_storeu_ps(&out[x + 2 * a].alpha, v);
    }
  }
  for (; x < x_end; ++x) out[x] = convolve_pixel<RX_PixelFloat>(job, x, y);
}

}  // namespace

template <class Px>
void convolve_run_avx2(const ConvolveJob* job, int32_t y, int32_t x_begin, int32_t x_end,
                       void* dst_row) {
  Px* out = static_cast<Px*>(dst_row);
  const int32_t rows = 2 * job->hh + 1;
  if (rows > 64 || int64_t{rows} * job->cols > kMaxVectorEntries) {
    convolve_run<Px>(job, y, x_begin, x_end, dst_row);
    return;
  }
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    run_float(*job, y, x_begin, x_end, out);
  } else if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    if (job->entries_fit_16) {
      run8_pairs(*job, y, x_begin, x_end, out);
    } else {
      run_integer<RX_Pixel8>(*job, y, x_begin, x_end, out);
    }
  } else {
    run_integer<RX_Pixel16>(*job, y, x_begin, x_end, out);
  }
}

template void convolve_run_avx2<RX_Pixel8>(const ConvolveJob*, int32_t, int32_t, int32_t, void*);
template void convolve_run_avx2<RX_Pixel16>(const ConvolveJob*, int32_t, int32_t, int32_t, void*);
template void convolve_run_avx2<RX_PixelFloat>(const ConvolveJob*, int32_t, int32_t, int32_t,
                                               void*);

}  // namespace rx
