// The shared blending rows and the motion blur buffers.
#include "compositing/blend_scratch.h"
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

class BlendScratch : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    BornPackage::TearDown();
  }
};

TEST_F(BlendScratch, ALargerRequestReallocatesAllThreeRows) {
  RX_ScratchSet set{};
  ASSERT_EQ(RXp_ReallocScratch(2000, 2, 0, &set), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 2000 * 8);
  EXPECT_EQ(set.words[RX_ScratchAlphaRow], RXp_G_BlendScratch.alpha_row);
  EXPECT_EQ(set.words[RX_ScratchMaskLine], RXp_G_BlendScratch.mask_line);
  EXPECT_EQ(set.words[RX_ScratchWorkLine], RXp_G_BlendScratch.work_line);
  EXPECT_EQ(KO_GetPtrSize(RXp_G_BlendScratch.alpha_row), 2000u * 2);
  EXPECT_EQ(KO_GetPtrSize(RXp_G_BlendScratch.mask_line), 2000u * 8);
  EXPECT_EQ(KO_GetPtrSize(RXp_G_BlendScratch.work_line), 2000u * 8);
}

TEST_F(BlendScratch, ASmallerRequestKeepsTheRows) {
  ASSERT_EQ(RXp_ReallocScratch(2000, 4, 0, nullptr), RX_Result_OK);
  void* const work = RXp_G_BlendScratch.work_line;
  ASSERT_EQ(RXp_ReallocScratch(10, 1, 0, nullptr), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.work_line, work);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 2000 * 16);
}

TEST_F(BlendScratch, ForceReplacesLargerRowsBySmallerOnes) {
  ASSERT_EQ(RXp_ReallocScratch(2000, 4, 0, nullptr), RX_Result_OK);
  ASSERT_EQ(RXp_ReallocScratch(10, 1, 1, nullptr), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 40);
  EXPECT_EQ(KO_GetPtrSize(RXp_G_BlendScratch.work_line), 40u);
}

TEST_F(BlendScratch, AnotherChannelSizeIsReportedAndRefused) {
  ReportCapture capture;
  EXPECT_EQ(RXp_ReallocScratch(10, 3, 0, nullptr), RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.last().text, "Unexpected bitdepth in RXp_ReallocScratch()");
  EXPECT_EQ(capture.last().location, 0x2503E7);
}

TEST_F(BlendScratch, FailureOfAnyRowFreesThoseGotAndZeroesTheCapacity) {
  ReportCapture capture;
  for (int n = 1; n <= 3; ++n) {
    const int64_t before = RXHost_LiveBytes();
    RXHost_FailNthAllocation(n);
    EXPECT_EQ(RXp_ReallocScratch(5000, 4, 0, nullptr), RX_Result_OutOfMemory) << n;
    EXPECT_EQ(RXp_G_BlendScratch.capacity, 0) << n;
    EXPECT_EQ(RXp_G_BlendScratch.alpha_row, nullptr) << n;
    EXPECT_EQ(RXp_G_BlendScratch.mask_line, nullptr) << n;
    EXPECT_EQ(RXp_G_BlendScratch.work_line, nullptr) << n;
    // The old rows were freed too: a failed request leaves no rows at all.
    EXPECT_LT(RXHost_LiveBytes(), before) << n;
    ASSERT_EQ(RXp_ReallocScratch(1024, 1, 0, nullptr), RX_Result_OK);
  }
  // The allocator named the block in its report.
  ASSERT_FALSE(capture.errors().empty());
  EXPECT_NE(capture.errors().back().text.find("blending scratch buffer"), std::string::npos);
}

TEST_F(BlendScratch, MotionBlurBuffersHaveTheirFixedSizes) {
  const size_t sizes[RX_MotionBlurBufferCount] = {2048, 2048, 2048, 4096, 4096, 18432, 26624};
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) {
    ASSERT_NE(RXp_MotionBlurBuffer(i), nullptr);
    EXPECT_EQ(KO_GetPtrSize(RXp_MotionBlurBuffer(i)), sizes[i]) << i;
  }
  EXPECT_EQ(RXp_MotionBlurBuffer(7), nullptr);
}

TEST_F(BlendScratch, MotionBlurFailureKeepsTheBuffersAlreadyGot) {
  RX_DisposeMotionBlurScratch();
  ReportCapture capture;
  RXHost_FailNthAllocation(4);
  EXPECT_EQ(RX_AllocateMotionBlurScratch(), RX_Result_OutOfMemory);
  for (int i = 0; i < 3; ++i) EXPECT_NE(RXp_MotionBlurBuffer(i), nullptr) << i;
  EXPECT_EQ(RXp_MotionBlurBuffer(3), nullptr);
  ASSERT_FALSE(capture.errors().empty());
  EXPECT_NE(capture.errors().back().text.find("motion blur scratch data4"), std::string::npos);
  // A later call fetches only what is missing.
  void* const first = RXp_MotionBlurBuffer(0);
  EXPECT_EQ(RX_AllocateMotionBlurScratch(), RX_Result_OK);
  EXPECT_EQ(RXp_MotionBlurBuffer(0), first);
  EXPECT_NE(RXp_MotionBlurBuffer(6), nullptr);
}

}  // namespace
