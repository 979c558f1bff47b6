// The Gaussian scans on AVX2, equal to the plain scans bit for bit. Pixels
// whose taps all fall inside the line are computed eight at a time; the
// others go through the plain pixel. A line read through a stride is
// copied a piece at a time into a contiguous block on the stack.
//   8 bits: weight × value in 32-bit integers, the taps at c + i and c - i
//   multiplied together (their weights are equal); integer sums do not
//   depend on their order. Quotients come from an f32 estimate corrected
//   by one step in integers, which makes them exact.
//   16 bits and float: each lane adds its channel's products in the plain
//   order (the centre, then c + 1, c - 1, c + 2, ...), as f32; the 16-bit
//   products are exact in f32. The divisions are the plain form's.
#include <immintrin.h>

#include <algorithm>
#include <cstring>

#include "filters/gaussian_scans.h"

namespace rx {
namespace {

// Output pixels a piece; the input piece adds 2R.
constexpr int32_t kPiece = 256;
// How far ahead a strided copy asks for its pixels.
constexpr int32_t kAhead = 16;
// Radii beyond these take the plain scan: the 8-bit quotient's numerator
// sum × 255 stays within 31 bits up to 64, and the stack pieces stay small.
constexpr int32_t kMaxRadius8 = 64;
constexpr int32_t kMaxRadius = 256;

// Lane masks of the selected channels, two pixels (alpha, red, green,
// blue, alpha, ...).
__m256i channel_mask(RX_BlurChannels channels) {
  return _mm256_setr_epi32(channels & RX_BLUR_ALPHA ? -1 : 0, channels & RX_BLUR_RED ? -1 : 0,
                           channels & RX_BLUR_GREEN ? -1 : 0, channels & RX_BLUR_BLUE ? -1 : 0,
                           channels & RX_BLUR_ALPHA ? -1 : 0, channels & RX_BLUR_RED ? -1 : 0,
                           channels & RX_BLUR_GREEN ? -1 : 0, channels & RX_BLUR_BLUE ? -1 : 0);
}

inline __m256i blend(__m256i mask, __m256i yes, __m256i no) { return _mm256_blendv_epi8(no, yes, mask); }
inline __m256 blend(__m256i mask, __m256 yes, __m256 no) {
  return _mm256_blendv_ps(no, yes, _mm256_castsi256_ps(mask));
}

// Each pixel's alpha in all four of its lanes.
inline __m256i spread_alpha(__m256i v) { return _mm256_shuffle_epi32(v, 0x00); }
inline __m256 spread_alpha(__m256 v) { return _mm256_permute_ps(v, 0x00); }

// floor(n / d) for 0 <= n < 2^31 and 0 < d, exact: an f32 estimate is
// within one of the quotient for the quotients that matter here, and one
// integer step corrects it.
inline __m256i divide(__m256i n, __m256i d) {
  __m256i q = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(n), _mm256_cvtepi32_ps(d)));
  const __m256i r = _mm256_sub_epi32(n, _mm256_mullo_epi32(q, d));
  q = _mm256_add_epi32(q, _mm256_andnot_si256(_mm256_cmpgt_epi32(d, r), _mm256_set1_epi32(1)));
  q = _mm256_sub_epi32(q, _mm256_srli_epi32(r, 31));  // r < 0
  return q;
}

// Two pixels of a piece as lanes: 8 bits as 32-bit integers.
inline __m256i load_two8(const RX_Pixel8* p) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

// ---- 8 bits ----

