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

// The terms of two neighbouring pixels, read at once.
inline void pair_terms(const RX_Pixel8* p, __m256d* left, __m256d* right) {
  const __m256i channels = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
  const __m256i alpha = _mm256_shuffle_epi32(channels, 0);
  const __m256i one_rgb = _mm256_blend_epi32(channels, _mm256_set1_epi32(1), 0x11);
  const __m256i terms = _mm256_mullo_epi32(alpha, one_rgb);
  *left = _mm256_cvtepi32_pd(_mm256_castsi256_si128(terms));
  *right = _mm256_cvtepi32_pd(_mm256_extracti128_si256(terms, 1));
}

inline __m256d covered(__m256d terms, __m256d cover) { return _mm256_mul_pd(terms, cover); }

// The cells of a small box: covers of the first and last column (as
// broadcasts) and row, and where the first cell lies.
struct Cells {
  __m256d first_column, last_column;
  double first_row, last_row;
  const RX_Pixel8* corner;
  int32_t stride;

  // One row: the first cell, a whole one when two more follow, the last.
  template <int Extra>
  __m256d row(const RX_Pixel8* p) const {
    if constexpr (Extra == 0) {
      return covered(pixel_terms(p), first_column);
    } else {
      __m256d a, b;
      pair_terms(p, &a, &b);
      if constexpr (Extra == 1) {
        return _mm256_add_pd(covered(a, first_column), covered(b, last_column));
      } else {
        return _mm256_add_pd(_mm256_add_pd(covered(a, first_column), covered(b, _mm256_set1_pd(65536.0))),
                             covered(pixel_terms(p + 2), last_column));
      }
    }
  }

  template <int ExtraColumns, int ExtraRows>
  __m256d sum() const {
    const RX_Pixel8* p = corner;
    if constexpr (ExtraRows == 0) return covered(row<ExtraColumns>(p), _mm256_set1_pd(first_row));
    __m256d sums = covered(row<ExtraColumns>(p), _mm256_set1_pd(first_row));
    p = reinterpret_cast<const RX_Pixel8*>(reinterpret_cast<const char*>(p) + stride);
    if constexpr (ExtraRows == 2) {
      sums = _mm256_add_pd(sums, covered(row<ExtraColumns>(p), _mm256_set1_pd(65536.0)));
      p = reinterpret_cast<const RX_Pixel8*>(reinterpret_cast<const char*>(p) + stride);
    }
    return _mm256_add_pd(sums, covered(row<ExtraColumns>(p), _mm256_set1_pd(last_row)));
  }
};

struct AreaBox {
  const RX_LayerDef& src;
  int32_t x_radius, y_radius;
  double area;  // the unclipped box in pixels, as the sampler forms it
  __m128i edge_offsets;  // from a position to the box's edges, half a pixel on
  __m128i limits;        // the source's edges in 16.16

  AreaBox(const RX_LayerDef& src_, int32_t xr, int32_t yr, double area_)
      : src(src_), x_radius(xr), y_radius(yr), area(area_),
        edge_offsets(_mm_setr_epi32(0x8000 - xr, 0x8000 - yr, 0x8000 + xr, 0x8000 + yr)),
        limits(_mm_setr_epi32(src_.width << 16, src_.height << 16, src_.width << 16, src_.height << 16)) {}

  // Boxes the small form takes: two pixels at most either way, in a source
  // whose 16.16 edges fit 32 bits.
  bool small() const {
    return x_radius <= 0x10000 && y_radius <= 0x10000 && src.width < 32768 && src.height < 32768;
  }

  // Whether the box around (x, y) covers any of the source.
  bool touches(int64_t x, int64_t y) const {
    return x - x_radius + 0x8000 < (int64_t{src.width} << 16) && x + x_radius + 0x8000 > 0 &&
           y - y_radius + 0x8000 < (int64_t{src.height} << 16) && y + y_radius + 0x8000 > 0;
  }

