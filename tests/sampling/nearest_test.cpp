// Nearest-neighbour sampling at every depth: the pixel at
// ((x + 0x8000) >> 16, (y + 0x8000) >> 16) with an arithmetic shift, or
// transparent black when that pixel lies outside. Exact halves round up,
// also on the negative side, so -0x8000 still reads column 0.
#include <cstdint>
#include <vector>

#include "sampling_reference.h"

namespace {

using samp::Rng;

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);

template <class Px>
Sampler<Px> nearest_by_name();
template <>
Sampler<RX_Pixel8> nearest_by_name<RX_Pixel8>() {
  return RX_NNSample;
}
template <>
Sampler<RX_Pixel16> nearest_by_name<RX_Pixel16>() {
  return RX_NNSample16;
}
template <>
Sampler<RX_PixelFloat> nearest_by_name<RX_PixelFloat>() {
  return RX_NNSampleFloat;
}

// The pixel the rule names, or zero.
template <class Px>
Px nearest_reference(const RX_LayerDef& w, int32_t x, int32_t y) {
  const int64_t i = (int64_t{x} + 0x8000) >> 16;
  const int64_t j = (int64_t{y} + 0x8000) >> 16;
  return samp::tap<Px>(w, i, j);
}

// Whole pixels from three before to three past, each at the fractions that
// matter to rounding (just below half, half, just above, and the ends),
// plus random positions and far ones.
std::vector<int32_t> nearest_axis(int32_t size, Rng& r) {
  std::vector<int32_t> out;
  for (int32_t i = -3; i <= size + 2; ++i) {
    for (uint32_t f : {0u, 1u, 0x7FFFu, 0x8000u, 0x8001u, 0xFFFFu, 0x4000u, 0xC000u}) {
      out.push_back(samp::fixed(i, f));
    }
  }
  for (int n = 0; n < 40; ++n)
    out.push_back(samp::fixed(r.between(-3, size + 2), r.below(0x10000)));
  for (int32_t v : {-0x8000, -0x8001, -0x18000, -0x18001, int32_t(0x80000000u), -(1 << 30),
                    0x7FFF0000, 0x7FFF7FFF}) {
    out.push_back(v);
  }
  return out;
}

template <class Px>
class Nearest : public rxtest::BornPackage {};
TYPED_TEST_SUITE(Nearest, rxtest::AllPixelTypes);

TYPED_TEST(Nearest, AgreesWithTheRoundedPositionEverywhereInAndAroundEveryWorld) {
  using Px = TypeParam;
  Rng r(0x5EED0001u);
  samp::Mismatches m;
  const Sampler<Px> sample = nearest_by_name<Px>();
  for (const auto& world : samp::worlds<Px>(0x5EED0002u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = nearest_axis(world.def.width, r);
    const auto ys = nearest_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        Px got;
        std::memset(&got, 0x5A, sizeof got);
        ASSERT_EQ(sample(nullptr, x, y, &pb, &got), RX_Result_OK);
        m.check_equal(got, nearest_reference<Px>(world.def, x, y),
                      [&] { return std::string(samp::at_text(world.name, x, y)); });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 10000);
}

TYPED_TEST(Nearest, MinusHalfAPixelReadsColumnZeroAndOneUnitFurtherGivesZero) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  for (int32_t j = 0; j < 3; ++j)
    for (int32_t i = 0; i < 4; ++i) world.at(i, j) = rxtest::pixel_for<Px>(i + 1, j + 1);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const Sampler<Px> sample = nearest_by_name<Px>();
  Px got;

  ASSERT_EQ(sample(nullptr, -0x8000, 0x10000, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(0, 1))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, -0x8001, 0x10000, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << samp::show(got);

  // The same on the rows.
  ASSERT_EQ(sample(nullptr, 0x20000, -0x8000, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(2, 0))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, 0x20000, -0x8001, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << samp::show(got);
}

TYPED_TEST(Nearest, ExactHalvesRoundUpAndJustBelowHalfRoundsDown) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  for (int32_t j = 0; j < 3; ++j)
    for (int32_t i = 0; i < 4; ++i) world.at(i, j) = rxtest::pixel_for<Px>(i + 1, j + 1);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const Sampler<Px> sample = nearest_by_name<Px>();
  Px got;

  ASSERT_EQ(sample(nullptr, 0x18000, 0x8000, &pb, &got), RX_Result_OK);  // (1.5, 0.5)
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(2, 1))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, 0x17FFF, 0x7FFF, &pb, &got), RX_Result_OK);  // just below
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(1, 0))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, -0x8000, -0x8000, &pb, &got), RX_Result_OK);  // (-0.5, -0.5)
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(0, 0))) << samp::show(got);
}

