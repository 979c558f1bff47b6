// The float union of alphas is 1 - (1 - sa)(1 - da), computed in float in
// that order, at every entry that takes it: the per-pixel tables (plain,
// one and two opacities, gamma and linear light), the row functions and
// the transfer rectangle. The pairs tested are those where another
// arrangement of the same formula, hi + lo (1 - hi), gives other bits.
#include <random>
#include <vector>

#include "linear_tables.h"
#include "rx_test_support.h"

namespace {

float formula(float sa, float da) { return 1.0f - (1.0f - sa) * (1.0f - da); }
float other_arrangement(float sa, float da) {
  const float hi = sa > da ? sa : da, lo = sa > da ? da : sa;
  return hi + lo * (1.0f - hi);
}

// Alpha pairs, neither 0 nor 1, where the two arrangements part.
std::vector<std::pair<float, float>> parting_pairs() {
  std::mt19937 rng(5011);
  std::uniform_real_distribution<float> unit(0.001f, 0.999f);
  std::vector<std::pair<float, float>> pairs;
  while (pairs.size() < 64) {
    const float sa = unit(rng), da = unit(rng);
    if (formula(sa, da) != other_arrangement(sa, da)) pairs.emplace_back(sa, da);
  }
  return pairs;
}

class FloatUnion : public rxtest::BornPackage {};

// Modes whose result alpha is the union: Over, the matte modes, the
// general form, the behind step of the colour modes, AddPremul.
constexpr int kUnionModes[] = {RX_Xfer_Over,     RX_Xfer_Add,      RX_Xfer_Multiply,    RX_Xfer_Screen,
                               RX_Xfer_Overlay,  RX_Xfer_Darken,   RX_Xfer_Difference2, RX_Xfer_LinearBurn,
                               RX_Xfer_Hue,      RX_Xfer_Behind,   RX_Xfer_AddPremul};

TEST_F(FloatUnion, EveryPerPixelTableGivesTheFormulasBits) {
  const RX_LinearBlendingTables linear = rxtest::gamma22_tables();
  int checked = 0;
  for (const auto& [sa, da] : parting_pairs()) {
    const float want = formula(sa, da);
    for (int mode : kUnionModes) {
      for (const RX_LinearBlendingTables* tables : {static_cast<const RX_LinearBlendingTables*>(nullptr), &linear}) {
        const RX_PixelFloat src{sa, 0.3f, 0.6f, 0.9f};
        RX_PixelFloat plain{da, 0.8f, 0.2f, 0.5f}, one = plain, two = plain;
        RXp_G_Xfer1_tableF[mode](&src, tables, &plain);
        RXp_G_Xfer1_Opacity_tableF[mode](&src, tables, 1.0f, &one);
        RXp_G_Xfer1_Opacity2_tableF[mode](&src, tables, 1.0f, 1.0f, &two);
        EXPECT_EQ(plain.alpha, want) << RX_TransferModeName(mode) << " sa " << sa << " da " << da;
        EXPECT_EQ(one.alpha, want) << RX_TransferModeName(mode);
        EXPECT_EQ(two.alpha, want) << RX_TransferModeName(mode);
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, 64 * 11 * 2);
}

TEST_F(FloatUnion, TheOverRowGivesTheFormulasBitsWithAndWithoutAMask) {
  const auto pairs = parting_pairs();
  const int32_t width = int32_t(pairs.size());
  std::vector<RX_PixelFloat> src(pairs.size()), dst(pairs.size()), mask(pairs.size(), RX_PixelFloat{1, 0, 0, 0});
  for (bool with_mask : {false, true}) {
    for (size_t i = 0; i < pairs.size(); ++i) {
      src[i] = {pairs[i].first, 0.25f, 0.5f, 0.75f};
      dst[i] = {pairs[i].second, 0.9f, 0.1f, 0.4f};
    }
    RX_InnerBlendingFunc<RX_PixelFloat> row = nullptr;
    const RX_Err found = with_mask ? RX_GetInnerBlendingFunc<RX_PixelFloat, true, false>(RX_Xfer_Over, &row)
                                   : RX_GetInnerBlendingFunc<RX_PixelFloat, false, false>(RX_Xfer_Over, &row);
    ASSERT_EQ(found, RX_Result_OK);
    RX_BlendingMode<RX_PixelFloat> mode;
    mode.blend_mode = RX_Xfer_Over;
    mode.opacity = 1.0f;
    ASSERT_EQ(row(width, &mode, nullptr, src.data(), with_mask ? mask.data() : nullptr, dst.data()), RX_Result_OK);
    for (size_t i = 0; i < pairs.size(); ++i) {
      EXPECT_EQ(dst[i].alpha, formula(pairs[i].first, pairs[i].second)) << i << (with_mask ? " with a mask" : "");
    }
  }
}

TEST_F(FloatUnion, TheTransferRectangleGivesTheFormulasBits) {
  const auto pairs = parting_pairs();
  const int32_t width = 8, height = int32_t(pairs.size()) / 8;
  for (int m : {RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_Difference2}) {
    rxtest::TestWorld<RX_PixelFloat> src(width, height, 16, 0), dst(width, height, 48, 0);
    for (int32_t i = 0; i < width * height; ++i) {
      src.at(i % width, i / width) = {pairs[size_t(i)].first, 0.2f, 0.7f, 0.4f};
      dst.at(i % width, i / width) = {pairs[size_t(i)].second, 0.6f, 0.3f, 0.1f};
    }
    const RX_CompositeModePlus mode(m, 1.0f, nullptr, false, 0);
    ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, width, height}, src.def(), &mode, nullptr, nullptr, 0,
                              0, dst.def()),
              RX_Result_OK);
    for (int32_t i = 0; i < width * height; ++i) {
      EXPECT_EQ(dst.at(i % width, i / width).alpha, formula(pairs[size_t(i)].first, pairs[size_t(i)].second))
          << RX_TransferModeName(m) << " pixel " << i;
    }
  }
}

TEST_F(FloatUnion, EitherAlphaOneUnitesToExactlyOne) {
  for (float other : {0.0f, 1e-40f, 0.3f, 0.999999f, 1.0f}) {
    EXPECT_EQ(formula(1.0f, other), 1.0f);
    const RX_PixelFloat src{1.0f, 0.1f, 0.2f, 0.3f};
    RX_PixelFloat dst{other, 0.5f, 0.5f, 0.5f};
    RXp_G_Xfer1_tableF[RX_Xfer_Screen](&src, nullptr, &dst);
    EXPECT_EQ(dst.alpha, 1.0f) << other;
    const RX_PixelFloat weak{other, 0.1f, 0.2f, 0.3f};
    RX_PixelFloat opaque{1.0f, 0.5f, 0.5f, 0.5f};
    RXp_G_Xfer1_tableF[RX_Xfer_Over](&weak, nullptr, &opaque);
    EXPECT_EQ(opaque.alpha, 1.0f) << other;
  }
}

}  // namespace
