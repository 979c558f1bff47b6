// The straight-alpha bilinear variants that trust the caller: no clipping,
// weights given for pure translations, four positions a call, and spans of
// consecutive columns with an alpha sum. Each against the kernel written out
// in the test, and against the single-position forms it stands for; the
// SSE2 form birth puts into slot 61 against the plain form; the forms
// through the world object against the plain names; and whole runs with the
// SSE2 word on and off.
#include <cmath>
#include <cstdint>
#include <vector>

#include "cpu_words.h"
#include "sampling_reference.h"

namespace {

using samp::Rng;

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);
template <class Px>
using TranslateSampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, const double*, Px*);
template <class Px>
using SpanSampler = RX_Err (*)(void*, int32_t, int32_t, int32_t, const RX_SampPB*, uint32_t*, Px*);
using Sampler4 = RX_Err (*)(void*, const int32_t*, const RX_SampPB*, RX_Pixel8*);
using TranslateSampler4 = RX_Err (*)(void*, const int32_t*, const RX_SampPB*, const double*,
                                     RX_Pixel8*);

template <class F>
F slot(int index) {
  return reinterpret_cast<F>(RXp_G_OverFuncs[index]);
}

template <class F>
struct Named {
  const char* name;
  F f;
};

// The forms of each depth. `single` is the plain unclipped sampler the
// others are compared with.
template <class Px>
struct Forms;

template <>
struct Forms<RX_Pixel8> {
  static Sampler<RX_Pixel8> single() { return RX_SubpixelSampleNoClip_Straight; }
  static std::vector<Named<Sampler<RX_Pixel8>>> unclipped() {
    return {{"RX_SubpixelSampleNoClip_Straight", RX_SubpixelSampleNoClip_Straight},
            {"RX_SubpixelCPlusPlusNoClip", RX_SubpixelCPlusPlusNoClip},
            {"slot 61", slot<Sampler<RX_Pixel8>>(RX_Slot_SubpixelNoClipStraight8)}};
  }
  static std::vector<Named<TranslateSampler<RX_Pixel8>>> translate() {
    return {
        {"RX_SubpixelSampleTranslateNoClip_Straight", RX_SubpixelSampleTranslateNoClip_Straight},
        {"slot 58", slot<TranslateSampler<RX_Pixel8>>(RX_Slot_SubpixelTranslateNoClipStraight8)}};
  }
  static std::vector<Named<SpanSampler<RX_Pixel8>>> span() {
    return {{"RX_SubpixelSpanSampleTranslateNoClip_Straight",
             RX_SubpixelSpanSampleTranslateNoClip_Straight},
            {"RX_SubpixelSpanSampleCPlusPlus", RX_SubpixelSpanSampleCPlusPlus},
            {"slot 86", slot<SpanSampler<RX_Pixel8>>(RX_Slot_SpanSampleTranslateNoClip8)}};
  }
};

template <>
struct Forms<RX_Pixel16> {
  static Sampler<RX_Pixel16> single() { return RX_SubpixelSampleNoClip_Straight16; }
  static std::vector<Named<Sampler<RX_Pixel16>>> unclipped() {
    return {{"RX_SubpixelSampleNoClip_Straight16", RX_SubpixelSampleNoClip_Straight16},
            {"RX_SubpixelCPlusPlusNoClip16", RX_SubpixelCPlusPlusNoClip16},
            {"slot 71", slot<Sampler<RX_Pixel16>>(RX_Slot_SubpixelNoClip16)}};
  }
  static std::vector<Named<TranslateSampler<RX_Pixel16>>> translate() {
    return {{"RX_SubpixelSampleTranslateNoClip_Straight16",
             RX_SubpixelSampleTranslateNoClip_Straight16},
            {"slot 68", slot<TranslateSampler<RX_Pixel16>>(RX_Slot_SubpixelTranslateNoClip16)}};
  }
  static std::vector<Named<SpanSampler<RX_Pixel16>>> span() {
    return {{"RX_SubpixelSpanSampleTranslateNoClip_Straight16",
             RX_SubpixelSpanSampleTranslateNoClip_Straight16},
            {"RX_SubpixelSpanSampleCPlusPlus16", RX_SubpixelSpanSampleCPlusPlus16},
            {"slot 87", slot<SpanSampler<RX_Pixel16>>(RX_Slot_SpanSampleTranslateNoClip16)}};
  }
};

