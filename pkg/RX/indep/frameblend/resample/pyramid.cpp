// Filtered pyramids of float maps.
#include "frameblend/resample/pyramid.h"

#include <cmath>
#include <new>
#include <vector>

#include "frameblend/resample/box_blur.h"
#include "frameblend/resample/kernels.h"
#include "frameblend/resample/zoomers.h"

namespace RX_Engine {

void FnPyramidKernelTaps(int32_t size, float spread, float* taps) {
  float sum = 0.0f;
  for (int32_t j = 0; j < size; ++j) {
    const int32_t k = size / 2 - j;
    const float k2 = float(k) * float(k);
    taps[j] = float(std::exp(-double(k2) / (2.0 * double(spread))));
    sum += taps[j];
  }
  for (int32_t j = 0; j < size; ++j) taps[j] = taps[j] / sum;
}

template <class Px, class Interp, int Scale>
FnFilteredPyramid<Px, Interp, Scale>::FnFilteredPyramid(Map* input, int32_t levels,
                                                        RX_FnInterruptContext* context,
                                                        const int32_t* widths,
                                                        const int32_t* heights)
    : Generator<Map>(context), stack_(new (std::nothrow) Stack(input, levels, widths, heights)) {
  if (stack_) levels_ = stack_->count();
  // Levels are serial: this runs on the calling thread, its operators
  // fan out.
  this->setSingleThread(true);
}

template <class Px, class Interp, int Scale>
FnFilteredPyramid<Px, Interp, Scale>::~FnFilteredPyramid() {
  delete stack_;
}

template <class Px, class Interp, int Scale>
void FnFilteredPyramid<Px, Interp, Scale>::begin() {
  if (!stack_ || stack_->error()) this->stopWith(RX_Result_OutOfMemory);
}

template <class Px, class Interp, int Scale>
void FnFilteredPyramid<Px, Interp, Scale>::filtered(Map&, Map&) {}

template <class Px, class Interp, int Scale>
bool FnFilteredPyramid<Px, Interp, Scale>::filterLevel(Map& source, Map& temporary) {
  RX_FnInterruptContext* context = this->interruptContext();
  if (!(options_ & kOptionKernelFilter)) {
    const float radius = float(filterSize_ / 3);
    BlurGeneralGauss<float, float, 1, 1, 1, 1, 0> blur(radius, radius, 3, context);
    blur.process(&source, &temporary);
    filtered(source, temporary);
    return true;
  }
  std::vector<float> taps(size_t(std::max(filterSize_, 1)));
  FnPyramidKernelTaps(filterSize_, spread_, taps.data());
  KernelSampler<float, float> convolve(context);
  if (!convolve.setTaps(taps.data(), filterSize_, taps.data(), filterSize_)) return false;
  convolve.process(&source, &temporary);
  return true;
}

template <class Px, class Interp, int Scale>
void FnFilteredPyramid<Px, Interp, Scale>::generateRows() {
  for (int32_t i = 1; i < levels_; ++i) {
    Map& source = *stack_->level(i - 1);
    Map& target = *stack_->level(i);
    if (!source.pixels() || !target.pixels()) {
      this->stopWith(RX_Result_OutOfMemory);
      return;
    }
    Map temporary;
    if (!temporary.allocateLike(source)) {
      this->stopWith(RX_Result_OutOfMemory);
      return;
    }
    temporary.setBackground(source.background());
    if (!filterLevel(source, temporary)) {
      this->stopWith(RX_Result_OutOfMemory);
      return;
    }
    FnImageZoomSampler<float, float> reduce(this->interruptContext());
    reduce.process(&temporary, &target);
    if (this->pollStop()) return;
  }
}

template <class Px, class Interp, int Scale>
void FnFilteredPyramidAlpha<Px, Interp, Scale>::filtered(Map&, Map&) {}

template class FnFilteredPyramid<float, float, 1>;
template class FnFilteredPyramidAlpha<float, float, 1>;

}  // namespace RX_Engine
