#include "option_values.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "RX.h"
#include "tool_error.h"

namespace rxtool {
namespace {

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return s;
}

// The short name of a mode: "RX_Xfer_Multiply" gives "Multiply".
std::string short_name(int32_t mode) {
  const std::string full = RX_TransferModeName(mode);
  return full.substr(full.find("Xfer_") + 5);
}

}  // namespace

int32_t parse_mode(const std::string& text) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0') {
    if (number < RX_FirstTransferMode || number > RX_LastTransferMode) {
      throw ToolError("unknown mode " + text + " (modes are numbered " + std::to_string(RX_FirstTransferMode) +
                      " to " + std::to_string(RX_LastTransferMode) + ", see rx modes)");
    }
    return int32_t(number);
  }
  const std::string wanted = lower(text);
  for (int32_t mode = RX_FirstTransferMode; mode <= RX_LastTransferMode; ++mode) {
    if (wanted == lower(short_name(mode)) || wanted == lower(RX_TransferModeName(mode))) return mode;
  }
  throw ToolError("unknown mode '" + text + "' (see rx modes)");
}

std::string list_modes() {
  std::ostringstream out;
  for (int32_t mode = RX_FirstTransferMode; mode <= RX_LastTransferMode; ++mode) {
    if (mode == RX_Xfer_None) continue;  // a number without a function
    out << mode << " " << lower(short_name(mode)) << "\n";
  }
  return out.str();
}

int32_t parse_choice(const std::string& value, const char* what, std::initializer_list<const char*> choices) {
  int32_t index = 0;
  for (const char* choice : choices) {
    if (value == choice) return index;
    ++index;
  }
  std::string list;
  for (const char* choice : choices) list += std::string(list.empty() ? "" : ", ") + choice;
  throw ToolError(std::string("unknown ") + what + " '" + value + "' (one of " + list + ")");
}

std::pair<int32_t, int32_t> parse_position(const std::string& text, const char* option) {
  int x = 0, y = 0;
  char comma = 0, rest = 0;
  if (std::sscanf(text.c_str(), "%d %c %d %c", &x, &comma, &y, &rest) != 3 || comma != ',') {
    throw ToolError(std::string(option) + " wants X,Y, such as 120,60; got '" + text + "'");
  }
  return {x, y};
}

int32_t parse_channels(const std::string& text, const char* option) {
  int32_t channels = 0;
  for (const char c : text) {
    const char* letters = "argb";
    const char* at = std::strchr(letters, std::tolower(static_cast<unsigned char>(c)));
    if (!at || c == 0) {
      throw ToolError(std::string(option) + " wants letters of argb, such as rgb; got '" + text + "'");
    }
    channels |= 1 << (at - letters);
  }
  if (!channels) throw ToolError(std::string(option) + " wants at least one of a, r, g, b");
  return channels;
}

}  // namespace rxtool
