// The clipping straight-alpha bilinear samplers at every depth (the plain
// names, the forms through the world object, the forms that tell whether
// all four taps were inside, and the override slots that hold them) against
// the kernel written out in the test: whole-pixel shortcut, taps outside
// reading transparent black, identical taps, equal alphas, and the
// alpha-weighted mean with its rounding points. Also the weights and the
// edge behaviour a compositor relies on: no fading at the last column, a
// fade by the covered share past it, no darkening by transparent taps.
#include <cmath>
#include <cstdint>
#include <vector>

#include "sampling_reference.h"

namespace {

using samp::Rng;

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);
template <class Px>
using PlusSampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, uint8_t*, Px*);

template <class Px>
struct Named {
  const char* name;
  Sampler<Px> sample;
};

template <class F>
F slot(int index) {
  return reinterpret_cast<F>(RXp_G_OverFuncs[index]);
}

// Every clipping form of a depth, the all-inside forms with their byte
// thrown away.
template <class Px>
std::vector<Named<Px>> clipped_forms();

template <>
std::vector<Named<RX_Pixel8>> clipped_forms<RX_Pixel8>() {
  return {
      {"RX_SubpixelSample_Straight", RX_SubpixelSample_Straight},
      {"RX_SubpixelCPlusPlus", RX_SubpixelCPlusPlus},
      {"RX_SubpixelSamplePlus_Straight",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* out) {
         uint8_t in = 0x77;
         return RX_SubpixelSamplePlus_Straight(ref, x, y, pb, &in, out);
       }},
      {"slot 3",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* out) {
         return slot<Sampler<RX_Pixel8>>(RX_Slot_SubpixelSampleStraight8)(ref, x, y, pb, out);
       }},
      {"slot 60",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* out) {
         uint8_t in = 0x77;
         return slot<PlusSampler<RX_Pixel8>>(RX_Slot_SubpixelPlusStraight8)(ref, x, y, pb, &in,
                                                                            out);
       }},
  };
}

template <>
std::vector<Named<RX_Pixel16>> clipped_forms<RX_Pixel16>() {
  return {
      {"RX_SubpixelSample_Straight16", RX_SubpixelSample_Straight16},
      {"RX_SubpixelCPlusPlus16", RX_SubpixelCPlusPlus16},
      {"RX_SubpixelSamplePlus_Straight16",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* out) {
         uint8_t in = 0x77;
         return RX_SubpixelSamplePlus_Straight16(ref, x, y, pb, &in, out);
       }},
      {"slot 64",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* out) {
         return slot<Sampler<RX_Pixel16>>(RX_Slot_SubpixelSampleStraight16)(ref, x, y, pb, out);
       }},
      {"slot 70",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* out) {
         uint8_t in = 0x77;
         return slot<PlusSampler<RX_Pixel16>>(RX_Slot_SubpixelPlus16)(ref, x, y, pb, &in, out);
       }},
  };
}

template <>
std::vector<Named<RX_PixelFloat>> clipped_forms<RX_PixelFloat>() {
  return {
      {"RX_SubpixelCPlusPlusFloat", RX_SubpixelCPlusPlusFloat},
      {"RX_SubpixelSpanSampleAllInCPlusPlusFloat",
       [](void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_PixelFloat* out) {
         uint8_t in = 0x77;
         return RX_SubpixelSpanSampleAllInCPlusPlusFloat(ref, x, y, pb, &in, out);
       }},
  };
}

// The all-inside forms of each depth.
template <class Px>
std::vector<std::pair<const char*, PlusSampler<Px>>> plus_forms();
template <>
std::vector<std::pair<const char*, PlusSampler<RX_Pixel8>>> plus_forms<RX_Pixel8>() {
  return {{"RX_SubpixelSamplePlus_Straight", RX_SubpixelSamplePlus_Straight},
          {"slot 60", slot<PlusSampler<RX_Pixel8>>(RX_Slot_SubpixelPlusStraight8)}};
}
template <>
std::vector<std::pair<const char*, PlusSampler<RX_Pixel16>>> plus_forms<RX_Pixel16>() {
  return {{"RX_SubpixelSamplePlus_Straight16", RX_SubpixelSamplePlus_Straight16},
          {"slot 70", slot<PlusSampler<RX_Pixel16>>(RX_Slot_SubpixelPlus16)}};
}
template <>
std::vector<std::pair<const char*, PlusSampler<RX_PixelFloat>>> plus_forms<RX_PixelFloat>() {
  return {{"RX_SubpixelSpanSampleAllInCPlusPlusFloat", RX_SubpixelSpanSampleAllInCPlusPlusFloat}};
}

