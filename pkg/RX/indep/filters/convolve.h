// The convolution's job, its per-pixel arithmetic and the row run that the
// processor forms replace. One pixel is sum(value × entry) over the window
// clipped to the picture, in rows top to bottom and columns left to right,
// then divided and limited; the run computes pixels whose window lies
// wholly inside, the only ones that the processor forms take.
#pragma once

#include <cstdint>
#include <type_traits>

#include "RX_Convolve.h"
#include "frame/variants.h"
#include "worlds/depth_traits.h"

namespace rx {

struct ConvolveJob {
  const uint8_t* src;     // pixel (0, 0) of the source
  intptr_t src_stride;    // bytes from row to row
  int32_t read_width;     // columns and rows that may be read
  int32_t read_height;
  const int32_t* kernels[4];  // alpha, red, green, blue
  int32_t hw, hh;         // half width and half height of the window
  int32_t cols;           // 2hw + 1: entries of a kernel row
  int32_t divisors[4];
  bool clamp;
  bool entries_fit_16;    // every entry within -32768..32767
};

// Computes pixels x_begin .. x_end - 1 of row y into dst_row, every window
// wholly inside the picture.
using ConvolveRun = void (*)(const ConvolveJob* job, int32_t y, int32_t x_begin, int32_t x_end,
                             void* dst_row);

// Sums at a depth: 32-bit integers that wrap as the processor's do, or f32.
template <class Px>
using ConvolveSum = std::conditional_t<std::is_same_v<Px, RX_PixelFloat>, float, uint32_t>;

// One channel's result from its sum.
template <class Px>
typename Depth<Px>::Cv convolve_result(ConvolveSum<Px> sum, int32_t divisor, bool clamp,
                                       bool is_alpha) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    float v = sum / float(divisor);
    if (clamp) {
      if (v < 0.0f) v = 0.0f;
      if (v > 1.0f) v = 1.0f;
    }
    // Float alpha is limited with or without clamping.
    if (is_alpha) {
      if (v > 1.0f) v = 1.0f;
      if (v < 1e-16f) v = 0.0f;
    }
    return v;
  } else {
    const int32_t s = static_cast<int32_t>(sum);
    // The one quotient that does not fit: INT_MIN / -1 wraps to INT_MIN.
    int32_t q = divisor == -1 ? static_cast<int32_t>(0u - sum) : s / divisor;
    if (clamp) {
      if (q < 0) q = 0;
      if (q > Depth<Px>::white) q = Depth<Px>::white;
    }
    return static_cast<typename Depth<Px>::Cv>(q);
  }
}

// The pixel at (x, y): the window clipped to rows y0..y1 and columns x0..x1
// by moving the kernel's start, so that the loops below test nothing.
template <class Px>
inline Px convolve_pixel(const ConvolveJob& job, int32_t x, int32_t y) {
  const int32_t y0 = y - job.hh < 0 ? 0 : y - job.hh;
  const int32_t y1 = y + job.hh > job.read_height - 1 ? job.read_height - 1 : y + job.hh;
  const int32_t x0 = x - job.hw < 0 ? 0 : x - job.hw;
  const int32_t x1 = x + job.hw > job.read_width - 1 ? job.read_width - 1 : x + job.hw;
  const intptr_t skip = intptr_t{y0 - (y - job.hh)} * job.cols + (x0 - (x - job.hw));
  const int32_t* ka = job.kernels[0] + skip;
  const int32_t* kr = job.kernels[1] + skip;
  const int32_t* kg = job.kernels[2] + skip;
  const int32_t* kb = job.kernels[3] + skip;

  using Sum = ConvolveSum<Px>;
  Sum sa = 0, sr = 0, sg = 0, sb = 0;
  const int32_t n = x1 - x0 + 1;
  for (int32_t row = y0; row <= y1; ++row) {
    const Px* in = reinterpret_cast<const Px*>(job.src + intptr_t{row} * job.src_stride) + x0;
    for (int32_t i = 0; i < n; ++i) {
      sa += Sum(in[i].alpha) * Sum(ka[i]);
      sr += Sum(in[i].red) * Sum(kr[i]);
      sg += Sum(in[i].green) * Sum(kg[i]);
      sb += Sum(in[i].blue) * Sum(kb[i]);
    }
    ka += job.cols;
    kr += job.cols;
    kg += job.cols;
    kb += job.cols;
  }
  Px out;
  out.alpha = convolve_result<Px>(sa, job.divisors[0], job.clamp, true);
  out.red = convolve_result<Px>(sr, job.divisors[1], job.clamp, false);
  out.green = convolve_result<Px>(sg, job.divisors[2], job.clamp, false);
  out.blue = convolve_result<Px>(sb, job.divisors[3], job.clamp, false);
  return out;
}

template <class Px>
void convolve_run(const ConvolveJob* job, int32_t y, int32_t x_begin, int32_t x_end,
                  void* dst_row) {
  Px* out = static_cast<Px*>(dst_row);
  for (int32_t x = x_begin; x < x_end; ++x) out[x] = convolve_pixel<Px>(*job, x, y);
}

// The AVX2 runs (convolve_avx2.cpp).
template <class Px>
void convolve_run_avx2(const ConvolveJob* job, int32_t y, int32_t x_begin, int32_t x_end,
                       void* dst_row);

}  // namespace rx
