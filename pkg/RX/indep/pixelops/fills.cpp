// The flat fills (RX_Fill, RX_Fill16, RX_FillFloat) and the clear outside a
// rectangle (RX_ClearAlphaExceptRect). Each takes a world of any depth and
// writes exactly the converted colour; zero colours go by memset, and by
// one block when the rows touch end to end and the whole width is filled.
#include <utility>

#include "RX_Fill.h"
#include "frame/fixed_messages.h"
#include "frame/progress.h"
#include "pixelops/fill_colours.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kFillLocation = 13;

// Put in order, then clamped to the world: a rectangle given backwards
// fills the same pixels as the right way round.
PixelSpan normalised_fill_span(const GE_LRect* rect, int32_t width, int32_t height) {
  if (!rect) return {0, 0, width, height};
  PixelSpan span{rect->left, rect->top, rect->right, rect->bottom};
  if (span.right < span.left) std::swap(span.left, span.right);
  if (span.bottom < span.top) std::swap(span.top, span.bottom);
  span.left = std::clamp(span.left, 0, std::max(width, 0));
  span.right = std::clamp(span.right, 0, std::max(width, 0));
  span.top = std::clamp(span.top, 0, std::max(height, 0));
  span.bottom = std::clamp(span.bottom, 0, std::max(height, 0));
  return span;
}

template <class Px>
RX_Err fill_rect(const Px& colour, const GE_LRect* rect, RX_LayerDef& world) {
  if (!world.data) return RX_ReportBadParameter(kFillLocation);
  const PixelSpan span = normalised_fill_span(rect, world.width, world.height);
  if (span.empty()) return RX_Result_OK;

  const bool zero = all_bits_zero(colour);
  const size_t row_bytes = size_t(world.width) * sizeof(Px);
  const bool contiguous = world.row_stride >= 0 && size_t(world.row_stride) == row_bytes;
  if (zero && contiguous && span.left == 0 && span.right == world.width) {
    std::memset(pixel_row<Px>(world, span.top), 0, row_bytes * size_t(span.bottom - span.top));
    return RX_Result_OK;
  }
  for (int32_t y = span.top; y < span.bottom; ++y) {
    Px* row = pixel_row<Px>(world, y) + span.left;
    if (zero) {
      std::memset(row, 0, size_t(span.width()) * sizeof(Px));
    } else {
      store_pixels(row, span.width(), colour);
    }
  }
  return RX_Result_OK;
}

// The depth is asked before anything else, then the colour converted, then
// the data checked: a world of unknown depth is reported as such even
// without pixels.
template <class Colour, class Convert>
RX_Err fill_entry(const Colour* colour, const GE_LRect* rect, RX_LayerDef* world,
                  const char* unknown_depth_text, Convert convert) {
  if (!world) return RX_ReportBadParameter(kFillLocation);
  const Colour given = colour ? *colour : Colour{};
  return with_depth(
      RXp_WorldDepth(world),
      [&]<class Px>() {
        return fill_rect<Px>(convert.template operator()<Px>(given), rect, *world);
      },
      unknown_depth_text);
}

// Clears [left, right) of row y to transparent black.
template <class Px>
void clear_span(const RX_LayerDef& world, int32_t y, int32_t left, int32_t right) {
  if (right > left)
    std::memset(pixel_row<Px>(world, y) + left, 0, size_t(right - left) * sizeof(Px));
}

// The bands above, left of, right of and below keep, top to bottom, with
// one abort check per row before it is touched.
template <class Px>
RX_Err clear_outside(const RX_ProgressInfo* progress, const PixelSpan& keep, RX_LayerDef& world) {
  if (!world.data) return RX_ReportBadParameter(kFillLocation);
  for (int32_t y = 0; y < world.height; ++y) {
    if (RX_Err err = poll_abort(progress)) return err;
    if (y >= keep.top && y < keep.bottom) {
      clear_span<Px>(world, y, 0, keep.left);
      clear_span<Px>(world, y, keep.right, world.width);
    } else {
      clear_span<Px>(world, y, 0, world.width);
    }
  }
  return RX_Result_OK;
}

}  // namespace
}  // namespace rx

RX_Err RX_Fill(RX_EffectContext*, const RX_Pixel8* colour, const GE_LRect* rect,
               RX_LayerDef* world) {
  return rx::fill_entry(colour, rect, world, rx::msg::kFillUnknownDepth,
                        []<class Px>(const RX_Pixel8& c) { return rx::fill_colour_from_8<Px>(c); });
}

RX_Err RX_Fill16(RX_EffectContext*, const RX_Pixel16* colour, const GE_LRect* rect,
                 RX_LayerDef* world) {
  return rx::fill_entry(
      colour, rect, world, rx::msg::kFill16UnknownDepth,
      []<class Px>(const RX_Pixel16& c) { return rx::fill_colour_from_16<Px>(c); });
}

RX_Err RX_FillFloat(RX_EffectContext*, const RX_PixelFloat* colour, const GE_LRect* rect,
                    RX_LayerDef* world) {
  return rx::fill_entry(
      colour, rect, world, rx::msg::kFillFloatUnknownDepth,
      []<class Px>(const RX_PixelFloat& c) { return rx::fill_colour_from_float_clamped<Px>(c); });
}

RX_Err RX_ClearAlphaExceptRect(const RX_ProgressInfo* progress, const GE_LRect* rect,
                               RX_LayerDef* world) {
  using namespace rx;
  if (!world) return RX_ReportBadParameter(kFillLocation);
  return with_depth(RXp_WorldDepth(world), [&]<class Px>() -> RX_Err {
    PixelSpan keep = clip_to_world(rect, world->width, world->height);
    if (keep.left <= 0 && keep.top <= 0 && keep.right >= world->width &&
        keep.bottom >= world->height) {
      return RX_Result_OK;
    }
    // An empty rectangle keeps nothing: every row is cleared whole.
    if (keep.empty()) keep = {0, 0, 0, 0};
    return clear_outside<Px>(progress, keep, *world);
  });
}
