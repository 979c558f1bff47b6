// Samplers that move a map by a 3x3 matrix: output cell (x, y) reads the
// input at ((x+.5) m00 + (y+.5) m10 + m20, (x+.5) m01 + (y+.5) m11 + m21),
// the position stepped by one column's increment along a row. Eight row
// kernels: nearest, bilinear, bicubic, windowed sinc (radius 5) and a
// filtered level fetch; with the area form, nearest, bilinear and bicubic
// averaged over the cell's footprint.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Config.h"
#include "frameblend/framework/imager.h"
#include "frameblend/maps/map_stack.h"

namespace RX_Engine {

// Point kernels at a continuous position of a map's own frame, in the
// map's Interp type.
template <class Px, class Interp>
struct FnPointKernels {
  using Map = FnTexture<Px, Interp>;
  using Traits = FnPixelTraits<Px>;

  // The cell that contains the position.
  static Interp nearest(const Map& map, float x, float y) {
    const int32_t cx = fn_floor_index(std::floor(x - map.xAxis().floatOrigin));
    const int32_t cy = fn_floor_index(std::floor(y - map.yAxis().floatOrigin));
    return Traits::toInterp(map.mapOrBackground(cx, cy));
  }
  // Catmull-Rom over the 4 x 4 cells around the position.
  static Interp bicubic(const Map& map, float x, float y) {
    const float fx = x - 0.5f - map.xAxis().floatOrigin;
    const float fy = y - 0.5f - map.yAxis().floatOrigin;
    const float bx = std::floor(fx), by = std::floor(fy);
    float wx[4], wy[4];
    catmull_rom(fx - bx, wx);
    catmull_rom(fy - by, wy);
    const int32_t ix = fn_floor_index(bx), iy = fn_floor_index(by);
    Interp sum = fn_scale(Traits::toInterp(map.background()), 0.0f);
    for (int32_t j = 0; j < 4; ++j) {
      Interp row = fn_scale(sum, 0.0f);
      for (int32_t i = 0; i < 4; ++i) {
        row = fn_add(row, fn_scale(Traits::toInterp(map.mapOrBackground(ix - 1 + i, iy - 1 + j)),
                                   wx[i]));
      }
      sum = fn_add(sum, fn_scale(row, wy[j]));
    }
    return sum;
  }
  // Windowed sinc of radius R: taps i = floor(p) - R .. floor(p) + R at
  // distance d = (p - 0.5) - i weigh (cos(pi d / R) + 1) / 2 x sin(pi d) / d
  // (1 at d = 0), normalised; near a cell centre on both axes the bilinear
  // sample is used.
  static Interp sinc(const Map& map, float x, float y, int32_t radius) {
    const float px = x - map.xAxis().floatOrigin;
    const float py = y - map.yAxis().floatOrigin;
    const float frac_x = (px - 0.5f) - std::floor(px - 0.5f);
    const float frac_y = (py - 0.5f) - std::floor(py - 0.5f);
    const auto near_centre = [](float f) { return f <= 0.01f || f >= 0.99f; };
    if (near_centre(frac_x) && near_centre(frac_y)) return map.sample(x, y);
    const int32_t taps = 2 * radius + 1;
    float wx[2 * kMaxSincRadius + 1], wy[2 * kMaxSincRadius + 1];
    const int32_t base_x = fn_floor_index(std::floor(px)) - radius;
    const int32_t base_y = fn_floor_index(std::floor(py)) - radius;
    sinc_weights(px, base_x, radius, wx);
    sinc_weights(py, base_y, radius, wy);
    Interp sum = fn_scale(Traits::toInterp(map.background()), 0.0f);
    for (int32_t j = 0; j < taps; ++j) {
      Interp row = fn_scale(sum, 0.0f);
      for (int32_t i = 0; i < taps; ++i) {
        row = fn_add(row, fn_scale(Traits::toInterp(map.mapOrBackground(base_x + i, base_y + j)),
                                   wx[i]));
      }
      sum = fn_add(sum, fn_scale(row, wy[j]));
    }
    return sum;
  }

  static constexpr int32_t kMaxSincRadius = 10;

