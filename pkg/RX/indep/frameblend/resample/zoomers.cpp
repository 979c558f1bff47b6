// The zoomers over the maps the engine zooms.
#include "frameblend/resample/zoomers.h"

namespace RX_Engine {

template class ImageZoomerBase<float, float>;
template class ImageZoomerBase<int, int>;
template class ImageZoomerBase<HvVec2, HvVec2>;
template class ImageZoomerBase<FnPixel8, FnPixelFloat>;
template class ImageZoomerBase<FnPixel16, FnPixelFloat>;
template class ImageZoomerBase<FnPixelFloat, FnPixelFloat>;
template class ImageZoomerGP<HvVec2, HvVec2>;
template class FnImageZoomSampler<float, float>;

}  // namespace RX_Engine
