// Bilinear sampling of premultiplied 8-bit worlds, all in integers: taps
// masked near each edge, 16.16 integer weights that sum to 0x10000, and
// every channel rounded by + 32768 >> 16. No alpha weighting takes place,
// so a transparent tap does darken (as premultiplied colours should).
#include <cstdint>
#include <vector>

#include "sampling_reference.h"

namespace {

using samp::Rng;

using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, RX_Pixel8*);

// Which taps along one axis may be read: both, the low one, the high one,
// or none (the result is zero).
struct AxisMask {
  bool none = false, low = true, high = true;
};

AxisMask axis_mask(int32_t v, int32_t size) {
  AxisMask m;
  const int64_t limit = (int64_t{size} << 16) - 0x10000;
  if (v > 0 && v >= limit) {
    if (int64_t{v} - 0x10000 >= limit) {
      m.none = true;
      return m;
    }
    m.high = false;  // only the left (or top) taps stay
  }
  if (v <= 0) {
    if (v < -65535) {
      m.none = true;
      return m;
    }
    if ((v & 0xFFFF) != 0) {
      m.low = false;  // only the right (or bottom) taps stay
    } else {
      m.high = false;
    }
  }
  return m;
}

RX_Pixel8 premul_reference(const RX_LayerDef& w, int32_t x, int32_t y) {
  const int32_t i = x >> 16, j = y >> 16;
  const uint32_t fx = uint32_t(x) & 0xFFFF, fy = uint32_t(y) & 0xFFFF;
  if (fx == 0 && fy == 0) return samp::tap<RX_Pixel8>(w, i, j);
  const AxisMask cols = axis_mask(x, w.width), rows = axis_mask(y, w.height);
  if (cols.none || rows.none) return RX_Pixel8{};
  RX_Pixel8 t[4] = {};
  if (cols.low && rows.low) t[0] = samp::at<RX_Pixel8>(w, i, j);
  if (cols.high && rows.low) t[1] = samp::at<RX_Pixel8>(w, int64_t{i} + 1, j);
  if (cols.low && rows.high) t[2] = samp::at<RX_Pixel8>(w, i, int64_t{j} + 1);
  if (cols.high && rows.high) t[3] = samp::at<RX_Pixel8>(w, int64_t{i} + 1, int64_t{j} + 1);
  if (samp::all_identical(t)) return t[0];
  const uint32_t w10 = uint32_t(double(fx) * double(0x10000 - fy) * 1.52587890625e-5);
  const uint32_t w01 = uint32_t(double(0x10000 - fx) * double(fy) * 1.52587890625e-5);
  const uint32_t w11 = uint32_t(double(fx) * double(fy) * 1.52587890625e-5);
  const uint32_t w00 = 0x10000 - w10 - w01 - w11;
  RX_Pixel8 out;
  for (int k = 0; k < 4; ++k) {
    const uint32_t sum = w00 * samp::ch(t[0], k) + w10 * samp::ch(t[1], k) +
                         w01 * samp::ch(t[2], k) + w11 * samp::ch(t[3], k);
    samp::ch(out, k) = uint8_t((sum + 32768) >> 16);
  }
  return out;
}

// Premultiplied content: every colour at most its alpha.
void premultiply(const RX_LayerDef& w) {
  for (int32_t j = 0; j < w.height; ++j) {
    for (int32_t i = 0; i < w.width; ++i) {
      RX_Pixel8& p = samp::at<RX_Pixel8>(w, i, j);
      p.red = uint8_t(p.red * p.alpha / 255);
      p.green = uint8_t(p.green * p.alpha / 255);
      p.blue = uint8_t(p.blue * p.alpha / 255);
    }
  }
}

// Along an axis: whole parts from three before to three past with the
// listed fractions, the points where the mask changes (around 0, -65535,
// (size << 16) - 0x10000 and size << 16), and random ones including
// negative positions below -65535.
std::vector<int32_t> premul_axis(int32_t size, Rng& r) {
  std::vector<int32_t> out = samp::axis_positions(size, -3, 3, 24, r);
  const int32_t limit = (size << 16) - 0x10000;
  for (int32_t base : {0, -65535, -65536, limit, size << 16}) {
    for (int32_t d : {-2, -1, 0, 1, 2, -0x8000, 0x8000, -0xFFFF, 0xFFFF}) out.push_back(base + d);
  }
  for (int n = 0; n < 12; ++n) out.push_back(-int32_t(r.below(0x40000)));
  for (int32_t v : {int32_t(0x80000000u), -0x7FFF0000, 0x7FFF0000, 0x7FFFFFFF}) out.push_back(v);
  return out;
}

