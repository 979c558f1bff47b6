// The level choice of filtered fetches, and the stacks the engine uses.
#include "frameblend/maps/map_stack.h"

namespace RX_Engine {

FnLevelChoice FnChooseLevel(float scaleX, float scaleY, float baseFactor, float limit,
                            float invLogLimit, int32_t levels) {
  const float x = std::max(scaleX, scaleY) * baseFactor;
  if (x <= 1.0f || levels <= 1) return {0, 0, 0.0f};
  if (x >= limit) return {levels - 1, levels - 1, 0.0f};
  const float l = std::log(x) * invLogLimit * float(levels - 1);
  const int32_t lower = int32_t(l);
  const int32_t upper = std::min(lower + 1, levels - 1);
  return {lower, upper, l - float(lower)};
}

template class FnMapStack<float, float>;
template class FnMapStack<FnPixel8, FnPixelFloat>;
template class FnMapStack<FnPixel16, FnPixelFloat>;
template class FnMapStack<FnPixelFloat, FnPixelFloat>;

}  // namespace RX_Engine
