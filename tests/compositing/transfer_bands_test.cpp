// The transfer rectangle's two steps on their own: the clipping step that
// turns a request into spans, and the line loop in bands, whose dissolve
// seed comes in closed form from the line index, so that any split into
// bands gives the bits of the one band the default runs.
#include <climits>
#include <random>
#include <vector>

#include "compositing/transfer_rect.h"
#include "rx_test_support.h"

namespace {

using rxtest::TestWorld;

template <class Px>
void fill_random(TestWorld<Px>& world, std::mt19937& rng) {
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) {
      const uint32_t pick = rng() % 4;
      if constexpr (sizeof(Px) == 16) {
        const float a = pick == 0 ? 0.0f : pick == 1 ? 1.0f : float(rng() % 1000) / 999.0f;
        world.at(x, y) = {a, float(rng() % 1000) / 999.0f, float(rng() % 1000) / 999.0f, float(rng() % 1000) / 999.0f};
      } else {
        using Cv = decltype(Px{}.alpha);
        const uint32_t white = sizeof(Px) == 4 ? 255 : 32768;
        const Cv a = Cv(pick == 0 ? 0 : pick == 1 ? white : rng() % (white + 1));
        world.at(x, y) = {a, Cv(rng() % (white + 1)), Cv(rng() % (white + 1)), Cv(rng() % (white + 1))};
      }
    }
  }
}

rx::TransferRequest request(const GE_LRect& rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                            const RX_MaskWorld* mask, int32_t x, int32_t y, RX_LayerDef* dst, int32_t field = 0) {
  return {nullptr, field, rect, src, mode, nullptr, mask, nullptr, x, y, dst};
}

// ---- the clipping step ----

class TransferClip : public rxtest::BornPackage {};

TEST_F(TransferClip, TheSpansShareTheirSizeAndMapBackToTheSource) {
  TestWorld<RX_Pixel8> src(20, 10), dst(30, 25);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  rx::TransferSpans spans;
  // Source rectangle hanging over the source's left and top, landing at
  // (-3, 4): the source's (0..20, 0..7), destination (0..19, 6..13).
  ASSERT_TRUE(rx::clip_transfer(request({-2, -2, 22, 7}, src.def(), &mode, nullptr, -3, 4, dst.def()), &spans));
  EXPECT_EQ(spans.destination.left, 0);
  EXPECT_EQ(spans.destination.top, 6);
  EXPECT_EQ(spans.destination.right, 19);
  EXPECT_EQ(spans.destination.bottom, 13);
  EXPECT_EQ(spans.source.left, 1);
  EXPECT_EQ(spans.source.top, 0);
  EXPECT_EQ(spans.source.right, 20);
  EXPECT_EQ(spans.source.bottom, 7);
  EXPECT_EQ(spans.width(), 19);
  EXPECT_EQ(spans.height(), 7);
}

TEST_F(TransferClip, NothingLeftIsNoSpan) {
  TestWorld<RX_Pixel8> src(8, 8), dst(8, 8);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  rx::TransferSpans spans;
  EXPECT_FALSE(rx::clip_transfer(request({8, 0, 12, 4}, src.def(), &mode, nullptr, 0, 0, dst.def()), &spans));
  EXPECT_FALSE(rx::clip_transfer(request({0, 0, 4, 4}, src.def(), &mode, nullptr, 8, 0, dst.def()), &spans));
  EXPECT_FALSE(rx::clip_transfer(request({0, 0, 4, 4}, src.def(), &mode, nullptr, INT32_MIN, 0, dst.def()), &spans));
}

