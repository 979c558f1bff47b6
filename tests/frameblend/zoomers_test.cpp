#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>

#include "engine_test_support.h"
#include "frameblend/resample/zoomers.h"
#include "map_reference.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;
using enginetest::plain_bilinear;
using enginetest::plain_read;

TEST_F(EngineTest, BilinearZoomSamplesAtTheScaledPositionBelowAtAndAboveOne) {
  enginetest::Random random;
  FnFloatMap in(12, 9);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
  in.setBorderModes(kBorderClamp, kBorderMirror);
  for (int32_t out_w : {5, 12, 29}) {
    for (int32_t out_h : {4, 9, 20}) {
      FnFloatMap out(out_w, out_h);
      ImageZoomerBase<float, float> zoom;
      zoom.process(&in, &out);
      const float rx = 12.0f / float(out_w), ry = 9.0f / float(out_h);
      EXPECT_EQ(zoom.ratioX(), rx);
      for (int32_t y = 0; y < out_h; ++y) {
        for (int32_t x = 0; x < out_w; ++x) {
          ASSERT_EQ(out.cell(x, y), plain_bilinear(in, float(x) * rx + 0.5f, float(y) * ry + 0.5f));
        }
      }
    }
  }
}

TEST_F(EngineTest, NearestZoomReadsTruncatedPositionsThroughTheRules) {
  FnTexture8 in(6, 5);
  enginetest::fill_map(in, [](int32_t x, int32_t y) {
    return FnPixel8{{uint8_t(x), uint8_t(y), uint8_t(x * y), 9}};
  });
  in.setBorderModes(kBorderMirror, kBorderWrap);
  in.setRegion(1, 4, 0, 3);
  for (int32_t out_w : {2, 6, 13}) {
    FnTexture8 out(out_w, 5);
    ImageZoomerBase<FnPixel8, FnPixelFloat> zoom(ImageZoomerBase<FnPixel8, FnPixelFloat>::kOptionNearest);
    zoom.process(&in, &out);
    const float rx = 6.0f / float(out_w);
    for (int32_t y = 0; y < 5; ++y) {
      for (int32_t x = 0; x < out_w; ++x) {
        const FnPixel8 want = plain_read(in, int32_t(float(x) * rx), y);
        ASSERT_EQ(std::memcmp(&out.cell(x, y), &want, 4), 0) << out_w << " " << x << "," << y;
      }
    }
  }
}

TEST_F(EngineTest, NearestZoomAtRatioOneIsACopyThroughTheBorderRule) {
  FnIntMap in(7, 4), out(7, 4);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return x + 10 * y; });
  in.setBorderModes(kBorderMirror, kBorderClamp);
  in.setRegion(2, 4, 1, 2);
  ImageZoomerBase<int, int> zoom(ImageZoomerBase<int, int>::kOptionNearest);
  zoom.process(&in, &out);
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 7; ++x) EXPECT_EQ(out.cell(x, y), plain_read(in, x, y));
  }
}

TEST_F(EngineTest, VectorZoomDividesVectorsByTheRatiosButNotNoVectors) {
  FnVectorMap coarse(2, 2);
  coarse.cell(0, 0) = {1.5f, -2.0f};
  coarse.cell(1, 0) = kNoVectorValue;
  coarse.cell(0, 1) = {0.0f, 4.0f};
  coarse.cell(1, 1) = {-3.0f, 0.25f};
  FnVectorMap fine(4, 4);
  ImageZoomerGP<HvVec2, HvVec2> zoom(ImageZoomerGP<HvVec2, HvVec2>::kOptionNearest |
                                     ImageZoomerGP<HvVec2, HvVec2>::kOptionScaleVectors);
  zoom.process(&coarse, &fine);
  EXPECT_EQ(fine.cell(0, 0).x, 3.0f);
  EXPECT_EQ(fine.cell(1, 1).y, -4.0f);
  EXPECT_EQ(fine.cell(3, 3).x, -6.0f);
  EXPECT_EQ(fine.cell(2, 0).x, FLT_MAX);
  EXPECT_EQ(fine.cell(3, 1).y, FLT_MAX);
  // Without the option the values stay.
  ImageZoomerGP<HvVec2, HvVec2> plain(ImageZoomerGP<HvVec2, HvVec2>::kOptionNearest);
  plain.process(&coarse, &fine);
  EXPECT_EQ(fine.cell(0, 0).x, 1.5f);
  // Scaling down halves.
  FnVectorMap smaller(1, 1);
  zoom.process(&coarse, &smaller);
  EXPECT_EQ(smaller.cell(0, 0).x, 0.75f);
  EXPECT_EQ(smaller.cell(0, 0).y, -1.0f);
}

TEST_F(EngineTest, ZoomSamplerPicksTheFilteredValueAtTheMappedPosition) {
  enginetest::Random random;
  FnFloatMap in(11, 7), out(5, 3);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(-1.0f, 1.0f); });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  FnImageZoomSampler<float, float> zoom;
  zoom.process(&in, &out);
  const float rx = 11.0f / 5.0f, ry = 7.0f / 3.0f;
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      EXPECT_EQ(out.cell(x, y), plain_bilinear(in, float(x) * rx + 0.5f, float(y) * ry + 0.5f));
    }
  }
}

}  // namespace
