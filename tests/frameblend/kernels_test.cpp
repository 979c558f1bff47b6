#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine_test_support.h"
#include "frameblend/resample/kernels.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;

// The kernel family as defined: taps -n..n, a Gaussian of sigma r/2 at
// distance j - phase inside the radius, normalised; the centre tap alone
// when no tap lies within the radius.
std::vector<double> plain_kernel(float radius, float phase) {
  if (radius <= 0.0f) return {1.0};
  const int32_t n = int32_t(std::ceil(radius));
  std::vector<double> taps;
  double sum = 0.0;
  const double sigma = radius / 2.0;
  for (int32_t j = -n; j <= n; ++j) {
    const double d = double(j) - phase;
    const double w = std::fabs(d) <= radius ? std::exp(-d * d / (2.0 * sigma * sigma)) : 0.0;
    taps.push_back(w);
    sum += w;
  }
  if (sum == 0.0) {  // no tap within the radius: the centre tap alone
    for (int32_t j = -n; j <= n; ++j) taps[size_t(j + n)] = j == 0 ? 1.0 : 0.0;
    return taps;
  }
  for (double& t : taps) t /= sum;
  return taps;
}

TEST(Kernels, TapCountIsTwiceTheCeilingPlusOne) {
  EXPECT_EQ(FnKernelTapCount(0.0f), 1);
  EXPECT_EQ(FnKernelTapCount(-2.0f), 1);
  EXPECT_EQ(FnKernelTapCount(0.5f), 3);
  EXPECT_EQ(FnKernelTapCount(1.0f), 3);
  EXPECT_EQ(FnKernelTapCount(1.01f), 5);
  EXPECT_EQ(FnKernelTapCount(3.5f), 9);
}

TEST(Kernels, KernelsMatchTheirFormulaAtManyPhasesAndRadii) {
  for (float radius : {0.0f, 0.4f, 1.0f, 1.7f, 2.5f, 4.0f, 6.3f}) {
    for (int32_t p = 0; p <= 20; ++p) {
      const float phase = float(p) / 20.0f - 0.5f;
      std::vector<float> taps(size_t(FnKernelTapCount(radius)));
      FnFillKernel(radius, phase, taps.data(), int32_t(taps.size()));
      const std::vector<double> want = plain_kernel(radius, phase);
      ASSERT_EQ(taps.size(), want.size());
      for (size_t j = 0; j < taps.size(); ++j) {
        ASSERT_NEAR(taps[j], want[j], 1e-6) << radius << " " << phase << " " << j;
      }
    }
  }
}

TEST_F(EngineTest, TableHoldsCountPlusOnePhasesPerAxis) {
  FnPrecalculatedKernel table(1.5f, 0.7f, 8);
  ASSERT_FALSE(table.failed());
  for (int32_t p = 0; p <= 8; ++p) {
    const float phase = float(p) / 8.0f - 0.5f;
    const std::vector<double> wx = plain_kernel(1.5f, phase), wy = plain_kernel(0.7f, phase);
    ASSERT_EQ(table.x(p).count(), int32_t(wx.size()));
    ASSERT_EQ(table.y(p).count(), int32_t(wy.size()));
    for (size_t j = 0; j < wx.size(); ++j) EXPECT_NEAR(table.x(p).taps()[j], wx[j], 1e-6);
    for (size_t j = 0; j < wy.size(); ++j) EXPECT_NEAR(table.y(p).taps()[j], wy[j], 1e-6);
  }
  EXPECT_EQ(table.indexOf(-0.5f), 0);
  EXPECT_EQ(table.indexOf(0.0f), 4);
  EXPECT_EQ(table.indexOf(0.5f), 8);
  EXPECT_EQ(table.indexOf(0.07f), 5);
}

TEST_F(EngineTest, CacheReturnsTheSameTableForTheSameScaleAndCount) {
  FnCachedPrecalculatedKernels cache(2);
  const FnPrecalculatedKernel* a = cache.request(2.0f, 2.0f, 16);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(cache.request(2.0f, 2.0f, 16), a);
  EXPECT_EQ(cache.built(), 1);
  const FnPrecalculatedKernel* b = cache.request(2.0f, 2.0f, 8);
  EXPECT_NE(b, a);
  EXPECT_EQ(cache.size(), 2);
  EXPECT_EQ(cache.request(2.0f, 2.0f, 16), a);
  EXPECT_EQ(cache.built(), 2);
}

