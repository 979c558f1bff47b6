// The uno blur scans: one line of 8-bit or 16-bit mask values blurred in
// place, by a cheap box, by the Gaussian kernel of the kernel cache, or
// (Box scans, large radii) by repeated fractional boxes. One body per path
// over the value type; the 16-bit repeated box divides in f32 where the
// 8-bit one divides integers. Every rule, the quirks at the edges
// included, is kept exactly: the simple box reads stale scratch past the
// line's last column but one, the repeated box drops the partial tap that
// sits on the scratch's first and last positions.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "RX_UnoBuffer.h"
#include "masks/uno_access.h"
#include "masks/uno_areas.h"
#include "masks/uno_kernel_cache.h"

namespace rx::uno {
namespace {

constexpr double kFixedToDouble = 1.52587890625e-5;

template <class V>
struct BlurDepth;

template <>
struct BlurDepth<uint8_t> {
  static constexpr double margin_factor_of_other_kinds = 0.9;
};

template <>
struct BlurDepth<uint16_t> {
  // The deep Box scan keeps margins of the full radius for kinds other than 0.
  static constexpr double margin_factor_of_other_kinds = 1.0;
};

inline int32_t truncate_float(float v) { return _mm_cvttss_si32(_mm_set_ss(v)); }

// A fractional box of 2n - 1 full taps and two partial ones of weight frac,
// run passes times over columns L .. R - 1. What lies before L is absent;
// the right edge repeats column R - 1.
template <class V>
void repeated_box(int32_t passes, int32_t width, int32_t left, int32_t right, double r, double rel,
                  double margin_factor, V* scratch, V* line) {
  const int32_t m = int32_t(r * margin_factor);
  int32_t L = left - (m + 3);
  if (L < 1) L = 0;
  const int32_t R = std::min(right + 3 + m, width);
  const int32_t n = std::max(int32_t(rel + 1.0), 1);
  const double fraction = rel - std::trunc(rel);
  const int32_t m2 = std::min(n - 1, R);
  const int32_t end = R - 1 - L;  // the scratch position of column R - 1

  for (int32_t pass = 0; pass < passes; ++pass) {
    // Columns L .. R + n - 1, the source staying on column R - 1.
    for (int32_t k = 0, column = L; column <= R + n - 1; ++k, ++column) {
      scratch[k] = line[std::min(column, R - 1)];
    }
    int64_t s = 0;
    for (int32_t k = 0; k < m2; ++k) s += scratch[k];
    int32_t trail = -n, lead = m2;
    for (int32_t i = L; i < R; ++i, ++trail) {
      if (trail >= 0) s -= scratch[trail];
      if (lead <= end) s += scratch[lead];
      int64_t edge = 0;
      bool left_tap = false, right_tap = false;
      if (trail > 0) {
        edge = scratch[trail];
        left_tap = true;
      }
      ++lead;
      if (lead < end) {
        edge += scratch[lead];
        right_tap = true;
      }
      if constexpr (sizeof(V) == 1) {
        const int64_t frac = int64_t(fraction * 255.0);
        const int64_t e1 = left_tap ? frac : 0, e2 = right_tap ? frac : 0;
        line[i] = V((s * 255 + 128 + edge * frac) / (e1 + e2 - 255 + 510 * int64_t(n)));
      } else {
        const float frac = float(fraction * 32768.0);
        const float e1 = left_tap ? frac : 0.0f, e2 = right_tap ? frac : 0.0f;
        const float numerator = float(s) * 32768.0f + 16384.0f + float(edge) * frac;
        const float denominator = e1 + float(n * 65536 - 32768) + e2;
        line[i] = V(truncate_float(numerator / denominator));
      }
    }
  }
}

// A box of 2h + 1 taps, h the rounded half radius, written from left - h
// to right + h - 1. Columns from width - 1 on are not copied to scratch:
// what stands there from before is read.
template <class V>
void simple_box(int32_t width, int32_t left, int32_t right, int32_t radius, V* scratch, V* line) {
  const int32_t h = ((radius >> 1) + 0x8000) >> 16;
  const int32_t taps = 2 * h + 1;
  const int32_t last = right + 2 * h - 1;
  int32_t k = 0, column = left - 2 * h;
  for (; column < 0 && column <= last; ++column) scratch[k++] = line[0];
  for (; column <= last; ++column, ++k) {
    if (column < width - 1) scratch[k] = line[column];
  }
  uint64_t sum = 0;
  for (int32_t t = 0; t < taps; ++t) sum += scratch[t];
  int32_t first = 0;
  int32_t out = left - h;
  if (out < 0) {
    for (int32_t step = 0; step < h - left; ++step, ++first) sum += scratch[first + taps] - uint64_t(scratch[first]);
    out = 0;
  }
  const int32_t out_end = std::min(right + h, width);
  for (; out < out_end; ++out) {
    line[out] = V(sum / uint64_t(taps));
    if (out + 1 < out_end) {
      sum += scratch[first + taps];
      sum -= scratch[first];
      ++first;
    }
  }
}

// The kernel of the cache over a scratch copy whose edges repeat the
// line's first and last values, rounded to nearest.
template <class V>
RX_Err kernel_blur(int32_t width, int32_t left, int32_t right, int32_t radius, V* scratch, V* line) {
  const int32_t* kernel = nullptr;
  int32_t size = 0;
  if (RX_Err err = kernel_for(radius, &kernel, &size)) return err;
  int64_t total = 0;
  for (int32_t j = 0; j < size; ++j) total += kernel[j];
  // A kernel of no entries or no weight has nothing to divide by.
  if (size < 1 || total <= 0) return RX_Result_Internal;
  const int32_t span = size - 1;
  for (int32_t k = 0, column = left - span; column <= right + size - 2; ++k, ++column) {
    scratch[k] = line[std::clamp(column, 0, width - 1)];
  }
  const int32_t first = left - span / 2;
  const int32_t out_end = std::min(right + span / 2, width);
  int64_t largest_weight = 0;
  for (int32_t j = 0; j < size; ++j) largest_weight = std::max<int64_t>(largest_weight, std::abs(int64_t(kernel[j])));
  // Sums that cannot leave 32 bits are taken in 32 bits, which the
  // compiler turns into vector code; others in 64. The same sums either way.
  const bool narrow = int64_t(size) * largest_weight * std::numeric_limits<V>::max() < int64_t(INT32_MAX) - total;
  for (int32_t out = std::max(first, 0); out < out_end; ++out) {
    const V* window = scratch + (out - first);
    int64_t acc = 0;
    if (narrow) {
      int32_t acc32 = 0;
      for (int32_t j = 0; j < size; ++j) acc32 += int32_t(window[j]) * kernel[j];
      acc = acc32;
    } else {
      for (int32_t j = 0; j < size; ++j) acc += int64_t(window[j]) * kernel[j];
    }
    line[out] = V((acc + total / 2) / total);
  }
  return RX_Result_OK;
}

template <class V, bool Box>
RX_Err blur_scan(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius, V* scratch,
                 V* line) {
  if (radius <= 0 || left == right) return RX_Result_OK;
  // The range is cut to the line: nothing is written for a range past it.
  left = std::max(left, 0);
  right = std::min(right, width);
  if (right <= left) return RX_Result_OK;
  const double r = radius * kFixedToDouble;
  if constexpr (Box) {
    const double factor = kind == 0 ? 1.4 : 1.0;
    const double rel = factor * r / 2.71;
    const double margin_factor = kind == 0 ? 0.6 : BlurDepth<V>::margin_factor_of_other_kinds;
    if (rel > 1.0) {
      repeated_box(kind == 0 ? 1 : 3, width, left, right, r, rel, margin_factor, scratch, line);
      return RX_Result_OK;
    }
  }
  if (kind == 1) return kernel_blur(width, left, right, radius, scratch, line);
  simple_box(width, left, right, radius, scratch, line);
  return RX_Result_OK;
}

}  // namespace
}  // namespace rx::uno

