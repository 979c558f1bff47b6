// Copying by rectangle between world objects, without scaling: same depth
// by memmove, another depth row by row through the conversions (dithered
// on request when the depth shrinks), and the interlaced form that copies
// rows of one field.
#include <algorithm>
#include <cstring>
#include <optional>

#include "RX_World.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/progress.h"
#include "frame/reports.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace {

constexpr int32_t kCopyRectDepthsLocation = 0x25006D;
constexpr int32_t kUnknownDepthLocation = 0x25006E;

// The part of rect that lands inside both worlds, in destination
// coordinates, and the offset from source to destination.
struct Placement {
  int32_t left, top, right, bottom, dx, dy;
  bool empty() const { return right <= left || bottom <= top; }
};

Placement place(const RX_World& src, const RX_World& dst, const GE_LRect& rect, int32_t dst_x,
                int32_t dst_y) {
  Placement p;
  p.dx = dst_x - rect.left;
  p.dy = dst_y - rect.top;
  p.left = std::max(0, std::max(rect.left, 0) + p.dx);
  p.right = std::min(dst.Width(), std::min(rect.right, src.Width()) + p.dx);
  p.top = std::max(0, std::max(rect.top, 0) + p.dy);
  p.bottom = std::min(dst.Height(), std::min(rect.bottom, src.Height()) + p.dy);
  return p;
}

template <class Px>
Px* row_of(const RX_World& world, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(world.Data()) + intptr_t{y} * world.RowStride());
}

// One row from any depth, dithered through the call's cursor when there is
// one and the depth shrinks.
template <class From, class To>
void convert_row(const From* in, To* out, int32_t count, rx::DitherCursor* dither) {
  if constexpr (std::is_same_v<From, To>) {
    std::memmove(out, in, size_t(count) * sizeof(To));
  } else if constexpr (std::is_same_v<From, RX_PixelFloat> && std::is_same_v<To, RX_Pixel8>) {
    if (dither) {
      rx::convert_row_float_to_8_dithered(in, out, count, *dither);
    } else {
      RXp_ConvertRowFloatTo8(in, out, count);
    }
  } else if constexpr (std::is_same_v<From, RX_Pixel16> && std::is_same_v<To, RX_Pixel8>) {
    if (dither) {
      rx::convert_row_16_to_8_dithered(in, out, count, *dither);
    } else {
      for (int32_t i = 0; i < count; ++i) out[i] = rx::convert_pixel<To>(in[i]);
    }
  } else {
    for (int32_t i = 0; i < count; ++i) out[i] = rx::convert_pixel<To>(in[i]);
  }
}

template <class Body>
void with_source_depth(const RX_World& src, const char* unknown_text, Body&& body) {
  rx::dispatch_depth(src.Depth(), body, [unknown_text] {
    rx::report_error(kUnknownDepthLocation, unknown_text);
    rx::throw_code(RX_Result_Internal);
  });
}

}  // namespace

template <class Px>
void RX_WorldX<Px>::CopyRect(const RX_World& src, const GE_LRect& rect, int32_t dst_x, int32_t dst_y) {
  if (src.Depth() != Depth()) {
    rx::report_verification(rx::msg::kCopyRectDepthsDiffer, kCopyRectDepthsLocation);
    rx::throw_code(RX_Result_Internal);
  }
  const Placement p = place(src, *this, rect, dst_x, dst_y);
  if (p.empty()) return;
  const size_t row_bytes = size_t(p.right - p.left) * sizeof(Px);
  // Top to bottom by memmove: overlapping worlds are safe within a row only.
  for (int32_t y = p.top; y < p.bottom; ++y) {
    std::memmove(Row(y) + p.left, row_of<Px>(src, y - p.dy) + (p.left - p.dx), row_bytes);
  }
}

template <class Px>
void RX_WorldX<Px>::CopyRectPossiblyDifferentBitdepth(const RX_World& src, const GE_LRect& rect,
                                                      bool dither, int32_t dst_x, int32_t dst_y,
                                                      const RX_ProgressInfo* progress) {
  const Placement p = place(src, *this, rect, dst_x, dst_y);
  if (p.empty()) return;
  with_source_depth(src, rx::msg::kCopyRectUnknownDepth, [&]<class From>() {
    // One cursor for the call: the global one is read once and written
    // back once.
    std::optional<rx::DitherCursor> cursor;
    if (dither) cursor.emplace();
    const int32_t total = p.bottom - p.top;
    for (int32_t y = p.top, row = 0; y < p.bottom; ++y, ++row) {
      convert_row(row_of<From>(src, y - p.dy) + (p.left - p.dx), Row(y) + p.left, p.right - p.left,
                  cursor ? &*cursor : nullptr);
      // Progress, or else abort, on every 64th row.
      if ((row & 63) == 63) {
        if (RX_Err err = rx::poll_progress(progress, row, total)) rx::throw_code(err);
      }
    }
  });
}

template <class Px>
void RX_WorldX<Px>::CopyRectPossiblyDifferentBitdepthWithField(const RX_World& src, const GE_LRect& rect,
                                                               int32_t field) {
  // The rectangle's corner lands on the destination's origin.
  const Placement p = place(src, *this, rect, 0, 0);
  if (p.empty()) return;
  with_source_depth(src, rx::msg::kCopyRectWithFieldUnknownDepth, [&]<class From>() {
    rx::DitherCursor cursor;
    for (int32_t y = p.top; y < p.bottom; ++y) {
      // Field 1 keeps even destination rows, field 2 odd ones.
      if ((field == 1 && (y & 1)) || (field == 2 && !(y & 1))) continue;
      convert_row(row_of<From>(src, y - p.dy) + (p.left - p.dx), Row(y) + p.left, p.right - p.left, &cursor);
    }
  });
}

#define RX_INSTANTIATE_COPY_RECT(Px)                                                               \
  template void RX_WorldX<Px>::CopyRect(const RX_World&, const GE_LRect&, int32_t, int32_t);     \
  template void RX_WorldX<Px>::CopyRectPossiblyDifferentBitdepth(                                 \
      const RX_World&, const GE_LRect&, bool, int32_t, int32_t, const RX_ProgressInfo*);          \
  template void RX_WorldX<Px>::CopyRectPossiblyDifferentBitdepthWithField(const RX_World&,        \
                                                                          const GE_LRect&, int32_t);

RX_INSTANTIATE_COPY_RECT(RX_Pixel8)
RX_INSTANTIATE_COPY_RECT(RX_Pixel16)
RX_INSTANTIATE_COPY_RECT(RX_PixelFloat)
