// Area sampling against its rules written plainly: wide boxes against a
// direct double-precision box integral over every pixel, narrow boxes
// against sums of the clipped bilinear sampler's results with their
// weights, the premultiplied form against its integer arithmetic, at every
// depth, on random worlds with padded rows and inside larger worlds; the
// SSE2 form of slot 5 against the plain one; the exported forwarders
// through their slots.
#include "sampling/area_sample.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "RX_AreaSampling.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

constexpr double kTwoToMinus16 = 1.0 / 65536.0;

template <class Px>
constexpr double white() {
  if constexpr (std::is_same_v<Px, RX_Pixel8>)
    return 255.0;
  else if constexpr (std::is_same_v<Px, RX_Pixel16>)
    return 32768.0;
  else
    return 1.0;
}

template <class Px>
constexpr bool is_float() {
  return std::is_same_v<Px, RX_PixelFloat>;
}

template <class Px>
double channel(const Px& p, int k) {
  switch (k) {
    case 0:
      return double(p.alpha);
    case 1:
      return double(p.red);
    case 2:
      return double(p.green);
    default:
      return double(p.blue);
  }
}

template <class Px>
std::string show(const Px& p) {
  std::ostringstream s;
  s.precision(10);
  s << "(" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << ")";
  return s.str();
}

template <class Px>
Px& pixel(const RX_LayerDef& w, int32_t i, int32_t j) {
  return reinterpret_cast<Px*>(static_cast<char*>(w.data) + intptr_t{j} * w.row_stride)[i];
}

// A random pixel: a fifth fully transparent, a fifth opaque, the rest
// anywhere; 16-bit channels up to white, float colours a little over.
template <class Px>
Px random_pixel(std::mt19937& rng) {
  std::uniform_int_distribution<int> kind(0, 4);
  const int k = kind(rng);
  Px p{};
  if constexpr (is_float<Px>()) {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), colour(0.0f, 1.25f);
    p.alpha = k == 0 ? 0.0f : k == 1 ? 1.0f : unit(rng);
    p.red = colour(rng);
    p.green = colour(rng);
    p.blue = colour(rng);
  } else {
    using Cv = decltype(p.red);
    std::uniform_int_distribution<int> any(0, int(white<Px>()));
    p.alpha = Cv(k == 0 ? 0 : k == 1 ? int(white<Px>()) : any(rng));
    p.red = Cv(any(rng));
    p.green = Cv(any(rng));
    p.blue = Cv(any(rng));
  }
  return p;
}

// A world with padded rows at an odd offset, inside a larger world whose
// border holds opaque pixels that must never be read.
template <class Px>
class SubWorld {
 public:
  SubWorld(int32_t width, int32_t height, std::mt19937& rng)
      : parent_(width + 4, height + 5, 3 * int32_t(sizeof(Px)) + 4, 4) {
    for (int32_t j = 0; j < parent_.height(); ++j) {
      for (int32_t i = 0; i < parent_.width(); ++i) {
        Px p{};
        if constexpr (is_float<Px>()) {
          p = {1.0f, 7.0f, 7.0f, 7.0f};
        } else {
          p.alpha = p.red = p.green = p.blue = decltype(p.red)(white<Px>());
        }
        parent_.at(i, j) = p;
      }
    }
    def_ = *parent_.def();
    def_.data = &parent_.at(2, 3);
    def_.width = width;
    def_.height = height;
    for (int32_t j = 0; j < height; ++j) {
      for (int32_t i = 0; i < width; ++i) pixel<Px>(def_, i, j) = random_pixel<Px>(rng);
    }
  }
  RX_LayerDef* def() { return &def_; }

 private:
  rxtest::TestWorld<Px> parent_;
  RX_LayerDef def_;
};

// ---- the rules, plainly ----

// What the sums give, before the result is rounded.
struct Real {
  bool zero = true;
  double channels[4] = {0, 0, 0, 0};  // alpha, then colours, as real numbers
};

// alpha = min(white, S / area); colours = colour sum / S.
template <class Px>
Real from_sums(const double sums[4], double area) {
  Real r;
  if (sums[0] == 0.0) return r;
  r.zero = false;
  r.channels[0] = std::min(white<Px>(), sums[0] / area);
  for (int k = 1; k < 4; ++k) r.channels[k] = sums[k] / sums[0];
  return r;
}

