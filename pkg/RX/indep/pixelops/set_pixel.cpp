// The single-pixel setters: one store at (x, y) when it lies in the world.
// No depth check: the caller picks the setter of the world's depth.
#include "RX_Fill.h"
#include "pixelops/fill_colours.h"

namespace rx {
namespace {

template <class Px>
int32_t set_pixel(int32_t x, int32_t y, const Px* pixel, RX_LayerDef* world) {
  if (!pixel || !world || !world->data) return 0;
  if (x < 0 || x >= world->width || y < 0 || y >= world->height) return 0;
  pixel_row<Px>(*world, y)[x] = *pixel;
  return 1;
}

}  // namespace
}  // namespace rx

int32_t RX_SetPixel8(int32_t x, int32_t y, const RX_Pixel8* pixel, RX_LayerDef* world) {
  return rx::set_pixel(x, y, pixel, world);
}

int32_t RX_SetPixel16(int32_t x, int32_t y, const RX_Pixel16* pixel, RX_LayerDef* world) {
  return rx::set_pixel(x, y, pixel, world);
}

int32_t RX_SetPixelFloat(int32_t x, int32_t y, const RX_PixelFloat* pixel, RX_LayerDef* world) {
  return rx::set_pixel(x, y, pixel, world);
}
