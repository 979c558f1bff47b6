// RX_PaintSpot against a reference stamp written here: the kernel laid out
// as a convolution kernel, centred on (x, y), each channel under an entry w
// becoming min((c (255 - w) + colour w) / 255, 255), truncated.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::TestWorld;

struct Shape {
  int32_t half_width, half_height;
};

Shape shape_of(int32_t flags, int32_t size) {
  if (!(flags & RX_SPOT_1D)) return {size / 2, size / 2};
  if (flags & RX_SPOT_VERTICAL) return {0, size / 2};
  return {size / 2, 0};
}

RX_Pixel8 random_pixel(std::mt19937& rng) {
  std::uniform_int_distribution<int> byte(0, 255);
  return {uint8_t(byte(rng)), uint8_t(byte(rng)), uint8_t(byte(rng)), uint8_t(byte(rng))};
}

void fill_random(TestWorld<RX_Pixel8>& w, std::mt19937& rng) {
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = random_pixel(rng);
  }
}

std::vector<RX_Pixel8> snapshot(TestWorld<RX_Pixel8>& w) {
  std::vector<RX_Pixel8> out;
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) out.push_back(w.at(x, y));
  }
  return out;
}

uint8_t stamp(int c, int colour, int w) { return uint8_t(std::min((c * (255 - w) + colour * w) / 255, 255)); }

// The layer after the spot, from the layer before it.
std::vector<RX_Pixel8> reference_spot(std::vector<RX_Pixel8> pixels, int32_t width, int32_t height,
                                      int32_t x, int32_t y, int32_t flags, int32_t size,
                                      const std::vector<int32_t>& kernel, RX_Pixel8 colour) {
  const Shape s = shape_of(flags, size);
  const int32_t kernel_width = 2 * s.half_width + 1;
  for (int32_t ky = 0; ky <= 2 * s.half_height; ++ky) {
    for (int32_t kx = 0; kx < kernel_width; ++kx) {
      const int32_t px = x - s.half_width + kx, py = y - s.half_height + ky;
      if (px < 0 || py < 0 || px >= width || py >= height) continue;
      const int32_t w = kernel[size_t(ky) * kernel_width + kx];
      RX_Pixel8& p = pixels[size_t(py) * width + px];
      p = {stamp(p.alpha, colour.alpha, w), stamp(p.red, colour.red, w), stamp(p.green, colour.green, w),
           stamp(p.blue, colour.blue, w)};
    }
  }
  return pixels;
}

void expect_same(const std::vector<RX_Pixel8>& got, const std::vector<RX_Pixel8>& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.size());
  int shown = 0;
  for (size_t i = 0; i < got.size(); ++i) {
    if (!rxtest::same_pixel(got[i], want[i]) && ++shown <= 3) ADD_FAILURE() << what << " at pixel " << i;
  }
}

TEST(PaintSpot, RandomSpotsMatchTheReferenceStampOverEveryEdge) {
  std::mt19937 rng(2503);
  TestWorld<RX_Pixel8> layer(13, 11, 20, 4);
  std::uniform_int_distribution<int> weight(0, 255), pos(-6, 18), size_index(0, 4), flag_index(0, 2);
  const int32_t sizes[] = {1, 3, 5, 7, 9};
  const int32_t flag_forms[] = {0, RX_SPOT_1D, RX_SPOT_1D | RX_SPOT_VERTICAL};
  for (int i = 0; i < 400; ++i) {
    fill_random(layer, rng);
    const int32_t size = sizes[size_index(rng)], flags = flag_forms[flag_index(rng)];
    const Shape s = shape_of(flags, size);
    std::vector<int32_t> kernel(size_t(2 * s.half_width + 1) * (2 * s.half_height + 1));
    for (auto& k : kernel) k = weight(rng);
    const int32_t x = pos(rng), y = pos(rng);
    const RX_Pixel8 colour = random_pixel(rng);
    const auto want = reference_spot(snapshot(layer), 13, 11, x, y, flags, size, kernel, colour);
    ASSERT_EQ(RX_PaintSpot(nullptr, x, y, flags, size, kernel.data(), colour, layer.def()), RX_Result_OK);
    expect_same(snapshot(layer), want, "spot " + std::to_string(i));
    if (HasFailure()) break;
  }
}

TEST(PaintSpot, EntryOfFullWeightGivesTheColourAndZeroLeavesThePixel) {
  TestWorld<RX_Pixel8> layer(3, 3);
  std::mt19937 rng(7);
  fill_random(layer, rng);
  const auto before = snapshot(layer);
  const std::vector<int32_t> kernel = {0, 255, 0,  //
                                       255, 0, 255,  //
                                       0, 255, 0};
  const RX_Pixel8 colour{200, 10, 20, 30};
  ASSERT_EQ(RX_PaintSpot(nullptr, 1, 1, 0, 3, kernel.data(), colour, layer.def()), RX_Result_OK);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 3; ++x) {
      const bool full = kernel[size_t(y) * 3 + x] == 255;
      EXPECT_TRUE(rxtest::same_pixel(layer.at(x, y), full ? colour : before[size_t(y) * 3 + x])) << x << ", " << y;
    }
  }
}

