// The subcommands of rx. Each lives in its own file, commands/<name>.cpp,
// with one function add_<name>(app, console) that adds the subcommand, its
// options and its callback to the CLI11 app. The callback does the work:
// it opens a PackageSession when it calls the package, reports failure by
// throwing ToolError, and writes only to the console's streams.
//
// A new subcommand is one new file here and one line in the list below, in
// the order `rx --help` shows them.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <ostream>
#include <string>

#define RX_TOOL_SUBCOMMANDS(X) \
  X(composite)                 \
  X(convert)                   \
  X(info)                      \
  X(modes)                     \
  X(outline)                   \
  X(demo)

namespace rxtool {

// Where a run writes: the standard streams from main, strings in tests.
struct Console {
  std::ostream& out;
  std::ostream& err;
};

#define RX_TOOL_DECLARE_SUBCOMMAND(name) void add_##name(CLI::App& app, const Console& console);
RX_TOOL_SUBCOMMANDS(RX_TOOL_DECLARE_SUBCOMMAND)
#undef RX_TOOL_DECLARE_SUBCOMMAND

// The work of the subcommands that others reuse (the demo runs them all);
// each expects the package born.

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
  bool linear = false;                // blend in linear light
  std::string working_space = "srgb"; // whose tone curve linear light follows: a profile name or ICC file
  int32_t depth = 0;                  // working depth; 0: the background's
  bool premultiplied = false;         // files hold premultiplied colour
  // How the layer's colour is taken, over --premultiplied for the layer:
  // "" as the files; "straight"; "premultiplied" (against black); "auto":
  // guessed by the package, and a premultiplied layer unmultiplied against
  // its matte colour.
  std::string alpha;
  std::ostream* verbose = nullptr;    // where the choices made are told, or none
};
void composite(const CompositeOptions& options);

struct ConvertOptions {
  std::string input, output;
  int32_t depth = 0;                  // 8, 16 or 32; 0: the input's (16 for --encode)
  bool dither = false;
  bool premultiplied = false;
  std::string to_profile;             // convert to this profile (a name or an ICC file), or none
  std::string from_profile;           // from this one instead of the file's embedded profile
  bool linear = false;                // gamma-encoded 8/16 bits to linear float
  bool encode = false;                // linear float to gamma-encoded 8/16 bits
  std::string working_space = "srgb"; // whose tone curve --linear and --encode follow
};
void convert(const ConvertOptions& options);

struct OutlineOptions {
  std::string layer, output;
  std::string background;             // drawn over instead of the layer, or none
  int32_t grid = 8;                   // the sampling step to start with
  int32_t max_points = 4000;          // the step grows until the points fit
  double rotate = 0.0;                // degrees, clockwise on screen, about the layer's centre
  double scale = 1.0;                 // about the layer's centre
  int32_t translate_x = 0, translate_y = 0;  // then moved by this much
  std::string colour = "1,0.1,0.1";   // R,G,B of the lines, 0 to 1
  std::string label;                  // a caption in the package's bitmap font, or none
};
// Draws the wireframe of the layer's alpha and writes it; gives the point count.
int32_t outline(const OutlineOptions& options);

// Makes pictures in dir, runs every subcommand on them, one line each.
void demo(const std::string& dir, std::ostream& out);

}  // namespace rxtool
