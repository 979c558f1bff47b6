// Matrix classification, landing rectangles and the straightness of a
// motion path. Matrices with a perspective row are walked by their
// linearization at the destination origin: the walkers step by the change
// of the source position along one destination column and one line.
#include "compositing/transform_geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace rx::transform {
namespace {

constexpr double kFixedLimit = 0x1p62;                      // far beyond any world
constexpr double kDirectionTolerance = 1e-12;               // relative, per component
constexpr double kDirectionFloor = 1.000088900582341e-12;   // the tolerance near zero
constexpr double kPathDeviation = 0.9;                      // pixels off the first step

GE_FloatPoint mapped(const GE_Matrix3& m, double x, double y) {
  GE_FloatPoint p{x, y};
  GE_TransformFloatPoints(&m, 1, &p);
  return p;
}

double rounded_to_fixed(double v) { return double(to_fixed(v)) / kFixedScale; }

// A unit vector's components agree within the relative tolerance, with a
// floor for components near zero.
bool same_direction(double ax, double ay, double bx, double by) {
  const double la = std::hypot(ax, ay), lb = std::hypot(bx, by);
  if (la == 0.0 || lb == 0.0) return la == lb;
  auto close = [](double a, double b) {
    const double tolerance = std::max(kDirectionTolerance * std::max(std::fabs(a), std::fabs(b)), kDirectionFloor);
    return std::fabs(a - b) <= tolerance;
  };
  return close(ax / la, bx / lb) && close(ay / la, by / lb);
}

int32_t cut_to_int32(int64_t v) {
  return int32_t(std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

// A destination coordinate for a bounding box edge, kept clear of the ends
// of 32 bits so that growing the box cannot wrap.
int32_t edge(double v) {
  constexpr double kLimit = double(std::numeric_limits<int32_t>::max() / 2);
  return int32_t(std::clamp(std::floor(v), -kLimit, kLimit));
}

}  // namespace

int64_t to_fixed(double value) {
  const double scaled = std::floor(value * kFixedScale + 0.5);
  if (std::isnan(scaled)) return 0;
  return int64_t(std::clamp(scaled, -kFixedLimit, kFixedLimit));
}

int32_t to_fixed32(double value) { return cut_to_int32(to_fixed(value)); }

Fixed2 Walk::position(int32_t x, int32_t y) const {
  return Fixed2{to_fixed(origin_x + double(x) * step_x_x + double(y) * step_y_x),
                to_fixed(origin_y + double(x) * step_x_y + double(y) * step_y_y)};
}

Walk classify(const GE_Matrix3& inverse) {
  Walk w;
  w.inverse = inverse;
  const GE_FloatPoint origin = mapped(inverse, 0.0, 0.0);
  const GE_FloatPoint unit_x = mapped(inverse, 1.0, 0.0);
  const GE_FloatPoint unit_y = mapped(inverse, 0.0, 1.0);
  w.origin_x = origin.x;
  w.origin_y = origin.y;
  w.step_x_x = unit_x.x - origin.x;
  w.step_x_y = unit_x.y - origin.y;
  w.step_y_x = unit_y.x - origin.x;
  w.step_y_y = unit_y.y - origin.y;
  w.step_x = Fixed2{to_fixed32(w.step_x_x), to_fixed32(w.step_x_y)};
  w.step_y = Fixed2{to_fixed32(w.step_y_x), to_fixed32(w.step_y_y)};

  w.length_x = std::hypot(w.step_x_x, w.step_x_y);
  w.length_y = std::hypot(w.step_y_x, w.step_y_y);
  // The type of the matrix as the walk sees it: every entry in 16.16.
  GE_Matrix3 fixed;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) fixed.m[r][c] = rounded_to_fixed(inverse.m[r][c]);
  }
  w.type = GE_GetMatrixType(&fixed);
  w.flattens = to_fixed(w.length_x) == 0 || to_fixed(w.length_y) == 0;

  // A box of one destination pixel: half the source length either side.
  const double rx = std::min(kMaxRadius, 0.5 * w.length_x);
  const double ry = std::min(kMaxRadius, 0.5 * w.length_y);
  w.x_radius = int32_t(rx * kFixedScale + 0.5);
  w.y_radius = int32_t(ry * kFixedScale + 0.5);
  w.area = uint32_t(4.0 * rx * ry * kFixedScale + 0.5);

  w.fractional_translation = (to_fixed(w.origin_x) & 0xFFFF) != 0 || (to_fixed(w.origin_y) & 0xFFFF) != 0;
  return w;
}

GE_LRect landing_rect(const GE_Matrix3& forward, int32_t width, int32_t height) {
  // Bilinear taps reach one pixel past each edge; nearest and area
  // sampling reach less, in destination pixels.
  const double x0 = -1.0, y0 = -1.0, x1 = double(width), y1 = double(height);
  GE_FloatPoint corners[4] = {{x0, y0}, {x1, y0}, {x0, y1}, {x1, y1}};
  GE_TransformFloatPoints(&forward, 4, corners);
  double left = corners[0].x, right = corners[0].x, top = corners[0].y, bottom = corners[0].y;
  for (const GE_FloatPoint& p : corners) {
    if (std::isnan(p.x) || std::isnan(p.y)) return GE_LRect{0, 0, 0, 0};
    left = std::min(left, p.x);
    right = std::max(right, p.x);
    top = std::min(top, p.y);
    bottom = std::max(bottom, p.y);
  }
  GE_LRect r{edge(left), edge(top), edge(right) + 1, edge(bottom) + 1};
  GE_InsetLRect(&r, -1, -1);
  return r;
}

bool curved_path(const Walk* walks, int32_t count) {
  const Walk& first = walks[0];
  const Walk& last = walks[count - 1];
  if (!same_direction(first.step_x_x, first.step_x_y, last.step_x_x, last.step_x_y) ||
      !same_direction(first.step_y_x, first.step_y_y, last.step_y_x, last.step_y_y)) {
    return true;
  }
  if (count < 3) return false;
  const double dx0 = walks[1].origin_x - walks[0].origin_x, dy0 = walks[1].origin_y - walks[0].origin_y;
  for (int32_t i = 1; i + 1 < count; ++i) {
    const double dx = walks[i + 1].origin_x - walks[i].origin_x;
    const double dy = walks[i + 1].origin_y - walks[i].origin_y;
    if (std::fabs(dx - dx0) >= kPathDeviation || std::fabs(dy - dy0) >= kPathDeviation) return true;
  }
  return false;
}

}  // namespace rx::transform