// The sums of eight pixels whose centres are in[0..7], as four registers
// in pixel order (pixels 0 1, 2 3, 4 5, 6 7).
inline void sums8(const RX_Pixel8* in, const uint32_t* weights, int32_t r, __m256i out[4]) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i acc[4] = {zero, zero, zero, zero};
  auto add_pair = [&](__m256i a, __m256i b, uint32_t w) {
    const __m256i weight = _mm256_set1_epi16(int16_t(w));
    const __m256i lo = _mm256_unpacklo_epi8(a, b);  // pixels 0, 1 | 4, 5
    const __m256i hi = _mm256_unpackhi_epi8(a, b);  // pixels 2, 3 | 6, 7
    acc[0] = _mm256_add_epi32(acc[0], _mm256_madd_epi16(_mm256_unpacklo_epi8(lo, zero), weight));
    acc[1] = _mm256_add_epi32(acc[1], _mm256_madd_epi16(_mm256_unpackhi_epi8(lo, zero), weight));
    acc[2] = _mm256_add_epi32(acc[2], _mm256_madd_epi16(_mm256_unpacklo_epi8(hi, zero), weight));
    acc[3] = _mm256_add_epi32(acc[3], _mm256_madd_epi16(_mm256_unpackhi_epi8(hi, zero), weight));
  };
  add_pair(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in)), zero, weights[0]);
  for (int32_t i = 1; i <= r; ++i) {
    add_pair(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i)),
             _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in - i)), weights[i]);
  }
  // acc holds (0 | 4), (1 | 5), (2 | 6), (3 | 7).
  out[0] = _mm256_permute2x128_si256(acc[0], acc[1], 0x20);
  out[1] = _mm256_permute2x128_si256(acc[2], acc[3], 0x20);
  out[2] = _mm256_permute2x128_si256(acc[0], acc[1], 0x31);
  out[3] = _mm256_permute2x128_si256(acc[2], acc[3], 0x31);
}

void finish8(const RX_GaussianJob& job, const __m256i sums[4], const RX_Pixel8* centres, uint32_t total,
             RX_Pixel8* out) {
  const __m256i mask = channel_mask(job.channels);
  const __m256i alpha_selected = spread_alpha(mask);
  const __m256i zero = _mm256_setzero_si256();
  const __m256i total_v = _mm256_set1_epi32(int32_t(total));
  const __m256i half_v = _mm256_set1_epi32(int32_t(total / 2));
  __m256i result[4];
  for (int j = 0; j < 4; ++j) {
    const __m256i centre = load_two8(centres + 2 * j);
    const __m256i s = sums[j];
    __m256i v;
    if (job.dst_premultiplied) {
      v = divide(_mm256_add_epi32(s, half_v), total_v);
    } else {
      // A: the alpha sum, or the centre's alpha times the total.
      const __m256i a = blend(alpha_selected, spread_alpha(s),
                              _mm256_mullo_epi32(spread_alpha(centre), total_v));
      const __m256i alpha_out = divide(_mm256_add_epi32(a, half_v), total_v);
      __m256i colour = divide(_mm256_add_epi32(_mm256_mullo_epi32(s, _mm256_set1_epi32(255)),
                                               _mm256_srli_epi32(a, 1)),
                              _mm256_max_epi32(a, _mm256_set1_epi32(1)));
      colour = _mm256_min_epi32(colour, _mm256_set1_epi32(255));
      const __m256i alpha_lanes = _mm256_setr_epi32(-1, 0, 0, 0, -1, 0, 0, 0);
      // An unselected alpha keeps the centre's, as the blend below does.
      v = blend(alpha_lanes, alpha_out, colour);
      v = _mm256_andnot_si256(_mm256_cmpeq_epi32(a, zero), v);
    }
    result[j] = blend(mask, v, centre);
  }
  const __m256i words01 = _mm256_packus_epi32(result[0], result[1]);  // lanes: 0 2 | 1 3 ... per half
  const __m256i words23 = _mm256_packus_epi32(result[2], result[3]);
  const __m256i bytes = _mm256_packus_epi16(words01, words23);
  // Each 128-bit half holds pixels 0, 2, 4, 6 or 1, 3, 5, 7 interleaved by
  // the packs: put them back in order.
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permutevar8x32_epi32(bytes, order));
}

// ---- 16 bits and float ----

template <class Px>
inline __m256 load_two(const Px* p) {
  if constexpr (std::is_same_v<Px, RX_Pixel16>) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
  } else {
    return _mm256_loadu_ps(&p->alpha);
  }
}

