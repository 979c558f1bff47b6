// Setting slots of the override table by index.
#include "rx_test_support.h"

namespace {

void marker_function() {}
RX_OverFunc marker() { return &marker_function; }

class OverrideTable : public rxtest::BornPackage {};

TEST_F(OverrideTable, HasOneHundredEighteenSlots) {
  EXPECT_EQ(sizeof RXp_G_OverFuncs / sizeof RXp_G_OverFuncs[0], 118u);
}

TEST_F(OverrideTable, SlotZeroCannotBeSetAndNothingChanges) {
  const RX_OverFunc before = RXp_G_OverFuncs[0];
  EXPECT_EQ(RX_SetOverrideFunc(0, marker()), RX_Result_Internal);
  EXPECT_EQ(RXp_G_OverFuncs[0], before);
}

TEST_F(OverrideTable, IndexPastTheLastSlotIsRefusedWithoutAReport) {
  rxtest::ReportCapture capture;
  const RX_OverFunc last = RXp_G_OverFuncs[117];
  EXPECT_EQ(RX_SetOverrideFunc(118, marker()), RX_Result_Internal);
  EXPECT_EQ(RX_SetOverrideFunc(-1, marker()), RX_Result_Internal);
  EXPECT_EQ(RXp_G_OverFuncs[117], last);
  EXPECT_TRUE(capture.errors().empty());
}

TEST_F(OverrideTable, LastSlotCanBeSet) {
  EXPECT_EQ(RX_SetOverrideFunc(117, marker()), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[117], marker());
}

TEST_F(OverrideTable, ReservedSlotsCanBeSet) {
  EXPECT_EQ(RX_SetOverrideFunc(11, marker()), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[11], marker());
}

TEST_F(OverrideTable, ANullFunctionOverwritesTheSlot) {
  ASSERT_NE(RXp_G_OverFuncs[RX_Slot_Iterate], nullptr);
  EXPECT_EQ(RX_SetOverrideFunc(RX_Slot_Iterate, nullptr), RX_Result_OK);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_Iterate], nullptr);
}

RX_Err counting_generic(void* refcon, int32_t, int32_t, int32_t) {
  ++*static_cast<int*>(refcon);
  return RX_Result_OK;
}

RX_Err replacement_generic(int32_t count, void* refcon, RX_GenericIterFunc func) {
  // Runs every iteration twice, which the default never does.
  for (int32_t i = 0; i < 2 * count; ++i) func(refcon, 0, i / 2, count);
  return RX_Result_OK;
}

TEST_F(OverrideTable, ExportedEntryReachesTheFunctionInItsSlot) {
  int calls = 0;
  EXPECT_EQ(RX_IterateGeneric(3, &calls, counting_generic), RX_Result_OK);
  EXPECT_EQ(calls, 3);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                               reinterpret_cast<RX_OverFunc>(replacement_generic)),
            RX_Result_OK);
  calls = 0;
  EXPECT_EQ(RX_IterateGeneric(3, &calls, counting_generic), RX_Result_OK);
  EXPECT_EQ(calls, 6);
}

}  // namespace
