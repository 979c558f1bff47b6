// Premultiplying against a matte colour: each pixel's colour moves toward
// the matte by its alpha (forward) or away from it (reverse). The rows run
// through the plain iterate with an area one pixel wide, the true width
// travelling in the refcon: no abort or progress reaches them.
#include <algorithm>

#include "RX_Iterate.h"
#include "RX_Premul.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/depth_arith.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kPremulColorLocation = 14;

template <class Px>
struct ColourRow {
  Px matte;
  int32_t width;
};

// ---- one channel of each depth, forward and reverse ----

// 8 bits, on 32-bit wrap-around arithmetic: a negative difference wraps
// and comes back in the low byte.
inline uint8_t toward_matte8(uint32_t c, uint32_t m, uint32_t a) { return uint8_t(m + m255((c - m) * a)); }
inline uint8_t away_from_matte8(uint32_t c, uint32_t m, uint32_t a) {
  const uint32_t matte_part = m255(m * (255 - a));
  return divide_table(a, c > matte_part ? c - matte_part : 0);
}

// 16 bits: the 16-bit multiply on the signed difference.
inline uint16_t toward_matte16(int32_t c, int32_t m, int32_t a) {
  return uint16_t(m + (((int64_t{c} - m) * a + 16383) >> 15));
}
// The difference scaled by 32768 / a, rounded half up, clamped to 0..32768.
inline uint16_t away_from_matte16(int32_t c, int32_t m, int32_t a) {
  const int64_t twice = (int64_t{c} - m) * 32768 * 2 + a;
  const int64_t q = twice >= 0 ? twice / (2 * a) : -((-twice + 2 * a - 1) / (2 * a));
  return uint16_t(std::clamp<int64_t>(q + m, 0, 32768));
}

template <class Px>
RX_Err colour_row(void* refcon, int32_t, int32_t, const Px* in, Px* out, bool forward) {
  const auto& job = *static_cast<const ColourRow<Px>*>(refcon);
  const Px& m = job.matte;
  for (int32_t i = 0; i < job.width; ++i) {
    Px p = in[i];
    const auto a = p.alpha;
    if constexpr (std::is_same_v<Px, RX_Pixel8>) {
      if (forward && a < 255) {
        p = {a, toward_matte8(p.red, m.red, a), toward_matte8(p.green, m.green, a),
             toward_matte8(p.blue, m.blue, a)};
      } else if (!forward && a != 0 && a != 255) {
        p = {a, away_from_matte8(p.red, m.red, a), away_from_matte8(p.green, m.green, a),
             away_from_matte8(p.blue, m.blue, a)};
      }
    } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
      if (forward) {
        p = {a, toward_matte16(p.red, m.red, a), toward_matte16(p.green, m.green, a),
             toward_matte16(p.blue, m.blue, a)};
      } else if (a != 0 && a != 32768) {
        p = {a, away_from_matte16(p.red, m.red, a), away_from_matte16(p.green, m.green, a),
             away_from_matte16(p.blue, m.blue, a)};
      }
    } else {
      // An alpha of exactly 1 leaves the pixel; a NaN alpha enters the formula.
      if (forward && a != 1.0f) {
        p = {a, m.red + (p.red - m.red) * a, m.green + (p.green - m.green) * a,
             m.blue + (p.blue - m.blue) * a};
      } else if (!forward && a != 0.0f) {
        p = {a, m.red + (p.red - m.red) / a, m.green + (p.green - m.green) / a,
             m.blue + (p.blue - m.blue) / a};
      }
    }
    out[i] = p;
  }
  return RX_Result_OK;
}

template <class Px>
RX_Err toward_row(void* refcon, int32_t x, int32_t y, const Px* in, Px* out) {
  return colour_row<Px>(refcon, x, y, in, out, true);
}
template <class Px>
RX_Err away_row(void* refcon, int32_t x, int32_t y, const Px* in, Px* out) {
  return colour_row<Px>(refcon, x, y, in, out, false);
}

// ---- the colour in each depth ----