TEST_F(EngineTest, CacheForgetsEverythingForNewRadii) {
  FnCachedPrecalculatedKernels cache(4);
  cache.request(1.0f, 1.0f, 4);
  cache.request(1.0f, 1.0f, 8);
  ASSERT_EQ(cache.size(), 2);
  const FnPrecalculatedKernel* fresh = cache.request(1.0f, 2.0f, 4);
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(cache.size(), 1);
  EXPECT_EQ(cache.built(), 3);
  EXPECT_EQ(fresh->radiusY(), 2.0f);
}

TEST_F(EngineTest, FullCacheMakesRoomWithItsOldestTable) {
  FnCachedPrecalculatedKernels cache(2);
  const FnPrecalculatedKernel* four = cache.request(1.0f, 1.0f, 4);
  cache.request(1.0f, 1.0f, 8);
  cache.request(1.0f, 1.0f, 16);
  EXPECT_EQ(cache.size(), 2);
  const int32_t built = cache.built();
  cache.request(1.0f, 1.0f, 8);
  EXPECT_EQ(cache.built(), built);
  (void)four;
  cache.request(1.0f, 1.0f, 4);
  EXPECT_EQ(cache.built(), built + 1);
}

TEST_F(EngineTest, ManagerGivesEveryWorkerItsOwnPairSizedByTheRadii) {
  enginetest::use_workers(enginetest::kEight);
  FnKernelManager manager;
  ASSERT_EQ(manager.workers(), 8);
  ASSERT_TRUE(manager.setRadii(2.5f, 1.0f));
  for (int32_t w = 0; w < 8; ++w) {
    EXPECT_EQ(manager.x(w).count(), 7);
    EXPECT_EQ(manager.y(w).count(), 3);
    if (w > 0) {
      EXPECT_NE(manager.x(w).taps(), manager.x(w - 1).taps());
    }
  }
  ASSERT_TRUE(manager.setRadii(0.0f, 4.0f));
  EXPECT_EQ(manager.x(3).count(), 1);
  EXPECT_EQ(manager.y(3).count(), 9);
}

// The sampler's sum written out: the output centre mapped by the size
// ratio, the nearest input cell, the formula's taps at the remaining phase.
float plain_convolve(const FnFloatMap& in, int32_t out_w, int32_t out_h, int32_t x, int32_t y,
                     float rx, float ry) {
  const float ratio_x = float(in.width()) / float(out_w);
  const float ratio_y = float(in.height()) / float(out_h);
  const float px = (float(x) + 0.5f) * ratio_x - 0.5f;
  const float py = (float(y) + 0.5f) * ratio_y - 0.5f;
  const int32_t cx = int32_t(std::floor(px + 0.5f)), cy = int32_t(std::floor(py + 0.5f));
  const std::vector<double> wx = plain_kernel(rx, px - float(cx));
  const std::vector<double> wy = plain_kernel(ry, py - float(cy));
  double sum = 0.0;
  const int32_t nx = int32_t(wx.size()), ny = int32_t(wy.size());
  for (int32_t j = 0; j < ny; ++j) {
    for (int32_t i = 0; i < nx; ++i) {
      sum += wx[size_t(i)] * wy[size_t(j)] * in.mapOrBackground(cx - nx / 2 + i, cy - ny / 2 + j);
    }
  }
  return float(sum);
}

TEST_F(EngineTest, KernelSamplerAtExactPhasesMatchesDirectSumsAtManyScales) {
  enginetest::Random random;
  FnFloatMap in(20, 12);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
  in.setBorderModes(kBorderMirror, kBorderClamp);
  for (int32_t out_w : {7, 13, 20, 31}) {
    for (float r : {0.0f, 0.8f, 1.6f, 3.0f}) {
      FnFloatMap out(out_w, 9);
      KernelSampler<float, float> sampler;
      sampler.setRadii(r, r * 0.75f, 0);
      sampler.process(&in, &out);
      for (int32_t y = 0; y < 9; ++y) {
        for (int32_t x = 0; x < out_w; ++x) {
          ASSERT_NEAR(out.cell(x, y), plain_convolve(in, out_w, 9, x, y, r, r * 0.75f), 2e-5f)
              << out_w << " " << r << " " << x << "," << y;
        }
      }
    }
  }
}

