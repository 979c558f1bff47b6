// Motion line spans: the average of the source along each pixel's motion
// line, for pixels not fully covered.
#include "rx_test_support.h"

namespace {

class MotionSpans : public rxtest::BornPackage {};

// A 1-row source: opaque red ramp, with a transparent pixel at column 2.
rxtest::TestWorld<RX_Pixel8> ramp() {
  rxtest::TestWorld<RX_Pixel8> world(8, 2);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 8; ++x) world.at(x, y) = {255, uint8_t(x * 30), 0, 100};
    world.at(2, y) = {0, 0, 0, 0};
  }
  return world;
}

TEST_F(MotionSpans, SlotsHoldTheSixSpans) {
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_MotionSpanNearestStraight],
            reinterpret_cast<RX_OverFunc>(RX_MotionSpan_Nearest_Straight));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_MotionSpanAreaPremul], reinterpret_cast<RX_OverFunc>(RX_MotionSpan_Area_Premul));
  for (int slot = RX_Slot_MotionSpanNearestStraight; slot <= RX_Slot_MotionSpanAreaPremul; ++slot) {
    EXPECT_NE(RXp_G_OverFuncs[slot], nullptr) << slot;
  }
}

TEST_F(MotionSpans, NearestStraightAveragesAlphaOverAllSamplesAndColourOverVisibleOnes) {
  auto source = ramp();
  const RX_SampPB pb{0, 0, 0, source.def()};
  // Three samples from column 1 to column 3 of row 0: columns 1, 2, 3.
  const uint8_t mask[1] = {0};
  RX_Pixel8 out[1] = {{9, 9, 9, 9}};
  ASSERT_EQ(RX_MotionSpan_Nearest_Straight(&pb, 1, mask, 1 << 16, 0, 3 << 16, 0, 3, out), RX_Result_OK);
  EXPECT_EQ(out[0].alpha, (255 + 0 + 255 + 1) / 3);  // 170
  EXPECT_EQ(out[0].red, (30 * 255 + 90 * 255 + 255) / 510);  // 60: the transparent sample adds no colour
  EXPECT_EQ(out[0].blue, 100);
}

TEST_F(MotionSpans, APixelOfFullMaskStaysAndTheNextMovesOneColumn) {
  auto source = ramp();
  const RX_SampPB pb{0, 0, 0, source.def()};
  const uint8_t mask[2] = {255, 10};
  RX_Pixel8 out[2] = {{1, 2, 3, 4}, {1, 2, 3, 4}};
  // One sample at the start point: column 4 for the second pixel.
  ASSERT_EQ(RX_MotionSpan_Nearest_Straight(&pb, 2, mask, 3 << 16, 0, 5 << 16, 0, 1, out), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(out[0], RX_Pixel8{1, 2, 3, 4}));
  EXPECT_TRUE(rxtest::same_pixel(out[1], source.at(4, 0)));
}

TEST_F(MotionSpans, PremultipliedAveragesChannelsAsTheyAre) {
  rxtest::TestWorld<RX_Pixel8> source(4, 1);
  source.at(0, 0) = {200, 100, 50, 0};
  source.at(1, 0) = {100, 40, 30, 20};
  const RX_SampPB pb{0, 0, 0, source.def()};
  const uint8_t mask[1] = {0};
  RX_Pixel8 out[1];
  ASSERT_EQ(RX_MotionSpan_Nearest_Premul(&pb, 1, mask, 0, 0, 1 << 16, 0, 2, out), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(out[0], RX_Pixel8{150, 70, 40, 10}));
}

TEST_F(MotionSpans, AllTransparentSamplesGiveTransparentBlack) {
  rxtest::TestWorld<RX_Pixel8> source(4, 1);
  const RX_SampPB pb{0, 0, 0, source.def()};
  const uint8_t mask[1] = {0};
  RX_Pixel8 out[1] = {{5, 5, 5, 5}};
  ASSERT_EQ(RX_MotionSpan_Subpixel_Straight(&pb, 1, mask, 0x8000, 0, 0x28000, 0, 4, out), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(out[0], RX_Pixel8{}));
}

TEST_F(MotionSpans, SubpixelAndAreaKindsUseTheirSlots) {
  auto source = ramp();
  const RX_SampPB pb{0x8000, 0x8000, 0x10000, source.def()};
  const uint8_t mask[1] = {0};
  RX_Pixel8 via_span[1], direct;
  ASSERT_EQ(RX_MotionSpan_Subpixel_Straight(&pb, 1, mask, 0x48000, 0x8000, 0, 0, 1, via_span), RX_Result_OK);
  RX_SubpixelSample_Straight(nullptr, 0x48000, 0x8000, &pb, &direct);
  EXPECT_TRUE(rxtest::same_pixel(via_span[0], direct));
  ASSERT_EQ(RX_MotionSpan_Area_Straight(&pb, 1, mask, 0x48000, 0x8000, 0, 0, 1, via_span), RX_Result_OK);
  RX_AreaSample_Straight(nullptr, 0x48000, 0x8000, &pb, &direct);
  EXPECT_TRUE(rxtest::same_pixel(via_span[0], direct));
}

}  // namespace