TYPED_TEST(Nearest, HalfAPixelBeforeThePastEndIsStillOutside) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  for (int32_t j = 0; j < 3; ++j)
    for (int32_t i = 0; i < 4; ++i) world.at(i, j) = rxtest::pixel_for<Px>(i + 1, j + 1);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const Sampler<Px> sample = nearest_by_name<Px>();
  Px got;

  // 3.4999...: the last column; 3.5: column 4, outside.
  ASSERT_EQ(sample(nullptr, 0x37FFF, 0, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(3, 0))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, 0x38000, 0, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << samp::show(got);
  ASSERT_EQ(sample(nullptr, 0, 0x27FFF, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(0, 2))) << samp::show(got);
  ASSERT_EQ(sample(nullptr, 0, 0x28000, &pb, &got), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << samp::show(got);
}

TYPED_TEST(Nearest, ASubWorldNeverShowsThePixelsAroundIt) {
  using Px = TypeParam;
  Rng r(0x5EED0003u);
  const auto world = samp::sub_world<Px>(5, 4, r);
  const RX_SampPB pb{0, 0, 0, &world.def};
  const Sampler<Px> sample = nearest_by_name<Px>();
  for (int32_t j = -2; j <= 5; ++j) {
    for (int32_t i = -2; i <= 6; ++i) {
      Px got;
      ASSERT_EQ(sample(nullptr, i << 16, j << 16, &pb, &got), RX_Result_OK);
      const bool in = i >= 0 && i < 5 && j >= 0 && j < 4;
      const Px want = in ? samp::at<Px>(world.def, i, j) : Px{};
      EXPECT_TRUE(rxtest::same_pixel(got, want)) << i << ", " << j << ": " << samp::show(got);
    }
  }
}

TYPED_TEST(Nearest, TheReferenceWordIsNeverRead) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(2, 2);
  world.at(1, 1) = rxtest::pixel_for<Px>(3, 4);
  const RX_SampPB pb{0, 0, 0, world.def()};
  Px got;
  // A pointer that cannot be read.
  ASSERT_EQ(
      nearest_by_name<Px>()(reinterpret_cast<void*>(uintptr_t{8}), 0x10000, 0x10000, &pb, &got),
      RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(1, 1)));
}

// Through the override table: slot 2 for 8 bits, slot 63 for 16 bits.
class NearestSlots : public rxtest::BornPackage {};

TEST_F(NearestSlots, SlotsTwoAndSixtyThreeAgreeWithTheRoundedPosition) {
  Rng r(0x5EED0004u);
  samp::Mismatches m;
  const auto slot2 = reinterpret_cast<Sampler<RX_Pixel8>>(RXp_G_OverFuncs[RX_Slot_NNSample8]);
  const auto slot63 = reinterpret_cast<Sampler<RX_Pixel16>>(RXp_G_OverFuncs[RX_Slot_NNSample16]);
  ASSERT_NE(slot2, nullptr);
  ASSERT_NE(slot63, nullptr);
  for (const auto& world : samp::worlds<RX_Pixel8>(0x5EED0005u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int n = 0; n < 400; ++n) {
      const int32_t x = samp::fixed(r.between(-2, world.def.width + 1), r.below(0x10000));
      const int32_t y = samp::fixed(r.between(-2, world.def.height + 1), r.below(0x10000));
      RX_Pixel8 got;
      ASSERT_EQ(slot2(nullptr, x, y, &pb, &got), RX_Result_OK);
      m.check_equal(got, nearest_reference<RX_Pixel8>(world.def, x, y),
                    [&] { return std::string(samp::at_text(world.name, x, y)); });
    }
  }
  for (const auto& world : samp::worlds<RX_Pixel16>(0x5EED0006u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int n = 0; n < 400; ++n) {
      const int32_t x = samp::fixed(r.between(-2, world.def.width + 1), r.below(0x10000));
      const int32_t y = samp::fixed(r.between(-2, world.def.height + 1), r.below(0x10000));
      RX_Pixel16 got;
      ASSERT_EQ(slot63(nullptr, x, y, &pb, &got), RX_Result_OK);
      m.check_equal(got, nearest_reference<RX_Pixel16>(world.def, x, y),
                    [&] { return std::string(samp::at_text(world.name, x, y)); });
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

}  // namespace