template <>
struct Forms<RX_PixelFloat> {
  static Sampler<RX_PixelFloat> single() { return RX_SubpixelCPlusPlusNoClipFloat; }
  static std::vector<Named<Sampler<RX_PixelFloat>>> unclipped() {
    return {{"RX_SubpixelCPlusPlusNoClipFloat", RX_SubpixelCPlusPlusNoClipFloat}};
  }
  static std::vector<Named<TranslateSampler<RX_PixelFloat>>> translate() {
    return {{"RX_SubpixelSampleTranslateNoClipCPlusPlusFloat",
             RX_SubpixelSampleTranslateNoClipCPlusPlusFloat}};
  }
  static std::vector<Named<SpanSampler<RX_PixelFloat>>> span() {
    return {{"RX_SubpixelSpanSampleCPlusPlusFloat", RX_SubpixelSpanSampleCPlusPlusFloat}};
  }
};

// Worlds big enough for two columns and two rows of taps.
template <class Px>
std::vector<samp::World<Px>> unclipped_worlds(uint32_t seed) {
  std::vector<samp::World<Px>> out;
  for (auto& w : samp::worlds<Px>(seed)) {
    if (w.def.width >= 2 && w.def.height >= 2) out.push_back(std::move(w));
  }
  return out;
}

template <class Px>
class Variants : public rxtest::BornPackage {};
TYPED_TEST_SUITE(Variants, rxtest::AllPixelTypes);

// ---- unclipped ----

