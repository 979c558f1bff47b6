// How the world transform refuses and fails: bad arguments, worlds of
// different or unknown depth, matrices that cannot be inverted or flatten
// the picture, scratch and motion blur buffers that cannot be had (at a
// call and at birth, one buffer after another), and a row that throws.
#include <set>

#include "compositing/blend_scratch.h"
#include "linear_tables.h"
#include "transform_reference.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;
using tref::Call;

class TransformFailure : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    BornPackage::TearDown();
  }
};

template <class Px>
class TransformFailureAtDepth : public TransformFailure {};
TYPED_TEST_SUITE(TransformFailureAtDepth, rxtest::AllPixelTypes);

template <class Px>
std::vector<Px> snapshot(TestWorld<Px>& w) {
  std::vector<Px> pixels;
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) pixels.push_back(w.at(x, y));
  }
  return pixels;
}

template <class Px>
bool unchanged(TestWorld<Px>& w, const std::vector<Px>& before) {
  const std::vector<Px> now = snapshot(w);
  return now.size() == before.size() && std::memcmp(now.data(), before.data(), now.size() * sizeof(Px)) == 0;
}

TEST_F(TransformFailure, WorldsOfDifferentDepthsAreReportedAndRefused) {
  TestWorld<RX_Pixel8> src(8, 8);
  TestWorld<RX_Pixel16> dst(8, 8);
  std::mt19937 rng(1);
  tref::fill_random(dst, rng);
  const auto before = snapshot(dst);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  const GE_Matrix3 m = tref::translation(0.5, 0.5);
  ReportCapture capture;
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, &m, 1, 1, {0, 0, 8, 8},
                              dst.def()),
            RX_Result_Internal);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].kind, RXHost_Report_Verification);
  EXPECT_EQ(errors[0].text, "RX_TransformWorld requires src and dst worlds to have same bit depth");
  EXPECT_TRUE(unchanged(dst, before));
}

TEST_F(TransformFailure, AMatteOfAnotherDepthIsRefused) {
  TestWorld<RX_Pixel8> src(8, 8), dst(8, 8);
  TestWorld<RX_PixelFloat> matte(8, 8);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  const RX_MaskWorld mask{*matte.def(), 0, 0, 0};
  const GE_Matrix3 m = tref::translation(0.5, 0.5);
  ReportCapture capture;
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, &mask, &m, 1, 1, {0, 0, 8, 8},
                              dst.def()),
            RX_Result_Internal);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].text, "RX_TransformWorld requires the track matte to have the bit depth of dst");
}

class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  using RX_WorldX<RX_Pixel8>::RX_WorldX;
  int16_t Depth() const override { return 24; }
};

TEST_F(TransformFailure, AnUnknownDepthIsReportedAndRefused) {
  TestWorld<RX_Pixel8> a(6, 6), b(6, 6);
  OddDepthWorld src(*a.def(), false), dst(*b.def(), false);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  const GE_Matrix3 m = tref::translation(0.5, 0.5);
  ReportCapture capture;
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, &src.LayerDef(), &mode, nullptr, nullptr, &m, 1, 1, {0, 0, 6, 6},
                              &dst.LayerDef()),
            RX_Result_Internal);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].text, "Unknown world bitdepth in##CONDITIONNAME");
}

TEST_F(TransformFailure, MissingArgumentsAreBadParameters) {
  TestWorld<RX_Pixel8> src(6, 6), dst(6, 6);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  std::vector<GE_Matrix3> many(257, tref::identity());
  const GE_LRect all{0, 0, 6, 6};
  RX_LayerDef no_pixels = *src.def();
  no_pixels.data = nullptr;
  ReportCapture capture;
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, nullptr, &mode, nullptr, nullptr, many.data(), 1, 1, all, dst.def()), 3);
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), nullptr, nullptr, nullptr, many.data(), 1, 1, all, dst.def()),
            3);
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, nullptr, 1, 1, all, dst.def()), 3);
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, many.data(), 0, 1, all, dst.def()),
            3);
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, many.data(), 257, 1, all,
                              dst.def()),
            3);
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, &no_pixels, &mode, nullptr, nullptr, many.data(), 1, 1, all,
                              dst.def()),
            3);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 6u);
  for (const auto& e : errors) {
    EXPECT_EQ(e.text, "bad parameter passed to effect callback");
    EXPECT_EQ(e.location, 0x250020);
  }
  // 256 matrices are what the buffers hold.
  EXPECT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, many.data(), 256, 1, all,
                              dst.def()),
            RX_Result_OK);
}

TYPED_TEST(TransformFailureAtDepth, ASingularFirstMatrixDrawsNothingEvenForStencils) {
  using Px = TypeParam;
  TestWorld<Px> src(8, 8), dst(10, 10);
  std::mt19937 rng(2);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  const auto before = snapshot(dst);
  for (int32_t mode_number : {RX_Xfer_Over, RX_Xfer_MultiplyAlpha}) {
    for (bool source_to_dest : {true, false}) {
      Call call;
      call.mode = RX_CompositeModePlus(mode_number, 1.0f, nullptr, false, 0);
      call.source_to_dest = source_to_dest;
      call.matrices = {tref::affine(1, 2, 0, 2, 4, 0)};
      EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
      // A singular last matrix of a motion path stops it too.
      call.matrices = {tref::identity(), tref::affine(1, 2, 0, 2, 4, 0)};
      EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
      EXPECT_TRUE(unchanged(dst, before)) << mode_number << source_to_dest;
    }
  }
}

