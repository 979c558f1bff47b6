// The arithmetic of the per-pixel transfer functions, one description per
// depth: mul, inv, union, div, the signed blend and the few look-ups where
// a depth has its own rule. The mode bodies are written once over these.
// Integer depths compute in int32_t and cut to the channel type on write;
// float computes in float and is never clamped unless a mode says so.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Frame.h"
#include "RX_Transfer.h"

namespace rx::xfer {

inline int32_t divide_table(int32_t a, int32_t v) { return RXp_G_DivideTable[a * 256 + v]; }


template <class Px>
struct Arith;

// 8 bits: the exact rounded mul, division through the divide table.
template <>
struct Arith<RX_Pixel8> {
  using Cv = uint8_t;
  using V = int32_t;
  static constexpr bool is_float = false;
  static constexpr V white = 255;
  static constexpr V half = 128;

  static V mul(V x, V y) {
    const uint32_t t = uint32_t(x) * uint32_t(y) + 128;
    return V((t + (t >> 8)) >> 8);
  }
  static V inv(V x) { return white - x; }
  static V unite(V a, V b) { return inv(mul(inv(a), inv(b))); }
  // Row a of the divide table; white divides by nothing.
  static V div(V v, V a) { return a == white ? v : divide_table(a, v); }
  // A mode's own quotient goes through the table too.
  static V ratio(V v, V a) { return div(v, a); }
  // x + mul(diff, k) with a possibly negative diff: the unsigned 32-bit
  // product wraps and the sum is cut to 8 bits.
  static V blend(V x, V diff, V k) {
    const uint32_t t = uint32_t(diff) * uint32_t(k) + 128;
    return V(uint8_t(uint32_t(x) + ((t + (t >> 8)) >> 8)));
  }
  static V limit(V v) { return std::clamp(v, V(0), white); }
  static V limit_top(V v) { return std::min(v, white); }
  static V floor_zero(V v) { return std::max(v, V(0)); }
  // The five-term sum of the general form is cut to 8 bits before it is
  // divided.
  static V cut_sum(V v) { return V(uint8_t(v)); }
  static V luminance(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }
  static bool opaque(V a) { return a > 254; }

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
  static V twice_high(V s) { return divide_table(127, s - 128); }

  static V hard_mix(V s, V d) {
    const V t = mul(254, inv(s));
    return d > t ? divide_table(1, d - t) : 0;
  }
  static V divide_mode(V s, V d) { return d == 0 ? 0 : divide_table(s, d); }
};

// 16 bits, white 32768: mul rounds with 16383, div rounds half up.
template <>
struct Arith<RX_Pixel16> {
  using Cv = uint16_t;
  using V = int32_t;
  static constexpr bool is_float = false;
  static constexpr V white = 32768;
  static constexpr V half = 16384;

  static V mul(V x, V y) { return V((uint32_t(x) * uint32_t(y) + 16383) >> 15); }
  static V inv(V x) { return white - x; }
  static V unite(V a, V b) { return inv(mul(inv(a), inv(b))); }
  static V div(V v, V a) { return v >= a ? white : V(((uint32_t(v) << 15) + uint32_t(a >> 1)) / uint32_t(a)); }
  static V ratio(V v, V a) { return div(v, a); }
  // x + ((diff * k) >> 15), the shift a floor, no rounding term.
  static V blend(V x, V diff, V k) { return x + ((diff * k) >> 15); }
  static V limit(V v) { return std::clamp(v, V(0), white); }
  static V limit_top(V v) { return std::min(v, white); }
  static V floor_zero(V v) { return std::max(v, V(0)); }
  static V cut_sum(V v) { return v; }
  static V luminance(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }
  static bool opaque(V a) { return a == white; }

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

// Float: plain arithmetic; a zero or subnormal divisor gives 1.0, which is
// why a fully transparent result does not become infinite.
template <>
struct Arith<RX_PixelFloat> {
  using Cv = float;
  using V = float;
  static constexpr bool is_float = true;
  static constexpr V white = 1.0f;
  static constexpr V half = 0.5f;

  static V mul(V x, V y) { return x * y; }
  static V inv(V x) { return 1.0f - x; }
  // 1 - (1 - a)(1 - b), formed as hi + lo (1 - hi) with hi the larger:
  // exactly 1 when either is 1, and two subnormal alphas unite to a
  // subnormal, not to 0.
  static V unite(V a, V b) {
    const V hi = a > b ? a : b, lo = a > b ? b : a;
    return hi + lo * (1.0f - hi);
  }
  static bool cannot_divide(V a) {
    const int kind = std::fpclassify(a);
    return kind == FP_ZERO || kind == FP_SUBNORMAL;
  }
  static V div(V v, V a) { return cannot_divide(a) ? 1.0f : v / a; }
  // A mode's own quotient is plain: each mode guards its divisor itself.
  static V ratio(V v, V a) { return v / a; }
  static V blend(V x, V diff, V k) { return x + diff * k; }
  static V limit(V v) { return v; }
  static V limit_top(V v) { return v; }
  static V floor_zero(V v) { return v; }
  static V cut_sum(V v) { return v; }
  static V luminance(V r, V g, V b) { return 0.299f * r + 0.587f * g + 0.114f * b; }
  static bool opaque(V a) { return a == 1.0f; }

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
