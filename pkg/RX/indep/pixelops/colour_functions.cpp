// Per-pixel colour functions: HLS and YIQ conversions and the four measures
// (luminance, hue, lightness, saturation) at every depth, one body each over
// the depth. Results are bit-exact: the float and double steps below are
// where the package has always taken them, and the tests hold them there.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "RX_Color.h"
#include "worlds/depth_arith.h"
#include "worlds/depth_traits.h"

namespace rx {
namespace {

// How a depth enters the colour functions: the factor that takes a channel
// to 0..1, and the integer rule of the saturation measure.
template <class Px>
struct ColourDepth;

template <>
struct ColourDepth<RX_Pixel8> {
  using Measure = int32_t;
  // The float nearest to 1/255, as the value conversions use.
  static float unit(uint8_t c) { return float(c) * 0.003921569f; }
  // The sum is halved before the compare: a sum of 255 (lightness 127.5)
  // still takes the dark branch.
  static bool dark_half(int32_t sum) { return (sum >> 1) < 128; }
  static constexpr int32_t saturation_divisor = 255;
  static constexpr uint32_t saturation_mask = 0xFFu;
};

template <>
struct ColourDepth<RX_Pixel16> {
  using Measure = int32_t;
  static float unit(uint16_t c) { return float(c) * 3.0517578e-05f; }  // 2^-15 exactly
  // The whole sum against white: the dark branch ends below lightness 16384.
  static bool dark_half(int32_t sum) { return sum < 32768; }
  static constexpr int32_t saturation_divisor = 32768;
  static constexpr uint32_t saturation_mask = 0xFFFFu;
};

template <>
struct ColourDepth<RX_PixelFloat> {
  using Measure = float;
  static float unit(float c) { return c; }
};

template <class Px>
using Measure = typename ColourDepth<Px>::Measure;

template <class Px>
constexpr bool is_float_depth = std::is_floating_point_v<typename Depth<Px>::Cv>;

template <class T>
T max3(T a, T b, T c) { return std::max(a, std::max(b, c)); }
template <class T>
T min3(T a, T b, T c) { return std::min(a, std::min(b, c)); }

// A value of the 16.16 fixed point, rounded half away from zero. Hue and
// saturation round in float, lightness in double: kept for exact output.
int32_t fixed_from_float(float v) {
  const float x = v * 65536.0f;
  return int32_t(x < 0.0f ? x - 0.5f : x + 0.5f);
}
int32_t fixed_from_double(double v) {
  const double x = v * 65536.0;
  return int32_t(x < 0.0 ? x - 0.5 : x + 0.5);
}

// 2^-16, in float for HLS and in double for YIQ.
constexpr float kFixedToFloat = 1.5258789e-05f;
constexpr double kFixedToDouble = 1.52587890625e-05;

// ---- measures ----

template <class Px>
Measure<Px> luminance(const Px& p) {
  if constexpr (is_float_depth<Px>) {
    return 0.299f * p.red + 0.587f * p.green + 0.114f * p.blue;
  } else {
    // Raw channels, unscaled: 0..25500 at 8 bits, 0..3276800 at 16.
    return 30 * int32_t(p.red) + 59 * int32_t(p.green) + 11 * int32_t(p.blue);
  }
}

template <class Px>
Measure<Px> lightness(const Px& p) {
  const auto mx = max3(p.red, p.green, p.blue), mn = min3(p.red, p.green, p.blue);
  if constexpr (is_float_depth<Px>) {
    return (mn + mx) * 0.5f;
  } else {
    return (int32_t(mn) + int32_t(mx)) >> 1;
  }
}

// The HLS saturation's numerator, not the quotient: callers rely on the
// product as it stands.
template <class Px>
Measure<Px> saturation(const Px& p) {
  if constexpr (is_float_depth<Px>) {
    const float mx = max3(p.red, p.green, p.blue), mn = min3(p.red, p.green, p.blue);
    if (mx == mn) return 0.0f;
    const float sum = mx + mn, d = mx - mn;
    return d * (0.5f * sum < 0.5f ? sum : 2.0f - mn - mx);
  } else {
    using D = ColourDepth<Px>;
    const int32_t mx = max3(p.red, p.green, p.blue), mn = min3(p.red, p.green, p.blue);
    if (mx == mn) return 0;
    const int32_t sum = mx + mn, d = mx - mn;
    const int32_t factor = D::dark_half(sum) ? sum : 2 * Depth<Px>::white - mx - mn;
    // 32-bit wrap-around product (only over-range 16-bit channels reach it),
    // signed division toward zero, then the channel's low bits.
    const int32_t product = int32_t(uint32_t(d) * uint32_t(factor));
    return int32_t(uint32_t(product / D::saturation_divisor) & D::saturation_mask);
  }
}

// Hue in degrees, 0 up to 360, on channels taken to 0..1; 0 for grey.
float hue_degrees(float r, float g, float b) {
  const float mx = max3(r, g, b), mn = min3(r, g, b);
  if (mx == mn) return 0.0f;
  int32_t base;
  float t;
  if (r == mx) {
    base = 0;
    t = g - b;
  } else if (g == mx) {
    base = 2;
    t = b - r;
  } else {
    base = 4;
    t = r - g;
  }
  float h = (float(base) + t / (mx - mn)) * 60.0f;
  if (h < 0.0f) h += 360.0f;
  return h;
}

template <class Px>
Measure<Px> hue(const Px& p) {
  using D = ColourDepth<Px>;
  const float h = hue_degrees(D::unit(p.red), D::unit(p.green), D::unit(p.blue));
  if constexpr (is_float_depth<Px>) {
    return h / 360.0f;
  } else {
    return GE_RoundDouble(double(h * float(Depth<Px>::white) / 360.0f));
  }
}

// ---- HLS ----

template <class Px>
RX_HLSPixel rgb_to_hls(const Px& p) {
  using D = ColourDepth<Px>;
  const float r = D::unit(p.red), g = D::unit(p.green), b = D::unit(p.blue);
  const float mx = max3(r, g, b), mn = min3(r, g, b);
  const float sum = mx + mn;
  const double l = double(sum) * 0.5;  // halving is exact: only the rounding below is in double
  float h = 0.0f, s = 0.0f;
  if (mx != mn) {
    s = (mx - mn) / (l > 0.5 ? 2.0f - mx - mn : sum);
    h = hue_degrees(r, g, b);  // 360 is not wrapped to 0
  }
  return RX_HLSPixel{fixed_from_float(h), fixed_from_double(l), fixed_from_float(s)};
}

float hls_value(float m1, float m2, float x) {
  if (x > 360.0f) x -= 360.0f;
  if (x < 0.0f) x += 360.0f;
  if (x < 60.0f) return m1 + x * (m2 - m1) / 60.0f;
  if (x < 180.0f) return m2;
  if (x < 240.0f) return m1 + (m2 - m1) * (240.0f - x) / 60.0f;
  return m1;
}

// A 0..1 value to a channel of the depth, rounded and not clamped.
template <class Px>
typename Depth<Px>::Cv channel_from_unit(float v) {
  using Cv = typename Depth<Px>::Cv;
  if constexpr (is_float_depth<Px>) {
    return v;
  } else {
    return Cv(GE_RoundDouble(double(v * float(Depth<Px>::white))));
  }
}

template <class Px>
void hls_to_rgb(const RX_HLSPixel& in, Px* out) {
  constexpr int32_t kFixedHalf = 32768;
  const float h = float(in.hue) * kFixedToFloat;
  const float l = float(in.lightness) * kFixedToFloat;
  const float s = float(in.saturation) * kFixedToFloat;
  // The half is decided on the fixed value, so 0.5 exactly takes the first form.
  const float m2 = in.lightness <= kFixedHalf ? (s + 1.0f) * l : (s + l) - l * s;
  const float m1 = 2.0f * l - m2;
  float r = l, g = l, b = l;
  if (in.saturation != 0) {
    r = hls_value(m1, m2, h + 120.0f);
    g = hls_value(m1, m2, h);
    b = hls_value(m1, m2, h - 120.0f);
  }
  out->red = channel_from_unit<Px>(r);
  out->green = channel_from_unit<Px>(g);
  out->blue = channel_from_unit<Px>(b);
}

// ---- YIQ ----

// One term of a YIQ row, scaled to 16.16 in float and rounded by itself in
// double: a row is the sum of three rounded terms, not a rounded sum.
int32_t yiq_term(float term) {
  const double x = double(term * 65536.0f);
  return int32_t(term < 0.0f ? x - 0.5 : x + 0.5);
}

template <class Px>
RX_YIQPixel rgb_to_yiq(const Px& p) {
  using D = ColourDepth<Px>;
  const float r = D::unit(p.red), g = D::unit(p.green), b = D::unit(p.blue);
  return RX_YIQPixel{
      yiq_term(0.2989f * r) + yiq_term(0.5866f * g) + yiq_term(0.1144f * b),
      yiq_term(0.5959f * r) + yiq_term(-0.2741f * g) + yiq_term(-0.3218f * b),
      yiq_term(0.2113f * r) + yiq_term(-0.5227f * g) + yiq_term(0.3113f * b),
  };
}

// A channel computed in double, scaled to the depth and taken to float;
// the integer depths clamp to 0..white, float keeps over-range values.
template <class Px>
typename Depth<Px>::Cv channel_from_yiq(double v) {
  using Cv = typename Depth<Px>::Cv;
  if constexpr (is_float_depth<Px>) {
    return float(v);
  } else {
    constexpr auto white = Depth<Px>::white;
    const float scaled = float(v * double(white));
    if (scaled < 0.0f) return 0;
    if (scaled > float(white)) return Cv(white);
    return Cv(int32_t(scaled + 0.5f));
  }
}

template <class Px>
void yiq_to_rgb(const RX_YIQPixel& in, Px* out) {
  const double y = in.y * kFixedToDouble, i = in.i * kFixedToDouble, q = in.q * kFixedToDouble;
  out->red = channel_from_yiq<Px>(y + 0.9562 * i + 0.621 * q);
  out->green = channel_from_yiq<Px>(y - 0.2717 * i - 0.6485 * q);
  out->blue = channel_from_yiq<Px>(y - 1.1053 * i + 1.702 * q);
}

// ---- premultiplied 8-bit pixels ----

RX_Pixel8 unmultiplied(const RX_Pixel8& p) {
  return RX_Pixel8{p.alpha, divide_table(p.alpha, p.red), divide_table(p.alpha, p.green),
                   divide_table(p.alpha, p.blue)};
}

// The colour of out times the alpha out holds.
void remultiply(RX_Pixel8* out) {
  const uint32_t a = out->alpha;
  out->red = uint8_t(m255(out->red * a));
  out->green = uint8_t(m255(out->green * a));
  out->blue = uint8_t(m255(out->blue * a));
}

}  // namespace
}  // namespace rx