 private:
  static void catmull_rom(float t, float w[4]) {
    const float t2 = t * t, t3 = t2 * t;
    w[0] = (-t3 + 2.0f * t2 - t) * 0.5f;
    w[1] = (3.0f * t3 - 5.0f * t2 + 2.0f) * 0.5f;
    w[2] = (-3.0f * t3 + 4.0f * t2 + t) * 0.5f;
    w[3] = (t3 - t2) * 0.5f;
  }
  static void sinc_weights(float p, int32_t base, int32_t radius, float* w) {
    const double pi = 3.14159265358979323846;
    float sum = 0.0f;
    for (int32_t i = 0; i <= 2 * radius; ++i) {
      const float d = (p - 0.5f) - float(base + i);
      const float weight =
          d == 0.0f ? 1.0f
                    : float((std::cos(pi * d / radius) + 1.0) / 2.0 * std::sin(pi * d) / d);
      w[i] = weight;
      sum += weight;
    }
    for (int32_t i = 0; i <= 2 * radius; ++i) w[i] /= sum;
  }
};

template <class Px, class Interp, int Scale>
class FnDualMoveSampler : public Sampler<Px, Px> {
 public:
  using Map = FnTexture<Px, Interp>;
  using Kernels = FnPointKernels<Px, Interp>;
  enum FnMoveMode : int32_t {
    kModeNearest = 0,
    kModeBilinear = 1,
    kModeBicubic = 2,
    kModeSinc = 3,
    kModeLevel = 4,
  };
  enum : uint32_t { kOptionArea = 1u, kOptionSecondInput = 2u };
  static constexpr int32_t kSincRadius = 5;
  // Footprint samples per axis of the area form, at most.
  static constexpr int32_t kMaxAreaSamples = 8;

  explicit FnDualMoveSampler(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }

  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    auto& out = *this->output();
    this->forEachRow(range, [&](int32_t y) {
      Px* dst = out.row(y);
      if (options_ & kOptionArea) {
        switch (mode_) {
          case kModeNearest: rowAreaNearest(y, range.xFirst, range.xEnd, dst); break;
          case kModeBicubic: rowAreaBicubic(y, range.xFirst, range.xEnd, dst); break;
          default: rowAreaBilinear(y, range.xFirst, range.xEnd, dst); break;
        }
        return;
      }
      switch (mode_) {
        case kModeNearest: rowNearest(y, range.xFirst, range.xEnd, dst); break;
        case kModeBicubic: rowBicubic(y, range.xFirst, range.xEnd, dst); break;
        case kModeSinc: rowSinc(y, range.xFirst, range.xEnd, dst); break;
        case kModeLevel: rowLevel(y, range.xFirst, range.xEnd, dst); break;
        default: rowBilinear(y, range.xFirst, range.xEnd, dst); break;
      }
    });
  }

  virtual void rowNearest(int32_t y, int32_t x0, int32_t x1, Px* out) {
    pointRow(y, x0, x1, out, [](const Map& m, float sx, float sy) {
      return Kernels::nearest(m, sx, sy);
    });
  }
  virtual void rowBilinear(int32_t y, int32_t x0, int32_t x1, Px* out) {
    pointRow(y, x0, x1, out, [](const Map& m, float sx, float sy) { return m.sample(sx, sy); });
  }
  virtual void rowBicubic(int32_t y, int32_t x0, int32_t x1, Px* out) {
    pointRow(y, x0, x1, out, [](const Map& m, float sx, float sy) {
      return Kernels::bicubic(m, sx, sy);
    });
  }
  virtual void rowSinc(int32_t y, int32_t x0, int32_t x1, Px* out) {
    pointRow(y, x0, x1, out, [](const Map& m, float sx, float sy) {
      return Kernels::sinc(m, sx, sy, kSincRadius);
    });
  }
  // Through the bound stack (positions in its level-0 units), the levels
  // chosen by the matrix's footprint; without a stack, bilinear.
  virtual void rowLevel(int32_t y, int32_t x0, int32_t x1, Px* out) {
    const float fx = std::hypot(matrix_.m[0][0], matrix_.m[0][1]);
    const float fy = std::hypot(matrix_.m[1][0], matrix_.m[1][1]);
    const FnMapStack<Px, Interp>* stack = stack_;
    pointRow(y, x0, x1, out, [stack, fx, fy](const Map& m, float sx, float sy) {
      return stack && stack->level(0) == &m ? stack->sampleFiltered(sx, sy, fx, fy)
                                            : m.sample(sx, sy);
    });
  }
  virtual void rowAreaNearest(int32_t y, int32_t x0, int32_t x1, Px* out) {
    areaRow(y, x0, x1, out, [](const Map& m, float sx, float sy) {
      return Kernels::nearest(m, sx, sy);
    });
  }
  virtual void rowAreaBilinear(int32_t y, int32_t x0, int32_t x1, Px* out) {
    areaRow(y, x0, x1, out, [](const Map& m, float sx, float sy) { return m.sample(sx, sy); });
  }
  virtual void rowAreaBicubic(int32_t y, int32_t x0, int32_t x1, Px* out) {
    areaRow(y, x0, x1, out, [](const Map& m, float sx, float sy) {
      return Kernels::bicubic(m, sx, sy);
    });
  }