template <class Px>
Px colour_from8(const RX_Pixel8& c) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) return c;
  else if constexpr (std::is_same_v<Px, RX_Pixel16>)
    return {convert_colour_argument_8_to_16(c.alpha), convert_colour_argument_8_to_16(c.red),
            convert_colour_argument_8_to_16(c.green), convert_colour_argument_8_to_16(c.blue)};
  else return convert_8_to_float(c);
}
template <class Px>
Px colour_from16(const RX_Pixel16& c) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) return convert_16_to_8(c);
  else if constexpr (std::is_same_v<Px, RX_Pixel16>) return c;
  else return convert_16_to_float(c);
}
// A float colour for an integer world clamps all four channels.
template <class Px>
Px colour_from_float(const RX_PixelFloat& c) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    return c;
  } else {
    using Cv = typename Depth<Px>::Cv;
    const float white = float(Depth<Px>::white);
    return {Cv(float_colour_to_int(c.alpha, white)), Cv(float_colour_to_int(c.red, white)),
            Cv(float_colour_to_int(c.green, white)), Cv(float_colour_to_int(c.blue, white))};
  }
}

struct ColourEntry {
  const char* depths_differ;
  const char* unknown_depth;
};

template <class Colour, class Convert>
RX_Err premultiply_colour_rect(const RX_LayerDef* src, const Colour* colour, int32_t forward,
                               const GE_LRect* rect, RX_LayerDef* dst, const ColourEntry& texts,
                               Convert convert) {
  if (!dst || !dst->data || (src && !src->data)) return RX_ReportBadParameter(kPremulColorLocation);
  const int32_t depth = RXp_WorldDepth(dst);
  if (src && RXp_WorldDepth(src) != depth) {
    report_verification(texts.depths_differ);
    return RX_Result_Internal;
  }
  const Colour matte = colour ? *colour : Colour{};
  return with_depth(
      depth,
      [&]<class Px>() {
        ColourRow<Px> job{convert.template operator()<Px>(matte), dst->width};
        GE_LRect area{0, 0, 1, dst->height};
        if (rect) {
          // The rows are as long as the rectangle, cut to the world.
          area = {rect->left, rect->top, rect->left + 1, rect->bottom};
          job.width = std::min(rect->right, dst->width) - rect->left;
        }
        if (job.width < 1) return RX_Err{RX_Result_OK};
        const auto row = forward ? &toward_row<Px> : &away_row<Px>;
        return RX_Iterate(nullptr, 0, 0, src, &area, &job, reinterpret_cast<RX_PixelFunc8>(row), dst);
      },
      texts.unknown_depth);
}

}  // namespace
}  // namespace rx

RX_Err RX_PremulColorRect(const RX_ProgressInfo*, const RX_LayerDef* src, const RX_Pixel8* colour,
                          int32_t forward, const GE_LRect* rect, RX_LayerDef* dst) {
  return rx::premultiply_colour_rect(
      src, colour, forward, rect, dst,
      {rx::msg::kPremulColorRectDepths, rx::msg::kPremulColorRectUnknownDepth},
      []<class Px>(const RX_Pixel8& c) { return rx::colour_from8<Px>(c); });
}

RX_Err RX_PremulColorRect16(const RX_ProgressInfo*, const RX_LayerDef* src,
                            const RX_Pixel16* colour, int32_t forward, const GE_LRect* rect,
                            RX_LayerDef* dst) {
  return rx::premultiply_colour_rect(
      src, colour, forward, rect, dst,
      {rx::msg::kPremulColorRect16Depths, rx::msg::kPremulColorRect16UnknownDepth},
      []<class Px>(const RX_Pixel16& c) { return rx::colour_from16<Px>(c); });
}

// The float form shares the 16-bit form's text for differing depths.
RX_Err RX_PremulColorRectFloat(const RX_ProgressInfo*, const RX_LayerDef* src,
                               const RX_PixelFloat* colour, int32_t forward, const GE_LRect* rect,
                               RX_LayerDef* dst) {
  return rx::premultiply_colour_rect(
      src, colour, forward, rect, dst,
      {rx::msg::kPremulColorRect16Depths, rx::msg::kPremulColorRectFloatUnknownDepth},
      []<class Px>(const RX_PixelFloat& c) { return rx::colour_from_float<Px>(c); });
}

RX_Err RX_PremulColor(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                      const RX_Pixel8* colour, int32_t forward, RX_LayerDef* dst) {
  return RX_PremulColorRect(progress, src, colour, forward, nullptr, dst);
}
RX_Err RX_PremulColor16(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                        const RX_Pixel16* colour, int32_t forward, RX_LayerDef* dst) {
  return RX_PremulColorRect16(progress, src, colour, forward, nullptr, dst);
}
RX_Err RX_PremulColorFloat(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                           const RX_PixelFloat* colour, int32_t forward, RX_LayerDef* dst) {
  return RX_PremulColorRectFloat(progress, src, colour, forward, nullptr, dst);
}
