// RX_DrawLine against a plain walk written here from the rules: 16.16
// fixed point, the start rounded half away from zero, the major position
// snapped to a pixel, the minor one carried along the slope and rounded by
// a half, n + 1 pixels from the start with steps negated for a negative
// direction. Whole pixels are replaced; pixels off the world are skipped.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "draw_test_support.h"

namespace {

using drawtest::ObjectWorld;

// 16.16 with the rounding of the walk: half away from zero.
int64_t fixed(double v) {
  const double s = v * 65536.0;
  return int64_t(s >= 0 ? s + 0.5 : s - 0.5);
}

// Floor of a 16.16 value, as an arithmetic shift.
int64_t pixel_of(int64_t v) { return v >= 0 ? v / 65536 : -((-v + 65535) / 65536); }

// The pixels the walk visits, in order, inside the world or not.
std::vector<std::pair<int64_t, int64_t>> reference_walk(double x0, double y0, double x1, double y1) {
  std::vector<std::pair<int64_t, int64_t>> out;
  int64_t px = fixed(x0), py = fixed(y0);
  const double dx = x1 - x0, dy = y1 - y0;
  if (std::fabs(dx) <= 1e-12 && std::fabs(dy) <= 1e-12) {
    out.push_back({pixel_of(px + 32768), pixel_of(py + 32768)});
    return out;
  }
  const bool x_major = std::fabs(dx) > std::fabs(dy);
  const int64_t major_start = x_major ? px : py;
  int64_t minor = x_major ? py : px;
  int64_t slope = x_major ? fixed(dy / dx) : fixed(dx / dy);
  int64_t major = pixel_of(major_start + 32768) * 65536;  // snapped down to a whole pixel
  minor += pixel_of(slope * (major - major_start));          // (slope * distance) >> 16
  minor += 32768;
  int64_t n = int64_t(x_major ? x1 + 0.5 : y1 + 0.5) - major / 65536;
  int64_t step = 65536;
  if (n < 0) {
    n = -n;
    step = -step;
    slope = -slope;
  }
  for (int64_t i = 0; i <= n; ++i) {
    const int64_t a = pixel_of(major), b = pixel_of(minor);
    out.push_back(x_major ? std::make_pair(a, b) : std::make_pair(b, a));
    major += step;
    minor += slope;
  }
  return out;
}

template <class Px>
Px scaled_colour(const RX_PixelFloat& c) {
  if constexpr (sizeof(Px) == 16) {
    return c;
  } else {
    const double white = sizeof(Px) == 4 ? 255.0 : 32768.0;
    using Cv = drawtest::Channel<Px>;
    auto s = [&](float v) { return Cv(int32_t(v * float(white) + 0.5f)); };
    return {s(c.alpha), s(c.red), s(c.green), s(c.blue)};
  }
}

template <class Px>
void draw(ObjectWorld<Px>& w, double x0, double y0, double x1, double y1, const RX_PixelFloat& c) {
  RX_DrawLine({x0, y0}, {x1, y1}, &c, w.world());
}

// Draws the line and compares every pixel of the world with the reference.
template <class Px>
void expect_line(ObjectWorld<Px>& w, double x0, double y0, double x1, double y1,
                 const RX_PixelFloat& colour) {
  drawtest::fill_background(w);
  draw(w, x0, y0, x1, y1, colour);
  std::vector<bool> on(size_t(w.width()) * w.height(), false);
  for (const auto& [x, y] : reference_walk(x0, y0, x1, y1)) {
    if (x >= 0 && y >= 0 && x < w.width() && y < w.height()) on[size_t(y) * w.width() + x] = true;
  }
  const Px ink = scaled_colour<Px>(colour);
  int mismatches = 0;
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) {
      const Px want = on[size_t(y) * w.width() + x] ? ink : drawtest::background_pixel<Px>(x, y);
      if (!rxtest::same_pixel(w.at(x, y), want) && ++mismatches <= 3) {
        ADD_FAILURE() << "line (" << x0 << ", " << y0 << ") to (" << x1 << ", " << y1
                      << ") at pixel " << x << ", " << y << ": " << drawtest::describe(w.at(x, y))
                      << " wanted " << drawtest::describe(want);
      }
    }
  }
}

template <class Px>
class DrawLine : public ::testing::Test {};
TYPED_TEST_SUITE(DrawLine, rxtest::AllPixelTypes);

