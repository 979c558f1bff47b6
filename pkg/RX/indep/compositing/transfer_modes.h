// What each mode 0 to 38 computes for one source pixel on one destination
// pixel, written once over the depth's arithmetic (transfer_arith.h). The
// source's alpha comes in already reduced by opacity. Every mode but
// AddPremul leaves dst alone when the source alpha is 0.
//
// Three families share their steps: the matte modes (dst matted against a
// neutral colour, the mode, the union alpha, dematte), the general
// three-term form of the modes 26 to 34, 37, 38, and the colour modes (the
// behind step, then a replacement colour mixed in by source alpha). The
// remaining modes are written one by one.
#pragma once

#include <cmath>

#include "RX_Modes.h"
#include "compositing/transfer_arith.h"

namespace rx::xfer {

// Calls body(&Px::red), body(&Px::green), body(&Px::blue): the channels in
// their order, unrolled, each member known where the body is inlined.
template <class Px, class Body>
RX_PIXEL_STEP void for_each_colour(Body&& body) {
  body(&Px::red);
  body(&Px::green);
  body(&Px::blue);
}

enum class Family { Matte, General, Colour, Own };

constexpr Family family_of(int mode) {
  switch (mode) {
    case RX_Xfer_Add: case RX_Xfer_Multiply: case RX_Xfer_Screen: case RX_Xfer_Overlay:
    case RX_Xfer_SoftLight: case RX_Xfer_HardLight: case RX_Xfer_Darken: case RX_Xfer_Lighten:
    case RX_Xfer_Difference: case RX_Xfer_ColorDodge: case RX_Xfer_ColorBurn: case RX_Xfer_Exclusion:
      return Family::Matte;
    case RX_Xfer_Difference2: case RX_Xfer_ColorDodge2: case RX_Xfer_ColorBurn2: case RX_Xfer_LinearDodge:
    case RX_Xfer_LinearBurn: case RX_Xfer_LinearLight: case RX_Xfer_VividLight: case RX_Xfer_PinLight:
    case RX_Xfer_HardMix: case RX_Xfer_Subtract: case RX_Xfer_Divide:
      return Family::General;
    case RX_Xfer_Hue: case RX_Xfer_Saturation: case RX_Xfer_Color: case RX_Xfer_Luminosity:
    case RX_Xfer_LighterColor: case RX_Xfer_DarkerColor:
      return Family::Colour;
    default:
      return Family::Own;
  }
}

// The neutral colour each matte mode mattes dst against.
constexpr Matte matte_of(int mode) {
  switch (mode) {
    case RX_Xfer_Multiply: case RX_Xfer_Darken: case RX_Xfer_ColorBurn:
      return Matte::White;
    case RX_Xfer_Overlay: case RX_Xfer_SoftLight: case RX_Xfer_HardLight:
      return Matte::Grey;
    default:
      return Matte::Black;
  }
}

// The matte forms (matte, dematte) are the depth's own, shared with
// premultiplication: worlds/depth_arith.h.

// ---- family 1: the matte modes, per channel on s and the matted m ----

template <class A, int Mode>
RX_PIXEL_STEP typename A::V matte_mode(typename A::V s, typename A::V m, typename A::V sa, bool full) {
  using V = typename A::V;
  constexpr V one = A::white, half = A::half;
  if constexpr (Mode == RX_Xfer_Add) {
    return A::limit_top((full ? s : A::mul(s, sa)) + m);
  } else if constexpr (Mode == RX_Xfer_Multiply) {
    const V product = A::mul(A::inv(s), m);
    return m - (full ? product : A::mul(product, sa));
  } else if constexpr (Mode == RX_Xfer_Screen) {
    const V weighted = full ? s : A::mul(s, sa);
    return A::inv(A::mul(A::inv(weighted), A::inv(m)));
  } else if constexpr (Mode == RX_Xfer_Darken) {
    if (full) return s < m ? s : m;
    return m > s ? m - A::mul(m - s, sa) : m;
  } else if constexpr (Mode == RX_Xfer_Lighten) {
    if (full) return s > m ? s : m;
    return s > m ? m + A::mul(s - m, sa) : m;
  } else if constexpr (Mode == RX_Xfer_Difference) {
    // The source is weighted before the difference, not after.
    const V weighted = full ? s : A::mul(s, sa);
    return weighted > m ? weighted - m : m - weighted;
  } else if constexpr (Mode == RX_Xfer_ColorDodge) {
    const V t = A::inv(full ? s : A::mul(s, sa));
    return t != 0 && m < t ? A::ratio(m, t) : one;
  } else if constexpr (Mode == RX_Xfer_ColorBurn) {
    const V weighted = full ? s : A::inv(A::mul(A::inv(s), sa));
    return one - A::limit_top(A::div(one - m, weighted));
  } else {
    // The modes that weight by mixing m toward f.
    V f;
    if constexpr (Mode == RX_Xfer_Overlay) {
      f = m >= half ? A::inv(A::mul(A::inv(s), 2 * A::inv(m))) : 2 * A::mul(s, m);
    } else if constexpr (Mode == RX_Xfer_SoftLight) {
      f = s >= half ? m + A::mul(A::soft_factor_up(s), A::soft_delta(m))
                    : m - A::mul(A::soft_factor_down(s), A::soft_parabola(m));
    } else if constexpr (Mode == RX_Xfer_HardLight) {
      f = s >= half ? m + A::mul(2 * s - one, A::inv(m)) : m - A::mul(one - 2 * s, m);
    } else {
      static_assert(Mode == RX_Xfer_Exclusion);
      const V excluded = s - 2 * A::mul(s, m);
      return full ? m + excluded : A::blend(m, excluded, sa);
    }
    return full ? f : A::blend(m, f - m, sa);
  }
}

template <class Px, int Mode>
void matte_family(const Px& s, Px& d) {
  using A = Arith<Px>;
  using V = typename A::V;
  constexpr Matte kMatte = matte_of(Mode);
  const V sa = s.alpha, da = d.alpha;
  const bool full = A::opaque(sa);
  const V r = A::unite(sa, da);
  for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
    const V m = da == A::white ? V(d.*colour) : matte<A, kMatte>(d.*colour, da);
    V c = matte_mode<A, Mode>(s.*colour, m, sa, full);
    if constexpr (!A::is_float) c = A::limit(c);
    if (r != A::white) c = dematte<A, kMatte>(c, r);
    d.*colour = typename A::Cv(c);
  });
  d.alpha = typename A::Cv(r);
}

