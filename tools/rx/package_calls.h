// Calls into the package, with its reports turned into the tool's errors:
// the host's report sink keeps the last report, and a failed call becomes
// one line naming what the tool was doing and what the package said.
#pragma once

#include <string>

#include "RX.h"
#include "tool_error.h"

namespace rxtool {

// Installs the sink that keeps the package's reports (once per process).
void capture_package_reports();
// The last report of the package since the previous call, or "".
std::string take_package_report();

// Throws a ToolError for a non-zero result; 517 (interrupted) gets the
// status of Ctrl-C.
void check_package(RX_Err err, const std::string& doing);

// Runs code that may throw the package's result codes.
template <class Body>
void run_package(const std::string& doing, Body&& body) {
  try {
    body();
  } catch (RX_Err err) {
    check_package(err, doing);
  }
}

}  // namespace rxtool
