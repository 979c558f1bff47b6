// Feathering a layer's coverage before it is composited: the track matte's
// coverage (or, without a matte, the layer's own alpha) is taken into a
// mask buffer, blurred by rows and by columns with the package's Gaussian
// uno scans, and multiplied into the layer's alpha with RX_MergeMaskAlpha.
// A matte is read through lazy tiles: only the tiles under the layer's
// rectangle and the blur's margin are copied.
#pragma once

#include <cstdint>

#include "picture.h"

namespace rxtool {

// Tiles of the matte that were made, of all its tiles.
// The largest feather radius the tool takes, in pixels.
inline constexpr double kMaxFeather = 1000.0;

struct FeatherTiles {
  int32_t made = 0;
  int32_t total = 0;
};

// The edge of a lazy tile of the matte, in pixels.
inline constexpr int16_t kFeatherTileSize = 64;

// Multiplies the layer's alpha by the coverage blurred with radius pixels
// (more than 0). The matte, when given, has the layer's depth and its
// corner on the layer's; matte_kind is a track matte kind (0 alpha, 1
// inverted alpha, 2 luma, 3 inverted luma): outside the matte the coverage
// is full for the inverted kinds and none for the others. Throws ToolError.
FeatherTiles feather_layer(Picture& layer, const Picture* matte, int32_t matte_kind, double radius,
                           const RX_ProgressInfo* progress);

}  // namespace rxtool
