// rx blur: a two-dimensional Gaussian or box blur made of the package's
// one-dimensional blurs, rows first and then columns reading what the rows
// wrote. The straight picture goes into the row pass, which writes
// premultiplied pixels; the column pass reads them and writes straight
// ones. A radius of 0 on an axis leaves that axis alone.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "commands.h"
#include "interrupts.h"
#include "option_values.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"

namespace rxtool {
namespace {

// "R" or "RX,RY", each a number of pixels at least 0.
std::pair<float, float> parse_radius(const std::string& text) {
  float x = 0, y = 0;
  char comma = 0, rest = 0;
  const int read = std::sscanf(text.c_str(), "%f %c %f %c", &x, &comma, &y, &rest);
  if (read == 1) {
    y = x;
  } else if (read != 3 || comma != ',') {
    throw ToolError("--radius wants R or RX,RY, such as 4 or 6,0; got '" + text + "'");
  }
  if (!(x >= 0.0f && y >= 0.0f && x <= 10000.0f && y <= 10000.0f)) {
    throw ToolError("--radius must lie between 0 and 10000; got '" + text + "'");
  }
  return {x, y};
}

// The blurs ask only for abort, once a line (a pass of a line for the box),
// on the calling thread: that drives the bar.
struct LineProgress {
  Progress* bar;
  int32_t done = 0;
  int32_t total = 0;
  RX_ProgressInfo info{this, &LineProgress::on_line, nullptr};

  static RX_Err on_line(void* refcon) {
    auto* self = static_cast<LineProgress*>(refcon);
    const RX_ProgressInfo* bar = self->bar->info();
    return bar->progress_func(bar->refcon, ++self->done, self->total);
  }
};

// One world object over a picture's pixels, for the length of a call.
std::unique_ptr<RX_World> world_of(const Picture& picture) {
  std::unique_ptr<RX_World> world;
  run_package("wrapping a picture", [&] { world.reset(RX_World::NewReference(*picture.def())); });
  return world;
}

}  // namespace

void blur(const BlurOptions& o) {
  const auto [radius_x, radius_y] = parse_radius(o.radius);
  const bool box = parse_choice(o.kind, "kind", {"gaussian", "box"}) == 1;
  if (o.passes < 1) throw ToolError("--passes must be at least 1; got " + std::to_string(o.passes));
  int32_t channels = parse_channels(o.channels, "--channels");
  if (o.renormalize) channels |= RX_BLUR_RENORMALIZE;

  const Picture input = load_picture(o.input, o.premultiplied);
  Picture middle(input.width(), input.height(), input.depth());
  Picture output(input.width(), input.height(), input.depth());
  output.colour = input.colour;
  const auto src = world_of(input), mid = world_of(middle), dst = world_of(output);

  const bool rows = radius_x > 0.0f, columns = radius_y > 0.0f;
  Progress bar("blur");
  LineProgress progress{&bar};
  const int32_t checks_a_line = box ? o.passes : 1;
  progress.total = checks_a_line * ((rows ? input.height() : 0) + (columns ? input.width() : 0));

  auto pass = [&](const RX_World* from, float radius, uint32_t vertical, int32_t from_premultiplied,
                  uint32_t to_premultiplied, RX_World* to) {
    run_package("blurring " + o.input, [&] {
      if (box) {
        RX_BoxBlur1D(&progress.info, from, radius, uint32_t(o.passes), channels, vertical, from_premultiplied,
                     vertical, to_premultiplied, 0, to);
      } else {
        RX_GaussianBlur1D(&progress.info, from, radius, channels, vertical, from_premultiplied, vertical,
                          to_premultiplied, 0, to);
      }
    });
  };
  stop_if_interrupted();
  if (rows && columns) {
    pass(src.get(), radius_x, 0, 0, 1, mid.get());
    pass(mid.get(), radius_y, 1, 1, 0, dst.get());
  } else if (rows || columns) {
    pass(src.get(), rows ? radius_x : radius_y, columns ? 1 : 0, 0, 0, dst.get());
  } else {
    std::memcpy(output.row<uint8_t>(0), input.row<uint8_t>(0),
                size_t(input.def()->row_stride) * size_t(input.height()));
  }
  stop_if_interrupted();
  save_picture(output, o.output, o.premultiplied);
}

void add_blur(CLI::App& app, const Console&) {
  auto o = std::make_shared<BlurOptions>();
  auto* sub = app.add_subcommand("blur", "Blur IN with the package's Gaussian or box blur, rows then columns.");
  sub->add_option("IN", o->input, "The file to read")->required();
  sub->add_option("-o,--output", o->output, "The file to write")->required();
  sub->add_option("--radius", o->radius, "R, or RX,RY (0 leaves that axis alone)")->capture_default_str();
  sub->add_option("--kind", o->kind, "gaussian or box")->capture_default_str();
  sub->add_option("--passes", o->passes, "Box passes (3 approach a Gaussian)")->capture_default_str();
  sub->add_option("--channels", o->channels, "Which channels to blur: any of a, r, g, b")->capture_default_str();
  sub->add_flag("--renormalize", o->renormalize, "Count what lies beyond the picture as absent, not black");
  sub->add_flag("--premultiplied", o->premultiplied, "Files hold premultiplied colour");
  sub->callback([o] {
    PackageSession package;
    blur(*o);
  });
}

}  // namespace rxtool
