// The per-pixel colour functions (HLS and YIQ conversions, luminance, hue,
// lightness, saturation) at every depth against their rules written out
// plainly with the same float and double steps; grey and saturation-0
// edges; HLS round trips; the premultiplied 8-bit forms against the
// straight forms on pixels divided through the table.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

// ---- the rules, written plainly ----

// Channel to 0..1.
float unit(uint8_t c) { return float(c) * 0.003921569f; }
float unit(uint16_t c) { return float(c) * 3.0517578e-05f; }
float unit(float c) { return c; }

float white_of(const RX_Pixel8&) { return 255.0f; }
float white_of(const RX_Pixel16&) { return 32768.0f; }
double white_of_any(const RX_Pixel8&) { return 255.0; }
double white_of_any(const RX_Pixel16&) { return 32768.0; }
double white_of_any(const RX_PixelFloat&) { return 1.0; }

// Rounding half away from zero in float, in double.
int32_t round_in_float(float x) { return int32_t(x < 0 ? x - 0.5f : x + 0.5f); }
int32_t round_in_double(double x) { return int32_t(x < 0 ? x - 0.5 : x + 0.5); }

int32_t ref_luminance(const RX_Pixel8& p) { return 30 * p.red + 59 * p.green + 11 * p.blue; }
int32_t ref_luminance(const RX_Pixel16& p) { return 30 * p.red + 59 * p.green + 11 * p.blue; }
float ref_luminance(const RX_PixelFloat& p) { return 0.299f * p.red + 0.587f * p.green + 0.114f * p.blue; }

template <class Px>
auto max_channel(const Px& p) { return std::max({p.red, p.green, p.blue}); }
template <class Px>
auto min_channel(const Px& p) { return std::min({p.red, p.green, p.blue}); }

int32_t ref_lightness(const RX_Pixel8& p) { return (min_channel(p) + max_channel(p)) >> 1; }
int32_t ref_lightness(const RX_Pixel16& p) { return (min_channel(p) + max_channel(p)) >> 1; }
float ref_lightness(const RX_PixelFloat& p) { return (min_channel(p) + max_channel(p)) * 0.5f; }

int32_t ref_saturation(const RX_Pixel8& p) {
  const int32_t mx = max_channel(p), mn = min_channel(p);
  if (mx == mn) return 0;
  const int32_t s = mx + mn, d = mx - mn;
  return ((d * ((s >> 1) < 128 ? s : 510 - mx - mn)) / 255) & 0xFF;
}
int32_t ref_saturation(const RX_Pixel16& p) {
  const int32_t mx = max_channel(p), mn = min_channel(p);
  if (mx == mn) return 0;
  const int32_t s = mx + mn, d = mx - mn;
  const int32_t product = int32_t(uint32_t(d) * uint32_t(s < 32768 ? s : 65536 - mx - mn));
  return (product / 32768) & 0xFFFF;
}
float ref_saturation(const RX_PixelFloat& p) {
  const float mx = max_channel(p), mn = min_channel(p);
  if (mx == mn) return 0.0f;
  const float s = mx + mn, d = mx - mn;
  return d * (0.5f * s < 0.5f ? s : 2.0f - mn - mx);
}

float ref_hue_degrees(float r, float g, float b) {
  const float mx = std::max({r, g, b}), mn = std::min({r, g, b});
  if (mx == mn) return 0.0f;
  float h;
  if (r == mx) h = (0 + (g - b) / (mx - mn)) * 60.0f;
  else if (g == mx) h = (2 + (b - r) / (mx - mn)) * 60.0f;
  else h = (4 + (r - g) / (mx - mn)) * 60.0f;
  if (h < 0.0f) h += 360.0f;
  return h;
}
template <class Px>
float hue_degrees_of(const Px& p) { return ref_hue_degrees(unit(p.red), unit(p.green), unit(p.blue)); }