TEST_F(EngineTest, KernelSamplerWithATableUsesTheNearestTabulatedPhase) {
  enginetest::Random random;
  FnFloatMap in(16, 10), out(11, 7);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  KernelSampler<float, float> sampler;
  sampler.setRadii(1.3f, 1.3f, 64);
  sampler.process(&in, &out);
  // With 64 phases the nearest phase is within 1/128 of the exact one.
  for (int32_t y = 0; y < 7; ++y) {
    for (int32_t x = 0; x < 11; ++x) {
      ASSERT_NEAR(out.cell(x, y), plain_convolve(in, 11, 7, x, y, 1.3f, 1.3f), 0.02f);
    }
  }
  EXPECT_EQ(sampler.cache().built(), 1);
  sampler.process(&in, &out);
  EXPECT_EQ(sampler.cache().built(), 1);
}

TEST_F(EngineTest, KernelSamplerWithFixedTapsConvolvesEachCell) {
  FnFloatMap in(6, 5), out(6, 5);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return float(x * x + 3 * y); });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  const float xt[3] = {0.25f, 0.5f, 0.25f};
  const float yt[5] = {0.1f, 0.2f, 0.4f, 0.2f, 0.1f};
  KernelSampler<float, float> sampler;
  ASSERT_TRUE(sampler.setTaps(xt, 3, yt, 5));
  sampler.process(&in, &out);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 6; ++x) {
      float sum = 0.0f;
      for (int32_t j = 0; j < 5; ++j) {
        for (int32_t i = 0; i < 3; ++i) sum += in.mapOrBackground(x - 1 + i, y - 2 + j) * (xt[i] * yt[j]);
      }
      EXPECT_EQ(out.cell(x, y), sum);
    }
  }
}

TEST_F(EngineTest, MaskedKernelSkipsMaskedTapsAndDividesByTheWeightsUsed) {
  FnFloatMap in(5, 1), mask(5, 1), out(5, 1);
  enginetest::fill_map(in, [](int32_t x, int32_t) { return float(10 * x); });
  enginetest::fill_map(mask, [](int32_t x, int32_t) { return x == 3 ? 0.9f : 0.5f; });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  mask.setBorderModes(kBorderClamp, kBorderClamp);
  const float taps[3] = {0.25f, 0.5f, 0.25f};
  const float one[1] = {1.0f};
  KernelSamplerMasked<float, float> sampler;
  ASSERT_TRUE(sampler.setTaps(taps, 3, one, 1));
  sampler.setMask(&mask);
  sampler.process(&in, &out);
  EXPECT_EQ(out.cell(2, 0), (10.0f * 0.25f + 20.0f * 0.5f) / 0.75f);
  EXPECT_EQ(out.cell(1, 0), 10.0f);
  // Every tap masked: nothing to divide by.
  enginetest::fill_map(mask, [](int32_t, int32_t) { return 1.0f; });
  sampler.process(&in, &out);
  EXPECT_EQ(out.cell(2, 0), 0.0f);
}

TEST_F(EngineTest, BiKernelSamplerIsTheSeparableConvolution) {
  enginetest::Random random;
  FnFloatMap in(9, 8), out(9, 8), direct(9, 8);
  enginetest::fill_map(in, [&](int32_t, int32_t) { return random.uniform(-1.0f, 1.0f); });
  in.setBorderModes(kBorderMirror, kBorderMirror);
  const float xt[5] = {0.1f, 0.2f, 0.4f, 0.2f, 0.1f};
  const float yt[3] = {0.3f, 0.4f, 0.3f};
  BiKernelSampler<float, float> bi;
  ASSERT_TRUE(bi.setKernels(xt, 5, yt, 3));
  bi.process(&in, &out);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 9; ++x) {
      float sum = 0.0f;
      for (int32_t j = 0; j < 3; ++j) {
        float row = 0.0f;
        for (int32_t i = 0; i < 5; ++i) row += in.mapOrBackground(x - 2 + i, y - 1 + j) * xt[i];
        sum += row * yt[j];
      }
      EXPECT_NEAR(out.cell(x, y), sum, 1e-6f);
    }
  }
}

}  // namespace
