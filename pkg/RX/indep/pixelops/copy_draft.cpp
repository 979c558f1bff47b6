// The draft copy: any depth to any depth, scaling by pixel replication with
// error accumulation as in a line drawer, all in 16-bit arithmetic. No
// multiplication per pixel; memmove wherever the bytes match. Float goes to
// 8 bits through the row conversion: the vector form on a 16-byte aligned
// row where word 2 is set, else the scalar form with all four channels
// clamped.
#include <algorithm>
#include <cstring>

#include "RX_Copy.h"
#include "RX_World.h"
#include "frame/override_table.h"
#include "pixelops/copy_draft.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kDraftLocation = 48;

template <class Px>
Px* row_of(const RX_LayerDef& world, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(world.data) + intptr_t{y} * world.row_stride);
}

// Float rows go to 8 bits through the row conversion, whose form the row's
// address decides; every other pair converts with all channels clamped.
template <class From, class To>
constexpr bool is_float_to_8 = std::is_same_v<From, RX_PixelFloat> && std::is_same_v<To, RX_Pixel8>;

template <class From, class To>
void copy_row(const From* src, To* dst, int32_t count) {
  if constexpr (std::is_same_v<From, To>) {
    std::memmove(dst, src, size_t(count) * sizeof(To));
  } else if constexpr (is_float_to_8<From, To>) {
    convert_row_float_to_8_clamped(src, dst, count);
  } else {
    for (int32_t i = 0; i < count; ++i) dst[i] = convert_pixel<To, FloatAlpha::Clamped>(src[i]);
  }
}

// One pixel of a row being replicated; `vector` is the row's form.
template <class To, class From>
To convert_for_replication(const From& p, bool vector) {
  if constexpr (is_float_to_8<From, To>) {
    if (vector) return convert_float_to_8_vector(p);
  }
  return convert_pixel<To, FloatAlpha::Clamped>(p);
}

bool owns_pixels(const RX_LayerDef& world) {
  return world.world_object && !world.world_object->IsReference();
}

// Moves the edges of one rectangle that hang over its world, and the
// other's by the same share, in 16-bit operands.
void clip_overhang(CopyRect& r, int32_t width, int32_t height, CopyRect& other, int16_t rw,
                   int16_t rh, int16_t ow, int16_t oh) {
  if (r.left < 0) {
    other.left += int16_t((int16_t(-r.left) * ow) / rw);
    r.left = 0;
  }
  if (r.right > width) {
    other.right -= int16_t((int16_t(r.right - width) * ow) / rw);
    r.right = width;
  }
  if (r.top < 0) {
    other.top += int16_t((int16_t(-r.top) * oh) / rh);
    r.top = 0;
  }
  if (r.bottom > height) {
    other.bottom -= int16_t((int16_t(r.bottom - height) * oh) / rh);
    r.bottom = height;
  }
}

}  // namespace

template <class From, class To>
RX_Err copy_draft_pair(const RX_LayerDef& src, RX_LayerDef& dst, CopyRect s, CopyRect d) {
  // Whole worlds of one size: one block when the bytes match.
  if (s.whole && d.whole && s == d) {
    if (std::is_same_v<From, To> && src.row_stride == dst.row_stride && owns_pixels(src) &&
        owns_pixels(dst)) {
      std::memmove(dst.data, src.data,
                   size_t(s.height() - 1) * size_t(src.row_stride) + size_t(s.width()) * sizeof(To));
      return RX_Result_OK;
    }
    for (int32_t y = 0; y < s.height(); ++y) copy_row(row_of<From>(src, y), row_of<To>(dst, y), s.width());
    return RX_Result_OK;
  }
  // Equal rectangles inside both: row by row. Negative corners scale.
  if (s == d && s.top >= 0 && s.left >= 0) {
    const int32_t right = std::min({s.right, src.width, dst.width});
    const int32_t bottom = std::min({s.bottom, src.height, dst.height});
    for (int32_t y = s.top; y < bottom; ++y) {
      copy_row(row_of<From>(src, y) + s.left, row_of<To>(dst, y) + s.left, right - s.left);
    }
    return RX_Result_OK;
  }
  // Scaling: cut what hangs over either world, with the other rectangle
  // moved by the same share; the replication skips what is left empty.
  const int16_t sw = int16_t(s.width()), sh = int16_t(s.height());
  const int16_t dw = int16_t(d.width()), dh = int16_t(d.height());
  if (sw < 1 || sh < 1 || dw < 1 || dh < 1) return RX_Result_OK;
  if (!s.whole) clip_overhang(s, src.width, src.height, d, sw, sh, dw, dh);
  if (!d.whole) clip_overhang(d, dst.width, dst.height, s, dw, dh, sw, sh);
  const From* in = nullptr;
  To* out = nullptr;
  bool vector = false;
  replicate(
      s, d,
      [&](int32_t src_y, int32_t dst_y) {
        in = row_of<From>(src, src_y);
        out = row_of<To>(dst, dst_y);
        if constexpr (is_float_to_8<From, To>) vector = float_to_8_vector_applies(in);
      },
      [&](int32_t src_x, int32_t dst_x, int16_t count) {
        const To pixel = convert_for_replication<To>(in[src_x], vector);
        std::fill_n(out + dst_x, count, pixel);
      });
  return RX_Result_OK;
}

// The null checks of a copy; the draft form runs them twice and so
// reports a fault twice, returning the second result.
RX_Err check_worlds(const RX_LayerDef* src, const RX_LayerDef* dst, int16_t location) {
  if (!src || !dst || !src->data || !dst->data) return RX_ReportBadParameter(location);
  return RX_Result_OK;
}

template <class From>
RX_Err copy_draft_from(const RX_LayerDef& src, RX_LayerDef& dst, const CopyRect& s, const CopyRect& d) {
  return with_depth(RXp_WorldDepth(&dst), [&]<class To>() { return copy_draft_pair<From, To>(src, dst, s, d); });
}

template RX_Err copy_draft_pair<RX_Pixel8, RX_Pixel8>(const RX_LayerDef&, RX_LayerDef&, CopyRect, CopyRect);
template RX_Err copy_draft_pair<RX_Pixel16, RX_Pixel16>(const RX_LayerDef&, RX_LayerDef&, CopyRect, CopyRect);
template RX_Err copy_draft_pair<RX_PixelFloat, RX_PixelFloat>(const RX_LayerDef&, RX_LayerDef&, CopyRect,
                                                              CopyRect);

}  // namespace rx

RX_Err RX_CopyBits_Draft_Static(const RX_ProgressInfo*, const RX_LayerDef* src, RX_LayerDef* dst,
                                const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  using namespace rx;
  check_worlds(src, dst, kDraftLocation);
  if (RX_Err err = check_worlds(src, dst, kDraftLocation)) return err;
  CopyRect s, d;
  if (!normalise(src_rect, *src, s) || !normalise(dst_rect, *dst, d)) return RX_Result_OK;
  return with_depth(RXp_WorldDepth(src), [&]<class From>() { return copy_draft_from<From>(*src, *dst, s, d); });
}

RX_Err RX_CopyBits_Draft(const RX_ProgressInfo* progress, const RX_LayerDef* src, RX_LayerDef* dst,
                         const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  return reinterpret_cast<RX_CopyBitsFunc>(RXp_G_OverFuncs[RX_Slot_CopyDraft])(progress, src, dst,
                                                                              src_rect, dst_rect);
}
