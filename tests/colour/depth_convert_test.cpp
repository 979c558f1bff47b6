// Depth conversion through a profile's tables, all nine pairs against the
// rules written out here, and its edge cases: over-range colours clamp,
// over-range alpha wraps, sizes that differ, an unknown depth.
#include <gtest/gtest.h>

#include <cmath>

#include "colour_test_support.h"
#include "linear_tables.h"

namespace {

using namespace colourtest;

// The rules, one channel at a time.
struct Rules {
  const RX_LinearBlendingTables& t;

  static uint16_t to16(uint32_t v) { return uint16_t((v * 0x808080u + 33200u) >> 16); }
  static uint8_t to8(uint32_t v) { return uint8_t((v * 255u + 16384u) >> 15); }
  static uint32_t linear_word(float c) {
    const float x = c * 32768.0f;
    if (x < 0.0f) return 0;
    if (x > 32768.0f) return 32768;
    return uint32_t(int32_t(x + 0.5f));
  }
  // Truncation of the processor: out of range gives 0x80000000.
  static int32_t trunc(float v) {
    if (!(v > -2147483648.0f && v < 2147483648.0f)) return INT32_MIN;
    return int32_t(v);
  }

  RX_Pixel8 p8(const RX_Pixel8& p) const { return p; }
  RX_Pixel16 p16(const RX_Pixel8& p) const { return {to16(p.alpha), to16(p.red), to16(p.green), to16(p.blue)}; }
  RX_PixelFloat pf(const RX_Pixel8& p) const {
    const auto c = [&](uint8_t v) { return float(t.to_linear[v]) * 3.0517578e-5f; };
    return {float(p.alpha) * 0.003921569f, c(p.red), c(p.green), c(p.blue)};
  }
  RX_Pixel8 p8(const RX_Pixel16& p) const { return {to8(p.alpha), to8(p.red), to8(p.green), to8(p.blue)}; }
  RX_Pixel16 p16(const RX_Pixel16& p) const { return p; }
  RX_PixelFloat pf(const RX_Pixel16& p) const {
    const auto c = [&](uint16_t v) { return float(rxtest::read_to_linear16(t, v)) * 3.0517578e-5f; };
    return {float(p.alpha) * 3.0517578e-5f, c(p.red), c(p.green), c(p.blue)};
  }
  RX_Pixel8 p8(const RX_PixelFloat& p) const {
    const auto c = [&](float v) { return uint8_t((rxtest::read_from_linear(t, linear_word(v)) * 255u + 16384u) >> 15); };
    return {uint8_t(trunc(p.alpha * 255.0f + 0.5f)), c(p.red), c(p.green), c(p.blue)};
  }
  RX_Pixel16 p16(const RX_PixelFloat& p) const {
    const auto c = [&](float v) { return uint16_t(rxtest::read_from_linear(t, linear_word(v))); };
    return {uint16_t(trunc(p.alpha * 32768.0f + 0.5f)), c(p.red), c(p.green), c(p.blue)};
  }
  RX_PixelFloat pf(const RX_PixelFloat& p) const { return p; }

  template <class Dst, class Src>
  Dst apply(const Src& p) const {
    if constexpr (std::is_same_v<Dst, RX_Pixel8>) return p8(p);
    else if constexpr (std::is_same_v<Dst, RX_Pixel16>) return p16(p);
    else return pf(p);
  }
};

template <class Src, class Dst>
struct Pair {
  using S = Src;
  using D = Dst;
};

template <class P>
class DepthConvert : public rxtest::BornPackage {};
using AllPairs = ::testing::Types<Pair<RX_Pixel8, RX_Pixel8>, Pair<RX_Pixel8, RX_Pixel16>, Pair<RX_Pixel8, RX_PixelFloat>,
                                  Pair<RX_Pixel16, RX_Pixel8>, Pair<RX_Pixel16, RX_Pixel16>,
                                  Pair<RX_Pixel16, RX_PixelFloat>, Pair<RX_PixelFloat, RX_Pixel8>,
                                  Pair<RX_PixelFloat, RX_Pixel16>, Pair<RX_PixelFloat, RX_PixelFloat>>;
TYPED_TEST_SUITE(DepthConvert, AllPairs);

TYPED_TEST(DepthConvert, EveryPixelFollowsTheRulesOfItsPair) {
  using S = typename TypeParam::S;
  using D = typename TypeParam::D;
  const RX_LinearBlendingTablesPtr tables = RX_MakeLinearizationTables(from_code(VIZ_Profile_sRGB));
  const Rules rules{*tables};
  rxtest::TestWorld<S> src(41, 6, 12, 4);
  rxtest::TestWorld<D> dst(41, 6, 4, 0);
  fill_random(src, 17, false);  // floats over -0.25..1.5
  const auto s = object(src), d = object(dst);
  RX_DepthConvertWorld(tables.get(), s.get(), d.get());
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 41; ++x) {
      const D want = rules.apply<D>(src.at(x, y));
      ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), want)) << x << "," << y;
    }
  }
}