// Length of [lo, hi) inside [k, k + 1).
double overlap(double lo, double hi, double k) {
  return std::max(0.0, std::min(hi, k + 1.0) - std::max(lo, k));
}

// The box integral over every pixel of the world.
template <class Px>
Real box_integral(const RX_LayerDef& w, int32_t x, int32_t y, int32_t rx, int32_t ry) {
  const double left = (double(x) - rx + 0x8000) * kTwoToMinus16;
  const double right = (double(x) + rx + 0x8000) * kTwoToMinus16;
  const double top = (double(y) - ry + 0x8000) * kTwoToMinus16;
  const double bottom = (double(y) + ry + 0x8000) * kTwoToMinus16;
  double sums[4] = {0, 0, 0, 0};
  for (int32_t j = 0; j < w.height; ++j) {
    for (int32_t i = 0; i < w.width; ++i) {
      const double weight = overlap(left, right, i) * overlap(top, bottom, j);
      const Px& p = pixel<Px>(w, i, j);
      sums[0] += weight * channel(p, 0);
      for (int k = 1; k < 4; ++k) sums[k] += weight * channel(p, 0) * channel(p, k);
    }
  }
  return from_sums<Px>(sums, (right - left) * (bottom - top));
}

template <class Px>
Px clipped_bilinear(const RX_SampPB& pb, int32_t x, int32_t y) {
  Px p;
  if constexpr (std::is_same_v<Px, RX_Pixel8>)
    RX_SubpixelCPlusPlus(nullptr, x, y, &pb, &p);
  else if constexpr (std::is_same_v<Px, RX_Pixel16>)
    RX_SubpixelCPlusPlus16(nullptr, x, y, &pb, &p);
  else
    RX_SubpixelCPlusPlusFloat(nullptr, x, y, &pb, &p);
  return p;
}

// Narrow axes: a bilinear sample per pixel the box touches along the wide
// axis (or one in all), weighted by covered length × the narrow axis's
// box length.
template <class Px>
Real narrow_sums(const RX_SampPB& pb, int32_t x, int32_t y) {
  const int64_t rx = pb.x_radius, ry = pb.y_radius;
  const int64_t left = x - rx + 0x8000, right = x + rx + 0x8000;
  const int64_t top = y - ry + 0x8000, bottom = y + ry + 0x8000;
  double sums[4] = {0, 0, 0, 0};
  auto add = [&](double weight, const Px& p) {
    sums[0] += weight * channel(p, 0);
    for (int k = 1; k < 4; ++k) sums[k] += weight * channel(p, 0) * channel(p, k);
  };
  const bool narrow_x = rx <= 0x8000, narrow_y = ry <= 0x8000;
  if (narrow_x && narrow_y) {
    add(double(2 * rx) * double(2 * ry) * kTwoToMinus16 * kTwoToMinus16,
        clipped_bilinear<Px>(pb, x, y));
  } else if (narrow_y) {
    for (int64_t c = left >> 16; (c << 16) < right; ++c) {
      const int64_t cover = std::min(right, (c + 1) << 16) - std::max(left, c << 16);
      add(double(cover) * double(2 * ry) * kTwoToMinus16 * kTwoToMinus16,
          clipped_bilinear<Px>(pb, int32_t(c * 65536), y));
    }
  } else {
    for (int64_t r = top >> 16; (r << 16) < bottom; ++r) {
      const int64_t cover = std::min(bottom, (r + 1) << 16) - std::max(top, r << 16);
      add(double(cover) * double(2 * rx) * kTwoToMinus16 * kTwoToMinus16,
          clipped_bilinear<Px>(pb, x, int32_t(r * 65536)));
    }
  }
  return from_sums<Px>(sums, double(rx) * kTwoToMinus16 * double(ry) * kTwoToMinus16 * 4.0);
}

