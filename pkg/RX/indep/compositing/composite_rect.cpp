// Putting a rectangle of one 8-bit world behind another at an opacity:
// where dst is opaque nothing changes, where it is empty the source lands
// at the opacity, and between, the straight form weighs the two colours by
// their coverage and the premultiplied form adds the source under dst's
// remaining coverage. These are direct loops over the caller's rectangle,
// which is trusted to lie inside both worlds.
#include "RX_BlendHelpers.h"
#include "RX_Frame.h"
#include "frame/progress.h"

namespace rx {
namespace {

constexpr int32_t kProgressInterval = 32;  // lines still to go between reports
constexpr uint32_t kFullWeight = 255 * 255;
// Bad-parameter locations: the slot of each body.
constexpr int16_t kStraightBadParameter = 9;
constexpr int16_t kPremulBadParameter = 8;

// Row a, column b of the geometry library's product table.
inline uint8_t product(uint32_t a, uint32_t b) { return RXp_G_fcm_table[a * 256 + b]; }

// Straight alpha: src goes behind dst.
inline void behind_straight(const RX_Pixel8& s, uint32_t opacity, RX_Pixel8& d) {
  const uint32_t da = d.alpha;
  if (da == 255) return;
  if (da == 0) {
    d = RX_Pixel8{product(opacity, s.alpha), s.red, s.green, s.blue};
    return;
  }
  const uint32_t wd = da * kFullWeight;
  const uint32_t ws = (255 - da) * opacity * s.alpha;
  const uint32_t t = ws + wd;
  d.red = uint8_t((s.red * ws + d.red * wd) / t);
  d.green = uint8_t((s.green * ws + d.green * wd) / t);
  d.blue = uint8_t((s.blue * ws + d.blue * wd) / t);
  d.alpha = uint8_t(t / kFullWeight);
}

// Premultiplied: dst += src scaled by opacity and by what dst leaves
// uncovered, each channel cut to a byte.
inline void behind_premul(RX_Pixel8 s, uint32_t opacity, RX_Pixel8& d) {
  const uint32_t da = d.alpha;
  if (da == 255) return;
  if (opacity < 255) {
    s = RX_Pixel8{product(opacity, s.alpha), product(opacity, s.red), product(opacity, s.green),
                  product(opacity, s.blue)};
  }
  if (da == 0) {
    d = s;
    return;
  }
  const uint32_t uncovered = 255 - da;
  d.alpha = uint8_t(d.alpha + product(uncovered, s.alpha));
  d.red = uint8_t(d.red + product(uncovered, s.red));
  d.green = uint8_t(d.green + product(uncovered, s.green));
  d.blue = uint8_t(d.blue + product(uncovered, s.blue));
}

bool chosen(int32_t field, int32_t dst_y) {
  return field == 0 || (field == 1 && (dst_y & 1) == 0) || (field == 2 && (dst_y & 1) != 0);
}

template <class Behind>
RX_Err composite(const RX_ProgressInfo* progress, const GE_LRect* source_rect, uint8_t opacity,
                 const RX_LayerDef* src, int32_t dst_x, int32_t dst_y, int32_t field, RX_LayerDef* dst,
                 int16_t bad_parameter, Behind behind) {
  if (opacity == 0) return RX_Result_OK;
  // The rectangle is trusted; worlds the loop cannot read at all are not.
  if (!src || !dst || !src->data || !dst->data || RXp_WorldDepth(src) != 8 || RXp_WorldDepth(dst) != 8) {
    return RX_ReportBadParameter(bad_parameter);
  }
  const GE_LRect rect = source_rect ? *source_rect : GE_LRect{0, 0, src->width, src->height};
  const int32_t height = rect.bottom - rect.top, width = rect.right - rect.left;
  if (height <= 0) return RX_Result_OK;
  for (int32_t line = 0; line < height; ++line) {
    const int32_t y = dst_y + line;
    if (!chosen(field, y)) continue;
    if ((height - line) % kProgressInterval == 0) {
      if (RX_Err err = poll_progress(progress, line, height)) return err;
    }
    const auto* s = reinterpret_cast<const RX_Pixel8*>(static_cast<const char*>(src->data) +
                                                       intptr_t{rect.top + line} * src->row_stride) +
                    rect.left;
    auto* d = reinterpret_cast<RX_Pixel8*>(static_cast<char*>(dst->data) + intptr_t{y} * dst->row_stride) + dst_x;
    for (int32_t x = 0; x < width; ++x) behind(s[x], opacity, d[x]);
  }
  return RX_Result_OK;
}

}  // namespace
}  // namespace rx

RX_Err RX_CompositeRectBest_Straight(const RX_ProgressInfo* progress, const GE_LRect* source_rect, uint8_t opacity,
                                     const RX_LayerDef* src, int32_t dst_x, int32_t dst_y, int32_t field, int32_t,
                                     RX_LayerDef* dst) {
  return rx::composite(progress, source_rect, opacity, src, dst_x, dst_y, field, dst, rx::kStraightBadParameter,
                       rx::behind_straight);
}

RX_Err RX_CompositeRectDraft_Straight(const RX_ProgressInfo* progress, const GE_LRect* source_rect,
                                      uint8_t opacity, const RX_LayerDef* src, int32_t dst_x, int32_t dst_y,
                                      int32_t field, int32_t reserved, RX_LayerDef* dst) {
  return RX_CompositeRectBest_Straight(progress, source_rect, opacity, src, dst_x, dst_y, field, reserved, dst);
}

RX_Err RX_CompositeRectDraft_Premul(const RX_ProgressInfo* progress, const GE_LRect* source_rect, uint8_t opacity,
                                    const RX_LayerDef* src, int32_t dst_x, int32_t dst_y, int32_t field, int32_t,
                                    RX_LayerDef* dst) {
  return rx::composite(progress, source_rect, opacity, src, dst_x, dst_y, field, dst, rx::kPremulBadParameter,
                       rx::behind_premul);
}

RX_Err RX_CompositeRectBest_Premul(const RX_ProgressInfo* progress, const GE_LRect* source_rect, uint8_t opacity,
                                   const RX_LayerDef* src, int32_t dst_x, int32_t dst_y, int32_t field,
                                   int32_t reserved, RX_LayerDef* dst) {
  return RX_CompositeRectDraft_Premul(progress, source_rect, opacity, src, dst_x, dst_y, field, reserved, dst);
}
