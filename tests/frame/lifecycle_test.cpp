// Birth and death: order, tables, the override table, failures.
#include <gmock/gmock.h>

#include "cpu_words.h"
#include "DSK/DSK.h"
#include "GE/GE.h"
#include "RXHost.h"
#include "compositing/blend_scratch.h"
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using ::testing::ElementsAre;

std::vector<std::string> log_texts(const ReportCapture& capture) {
  std::vector<std::string> texts;
  for (const auto& r : capture.reports()) {
    if (r.kind == RXHost_Report_Log) texts.push_back(r.text);
  }
  return texts;
}

bool table_is_empty() {
  for (RX_OverFunc f : RXp_G_OverFuncs) {
    if (f) return false;
  }
  return true;
}

void fill_table_with_garbage() {
  for (int i = 0; i < RX_OverrideSlotCount; ++i) {
    RXp_G_OverFuncs[i] = reinterpret_cast<RX_OverFunc>(uintptr_t(0x1000 + i));
  }
}

TEST(Lifecycle, BirthAndDeathLogTheirNamesAtLevelTen) {
  ReportCapture capture;
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_THAT(log_texts(capture), ElementsAre("RX Birth", "RX Death"));
  std::vector<std::string> events;
  for (const auto& r : capture.reports()) {
    if (r.kind != RXHost_Report_Log) continue;
    EXPECT_EQ(r.report_class, 10);
    EXPECT_EQ(r.package, "RX");
    events.push_back(r.event);
  }
  EXPECT_THAT(events, ElementsAre("Birth", "Death"));
  EXPECT_TRUE(capture.errors().empty());
}

TEST(Lifecycle, BirthFillsIterateSlotsAndLeavesSamplingBracketsNull) {
  fill_table_with_garbage();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_Iterate], reinterpret_cast<RX_OverFunc>(RX_Iterate_S));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_IterateOrigin],
            reinterpret_cast<RX_OverFunc>(RX_IterateOrigin_S));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_IterateOriginNoClip],
            reinterpret_cast<RX_OverFunc>(RX_IterateOriginNoClip_S));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_IterateLUT], reinterpret_cast<RX_OverFunc>(RX_IterateLUT_S));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_IterateGeneric],
            reinterpret_cast<RX_OverFunc>(RX_IterateGeneric_Static));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_BeginSampling], nullptr);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_EndSampling], nullptr);
  // Reserved slots and slots of operations not present stay null.
  for (int reserved : {11, 12, 13, 14, 15, 16, 29, 30, 33, 34, 49, 50, 59, 66, 67, 69, 79, 80, 90, 91}) {
    EXPECT_EQ(RXp_G_OverFuncs[reserved], nullptr) << "slot " << reserved;
  }
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(Lifecycle, SecondBirthRebuildsTheTableAndForgetsOverrides) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_Iterate, reinterpret_cast<RX_OverFunc>(uintptr_t(0x1234))),
            RX_Result_OK);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_Iterate], reinterpret_cast<RX_OverFunc>(RX_Iterate_S));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(Lifecycle, BirthZeroesTheWorldAndChunkCounters) {
  RXp_G_LiveWorldCount = 5;
  RXp_G_ChunkCount = 7;
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RXp_G_LiveWorldCount, 0);
  EXPECT_EQ(RXp_G_ChunkCount, 0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(Lifecycle, BirthTakesAndDeathGivesBackTheMultiplyAndDivideTables) {
  const int32_t before = RXHost_FCMDReferenceCount();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), before + 1);
  ASSERT_NE(RXp_G_fcm_table, nullptr);
  ASSERT_NE(RXp_G_fcd_table, nullptr);
  EXPECT_EQ(RXp_G_fcm_table[255 * 256 + 128], 128);  // white times half
  EXPECT_EQ(RXp_G_fcd_table[128 * 256 + 64], 128);   // 64 unmultiplied by 128
  EXPECT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), before);
}

