// Filtered pyramids: a stack of maps, each the previous one filtered and
// reduced to half size. The stock filter is three box passes of radius
// filterSize / 3; the other route convolves with a sampled Gaussian of
// filterSize taps. Levels run one after the other on the calling thread;
// inside a level each operator cuts its rows among the workers.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "frameblend/framework/imager.h"
#include "frameblend/maps/map_stack.h"

namespace RX_Engine {

template <class Px, class Interp, int Scale>
class FnFilteredPyramid : public Generator<FnTexture<Px, Interp>> {
 public:
  using Map = FnTexture<Px, Interp>;
  using Stack = FnMapStack<Px, Interp>;
  enum : uint32_t { kOptionKernelFilter = 1u };
  static constexpr int32_t kDefaultLevels = 4;
  static constexpr int32_t kFilterSize = 3;
  static constexpr float kSpread = 2.25f;

  // Builds the stack over input (level 0, not owned) with levels levels;
  // sizes halve unless given.
  FnFilteredPyramid(Map* input, int32_t levels = kDefaultLevels,
                    RX_FnInterruptContext* context = nullptr, const int32_t* widths = nullptr,
                    const int32_t* heights = nullptr);
  ~FnFilteredPyramid() override;

  void begin() override;
  // Runs level after level.
  void generateRows() override;
  // Called with the source and its filtered copy of each level; nothing
  // here.
  virtual void filtered(Map& source, Map& filteredCopy);

  // Builds every level from the input.
  void build() { this->process(stack_ ? stack_->level(0) : nullptr); }
  Stack* stack() const { return stack_; }
  int32_t levels() const { return levels_; }
  int32_t error() const { return stack_ ? stack_->error() : 4; }
  void setFilterSize(int32_t size) { filterSize_ = size; }
  void setSpread(float spread) { spread_ = spread; }
  void setOptions(uint32_t options) { options_ = options; }
  int32_t filterSize() const { return filterSize_; }
  float spread() const { return spread_; }
  uint32_t options() const { return options_; }

 private:
  bool filterLevel(Map& source, Map& temporary);

  Stack* stack_;
  int32_t filterSize_ = kFilterSize;
  float spread_ = kSpread;
  int32_t levels_ = kDefaultLevels;
  uint32_t options_ = 0;
};

// The pyramid with a mask input; its step after the filter does nothing as
// built here, for a class that needs one to override.
template <class Px, class Interp, int Scale>
class FnFilteredPyramidAlpha : public FnFilteredPyramid<Px, Interp, Scale> {
 public:
  using FnFilteredPyramid<Px, Interp, Scale>::FnFilteredPyramid;
  using Map = typename FnFilteredPyramid<Px, Interp, Scale>::Map;
  void filtered(Map& source, Map& filteredCopy) override;
  void setMask(const Map* mask) { mask_ = mask; }
  const Map* mask() const { return mask_; }

 private:
  const Map* mask_ = nullptr;
};

// The taps of the kernel route: tap j has k = size / 2 - j and weight
// exp(-(k k) / (2 spread)), k k in f32, the rest in double, stored as f32,
// then divided by their f32 sum.
void FnPyramidKernelTaps(int32_t size, float spread, float* taps);

extern template class FnFilteredPyramid<float, float, 1>;
extern template class FnFilteredPyramidAlpha<float, float, 1>;

}  // namespace RX_Engine

