// The geometry of a world transform, independent of depth: each matrix
// classified as a destination-to-source walk in 16.16 steps with the
// sampling radii it needs, the destination area the source can reach, and
// whether a motion path is straight enough for the straight walker.
#pragma once

#include <cstdint>

#include "GE/GE.h"
#include "RX_Sampling.h"

namespace rx::transform {

inline constexpr int32_t kMaxMatrices = 256;  // what the motion blur buffers hold
inline constexpr int32_t kFixedOne = 0x10000;
inline constexpr int32_t kFixedHalf = 0x8000;
inline constexpr double kFixedScale = 65536.0;
inline constexpr double kMaxRadius = 127.0;         // source pixels either side of a box
inline constexpr double kEqualMatrixEpsilon = 1e-12;

// value × 65536 rounded half up, in 64 bits, saturated far beyond any
// position a world can have.
int64_t to_fixed(double value);
// The same cut to 32 bits (steps and line starts as the buffers hold them).
int32_t to_fixed32(double value);

// A 16.16 position or step pair.
struct Fixed2 {
  int64_t x = 0, y = 0;
};

// One destination-to-source matrix as the walkers use it.
struct Walk {
  GE_Matrix3 inverse{};   // destination to source
  double origin_x = 0, origin_y = 0;   // source position of destination (0, 0)
  double step_x_x = 0, step_x_y = 0;   // change of the source position per destination column
  double step_y_x = 0, step_y_y = 0;   // per destination line
  Fixed2 step_x, step_y;               // the same in 16.16, each cut to 32 bits
  double length_x = 0, length_y = 0;   // source pixels per destination pixel along x and y
  int32_t type = 0;                    // GE_GetMatrixType of the matrix in 16.16
  bool flattens = false;               // a length rounds to zero in 16.16
  int32_t x_radius = 0, y_radius = 0;  // 16.16 box radii of the area sampler
  uint32_t area = 0;                   // 16.16 box area
  bool fractional_translation = false; // the 16.16 translation has a fraction

  // The 16.16 source position of destination pixel (x, y), from the double
  // geometry (so that a start is not off by accumulated steps).
  Fixed2 position(int32_t x, int32_t y) const;
  // Radii as the samplers read them.
  RX_SampPB sampling_block(const RX_LayerDef* src) const { return RX_SampPB{x_radius, y_radius, area, src}; }
  bool narrow() const { return x_radius <= kFixedHalf && y_radius <= kFixedHalf; }
};

// Classifies a destination-to-source matrix: its unit steps and origin,
// the lengths of its x and y columns, the matrix type of its 16.16 form,
// flattening, and radii min(127, lengths / 2) so that minification averages
// a box of one destination pixel.
Walk classify(const GE_Matrix3& inverse);

// The destination pixels a source of width × height can touch through a
// source-to-destination matrix: the bounding box of the sampled support
// (one pixel around the source, as far as bilinear taps reach), grown by
// one pixel. A corner at infinity stretches the box to far off; a corner
// that is not a number gives an empty box.
GE_LRect landing_rect(const GE_Matrix3& forward, int32_t width, int32_t height);

// Whether the positions of destination (0, 0) under walks[0..count) leave
// a straight line: the first and last steps point other ways, or a
// position is 0.9 pixels or more off the first difference's line.
bool curved_path(const Walk* walks, int32_t count);

}  // namespace rx::transform
