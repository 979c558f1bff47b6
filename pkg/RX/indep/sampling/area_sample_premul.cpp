// Area sampling of 8-bit premultiplied worlds, in integers: no alpha
// weighting; every channel sums pixel weight × channel in 8.8 fixed point
// and is divided by the block's area with rounding, limited to 255. Narrow
// axes take the bilinear samples of slot 4.
#include "sampling/area_sample.h"

namespace {

// Weight of a pixel from two 16.16 lengths: their product in 16.16,
// truncated, then moved up 8 bits, so that channel × weight × 2^-16 is
// weight × channel in 8.8.
uint32_t premul_weight(int64_t width, int64_t height) {
  return uint32_t((width * height) >> 16) << 8;
}

struct IntegerSums {
  uint32_t alpha = 0, red = 0, green = 0, blue = 0;

  void add(uint32_t weight, const RX_Pixel8& p) {
    alpha += (p.alpha * weight) >> 16;
    red += (p.red * weight) >> 16;
    green += (p.green * weight) >> 16;
    blue += (p.blue * weight) >> 16;
  }
};

}  // namespace

RX_Err RX_AreaSample_Premul(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  using namespace rx;
  const RX_LayerDef& world = *pb->src;
  const int32_t x_radius = pb->x_radius, y_radius = pb->y_radius;
  const auto bilinear =
      reinterpret_cast<RX_SampleFunc8>(RXp_G_OverFuncs[RX_Slot_SubpixelSamplePremul8]);
  auto sample = [&](int32_t sx, int32_t sy) {
    RX_Pixel8 p;
    bilinear(nullptr, sx, sy, pb, &p);
    return p;
  };
  const FixedBox box = clipped_to(box_around(x, y, x_radius, y_radius), world.width, world.height);
  IntegerSums sums;
  switch (box_shape(x_radius, y_radius)) {
    case BoxShape::Point:
      sums.add(premul_weight(2 * int64_t{x_radius}, 2 * int64_t{y_radius}), sample(x, y));
      break;
    case BoxShape::Row:
      for_each_cell(box.left, box.right, [&](int32_t column, int32_t cover) {
        sums.add(premul_weight(cover, 2 * int64_t{y_radius}), sample(column << 16, y));
      });
      break;
    case BoxShape::Column:
      for_each_cell(box.top, box.bottom, [&](int32_t row, int32_t cover) {
        sums.add(premul_weight(2 * int64_t{x_radius}, cover), sample(x, row << 16));
      });
      break;
    case BoxShape::Area: {
      if (box.left >= box.right) break;
      const int32_t first = int32_t(box.left >> 16), last = int32_t((box.right - 1) >> 16);
      const int64_t first_cover = std::min(box.right, int64_t{first + 1} << 16) - box.left;
      const int64_t last_cover = box.right - (int64_t{last} << 16);
      for_each_cell(box.top, box.bottom, [&](int32_t row, int32_t row_cover) {
        const RX_Pixel8* p = row_of<RX_Pixel8>(world, row);
        sums.add(premul_weight(first_cover, row_cover), p[first]);
        if (last == first) return;
        const uint32_t whole = premul_weight(kFixedOne, row_cover);
        for (int32_t column = first + 1; column < last; ++column) sums.add(whole, p[column]);
        sums.add(premul_weight(last_cover, row_cover), p[last]);
      });
      break;
    }
  }
  // The area in 8.8, rounded; a box of no area has nothing to average.
  const uint32_t divisor = (pb->area >> 8) + ((pb->area & 0x80) ? 1 : 0);
  if (divisor == 0) {
    *result = RX_Pixel8{};
    return RX_Result_OK;
  }
  const uint32_t half = divisor >> 1;
  auto mean = [&](uint32_t sum) {
    return uint8_t(std::min<uint32_t>((sum + half) / divisor, 255));
  };
  const uint8_t alpha = mean(sums.alpha);
  *result = alpha == 0 ? RX_Pixel8{}
                       : RX_Pixel8{alpha, mean(sums.red), mean(sums.green), mean(sums.blue)};
  return RX_Result_OK;
}
