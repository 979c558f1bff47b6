// The line walkers of the world transform, one body for the three depths.
// A run samples n positions from a start by a fixed 16.16 step: the
// nearest run skips from both ends to the span that lies inside and reads
// it without tests; the bilinear run samples with the all-inside form from
// both ends until all four taps are inside, and fills the span between
// with the unclipped form (or the span form when the step is one whole
// pixel along x); the area run samples every position. Every pixel is the
// value the sampler gives at its position, whatever form produced it.
// Positions are 64-bit; one outside the 32 bits of a sampler's 16.16
// position samples as transparent, as a wrapped walk would be caught.
// The still walkers run once per line; the motion walkers run once per
// pixel along its path and average the samples weighted by alpha.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "RX_AreaSampling.h"
#include "RX_Frame.h"
#include "RX_Sampling.h"
#include "compositing/transform_runs.h"
#include "worlds/depth_traits.h"

namespace rx::transform {

template <class Px>
SamplerSet<Px> samplers_from_table() {
  SamplerSet<Px> s;
  using S = SamplerSet<Px>;
  auto slot = [](RX_Slot i) { return RXp_G_OverFuncs[i]; };
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    s.nearest = reinterpret_cast<typename S::Sample>(slot(RX_Slot_NNSample8));
    s.bilinear = reinterpret_cast<typename S::Sample>(slot(RX_Slot_SubpixelSampleStraight8));
    s.no_clip = reinterpret_cast<typename S::Sample>(slot(RX_Slot_SubpixelNoClipStraight8));
    s.area = reinterpret_cast<typename S::Sample>(slot(RX_Slot_AreaSampleStraight8));
    s.plus = reinterpret_cast<typename S::Plus>(slot(RX_Slot_SubpixelPlusStraight8));
    s.span = reinterpret_cast<typename S::Span>(slot(RX_Slot_SpanSampleTranslateNoClip8));
  } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
    s.nearest = reinterpret_cast<typename S::Sample>(slot(RX_Slot_NNSample16));
    s.bilinear = reinterpret_cast<typename S::Sample>(slot(RX_Slot_SubpixelSampleStraight16));
    s.no_clip = reinterpret_cast<typename S::Sample>(slot(RX_Slot_SubpixelNoClip16));
    s.area = reinterpret_cast<typename S::Sample>(slot(RX_Slot_AreaSample16));
    s.plus = reinterpret_cast<typename S::Plus>(slot(RX_Slot_SubpixelPlus16));
    s.span = reinterpret_cast<typename S::Span>(slot(RX_Slot_SpanSampleTranslateNoClip16));
  } else {
    s.nearest = RX_NNSampleFloat;
    s.bilinear = RX_SubpixelCPlusPlusFloat;
    s.no_clip = RX_SubpixelCPlusPlusNoClipFloat;
    s.area = RX_AreaSample_CPlusPlus<RX_PixelFloat>;
    s.plus = RX_SubpixelSpanSampleAllInCPlusPlusFloat;
    s.span = RX_SubpixelSpanSampleCPlusPlusFloat;
  }
  return s;
}

inline bool fits32(int64_t v) {
  return v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max();
}
inline bool fits32(const Fixed2& p) { return fits32(p.x) && fits32(p.y); }

inline Fixed2 step_on(const Fixed2& p, const Fixed2& d, int64_t k) { return Fixed2{p.x + k * d.x, p.y + k * d.y}; }

template <class Px>
AlphaSum<Px> alpha_sum_of(const Px* p, int32_t n) {
  AlphaSum<Px> sum = 0;
  for (int32_t i = 0; i < n; ++i) sum += AlphaSum<Px>(p[i].alpha);
  return sum;
}

template <class Px>
const Px* source_pixel(const RX_LayerDef& src, int64_t i, int64_t j) {
  return reinterpret_cast<const Px*>(static_cast<const char*>(src.data) + intptr_t(j) * src.row_stride) + i;
}