TEST_F(TransferClip, AnEvenKindMatteClipsAndAnInvertedOneDoesNot) {
  TestWorld<RX_Pixel8> src(20, 20), dst(20, 20), matte(5, 6);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  rx::TransferSpans spans;
  RX_MaskWorld mask{*matte.def(), 3, 4, RX_Mask_Alpha};
  ASSERT_TRUE(rx::clip_transfer(request({0, 0, 20, 20}, src.def(), &mode, &mask, 0, 0, dst.def()), &spans));
  EXPECT_EQ(spans.destination.left, 3);
  EXPECT_EQ(spans.destination.top, 4);
  EXPECT_EQ(spans.destination.right, 8);
  EXPECT_EQ(spans.destination.bottom, 10);
  EXPECT_EQ(spans.source.left, 3);
  EXPECT_EQ(spans.matte_x, 0);
  EXPECT_EQ(spans.matte_y, 0);
  mask.kind = RX_Mask_AlphaInverted;
  ASSERT_TRUE(rx::clip_transfer(request({0, 0, 20, 20}, src.def(), &mode, &mask, 0, 0, dst.def()), &spans));
  EXPECT_EQ(spans.width(), 20);
  EXPECT_EQ(spans.height(), 20);
  EXPECT_EQ(spans.matte_x, -3);  // the lines start left of the matte
  EXPECT_EQ(spans.matte_y, -4);
  // A matte placed far off: its offsets are taken in 64 bits.
  mask.x_offset = INT32_MIN;
  ASSERT_TRUE(rx::clip_transfer(request({0, 0, 20, 20}, src.def(), &mode, &mask, 0, 0, dst.def()), &spans));
  EXPECT_EQ(spans.matte_x, -int64_t{INT32_MIN});
  mask.kind = RX_Mask_Luma;
  EXPECT_FALSE(rx::clip_transfer(request({0, 0, 20, 20}, src.def(), &mode, &mask, 0, 0, dst.def()), &spans));
}

// ---- the dissolve seed of a line ----

TEST(TransferLineSeed, TheClosedFormIsTheStepwiseSumModulo32Bits) {
  for (int32_t top : {0, 1, 7, 1000, 174863, 2000000, INT32_MAX - 600}) {
    for (uint32_t first_seed : {0u, 99u, 0xFFFFFFF0u}) {
      // The seed grows by 12281 * y after line y, in unsigned arithmetic.
      uint32_t seed = first_seed, step = uint32_t(top) * 12281u;
      for (int32_t y = top; y < top + 500 && y >= top; ++y) {
        ASSERT_EQ(rx::transfer_line_seed(first_seed, top, y), seed) << "top " << top << " line " << y;
        seed += step;
        step += 12281u;
      }
    }
  }
}

// ---- bands ----

template <class Px>
class TransferBands : public rxtest::BornPackage {};
TYPED_TEST_SUITE(TransferBands, rxtest::AllPixelTypes);

TYPED_TEST(TransferBands, AnySplitIntoBandsGivesTheBitsOfOneBand) {
  using Px = TypeParam;
  std::mt19937 rng(424242);
  TestWorld<Px> src(37, 41, 12, 0), matte(30, 33, 0, 0);
  fill_random(src, rng);
  fill_random(matte, rng);
  TestWorld<Px> base(45, 50, 8, 0);
  fill_random(base, rng);
  struct Case {
    int32_t mode, field, kind, x, y;
    float opacity;
  };
  const Case cases[] = {{RX_Xfer_Dissolve, 0, -1, 3, 5, 0.6f},  {RX_Xfer_Dissolve, 1, 0, -2, 3, 0.8f},
                        {RX_Xfer_Dissolve, 2, 3, 5, -4, 0.5f},  {RX_Xfer_Over, 1, 1, 1, 2, 1.0f},
                        {RX_Xfer_Multiply, 0, 2, 0, 0, 0.7f},   {RX_Xfer_Dissolve, 0, 1, 6, 7, 1.0f}};
  for (const Case& c : cases) {
    const RX_CompositeModePlus mode(c.mode, c.opacity, nullptr, false, 77);
    const RX_MaskWorld mask{*matte.def(), c.x + 2, c.y + 1, c.kind < 0 ? 0 : c.kind};
    const RX_MaskWorld* mask_ptr = c.kind < 0 ? nullptr : &mask;
    const GE_LRect rect{1, 3, 36, 40};
    TestWorld<Px> whole(45, 50, 8, 0);
    std::memcpy(whole.def()->data, base.def()->data, size_t(whole.def()->row_stride) * 50);
    ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, c.field, rect, src.def(), &mode, nullptr, mask_ptr, c.x, c.y,
                              whole.def()),
              RX_Result_OK);
    for (int32_t band : {1, 2, 3, 7, 13, 128}) {
      TestWorld<Px> banded(45, 50, 8, 0);
      std::memcpy(banded.def()->data, base.def()->data, size_t(banded.def()->row_stride) * 50);
      ASSERT_EQ(rx::run_transfer(request(rect, src.def(), &mode, mask_ptr, c.x, c.y, banded.def(), c.field), "",
                                 band),
                RX_Result_OK);
      EXPECT_EQ(0, std::memcmp(whole.def()->data, banded.def()->data, size_t(whole.def()->row_stride) * 50))
          << RX_TransferModeName(c.mode) << " field " << c.field << " kind " << c.kind << " in bands of " << band;
    }
  }
}

}  // namespace
