// The effect world record and the depth and format queries.
#include <cstddef>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

TEST(LayerDef, RecordIsOneHundredTwentyBytesWithFixedOffsets) {
  EXPECT_EQ(sizeof(RX_LayerDef), 120u);
  EXPECT_EQ(offsetof(RX_LayerDef, layer_flags), 16u);
  EXPECT_EQ(offsetof(RX_LayerDef, data), 24u);
  EXPECT_EQ(offsetof(RX_LayerDef, row_stride), 32u);
  EXPECT_EQ(offsetof(RX_LayerDef, width), 36u);
  EXPECT_EQ(offsetof(RX_LayerDef, height), 40u);
  EXPECT_EQ(offsetof(RX_LayerDef, content_rect), 44u);
  EXPECT_EQ(offsetof(RX_LayerDef, allocation_stamp), 72u);
  EXPECT_EQ(offsetof(RX_LayerDef, world_object), 80u);
  EXPECT_EQ(offsetof(RX_LayerDef, aspect_words), 88u);
  EXPECT_EQ(offsetof(RX_LayerDef, zw_world), 96u);
}

TEST(LayerDef, PixelsAreAlphaFirst) {
  RX_Pixel16 p{1, 2, 3, 4};
  const uint16_t* channels = &p.alpha;
  EXPECT_EQ(channels[0], 1);
  EXPECT_EQ(channels[3], 4);
  EXPECT_EQ(sizeof(RX_PixelDouble), 32u);
}

TEST(LayerDef, RectanglesKeepTheirFieldOrders) {
  GE_LRect l{1, 2, 3, 4};
  EXPECT_EQ(reinterpret_cast<int32_t*>(&l)[0], 1);  // left
  EXPECT_EQ(reinterpret_cast<int32_t*>(&l)[1], 2);  // top
  GE_Rect r{5, 6, 7, 8};
  EXPECT_EQ(reinterpret_cast<int16_t*>(&r)[0], 5);  // top
  EXPECT_EQ(reinterpret_cast<int16_t*>(&r)[1], 6);  // left
  GE_Rect converted;
  GE_LRectToRect(&l, &converted);
  EXPECT_EQ(converted.left, 1);
  EXPECT_EQ(converted.top, 2);
  EXPECT_EQ(converted.right, 3);
  EXPECT_EQ(converted.bottom, 4);
}

TEST(WorldDepth, ZeroFlagsWithoutObjectIsEightBits) {
  RX_LayerDef world{};
  EXPECT_EQ(RXp_WorldDepth(&world), 8);
}

TEST(WorldDepth, FormatByteGivesTheDepth) {
  RX_LayerDef world{};
  world.layer_flags = 1u << 24;
  EXPECT_EQ(RXp_WorldDepth(&world), 16);
  world.layer_flags = 2u << 24;
  EXPECT_EQ(RXp_WorldDepth(&world), 32);
  // The deep bit alone does not make a 16-bit world; the format byte does.
  world.layer_flags = RX_LayerFlag_Deep;
  EXPECT_EQ(RXp_WorldDepth(&world), 8);
}

TEST(WorldDepth, UnknownFormatByteIsReportedAndGivesEight) {
  ReportCapture capture;
  RX_LayerDef world{};
  world.layer_flags = 3u << 24;
  EXPECT_EQ(RXp_WorldDepth(&world), 8);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.last().text, "Unknown pixel format");
  EXPECT_EQ(capture.last().location, 0x2503E7);
}

TEST(WorldDepth, EffectWorldDepthAlwaysSucceedsAndStoresTheDepth) {
  RX_LayerDef world{};
  world.layer_flags = 2u << 24;
  int32_t depth = 0;
  EXPECT_EQ(RX_GetEffectWorldDepth(&world, &depth), RX_Result_OK);
  EXPECT_EQ(depth, 32);
  ReportCapture capture;
  world.layer_flags = 9u << 24;
  EXPECT_EQ(RX_GetEffectWorldDepth(&world, &depth), RX_Result_OK);
  EXPECT_EQ(depth, 8);
}

