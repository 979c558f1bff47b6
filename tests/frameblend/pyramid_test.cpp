#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine_test_support.h"
#include "frameblend/resample/pyramid.h"
#include "map_reference.h"
#include "rx_test_support.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;
using Pyramid = FnFilteredPyramid<float, float, 1>;

// Filter and halve, written plainly: three boxes of radius 1 in each axis
// over the source read through its rules, then the bilinear sample of the
// filtered map at (x rx + 0.5, y ry + 0.5).
std::vector<float> plain_level(const FnFloatMap& source, int32_t w, int32_t h) {
  const std::vector<float> blurred =
      enginetest::plain_blur(source, source.width(), source.height(), 1.0f, 1.0f, 3);
  FnFloatMap filtered(source.width(), source.height());
  filtered.copyGeometry(source);
  for (int32_t y = 0; y < source.height(); ++y) {
    for (int32_t x = 0; x < source.width(); ++x) {
      filtered.cell(x, y) = blurred[size_t(y) * source.width() + x];
    }
  }
  const float rx = float(source.width()) / float(w), ry = float(source.height()) / float(h);
  std::vector<float> level(size_t(w) * h);
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      level[size_t(y) * w + x] =
          enginetest::plain_bilinear(filtered, float(x) * rx + 0.5f, float(y) * ry + 0.5f);
    }
  }
  return level;
}

void expect_pyramid_matches_reference(int32_t width, int32_t height, int32_t levels) {
  enginetest::Random random(uint32_t(width * 1000 + height));
  FnFloatMap input(width, height);
  enginetest::fill_map(input, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
  input.setBorderModes(kBorderClamp, kBorderClamp);
  RX_FnInterruptContext context = enginetest::make_context();
  Pyramid pyramid(&input, levels, &context);
  ASSERT_EQ(pyramid.levels(), levels);
  pyramid.build();
  ASSERT_EQ(context.stop, 0);
  FnFloatMap reference_source(width, height);
  reference_source.copyGeometry(input);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) reference_source.cell(x, y) = input.cell(x, y);
  }
  for (int32_t l = 1; l < levels; ++l) {
    const FnFloatMap& level = *pyramid.stack()->level(l);
    const FnFloatMap& previous = *pyramid.stack()->level(l - 1);
    ASSERT_EQ(level.width(), previous.width() / 2);
    ASSERT_EQ(level.height(), previous.height() / 2);
    const std::vector<float> want = plain_level(previous, level.width(), level.height());
    for (int32_t y = 0; y < level.height(); ++y) {
      for (int32_t x = 0; x < level.width(); ++x) {
        ASSERT_NEAR(level.cell(x, y), want[size_t(y) * level.width() + x], 2e-6f)
            << width << "x" << height << " level " << l << " at " << x << "," << y;
      }
    }
  }
}

TEST_F(EngineTest, PyramidOfEvenSizeMatchesFilterAndHalve) {
  expect_pyramid_matches_reference(64, 48, 4);
}

TEST_F(EngineTest, PyramidOfOddSizesMatchesFilterAndHalve) {
  expect_pyramid_matches_reference(45, 27, 3);
  expect_pyramid_matches_reference(17, 33, 4);
}

TEST_F(EngineTest, PyramidOfOneLevelBuildsNothing) {
  FnFloatMap input(8, 8);
  enginetest::fill_map(input, [](int32_t x, int32_t) { return float(x); });
  const int64_t blocks = RXHost_LiveBlocks();
  Pyramid pyramid(&input, 1);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
  EXPECT_EQ(pyramid.levels(), 1);
  pyramid.build();
  EXPECT_EQ(input.cell(7, 0), 7.0f);
}

TEST_F(EngineTest, OddSizesHalveDownToZeroAndThenStopWithFour) {
  FnFloatMap input(5, 5);
  enginetest::fill_map(input, [](int32_t, int32_t) { return 1.0f; });
  input.setBorderModes(kBorderClamp, kBorderClamp);
  RX_FnInterruptContext context = enginetest::make_context();
  Pyramid pyramid(&input, 4, &context);
  EXPECT_EQ(pyramid.error(), 0);  // a zero size is no allocation failure
  EXPECT_EQ(pyramid.stack()->level(1)->width(), 2);
  EXPECT_EQ(pyramid.stack()->level(2)->width(), 1);
  EXPECT_EQ(pyramid.stack()->level(3)->width(), 0);
  EXPECT_EQ(pyramid.stack()->level(3)->pixels(), nullptr);
  pyramid.build();
  EXPECT_EQ(context.stop, 1);
  EXPECT_EQ(context.code, RX_Result_OutOfMemory);
  EXPECT_NEAR(pyramid.stack()->level(2)->cell(0, 0), 1.0f, 1e-6f);
}

TEST_F(EngineTest, LevelsHalveTheFloatOriginAndKeepTheBorderModes) {
  FnFloatMap input(16, 12);
  input.setFloatOrigin(2.0f, -1.0f);
  input.setBorderModes(kBorderMirror, kBorderWrap);
  Pyramid pyramid(&input, 3);
  const FnFloatMap& level2 = *pyramid.stack()->level(2);
  EXPECT_EQ(level2.xAxis().floatOrigin, 0.5f);
  EXPECT_EQ(level2.yAxis().floatOrigin, -0.25f);
  EXPECT_EQ(level2.xAxis().borderMode, kBorderMirror);
  EXPECT_EQ(level2.yAxis().borderMode, kBorderWrap);
}

