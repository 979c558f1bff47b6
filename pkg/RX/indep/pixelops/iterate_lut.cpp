// The lookup iterate: each channel of 8-bit pixels through its own table.
// It reads the raw record fields with no depth dispatch: a 16-bit world is
// refused by its deep bit, while a float world, which has none, is walked
// as if its pixels were 4 bytes wide. That is how the operation behaves.
#include <array>

#include "RX_Iterate.h"
#include "pixelops/iterate_area.h"

namespace {

constexpr int16_t kLookupLocation = 14;

using ChannelTable = const uint8_t*;

std::array<uint8_t, 256> identity_table() {
  std::array<uint8_t, 256> table;
  for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i);
  return table;
}

bool is_deep(const RX_LayerDef* world) { return world && (world->layer_flags & RX_LayerFlag_Deep); }

}  // namespace

RX_Err RX_IterateLUT_S(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                       const RX_LayerDef* src, const GE_LRect* area, const uint8_t* alpha_table,
                       const uint8_t* red_table, const uint8_t* green_table,
                       const uint8_t* blue_table, RX_LayerDef* dst) {
  using namespace rx;
  if ((src && !src->data) || !dst || !dst->data) return RX_ReportBadParameter(kLookupLocation);
  if (is_deep(src) || is_deep(dst)) return RX_ReportBadParameter(kLookupLocation);

  const std::array<uint8_t, 256> identity = identity_table();
  const ChannelTable ta = alpha_table ? alpha_table : identity.data();
  const ChannelTable tr = red_table ? red_table : identity.data();
  const ChannelTable tg = green_table ? green_table : identity.data();
  const ChannelTable tb = blue_table ? blue_table : identity.data();

  IterateSpan span;
  if (!clip_area_to_destination(area, *dst, src, span)) return RX_Result_OK;
  const RowProgress progress{context, progress_base, progress_final, low16(span.top)};
  const int32_t width = span.width();
  RX_Err err = RX_Result_OK;
  for (int32_t y = low16(span.top); y < span.bottom; ++y) {
    RX_Pixel8* out = row_at<RX_Pixel8>(*dst, y, span.left);
    const RX_Pixel8* in = src ? row_at<RX_Pixel8>(*src, y, span.left) : out;
    for (int32_t i = 0; i < width; ++i) {
      const RX_Pixel8 p = in[i];
      out[i] = {ta[p.alpha], tr[p.red], tg[p.green], tb[p.blue]};
    }
    if (progress.wanted()) {
      err = progress.after_row(y);
      if (err == RX_Result_Interrupted) return err;
    }
  }
  return err;
}
