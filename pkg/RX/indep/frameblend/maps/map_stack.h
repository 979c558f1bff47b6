// A stack of maps, each half the size of the one before: element 0 is the
// caller's map, the others are made and owned here. Sampling at a level
// takes positions in level-0 units; a filtered fetch chooses two levels by
// the size of the footprint and mixes them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "RX_Config.h"
#include "frameblend/maps/texture.h"

namespace RX_Engine {

// Two levels and the weight of the upper one.
struct FnLevelChoice {
  int32_t lower;
  int32_t upper;
  float blend;
};

// x = max(scaleX, scaleY) x baseFactor: at most 1 is level 0, at or above
// the limit the last level, else l = log(x) x invLogLimit x (levels - 1)
// gives trunc(l), the next level and the fraction of l.
FnLevelChoice FnChooseLevel(float scaleX, float scaleY, float baseFactor, float limit,
                            float invLogLimit, int32_t levels);

template <class Px, class Interp = FnInterpOf<Px>>
class FnMapStack {
 public:
  using Map = FnTexture<Px, Interp>;
  enum : int32_t { kNoError = 0 };

  // Element i halves element i - 1 (integer division) unless sizes are
  // given; float origins halve, border modes and background follow the
  // input. A failed allocation sets the error word to 4.
  FnMapStack(Map* input, int32_t levels, const int32_t* widths = nullptr,
             const int32_t* heights = nullptr)
      : count_(std::max(1, levels)) {
    maps_ = new (std::nothrow) Map*[size_t(count_)]();
    masks_ = new (std::nothrow) Map*[size_t(count_)]();
    if (!maps_ || !masks_) {
      error_ = 4;
      return;
    }
    maps_[0] = input;
    if (!input) {
      error_ = 4;
      return;
    }
    for (int32_t i = 1; i < count_; ++i) {
      const Map& previous = *maps_[i - 1];
      const int32_t w = widths ? widths[i] : previous.width() / 2;
      const int32_t h = heights ? heights[i] : previous.height() / 2;
      Map* level = new (std::nothrow) Map(w, h);
      if (!level) {
        error_ = 4;
        return;
      }
      maps_[i] = level;
      if (level->allocationFailed()) error_ = 4;
      level->setFloatOrigin(previous.xAxis().floatOrigin * 0.5f,
                            previous.yAxis().floatOrigin * 0.5f);
      level->setBorderModes(input->xAxis().borderMode, input->yAxis().borderMode);
      level->setBackground(input->background());
    }
  }
  ~FnMapStack() {
    if (maps_) {
      for (int32_t i = 1; i < count_; ++i) delete maps_[i];
    }
    if (masks_) {
      for (int32_t i = 1; i < count_; ++i) delete masks_[i];
    }
    delete[] maps_;
    delete[] masks_;
  }
  FnMapStack(const FnMapStack&) = delete;
  FnMapStack& operator=(const FnMapStack&) = delete;

  int32_t count() const { return count_; }
  int32_t error() const { return error_; }
  Map* level(int32_t i) const { return maps_ ? maps_[i] : nullptr; }
  // Masks of the levels for forms that carry one; none by default.
  Map* mask(int32_t i) const { return masks_ ? masks_[i] : nullptr; }

  // The fetch's limits: a footprint of 2^(levels-1) cells or more takes the
  // last level, so that level l serves a footprint of 2^l cells.
  float baseFactor() const { return 1.0f; }
  float limit() const { return std::ldexp(1.0f, count_ - 1); }
  float invLogLimit() const { return count_ > 1 ? 1.0f / std::log(limit()) : 0.0f; }

  // Bilinear in level l at a position in level-0 units.
  Interp sampleLevel(float x, float y, int32_t l) const {
    const Map& base = *maps_[0];
    const Map& map = *maps_[l];
    const float rx = base.width() > 0 ? float(map.width()) / float(base.width()) : 1.0f;
    const float ry = base.height() > 0 ? float(map.height()) / float(base.height()) : 1.0f;
    return map.sample(x * rx, y * ry);
  }
  // The two levels the footprint chooses, mixed by the choice's fraction.
  Interp sampleFiltered(float x, float y, float scaleX, float scaleY) const {
    const FnLevelChoice choice =
        FnChooseLevel(scaleX, scaleY, baseFactor(), limit(), invLogLimit(), count_);
    const Interp lower = sampleLevel(x, y, choice.lower);
    if (choice.blend == 0.0f || choice.upper == choice.lower) return lower;
    return FnPixelTraits<Px>::lerp(lower, sampleLevel(x, y, choice.upper), choice.blend);
  }

 private:
  Map** maps_ = nullptr;
  Map** masks_ = nullptr;
  int32_t count_;
  int32_t error_ = kNoError;
};

extern template class FnMapStack<float, float>;
extern template class FnMapStack<FnPixel8, FnPixelFloat>;
extern template class FnMapStack<FnPixel16, FnPixelFloat>;
extern template class FnMapStack<FnPixelFloat, FnPixelFloat>;

}  // namespace RX_Engine

