#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "JRNL/JRNL.h"
#include "SHIM/SHIM.h"
#include "host_test_support.h"

namespace {

using hosttest::ReportCapture;

TEST(Journal, LogLineKeepsTheTextVerbatimAndTheLevelAsClass) {
  ReportCapture capture;
  JRNL_Log(10, "RX", "Birth", "RX Birth");
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Log);
  EXPECT_EQ(capture.last().report_class, 10);
  EXPECT_EQ(capture.last().location, 0);
  EXPECT_EQ(capture.last().text, "RX Birth");
  EXPECT_EQ(capture.last().package, "RX");
  EXPECT_EQ(capture.last().event, "Birth");
}

TEST(Journal, MissingPartsBecomeEmpty) {
  ReportCapture capture;
  JRNL_Log(3, nullptr, nullptr, nullptr);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "");
  EXPECT_EQ(capture.last().package, "");
}

TEST(Shim, WindowCreationModePairsNest) {
  SHIM_BeginGdiMinimalisticWindowCreationMode();
  SHIM_BeginGdiMinimalisticWindowCreationMode();
  SHIM_EndGdiMinimalisticWindowCreationMode();
  SHIM_EndGdiMinimalisticWindowCreationMode();
  SHIM_EndGdiMinimalisticWindowCreationMode();  // unpaired: harmless
}

TEST(Shim, TickCountFollowsTheMonotonicClock) {
  const uint32_t start = SHIM_TickCount();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const uint32_t elapsed = SHIM_TickCount() - start;
  EXPECT_GE(elapsed, 19u);
  EXPECT_LT(elapsed, 2000u);
  // steady_clock reads the same clock on Linux.
  const uint32_t before = SHIM_TickCount();
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
  EXPECT_LE(uint32_t(uint64_t(now.count())) - before, 5u);
}

}  // namespace