TEST(Lifecycle, DeathReturnsWhatBirthTook) {
  // The random table of the host lives for the whole process; take it first.
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  const int64_t bytes = RXHost_LiveBytes();
  const int64_t blocks = RXHost_LiveBlocks();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_GT(RXHost_LiveBytes(), bytes);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST(Lifecycle, BirthSizesTheBlendingScratchForKilopixelAtEightBits) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 1024 * 4);
  EXPECT_NE(RXp_G_BlendScratch.alpha_row, nullptr);
  EXPECT_NE(RXp_G_BlendScratch.mask_line, nullptr);
  EXPECT_NE(RXp_G_BlendScratch.work_line, nullptr);
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) EXPECT_NE(RXp_MotionBlurBuffer(i), nullptr);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.alpha_row, nullptr);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 0);
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) EXPECT_EQ(RXp_MotionBlurBuffer(i), nullptr);
}

TEST(Lifecycle, BirthPreparesTheDitherTableAtItsStart) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_NE(RXp_G_DitherTable.start, nullptr);
  EXPECT_EQ(RXp_G_DitherTable.cursor, RXp_G_DitherTable.start);
  EXPECT_EQ(RXp_G_DitherTable.end - RXp_G_DitherTable.start, 65521);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(Lifecycle, BirthArmsThePluginScanForAccelerationModules) {
  const int32_t scans_before = RXHost_InstalledScanCount();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RXHost_InstalledScanCount(), scans_before + 1);
  uint32_t routine_type = 0, file_type = 0;
  void* scan = nullptr;
  void* finish = nullptr;
  ASSERT_EQ(RXHost_InstalledScan(scans_before, &routine_type, &file_type, &scan, &finish), 0);
  EXPECT_EQ(routine_type, DSK_FOURCC('e', 'F', 'S', 'T'));
  EXPECT_EQ(file_type, DSK_FOURCC('.', 'Z', 'Q', 'X'));
  EXPECT_NE(scan, nullptr);
  EXPECT_NE(finish, nullptr);
  EXPECT_EQ(DSK_FileTypeForExtension(".ZQX"), DSK_FOURCC('.', 'Z', 'Q', 'X'));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ---- failures ----

class BirthFailure : public ::testing::Test {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    RXHost_SetNEXFailure(0, nullptr);
    RXHost_ResetCpuWords();
  }
};

TEST_F(BirthFailure, TablesThatCannotBeAllocatedFailBirthAndLeaveTheTableEmpty) {
  ASSERT_EQ(RXHost_FCMDReferenceCount(), 0);
  fill_table_with_garbage();
  ReportCapture capture;
  RXHost_FailNthAllocation(1);  // the first table
  EXPECT_EQ(RX_Birth(), RX_Result_OutOfMemory);
  EXPECT_TRUE(table_is_empty());
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 0);
}

TEST_F(BirthFailure, AFailureAfterTheTablesLeavesThemPreparedAndTheOverrideTableEmpty) {
  ASSERT_EQ(RXHost_FCMDReferenceCount(), 0);
  ReportCapture capture;
  bool failed_after_tables = false;
  for (int n = 1; n <= 40 && !failed_after_tables; ++n) {
    fill_table_with_garbage();
    RXHost_FailNthAllocation(n);
    const RX_Err err = RX_Birth();
    RXHost_FailNthAllocation(0);
    if (err == RX_Result_OK) {
      RX_Death();
      break;
    }
    EXPECT_EQ(err, RX_Result_OutOfMemory) << "allocation " << n;
    EXPECT_TRUE(table_is_empty()) << "allocation " << n;
    // Nothing done before the failure is undone: the tables stay until death.
    failed_after_tables = RXHost_FCMDReferenceCount() == 1;
    RX_Death();
  }
  EXPECT_TRUE(failed_after_tables);
}

TEST_F(BirthFailure, EveryAllocationOfBirthFailsCleanlyAndDeathRecovers) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  const int64_t bytes = RXHost_LiveBytes();
  ReportCapture capture;
  for (int n = 1; n <= 40; ++n) {
    RXHost_FailNthAllocation(n);
    const RX_Err err = RX_Birth();
    RXHost_FailNthAllocation(0);
    EXPECT_TRUE(err == RX_Result_OK || err == RX_Result_OutOfMemory) << "allocation " << n;
    RX_Death();
    EXPECT_EQ(RXHost_LiveBytes(), bytes) << "allocation " << n;
  }
}

