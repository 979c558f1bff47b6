#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "KO/KO.h"
#include "ZW/ZW.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;
using hosttest::ReportCapture;

TEST(ZwFrames, FramesAreAlignedAndCounted) {
  const Books before;
  void* a = ZW_AllocateFrameQuiet(1000);
  void* b = ZW_AllocateFrameQuiet(3);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 8, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 8, 0u);
  std::memset(a, 0x5A, 1000);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 1003);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 2);
  ZW_FreeFrame(a, 1000);
  ZW_FreeFrame(b, 3);
  EXPECT_TRUE(before.unchanged());
}

TEST(ZwFrames, FreeOfNullDoesNothing) {
  const Books before;
  ZW_FreeFrame(nullptr, 10);
  EXPECT_TRUE(before.unchanged());
}

TEST(ZwFrames, FailHookCountsFramesAndFailsQuietly) {
  ReportCapture capture;
  const Books before;
  {
    FailNth hook(2);
    void* first = ZW_AllocateFrameQuiet(64);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(ZW_AllocateFrameQuiet(64), nullptr);
    ZW_FreeFrame(first, 64);
  }
  EXPECT_EQ(capture.size(), 0u);
  EXPECT_TRUE(before.unchanged());
}

TEST(ZwFrames, WrongSizeOnFreeIsReportedButFreed) {
  ReportCapture capture;
  const Books before;
  void* frame = ZW_AllocateFrameQuiet(100);
  ZW_FreeFrame(frame, 99);
  EXPECT_TRUE(before.unchanged());
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
}

TEST(ZwFrames, WorldAllocationFailureReportsTheImageSize) {
  ReportCapture capture;
  ZW_ReportWorldAllocationFailure(1, 4096, 1024, 768, 32);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_ErrString);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0);
  EXPECT_EQ(capture.last().text, "not enough memory for a 1024x768 image buffer (32 bits per pixel)");
}

}  // namespace
