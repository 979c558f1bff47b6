#include <gtest/gtest.h>

#include <random>

#include "RX.h"
#include "blur_reference.h"
#include "blur_test_support.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

using blurtest::BlurParams;
using blurtest::ch;
using blurtest::Cv;
using blurtest::Kind;
using blurtest::Picture;

template <class Px>
class GaussianBlur : public rxtest::BornPackage {};
TYPED_TEST_SUITE(GaussianBlur, rxtest::AllPixelTypes);

template <class Px>
Cv<Px> white() {
  if constexpr (blurtest::isF<Px>) return 1.0f;
  else return Cv<Px>(blurtest::is8<Px> ? 255 : 32768);
}

// One tap of weight 255: v × 255 / 255, which is v at 8 and 16 bits and
// within a rounding of v in float.
template <class Px>
Px one_tap(Px p) {
  if constexpr (blurtest::isF<Px>) {
    for (int k = 0; k < 4; ++k) ch(p, k) = (ch(p, k) * 255.0f) / 255.0f;
  }
  return p;
}

TYPED_TEST(GaussianBlur, RadiusZeroCopiesInTheChosenForm) {
  using Px = TypeParam;
  std::mt19937 rng(1);
  Picture<Px> src(9, 4, 8, 4), dst(9, 4);
  blurtest::fill_random(src, rng, true);
  BlurParams p;
  p.radius = 0.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 9; ++x) {
      EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), one_tap(src.at(x, y)))) << x << "," << y;
    }

  // Straight in, premultiplied out: the premultiplied copy.
  p.src_premultiplied = 0;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 9; ++x) {
      EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), one_tap(blurtest::premultiply(src.at(x, y), 15))))
          << x << "," << y;
    }
}

TYPED_TEST(GaussianBlur, ALineOutsideTheSourceIsZeroInEveryChannel) {
  using Px = TypeParam;
  Picture<Px> src(5, 3), dst(5, 6);
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 5; ++x) dst.at(x, y) = Px{white<Px>(), white<Px>(), white<Px>(), white<Px>()};
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 5; ++x) src.at(x, y) = Px{white<Px>(), white<Px>(), 0, white<Px>()};
  BlurParams p;
  p.channels = RX_BLUR_RED;  // alpha, green and blue not selected
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t y = 3; y < 6; ++y)
    for (int32_t x = 0; x < 5; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), Px{})) << x << "," << y;
  // Lines inside keep the source's unselected channels.
  EXPECT_EQ(dst.at(2, 1).alpha, white<Px>());
  EXPECT_EQ(dst.at(2, 1).green, 0);
}

TEST(GaussianBlur8, StraightOutputWithAZeroAlphaSumHasZeroColour) {
  rxtest::Born born;
  Picture<RX_Pixel8> src(7, 1), dst(7, 1);
  for (int32_t x = 0; x < 7; ++x) src.at(x, 0) = {0, 200, 100, 50};
  BlurParams p;
  p.radius = 2.0f;
  p.src_premultiplied = 1;  // colour without alpha, as it comes
  p.dst_premultiplied = 0;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t x = 0; x < 7; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, 0), RX_Pixel8{0, 0, 0, 0})) << x;
}

TYPED_TEST(GaussianBlur, BeyondTheSourceEdgeUnselectedChannelsAreZeroAndSelectedOnesWhatTheKernelReaches) {
  using Px = TypeParam;
  Picture<Px> src(4, 1), dst(10, 1);
  for (int32_t x = 0; x < 4; ++x) src.at(x, 0) = Px{white<Px>(), white<Px>(), white<Px>(), white<Px>()};
  BlurParams p;
  p.radius = 2.0f;
  p.channels = RX_BLUR_ALPHA | RX_BLUR_RED;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  // Pixel 4 is one past the edge: the taps at 3 and 2 reach it.
  EXPECT_GT(dst.at(4, 0).alpha, 0);
  EXPECT_GT(dst.at(5, 0).red, 0);
  EXPECT_EQ(dst.at(4, 0).green, 0);
  EXPECT_EQ(dst.at(4, 0).blue, 0);
  EXPECT_EQ(dst.at(6, 0).alpha, 0);  // out of reach
  for (int32_t x = 4; x < 10; ++x) {
    EXPECT_EQ(dst.at(x, 0).green, 0);
    EXPECT_EQ(dst.at(x, 0).blue, 0);
  }
  blurtest::expect_matches_reference(Kind::kGaussian, src, dst, p);
}

TYPED_TEST(GaussianBlur, DifferentLineAxesTranspose) {
  using Px = TypeParam;
  std::mt19937 rng(3);
  Picture<Px> src(6, 4), dst(4, 6);
  blurtest::fill_random(src, rng, true);
  BlurParams p;
  p.radius = 0.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  p.dst_vertical = 1;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 6; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(y, x), src.at(x, y)));
  p.radius = 1.5f;
  blurtest::expect_matches_reference(Kind::kGaussian, src, dst, p);
  p.src_vertical = 1;
  p.dst_vertical = 0;
  Picture<Px> back(4, 6);
  blurtest::expect_matches_reference(Kind::kGaussian, src, back, p);
}