  void setMatrix(const FnMatrix3& matrix) { matrix_ = matrix; }
  const FnMatrix3& matrix() const { return matrix_; }
  void setMode(int32_t mode) { mode_ = mode; }
  int32_t mode() const { return mode_; }
  void setScale(float scale) { scale_ = scale; }
  float scale() const { return scale_; }
  void setOptions(uint32_t options) { options_ = options; }
  uint32_t options() const { return options_; }
  void setLevel(int32_t level) { level_ = level; }
  int32_t level() const { return level_; }
  // A second input sampled at the same positions; with the option set the
  // output is the mean of the two samples.
  void setSecondInput(const Map* second) { second_ = second; }
  // The stack a level fetch reads; its level 0 must be the input.
  void setStack(const FnMapStack<Px, Interp>* stack) { stack_ = stack; }

 protected:
  template <class Kernel>
  Interp fetch(float sx, float sy, Kernel kernel) const {
    const Interp first = kernel(*this->input_, sx, sy);
    if (!(options_ & kOptionSecondInput) || !second_) return first;
    return fn_scale(fn_add(first, kernel(*second_, sx, sy)), 0.5f);
  }
  template <class Kernel>
  void pointRow(int32_t y, int32_t x0, int32_t x1, Px* out, Kernel kernel) const {
    float sx, sy;
    matrix_.transform(float(x0) + 0.5f, float(y) + 0.5f, &sx, &sy);
    const float dx = matrix_.m[0][0], dy = matrix_.m[0][1];
    for (int32_t x = x0; x < x1; ++x) {
      out[x] = fn_store<Px>(fetch(sx, sy, kernel));
      sx += dx;
      sy += dy;
    }
  }
  // The footprint of a cell sampled n x n times, n the footprint's larger
  // side rounded up (1 to 8), and averaged.
  template <class Kernel>
  void areaRow(int32_t y, int32_t x0, int32_t x1, Px* out, Kernel kernel) const {
    const float extent = std::max(std::hypot(matrix_.m[0][0], matrix_.m[0][1]),
                                  std::hypot(matrix_.m[1][0], matrix_.m[1][1]));
    const int32_t n = std::clamp(int32_t(std::ceil(extent)), 1, kMaxAreaSamples);
    const float step = 1.0f / float(n);
    const float weight = 1.0f / float(n * n);
    for (int32_t x = x0; x < x1; ++x) {
      Interp sum{};
      for (int32_t j = 0; j < n; ++j) {
        for (int32_t i = 0; i < n; ++i) {
          float sx, sy;
          matrix_.transform(float(x) + (float(i) + 0.5f) * step, float(y) + (float(j) + 0.5f) * step,
                            &sx, &sy);
          sum = fn_add(sum, fetch(sx, sy, kernel));
        }
      }
      out[x] = fn_store<Px>(fn_scale(sum, weight));
    }
  }

  FnMatrix3 matrix_ = FnMatrix3::identity();
  int32_t mode_ = kModeNearest;
  float scale_ = 1.0f;
  uint32_t options_ = 0;
  int32_t level_ = 0;
  const Map* second_ = nullptr;
  const FnMapStack<Px, Interp>* stack_ = nullptr;
};

// The form with one input.
template <class Px, class Interp, int Scale>
class FnMoveSampler : public FnDualMoveSampler<Px, Interp, Scale> {
 public:
  using FnDualMoveSampler<Px, Interp, Scale>::FnDualMoveSampler;
  void setOptions(uint32_t options) {
    FnDualMoveSampler<Px, Interp, Scale>::setOptions(
        options & ~FnDualMoveSampler<Px, Interp, Scale>::kOptionSecondInput);
  }
};

extern template class FnDualMoveSampler<FnPixel8, FnPixelFloat, 255>;
extern template class FnDualMoveSampler<FnPixel16, FnPixelFloat, 32768>;
extern template class FnDualMoveSampler<FnPixelFloat, FnPixelFloat, 1>;
extern template class FnDualMoveSampler<float, float, 1>;
extern template class FnDualMoveSampler<HvVec2, HvVec2, 1>;
extern template class FnMoveSampler<FnPixel8, FnPixelFloat, 255>;
extern template class FnMoveSampler<FnPixel16, FnPixelFloat, 32768>;
extern template class FnMoveSampler<FnPixelFloat, FnPixelFloat, 1>;
extern template class FnMoveSampler<float, float, 1>;
extern template class FnMoveSampler<HvVec2, HvVec2, 1>;

}  // namespace RX_Engine

