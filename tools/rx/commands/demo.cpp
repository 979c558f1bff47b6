// rx demo: makes its own pictures (a gradient background, soft-edged
// shapes on a transparent layer, a luminance matte), runs every
// subcommand on them and writes the results, one line each: among them a
// drop shadow (a blurred copy of the layer under the sharp one), an edge
// detection, a turned layer, a motion-blurred one and a cross-fade.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "alpha_guess.h"
#include "colour_profiles.h"
#include "commands.h"
#include "option_values.h"
#include "package_calls.h"
#include "picture.h"
#include "tool_error.h"

namespace rxtool {
namespace {

uint8_t byte(double v) { return uint8_t(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); }

// Opaque: warm at the left, cool at the right, darker toward the bottom.
Picture make_background() {
  Picture p(640, 360, 8);
  for (int32_t y = 0; y < p.height(); ++y) {
    RX_Pixel8* row = p.row<RX_Pixel8>(y);
    for (int32_t x = 0; x < p.width(); ++x) {
      const double u = x / 639.0, v = 1.0 - 0.6 * y / 359.0;
      row[x] = {255, byte((0.95 - 0.7 * u) * v), byte((0.55 + 0.2 * std::sin(u * 3.14159)) * v),
                byte((0.2 + 0.75 * u) * v)};
    }
  }
  return p;
}

// Transparent, with a disc and a bar whose edges fall off over 12 pixels.
Picture make_layer() {
  Picture p(400, 240, 8);
  for (int32_t y = 0; y < p.height(); ++y) {
    RX_Pixel8* row = p.row<RX_Pixel8>(y);
    for (int32_t x = 0; x < p.width(); ++x) {
      const double disc = std::clamp((90.0 - std::hypot(x - 130.0, y - 120.0)) / 12.0, 0.0, 1.0);
      const double bar_x = std::clamp(std::min(x - 200.0, 380.0 - x) / 12.0, 0.0, 1.0);
      const double bar_y = std::clamp(std::min(y - 40.0, 200.0 - y) / 12.0, 0.0, 1.0);
      const double bar = 0.7 * bar_x * bar_y;
      const double alpha = std::max(disc, bar);
      if (disc >= bar) row[x] = {byte(alpha), byte(0.95), byte(0.8 - 0.4 * y / 240.0), byte(0.15)};
      else row[x] = {byte(alpha), byte(0.2), byte(0.45 + 0.3 * x / 400.0), byte(0.9)};
    }
  }
  return p;
}

// Opaque grey, bright in the middle and dark at the edges.
Picture make_matte() {
  Picture p(400, 240, 8);
  for (int32_t y = 0; y < p.height(); ++y) {
    RX_Pixel8* row = p.row<RX_Pixel8>(y);
    for (int32_t x = 0; x < p.width(); ++x) {
      const uint8_t g = byte(1.0 - std::hypot((x - 200.0) / 200.0, (y - 120.0) / 120.0));
      row[x] = {255, g, g, g};
    }
  }
  return p;
}

// A matte much larger than the layer: soft rings over 1024 x 768, of which
// a feathered composite reads only the tiles under the layer.
Picture make_large_matte() {
  Picture p(1024, 768, 8);
  for (int32_t y = 0; y < p.height(); ++y) {
    RX_Pixel8* row = p.row<RX_Pixel8>(y);
    for (int32_t x = 0; x < p.width(); ++x) {
      const double d = std::hypot(x - 200.0, y - 120.0);
      const uint8_t g = byte(0.5 + 0.5 * std::cos(d / 18.0));
      row[x] = {255, g, g, g};
    }
  }
  return p;
}

// One line of the summary: the step, padded to a column, and its result.
void line(std::ostream& out, const std::string& what, const std::string& result) {
  char text[512];
  std::snprintf(text, sizeof text, "%-46s %s\n", what.c_str(), result.c_str());
  out << text;
}

template <class Work>
void step(std::ostream& out, const std::string& what, const std::string& output, Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  char result[64];
  std::snprintf(result, sizeof result, ", %.0f ms)", ms);
  line(out, what, "-> " + output + " (" + describe_file(output) + result);
}

}  // namespace

void demo(const std::string& dir, std::ostream& out) {
  std::error_code made;
  std::filesystem::create_directories(dir, made);
  if (made) throw ToolError("cannot make " + dir + ": " + made.message());
  auto at = [&dir](const char* name) { return (std::filesystem::path(dir) / name).string(); };

  const std::string background = at("background.png"), layer = at("layer.png"), matte = at("matte.png");
  step(out, "made a gradient background", background, [&] { save_picture(make_background(), background, false); });
  step(out, "made soft-edged shapes on a transparent layer", layer, [&] { save_picture(make_layer(), layer, false); });
  step(out, "made a luminance matte", matte, [&] { save_picture(make_matte(), matte, false); });

  const std::string modes = list_modes();
  line(out, "rx modes", "   " + std::to_string(std::count(modes.begin(), modes.end(), '\n')) + " modes");
  line(out, "rx info background.png", "   " + describe_file(background));

  const std::string deep = at("background-16.tif"), linear = at("background.exr"), dithered = at("dithered.png");
  const auto convert_options = [](const std::string& in, const std::string& to, int32_t depth) {
    ConvertOptions o;
    o.input = in;
    o.output = to;
    o.depth = depth;
    return o;
  };
  step(out, "rx convert background.png --depth 16", deep, [&] { convert(convert_options(background, deep, 16)); });
  step(out, "rx convert background.png --depth 32", linear, [&] { convert(convert_options(background, linear, 32)); });
  step(out, "rx convert background.exr --depth 8 --dither", dithered, [&] {
    ConvertOptions o = convert_options(linear, dithered, 8);
    o.dither = true;
    convert(o);
  });

  // Colour profiles: to a wide-gamut profile and back (the way back reads
  // the profile the first conversion embedded), and to linear light and back.
  const std::string wide = at("background-prophoto.png"), round_trip = at("background-round-trip.png");
  step(out, "rx convert background.png --to-profile prophoto-rgb", wide, [&] {
    ConvertOptions o = convert_options(background, wide, 0);
    o.to_profile = "prophoto-rgb";
    convert(o);
  });
  line(out, "rx info background-prophoto.png: profile",
       "   " + embedded_profile_description(read_file_layout(wide).colour));
  step(out, "rx convert background-prophoto.png --to-profile srgb", round_trip, [&] {
    ConvertOptions o = convert_options(wide, round_trip, 0);
    o.to_profile = "srgb";
    convert(o);
  });
  const std::string linear_light = at("background-linear.exr"), encoded = at("background-encoded.png");
  step(out, "rx convert background.png --linear", linear_light, [&] {
    ConvertOptions o = convert_options(background, linear_light, 0);
    o.linear = true;
    convert(o);
  });
  step(out, "rx convert background-linear.exr --encode --depth 8", encoded, [&] {
    ConvertOptions o = convert_options(linear_light, encoded, 8);
    o.encode = true;
    convert(o);
  });

  auto composite_step = [&](const std::string& what, const char* name, CompositeOptions o) {
    if (o.layer.empty()) o.layer = layer;
    o.output = at(name);
    if (o.background.empty()) o.background = background;
    o.at_x = 120;
    o.at_y = 60;
    step(out, "rx composite " + what, o.output, [&] { composite(o); });
  };
  CompositeOptions over;
  composite_step("--mode over", "over.png", over);
  CompositeOptions multiply;
  multiply.mode = "multiply";
  multiply.opacity = 0.8f;
  composite_step("--mode multiply --opacity 0.8", "multiply.png", multiply);
  CompositeOptions screen;
  screen.mode = "screen";
  screen.matte = matte;
  screen.matte_kind = "luma";
  composite_step("--mode screen --matte matte.png --matte-kind luma", "screen-luma-matte.png", screen);
  const std::string large_matte = at("large-matte.png");
  step(out, "made a 1024 x 768 ring matte", large_matte, [&] { save_picture(make_large_matte(), large_matte, false); });
  CompositeOptions feathered;
  feathered.matte = large_matte;
  feathered.matte_kind = "luma";
  feathered.feather = 8.0;
  FeatherTiles tiles;
  feathered.feather_tiles = &tiles;
  composite_step("--matte large-matte.png --matte-kind luma --feather 8", "feathered-matte.png", feathered);
  line(out, "  tiles of the matte made (64 x 64)", "   " + std::to_string(tiles.made) + " of " + std::to_string(tiles.total));
  CompositeOptions soft;
  soft.feather = 6.0;
  composite_step("--feather 6 (the layer's own alpha)", "feathered-alpha.png", soft);
  CompositeOptions dissolve;
  dissolve.mode = "dissolve";
  dissolve.opacity = 0.6f;
  dissolve.seed = 7;
  composite_step("--mode dissolve --opacity 0.6 --seed 7", "dissolve.png", dissolve);
  CompositeOptions hue;
  hue.mode = "hue";
  hue.linear = true;
  hue.background = deep;
  composite_step("--mode hue --linear (16 bits)", "hue-linear.tif", hue);
  CompositeOptions in_light;
  in_light.opacity = 0.7f;
  in_light.linear = true;
  in_light.working_space = "srgb";
  composite_step("--opacity 0.7 --linear --working-space srgb", "over-linear-light.png", in_light);
  CompositeOptions difference;
  difference.mode = "difference";
  difference.field = "even";
  difference.background = linear;
  composite_step("--mode difference --field even (float)", "difference-even.exr", difference);

  // Alpha guessing: the layer as made, and premultiplied against white.
  const std::string on_white = at("layer-on-white.png");
  step(out, "made the layer premultiplied against white", on_white, [&] {
    Picture p = load_picture(layer, false);
    const RX_Pixel8 white{255, 255, 255, 255};
    check_package(RX_PremulColor(nullptr, nullptr, &white, 1, p.def()), "premultiplying the layer");
    save_picture(p, on_white, false);
  });
  line(out, "rx info layer.png: guessed alpha", "   " + guess_alpha(load_picture(layer, false)).text());
  line(out, "rx info layer-on-white.png: guessed alpha", "   " + guess_alpha(load_picture(on_white, false)).text());
  CompositeOptions auto_alpha;
  auto_alpha.layer = on_white;
  auto_alpha.alpha = "auto";
  composite_step("layer-on-white.png --alpha auto", "over-auto-alpha.png", auto_alpha);

  // The outline of the layer's alpha, turned and captioned.
  const std::string outlined = at("outline.png");
  int32_t points = 0;
  step(out, "rx outline layer.png --rotate 12 --label", outlined, [&] {
    OutlineOptions o;
    o.layer = layer;
    o.output = outlined;
    o.background = background;
    o.rotate = 12.0;
    o.translate_x = 120;
    o.translate_y = 60;
    o.label = "rx outline: layer.png, turned 12 degrees";
    points = outline(o);
  });
  line(out, "rx outline layer.png: wireframe points", "   " + std::to_string(points));

  // A drop shadow: the layer's alpha in black, blurred, laid down offset
  // and faint, and the sharp layer over it.
  const std::string shadow_source = at("shadow-source.png"), shadow = at("shadow.png");
  step(out, "made the layer's shadow (its alpha, in black)", shadow_source, [&] {
    Picture p = load_picture(layer, false);
    for (int32_t y = 0; y < p.height(); ++y) {
      RX_Pixel8* row = p.row<RX_Pixel8>(y);
      for (int32_t x = 0; x < p.width(); ++x) row[x] = {row[x].alpha, 0, 0, 0};
    }
    save_picture(p, shadow_source, false);
  });
  step(out, "rx blur shadow-source.png --radius 10", shadow, [&] {
    BlurOptions o;
    o.input = shadow_source;
    o.output = shadow;
    o.radius = "10";
    blur(o);
  });
  const std::string shadowed = at("shadowed-background.png"), drop_shadow = at("drop-shadow.png");
  step(out, "rx composite shadow.png --opacity 0.7", shadowed, [&] {
    CompositeOptions o;
    o.background = background;
    o.layer = shadow;
    o.output = shadowed;
    o.opacity = 0.7f;
    o.at_x = 134;
    o.at_y = 76;
    composite(o);
  });
  CompositeOptions sharp;
  sharp.background = shadowed;
  composite_step("layer.png over the shadow", "drop-shadow.png", sharp);

  // Edges: a Laplacian four times over, from a kernel file; its sum is 0,
  // so the normalized result is the raw sum.
  const std::string kernel = at("edges.txt"), edges = at("edges.png");
  {
    std::ofstream file(kernel);
    file << "# a Laplacian, four times over\n-4 -4 -4\n-4 32 -4\n-4 -4 -4\n";
    if (!file) throw ToolError("cannot write " + kernel);
  }
  step(out, "rx convolve --kernel edges.txt --normalize", edges, [&] {
    ConvolveOptions o;
    o.input = drop_shadow;
    o.output = edges;
    o.kernel = kernel;
    o.normalize = true;
    convolve(o);
  });

  auto transform_step = [&](const std::string& what, const char* name, TransformOptions o) {
    o.background = background;
    o.layer = layer;
    o.output = at(name);
    step(out, "rx transform " + what, o.output, [&] { transform(o); });
  };
  TransformOptions turned;
  turned.start.rotate = 20.0;
  turned.start.scale_x = turned.start.scale_y = 0.8;
  turned.start.translate_x = 120.0;
  turned.start.translate_y = 60.0;
  turned.end = turned.start;
  transform_step("--rotate 20 --scale 0.8 --translate 120,60", "rotated.png", turned);
  TransformOptions blurred = turned;
  blurred.end.rotate = 35.0;
  blurred.end.translate_x = 200.0;
  blurred.moving = true;
  blurred.samples = 8;
  transform_step("... --to-rotate 35 --to-translate 200,60 --samples 8", "motion-blur.png", blurred);
  const std::string faded = at("crossfade.png");
  step(out, "rx crossfade over.png rotated.png --ratio 0.5", faded,
       [&] { crossfade({at("over.png"), at("rotated.png"), faded, 0.5, false, 0}); });
}

void add_demo(CLI::App& app, const Console& console) {
  auto dir = std::make_shared<std::string>("rx-demo");
  auto* sub = app.add_subcommand("demo", "Make pictures, run every subcommand on them, write the results.");
  sub->add_option("--out", *dir, "Where the pictures go")->capture_default_str();
  sub->callback([dir, &out = console.out] {
    PackageSession package;
    demo(*dir, out);
  });
}

}  // namespace rxtool
