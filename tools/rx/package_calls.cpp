#include "package_calls.h"

#include "interrupts.h"

namespace rxtool {
namespace {

std::string g_last_report;

void keep_report(void*, const RXHost_Report* report) {
  if (report->kind == RXHost_Report_Log) return;
  g_last_report = report->text ? report->text : "";
}

}  // namespace

PackageSession::PackageSession() {
  g_last_report.clear();
  previous_sink_ = RXHost_SetReportSink(keep_report, nullptr, &previous_refcon_);
  RX_Err err = RX_CheckVersions(0, RX_HEADER_VERSION);
  if (err == RX_Result_OK) err = RX_Birth();
  if (err != RX_Result_OK) {
    RXHost_SetReportSink(previous_sink_, previous_refcon_, nullptr);
    check_package(err, "starting the package");
  }
}

PackageSession::~PackageSession() {
  RX_Death();
  RXHost_SetReportSink(previous_sink_, previous_refcon_, nullptr);
}

std::string take_package_report() {
  std::string report;
  report.swap(g_last_report);
  return report;
}

void check_package(RX_Err err, const std::string& doing) {
  if (err == RX_Result_OK) return;
  if (err == RX_Result_Interrupted || interrupted()) throw_interrupted();
  std::string report = take_package_report();
  if (report.empty()) report = "error " + std::to_string(err);
  throw ToolError(doing + ": " + report);
}

}  // namespace rxtool
