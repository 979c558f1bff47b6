// Copies between frame store bitmaps: both are wrapped in free-standing
// records, copied, and the destination's bytes reversed where the two
// bitmaps keep their channels in different orders (alpha first or BGRA).
#include <algorithm>

#include "RX_Copy.h"
#include "frame/reports.h"
#include "frame/fixed_messages.h"
#include "pixelops/copy_rects.h"

namespace {

constexpr int32_t kFlipLocation = 0x250068;

int32_t channel_order(ZW_World bitmap) {
  return (*bitmap)->bits_per_pixel == 32 ? ZW_GetChannelOrder(bitmap) : 0;
}

RX_Err match_channel_order(ZW_World src, ZW_World dst, const RX_LayerDef& dst_world,
                           const GE_LRect* dst_rect) {
  if (channel_order(src) == channel_order(dst)) return RX_Result_OK;
  if ((*dst)->bits_per_pixel != 32) {
    rx::report_error(kFlipLocation, rx::msg::kFlipDeepNotImplemented);
    return RX_Result_Unimplemented;
  }
  const GE_LRect whole{0, 0, dst_world.width, dst_world.height};
  const GE_LRect& r = dst_rect ? *dst_rect : whole;
  const int32_t left = std::max(r.left, 0), right = std::min(r.right, dst_world.width);
  const int32_t top = std::max(r.top, 0), bottom = std::min(r.bottom, dst_world.height);
  for (int32_t y = top; y < bottom; ++y) {
    auto* row = reinterpret_cast<uint32_t*>(static_cast<char*>(dst_world.data) + intptr_t{y} * dst_world.row_stride);
    for (int32_t x = left; x < right; ++x) row[x] = KO_LongSwap(row[x]);
  }
  return RX_Result_OK;
}

RX_Err copy_bitmaps(RX_CopyBitsFunc copy, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                    const GE_LRect* dst_rect) {
  RX_LayerDef src_world, dst_world;
  if (RX_Err err = RX_EffectWorldFromZWWorld(src, &src_world)) return err;
  if (RX_Err err = RX_EffectWorldFromZWWorld(dst, &dst_world)) return err;
  if (RX_Err err = copy(nullptr, &src_world, &dst_world, src_rect, dst_rect)) return err;
  return match_channel_order(src, dst, dst_world, dst_rect);
}

}  // namespace

RX_Err RX_WorldCopy(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_Draft, src, dst, src_rect, dst_rect);
}
RX_Err RX_WorldCopy_Static(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                           const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_Draft_Static, src, dst, src_rect, dst_rect);
}
// The high quality forms without a qualifier are the straight ones.
RX_Err RX_WorldCopy_HQ(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_HQ_Straight, src, dst, src_rect, dst_rect);
}
RX_Err RX_WorldCopy_HQ_Static(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                              const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_HQ_Straight_Static, src, dst, src_rect, dst_rect);
}
RX_Err RX_WorldCopy_HQ_Straight(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                                const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_HQ_Straight, src, dst, src_rect, dst_rect);
}
RX_Err RX_WorldCopy_HQ_Straight_Static(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                                       const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_HQ_Straight_Static, src, dst, src_rect, dst_rect);
}
RX_Err RX_WorldCopy_HQ_Premul(void*, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                              const GE_LRect* dst_rect) {
  return copy_bitmaps(RX_CopyBits_HQ_Premul, src, dst, src_rect, dst_rect);
}
