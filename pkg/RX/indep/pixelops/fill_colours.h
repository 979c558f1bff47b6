// Colour arguments of the fills at the depth of the world they fill, and
// the rectangle and row helpers the flat fills and the world methods share.
// Each conversion is exact as written: the fills round differently from
// the copies (see value_conversions.h), and callers rely on both.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "KO/KO.h"
#include "RX_Pixels.h"
#include "worlds/depth_traits.h"
#include "worlds/value_conversions.h"

namespace rx {

// 1/255 in double: a fill of an 8-bit colour into a float world can differ
// in the last bit from a copy of the same colour, which uses the float
// constant.
inline constexpr double kFillByteToFloat = 0.00392156862745098;

template <class Px, class From, class Channel>
Px map_channels(const From& c, Channel channel) {
  using Cv = typename Depth<Px>::Cv;
  return {static_cast<Cv>(channel(c.alpha)), static_cast<Cv>(channel(c.red)),
          static_cast<Cv>(channel(c.green)), static_cast<Cv>(channel(c.blue))};
}

// An 8-bit colour (RX_Fill). At 16 bits ((c << 15) | 128) / 255, not the
// copies' multiply and shift.
template <class Px>
Px fill_colour_from_8(const RX_Pixel8& colour) {
  return map_channels<Px>(colour, [](uint8_t c) {
    if constexpr (Depth<Px>::depth == 8)
      return c;
    else if constexpr (Depth<Px>::depth == 16)
      return ((uint32_t{c} << 15) | 128u) / 255u;
    else
      return static_cast<float>(c * kFillByteToFloat);
  });
}

// A 16-bit colour (RX_Fill16 and the world's 16-bit Fill). A channel above
// 32768 is not refused; at 8 bits it keeps the low byte of the result.
template <class Px>
Px fill_colour_from_16(const RX_Pixel16& colour) {
  return map_channels<Px>(colour, [](uint16_t c) {
    if constexpr (Depth<Px>::depth == 8)
      return (uint32_t{c} * 255u + 16384u) >> 15;
    else if constexpr (Depth<Px>::depth == 16)
      return c;
    else
      return static_cast<float>(c) * kWordToFloat;
  });
}

// A float colour with all four channels clamped to 0..white (RX_FillFloat).
template <class Px>
Px fill_colour_from_float_clamped(const RX_PixelFloat& colour) {
  if constexpr (Depth<Px>::depth == 32) {
    return colour;
  } else {
    constexpr float white = Depth<Px>::white;
    return map_channels<Px>(colour, [](float c) { return float_colour_to_int(c, white); });
  }
}

// A float colour with alpha rounded but not clamped, so that it wraps in
// the smaller type (the world's float Fill, like CopyRect).
template <class Px>
Px fill_colour_from_float(const RX_PixelFloat& colour) {
  if constexpr (Depth<Px>::depth == 8)
    return convert_float_to_8(colour);
  else if constexpr (Depth<Px>::depth == 16)
    return convert_float_to_16(colour);
  else
    return colour;
}

// Rows [top, bottom) and columns [left, right) of a world; empty when
// right <= left or bottom <= top.
struct PixelSpan {
  int32_t left, top, right, bottom;
  bool empty() const { return right <= left || bottom <= top; }
  int32_t width() const { return right - left; }
};

// The part of rect inside a world of width by height; null is the whole
// world. A rectangle given backwards stays empty.
inline PixelSpan clip_to_world(const GE_LRect* rect, int32_t width, int32_t height) {
  if (!rect) return {0, 0, width, height};
  return {std::max(rect->left, 0), std::max(rect->top, 0), std::min(rect->right, width),
          std::min(rect->bottom, height)};
}

template <class Px>
Px* pixel_row(const RX_LayerDef& world, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(world.data) + intptr_t{y} * world.row_stride);
}

// count copies of colour from row on, by the host's 32-bit store at 8 bits.
template <class Px>
void store_pixels(Px* row, int32_t count, const Px& colour) {
  if constexpr (Depth<Px>::depth == 8) {
    uint32_t word;
    std::memcpy(&word, &colour, sizeof word);
    KOp_Memset32(row, word, size_t(count));
  } else {
    std::fill_n(row, count, colour);
  }
}

// True when every byte of the pixel is zero (so -0.0 is not zero: a fill
// stores exactly the bits it was given).
template <class Px>
bool all_bits_zero(const Px& colour) {
  const Px zero{};
  return std::memcmp(&colour, &zero, sizeof(Px)) == 0;
}

}  // namespace rx
