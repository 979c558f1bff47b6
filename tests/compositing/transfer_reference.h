// A second, plain statement of what the per-pixel transfer functions
// compute, one mode at a time, for the tests to hold the nine tables
// against. It is written for reading, not for speed: integer pixels are
// carried in 32-bit signed channels and cut to the channel type where the
// arithmetic says so; each mode is a case of a switch.
//
// The integer depths share one body over a set of primitives (Int8, Int16);
// where 8 and 16 bits part ways the body says so with kBits. Float has its
// own body, since its guards and limits differ.
//
// Needs a born package: the divide table and the soft-light tables are the
// package's and are read here as data.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "RX_Frame.h"
#include "RX_Modes.h"
#include "RX_Transfer.h"

namespace xfer_ref {

// ---------------------------------------------------------------------------
// Integer primitives.

// 8 bits: white 255, half 128; the multiply rounds with 128 and folds the
// high byte back in; division goes through the divide table's row a.
struct Int8 {
  static constexpr int kBits = 8;
  static constexpr int32_t one = 255;
  static constexpr int32_t half = 128;

  static int32_t cut(int32_t v) { return v & 0xff; }
  static int32_t mul(int32_t x, int32_t y) {
    const uint32_t t = uint32_t(x) * uint32_t(y) + 128u;
    return int32_t((t + (t >> 8)) >> 8);
  }
  static int32_t inv(int32_t x) { return 255 - x; }
  static int32_t unite(int32_t a, int32_t b) { return inv(mul(inv(a), inv(b))); }
  static int32_t table(int32_t row, int32_t column) { return RXp_G_DivideTable[row * 256 + column]; }
  // Skipped when the divisor is white.
  static int32_t div(int32_t v, int32_t a) { return a == 255 ? v : table(a, cut(v)); }
  // mul of a difference that may be negative: the rounding multiply in
  // 32-bit unsigned arithmetic, wrapping; only its low byte is meaningful.
  static int32_t signed_mul(int32_t diff, int32_t k) {
    const uint32_t t = uint32_t(diff) * uint32_t(k) + 128u;
    return int32_t((t + (t >> 8)) >> 8);
  }
  // x + mul(y - x, k), cut to 8 bits.
  static int32_t blend(int32_t x, int32_t y, int32_t k) { return cut(x + signed_mul(y - x, k)); }
};

// 16 bits: white 32768, half 16384; the multiply adds 16383 and shifts by
// 15; division truncates and saturates at white.
struct Int16 {
  static constexpr int kBits = 16;
  static constexpr int32_t one = 32768;
  static constexpr int32_t half = 16384;

  static int32_t cut(int32_t v) { return v & 0xffff; }
  static int32_t mul(int32_t x, int32_t y) { return int32_t((uint32_t(x) * uint32_t(y) + 16383u) >> 15); }
  static int32_t inv(int32_t x) { return 32768 - x; }
  static int32_t unite(int32_t a, int32_t b) { return inv(mul(inv(a), inv(b))); }
  static int32_t div(int32_t v, int32_t a) {
    if (v >= a) return 32768;
    return int32_t(((int64_t(v) << 15) + (a >> 1)) / a);
  }
  // (y - x) k >> 15 with the shift flooring, no rounding term.
  static int32_t signed_mul(int32_t diff, int32_t k) { return int32_t((int64_t(diff) * k) >> 15); }
  static int32_t blend(int32_t x, int32_t y, int32_t k) { return x + signed_mul(y - x, k); }
};

// Luminance of the integer depths: the float weights times 32768.
inline int32_t luminance(const int32_t* c) { return (9798 * c[0] + 19235 * c[1] + 3735 * c[2] + 16384) >> 15; }

inline bool is_matte_mode(int32_t mode) {
  return (mode >= RX_Xfer_Add && mode <= RX_Xfer_Difference) ||
         (mode >= RX_Xfer_ColorDodge && mode <= RX_Xfer_Exclusion);
}
inline bool is_general_mode(int32_t mode) {
  return (mode >= RX_Xfer_Difference2 && mode <= RX_Xfer_HardMix) || mode == RX_Xfer_Subtract ||
         mode == RX_Xfer_Divide;
}
inline bool is_colour_mode(int32_t mode) {
  return (mode >= RX_Xfer_Hue && mode <= RX_Xfer_Luminosity) || mode == RX_Xfer_LighterColor ||
         mode == RX_Xfer_DarkerColor;
}

enum class Matte { Black, White, Grey };

inline Matte matte_of(int32_t mode) {
  switch (mode) {
    case RX_Xfer_Multiply:
    case RX_Xfer_Darken:
    case RX_Xfer_ColorBurn:
      return Matte::White;
    case RX_Xfer_Overlay:
    case RX_Xfer_SoftLight:
    case RX_Xfer_HardLight:
      return Matte::Grey;
    default:
      return Matte::Black;
  }
}

// A pixel of any integer depth, alpha and three colours.
struct IPix {
  int32_t a;
  int32_t c[3];
};

// ---------------------------------------------------------------------------
// The integer body.

template <class A>
struct IntModes {
  static constexpr int32_t one = A::one;
  static constexpr int32_t half = A::half;

