// FnTexture: a typed, strided map over the geometry of FnTexIndexer, with a
// background pixel for cells outside the region under border none. Pixels
// are the engine's own (allocated through the handler lock, not cleared) or
// a world's, wrapped without copying. Bilinear sampling converts to the
// Interp type and mixes rows first, the lower row first, as (b - a) t + a.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "RX_Config.h"
#include "frameblend/maps/colour_types.h"
#include "frameblend/maps/tex_indexer.h"
#include "frameblend/parallel/vesper_memory.h"

namespace RX_Engine {

// Floor positions beyond this are as far outside as any map can reach.
inline constexpr float kFarPosition = 1073741824.0f;

inline int32_t fn_floor_index(float f) {
  return int32_t(std::clamp(f, -kFarPosition, kFarPosition));
}

template <class Px, class Interp = FnInterpOf<Px>>
class FnTexture : public FnTexIndexer {
 public:
  using Pixel = Px;
  using InterpType = Interp;
  using Traits = FnPixelTraits<Px>;

  FnTexture() = default;
  // Allocates width x height cells, not cleared; see allocationFailed().
  FnTexture(int32_t width, int32_t height) { allocate(width, height); }
  // Over pixels the caller owns, rows rowBytes apart.
  FnTexture(int32_t width, int32_t height, Px* pixels, int32_t rowBytes) {
    wrap(width, height, pixels, rowBytes);
  }
  ~FnTexture() override {
    release();
    clearGeometry();
  }
  FnTexture(const FnTexture&) = delete;
  FnTexture& operator=(const FnTexture&) = delete;

  // Releases its own pixels and aliases the other's: geometry, background
  // and row bytes are copied, the pixels stay the other's.
  virtual void assign(const FnTexture& other) {
    if (&other == this) return;
    release();
    pixels_ = other.pixels_;
    ownsPixels_ = 0;
    x_ = other.x_;
    y_ = other.y_;
    background_ = other.background_;
    rowBytes_ = other.rowBytes_;
  }
  virtual void setBackground(const Px& value) { background_ = value; }
  // The sample at the rectangle's centre; its size has no effect.
  virtual Interp sampleRect(float x0, float y0, float x1, float y1) const {
    return sample((x0 + x1) / 2.0f, (y0 + y1) / 2.0f);
  }
  virtual Interp sampleAround(float x, float y, float rx, float ry) const {
    return sampleRect(x - rx, y - ry, x + rx, y + ry);
  }

  // Releases its own pixels and allocates width x height, not cleared.
  // False on failure (pixels null, allocationFailed set); a zero size gives
  // null pixels without failure.
  bool allocate(int32_t width, int32_t height) {
    release();
    setSize(width, height);
    rowBytes_ = int32_t(x_.size * int32_t(sizeof(Px)));
    allocationFailed_ = 0;
    if (x_.size == 0 || y_.size == 0) return true;
    pixels_ = static_cast<Px*>(RX_VesperAlloc(size_t(x_.size) * size_t(y_.size) * sizeof(Px)));
    if (!pixels_) {
      allocationFailed_ = 1;
      return false;
    }
    ownsPixels_ = 1;
    return true;
  }
  // Over pixels owned elsewhere; the region becomes the whole map.
  void wrap(int32_t width, int32_t height, Px* pixels, int32_t rowBytes) {
    release();
    setSize(width, height);
    pixels_ = pixels;
    ownsPixels_ = 0;
    allocationFailed_ = 0;
    rowBytes_ = rowBytes;
  }
  // Allocates a map of the other's size and takes its geometry (origins,
  // border modes, region) and background.
  bool allocateLike(const FnTexIndexer& other) {
    if (!allocate(other.width(), other.height())) return false;
    x_ = other.xAxis();
    y_ = other.yAxis();
    return true;
  }
  // Frees own pixels and helper arrays; the pixel pointer becomes null.
  void release() {
    if (ownsPixels_ && pixels_) RX_VesperFree(pixels_);
    if (helperCount_ > 0) {
      std::free(scratch_[0]);
      std::free(scratch_[1]);
    }
    scratch_[0] = scratch_[1] = nullptr;
    helperCount_ = 0;
    pixels_ = nullptr;
    ownsPixels_ = 0;
  }
  // Copies the other's axis blocks (sizes, origins, borders, regions).
  void copyGeometry(const FnTexIndexer& other) {
    x_ = other.xAxis();
    y_ = other.yAxis();
  }

  Px* pixels() const { return pixels_; }
  bool ownsPixels() const { return ownsPixels_ != 0; }
  bool allocationFailed() const { return allocationFailed_ != 0; }
  int32_t rowBytes() const { return rowBytes_; }
  const Px& background() const { return background_; }
  // A map that can be processed: cells on both axes and pixels.
  bool usable() const { return pixels_ && x_.size > 0 && y_.size > 0; }

  Px* row(int32_t y) const {
    return reinterpret_cast<Px*>(reinterpret_cast<char*>(pixels_) + ptrdiff_t(y) * rowBytes_);
  }
  Px& cell(int32_t x, int32_t y) const { return row(y)[x]; }
  // The cell for any position through the border rules, or null.
  Px* map(int32_t x, int32_t y) const {
    if (!pixels_) return nullptr;
    const int32_t cx = FnAxisWrap(x_, x);
    const int32_t cy = FnAxisWrap(y_, y);
    if (cx == kNoCell || cy == kNoCell) return nullptr;
    return &cell(cx, cy);
  }
  Px mapOrBackground(int32_t x, int32_t y) const {
    const Px* p = map(x, y);
    return p ? *p : background_;
  }