// A result against real values: alpha truncated, colours + 0.5 truncated
// and limited to white at 8 and 16 bits; a value a hair from a rounding
// point may land on either side. Float results to single precision.
template <class Px>
::testing::AssertionResult matches(const Px& got, const Real& want) {
  auto fail = [&](const char* what) {
    std::ostringstream s;
    s.precision(12);
    s << what << ": got " << show(got) << ", want (" << want.channels[0] << ", " << want.channels[1]
      << ", " << want.channels[2] << ", " << want.channels[3] << ")" << (want.zero ? " zero" : "");
    return ::testing::AssertionFailure() << s.str();
  };
  const Px zero{};
  if constexpr (is_float<Px>()) {
    if (want.zero || want.channels[0] == 0.0) {
      return std::memcmp(&got, &zero, sizeof(Px)) == 0 ? ::testing::AssertionSuccess()
                                                       : fail("not zero");
    }
    for (int k = 0; k < 4; ++k) {
      const double v = want.channels[k];
      if (std::fabs(channel(got, k) - v) > 1e-5 * std::max(1.0, std::fabs(v)))
        return fail("channel");
    }
    return ::testing::AssertionSuccess();
  } else {
    constexpr double kHair = 1e-6;
    auto near_integer = [&](double v) {
      return std::fabs(v - std::nearbyint(v)) < kHair * std::max(1.0, v);
    };
    const double a = want.zero ? 0.0 : want.channels[0];
    // The alpha decides zero; near 1 either answer is right.
    if (got.alpha == 0) {
      if (std::memcmp(&got, &zero, sizeof(Px)) != 0) return fail("alpha 0 but colour");
      if (a < 1.0 || near_integer(a)) return ::testing::AssertionSuccess();
      return fail("zero");
    }
    auto fits = [&](double got_value, double v) {
      if (got_value == std::floor(v)) return true;
      return near_integer(v) && std::fabs(got_value - std::nearbyint(v)) <= 1.0;
    };
    if (!fits(got.alpha, a)) return fail("alpha");
    for (int k = 1; k < 4; ++k) {
      if (!fits(channel(got, k), std::min(white<Px>(), want.channels[k] + 0.5)))
        return fail("colour");
    }
    return ::testing::AssertionSuccess();
  }
}

template <class Px>
Px area_sample(const RX_SampPB& pb, int32_t x, int32_t y) {
  Px result;
  std::memset(&result, 0xCD, sizeof result);
  EXPECT_EQ(RX_AreaSample_CPlusPlus<Px>(nullptr, x, y, &pb, &result), RX_Result_OK);
  return result;
}

// A position from a pixel coordinate range, with any 16-bit fraction.
int32_t random_position(std::mt19937& rng, int32_t lo_pixels, int32_t hi_pixels) {
  std::uniform_int_distribution<int32_t> d(lo_pixels * 65536, hi_pixels * 65536);
  return d(rng);
}

template <class Px>
class AreaSample : public rxtest::BornPackage {};

using Depths = ::testing::Types<RX_Pixel8, RX_Pixel16, RX_PixelFloat>;
TYPED_TEST_SUITE(AreaSample, Depths);

TYPED_TEST(AreaSample, WideBoxesAverageTheCoveredAreaInsideOverEdgesAndOutside) {
  using Px = TypeParam;
  std::mt19937 rng(20240611);
  SubWorld<Px> world(13, 11, rng);
  RX_SampPB pb{0, 0, 0, world.def()};
  std::uniform_int_distribution<int32_t> radius(0x8001, 0x58000);
  for (int n = 0; n < 1500; ++n) {
    pb.x_radius = n % 7 == 0 ? 0x8001 + 0x10000 * (n % 5) : radius(rng);
    pb.y_radius = n % 11 == 0 ? 0x20000 : radius(rng);
    // Inside, across each edge and corner, and wholly outside.
    const int32_t x = random_position(rng, -8, 13 + 8), y = random_position(rng, -8, 11 + 8);
    const Px got = area_sample<Px>(pb, x, y);
    ASSERT_TRUE(matches(got, box_integral<Px>(*world.def(), x, y, pb.x_radius, pb.y_radius)))
        << "x " << x << " y " << y << " rx " << pb.x_radius << " ry " << pb.y_radius;
  }
}