  RX_Pixel8 sample(int32_t x, int32_t y) const {
    const int64_t width = int64_t{src.width} << 16, height = int64_t{src.height} << 16;
    const int64_t left = limited(int64_t{x} - x_radius + 0x8000, width);
    const int64_t right = limited(int64_t{x} + x_radius + 0x8000, width);
    const int64_t top = limited(int64_t{y} - y_radius + 0x8000, height);
    const int64_t bottom = limited(int64_t{y} + y_radius + 0x8000, height);
    if (left >= right || top >= bottom) return RX_Pixel8{};
    const int64_t first = left >> 16, last = (right - 1) >> 16;
    const __m256d first_cover = _mm256_set1_pd(double(lesser(right, (first + 1) << 16) - left));
    const __m256d last_cover = _mm256_set1_pd(double(right - (last << 16)));
    const __m256d whole_cover = _mm256_set1_pd(65536.0);
    __m256d sums = _mm256_setzero_pd();
    const int64_t first_row = top >> 16;
    const char* row_bytes = static_cast<const char*>(src.data) + intptr_t(first_row) * src.row_stride;
    for (int64_t row = first_row; (row << 16) < bottom; ++row, row_bytes += src.row_stride) {
      const double row_cover = double(lesser(bottom, (row + 1) << 16) - greater(top, row << 16));
      const auto* p = reinterpret_cast<const RX_Pixel8*>(row_bytes) + first;
      __m256d row_sums;
      if (last == first) {
        row_sums = covered(pixel_terms(p), first_cover);
      } else {
        // The first pixel with the second (whole when a last one follows).
        __m256d a, b;
        pair_terms(p, &a, &b);
        const int64_t columns = last - first + 1;
        row_sums = _mm256_add_pd(covered(a, first_cover), covered(b, columns == 2 ? last_cover : whole_cover));
        int64_t i = 2;
        for (; i + 2 < columns; i += 2) {
          pair_terms(p + i, &a, &b);
          row_sums = _mm256_add_pd(row_sums, _mm256_add_pd(covered(a, whole_cover), covered(b, whole_cover)));
        }
        for (; i + 1 < columns; ++i) row_sums = _mm256_add_pd(row_sums, covered(pixel_terms(p + i), whole_cover));
        if (i < columns) row_sums = _mm256_add_pd(row_sums, covered(pixel_terms(p + i), last_cover));
      }
      sums = _mm256_add_pd(sums, covered(row_sums, _mm256_set1_pd(row_cover)));
    }
    return finish(sums);
  }

  RX_Pixel8 finish(__m256d sums) const {
    // The sampler's ends, four lanes at once: alpha = S × 0.25 / area and
    // colours = (sum / S) + 0.5, each limited to 255 and truncated. Every
    // lane divides as the sampler's scalar division does. A zero alpha sum,
    // or an alpha that truncates to 0, gives transparent black; the test
    // comes after the division so that no branch waits for it.
    const __m256d scaled = _mm256_mul_pd(sums, _mm256_set1_pd(kCoverUnit));  // S, R, G, B
    const __m256d alpha_sum = _mm256_permute4x64_pd(scaled, 0);
    const __m256d numerators = _mm256_blend_pd(scaled, _mm256_mul_pd(alpha_sum, _mm256_set1_pd(0.25)), 1);
    const __m256d denominators = _mm256_blend_pd(alpha_sum, _mm256_set1_pd(area), 1);
    const __m256d halves = _mm256_set_pd(0.5, 0.5, 0.5, 0.0);
    const __m256d ends = _mm256_min_pd(_mm256_set1_pd(255.0),
                                       _mm256_add_pd(_mm256_div_pd(numerators, denominators), halves));
    const __m128i channels = _mm256_cvttpd_epi32(ends);  // a r g b
    const __m128i bytes = _mm_shuffle_epi8(channels, _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                                                   -1, -1, -1));
    const uint32_t packed = uint32_t(_mm_cvtsi128_si32(bytes));
    const bool visible = _mm256_cvtsd_f64(scaled) != 0.0 && (packed & 0xFFu) != 0;
    const uint32_t kept = packed & (0u - uint32_t(visible));
    RX_Pixel8 out;
    std::memcpy(&out, &kept, sizeof out);
    return out;
  }

  // Boxes of at most two pixels either way touch at most three cells each
  // way: the edges and covers of both axes in one vector, then straight
  // code for the number of cells.
  RX_Pixel8 sample_small(int32_t x, int32_t y) const {
    const __m128i one = _mm_set1_epi32(1);
    __m128i edges = _mm_add_epi32(_mm_setr_epi32(x, y, x, y), edge_offsets);
    edges = _mm_min_epi32(_mm_max_epi32(edges, _mm_setzero_si128()), limits);  // left top right bottom
    const __m128i far = _mm_shuffle_epi32(edges, _MM_SHUFFLE(3, 2, 3, 2));       // right bottom
    const __m128i first = _mm_srai_epi32(edges, 16);
    const __m128i last = _mm_srai_epi32(_mm_sub_epi32(far, one), 16);
    const __m128i first_cover = _mm_sub_epi32(_mm_min_epi32(far, _mm_slli_epi32(_mm_add_epi32(first, one), 16)), edges);
    const __m128i last_cover = _mm_sub_epi32(far, _mm_slli_epi32(last, 16));
    // An empty box, once clipped, has no first cell.
    if ((_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(first_cover, _mm_setzero_si128()))) & 3) != 3) {
      return RX_Pixel8{};
    }
    const __m128i extra = _mm_sub_epi32(last, first);  // 0, 1 or 2 more cells
    const __m128d first_d = _mm_cvtepi32_pd(first_cover), last_d = _mm_cvtepi32_pd(last_cover);
    const Cells cells{_mm256_broadcastsd_pd(first_d), _mm256_broadcastsd_pd(last_d),
                      _mm_cvtsd_f64(_mm_unpackhi_pd(first_d, first_d)), _mm_cvtsd_f64(_mm_unpackhi_pd(last_d, last_d)),
                      reinterpret_cast<const RX_Pixel8*>(static_cast<const char*>(src.data) +
                                                         intptr_t(_mm_extract_epi32(first, 1)) * src.row_stride) +
                          _mm_cvtsi128_si32(first),
                      src.row_stride};
    switch (_mm_cvtsi128_si32(extra) * 3 + _mm_extract_epi32(extra, 1)) {
      case 0: return finish(cells.sum<0, 0>());
      case 1: return finish(cells.sum<0, 1>());
      case 2: return finish(cells.sum<0, 2>());
      case 3: return finish(cells.sum<1, 0>());
      case 4: return finish(cells.sum<1, 1>());
      case 5: return finish(cells.sum<1, 2>());
      case 6: return finish(cells.sum<2, 0>());
      case 7: return finish(cells.sum<2, 1>());
      default: return finish(cells.sum<2, 2>());
    }
  }
};

