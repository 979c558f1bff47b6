// What each pixel type means: channel type, white, depth number, size.
// Families of the package are written once over these and instantiated
// per depth.
#pragma once

#include <cstdint>

#include "RX_Pixels.h"

namespace rx {

template <class Px>
struct Depth;

template <>
struct Depth<RX_Pixel8> {
  using Cv = uint8_t;
  static constexpr int32_t depth = 8;
  static constexpr int32_t white = 255;
  static constexpr uint8_t format_code = RX_FormatCode_8;
};

template <>
struct Depth<RX_Pixel16> {
  using Cv = uint16_t;
  static constexpr int32_t depth = 16;
  static constexpr int32_t white = 32768;  // not 65535
  static constexpr uint8_t format_code = RX_FormatCode_16;
};

template <>
struct Depth<RX_PixelFloat> {
  using Cv = float;
  static constexpr int32_t depth = 32;
  static constexpr float white = 1.0f;
  static constexpr uint8_t format_code = RX_FormatCode_Float;
};

// Bytes per pixel of a depth: depth / 2.
constexpr int32_t pixel_size_of_depth(int32_t depth) { return depth / 2; }

}  // namespace rx
