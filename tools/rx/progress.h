// A progress bar on stderr for long work, driven by the package's progress
// and abort callbacks, which also pass Ctrl-C on as the package's abort.
// The bar shows only on a terminal and only once the work has run half a
// second.
#pragma once

#include <chrono>
#include <string>

#include "RX.h"

namespace rxtool {

class Progress {
 public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  const RX_ProgressInfo* info() const { return &info_; }

 private:
  static RX_Err on_progress(void* refcon, int32_t current, int32_t total);
  static RX_Err on_abort(void* refcon);
  void draw(int32_t current, int32_t total);

  std::string label_;
  RX_ProgressInfo info_;
  std::chrono::steady_clock::time_point start_;
  bool terminal_;
  bool drawn_ = false;
};

}  // namespace rxtool
