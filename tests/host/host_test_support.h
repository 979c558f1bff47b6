// Helpers of the host's tests: report capture and hooks that put
// themselves back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "RXHost.h"

namespace hosttest {

struct Captured {
  RXHost_ReportKind kind;
  int32_t report_class;
  int32_t location;
  int32_t line;
  std::string text;
  std::string package;
  std::string event;
};

// Captures every report while alive and restores the previous sink.
class ReportCapture {
 public:
  ReportCapture() { previous_ = RXHost_SetReportSink(&ReportCapture::sink, this, &previous_refcon_); }
  ~ReportCapture() { RXHost_SetReportSink(previous_, previous_refcon_, nullptr); }
  ReportCapture(const ReportCapture&) = delete;
  ReportCapture& operator=(const ReportCapture&) = delete;

  const std::vector<Captured>& reports() const { return reports_; }
  size_t size() const { return reports_.size(); }
  const Captured& last() const { return reports_.back(); }
  void clear() { reports_.clear(); }

 private:
  static void sink(void* refcon, const RXHost_Report* r) {
    static_cast<ReportCapture*>(refcon)->reports_.push_back(
        {r->kind, r->report_class, r->location, r->line, r->text ? r->text : "",
         r->package ? r->package : "", r->event ? r->event : ""});
  }
  std::vector<Captured> reports_;
  RXHost_ReportSink previous_ = nullptr;
  void* previous_refcon_ = nullptr;
};

// Turns the allocation failure hook off again at the end of a scope.
struct FailNth {
  explicit FailNth(int32_t n) { RXHost_FailNthAllocation(n); }
  ~FailNth() { RXHost_FailNthAllocation(0); }
};

// The live books at construction, to compare with later.
struct Books {
  int64_t bytes = RXHost_LiveBytes();
  int64_t blocks = RXHost_LiveBlocks();
  bool unchanged() const { return RXHost_LiveBytes() == bytes && RXHost_LiveBlocks() == blocks; }
};

}  // namespace hosttest
