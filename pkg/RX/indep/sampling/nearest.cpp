// Nearest-neighbour sampling: the pixel whose centre is nearest, by an
// arithmetic shift of the position plus half a pixel; outside, transparent
// black.
#include "sampling/bilinear_kernel.h"

namespace {

template <class Px>
RX_Err nearest(int32_t x, int32_t y, const RX_SampPB* pb, Px* result) {
  const RX_LayerDef& world = *pb->src;
  const int32_t i = (x + 0x8000) >> 16, j = (y + 0x8000) >> 16;
  *result = rx::inside<Px>(world, i, j) ? *rx::pixel_at<Px>(world, i, j) : Px{};
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_NNSample(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  return nearest(x, y, pb, result);
}
RX_Err RX_NNSample16(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* result) {
  return nearest(x, y, pb, result);
}
RX_Err RX_NNSampleFloat(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_PixelFloat* result) {
  return nearest(x, y, pb, result);
}
