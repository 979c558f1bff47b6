// The 8-bit area run of the world transform on AVX2: the straight-alpha
// box average of every position, one pixel's (alpha, alpha × colour) terms
// in four double lanes. It gives the plain sampler's results to the bit:
// for 8-bit pixels every weight is a product of two 16.16 covers, so each
// term is an integer number of 2^-32 below 2^48, and as long as the box
// holds at most 32 pixels every sum stays below 2^53 such units. All
// arithmetic is then exact in double, in any order, and the sums equal
// those of the plain walk; the final divisions are the sampler's own.
// Larger boxes, and boxes narrow along one axis (sampled bilinearly), go
// to the sampler itself.
#include <immintrin.h>

#include <cstring>

#include "compositing/transform_runs.h"

namespace rx::transform {
namespace {

constexpr double kCoverUnit = 0x1p-32;      // one unit of a product of two 16.16 covers
constexpr double kFixedToReal = 0x1p-16;
constexpr double kMaxExactBoxPixels = 32.0;  // box area, in pixels, with exact double sums

// Local helpers rather than the standard templates: nothing compiled here
// for AVX2 may stand in for a plain translation unit's copy.
inline int64_t lesser(int64_t a, int64_t b) { return a < b ? a : b; }
inline int64_t greater(int64_t a, int64_t b) { return a > b ? a : b; }
inline int64_t limited(int64_t v, int64_t hi) { return v < 0 ? 0 : v > hi ? hi : v; }
inline double lesser(double a, double b) { return a < b ? a : b; }

// (a, a·r, a·g, a·b) of a pixel as doubles.
inline __m256d pixel_terms(const RX_Pixel8* p) {
  uint32_t bits;
  std::memcpy(&bits, p, sizeof bits);
  const __m128i channels = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(int32_t(bits)));  // a r g b
  const __m128i alpha = _mm_shuffle_epi32(channels, 0);
  const __m128i one_rgb = _mm_blend_epi32(channels, _mm_set1_epi32(1), 1);       // 1 r g b
  return _mm256_cvtepi32_pd(_mm_mullo_epi32(alpha, one_rgb));
}

inline __m256d scaled(__m256d v, int64_t cover) { return _mm256_mul_pd(v, _mm256_set1_pd(double(cover))); }

struct AreaBox {
  const RX_LayerDef& src;
  int32_t x_radius, y_radius;
  double area;  // the unclipped box in pixels, as the sampler forms it

  RX_Pixel8 sample(int32_t x, int32_t y) const {
    const int64_t width = int64_t{src.width} << 16, height = int64_t{src.height} << 16;
    const int64_t left = limited(int64_t{x} - x_radius + 0x8000, width);
    const int64_t right = limited(int64_t{x} + x_radius + 0x8000, width);
    const int64_t top = limited(int64_t{y} - y_radius + 0x8000, height);
    const int64_t bottom = limited(int64_t{y} + y_radius + 0x8000, height);
    if (left >= right || top >= bottom) return RX_Pixel8{};
    const int64_t first = left >> 16, last = (right - 1) >> 16;
    const int64_t first_cover = lesser(right, (first + 1) << 16) - left;
    const int64_t last_cover = right - (last << 16);
    __m256d sums = _mm256_setzero_pd();
    for (int64_t row = top >> 16; (row << 16) < bottom; ++row) {
      const int64_t row_cover = lesser(bottom, (row + 1) << 16) - greater(top, row << 16);
      const auto* p = reinterpret_cast<const RX_Pixel8*>(static_cast<const char*>(src.data) +
                                                         intptr_t(row) * src.row_stride);
      __m256d row_sums = scaled(pixel_terms(p + first), first_cover);
      if (last != first) {
        for (int64_t i = first + 1; i < last; ++i) row_sums = _mm256_add_pd(row_sums, scaled(pixel_terms(p + i), 0x10000));
        row_sums = _mm256_add_pd(row_sums, scaled(pixel_terms(p + last), last_cover));
      }
      sums = _mm256_add_pd(sums, scaled(row_sums, row_cover));
    }
    alignas(32) double s[4];
    _mm256_store_pd(s, sums);
    const double alpha_sum = s[0] * kCoverUnit;
    if (alpha_sum == 0.0) return RX_Pixel8{};
    const auto alpha = uint8_t(lesser(255.0, alpha_sum * 0.25 / area));
    if (alpha == 0) return RX_Pixel8{};
    auto colour = [&](double sum) { return uint8_t(lesser(255.0, sum * kCoverUnit / alpha_sum + 0.5)); };
    return RX_Pixel8{alpha, colour(s[1]), colour(s[2]), colour(s[3])};
  }
};

inline bool fits(int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; }

}  // namespace

AlphaSum<RX_Pixel8> area_run8_avx2(const SamplerSet<RX_Pixel8>& samplers, const RX_SampPB& pb, Fixed2 start,
                                   Fixed2 step, int32_t n, RX_Pixel8* out) {
  const bool wide = pb.x_radius > 0x8000 && pb.y_radius > 0x8000;
  const double box_pixels = double(2 * int64_t{pb.x_radius}) * double(2 * int64_t{pb.y_radius}) * kCoverUnit;
  const AreaBox box{*pb.src, pb.x_radius, pb.y_radius,
                    (double(pb.x_radius) * kFixedToReal) * (double(pb.y_radius) * kFixedToReal)};
  const bool exact = wide && box_pixels <= kMaxExactBoxPixels;
  AlphaSum<RX_Pixel8> sum = 0;
  Fixed2 p = start;
  for (int32_t k = 0; k < n; ++k, p.x += step.x, p.y += step.y) {
    if (!fits(p.x) || !fits(p.y)) {
      out[k] = RX_Pixel8{};
    } else if (exact) {
      out[k] = box.sample(int32_t(p.x), int32_t(p.y));
    } else {
      samplers.area(nullptr, int32_t(p.x), int32_t(p.y), &pb, &out[k]);
    }
    sum += out[k].alpha;
  }
  return sum;
}

}  // namespace rx::transform
