#include "progress.h"

#include <unistd.h>

#include <cstdio>

#include "interrupts.h"

namespace rxtool {

Progress::Progress(std::string label)
    : label_(std::move(label)),
      info_{this, &Progress::on_abort, &Progress::on_progress},
      start_(std::chrono::steady_clock::now()),
      terminal_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  if (drawn_) std::fprintf(stderr, "\r%-60s\r", "");
}

RX_Err Progress::on_abort(void*) { return interrupted() ? RX_Result_Interrupted : RX_Result_OK; }

RX_Err Progress::on_progress(void* refcon, int32_t current, int32_t total) {
  if (interrupted()) return RX_Result_Interrupted;
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
