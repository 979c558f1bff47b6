// The straight-alpha bilinear kernel, one body for the three depths. Each
// colour is weighted by its alpha, so transparent taps do not darken an
// edge. The 8-bit kernel works in single precision and multiplies by the
// reciprocal of the alpha sum; the 16-bit kernel in double; the float
// kernel in single precision with no rounding and no limit. Rounding points
// (the added 0.5 and the truncation) are where every form must agree.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "RX_Sampling.h"

namespace rx {

// 2 to the minus 16 in the kernel's precision.
inline constexpr float kFractionToFloat = 1.5258789e-5f;
inline constexpr double kFractionToDouble = 1.52587890625e-5;

template <class Px>
struct KernelTraits;
template <>
struct KernelTraits<RX_Pixel8> {
  using Real = float;
  static constexpr bool rounds = true;  // add 0.5, truncate, limit to 0..255
};
template <>
struct KernelTraits<RX_Pixel16> {
  using Real = double;
  static constexpr bool rounds = true;
};
template <>
struct KernelTraits<RX_PixelFloat> {
  using Real = float;
  static constexpr bool rounds = false;
};

// Left-top, right-top, left-bottom, right-bottom.
template <class Real>
struct TapWeights {
  Real w00, w10, w01, w11;
};

template <class Real>
TapWeights<Real> tap_weights(uint32_t fx, uint32_t fy) {
  constexpr Real scale = std::is_same_v<Real, float> ? Real(kFractionToFloat) : Real(kFractionToDouble);
  const Real x = Real(fx) * scale;
  const Real y = Real(fy) * scale;
  TapWeights<Real> w;
  w.w11 = x * y;
  w.w10 = x - w.w11;
  w.w01 = y - w.w11;
  w.w00 = Real(1) - w.w10 - w.w01 - w.w11;
  return w;
}

template <class Real>
TapWeights<Real> given_weights(const double weights[4]) {
  return {Real(weights[0]), Real(weights[1]), Real(weights[2]), Real(weights[3])};
}

template <class Px>
const Px* pixel_at(const RX_LayerDef& world, int32_t i, int32_t j) {
  return reinterpret_cast<const Px*>(static_cast<const char*>(world.data) + intptr_t{j} * world.row_stride) + i;
}

template <class Px>
bool inside(const RX_LayerDef& world, int32_t i, int32_t j) {
  return i >= 0 && i < world.width && j >= 0 && j < world.height;
}

// The four taps; outside ones read a transparent black pixel. Returns
// whether all four were inside.
template <class Px, bool Clip>
bool read_taps(const RX_LayerDef& world, int32_t i, int32_t j, Px taps[4]) {
  if constexpr (!Clip) {
    taps[0] = *pixel_at<Px>(world, i, j);
    taps[1] = *pixel_at<Px>(world, i + 1, j);
    taps[2] = *pixel_at<Px>(world, i, j + 1);
    taps[3] = *pixel_at<Px>(world, i + 1, j + 1);
    return true;
  } else {
    const bool left = i >= 0 && i < world.width, right = i + 1 >= 0 && i + 1 < world.width;
    const bool top = j >= 0 && j < world.height, bottom = j + 1 >= 0 && j + 1 < world.height;
    taps[0] = left && top ? *pixel_at<Px>(world, i, j) : Px{};
    taps[1] = right && top ? *pixel_at<Px>(world, i + 1, j) : Px{};
    taps[2] = left && bottom ? *pixel_at<Px>(world, i, j + 1) : Px{};
    taps[3] = right && bottom ? *pixel_at<Px>(world, i + 1, j + 1) : Px{};
    return left && right && top && bottom;
  }
}

template <class Px>
bool all_identical(const Px taps[4]) {
  return std::memcmp(&taps[0], &taps[1], sizeof(Px)) == 0 &&
         std::memcmp(&taps[0], &taps[2], sizeof(Px)) == 0 &&
         std::memcmp(&taps[0], &taps[3], sizeof(Px)) == 0;
}

// A channel value from the kernel's real number.
template <class Px, class Real>
auto to_channel(Real v) {
  using Cv = decltype(Px{}.red);
  if constexpr (!KernelTraits<Px>::rounds) {
    return Cv(v);
  } else if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    const int32_t t = int32_t(v + Real(0.5));
    return Cv(std::clamp(t, 0, 255));
  } else {
    return Cv(int32_t(v + Real(0.5)));
  }
}

// Steps after the taps are read: equal taps, equal alphas, general case.
template <class Px>
Px blend_taps(const Px t[4], const TapWeights<typename KernelTraits<Px>::Real>& w) {
  using Real = typename KernelTraits<Px>::Real;
  if (all_identical(t)) return t[0];
  const Real alpha0 = Real(t[0].alpha);
  if (t[0].alpha == t[1].alpha && t[0].alpha == t[2].alpha && t[0].alpha == t[3].alpha) {
    if (alpha0 == Real(0)) return Px{};
    auto mix = [&](auto Px::*c) {
      return to_channel<Px>(w.w00 * Real(t[0].*c) + w.w10 * Real(t[1].*c) + w.w01 * Real(t[2].*c) +
                            w.w11 * Real(t[3].*c));
    };
    return Px{t[0].alpha, mix(&Px::red), mix(&Px::green), mix(&Px::blue)};
  }
  const Real a0 = w.w00 * Real(t[0].alpha), a1 = w.w10 * Real(t[1].alpha);
  const Real a2 = w.w01 * Real(t[2].alpha), a3 = w.w11 * Real(t[3].alpha);
  const Real total = a0 + a1 + a2 + a3;
  if (KernelTraits<Px>::rounds ? total < Real(0.5) : total == Real(0)) return Px{};
  const Real inverse = Real(1) / total;
  auto mix = [&](auto Px::*c) {
    return to_channel<Px>((a0 * Real(t[0].*c) + a1 * Real(t[1].*c) + a2 * Real(t[2].*c) + a3 * Real(t[3].*c)) *
                          inverse);
  };
  return Px{to_channel<Px>(total), mix(&Px::red), mix(&Px::green), mix(&Px::blue)};
}

// The whole kernel at (x, y). Clip: taps outside read transparent black.
template <class Px, bool Clip>
Px bilinear_straight(const RX_LayerDef& world, int32_t x, int32_t y, uint8_t* all_inside = nullptr) {
  using Real = typename KernelTraits<Px>::Real;
  if (all_inside) *all_inside = 0;
  const int32_t i = x >> 16, j = y >> 16;
  const uint32_t fx = uint32_t(x) & 0xFFFF, fy = uint32_t(y) & 0xFFFF;
  if (fx == 0 && fy == 0) {
    if (Clip && !inside<Px>(world, i, j)) return Px{};
    return *pixel_at<Px>(world, i, j);
  }
  Px taps[4];
  const bool all_in = read_taps<Px, Clip>(world, i, j, taps);
  if (all_inside) *all_inside = all_in ? 1 : 0;
  return blend_taps<Px>(taps, tap_weights<Real>(fx, fy));
}

// The kernel with weights given, no clipping.
template <class Px>
Px bilinear_translate(const RX_LayerDef& world, int32_t x, int32_t y, const double weights[4]) {
  using Real = typename KernelTraits<Px>::Real;
  const int32_t i = x >> 16, j = y >> 16;
  if ((uint32_t(x) & 0xFFFF) == 0 && (uint32_t(y) & 0xFFFF) == 0) return *pixel_at<Px>(world, i, j);
  Px taps[4];
  read_taps<Px, false>(world, i, j, taps);
  return blend_taps<Px>(taps, given_weights<Real>(weights));
}

}  // namespace rx