  // The destination colour on its neutral background.
  static int32_t matte(Matte kind, int32_t d, int32_t da) {
    switch (kind) {
      case Matte::Black:
        return A::mul(d, da);
      case Matte::White:
        return A::inv(A::mul(A::inv(d), da));
      case Matte::Grey:
        if (d >= half) return A::mul(d - half, da) + half;
        return d + A::mul(half - d, A::inv(da));
    }
    return d;
  }

  // A result brought back from the neutral background by the result alpha.
  // The grey form saturates when the quotient reaches half.
  static int32_t dematte(Matte kind, int32_t c, int32_t r) {
    switch (kind) {
      case Matte::Black:
        return A::div(c, r);
      case Matte::White:
        return A::inv(A::div(A::inv(c), r));
      case Matte::Grey:
        if (c >= half) {
          const int32_t q = A::div(c - half, r);
          return q >= half ? one : half + q;
        } else {
          const int32_t q = A::div(half - c, r);
          return q >= half ? 0 : half - q;
        }
    }
    return c;
  }

  // Soft light's two curves at m.
  static int32_t soft_delta(int32_t m) {
    if constexpr (A::kBits == 8) return RXp_G_SoftLightDelta8[m];
    else return lookup16(RXp_G_SoftLightDelta16, m);
  }
  static int32_t soft_parabola(int32_t m) {
    if constexpr (A::kBits == 8) return RXp_G_SoftLightParabola8[m];
    else return lookup16(RXp_G_SoftLightParabola16, m);
  }
  static int32_t lookup16(const uint16_t* t, int32_t m) {
    const int32_t i = m >> 3, f = m & 7;
    int32_t v = t[i];
    if (f != 0) v += (f * (int32_t(t[i + 1]) - int32_t(t[i])) + 4) >> 3;
    return v;
  }

  // Family 1 at full source alpha: f(s, m).
  static int32_t matte_full(int32_t mode, int32_t s, int32_t m) {
    switch (mode) {
      case RX_Xfer_Add:
        return std::min(s + m, one);
      case RX_Xfer_Multiply:
        return m - A::mul(A::inv(s), m);
      case RX_Xfer_Screen:
        return A::inv(A::mul(A::inv(s), A::inv(m)));
      case RX_Xfer_Overlay:
        if (m < half) return 2 * A::mul(s, m);
        return A::inv(A::mul(A::inv(s), A::cut(2 * A::inv(m))));
      case RX_Xfer_SoftLight:
        if constexpr (A::kBits == 8) {
          if (s >= half) return m + A::mul(A::cut(2 * s), soft_delta(m));
          return m - A::mul(A::inv(2 * s), soft_parabola(m));
        } else {
          if (s >= half) return m + A::mul(A::cut(2 * s - 32768), soft_delta(m));
          return m - A::mul(A::cut(32768 - 2 * s), soft_parabola(m));
        }
      case RX_Xfer_HardLight:
        if (s >= half) return m + A::mul(2 * s - one, A::inv(m));
        return m - A::mul(one - 2 * s, m);
      case RX_Xfer_Darken:
        return std::min(s, m);
      case RX_Xfer_Lighten:
        return std::max(s, m);
      case RX_Xfer_Difference:
        return std::abs(s - m);
      case RX_Xfer_ColorDodge:
        return dodge(A::inv(s), m);
      case RX_Xfer_ColorBurn:
        return burn(s, m);
      case RX_Xfer_Exclusion:
        return s + m - 2 * A::mul(s, m);
    }
    return m;
  }

  // t = 1 - s: m below t gives m / t, else white.
  static int32_t dodge(int32_t t, int32_t m) {
    if (t != 0 && m < t) return std::min(A::div(m, t), one);
    return one;
  }
  // 1 - (1 - m) / s with the quotient limited to white.
  static int32_t burn(int32_t s, int32_t m) { return A::inv(std::min(A::div(A::inv(m), s), one)); }

  // Family 1 below full source alpha.
  static int32_t matte_weighted(int32_t mode, int32_t s, int32_t m, int32_t sa) {
    switch (mode) {
      case RX_Xfer_Add:
        return std::min(A::mul(s, sa) + m, one);
      case RX_Xfer_Multiply:
        return m - A::mul(A::mul(A::inv(s), m), sa);
      case RX_Xfer_Screen: {
        const int32_t sw = A::mul(s, sa);
        return A::inv(A::mul(A::inv(sw), A::inv(m)));
      }
      case RX_Xfer_Overlay:
      case RX_Xfer_SoftLight:
      case RX_Xfer_HardLight:
        return A::blend(m, matte_full(mode, s, m), sa);
      case RX_Xfer_Darken:
        return m > s ? m - A::mul(m - s, sa) : m;
      case RX_Xfer_Lighten:
        return s > m ? m + A::mul(s - m, sa) : m;
      case RX_Xfer_Difference:
        return std::abs(A::mul(s, sa) - m);
      case RX_Xfer_ColorDodge:
        return dodge(A::inv(A::mul(s, sa)), m);
      case RX_Xfer_ColorBurn:
        return burn(A::inv(A::mul(A::inv(s), sa)), m);
      case RX_Xfer_Exclusion: {
        const int32_t e = s - 2 * A::mul(s, m);
        int32_t v = m + A::signed_mul(e, sa);
        if constexpr (A::kBits == 8) v = A::cut(v);
        return v;
      }
    }
    return m;
  }

