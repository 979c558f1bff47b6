// The cross-fade of two worlds (RX_Blend, straight and premultiplied) at
// three depths against the fade's formulas written out plainly, its named
// cases, and its refusals, which leave dst untouched.
#include <algorithm>
#include <cmath>
#include <random>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;

template <class Px>
using Cv = decltype(Px{}.alpha);
template <class Px>
constexpr bool kFloat = sizeof(Px) == 16;

template <class Px>
void fill(TestWorld<Px>& w, std::mt19937& rng) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) {
      const int pick = int(rng() % 5);
      const double a = pick == 0 ? 0.0 : pick == 1 ? 1.0 : unit(rng);
      auto c = [&](double v) {
        if constexpr (kFloat<Px>) return float(v);
        else return Cv<Px>(v * (sizeof(Px) == 4 ? 255 : 32768) + 0.5);
      };
      w.at(x, y) = Px{c(a), c(unit(rng)), c(unit(rng)), c(unit(rng))};
    }
  }
}

// The straight fade, from its rule: weights from each alpha and its share
// of the ratio; colours weighted, or taken whole where one weight is 0.
template <class Px>
Px straight(const Px& p1, const Px& p2, int64_t r) {
  const int64_t q = 0x10000 - r;
  if constexpr (kFloat<Px>) {
    const int64_t w1 = int64_t(p1.alpha * float(q)), w2 = int64_t(p2.alpha * float(r));
    Px out{float(1.5258789e-5f * float(w1 + w2)), 0, 0, 0};
    const Px& whole = w1 == 0 ? p2 : p1;
    if (w1 == 0 || w2 == 0) {
      out.red = whole.red, out.green = whole.green, out.blue = whole.blue;
    } else {
      const float t = float(w1 + w2);
      out.red = (p1.red * float(w1) + p2.red * float(w2)) / t;
      out.green = (p1.green * float(w1) + p2.green * float(w2)) / t;
      out.blue = (p1.blue * float(w1) + p2.blue * float(w2)) / t;
    }
    return out;
  } else {
    const int64_t w1 = p1.alpha * q, w2 = p2.alpha * r, t = w1 + w2;
    Px out{Cv<Px>((t + 32768) >> 16), 0, 0, 0};
    const Px& whole = w1 == 0 ? p2 : p1;
    if (w1 == 0 || w2 == 0) {
      out.red = whole.red, out.green = whole.green, out.blue = whole.blue;
    } else {
      out.red = Cv<Px>((p1.red * w1 + p2.red * w2 + t / 2) / t);
      out.green = Cv<Px>((p1.green * w1 + p2.green * w2 + t / 2) / t);
      out.blue = Cv<Px>((p1.blue * w1 + p2.blue * w2 + t / 2) / t);
    }
    return out;
  }
}

template <class Px>
Px premultiplied(const Px& p1, const Px& p2, int64_t r) {
  const int64_t q = 0x10000 - r;
  auto mix = [&](auto c1, auto c2) {
    if constexpr (kFloat<Px>) return (c1 * float(q) + c2 * float(r)) * 1.5258789e-5f;
    else return Cv<Px>((c1 * q + c2 * r + 32768) >> 16);
  };
  return Px{mix(p1.alpha, p2.alpha), mix(p1.red, p2.red), mix(p1.green, p2.green), mix(p1.blue, p2.blue)};
}

template <class Px>
class BlendHelpers : public rxtest::BornPackage {};
TYPED_TEST_SUITE(BlendHelpers, rxtest::AllPixelTypes);

TYPED_TEST(BlendHelpers, StraightAndPremultipliedFadesFollowTheirFormulas) {
  using Px = TypeParam;
  std::mt19937 rng(41);
  for (int round = 0; round < 40; ++round) {
    const int32_t w = int32_t(1 + rng() % 30), h = int32_t(1 + rng() % 9);
    TestWorld<Px> a(w, h, int32_t(rng() % 3) * 4), b(w, h, 0, 4), dst(w, h, 8), dst2(w, h);
    fill(a, rng);
    fill(b, rng);
    const int32_t ratio = int32_t(rng() % 0x10001);
    ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), ratio, dst.def()), RX_Result_OK);
    ASSERT_EQ(RX_Blend_Premul(nullptr, a.def(), b.def(), ratio, dst2.def()), RX_Result_OK);
    for (int32_t y = 0; y < h; ++y) {
      for (int32_t x = 0; x < w; ++x) {
        const Px s = straight(a.at(x, y), b.at(x, y), ratio), p = premultiplied(a.at(x, y), b.at(x, y), ratio);
        ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), s)) << round << " " << x << "," << y << " ratio " << ratio;
        ASSERT_TRUE(rxtest::same_pixel(dst2.at(x, y), p)) << round << " " << x << "," << y << " ratio " << ratio;
      }
    }
  }
}

