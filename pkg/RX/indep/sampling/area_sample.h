// Area sampling and the summed-area table, inside the package: the body of
// the straight-alpha area sampler over its accumulator (plain doubles here,
// SSE2 pairs beside it, with the same operations in the same order), the
// table's row builders, and the forms behind slots 5, 6 and 65.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "RX_AreaSampling.h"
#include "RX_Frame.h"
#include "worlds/depth_traits.h"

namespace rx {

inline constexpr int32_t kFixedOne = 0x10000;
inline constexpr int32_t kFixedHalf = 0x8000;
inline constexpr double kFixedToReal = 1.0 / 65536.0;  // 2^-16, exact

// A box in 16.16 pixel-edge coordinates: pixel k covers [k << 16, (k + 1) << 16).
// 64 bits, so that no position and radius overflow.
struct FixedBox {
  int64_t left, right, top, bottom;
};

// The sampler's position names a pixel centre; half a pixel more is an edge.
inline FixedBox box_around(int32_t x, int32_t y, int32_t x_radius, int32_t y_radius) {
  return {int64_t{x} - x_radius + kFixedHalf, int64_t{x} + x_radius + kFixedHalf,
          int64_t{y} - y_radius + kFixedHalf, int64_t{y} + y_radius + kFixedHalf};
}

inline FixedBox clipped_to(const FixedBox& box, int32_t width, int32_t height) {
  const int64_t w = int64_t{width} << 16, h = int64_t{height} << 16;
  return {std::clamp<int64_t>(box.left, 0, w), std::clamp<int64_t>(box.right, 0, w),
          std::clamp<int64_t>(box.top, 0, h), std::clamp<int64_t>(box.bottom, 0, h)};
}

// How a box is sampled: a radius of half a pixel or less is narrow, and a
// narrow axis takes bilinear samples rather than whole pixels.
enum class BoxShape { Point, Row, Column, Area };

inline BoxShape box_shape(int32_t x_radius, int32_t y_radius) {
  const bool narrow_x = x_radius <= kFixedHalf, narrow_y = y_radius <= kFixedHalf;
  if (narrow_x && narrow_y) return BoxShape::Point;
  if (narrow_y) return BoxShape::Row;
  if (narrow_x) return BoxShape::Column;
  return BoxShape::Area;
}

// Calls visit(k, cover) for every pixel k that [lo, hi) touches, cover being
// the 16.16 length it covers: 1 - fraction of lo for the first, the
// fraction of hi for the last, a whole pixel between.
template <class Visit>
void for_each_cell(int64_t lo, int64_t hi, Visit&& visit) {
  if (lo >= hi) return;
  for (int64_t k = lo >> 16; (k << 16) < hi; ++k) {
    const int64_t cover = std::min(hi, (k + 1) << 16) - std::max(lo, k << 16);
    visit(int32_t(k), int32_t(cover));
  }
}

// The family's clipped plain bilinear sampler.
template <class Px>
Px clipped_bilinear(const RX_SampPB* pb, int32_t x, int32_t y) {
  Px p;
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    RX_SubpixelCPlusPlus(nullptr, x, y, pb, &p);
  } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
    RX_SubpixelCPlusPlus16(nullptr, x, y, pb, &p);
  } else {
    RX_SubpixelCPlusPlusFloat(nullptr, x, y, pb, &p);
  }
  return p;
}

template <class Px>
const Px* row_of(const RX_LayerDef& world, int32_t y) {
  return reinterpret_cast<const Px*>(static_cast<const char*>(world.data) +
                                     intptr_t{y} * world.row_stride);
}

// The plain accumulator: a pixel of weight w and alpha a adds w·a to the
// alpha sum and w·a·c to each colour sum.
template <class Px>
struct PlainSums {
  double alpha = 0.0, red = 0.0, green = 0.0, blue = 0.0;

  void add(double weight, const Px& p) {
    const double weighted_alpha = weight * double(p.alpha);
    alpha += weighted_alpha;
    red += weighted_alpha * double(p.red);
    green += weighted_alpha * double(p.green);
    blue += weighted_alpha * double(p.blue);
  }
  // Pixels of one weight in a run; the walk's whole columns.
  void add_run(double weight, const Px* p, int32_t count) {
    for (int32_t i = 0; i < count; ++i) add(weight, p[i]);
  }
  RX_PixelDouble totals() const { return {alpha, red, green, blue}; }
};

// From the sums to the result: alpha over the unclipped box's area, limited
// to white and truncated; colours the alpha-weighted means, rounded and
// limited to white at 8 and 16 bits, stored as they are in float.
template <class Px>
Px area_result(const RX_PixelDouble& sums, int32_t x_radius, int32_t y_radius) {
  using Cv = typename Depth<Px>::Cv;
  constexpr double white = double(Depth<Px>::white);
  if (sums.alpha == 0.0) return Px{};
  const double area = (double(x_radius) * kFixedToReal) * (double(y_radius) * kFixedToReal);
  const Cv alpha = Cv(std::min(white, sums.alpha * 0.25 / area));
  if (alpha == Cv(0)) return Px{};
  auto colour = [&](double sum) {
    if constexpr (std::is_floating_point_v<Cv>) {
      return Cv(sum / sums.alpha);
    } else {
      return Cv(std::min(white, sum / sums.alpha + 0.5));
    }
  };
  return Px{alpha, colour(sums.red), colour(sums.green), colour(sums.blue)};
}

