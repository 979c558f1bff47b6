// The colour argument of the drawing operations, four floats in 0..1, in
// the pixel of a depth: trunc(c * white + 0.5) at 8 and 16 bits.
#pragma once

#include <type_traits>

#include "RX_Pixels.h"
#include "worlds/depth_traits.h"
#include "worlds/value_conversions.h"

namespace rx {

// Out-of-range channels are limited to the depth rather than wrapped.
template <class Px>
Px draw_colour(const RX_PixelFloat& c) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    return c;
  } else {
    using Cv = typename Depth<Px>::Cv;
    constexpr int32_t white = Depth<Px>::white;
    auto scale = [](float v) {
      if (!(v > 0.0f)) return Cv(0);  // NaN too
      if (v >= 1.0f) return Cv(white);
      return Cv(truncate_to_int(v * float(white) + 0.5f));
    };
    return Px{scale(c.alpha), scale(c.red), scale(c.green), scale(c.blue)};
  }
}

}  // namespace rx
