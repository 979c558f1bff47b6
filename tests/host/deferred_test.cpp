#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "JRNL/JRNL.h"
#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::ReportCapture;

TEST(DeferredReporting, ReportsAreHeldUntilTheEnd) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Error, &state);
  EXPECT_EQ(state.report_class, KO_Class_Error);
  EXPECT_EQ(state.depth, 1);
  KOp_ReportErrString(0x250001, 8, "first");
  KO_ReportFailedVerification(0x250002, 9, 0, "second");
  EXPECT_EQ(capture.size(), 0u);
  KO_DeferredReportingEnd(0, 0, &state);
  ASSERT_EQ(capture.size(), 2u);
  EXPECT_EQ(capture.reports()[0].text, "first");
  EXPECT_EQ(capture.reports()[0].location, 0x250001);
  EXPECT_EQ(capture.reports()[1].kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.reports()[1].line, 9);
  EXPECT_EQ(capture.reports()[1].text, "second");
  EXPECT_EQ(state.depth, 0);
}

TEST(DeferredReporting, HeldReportsKeepTheirOwnCopyOfTheText) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Error, &state);
  std::strcpy(KOp_G_buffer, "before");
  KOp_ReportError(0, 8);
  std::strcpy(KOp_G_buffer, "after");
  KO_DeferredReportingEnd(0, 0, &state);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "before");
  KOp_G_buffer[0] = '\0';
}

TEST(DeferredReporting, LogLinesKeepPackageAndEvent) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Error, &state);
  JRNL_Log(10, "RX", "Birth", "RX Birth");
  KO_DeferredReportingEnd(0, 0, &state);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().package, "RX");
  EXPECT_EQ(capture.last().event, "Birth");
  EXPECT_EQ(capture.last().text, "RX Birth");
}

TEST(DeferredReporting, NestedStartsFlushOnlyAtTheOutermostEnd) {
  ReportCapture capture;
  KO_DeferredState outer{}, inner{};
  KO_DeferredReportingStart(KO_Class_Error, &outer);
  KOp_ReportErrString(0, 8, "a");
  KO_DeferredReportingStart(KO_Class_Error, &inner);
  EXPECT_EQ(inner.depth, 2);
  KOp_ReportErrString(0, 8, "b");
  KO_DeferredReportingEnd(0, 0, &inner);
  EXPECT_EQ(capture.size(), 0u);
  KOp_ReportErrString(0, 8, "c");
  KO_DeferredReportingEnd(0, 0, &outer);
  ASSERT_EQ(capture.size(), 3u);
  EXPECT_EQ(capture.reports()[0].text, "a");
  EXPECT_EQ(capture.reports()[1].text, "b");
  EXPECT_EQ(capture.reports()[2].text, "c");
}

TEST(DeferredReporting, EndAsyncFlushesAndReturnsNoError) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Engine, &state);
  KOp_ReportErrString(0, 4, "engine");
  EXPECT_EQ(KO_DeferredReportingEndAsync(0, 0, 0, &state), KO_Err_None);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().report_class, 4);
}

TEST(DeferredReporting, OtherThreadsReportAtOnce) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Error, &state);
  std::thread([] { KOp_ReportErrString(0, 8, "other thread"); }).join();
  EXPECT_EQ(capture.size(), 1u);
  KOp_ReportErrString(0, 8, "this thread");
  EXPECT_EQ(capture.size(), 1u);
  KO_DeferredReportingEnd(0, 0, &state);
  ASSERT_EQ(capture.size(), 2u);
  EXPECT_EQ(capture.last().text, "this thread");
}

TEST(DeferredReporting, AnEndWithoutStartDoesNothing) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingEnd(0, 0, &state);
  KOp_ReportErrString(0, 8, "straight through");
  EXPECT_EQ(capture.size(), 1u);
}

TEST(DeferredReporting, ReportsAfterTheEndGoStraightOut) {
  ReportCapture capture;
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Error, &state);
  KO_DeferredReportingEnd(0, 0, &state);
  KOp_ReportErrString(0, 8, "later");
  EXPECT_EQ(capture.size(), 1u);
}

}  // namespace