TEST_F(BirthFailure, ALookupWithoutTheBasicProceduresFailsBirthWithOne) {
  RXHost_SetNEXFailure(0, "NEX");
  EXPECT_EQ(RX_Birth(), RX_Birth_BridgeFailed);
  RXHost_SetNEXFailure(0, nullptr);
  // Everything before the bridge was done: the table is filled.
  EXPECT_NE(RXp_G_OverFuncs[RX_Slot_Iterate], nullptr);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(BirthFailure, AMissingRequiredInterfaceFailsBirthWithOne) {
  for (const char* missing : {"NEXContainerInterface", "NEXErrorInterface", "NEXStringInterface",
                              "NEXMemoryInterface"}) {
    RXHost_SetNEXFailure(0, missing);
    EXPECT_EQ(RX_Birth(), RX_Birth_BridgeFailed) << missing;
    RXHost_SetNEXFailure(0, nullptr);
    EXPECT_EQ(RX_Death(), RX_Result_OK);
  }
}

TEST_F(BirthFailure, TheGlueLibrarysErrorIsBirthsResult) {
  RXHost_SetNEXFailure(RX_Result_Unimplemented, nullptr);
  EXPECT_EQ(RX_Birth(), RX_Result_Unimplemented);
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(BirthFailure, ReconnectsAfterDeathOfAFailedConnection) {
  RXHost_SetNEXFailure(0, "NEXStringInterface");
  EXPECT_EQ(RX_Birth(), RX_Birth_BridgeFailed);
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(BirthFailure, DeathWithoutBirthReportsTheTablesCode) {
  ASSERT_EQ(RXHost_FCMDReferenceCount(), 0);
  EXPECT_EQ(RX_Death(), RX_Result_Internal);
}

// ---- processor words ----

TEST_F(BirthFailure, BirthWithoutSSE2LeavesTheVectorConstantsUnset) {
  RX_G_vf255 = RX_Vec128{};
  RX_G_AlphaMask32 = RX_Vec128{};
  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 0);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  EXPECT_EQ(RX_G_vf255.f32[0], 0.0f);
  EXPECT_EQ(RX_G_AlphaMask32.u32[0], 0u);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(BirthFailure, BirthWithSSE2SetsTheVectorConstants) {
  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 1);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  for (int lane = 0; lane < 4; ++lane) {
    EXPECT_EQ(RX_G_AlphaMask32.u32[lane], lane == 0 ? 0xFFFFFFFFu : 0u);
    EXPECT_EQ(RX_G_BGRMask32.u32[lane], lane == 0 ? 0u : 0xFFFFFFFFu);
    EXPECT_EQ(RX_G_vf255.f32[lane], 255.0f);
    EXPECT_EQ(RX_G_vfHalf.f32[lane], 0.5f);
    EXPECT_EQ(RX_G_vi128_32.i32[lane], 128);
    EXPECT_EQ(RX_G_viLoByteMask32.i32[lane], 255);
    EXPECT_EQ(RX_G_viLoWordMask.i32[lane], 65535);
  }
  EXPECT_EQ(reinterpret_cast<uintptr_t>(&RX_G_vf255) % 16, 0u);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

// ---- small exports ----

TEST(Lifecycle, PackageObjectVersionIsSeventeenInTheUpperHalf) {
  EXPECT_EQ(RX_PkgObjectVersion(), 1114112);
}

TEST(Lifecycle, FreeUpSomeMemoryShrinksTheScratchToItsSizeAtBirth) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RXp_ReallocScratch(4096, 4, 0, nullptr), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 4096 * 16);
  const int64_t grown = RXHost_LiveBytes();
  EXPECT_EQ(RX_FreeUpSomeMemory(), RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, 1024 * 4);
  EXPECT_LT(RXHost_LiveBytes(), grown);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(Lifecycle, ObsoleteOverrideCallReportsAndFails) {
  ReportCapture capture;
  EXPECT_EQ(RX_OverrideStdFuncs(), RX_Result_InvalidCallback);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_ErrString);
  EXPECT_EQ(capture.last().text, "Obsolete routine");
  EXPECT_EQ(capture.last().location, 0x25002F);
  EXPECT_EQ(capture.last().report_class, 8);
}

}  // namespace
