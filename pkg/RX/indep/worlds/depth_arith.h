// The arithmetic of each depth, written once for the whole package: the
// 8-bit rounded division by 255 and the divide table, the 16-bit multiply
// and division at white 32768, one description per depth over them
// (DepthArith<Px>: mul, inv, unite, div, the signed blend, limits), and the
// matte forms that premultiplication, compositing and the filters share.
// Integer depths compute in int32_t and cut to the channel type on write;
// float computes in float and is never clamped unless a caller says so.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Frame.h"
#include "worlds/depth_traits.h"

// The channel bodies and the per-pixel steps run once per pixel inside row
// loops; as calls they cost more than their work. RX_CHANNEL_BODY marks a
// lambda that runs per channel likewise.
#define RX_PIXEL_STEP inline __attribute__((always_inline))
#define RX_CHANNEL_BODY __attribute__((always_inline))

namespace rx {

// ---- the integer rules ----

// The exact rounded division by 255 of a product of two bytes:
// ((x + 128) >> 8) + x + 128, all >> 8. The 8-bit multiply of a and b is
// m255(a * b).
inline constexpr uint32_t m255(uint32_t x) { return (((x + 128) >> 8) + x + 128) >> 8; }

// Row a, column v of the divide table prepared at birth: v * 255 / a
// rounded, limited to 255; row 0 holds 255, row 255 is v itself.
inline uint8_t divide_table(uint32_t a, uint32_t v) { return RXp_G_fcd_table[a * 256 + v]; }

// The 16-bit multiply, (a * b + 16383) >> 15: the rounding constant is
// 16383, not 16384, kept for bit-exact output.
inline constexpr uint32_t mul16(uint32_t a, uint32_t b) { return (a * b + 16383) >> 15; }

// ---- one description per depth ----

template <class Px>
struct DepthArith;

// What the integer depths share: the complements, the union and the
// limits over the depth's white, the union through the depth's own mul.
template <class Px>
struct IntegerDepthArith : Depth<Px> {
  using V = int32_t;
  using Depth<Px>::white;
  static constexpr bool is_float = false;
  static constexpr V half = (white + 1) / 2;  // 128, 16384

  static V inv(V x) { return white - x; }
  // The complement of a channel as a channel: at 16 bits a word beyond
  // white wraps, as in the vector forms' 16-bit lanes. The white matte and
  // the union multiply complements.
  static V complement(V x) { return V(typename Depth<Px>::Cv(white - x)); }
  static V unite(V a, V b) { return inv(DepthArith<Px>::mul(complement(a), complement(b))); }
  static V limit(V v) { return std::clamp(v, V(0), V(white)); }
  static V limit_top(V v) { return std::min(v, V(white)); }
  static V floor_zero(V v) { return std::max(v, V(0)); }
};

// 8 bits: the exact rounded mul, division through the divide table.
template <>
struct DepthArith<RX_Pixel8> : IntegerDepthArith<RX_Pixel8> {
  static V mul(V x, V y) { return V(m255(uint32_t(x) * uint32_t(y))); }
  // Row a of the divide table; white divides by nothing.
  static V div(V v, V a) { return a == white ? v : V(divide_table(uint32_t(a), uint32_t(v))); }
  // x + mul(diff, k) with a possibly negative diff: the unsigned 32-bit
  // product wraps and the sum is cut to 8 bits.
  static V blend(V x, V diff, V k) {
    const uint32_t t = uint32_t(diff) * uint32_t(k) + 128;
    return V(uint8_t(uint32_t(x) + ((t + (t >> 8)) >> 8)));
  }
  static bool opaque(V a) { return a > 254; }
};

// 16 bits, white 32768: mul rounds with 16383, div rounds half up.
template <>
struct DepthArith<RX_Pixel16> : IntegerDepthArith<RX_Pixel16> {
  static V mul(V x, V y) { return V(mul16(uint32_t(x), uint32_t(y))); }
  // White where v reaches a (so a transparent pixel divides to white),
  // else v / a rounded half up.
  static V div(V v, V a) { return v >= a ? white : V(((uint32_t(v) << 15) + uint32_t(a >> 1)) / uint32_t(a)); }
  // x + ((diff * k) >> 15), the shift a floor, no rounding term.
  static V blend(V x, V diff, V k) { return x + ((diff * k) >> 15); }
  static bool opaque(V a) { return a == white; }
};

// Float: plain arithmetic; a zero or subnormal divisor gives 1.0, which is
// why a fully transparent result does not become infinite.
template <>
struct DepthArith<RX_PixelFloat> : Depth<RX_PixelFloat> {
  using V = float;
  static constexpr bool is_float = true;
  static constexpr V half = 0.5f;