// Per depth: a partial alpha, white, and how close two results must be.
template <class Px>
struct Depth;
template <>
struct Depth<RX_Pixel8> {
  static constexpr uint8_t kAlpha = 200, kWhite = 255;
};
template <>
struct Depth<RX_Pixel16> {
  static constexpr uint16_t kAlpha = 20000, kWhite = 32768;
};
template <>
struct Depth<RX_PixelFloat> {
  static constexpr float kAlpha = 0.8f, kWhite = 1.0f;
};

template <class V>
::testing::AssertionResult close(V got, double want) {
  const double tolerance = std::is_floating_point_v<V> ? 1.0e-6 * (1.0 + std::fabs(want)) : 0.0;
  if (std::fabs(double(got) - want) <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << +got << ", expected " << want;
}

// A 4x3 world of one partial alpha with a distinct colour at every pixel.
template <class Px>
void paint_partial(rxtest::TestWorld<Px>& world) {
  for (int32_t j = 0; j < world.height(); ++j) {
    for (int32_t i = 0; i < world.width(); ++i) {
      Px p = rxtest::pixel_for<Px>(i + 1, j + 2);
      p.alpha = Depth<Px>::kAlpha;
      world.at(i, j) = p;
    }
  }
}

template <class Px>
class Straight : public rxtest::BornPackage {};
TYPED_TEST_SUITE(Straight, rxtest::AllPixelTypes);

// ---- edges ----

TYPED_TEST(Straight, LastColumnAtAWholePositionIsNotFaded) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, 3 << 16, 1 << 16, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, world.at(3, 1))) << form.name << ": " << samp::show(got);
    // Half way down the last column: the column to the right weighs nothing.
    ASSERT_EQ(form.sample(nullptr, 3 << 16, 0x18000, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(close(got.alpha, Depth<Px>::kAlpha)) << form.name;
  }
}

TYPED_TEST(Straight, QuarterPixelPastLastColumnKeepsThreeQuartersAlpha) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const Px& last = world.at(3, 1);
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, (3 << 16) + 0x4000, 1 << 16, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(close(got.alpha, 0.75 * double(Depth<Px>::kAlpha))) << form.name;
    EXPECT_TRUE(close(got.red, double(last.red))) << form.name;
    EXPECT_TRUE(close(got.green, double(last.green))) << form.name;
    EXPECT_TRUE(close(got.blue, double(last.blue))) << form.name;
    // The same below the last row.
    ASSERT_EQ(form.sample(nullptr, 1 << 16, (2 << 16) + 0x4000, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(close(got.alpha, 0.75 * double(Depth<Px>::kAlpha))) << form.name;
    EXPECT_TRUE(close(got.red, double(world.at(1, 2).red))) << form.name;
  }
}

TYPED_TEST(Straight, HalfAPixelBeforeColumnZeroHasItsColourAtHalfAlphaNotDarkened) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 3);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const Px& first = world.at(0, 0);
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, -0x8000, 0, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(close(got.alpha, 0.5 * double(Depth<Px>::kAlpha))) << form.name;
    EXPECT_TRUE(close(got.red, double(first.red))) << form.name;
    EXPECT_TRUE(close(got.green, double(first.green))) << form.name;
    EXPECT_TRUE(close(got.blue, double(first.blue))) << form.name;
  }
}

TYPED_TEST(Straight, OpaqueWhiteBesideTransparentBlackAtHalfGivesHalfAlphaAndWhite) {
  using Px = TypeParam;
  const auto white = Depth<Px>::kWhite;
  rxtest::TestWorld<Px> world(2, 2);
  world.at(0, 0) = Px{white, white, white, white};  // transparent black elsewhere
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    for (const auto& [x, y] : {std::pair{0x8000, 0}, std::pair{0, 0x8000}}) {
      Px got;
      ASSERT_EQ(form.sample(nullptr, x, y, &pb, &got), RX_Result_OK);
      // 8 bits: 127.5 + 0.5 truncates to 128.
      const double half = std::is_same_v<Px, RX_Pixel8> ? 128.0 : 0.5 * double(white);
      EXPECT_TRUE(close(got.alpha, half)) << form.name << " at " << x << ", " << y;
      EXPECT_TRUE(close(got.red, double(white))) << form.name;
      EXPECT_TRUE(close(got.green, double(white))) << form.name;
      EXPECT_TRUE(close(got.blue, double(white))) << form.name;
    }
  }
}

