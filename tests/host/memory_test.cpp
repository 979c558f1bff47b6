#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>

#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;
using hosttest::ReportCapture;

TEST(KoMemory, BlocksAreCountedUntilFreed) {
  const Books before;
  void* a = KO_AllocatePtr(0x250000, "a", 100);
  void* b = KO_AllocatePtrQuiet(28);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 128);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 2);
  KO_FreePtr(a);
  KO_FreePtr(b);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, SizeIsTheSizeAskedFor) {
  void* p = KO_AllocatePtr(0, "p", 37);
  EXPECT_EQ(KO_GetPtrSize(p), 37u);
  EXPECT_EQ(KO_GetPtrSize(nullptr), 0u);
  KO_FreePtr(p);
}

TEST(KoMemory, BlocksAreSixteenByteAligned) {
  void* p = KO_AllocatePtrQuiet(3);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
  KO_FreePtr(p);
}

TEST(KoMemory, ClearFormZeroes) {
  auto* p = static_cast<unsigned char*>(KO_AllocatePtrClear(0, "clear", 4096));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(p[i], 0) << i;
  KO_FreePtr(p);
}

TEST(KoMemory, SizeZeroGivesDistinctCountedBlocks) {
  const Books before;
  void* a = KO_AllocatePtrQuiet(0);
  void* b = KO_AllocatePtrQuiet(0);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  EXPECT_EQ(KO_GetPtrSize(a), 0u);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 2);
  KO_FreePtr(a);
  KO_FreePtr(b);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, FreeOfNullDoesNothing) {
  const Books before;
  KO_FreePtr(nullptr);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, ResizeKeepsTheContentsAndMovesTheBooks) {
  const Books before;
  void* p = KO_AllocatePtr(0, "grow", 16);
  std::memset(p, 0xAB, 16);
  ASSERT_EQ(KO_ResizePtr(&p, 1 << 20), KO_Err_None);
  EXPECT_EQ(KO_GetPtrSize(p), size_t{1} << 20);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + (1 << 20));
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 1);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(static_cast<unsigned char*>(p)[i], 0xAB);
  ASSERT_EQ(KO_ResizePtr(&p, 4), KO_Err_None);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 4);
  KO_FreePtr(p);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, ResizeOfNullAllocatesAndNullAddressIsRejected) {
  const Books before;
  void* p = nullptr;
  ASSERT_EQ(KO_ResizePtr(&p, 8), KO_Err_None);
  EXPECT_NE(p, nullptr);
  EXPECT_EQ(KO_ResizePtr(nullptr, 8), KO_Err_Internal);
  KO_FreePtr(p);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, ImpossibleResizeLeavesTheBlockAlone) {
  void* p = KO_AllocatePtrQuiet(8);
  void* const original = p;
  EXPECT_EQ(KO_ResizePtr(&p, SIZE_MAX - 4), KO_Err_OutOfMemory);
  EXPECT_EQ(p, original);
  EXPECT_EQ(KO_GetPtrSize(p), 8u);
  KO_FreePtr(p);
}

TEST(KoMemory, TheAccountAddsAfterTakingAndSubtractsBeforeGivingBack) {
  const Books before;
  const int64_t account = RXHost_AccountedBytes();
  KO_AccountAllocationEx(1000, 1);
  KO_AccountAllocationEx(24, 7);  // any non-zero adds
  EXPECT_EQ(RXHost_AccountedBytes(), account + 1024);
  KO_AccountAllocationEx(1000, 0);
  EXPECT_EQ(RXHost_AccountedBytes(), account + 24);
  KO_AccountAllocationEx(24, 0);
  EXPECT_EQ(RXHost_AccountedBytes(), account);
  // The account is apart from the books of KO's blocks.
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemory, TheNthAllocationFailsAndOnlyThatOne) {
  ReportCapture capture;
  FailNth hook(3);
  void* a = KO_AllocatePtrQuiet(8);
  void* b = KO_AllocatePtrQuiet(8);
  void* c = KO_AllocatePtrQuiet(8);
  void* d = KO_AllocatePtrQuiet(8);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_EQ(c, nullptr);
  EXPECT_NE(d, nullptr);  // the hook turned itself off
  EXPECT_EQ(capture.size(), 0u);  // the quiet form stays quiet
  KO_FreePtr(a);
  KO_FreePtr(b);
  KO_FreePtr(d);
}

TEST(KoMemory, FailingTheNextAllocationReportsOutOfMemory) {
  ReportCapture capture;
  const Books before;
  {
    FailNth hook(1);
    EXPECT_EQ(KO_AllocatePtr(0x250123, "blending scratch", 4096), nullptr);
  }
  EXPECT_TRUE(before.unchanged());
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_OutOfMemory);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0x250123);
  EXPECT_EQ(capture.last().text, "out of memory for blending scratch (4096 bytes)");
}

TEST(KoMemory, ClearFormReportsItsFailureToo) {
  ReportCapture capture;
  FailNth hook(1);
  EXPECT_EQ(KO_AllocatePtrClear(0x250001, "table", 10), nullptr);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "out of memory for table (10 bytes)");
}

TEST(KoMemory, FailHookOffMeansNoFailure) {
  RXHost_FailNthAllocation(5);
  RXHost_FailNthAllocation(0);
  for (int i = 0; i < 10; ++i) {
    void* p = KO_AllocatePtrQuiet(1);
    EXPECT_NE(p, nullptr);
    KO_FreePtr(p);
  }
}

TEST(KoMemory, ResizesDoNotCountForTheFailHook) {
  void* p = KO_AllocatePtrQuiet(8);
  FailNth hook(1);
  EXPECT_EQ(KO_ResizePtr(&p, 64), KO_Err_None);
  EXPECT_EQ(KO_AllocatePtrQuiet(8), nullptr);
  KO_FreePtr(p);
}

TEST(KoMemory, FreeingAForeignBlockIsReportedAndIgnored) {
  ReportCapture capture;
  alignas(16) unsigned char fake[64] = {};
  KO_FreePtr(fake + 32);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
}

TEST(KoMemory, Memset32FillsCountWords) {
  uint32_t words[6] = {};
  KOp_Memset32(words + 1, 0xDEADBEEFu, 4);
  EXPECT_EQ(words[0], 0u);
  for (int i = 1; i <= 4; ++i) EXPECT_EQ(words[i], 0xDEADBEEFu);
  EXPECT_EQ(words[5], 0u);
}

TEST(KoMemory, Memset16FillsCountHalfWords) {
  uint16_t halves[6] = {};
  KOp_Memset16(halves + 1, 0xBEEF, 4);
  EXPECT_EQ(halves[0], 0u);
  for (int i = 1; i <= 4; ++i) EXPECT_EQ(halves[i], 0xBEEF);
  EXPECT_EQ(halves[5], 0u);
  KOp_Memset16(halves, 1, 0);
  EXPECT_EQ(halves[0], 0u);
}

}  // namespace