  static void matte_mode(int32_t mode, const IPix& s, IPix& d) {
    const Matte kind = matte_of(mode);
    const int32_t sa = s.a, da = d.a;
    const int32_t r = sa == one ? one : A::unite(sa, da);
    for (int i = 0; i < 3; ++i) {
      const int32_t m = da == one ? d.c[i] : matte(kind, d.c[i], da);
      const int32_t v = sa == one ? matte_full(mode, s.c[i], m) : matte_weighted(mode, s.c[i], m, sa);
      d.c[i] = r == one ? v : dematte(kind, v, r);
    }
    d.a = r;
  }

  // Family 2: f(s, d) on unweighted colours.
  static int32_t general_f(int32_t mode, int32_t s, int32_t d) {
    switch (mode) {
      case RX_Xfer_Difference2:
        return std::abs(s - d);
      case RX_Xfer_ColorDodge2: {
        if (d == 0) return 0;
        const int32_t t = A::inv(s);
        return (t != 0 && d < t) ? A::div(d, t) : one;
      }
      case RX_Xfer_ColorBurn2: {
        if (s == 0 && d == one) return one;
        const int32_t u = A::inv(d);
        return (s != 0 && u < s) ? A::inv(A::div(u, s)) : 0;
      }
      case RX_Xfer_LinearDodge:
        return std::min(d + s, one);
      case RX_Xfer_LinearBurn:
        return std::max(0, d + s - one);
      case RX_Xfer_LinearLight:
        if constexpr (A::kBits == 8) return std::clamp(2 * s - 256 + d, 0, 255);
        else return std::clamp(2 * s - 32768 + d, 0, 32768);
      case RX_Xfer_VividLight:
        return vivid(s, d);
      case RX_Xfer_PinLight:
        return pin(s, d);
      case RX_Xfer_HardMix:
        if constexpr (A::kBits == 8) {
          const int32_t t = A::mul(254, A::inv(s));
          return d > t ? A::table(1, d - t) : 0;
        } else {
          const int32_t t = (A::inv(s) * 32767 + 16384) >> 15;
          return d > t ? 32768 : 0;
        }
      case RX_Xfer_Subtract:
        return std::max(d - s, 0);
      case RX_Xfer_Divide:
        if (d == 0) return 0;
        if constexpr (A::kBits == 8) return A::table(s, d);
        else return A::div(d, s);
    }
    return d;
  }

  // Burn below half, dodge above, with the source doubled.
  static int32_t vivid(int32_t s, int32_t d) {
    if (s == half) return d;
    if (s < half) {
      if (s == 0) return 0;
      int32_t t;
      if constexpr (A::kBits == 8) t = A::cut((s * 255 + 64) >> 7);
      else t = 2 * s;
      const int32_t u = A::inv(d);
      return (t != 0 && u < t) ? A::inv(A::div(u, t)) : 0;
    }
    if (s == one) return one;
    int32_t t;
    if constexpr (A::kBits == 8) t = A::inv(A::table(127, s - 128));
    else t = one - 2 * (s - half);
    return (t != 0 && d < t) ? A::div(d, t) : one;
  }

  static int32_t pin(int32_t s, int32_t d) {
    if (s == half) return d;
    if constexpr (A::kBits == 8) {
      if (s < half) return std::min((s * 255 + 64) >> 7, d);
      return std::max(A::table(127, s - 128), d);
    } else {
      if (s < half) return std::min(2 * s, d);
      return std::max(2 * (s - half), d);
    }
  }

  static void general_mode(int32_t mode, const IPix& s, IPix& d) {
    const int32_t sa = s.a, da = d.a;
    if (sa == one) {
      for (int i = 0; i < 3; ++i) {
        d.c[i] = A::blend(s.c[i], general_f(mode, s.c[i], d.c[i]), da);
      }
      d.a = one;
      return;
    }
    const int32_t w = A::mul(sa, da);
    const int32_t r = A::unite(sa, da);
    for (int i = 0; i < 3; ++i) {
      const int32_t sc = s.c[i], dc = d.c[i];
      const int32_t f = general_f(mode, sc, dc);
      int32_t sum = A::mul(da, dc) - A::mul(dc, w) + A::mul(sa, sc) - A::mul(sc, w) + A::mul(f, w);
      if constexpr (A::kBits == 8) sum = A::cut(sum);
      d.c[i] = A::div(sum, r);
    }
    d.a = r;
  }

  // The source put under the destination; result alpha r.
  static void behind_step(const IPix& s, IPix& d) {
    const int32_t sa = s.a, da = d.a;
    const int32_t r = A::unite(sa, da);
    for (int i = 0; i < 3; ++i) {
      const int32_t x = A::mul(s.c[i], sa);
      d.c[i] = A::div(A::blend(x, d.c[i], da), r);
    }
    d.a = r;
  }

