// Border rules per axis. Every service is a pure function of the axis.
#include "frameblend/maps/tex_indexer.h"

#include <algorithm>
#include <cmath>

namespace RX_Engine {
namespace {

constexpr FnTexAxis kFreshAxis = {0, 0.0f, 0, kBorderNone, 0, -1, 0, 0, 0u};

void set_axis_region(FnTexAxis& axis, int32_t a, int32_t b) {
  const int32_t lo = std::min(a, b);
  const int32_t hi = std::max(a, b);
  if (axis.size <= 0) {
    axis.first = 0;
    axis.last = -1;
  } else {
    axis.first = std::clamp(lo, 0, axis.size - 1);
    axis.last = std::clamp(hi, 0, axis.size - 1);
  }
  axis.count = axis.last - axis.first + 1;
}

// Both branches divide non-negative distances, so / and % need no care
// for signs. The edge cell is repeated at each reflection.
int32_t mirror(const FnTexAxis& axis, int64_t d) {
  const int64_t c = axis.count;
  if (d < 0) {
    const int64_t e = -d - 1;
    const int64_t q = e / c, r = e % c;
    return int32_t(q % 2 == 0 ? axis.first + r : axis.first + c - 1 - r);
  }
  const int64_t q = d / c, r = d % c;
  return int32_t(q % 2 == 0 ? axis.first + r : axis.first + c - 1 - r);
}

}  // namespace

int32_t FnAxisWrap(const FnTexAxis& axis, int32_t p) {
  const int64_t c = axis.count;
  if (c <= 0) return kNoCell;
  const int64_t d = int64_t(p) - axis.first;
  switch (axis.borderMode) {
    case kBorderClamp:
      return int32_t(d < 0 ? axis.first : d >= c ? axis.last : p);
    case kBorderMirror:
      return mirror(axis, d);
    case kBorderWrap:
      return int32_t(axis.first + ((d % c) + c) % c);
    default:
      return d < 0 || d >= c ? kNoCell : p;
  }
}

FnAxisPair FnAxisBilinearPairAtEdge(const FnTexAxis& axis, int32_t p) {
  const int32_t lower = FnAxisWrap(axis, p);
  const int32_t upper = p == INT32_MAX ? lower : FnAxisWrap(axis, p + 1);
  return {lower, upper, lower != kNoCell && upper == lower + 1};
}

FnAxisRun FnAxisRunAt(const FnTexAxis& axis, int32_t p) {
  const int64_t c = axis.count;
  if (c <= 0) return {kNoCell, 0, kEndlessRun};
  const int64_t d = int64_t(p) - axis.first;
  const auto capped = [](int64_t n) { return int32_t(std::min<int64_t>(n, kEndlessRun)); };
  // Inside the region every rule gives the cell itself.
  if (d >= 0 && d < c) return {p, 1, capped(c - d)};
  switch (axis.borderMode) {
    case kBorderClamp:
      return d < 0 ? FnAxisRun{axis.first, 0, capped(-d)} : FnAxisRun{axis.last, 0, kEndlessRun};
    case kBorderMirror: {
      if (d >= 0) {
        const int64_t q = d / c, r = d % c;
        return q % 2 == 0 ? FnAxisRun{int32_t(axis.first + r), 1, capped(c - r)}
                          : FnAxisRun{int32_t(axis.first + c - 1 - r), -1, capped(c - r)};
      }
      // Going right, e = -d - 1 falls: within one reflection the cell
      // moves down for even q and up for odd q, until e reaches 0.
      const int64_t e = -d - 1;
      const int64_t q = e / c, r = e % c;
      return q % 2 == 0 ? FnAxisRun{int32_t(axis.first + r), -1, capped(r + 1)}
                        : FnAxisRun{int32_t(axis.first + c - 1 - r), 1, capped(r + 1)};
    }
    case kBorderWrap: {
      const int64_t m = ((d % c) + c) % c;
      return {int32_t(axis.first + m), 1, capped(c - m)};
    }
    default:
      return d < 0 ? FnAxisRun{kNoCell, 0, capped(-d)} : FnAxisRun{kNoCell, 0, kEndlessRun};
  }
}

FnTexIndexer::FnTexIndexer() : x_(kFreshAxis), y_(kFreshAxis) {}
FnTexIndexer::~FnTexIndexer() = default;

void FnTexIndexer::setRegion(int32_t xFirst, int32_t xLast, int32_t yFirst, int32_t yLast) {
  set_axis_region(x_, xFirst, xLast);
  set_axis_region(y_, yFirst, yLast);
}

void FnTexIndexer::setBorderModes(int32_t x, int32_t y) {
  x_.borderMode = x;
  y_.borderMode = y;
}

void FnTexIndexer::setIntOrigin(int32_t x, int32_t y) {
  x_.intOrigin = x;
  y_.intOrigin = y;
  x_.floatOrigin = float(x);
  y_.floatOrigin = float(y);
}

void FnTexIndexer::setFloatOrigin(float x, float y) {
  x_.floatOrigin = x;
  y_.floatOrigin = y;
  x_.intOrigin = int32_t(std::floor(x + 0.5f));
  y_.intOrigin = int32_t(std::floor(y + 0.5f));
}

void FnTexIndexer::setSize(int32_t width, int32_t height) {
  x_.size = std::max(0, width);
  y_.size = std::max(0, height);
  set_axis_region(x_, 0, x_.size - 1);
  set_axis_region(y_, 0, y_.size - 1);
}

void FnTexIndexer::clearGeometry() {
  x_ = kFreshAxis;
  y_ = kFreshAxis;
}

}  // namespace RX_Engine
