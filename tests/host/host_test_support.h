// Helpers of the host's tests: report capture and hooks that put
// themselves back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "RXHost.h"
#include "report_capture.h"

namespace hosttest {

using Captured = rxtest::CapturedReport;
using rxtest::ReportCapture;

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