// The sums of eight pixels centred on in[0..7] (pixels 2j, 2j + 1 in
// register j), each lane adding in the plain order.
template <class Px>
inline void sums_f(const Px* in, const float* weights, int32_t r, __m256 acc[4]) {
  const __m256 w0 = _mm256_set1_ps(weights[0]);
  for (int j = 0; j < 4; ++j) acc[j] = _mm256_add_ps(_mm256_setzero_ps(), _mm256_mul_ps(load_two(in + 2 * j), w0));
  for (int32_t i = 1; i <= r; ++i) {
    const __m256 w = _mm256_set1_ps(weights[i]);
    for (int j = 0; j < 4; ++j) acc[j] = _mm256_add_ps(acc[j], _mm256_mul_ps(load_two(in + 2 * j + i), w));
    for (int j = 0; j < 4; ++j) acc[j] = _mm256_add_ps(acc[j], _mm256_mul_ps(load_two(in + 2 * j - i), w));
  }
}

template <class Px>
void finish_f(const RX_GaussianJob& job, const __m256 sums[4], const Px* centres, uint32_t full_total,
              Px* out) {
  const __m256i mask = channel_mask(job.channels);
  const __m256i alpha_selected = spread_alpha(mask);
  const __m256 zero = _mm256_setzero_ps();
  const __m256i alpha_lanes = _mm256_setr_epi32(-1, 0, 0, 0, -1, 0, 0, 0);
  constexpr bool k16 = std::is_same_v<Px, RX_Pixel16>;
  // The weight inside is the whole kernel's for these pixels; with
  // renormalizing it is the f32 sum of the weights, the same integer.
  const int32_t total_i = static_cast<int32_t>(full_total);
  const __m256 total = _mm256_set1_ps(float(total_i));
  const __m256 half = _mm256_set1_ps(float(total_i / 2));
  for (int j = 0; j < 4; ++j) {
    const __m256 centre = load_two(centres + 2 * j);
    const __m256 s = sums[j];
    __m256 v;
    if (job.dst_premultiplied) {
      if constexpr (k16) {
        v = _mm256_cvtepi32_ps(_mm256_cvttps_epi32(_mm256_div_ps(_mm256_add_ps(s, half), total)));
      } else {
        v = _mm256_div_ps(s, total);
      }
    } else {
      const __m256 a = blend(alpha_selected, spread_alpha(s), _mm256_mul_ps(spread_alpha(centre), total));
      const __m256i a_zero = _mm256_castps_si256(_mm256_cmp_ps(a, zero, _CMP_EQ_OQ));
      __m256 alpha_out, colour;
      if constexpr (k16) {
        alpha_out = _mm256_cvtepi32_ps(_mm256_cvttps_epi32(_mm256_div_ps(_mm256_add_ps(half, a), total)));
        const __m256 h = _mm256_cvtepi32_ps(_mm256_cvttps_epi32(_mm256_mul_ps(a, _mm256_set1_ps(0.5f))));
        const __m256i q = _mm256_cvttps_epi32(
            _mm256_div_ps(_mm256_add_ps(_mm256_mul_ps(s, _mm256_set1_ps(32768.0f)), h), a));
        colour = _mm256_cvtepi32_ps(_mm256_min_epi32(q, _mm256_set1_epi32(32768)));
      } else {
        alpha_out = _mm256_div_ps(a, total);
        colour = _mm256_div_ps(s, a);
      }
      v = blend(alpha_lanes, alpha_out, colour);
      v = _mm256_andnot_ps(_mm256_castsi256_ps(a_zero), v);
    }
    v = blend(mask, v, centre);
    if constexpr (k16) {
      // The plain store keeps the low 16 bits of each integer.
      const __m256i ints = _mm256_cvttps_epi32(v);
      const __m256i low_words = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1, 0,
                                                 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
      const __m256i packed = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(ints, low_words), 0x08);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * j), _mm256_castsi256_si128(packed));
    } else {
      _mm256_storeu_ps(&out[2 * j].alpha, v);
    }
  }
}

// ---- the scan ----

