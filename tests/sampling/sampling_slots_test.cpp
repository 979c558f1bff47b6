// The sampling slots of the override table: what birth puts there (slot 61
// depends on word 2 of the CPU data), which sampling slots stay empty, and
// overrides installed by the host.
#include <cstdint>

#include "cpu_words.h"
#include "sampling_reference.h"

namespace {

template <class F>
RX_OverFunc as_slot(F* f) {
  return reinterpret_cast<RX_OverFunc>(f);
}

struct Expectation {
  int slot;
  RX_OverFunc func;
  const char* name;
};

// Every sampling slot whose default does not depend on the processor.
std::vector<Expectation> fixed_defaults() {
  return {
      {RX_Slot_NNSample8, as_slot(&RX_NNSample), "RX_NNSample"},
      {RX_Slot_SubpixelSampleStraight8, as_slot(&RX_SubpixelSample_Straight),
       "RX_SubpixelSample_Straight"},
      {RX_Slot_SubpixelSamplePremul8, as_slot(&RX_SubpixelSample_Premul),
       "RX_SubpixelSample_Premul"},
      {RX_Slot_SubpixelComputeWeight, as_slot(&RX_SubpixelSampleComputeWeight),
       "RX_SubpixelSampleComputeWeight"},
      {RX_Slot_SubpixelTranslateNoClipStraight8,
       as_slot(&RX_SubpixelSampleTranslateNoClip_Straight),
       "RX_SubpixelSampleTranslateNoClip_Straight"},
      {RX_Slot_SubpixelPlusStraight8, as_slot(&RX_SubpixelSamplePlus_Straight),
       "RX_SubpixelSamplePlus_Straight"},
      {RX_Slot_NNSample16, as_slot(&RX_NNSample16), "RX_NNSample16"},
      {RX_Slot_SubpixelSampleStraight16, as_slot(&RX_SubpixelSample_Straight16),
       "RX_SubpixelSample_Straight16"},
      {RX_Slot_SubpixelTranslateNoClip16, as_slot(&RX_SubpixelSampleTranslateNoClip_Straight16),
       "RX_SubpixelSampleTranslateNoClip_Straight16"},
      {RX_Slot_SubpixelPlus16, as_slot(&RX_SubpixelSamplePlus_Straight16),
       "RX_SubpixelSamplePlus_Straight16"},
      {RX_Slot_SubpixelNoClip16, as_slot(&RX_SubpixelSampleNoClip_Straight16),
       "RX_SubpixelSampleNoClip_Straight16"},
      {RX_Slot_SubpixelNoClipStraight4, as_slot(&RX_SubpixelSampleNoClip_Straight_4),
       "RX_SubpixelSampleNoClip_Straight_4"},
      {RX_Slot_SubpixelTranslateNoClipStraight4,
       as_slot(&RX_SubpixelSampleTranslateNoClip_Straight_4),
       "RX_SubpixelSampleTranslateNoClip_Straight_4"},
      {RX_Slot_SpanSampleTranslateNoClip8, as_slot(&RX_SubpixelSpanSampleTranslateNoClip_Straight),
       "RX_SubpixelSpanSampleTranslateNoClip_Straight"},
      {RX_Slot_SpanSampleTranslateNoClip16,
       as_slot(&RX_SubpixelSpanSampleTranslateNoClip_Straight16),
       "RX_SubpixelSpanSampleTranslateNoClip_Straight16"},
  };
}

class SamplingSlots : public rxtest::BornDuringTest {
 protected:
  void born(bool sse2) { BornDuringTest::born({{rxtest::kCpuWordSSE2, sse2}}); }
};

TEST_F(SamplingSlots, BirthPutsEverySamplerIntoItsSlotWithAndWithoutSSE2) {
  for (bool sse2 : {false, true}) {
    born(sse2);
    for (const auto& e : fixed_defaults()) {
      EXPECT_EQ(RXp_G_OverFuncs[e.slot], e.func) << "slot " << e.slot << " should hold " << e.name
                                                 << (sse2 ? " (word 2 on)" : " (word 2 off)");
    }
    die();
  }
}

TEST_F(SamplingSlots, SlotSixtyOneHoldsThePlainUnclippedSamplerWithoutSSE2) {
  born(false);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_SubpixelNoClipStraight8],
            as_slot(&RX_SubpixelSampleNoClip_Straight));
}

