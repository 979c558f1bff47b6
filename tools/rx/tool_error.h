// The tool's one kind of failure: a message for one line on stderr.
#pragma once

#include <stdexcept>
#include <string>

namespace rxtool {

struct ToolError : std::runtime_error {
  explicit ToolError(const std::string& message, int status = 1) : std::runtime_error(message), status(status) {}
  int status;  // the exit status
};

// The exit status of a run stopped by Ctrl-C.
inline constexpr int kInterruptedStatus = 130;

}  // namespace rxtool
