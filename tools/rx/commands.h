// The subcommands of rx, callable from the command line and from the demo.
#pragma once

#include <cstdint>
#include <string>

namespace rxtool {

struct CompositeOptions {
  std::string background, layer, output;
  std::string mode = "over";          // a name as `rx modes` lists it, or a number
  float opacity = 1.0f;               // 0 to 1
  int32_t at_x = 0, at_y = 0;         // where the layer's corner lands
  std::string matte;                  // a track matte file, or none
  std::string matte_kind = "alpha";   // alpha, alpha-inverted, luma, luma-inverted
  std::string field = "all";          // all, even, odd
  bool keep_alpha = false;
  int32_t seed = 0;
  bool linear = false;                // blend in linear light (gamma 2.2)
  int32_t depth = 0;                  // working depth; 0: the background's
  bool premultiplied = false;         // files hold premultiplied colour
};

struct ConvertOptions {
  std::string input, output;
  int32_t depth = 8;
  bool dither = false;
  bool premultiplied = false;
};

// The mode number of a name ("multiply", "Multiply", "RX_Xfer_Multiply")
// or of a number from -3 to 38; throws for anything else.
int32_t parse_mode(const std::string& text);

void composite(const CompositeOptions& options);
void convert(const ConvertOptions& options);
// "WIDTHxHEIGHT, N channels, TYPE" of a file.
std::string describe_file(const std::string& path);
// One line per mode: number and name.
std::string list_modes();
// Makes pictures in dir, runs every subcommand on them, one line each.
void demo(const std::string& dir);

}  // namespace rxtool
