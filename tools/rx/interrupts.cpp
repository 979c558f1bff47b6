#include "interrupts.h"

#include <atomic>
#include <csignal>

#include "tool_error.h"

namespace rxtool {
namespace {

std::atomic<bool> g_interrupted{false};

void on_interrupt(int) { g_interrupted = true; }

}  // namespace

void catch_interrupts() {
  g_interrupted = false;
  std::signal(SIGINT, on_interrupt);
}

bool interrupted() { return g_interrupted; }

void throw_interrupted() { throw ToolError("interrupted", kInterruptedStatus); }

void stop_if_interrupted() {
  if (g_interrupted) throw_interrupted();
}

}  // namespace rxtool
