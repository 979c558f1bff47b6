#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine_test_support.h"
#include "map_reference.h"
#include "frameblend/resample/box_blur.h"
#include "rx_test_support.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;
using Blur = BlurGeneralGauss<float, float, 1, 1, 1, 1, 0>;

using enginetest::plain_blur;

TEST(BoxAxis, RadiusZeroIsAWeightOfOne) {
  const FnBoxAxis axis = FnMakeBoxAxis(0.0f);
  EXPECT_EQ(axis.whole, 0);
  EXPECT_EQ(axis.fraction, 0.0f);
  EXPECT_EQ(axis.weight, 1.0f);
  EXPECT_EQ(axis.support, 0);
}

TEST(BoxAxis, RadiusOneHalfWeighsAQuarterAHalfAndAQuarter) {
  const FnBoxAxis axis = FnMakeBoxAxis(0.5f);
  EXPECT_EQ(axis.whole, 0);
  EXPECT_EQ(axis.fraction, 0.5f);
  EXPECT_EQ(axis.weight, 0.5f);
  const float impulse[5] = {0, 0, 1, 0, 0};
  float out[5] = {};
  FnBoxPass(impulse, out, 1, 1, 4, axis, true);
  EXPECT_EQ(out[1], 0.25f);
  EXPECT_EQ(out[2], 0.5f);
  EXPECT_EQ(out[3], 0.25f);
}

TEST(BoxAxis, MarginCoversEveryPass) {
  EXPECT_EQ(FnMakeBoxAxis(1.0f).margin(3), 6);
  EXPECT_EQ(FnMakeBoxAxis(1.5f).margin(3), 9);
  EXPECT_EQ(FnMakeBoxAxis(0.0f).margin(3), 3);
}

TEST_F(EngineTest, BlurOfRadiusZeroIsACopy) {
  enginetest::Random random;
  FnFloatMap in(9, 7), out(9, 7);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(-3.0f, 3.0f); });
  in.setBorderModes(kBorderMirror, kBorderMirror);
  Blur blur(0.0f, 0.0f, 3);
  blur.process(&in, &out);
  EXPECT_EQ(enginetest::map_bytes(out), enginetest::map_bytes(in));
}

TEST_F(EngineTest, BlurOfRadiusOneHalfIsThreeQuarterTapBoxesPerPass) {
  FnFloatMap in(9, 9), out(9, 9);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return x == 4 && y == 4 ? 1.0f : 0.0f; });
  Blur blur(0.5f, 0.5f, 1);
  blur.process(&in, &out);
  EXPECT_EQ(out.cell(4, 4), 0.25f);
  EXPECT_EQ(out.cell(3, 4), 0.125f);
  EXPECT_EQ(out.cell(3, 3), 0.0625f);
  EXPECT_EQ(out.cell(2, 4), 0.0f);
}

TEST_F(EngineTest, BlurMatchesDirectBoxSumsAtManyRadiiAndBorders) {
  enginetest::Random random;
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    for (float r : {0.3f, 1.0f, 1.5f, 2.75f, 4.0f}) {
      FnFloatMap in(13, 8), out(13, 8);
      enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
      in.setBorderModes(mode, mode);
      in.setBackground(0.5f);
      Blur blur(r, r * 0.5f, 3);
      blur.process(&in, &out);
      const std::vector<float> want = plain_blur(in, 13, 8, r, r * 0.5f, 3);
      for (int32_t y = 0; y < 8; ++y) {
        for (int32_t x = 0; x < 13; ++x) {
          ASSERT_NEAR(out.cell(x, y), want[size_t(y) * 13 + x], 2e-6f)
              << "mode " << mode << " r " << r << " at " << x << "," << y;
        }
      }
    }
  }
}

TEST_F(EngineTest, BlurWritesOnlyItsRegion) {
  FnFloatMap in(10, 10), out(10, 10);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return float(x * y); });
  enginetest::fill_map(out, [](int32_t, int32_t) { return -9.0f; });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  Blur blur(1.0f, 1.0f, 3);
  blur.setRegion(2, 3, 7, 6);
  blur.process(&in, &out);
  const std::vector<float> want = plain_blur(in, 10, 10, 1.0f, 1.0f, 3);
  for (int32_t y = 0; y < 10; ++y) {
    for (int32_t x = 0; x < 10; ++x) {
      if (x >= 2 && x < 7 && y >= 3 && y < 6) {
        EXPECT_NEAR(out.cell(x, y), want[size_t(y) * 10 + x], 1e-4f);
      } else {
        EXPECT_EQ(out.cell(x, y), -9.0f);
      }
    }
  }
}

TEST_F(EngineTest, BlurKeepsAFlatMapFlat) {
  FnFloatMap in(31, 17), out(31, 17);
  enginetest::fill_map(in, [](int32_t, int32_t) { return 0.625f; });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  Blur blur(2.0f, 2.0f, 3);
  blur.process(&in, &out);
  for (int32_t y = 0; y < 17; ++y) {
    for (int32_t x = 0; x < 31; ++x) ASSERT_NEAR(out.cell(x, y), 0.625f, 1e-6f);
  }
}

TEST_F(EngineTest, BlurThatCannotAllocateStopsWithFourAndGivesAllBack) {
  rxtest::ReportCapture reports;
  FnFloatMap in(16, 16), out(16, 16);
  enginetest::fill_map(out, [](int32_t, int32_t) { return 3.0f; });
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  for (int32_t n : {1, 2}) {
    RX_FnInterruptContext context = enginetest::make_context();
    RXHost_FailNthAllocation(n);
    Blur blur(1.0f, 1.0f, 3, &context);
    blur.process(&in, &out);
    RXHost_FailNthAllocation(0);
    EXPECT_EQ(context.stop, 1) << n;
    EXPECT_EQ(context.code, RX_Result_OutOfMemory) << n;
    EXPECT_EQ(out.cell(5, 5), 3.0f);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

}  // namespace
