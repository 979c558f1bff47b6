// The row functions of the 8-bit depth and their four look-ups.
#include "compositing/blend_row_tables.h"

RX_INSTANTIATE_ROW_LOOKUPS(RX_Pixel8)

namespace rx::blend {

RX_Err over_row_scalar8(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                        RX_Pixel8* dst) {
  RX_BlendingMode<RX_Pixel8> mode;
  mode.blend_mode = RX_Xfer_Over;
  mode.opacity = opacity;
  return mask ? mode_row<RX_Pixel8, RX_Xfer_Over, true>(width, &mode, nullptr, src, mask, dst)
              : mode_row<RX_Pixel8, RX_Xfer_Over, false>(width, &mode, nullptr, src, nullptr, dst);
}

}  // namespace rx::blend