TEST(PaintSpot, WeightsMixTruncating) {
  TestWorld<RX_Pixel8> layer(1, 1);
  layer.at(0, 0) = {100, 0, 255, 7};
  const int32_t kernel[] = {128};
  ASSERT_EQ(RX_PaintSpot(nullptr, 0, 0, 0, 1, kernel, RX_Pixel8{255, 255, 0, 8}, layer.def()), RX_Result_OK);
  // (100 x 127 + 255 x 128) / 255 = 177.8; 255 x 128 / 255 = 128;
  // 255 x 127 / 255 = 127; (7 x 127 + 8 x 128) / 255 = 7.5
  EXPECT_EQ(layer.at(0, 0).alpha, 177);
  EXPECT_EQ(layer.at(0, 0).red, 128);
  EXPECT_EQ(layer.at(0, 0).green, 127);
  EXPECT_EQ(layer.at(0, 0).blue, 7);
}

TEST(PaintSpot, OneDimensionalKernelsLieAlongARowOrAColumn) {
  TestWorld<RX_Pixel8> layer(5, 5);
  const int32_t kernel[] = {255, 255, 255};
  const RX_Pixel8 ink{255, 1, 2, 3};
  ASSERT_EQ(RX_PaintSpot(nullptr, 2, 2, RX_SPOT_1D, 3, kernel, ink, layer.def()), RX_Result_OK);
  ASSERT_EQ(RX_PaintSpot(nullptr, 0, 0, RX_SPOT_1D | RX_SPOT_VERTICAL, 3, kernel, ink, layer.def()),
            RX_Result_OK);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      const bool on = (y == 2 && x >= 1 && x <= 3) || (x == 0 && y <= 1);
      EXPECT_EQ(layer.at(x, y).alpha, on ? 255 : 0) << x << ", " << y;
    }
  }
  // The vertical flag alone is not one-dimensional: a square kernel.
  TestWorld<RX_Pixel8> square(3, 3);
  const int32_t full[9] = {255, 255, 255, 255, 255, 255, 255, 255, 255};
  ASSERT_EQ(RX_PaintSpot(nullptr, 1, 1, RX_SPOT_VERTICAL, 3, full, ink, square.def()), RX_Result_OK);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(square.at(x, y).alpha, 255);
  }
}

TEST(PaintSpot, EntriesOutsideTheWeightRangeAreHeldToIt) {
  TestWorld<RX_Pixel8> layer(2, 1);
  layer.at(0, 0) = layer.at(1, 0) = {50, 50, 50, 50};
  const int32_t kernel[] = {-40, 0, 900};
  ASSERT_EQ(RX_PaintSpot(nullptr, 0, 0, RX_SPOT_1D, 3, kernel, RX_Pixel8{9, 9, 9, 9}, layer.def()), RX_Result_OK);
  EXPECT_EQ(layer.at(0, 0).red, 50);  // weight 0 under the centre
  EXPECT_EQ(layer.at(1, 0).red, 9);   // 900 acts as 255
}

TEST(PaintSpot, BadParametersAreReportedAndChangeNothing) {
  rxtest::ReportCapture reports;
  TestWorld<RX_Pixel8> layer(4, 4);
  layer.at(1, 1) = {1, 2, 3, 4};
  const int32_t kernel[25] = {255};
  const RX_Pixel8 ink{255, 255, 255, 255};
  RX_LayerDef no_data = *layer.def();
  no_data.data = nullptr;
  TestWorld<RX_Pixel16> deep(4, 4);
  struct Case {
    const char* what;
    RX_Err err;
  } cases[] = {
      {"null layer", RX_PaintSpot(nullptr, 1, 1, 0, 3, kernel, ink, nullptr)},
      {"null data", RX_PaintSpot(nullptr, 1, 1, 0, 3, kernel, ink, &no_data)},
      {"null kernel", RX_PaintSpot(nullptr, 1, 1, 0, 3, nullptr, ink, layer.def())},
      {"negative size", RX_PaintSpot(nullptr, 1, 1, 0, -1, kernel, ink, layer.def())},
      {"size 0", RX_PaintSpot(nullptr, 1, 1, 0, 0, kernel, ink, layer.def())},
      {"even size", RX_PaintSpot(nullptr, 1, 1, 0, 4, kernel, ink, layer.def())},
      {"16-bit layer", RX_PaintSpot(nullptr, 1, 1, 0, 3, kernel, ink, deep.def())},
  };
  ASSERT_EQ(reports.size(), std::size(cases));
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].err, RX_Result_Internal) << cases[i].what;
    EXPECT_EQ(reports.reports()[i].text, "bad parameter passed to effect callback") << cases[i].what;
    EXPECT_EQ(reports.reports()[i].location, 0x250009) << cases[i].what;
    EXPECT_EQ(reports.reports()[i].report_class, 8) << cases[i].what;
  }
  EXPECT_TRUE(rxtest::same_pixel(layer.at(1, 1), RX_Pixel8{1, 2, 3, 4}));
  EXPECT_EQ(layer.at(0, 0).alpha, 0);
}

TEST(PaintSpot, FarOffCentresTouchNothing) {
  TestWorld<RX_Pixel8> layer(4, 4);
  const int32_t kernel[9] = {255, 255, 255, 255, 255, 255, 255, 255, 255};
  const RX_Pixel8 ink{255, 255, 255, 255};
  for (auto [x, y] : {std::pair{-2, 1}, {5, 1}, {1, -2}, {1, 5}, {INT32_MIN, 0}, {0, INT32_MAX}}) {
    ASSERT_EQ(RX_PaintSpot(nullptr, x, y, 0, 3, kernel, ink, layer.def()), RX_Result_OK);
  }
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(layer.at(x, y).alpha, 0);
  }
}

}  // namespace
