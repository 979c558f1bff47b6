// The rectangle rules shared by the iterate family, and the per-row
// progress call of the effect context.
#pragma once

#include <algorithm>
#include <cstdint>

#include "RX_Iterate.h"

namespace rx {

// The rows and columns to visit. Coordinates reach the pixel function as
// their low 16 bits, and the row width is taken as an unsigned 16-bit value;
// worlds are at most 30000 pixels a side, so neither truncation is ever seen.
struct IterateSpan {
  int32_t left, top, right, bottom;

  int32_t width() const { return right > left ? static_cast<uint16_t>(right - left) : 0; }
};

// Clamps to the destination; nullopt-like false when the area misses it.
// With clip_to_source the area also misses when it starts past the source,
// and the span is cut to the source's size.
inline bool clip_area_to_destination(const GE_LRect* area, const RX_LayerDef& dst,
                                     const RX_LayerDef* src, IterateSpan& span) {
  if (!area) {
    span = {0, 0, dst.width, dst.height};
  } else {
    span = {area->left, area->top, area->right, area->bottom};
    if (span.right < 1 || span.left > dst.width || span.bottom < 1 || span.top > dst.height) {
      return false;
    }
    if (src && (span.left > src->width || span.top > src->height)) return false;
    // Negative left and top are clamped, not shifted.
    span.left = std::max(span.left, 0);
    span.top = std::max(span.top, 0);
    span.right = std::min(span.right, dst.width);
    span.bottom = std::min(span.bottom, dst.height);
  }
  if (src) {
    span.right = std::min(span.right, src->width);
    span.bottom = std::min(span.bottom, src->height);
  }
  return true;
}

// Progress after each row: progress(token, base + 1 - top + y, final) when
// final is non-zero. A null context or progress function means no progress
// (the call would have nowhere to go).
struct RowProgress {
  RX_EffectContext* context;
  int32_t base;
  int32_t final_value;
  int32_t top;

  bool wanted() const { return final_value != 0 && context && context->progress; }
  RX_Err after_row(int32_t y) const {
    return context->progress(context->effect_token, base + 1 - top + y, final_value);
  }
};

inline int32_t low16(int32_t v) { return static_cast<uint16_t>(v); }

template <class Px>
Px* row_at(const RX_LayerDef& world, int32_t y, int32_t x) {
  return reinterpret_cast<Px*>(static_cast<char*>(world.data) + intptr_t{y} * world.row_stride) + x;
}

}  // namespace rx