TYPED_TEST(AreaSample, BoxesOfWholePixelsAtPixelEdgesAverageThosePixels) {
  using Px = TypeParam;
  std::mt19937 rng(7);
  SubWorld<Px> world(9, 8, rng);
  // Position 2.5 with radius 2 covers columns 1 to 4 exactly (edges 1 and 5).
  RX_SampPB pb{0x20000, 0x18000, 0, world.def()};
  for (int32_t y = -0x28000; y < 10 * 0x10000; y += 0x10000) {
    for (int32_t x = -0x38000; x < 12 * 0x10000; x += 0x10000) {
      ASSERT_TRUE(matches(area_sample<Px>(pb, x, y),
                          box_integral<Px>(*world.def(), x, y, pb.x_radius, pb.y_radius)))
          << x << " " << y;
    }
  }
}

TYPED_TEST(AreaSample, NarrowBoxesSumBilinearSamplesWithTheirWeights) {
  using Px = TypeParam;
  std::mt19937 rng(99);
  SubWorld<Px> world(10, 7, rng);
  RX_SampPB pb{0, 0, 0, world.def()};
  std::uniform_int_distribution<int32_t> narrow(0, 0x8000), wide(0x8001, 0x50000);
  for (int n = 0; n < 3000; ++n) {
    const int shape = n % 3;  // both narrow, narrow rows, narrow columns
    pb.x_radius = shape == 2 ? narrow(rng) : shape == 1 ? wide(rng) : narrow(rng);
    pb.y_radius = shape == 1 ? narrow(rng) : shape == 2 ? wide(rng) : narrow(rng);
    if (n % 50 == 0) pb.x_radius = pb.x_radius <= 0x8000 ? 0x8000 : pb.x_radius;
    const int32_t x = random_position(rng, -6, 16), y = random_position(rng, -6, 13);
    const Px got = area_sample<Px>(pb, x, y);
    ASSERT_TRUE(matches(got, narrow_sums<Px>(pb, x, y)))
        << "x " << x << " y " << y << " rx " << pb.x_radius << " ry " << pb.y_radius;
  }
}

TYPED_TEST(AreaSample, NarrowBoxAtWholePixelIsThatPixel) {
  using Px = TypeParam;
  std::mt19937 rng(3);
  SubWorld<Px> world(5, 4, rng);
  RX_SampPB pb{0x8000, 0x8000, 0x10000, world.def()};
  for (int32_t j = 0; j < 4; ++j) {
    for (int32_t i = 0; i < 5; ++i) {
      const Px want = pixel<Px>(*world.def(), i, j);
      const Px got = area_sample<Px>(pb, i << 16, j << 16);
      if (want.alpha == 0) {
        EXPECT_EQ(got.alpha, 0);
        continue;
      }
      if constexpr (std::is_same_v<Px, RX_Pixel16>) {
        // Colours above white are limited to it.
        EXPECT_EQ(got.alpha, want.alpha);
        EXPECT_EQ(got.red, std::min<int>(want.red, 32768));
      } else if constexpr (is_float<Px>()) {
        EXPECT_FLOAT_EQ(got.alpha, want.alpha);
        EXPECT_NEAR(got.red, want.red, 1e-6);
        EXPECT_NEAR(got.blue, want.blue, 1e-6);
      } else {
        EXPECT_EQ(std::memcmp(&got, &want, sizeof(Px)), 0) << show(got) << " " << show(want);
      }
    }
  }
}

TYPED_TEST(AreaSample, ZeroRadiiGiveZero) {
  using Px = TypeParam;
  std::mt19937 rng(5);
  SubWorld<Px> world(6, 6, rng);
  for (int32_t j = 0; j < 6; ++j) {
    for (int32_t i = 0; i < 6; ++i) {
      Px p{};
      if constexpr (is_float<Px>())
        p = {1.0f, 0.5f, 0.25f, 1.0f};
      else
        p.alpha = p.red = decltype(p.red)(white<Px>());
      pixel<Px>(*world.def(), i, j) = p;
    }
  }
  RX_SampPB pb{0, 0, 0, world.def()};
  const Px zero{};
  for (int32_t pos : {0, 0x18000, 0x24000, 0x50000}) {
    const Px got = area_sample<Px>(pb, pos, pos);
    EXPECT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0) << show(got);
  }
}

