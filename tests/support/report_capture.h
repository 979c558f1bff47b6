// The one report capture of the test suites: every report of the host,
// its kind, class, location, line and text, kept while alive; the previous
// sink comes back at the end.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "RXHost.h"

namespace rxtest {

struct CapturedReport {
  RXHost_ReportKind kind;
  int32_t report_class;
  int32_t location;
  int32_t line;
  std::string text;
  std::string package;  // log lines only
  std::string event;
};

class ReportCapture {
 public:
  ReportCapture() { previous_ = RXHost_SetReportSink(&ReportCapture::sink, this, &previous_refcon_); }
  ~ReportCapture() { RXHost_SetReportSink(previous_, previous_refcon_, nullptr); }
  ReportCapture(const ReportCapture&) = delete;
  ReportCapture& operator=(const ReportCapture&) = delete;

  const std::vector<CapturedReport>& reports() const { return reports_; }
  size_t size() const { return reports_.size(); }
  const CapturedReport& last() const { return reports_.back(); }
  void clear() { reports_.clear(); }
  // Reports other than log lines.
  std::vector<CapturedReport> errors() const {
    std::vector<CapturedReport> out;
    for (const auto& r : reports_) {
      if (r.kind != RXHost_Report_Log) out.push_back(r);
    }
    return out;
  }

 private:
  static void sink(void* refcon, const RXHost_Report* report) {
    static_cast<ReportCapture*>(refcon)->reports_.push_back(
        {report->kind, report->report_class, report->location, report->line, report->text ? report->text : "",
         report->package ? report->package : "", report->event ? report->event : ""});
  }
  std::vector<CapturedReport> reports_;
  RXHost_ReportSink previous_ = nullptr;
  void* previous_refcon_ = nullptr;
};

}  // namespace rxtest