inline bool fits(int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; }

}  // namespace

AlphaSum<RX_Pixel8> area_run8_avx2(const SamplerSet<RX_Pixel8>& samplers, const RX_SampPB& pb, Fixed2 start,
                                   Fixed2 step, int32_t n, RX_Pixel8* out) {
  const bool wide = pb.x_radius > 0x8000 && pb.y_radius > 0x8000;
  const double box_pixels = double(2 * int64_t{pb.x_radius}) * double(2 * int64_t{pb.y_radius}) * kCoverUnit;
  const AreaBox box(*pb.src, pb.x_radius, pb.y_radius,
                    (double(pb.x_radius) * kFixedToReal) * (double(pb.y_radius) * kFixedToReal));
  const bool small = box.small();
  const bool exact = wide && box_pixels <= kMaxExactBoxPixels;
  AlphaSum<RX_Pixel8> sum = 0;
  int32_t first = 0, end = n;
  if (exact) {
    // The boxes of a straight walk that touch the source are one span:
    // skip from both ends to it.
    auto touches = [&](int32_t k) {
      const int64_t x = start.x + int64_t{k} * step.x, y = start.y + int64_t{k} * step.y;
      return fits(x) && fits(y) && box.touches(x, y);
    };
    while (first < n && !touches(first)) out[first++] = RX_Pixel8{};
    while (end > first && !touches(end - 1)) out[--end] = RX_Pixel8{};
  }
  Fixed2 p{start.x + int64_t{first} * step.x, start.y + int64_t{first} * step.y};
  for (int32_t k = first; k < end; ++k, p.x += step.x, p.y += step.y) {
    if (!fits(p.x) || !fits(p.y)) {
      out[k] = RX_Pixel8{};
    } else if (exact) {
      out[k] = small ? box.sample_small(int32_t(p.x), int32_t(p.y)) : box.sample(int32_t(p.x), int32_t(p.y));
    } else {
      samplers.area(nullptr, int32_t(p.x), int32_t(p.y), &pb, &out[k]);
    }
    sum += out[k].alpha;
  }
  return sum;
}

}  // namespace rx::transform
