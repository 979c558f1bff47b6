// The geometry of a map: per axis its size, origins, border rule and active
// region, and the services that turn any integer position into a cell of
// the region by the border rule (none, clamp, mirror with the edge cell
// repeated, wrap).
#pragma once

#include <cstdint>

#include "RX_Config.h"

namespace RX_Engine {

enum FnBorderMode : int32_t {
  kBorderNone = 0,
  kBorderClamp = 1,
  kBorderMirror = 2,
  kBorderWrap = 3,
};

// One axis; nine words, x then y in an indexer.
struct FnTexAxis {
  int32_t size;
  float floatOrigin;
  int32_t intOrigin;
  int32_t borderMode;
  int32_t first;
  int32_t last;
  int32_t count;
  int32_t windowOrigin;
  uint32_t flags;
};
static_assert(sizeof(FnTexAxis) == 36);

inline constexpr int32_t kNoCell = -1;
// The length of a run that never ends (past the region on the right).
inline constexpr int32_t kEndlessRun = 0x3FFFFFFF;

// The cell for position p, or kNoCell where the rule gives none (border
// none outside the region, or an empty region).
int32_t FnAxisWrap(const FnTexAxis& axis, int32_t p);

// The two cells a bilinear sample at floor position p mixes; adjacent when
// they are p and p + 1 in ascending order (the fast path). With border none
// a missing cell is kNoCell; clamp at an edge gives one cell twice.
struct FnAxisPair {
  int32_t lower;
  int32_t upper;
  bool adjacent;
};
FnAxisPair FnAxisBilinearPairAtEdge(const FnTexAxis& axis, int32_t p);
// Inside the region, the common case, without a call.
inline FnAxisPair FnAxisBilinearPair(const FnTexAxis& axis, int32_t p) {
  if (p >= axis.first && p < axis.last) return {p, p + 1, true};
  return FnAxisBilinearPairAtEdge(axis, p);
}

// From position p: the cell, the step to the next position's cell (1, 0 or
// -1) and how many positions keep that rule. With border none left of the
// region the cell is kNoCell and the run reaches the region's edge.
struct FnAxisRun {
  int32_t cell;
  int32_t step;
  int32_t length;
};
FnAxisRun FnAxisRunAt(const FnTexAxis& axis, int32_t p);

class FnTexIndexer {
 public:
  FnTexIndexer();
  virtual ~FnTexIndexer();
  // Sorts each pair, then clips it to the axis.
  virtual void setRegion(int32_t xFirst, int32_t xLast, int32_t yFirst, int32_t yLast);
  virtual void setBorderModes(int32_t x, int32_t y);
  // The float origins follow the integer ones.
  virtual void setIntOrigin(int32_t x, int32_t y);
  // The integer origins become floor(origin + 0.5).
  virtual void setFloatOrigin(float x, float y);

  // Sets the sizes; the region becomes the whole map.
  void setSize(int32_t width, int32_t height);
  void setWindowOrigin(int32_t x, int32_t y) {
    x_.windowOrigin = x;
    y_.windowOrigin = y;
  }
  // Back to a fresh indexer: zeros, last -1.
  void clearGeometry();

  const FnTexAxis& xAxis() const { return x_; }
  const FnTexAxis& yAxis() const { return y_; }
  int32_t width() const { return x_.size; }
  int32_t height() const { return y_.size; }

 protected:
  FnTexAxis x_;
  FnTexAxis y_;
};

}  // namespace RX_Engine

