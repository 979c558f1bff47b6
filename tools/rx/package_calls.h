// Calls into the package, with its reports turned into the tool's errors:
// while a run is born, the host's report sink keeps the last report, and a
// failed call becomes one line naming what the tool was doing and what the
// package said.
#pragma once

#include <string>

#include "RX.h"
#include "RXHost.h"
#include "tool_error.h"

namespace rxtool {

// The package born for the length of a run, with the tool's report sink
// installed; death and the previous sink come back at the end.
class PackageSession {
 public:
  PackageSession();
  ~PackageSession();
  PackageSession(const PackageSession&) = delete;
  PackageSession& operator=(const PackageSession&) = delete;

 private:
  RXHost_ReportSink previous_sink_ = nullptr;
  void* previous_refcon_ = nullptr;
};

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
