// Rectangles of the copies: normalised the same way for source and
// destination in every quality.
#pragma once

#include "RX_Pixels.h"

namespace rx {

struct CopyRect {
  int32_t left, top, right, bottom;
  bool whole;  // null, or exactly the world
  int32_t width() const { return right - left; }
  int32_t height() const { return bottom - top; }
  bool operator==(const CopyRect& o) const {
    return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
  }
};

// False when a rectangle that is not the whole world misses it: nothing is
// to be copied, and that is no error.
inline bool normalise(const GE_LRect* rect, const RX_LayerDef& world, CopyRect& out) {
  if (!rect) {
    out = {0, 0, world.width, world.height, true};
    return true;
  }
  out = {rect->left, rect->top, rect->right, rect->bottom, false};
  out.whole = out.left == 0 && out.top == 0 && out.right == world.width && out.bottom == world.height;
  if (out.whole) return true;
  return !(out.left == out.right || out.top == out.bottom || out.left >= world.width ||
           out.top >= world.height || out.right < 1 || out.bottom < 1);
}

}  // namespace rx

namespace rx {

// Scaling by replication, as a line drawer does: for each source row the
// error grows by the destination height and a destination row is emitted
// each time it passes the source height; along a row likewise with the
// widths. All in 16-bit arithmetic, and the first pixel is not centred.
// row(src_y, dst_y) starts each emitted row; run(src_x, dst_x, count) puts
// count copies of source column src_x from dst_x on.
template <class Row, class Run>
void replicate(const CopyRect& s, const CopyRect& d, Row&& row, Run&& run) {
  const int16_t sw = int16_t(s.width()), sh = int16_t(s.height());
  const int16_t dw = int16_t(d.width()), dh = int16_t(d.height());
  if (sw < 1 || sh < 1 || dw < 1 || dh < 1) return;
  int16_t row_error = 0;
  int32_t dst_y = d.top;
  for (int32_t src_y = s.top; src_y < s.bottom; ++src_y) {
    row_error = int16_t(row_error + dh);
    for (int16_t rows = int16_t(row_error / sh); rows > 0; --rows, ++dst_y) {
      row_error = int16_t(row_error - sh);
      row(src_y, dst_y);
      int16_t column_error = 0;
      int32_t dst_x = d.left;
      for (int32_t src_x = s.left; src_x < s.right; ++src_x) {
        column_error = int16_t(column_error + dw);
        const int16_t times = int16_t(column_error / sw);
        if (times > 0) {
          column_error = int16_t(column_error - times * sw);
          run(src_x, dst_x, times);
          dst_x += times;
        }
      }
    }
  }
}

}  // namespace rx