TYPED_TEST(TransformFailureAtDepth, AFlatteningMatrixDrawsNothingAndAStencilClearsAll) {
  using Px = TypeParam;
  TestWorld<Px> src(8, 8), dst(10, 10);
  std::mt19937 rng(3);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng, 100);
  const auto before = snapshot(dst);
  Call call;
  // Destination to source: a column shorter than half a 16.16 step.
  call.source_to_dest = false;
  call.matrices = {tref::affine(1e-6, 0, 4, 0, 1, 0)};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_TRUE(unchanged(dst, before));
  for (int32_t stencil : {RX_Xfer_MultiplyAlpha, RX_Xfer_MultiplyAlphaLuma}) {
    TestWorld<Px> cut(10, 10);
    tref::copy_world(dst, cut);
    call.mode = RX_CompositeModePlus(stencil, 1.0f, nullptr, false, 0);
    EXPECT_EQ(tref::run_transform(call, src, nullptr, cut), RX_Result_OK);
    for (int32_t y = 0; y < 10; ++y) {
      for (int32_t x = 0; x < 10; ++x) ASSERT_EQ(cut.at(x, y).alpha, 0) << x << "," << y;
    }
  }
}

TYPED_TEST(TransformFailureAtDepth, AnAreaOutsideDstDrawsNothing) {
  using Px = TypeParam;
  TestWorld<Px> src(8, 8), dst(10, 10);
  std::mt19937 rng(4);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  const auto before = snapshot(dst);
  Call call;
  call.mode = RX_CompositeModePlus(RX_Xfer_MultiplyAlpha, 1.0f, nullptr, false, 0);
  call.matrices = {tref::turn(30, 1, 4, 4, 100, 0)};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  call.matrices = {tref::turn(30, 1, 4, 4, 0, 0)};
  call.dest_rect = {5, 5, 5, 9};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_TRUE(unchanged(dst, before));
}

TYPED_TEST(TransformFailureAtDepth, ScratchThatCannotGrowEndsTheCallWithOutOfMemory) {
  using Px = TypeParam;
  TestWorld<Px> src(8, 8), dst(3000, 4);
  std::mt19937 rng(5);
  tref::fill_random(src, rng);
  const auto before = snapshot(dst);
  Call call;
  call.matrices = {tref::turn(10, 1, 4, 4, 2000, 0)};
  const int64_t live = RXHost_LiveBytes();
  ReportCapture capture;
  RXHost_FailNthAllocation(2);  // the second of the three rows
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OutOfMemory);
  EXPECT_TRUE(unchanged(dst, before));
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 0);
  EXPECT_LE(RXHost_LiveBytes(), live);
  // It works again once memory does.
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_FALSE(unchanged(dst, before));
}

TEST_F(TransformFailure, MissingMotionBlurBuffersAreFetchedAtACallAndTheirFailureIsOutOfMemory) {
  TestWorld<RX_Pixel8> src(8, 8), dst(12, 12);
  std::mt19937 rng(6);
  tref::fill_random(src, rng);
  const auto before = snapshot(dst);
  Call call;
  call.matrices = {tref::turn(10, 1, 4, 4, 2, 2)};
  RX_DisposeMotionBlurScratch();
  ReportCapture capture;
  RXHost_FailNthAllocation(3);
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OutOfMemory);
  EXPECT_TRUE(unchanged(dst, before));
  EXPECT_NE(RXp_MotionBlurBuffer(1), nullptr);
  EXPECT_EQ(RXp_MotionBlurBuffer(2), nullptr);
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) EXPECT_NE(RXp_MotionBlurBuffer(i), nullptr) << i;
}

TEST_F(TransformFailure, ARowThatThrowsEndsTheCallWithItsCode) {
  // Linear rows take their working lines from the host's memory; when that
  // fails they throw out of memory, which the transform returns.
  TestWorld<RX_Pixel16> src(8, 8), dst(12, 12);
  std::mt19937 rng(7);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  Call call;
  call.mode = RX_CompositeModePlus(RX_Xfer_Multiply, 0.5f, nullptr, false, 0);
  call.tables = &tables;
  call.matrices = {tref::turn(10, 1, 4, 4, 2, 2)};
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);  // scratch is warm now
  const int64_t live = RXHost_LiveBytes();
  ReportCapture capture;
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OutOfMemory);
  EXPECT_EQ(RXHost_LiveBytes(), live);
}

// ---- birth ----

TEST(TransformBirth, EachMotionBlurBufferFailingAtBirthKeepsTheEarlierOnesAndLeaksNothing) {
  const int64_t live = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  std::set<int> failed_buffers;
  for (int32_t n = 1; n < 80 && failed_buffers.size() < RX_MotionBlurBufferCount; ++n) {
    ReportCapture capture;
    RXHost_FailNthAllocation(n);
    const RX_Err err = RX_Birth();
    RXHost_FailNthAllocation(0);
    // Which buffer the host reported it could not give, if any.
    int failed = -1;
    for (const auto& e : capture.errors()) {
      for (int k = 0; k < RX_MotionBlurBufferCount; ++k) {
        if (e.text.find("motion blur scratch data" + std::to_string(k + 1)) != std::string::npos) failed = k;
      }
    }
    if (failed >= 0) {
      EXPECT_EQ(err, RX_Result_OutOfMemory) << "buffer " << failed;
      for (int i = 0; i < RX_MotionBlurBufferCount; ++i) {
        EXPECT_EQ(RXp_MotionBlurBuffer(i) != nullptr, i < failed) << "buffer " << failed << ", " << i;
      }
      failed_buffers.insert(failed);
    }
    RX_Death();
    EXPECT_EQ(RXHost_LiveBytes(), live) << "after failing allocation " << n;
    EXPECT_EQ(RXHost_LiveBlocks(), blocks) << "after failing allocation " << n;
  }
  EXPECT_EQ(failed_buffers.size(), size_t(RX_MotionBlurBufferCount));
}

}  // namespace