  static V mul(V x, V y) { return x * y; }
  static V inv(V x) { return 1.0f - x; }
  static V complement(V x) { return 1.0f - x; }
  // 1 - (1 - a)(1 - b), in float and in that order: exactly 1 when either
  // alpha is 1; two subnormal alphas unite to 0 (whose colours the
  // division guard then sends to 1.0).
  static V unite(V a, V b) { return inv(mul(complement(a), complement(b))); }
  static bool cannot_divide(V a) {
    const int kind = std::fpclassify(a);
    return kind == FP_ZERO || kind == FP_SUBNORMAL;
  }
  // The unmultiply scans refuse a NaN alpha as well; the division of the
  // transfer functions lets it through (a NaN quotient).
  static bool cannot_unmultiply(V a) { return cannot_divide(a) || std::isnan(a); }
  static V div(V v, V a) { return cannot_divide(a) ? 1.0f : v / a; }
  static V blend(V x, V diff, V k) { return x + diff * k; }
  static V limit(V v) { return v; }
  static V limit_top(V v) { return v; }
  static V floor_zero(V v) { return v; }
  static bool opaque(V a) { return a == 1.0f; }
};

// ---- the matte forms ----

// The neutral colour a pixel is seen against.
enum class Matte { Black, White, Grey };

// A colour c with alpha a as seen on the matte colour: premultiplication
// against the matte, and the matting of dst in the matte modes.
template <class A, Matte M>
RX_PIXEL_STEP typename A::V matte(typename A::V c, typename A::V a) {
  if constexpr (M == Matte::Black) {
    return A::mul(c, a);
  } else if constexpr (M == Matte::White) {
    return A::inv(A::mul(A::complement(c), a));
  } else {
    return c >= A::half ? A::mul(c - A::half, a) + A::half : c + A::mul(A::half - c, A::inv(a));
  }
}

// The colour back from the matte after dividing by alpha r with divide
// (the depth's div, or a plain quotient where r is known to divide). The
// grey form saturates at the integer depths: a quotient of a half or more
// gives white or 0.
template <class A, Matte M, class Divide>
RX_PIXEL_STEP typename A::V dematte_by(typename A::V c, typename A::V r, Divide divide) {
  if constexpr (M == Matte::Black) {
    return divide(c, r);
  } else if constexpr (M == Matte::White) {
    return A::inv(divide(A::complement(c), r));
  } else {
    if (c >= A::half) return A::limit_top(A::half + divide(c - A::half, r));
    return A::floor_zero(A::half - divide(A::half - c, r));
  }
}

template <class A, Matte M>
RX_PIXEL_STEP typename A::V dematte(typename A::V c, typename A::V r) {
  return dematte_by<A, M>(c, r, [](typename A::V v, typename A::V a) RX_CHANNEL_BODY { return A::div(v, a); });
}

// Unmultiplying a pixel of alpha a: dematte, except where a float alpha
// cannot unmultiply (zero, NaN, subnormal). There the colour goes to white
// against black and to black against white, as the quotient 1.0 gives, and
// against grey to the end it stands on, as the integer forms saturate.
template <class A, Matte M>
RX_PIXEL_STEP typename A::V unmultiply(typename A::V c, typename A::V a) {
  if constexpr (A::is_float) {
    if (A::cannot_unmultiply(a)) {
      if constexpr (M == Matte::Grey) return c >= A::half ? A::white : 0.0f;
      return M == Matte::Black ? A::white : 0.0f;
    }
    // The alpha divides: the plain quotient, without the guard again.
    return dematte_by<A, M>(c, a, [](float v, float d) RX_CHANNEL_BODY { return v / d; });
  } else {
    return dematte<A, M>(c, a);
  }
}

}  // namespace rx