TEST_F(EngineTest, ExplicitLevelSizesAreTaken) {
  FnFloatMap input(10, 10);
  enginetest::fill_map(input, [](int32_t, int32_t) { return 0.5f; });
  input.setBorderModes(kBorderClamp, kBorderClamp);
  const int32_t widths[3] = {10, 7, 3};
  const int32_t heights[3] = {10, 4, 4};
  Pyramid pyramid(&input, 3, nullptr, widths, heights);
  EXPECT_EQ(pyramid.stack()->level(1)->width(), 7);
  EXPECT_EQ(pyramid.stack()->level(2)->height(), 4);
  pyramid.build();
  EXPECT_NEAR(pyramid.stack()->level(2)->cell(2, 3), 0.5f, 1e-6f);
}

TEST_F(EngineTest, KernelRouteConvolvesWithTheSampledGaussian) {
  float taps[3];
  FnPyramidKernelTaps(3, 2.25f, taps);
  const float edge = float(std::exp(-1.0 / 4.5));
  const float sum = edge + 1.0f + edge;
  EXPECT_EQ(taps[0], edge / sum);
  EXPECT_EQ(taps[1], 1.0f / sum);
  EXPECT_EQ(taps[2], taps[0]);
  FnFloatMap input(8, 6);
  enginetest::fill_map(input, [](int32_t x, int32_t y) { return float(x * 3 + y); });
  input.setBorderModes(kBorderClamp, kBorderClamp);
  Pyramid pyramid(&input, 2);
  pyramid.setOptions(Pyramid::kOptionKernelFilter);
  pyramid.build();
  const FnFloatMap& level = *pyramid.stack()->level(1);
  // Cell (1, 1) samples the filtered map at (2.5, 2.5), cell (2, 2).
  float want = 0.0f;
  for (int32_t j = 0; j < 3; ++j) {
    for (int32_t i = 0; i < 3; ++i) want += input.mapOrBackground(1 + i, 1 + j) * (taps[i] * taps[j]);
  }
  EXPECT_EQ(level.cell(1, 1), want);
}

TEST_F(EngineTest, PyramidThatCannotAllocateStopsWithFourAndLeaksNothing) {
  rxtest::ReportCapture reports;
  FnFloatMap input(32, 32);
  enginetest::fill_map(input, [](int32_t, int32_t) { return 1.0f; });
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  for (int32_t n = 1; n <= 12; ++n) {
    RX_FnInterruptContext context = enginetest::make_context();
    RXHost_FailNthAllocation(n);
    {
      Pyramid pyramid(&input, 4, &context);
      pyramid.build();
    }
    const bool failed = RXHost_LiveBytes() == bytes;  // books back in every case
    RXHost_FailNthAllocation(0);
    EXPECT_TRUE(failed);
    EXPECT_EQ(RXHost_LiveBlocks(), blocks);
    EXPECT_EQ(context.code, RX_Result_OutOfMemory) << "allocation " << n;
  }
}

TEST(LevelChoice, SmallFootprintsTakeLevelZeroAndLargeOnesTheLast) {
  const float limit = 8.0f, k = 1.0f / std::log(8.0f);
  FnLevelChoice c = FnChooseLevel(0.5f, 1.0f, 1.0f, limit, k, 4);
  EXPECT_EQ(c.lower, 0);
  EXPECT_EQ(c.upper, 0);
  EXPECT_EQ(c.blend, 0.0f);
  c = FnChooseLevel(9.0f, 2.0f, 1.0f, limit, k, 4);
  EXPECT_EQ(c.lower, 3);
  EXPECT_EQ(c.upper, 3);
  EXPECT_EQ(c.blend, 0.0f);
  c = FnChooseLevel(1.0f, 2.8284271f, 1.0f, limit, k, 4);
  const float l = std::log(2.8284271f) * k * 3.0f;
  EXPECT_EQ(c.lower, int32_t(l));
  EXPECT_EQ(c.upper, int32_t(l) + 1);
  EXPECT_EQ(c.blend, l - float(int32_t(l)));
  EXPECT_NEAR(l, 1.5f, 1e-5f);
}

TEST_F(EngineTest, FilteredFetchMixesTheTwoChosenLevels) {
  FnFloatMap input(16, 16);
  enginetest::fill_map(input, [](int32_t x, int32_t) { return float(x); });
  input.setBorderModes(kBorderClamp, kBorderClamp);
  Pyramid pyramid(&input, 3);
  pyramid.build();
  const auto& stack = *pyramid.stack();
  EXPECT_EQ(stack.sampleFiltered(5.0f, 5.0f, 1.0f, 1.0f), input.sample(5.0f, 5.0f));
  EXPECT_EQ(stack.sampleFiltered(5.0f, 5.0f, 4.0f, 1.0f), stack.level(2)->sample(1.25f, 1.25f));
  const float lower = stack.sampleLevel(6.0f, 6.0f, 1);
  const float upper = stack.sampleLevel(6.0f, 6.0f, 2);
  const FnLevelChoice c = FnChooseLevel(2.8284271f, 0.0f, 1.0f, stack.limit(), stack.invLogLimit(), 3);
  EXPECT_EQ(stack.sampleFiltered(6.0f, 6.0f, 2.8284271f, 0.0f), (upper - lower) * c.blend + lower);
}

}  // namespace
