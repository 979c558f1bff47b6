#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "JRNL/JRNL.h"
#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::ReportCapture;

std::string format(const RXHost_Report& r) {
  char line[512];
  RXHost_FormatReport(&r, line, sizeof line);
  return line;
}

TEST(Reports, ErrStringReachesTheSinkWithClassLocationAndText) {
  ReportCapture capture;
  KOp_ReportErrString(0x250004, KO_Class_Error, "bad parameter passed to effect callback");
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_ErrString);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0x250004);
  EXPECT_EQ(capture.last().line, 0);
  EXPECT_EQ(capture.last().text, "bad parameter passed to effect callback");
}

TEST(Reports, ReportErrorTakesItsTextFromTheSharedBuffer) {
  ReportCapture capture;
  std::strcpy(KOp_G_buffer, "the buffer's text");
  KOp_ReportError(0x250010, KO_Class_Version);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Error);
  EXPECT_EQ(capture.last().report_class, 16);
  EXPECT_EQ(capture.last().location, 0x250010);
  EXPECT_EQ(capture.last().text, "the buffer's text");
  KOp_G_buffer[0] = '\0';
}

TEST(Reports, ReportErrorStopsAtTheEndOfAnUnterminatedBuffer) {
  ReportCapture capture;
  std::memset(KOp_G_buffer, 'x', sizeof KOp_G_buffer);
  KOp_ReportError(0, KO_Class_Error);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text.size(), size_t{KO_ReportBufferSize});
  KOp_G_buffer[0] = '\0';
}

TEST(Reports, ErrorTextBufferIsWritable) {
  std::strcpy(KOp_G_err_buf, "scratch");
  EXPECT_STREQ(KOp_G_err_buf, "scratch");
  KOp_G_err_buf[0] = '\0';
}

TEST(Reports, FailedVerificationCarriesItsLineAtClassEight) {
  ReportCapture capture;
  KO_ReportFailedVerification(0x250020, 123, 0, "rows must not overlap");
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0x250020);
  EXPECT_EQ(capture.last().line, 123);
  EXPECT_EQ(capture.last().text, "rows must not overlap");
}

TEST(Reports, BadAllocTranslatesToOutOfMemory) {
  ReportCapture capture;
  EXPECT_EQ(KO_TranslateAndReportException(std::bad_alloc()), KO_Err_OutOfMemory);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Exception);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0);
  EXPECT_EQ(capture.last().text, std::bad_alloc().what());
}

TEST(Reports, OtherExceptionsTranslateToInternal) {
  ReportCapture capture;
  EXPECT_EQ(KO_TranslateAndReportException(std::runtime_error("boom")), KO_Err_Internal);
  EXPECT_EQ(KO_TranslateAndReportException(std::bad_array_new_length()), KO_Err_OutOfMemory);
  ASSERT_EQ(capture.size(), 2u);
  EXPECT_EQ(capture.reports()[0].text, "boom");
}

TEST(Reports, SetSinkReturnsThePreviousSinkAndRefcon) {
  int marker = 0;
  auto sink = [](void*, const RXHost_Report*) {};
  void* previous_refcon = &marker;
  EXPECT_EQ(RXHost_SetReportSink(sink, &marker, &previous_refcon), nullptr);  // the default
  EXPECT_EQ(previous_refcon, nullptr);
  EXPECT_EQ(RXHost_SetReportSink(nullptr, nullptr, &previous_refcon),
            static_cast<RXHost_ReportSink>(sink));
  EXPECT_EQ(previous_refcon, &marker);
}

TEST(Reports, DefaultFormatNamesClassAndLocation) {
  const RXHost_Report r{RXHost_Report_ErrString, 8, 0x250000, 0,
                        "bad parameter passed to effect callback", nullptr, nullptr};
  EXPECT_EQ(format(r), "RX: [class 8] 0x250000: bad parameter passed to effect callback");
}

TEST(Reports, FormatPadsTheLocationToSixDigits) {
  const RXHost_Report r{RXHost_Report_Version, 16, 0x42, 0, "old", nullptr, nullptr};
  EXPECT_EQ(format(r), "RX: [class 16] 0x000042: old");
}

TEST(Reports, VerificationFormatAddsTheLine) {
  const RXHost_Report r{RXHost_Report_Verification, 8, 0x250001, 77, "bounds", nullptr, nullptr};
  EXPECT_EQ(format(r), "RX: [class 8] 0x250001: bounds (line 77)");
}

TEST(Reports, LogFormatNamesPackageAndEvent) {
  const RXHost_Report r{RXHost_Report_Log, 10, 0, 0, "RX Birth", "RX", "Birth"};
  EXPECT_EQ(format(r), "RX: [log 10] RX/Birth: RX Birth");
}

TEST(Reports, FormatTruncatesToTheBuffer) {
  const RXHost_Report r{RXHost_Report_ErrString, 8, 0x250000, 0, "long text", nullptr, nullptr};
  char small[10];
  RXHost_FormatReport(&r, small, sizeof small);
  EXPECT_STREQ(small, "RX: [clas");
}

TEST(Reports, DefaultSinkWritesOneLineToStandardError) {
  testing::internal::CaptureStderr();
  KOp_ReportErrString(0x250000, 8, "bad parameter passed to effect callback");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "RX: [class 8] 0x250000: bad parameter passed to effect callback\n");
}

TEST(Reports, DefaultSinkWritesLogLinesOnlyWithRxLog) {
  const char* saved = std::getenv("RX_LOG");
  const std::string saved_value = saved ? saved : "";
  unsetenv("RX_LOG");
  testing::internal::CaptureStderr();
  JRNL_Log(10, "RX", "Birth", "RX Birth");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  setenv("RX_LOG", "1", 1);
  testing::internal::CaptureStderr();
  JRNL_Log(10, "RX", "Birth", "RX Birth");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "RX: [log 10] RX/Birth: RX Birth\n");
  if (saved) {
    setenv("RX_LOG", saved_value.c_str(), 1);
  } else {
    unsetenv("RX_LOG");
  }
}

TEST(Reports, ReportsFromSeveralThreadsAllArrive) {
  ReportCapture capture;  // the host calls the sink under its lock
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 250; ++i) KOp_ReportErrString(0x250000, 8, "from a thread");
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(capture.size(), 1000u);
}

TEST(Reports, ASinkMayReportFromInsideItself) {
  static int calls = 0;
  calls = 0;
  auto sink = [](void*, const RXHost_Report* r) {
    ++calls;
    if (std::strcmp(r->text, "outer") == 0) KOp_ReportErrString(0, 8, "inner");
  };
  void* previous_refcon = nullptr;
  RXHost_ReportSink previous = RXHost_SetReportSink(sink, nullptr, &previous_refcon);
  KOp_ReportErrString(0, 8, "outer");
  RXHost_SetReportSink(previous, previous_refcon, nullptr);
  EXPECT_EQ(calls, 2);
}

}  // namespace
