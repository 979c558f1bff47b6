// The maps the engine uses, instantiated once.
#include "frameblend/maps/texture.h"

namespace RX_Engine {

template class FnTexture<HvVec2, HvVec2>;
template class FnTexture<int, int>;
template class FnTexture<float, float>;
template class FnTexture<FnPixel8, FnPixelFloat>;
template class FnTexture<FnPixel16, FnPixelFloat>;
template class FnTexture<FnPixelFloat, FnPixelFloat>;
template class FnTexture<FnAccumCell, FnAccumCell>;
template class FnTexture<FnRGBFloat, FnRGBFloat>;

}  // namespace RX_Engine