template <class Px>
void vector_scan(const RX_GaussianJob& job, const GaussianLine<Px>& line, uint32_t total) {
  const int32_t r = job.radius_ceiling;
  const int32_t n = line.in_length;
  // Outputs whose taps all fall inside: c - r >= 0 and c + r < n.
  const int64_t first = std::max<int64_t>(int64_t{r} - job.origin_delta, 0);
  const int64_t last = std::min<int64_t>(int64_t{n} - r - job.origin_delta, line.out_length);
  if (last - first < 8) {
    gaussian_pixels(job, line, total, 0, line.out_length);
    return;
  }
  gaussian_pixels(job, line, total, 0, int32_t(first));

  float weights_f[kMaxRadius + 1];
  for (int32_t i = 0; i <= r; ++i) weights_f[i] = float(job.weights[i]);
  alignas(32) Px piece_in[kPiece + 2 * kMaxRadius + 8];
  alignas(32) Px piece_out[kPiece];
  for (int64_t k0 = first; k0 < last; k0 += kPiece) {
    const int32_t count = int32_t(std::min<int64_t>(kPiece, last - k0));
    const int32_t vector_count = count & ~7;
    const int64_t c0 = job.origin_delta + k0;
    // The piece's input, c0 - r .. c0 + count + r, contiguous.
    const Px* in;
    if (line.in.stride == 1) {
      in = &line.in[c0];
    } else {
      // Each pixel of a column lies on its own row: ask for the rows ahead
      // while copying, since no prefetcher follows a stride across pages.
      const int32_t length = count + 2 * r;
      for (int32_t i = 0; i < length; ++i) {
        if (i + kAhead < length) _mm_prefetch(reinterpret_cast<const char*>(&line.in[c0 - r + i + kAhead]), _MM_HINT_T0);
        piece_in[i] = line.in[c0 - r + i];
      }
      in = piece_in + r;
    }
    for (int32_t k = 0; k < vector_count; k += 8) {
      if constexpr (std::is_same_v<Px, RX_Pixel8>) {
        __m256i sums[4];
        sums8(in + k, job.weights, r, sums);
        finish8(job, sums, in + k, total, piece_out + k);
      } else {
        __m256 sums[4];
        sums_f(in + k, weights_f, r, sums);
        finish_f(job, sums, in + k, total, piece_out + k);
      }
    }
    if (line.out.stride == 1) {
      std::memcpy(&line.out[k0], piece_out, sizeof(Px) * size_t(vector_count));
    } else {
      for (int32_t k = 0; k < vector_count; ++k) {
        if (k + kAhead < vector_count) _mm_prefetch(reinterpret_cast<const char*>(&line.out[k0 + k + kAhead]), _MM_HINT_T0);
        line.out[k0 + k] = piece_out[k];
      }
    }
    gaussian_pixels(job, line, total, int32_t(k0) + vector_count, int32_t(k0) + count);
  }
  gaussian_pixels(job, line, total, int32_t(last), line.out_length);
}

}  // namespace

template <class Px>
void gaussian_scan_avx2(const RX_GaussianJob* job, const void* in, intptr_t in_stride, void* out,
                        intptr_t out_stride) {
  const GaussianLine<Px> line{{static_cast<const Px*>(in), in_stride}, job->src_length,
                              {static_cast<Px*>(out), out_stride}, job->dst_length};
  const uint32_t total = gaussian_total(*job);
  const int32_t limit = std::is_same_v<Px, RX_Pixel8> ? kMaxRadius8 : kMaxRadius;
  // A total beyond f32's integers would make the renormalized total differ.
  if (job->radius_ceiling > limit || total >= (1u << 24)) {
    gaussian_pixels(*job, line, total, 0, line.out_length);
    return;
  }
  vector_scan(*job, line, total);
}

template void gaussian_scan_avx2<RX_Pixel8>(const RX_GaussianJob*, const void*, intptr_t, void*, intptr_t);
template void gaussian_scan_avx2<RX_Pixel16>(const RX_GaussianJob*, const void*, intptr_t, void*, intptr_t);
template void gaussian_scan_avx2<RX_PixelFloat>(const RX_GaussianJob*, const void*, intptr_t, void*,
                                                intptr_t);

}  // namespace rx
