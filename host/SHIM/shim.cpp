// Platform services. Linux creates no windows on the package's behalf, so
// the window-creation mode is only counted, to keep Begin and End paired.
#include <atomic>
#include <ctime>

#include "SHIM/SHIM.h"

namespace {
std::atomic<int32_t> g_window_creation_depth{0};
}

void SHIM_BeginGdiMinimalisticWindowCreationMode(void) { ++g_window_creation_depth; }

void SHIM_EndGdiMinimalisticWindowCreationMode(void) {
  int32_t depth = g_window_creation_depth.load();
  while (depth > 0 && !g_window_creation_depth.compare_exchange_weak(depth, depth - 1)) {
  }
}

// Wraps after 49.7 days, as a 32-bit millisecond tick count does.
uint32_t SHIM_TickCount(void) {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  const uint64_t ms = static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
  return static_cast<uint32_t>(ms);
}
