// A plain reference of the per-pixel transfer functions, written from
// their rules: the primitives of each depth, then every mode in one switch.
// It shares no code with the package; it reads the package's divide and
// soft-light tables as data.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX.h"
#include "linear_tables.h"

namespace ref {

// ---- primitives ----

struct R8 {
  using Px = RX_Pixel8;
  using C = uint8_t;
  using V = int64_t;
  static constexpr bool is_float = false;
  static constexpr V W = 255, H = 128;
  static V mul(V x, V y) {
    const uint32_t t = uint32_t(x * y + 128);
    return (t + (t >> 8)) >> 8;
  }
  static V div(V v, V a) { return a == 255 ? v : RXp_G_DivideTable[a * 256 + v]; }
  // x + mul(y - x, k), the product wrapping in 32 bits, cut to a byte.
  static V sblend(V x, V y, V k) {
    const uint32_t t = uint32_t(int32_t(y - x)) * uint32_t(k) + 128u;
    return uint8_t(uint32_t(x) + ((t + (t >> 8)) >> 8));
  }
  static V lum(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }
  static V cap(V v) { return std::clamp<V>(v, 0, W); }
  static V soft_delta(V m) { return RXp_G_SoftLightDelta8[m]; }
  static V soft_parabola(V m) { return RXp_G_SoftLightParabola8[m]; }
};

struct R16 {
  using Px = RX_Pixel16;
  using C = uint16_t;
  using V = int64_t;
  static constexpr bool is_float = false;
  static constexpr V W = 32768, H = 16384;
  static V mul(V x, V y) { return (x * y + 16383) >> 15; }
  static V div(V v, V a) { return v >= a ? 32768 : ((v << 15) + (a >> 1)) / a; }
  static V sblend(V x, V y, V k) { return x + int64_t(std::floor(double((y - x) * k) / 32768.0)); }
  static V lum(V r, V g, V b) { return (9798 * r + 19235 * g + 3735 * b + 16384) >> 15; }
  static V cap(V v) { return std::clamp<V>(v, 0, W); }
  static V lookup(const uint16_t* t, V m) {
    const V i = m >> 3, f = m & 7;
    V v = t[i];
    if (f != 0) v += (f * (V(t[i + 1]) - v) + 4) >> 3;
    return v;
  }
  static V soft_delta(V m) { return lookup(RXp_G_SoftLightDelta16, m); }
  static V soft_parabola(V m) { return lookup(RXp_G_SoftLightParabola16, m); }
};

struct RF {
  using Px = RX_PixelFloat;
  using C = float;
  using V = float;
  static constexpr bool is_float = true;
  static constexpr V W = 1.0f, H = 0.5f;
  static V mul(V x, V y) { return x * y; }
  static V div(V v, V a) { return (a == 0.0f || std::fpclassify(a) == FP_SUBNORMAL) ? 1.0f : v / a; }
  static V sblend(V x, V y, V k) { return x + (y - x) * k; }
  static V lum(V r, V g, V b) { return 0.299f * r + 0.587f * g + 0.114f * b; }
  static V cap(V v) { return v; }
  static V lookup(const float* t, V m) {
    const float x = std::clamp(m, 0.0f, 1.0f) * 4096.0f;
    const int i = int(x);
    const float frac = x - float(i);
    float v = t[i];
    if (frac != 0.0f) v += (t[i + 1] - v) * frac;
    return v;
  }
  static V soft_delta(V m) { return lookup(RXp_G_SoftLightDeltaF, m); }
  static V soft_parabola(V m) { return lookup(RXp_G_SoftLightParabolaF, m); }
};

template <class R>
typename R::V inv(typename R::V x) {
  return R::W - x;
}
template <class R>
typename R::V unite(typename R::V a, typename R::V b) {
  // 1 - (1 - a)(1 - b) at every depth, float included, in that order.
  return inv<R>(R::mul(inv<R>(a), inv<R>(b)));
}

enum MatteKind { kBlack, kWhite, kGrey };

template <class R>
typename R::V matte(MatteKind k, typename R::V d, typename R::V da) {
  if (k == kBlack) return R::mul(d, da);
  if (k == kWhite) return inv<R>(R::mul(inv<R>(d), da));
  return d >= R::H ? R::mul(d - R::H, da) + R::H : d + R::mul(R::H - d, inv<R>(da));
}

template <class R>
typename R::V dematte(MatteKind k, typename R::V c, typename R::V r) {
  if (k == kBlack) return R::div(c, r);
  if (k == kWhite) return inv<R>(R::div(inv<R>(c), r));
  if constexpr (R::is_float) {
    return c >= R::H ? R::H + R::div(c - R::H, r) : R::H - R::div(R::H - c, r);
  } else {
    // A quotient of a half or more saturates.
    if (c >= R::H) {
      const auto q = R::div(c - R::H, r);
      return q >= R::H ? R::W : R::H + q;
    }
    const auto q = R::div(R::H - c, r);
    return q >= R::H ? 0 : R::H - q;
  }
}

// ---- the modes ----

template <class R>
using Rgb = typename R::V[3];

template <class R>
void set_range(typename R::V (&c)[3], typename R::V range) {
  using V = typename R::V;
  // Largest, middle, smallest by (first > second), (second > third),
  // (first > third).
  int lg, md, sm;
  const bool g1 = c[0] > c[1], g2 = c[1] > c[2], g3 = c[0] > c[2];
  if (g1 && g2) lg = 0, md = 1, sm = 2;
  else if (g1 && g3) lg = 0, md = 2, sm = 1;
  else if (g1) lg = 2, md = 0, sm = 1;
  else if (g2 && g3) lg = 1, md = 0, sm = 2;
  else if (g2) lg = 1, md = 2, sm = 0;
  else lg = 2, md = 1, sm = 0;
  const V spread = c[lg] - c[sm];
  V out[3];
  out[sm] = 0;
  if (spread != 0) {
    out[md] = (c[md] - c[sm]) * range / spread;
    out[lg] = range;
  } else {
    out[md] = 0;
    out[lg] = 0;
  }
  for (int i = 0; i < 3; ++i) c[i] = out[i];
}

template <class R>
void set_lum(typename R::V (&c)[3], typename R::V l) {
  using V = typename R::V;
  const V shift = l - R::lum(c[0], c[1], c[2]);
  for (V& x : c) x += shift;
  const V n = std::min({c[0], c[1], c[2]});
  if (n < 0 && l - n != 0) {
    for (V& x : c) {
      if constexpr (R::is_float) x = l + (x - l) * l / (l - n);
      else x = l + int32_t((x - l) * l) / int32_t(l - n);
    }
  }
  const V m = std::max({c[0], c[1], c[2]});
  if (m > R::W && m - l != 0) {
    for (V& x : c) {
      if constexpr (R::is_float) x = l + (x - l) * (R::W - l) / (m - l);
      else x = l + int32_t((x - l) * (R::W - l)) / int32_t(m - l);
    }
  }
}

struct Pix {
  double a, r, g, b;
};

// One mode on one pixel pair; sa is already reduced by opacity.
template <class R>
void transfer(int mode, const typename R::Px& src, typename R::V sa, typename R::Px& dst) {
  using V = typename R::V;
  using C = typename R::C;
  const V W = R::W, H = R::H;
  V s[3] = {V(src.red), V(src.green), V(src.blue)};
  V d[3] = {V(dst.red), V(dst.green), V(dst.blue)};
  V da = dst.alpha;
  auto write = [&](const V (&c)[3], V alpha) {
    dst = {C(alpha), C(c[0]), C(c[1]), C(c[2])};
  };
  if (mode != RX_Xfer_AddPremul && sa == 0) return;
  const bool full = R::is_float ? sa == 1.0f : (sizeof(C) == 1 ? sa > 254 : sa == W);
  const V r = unite<R>(sa, da);

  auto behind = [&](V (&c)[3]) {
    for (int i = 0; i < 3; ++i) {
      const V ss = R::mul(s[i], sa);
      c[i] = R::div(R::sblend(ss, c[i], da), r);
    }
  };

  MatteKind kind = kBlack;
  switch (mode) {
    case RX_Xfer_Multiply: case RX_Xfer_Darken: case RX_Xfer_ColorBurn: kind = kWhite; break;
    case RX_Xfer_Overlay: case RX_Xfer_SoftLight: case RX_Xfer_HardLight: kind = kGrey; break;
    default: break;
  }

  switch (mode) {
    case RX_Xfer_Copy: {
      dst = src;
      dst.alpha = C(sa);
      return;
    }
    case RX_Xfer_Behind: {
      if (da == W) return;
      behind(d);
      write(d, r);
      return;
    }
    case RX_Xfer_Over: {
      if (full || da == 0) {
        dst = src;
        dst.alpha = C(sa);
        return;
      }
      V c[3];
      for (int i = 0; i < 3; ++i) {
        const V md = R::mul(d[i], da);
        c[i] = R::div(R::sblend(md, s[i], sa), r);
      }
      write(c, r);
      return;
    }
    case RX_Xfer_Dissolve:
      return;
    case RX_Xfer_Add: case RX_Xfer_Multiply: case RX_Xfer_Screen: case RX_Xfer_Overlay: case RX_Xfer_SoftLight:
    case RX_Xfer_HardLight: case RX_Xfer_Darken: case RX_Xfer_Lighten: case RX_Xfer_Difference:
    case RX_Xfer_ColorDodge: case RX_Xfer_ColorBurn: case RX_Xfer_Exclusion: {
      V c[3];
      for (int i = 0; i < 3; ++i) {
        const V m = da == W ? d[i] : matte<R>(kind, d[i], da);
        const V x = s[i];
        V f = 0;
        switch (mode) {
          case RX_Xfer_Add: f = R::cap(full ? x + m : R::mul(x, sa) + m); break;
          case RX_Xfer_Multiply: f = full ? m - R::mul(inv<R>(x), m) : m - R::mul(R::mul(inv<R>(x), m), sa); break;
          case RX_Xfer_Screen: {
            const V w = full ? x : R::mul(x, sa);
            f = inv<R>(R::mul(inv<R>(w), inv<R>(m)));
            break;
          }
          case RX_Xfer_Overlay: {
            const V o = m >= H ? inv<R>(R::mul(inv<R>(x), 2 * inv<R>(m))) : 2 * R::mul(x, m);
            f = full ? o : R::sblend(m, o, sa);
            break;
          }
          case RX_Xfer_SoftLight: {
            V o;
            if constexpr (sizeof(C) == 1) {
              o = x >= H ? m + R::mul(uint8_t(2 * x), R::soft_delta(m)) : m - R::mul(uint8_t(W - 2 * x), R::soft_parabola(m));
            } else if constexpr (sizeof(C) == 2) {
              o = x >= H ? m + R::mul(uint16_t(2 * x - W), R::soft_delta(m))
                         : m - R::mul(uint16_t(W - 2 * x), R::soft_parabola(m));
            } else {
              o = x >= H ? m + (2 * x - 1) * R::soft_delta(m) : m - (1 - 2 * x) * R::soft_parabola(m);
            }
            f = full ? o : R::sblend(m, o, sa);
            break;
          }
          case RX_Xfer_HardLight: {
            const V o = x >= H ? m + R::mul(2 * x - W, inv<R>(m)) : m - R::mul(W - 2 * x, m);
            f = full ? o : R::sblend(m, o, sa);
            break;
          }
          case RX_Xfer_Darken: f = full ? std::min(x, m) : (m > x ? m - R::mul(m - x, sa) : m); break;
          case RX_Xfer_Lighten: f = full ? std::max(x, m) : (x > m ? m + R::mul(x - m, sa) : m); break;
          case RX_Xfer_Difference: {
            const V w = full ? x : R::mul(x, sa);
            f = w > m ? w - m : m - w;
            break;
          }
          case RX_Xfer_ColorDodge: {
            const V t = inv<R>(full ? x : R::mul(x, sa));
            if (t != 0 && m < t) f = R::is_float ? m / t : R::div(m, t);
            else f = W;
            break;
          }
          case RX_Xfer_ColorBurn: {
            const V w = full ? x : inv<R>(R::mul(inv<R>(x), sa));
            V q = R::div(W - m, w);
            if constexpr (!R::is_float) q = std::min(q, W);
            f = W - q;
            break;
          }
          case RX_Xfer_Exclusion: {
            const V e = x - 2 * R::mul(x, m);
            f = full ? m + e : R::sblend(m, m + e, sa);
            break;
          }
        }
        if constexpr (!R::is_float) f = R::cap(f);
        c[i] = r == W ? f : dematte<R>(kind, f, r);
      }
      write(c, r);
      return;
    }
    case RX_Xfer_Difference2: case RX_Xfer_ColorDodge2: case RX_Xfer_ColorBurn2: case RX_Xfer_LinearDodge:
    case RX_Xfer_LinearBurn: case RX_Xfer_LinearLight: case RX_Xfer_VividLight: case RX_Xfer_PinLight:
    case RX_Xfer_HardMix: case RX_Xfer_Subtract: case RX_Xfer_Divide: {
      V c[3];
      const V w = R::mul(sa, da);
      for (int i = 0; i < 3; ++i) {
        const V x = s[i], y = d[i];
        V f = 0;
        switch (mode) {
          case RX_Xfer_Difference2: f = x > y ? x - y : y - x; break;
          case RX_Xfer_ColorDodge2: {
            const V t = inv<R>(x);
            f = y == 0 ? 0 : (t != 0 && y < t ? (R::is_float ? y / t : R::div(y, t)) : W);
            break;
          }
          case RX_Xfer_ColorBurn2: {
            const V u = inv<R>(y);
            if (x == 0 && y == W) f = W;
            else f = (x != 0 && u < x) ? W - (R::is_float ? u / x : R::div(u, x)) : 0;
            break;
          }
          case RX_Xfer_LinearDodge: f = R::cap(y + x); break;
          case RX_Xfer_LinearBurn: f = std::max(V(0), y + x - W); break;
          case RX_Xfer_LinearLight:
            if constexpr (R::is_float) f = y + 2 * x - 1;
            else f = R::cap(2 * x - 2 * H + y);
            break;
          case RX_Xfer_VividLight: {
            V twice_low, twice_high;
            if constexpr (sizeof(C) == 1) {
              twice_low = uint8_t((x * 255 + 64) >> 7);
              twice_high = x > 128 ? RXp_G_DivideTable[127 * 256 + (x - 128)] : 0;
            } else {
              twice_low = 2 * x;
              twice_high = 2 * (x - H);
            }
            if (x < H) {
              const V t = twice_low, u = inv<R>(y);
              f = x == 0 ? 0 : (t != 0 && u < t ? W - (R::is_float ? u / t : R::div(u, t)) : 0);
            } else if (x > H) {
              const V t = inv<R>(twice_high);
              f = x == W ? W : (t != 0 && y < t ? (R::is_float ? y / t : R::div(y, t)) : W);
            } else {
              f = y;
            }
            break;
          }
          case RX_Xfer_PinLight: {
            if constexpr (sizeof(C) == 1) {
              if (x < 128) f = std::min<V>((x * 255 + 64) >> 7, y);
              else if (x > 128) f = std::max<V>(RXp_G_DivideTable[127 * 256 + (x - 128)], y);
              else f = y;
            } else {
              f = x < H ? std::min(2 * x, y) : x > H ? std::max(2 * (x - H), y) : y;
            }
            break;
          }
          case RX_Xfer_HardMix: {
            if constexpr (sizeof(C) == 1) {
              const V t = R::mul(254, inv<R>(x));
              f = y > t ? RXp_G_DivideTable[256 + (y - t)] : 0;
            } else if constexpr (sizeof(C) == 2) {
              const V t = (inv<R>(x) * 32767 + 16384) >> 15;
              f = y > t ? 32768 : 0;
            } else {
              const float t = (1.0f - x) * 0.99999f;
              if (y <= t) f = 0;
              else f = (y - t) >= 1.001358e-5f ? 1.0f : (y - t) / 1.001358e-5f;
            }
            break;
          }
          case RX_Xfer_Subtract:
            if constexpr (R::is_float) f = y - x;
            else f = std::max(V(0), y - x);
            break;
          case RX_Xfer_Divide: {
            if constexpr (sizeof(C) == 1) f = y == 0 ? 0 : RXp_G_DivideTable[x * 256 + y];
            else if constexpr (sizeof(C) == 2) f = y == 0 ? 0 : (y >= x ? 32768 : ((y << 15) + (x >> 1)) / x);
            else f = std::fabs(x) > 1.8189894e-6f ? R::div(y, x) : y / 1.8189894e-6f;
            break;
          }
        }
        if (full) {
          c[i] = R::sblend(x, f, da);
        } else if constexpr (R::is_float) {
          c[i] = R::div(f * w + (sa * x + (da * y - y * w) - x * w), r);
        } else {
          V sum = R::mul(da, y) - R::mul(y, w) + R::mul(sa, x) - R::mul(x, w) + R::mul(f, w);
          if constexpr (sizeof(C) == 1) sum &= 0xFF;
          c[i] = R::div(sum, r);
        }
      }
      write(c, full ? W : r);
      return;
    }
    case RX_Xfer_Hue: case RX_Xfer_Saturation: case RX_Xfer_Color: case RX_Xfer_Luminosity:
    case RX_Xfer_LighterColor: case RX_Xfer_DarkerColor: {
      const V lum_before = R::lum(d[0], d[1], d[2]);
      V alpha = da;
      if (da != W) {
        behind(d);
        alpha = r;
      }
      V c[3] = {s[0], s[1], s[2]};
      V dd[3] = {d[0], d[1], d[2]};
      switch (mode) {
        case RX_Xfer_Hue:
          set_range<R>(c, std::max({d[0], d[1], d[2]}) - std::min({d[0], d[1], d[2]}));
          set_lum<R>(c, R::lum(d[0], d[1], d[2]));
          break;
        case RX_Xfer_Saturation:
          set_range<R>(dd, std::max({s[0], s[1], s[2]}) - std::min({s[0], s[1], s[2]}));
          set_lum<R>(dd, R::lum(d[0], d[1], d[2]));
          for (int i = 0; i < 3; ++i) c[i] = dd[i];
          break;
        case RX_Xfer_Color:
          set_lum<R>(c, R::lum(d[0], d[1], d[2]));
          break;
        case RX_Xfer_Luminosity:
          set_lum<R>(dd, R::lum(s[0], s[1], s[2]));
          for (int i = 0; i < 3; ++i) c[i] = dd[i];
          break;
        case RX_Xfer_LighterColor:
          if (!(R::lum(s[0], s[1], s[2]) > lum_before)) for (int i = 0; i < 3; ++i) c[i] = d[i];
          break;
        default:
          if (!(lum_before > R::lum(s[0], s[1], s[2]))) for (int i = 0; i < 3; ++i) c[i] = d[i];
          break;
      }
      V out[3];
      for (int i = 0; i < 3; ++i) {
        const V target = V(C(c[i]));  // the chosen colour in the channel type
        out[i] = full ? target : R::sblend(d[i], target, sa);
      }
      write(out, alpha);
      return;
    }
    case RX_Xfer_MultiplyAlpha: dst.alpha = C(R::mul(da, sa)); return;
    case RX_Xfer_MultiplyNotAlpha: dst.alpha = C(R::mul(da, inv<R>(sa))); return;
    case RX_Xfer_MultiplyAlphaLuma: case RX_Xfer_MultiplyNotAlphaLuma: {
      const V l = R::lum(s[0], s[1], s[2]);
      if constexpr (R::is_float) {
        const float v = mode == RX_Xfer_MultiplyAlphaLuma ? l * sa * da : da * (1.0f - sa * l);
        dst.alpha = v > 1.0f ? 1.0f : v < 1e-16f ? 0.0f : v;
      } else {
        const V k = R::mul(sa, l);
        dst.alpha = C(R::mul(da, mode == RX_Xfer_MultiplyAlphaLuma ? k : inv<R>(k)));
      }
      return;
    }
    case RX_Xfer_AddPremul: {
      const V w = R::mul(da, inv<R>(sa));
      V c[3];
      for (int i = 0; i < 3; ++i) c[i] = R::div(R::cap(s[i] + R::mul(d[i], w)), r);
      write(c, r);
      return;
    }
    case RX_Xfer_AlphaAdd: {
      if (full) {
        dst = src;
        return;
      }
      const V t = sa + da;
      V c[3];
      if (t >= W) {
        for (int i = 0; i < 3; ++i) c[i] = R::mul(s[i], sa) + R::mul(d[i], inv<R>(sa));
        write(c, W);
      } else {
        for (int i = 0; i < 3; ++i) c[i] = R::div(R::mul(s[i], sa) + R::mul(d[i], da), t);
        write(c, t);
      }
      return;
    }
    default:
      return;
  }
}

// The opacity step of an entry: the source alpha weighted by each
// opacity that is not full; AddPremul's premultiplied source weighted in
// all four channels.
template <class R>
typename R::Px reduce(int mode, typename R::Px s, typename R::V opacity) {
  using C = typename R::C;
  if (opacity == R::W) return s;
  if (mode == RX_Xfer_AddPremul) {
    return {C(R::mul(s.alpha, opacity)), C(R::mul(s.red, opacity)), C(R::mul(s.green, opacity)),
            C(R::mul(s.blue, opacity))};
  }
  s.alpha = C(R::mul(s.alpha, opacity));
  return s;
}

// The whole entry in gamma space: opacities, then the mode.
template <class R>
void entry(int mode, const typename R::Px& src, int opacities, typename R::V op1, typename R::V op2,
           typename R::Px& dst) {
  typename R::Px s = src;
  if (opacities >= 1) s = reduce<R>(mode, s, op1);
  if (opacities >= 2) s = reduce<R>(mode, s, op2);
  transfer<R>(mode, s, s.alpha, dst);
}

// ---- linear light ----

inline RX_Pixel16 lift8(const RX_Pixel8& p, const RX_LinearBlendingTables& t) {
  return {uint16_t((p.alpha * 0x808080u + 33200) >> 16), t.to_linear[p.red], t.to_linear[p.green],
          t.to_linear[p.blue]};
}
inline RX_Pixel8 lower8(const RX_Pixel16& p, const RX_LinearBlendingTables& t) {
  auto c = [&](uint32_t v) { return uint8_t((rxtest::read_from_linear(t, v) * 255 + 16384) >> 15); };
  return {uint8_t((p.alpha * 255u + 16384) >> 15), c(p.red), c(p.green), c(p.blue)};
}
inline RX_Pixel16 lift16(const RX_Pixel16& p, const RX_LinearBlendingTables& t) {
  return {p.alpha, uint16_t(rxtest::read_to_linear16(t, p.red)), uint16_t(rxtest::read_to_linear16(t, p.green)),
          uint16_t(rxtest::read_to_linear16(t, p.blue))};
}
inline RX_Pixel16 lower16(const RX_Pixel16& p, const RX_LinearBlendingTables& t) {
  return {p.alpha, uint16_t(rxtest::read_from_linear(t, p.red)), uint16_t(rxtest::read_from_linear(t, p.green)),
          uint16_t(rxtest::read_from_linear(t, p.blue))};
}
inline float raise(float v, float e) { return v >= 0 ? std::pow(v, e) : -std::pow(-v, e); }
inline RX_PixelFloat liftF(const RX_PixelFloat& p, float e) {
  return {p.alpha, raise(p.red, e), raise(p.green, e), raise(p.blue, e)};
}

// An entry of any depth with tables or without, as the package defines
// it: Copy without opacity is the same in both.
inline void entry8(int mode, const RX_Pixel8& src, const RX_LinearBlendingTables* t, int opacities, uint8_t op1,
                   uint8_t op2, RX_Pixel8& dst) {
  if (!t || (mode == RX_Xfer_Copy && opacities == 0)) return entry<R8>(mode, src, opacities, op1, op2, dst);
  RX_Pixel16 s = lift8(src, *t), d = lift8(dst, *t);
  entry<R16>(mode, s, opacities, (op1 * 0x808080u + 33200) >> 16, (op2 * 0x808080u + 33200) >> 16, d);
  dst = lower8(d, *t);
}
inline void entry16(int mode, const RX_Pixel16& src, const RX_LinearBlendingTables* t, int opacities, uint16_t op1,
                    uint16_t op2, RX_Pixel16& dst) {
  if (!t || (mode == RX_Xfer_Copy && opacities == 0)) return entry<R16>(mode, src, opacities, op1, op2, dst);
  RX_Pixel16 s = lift16(src, *t), d = lift16(dst, *t);
  entry<R16>(mode, s, opacities, op1, op2, d);
  dst = lower16(d, *t);
}
inline void entryF(int mode, const RX_PixelFloat& src, const RX_LinearBlendingTables* t, int opacities, float op1,
                   float op2, RX_PixelFloat& dst) {
  if (!t || (mode == RX_Xfer_Copy && opacities == 0)) return entry<RF>(mode, src, opacities, op1, op2, dst);
  RX_PixelFloat s = liftF(src, t->gamma), d = liftF(dst, t->gamma);
  entry<RF>(mode, s, opacities, op1, op2, d);
  dst = liftF(d, t->inverse_gamma);
}

}  // namespace ref