TEST(StraightWhite, OpaqueWhiteAndTransparentBlackAtHalfGive128And255InEightBits) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> world(2, 1);
  world.at(0, 0) = RX_Pixel8{255, 255, 255, 255};
  world.at(1, 0) = RX_Pixel8{0, 0, 0, 0};
  const RX_SampPB pb{0, 0, 0, world.def()};
  RX_Pixel8 got;
  ASSERT_EQ(RX_SubpixelSample_Straight(nullptr, 0x8000, 0, &pb, &got), RX_Result_OK);
  EXPECT_EQ(got.alpha, 128);
  EXPECT_EQ(got.red, 255);
  EXPECT_EQ(got.green, 255);
  EXPECT_EQ(got.blue, 255);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TYPED_TEST(Straight, PositionsFarOutsideGiveTransparentBlack) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(3, 3);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  const int32_t far[] = {int32_t(0x80000000u), -0x20000, -0x10001, 0x38000, 0x30001, 0x7FFFFFFF};
  for (const auto& form : clipped_forms<Px>()) {
    for (int32_t v : far) {
      Px got;
      std::memset(&got, 0x5A, sizeof got);
      ASSERT_EQ(form.sample(nullptr, v, 0x8000, &pb, &got), RX_Result_OK);
      EXPECT_TRUE(rxtest::same_pixel(got, Px{}))
          << form.name << " x " << v << ": " << samp::show(got);
      ASSERT_EQ(form.sample(nullptr, 0x8000, v, &pb, &got), RX_Result_OK);
      EXPECT_TRUE(rxtest::same_pixel(got, Px{}))
          << form.name << " y " << v << ": " << samp::show(got);
    }
  }
}

// ---- the shortcuts ----

TYPED_TEST(Straight, FourIdenticalTransparentTapsKeepTheirColour) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(2, 2);
  Px p = rxtest::pixel_for<Px>(5, 6);
  p.alpha = 0;
  for (int32_t j = 0; j < 2; ++j)
    for (int32_t i = 0; i < 2; ++i) world.at(i, j) = p;
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, 0x5123, 0x9876, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, p)) << form.name << ": " << samp::show(got);
  }
}

TYPED_TEST(Straight, TransparentTapsWithDifferentColoursGiveTransparentBlack) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(2, 2);
  for (int32_t j = 0; j < 2; ++j) {
    for (int32_t i = 0; i < 2; ++i) {
      Px p = rxtest::pixel_for<Px>(i + 3, j + 1);
      p.alpha = 0;
      world.at(i, j) = p;
    }
  }
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    std::memset(&got, 0x5A, sizeof got);
    ASSERT_EQ(form.sample(nullptr, 0x5123, 0x9876, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << form.name << ": " << samp::show(got);
  }
}

TYPED_TEST(Straight, WholePixelPositionGivesThePixelEvenWhenTransparent) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(3, 2);
  paint_partial(world);
  Px p = world.at(1, 1);
  p.alpha = 0;  // colour left in
  world.at(1, 1) = p;
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, 1 << 16, 1 << 16, &pb, &got), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, p)) << form.name << ": " << samp::show(got);
  }
}

// A tap of alpha 1 weighing a quarter: the alpha sum 0.25 is below one half,
// so the integer depths give transparent black; the float kernel keeps any
// sum above 0.
TYPED_TEST(Straight, AlphaSumBelowOneHalfGivesTransparentBlackAtIntegerDepths) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(2, 1);
  Px faint = rxtest::pixel_for<Px>(9, 9);
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    faint.alpha = 0.004f;
  } else {
    faint.alpha = 1;
  }
  Px other = rxtest::pixel_for<Px>(2, 3);
  other.alpha = 0;
  world.at(0, 0) = faint;
  world.at(1, 0) = other;
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(nullptr, 0xC000, 0, &pb, &got), RX_Result_OK);
    if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
      EXPECT_TRUE(close(got.alpha, 0.25f * 0.004f)) << form.name;
      EXPECT_TRUE(close(got.red, faint.red)) << form.name;
    } else {
      EXPECT_TRUE(rxtest::same_pixel(got, Px{})) << form.name << ": " << samp::show(got);
    }
  }
}

// ---- against the kernel, everywhere ----