  static void minmax(const int32_t* c, int* lo, int* mid, int* hi) {
    // first > second, second > third, first > third
    if (c[0] > c[1]) {
      if (c[1] > c[2]) { *hi = 0; *mid = 1; *lo = 2; }
      else if (c[0] > c[2]) { *hi = 0; *mid = 2; *lo = 1; }
      else { *hi = 2; *mid = 0; *lo = 1; }
    } else {
      if (c[1] > c[2]) {
        if (c[0] > c[2]) { *hi = 1; *mid = 0; *lo = 2; }
        else { *hi = 1; *mid = 2; *lo = 0; }
      } else { *hi = 2; *mid = 1; *lo = 0; }
    }
  }
  static int32_t range_of(const int32_t* c) {
    return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]});
  }
  static void set_range(int32_t* c, int32_t range) {
    int lo, mid, hi;
    minmax(c, &lo, &mid, &hi);
    const int32_t span = c[hi] - c[lo];
    int32_t out[3];
    out[lo] = 0;
    if (span != 0) {
      out[hi] = range;
      out[mid] = (c[mid] - c[lo]) * range / span;
    } else {
      out[hi] = 0;
      out[mid] = 0;
    }
    c[0] = out[0];
    c[1] = out[1];
    c[2] = out[2];
  }
  static void set_lum(int32_t* c, int32_t l) {
    const int32_t delta = l - luminance(c);
    for (int i = 0; i < 3; ++i) c[i] += delta;
    const int32_t n = std::min({c[0], c[1], c[2]});
    if (n < 0 && l - n != 0) {
      for (int i = 0; i < 3; ++i) c[i] = l + (c[i] - l) * l / (l - n);
    }
    const int32_t x = std::max({c[0], c[1], c[2]});
    if (x > one && x - l != 0) {
      for (int i = 0; i < 3; ++i) c[i] = l + (c[i] - l) * (one - l) / (x - l);
    }
    for (int i = 0; i < 3; ++i) c[i] = A::cut(c[i]);
  }

  static void colour_mode(int32_t mode, const IPix& s, IPix& d) {
    const int32_t sa = s.a;
    const int32_t lum_dst_before = luminance(d.c);
    if (d.a != one) behind_step(s, d);
    int32_t n[3] = {0, 0, 0};
    switch (mode) {
      case RX_Xfer_Hue:
        std::copy(s.c, s.c + 3, n);
        set_range(n, range_of(d.c));
        set_lum(n, luminance(d.c));
        break;
      case RX_Xfer_Saturation:
        std::copy(d.c, d.c + 3, n);
        set_range(n, range_of(s.c));
        set_lum(n, luminance(d.c));
        break;
      case RX_Xfer_Color:
        std::copy(s.c, s.c + 3, n);
        set_lum(n, luminance(d.c));
        break;
      case RX_Xfer_Luminosity:
        std::copy(d.c, d.c + 3, n);
        set_lum(n, luminance(s.c));
        break;
      case RX_Xfer_LighterColor:
        if (!(luminance(s.c) > lum_dst_before)) return;
        std::copy(s.c, s.c + 3, n);
        break;
      case RX_Xfer_DarkerColor:
        if (!(lum_dst_before > luminance(s.c))) return;
        std::copy(s.c, s.c + 3, n);
        break;
    }
    for (int i = 0; i < 3; ++i) d.c[i] = sa == one ? n[i] : A::blend(d.c[i], n[i], sa);
  }

  // One mode on one pixel, opacity already applied to s.
  static void apply(int32_t mode, const IPix& s, IPix& d) {
    const int32_t sa = s.a, da = d.a;
    if (mode == RX_Xfer_AddPremul) {
      const int32_t w = A::mul(da, A::inv(sa));
      const int32_t r = A::unite(sa, da);
      for (int i = 0; i < 3; ++i) d.c[i] = A::div(std::min(s.c[i] + A::mul(d.c[i], w), one), r);
      d.a = r;
      return;
    }
    if (sa == 0) return;
    if (is_matte_mode(mode)) return matte_mode(mode, s, d);
    if (is_general_mode(mode)) return general_mode(mode, s, d);
    if (is_colour_mode(mode)) return colour_mode(mode, s, d);
    switch (mode) {
      case RX_Xfer_Copy:
        d = s;
        return;
      case RX_Xfer_Behind:
        if (da == one) return;
        behind_step(s, d);
        return;
      case RX_Xfer_Over: {
        if (sa == one) {
          d = s;
          return;
        }
        if (da == 0) {
          d = s;
          return;
        }
        const int32_t r = A::unite(sa, da);
        for (int i = 0; i < 3; ++i) {
          const int32_t y = A::mul(d.c[i], da);
          d.c[i] = A::div(A::blend(y, s.c[i], sa), r);
        }
        d.a = r;
        return;
      }
      case RX_Xfer_Dissolve:
        return;
      case RX_Xfer_MultiplyAlpha:
        d.a = A::mul(da, sa);
        return;
      case RX_Xfer_MultiplyAlphaLuma:
        d.a = A::mul(da, A::mul(sa, luminance(s.c)));
        return;
      case RX_Xfer_MultiplyNotAlpha:
        d.a = A::mul(da, A::inv(sa));
        return;
      case RX_Xfer_MultiplyNotAlphaLuma:
        d.a = A::mul(da, A::inv(A::mul(sa, luminance(s.c))));
        return;
      case RX_Xfer_AlphaAdd: {
        if (sa == one) {
          d = s;
          return;
        }
        const int32_t t = sa + da;
        if (t >= one) {
          for (int i = 0; i < 3; ++i) d.c[i] = A::cut(A::mul(s.c[i], sa) + A::mul(d.c[i], A::inv(sa)));
          d.a = one;
        } else {
          for (int i = 0; i < 3; ++i) d.c[i] = A::div(A::mul(s.c[i], sa) + A::mul(d.c[i], da), t);
          d.a = t;
        }
        return;
      }
    }
  }

  // The opacity step, then the mode. count is 0, 1 or 2 opacities.
  static void transfer(int32_t mode, IPix s, IPix& d, int count, int32_t o1, int32_t o2) {
    const int32_t ops[2] = {o1, o2};
    for (int k = 0; k < count; ++k) {
      if (mode == RX_Xfer_AddPremul) {
        // The source counts as premultiplied: all four channels scale.
        int32_t factor = ops[k];
        if constexpr (A::kBits == 8) factor = A::mul(factor, 255);
        if (factor < one) {
          s.a = A::mul(s.a, factor);
          for (int i = 0; i < 3; ++i) s.c[i] = A::mul(s.c[i], factor);
        }
      } else if (ops[k] != one) {
        s.a = A::mul(s.a, ops[k]);
      }
    }
    apply(mode, s, d);
  }
};

