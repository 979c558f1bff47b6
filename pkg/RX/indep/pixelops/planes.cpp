// Moves of 8-bit channels between a world's pixels and one interleaved
// plane buffer: for each pixel, one byte of each channel in the mask, in
// the order alpha, red, green, blue. Bytes are copied unchanged.
#include "RX_Fill.h"
#include "RX_Messages.h"
#include "frame/reports.h"

namespace rx {
namespace {

constexpr int16_t kInsertLocation = 5;
constexpr int16_t kExtractLocation = 6;
constexpr uint32_t kMaskLimit = 16;  // four channel bits

// Byte offsets in an RX_Pixel8 of the channels a mask names, in plane order.
struct PlaneChannels {
  int32_t offset[4] = {};
  int32_t count = 0;

  explicit PlaneChannels(int32_t mask) {
    for (int32_t channel = 0; channel < 4; ++channel) {
      if (mask & (1 << channel)) offset[count++] = channel;
    }
  }
};

// A mask as unsigned, so that a negative one is refused with the large ones.
bool valid_mask(int32_t mask) { return uint32_t(mask) < kMaskLimit; }

uint8_t* byte_row(const RX_LayerDef& world, int32_t y) {
  return static_cast<uint8_t*>(world.data) + intptr_t{y} * world.row_stride;
}

}  // namespace
}  // namespace rx

RX_Err RX_InsertPlanes(RX_EffectContext*, void** planes, int32_t plane_row_stride,
                       int32_t channel_mask, RX_LayerDef* world) {
  using namespace rx;
  if (!world || !world->data || !valid_mask(channel_mask) || plane_row_stride == 0 || !planes ||
      !planes[0]) {
    return RX_ReportBadParameter(kInsertLocation);
  }
  if (world->width < 1 || world->height < 1) return RX_Result_OK;
  const PlaneChannels channels(channel_mask);
  const auto* buffer = static_cast<const uint8_t*>(planes[0]);
  for (int32_t y = 0; y < world->height; ++y) {
    const uint8_t* in = buffer + intptr_t{y} * plane_row_stride;
    uint8_t* pixel = byte_row(*world, y);
    for (int32_t x = 0; x < world->width; ++x, pixel += sizeof(RX_Pixel8)) {
      for (int32_t k = 0; k < channels.count; ++k) pixel[channels.offset[k]] = *in++;
    }
  }
  return RX_Result_OK;
}

RX_Err RX_ExtractPlanes(RX_EffectContext*, RX_LayerDef* world, int32_t channel_mask,
                        KO_Handle* out_planes, int32_t* out_row_stride) {
  using namespace rx;
  if (!world || !world->data || !valid_mask(channel_mask) || !out_planes || !out_row_stride) {
    return RX_ReportBadParameter(kExtractLocation);
  }
  *out_planes = nullptr;
  *out_row_stride = 0;
  if (world->width < 1 || world->height < 1) return RX_Result_OK;

  const PlaneChannels channels(channel_mask);
  const int32_t row_stride = channels.count * world->width;
  KO_Handle handle =
      KO_AllocateHandle(location(kExtractLocation), RXp_String(RX_Str_ImagePlaneBuffer),
                        size_t(row_stride) * size_t(world->height));
  if (!handle) return RX_Result_OutOfMemory;

  auto* buffer = static_cast<uint8_t*>(*handle);
  for (int32_t y = 0; y < world->height; ++y) {
    uint8_t* out = buffer + intptr_t{y} * row_stride;
    const uint8_t* pixel = byte_row(*world, y);
    for (int32_t x = 0; x < world->width; ++x, pixel += sizeof(RX_Pixel8)) {
      for (int32_t k = 0; k < channels.count; ++k) *out++ = pixel[channels.offset[k]];
    }
  }
  *out_planes = handle;
  *out_row_stride = row_stride;
  return RX_Result_OK;
}
