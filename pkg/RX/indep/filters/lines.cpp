// RX_DrawLine: a one-pixel line walked in 16.16 fixed point along its major
// axis, one body for the three depths, which differ only in the pixel
// written. Whole pixels are replaced; pixels outside the world are skipped.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Draw.h"
#include "RX_World.h"
#include "filters/draw_colour.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int32_t kOne = 0x10000;
constexpr int32_t kHalf = 0x8000;
constexpr double kSameEnds = 1e-12;

// Truncation as the processor does it: out of range gives 0x80000000.
int32_t truncate_double(double v) {
  int32_t result;
  asm("cvttsd2si %1, %0" : "=r"(result) : "x"(v));
  return result;
}

// Pixels to 16.16, rounded half away from zero.
int32_t to_fixed(double v) {
  const double scaled = v * 65536.0;
  return truncate_double(scaled >= 0.0 ? scaled + 0.5 : scaled - 0.5);
}

template <class Px>
void plot(RX_WorldX<Px>& world, int32_t x, int32_t y, const Px& colour) {
  if (x < 0 || y < 0 || x >= world.Width() || y >= world.Height()) return;
  world.Row(y)[x] = colour;
}

template <class Px>
void draw_line(RX_PointDouble from, RX_PointDouble to, const RX_PixelFloat& colour_in,
               RX_WorldX<Px>& world) {
  const Px colour = draw_colour<Px>(colour_in);
  int32_t pos_x = to_fixed(from.x);
  int32_t pos_y = to_fixed(from.y);
  const double dx = to.x - from.x;
  const double dy = to.y - from.y;
  if (std::fabs(dx) <= kSameEnds && std::fabs(dy) <= kSameEnds) {
    plot(world, (pos_x + kHalf) >> 16, (pos_y + kHalf) >> 16, colour);
    return;
  }

  const bool x_major = std::fabs(dx) > std::fabs(dy);
  int32_t& major = x_major ? pos_x : pos_y;
  int32_t& minor = x_major ? pos_y : pos_x;
  const double end_major = x_major ? to.x : to.y;
  int32_t major_step = kOne;
  int32_t minor_step = x_major ? to_fixed(dy / dx) : to_fixed(dx / dy);

  // Snap the major position to a pixel centre and carry the minor position
  // along the slope by the same distance; the half makes >> 16 round.
  const int32_t major_start = major;
  major = (major_start + kHalf) & ~(kOne - 1);
  // The product can reach 2^31, so it is formed in 64 bits.
  minor += int32_t((int64_t{minor_step} * (major - major_start)) >> 16);
  minor += kHalf;

  int64_t n = int64_t{truncate_double(end_major + 0.5)} - (major >> 16);
  if (n < 0) {
    n = -n;
    major_step = -major_step;
    minor_step = -minor_step;
  }
  // Positions wrap as 32-bit values; nothing is drawn differently for any
  // line whose ends lie within the 16.16 range.
  const uint32_t x_step = uint32_t(x_major ? major_step : minor_step);
  const uint32_t y_step = uint32_t(x_major ? minor_step : major_step);
  uint32_t at_x = uint32_t(pos_x);
  uint32_t at_y = uint32_t(pos_y);

  // The major position moves one whole pixel a step, so the steps that lie
  // before the world can be skipped at once, and the walk ends when it has
  // left the world on the far side.
  const int32_t limit = x_major ? world.Width() : world.Height();
  const int32_t first_pixel = major >> 16;
  const bool forward = major_step > 0;
  int64_t skip = 0;
  if (forward && first_pixel < 0) skip = -int64_t{first_pixel};
  if (!forward && first_pixel >= limit) skip = int64_t{first_pixel} - (limit - 1);
  const int64_t last = forward ? std::min<int64_t>(n, int64_t{limit} - 1 - first_pixel)
                               : std::min<int64_t>(n, int64_t{first_pixel});
  if (skip > last) return;
  at_x += uint32_t(skip) * x_step;
  at_y += uint32_t(skip) * y_step;
  for (int64_t i = skip; i <= last; ++i) {
    plot(world, int32_t(at_x) >> 16, int32_t(at_y) >> 16, colour);
    at_x += x_step;
    at_y += y_step;
  }
}

}  // namespace
}  // namespace rx

void RX_DrawLine(RX_PointDouble from, RX_PointDouble to, const RX_PixelFloat* colour,
                 RX_WorldObject* world) {
  // A world object knows its depth; there is no unknown depth to report.
  if (!world || !colour) return;
  rx::dispatch_depth(
      world->Depth(),
      [&]<class Px>() { rx::draw_line(from, to, *colour, static_cast<RX_WorldX<Px>&>(*world)); },
      [] {});
}