// ---------------------------------------------------------------------------
// The float body.

struct FPix {
  float a;
  float c[3];
};

namespace flt {

inline bool tiny(float a) { return a == 0.0f || std::fpclassify(a) == FP_SUBNORMAL; }
inline float div(float v, float a) { return tiny(a) ? 1.0f : v / a; }
// 1 - (1 - a)(1 - b), in float and in that order.
inline float unite(float a, float b) { return 1.0f - (1.0f - a) * (1.0f - b); }
inline float luminance(const float* c) { return 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2]; }

inline float matte(Matte kind, float d, float da) {
  switch (kind) {
    case Matte::Black:
      return d * da;
    case Matte::White:
      return 1.0f - (1.0f - d) * da;
    case Matte::Grey:
      if (d >= 0.5f) return (d - 0.5f) * da + 0.5f;
      return d + (0.5f - d) * (1.0f - da);
  }
  return d;
}

inline float dematte(Matte kind, float c, float r) {
  switch (kind) {
    case Matte::Black:
      return div(c, r);
    case Matte::White:
      return 1.0f - div(1.0f - c, r);
    case Matte::Grey:
      if (c >= 0.5f) return 0.5f + div(c - 0.5f, r);
      return 0.5f - div(0.5f - c, r);
  }
  return c;
}

inline float lookup(const float* t, float m) {
  const float x = std::clamp(m, 0.0f, 1.0f);
  const float fx = 4096.0f * x;
  const int i = int(fx);
  const float frac = fx - float(i);
  float v = t[i];
  if (frac != 0.0f) v += (t[i + 1] - t[i]) * frac;
  return v;
}

inline float dodge(float t, float m) { return (t != 0.0f && m < t) ? m / t : 1.0f; }

inline float matte_full(int32_t mode, float s, float m) {
  switch (mode) {
    case RX_Xfer_Add:
      return s + m;
    case RX_Xfer_Multiply:
      return m - (1.0f - s) * m;
    case RX_Xfer_Screen:
      return 1.0f - (1.0f - s) * (1.0f - m);
    case RX_Xfer_Overlay:
      if (m >= 0.5f) return 1.0f - (1.0f - s) * 2.0f * (1.0f - m);
      return 2.0f * s * m;
    case RX_Xfer_SoftLight:
      if (s >= 0.5f) return m + (2.0f * s - 1.0f) * lookup(RXp_G_SoftLightDeltaF, m);
      return m - (1.0f - 2.0f * s) * lookup(RXp_G_SoftLightParabolaF, m);
    case RX_Xfer_HardLight:
      if (s >= 0.5f) return m + (2.0f * s - 1.0f) * (1.0f - m);
      return m - (1.0f - 2.0f * s) * m;
    case RX_Xfer_Darken:
      return std::min(s, m);
    case RX_Xfer_Lighten:
      return std::max(s, m);
    case RX_Xfer_Difference:
      return std::fabs(s - m);
    case RX_Xfer_ColorDodge:
      return dodge(1.0f - s, m);
    case RX_Xfer_ColorBurn:
      return 1.0f - div(1.0f - m, s);
    case RX_Xfer_Exclusion:
      return s + m - 2.0f * s * m;
  }
  return m;
}

inline float matte_weighted(int32_t mode, float s, float m, float sa) {
  switch (mode) {
    case RX_Xfer_Add:
      return s * sa + m;
    case RX_Xfer_Multiply:
      return m - (1.0f - s) * m * sa;
    case RX_Xfer_Screen: {
      const float sw = s * sa;
      return 1.0f - (1.0f - sw) * (1.0f - m);
    }
    case RX_Xfer_Overlay:
    case RX_Xfer_SoftLight:
    case RX_Xfer_HardLight:
      return m + (matte_full(mode, s, m) - m) * sa;
    case RX_Xfer_Darken:
      return m > s ? m - (m - s) * sa : m;
    case RX_Xfer_Lighten:
      return s > m ? m + (s - m) * sa : m;
    case RX_Xfer_Difference:
      return std::fabs(s * sa - m);
    case RX_Xfer_ColorDodge:
      return dodge(1.0f - s * sa, m);
    case RX_Xfer_ColorBurn:
      return 1.0f - div(1.0f - m, 1.0f - (1.0f - s) * sa);
    case RX_Xfer_Exclusion:
      return m + (s - 2.0f * s * m) * sa;
  }
  return m;
}