TYPED_TEST(DepthConvert, WorldsOfDifferentSizesAreLeftAlone) {
  using S = typename TypeParam::S;
  using D = typename TypeParam::D;
  const RX_LinearBlendingTablesPtr tables = RX_MakeLinearizationTables(from_code(VIZ_Profile_sRGB));
  rxtest::TestWorld<S> src(5, 4);
  rxtest::TestWorld<D> wider(6, 4), taller(5, 5);
  fill_random(src, 1);
  const auto s = object(src), w = object(wider), t = object(taller);
  RX_DepthConvertWorld(tables.get(), s.get(), w.get());
  RX_DepthConvertWorld(tables.get(), s.get(), t.get());
  for (const D& p : pixels_of(wider)) EXPECT_TRUE(rxtest::same_pixel(p, D{}));
  for (const D& p : pixels_of(taller)) EXPECT_TRUE(rxtest::same_pixel(p, D{}));
}

class DepthConvertEdges : public rxtest::BornPackage {
 protected:
  RX_LinearBlendingTablesPtr tables_ = nullptr;
  void SetUp() override {
    rxtest::BornPackage::SetUp();
    tables_ = RX_MakeLinearizationTables(from_code(VIZ_Profile_sRGB));
  }
};

TEST_F(DepthConvertEdges, ColoursAboveOneClampAtWhiteAndAlphaAboveOneWraps) {
  rxtest::TestWorld<RX_PixelFloat> src(3, 1);
  src.at(0, 0) = {1.5f, 1.5f, 7.0f, -0.5f};
  src.at(1, 0) = {2.0f, 1.0f, 0.0f, 1.0000001f};
  src.at(2, 0) = {-0.5f, 0.5f, 0.5f, 0.5f};
  rxtest::TestWorld<RX_Pixel8> d8(3, 1);
  rxtest::TestWorld<RX_Pixel16> d16(3, 1);
  const auto s = object(src), o8 = object(d8), o16 = object(d16);
  RX_DepthConvertWorld(tables_.get(), s.get(), o8.get());
  RX_DepthConvertWorld(tables_.get(), s.get(), o16.get());
  EXPECT_EQ(d8.at(0, 0).red, 255);
  EXPECT_EQ(d8.at(0, 0).green, 255);
  EXPECT_EQ(d8.at(0, 0).blue, 0);
  EXPECT_EQ(d16.at(0, 0).red, 32768);
  EXPECT_EQ(d16.at(0, 0).blue, 0);
  EXPECT_EQ(d16.at(1, 0).blue, 32768);
  // 1.5 * 255 + 0.5 = 383 truncated, wrapped to 8 bits: 127; 2.0 at 16
  // bits is 65536.5, 0 after the wrap; -0.5 gives -127, 129 in a byte.
  EXPECT_EQ(d8.at(0, 0).alpha, 127);
  EXPECT_EQ(d8.at(1, 0).alpha, 510 & 0xff);  // 510.5 truncated
  EXPECT_EQ(d16.at(1, 0).alpha, 0);
  EXPECT_EQ(d8.at(2, 0).alpha, 129);
}

TEST_F(DepthConvertEdges, IntegerToIntegerIgnoresTheTables) {
  rxtest::TestWorld<RX_Pixel8> src(2, 1);
  src.at(0, 0) = {255, 128, 1, 0};
  src.at(1, 0) = {3, 254, 77, 200};
  rxtest::TestWorld<RX_Pixel16> dst(2, 1);
  const auto s = object(src), d = object(dst);
  RX_DepthConvertWorld(nullptr, s.get(), d.get());  // the tables are not read
  EXPECT_EQ(dst.at(0, 0).alpha, 32768);
  EXPECT_EQ(dst.at(0, 0).red, (128u * 0x808080u + 33200u) >> 16);
}

TEST_F(DepthConvertEdges, AnUnknownDepthOnEitherSideReportsAndConvertsNothing) {
  std::vector<uint8_t> pixels(2 * 2 * 12, 0x11);
  OddDepthWorld odd(pixels.data(), 2, 2, 24, 24);
  rxtest::TestWorld<RX_Pixel8> normal(2, 2);
  const auto n = object(normal);
  rxtest::ReportCapture capture;
  RX_DepthConvertWorld(tables_.get(), &odd, n.get());
  RX_DepthConvertWorld(tables_.get(), n.get(), &odd);
  ASSERT_EQ(capture.errors().size(), 2u);
  for (const auto& r : capture.errors()) {
    EXPECT_EQ(r.kind, RXHost_Report_Verification);
    EXPECT_EQ(r.text, "Unknown bit depth attempting to depth convert.");
  }
  for (const RX_Pixel8& p : pixels_of(normal)) EXPECT_TRUE(rxtest::same_pixel(p, RX_Pixel8{}));
  for (uint8_t b : pixels) EXPECT_EQ(b, 0x11);
}

TEST_F(DepthConvertEdges, EightBitsToLinearFloatAndBackIsTheIdentity) {
  rxtest::TestWorld<RX_Pixel8> src(256, 1), back(256, 1);
  for (int32_t x = 0; x < 256; ++x) src.at(x, 0) = {uint8_t(x), uint8_t(x), uint8_t(255 - x), uint8_t(x / 2)};
  rxtest::TestWorld<RX_PixelFloat> linear(256, 1);
  const auto s = object(src), l = object(linear), b = object(back);
  RX_DepthConvertWorld(tables_.get(), s.get(), l.get());
  RX_DepthConvertWorld(tables_.get(), l.get(), b.get());
  for (int32_t x = 0; x < 256; ++x) EXPECT_TRUE(rxtest::same_pixel(src.at(x, 0), back.at(x, 0))) << x;
}

}  // namespace
