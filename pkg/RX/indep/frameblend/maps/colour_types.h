// The engine's pixel and value types. Colours are templates over a channel
// type, minimum, maximum, white and an integer flag; the three world depths
// are ARGB (alpha first, as RX_Pixel8/16/Float), the accumulator is RGBA
// and kernel sums are RGB. Every type interpolates in a float type (its
// Interp) and is stored back with the engine's clamp: integer channels are
// clamped to 0..scale (255 or 32768) and truncated, never rounded.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>

#include "RX_Config.h"
#include "worlds/value_conversions.h"

namespace RX_Engine {

// The x of a vector that marks no vector at its cell.
inline constexpr float kNoVector = FLT_MAX;

template <class T, int Min, int Max, int White, int Integer>
struct FnARGBBase {
  using Channel = T;
  static constexpr int kMin = Min, kMax = Max, kWhite = White;
  static constexpr bool kInteger = Integer != 0;
  T a, r, g, b;
  template <class F>
  static FnARGBBase zip(const FnARGBBase& p, const FnARGBBase& q, F f) {
    return {f(p.a, q.a), f(p.r, q.r), f(p.g, q.g), f(p.b, q.b)};
  }
  template <class F>
  static FnARGBBase each(const FnARGBBase& p, F f) {
    return {f(p.a), f(p.r), f(p.g), f(p.b)};
  }
};

template <class T, int Min, int Max, int White, int Integer>
struct FnRGBABase {
  using Channel = T;
  static constexpr int kMin = Min, kMax = Max, kWhite = White;
  static constexpr bool kInteger = Integer != 0;
  T r, g, b, a;
  template <class F>
  static FnRGBABase zip(const FnRGBABase& p, const FnRGBABase& q, F f) {
    return {f(p.r, q.r), f(p.g, q.g), f(p.b, q.b), f(p.a, q.a)};
  }
  template <class F>
  static FnRGBABase each(const FnRGBABase& p, F f) {
    return {f(p.r), f(p.g), f(p.b), f(p.a)};
  }
};

template <class T, int Min, int Max, int White, int Integer>
struct FnRGBBase {
  using Channel = T;
  static constexpr int kMin = Min, kMax = Max, kWhite = White;
  static constexpr bool kInteger = Integer != 0;
  T r, g, b;
  template <class F>
  static FnRGBBase zip(const FnRGBBase& p, const FnRGBBase& q, F f) {
    return {f(p.r, q.r), f(p.g, q.g), f(p.b, q.b)};
  }
  template <class F>
  static FnRGBBase each(const FnRGBBase& p, F f) {
    return {f(p.r), f(p.g), f(p.b)};
  }
};

// A colour with channel-wise arithmetic over its base's layout.
template <class Base>
struct FnRGBACol : Base {
  using BaseType = Base;
  template <class F>
  static FnRGBACol zip(const FnRGBACol& p, const FnRGBACol& q, F f) {
    return {Base::zip(p, q, f)};
  }
  template <class F>
  static FnRGBACol each(const FnRGBACol& p, F f) {
    return {Base::each(p, f)};
  }
  friend bool operator==(const FnRGBACol& p, const FnRGBACol& q) {
    bool same = true;
    Base::zip(p, q, [&](auto x, auto y) {
      same = same && x == y;
      return x;
    });
    return same;
  }
};

template <class Base>
struct FnRGBCol : Base {
  using BaseType = Base;
  template <class F>
  static FnRGBCol zip(const FnRGBCol& p, const FnRGBCol& q, F f) {
    return {Base::zip(p, q, f)};
  }
  template <class F>
  static FnRGBCol each(const FnRGBCol& p, F f) {
    return {Base::each(p, f)};
  }
  friend bool operator==(const FnRGBCol& p, const FnRGBCol& q) {
    return p.r == q.r && p.g == q.g && p.b == q.b;
  }
};

struct HvVec2 {
  float x, y;
  template <class F>
  static HvVec2 zip(const HvVec2& p, const HvVec2& q, F f) {
    return {f(p.x, q.x), f(p.y, q.y)};
  }
  template <class F>
  static HvVec2 each(const HvVec2& p, F f) {
    return {f(p.x), f(p.y)};
  }
  bool isVector() const { return x != kNoVector; }
  friend bool operator==(const HvVec2& p, const HvVec2& q) { return p.x == q.x && p.y == q.y; }
};
inline constexpr HvVec2 kNoVectorValue{kNoVector, kNoVector};

// The pixel types of worlds and of the engine's own maps.
using FnPixel8 = FnRGBACol<FnARGBBase<unsigned char, 0, 255, 255, 1>>;
using FnPixel16 = FnRGBACol<FnARGBBase<unsigned short, 0, 65535, 65535, 1>>;
using FnPixelFloat = FnRGBACol<FnARGBBase<float, 0, 1, 1, 0>>;
using FnAccumCell = FnRGBACol<FnRGBABase<float, 0, 1, 1, 0>>;
using FnRGBFloat = FnRGBCol<FnRGBBase<float, 0, 1, 1, 0>>;

static_assert(sizeof(FnPixel8) == 4 && sizeof(FnPixel16) == 8 && sizeof(FnPixelFloat) == 16);
static_assert(sizeof(FnAccumCell) == 16 && sizeof(FnRGBFloat) == 12 && sizeof(HvVec2) == 8);

// Channel arithmetic, the same for every value type with zip and each.
template <class V>
V fn_add(const V& p, const V& q) {
  return V::zip(p, q, [](auto x, auto y) { return x + y; });
}
template <class V>
V fn_sub(const V& p, const V& q) {
  return V::zip(p, q, [](auto x, auto y) { return x - y; });
}
template <class V>
V fn_scale(const V& p, float k) {
  return V::each(p, [k](auto x) { return x * k; });
}
inline float fn_add(float p, float q) { return p + q; }
inline float fn_sub(float p, float q) { return p - q; }
inline float fn_scale(float p, float k) { return p * k; }

// The engine's store of one float channel into an integer channel: clamp
// (below 0 tested first, then above the scale) and truncate toward zero.
inline int32_t fn_store_channel(float v, float scale) {
  if (v < 0.0f) return 0;
  if (v > scale) return static_cast<int32_t>(scale);
  return rx::truncate_to_int(v);
}

// What the engine needs to know of a pixel type: its Interp type, the
// scale of its channels, the conversion into Interp and the store back.
template <class Px>
struct FnPixelTraits;

template <class Channel, int Max, float Scale>
struct FnIntegerARGBTraits {
  using Interp = FnPixelFloat;
  static constexpr float kScale = Scale;
  static constexpr bool kInteger = true;
  using Px = FnRGBACol<FnARGBBase<Channel, 0, Max, Max, 1>>;
  static Interp toInterp(const Px& p) {
    return {{float(p.a), float(p.r), float(p.g), float(p.b)}};
  }
  static Px store(const Interp& v) {
    return {{Channel(fn_store_channel(v.a, Scale)), Channel(fn_store_channel(v.r, Scale)),
             Channel(fn_store_channel(v.g, Scale)), Channel(fn_store_channel(v.b, Scale))}};
  }
  static Interp lerp(const Interp& a, const Interp& b, float t) {
    return Interp::zip(a, b, [t](float x, float y) { return (y - x) * t + x; });
  }
};

template <>
struct FnPixelTraits<FnPixel8> : FnIntegerARGBTraits<unsigned char, 255, 255.0f> {};
// 16-bit channels hold 0..65535 but the engine's white is 32768.
template <>
struct FnPixelTraits<FnPixel16> : FnIntegerARGBTraits<unsigned short, 65535, 32768.0f> {};

// Float types interpolate in themselves and store as they are.
template <class V>
struct FnFloatTraits {
  using Interp = V;
  static constexpr float kScale = 1.0f;
  static constexpr bool kInteger = false;
  static Interp toInterp(const V& p) { return p; }
  static V store(const Interp& v) { return v; }
  static Interp lerp(const Interp& a, const Interp& b, float t) {
    return Interp::zip(a, b, [t](float x, float y) { return (y - x) * t + x; });
  }
};
template <>
struct FnPixelTraits<FnPixelFloat> : FnFloatTraits<FnPixelFloat> {};
template <>
struct FnPixelTraits<FnAccumCell> : FnFloatTraits<FnAccumCell> {};
template <>
struct FnPixelTraits<FnRGBFloat> : FnFloatTraits<FnRGBFloat> {};
template <>
struct FnPixelTraits<HvVec2> : FnFloatTraits<HvVec2> {};

template <>
struct FnPixelTraits<float> {
  using Interp = float;
  static constexpr float kScale = 1.0f;
  static constexpr bool kInteger = false;
  static float toInterp(float p) { return p; }
  static float store(float v) { return v; }
  static float lerp(float a, float b, float t) { return (b - a) * t + a; }
};

// Integer maps (occlusion states) interpolate by rounding the float lerp
// to the nearest integer; the stock flow reads them only by nearest cell.
template <>
struct FnPixelTraits<int> {
  using Interp = int;
  static constexpr float kScale = 1.0f;
  static constexpr bool kInteger = true;
  static int toInterp(int p) { return p; }
  static int store(int v) { return v; }
  static int lerp(int a, int b, float t) {
    return static_cast<int>(std::lrint((float(b) - float(a)) * t + float(a)));
  }
};

template <class Px>
using FnInterpOf = typename FnPixelTraits<Px>::Interp;

// Float channels of a value: the Interp of integer pixels, anything else as
// it is. Used where a store converts from float at the native scale.
template <class Px>
FnInterpOf<Px> fn_to_interp(const Px& p) {
  return FnPixelTraits<Px>::toInterp(p);
}
template <class Px>
Px fn_store(const FnInterpOf<Px>& v) {
  return FnPixelTraits<Px>::store(v);
}

}  // namespace RX_Engine

