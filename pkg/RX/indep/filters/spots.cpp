// RX_PaintSpot: a soft stamp of one colour through a kernel laid out as a
// convolution kernel, into an 8-bit layer. Each channel moves toward the
// colour by the entry's weight, (c (255 - w) + colour w) / 255 truncated.
#include <algorithm>
#include <cstdint>

#include "RX_Draw.h"

namespace rx {
namespace {

constexpr int16_t kSpotLocation = 9;

uint8_t stamp_channel(uint8_t c, uint8_t colour, int32_t w) {
  return uint8_t(std::min((c * (255 - w) + colour * w) / 255, 255));
}

}  // namespace
}  // namespace rx

RX_Err RX_PaintSpot(void*, int32_t x, int32_t y, int32_t flags, int32_t kernel_size,
                    const int32_t* kernel, RX_Pixel8 colour, RX_LayerDef* layer) {
  if (!layer || !layer->data || !kernel || kernel_size < 0 || kernel_size % 2 == 0 ||
      RXp_WorldDepth(layer) != 8) {
    return RX_ReportBadParameter(rx::kSpotLocation);
  }
  int32_t half_width = kernel_size / 2;
  int32_t half_height = kernel_size / 2;
  if (flags & RX_SPOT_1D) {
    if (flags & RX_SPOT_VERTICAL) {
      half_width = 0;
    } else {
      half_height = 0;
    }
  }
  const int32_t kernel_width = 2 * half_width + 1;
  // The kernel's rows and columns that land inside the layer; in 64 bits,
  // since a spot may be centred anywhere.
  const int64_t left = int64_t{x} - half_width;
  const int64_t top = int64_t{y} - half_height;
  const int64_t first_row = std::max<int64_t>(0, -top);
  const int64_t end_row = std::min<int64_t>(2 * half_height + 1, layer->height - top);
  const int64_t first_column = std::max<int64_t>(0, -left);
  const int64_t end_column = std::min<int64_t>(kernel_width, layer->width - left);
  for (int64_t r = first_row; r < end_row; ++r) {
    auto* row = reinterpret_cast<RX_Pixel8*>(static_cast<char*>(layer->data) +
                                             (top + r) * layer->row_stride);
    const int32_t* weights = kernel + r * kernel_width;
    for (int64_t c = first_column; c < end_column; ++c) {
      // Entries are weights of 0..255; others are held to that range.
      const int32_t w = std::clamp(weights[c], 0, 255);
      RX_Pixel8& p = row[left + c];
      p.alpha = rx::stamp_channel(p.alpha, colour.alpha, w);
      p.red = rx::stamp_channel(p.red, colour.red, w);
      p.green = rx::stamp_channel(p.green, colour.green, w);
      p.blue = rx::stamp_channel(p.blue, colour.blue, w);
    }
  }
  return RX_Result_OK;
}
