// The small operators over the pixel types the engine uses.
#include "frameblend/framework/operators.h"

namespace RX_Engine {

template class SimpleCopySampler<FnPixel8>;
template class SimpleCopySampler<FnPixel16>;
template class SimpleCopySampler<FnPixelFloat>;
template class SimpleCopySampler<float>;
template class SimpleCopySampler<HvVec2>;
template class SimpleCopySampler<int>;
template class ColouredFrameGenerator<int, int, 1>;
template class ColouredFrameGenerator<float, float, 1>;
template class ColouredFrameGenerator<HvVec2, HvVec2, 123>;
template class AlphaMatter<FnPixel8, FnPixelFloat, 255>;
template class AlphaMatter<FnPixel16, FnPixelFloat, 32768>;
template class AlphaMatter<FnPixelFloat, FnPixelFloat, 1>;
template class FnIntAccumulator<FnPixel8, FnPixelFloat, 255>;
template class FnIntAccumulator<FnPixel16, FnPixelFloat, 32768>;
template class FnIntAccumulator<FnPixelFloat, FnPixelFloat, 1>;
template class FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255>;
template class FnFloatDeaccumulator<FnPixel16, FnPixelFloat, 32768>;
template class FnFloatDeaccumulator<FnPixelFloat, FnPixelFloat, 1>;
template class FnMeanCalculator<float, float, float, 1>;

}  // namespace RX_Engine