TYPED_TEST(DrawLine, RandomLinesMatchThePlainWalkOverEveryEdge) {
  using Px = TypeParam;
  std::mt19937 rng(2501);
  const RX_PixelFloat colour{0.8f, 0.1f, 0.6f, 0.3f};
  ObjectWorld<Px> w(23, 17, 12, 4);
  // Ends from well outside to well inside, on quarter pixels and anywhere.
  std::uniform_real_distribution<double> any_x(-12.0, 35.0), any_y(-12.0, 29.0);
  std::uniform_int_distribution<int> quarter(-40, 140);
  for (int i = 0; i < 600; ++i) {
    double x0, y0, x1, y1;
    if (i % 2) {
      x0 = any_x(rng), y0 = any_y(rng), x1 = any_x(rng), y1 = any_y(rng);
    } else {
      x0 = quarter(rng) / 4.0, y0 = quarter(rng) / 6.0, x1 = quarter(rng) / 4.0, y1 = quarter(rng) / 6.0;
    }
    expect_line(w, x0, y0, x1, y1, colour);
    if (this->HasFailure()) break;
  }
}

TYPED_TEST(DrawLine, EveryDirectionFromTheCentre) {
  using Px = TypeParam;
  const RX_PixelFloat colour{1.0f, 1.0f, 0.0f, 0.5f};
  ObjectWorld<Px> w(31, 31);
  for (int angle = 0; angle < 360; angle += 5) {
    const double a = angle * M_PI / 180.0;
    expect_line(w, 15.3, 14.8, 15.3 + 20.0 * std::cos(a), 14.8 + 20.0 * std::sin(a), colour);
    expect_line(w, 15.0, 15.0, 15.0 + 9.0 * std::cos(a), 15.0 + 9.0 * std::sin(a), colour);
  }
}

TYPED_TEST(DrawLine, EqualEndsDrawOnePixelRoundedNotTruncated) {
  using Px = TypeParam;
  ObjectWorld<Px> w(8, 8);
  drawtest::fill_background(w);
  const RX_PixelFloat colour{1.0f, 0.0f, 1.0f, 0.0f};
  draw(w, 2.6, 3.4, 2.6, 3.4 + 1e-13, colour);  // within 1e-12: one pixel
  const Px ink = scaled_colour<Px>(colour);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x) {
      const bool is_ink = rxtest::same_pixel(w.at(x, y), ink);
      EXPECT_EQ(is_ink, x == 3 && y == 3) << x << ", " << y;
    }
  }
  expect_line(w, 2.5, 2.5, 2.5, 2.5, colour);    // halves go up: (3, 3)
  expect_line(w, -0.4, 7.4, -0.4, 7.4, colour);  // rounds to (0, 7)
}

TYPED_TEST(DrawLine, NegativeDirectionIsWalkedFromTheStart) {
  using Px = TypeParam;
  ObjectWorld<Px> w(12, 8);
  const RX_PixelFloat colour{1.0f, 0.0f, 0.0f, 1.0f};
  const Px ink = scaled_colour<Px>(colour);
  auto inked = [&] {
    std::vector<std::pair<int, int>> out;
    for (int32_t y = 0; y < 8; ++y) {
      for (int32_t x = 0; x < 12; ++x) {
        if (rxtest::same_pixel(w.at(x, y), ink)) out.push_back({x, y});
      }
    }
    return out;
  };
  // Slope -0.75 / 8.25 is -5958 in 16.16; from (10, 4.5) the minor position
  // starts at 4.5 + 0.5 and climbs by 5958 for 8 steps: row 5 throughout.
  drawtest::fill_background(w);
  draw(w, 10.0, 4.5, 1.75, 5.25, colour);
  std::vector<std::pair<int, int>> want;
  for (int x = 2; x <= 10; ++x) want.push_back({x, 5});
  EXPECT_EQ(inked(), want);
  // The other way the walk starts at (2, 5.25 - 0.25 x 0.0909) and ends at
  // 4.99997: the last pixel is (10, 4).
  drawtest::fill_background(w);
  draw(w, 1.75, 5.25, 10.0, 4.5, colour);
  want.clear();
  want.push_back({10, 4});  // row 4 comes first in row order
  for (int x = 2; x <= 9; ++x) want.push_back({x, 5});
  EXPECT_EQ(inked(), want);
}

TYPED_TEST(DrawLine, SnappingCarriesTheMinorPositionByAFlooredProduct) {
  using Px = TypeParam;
  ObjectWorld<Px> w(12, 3);
  // From (0.25, 0.5) the major position snaps back by 16384 to 0; the slope
  // is 1 in 16.16, so the minor position gains (1 x -16384) >> 16 = -1 and
  // then the half: 32768 - 1 + 32768 = 65535, row 0. Each step adds 1, so
  // the line goes on in row 1. A product divided toward zero would start in
  // row 1.
  expect_line(w, 0.25, 0.5, 10.25, 0.5 + 10.0 / 65536.0, RX_PixelFloat{1, 1, 1, 1});
  const Px ink = scaled_colour<Px>(RX_PixelFloat{1, 1, 1, 1});
  EXPECT_TRUE(rxtest::same_pixel(w.at(0, 0), ink));
  EXPECT_FALSE(rxtest::same_pixel(w.at(0, 1), ink));
  for (int32_t x = 1; x <= 10; ++x) EXPECT_TRUE(rxtest::same_pixel(w.at(x, 1), ink)) << x;
}