// ---- family 2: the general three-term form over a pure f(s, d) ----

template <class A, int Mode>
typename A::V general_mode(typename A::V s, typename A::V d) {
  using V = typename A::V;
  constexpr V one = A::white, half = A::half;
  if constexpr (Mode == RX_Xfer_Difference2) {
    return s > d ? s - d : d - s;
  } else if constexpr (Mode == RX_Xfer_ColorDodge2) {
    if (d == 0) return 0;
    const V t = A::inv(s);
    return t != 0 && d < t ? A::ratio(d, t) : one;
  } else if constexpr (Mode == RX_Xfer_ColorBurn2) {
    if (s == 0 && d == one) return one;
    const V u = A::inv(d);
    return s != 0 && u < s ? one - A::ratio(u, s) : 0;
  } else if constexpr (Mode == RX_Xfer_LinearDodge) {
    return A::limit_top(d + s);
  } else if constexpr (Mode == RX_Xfer_LinearBurn) {
    const V sum = d + s - one;
    return sum > 0 ? sum : 0;
  } else if constexpr (Mode == RX_Xfer_LinearLight) {
    if constexpr (A::is_float) return d + 2.0f * s - 1.0f;
    return A::limit(2 * s - 2 * half + d);
  } else if constexpr (Mode == RX_Xfer_VividLight) {
    // Burn by twice s below the middle, dodge by twice its excess above.
    if (s < half) {
      if (s == 0) return 0;
      const V t = A::twice_low(s), u = A::inv(d);
      return t != 0 && u < t ? one - A::ratio(u, t) : 0;
    }
    if (s > half) {
      if (s == one) return one;
      const V t = A::inv(A::twice_high(s));
      return t != 0 && d < t ? A::ratio(d, t) : one;
    }
    return d;
  } else if constexpr (Mode == RX_Xfer_PinLight) {
    if (s < half) return std::min(A::twice_low(s), d);
    if (s > half) return std::max(A::twice_high(s), d);
    return d;
  } else if constexpr (Mode == RX_Xfer_HardMix) {
    return A::hard_mix(s, d);
  } else if constexpr (Mode == RX_Xfer_Subtract) {
    return A::floor_zero(d - s);
  } else {
    static_assert(Mode == RX_Xfer_Divide);
    return A::divide_mode(s, d);
  }
}

template <class Px, int Mode>
void general_family(const Px& s, Px& d) {
  using A = Arith<Px>;
  using V = typename A::V;
  const V sa = s.alpha, da = d.alpha;
  if (A::opaque(sa)) {
    for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
      const V sc = s.*colour, f = general_mode<A, Mode>(sc, d.*colour);
      d.*colour = typename A::Cv(A::blend(sc, f - sc, da));
    });
    d.alpha = typename A::Cv(A::white);
    return;
  }
  const V w = A::mul(sa, da), r = A::unite(sa, da);
  for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
    const V sc = s.*colour, dc = d.*colour, f = general_mode<A, Mode>(sc, dc);
    V sum;
    if constexpr (A::is_float) {
      sum = f * w + (sa * sc + (da * dc - dc * w) - sc * w);
    } else {
      sum = A::cut_sum(A::mul(da, dc) - A::mul(dc, w) + A::mul(sa, sc) - A::mul(sc, w) + A::mul(f, w));
    }
    d.*colour = typename A::Cv(A::div(sum, r));
  });
  d.alpha = typename A::Cv(r);
}