inline void matte_mode(int32_t mode, const FPix& s, FPix& d) {
  const Matte kind = matte_of(mode);
  const float sa = s.a, da = d.a;
  const float r = sa == 1.0f ? 1.0f : unite(sa, da);
  for (int i = 0; i < 3; ++i) {
    const float m = da == 1.0f ? d.c[i] : matte(kind, d.c[i], da);
    const float v = sa == 1.0f ? matte_full(mode, s.c[i], m) : matte_weighted(mode, s.c[i], m, sa);
    d.c[i] = r == 1.0f ? v : dematte(kind, v, r);
  }
  d.a = r;
}

inline float general_f(int32_t mode, float s, float d) {
  switch (mode) {
    case RX_Xfer_Difference2:
      return std::fabs(s - d);
    case RX_Xfer_ColorDodge2: {
      if (d == 0.0f) return 0.0f;
      const float t = 1.0f - s;
      return (t != 0.0f && d < t) ? d / t : 1.0f;
    }
    case RX_Xfer_ColorBurn2: {
      if (s == 0.0f && d == 1.0f) return 1.0f;
      const float u = 1.0f - d;
      return (s != 0.0f && u < s) ? 1.0f - u / s : 0.0f;
    }
    case RX_Xfer_LinearDodge:
      return d + s;
    case RX_Xfer_LinearBurn:
      return std::max(0.0f, d + s - 1.0f);
    case RX_Xfer_LinearLight:
      return d + 2.0f * s - 1.0f;
    case RX_Xfer_VividLight:
      if (s < 0.5f) {
        if (s == 0.0f) return 0.0f;
        const float t = 2.0f * s;
        const float u = 1.0f - d;
        return (t != 0.0f && u < t) ? 1.0f - u / t : 0.0f;
      }
      if (s > 0.5f) {
        if (s == 1.0f) return 1.0f;
        const float t = 1.0f - 2.0f * (s - 0.5f);
        return (t != 0.0f && d < t) ? d / t : 1.0f;
      }
      return d;
    case RX_Xfer_PinLight:
      if (s < 0.5f) return std::min(2.0f * s, d);
      if (s > 0.5f) return std::max(2.0f * (s - 0.5f), d);
      return d;
    case RX_Xfer_HardMix: {
      const float t = (1.0f - s) * 0.99999f;
      if (d <= t) return 0.0f;
      const float e = d - t;
      return e >= 1.001358e-5f ? 1.0f : e / 1.001358e-5f;
    }
    case RX_Xfer_Subtract:
      return d - s;
    case RX_Xfer_Divide:
      if (std::fabs(s) > 1.8189894e-6f) return div(d, s);
      return d / 1.8189894e-6f;
  }
  return d;
}

inline void general_mode(int32_t mode, const FPix& s, FPix& d) {
  const float sa = s.a, da = d.a;
  if (sa == 1.0f) {
    for (int i = 0; i < 3; ++i) d.c[i] = s.c[i] + (general_f(mode, s.c[i], d.c[i]) - s.c[i]) * da;
    d.a = 1.0f;
    return;
  }
  const float w = sa * da;
  const float r = unite(sa, da);
  for (int i = 0; i < 3; ++i) {
    const float sc = s.c[i], dc = d.c[i];
    const float f = general_f(mode, sc, dc);
    d.c[i] = div(f * w + (sa * sc + (da * dc - dc * w) - sc * w), r);
  }
  d.a = r;
}

inline void behind_step(const FPix& s, FPix& d) {
  const float sa = s.a, da = d.a;
  const float r = unite(sa, da);
  for (int i = 0; i < 3; ++i) {
    const float x = s.c[i] * sa;
    d.c[i] = div(x + (d.c[i] - x) * da, r);
  }
  d.a = r;
}

inline float range_of(const float* c) {
  return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]});
}

inline void set_range(float* c, float range) {
  int lo, mid, hi;
  // first > second, second > third, first > third
  if (c[0] > c[1]) {
    if (c[1] > c[2]) { hi = 0; mid = 1; lo = 2; }
    else if (c[0] > c[2]) { hi = 0; mid = 2; lo = 1; }
    else { hi = 2; mid = 0; lo = 1; }
  } else {
    if (c[1] > c[2]) {
      if (c[0] > c[2]) { hi = 1; mid = 0; lo = 2; }
      else { hi = 1; mid = 2; lo = 0; }
    } else { hi = 2; mid = 1; lo = 0; }
  }
  const float span = c[hi] - c[lo];
  float out[3];
  out[lo] = 0.0f;
  if (span != 0.0f) {
    out[hi] = range;
    out[mid] = (c[mid] - c[lo]) * range / span;
  } else {
    out[hi] = 0.0f;
    out[mid] = 0.0f;
  }
  c[0] = out[0];
  c[1] = out[1];
  c[2] = out[2];
}