TYPED_TEST(AreaSample, BoxHalfOutsideOpaqueWorldHasHalfAlphaAndFullColour) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(16, 16, 8);
  Px colour{};
  if constexpr (is_float<Px>()) {
    colour = {1.0f, 0.75f, 0.5f, 0.25f};
  } else {
    using Cv = decltype(colour.red);
    colour = {Cv(white<Px>()), Cv(white<Px>() * 0.8), Cv(white<Px>() * 0.4), Cv(11)};
  }
  for (int32_t j = 0; j < 16; ++j) {
    for (int32_t i = 0; i < 16; ++i) world.at(i, j) = colour;
  }
  // Position at the left edge of column 0: the box reaches 4 pixels either side.
  RX_SampPB pb{0x40000, 0x30000, 0, world.def()};
  const Px got = area_sample<Px>(pb, -0x8000, 0x80000);
  EXPECT_NEAR(double(got.alpha), white<Px>() / 2, is_float<Px>() ? 1e-6 : 1.0);
  if constexpr (is_float<Px>()) {
    EXPECT_NEAR(got.red, colour.red, 1e-6);
    EXPECT_NEAR(got.green, colour.green, 1e-6);
    EXPECT_NEAR(got.blue, colour.blue, 1e-6);
  } else {
    EXPECT_EQ(got.red, colour.red);
    EXPECT_EQ(got.green, colour.green);
    EXPECT_EQ(got.blue, colour.blue);
  }
  // The same across the bottom-right corner: a quarter of the box inside.
  const Px corner = area_sample<Px>(pb, (16 << 16) - 0x8000, (16 << 16) - 0x8000);
  EXPECT_NEAR(double(corner.alpha), white<Px>() / 4, is_float<Px>() ? 1e-6 : 1.0);
  EXPECT_NEAR(double(corner.red), double(colour.red), is_float<Px>() ? 1e-6 : 0.0);
}

TYPED_TEST(AreaSample, BoxesWhollyOutsideGiveZero) {
  using Px = TypeParam;
  std::mt19937 rng(17);
  SubWorld<Px> world(7, 5, rng);
  const Px zero{};
  for (int32_t radius : {0x4000, 0x8000, 0x8001, 0x30000}) {
    RX_SampPB pb{radius, radius, 0, world.def()};
    for (auto [x, y] : {std::pair{-0x60000, 0x20000}, std::pair{0x20000, -0x60000},
                        std::pair{0x100000, 0x20000}, std::pair{0x20000, 0x100000}}) {
      const Px got = area_sample<Px>(pb, x, y);
      EXPECT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0) << radius << " " << x << " " << y;
    }
  }
}

// ---- the premultiplied form ----

// Integer weights: truncation of the product of two 16.16 lengths × 2^-16,
// moved up by 8; each channel adds channel × weight × 2^-16, truncated.
struct PremulSums {
  uint32_t s[4] = {0, 0, 0, 0};
  void add(uint64_t length_x, uint64_t length_y, const RX_Pixel8& p) {
    const uint32_t w = uint32_t((length_x * length_y) >> 16) << 8;
    s[0] += uint32_t((uint64_t(p.alpha) * w) >> 16);
    s[1] += uint32_t((uint64_t(p.red) * w) >> 16);
    s[2] += uint32_t((uint64_t(p.green) * w) >> 16);
    s[3] += uint32_t((uint64_t(p.blue) * w) >> 16);
  }
};

