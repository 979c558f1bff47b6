#include <gtest/gtest.h>

#include <cstring>

#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;
using hosttest::ReportCapture;

TEST(KoHandles, AHandleIsAMasterPointerAndADataBlock) {
  const Books before;
  KO_Handle h = KO_AllocateHandle(0, "handle", 40);
  ASSERT_NE(h, nullptr);
  ASSERT_NE(*h, nullptr);
  EXPECT_EQ(KO_GetHandleSize(h), 40u);
  EXPECT_EQ(KO_GetPtrSize(*h), 40u);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 2);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 40 + int64_t{sizeof(void*)});
  KO_FreeHandle(h);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoHandles, ClearFormZeroesTheData) {
  KO_Handle h = KO_AllocateHandleClear(0, "clear", 256);
  ASSERT_NE(h, nullptr);
  const auto* data = static_cast<const unsigned char*>(*h);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(data[i], 0);
  KO_FreeHandle(h);
}

TEST(KoHandles, ResizeMayMoveTheDataButKeepsTheHandle) {
  const Books before;
  KO_Handle h = KO_AllocateHandleQuiet(8);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "12345678", 8);
  ASSERT_EQ(KO_ResizeHandle(h, 1 << 20), KO_Err_None);
  EXPECT_EQ(KO_GetHandleSize(h), size_t{1} << 20);
  EXPECT_EQ(std::memcmp(*h, "12345678", 8), 0);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 2);
  KO_FreeHandle(h);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoHandles, NullHandlesAreHarmless) {
  const Books before;
  KO_FreeHandle(nullptr);
  EXPECT_EQ(KO_GetHandleSize(nullptr), 0u);
  EXPECT_EQ(KO_ResizeHandle(nullptr, 8), KO_Err_Internal);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoHandles, SizeZeroHandleHasData) {
  KO_Handle h = KO_AllocateHandleQuiet(0);
  ASSERT_NE(h, nullptr);
  EXPECT_NE(*h, nullptr);
  EXPECT_EQ(KO_GetHandleSize(h), 0u);
  KO_FreeHandle(h);
}

TEST(KoHandles, AHandleCountsAsOneAllocationForTheFailHook) {
  const Books before;
  {
    FailNth hook(2);
    KO_Handle first = KO_AllocateHandleQuiet(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(KO_AllocateHandleQuiet(8), nullptr);
    KO_FreeHandle(first);
  }
  EXPECT_TRUE(before.unchanged());
}

TEST(KoHandles, FailedHandleIsReportedByTheLoudForms) {
  ReportCapture capture;
  {
    FailNth hook(1);
    EXPECT_EQ(KO_AllocateHandle(0x250002, "list", 64), nullptr);
  }
  {
    FailNth hook(1);
    EXPECT_EQ(KO_AllocateHandleClear(0x250003, "clear list", 32), nullptr);
  }
  {
    FailNth hook(1);
    EXPECT_EQ(KO_AllocateHandleQuiet(16), nullptr);
  }
  ASSERT_EQ(capture.size(), 2u);
  EXPECT_EQ(capture.reports()[0].kind, RXHost_Report_OutOfMemory);
  EXPECT_EQ(capture.reports()[0].location, 0x250002);
  EXPECT_EQ(capture.reports()[0].text, "out of memory for list (64 bytes)");
  EXPECT_EQ(capture.reports()[1].text, "out of memory for clear list (32 bytes)");
}

}  // namespace