TYPED_TEST(BlendHelpers, RatiosBeyondTheEndsAreLimitedToAMove) {
  using Px = TypeParam;
  std::mt19937 rng(42);
  TestWorld<Px> a(9, 4), b(9, 4), dst(9, 4);
  fill(a, rng);
  fill(b, rng);
  if constexpr (kFloat<Px>) a.at(3, 1) = Px{2.5f, -1.0f, 7.0f, 0.25f};  // over-range moves as it is
  for (auto fade : {RX_Blend_Straight, RX_Blend_Premul}) {
    ASSERT_EQ(fade(nullptr, a.def(), b.def(), -1, dst.def()), RX_Result_OK);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 9; ++x) ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), a.at(x, y)));
    }
    ASSERT_EQ(fade(nullptr, a.def(), b.def(), 0x20000, dst.def()), RX_Result_OK);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 9; ++x) ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), b.at(x, y)));
    }
  }
}

TYPED_TEST(BlendHelpers, TwoTransparentPixelsGiveTheSecondsColourAtAlphaZero) {
  using Px = TypeParam;
  TestWorld<Px> a(1, 1), b(1, 1), dst(1, 1);
  a.at(0, 0) = Px{0, Cv<Px>(kFloat<Px> ? 0.25 : 60), Cv<Px>(kFloat<Px> ? 0.5 : 70), Cv<Px>(kFloat<Px> ? 0.75 : 80)};
  b.at(0, 0) = Px{0, Cv<Px>(kFloat<Px> ? 0.125 : 10), Cv<Px>(kFloat<Px> ? 0.375 : 20), Cv<Px>(kFloat<Px> ? 0.625 : 30)};
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x4000, dst.def()), RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).alpha, 0);
  EXPECT_EQ(dst.at(0, 0).red, b.at(0, 0).red);
  EXPECT_EQ(dst.at(0, 0).green, b.at(0, 0).green);
  EXPECT_EQ(dst.at(0, 0).blue, b.at(0, 0).blue);
}

TEST(BlendHelpersEdge, HalfwayBetweenOpaqueBlackAndWhiteIsOpaqueMidGrey) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_Pixel8> a(1, 1), b(1, 1), dst(1, 1);
  a.at(0, 0) = RX_Pixel8{255, 0, 0, 0};
  b.at(0, 0) = RX_Pixel8{255, 255, 255, 255};
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x8000, dst.def()), RX_Result_OK);
  // (255 × 32768 × 2 + 32768) >> 16 = 255; (0 + 255 w2 + t/2) / t = 128.
  EXPECT_EQ(dst.at(0, 0).alpha, 255);
  EXPECT_EQ(dst.at(0, 0).red, 128);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(BlendHelpersEdge, FloatWeightsAreTruncatedToIntegersLikeTheIntegerOnes) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_PixelFloat> a(1, 1), b(1, 1), dst(1, 1);
  a.at(0, 0) = RX_PixelFloat{0.3f, 1.0f, 0.0f, 0.5f};
  b.at(0, 0) = RX_PixelFloat{0.7f, 0.0f, 1.0f, 0.5f};
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x8000, dst.def()), RX_Result_OK);
  const int32_t w1 = int32_t(0.3f * 32768.0f), w2 = int32_t(0.7f * 32768.0f);  // 9830 and 22937
  EXPECT_EQ(dst.at(0, 0).alpha, 1.5258789e-5f * float(w1 + w2));
  EXPECT_NE(dst.at(0, 0).alpha, 0.5f);  // not the exact mean of the alphas
  EXPECT_EQ(dst.at(0, 0).red, float(w1) / float(w1 + w2));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(BlendHelpersEdge, SixteenBitColoursDoNotWrapInTheirProducts) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_Pixel16> a(1, 1), b(1, 1), dst(1, 1);
  a.at(0, 0) = RX_Pixel16{32768, 32768, 30000, 100};
  b.at(0, 0) = RX_Pixel16{32768, 0, 10000, 32768};
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x4000, dst.def()), RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).alpha, 32768);
  EXPECT_EQ(dst.at(0, 0).red, 24576);
  EXPECT_EQ(dst.at(0, 0).green, 25000);
  EXPECT_EQ(dst.at(0, 0).blue, 8267);  // (100 × 3 + 32768) / 4, rounded
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TYPED_TEST(BlendHelpers, AFadeMayWriteOverItsFirstSource) {
  using Px = TypeParam;
  std::mt19937 rng(43);
  TestWorld<Px> a(12, 5), b(12, 5), want(12, 5);
  fill(a, rng);
  fill(b, rng);
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x5555, want.def()), RX_Result_OK);
  ASSERT_EQ(RX_Blend(nullptr, a.def(), b.def(), 0x5555, a.def()), RX_Result_OK);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 12; ++x) ASSERT_TRUE(rxtest::same_pixel(a.at(x, y), want.at(x, y)));
  }
}