// The straight-alpha area sampler over an accumulator.
template <class Px, class Sums>
Px area_sample(int32_t x, int32_t y, const RX_SampPB* pb) {
  const RX_LayerDef& world = *pb->src;
  const int32_t x_radius = pb->x_radius, y_radius = pb->y_radius;
  // Columns or rows outside the world sample to zero, so narrow runs start
  // clipped; the results are those of the whole run.
  const FixedBox box = clipped_to(box_around(x, y, x_radius, y_radius), world.width, world.height);
  Sums sums;
  // Weights are exact products of 16.16 numbers scaled to pixels, so all
  // four ways agree on units.
  switch (box_shape(x_radius, y_radius)) {
    case BoxShape::Point: {
      const double weight = double(2 * int64_t{x_radius}) * double(2 * int64_t{y_radius}) *
                            (kFixedToReal * kFixedToReal);
      sums.add(weight, clipped_bilinear<Px>(pb, x, y));
      break;
    }
    case BoxShape::Row: {
      const double height = double(2 * int64_t{y_radius}) * kFixedToReal;
      for_each_cell(box.left, box.right, [&](int32_t column, int32_t cover) {
        sums.add(double(cover) * kFixedToReal * height,
                 clipped_bilinear<Px>(pb, column << 16, y));
      });
      break;
    }
    case BoxShape::Column: {
      const double width = double(2 * int64_t{x_radius}) * kFixedToReal;
      for_each_cell(box.top, box.bottom, [&](int32_t row, int32_t cover) {
        sums.add(double(cover) * kFixedToReal * width,
                 clipped_bilinear<Px>(pb, x, row << 16));
      });
      break;
    }
    case BoxShape::Area: {
      if (box.left >= box.right) break;
      const int32_t first = int32_t(box.left >> 16), last = int32_t((box.right - 1) >> 16);
      const double first_cover =
          double(std::min(box.right, int64_t{first + 1} << 16) - box.left) * kFixedToReal;
      const double last_cover = double(box.right - (int64_t{last} << 16)) * kFixedToReal;
      for_each_cell(box.top, box.bottom, [&](int32_t row, int32_t cover) {
        const double row_weight = double(cover) * kFixedToReal;
        const Px* p = row_of<Px>(world, row);
        sums.add(row_weight * first_cover, p[first]);
        if (last == first) return;
        sums.add_run(row_weight, p + first + 1, last - first - 1);
        sums.add(row_weight * last_cover, p[last]);
      });
      break;
    }
  }
  return area_result<Px>(sums.totals(), x_radius, y_radius);
}

// The vector form of slot 5: the same sums in (alpha, red) and (green,
// blue) pairs of doubles; results equal to the plain form's.
RX_Err area_sample8_sse2(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result);

// ---- the summed-area table ----

// A pixel as it enters the table: premultiplied at its own scale, alpha
// first, in channel units; float pixels as they are.
template <class Px>
RX_PixelDouble table_input(const Px& p) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    return {double(p.alpha), double(p.red), double(p.green), double(p.blue)};
  } else {
    // Exact at both ends: alpha 0 gives zeros, alpha white the colours.
    constexpr double white = double(Depth<Px>::white);
    const double a = double(p.alpha);
    return {a, double(p.red) * a / white, double(p.green) * a / white, double(p.blue) * a / white};
  }
}

// One row of the build: current[x + 1] = p + current[x] + above[x + 1] -
// above[x], entries[x] = current[x + 1] × (1 / ((x + 1)(y + 1))). Index 0
// of both double rows is a zero guard.
template <class Px, class Entry>
using TableRowBuilder = void (*)(const Px* src, int32_t width, int32_t y,
                                 const RX_PixelDouble* above, RX_PixelDouble* current,
                                 Entry* entries);

template <class Px, class Entry>
void build_table_row(const Px* src, int32_t width, int32_t y, const RX_PixelDouble* above,
                     RX_PixelDouble* current, Entry* entries) {
  using Real = decltype(Entry{}.alpha);
  const double rows = double(y + 1);
  for (int32_t x = 0; x < width; ++x) {
    const RX_PixelDouble p = table_input(src[x]);
    const RX_PixelDouble& left = current[x];
    const RX_PixelDouble& up = above[x + 1];
    const RX_PixelDouble& up_left = above[x];
    RX_PixelDouble& s = current[x + 1];
    s.alpha = p.alpha + left.alpha + up.alpha - up_left.alpha;
    s.red = p.red + left.red + up.red - up_left.red;
    s.green = p.green + left.green + up.green - up_left.green;
    s.blue = p.blue + left.blue + up.blue - up_left.blue;
    const double scale = 1.0 / (double(x + 1) * rows);
    entries[x] = Entry{Real(s.alpha * scale), Real(s.red * scale), Real(s.green * scale),
                       Real(s.blue * scale)};
  }
}

// The same arithmetic in 128-bit pairs of doubles.
template <class Px, class Entry>
void build_table_row_sse2(const Px* src, int32_t width, int32_t y, const RX_PixelDouble* above,
                          RX_PixelDouble* current, Entry* entries);

extern template void build_table_row_sse2<RX_Pixel8, RX_PixelFloat>(
    const RX_Pixel8*, int32_t, int32_t, const RX_PixelDouble*, RX_PixelDouble*, RX_PixelFloat*);
extern template void build_table_row_sse2<RX_Pixel16, RX_PixelFloat>(
    const RX_Pixel16*, int32_t, int32_t, const RX_PixelDouble*, RX_PixelDouble*, RX_PixelFloat*);
extern template void build_table_row_sse2<RX_PixelFloat, RX_PixelDouble>(
    const RX_PixelFloat*, int32_t, int32_t, const RX_PixelDouble*, RX_PixelDouble*,
    RX_PixelDouble*);

}  // namespace rx