TYPED_TEST(Variants, UnclippedFormsAgreeWithTheKernelWhereverAllTapsAreInside) {
  using Px = TypeParam;
  Rng r(0x5EED2001u);
  samp::Mismatches m;
  const auto forms = Forms<Px>::unclipped();
  for (const auto& world : unclipped_worlds<Px>(0x5EED2002u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = samp::unclipped_axis(world.def.width, r);
    const auto ys = samp::unclipped_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        const auto want = samp::clipped_sample<Px>(world.def, x, y);  // nothing is clipped here
        for (const auto& form : forms) {
          Px got;
          std::memset(&got, 0x5A, sizeof got);
          ASSERT_EQ(form.f(nullptr, x, y, &pb, &got), RX_Result_OK);
          m.check(got, want,
                  [&] { return std::string(form.name) + " " + samp::at_text(world.name, x, y); });
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 20000);
}

TYPED_TEST(Variants, UnclippedFormsGiveExactlyWhatTheClippingFormsGiveInside) {
  using Px = TypeParam;
  Rng r(0x5EED2003u);
  samp::Mismatches m;
  Sampler<Px> clipping;
  if constexpr (std::is_same_v<Px, RX_Pixel8>)
    clipping = RX_SubpixelSample_Straight;
  else if constexpr (std::is_same_v<Px, RX_Pixel16>)
    clipping = RX_SubpixelSample_Straight16;
  else
    clipping = RX_SubpixelCPlusPlusFloat;
  for (const auto& world : unclipped_worlds<Px>(0x5EED2004u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int n = 0; n < 3000; ++n) {
      const int32_t x = samp::fixed(r.between(0, world.def.width - 2), r.below(0x10000));
      const int32_t y = samp::fixed(r.between(0, world.def.height - 2), r.below(0x10000));
      Px want, got;
      ASSERT_EQ(clipping(nullptr, x, y, &pb, &want), RX_Result_OK);
      for (const auto& form : Forms<Px>::unclipped()) {
        ASSERT_EQ(form.f(nullptr, x, y, &pb, &got), RX_Result_OK);
        m.check_equal(got, want, [&] {
          return std::string(form.name) + " " + samp::at_text(world.name, x, y);
        });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

// ---- weights given ----

// Weight sets of the fractions, and sets that belong to no fraction at all,
// so that a form that computed its own weights would show.
std::vector<std::vector<double>> odd_weight_sets() {
  return {{1, 0, 0, 0},         {0, 0, 0, 1},         {0, 1, 0, 0},        {0.5, 0.5, 0, 0},
          {0.1, 0.2, 0.3, 0.4}, {0.4, 0.3, 0.2, 0.1}, {0.7, 0.0, 0.0, 0.3}};
}

TYPED_TEST(Variants, TranslateFormsAgreeWithTheKernelUsingTheGivenWeights) {
  using Px = TypeParam;
  Rng r(0x5EED2005u);
  samp::Mismatches m;
  const auto forms = Forms<Px>::translate();
  for (const auto& world : unclipped_worlds<Px>(0x5EED2006u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = samp::unclipped_axis(world.def.width, r);
    const auto ys = samp::unclipped_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        // The weights of the position's own fraction, and one odd set.
        double own[4];
        RX_SubpixelSampleComputeWeight(uint16_t(samp::fraction(x)), uint16_t(samp::fraction(y)),
                                       own);
        const auto odd = odd_weight_sets()[r.below(7)];
        for (const double* given : {static_cast<const double*>(own), odd.data()}) {
          const auto want = samp::translate_sample<Px>(world.def, x, y, given);
          for (const auto& form : forms) {
            Px got;
            std::memset(&got, 0x5A, sizeof got);
            ASSERT_EQ(form.f(nullptr, x, y, &pb, given, &got), RX_Result_OK);
            m.check(got, want,
                    [&] { return std::string(form.name) + " " + samp::at_text(world.name, x, y); });
          }
        }
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 20000);
}

TYPED_TEST(Variants, TranslateFormsOnAWholePixelGiveThePixelWhateverTheWeights) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(3, 3);
  for (int32_t j = 0; j < 3; ++j)
    for (int32_t i = 0; i < 3; ++i) world.at(i, j) = rxtest::pixel_for<Px>(i + 2, j + 5);
  Px p = world.at(1, 1);
  p.alpha = 0;
  world.at(1, 1) = p;
  const RX_SampPB pb{0, 0, 0, world.def()};
  const double weights[4] = {0.1, 0.2, 0.3, 0.4};
  for (const auto& form : Forms<Px>::translate()) {
    Px got;
    ASSERT_EQ(form.f(nullptr, 1 << 16, 1 << 16, &pb, weights, &got), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, p)) << form.name << ": " << samp::show(got);
  }
}

// Where the given weights, converted into the kernel's precision, are the
// very weights the kernel computes from the fraction, the translate form and
// the unclipped form are the same computation.
TYPED_TEST(Variants, TranslateFormsWithTheFractionsOwnWeightsMatchTheUnclippedForm) {
  using Px = TypeParam;
  Rng r(0x5EED2007u);
  samp::Mismatches m;
  int same_weights = 0;
  for (const auto& world : unclipped_worlds<Px>(0x5EED2008u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int n = 0; n < 4000; ++n) {
      const uint32_t fx = n % 5 == 0 ? samp::kFractions[r.below(8)] : r.below(0x10000);
      const uint32_t fy = n % 7 == 0 ? samp::kFractions[r.below(8)] : r.below(0x10000);
      const int32_t x = samp::fixed(r.between(0, world.def.width - 2), fx);
      const int32_t y = samp::fixed(r.between(0, world.def.height - 2), fy);
      double given[4];
      RX_SubpixelSampleComputeWeight(uint16_t(fx), uint16_t(fy), given);
      const auto converted = samp::Kernel<Px>::from_given(given);
      const auto computed = samp::Kernel<Px>::from_fractions(fx, fy);
      if (std::memcmp(&converted, &computed, sizeof converted) != 0) continue;
      ++same_weights;
      Px want;
      ASSERT_EQ(Forms<Px>::single()(nullptr, x, y, &pb, &want), RX_Result_OK);
      for (const auto& form : Forms<Px>::translate()) {
        Px got;
        ASSERT_EQ(form.f(nullptr, x, y, &pb, given, &got), RX_Result_OK);
        m.check_equal(got, want, [&] {
          return std::string(form.name) + " " + samp::at_text(world.name, x, y);
        });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(same_weights, 1000);
}

// ---- spans ----

TYPED_TEST(Variants, SpansAgreeWithTheKernelColumnByColumnAndSumTheirAlphas) {
  using Px = TypeParam;
  Rng r(0x5EED2009u);
  samp::Mismatches m;
  for (const auto& world : unclipped_worlds<Px>(0x5EED200Au)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const int32_t w = world.def.width, h = world.def.height;
    for (int trial = 0; trial < 120; ++trial) {
      const int32_t i = r.between(0, w - 2);
      const int32_t count = r.between(0, w - 1 - i);  // the last right tap is column i + count
      const int32_t x =
          samp::fixed(i, trial % 3 == 0 ? samp::kFractions[r.below(8)] : r.below(0x10000));
      const int32_t y = samp::fixed(
          r.between(0, h - 2), trial % 4 == 0 ? samp::kFractions[r.below(8)] : r.below(0x10000));
      const bool whole_pixel = samp::fraction(x) == 0 && samp::fraction(y) == 0;
      for (const auto& form : Forms<Px>::span()) {
        std::vector<Px> out(size_t(count) + 2);
        std::memset(out.data(), 0x5A, out.size() * sizeof(Px));
        const Px sentinel = out.back();
        uint32_t sum = 1000 + uint32_t(trial);
        ASSERT_EQ(form.f(nullptr, count, x, y, &pb, &sum, out.data()), RX_Result_OK);
        uint32_t want_sum = 1000 + uint32_t(trial);
        const std::string where = std::string(form.name) + " count " + std::to_string(count) + " " +
                                  samp::at_text(world.name, x, y);
        for (int32_t k = 0; k < count; ++k) {
          m.check(out[size_t(k)], samp::span_sample<Px>(world.def, x, y, k),
                  [&] { return std::string(where + " column " + std::to_string(k)); });
          want_sum += samp::alpha_units(out[size_t(k)]);
          if (!whole_pixel) {
            // The single unclipped sampler at the same column.
            Px single;
            ASSERT_EQ(Forms<Px>::single()(nullptr, x + (k << 16), y, &pb, &single), RX_Result_OK);
            m.check_equal(out[size_t(k)], single, [&] {
              return std::string(where + " single call, column " + std::to_string(k));
            });
          }
        }
        if (sum != want_sum) {
          m.note(where + ": alpha sum " + std::to_string(sum) + ", expected " +
                 std::to_string(want_sum));
        }
        m.check_equal(out[size_t(count)], sentinel,
                      [&] { return std::string(where + " wrote past the span"); });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
}

// A span has no whole-pixel shortcut: at fraction 0 it runs the kernel with
// the whole weight on the left-top tap, so a transparent pixel whose
// neighbours differ comes out as transparent black, colours and all.
TYPED_TEST(Variants, SpanAtAWholePositionRunsTheKernelWithoutTheWholePixelShortcut) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> world(4, 2);
  for (int32_t j = 0; j < 2; ++j) {
    for (int32_t i = 0; i < 4; ++i) {
      Px p = rxtest::pixel_for<Px>(i + 3, j + 1);
      world.at(i, j) = p;
    }
  }
  Px transparent = world.at(1, 0);
  transparent.alpha = 0;
  world.at(1, 0) = transparent;
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& form : Forms<Px>::span()) {
    Px out[3];
    uint32_t sum = 0;
    ASSERT_EQ(form.f(nullptr, 3, 0, 0, &pb, &sum, out), RX_Result_OK);
    for (int32_t k = 0; k < 3; ++k) {
      EXPECT_TRUE(samp::agrees(out[k], samp::span_sample<Px>(*world.def(), 0, 0, k)))
          << form.name << " column " << k << ": " << samp::show(out[k]);
    }
    EXPECT_TRUE(rxtest::same_pixel(out[1], Px{})) << form.name << ": " << samp::show(out[1]);
    EXPECT_EQ(sum, samp::alpha_units(out[0]) + samp::alpha_units(out[2])) << form.name;
  }
}

TEST(SpanAlphaSum, FloatAlphasCountInEightBitUnitsRoundedUp) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_PixelFloat> world(4, 2);
  const float alphas[4] = {0.5f, 0.001f, 0.0f, 1.0f};
  for (int32_t j = 0; j < 2; ++j)
    for (int32_t i = 0; i < 4; ++i) world.at(i, j) = RX_PixelFloat{alphas[i], 0.25f, 0.5f, 0.75f};
  const RX_SampPB pb{0, 0, 0, world.def()};
  RX_PixelFloat out[3];
  uint32_t sum = 7;
  // Half way down, no step to the right: each result has its column's alpha.
  ASSERT_EQ(RX_SubpixelSpanSampleCPlusPlusFloat(nullptr, 3, 0, 0x8000, &pb, &sum, out),
            RX_Result_OK);
  EXPECT_FLOAT_EQ(out[0].alpha, 0.5f);
  EXPECT_FLOAT_EQ(out[1].alpha, 0.001f);
  EXPECT_EQ(out[2].alpha, 0.0f);
  // 0.5 is 127.5 units, rounded up 128; 0.001 is 0.255, rounded up 1; 0 adds 0.
  EXPECT_EQ(sum, 7u + 128u + 1u + 0u);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// One float result of the given alpha (the left-top tap at a whole position;
// the right-hand tap differs so that the kernel runs): what it adds to the
// span's sum.
uint32_t float_span_units(float alpha) {
  rxtest::TestWorld<RX_PixelFloat> world(2, 2);
  world.at(0, 0) = RX_PixelFloat{alpha, 0.25f, 0.5f, 0.75f};
  world.at(1, 0) = RX_PixelFloat{0.0f, 0.0f, 0.0f, 0.0f};
  world.at(0, 1) = world.at(1, 0);
  world.at(1, 1) = world.at(1, 0);
  const RX_SampPB pb{0, 0, 0, world.def()};
  RX_PixelFloat out;
  uint32_t sum = 0;
  EXPECT_EQ(RX_SubpixelSpanSampleCPlusPlusFloat(nullptr, 1, 0, 0, &pb, &sum, &out), RX_Result_OK);
  EXPECT_EQ(out.alpha, alpha);
  return sum;
}

TEST(SpanAlphaSum, OverRangeFloatAlphasCountInFull) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(float_span_units(4.0f), 1020u);  // 4 x 255
  EXPECT_EQ(float_span_units(1000.0f), 255000u);
  EXPECT_EQ(float_span_units(-0.5f), 0u);  // not above 0 adds nothing
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ceil(2e6 x 255) = 510,000,000 still fits the 32-bit sum.
TEST(SpanAlphaSum, AVeryLargeFloatAlphaCountsItsWholeValueInEightBitUnits) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(float_span_units(2.0e6f), 510000000u);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(SpanAlphaSum, AnEmptySpanAddsNothingAndWritesNothing) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> world(3, 2);
  world.at(0, 0) = RX_Pixel8{255, 1, 2, 3};
  const RX_SampPB pb{0, 0, 0, world.def()};
  RX_Pixel8 out{9, 9, 9, 9};
  uint32_t sum = 42;
  ASSERT_EQ(
      RX_SubpixelSpanSampleTranslateNoClip_Straight(nullptr, 0, 0x8000, 0x8000, &pb, &sum, &out),
      RX_Result_OK);
  EXPECT_EQ(sum, 42u);
  EXPECT_TRUE(rxtest::same_pixel(out, RX_Pixel8{9, 9, 9, 9}));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ---- the forms through the world object against the plain names ----

TEST(WorldObjectForms, GiveExactlyTheResultsOfTheirStraightCounterparts) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  Rng r(0x5EED200Bu);
  samp::Mismatches m;
  for (const auto& world : samp::worlds<RX_Pixel8>(0x5EED200Cu)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int32_t y : samp::clipped_axis(world.def.height, r)) {
      for (int32_t x : samp::clipped_axis(world.def.width, r)) {
        RX_Pixel8 a, b;
        RX_SubpixelSample_Straight(nullptr, x, y, &pb, &a);
        RX_SubpixelCPlusPlus(nullptr, x, y, &pb, &b);
        m.check_equal(b, a, [&] {
          return std::string("RX_SubpixelCPlusPlus " + samp::at_text(world.name, x, y));
        });
      }
    }
  }
  for (const auto& world : samp::worlds<RX_Pixel16>(0x5EED200Du)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int32_t y : samp::clipped_axis(world.def.height, r)) {
      for (int32_t x : samp::clipped_axis(world.def.width, r)) {
        RX_Pixel16 a, b;
        RX_SubpixelSample_Straight16(nullptr, x, y, &pb, &a);
        RX_SubpixelCPlusPlus16(nullptr, x, y, &pb, &b);
        m.check_equal(b, a, [&] {
          return std::string("RX_SubpixelCPlusPlus16 " + samp::at_text(world.name, x, y));
        });
      }
    }
  }
  for (const auto& world : unclipped_worlds<RX_Pixel8>(0x5EED200Eu)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int32_t y : samp::unclipped_axis(world.def.height, r)) {
      for (int32_t x : samp::unclipped_axis(world.def.width, r)) {
        RX_Pixel8 a, b;
        RX_SubpixelSampleNoClip_Straight(nullptr, x, y, &pb, &a);
        RX_SubpixelCPlusPlusNoClip(nullptr, x, y, &pb, &b);
        m.check_equal(b, a, [&] {
          return std::string("RX_SubpixelCPlusPlusNoClip " + samp::at_text(world.name, x, y));
        });
      }
    }
  }
  for (const auto& world : unclipped_worlds<RX_Pixel16>(0x5EED200Fu)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int32_t y : samp::unclipped_axis(world.def.height, r)) {
      for (int32_t x : samp::unclipped_axis(world.def.width, r)) {
        RX_Pixel16 a, b;
        RX_SubpixelSampleNoClip_Straight16(nullptr, x, y, &pb, &a);
        RX_SubpixelCPlusPlusNoClip16(nullptr, x, y, &pb, &b);
        m.check_equal(b, a, [&] {
          return std::string("RX_SubpixelCPlusPlusNoClip16 " + samp::at_text(world.name, x, y));
        });
      }
    }
  }
  for (const auto& world : samp::worlds<RX_PixelFloat>(0x5EED2010u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int32_t y : samp::clipped_axis(world.def.height, r)) {
      for (int32_t x : samp::clipped_axis(world.def.width, r)) {
        RX_PixelFloat a, b;
        uint8_t in;
        RX_SubpixelCPlusPlusFloat(nullptr, x, y, &pb, &a);
        RX_SubpixelSpanSampleAllInCPlusPlusFloat(nullptr, x, y, &pb, &in, &b);
        m.check_equal(b, a, [&] {
          return std::string("RX_SubpixelSpanSampleAllInCPlusPlusFloat " +
                             samp::at_text(world.name, x, y));
        });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(WorldObjectForms, SpansThroughTheWorldObjectMatchTheTranslateSpans) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  Rng r(0x5EED2011u);
  samp::Mismatches m;
  for (const auto& world : unclipped_worlds<RX_Pixel8>(0x5EED2012u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int trial = 0; trial < 100; ++trial) {
      const int32_t i = r.between(0, world.def.width - 2), count = world.def.width - 1 - i;
      const int32_t x = samp::fixed(i, r.below(0x10000));
      const int32_t y = samp::fixed(r.between(0, world.def.height - 2), r.below(0x10000));
      std::vector<RX_Pixel8> a(size_t(count) + 1), b(size_t(count) + 1);
      uint32_t sa = 0, sb = 0;
      RX_SubpixelSpanSampleTranslateNoClip_Straight(nullptr, count, x, y, &pb, &sa, a.data());
      RX_SubpixelSpanSampleCPlusPlus(nullptr, count, x, y, &pb, &sb, b.data());
      for (int32_t k = 0; k < count; ++k) {
        m.check_equal(b[size_t(k)], a[size_t(k)],
                      [&] { return std::string("8-bit span " + samp::at_text(world.name, x, y)); });
      }
      if (sa != sb) m.note("8-bit span sums differ at " + samp::at_text(world.name, x, y));
    }
  }
  for (const auto& world : unclipped_worlds<RX_Pixel16>(0x5EED2013u)) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    for (int trial = 0; trial < 100; ++trial) {
      const int32_t i = r.between(0, world.def.width - 2), count = world.def.width - 1 - i;
      const int32_t x = samp::fixed(i, r.below(0x10000));
      const int32_t y = samp::fixed(r.between(0, world.def.height - 2), r.below(0x10000));
      std::vector<RX_Pixel16> a(size_t(count) + 1), b(size_t(count) + 1);
      uint32_t sa = 0, sb = 0;
      RX_SubpixelSpanSampleTranslateNoClip_Straight16(nullptr, count, x, y, &pb, &sa, a.data());
      RX_SubpixelSpanSampleCPlusPlus16(nullptr, count, x, y, &pb, &sb, b.data());
      for (int32_t k = 0; k < count; ++k) {
        m.check_equal(b[size_t(k)], a[size_t(k)], [&] {
          return std::string("16-bit span " + samp::at_text(world.name, x, y));
        });
      }
      if (sa != sb) m.note("16-bit span sums differ at " + samp::at_text(world.name, x, y));
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ---- processor word 2: the SSE2 kernel ----

class SSE2Word : public rxtest::BornDuringTest {
 protected:
  void born(bool sse2) { BornDuringTest::born({{rxtest::kCpuWordSSE2, sse2}}); }
};

// Content for the vector kernel: random worlds, and worlds of alphas and
// colours chosen so that many results land near a rounding point (halves
// and thirds of small alphas).
std::vector<samp::World<RX_Pixel8>> sse2_worlds() {
  auto out = unclipped_worlds<RX_Pixel8>(0x5EED2014u);
  Rng r(0x5EED2015u);
  auto ties = samp::plain_world<RX_Pixel8>("near ties 12x10", 12, 10, 4, 4, r);
  for (int32_t j = 0; j < 10; ++j) {
    for (int32_t i = 0; i < 12; ++i) {
      const uint8_t a = uint8_t((i * 3 + j) % 5 == 0 ? 0 : 1 + (i + 2 * j) % 6);
      samp::at<RX_Pixel8>(ties.def, i, j) =
          RX_Pixel8{a, uint8_t(i * 21 + j), uint8_t(255 - i * 7 * j % 256), uint8_t((i ^ j) * 17)};
    }
  }
  out.push_back(std::move(ties));
  return out;
}

TEST_F(SSE2Word, SlotSixtyOneHoldsAVectorFormThatEqualsThePlainUnclippedSampler) {
  born(true);
  const auto vector_form = slot<Sampler<RX_Pixel8>>(RX_Slot_SubpixelNoClipStraight8);
  ASSERT_NE(vector_form, nullptr);
  EXPECT_NE(vector_form, &RX_SubpixelSampleNoClip_Straight);
  Rng r(0x5EED2016u);
  samp::Mismatches m;
  for (const auto& world : sse2_worlds()) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const auto xs = samp::unclipped_axis(world.def.width, r);
    const auto ys = samp::unclipped_axis(world.def.height, r);
    for (int32_t y : ys) {
      for (int32_t x : xs) {
        RX_Pixel8 plain, vector;
        ASSERT_EQ(RX_SubpixelSampleNoClip_Straight(nullptr, x, y, &pb, &plain), RX_Result_OK);
        ASSERT_EQ(vector_form(nullptr, x, y, &pb, &vector), RX_Result_OK);
        m.check_equal(vector, plain,
                      [&] { return std::string("slot 61 " + samp::at_text(world.name, x, y)); });
        m.check(vector, samp::clipped_sample<RX_Pixel8>(world.def, x, y), [&] {
          return std::string("slot 61 against the kernel " + samp::at_text(world.name, x, y));
        });
      }
    }
  }
  EXPECT_EQ(m.count(), 0) << m.text();
  EXPECT_GT(m.checked(), 20000);
}

TEST_F(SSE2Word, WithoutTheWordSlotSixtyOneHoldsThePlainUnclippedSampler) {
  born(false);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_SubpixelNoClipStraight8],
            reinterpret_cast<RX_OverFunc>(&RX_SubpixelSampleNoClip_Straight));
}

// Four positions a call against four single calls, with the word on and off.
TEST_F(SSE2Word, FourPositionFormsGiveWhatFourSingleCallsGive) {
  for (bool sse2 : {true, false}) {
    born(sse2);
    const auto slot83 = slot<Sampler4>(RX_Slot_SubpixelNoClipStraight4);
    const auto slot84 = slot<TranslateSampler4>(RX_Slot_SubpixelTranslateNoClipStraight4);
    ASSERT_NE(slot83, nullptr);
    ASSERT_NE(slot84, nullptr);
    Rng r(0x5EED2017u);
    samp::Mismatches m;
    for (const auto& world : sse2_worlds()) {
      const RX_SampPB pb{0, 0, 0, &world.def};
      const int32_t w = world.def.width, h = world.def.height;
      for (int trial = 0; trial < 600; ++trial) {
        // Four positions, each with its own fraction, whole ones among them.
        int32_t positions[8];
        for (int k = 0; k < 4; ++k) {
          const bool whole = r.below(6) == 0;
          positions[2 * k] = samp::fixed(r.between(0, w - 2), whole ? 0 : r.below(0x10000));
          positions[2 * k + 1] = samp::fixed(r.between(0, h - 2), whole ? 0 : r.below(0x10000));
        }
        const std::string where = world.name + (sse2 ? " (word 2 on)" : " (word 2 off)");
        for (const auto& [name, four] : {Named<Sampler4>{"RX_SubpixelSampleNoClip_Straight_4",
                                                         RX_SubpixelSampleNoClip_Straight_4},
                                         Named<Sampler4>{"slot 83", slot83}}) {
          RX_Pixel8 results[4];
          ASSERT_EQ(four(nullptr, positions, &pb, results), RX_Result_OK);
          for (int k = 0; k < 4; ++k) {
            RX_Pixel8 single;
            ASSERT_EQ(RX_SubpixelSampleNoClip_Straight(nullptr, positions[2 * k],
                                                       positions[2 * k + 1], &pb, &single),
                      RX_Result_OK);
            m.check_equal(results[k], single, [&] {
              return std::string(name) + " " +
                     samp::at_text(where, positions[2 * k], positions[2 * k + 1]);
            });
          }
        }
        // A translation: one fraction for all four, so one weight set;
        // now and then a whole position, which takes the pixel.
        const uint32_t fx = r.below(0x10000), fy = r.below(0x10000);
        double weights[4];
        RX_SubpixelSampleComputeWeight(uint16_t(fx), uint16_t(fy), weights);
        for (int k = 0; k < 4; ++k) {
          const bool whole = r.below(6) == 0;
          positions[2 * k] = samp::fixed(r.between(0, w - 2), whole ? 0 : fx);
          positions[2 * k + 1] = samp::fixed(r.between(0, h - 2), whole ? 0 : fy);
        }
        for (const auto& [name, four] :
             {Named<TranslateSampler4>{"RX_SubpixelSampleTranslateNoClip_Straight_4",
                                       RX_SubpixelSampleTranslateNoClip_Straight_4},
              Named<TranslateSampler4>{"slot 84", slot84}}) {
          RX_Pixel8 results[4];
          ASSERT_EQ(four(nullptr, positions, &pb, weights, results), RX_Result_OK);
          for (int k = 0; k < 4; ++k) {
            RX_Pixel8 single;
            ASSERT_EQ(RX_SubpixelSampleTranslateNoClip_Straight(
                          nullptr, positions[2 * k], positions[2 * k + 1], &pb, weights, &single),
                      RX_Result_OK);
            const std::string at = samp::at_text(where, positions[2 * k], positions[2 * k + 1]);
            m.check_equal(results[k], single, [&] { return std::string(name) + " " + at; });
            m.check(results[k],
                    samp::translate_sample<RX_Pixel8>(world.def, positions[2 * k],
                                                      positions[2 * k + 1], weights),
                    [&] { return std::string(name) + " against the kernel " + at; });
          }
        }
      }
    }
    EXPECT_EQ(m.count(), 0) << m.text();
    die();
  }
}

// Every 8-bit bilinear form, by name and through its slot, over the same
// worlds and positions: the run with word 2 on gives what the run with it
// off gives.
std::vector<RX_Pixel8> run_every_8bit_form(uint32_t& sum_out) {
  std::vector<RX_Pixel8> out;
  uint32_t sum = 0;
  Rng r(0x5EED2018u);
  for (const auto& world : sse2_worlds()) {
    const RX_SampPB pb{0, 0, 0, &world.def};
    const int32_t w = world.def.width, h = world.def.height;
    for (int n = 0; n < 500; ++n) {
      const int32_t cx = samp::fixed(r.between(-2, w + 1), r.below(0x10000));
      const int32_t cy = samp::fixed(r.between(-2, h + 1), r.below(0x10000));
      const int32_t x = samp::fixed(r.between(0, w - 2), n % 9 == 0 ? 0 : r.below(0x10000));
      const int32_t y = samp::fixed(r.between(0, h - 2), n % 9 == 0 ? 0 : r.below(0x10000));
      RX_Pixel8 p;
      uint8_t in;
      RX_SubpixelSample_Straight(nullptr, cx, cy, &pb, &p), out.push_back(p);
      RX_SubpixelCPlusPlus(nullptr, cx, cy, &pb, &p), out.push_back(p);
      RX_SubpixelSamplePlus_Straight(nullptr, cx, cy, &pb, &in, &p), out.push_back(p);
      slot<Sampler<RX_Pixel8>>(RX_Slot_SubpixelSampleStraight8)(nullptr, cx, cy, &pb, &p),
          out.push_back(p);
      RX_SubpixelSampleNoClip_Straight(nullptr, x, y, &pb, &p), out.push_back(p);
      RX_SubpixelCPlusPlusNoClip(nullptr, x, y, &pb, &p), out.push_back(p);
      slot<Sampler<RX_Pixel8>>(RX_Slot_SubpixelNoClipStraight8)(nullptr, x, y, &pb, &p),
          out.push_back(p);
      double weights[4];
      RX_SubpixelSampleComputeWeight(uint16_t(samp::fraction(x)), uint16_t(samp::fraction(y)),
                                     weights);
      RX_SubpixelSampleTranslateNoClip_Straight(nullptr, x, y, &pb, weights, &p), out.push_back(p);
      slot<TranslateSampler<RX_Pixel8>>(RX_Slot_SubpixelTranslateNoClipStraight8)(nullptr, x, y,
                                                                                  &pb, weights, &p);
      out.push_back(p);
      const int32_t positions[8] = {x, y, x, y, x, y, x, y};
      RX_Pixel8 four[4];
      RX_SubpixelSampleNoClip_Straight_4(nullptr, positions, &pb, four);
      out.insert(out.end(), four, four + 4);
      RX_SubpixelSampleTranslateNoClip_Straight_4(nullptr, positions, &pb, weights, four);
      out.insert(out.end(), four, four + 4);
      const int32_t count = w - 1 - samp::whole(x);
      std::vector<RX_Pixel8> row(static_cast<size_t>(count));
      RX_SubpixelSpanSampleTranslateNoClip_Straight(nullptr, count, x, y, &pb, &sum, row.data());
      out.insert(out.end(), row.begin(), row.end());
      RX_SubpixelSpanSampleCPlusPlus(nullptr, count, x, y, &pb, &sum, row.data());
      out.insert(out.end(), row.begin(), row.end());
      slot<SpanSampler<RX_Pixel8>>(RX_Slot_SpanSampleTranslateNoClip8)(nullptr, count, x, y, &pb,
                                                                       &sum, row.data());
      out.insert(out.end(), row.begin(), row.end());
    }
  }
  sum_out = sum;
  return out;
}

TEST_F(SSE2Word, RunsWithTheWordOnAndOffGiveTheSameResults) {
  born(true);
  uint32_t sum_on = 0, sum_off = 0;
  const auto on = run_every_8bit_form(sum_on);
  die();
  born(false);
  const auto off = run_every_8bit_form(sum_off);
  ASSERT_EQ(on.size(), off.size());
  size_t differ = 0, first = on.size();
  for (size_t k = 0; k < on.size(); ++k) {
    if (!samp::identical(on[k], off[k])) {
      if (differ++ == 0) first = k;
    }
  }
  EXPECT_EQ(differ, 0u) << "first at result " << first << ": " << samp::show(on[first]) << " with, "
                        << samp::show(off[first]) << " without";
  EXPECT_EQ(sum_on, sum_off);
  EXPECT_GT(on.size(), 10000u);
}

}  // namespace
