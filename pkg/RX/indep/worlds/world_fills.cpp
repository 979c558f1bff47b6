// The fills of world objects: Clear, ClearExceptRect, Fill of a float or a
// 16-bit colour, FillAlpha and InvertAlpha, one body for the three pixel
// types. The float Fill leaves alpha unclamped, as CopyRect does.
#include <algorithm>
#include <cstring>

#include "RX_World.h"
#include "pixelops/fill_colours.h"
#include "worlds/depth_traits.h"

namespace {

template <class Px>
void fill_span(RX_WorldX<Px>& world, const rx::PixelSpan& span, const Px& colour) {
  for (int32_t y = span.top; y < span.bottom; ++y) {
    std::fill_n(world.Row(y) + span.left, span.width(), colour);
  }
}

}  // namespace

// On rows that touch end to end the memset counts the whole world's
// width * height pixels from the clipped top row, whatever the rectangle's
// height: callers pass full-height rectangles on such worlds, and the
// count is kept as it is.
template <class Px>
void RX_WorldX<Px>::Clear(const GE_LRect* rect) {
  const rx::PixelSpan span = rx::clip_to_world(rect, Width(), Height());
  if (span.empty()) return;
  const size_t row_bytes = size_t(span.width()) * sizeof(Px);
  if (RowStride() >= 0 && size_t(RowStride()) == row_bytes) {
    std::memset(Row(span.top) + span.left, 0, size_t(Width()) * size_t(Height()) * sizeof(Px));
    return;
  }
  for (int32_t y = span.top; y < span.bottom; ++y) std::memset(Row(y) + span.left, 0, row_bytes);
}

template <class Px>
void RX_WorldX<Px>::ClearExceptRect(const GE_LRect& rect) {
  const rx::PixelSpan keep = rx::clip_to_world(&rect, Width(), Height());
  if (keep.empty()) {
    Clear(nullptr);
    return;
  }
  if (keep.left == 0 && keep.top == 0 && keep.right == Width() && keep.bottom == Height()) return;
  const size_t left_bytes = size_t(keep.left) * sizeof(Px);
  const size_t right_bytes = size_t(Width() - keep.right) * sizeof(Px);
  const size_t row_bytes = size_t(Width()) * sizeof(Px);
  for (int32_t y = 0; y < Height(); ++y) {
    if (y >= keep.top && y < keep.bottom) {
      std::memset(Row(y), 0, left_bytes);
      std::memset(Row(y) + keep.right, 0, right_bytes);
    } else {
      std::memset(Row(y), 0, row_bytes);
    }
  }
}

template <class Px>
void RX_WorldX<Px>::Fill(const RX_PixelFloat& colour, const GE_LRect* rect) {
  const rx::PixelSpan span = rx::clip_to_world(rect, Width(), Height());
  if (span.empty()) return;
  fill_span(*this, span, rx::fill_colour_from_float<Px>(colour));
}

template <class Px>
void RX_WorldX<Px>::Fill(const RX_Pixel16& colour, const GE_LRect* rect) {
  const rx::PixelSpan span = rx::clip_to_world(rect, Width(), Height());
  if (span.empty()) return;
  fill_span(*this, span, rx::fill_colour_from_16<Px>(colour));
}

template <class Px>
void RX_WorldX<Px>::FillAlpha() {
  for (int32_t y = 0; y < Height(); ++y) {
    Px* row = Row(y);
    for (int32_t x = 0; x < Width(); ++x) row[x].alpha = rx::Depth<Px>::white;
  }
}

// White minus alpha in the channel's own type: at 8 bits the bitwise not,
// at 16 bits a value above 32768 wraps, in float over-range goes negative.
template <class Px>
void RX_WorldX<Px>::InvertAlpha() {
  using Cv = typename rx::Depth<Px>::Cv;
  for (int32_t y = 0; y < Height(); ++y) {
    Px* row = Row(y);
    for (int32_t x = 0; x < Width(); ++x) row[x].alpha = Cv(rx::Depth<Px>::white - row[x].alpha);
  }
}

#define RX_INSTANTIATE_WORLD_FILLS(Px)                                      \
  template void RX_WorldX<Px>::Clear(const GE_LRect*);                      \
  template void RX_WorldX<Px>::ClearExceptRect(const GE_LRect&);            \
  template void RX_WorldX<Px>::Fill(const RX_PixelFloat&, const GE_LRect*); \
  template void RX_WorldX<Px>::Fill(const RX_Pixel16&, const GE_LRect*);    \
  template void RX_WorldX<Px>::FillAlpha();                                 \
  template void RX_WorldX<Px>::InvertAlpha();

RX_INSTANTIATE_WORLD_FILLS(RX_Pixel8)
RX_INSTANTIATE_WORLD_FILLS(RX_Pixel16)
RX_INSTANTIATE_WORLD_FILLS(RX_PixelFloat)
