// The move samplers over the pixel types the engine uses.
#include "frameblend/framework/move_samplers.h"

namespace RX_Engine {

template class FnDualMoveSampler<FnPixel8, FnPixelFloat, 255>;
template class FnDualMoveSampler<FnPixel16, FnPixelFloat, 32768>;
template class FnDualMoveSampler<FnPixelFloat, FnPixelFloat, 1>;
template class FnDualMoveSampler<float, float, 1>;
template class FnDualMoveSampler<HvVec2, HvVec2, 1>;
template class FnMoveSampler<FnPixel8, FnPixelFloat, 255>;
template class FnMoveSampler<FnPixel16, FnPixelFloat, 32768>;
template class FnMoveSampler<FnPixelFloat, FnPixelFloat, 1>;
template class FnMoveSampler<float, float, 1>;
template class FnMoveSampler<HvVec2, HvVec2, 1>;

}  // namespace RX_Engine
