// Progress on a terminal and Ctrl-C, plus the package's report sink.
#include "progress.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>

#include "RXHost.h"
#include "package_calls.h"

namespace rxtool {
namespace {

std::atomic<bool> g_interrupted{false};

void on_interrupt(int) { g_interrupted = true; }

std::string g_last_report;

void keep_report(void*, const RXHost_Report* report) {
  if (report->kind == RXHost_Report_Log) return;
  g_last_report = report->text ? report->text : "";
}

}  // namespace

void catch_interrupts() { std::signal(SIGINT, on_interrupt); }
bool interrupted() { return g_interrupted; }

void capture_package_reports() {
  static bool installed = false;
  if (installed) return;
  RXHost_SetReportSink(keep_report, nullptr, nullptr);
  installed = true;
}

std::string take_package_report() {
  std::string report;
  report.swap(g_last_report);
  return report;
}

void check_package(RX_Err err, const std::string& doing) {
  if (err == RX_Result_OK) return;
  if (err == RX_Result_Interrupted || interrupted()) throw ToolError("interrupted", kInterruptedStatus);
  std::string report = take_package_report();
  if (report.empty()) report = "error " + std::to_string(err);
  throw ToolError(doing + ": " + report);
}

Progress::Progress(std::string label)
    : label_(std::move(label)),
      info_{this, &Progress::on_abort, &Progress::on_progress},
      start_(std::chrono::steady_clock::now()),
      terminal_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  if (drawn_) std::fprintf(stderr, "\r%-60s\r", "");
}

RX_Err Progress::on_abort(void*) { return g_interrupted ? RX_Result_Interrupted : RX_Result_OK; }

RX_Err Progress::on_progress(void* refcon, int32_t current, int32_t total) {
  if (g_interrupted) return RX_Result_Interrupted;
  static_cast<Progress*>(refcon)->draw(current, total);
  return RX_Result_OK;
}

void Progress::draw(int32_t current, int32_t total) {
  if (!terminal_ || total <= 0) return;
  if (std::chrono::steady_clock::now() - start_ < std::chrono::milliseconds(500)) return;
  constexpr int kWidth = 30;
  const int filled = int(int64_t(current) * kWidth / total);
  std::fprintf(stderr, "\r%s [%.*s%*s] %3d%%", label_.c_str(), filled, "##############################",
               kWidth - filled, "", int(int64_t(current) * 100 / total));
  std::fflush(stderr);
  drawn_ = true;
}

}  // namespace rxtool