inline void set_lum(float* c, float l) {
  const float delta = l - luminance(c);
  for (int i = 0; i < 3; ++i) c[i] += delta;
  const float n = std::min({c[0], c[1], c[2]});
  if (n < 0.0f && l - n != 0.0f) {
    for (int i = 0; i < 3; ++i) c[i] = l + (c[i] - l) * l / (l - n);
  }
  const float x = std::max({c[0], c[1], c[2]});
  if (x > 1.0f && x - l != 0.0f) {
    for (int i = 0; i < 3; ++i) c[i] = l + (c[i] - l) * (1.0f - l) / (x - l);
  }
}

inline void colour_mode(int32_t mode, const FPix& s, FPix& d) {
  const float sa = s.a;
  const float lum_dst_before = luminance(d.c);
  if (d.a != 1.0f) behind_step(s, d);
  float n[3] = {0.0f, 0.0f, 0.0f};
  switch (mode) {
    case RX_Xfer_Hue:
      std::copy(s.c, s.c + 3, n);
      set_range(n, range_of(d.c));
      set_lum(n, luminance(d.c));
      break;
    case RX_Xfer_Saturation:
      std::copy(d.c, d.c + 3, n);
      set_range(n, range_of(s.c));
      set_lum(n, luminance(d.c));
      break;
    case RX_Xfer_Color:
      std::copy(s.c, s.c + 3, n);
      set_lum(n, luminance(d.c));
      break;
    case RX_Xfer_Luminosity:
      std::copy(d.c, d.c + 3, n);
      set_lum(n, luminance(s.c));
      break;
    case RX_Xfer_LighterColor:
      if (!(luminance(s.c) > lum_dst_before)) return;
      std::copy(s.c, s.c + 3, n);
      break;
    case RX_Xfer_DarkerColor:
      if (!(lum_dst_before > luminance(s.c))) return;
      std::copy(s.c, s.c + 3, n);
      break;
  }
  for (int i = 0; i < 3; ++i) d.c[i] = sa == 1.0f ? n[i] : d.c[i] + (n[i] - d.c[i]) * sa;
}

inline float luma_limits(float v) {
  if (v > 1.0f) return 1.0f;
  if (v < 1e-16f) return 0.0f;
  return v;
}

inline void apply(int32_t mode, const FPix& s, FPix& d) {
  const float sa = s.a, da = d.a;
  if (mode == RX_Xfer_AddPremul) {
    const float w = da * (1.0f - sa);
    const float r = unite(sa, da);
    for (int i = 0; i < 3; ++i) d.c[i] = div(s.c[i] + d.c[i] * w, r);
    d.a = r;
    return;
  }
  if (sa == 0.0f) return;
  if (is_matte_mode(mode)) return matte_mode(mode, s, d);
  if (is_general_mode(mode)) return general_mode(mode, s, d);
  if (is_colour_mode(mode)) return colour_mode(mode, s, d);
  switch (mode) {
    case RX_Xfer_Copy:
      d = s;
      return;
    case RX_Xfer_Behind:
      if (da == 1.0f) return;
      behind_step(s, d);
      return;
    case RX_Xfer_Over: {
      if (sa == 1.0f || da == 0.0f) {
        d = s;
        return;
      }
      const float r = unite(sa, da);
      for (int i = 0; i < 3; ++i) {
        const float y = d.c[i] * da;
        d.c[i] = div(y + (s.c[i] - y) * sa, r);
      }
      d.a = r;
      return;
    }
    case RX_Xfer_Dissolve:
      return;
    case RX_Xfer_MultiplyAlpha:
      d.a = da * sa;
      return;
    case RX_Xfer_MultiplyAlphaLuma:
      d.a = luma_limits(luminance(s.c) * sa * da);
      return;
    case RX_Xfer_MultiplyNotAlpha:
      d.a = da * (1.0f - sa);
      return;
    case RX_Xfer_MultiplyNotAlphaLuma:
      d.a = luma_limits(da * (1.0f - sa * luminance(s.c)));
      return;
    case RX_Xfer_AlphaAdd: {
      if (sa == 1.0f) {
        d = s;
        return;
      }
      const float t = sa + da;
      if (t >= 1.0f) {
        for (int i = 0; i < 3; ++i) d.c[i] = s.c[i] * sa + d.c[i] * (1.0f - sa);
        d.a = 1.0f;
      } else {
        for (int i = 0; i < 3; ++i) d.c[i] = div(s.c[i] * sa + d.c[i] * da, t);
        d.a = t;
      }
      return;
    }
  }
}

inline void transfer(int32_t mode, FPix s, FPix& d, int count, float o1, float o2) {
  const float ops[2] = {o1, o2};
  for (int k = 0; k < count; ++k) {
    if (ops[k] == 1.0f) continue;
    s.a *= ops[k];
    if (mode == RX_Xfer_AddPremul) {
      for (int i = 0; i < 3; ++i) s.c[i] *= ops[k];
    }
  }
  apply(mode, s, d);
}

}  // namespace flt

