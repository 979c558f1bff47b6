// rx outline: the wireframe of a layer's alpha (RX_GenerateWireframe),
// moved by a rotation, scale and translation about the layer's centre
// (RX_TransformWireframe2D) and drawn with RX_DrawLine over the layer or a
// background, with an optional caption by RX_DebugPrint. Prints the point
// count.
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "RX_World.h"
#include "commands.h"
#include "option_values.h"
#include "package_calls.h"
#include "picture.h"
#include "tool_error.h"

namespace rxtool {
namespace {

// A wireframe that disposes itself.
struct Wireframe {
  RX_Wireframe record{};
  ~Wireframe() { RX_DisposeWireframe(&record); }
  std::vector<GE_LPoint> points() const {
    std::vector<GE_LPoint> out(record.point_count);
    for (uint32_t i = 0; i < record.point_count; ++i) {
      out[i] = *static_cast<const GE_LPoint*>(SEQ_GetAddress(record.points, int32_t(i)));
    }
    return out;
  }
};

// The layer's alpha in a 32-bit bitmap, as wireframes are sampled from.
struct AlphaBitmap {
  ZW_World image = nullptr;
  explicit AlphaBitmap(const Picture& layer8) {
    if (layer8.width() > 32767 || layer8.height() > 32767) throw ToolError("the layer is too large to outline");
    const GE_Rect bounds{0, 0, int16_t(layer8.height()), int16_t(layer8.width())};
    check_package(ZW_NewWorld(0, 0, &bounds, 32, 0, 0, &image), "making a bitmap of the layer");
    for (int32_t y = 0; y < layer8.height(); ++y) {
      auto* row = reinterpret_cast<RX_Pixel8*>(static_cast<uint8_t*>((*image)->pixels) +
                                               intptr_t{y} * (*image)->row_bytes);
      std::copy(layer8.row<RX_Pixel8>(y), layer8.row<RX_Pixel8>(y) + layer8.width(), row);
    }
  }
  ~AlphaBitmap() { ZW_DisposeWorld(image); }
};

RX_PixelFloat parse_colour(const std::string& text) {
  float r = 0, g = 0, b = 0;
  char c1 = 0, c2 = 0, rest = 0;
  if (std::sscanf(text.c_str(), "%f %c %f %c %f %c", &r, &c1, &g, &c2, &b, &rest) != 5 || c1 != ',' || c2 != ',' ||
      !(r >= 0 && r <= 1 && g >= 0 && g <= 1 && b >= 0 && b <= 1)) {
    throw ToolError("--colour wants R,G,B from 0 to 1, such as 1,0.1,0.1; got '" + text + "'");
  }
  return {1.0f, r, g, b};
}

// Rotation and scale about (cx, cy), then the translation; column vectors.
GE_Matrix3 placement(const OutlineOptions& o, double cx, double cy) {
  const double a = o.rotate * M_PI / 180.0;
  const double c = std::cos(a) * o.scale, s = std::sin(a) * o.scale;
  return GE_Matrix3{{{c, -s, cx - c * cx + s * cy + o.translate_x},
                     {s, c, cy - s * cx - c * cy + o.translate_y},
                     {0.0, 0.0, 1.0}}};
}

// Sampled points lie on a grid of the final step from the corner: every
// coordinate is a multiple of it, so their greatest common divisor is the
// step (or a multiple, for a few far-apart points).
int32_t grid_step(const std::vector<GE_LPoint>& points, int32_t fallback) {
  int32_t step = 0;
  for (const GE_LPoint& p : points) step = std::gcd(step, std::gcd(p.x, p.y));
  return step > 0 ? step : fallback;
}

uint64_t key(int32_t x, int32_t y) { return (uint64_t(uint32_t(x)) << 32) | uint32_t(y); }

template <class Draw>
void connect_neighbours(const std::vector<GE_LPoint>& at, const std::vector<GE_LPoint>& moved, int32_t step,
                        Draw&& draw) {
  std::unordered_map<uint64_t, size_t> index;
  for (size_t i = 0; i < at.size(); ++i) index.emplace(key(at[i].x, at[i].y), i);
  const int32_t forward[4][2] = {{1, 0}, {0, 1}, {1, 1}, {-1, 1}};
  for (size_t i = 0; i < at.size(); ++i) {
    draw(moved[i], moved[i]);  // a lone point shows too
    for (const auto& d : forward) {
      const auto j = index.find(key(at[i].x + d[0] * step, at[i].y + d[1] * step));
      if (j != index.end()) draw(moved[i], moved[j->second]);
    }
  }
}

}  // namespace

int32_t outline(const OutlineOptions& o) {
  if (o.grid < 1) throw ToolError("--grid must be 1 or more");
  if (!(o.scale > 0.0 && std::isfinite(o.scale))) throw ToolError("--scale must be above 0");
  const RX_PixelFloat colour = parse_colour(o.colour);
  const Picture layer = load_picture(o.layer, false);

  Wireframe wireframe;
  {
    const AlphaBitmap bitmap(to_depth(layer, 8, false));
    check_package(RX_GenerateWireframe(nullptr, bitmap.image, o.grid, o.max_points, 0, nullptr, &wireframe.record),
                  "outlining " + o.layer);
  }
  Wireframe moved;
  const GE_Matrix3 matrix = placement(o, layer.width() / 2.0, layer.height() / 2.0);
  check_package(RX_TransformWireframe2D(nullptr, &wireframe.record, nullptr, &matrix, nullptr, &moved.record),
                "moving the outline");

  Picture canvas = o.background.empty() ? to_depth(layer, layer.depth(), false) : load_picture(o.background, false);
  if (!o.label.empty() && canvas.depth() == 32) {
    throw ToolError("--label draws on 8- or 16-bit pictures; " +
                    (o.background.empty() ? o.layer : o.background) + " loads as float");
  }
  std::unique_ptr<RX_World> world(RX_World::NewReference(*canvas.def()));
  const std::vector<GE_LPoint> points = wireframe.points();
  connect_neighbours(points, moved.points(), grid_step(points, o.grid), [&](GE_LPoint a, GE_LPoint b) {
    RX_DrawLine({double(a.x), double(a.y)}, {double(b.x), double(b.y)}, &colour, world.get());
  });
  if (!o.label.empty()) {
    run_package("printing the label", [&] { RX_DebugPrint(world.get(), 4, 2, colour, "%s", o.label.c_str()); });
  }
  world.reset();
  save_picture(canvas, o.output, false);
  return int32_t(wireframe.record.point_count);
}

void add_outline(CLI::App& app, const Console& console) {
  auto o = std::make_shared<OutlineOptions>();
  auto translate = std::make_shared<std::string>("0,0");
  auto* sub = app.add_subcommand(
      "outline", "Draw the wireframe of LAYER's alpha (RX_GenerateWireframe) over it or a background; "
                 "print the point count.");
  sub->add_option("LAYER", o->layer, "The picture whose alpha is outlined")->required();
  sub->add_option("-o,--output", o->output, "The file to write (format by extension)")->required();
  sub->add_option("--background", o->background, "Draw over this picture instead of the layer");
  sub->add_option("--grid", o->grid, "Sampling step to start with, in pixels")->capture_default_str();
  sub->add_option("--max-points", o->max_points, "The step grows until the points are no more than this")
      ->capture_default_str();
  sub->add_option("--rotate", o->rotate, "Degrees to turn the outline about the layer's centre")
      ->capture_default_str();
  sub->add_option("--scale", o->scale, "Scale of the outline about the layer's centre")->capture_default_str();
  sub->add_option("--translate", *translate, "X,Y to move the outline by afterwards")->capture_default_str();
  sub->add_option("--colour", o->colour, "R,G,B of the lines, 0 to 1")->capture_default_str();
  sub->add_option("--label", o->label, "A caption in the package's bitmap font, top left");
  sub->callback([o, translate, &out = console.out] {
    std::tie(o->translate_x, o->translate_y) = parse_position(*translate, "--translate");
    PackageSession package;
    const int32_t count = outline(*o);
    out << o->output << ": " << count << " points\n";
  });
}

}  // namespace rxtool