TYPED_TEST(BlendHelpers, RefusalsComeBeforeDstIsTouched) {
  using Px = TypeParam;
  std::mt19937 rng(44);
  TestWorld<Px> a(6, 4), b(6, 4), dst(6, 4), narrow(5, 4), short_one(6, 3);
  TestWorld<std::conditional_t<sizeof(Px) == 4, RX_Pixel16, RX_Pixel8>> other(6, 4);
  fill(a, rng);
  fill(b, rng);
  fill(dst, rng);
  TestWorld<Px> before(6, 4);
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 6; ++x) before.at(x, y) = dst.at(x, y);
  }
  RX_LayerDef no_pixels = *b.def();
  no_pixels.data = nullptr;
  for (auto fade : {RX_Blend, RX_Blend_Straight, RX_Blend_Premul}) {
    ReportCapture capture;
    EXPECT_EQ(fade(nullptr, a.def(), other.def(), 0x8000, dst.def()), RX_Result_Internal);
    EXPECT_EQ(fade(nullptr, a.def(), b.def(), 0x8000, other.def()), RX_Result_Internal);
    EXPECT_EQ(fade(nullptr, a.def(), &no_pixels, 0x8000, dst.def()), RX_Result_Internal);
    EXPECT_EQ(fade(nullptr, a.def(), narrow.def(), 0x8000, dst.def()), RX_Result_Internal);
    EXPECT_EQ(fade(nullptr, a.def(), b.def(), 0x8000, short_one.def()), RX_Result_Internal);
    EXPECT_EQ(fade(nullptr, nullptr, b.def(), 0x8000, dst.def()), RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_EQ(errors.size(), 6u);
    // The depth text names the premultiplied fade in every form.
    EXPECT_EQ(errors[0].text, "RX_BlendPremul requires src1, src2 and dst worlds to be same depth");
    EXPECT_EQ(errors[1].text, "RX_BlendPremul requires src1, src2 and dst worlds to be same depth");
    EXPECT_EQ(errors[2].text, "bad parameter passed to effect callback");
    EXPECT_EQ(errors[2].location, 0x25000C);
    EXPECT_EQ(errors[3].text, "RX_Blend requires width and height of all worlds to be the same");
    EXPECT_EQ(errors[3].line, 48);
    EXPECT_EQ(errors[4].text, "RX_Blend requires width and height of all worlds to be the same");
    EXPECT_EQ(errors[4].line, 49);
    EXPECT_EQ(errors[5].location, 0x25000C);
  }
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 6; ++x) ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), before.at(x, y)));
  }
}

struct Rows {
  std::vector<int32_t> seen;
  RX_Err answer = RX_Result_OK;
};
RX_Err note_rows(void* refcon, int32_t current, int32_t total) {
  auto* rows = static_cast<Rows*>(refcon);
  rows->seen.push_back(current);
  EXPECT_EQ(total, 100);
  return rows->answer;
}

TEST(BlendHelpersEdge, ProgressEveryThirtyTwoRowsAndAnAbortKeepsTheRowsDone) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_Pixel8> a(3, 100), b(3, 100), dst(3, 100);
  for (int32_t y = 0; y < 100; ++y) {
    for (int32_t x = 0; x < 3; ++x) a.at(x, y) = RX_Pixel8{255, 10, 10, 10}, b.at(x, y) = RX_Pixel8{255, 30, 30, 30};
  }
  Rows rows;
  RX_ProgressInfo progress{&rows, nullptr, note_rows};
  ASSERT_EQ(RX_Blend(&progress, a.def(), b.def(), 0x8000, dst.def()), RX_Result_OK);
  EXPECT_EQ(rows.seen, (std::vector<int32_t>{32, 64, 96}));
  TestWorld<RX_Pixel8> stopped(3, 100);
  rows = Rows{{}, RX_Result_Interrupted};
  EXPECT_EQ(RX_Blend(&progress, a.def(), b.def(), 0x8000, stopped.def()), RX_Result_Interrupted);
  EXPECT_EQ(stopped.at(1, 31).red, 20);
  EXPECT_EQ(stopped.at(1, 32).red, 0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

}  // namespace
