// The arithmetic of the per-pixel transfer functions: the depth's own
// vocabulary (worlds/depth_arith.h) and, on top of it, the few look-ups
// where a mode has a rule of its own at a depth (soft light's tables, the
// hard mix threshold, the divide mode). The mode bodies are written once
// over these.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Frame.h"
#include "RX_Transfer.h"
#include "worlds/depth_arith.h"

namespace rx::xfer {

template <class Px>
struct Arith;

// 8 bits.
template <>
struct Arith<RX_Pixel8> : DepthArith<RX_Pixel8> {
  // A mode's own quotient goes through the table too.
  static V ratio(V v, V a) { return div(v, a); }
  // The five-term sum of the general form is cut to 8 bits before it is
  // divided.
  static V cut_sum(V v) { return V(uint8_t(v)); }
  static V luminance(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }

  // Soft light: the constant byte tables, with 2s and inv(2s) cut to 8 bits
  // as factors, so s = 128 gives 0 and s = 255 gives 254.
  static V soft_factor_up(V s) { return V(uint8_t(2 * s)); }
  static V soft_factor_down(V s) { return V(uint8_t(inv(2 * s))); }
  static V soft_delta(V m) { return RXp_G_SoftLightDelta8[m]; }
  static V soft_parabola(V m) { return RXp_G_SoftLightParabola8[m]; }

  // Twice the distance from the dark end or from the middle, at 255 scale:
  // (s * 255 + 64) >> 7 below the middle, row 127 of the divide table
  // above it.
  static V twice_low(V s) { return V(uint8_t((s * 255 + 64) >> 7)); }
  static V twice_high(V s) { return divide_table(127, uint32_t(s - 128)); }

  static V hard_mix(V s, V d) {
    const V t = mul(254, inv(s));
    return d > t ? divide_table(1, uint32_t(d - t)) : 0;
  }
  static V divide_mode(V s, V d) { return d == 0 ? 0 : divide_table(uint32_t(s), uint32_t(d)); }
};

// 16 bits.
template <>
struct Arith<RX_Pixel16> : DepthArith<RX_Pixel16> {
  static V ratio(V v, V a) { return div(v, a); }
  static V cut_sum(V v) { return v; }
  static V luminance(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }

  // Soft light: the factors wrap at 16 bits; the tables are read at m >> 3
  // with the low three bits interpolated.
  static V soft_factor_up(V s) { return V(uint16_t(2 * s - white)); }
  static V soft_factor_down(V s) { return V(uint16_t(white - 2 * s)); }
  static V soft_lookup(const uint16_t* table, V m) {
    m = std::min(m, white);  // a channel beyond white reads the last entry
    const V i = m >> 3, f = m & 7;
    V value = table[i];
    if (f != 0) value += (f * (V(table[i + 1]) - value) + 4) >> 3;
    return V(uint16_t(value));
  }
  static V soft_delta(V m) { return soft_lookup(RXp_G_SoftLightDelta16, m); }
  static V soft_parabola(V m) { return soft_lookup(RXp_G_SoftLightParabola16, m); }

  static V twice_low(V s) { return 2 * s; }
  static V twice_high(V s) { return 2 * (s - half); }

  // Any d above the threshold gives white: the low 16 bits of d - t are
  // never zero there.
  static V hard_mix(V s, V d) {
    const V t = (inv(s) * 32767 + 16384) >> 15;
    return d > t ? white : 0;
  }
  static V divide_mode(V s, V d) { return d == 0 ? 0 : div(d, s); }
};

// Float.
template <>
struct Arith<RX_PixelFloat> : DepthArith<RX_PixelFloat> {
  // A mode's own quotient is plain: each mode guards its divisor itself.
  static V ratio(V v, V a) { return v / a; }
  static V cut_sum(V v) { return v; }
  static V luminance(V r, V g, V b) { return 0.299f * r + 0.587f * g + 0.114f * b; }

  static V soft_factor_up(V s) { return 2.0f * s - 1.0f; }
  static V soft_factor_down(V s) { return 1.0f - 2.0f * s; }
  static V soft_lookup(const float* table, V m) {
    // m limited to 0..1; NaN reads entry 0.
    const V x = (m > 0.0f ? std::min(m, 1.0f) : 0.0f) * 4096.0f;
    const int32_t i = int32_t(x);
    const V frac = x - V(i);
    V value = table[i];
    if (frac != 0.0f) value += (table[i + 1] - value) * frac;
    return value;
  }
  static V soft_delta(V m) { return soft_lookup(RXp_G_SoftLightDeltaF, m); }
  static V soft_parabola(V m) { return soft_lookup(RXp_G_SoftLightParabolaF, m); }

  static V twice_low(V s) { return 2.0f * s; }
  static V twice_high(V s) { return 2.0f * (s - 0.5f); }

  static V hard_mix(V s, V d) {
    constexpr V kScale = 0.99999f, kStep = 1.001358e-5f;
    const V t = (1.0f - s) * kScale;
    if (d <= t) return 0.0f;
    const V e = d - t;
    return e >= kStep ? 1.0f : e / kStep;
  }
  static V divide_mode(V s, V d) {
    constexpr V kSmallest = 1.8189894e-6f;
    return std::fabs(s) > kSmallest ? div(d, s) : d / kSmallest;
  }
};

}  // namespace rx::xfer
