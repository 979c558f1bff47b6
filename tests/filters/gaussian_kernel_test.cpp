#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "RX.h"
#include "blur_reference.h"
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

TEST(GaussianValue, IsOneAtZeroAndCutBeyondOne) {
  EXPECT_EQ(RXp_GaussianValue(0.0), 1.0);
  EXPECT_EQ(RXp_GaussianValue(1.0000001), 0.0);
  EXPECT_EQ(RXp_GaussianValue(7.0), 0.0);
  // Not a pure Gaussian: about 0.00018 at 1, where the cut begins.
  EXPECT_NEAR(RXp_GaussianValue(1.0), 0.00018, 0.00002);
  EXPECT_GT(RXp_GaussianValue(1.0), 0.0);
}

TEST(GaussianValue, FollowsTheBellFormulaInDouble) {
  for (double d = -1.0; d <= 1.0; d += 0.0625) {
    EXPECT_EQ(RXp_GaussianValue(d), 1.0 - (1.0 - std::exp(-2.378 * d * d)) * 1.102) << d;
  }
}

// The kernel as its rule writes it: rows from -Ry to Ry, columns from R
// down to 0 mirrored, each 255 × bell(distance / (radius + 1)) × multiplier
// rounded into 0..255; normalizing scales by 255 × entries / sum.
std::vector<int32_t> reference_kernel(double radius, uint32_t flags, double multiplier) {
  const int32_t r = int32_t(std::ceil(radius));
  const int32_t ry = (flags & RX_KERNEL_1D) ? 0 : r;
  const int32_t w = 2 * r + 1;
  std::vector<int32_t> k(size_t(w) * (2 * ry + 1));
  double sum = 0;
  for (int32_t y = -ry; y <= ry; ++y) {
    for (int32_t x = r; x >= 0; --x) {
      const double d = y == 0 ? double(x) : std::sqrt(double(x * x + y * y));
      double v = blurtest::bell(d / (radius + 1.0)) * 255.0;
      if (multiplier != 1.0) v *= multiplier;
      const int32_t e = std::clamp(blurtest::trunc_d(0.5 + v), 0, 255);
      k[size_t((y + ry) * w + r - x)] = e;
      k[size_t((y + ry) * w + r + x)] = e;
      sum += v;
      if (x != 0) sum += v;
    }
  }
  if (flags & RX_KERNEL_NORMALIZE) {
    const double n = double(w * 255) * (2 * ry + 1);
    for (auto& e : k) e = blurtest::trunc_d(double(e) * (n / sum));
  }
  return k;
}

TEST(GaussianKernel, RadiusZeroGivesOneEntryOf255) {
  uint32_t size = 0;
  int32_t kernel[1] = {-1};
  EXPECT_EQ(RX_GaussianKernel(nullptr, 0.0, 0, 1.0, &size, kernel), RX_Result_OK);
  EXPECT_EQ(size, 1u);
  EXPECT_EQ(kernel[0], 255);
}

TEST(GaussianKernel, IsSymmetricPeaksAtTheCentreAndFadesToTheCorners) {
  uint32_t size = 0;
  std::vector<int32_t> k(49, -1);
  ASSERT_EQ(RX_GaussianKernel(nullptr, 3.0, 0, 1.0, &size, k.data()), RX_Result_OK);
  ASSERT_EQ(size, 7u);
  EXPECT_EQ(k[24], 255);
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 7; ++x) {
      EXPECT_EQ(k[size_t(y * 7 + x)], k[size_t(y * 7 + 6 - x)]);
      EXPECT_EQ(k[size_t(y * 7 + x)], k[size_t((6 - y) * 7 + x)]);
      EXPECT_EQ(k[size_t(y * 7 + x)], k[size_t(x * 7 + y)]);
    }
  }
  EXPECT_LT(k[0], k[24]);
  EXPECT_LE(k[0], k[1]);
}

TEST(GaussianKernel, OneRowWithTheOneDimensionalFlag) {
  uint32_t size = 0;
  std::vector<int32_t> k(9, -7);
  ASSERT_EQ(RX_GaussianKernel(nullptr, 2.5, RX_KERNEL_1D, 1.0, &size, k.data()), RX_Result_OK);
  EXPECT_EQ(size, 7u);  // the ceiling of 2.5 is 3
  EXPECT_EQ(k[7], -7);  // nothing past the row
  EXPECT_EQ(k[8], -7);
  const auto expected = reference_kernel(2.5, RX_KERNEL_1D, 1.0);
  for (size_t i = 0; i < 7; ++i) EXPECT_EQ(k[i], expected[i]) << i;
}

TEST(GaussianKernel, MatchesItsRuleForRadiiFlagsAndMultipliers) {
  for (double radius : {0.0, 0.3, 1.0, 1.5, 2.0, 4.75, 6.0}) {
    for (uint32_t flags : {0u, 1u, 2u, 3u}) {
      for (double multiplier : {1.0, 0.5, 2.0, -1.0}) {
        const auto expected = reference_kernel(radius, flags, multiplier);
        std::vector<int32_t> k(expected.size(), -99);
        uint32_t size = 0;
        ASSERT_EQ(RX_GaussianKernel(nullptr, radius, flags, multiplier, &size, k.data()), RX_Result_OK);
        EXPECT_EQ(size, uint32_t(2 * std::ceil(radius) + 1));
        EXPECT_EQ(k, expected) << radius << " " << flags << " " << multiplier;
      }
    }
  }
}

TEST(GaussianKernel, EntriesAreLimitedTo255BeforeNormalizing) {
  uint32_t size = 0;
  std::vector<int32_t> k(5);
  ASSERT_EQ(RX_GaussianKernel(nullptr, 2.0, RX_KERNEL_1D, 4.0, &size, k.data()), RX_Result_OK);
  for (int32_t e : k) EXPECT_EQ(e, 255);
  ASSERT_EQ(RX_GaussianKernel(nullptr, 2.0, RX_KERNEL_1D, -4.0, &size, k.data()), RX_Result_OK);
  for (int32_t e : k) EXPECT_EQ(e, 0);
}

TEST(GaussianKernel, NormalizedEntriesAddUpToAbout255APerEntry) {
  uint32_t size = 0;
  std::vector<int32_t> k(11 * 11);
  ASSERT_EQ(RX_GaussianKernel(nullptr, 5.0, RX_KERNEL_NORMALIZE, 1.0, &size, k.data()), RX_Result_OK);
  int64_t sum = 0;
  for (int32_t e : k) sum += e;
  EXPECT_LE(sum, 121 * 255);
  EXPECT_GT(sum, 121 * 255 - 121);  // truncation loses below one a entry
}

TEST(GaussianKernel, NegativeRadiusOrNullPointersAreBadParameters) {
  uint32_t size = 17;
  int32_t k[9] = {};
  for (int which = 0; which < 3; ++which) {
    ReportCapture capture;
    const RX_Err err = which == 0   ? RX_GaussianKernel(nullptr, -0.5, 0, 1.0, &size, k)
                       : which == 1 ? RX_GaussianKernel(nullptr, 1.0, 0, 1.0, nullptr, k)
                                    : RX_GaussianKernel(nullptr, 1.0, 0, 1.0, &size, nullptr);
    EXPECT_EQ(err, RX_Result_Internal);
    ASSERT_EQ(capture.errors().size(), 1u);
    EXPECT_EQ(capture.errors()[0].location, 0x25000A);
    EXPECT_EQ(capture.errors()[0].report_class, 8);
    EXPECT_EQ(capture.errors()[0].text, "bad parameter passed to effect callback");
  }
  EXPECT_EQ(size, 17u);
}

}  // namespace
