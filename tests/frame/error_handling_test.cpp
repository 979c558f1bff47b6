// The exception boundary of the exports, the reading of progress records,
// and deferred reports.
#include <stdexcept>

#include "frame/deferred_reporting.h"
#include "frame/exception_boundary.h"
#include "frame/progress.h"
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

TEST(ExceptionBoundary, AThrownCodeBecomesTheResult) {
  EXPECT_EQ(rx::protect([]() -> RX_Err { rx::throw_code(RX_Result_BadCallbackParam); }),
            RX_Result_BadCallbackParam);
  EXPECT_EQ(rx::protect([]() -> RX_Err { return RX_Result_Unimplemented; }),
            RX_Result_Unimplemented);
}

TEST(ExceptionBoundary, AStandardExceptionIsReportedAndTranslatedByTheHost) {
  ReportCapture capture;
  EXPECT_EQ(rx::protect([]() -> RX_Err { throw std::runtime_error("lost the plot"); }),
            RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Exception);
  EXPECT_NE(capture.last().text.find("lost the plot"), std::string::npos);
  EXPECT_EQ(rx::protect([]() -> RX_Err { throw std::bad_alloc(); }), RX_Result_OutOfMemory);
}

TEST(ExceptionBoundary, NothingElseIsCaught) {
  EXPECT_THROW(rx::protect([]() -> RX_Err { throw 2.5; }), double);
}

TEST(ExceptionBoundary, WorldFailuresComeBackAsCodes) {
  ReportCapture capture;
  const RX_Err err = rx::protect([] {
    delete RX_World::New(30001, 10, 8, 0);
    return RX_Err{RX_Result_OK};
  });
  EXPECT_EQ(err, RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().text, "invalid image buffer size (30001x10).");
}

struct ProgressLog {
  int progress_calls = 0;
  int abort_calls = 0;
  int32_t last_current = -1, last_total = -1;
  RX_Err answer = RX_Result_OK;
};

RX_Err log_progress(void* refcon, int32_t current, int32_t total) {
  auto* log = static_cast<ProgressLog*>(refcon);
  ++log->progress_calls;
  log->last_current = current;
  log->last_total = total;
  return log->answer;
}
RX_Err log_abort(void* refcon) {
  auto* log = static_cast<ProgressLog*>(refcon);
  ++log->abort_calls;
  return log->answer;
}

TEST(ProgressRecord, NullRecordOrFunctionsMeanNeitherAbortNorProgress) {
  EXPECT_EQ(rx::poll_progress(nullptr, 1, 2), RX_Result_OK);
  EXPECT_EQ(rx::poll_abort(nullptr), RX_Result_OK);
  ProgressLog log;
  RX_ProgressInfo empty{&log, nullptr, nullptr};
  EXPECT_EQ(rx::poll_progress(&empty, 1, 2), RX_Result_OK);
  EXPECT_EQ(rx::poll_abort(&empty), RX_Result_OK);
}

TEST(ProgressRecord, ProgressIsPreferredToAbort) {
  ProgressLog log;
  RX_ProgressInfo both{&log, log_abort, log_progress};
  EXPECT_EQ(rx::poll_progress(&both, 63, 200), RX_Result_OK);
  EXPECT_EQ(log.progress_calls, 1);
  EXPECT_EQ(log.abort_calls, 0);
  EXPECT_EQ(log.last_current, 63);
  EXPECT_EQ(log.last_total, 200);
  RX_ProgressInfo abort_only{&log, log_abort, nullptr};
  log.answer = RX_Result_Interrupted;
  EXPECT_EQ(rx::poll_progress(&abort_only, 63, 200), RX_Result_Interrupted);
  EXPECT_EQ(log.abort_calls, 1);
  EXPECT_EQ(rx::poll_abort(&both), RX_Result_Interrupted);
  EXPECT_EQ(log.abort_calls, 2);
}

TEST(DeferredReports, AreHeldUntilTheOperationEnds) {
  ReportCapture capture;
  size_t seen_inside = 99;
  const RX_Err err = rx::with_deferred_reports([&] {
    KOp_ReportErrString(0x250038, 8, "effect handle data");
    seen_inside = capture.size();
    return RX_Err{RX_Result_OutOfMemory};
  });
  EXPECT_EQ(err, RX_Result_OutOfMemory);
  EXPECT_EQ(seen_inside, 0u);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "effect handle data");
}

TEST(DeferredReports, ASuccessGivesTheFlushCode) {
  EXPECT_EQ(rx::with_deferred_reports([] { return RX_Err{RX_Result_OK}; }), RX_Result_OK);
}

}  // namespace
