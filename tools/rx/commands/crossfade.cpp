// rx crossfade: fades one picture into another of the same size by a ratio
// (RX_Blend, or RX_Blend_Premul for premultiplied files) and writes the
// result.
#include <algorithm>
#include <cmath>
#include <memory>

#include "commands.h"
#include "interrupts.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"

namespace rxtool {

void crossfade(const CrossfadeOptions& o) {
  if (!std::isfinite(o.ratio)) throw ToolError("--ratio wants a number");
  // Premultiplied files are faded as they are, all four channels alike.
  Picture first = load_picture(o.first, false);
  const int32_t depth = o.depth ? o.depth : first.depth();
  first = to_depth(first, depth, false);
  const Picture second = to_depth(load_picture(o.second, false), depth, false);
  Picture out(first.width(), first.height(), depth);
  out.colour = first.colour;
  // 16.16, limited by the package to 0..1.
  const double fixed = std::round(std::clamp(o.ratio, -1.0, 2.0) * 65536.0);
  stop_if_interrupted();
  Progress progress("crossfade");
  const auto fade = o.premultiplied ? RX_Blend_Premul : RX_Blend;
  check_package(fade(progress.info(), first.def(), second.def(), int32_t(fixed), out.def()),
                "fading " + o.first + " into " + o.second);
  stop_if_interrupted();
  save_picture(out, o.output, false);
}

void add_crossfade(CLI::App& app, const Console&) {
  auto o = std::make_shared<CrossfadeOptions>();
  auto* sub = app.add_subcommand("crossfade", "Fade A into B by a ratio (RX_Blend) and write OUT.");
  sub->add_option("A", o->first, "The picture at ratio 0")->required();
  sub->add_option("B", o->second, "The picture at ratio 1, of A's size")->required();
  sub->add_option("-o,--output", o->output, "The file to write (format by extension)")->required();
  sub->add_option("--ratio", o->ratio, "0 gives A, 1 gives B; taken to 1/65536 and limited to 0..1")
      ->capture_default_str();
  sub->add_flag("--premultiplied", o->premultiplied,
                "Files hold premultiplied colour: fade all four channels alike (RX_Blend_Premul)");
  sub->add_option("--depth", o->depth, "Working depth 8, 16 or 32 (default: A's)")->check(CLI::IsMember({8, 16, 32}));
  sub->callback([o] {
    PackageSession package;
    crossfade(*o);
  });
}

}  // namespace rxtool
