// Copies between chunks of the same element size and channel count: one
// block when both are whole and their rows match, row by row for equal
// rectangles, and otherwise the draft copy's 16-bit replication of whole
// elements.
#include <algorithm>
#include <cstring>

#include "RX_Copy.h"
#include "RX_Messages.h"
#include "frame/reports.h"
#include "pixelops/copy_rects.h"

namespace {

constexpr int16_t kChannelCopyLocation = 72;
constexpr int32_t kChannelsDifferLocation = 0x250048;

// A chunk seen as a world of elements, for the rectangle rules.
RX_LayerDef as_world(const RX_Chunk& chunk) {
  RX_LayerDef world{};
  world.data = chunk.data;
  world.width = chunk.width;
  world.height = chunk.height;
  world.row_stride = chunk.row_stride;
  return world;
}

uint8_t* element(const RX_Chunk& chunk, int32_t x, int32_t y, size_t element_bytes) {
  return static_cast<uint8_t*>(chunk.data) + intptr_t{y} * chunk.row_stride + size_t(x) * element_bytes;
}

}  // namespace

RX_Err RX_ChannelCopy(RX_EffectContext*, const RX_Chunk* src, RX_Chunk* dst, const GE_LRect* src_rect,
                      const GE_LRect* dst_rect) {
  if (!src || !dst || !src->data || !dst->data) return RX_ReportBadParameter(kChannelCopyLocation);
  int16_t src_size = 1, dst_size = 1;
  RX_ChunkDataSize(src->type, &src_size);
  RX_ChunkDataSize(dst->type, &dst_size);
  // Mixed element types are refused: values of another size cannot be
  // moved as they are.
  if (src_size != dst_size) return RX_ReportBadParameter(kChannelCopyLocation);
  if (src->channels != dst->channels) {
    rx::report_error(kChannelsDifferLocation, RXp_String(RX_Str_CannotCopyChannelWorlds));
    return RX_Result_Internal;
  }
  const size_t element_bytes = size_t(src_size) * size_t(src->channels);
  const RX_LayerDef src_world = as_world(*src), dst_world = as_world(*dst);
  rx::CopyRect s, d;
  if (!rx::normalise(src_rect, src_world, s) || !rx::normalise(dst_rect, dst_world, d)) return RX_Result_OK;

  if (s.whole && d.whole && s == d) {
    if (src->row_stride == dst->row_stride) {
      std::memmove(dst->data, src->data, size_t(s.height()) * size_t(src->row_stride));
    } else {
      const size_t row_bytes = size_t(std::min(src->row_stride, dst->row_stride));
      for (int32_t y = 0; y < s.height(); ++y) {
        std::memmove(element(*dst, 0, y, element_bytes), element(*src, 0, y, element_bytes), row_bytes);
      }
    }
    return RX_Result_OK;
  }
  if (s == d && s.left >= 0 && s.top >= 0) {
    const int32_t right = std::min({s.right, src->width, dst->width});
    const int32_t bottom = std::min({s.bottom, src->height, dst->height});
    for (int32_t y = s.top; y < bottom; ++y) {
      std::memmove(element(*dst, s.left, y, element_bytes), element(*src, s.left, y, element_bytes),
                   size_t(right - s.left) * element_bytes);
    }
    return RX_Result_OK;
  }
  // Replication as the draft copy does it, of whole elements that fall
  // inside both chunks.
  int32_t row_y = 0, out_y = 0;
  rx::replicate(
      s, d,
      [&](int32_t src_y, int32_t dst_y) {
        row_y = src_y;
        out_y = dst_y;
      },
      [&](int32_t src_x, int32_t dst_x, int16_t count) {
        if (row_y < 0 || row_y >= src->height || out_y < 0 || out_y >= dst->height) return;
        if (src_x < 0 || src_x >= src->width) return;
        for (int32_t x = dst_x; x < dst_x + count; ++x) {
          if (x < 0 || x >= dst->width) continue;
          std::memcpy(element(*dst, x, out_y, element_bytes), element(*src, src_x, row_y, element_bytes),
                      element_bytes);
        }
      });
  return RX_Result_OK;
}