TYPED_TEST(GaussianBlur, OriginsShiftTheLinesAndTheCentres) {
  using Px = TypeParam;
  std::mt19937 rng(5);
  Picture<Px> src(8, 5, 0, 0, 3, -2), dst(8, 5, 0, 0, 1, 1);
  blurtest::fill_random(src, rng, false);
  BlurParams p;
  p.radius = 0.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  // Destination (x, y) sits at (x + 1, y + 1), over source (x - 2, y + 3).
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 0), src.at(0, 3)));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(7, 1), src.at(5, 4)));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), Px{}));  // left of the source
  EXPECT_TRUE(rxtest::same_pixel(dst.at(4, 2), Px{}));  // below the source
  p.radius = 2.5f;
  p.channels = RX_BLUR_ALPHA | RX_BLUR_GREEN | RX_BLUR_RENORMALIZE;
  blurtest::expect_matches_reference(Kind::kGaussian, src, dst, p);
}

TYPED_TEST(GaussianBlur, RenormalizingDividesByTheWeightInside) {
  using Px = TypeParam;
  Picture<Px> src(3, 1), dst(3, 1);
  for (int32_t x = 0; x < 3; ++x) src.at(x, 0) = Px{white<Px>(), white<Px>(), white<Px>(), white<Px>()};
  BlurParams p;
  p.radius = 4.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  p.channels = 15 | RX_BLUR_RENORMALIZE;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  // What lies outside counts as absent: a flat line stays flat.
  for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(dst.at(x, 0).alpha, white<Px>()) << x;
  p.channels = 15;
  blurtest::run_blur(Kind::kGaussian, src, dst, p);
  for (int32_t x = 0; x < 3; ++x) EXPECT_LT(dst.at(x, 0).alpha, white<Px>()) << x;
}

TYPED_TEST(GaussianBlur, ForceCopyLetsTheSourceBeTheDestination) {
  using Px = TypeParam;
  std::mt19937 rng(11);
  Picture<Px> world(12, 3), copy(12, 3), expected(12, 3);
  blurtest::fill_random(world, rng, true);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 12; ++x) copy.at(x, y) = world.at(x, y);
  BlurParams p;
  p.radius = 3.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kGaussian, copy, expected, p);
  p.force_copy = true;
  blurtest::run_blur(Kind::kGaussian, world, world, p);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 12; ++x) EXPECT_TRUE(rxtest::same_pixel(world.at(x, y), expected.at(x, y)));
}

TYPED_TEST(GaussianBlur, ASubWorldIsWrittenInsideItsRectangleOnly) {
  using Px = TypeParam;
  std::mt19937 rng(13);
  Picture<Px> src(10, 6), parent(16, 10);
  blurtest::fill_random(src, rng, false);
  for (int32_t y = 0; y < 10; ++y)
    for (int32_t x = 0; x < 16; ++x) parent.at(x, y) = Px{white<Px>(), 0, white<Px>(), 0};
  const GE_LRect rect{3, 2, 13, 8};
  std::unique_ptr<RX_World> sub(RX_World::NewReference(*parent.world(), rect));
  RX_GaussianBlur1D(nullptr, src.world(), 2.0f, 15, 0, 0, 0, 0, 0, sub.get());
  Picture<Px> alone(10, 6);
  RX_GaussianBlur1D(nullptr, src.world(), 2.0f, 15, 0, 0, 0, 0, 0, alone.world());
  for (int32_t y = 0; y < 10; ++y) {
    for (int32_t x = 0; x < 16; ++x) {
      const bool inside = x >= 3 && x < 13 && y >= 2 && y < 8;
      const Px want = inside ? alone.at(x - 3, y - 2) : Px{white<Px>(), 0, white<Px>(), 0};
      EXPECT_TRUE(rxtest::same_pixel(parent.at(x, y), want)) << x << "," << y;
    }
  }
}

TYPED_TEST(GaussianBlur, RandomCallsMatchTheRule) {
  using Px = TypeParam;
  std::mt19937 rng(20240616 + sizeof(Px));
  for (int round = 0; round < 300; ++round) {
    const blurtest::RandomCase c = blurtest::random_case(rng, int32_t(sizeof(Px)), Kind::kGaussian);
    Picture<Px> src(c.src_w, c.src_h, c.src_pad, c.src_mis, c.src_ox, c.src_oy);
    Picture<Px> dst(c.dst_w, c.dst_h, c.dst_pad, c.dst_mis, c.dst_ox, c.dst_oy);
    blurtest::fill_random(src, rng, c.p.src_premultiplied != 0);
    blurtest::expect_matches_reference(Kind::kGaussian, src, dst, c.p, "round " + std::to_string(round));
    if (this->HasFailure()) return;
  }
}

TYPED_TEST(GaussianBlur, EveryScanFormMatchesThePlainScan) {
  using Px = TypeParam;
  std::mt19937 rng(99 + sizeof(Px));
  for (int round = 0; round < 60; ++round) {
    blurtest::RandomCase c = blurtest::random_case(rng, int32_t(sizeof(Px)), Kind::kGaussian);
    c.src_w = 20 + int32_t(rng() % 90);  // long lines for the vector forms
    c.dst_w = c.src_w + int32_t(rng() % 9) - 4;
    c.p.src_vertical = 0;
    c.p.dst_vertical = 0;
    Picture<Px> src(c.src_w, c.src_h, c.src_pad, c.src_mis, c.src_ox, c.src_oy);
    Picture<Px> dst(c.dst_w, c.dst_h, c.dst_pad, c.dst_mis, c.dst_ox, c.dst_oy);
    blurtest::fill_random(src, rng, c.p.src_premultiplied != 0);
    for (bool vector : {false, true}) {
      blurtest::FamilyForms forms("gaussian_blur", vector);
      blurtest::expect_matches_reference(Kind::kGaussian, src, dst, c.p,
                                         "round " + std::to_string(round) + (vector ? " vector" : " plain"));
    }
    if (this->HasFailure()) return;
  }
}

}  // namespace