int32_t ref_hue(const RX_Pixel8& p) { return GE_RoundDouble(hue_degrees_of(p) * 255.0f / 360.0f); }
int32_t ref_hue(const RX_Pixel16& p) { return GE_RoundDouble(hue_degrees_of(p) * 32768.0f / 360.0f); }
float ref_hue(const RX_PixelFloat& p) { return hue_degrees_of(p) / 360.0f; }

template <class Px>
RX_HLSPixel ref_rgb_to_hls(const Px& p) {
  const float r = unit(p.red), g = unit(p.green), b = unit(p.blue);
  const float mx = std::max({r, g, b}), mn = std::min({r, g, b});
  const double l = double(mx + mn) * 0.5;
  float h = 0, s = 0;
  if (mx != mn) {
    s = l > 0.5 ? (mx - mn) / (2.0f - mx - mn) : (mx - mn) / (mx + mn);
    h = ref_hue_degrees(r, g, b);
  }
  return {round_in_float(h * 65536.0f), round_in_double(l * 65536.0), round_in_float(s * 65536.0f)};
}

float hls_channel(float m1, float m2, float x) {
  if (x > 360) x -= 360;
  if (x < 0) x += 360;
  if (x < 60) return m1 + x * (m2 - m1) / 60;
  if (x < 180) return m2;
  if (x < 240) return m1 + (m2 - m1) * (240 - x) / 60;
  return m1;
}
// Red, green, blue in 0..1.
void ref_hls_to_unit_rgb(const RX_HLSPixel& in, float rgb[3]) {
  const float h = float(in.hue) * 1.5258789e-05f;
  const float l = float(in.lightness) * 1.5258789e-05f;
  const float s = float(in.saturation) * 1.5258789e-05f;
  const float m2 = in.lightness <= 32768 ? (s + 1) * l : (s + l) - l * s;
  const float m1 = 2 * l - m2;
  if (in.saturation == 0) {
    rgb[0] = rgb[1] = rgb[2] = l;
    return;
  }
  rgb[0] = hls_channel(m1, m2, h + 120);
  rgb[1] = hls_channel(m1, m2, h);
  rgb[2] = hls_channel(m1, m2, h - 120);
}
template <class Px>
Px ref_hls_to_rgb(const RX_HLSPixel& in, Px out) {
  float rgb[3];
  ref_hls_to_unit_rgb(in, rgb);
  using Cv = decltype(out.red);
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    out.red = rgb[0], out.green = rgb[1], out.blue = rgb[2];
  } else {
    const float w = white_of(out);
    out.red = Cv(GE_RoundDouble(rgb[0] * w));
    out.green = Cv(GE_RoundDouble(rgb[1] * w));
    out.blue = Cv(GE_RoundDouble(rgb[2] * w));
  }
  return out;
}

// Each term to 16.16 by itself: * 65536 in float, rounded in double.
int32_t term(float t) {
  const double x = t * 65536.0f;
  return int32_t(t < 0 ? x - 0.5 : x + 0.5);
}
template <class Px>
RX_YIQPixel ref_rgb_to_yiq(const Px& p) {
  const float r = unit(p.red), g = unit(p.green), b = unit(p.blue);
  return {term(0.2989f * r) + term(0.5866f * g) + term(0.1144f * b),
          term(0.5959f * r) - term(0.2741f * g) - term(0.3218f * b),
          term(0.2113f * r) - term(0.5227f * g) + term(0.3113f * b)};
}

template <class Px>
Px ref_yiq_to_rgb(const RX_YIQPixel& in, Px out) {
  const double y = in.y * 1.52587890625e-05, i = in.i * 1.52587890625e-05, q = in.q * 1.52587890625e-05;
  const double rgb[3] = {y + 0.9562 * i + 0.621 * q, y - 0.2717 * i - 0.6485 * q,
                         y - 1.1053 * i + 1.702 * q};
  decltype(out.red)* channels[3] = {&out.red, &out.green, &out.blue};
  for (int k = 0; k < 3; ++k) {
    if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
      *channels[k] = float(rgb[k]);
    } else {
      const float w = white_of(out);
      const float v = float(rgb[k] * double(w));
      *channels[k] = v < 0 ? 0 : v > w ? decltype(out.red)(w) : decltype(out.red)(int32_t(v + 0.5f));
    }
  }
  return out;
}

