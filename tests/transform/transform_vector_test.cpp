// Every processor form of the transform's inner loop against its plain
// form, on the same random pictures and matrices: the results must be
// equal to the bit. The 8-bit loop has an AVX2 form (its area run); the
// 16-bit and float loops have none.
#include <random>

#include "transform_reference.h"
#include "variant_forms.h"

namespace {

using rxtest::TestWorld;

class TransformVector : public rxtest::BornPackage {};

RX_TransformInnerLoop form(int32_t slot, int32_t vector) {
  return reinterpret_cast<RX_TransformInnerLoop>(RXp_TransformLoopForm(slot, vector));
}

TEST_F(TransformVector, OnlyTheEightBitLoopHasAProcessorForm) {
  EXPECT_NE(form(RX_Slot_TransformInner8, 1), nullptr);
  EXPECT_EQ(form(RX_Slot_TransformInner16, 1), nullptr);
  EXPECT_EQ(form(RX_Slot_TransformInnerFloat, 1), nullptr);
  for (int32_t slot : {RX_Slot_TransformInner8, RX_Slot_TransformInner16, RX_Slot_TransformInnerFloat}) {
    EXPECT_NE(form(slot, 0), nullptr) << slot;
  }
  EXPECT_EQ(RXp_TransformLoopForm(RX_Slot_TransformWorld, 0), nullptr);
  // The registry's entries are the same forms.
  EXPECT_EQ(form(RX_Slot_TransformInner8, 1), rxtest::form<RX_TransformInnerLoop>("transform_loops.inner8", true));
  EXPECT_EQ(form(RX_Slot_TransformInner8, 0), rxtest::form<RX_TransformInnerLoop>("transform_loops.inner8", false));
  EXPECT_EQ(form(RX_Slot_TransformInner16, 0), reinterpret_cast<RX_TransformInnerLoop>(RX_TransformInnerLoop16_S));
  EXPECT_EQ(form(RX_Slot_TransformInnerFloat, 0), reinterpret_cast<RX_TransformInnerLoop>(RX_TransformInnerLoopFloat_S));
}

TEST_F(TransformVector, EightBitAVX2LoopEqualsThePlainLoop) {
  if (!rxtest::processor_runs("transform_loops.inner8")) GTEST_SKIP() << "no AVX2 here";
  std::mt19937 rng(31);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const RX_TransformInnerLoop plain = form(RX_Slot_TransformInner8, 0), vector = form(RX_Slot_TransformInner8, 1);
  int minified = 0;
  for (int round = 0; round < 300; ++round) {
    TestWorld<RX_Pixel8> src(int32_t(2 + rng() % 40), int32_t(2 + rng() % 30), int32_t(rng() % 3) * 4,
                             int32_t(rng() % 4) * 4);
    TestWorld<RX_Pixel8> a(int32_t(10 + rng() % 40), int32_t(10 + rng() % 30), int32_t(rng() % 2) * 12), b(a.width(), a.height());
    tref::fill_random(src, rng);
    tref::fill_random(a, rng);
    tref::copy_world(a, b);
    // Scales from 0.05 to 2, the most between 0.2 and 1 (boxes of up to a
    // few pixels, the vector run's own; larger ones go to the sampler).
    const double scale = rng() % 4 == 0 ? std::exp(std::log(0.05) + unit(rng) * std::log(40.0)) : 0.2 + unit(rng) * 0.8;
    minified += scale < 1.0;
    const double squash = rng() % 3 == 0 ? 0.6 + unit(rng) * 0.8 : 1.0;
    std::vector<GE_Matrix3> matrices = {tref::turn(unit(rng) * 360, scale, src.width() / 2.0, src.height() / 2.0,
                                                   unit(rng) * a.width() - src.width() / 2.0,
                                                   unit(rng) * a.height() - src.height() / 2.0)};
    matrices[0].m[1][1] *= squash;
    if (rng() % 3 == 0) {
      GE_Matrix3 end = matrices[0];
      end.m[0][2] += double(rng() % 9) - 4;
      end.m[1][2] += double(rng() % 7) - 3;
      matrices.push_back(end);
    }
    const RX_CompositeModePlus mode(rng() % 2 ? RX_Xfer_Over : RX_Xfer_Screen, rng() % 2 ? 1.0f : 0.6f, nullptr,
                                    false, int32_t(rng()));
    const int32_t quality = rng() % 5 == 0 ? 0 : 1, field = int32_t(rng() % 3);
    const GE_LRect all{-1000, -1000, 1000, 1000};
    ASSERT_EQ(plain(nullptr, quality, 0, field, src.def(), &mode, nullptr, nullptr, matrices.data(),
                    int32_t(matrices.size()), 1, all, nullptr, a.def()),
              RX_Result_OK);
    ASSERT_EQ(vector(nullptr, quality, 0, field, src.def(), &mode, nullptr, nullptr, matrices.data(),
                     int32_t(matrices.size()), 1, all, nullptr, b.def()),
              RX_Result_OK);
    std::string where;
    ASSERT_TRUE(tref::same_world(a, b, &where)) << "round " << round << " scale " << scale << " at " << where;
  }
  EXPECT_GT(minified, 150);
}

}  // namespace
