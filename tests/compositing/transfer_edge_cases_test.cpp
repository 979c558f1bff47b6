// The per-pixel transfer functions at their edges: transparent sources,
// empty destinations, subnormal float alphas, the 8-bit table corners,
// the soft-light byte tables, and what the linear forms do to a pixel they
// leave alone.
#include <cmath>
#include <limits>

#include "linear_tables.h"
#include "rx_test_support.h"

namespace {

class TransferEdge : public rxtest::BornPackage {};

uint8_t divide_row0(uint8_t v) { return RXp_G_DivideTable[v]; }

TEST_F(TransferEdge, AddPremulAddsTheSourceColourEvenAtZeroSourceAlpha) {
  const RX_Pixel8 src{0, 40, 50, 60};
  RX_Pixel8 dst{255, 10, 20, 30};
  RXp_G_Xfer1_table8[RX_Xfer_AddPremul](&src, nullptr, &dst);
  // w = mul(255, 255) = 255; c = s + d; r = 255, nothing divided.
  EXPECT_EQ(dst.alpha, 255);
  EXPECT_EQ(dst.red, 50);
  EXPECT_EQ(dst.green, 70);
  EXPECT_EQ(dst.blue, 90);
}

TEST_F(TransferEdge, EveryOtherModeLeavesDstAloneAtZeroSourceAlpha) {
  for (int mode = 0; mode < 39; ++mode) {
    if (mode == RX_Xfer_AddPremul) continue;
    const RX_Pixel8 src8{0, 200, 100, 50};
    RX_Pixel8 dst8{90, 10, 20, 30};
    RXp_G_Xfer1_table8[mode](&src8, nullptr, &dst8);
    EXPECT_TRUE(rxtest::same_pixel(dst8, RX_Pixel8{90, 10, 20, 30})) << mode;
    const RX_Pixel16 src16{0, 20000, 100, 50};
    RX_Pixel16 dst16{9000, 10, 20, 30};
    RXp_G_Xfer1_table16[mode](&src16, nullptr, &dst16);
    EXPECT_TRUE(rxtest::same_pixel(dst16, RX_Pixel16{9000, 10, 20, 30})) << mode;
    const RX_PixelFloat srcF{0.0f, 0.8f, 0.4f, 0.2f};
    RX_PixelFloat dstF{0.3f, 0.1f, 0.2f, 0.3f};
    RXp_G_Xfer1_tableF[mode](&srcF, nullptr, &dstF);
    EXPECT_TRUE(rxtest::same_pixel(dstF, RX_PixelFloat{0.3f, 0.1f, 0.2f, 0.3f})) << mode;
  }
}

TEST_F(TransferEdge, AddPremulWithBothAlphasZeroDividesByNothing) {
  const RX_Pixel8 src8{0, 40, 50, 60};
  RX_Pixel8 dst8{0, 10, 20, 30};
  RXp_G_Xfer1_table8[RX_Xfer_AddPremul](&src8, nullptr, &dst8);
  EXPECT_EQ(dst8.alpha, 0);
  // Row 0 of the divide table, at c = s + mul(d, 0) = s.
  EXPECT_EQ(dst8.red, divide_row0(40));
  EXPECT_EQ(dst8.green, divide_row0(50));
  EXPECT_EQ(dst8.blue, divide_row0(60));

  const RX_Pixel16 src16{0, 4000, 5000, 6000};
  RX_Pixel16 dst16{0, 1000, 2000, 3000};
  RXp_G_Xfer1_table16[RX_Xfer_AddPremul](&src16, nullptr, &dst16);
  EXPECT_TRUE(rxtest::same_pixel(dst16, RX_Pixel16{0, 32768, 32768, 32768}));

  const RX_PixelFloat srcF{0.0f, 0.4f, 0.5f, 0.6f};
  RX_PixelFloat dstF{0.0f, 0.1f, 0.2f, 0.3f};
  RXp_G_Xfer1_tableF[RX_Xfer_AddPremul](&srcF, nullptr, &dstF);
  // A transparent result is white, not infinite.
  EXPECT_TRUE(rxtest::same_pixel(dstF, RX_PixelFloat{0.0f, 1.0f, 1.0f, 1.0f}));
}

TEST_F(TransferEdge, MultiplyOnAnEmptyDestinationGivesTheSource) {
  const RX_Pixel8 src8{255, 40, 128, 250};
  RX_Pixel8 dst8{0, 10, 200, 30};
  RXp_G_Xfer1_table8[RX_Xfer_Multiply](&src8, nullptr, &dst8);
  EXPECT_TRUE(rxtest::same_pixel(dst8, src8));

  const RX_Pixel16 src16{32768, 4000, 16384, 32000};
  RX_Pixel16 dst16{0, 1000, 20000, 3000};
  RXp_G_Xfer1_table16[RX_Xfer_Multiply](&src16, nullptr, &dst16);
  EXPECT_TRUE(rxtest::same_pixel(dst16, src16));

  const RX_PixelFloat srcF{1.0f, 0.25f, 0.5f, 0.75f};
  RX_PixelFloat dstF{0.0f, 0.1f, 0.9f, 0.3f};
  RXp_G_Xfer1_tableF[RX_Xfer_Multiply](&srcF, nullptr, &dstF);
  EXPECT_TRUE(rxtest::same_pixel(dstF, srcF));
}

// The union 1 - (1 - sa)(1 - da) of two subnormal alphas is 0 in float:
// the alpha is 0 and the division guard sends the colours to 1.0.
TEST_F(TransferEdge, FloatOverWithSubnormalAlphasGivesAlphaZeroAndWhiteColour) {
  const float tiny = std::numeric_limits<float>::denorm_min() * 1000;
  ASSERT_EQ(std::fpclassify(tiny), FP_SUBNORMAL);
  const RX_PixelFloat src{tiny, 0.2f, 0.4f, 0.6f};
  RX_PixelFloat dst{tiny, 0.7f, 0.5f, 0.3f};
  RXp_G_Xfer1_tableF[RX_Xfer_Over](&src, nullptr, &dst);
  EXPECT_EQ(dst.alpha, 0.0f);
  EXPECT_FALSE(std::signbit(dst.alpha));
  EXPECT_EQ(dst.red, 1.0f);
  EXPECT_EQ(dst.green, 1.0f);
  EXPECT_EQ(dst.blue, 1.0f);
}

TEST_F(TransferEdge, FloatMatteModesAtFullSourceAlphaGiveAlphaExactlyOne) {
  for (int mode : {RX_Xfer_Add, RX_Xfer_Multiply, RX_Xfer_Screen, RX_Xfer_Overlay, RX_Xfer_SoftLight,
                   RX_Xfer_HardLight, RX_Xfer_Darken, RX_Xfer_Lighten, RX_Xfer_Difference, RX_Xfer_ColorDodge,
                   RX_Xfer_ColorBurn, RX_Xfer_Exclusion}) {
    for (float da : {0.0f, 0.1f, 0.452378213f, 0.603587925f, 0.999f}) {
      const RX_PixelFloat src{1.0f, 0.3f, 0.0f, 0.8f};
      RX_PixelFloat dst{da, 0.45f, 0.5f, 0.1f};
      RXp_G_Xfer1_tableF[mode](&src, nullptr, &dst);
      EXPECT_EQ(dst.alpha, 1.0f) << RX_TransferModeName(mode) << " da " << da;
    }
  }
}

TEST_F(TransferEdge, FloatMattedModesWithSubnormalUnionStayFinite) {
  const float tiny = std::numeric_limits<float>::denorm_min() * 7;
  for (int mode = 0; mode < 39; ++mode) {
    const RX_PixelFloat src{tiny, 0.2f, 0.4f, 0.6f};
    RX_PixelFloat dst{0.0f, 0.7f, 0.5f, 0.3f};
    RXp_G_Xfer1_tableF[mode](&src, nullptr, &dst);
    EXPECT_TRUE(std::isfinite(dst.red) && std::isfinite(dst.green) && std::isfinite(dst.blue)) << mode;
  }
}

TEST_F(TransferEdge, AlphaAddOfComplementaryCoverageIsOpaque) {
  const RX_Pixel8 src{100, 200, 100, 0};
  RX_Pixel8 dst{155, 0, 100, 200};
  RXp_G_Xfer1_table8[RX_Xfer_AlphaAdd](&src, nullptr, &dst);
  EXPECT_EQ(dst.alpha, 255);
  // c = mul(s, 100) + mul(d, 155).
  auto mul = [](int x, int y) { const int t = x * y + 128; return (t + (t >> 8)) >> 8; };
  EXPECT_EQ(dst.red, mul(200, 100) + mul(0, 155));
  EXPECT_EQ(dst.green, mul(100, 100) + mul(100, 155));
  EXPECT_EQ(dst.blue, mul(0, 100) + mul(200, 155));
}

TEST_F(TransferEdge, HardMixAtWhiteSourceThresholdsAtZero) {
  const RX_Pixel8 src{255, 255, 255, 255};
  RX_Pixel8 dst{255, 0, 1, 0};
  RXp_G_Xfer1_table8[RX_Xfer_HardMix](&src, nullptr, &dst);
  EXPECT_EQ(dst.red, 0);
  EXPECT_EQ(dst.green, 255);
}

TEST_F(TransferEdge, SoftLightAtHalfSourceLeavesTheMattedColour) {
  for (int d = 0; d < 256; d += 5) {
    const RX_Pixel8 src{255, 128, 128, 128};
    RX_Pixel8 dst{255, uint8_t(d), uint8_t(255 - d), 77};
    RXp_G_Xfer1_table8[RX_Xfer_SoftLight](&src, nullptr, &dst);
    EXPECT_TRUE(rxtest::same_pixel(dst, RX_Pixel8{255, uint8_t(d), uint8_t(255 - d), 77})) << d;
  }
}

TEST_F(TransferEdge, DivideByZeroSourceReadsRowZero) {
  for (int d = 1; d < 256; d += 17) {
    const RX_Pixel8 src{255, 0, 0, 0};
    RX_Pixel8 dst{255, uint8_t(d), 0, uint8_t(d)};
    RXp_G_Xfer1_table8[RX_Xfer_Divide](&src, nullptr, &dst);
    // At full source alpha c = s + (f - s) * da = f.
    EXPECT_EQ(dst.red, divide_row0(uint8_t(d))) << d;
    EXPECT_EQ(dst.green, 0) << d;  // d = 0 gives 0
  }
}

TEST_F(TransferEdge, DissolveDoesNothingPerPixel) {
  const RX_Pixel16 src{32768, 1, 2, 3};
  RX_Pixel16 dst{100, 200, 300, 400};
  RXp_G_Xfer1_table16[RX_Xfer_Dissolve](&src, nullptr, &dst);
  RXp_G_Xfer1_Opacity_table16[RX_Xfer_Dissolve](&src, nullptr, 20000, &dst);
  EXPECT_TRUE(rxtest::same_pixel(dst, RX_Pixel16{100, 200, 300, 400}));
}

TEST_F(TransferEdge, OpacityReducesTheSourceAlphaAndCopyWritesIt) {
  const RX_Pixel8 src{200, 10, 20, 30};
  RX_Pixel8 dst{0, 0, 0, 0};
  RXp_G_Xfer1_Opacity_table8[RX_Xfer_Copy](&src, nullptr, 128, &dst);
  auto mul = [](int x, int y) { const int t = x * y + 128; return (t + (t >> 8)) >> 8; };
  EXPECT_TRUE(rxtest::same_pixel(dst, RX_Pixel8{uint8_t(mul(200, 128)), 10, 20, 30}));
  RXp_G_Xfer1_Opacity2_table8[RX_Xfer_Copy](&src, nullptr, 128, 64, &dst);
  EXPECT_EQ(dst.alpha, mul(mul(200, 128), 64));
  // An opacity that reduces alpha to 0 leaves dst alone.
  RX_Pixel8 kept{9, 9, 9, 9};
  const RX_Pixel8 faint{1, 1, 1, 1};
  RXp_G_Xfer1_Opacity_table8[RX_Xfer_Copy](&faint, nullptr, 100, &kept);
  EXPECT_TRUE(rxtest::same_pixel(kept, RX_Pixel8{9, 9, 9, 9}));
}

TEST_F(TransferEdge, OpacityScalesAllFourChannelsOfAPremultipliedAdd) {
  const RX_Pixel16 src{16384, 16384, 8192, 0};
  RX_Pixel16 dst{0, 0, 0, 0};
  RXp_G_Xfer1_Opacity_table16[RX_Xfer_AddPremul](&src, nullptr, 16384, &dst);
  // Source becomes {8192, 8192, 4096, 0}; r = 8192; c / r.
  EXPECT_TRUE(rxtest::same_pixel(dst, RX_Pixel16{8192, 32768, 16384, 0}));
}

double soft_light_curve(double x) { return x <= 0.25 ? ((16 * x - 12) * x + 4) * x : std::sqrt(x); }

TEST_F(TransferEdge, SoftLightByteTablesFollowTheCurve) {
  for (int i = 0; i < 256; ++i) {
    const double x = i / 255.0;
    EXPECT_EQ(RXp_G_SoftLightDelta8[i], std::lround(255 * (soft_light_curve(x) - x))) << i;
    EXPECT_EQ(RXp_G_SoftLightParabola8[i], std::lround(255 * x * (1 - x))) << i;
  }
}

TEST_F(TransferEdge, DivideTableIsTheUnmultiplyTable) {
  EXPECT_EQ(RXp_G_DivideTable, RXp_G_fcd_table);
  for (int a = 1; a < 256; a += 7) {
    for (int v = 0; v < 256; v += 3) {
      const long nearest = std::min(255L, std::lround(v * 255.0 / a));
      EXPECT_EQ(RXp_G_DivideTable[a * 256 + v], nearest) << a << " " << v;
    }
  }
}

TEST_F(TransferEdge, LinearDissolveOnlyRoundsDstThroughTheTables) {
  const RX_LinearBlendingTables t = rxtest::gamma22_tables();
  const RX_Pixel8 src{255, 1, 2, 3};
  RX_Pixel8 dst{77, 1, 100, 254};
  RXp_G_Xfer1_table8[RX_Xfer_Dissolve](&src, &t, &dst);
  auto through = [&t](int v) {
    const int c = t.to_linear[v], i = c >> 3, f = c & 7;
    int x = t.from_linear[i];
    if (f) x += (f * (t.from_linear[i + 1] - x) + 4) >> 3;
    return (x * 255 + 16384) >> 15;
  };
  const int alpha16 = (77 * 0x808080 + 33200) >> 16;
  EXPECT_EQ(dst.alpha, (alpha16 * 255 + 16384) >> 15);
  EXPECT_EQ(dst.red, through(1));
  EXPECT_EQ(dst.green, through(100));
  EXPECT_EQ(dst.blue, through(254));
}

TEST_F(TransferEdge, PlainCopyIsTheSameInLinearLight) {
  const RX_LinearBlendingTables t = rxtest::gamma22_tables();
  const RX_Pixel8 src{200, 1, 100, 254};
  RX_Pixel8 dst{0, 0, 0, 0};
  RXp_G_Xfer1_table8[RX_Xfer_Copy](&src, &t, &dst);
  EXPECT_TRUE(rxtest::same_pixel(dst, src));
  const RX_PixelFloat srcF{0.5f, 0.3f, 0.6f, 0.9f};
  RX_PixelFloat dstF{};
  RXp_G_Xfer1_tableF[RX_Xfer_Copy](&srcF, &t, &dstF);
  EXPECT_TRUE(rxtest::same_pixel(dstF, srcF));
}

TEST_F(TransferEdge, FloatLinearFormsRaiseColoursButNotAlpha) {
  const RX_LinearBlendingTables t = rxtest::gamma22_tables();
  const RX_PixelFloat src{1.0f, 0.25f, -0.25f, 0.0f};
  RX_PixelFloat dst{0.5f, 0.5f, 0.5f, 0.5f};
  // Over at full source alpha takes the lifted source, lowered again.
  RXp_G_Xfer1_tableF[RX_Xfer_Over](&src, &t, &dst);
  auto round_trip = [](float v) {
    const float up = v >= 0 ? std::pow(v, 2.2f) : -std::pow(-v, 2.2f);
    return up >= 0 ? std::pow(up, 1 / 2.2f) : -std::pow(-up, 1 / 2.2f);
  };
  EXPECT_EQ(dst.alpha, 1.0f);
  EXPECT_EQ(dst.red, round_trip(0.25f));
  EXPECT_EQ(dst.green, round_trip(-0.25f));
  EXPECT_EQ(dst.blue, 0.0f);
}

}  // namespace