// Nearest: the pixel at ((x + 0x8000) >> 16, (y + 0x8000) >> 16), or zero
// outside. The inside of a straight walk over a rectangle is one span, so
// after skipping from both ends the span needs no tests.
template <class Px>
AlphaSum<Px> nearest_run(const SamplerSet<Px>&, const RX_SampPB& pb, Fixed2 start, Fixed2 step, int32_t n,
                         Px* out) {
  const RX_LayerDef& src = *pb.src;
  auto inside = [&](const Fixed2& p) {
    if (!fits32(p)) return false;
    const int64_t i = (p.x + kFixedHalf) >> 16, j = (p.y + kFixedHalf) >> 16;
    return i >= 0 && i < src.width && j >= 0 && j < src.height;
  };
  int32_t first = 0;
  while (first < n && !inside(step_on(start, step, first))) out[first++] = Px{};
  int32_t end = n;
  while (end > first && !inside(step_on(start, step, end - 1))) out[--end] = Px{};
  AlphaSum<Px> sum = 0;
  Fixed2 p = step_on(start, step, first);
  p.x += kFixedHalf;
  p.y += kFixedHalf;
  for (int32_t k = first; k < end; ++k, p.x += step.x, p.y += step.y) {
    out[k] = *source_pixel<Px>(src, p.x >> 16, p.y >> 16);
    sum += AlphaSum<Px>(out[k].alpha);
  }
  return sum;
}

// Bilinear: the all-inside form from the left until all four taps are
// inside, then from the right likewise; between the two, every position
// has its taps inside (the walk is straight and the inside convex).
template <class Px>
AlphaSum<Px> bilinear_run(const SamplerSet<Px>& s, const RX_SampPB& pb, Fixed2 start, Fixed2 step, int32_t n,
                          Px* out) {
  AlphaSum<Px> sum = 0;
  auto edge_sample = [&](int32_t k) {
    uint8_t all_inside = 0;
    const Fixed2 p = step_on(start, step, k);
    if (fits32(p)) {
      s.plus(nullptr, int32_t(p.x), int32_t(p.y), &pb, &all_inside, &out[k]);
    } else {
      out[k] = Px{};
    }
    sum += AlphaSum<Px>(out[k].alpha);
    return all_inside != 0;
  };
  int32_t first = 0;
  bool inside = false;
  while (first < n && !inside) inside = edge_sample(first++);
  if (!inside) return sum;
  int32_t end = n;
  inside = false;
  while (end > first && !inside) inside = edge_sample(--end);
  if (!inside) return sum;
  // [first, end) lies between two all-inside positions.
  if (end <= first) return sum;
  const Fixed2 p = step_on(start, step, first);
  if (step.x == kFixedOne && step.y == 0) {
    uint32_t ignored = 0;  // float sums in 8-bit units: the line's sum is taken from the pixels
    s.span(nullptr, end - first, int32_t(p.x), int32_t(p.y), &pb, &ignored, out + first);
    sum += alpha_sum_of(out + first, end - first);
  } else {
    Fixed2 q = p;
    for (int32_t k = first; k < end; ++k, q.x += step.x, q.y += step.y) {
      s.no_clip(nullptr, int32_t(q.x), int32_t(q.y), &pb, &out[k]);
      sum += AlphaSum<Px>(out[k].alpha);
    }
  }
  return sum;
}

// Area: every position through the sampler.
template <class Px>
AlphaSum<Px> area_run(const SamplerSet<Px>& s, const RX_SampPB& pb, Fixed2 start, Fixed2 step, int32_t n,
                      Px* out) {
  AlphaSum<Px> sum = 0;
  Fixed2 p = start;
  for (int32_t k = 0; k < n; ++k, p.x += step.x, p.y += step.y) {
    if (fits32(p)) {
      s.area(nullptr, int32_t(p.x), int32_t(p.y), &pb, &out[k]);
    } else {
      out[k] = Px{};
    }
    sum += AlphaSum<Px>(out[k].alpha);
  }
  return sum;
}

template <class Px>
RunKernels<Px> plain_runs() {
  return RunKernels<Px>{nearest_run<Px>, bilinear_run<Px>, area_run<Px>};
}

// ---- motion ----

// Alpha and alpha-weighted colour sums of one pixel's samples.
template <class Px>
struct MotionSums {
  using Acc = std::conditional_t<std::is_same_v<Px, RX_PixelFloat>, double, uint64_t>;
  Acc alpha = 0, red = 0, green = 0, blue = 0;

  void add(const Px& p) {
    // A transparent sample adds nothing.
    if (p.alpha == 0) return;
    const Acc a = Acc(p.alpha);
    alpha += a;
    red += Acc(p.red) * a;
    green += Acc(p.green) * a;
    blue += Acc(p.blue) * a;
  }

