// The plain and origin iterates: an effect's pixel function over a
// rectangle, at any of the three depths, in row order and left to right.
// The first non-zero return of the pixel function stops at once; progress
// after each row stops only on RX_Result_Interrupted.
#include "RX_Iterate.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "pixelops/iterate_area.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kIterateLocation = 14;
constexpr int16_t kIterateOriginLocation = 82;
constexpr int32_t kDepthsDifferLocation = 0x25000E;

template <class Px>
using PixelFunc = RX_Err (*)(void*, int32_t, int32_t, const Px*, Px*);

// Progress after a row, when wanted; true when it interrupts the loop.
bool interrupted_after_row(const RowProgress& progress, int32_t y, RX_Err& err) {
  if (!progress.wanted()) return false;
  err = progress.after_row(y);
  return err == RX_Result_Interrupted;
}

// The result is that of the last callback made, pixel function or progress:
// a progress code other than 517 on the last row is passed on.
template <class Px>
RX_Err iterate_rows(const RowProgress& progress, const RX_LayerDef* src, const IterateSpan& span,
                    void* refcon, PixelFunc<Px> func, RX_LayerDef& dst) {
  const int32_t width = span.width();
  RX_Err err = RX_Result_OK;
  for (int32_t y = low16(span.top); y < span.bottom; ++y) {
    Px* out = row_at<Px>(dst, y, span.left);
    const Px* in = src ? row_at<Px>(*src, y, span.left) : out;
    for (int32_t i = 0; i < width; ++i) {
      err = func(refcon, low16(span.left + i), low16(y), in + i, out + i);
      if (err != RX_Result_OK) return err;
    }
    if (interrupted_after_row(progress, y, err)) return err;
  }
  return err;
}

// Destination pixel (x, y) reads source pixel (x - ox, y - oy); outside the
// source it reads a transparent black pixel and the source does not advance.
template <class Px>
RX_Err iterate_rows_with_origin(const RowProgress& progress, const RX_LayerDef& src,
                                const IterateSpan& span, GE_LPoint origin, void* refcon,
                                PixelFunc<Px> func, RX_LayerDef& dst) {
  const Px transparent_black{};
  const int32_t width = span.width();
  RX_Err err = RX_Result_OK;
  for (int32_t y = low16(span.top); y < span.bottom; ++y) {
    const int32_t src_y = y - origin.y;
    const bool row_inside = src_y >= 0 && src_y < src.height;
    // Only dereferenced where the row is inside the source.
    const Px* src_pixel = row_inside ? row_at<Px>(src, src_y, std::max(span.left - origin.x, 0)) : nullptr;
    Px* out = row_at<Px>(dst, y, span.left);
    for (int32_t i = 0; i < width; ++i) {
      const int32_t x = span.left + i;
      const int32_t src_x = x - origin.x;
      const Px* in = &transparent_black;
      if (row_inside && src_x >= 0 && src_x < src.width) in = src_pixel++;
      err = func(refcon, low16(x), low16(y), in, out + i);
      if (err != RX_Result_OK) return err;
    }
    if (interrupted_after_row(progress, y, err)) return err;
  }
  return err;
}

// Without a source the function gets a null input, and x steps by 2 per
// call while the output steps by one pixel: only every second x is
// reported and about half the row is visited. Callers rely on this form
// as it is.
template <class Px>
RX_Err iterate_rows_sourceless_origin(const RowProgress& progress, const IterateSpan& span,
                                      void* refcon, PixelFunc<Px> func, RX_LayerDef& dst) {
  const int32_t row_end = span.left + span.width();
  RX_Err err = RX_Result_OK;
  for (int32_t y = low16(span.top); y < span.bottom; ++y) {
    Px* out = row_at<Px>(dst, y, span.left);
    for (int32_t x = span.left; x < row_end; x += 2) {
      err = func(refcon, low16(x), low16(y), nullptr, out++);
      if (err != RX_Result_OK) return err;
    }
    if (interrupted_after_row(progress, y, err)) return err;
  }
  return err;
}