TEST_F(SamplingSlots, SlotSixtyOneHoldsAnotherFormWithSSE2ThatSamplesTheSame) {
  born(true);
  RX_OverFunc f = RXp_G_OverFuncs[RX_Slot_SubpixelNoClipStraight8];
  ASSERT_NE(f, nullptr);
  EXPECT_NE(f, as_slot(&RX_SubpixelSampleNoClip_Straight));
  using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, RX_Pixel8*);
  rxtest::TestWorld<RX_Pixel8> world(3, 3);
  world.at(0, 0) = RX_Pixel8{255, 255, 255, 255};
  world.at(1, 1) = RX_Pixel8{90, 10, 200, 33};
  const RX_SampPB pb{0, 0, 0, world.def()};
  for (const auto& [x, y] : {std::pair{0x8000, 0}, std::pair{0x4000, 0xC000},
                             std::pair{0x10000, 0x10000}, std::pair{0x12345, 0x6789}}) {
    RX_Pixel8 got, want;
    ASSERT_EQ(reinterpret_cast<Sampler>(f)(nullptr, x, y, &pb, &got), RX_Result_OK);
    ASSERT_EQ(RX_SubpixelSampleNoClip_Straight(nullptr, x, y, &pb, &want), RX_Result_OK);
    EXPECT_TRUE(rxtest::same_pixel(got, want)) << x << ", " << y << ": " << samp::show(got);
  }
  // Opaque white beside transparent black at half: alpha 128, colour 255.
  RX_Pixel8 half;
  ASSERT_EQ(reinterpret_cast<Sampler>(f)(nullptr, 0x8000, 0, &pb, &half), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(half, RX_Pixel8{128, 255, 255, 255})) << samp::show(half);
}

TEST_F(SamplingSlots, SamplingSlotsWithoutADefaultStayEmpty) {
  born(true);
  // Begin and end sampling, and the reserved slots among the samplers.
  for (int s : {0, 1, 59, 66, 67, 69}) {
    EXPECT_EQ(RXp_G_OverFuncs[s], nullptr) << "slot " << s;
  }
}

// An override recorder standing in for an acceleration module's sampler.
int g_override_calls = 0;
RX_Err counting_nearest16(void*, int32_t, int32_t, const RX_SampPB*, RX_Pixel16* result) {
  ++g_override_calls;
  *result = RX_Pixel16{1, 2, 3, 4};
  return RX_Result_OK;
}

TEST_F(SamplingSlots, AnOverrideOfSlotSixtyThreeIsWhatTheTableShows) {
  born(true);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_NNSample16, as_slot(&counting_nearest16)), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_NNSample16], as_slot(&counting_nearest16));
  // Only that slot changed.
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_NNSample8], as_slot(&RX_NNSample));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_SubpixelSampleStraight16],
            as_slot(&RX_SubpixelSample_Straight16));

  // A caller going through the table reaches the override.
  using Sampler16 = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, RX_Pixel16*);
  rxtest::TestWorld<RX_Pixel16> world(2, 2);
  const RX_SampPB pb{0, 0, 0, world.def()};
  RX_Pixel16 got{};
  g_override_calls = 0;
  ASSERT_EQ(
      reinterpret_cast<Sampler16>(RXp_G_OverFuncs[RX_Slot_NNSample16])(nullptr, 0, 0, &pb, &got),
      RX_Result_OK);
  EXPECT_EQ(g_override_calls, 1);
  EXPECT_TRUE(rxtest::same_pixel(got, RX_Pixel16{1, 2, 3, 4}));

  // A null pointer is installed as well.
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_NNSample16, nullptr), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_NNSample16], nullptr);
}

TEST_F(SamplingSlots, ANewBirthForgetsTheOverride) {
  born(true);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_NNSample16, as_slot(&counting_nearest16)), RX_Result_OK);
  die();
  born(true);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_NNSample16], as_slot(&RX_NNSample16));
}

TEST_F(SamplingSlots, SlotFunctionsCalledThroughTheTableSampleLikeTheirNames) {
  born(true);
  rxtest::TestWorld<RX_Pixel16> world(3, 2);
  world.at(0, 0) = RX_Pixel16{32768, 100, 200, 300};
  world.at(1, 0) = RX_Pixel16{16384, 1000, 2000, 3000};
  const RX_SampPB pb{0, 0, 0, world.def()};
  using Sampler16 = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, RX_Pixel16*);
  RX_Pixel16 a, b;
  ASSERT_EQ(reinterpret_cast<Sampler16>(RXp_G_OverFuncs[RX_Slot_SubpixelSampleStraight16])(
                nullptr, 0x8000, 0, &pb, &a),
            RX_Result_OK);
  ASSERT_EQ(RX_SubpixelSample_Straight16(nullptr, 0x8000, 0, &pb, &b), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(a, b));
  // Alpha (32768 + 16384) / 2; red (32768 * 100 + 16384 * 1000) / 49152 = 400.
  EXPECT_EQ(a.alpha, 24576);
  EXPECT_EQ(a.red, 400);
  EXPECT_EQ(a.green, 800);
  EXPECT_EQ(a.blue, 1200);
}

}  // namespace
