// The mode numbers and names, the flag query, and the mode records'
// conversions of opacity.
#include <algorithm>
#include <cmath>

#include "rx_test_support.h"

namespace {

TEST(TransferFlags, OutsideTheRangeGiveZero) {
  EXPECT_EQ(RX_GetTransferFlags(-4), 0);
  EXPECT_EQ(RX_GetTransferFlags(61), 0);
  EXPECT_EQ(RX_GetTransferFlags(-1000), 0);
}

TEST(TransferFlags, EachModeReadsItsBitOfTheConstant) {
  EXPECT_EQ(RX_GetTransferFlags(-3), 1);
  EXPECT_EQ(RX_GetTransferFlags(3), 0);
  // The flagged modes, as listed one by one.
  const int flagged[] = {-3, 0, 1, 2, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 16, 22, 25, 37, 38};
  for (int mode = -3; mode <= 60; ++mode) {
    const bool expected = std::find(std::begin(flagged), std::end(flagged), mode) != std::end(flagged);
    EXPECT_EQ(RX_GetTransferFlags(mode), expected ? 1 : 0) << mode;
  }
  // 35 and 36 are clear although 37 and 38 are set.
  EXPECT_EQ(RX_GetTransferFlags(35), 0);
  EXPECT_EQ(RX_GetTransferFlags(36), 0);
}

TEST(TransferModes, NamesFollowTheNumbers) {
  EXPECT_STREQ(RX_TransferModeName(RX_Xfer_ReplaceRaw), "RX_Xfer_ReplaceRaw");
  EXPECT_STREQ(RX_TransferModeName(RX_Xfer_None), "RX_Xfer_None");
  EXPECT_STREQ(RX_TransferModeName(RX_Xfer_Multiply), "RX_Xfer_Multiply");
  EXPECT_STREQ(RX_TransferModeName(RX_Xfer_MultiplyNotAlphaLuma), "RX_Xfer_MultiplyNotAlphaLuma");
  EXPECT_STREQ(RX_TransferModeName(RX_Xfer_Divide), "RX_Xfer_Divide");
  EXPECT_EQ(RX_TransferModeName(-4), nullptr);
  EXPECT_EQ(RX_TransferModeName(39), nullptr);
  EXPECT_EQ(RX_Xfer_LighterColor, 35);
  EXPECT_EQ(RX_Xfer_AddPremul, 21);
}

TEST(CompositeModePlus, TakesTheSixteenBitOpacityWhenBothAgree) {
  const RX_CompositeMode mode{RX_Xfer_Over, 7, 128, 1, 16384};
  const RX_CompositeModePlus plus(mode);
  EXPECT_EQ(plus.opacity, 0.5f);
  EXPECT_EQ(plus.blend_mode, RX_Xfer_Over);
  EXPECT_EQ(plus.random_seed, 7);
  EXPECT_EQ(plus.keep_dst_alpha, 1);
  EXPECT_EQ(plus.tables, nullptr);
}

TEST(CompositeModePlus, TakesTheEightBitOpacityWhenOnlyItIsFilled) {
  const RX_CompositeMode mode{RX_Xfer_Over, 0, 128, 0, 0};
  EXPECT_EQ(RX_CompositeModePlus(mode).opacity, float(128 / 255.0));
}

TEST(CompositeModePlus, AgreementMeansWithinOneEightBitStep) {
  // 200/255 = 0.7843; 25700/32768 = 0.7843 (close) and 25000/32768 = 0.7629 (not).
  EXPECT_EQ(RX_CompositeModePlus(RX_CompositeMode{2, 0, 200, 0, 25700}).opacity, float(25700 / 32768.0));
  EXPECT_EQ(RX_CompositeModePlus(RX_CompositeMode{2, 0, 200, 0, 25000}).opacity, float(200 / 255.0));
}

TEST(CompositeModePlus, TheFullConstructorStoresItsArgumentsOneForOne) {
  RX_LinearBlendingTables tables{};
  const RX_CompositeModePlus plus(RX_Xfer_Screen, 0.25f, &tables, true, 99);
  EXPECT_EQ(plus.blend_mode, RX_Xfer_Screen);
  EXPECT_EQ(plus.opacity, 0.25f);
  EXPECT_EQ(plus.tables, &tables);
  EXPECT_EQ(plus.keep_dst_alpha, 1);
  EXPECT_EQ(plus.random_seed, 99);
}

TEST(BlendingMode, OpacityBecomesAChannelOfTheDepth) {
  const RX_CompositeModePlus plus(RX_Xfer_Add, 0.5f, nullptr, false, 3);
  EXPECT_EQ(RX_BlendingMode<RX_Pixel8>(plus).opacity, 128);   // 127.5 + 0.5
  EXPECT_EQ(RX_BlendingMode<RX_Pixel16>(plus).opacity, 16384);
  EXPECT_EQ(RX_BlendingMode<RX_PixelFloat>(plus).opacity, 0.5f);
  EXPECT_EQ(RX_BlendingMode<RX_Pixel8>(plus).blend_mode, RX_Xfer_Add);
  EXPECT_EQ(RX_BlendingMode<RX_Pixel8>(plus).random_seed, 3);
  for (int i = 0; i <= 255; ++i) {
    const float o = i / 255.0f;
    EXPECT_EQ(RX_BlendingMode<RX_Pixel8>(RX_CompositeModePlus(2, o, nullptr, false, 0)).opacity,
              uint8_t(int32_t(255.0f * o + 0.5f)));
  }
  EXPECT_EQ(RX_BlendingMode<RX_Pixel16>(RX_CompositeModePlus(2, 1.0f, nullptr, false, 0)).opacity, 32768);
}

}  // namespace
