// The per-depth arithmetic that premultiplication, compositing and the
// filters share, against its rules written out plainly.
#include <cmath>
#include <limits>
#include <random>

#include "reference_arith.h"
#include "rx_test_support.h"
#include "worlds/depth_arith.h"

namespace {

namespace ref = rxtest::ref;
using A8 = rx::DepthArith<RX_Pixel8>;
using A16 = rx::DepthArith<RX_Pixel16>;
using AF = rx::DepthArith<RX_PixelFloat>;

TEST(DepthArith, EightBitMulIsTheProductDividedBy255RoundedForEveryPair) {
  int wrong = 0;
  for (int32_t a = 0; a < 256; ++a) {
    for (int32_t b = 0; b < 256; ++b) {
      // a * b / 255 to nearest: 255 is odd, so no product lies on a half.
      const int32_t want = (2 * a * b + 255) / 510;
      wrong += A8::mul(a, b) != want;
      wrong += int32_t(rx::m255(uint32_t(a * b))) != want;
    }
  }
  EXPECT_EQ(wrong, 0);
}

TEST(DepthArith, SixteenBitMulRoundsWith16383AndWhiteIsItsOne) {
  std::mt19937 rng(16383);
  for (int n = 0; n < 100000; ++n) {
    const int32_t a = int32_t(rng() % 32769), b = int32_t(rng() % 32769);
    ASSERT_EQ(A16::mul(a, b), int32_t(ref::mul16(uint32_t(a), uint32_t(b)))) << a << " " << b;
  }
  for (int32_t x = 0; x <= 32768; ++x) ASSERT_EQ(A16::mul(x, 32768), x);
  EXPECT_EQ(A16::mul(1, 16384), 0);  // a half rounds down: 16383, not 16384
}

TEST(DepthArith, SixteenBitDivisionGivesWhiteWhereTheValueReachesAlpha) {
  std::mt19937 rng(3);
  for (int n = 0; n < 100000; ++n) {
    const int32_t a = int32_t(rng() % 32769), v = int32_t(rng() % 32769);
    ASSERT_EQ(A16::div(v, a), int32_t(ref::unmul16(uint32_t(v), uint32_t(a)))) << v << " / " << a;
  }
  EXPECT_EQ(A16::div(0, 0), 32768);  // a transparent pixel divides to white
}

TEST(DepthArith, UnionIsOneMinusTheProductOfTheComplements) {
  for (int32_t a = 0; a < 256; ++a) {
    for (int32_t b = 0; b < 256; ++b) {
      ASSERT_EQ(A8::unite(a, b), 255 - int32_t(ref::m255(uint32_t((255 - a) * (255 - b))))) << a << " " << b;
    }
  }
  for (int32_t a = 0; a <= 32768; a += 61) {
    for (int32_t b = 0; b <= 32768; b += 67) {
      ASSERT_EQ(A16::unite(a, b), 32768 - int32_t(ref::mul16(uint32_t(32768 - a), uint32_t(32768 - b))));
    }
  }
  EXPECT_EQ(A16::unite(32768, 5), 32768);
  EXPECT_EQ(A8::unite(255, 0), 255);
}

TEST(DepthArith, ASixteenBitWordBeyondWhiteComplementsToAWord) {
  EXPECT_EQ(A16::complement(40000), uint16_t(32768 - 40000));
  EXPECT_EQ(A16::complement(0), 32768);
  EXPECT_EQ(A16::inv(40000), 32768 - 40000);  // the plain complement keeps its sign
  EXPECT_EQ(A8::complement(200), 55);
}

TEST(DepthArith, FloatDivisionGuardsZeroAndSubnormalButNotNaN) {
  const float subnormal = std::numeric_limits<float>::denorm_min();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(AF::div(0.25f, 0.0f), 1.0f);
  EXPECT_EQ(AF::div(0.25f, subnormal), 1.0f);
  EXPECT_EQ(AF::div(0.25f, 0.5f), 0.5f);
  EXPECT_TRUE(std::isnan(AF::div(0.25f, nan)));
}

TEST(DepthArith, FloatUnmultiplyRefusesANaNAlphaAsWell) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float subnormal = std::numeric_limits<float>::denorm_min();
  for (float a : {0.0f, nan, subnormal}) {
    EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Black>(0.3f, a)), 1.0f) << a;
    EXPECT_EQ((rx::unmultiply<AF, rx::Matte::White>(0.3f, a)), 0.0f) << a;
    EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Grey>(0.3f, a)), 0.0f) << a;
    EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Grey>(0.5f, a)), 1.0f) << a;
    EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Grey>(0.7f, a)), 1.0f) << a;
  }
  // Where the alpha divides, unmultiplying is the dematte of the transfer
  // functions.
  EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Grey>(0.7f, 0.5f)), (rx::dematte<AF, rx::Matte::Grey>(0.7f, 0.5f)));
  EXPECT_EQ((rx::unmultiply<AF, rx::Matte::Black>(0.25f, 0.5f)), 0.5f);
}

TEST(DepthArith, MatteAndUnmultiplyAreInversesAtOpaqueAlphaAtEveryDepth) {
  for (int32_t c = 0; c < 256; ++c) {
    EXPECT_EQ((rx::matte<A8, rx::Matte::Grey>(c, 255)), c);
    EXPECT_EQ((rx::unmultiply<A8, rx::Matte::White>(c, 255)), c);
  }
  for (int32_t c = 0; c <= 32768; c += 7) {
    EXPECT_EQ((rx::matte<A16, rx::Matte::White>(c, 32768)), c);
    EXPECT_EQ((rx::unmultiply<A16, rx::Matte::Grey>(c, 32768)), c);
  }
}

}  // namespace