RX_Err RX_BoxBlurUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                           uint8_t* scratch, uint8_t* line) {
  return rx::uno::blur_scan<uint8_t, true>(kind, width, left, right, radius, scratch, line);
}

RX_Err RX_GBlurUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                         uint8_t* scratch, uint8_t* line) {
  return rx::uno::blur_scan<uint8_t, false>(kind, width, left, right, radius, scratch, line);
}

RX_Err RX_BoxBlurDeepUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                               int32_t radius, uint16_t* scratch, uint16_t* line) {
  return rx::uno::blur_scan<uint16_t, true>(kind, width, left, right, radius, scratch, line);
}

RX_Err RX_GBlurDeepUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                             int32_t radius, uint16_t* scratch, uint16_t* line) {
  return rx::uno::blur_scan<uint16_t, false>(kind, width, left, right, radius, scratch, line);
}

RX_Err RX_BoxBlurUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                         uint8_t* scratch, uint8_t* line) {
  return rx::uno::mask_slot<RX_UnoBlurScan8>(RX_Slot_MaskBoxBlurScan8)(kind, width, left, right, radius,
                                                                        scratch, line);
}

RX_Err RX_GBlurUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                       uint8_t* scratch, uint8_t* line) {
  return rx::uno::mask_slot<RX_UnoBlurScan8>(RX_Slot_MaskBlurScan8Pair)(kind, width, left, right, radius,
                                                                         scratch, line);
}

RX_Err RX_BoxBlurDeepUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                             uint16_t* scratch, uint16_t* line) {
  return rx::uno::mask_slot<RX_UnoBlurScan16>(RX_Slot_MaskBoxBlurScanDeep)(kind, width, left, right,
                                                                            radius, scratch, line);
}

RX_Err RX_GBlurDeepUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right, int32_t radius,
                           uint16_t* scratch, uint16_t* line) {
  return rx::uno::mask_slot<RX_UnoBlurScan16>(RX_Slot_MaskBlurScanDeepPair)(kind, width, left, right,
                                                                             radius, scratch, line);
}