// ---------------------------------------------------------------------------
// Linear light: lifting and lowering.

inline int32_t lift_8_to_16(int32_t v) { return int32_t((uint32_t(v) * 0x808080u + 33200u) >> 16); }
inline int32_t lower_16_to_8(int32_t v) { return int32_t((uint32_t(v) * 255u + 16384u) >> 15); }

inline int32_t lift16(const RX_LinearBlendingTables& t, int32_t v) {
  const uint32_t p = uint32_t(v) * 255u;
  const uint32_t i = p >> 15, f = p & 0x7fffu;
  uint32_t x = t.to_linear[i];
  if (f != 0) x += (f * (uint32_t(t.to_linear[i + 1]) - x) + 16384u) >> 15;
  return int32_t(x & 0xffffu);
}

// A linear value back to the encoded 16-bit scale. Values above white
// would read past the table; they are held at white's entry (and the tests
// would show them as disagreements).
inline int32_t lower16(const RX_LinearBlendingTables& t, int32_t c) {
  const uint32_t v = uint32_t(std::clamp(c, 0, 32768));
  const uint32_t i = v >> 3, f = v & 7u;
  uint32_t x = t.from_linear[i];
  if (f != 0) x += (f * (uint32_t(t.from_linear[i + 1]) - x) + 4u) >> 3;
  return int32_t(x & 0xffffu);
}

inline float lift_float(float v, float e) { return v >= 0.0f ? std::pow(v, e) : -std::pow(-v, e); }

// ---------------------------------------------------------------------------
// Whole entries: count opacities (0 plain, 1 Opacity, 2 Opacity2).

inline RX_Pixel8 transfer8(int32_t mode, const RX_Pixel8& src, const RX_Pixel8& dst, int count, uint8_t o1,
                           uint8_t o2, const RX_LinearBlendingTables* tables) {
  const bool linear = tables != nullptr && !(mode == RX_Xfer_Copy && count == 0);
  if (!linear) {
    IPix s{src.alpha, {src.red, src.green, src.blue}};
    IPix d{dst.alpha, {dst.red, dst.green, dst.blue}};
    IntModes<Int8>::transfer(mode, s, d, count, o1, o2);
    return RX_Pixel8{uint8_t(d.a), uint8_t(d.c[0]), uint8_t(d.c[1]), uint8_t(d.c[2])};
  }
  const auto& t = *tables;
  IPix s{lift_8_to_16(src.alpha), {t.to_linear[src.red], t.to_linear[src.green], t.to_linear[src.blue]}};
  IPix d{lift_8_to_16(dst.alpha), {t.to_linear[dst.red], t.to_linear[dst.green], t.to_linear[dst.blue]}};
  IntModes<Int16>::transfer(mode, s, d, count, lift_8_to_16(o1), lift_8_to_16(o2));
  RX_Pixel8 out;
  out.alpha = uint8_t(lower_16_to_8(d.a));
  out.red = uint8_t(lower_16_to_8(lower16(t, d.c[0])));
  out.green = uint8_t(lower_16_to_8(lower16(t, d.c[1])));
  out.blue = uint8_t(lower_16_to_8(lower16(t, d.c[2])));
  return out;
}

inline RX_Pixel16 transfer16(int32_t mode, const RX_Pixel16& src, const RX_Pixel16& dst, int count, uint16_t o1,
                             uint16_t o2, const RX_LinearBlendingTables* tables) {
  const bool linear = tables != nullptr && !(mode == RX_Xfer_Copy && count == 0);
  IPix s{src.alpha, {src.red, src.green, src.blue}};
  IPix d{dst.alpha, {dst.red, dst.green, dst.blue}};
  if (linear) {
    for (int i = 0; i < 3; ++i) {
      s.c[i] = lift16(*tables, s.c[i]);
      d.c[i] = lift16(*tables, d.c[i]);
    }
  }
  IntModes<Int16>::transfer(mode, s, d, count, o1, o2);
  if (linear) {
    for (int i = 0; i < 3; ++i) d.c[i] = lower16(*tables, d.c[i]);
  }
  return RX_Pixel16{uint16_t(d.a), uint16_t(d.c[0]), uint16_t(d.c[1]), uint16_t(d.c[2])};
}

inline RX_PixelFloat transferF(int32_t mode, const RX_PixelFloat& src, const RX_PixelFloat& dst, int count,
                               float o1, float o2, const RX_LinearBlendingTables* tables) {
  const bool linear = tables != nullptr && !(mode == RX_Xfer_Copy && count == 0);
  FPix s{src.alpha, {src.red, src.green, src.blue}};
  FPix d{dst.alpha, {dst.red, dst.green, dst.blue}};
  if (linear) {
    for (int i = 0; i < 3; ++i) {
      s.c[i] = lift_float(s.c[i], tables->gamma);
      d.c[i] = lift_float(d.c[i], tables->gamma);
    }
  }
  flt::transfer(mode, s, d, count, o1, o2);
  if (linear) {
    for (int i = 0; i < 3; ++i) d.c[i] = lift_float(d.c[i], tables->inverse_gamma);
  }
  return RX_PixelFloat{d.a, d.c[0], d.c[1], d.c[2]};
}

}  // namespace xfer_ref
