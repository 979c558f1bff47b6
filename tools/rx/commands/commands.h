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
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "GE/GE.h"

#include "feather.h"

#define RX_TOOL_SUBCOMMANDS(X) \
  X(composite)                 \
  X(transform)                 \
  X(crossfade)                 \
  X(convert)                   \
  X(info)                      \
  X(modes)                     \
  X(outline)                   \
  X(blur)                      \
  X(convolve)                  \
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
  // Feather radius in pixels, 0 for none: the matte's coverage (or the
  // layer's alpha) blurred and merged into the layer's alpha first.
  double feather = 0.0;
  FeatherTiles* feather_tiles = nullptr;  // where the matte's tiles made are told, or none
};
void composite(const CompositeOptions& options);

// Where a layer goes: scaled, sheared, turned about an anchor, then moved.
struct Placement {
  double rotate = 0;  // degrees
  double scale_x = 1, scale_y = 1;
  double shear_x = 0, shear_y = 0;
  double translate_x = 0, translate_y = 0;
};
// The layer-to-background matrix of a placement about (anchor_x, anchor_y).
GE_Matrix3 placement_matrix(const Placement& p, double anchor_x, double anchor_y);

struct TransformOptions {
  std::string background, layer, output;  // no background: a transparent canvas
  bool canvas_given = false;
  int32_t canvas_width = 0, canvas_height = 0;
  Placement start, end;                   // end differs only with motion blur
  bool moving = false;                    // an end of the shutter was given
  bool anchored = false;                  // else the layer's centre
  double anchor_x = 0, anchor_y = 0;
  std::string matrix;                     // 6 or 9 numbers, instead of a placement
  std::string path;                       // a file of matrices, one a line
  int32_t samples = 2;                    // matrices along the motion
  std::string quality = "best";           // draft or best
  std::string mode = "over";
  float opacity = 1.0f;
  std::string matte, matte_kind = "alpha", field = "all";
  bool keep_alpha = false;
  int32_t seed = 0;
  bool linear = false;
  std::string working_space = "srgb";  // whose tone curve linear light follows
  int32_t depth = 0;
  bool premultiplied = false;
  std::string alpha;                   // "", auto, straight or premultiplied, as for composite
  std::ostream* verbose = nullptr;     // where the choices made are told, or none
  double feather = 0.0;                // as for composite, before the layer is moved
};
// The matrices a transform lays the layer through (one, or a motion path).
std::vector<GE_Matrix3> transform_matrices(const TransformOptions& options, int32_t layer_width,
                                           int32_t layer_height);
void transform(const TransformOptions& options);

struct CrossfadeOptions {
  std::string first, second, output;
  double ratio = 0.5;                     // 0: the first, 1: the second
  bool premultiplied = false;             // files and fade premultiplied
  int32_t depth = 0;
};
void crossfade(const CrossfadeOptions& options);

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

struct BlurOptions {
  std::string input, output;
  std::string radius = "2";           // "R", or "RX,RY" (0 leaves that axis alone)
  std::string kind = "gaussian";      // gaussian or box
  int32_t passes = 3;                 // box passes; 3 approach a Gaussian
  std::string channels = "argb";      // any of a, r, g, b
  bool renormalize = false;           // what lies beyond the picture counts as absent
  bool premultiplied = false;         // files hold premultiplied colour
};
// Blurs rows, then columns reading what the rows wrote.
void blur(const BlurOptions& options);

struct ConvolveOptions {
  std::string input, output;
  std::string kernel;                 // a file of integers, or sharpen, edge, emboss
  std::optional<double> gaussian;     // a bell kernel of this radius instead
  std::string channels = "rgb";       // any of a, r, g, b; the others are kept
  bool normalize = false;             // divide by the kernel's sum (named kernels always do)
  bool no_clamp = false;
  bool premultiplied = false;
};
void convolve(const ConvolveOptions& options);

// Makes pictures in dir, runs every subcommand on them, one line each.
void demo(const std::string& dir, std::ostream& out);

}  // namespace rxtool