// ---- exports ----

#define RX_COLOUR_EXPORTS(SUFFIX, PX)                                                        \
  RX_Err RX_RGBtoHLS_##SUFFIX(RX_EffectContext*, const PX* in, RX_HLSPixel* out) {          \
    *out = rx::rgb_to_hls(*in);                                                              \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_HLStoRGB_##SUFFIX(RX_EffectContext*, const RX_HLSPixel* in, PX* out) {          \
    rx::hls_to_rgb(*in, out);                                                                \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_RGBtoYIQ_##SUFFIX(RX_EffectContext*, const PX* in, RX_YIQPixel* out) {          \
    *out = rx::rgb_to_yiq(*in);                                                              \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_YIQtoRGB_##SUFFIX(RX_EffectContext*, const RX_YIQPixel* in, PX* out) {          \
    rx::yiq_to_rgb(*in, out);                                                                \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_Luminance_##SUFFIX(RX_EffectContext*, const PX* in, rx::Measure<PX>* out) {     \
    *out = rx::luminance(*in);                                                               \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_Hue_##SUFFIX(RX_EffectContext*, const PX* in, rx::Measure<PX>* out) {           \
    *out = rx::hue(*in);                                                                     \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_Lightness_##SUFFIX(RX_EffectContext*, const PX* in, rx::Measure<PX>* out) {     \
    *out = rx::lightness(*in);                                                               \
    return RX_Result_OK;                                                                     \
  }                                                                                          \
  RX_Err RX_Saturation_##SUFFIX(RX_EffectContext*, const PX* in, rx::Measure<PX>* out) {    \
    *out = rx::saturation(*in);                                                              \
    return RX_Result_OK;                                                                     \
  }