TEST(LayerFlags, SixteenBitsSetsTheDeepBitAndItsCode) {
  RX_LayerDef world{};
  ASSERT_EQ(RXp_SetLayerFlagsForDepth(&world, 16), RX_Result_OK);
  EXPECT_EQ(world.layer_flags, (1u << 24) | 1u);
}

TEST(LayerFlags, FloatSetsItsCodeWithoutTheDeepBit) {
  RX_LayerDef world{};
  ASSERT_EQ(RXp_SetLayerFlagsForDepth(&world, 32), RX_Result_OK);
  EXPECT_EQ(world.layer_flags, 2u << 24);
}

TEST(LayerFlags, FlagsAreAddedToWhatStandsThere) {
  RX_LayerDef world{};
  world.layer_flags = 0x10;
  ASSERT_EQ(RXp_SetLayerFlagsForDepth(&world, 32), RX_Result_OK);
  EXPECT_EQ(world.layer_flags, (2u << 24) | 0x10u);
}

TEST(LayerFlags, AnotherDepthIsAnUnknownPixelFormat) {
  ReportCapture capture;
  uint8_t code = 77;
  EXPECT_EQ(RXp_DepthToFormatByte(24, &code), RX_Result_Internal);
  EXPECT_EQ(code, 77);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "Unknown pixel format");
}

TEST(PixelFormat, DepthsMapToTheirFourCharacterCodes) {
  RX_LayerDef world{};
  RX_PixelFormat format = 0;
  ASSERT_EQ(RXp_GetPixelFormat(&world, &format), RX_Result_OK);
  EXPECT_EQ(format, 0x61726762u);  // 'argb'
  world.layer_flags = 1u << 24;
  ASSERT_EQ(RXp_GetPixelFormat(&world, &format), RX_Result_OK);
  EXPECT_EQ(format, 0x7A713136u);  // 'zq16'
  world.layer_flags = 2u << 24;
  ASSERT_EQ(RXp_GetPixelFormat(&world, &format), RX_Result_OK);
  EXPECT_EQ(format, 0x7A713332u);  // 'zq32'
}

TEST(PixelFormat, NullWorldIsReportedAsABadParameter) {
  ReportCapture capture;
  RX_PixelFormat format = 0;
  EXPECT_EQ(RXp_GetPixelFormat(nullptr, &format), RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "Bad parameter to RXp_GetPixelFormat()");
  EXPECT_EQ(capture.last().location, 0x2503E7);
}

TEST(PixelFormat, CodesMapBackToDepths) {
  int32_t depth = 0;
  ASSERT_EQ(RXp_PixelFormatToDepth(RX_PixelFormat_ARGB8, &depth), RX_Result_OK);
  EXPECT_EQ(depth, 8);
  ASSERT_EQ(RXp_PixelFormatToDepth(RX_PixelFormat_ARGB16, &depth), RX_Result_OK);
  EXPECT_EQ(depth, 16);
  ASSERT_EQ(RXp_PixelFormatToDepth(RX_PixelFormat_ARGB32, &depth), RX_Result_OK);
  EXPECT_EQ(depth, 32);
}

TEST(PixelFormat, UnknownCodeIsReportedAsUnsupported) {
  ReportCapture capture;
  int32_t depth = 0;
  EXPECT_EQ(RXp_PixelFormatToDepth(0x62677261u, &depth), RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "Unsupported RX_PixelFormat");
}

TEST(PixelFormat, BitmapDepthIsBitsPerPixelOverFour) {
  const GE_Rect bounds{0, 0, 2, 3};
  for (int16_t bits : {32, 64, 128}) {
    ZW_World bitmap = nullptr;
    ASSERT_EQ(ZW_NewWorld(0, 8, &bounds, bits, 0, 0, &bitmap), 0);
    EXPECT_EQ(RX_DepthOfZWWorld(bitmap), bits / 4);
    ZW_DisposeWorld(bitmap);
  }
}

}  // namespace
