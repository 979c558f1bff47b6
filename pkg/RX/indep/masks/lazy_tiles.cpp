// Lazy tiles: one bit a tile, and the making of the invalid tiles under a
// request in the largest horizontal runs, one operator call a run. Sums
// with the offset are taken in 16 bits, as the rectangles are.
#include "RX_LazyTiles.h"

#include <algorithm>

#include "masks/uno_access.h"

namespace {

constexpr int16_t kBadParameterLocation = 0x92;

short add16(int a, int b) { return short(a + b); }

// (extent - 1 + size) / size, none for an empty extent.
int16_t tile_count(short extent, int16_t tile_size) {
  if (extent <= 0) return 0;
  return int16_t((extent - 1 + tile_size) / tile_size);
}

}  // namespace

RX_LazyTiles::RX_LazyTiles(short tile_size, boost::scoped_ptr<RX_LazyOperator>* op)
    : tile_size_(tile_size), tiles_x_(0), tiles_y_(0), offset_{0, 0} {
  if (op) op_.swap(*op);
  if (!op_ || tile_size < 1) throw RX_Err{RX_ReportBadParameter(kBadParameterLocation)};
  const GE_Vector2T<short> extent = op_->GetExtent();
  tiles_x_ = tile_count(extent.x, tile_size_);
  tiles_y_ = tile_count(extent.y, tile_size_);
  try {
    valid_.reserve(size_t(tiles_y_));
    for (int16_t row = 0; row < tiles_y_; ++row) valid_.emplace_back(size_t(tiles_x_), false);
  } catch (const std::bad_alloc&) {
    throw RX_Err{RX_Result_OutOfMemory};
  }
}

RX_LazyTiles::~RX_LazyTiles() {
  // The bit rows go first, then the operator.
  TileRows().swap(valid_);
  op_.reset();
}

void RX_LazyTiles::MakeValid(const GE_Rect& rect) {
  const GE_Vector2T<short> extent = op_->GetExtent();
  const int x_lo = std::max<short>(add16(rect.left, offset_.x), 0);
  const int x_hi = std::min<short>(add16(rect.right, offset_.x), extent.x);
  const int y_lo = std::max<short>(add16(rect.top, offset_.y), 0);
  const int y_hi = std::min<short>(add16(rect.bottom, offset_.y), extent.y);
  if (x_hi <= x_lo || y_hi <= y_lo) return;

  const int size = tile_size_;
  // An operator whose extent grew since the tiles were cut has no bits
  // past the last tile; those parts are left alone.
  const int last_row = std::min((y_hi - 1) / size, tiles_y_ - 1);
  const int last_column = std::min((x_hi - 1) / size, tiles_x_ - 1);
  for (int row = y_lo / size; row <= last_row; ++row) {
    TileRow& bits = valid_[size_t(row)];
    int column = x_lo / size;
    while (column <= last_column) {
      if (bits[size_t(column)]) {
        ++column;
        continue;
      }
      const int first = column;
      // Each bit is set as its tile is passed, before the work is done.
      while (column <= last_column && !bits[size_t(column)]) bits[size_t(column++)] = true;
      GE_Rect run;
      run.left = short(std::max(first * size, 0));
      run.top = short(std::max(row * size, 0));
      run.right = short(std::min<int>(column * size, extent.x));
      run.bottom = short(std::min<int>((row + 1) * size, extent.y));
      op_->DoIt(run);
    }
  }
}

void RX_LazyTilesCondition::ConditionalMakeValid(const GE_Rect& rect) {
  if (!condition_) return;
  const GE_Vector2T<short> extent = GetOperator()->GetExtent();
  const GE_Vector2T<short> offset = GetOffset();
  GE_Rect r;
  r.left = add16(std::max<short>(rect.left, 0), -offset.x);
  r.top = add16(std::max<short>(rect.top, 0), -offset.y);
  r.right = add16(std::min<short>(rect.right, extent.x), -offset.x);
  r.bottom = add16(std::min<short>(rect.bottom, extent.y), -offset.y);
  MakeValid(r);
}