  // The average of count samples: alpha over all of them, colours over
  // their alpha. Every sample opaque makes the alpha sum count × white, and
  // then too the colour sums are divided by that sum, since they are sums
  // of colour × alpha. Integer depths round half up, as their samplers do.
  Px result(int32_t count) const {
    if (alpha == 0) return Px{};
    using Cv = typename Depth<Px>::Cv;
    if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
      return Px{float(alpha / double(count)), float(red / alpha), float(green / alpha), float(blue / alpha)};
    } else {
      // floor(num / den + 1/2) as (2 num + den) / (2 den) in double: the
      // sums stay below 2^40, so a quotient short of an integer stays short
      // of it after rounding, and truncation gives the exact result (far
      // cheaper than four 64-bit integer divisions a pixel).
      auto rounded = [](uint64_t num, uint64_t den) {
        return Cv(int64_t(double(2 * num + den) / double(2 * den)));
      };
      return Px{rounded(alpha, uint64_t(count)), rounded(red, alpha), rounded(green, alpha), rounded(blue, alpha)};
    }
  }
};

// A path's length divided into steps, toward zero as integer division
// does. Below 2^40 the double quotient truncates to the same integer (a
// quotient short of an integer by at least 1/steps stays short of it),
// and costs far less than a 64-bit division.
inline int64_t path_step(int64_t length, int32_t steps) {
  constexpr int64_t kExactBelow = int64_t{1} << 40;
  if (length > -kExactBelow && length < kExactBelow) return int64_t(double(length) / double(steps));
  return length / steps;
}

// The straight walker: each pixel's path runs from its position under the
// first matrix to that under the last; steps samples at (p1 - p0) / steps
// apart, the last position itself not sampled.
template <class Px>
AlphaSum<Px> walk_straight(RunFunc<Px> run, const SamplerSet<Px>& s, const RX_SampPB& pb, Fixed2 p0,
                           const Fixed2& d0, Fixed2 p1, const Fixed2& d1, int32_t steps, int32_t width, Px* out) {
  Px samples[kMaxMatrices];
  AlphaSum<Px> sum = 0;
  for (int32_t i = 0; i < width; ++i) {
    const Fixed2 step{path_step(p1.x - p0.x, steps), path_step(p1.y - p0.y, steps)};
    run(s, pb, p0, step, steps, samples);
    MotionSums<Px> sums;
    for (int32_t k = 0; k < steps; ++k) sums.add(samples[k]);
    out[i] = sums.result(steps);
    sum += AlphaSum<Px>(out[i].alpha);
    p0.x += d0.x, p0.y += d0.y;
    p1.x += d1.x, p1.y += d1.y;
  }
  return sum;
}

// One matrix of a curved path, as the slow walker keeps it in the motion
// blur buffers: its sampling block with radii, and where the current
// line starts.
// A record is 104 bytes: the sampling block, then the walker's own.
struct PathEntry {
  RX_SampPB pb;
  int64_t line_x, line_y;  // 16.16 start of the current line, never wrapped
  uint8_t usable;          // 0 for a singular or flattening matrix: its samples are transparent
  uint8_t narrow;          // radii of half a pixel or less: bilinear
  uint8_t spare[62];
};
static_assert(sizeof(PathEntry) == 104, "a path entry fills its record of the motion blur buffer");

// The slow walker: every pixel samples every matrix at its own position
// and averages them all.
template <class Px>
AlphaSum<Px> walk_curved(const RunKernels<Px>& runs, const SamplerSet<Px>& s, const PathEntry* entries,
                         const int32_t (*steps_x)[2], int32_t count, int32_t width, Px* out) {
  AlphaSum<Px> sum = 0;
  for (int32_t i = 0; i < width; ++i) {
    MotionSums<Px> sums;
    for (int32_t m = 0; m < count; ++m) {
      const PathEntry& e = entries[m];
      if (!e.usable) continue;
      Px sample;
      const Fixed2 p = step_on(Fixed2{e.line_x, e.line_y}, Fixed2{steps_x[m][0], steps_x[m][1]}, i);
      (e.narrow ? runs.bilinear : runs.area)(s, e.pb, p, Fixed2{}, 1, &sample);
      sums.add(sample);
    }
    out[i] = sums.result(count);
    sum += AlphaSum<Px>(out[i].alpha);
  }
  return sum;
}

}  // namespace rx::transform