  // Bilinear at continuous coordinates of the map's own frame (cell i
  // spans i..i+1 after the float origin).
  Interp sample(float x, float y) const {
    const float fx = x - 0.5f - x_.floatOrigin;
    const float fy = y - 0.5f - y_.floatOrigin;
    const float floor_x = std::floor(fx);
    const float floor_y = std::floor(fy);
    const float tx = fx - floor_x;
    const float ty = fy - floor_y;
    const int32_t ix = fn_floor_index(floor_x);
    const int32_t iy = fn_floor_index(floor_y);
    Interp c00, c10, c01, c11;
    if (ix >= x_.first && ix < x_.last && iy >= y_.first && iy < y_.last && pixels_) {
      // Both pairs adjacent: the four cells directly.
      const Px* upper_row = row(iy) + ix;
      const Px* lower_row = row(iy + 1) + ix;
      c00 = Traits::toInterp(upper_row[0]);
      c10 = Traits::toInterp(upper_row[1]);
      c01 = Traits::toInterp(lower_row[0]);
      c11 = Traits::toInterp(lower_row[1]);
    } else {
      const FnAxisPair px = FnAxisBilinearPair(x_, ix);
      const FnAxisPair py = FnAxisBilinearPair(y_, iy);
      c00 = Traits::toInterp(pairCell(px.lower, py.lower));
      c10 = Traits::toInterp(pairCell(px.upper, py.lower));
      c01 = Traits::toInterp(pairCell(px.lower, py.upper));
      c11 = Traits::toInterp(pairCell(px.upper, py.upper));
    }
    const Interp top = Traits::lerp(c00, c10, tx);
    const Interp bottom = Traits::lerp(c01, c11, tx);
    return Traits::lerp(top, bottom, ty);
  }

  // For luminance: 0 when the floor position is below -1 or not below the
  // size on either axis; the four cells directly inside; cell by cell
  // through the border rules at the edge.
  float sampleUnbounded(float x, float y) const
    requires std::is_same_v<Px, float>
  {
    const float fx = x - 0.5f - x_.floatOrigin;
    const float fy = y - 0.5f - y_.floatOrigin;
    const float floor_x = std::floor(fx);
    const float floor_y = std::floor(fy);
    if (floor_x < -1.0f || floor_y < -1.0f || floor_x >= float(x_.size) ||
        floor_y >= float(y_.size)) {
      return 0.0f;
    }
    const int32_t ix = int32_t(floor_x);
    const int32_t iy = int32_t(floor_y);
    const float tx = fx - floor_x;
    const float ty = fy - floor_y;
    float c00, c10, c01, c11;
    if (ix >= 0 && iy >= 0 && ix + 1 < x_.size && iy + 1 < y_.size) {
      c00 = cell(ix, iy);
      c10 = cell(ix + 1, iy);
      c01 = cell(ix, iy + 1);
      c11 = cell(ix + 1, iy + 1);
    } else {
      c00 = mapOrBackground(ix, iy);
      c10 = mapOrBackground(ix + 1, iy);
      c01 = mapOrBackground(ix, iy + 1);
      c11 = mapOrBackground(ix + 1, iy + 1);
    }
    const float top = (c10 - c00) * tx + c00;
    const float bottom = (c11 - c01) * tx + c01;
    return (bottom - top) * ty + top;
  }

 private:
  Px pairCell(int32_t cx, int32_t cy) const {
    if (cx == kNoCell || cy == kNoCell || !pixels_) return background_;
    return cell(cx, cy);
  }

  int32_t ownsPixels_ = 0;
  Px* pixels_ = nullptr;
  int32_t allocationFailed_ = 0;
  Px background_{};
  void* scratch_[2] = {nullptr, nullptr};
  int32_t helperCount_ = 0;
  int32_t rowBytes_ = 0;
};

// The maps of the engine.
using FnVectorMap = FnTexture<HvVec2, HvVec2>;
using FnIntMap = FnTexture<int, int>;
using FnFloatMap = FnTexture<float, float>;
using FnTexture8 = FnTexture<FnPixel8, FnPixelFloat>;
using FnTexture16 = FnTexture<FnPixel16, FnPixelFloat>;
using FnTextureFloat = FnTexture<FnPixelFloat, FnPixelFloat>;
using FnAccumMap = FnTexture<FnAccumCell, FnAccumCell>;
using FnRGBMap = FnTexture<FnRGBFloat, FnRGBFloat>;

extern template class FnTexture<HvVec2, HvVec2>;
extern template class FnTexture<int, int>;
extern template class FnTexture<float, float>;
extern template class FnTexture<FnPixel8, FnPixelFloat>;
extern template class FnTexture<FnPixel16, FnPixelFloat>;
extern template class FnTexture<FnPixelFloat, FnPixelFloat>;
extern template class FnTexture<FnAccumCell, FnAccumCell>;
extern template class FnTexture<FnRGBFloat, FnRGBFloat>;

}  // namespace RX_Engine