RX_Pixel8 premul_reference(const RX_SampPB& pb, int32_t x, int32_t y) {
  const RX_LayerDef& w = *pb.src;
  const int64_t rx = pb.x_radius, ry = pb.y_radius;
  const int64_t wmax = int64_t{w.width} << 16, hmax = int64_t{w.height} << 16;
  const int64_t left = std::clamp<int64_t>(x - rx + 0x8000, 0, wmax);
  const int64_t right = std::clamp<int64_t>(x + rx + 0x8000, 0, wmax);
  const int64_t top = std::clamp<int64_t>(y - ry + 0x8000, 0, hmax);
  const int64_t bottom = std::clamp<int64_t>(y + ry + 0x8000, 0, hmax);
  auto cover = [](int64_t lo, int64_t hi, int64_t k) {
    return std::max<int64_t>(0, std::min(hi, (k + 1) << 16) - std::max(lo, k << 16));
  };
  auto bilinear = [&](int32_t sx, int32_t sy) {
    RX_Pixel8 p;
    RX_SubpixelSample_Premul(nullptr, sx, sy, &pb, &p);
    return p;
  };
  PremulSums sums;
  const bool narrow_x = rx <= 0x8000, narrow_y = ry <= 0x8000;
  if (narrow_x && narrow_y) {
    sums.add(2 * rx, 2 * ry, bilinear(x, y));
  } else if (narrow_y) {
    for (int64_t c = 0; c < w.width; ++c) {
      if (cover(left, right, c) > 0)
        sums.add(cover(left, right, c), 2 * ry, bilinear(int32_t(c << 16), y));
    }
  } else if (narrow_x) {
    for (int64_t r = 0; r < w.height; ++r) {
      if (cover(top, bottom, r) > 0)
        sums.add(2 * rx, cover(top, bottom, r), bilinear(x, int32_t(r << 16)));
    }
  } else {
    for (int64_t r = 0; r < w.height; ++r) {
      for (int64_t c = 0; c < w.width; ++c) {
        if (cover(left, right, c) > 0 && cover(top, bottom, r) > 0) {
          sums.add(cover(left, right, c), cover(top, bottom, r),
                   pixel<RX_Pixel8>(w, int32_t(c), int32_t(r)));
        }
      }
    }
  }
  uint32_t a = pb.area >> 8;
  if (pb.area & 0x80) a += 1;
  if (a == 0) return RX_Pixel8{};
  const uint32_t h = a >> 1;
  auto mean = [&](uint32_t s) { return uint8_t(std::min<uint32_t>((s + h) / a, 255)); };
  if (mean(sums.s[0]) == 0) return RX_Pixel8{};
  return {mean(sums.s[0]), mean(sums.s[1]), mean(sums.s[2]), mean(sums.s[3])};
}

class AreaSamplePremul : public rxtest::BornPackage {};

TEST_F(AreaSamplePremul, IntegerSumsOverTheClippedBoxDividedByTheRoundedArea) {
  std::mt19937 rng(1234);
  SubWorld<RX_Pixel8> world(12, 9, rng);
  // Premultiplied content: colours no more than alpha.
  for (int32_t j = 0; j < 9; ++j) {
    for (int32_t i = 0; i < 12; ++i) {
      RX_Pixel8& p = pixel<RX_Pixel8>(*world.def(), i, j);
      p.red = uint8_t(p.red * p.alpha / 255);
      p.green = uint8_t(p.green * p.alpha / 255);
      p.blue = uint8_t(p.blue * p.alpha / 255);
    }
  }
  RX_SampPB pb{0, 0, 0, world.def()};
  std::uniform_int_distribution<int32_t> narrow(0, 0x8000), wide(0x8001, 0x48000);
  for (int n = 0; n < 4000; ++n) {
    const int shape = n % 4;
    pb.x_radius = (shape == 0 || shape == 2) ? narrow(rng) : wide(rng);
    pb.y_radius = (shape == 0 || shape == 1) ? narrow(rng) : wide(rng);
    // The block's area as a caller gives it, and now and then another one,
    // with bit 7 set or clear.
    pb.area = uint32_t((int64_t{2 * pb.x_radius} * (2 * pb.y_radius)) >> 16);
    if (n % 9 == 0) pb.area = uint32_t(rng() % 0x300000);
    const int32_t x = random_position(rng, -6, 18), y = random_position(rng, -6, 15);
    RX_Pixel8 got;
    std::memset(&got, 0xCD, sizeof got);
    ASSERT_EQ(RX_AreaSample_Premul(nullptr, x, y, &pb, &got), RX_Result_OK);
    const RX_Pixel8 want = premul_reference(pb, x, y);
    ASSERT_EQ(std::memcmp(&got, &want, 4), 0)
        << show(got) << " want " << show(want) << " x " << x << " y " << y << " rx " << pb.x_radius
        << " ry " << pb.y_radius << " area " << pb.area;
  }
}