TYPED_TEST(DrawLine, PixelsAreReplacedNotBlended) {
  using Px = TypeParam;
  ObjectWorld<Px> w(6, 3);
  drawtest::fill_background(w);
  const RX_PixelFloat half{0.5f, 0.25f, 0.75f, 0.0f};
  draw(w, 0.0, 1.0, 5.0, 1.0, half);
  for (int32_t x = 0; x < 6; ++x) EXPECT_TRUE(rxtest::same_pixel(w.at(x, 1), scaled_colour<Px>(half)));
}

TYPED_TEST(DrawLine, LinesWhollyOutsideTouchNothing) {
  using Px = TypeParam;
  ObjectWorld<Px> w(10, 10);
  drawtest::fill_background(w);
  const RX_PixelFloat colour{1, 1, 1, 1};
  draw(w, -5.0, -3.0, 20.0, -1.0, colour);
  draw(w, 10.6, -4.0, 14.0, 30.0, colour);
  draw(w, -1000.0, 500.0, 1000.0, 520.0, colour);
  for (int32_t y = 0; y < 10; ++y) {
    for (int32_t x = 0; x < 10; ++x) {
      EXPECT_TRUE(rxtest::same_pixel(w.at(x, y), drawtest::background_pixel<Px>(x, y)));
    }
  }
}

TYPED_TEST(DrawLine, LongLinesThroughTheWorldMatchTheWalk) {
  using Px = TypeParam;
  ObjectWorld<Px> w(40, 30, 4);
  const RX_PixelFloat colour{1.0f, 0.5f, 0.5f, 0.5f};
  expect_line(w, -3000.25, -1000.5, 3000.75, 1000.0, colour);
  expect_line(w, 5000.0, 35.0, -5000.0, -10.0, colour);
  expect_line(w, 20.0, -20000.0, 21.0, 20000.0, colour);
}

TEST(DrawLineColour, IntegerWorldsScaleAndRoundTheColour) {
  ObjectWorld<RX_Pixel8> w8(2, 1);
  ObjectWorld<RX_Pixel16> w16(2, 1);
  const RX_PixelFloat colour{1.0f, 0.5f, 0.002f, 0.998f};
  RX_DrawLine({0, 0}, {0, 0}, &colour, w8.world());
  RX_DrawLine({0, 0}, {0, 0}, &colour, w16.world());
  // 0.5 x 255 + 0.5 = 128; 0.002 x 255 + 0.5 = 1.01; 0.998 x 255 + 0.5 = 254.99
  EXPECT_EQ(w8.at(0, 0).alpha, 255);
  EXPECT_EQ(w8.at(0, 0).red, 128);
  EXPECT_EQ(w8.at(0, 0).green, 1);
  EXPECT_EQ(w8.at(0, 0).blue, 254);
  // 0.002 x 32768 + 0.5 = 66.04; 0.998 x 32768 + 0.5 = 32702.96
  EXPECT_EQ(w16.at(0, 0).alpha, 32768);
  EXPECT_EQ(w16.at(0, 0).red, 16384);
  EXPECT_EQ(w16.at(0, 0).green, 66);
  EXPECT_EQ(w16.at(0, 0).blue, 32702);
}

TEST(DrawLineColour, ChannelsOutsideZeroToOneAreLimited) {
  ObjectWorld<RX_Pixel8> w8(1, 1);
  ObjectWorld<RX_PixelFloat> wf(1, 1);
  const RX_PixelFloat colour{2.0f, -0.5f, 1e10f, NAN};
  RX_DrawLine({0, 0}, {0, 0}, &colour, w8.world());
  EXPECT_EQ(w8.at(0, 0).alpha, 255);
  EXPECT_EQ(w8.at(0, 0).red, 0);
  EXPECT_EQ(w8.at(0, 0).green, 255);
  EXPECT_EQ(w8.at(0, 0).blue, 0);
  RX_DrawLine({0, 0}, {0, 0}, &colour, wf.world());  // float takes the colour as it is
  EXPECT_EQ(wf.at(0, 0).alpha, 2.0f);
  EXPECT_EQ(wf.at(0, 0).red, -0.5f);
}

TEST(DrawLineColour, NullWorldOrColourDrawsNothing) {
  ObjectWorld<RX_Pixel8> w(2, 2);
  const RX_PixelFloat colour{1, 1, 1, 1};
  RX_DrawLine({0, 0}, {1, 1}, &colour, nullptr);
  RX_DrawLine({0, 0}, {1, 1}, nullptr, w.world());
  EXPECT_EQ(w.at(0, 0).alpha, 0);
  EXPECT_EQ(w.at(1, 1).alpha, 0);
}

}  // namespace
