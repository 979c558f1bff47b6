// What the two-buffer operations share: the clipping of the source rect
// against both buffers, the clearing that modes 3 and 5 make around the
// area, and typed access to the mask slots of the override table.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "RX_Frame.h"
#include "masks/uno_access.h"

namespace rx::uno {

// The clipped area: a rect of src and the point of dst where its corner
// lands.
struct Area {
  GE_LRect src;
  GE_LPoint dst;
  int32_t width() const { return src.right - src.left; }
  int32_t height() const { return src.bottom - src.top; }
};

// With (dx, dy) = dst_point - the rect's corner: rect := rect, cut to src
// and to dst moved back by (dx, dy); the dst point follows the corner.
// In 64 bits, so that far-off points do not wrap. False when empty.
inline bool clip_area(const RX_UnoBuffer& src, const RX_UnoBuffer& dst, const GE_LRect& rect,
                      const GE_LPoint* dst_point, Area* out) {
  const int64_t dx = dst_point ? int64_t(dst_point->x) - rect.left : 0;
  const int64_t dy = dst_point ? int64_t(dst_point->y) - rect.top : 0;
  const int64_t left = std::max<int64_t>({rect.left, 0, -dx});
  const int64_t top = std::max<int64_t>({rect.top, 0, -dy});
  const int64_t right = std::min<int64_t>({rect.right, src.width, dst.width - dx});
  const int64_t bottom = std::min<int64_t>({rect.bottom, src.height, dst.height - dy});
  if (right <= left || bottom <= top) return false;
  out->src = {int32_t(left), int32_t(top), int32_t(right), int32_t(bottom)};
  out->dst = {int32_t(left + dx), int32_t(top + dy)};
  return true;
}

// Modes 3 (Multiply) and 5 (Darker) clear what lies outside the area.
constexpr bool clears_outside(int32_t mode) {
  return mode == RX_UnoMode_Multiply || mode == RX_UnoMode_Darker;
}

// Values left .. right - 1 of row y set to zero, at the buffer's depth.
inline void clear_values(const RX_UnoBuffer& buffer, int32_t y, int32_t left, int32_t right) {
  if (right <= left) return;
  const int32_t bytes_a_value = bytes_per_value(buffer.depth);
  std::memset(data(buffer) + (y * row_stride(buffer) + left * bytes_a_value), 0,
              size_t(right - left) * size_t(bytes_a_value));
}

inline void clear_rows(const RX_UnoBuffer& buffer, int32_t top, int32_t bottom) {
  for (int32_t y = top; y < bottom; ++y) clear_values(buffer, y, 0, buffer.width);
}

template <class F>
F mask_slot(RX_Slot slot) {
  return reinterpret_cast<F>(RXp_G_OverFuncs[slot]);
}

}  // namespace rx::uno