RX_COLOUR_EXPORTS(Straight, RX_Pixel8)
RX_COLOUR_EXPORTS(Straight16, RX_Pixel16)
RX_COLOUR_EXPORTS(StraightFloat, RX_PixelFloat)

#undef RX_COLOUR_EXPORTS

// Forward forms unmultiply, then run the straight form.
#define RX_PREMUL_MEASURE(NAME, OUT)                                                         \
  RX_Err RX_##NAME##_Premul(RX_EffectContext* context, const RX_Pixel8* in, OUT* out) {     \
    const RX_Pixel8 straight = rx::unmultiplied(*in);                                        \
    return RX_##NAME##_Straight(context, &straight, out);                                    \
  }

RX_PREMUL_MEASURE(RGBtoHLS, RX_HLSPixel)
RX_PREMUL_MEASURE(RGBtoYIQ, RX_YIQPixel)
RX_PREMUL_MEASURE(Luminance, int32_t)
RX_PREMUL_MEASURE(Hue, int32_t)
RX_PREMUL_MEASURE(Lightness, int32_t)
RX_PREMUL_MEASURE(Saturation, int32_t)

#undef RX_PREMUL_MEASURE

RX_Err RX_HLStoRGB_Premul(RX_EffectContext* context, const RX_HLSPixel* in, RX_Pixel8* out) {
  RX_HLStoRGB_Straight(context, in, out);
  rx::remultiply(out);
  return RX_Result_OK;
}

RX_Err RX_YIQtoRGB_Premul(RX_EffectContext* context, const RX_YIQPixel* in, RX_Pixel8* out) {
  RX_YIQtoRGB_Straight(context, in, out);
  rx::remultiply(out);
  return RX_Result_OK;
}