// ---- the behind step: src goes under dst ----

template <class Px>
void behind_step(const Px& s, Px& d) {
  using A = Arith<Px>;
  using V = typename A::V;
  const V sa = s.alpha, da = d.alpha;
  const V r = A::unite(sa, da);
  for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
    const V weighted = A::mul(s.*colour, sa);
    d.*colour = typename A::Cv(A::div(A::blend(weighted, V(d.*colour) - weighted, da), r));
  });
  d.alpha = typename A::Cv(r);
}

// ---- family 3: the colour modes ----

template <class A>
struct Rgb {
  typename A::V c[3];
  RX_PIXEL_STEP typename A::V luminance() const { return A::luminance(c[0], c[1], c[2]); }
};

template <class Px>
RX_PIXEL_STEP Rgb<Arith<Px>> rgb_of(const Px& p) {
  return {{p.red, p.green, p.blue}};
}

// The smallest channel goes to 0, the largest to range and the middle to
// (middle - smallest) * range / (largest - smallest); all to 0 when the
// three are equal. Ranking by the comparisons (first > second), (second >
// third), (first > third) only decides which of two equal channels is
// called largest or middle, and both then get the same value, so the
// channels are placed by value, without branches.
template <class A>
RX_PIXEL_STEP Rgb<A> set_range(Rgb<A> colour, typename A::V range) {
  using V = typename A::V;
  const V a = colour.c[0], b = colour.c[1], c = colour.c[2];
  const V largest = std::max(a, std::max(b, c)), smallest = std::min(a, std::min(b, c));
  const V middle = std::max(std::min(a, b), std::min(std::max(a, b), c));
  const V spread = largest - smallest;
  const V top = spread != 0 ? range : V(0);
  const V middle_value = spread != 0 ? (middle - smallest) * range / spread : V(0);
#pragma GCC unroll 3
  for (V& channel : colour.c) channel = channel == largest ? top : channel == smallest ? V(0) : middle_value;
  return colour;
}

template <class A>
RX_PIXEL_STEP typename A::V range_of(const Rgb<A>& p) {
  return std::max({p.c[0], p.c[1], p.c[2]}) - std::min({p.c[0], p.c[1], p.c[2]});
}

// Moves the colour to luminance L, then pulls it back into 0..1 along the
// line through grey L.
template <class A>
RX_PIXEL_STEP Rgb<A> set_luminance(Rgb<A> colour, typename A::V lum) {
  using V = typename A::V;
  const V shift = lum - colour.luminance();
#pragma GCC unroll 3
  for (V& c : colour.c) c += shift;
  const V smallest = std::min({colour.c[0], colour.c[1], colour.c[2]});
  if (smallest < 0 && lum - smallest != 0) {
#pragma GCC unroll 3
    for (V& c : colour.c) c = lum + (c - lum) * lum / (lum - smallest);
  }
  const V largest = std::max({colour.c[0], colour.c[1], colour.c[2]});
  if (largest > A::white && largest - lum != 0) {
#pragma GCC unroll 3
    for (V& c : colour.c) c = lum + (c - lum) * (A::white - lum) / (largest - lum);
  }
  return colour;
}

// The replacement colour mixed into a dst that is already opaque-
// equivalent; lighter and darker colour compare against dst_lum_before.
template <class Px, int Mode>
void colour_replace(const Px& s, Px& d, typename Arith<Px>::V dst_lum_before) {
  using A = Arith<Px>;
  using V = typename A::V;
  const V sa = s.alpha;
  const Rgb<A> src = rgb_of(s), dst = rgb_of(d);
  Rgb<A> wanted;
  if constexpr (Mode == RX_Xfer_Hue) {
    wanted = set_luminance(set_range(src, range_of(dst)), dst.luminance());
  } else if constexpr (Mode == RX_Xfer_Saturation) {
    wanted = set_luminance(set_range(dst, range_of(src)), dst.luminance());
  } else if constexpr (Mode == RX_Xfer_Color) {
    wanted = set_luminance(src, dst.luminance());
  } else if constexpr (Mode == RX_Xfer_Luminosity) {
    wanted = set_luminance(dst, src.luminance());
  } else if constexpr (Mode == RX_Xfer_LighterColor) {
    wanted = src.luminance() > dst_lum_before ? src : dst;
  } else {
    static_assert(Mode == RX_Xfer_DarkerColor);
    wanted = dst_lum_before > src.luminance() ? src : dst;
  }

  const bool full = A::opaque(sa);
  int i = 0;
  for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
    // The chosen colour is cut to the channel type before it is mixed in.
    const V target = V(typename A::Cv(wanted.c[i++]));
    const V now = d.*colour;
    d.*colour = typename A::Cv(full ? target : A::blend(now, target - now, sa));
  });
}

