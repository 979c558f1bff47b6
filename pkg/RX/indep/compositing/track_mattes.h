// Track matte lines: the mask line of one destination line of a transfer,
// at each depth, for the four kinds. Kind 0 is read in place; the others
// are computed into a row, with the outside of the matte full for the
// inverted kinds and 0 for the others.
#pragma once

#include <algorithm>

#include "RX_TransferRect.h"
#include "compositing/transfer_arith.h"

namespace rx::matte_lines {

template <class Px>
typename xfer::Arith<Px>::Cv outside_value(int32_t kind) {
  return (kind & 1) ? typename xfer::Arith<Px>::Cv(xfer::Arith<Px>::white) : 0;
}

// The matte value of one matte pixel by kind.
template <class Px>
typename xfer::Arith<Px>::Cv matte_value(const Px& p, int32_t kind) {
  using A = xfer::Arith<Px>;
  typename A::V v = p.alpha;
  if (kind >= RX_Mask_Luma) v = A::mul(v, A::luminance(p.red, p.green, p.blue));
  if (kind & 1) v = A::inv(v);
  return typename A::Cv(v);
}

// count alphas of out: lead outside values, then the matte from column
// first_column on, then outside values past the matte's width.
template <class Px>
void build_row(int32_t count, const Px* matte_row, int32_t lead, int32_t first_column, int32_t matte_width,
               int32_t kind, Px* out) {
  const auto outside = outside_value<Px>(kind);
  int32_t i = 0;
  for (; i < count && i < lead; ++i) out[i].alpha = outside;
  for (int32_t column = first_column; i < count && column < matte_width; ++i, ++column) {
    out[i].alpha = matte_value(matte_row[column], kind);
  }
  for (; i < count; ++i) out[i].alpha = outside;
}

// The mask line for the destination pixels (x .. x + width, y): kind 0
// points into the matte; other kinds fill row.
template <class Px>
const Px* mask_line(const RX_MaskWorld& mask, int32_t x, int32_t y, int32_t width, Px* row) {
  // In 64 bits: a matte placed far off must not wrap into range.
  const int64_t mx = int64_t{x} - mask.x_offset, my = int64_t{y} - mask.y_offset;
  const auto* pixels = static_cast<const char*>(mask.world.data);
  auto matte_row = [&](int32_t row_y) {
    return reinterpret_cast<const Px*>(pixels + intptr_t{row_y} * mask.world.row_stride);
  };
  if (mask.kind == RX_Mask_Alpha) return matte_row(int32_t(my)) + mx;
  if (my < 0 || my >= mask.world.height) {
    // Only the inverted kinds reach here: the transfer clips to the others.
    for (int32_t i = 0; i < width; ++i) row[i].alpha = outside_value<Px>(mask.kind | 1);
    return row;
  }
  const int32_t lead = int32_t(std::clamp<int64_t>(-mx, 0, width));
  const int32_t first = int32_t(std::clamp<int64_t>(mx, 0, mask.world.width));
  build_row(width, matte_row(int32_t(my)), lead, first, mask.world.width, mask.kind, row);
  return row;
}

}  // namespace rx::matte_lines