TEST_F(AreaSamplePremul, UniformWorldGivesItsPixelInside) {
  rxtest::TestWorld<RX_Pixel8> world(20, 20, 12, 4);
  const RX_Pixel8 colour{200, 150, 100, 50};
  for (int32_t j = 0; j < 20; ++j) {
    for (int32_t i = 0; i < 20; ++i) world.at(i, j) = colour;
  }
  for (int32_t radius : {0x4000, 0x8000, 0x18000, 0x30000}) {
    RX_SampPB pb{radius, radius, uint32_t((int64_t{2 * radius} * 2 * radius) >> 16), world.def()};
    RX_Pixel8 got;
    RX_AreaSample_Premul(nullptr, 0x9C000, 0xA2000, &pb, &got);
    EXPECT_EQ(std::memcmp(&got, &colour, 4), 0) << radius << " " << show(got);
  }
}

TEST_F(AreaSamplePremul, BoxOfNoAreaGivesZero) {
  rxtest::TestWorld<RX_Pixel8> world(4, 4);
  for (int32_t j = 0; j < 4; ++j) {
    for (int32_t i = 0; i < 4; ++i) world.at(i, j) = {255, 255, 255, 255};
  }
  RX_SampPB pb{0, 0, 0, world.def()};
  RX_Pixel8 got{1, 1, 1, 1};
  EXPECT_EQ(RX_AreaSample_Premul(nullptr, 0x10000, 0x10000, &pb, &got), RX_Result_OK);
  EXPECT_EQ(got.alpha, 0);
  EXPECT_EQ(got.red, 0);
}

// ---- the slot forms and the forwarders ----

class AreaSampleSlots : public rxtest::BornPackage {};

TEST_F(AreaSampleSlots, VectorFormOfSlot5EqualsThePlainForm) {
  const auto plain =
      reinterpret_cast<RX_SampleFunc8>(rxtest::form<RX_OverFunc>(RX_Slot_AreaSampleStraight8, 0));
  const auto vector =
      reinterpret_cast<RX_SampleFunc8>(rxtest::form<RX_OverFunc>(RX_Slot_AreaSampleStraight8, 1));
  ASSERT_NE(plain, nullptr);
  ASSERT_NE(vector, nullptr);
  ASSERT_NE(reinterpret_cast<void*>(plain), reinterpret_cast<void*>(vector));
  std::mt19937 rng(555);
  SubWorld<RX_Pixel8> world(17, 12, rng);
  RX_SampPB pb{0, 0, 0, world.def()};
  std::uniform_int_distribution<int32_t> radius(0, 0x70000);
  for (int n = 0; n < 5000; ++n) {
    pb.x_radius = radius(rng);
    pb.y_radius = radius(rng);
    const int32_t x = random_position(rng, -8, 25), y = random_position(rng, -8, 20);
    RX_Pixel8 a, b;
    std::memset(&a, 0x11, 4);
    std::memset(&b, 0x22, 4);
    ASSERT_EQ(plain(nullptr, x, y, &pb, &a), RX_Result_OK);
    ASSERT_EQ(vector(nullptr, x, y, &pb, &b), RX_Result_OK);
    ASSERT_EQ(std::memcmp(&a, &b, 4), 0) << show(a) << " " << show(b);
  }
}

TEST_F(AreaSampleSlots, FormsOfSlots6And65) {
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_AreaSamplePremul8, 0),
            reinterpret_cast<RX_OverFunc>(RX_AreaSample_Premul));
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_AreaSamplePremul8, 1), nullptr);
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_AreaSample16, 1),
            reinterpret_cast<RX_OverFunc>(&RX_AreaSample_CPlusPlus<RX_Pixel16>));
  const auto forward =
      reinterpret_cast<RX_SampleFunc16>(rxtest::form<RX_OverFunc>(RX_Slot_AreaSample16, 0));
  ASSERT_NE(forward, nullptr);
  EXPECT_NE(reinterpret_cast<RX_OverFunc>(forward), rxtest::form<RX_OverFunc>(RX_Slot_AreaSample16, 1));
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_SubpixelSampleStraight8, 0), nullptr);
  EXPECT_EQ(rxtest::form<RX_OverFunc>(-1, 0), nullptr);
  EXPECT_EQ(rxtest::form<RX_OverFunc>(500, 1), nullptr);

  std::mt19937 rng(8);
  SubWorld<RX_Pixel16> world(6, 6, rng);
  RX_SampPB pb{0x18000, 0x6000, 0, world.def()};
  RX_Pixel16 a, b;
  forward(nullptr, 0x24000, 0x31000, &pb, &a);
  RX_AreaSample_CPlusPlus<RX_Pixel16>(nullptr, 0x24000, 0x31000, &pb, &b);
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
}