// Entry checks shared by the plain and origin forms. Returns the depth to
// run at, or 0 when the call is refused (result in err).
int32_t checked_depth(const RX_LayerDef* src, const RX_LayerDef* dst, const void* func,
                      int16_t bad_parameter_location, RX_Err& err) {
  if ((src && !src->data) || !dst || !dst->data || !func) {
    err = RX_ReportBadParameter(bad_parameter_location);
    return 0;
  }
  const int32_t dst_depth = RXp_WorldDepth(dst);
  if (src) {
    const int32_t src_depth = RXp_WorldDepth(src);
    if (src_depth != dst_depth) {
      // The text names the plain form in the origin form too.
      report_verification(msg::kIterateDepthsDiffer, kDepthsDifferLocation);
      err = RX_Result_Internal;
      return 0;
    }
    return src_depth;
  }
  return dst_depth;
}

RX_Err iterate_origin(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                      const RX_LayerDef* src, const GE_LRect* area, const GE_LPoint* origin_point,
                      void* refcon, RX_PixelFunc8 func, RX_LayerDef* dst, bool clip_to_source) {
  RX_Err err = RX_Result_OK;
  const int32_t depth = checked_depth(src, dst, reinterpret_cast<const void*>(func),
                                      kIterateOriginLocation, err);
  if (!depth) return err;

  // A null origin places the source at the destination's corner.
  const GE_LPoint origin = origin_point ? *origin_point : GE_LPoint{0, 0};
  IterateSpan span;
  if (!clip_area_to_destination(area, *dst, nullptr, span)) return RX_Result_OK;
  if (clip_to_source && src) {
    if (area && (area->left > src->width + origin.x || area->top > src->height + origin.y)) {
      return RX_Result_OK;
    }
    span.left = std::max(span.left, origin.x);
    span.top = std::max(span.top, origin.y);
    span.right = std::min(span.right, src->width + origin.x);
    span.bottom = std::min(span.bottom, src->height + origin.y);
  }
  if (span.width() == 0 || span.bottom <= span.top) return RX_Result_OK;

  const RowProgress progress{context, progress_base, progress_final, low16(span.top)};
  return with_depth(depth, [&]<class Px>() {
    const auto pixel_func = reinterpret_cast<PixelFunc<Px>>(func);
    if (!src) return iterate_rows_sourceless_origin<Px>(progress, span, refcon, pixel_func, *dst);
    return iterate_rows_with_origin<Px>(progress, *src, span, origin, refcon, pixel_func, *dst);
  });
}

}  // namespace
}  // namespace rx

RX_Err RX_Iterate_S(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                    const RX_LayerDef* src, const GE_LRect* area, void* refcon, RX_PixelFunc8 func,
                    RX_LayerDef* dst) {
  using namespace rx;
  RX_Err err = RX_Result_OK;
  const int32_t depth =
      checked_depth(src, dst, reinterpret_cast<const void*>(func), kIterateLocation, err);
  if (!depth) return err;

  IterateSpan span;
  if (!clip_area_to_destination(area, *dst, src, span)) return RX_Result_OK;
  const RowProgress progress{context, progress_base, progress_final, low16(span.top)};
  return with_depth(depth, [&]<class Px>() {
    return iterate_rows<Px>(progress, src, span, refcon, reinterpret_cast<PixelFunc<Px>>(func),
                            *dst);
  });
}

RX_Err RX_IterateOrigin_S(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                          const RX_LayerDef* src, const GE_LRect* area, const GE_LPoint* origin,
                          void* refcon, RX_PixelFunc8 func, RX_LayerDef* dst) {
  return rx::iterate_origin(context, progress_base, progress_final, src, area, origin, refcon,
                            func, dst, true);
}

RX_Err RX_IterateOriginNoClip_S(RX_EffectContext* context, int32_t progress_base,
                                int32_t progress_final, const RX_LayerDef* src,
                                const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                                RX_PixelFunc8 func, RX_LayerDef* dst) {
  return rx::iterate_origin(context, progress_base, progress_final, src, area, origin, refcon,
                            func, dst, false);
}