TYPED_TEST(Straight, EveryClippingFormAgreesWithTheKernelInOnAndAroundEveryWorld) {
  using Px = TypeParam;
  Rng r(0x5EED1001u);
  samp::Mismatches m;
  const auto forms = clipped_forms<Px>();
  int shortcut_whole = 0, shortcut_identical = 0, equal_alpha = 0, below_half = 0;
  for (const auto& world : samp::worlds<Px>(0x5EED1002u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = samp::clipped_axis(world.def.width, r);
    const auto ys = samp::clipped_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        const auto want = samp::clipped_sample<Px>(world.def, x, y);
        // Which step decides, to make sure each one is reached.
        if (samp::fraction(x) == 0 && samp::fraction(y) == 0) {
          ++shortcut_whole;
        } else {
          const int64_t i = samp::whole(x), j = samp::whole(y);
          const Px t[4] = {samp::tap<Px>(world.def, i, j), samp::tap<Px>(world.def, i + 1, j),
                           samp::tap<Px>(world.def, i, j + 1),
                           samp::tap<Px>(world.def, i + 1, j + 1)};
          if (samp::all_identical(t)) {
            ++shortcut_identical;
          } else if (samp::equal_alphas(t)) {
            ++equal_alpha;
          } else if (samp::identical(want.px, Px{})) {
            ++below_half;
          }
        }
        for (const auto& form : forms) {
          Px got;
          std::memset(&got, 0x5A, sizeof got);
          ASSERT_EQ(form.sample(nullptr, x, y, &pb, &got), RX_Result_OK);
          m.check(got, want,
                  [&] { return std::string(form.name) + " " + samp::at_text(world.name, x, y); });
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 100000);
  EXPECT_GT(shortcut_whole, 100);
  EXPECT_GT(shortcut_identical, 1000);  // includes everything outside
  EXPECT_GT(equal_alpha, 1000);
  EXPECT_GT(below_half, 100);
}

// The frame around a sub-world holds opaque pixels: a form that read past
// the sub-world's edge would show them.
TYPED_TEST(Straight, SubWorldEdgesReadTransparentBlackNotTheSurroundingPixels) {
  using Px = TypeParam;
  Rng r(0x5EED1003u);
  const auto world = samp::sub_world<Px>(4, 3, r);
  const RX_SampPB pb{0, 0, 0, &world.def};
  samp::Mismatches m;
  for (const auto& form : clipped_forms<Px>()) {
    for (int32_t j = -2; j <= 3; ++j) {
      for (int32_t i = -2; i <= 4; ++i) {
        for (uint32_t f : {0x0u, 0x8000u, 0x4000u, 0xC000u}) {
          for (uint32_t g : {0x0u, 0x8000u, 0xFFFFu}) {
            const int32_t x = samp::fixed(i, f), y = samp::fixed(j, g);
            Px got;
            ASSERT_EQ(form.sample(nullptr, x, y, &pb, &got), RX_Result_OK);
            m.check(got, samp::clipped_sample<Px>(world.def, x, y),
                    [&] { return std::string(form.name) + " " + samp::at_text(world.name, x, y); });
          }
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

// ---- the all-inside byte ----

TYPED_TEST(Straight, AllInsideByteIsOneExactlyWhenFourTapsAreInsideAndTheFractionIsNotZero) {
  using Px = TypeParam;
  Rng r(0x5EED1004u);
  samp::Mismatches m;
  for (const auto& world : samp::worlds<Px>(0x5EED1005u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = samp::clipped_axis(world.def.width, r);
    const auto ys = samp::clipped_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        const int64_t i = samp::whole(x), j = samp::whole(y);
        const bool whole_pixel = samp::fraction(x) == 0 && samp::fraction(y) == 0;
        const bool all_in = samp::inside(world.def, i, j) && samp::inside(world.def, i + 1, j + 1);
        const uint8_t want = !whole_pixel && all_in ? 1 : 0;
        for (const auto& [name, sample] : plus_forms<Px>()) {
          uint8_t in = 0x77;
          Px got;
          ASSERT_EQ(sample(nullptr, x, y, &pb, &in, &got), RX_Result_OK);
          if (in != want) {
            m.note(std::string(name) + " " + samp::at_text(world.name, x, y) + ": byte " +
                   std::to_string(in) + ", expected " + std::to_string(want));
          }
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

TYPED_TEST(Straight, AllInsideByteStaysZeroOnAWholePixelEvenInside) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 4);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& [name, sample] : plus_forms<Px>()) {
    uint8_t in = 1;
    Px got;
    ASSERT_EQ(sample(nullptr, 1 << 16, 2 << 16, &pb, &in, &got), RX_Result_OK);
    EXPECT_EQ(in, 0) << name;
    EXPECT_TRUE(rxtest::same_pixel(got, world.at(1, 2))) << name;
    // One unit further, all four taps are inside.
    ASSERT_EQ(sample(nullptr, (1 << 16) + 1, 2 << 16, &pb, &in, &got), RX_Result_OK);
    EXPECT_EQ(in, 1) << name;
  }
}

TEST(StraightPlus, IntegerPositionInsideLeavesTheAllInsideByteZero) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> world(3, 3);
  world.at(1, 1) = RX_Pixel8{255, 10, 20, 30};
  const RX_SampPB pb{0, 0, 0, world.def()};
  uint8_t in = 0x77;
  RX_Pixel8 got;
  ASSERT_EQ(RX_SubpixelSamplePlus_Straight(nullptr, 1 << 16, 1 << 16, &pb, &in, &got),
            RX_Result_OK);
  EXPECT_EQ(in, 0);
  EXPECT_TRUE(rxtest::same_pixel(got, world.at(1, 1)));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ---- the weights ----

TEST(SubpixelWeights, ZeroFractionsGiveTheWholeWeightToTheLeftTopTap) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  double w[4] = {-1, -1, -1, -1};
  RX_SubpixelSampleComputeWeight(0, 0, w);
  EXPECT_EQ(w[0], 1.0);
  EXPECT_EQ(w[1], 0.0);
  EXPECT_EQ(w[2], 0.0);
  EXPECT_EQ(w[3], 0.0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(SubpixelWeights, HalvesAndQuartersGoToTheRightTaps) {
  double w[4];
  RX_SubpixelSampleComputeWeight(0x8000, 0x8000, w);
  EXPECT_EQ(w[0], 0.25);
  EXPECT_EQ(w[1], 0.25);
  EXPECT_EQ(w[2], 0.25);
  EXPECT_EQ(w[3], 0.25);
  RX_SubpixelSampleComputeWeight(0x4000, 0, w);  // a quarter to the right
  EXPECT_EQ(w[0], 0.75);
  EXPECT_EQ(w[1], 0.25);
  EXPECT_EQ(w[2], 0.0);
  EXPECT_EQ(w[3], 0.0);
  RX_SubpixelSampleComputeWeight(0, 0xC000, w);  // three quarters down
  EXPECT_EQ(w[0], 0.25);
  EXPECT_EQ(w[1], 0.0);
  EXPECT_EQ(w[2], 0.75);
  EXPECT_EQ(w[3], 0.0);
}

TEST(SubpixelWeights, WeightsFollowTheProductRuleInDoubleForManyFractions) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  using WeightFn = void (*)(uint16_t, uint16_t, double*);
  const auto through_slot =
      reinterpret_cast<WeightFn>(RXp_G_OverFuncs[RX_Slot_SubpixelComputeWeight]);
  ASSERT_NE(through_slot, nullptr);
  Rng r(0x5EED1006u);
  int bad = 0;
  for (int n = 0; n < 4000; ++n) {
    const uint16_t fx = n < 64 ? uint16_t(n * 1024 + (n & 7)) : uint16_t(r.below(0x10000));
    const uint16_t fy = n < 64 ? uint16_t(0xFFFF - n * 1000) : uint16_t(r.below(0x10000));
    const double x = double(fx) * 1.52587890625e-5, y = double(fy) * 1.52587890625e-5;
    const double w11 = x * y, w10 = x - w11, w01 = y - w11;
    const double w00 = 1.0 - w10 - w01 - w11;
    double a[4], b[4];
    RX_SubpixelSampleComputeWeight(fx, fy, a);
    through_slot(fx, fy, b);
    if (a[0] != w00 || a[1] != w10 || a[2] != w01 || a[3] != w11 ||
        std::memcmp(a, b, sizeof a) != 0) {
      if (bad++ < 5) {
        ADD_FAILURE() << "fractions " << fx << ", " << fy << ": (" << a[0] << ", " << a[1] << ", "
                      << a[2] << ", " << a[3] << ") expected (" << w00 << ", " << w10 << ", " << w01
                      << ", " << w11 << ")";
      }
    }
  }
  EXPECT_EQ(bad, 0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TYPED_TEST(Straight, TheReferenceWordIsNeverRead) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(3, 3);
  paint_partial(world);
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : clipped_forms<Px>()) {
    Px got;
    ASSERT_EQ(form.sample(reinterpret_cast<void*>(uintptr_t{8}), 0x8000, 0x4000, &pb, &got),
              RX_Result_OK)
        << form.name;
    EXPECT_TRUE(samp::agrees(got, samp::clipped_sample<Px>(*world.def(), 0x8000, 0x4000)))
        << form.name;
  }
}

}  // namespace