TEST_F(AreaSampleSlots, BirthInstallsTheFormsOfTheProcessor) {
  const bool vector = KO_G_CPU_DataP[2] != 0;
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_AreaSampleStraight8],
            rxtest::form<RX_OverFunc>(RX_Slot_AreaSampleStraight8, vector));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_AreaSamplePremul8],
            reinterpret_cast<RX_OverFunc>(RX_AreaSample_Premul));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_AreaSample16],
            rxtest::form<RX_OverFunc>(RX_Slot_AreaSample16, vector));
}

struct SpyCall {
  int calls = 0;
  int32_t x = 0, y = 0;
  const RX_SampPB* pb = nullptr;
  void* ref = nullptr;
};
SpyCall g_spy;

RX_Err spy8(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  g_spy = {g_spy.calls + 1, x, y, pb, ref};
  *result = {1, 2, 3, 4};
  return 77;
}
RX_Err spy16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* result) {
  g_spy = {g_spy.calls + 1, x, y, pb, ref};
  *result = {5, 6, 7, 8};
  return 78;
}

// Puts a function in a slot for the length of a test.
class SlotOverride {
 public:
  SlotOverride(RX_Slot slot, RX_OverFunc func) : slot_(slot), saved_(RXp_G_OverFuncs[slot]) {
    RXp_G_OverFuncs[slot] = func;
  }
  ~SlotOverride() { RXp_G_OverFuncs[slot_] = saved_; }

 private:
  RX_Slot slot_;
  RX_OverFunc saved_;
};

TEST_F(AreaSampleSlots, StraightForwardersGoThroughTheirSlots) {
  rxtest::TestWorld<RX_Pixel8> world(2, 2);
  RX_SampPB pb{0x10000, 0x10000, 0, world.def()};
  int ref_word = 0;
  g_spy = {};
  {
    SlotOverride over(RX_Slot_AreaSampleStraight8, reinterpret_cast<RX_OverFunc>(spy8));
    RX_Pixel8 r{};
    EXPECT_EQ(RX_AreaSample_Straight(&ref_word, 0x12345, -0x6789, &pb, &r), 77);
    EXPECT_EQ(g_spy.calls, 1);
    EXPECT_EQ(g_spy.x, 0x12345);
    EXPECT_EQ(g_spy.y, -0x6789);
    EXPECT_EQ(g_spy.pb, &pb);
    EXPECT_EQ(g_spy.ref, &ref_word);
    EXPECT_EQ(r.blue, 4);
  }
  {
    SlotOverride over(RX_Slot_AreaSample16, reinterpret_cast<RX_OverFunc>(spy16));
    RX_Pixel16 r{};
    EXPECT_EQ(RX_AreaSample_Straight16(nullptr, 3, 4, &pb, &r), 78);
    EXPECT_EQ(g_spy.calls, 2);
    EXPECT_EQ(g_spy.x, 3);
    EXPECT_EQ(r.blue, 8);
  }
}

TEST_F(AreaSampleSlots, PremulNarrowCasesReadSlot4) {
  rxtest::TestWorld<RX_Pixel8> world(4, 4);
  RX_SampPB pb{0x4000, 0x4000, 0x4000, world.def()};
  g_spy = {};
  SlotOverride over(RX_Slot_SubpixelSamplePremul8, reinterpret_cast<RX_OverFunc>(spy8));
  RX_Pixel8 r;
  RX_AreaSample_Premul(nullptr, 0x18000, 0x14000, &pb, &r);
  EXPECT_EQ(g_spy.calls, 1);
  EXPECT_EQ(g_spy.x, 0x18000);
  EXPECT_EQ(g_spy.y, 0x14000);
}

}  // namespace