// The behind step settles alpha and makes dst opaque-equivalent; the
// colour is then replaced. Lighter and darker colour read dst's
// luminance from before the behind step.
template <class Px, int Mode>
void colour_family(const Px& s, Px& d) {
  const auto dst_lum_before = rgb_of(d).luminance();
  if (d.alpha != Arith<Px>::white) behind_step(s, d);
  colour_replace<Px, Mode>(s, d, dst_lum_before);
}

// ---- the modes written one by one ----

template <class Px, int Mode>
void own_mode(const Px& s, Px& d) {
  using A = Arith<Px>;
  using V = typename A::V;
  using Cv = typename A::Cv;
  const V sa = s.alpha, da = d.alpha;

  if constexpr (Mode == RX_Xfer_Copy) {
    d = s;
  } else if constexpr (Mode == RX_Xfer_Behind) {
    if (da != A::white) behind_step(s, d);
  } else if constexpr (Mode == RX_Xfer_Over) {
    if (A::opaque(sa) || da == 0) {
      d = s;
      return;
    }
    const V r = A::unite(sa, da);
    for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
      const V matted = A::mul(d.*colour, da);
      d.*colour = Cv(A::div(A::blend(matted, V(s.*colour) - matted, sa), r));
    });
    d.alpha = Cv(r);
  } else if constexpr (Mode == RX_Xfer_Dissolve) {
    // Dissolving chooses whole pixels: row work, nothing per pixel.
  } else if constexpr (Mode == RX_Xfer_MultiplyAlpha) {
    d.alpha = Cv(A::mul(da, sa));
  } else if constexpr (Mode == RX_Xfer_MultiplyNotAlpha) {
    d.alpha = Cv(A::mul(da, A::inv(sa)));
  } else if constexpr (Mode == RX_Xfer_MultiplyAlphaLuma || Mode == RX_Xfer_MultiplyNotAlphaLuma) {
    constexpr bool kNot = Mode == RX_Xfer_MultiplyNotAlphaLuma;
    const V lum = rgb_of(s).luminance();
    if constexpr (A::is_float) {
      const V v = kNot ? da * (1.0f - sa * lum) : lum * sa * da;
      d.alpha = v > 1.0f ? 1.0f : v < 1e-16f ? 0.0f : v;
    } else {
      const V weight = A::mul(sa, lum);
      d.alpha = Cv(A::mul(da, kNot ? A::inv(weight) : weight));
    }
  } else if constexpr (Mode == RX_Xfer_AddPremul) {
    // The source counts as premultiplied: it is added whole, not weighted.
    const V w = A::mul(da, A::inv(sa)), r = A::unite(sa, da);
    for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
      d.*colour = Cv(A::div(A::limit_top(V(s.*colour) + A::mul(d.*colour, w)), r));
    });
    d.alpha = Cv(r);
  } else {
    static_assert(Mode == RX_Xfer_AlphaAdd);
    // Alphas add instead of uniting, so two edges of complementary
    // coverage join to exactly opaque.
    if (A::opaque(sa)) {
      d = s;
      return;
    }
    const V total = sa + da;
    if (total >= A::white) {
      for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
        d.*colour = Cv(A::mul(s.*colour, sa) + A::mul(d.*colour, A::inv(sa)));
      });
      d.alpha = Cv(A::white);
    } else {
      for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
        d.*colour = Cv(A::div(A::mul(s.*colour, sa) + A::mul(d.*colour, da), total));
      });
      d.alpha = Cv(total);
    }
  }
}

// One mode on one pixel pair in gamma space.
template <class Px, int Mode>
void transfer(const Px& s, Px& d) {
  if (Mode != RX_Xfer_AddPremul && s.alpha == 0) return;
  constexpr Family kFamily = family_of(Mode);
  if constexpr (kFamily == Family::Matte) {
    matte_family<Px, Mode>(s, d);
  } else if constexpr (kFamily == Family::General) {
    general_family<Px, Mode>(s, d);
  } else if constexpr (kFamily == Family::Colour) {
    colour_family<Px, Mode>(s, d);
  } else {
    own_mode<Px, Mode>(s, d);
  }
}

}  // namespace rx::xfer
