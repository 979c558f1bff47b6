// Per-channel premultiply and unmultiply rules of each depth and matte.
// The 8-bit forms divide by nothing: m255 and the divide table replace it.
// The 16-bit premultiply rounds with 16383, not 16384: kept for bit-exact
// output. A transparent pixel unmultiplies to white against black at every
// depth (the divide table's row 0 at 8 bits).
#pragma once

#include <cmath>
#include <cstdint>

#include "RX_Frame.h"
#include "worlds/depth_traits.h"

namespace rx {

enum class Matte { Black, White, Grey };

// The exact rounded division by 255: ((x + 128) >> 8) + x + 128, all >> 8.
inline constexpr uint32_t m255(uint32_t x) { return (((x + 128) >> 8) + x + 128) >> 8; }

inline uint8_t divide_table(uint32_t a, uint32_t v) { return RXp_G_fcd_table[a * 256 + v]; }

// The 16-bit multiply, (c * a + 16383) >> 15.
inline constexpr uint32_t mul16(uint32_t c, uint32_t a) { return (c * a + 16383) >> 15; }
// The 16-bit unmultiply: white when c reaches a, else rounded c / a.
inline constexpr uint32_t div16(uint32_t c, uint32_t a) {
  return c >= a ? 32768u : ((c << 15) + (a >> 1)) / a;
}

// A float alpha that cannot divide: zero, NaN, or denormal.
inline bool float_alpha_cannot_divide(float a) {
  return a == 0.0f || std::isnan(a) || std::fpclassify(a) == FP_SUBNORMAL;
}

template <class Px, Matte M>
struct PremulChannel;

// ---- 8 bits ----
template <>
struct PremulChannel<RX_Pixel8, Matte::Black> {
  static uint8_t forward(uint32_t c, uint32_t a) { return uint8_t(m255(c * a)); }
  static uint8_t reverse(uint32_t c, uint32_t a) { return divide_table(a, c); }
};
template <>
struct PremulChannel<RX_Pixel8, Matte::White> {
  static uint8_t forward(uint32_t c, uint32_t a) { return uint8_t(255 - m255((255 - c) * a)); }
  static uint8_t reverse(uint32_t c, uint32_t a) { return uint8_t(255 - divide_table(a, 255 - c)); }
};
template <>
struct PremulChannel<RX_Pixel8, Matte::Grey> {
  static uint8_t forward(uint32_t c, uint32_t a) {
    if (c < 128) return uint8_t(c + m255((255 - a) * (128 - c)));
    return uint8_t(128 + m255((c - 128) * a));
  }
  static uint8_t reverse(uint32_t c, uint32_t a) {
    if (c < 128) {
      const uint32_t t = divide_table(a, 128 - c);
      return t < 128 ? uint8_t(128 - t) : 0;
    }
    const uint32_t t = 128 + divide_table(a, c - 128);
    return uint8_t(t > 255 ? 255 : t);
  }
};

// ---- 16 bits: the same shapes with white 32768 and centre 16384 ----
template <>
struct PremulChannel<RX_Pixel16, Matte::Black> {
  static uint16_t forward(uint32_t c, uint32_t a) { return uint16_t(mul16(c, a)); }
  static uint16_t reverse(uint32_t c, uint32_t a) { return uint16_t(div16(c, a)); }
};
template <>
struct PremulChannel<RX_Pixel16, Matte::White> {
  static uint16_t forward(uint32_t c, uint32_t a) {
    return uint16_t(32768 - mul16(uint16_t(32768 - c), a));
  }
  static uint16_t reverse(uint32_t c, uint32_t a) {
    return uint16_t(32768 - div16(uint16_t(32768 - c), a));
  }
};
template <>
struct PremulChannel<RX_Pixel16, Matte::Grey> {
  static uint16_t forward(uint32_t c, uint32_t a) {
    if (c < 16384) return uint16_t(c + mul16(32768 - a, 16384 - c));
    return uint16_t(16384 + mul16(c - 16384, a));
  }
  static uint16_t reverse(uint32_t c, uint32_t a) {
    if (c < 16384) {
      const uint32_t t = div16(16384 - c, a);
      return t < 16384 ? uint16_t(16384 - t) : 0;
    }
    const uint32_t t = 16384 + div16(c - 16384, a);
    return uint16_t(t > 32768 ? 32768 : t);
  }
};

// ---- float ----
template <>
struct PremulChannel<RX_PixelFloat, Matte::Black> {
  static float forward(float c, float a) { return c * a; }
  static float reverse(float c, float a) { return float_alpha_cannot_divide(a) ? 1.0f : c / a; }
};
template <>
struct PremulChannel<RX_PixelFloat, Matte::White> {
  static float forward(float c, float a) { return 1.0f - (1.0f - c) * a; }
  static float reverse(float c, float a) {
    return 1.0f - PremulChannel<RX_PixelFloat, Matte::Black>::reverse(1.0f - c, a);
  }
};
template <>
struct PremulChannel<RX_PixelFloat, Matte::Grey> {
  static constexpr float g = 0.5f;
  static float forward(float c, float a) { return c >= g ? (c - g) * a + g : c + (1.0f - a) * (g - c); }
  // The inverse of forward. An alpha that cannot divide sends the colour to
  // the side it stands on, 0 or 1, as the integer forms do.
  static float reverse(float c, float a) {
    if (float_alpha_cannot_divide(a)) return c >= g ? 1.0f : 0.0f;
    return c >= g ? (c - g) / a + g : g - (g - c) / a;
  }
};

// One pixel: alpha copied, each colour channel by its rule.
template <class Px, Matte M, bool Forward>
inline Px premultiply_pixel(const Px& in) {
  using Channel = PremulChannel<Px, M>;
  const auto a = in.alpha;
  auto f = [a](auto c) { return Forward ? Channel::forward(c, a) : Channel::reverse(c, a); };
  return Px{in.alpha, f(in.red), f(in.green), f(in.blue)};
}

}  // namespace rx