class Premul : public rxtest::BornPackage {};

TEST_F(Premul, AgreesWithTheIntegerRuleInOnAndAroundEveryWorld) {
  Rng r(0x5EED3001u);
  samp::Mismatches m;
  const auto through_slot =
      reinterpret_cast<Sampler>(RXp_G_OverFuncs[RX_Slot_SubpixelSamplePremul8]);
  ASSERT_NE(through_slot, nullptr);
  for (const auto& world : samp::worlds<RX_Pixel8>(0x5EED3002u)) {
    premultiply(world.def);
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = premul_axis(world.def.width, r);
    const auto ys = premul_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        const RX_Pixel8 want = premul_reference(world.def, x, y);
        for (const auto& [name, sample] :
             {std::pair<const char*, Sampler>{"RX_SubpixelSample_Premul", RX_SubpixelSample_Premul},
              std::pair<const char*, Sampler>{"slot 4", through_slot}}) {
          RX_Pixel8 got;
          std::memset(&got, 0x5A, sizeof got);
          ASSERT_EQ(sample(nullptr, x, y, &pb, &got), RX_Result_OK);
          m.check_equal(got, want,
                        [&] { return std::string(name) + " " + samp::at_text(world.name, x, y); });
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 100000);
}

// Straight content is sampled just the same: the rule knows nothing of
// alpha, so colours above their alpha go through unchanged in kind.
TEST_F(Premul, TreatsEveryChannelAlikeWhateverTheContent) {
  Rng r(0x5EED3003u);
  samp::Mismatches m;
  for (const auto& world : samp::worlds<RX_Pixel8>(0x5EED3004u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int n = 0; n < 3000; ++n) {
      const int32_t x = samp::fixed(r.between(-2, world.def.width + 1), r.below(0x10000));
      const int32_t y = samp::fixed(r.between(-2, world.def.height + 1), r.below(0x10000));
      RX_Pixel8 got;
      ASSERT_EQ(RX_SubpixelSample_Premul(nullptr, x, y, &pb, &got), RX_Result_OK);
      m.check_equal(got, premul_reference(world.def, x, y),
                    [&] { return std::string(samp::at_text(world.name, x, y)); });
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

// A 3x2 world with hand-checkable values.
class PremulByHand : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    rxtest::BornPackage::SetUp();
    world_.at(0, 0) = RX_Pixel8{200, 100, 50, 20};
    world_.at(1, 0) = RX_Pixel8{101, 51, 0, 101};
    world_.at(2, 0) = RX_Pixel8{255, 255, 128, 1};
    world_.at(0, 1) = RX_Pixel8{201, 3, 5, 7};
    world_.at(1, 1) = RX_Pixel8{0, 0, 0, 0};
    world_.at(2, 1) = RX_Pixel8{64, 64, 64, 64};
  }
  RX_Pixel8 sample(int32_t x, int32_t y) {
    RX_Pixel8 got;
    std::memset(&got, 0x5A, sizeof got);
    EXPECT_EQ(RX_SubpixelSample_Premul(nullptr, x, y, &pb_, &got), RX_Result_OK);
    return got;
  }
  rxtest::TestWorld<RX_Pixel8> world_{3, 2};
  RX_SampPB pb_{0, 0, 0, world_.def()};
};

TEST_F(PremulByHand, HalfWayBetweenTwoPixelsRoundsTheirMeanUp) {
  // Weights 0x8000 and 0x8000: (0x8000 (a + b) + 32768) >> 16 = (a + b + 1) / 2.
  const RX_Pixel8 got = sample(0x8000, 0);
  EXPECT_EQ(got.alpha, (200 + 101 + 1) / 2);
  EXPECT_EQ(got.red, (100 + 51 + 1) / 2);
  EXPECT_EQ(got.green, (50 + 0 + 1) / 2);
  EXPECT_EQ(got.blue, (20 + 101 + 1) / 2);
}

TEST_F(PremulByHand, HalfAPixelBeforeColumnZeroHalvesTheEdgePixel) {
  // Only the right taps (column 0) stay, at weight 0x8000.
  const RX_Pixel8 got = sample(-0x8000, 0);
  EXPECT_TRUE(rxtest::same_pixel(got, RX_Pixel8{100, 50, 25, 10})) << samp::show(got);
  // Odd values round up: 201 gives 101.
  const RX_Pixel8 below = sample(-0x8000, 1 << 16);
  EXPECT_TRUE(rxtest::same_pixel(below, RX_Pixel8{101, 2, 3, 4})) << samp::show(below);
}

TEST_F(PremulByHand, HalfAPixelPastTheLastColumnHalvesTheEdgePixel) {
  const RX_Pixel8 got = sample((2 << 16) + 0x8000, 0);
  EXPECT_TRUE(rxtest::same_pixel(got, RX_Pixel8{128, 128, 64, 1})) << samp::show(got);
}

TEST_F(PremulByHand, OneFullPixelOutsideOrBelowMinus65535IsZero) {
  for (const auto& [x, y] :
       {std::pair{3 << 16, 0x8000}, std::pair{(3 << 16) + 1, 0}, std::pair{-65536, 0x8000},
        std::pair{-65537, 0}, std::pair{0x8000, -65536}, std::pair{0x8000, 2 << 16},
        std::pair{-65536, -65536}}) {
    const RX_Pixel8 got = sample(x, y);
    EXPECT_TRUE(rxtest::same_pixel(got, RX_Pixel8{})) << x << ", " << y << ": " << samp::show(got);
  }
  // -65535 is one unit inside: column 0 at weight 1 of 65536.
  const RX_Pixel8 edge = sample(-65535, 0);
  EXPECT_TRUE(rxtest::same_pixel(edge, RX_Pixel8{0, 0, 0, 0})) << samp::show(edge);
  const RX_Pixel8 almost = sample(-1, 0);  // column 0 at weight 0xFFFF
  EXPECT_TRUE(rxtest::same_pixel(almost, RX_Pixel8{200, 100, 50, 20})) << samp::show(almost);
}

TEST_F(PremulByHand, WholePixelsAreReadAsTheyAre) {
  for (int32_t j = 0; j < 2; ++j) {
    for (int32_t i = 0; i < 3; ++i) {
      const RX_Pixel8 got = sample(i << 16, j << 16);
      EXPECT_TRUE(rxtest::same_pixel(got, world_.at(i, j))) << i << ", " << j;
    }
  }
  EXPECT_TRUE(rxtest::same_pixel(sample(3 << 16, 0), RX_Pixel8{}));
  EXPECT_TRUE(rxtest::same_pixel(sample(-(1 << 16), 0), RX_Pixel8{}));
}

TEST_F(PremulByHand, AQuarterWeightUsesTheTruncatedIntegerWeights) {
  // fx = 0x4000, fy = 0x4000: w10 = w01 = 0x4000 * 0xC000 >> 16 = 0x3000,
  // w11 = 0x1000, w00 = 0x9000.
  const RX_Pixel8 got = sample(0x4000, 0x4000);
  const auto mix = [](uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return uint8_t((0x9000 * a + 0x3000 * b + 0x3000 * c + 0x1000 * d + 32768) >> 16);
  };
  EXPECT_EQ(got.alpha, mix(200, 101, 201, 0));
  EXPECT_EQ(got.red, mix(100, 51, 3, 0));
  EXPECT_EQ(got.green, mix(50, 0, 5, 0));
  EXPECT_EQ(got.blue, mix(20, 101, 7, 0));
}

TEST_F(PremulByHand, TheReferenceWordIsNeverRead) {
  RX_Pixel8 got;
  ASSERT_EQ(RX_SubpixelSample_Premul(reinterpret_cast<void*>(uintptr_t{8}), 0x8000, 0, &pb_, &got),
            RX_Result_OK);
  EXPECT_EQ(got.alpha, 151);
}

// The frame around a sub-world holds opaque pixels that would show if a
// masked tap were read.
TEST_F(Premul, ASubWorldNeverShowsThePixelsAroundIt) {
  Rng r(0x5EED3005u);
  const auto world = samp::sub_world<RX_Pixel8>(4, 3, r);
  premultiply(world.def);
  const RX_SampPB pb{0, 0, 0, &world.def};
  samp::Mismatches m;
  for (int32_t y : premul_axis(3, r)) {
    for (int32_t x : premul_axis(4, r)) {
      RX_Pixel8 got;
      ASSERT_EQ(RX_SubpixelSample_Premul(nullptr, x, y, &pb, &got), RX_Result_OK);
      m.check_equal(got, premul_reference(world.def, x, y),
                    [&] { return std::string(samp::at_text(world.name, x, y)); });
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

}  // namespace