using rxtest::ref::m255;

// ---- the functions of each depth ----

template <class Px>
struct Colour;

#define COLOUR_FUNCTIONS(PX, SUFFIX, MEASURE)                                               \
  template <>                                                                                \
  struct Colour<PX> {                                                                        \
    using Measure = MEASURE;                                                                 \
    static RX_HLSPixel to_hls(const PX& p) {                                                 \
      RX_HLSPixel out{-7, -7, -7};                                                           \
      EXPECT_EQ(RX_RGBtoHLS_##SUFFIX(nullptr, &p, &out), 0);                                 \
      return out;                                                                            \
    }                                                                                        \
    static PX from_hls(const RX_HLSPixel& in, PX out) {                                      \
      EXPECT_EQ(RX_HLStoRGB_##SUFFIX(nullptr, &in, &out), 0);                                \
      return out;                                                                            \
    }                                                                                        \
    static RX_YIQPixel to_yiq(const PX& p) {                                                 \
      RX_YIQPixel out{-7, -7, -7};                                                           \
      EXPECT_EQ(RX_RGBtoYIQ_##SUFFIX(nullptr, &p, &out), 0);                                 \
      return out;                                                                            \
    }                                                                                        \
    static PX from_yiq(const RX_YIQPixel& in, PX out) {                                      \
      EXPECT_EQ(RX_YIQtoRGB_##SUFFIX(nullptr, &in, &out), 0);                                \
      return out;                                                                            \
    }                                                                                        \
    static MEASURE luminance(const PX& p) { return measure(RX_Luminance_##SUFFIX, p); }      \
    static MEASURE hue(const PX& p) { return measure(RX_Hue_##SUFFIX, p); }                  \
    static MEASURE lightness(const PX& p) { return measure(RX_Lightness_##SUFFIX, p); }      \
    static MEASURE saturation(const PX& p) { return measure(RX_Saturation_##SUFFIX, p); }    \
    template <class F>                                                                       \
    static MEASURE measure(F f, const PX& p) {                                               \
      MEASURE out = MEASURE(-7);                                                             \
      EXPECT_EQ(f(nullptr, &p, &out), 0);                                                    \
      return out;                                                                            \
    }                                                                                        \
  };

COLOUR_FUNCTIONS(RX_Pixel8, Straight, int32_t)
COLOUR_FUNCTIONS(RX_Pixel16, Straight16, int32_t)
COLOUR_FUNCTIONS(RX_PixelFloat, StraightFloat, float)
#undef COLOUR_FUNCTIONS

// ---- sample colours of each depth ----

// Channel values per depth: every 15th byte at 8 bits (18 values); a spread
// round the thresholds at 16 bits, some over white; a spread at float with
// values below 0 and above 1.
std::vector<uint8_t> channel_values(const RX_Pixel8&) {
  std::vector<uint8_t> v;
  for (int c = 0; c <= 255; c += 15) v.push_back(uint8_t(c));
  return v;
}
std::vector<uint16_t> channel_values(const RX_Pixel16&) {
  return {0, 1, 257, 4097, 8191, 12345, 16383, 16384, 16385, 20000, 24576, 27000, 30001, 32767, 32768, 32769, 40000, 65535};
}
std::vector<float> channel_values(const RX_PixelFloat&) {
  return {-0.25f, 0.0f, 1e-6f, 0.05f, 0.1f, 0.2f, 0.25f, 1.0f / 3.0f, 0.4999999f, 0.5f, 0.5000001f, 0.6f, 0.75f, 0.9f, 0.999f, 1.0f, 1.25f, 2.0f};
}

// Every combination of the channel values, with an alpha that the
// functions must not read or change.
template <class Px>
std::vector<Px> sample_colours() {
  const auto values = channel_values(Px{});
  std::vector<Px> out;
  for (auto r : values)
    for (auto g : values)
      for (auto b : values) {
        Px p{};
        p.alpha = decltype(p.alpha)(sizeof(p.alpha) == 4 ? 0.5 : 77);
        p.red = r, p.green = g, p.blue = b;
        out.push_back(p);
      }
  return out;
}

// Hue over the circle and past it, lightness and saturation round their
// halves and ends.
std::vector<RX_HLSPixel> sample_hls() {
  std::vector<RX_HLSPixel> out;
  const int32_t degree = 65536;
  std::vector<int32_t> hues;
  for (int32_t h = 0; h <= 360; h += 15) hues.push_back(h * degree);
  for (int32_t h : {1, 59 * degree + 65535, 60 * degree, 179 * degree + 1, 240 * degree - 1, 360 * degree - 1})
    hues.push_back(h);
  for (int32_t h : hues)
    for (int32_t l : {0, 1, 9000, 16384, 32767, 32768, 32769, 49152, 65535, 65536})
      for (int32_t s : {0, 1, 13107, 32768, 52428, 65536}) out.push_back({h, l, s});
  return out;
}

// Y, I and Q over and past their ranges, so that the integer depths clamp.
std::vector<RX_YIQPixel> sample_yiq() {
  std::vector<RX_YIQPixel> out;
  for (int32_t y = -13107; y <= 78643; y += 9175)
    for (int32_t i = -39321; i <= 39321; i += 7864)
      for (int32_t q = -36044; q <= 36044; q += 7209) out.push_back({y, i, q});
  return out;
}

template <class Px>
bool same_colour(const Px& a, const Px& b) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    auto eq = [](float x, float y) { return std::memcmp(&x, &y, sizeof x) == 0; };
    return eq(a.alpha, b.alpha) && eq(a.red, b.red) && eq(a.green, b.green) && eq(a.blue, b.blue);
  } else {
    return rxtest::same_pixel(a, b);
  }
}

bool operator==(const RX_HLSPixel& a, const RX_HLSPixel& b) {
  return a.hue == b.hue && a.lightness == b.lightness && a.saturation == b.saturation;
}
bool operator==(const RX_YIQPixel& a, const RX_YIQPixel& b) { return a.y == b.y && a.i == b.i && a.q == b.q; }

// An out pixel with an alpha the reverse conversions must keep.
template <class Px>
Px out_pixel() {
  Px p{};
  p.alpha = decltype(p.alpha)(sizeof(p.alpha) == 4 ? 0.75 : 201);
  p.red = p.green = p.blue = decltype(p.red)(3);
  return p;
}

// ---- every depth ----

template <class Px>
class ColourFunctions : public ::testing::Test {};
TYPED_TEST_SUITE(ColourFunctions, rxtest::AllPixelTypes);

TYPED_TEST(ColourFunctions, GreyPixelsHaveHueAndSaturationZero) {
  using Px = TypeParam;
  using C = Colour<Px>;
  for (auto v : channel_values(Px{})) {
    Px grey{};
    grey.red = grey.green = grey.blue = v;
    EXPECT_EQ(C::hue(grey), 0);
    EXPECT_EQ(C::saturation(grey), 0);
    const RX_HLSPixel hls = C::to_hls(grey);
    EXPECT_EQ(hls.hue, 0);
    EXPECT_EQ(hls.saturation, 0);
  }
}

TYPED_TEST(ColourFunctions, HLSWithSaturationZeroGivesLightnessInEveryChannel) {
  using Px = TypeParam;
  for (int32_t l : {0, 1, 16384, 32768, 40000, 65536}) {
    for (int32_t h : {0, 90 * 65536, 359 * 65536}) {
      const Px out = Colour<Px>::from_hls({h, l, 0}, out_pixel<Px>());
      EXPECT_EQ(out.red, out.green);
      EXPECT_EQ(out.red, out.blue);
      EXPECT_EQ(out.alpha, out_pixel<Px>().alpha);
      if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
        EXPECT_EQ(out.red, float(l) * 1.5258789e-05f);
      } else {
        EXPECT_EQ(out.red, GE_RoundDouble(float(l) * 1.5258789e-05f * white_of(out)));
      }
    }
  }
}

TYPED_TEST(ColourFunctions, LuminanceIsTheWeightedSum) {
  for (const auto& p : sample_colours<TypeParam>())
    ASSERT_EQ(Colour<TypeParam>::luminance(p), ref_luminance(p)) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
}

TYPED_TEST(ColourFunctions, LightnessIsTheMidpointOfLargestAndSmallest) {
  for (const auto& p : sample_colours<TypeParam>())
    ASSERT_EQ(Colour<TypeParam>::lightness(p), ref_lightness(p)) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
}

TYPED_TEST(ColourFunctions, SaturationIsTheNumeratorOfTheHLSRule) {
  for (const auto& p : sample_colours<TypeParam>())
    ASSERT_EQ(Colour<TypeParam>::saturation(p), ref_saturation(p)) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
}

TYPED_TEST(ColourFunctions, HueFollowsTheLargestChannel) {
  for (const auto& p : sample_colours<TypeParam>())
    ASSERT_EQ(Colour<TypeParam>::hue(p), ref_hue(p)) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
}

TYPED_TEST(ColourFunctions, RGBtoHLSRoundsEachValueToFixedPoint) {
  for (const auto& p : sample_colours<TypeParam>()) {
    const RX_HLSPixel got = Colour<TypeParam>::to_hls(p), want = ref_rgb_to_hls(p);
    ASSERT_TRUE(got == want) << int(p.red) << " " << int(p.green) << " " << int(p.blue) << ": " << got.hue << " "
                             << got.lightness << " " << got.saturation;
  }
}

TYPED_TEST(ColourFunctions, HLStoRGBFollowsTheSextantsAndKeepsAlpha) {
  using Px = TypeParam;
  for (const auto& hls : sample_hls()) {
    const Px got = Colour<Px>::from_hls(hls, out_pixel<Px>());
    ASSERT_TRUE(same_colour(got, ref_hls_to_rgb(hls, out_pixel<Px>())))
        << hls.hue << " " << hls.lightness << " " << hls.saturation;
  }
}

TYPED_TEST(ColourFunctions, RGBtoYIQSumsSeparatelyRoundedTerms) {
  for (const auto& p : sample_colours<TypeParam>())
    ASSERT_TRUE(Colour<TypeParam>::to_yiq(p) == ref_rgb_to_yiq(p)) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
}

TYPED_TEST(ColourFunctions, YIQtoRGBComputesInDoubleAndKeepsAlpha) {
  using Px = TypeParam;
  for (const auto& yiq : sample_yiq()) {
    const Px got = Colour<Px>::from_yiq(yiq, out_pixel<Px>());
    ASSERT_TRUE(same_colour(got, ref_yiq_to_rgb(yiq, out_pixel<Px>()))) << yiq.y << " " << yiq.i << " " << yiq.q;
  }
}

// Over the in-range colours: at most one step of the channel at the integer
// depths (the hue in float and the final rounding each lose a little), and
// 1e-4 in float.
TYPED_TEST(ColourFunctions, HLSRoundTripReturnsTheColourWithinOneStep) {
  using Px = TypeParam;
  const double bound = std::is_same_v<Px, RX_PixelFloat> ? 1e-4 : 1.0;
  for (const auto& p : sample_colours<Px>()) {
    if (p.red > white_of_any(p) || p.green > white_of_any(p) || p.blue > white_of_any(p)) continue;
    if (p.red < 0 || p.green < 0 || p.blue < 0) continue;
    const Px back = Colour<Px>::from_hls(Colour<Px>::to_hls(p), out_pixel<Px>());
    EXPECT_LE(std::abs(double(back.red) - double(p.red)), bound) << int(p.red) << " " << int(p.green) << " " << int(p.blue);
    EXPECT_LE(std::abs(double(back.green) - double(p.green)), bound);
    EXPECT_LE(std::abs(double(back.blue) - double(p.blue)), bound);
  }
}

// ---- single depths ----

TEST(ColourFunctions8, LuminanceOfWhiteIs25500) {
  EXPECT_EQ(Colour<RX_Pixel8>::luminance({255, 255, 255, 255}), 25500);
  EXPECT_EQ(Colour<RX_Pixel16>::luminance({32768, 32768, 32768, 32768}), 3276800);
  EXPECT_FLOAT_EQ(Colour<RX_PixelFloat>::luminance({1, 1, 1, 1}), 1.0f);
}

TEST(ColourFunctions8, SaturationOfPureRedIs255) {
  EXPECT_EQ(Colour<RX_Pixel8>::saturation({255, 255, 0, 0}), 255);
}

// Sum 255 halves to 127 and takes s; sum 256 halves to 128 and takes
// 510 - sum: 254 * 254 / 255.
TEST(ColourFunctions8, SaturationSwitchesFormWhenTheHalvedSumReaches128) {
  EXPECT_EQ(Colour<RX_Pixel8>::saturation({0, 200, 55, 55}), 145 * 255 / 255);
  EXPECT_EQ(Colour<RX_Pixel8>::saturation({0, 255, 1, 1}), 254 * 254 / 255);
}

TEST(ColourFunctions8, PureColoursHaveTheirSextantHues) {
  EXPECT_EQ(Colour<RX_Pixel8>::hue({255, 255, 0, 0}), 0);
  EXPECT_EQ(Colour<RX_Pixel8>::hue({255, 0, 255, 0}), 85);   // 120 degrees
  EXPECT_EQ(Colour<RX_Pixel8>::hue({255, 0, 0, 255}), 170);  // 240 degrees
  EXPECT_EQ(Colour<RX_Pixel16>::hue({0, 0, 0, 32768}), GE_RoundDouble(240.0 * 32768 / 360));
  EXPECT_FLOAT_EQ(Colour<RX_PixelFloat>::hue({1, 0, 1, 0}), 1.0f / 3.0f);
}

// A hue a hair below 0 gets 360 added and stays 360 in the fixed value.
TEST(ColourFunctionsFloat, HueJustBelowZeroIsNotWrappedTo0) {
  const RX_PixelFloat p{1, 1.0f, 0.0f, 1e-9f};
  EXPECT_EQ(Colour<RX_PixelFloat>::to_hls(p).hue, 360 * 65536);
}

TEST(ColourFunctions8, RedInHLSIsHue0LightnessHalfSaturation1) {
  const RX_HLSPixel hls = Colour<RX_Pixel8>::to_hls({9, 255, 0, 0});
  EXPECT_EQ(hls.hue, 0);
  EXPECT_EQ(hls.lightness, round_in_double(double(255 * 0.003921569f) * 0.5 * 65536.0));
  EXPECT_EQ(hls.saturation, 65536);
}

// The sum of rounded terms differs from the rounded sum on some colours;
// the function gives the former on all of them.
TEST(ColourFunctions8, YIQTermsAreRoundedOneByOne) {
  int differing = 0;
  for (const auto& p : sample_colours<RX_Pixel8>()) {
    const float r = unit(p.red), g = unit(p.green), b = unit(p.blue);
    const int32_t rounded_sum = round_in_double((0.2989f * r + 0.5866f * g + 0.1144f * b) * 65536.0f);
    const RX_YIQPixel yiq = Colour<RX_Pixel8>::to_yiq(p);
    EXPECT_EQ(yiq.y, term(0.2989f * r) + term(0.5866f * g) + term(0.1144f * b));
    differing += yiq.y != rounded_sum;
  }
  EXPECT_GT(differing, 0);
}

TEST(ColourFunctions8, YIQtoRGBClampsAtBlackAndWhite) {
  const RX_Pixel8 low = Colour<RX_Pixel8>::from_yiq({-65536, 0, 0}, out_pixel<RX_Pixel8>());
  const RX_Pixel8 high = Colour<RX_Pixel8>::from_yiq({2 * 65536, 0, 0}, out_pixel<RX_Pixel8>());
  EXPECT_TRUE(same_colour(low, RX_Pixel8{201, 0, 0, 0}));
  EXPECT_TRUE(same_colour(high, RX_Pixel8{201, 255, 255, 255}));
  const RX_PixelFloat over = Colour<RX_PixelFloat>::from_yiq({2 * 65536, 0, 0}, out_pixel<RX_PixelFloat>());
  EXPECT_EQ(over.red, 2.0f);
}

// ---- premultiplied 8-bit forms ----

class ColourFunctionsPremul : public rxtest::BornPackage {
 protected:
  static RX_Pixel8 divided(const RX_Pixel8& p) {
    const uint8_t* row = RXp_G_fcd_table + p.alpha * 256;
    return {p.alpha, row[p.red], row[p.green], row[p.blue]};
  }
  // Premultiplied pixels of many alphas, and channels past alpha too.
  static std::vector<RX_Pixel8> pixels() {
    std::vector<RX_Pixel8> out;
    for (int a : {0, 1, 17, 100, 128, 200, 254, 255})
      for (const auto& p : sample_colours<RX_Pixel8>())
        out.push_back({uint8_t(a), uint8_t(m255(p.red * a)), uint8_t(m255(p.green * a)), p.blue});
    return out;
  }
};

TEST_F(ColourFunctionsPremul, MeasuresAreThoseOfTheDividedPixel) {
  for (const auto& p : pixels()) {
    const RX_Pixel8 s = divided(p);
    int32_t got = -1;
    RX_Luminance_Premul(nullptr, &p, &got);
    ASSERT_EQ(got, Colour<RX_Pixel8>::luminance(s));
    RX_Hue_Premul(nullptr, &p, &got);
    ASSERT_EQ(got, Colour<RX_Pixel8>::hue(s));
    RX_Lightness_Premul(nullptr, &p, &got);
    ASSERT_EQ(got, Colour<RX_Pixel8>::lightness(s));
    RX_Saturation_Premul(nullptr, &p, &got);
    ASSERT_EQ(got, Colour<RX_Pixel8>::saturation(s));
  }
}

TEST_F(ColourFunctionsPremul, ConversionsFromPixelsAreThoseOfTheDividedPixel) {
  for (const auto& p : pixels()) {
    RX_HLSPixel hls{};
    RX_YIQPixel yiq{};
    EXPECT_EQ(RX_RGBtoHLS_Premul(nullptr, &p, &hls), 0);
    EXPECT_EQ(RX_RGBtoYIQ_Premul(nullptr, &p, &yiq), 0);
    ASSERT_TRUE(hls == Colour<RX_Pixel8>::to_hls(divided(p)));
    ASSERT_TRUE(yiq == Colour<RX_Pixel8>::to_yiq(divided(p)));
  }
}

TEST_F(ColourFunctionsPremul, ConversionsToPixelsMultiplyByTheAlphaOutHolds) {
  for (int a : {0, 1, 77, 128, 254, 255}) {
    const RX_Pixel8 before{uint8_t(a), 9, 9, 9};
    auto multiplied = [a](RX_Pixel8 s) {
      return RX_Pixel8{uint8_t(a), uint8_t(m255(s.red * a)), uint8_t(m255(s.green * a)), uint8_t(m255(s.blue * a))};
    };
    for (const auto& hls : sample_hls()) {
      RX_Pixel8 out = before;
      EXPECT_EQ(RX_HLStoRGB_Premul(nullptr, &hls, &out), 0);
      ASSERT_TRUE(same_colour(out, multiplied(Colour<RX_Pixel8>::from_hls(hls, before))));
    }
    for (const auto& yiq : sample_yiq()) {
      RX_Pixel8 out = before;
      EXPECT_EQ(RX_YIQtoRGB_Premul(nullptr, &yiq, &out), 0);
      ASSERT_TRUE(same_colour(out, multiplied(Colour<RX_Pixel8>::from_yiq(yiq, before))));
    }
  }
}

}  // namespace
