// Separable kernels at any sub-pixel phase, their tables and caches, and
// the samplers that convolve with them. The kernel family: taps at offsets
// j = -n..n (n = ceil(radius)) from the cell nearest the sample position,
// weight exp(-d^2 / (2 (radius/2)^2)) at distance d = j - phase for
// d within the radius, normalised to sum 1; radius 0, or no tap within
// the radius, is the centre tap 1 alone.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "frameblend/framework/imager.h"

namespace RX_Engine {

// Taps of a kernel of radius r: 2 ceil(r) + 1 for positive r, else 1.
int32_t FnKernelTapCount(float radius);
// The kernel family at phase (-0.5..0.5), count taps from offset -count/2.
void FnFillKernel(float radius, float phase, float* taps, int32_t count);

class FnKernel1D {
 public:
  FnKernel1D() = default;
  ~FnKernel1D();
  FnKernel1D(const FnKernel1D&) = delete;
  FnKernel1D& operator=(const FnKernel1D&) = delete;
  // Sizes the taps for radius; false when memory failed (no taps then).
  bool resize(float radius);
  // Sizes and fills for radius at phase.
  bool fill(float radius, float phase);
  float radius() const { return radius_; }
  int32_t count() const { return count_; }
  const float* taps() const { return taps_; }
  float* taps() { return taps_; }

 private:
  float radius_ = 0.0f;
  float* taps_ = nullptr;
  int32_t count_ = 0;
};

// count + 1 kernels per axis, kernel p at phase p / count - 0.5.
class FnPrecalculatedKernel {
 public:
  FnPrecalculatedKernel(float radiusX, float radiusY, int32_t count);
  ~FnPrecalculatedKernel();
  FnPrecalculatedKernel(const FnPrecalculatedKernel&) = delete;
  FnPrecalculatedKernel& operator=(const FnPrecalculatedKernel&) = delete;
  bool failed() const { return failed_; }
  int32_t count() const { return count_; }
  float radiusX() const { return radiusX_; }
  float radiusY() const { return radiusY_; }
  // The table kernel nearest to a phase in -0.5..0.5.
  int32_t indexOf(float phase) const;
  const FnKernel1D& x(int32_t index) const { return xKernels_[index]; }
  const FnKernel1D& y(int32_t index) const { return yKernels_[index]; }

 private:
  float radiusX_, radiusY_;
  int32_t count_;
  FnKernel1D* xKernels_ = nullptr;
  FnKernel1D* yKernels_ = nullptr;
  bool failed_ = false;
};

// Up to capacity tables for the last radii, keyed by their count. New radii
// empty the cache; a present count returns its table without computing.
// When full, the oldest table makes room.
class FnCachedPrecalculatedKernels {
 public:
  explicit FnCachedPrecalculatedKernels(int32_t capacity);
  ~FnCachedPrecalculatedKernels();
  FnCachedPrecalculatedKernels(const FnCachedPrecalculatedKernels&) = delete;
  FnCachedPrecalculatedKernels& operator=(const FnCachedPrecalculatedKernels&) = delete;
  // Null when memory failed.
  const FnPrecalculatedKernel* request(float radiusX, float radiusY, int32_t count);
  int32_t size() const { return size_; }
  // Tables computed since construction.
  int32_t built() const { return built_; }

 private:
  void clear();
  int32_t capacity_;
  FnPrecalculatedKernel** tables_ = nullptr;
  int32_t* counts_ = nullptr;
  int32_t size_ = 0;
  int32_t oldest_ = 0;
  float lastX_ = -1.0f, lastY_ = -1.0f;
  int32_t built_ = 0;
};

// A pair of kernels per worker, so samplers on several workers need no
// lock, and the current table.
class FnKernelManager {
 public:
  FnKernelManager();
  ~FnKernelManager();
  FnKernelManager(const FnKernelManager&) = delete;
  FnKernelManager& operator=(const FnKernelManager&) = delete;
  bool failed() const { return failed_; }
  int32_t workers() const { return workers_; }
  // Stores the radii and sizes every worker's arrays.
  bool setRadii(float radiusX, float radiusY);
  float radiusX() const { return radiusX_; }
  float radiusY() const { return radiusY_; }
  FnKernel1D& x(int32_t worker) { return xKernels_[worker]; }
  FnKernel1D& y(int32_t worker) { return yKernels_[worker]; }
  void setCurrent(const FnPrecalculatedKernel* table) { current_ = table; }
  const FnPrecalculatedKernel* current() const { return current_; }

 private:
  int32_t workers_ = 0;
  FnKernel1D* xKernels_ = nullptr;
  FnKernel1D* yKernels_ = nullptr;
  float radiusX_ = 0.0f, radiusY_ = 0.0f;
  const FnPrecalculatedKernel* current_ = nullptr;
  bool failed_ = false;
};

// Kernel storage of the convolving samplers: fixed taps for both axes, or
// radii with a phase table (or exact phases when the phase count is 0).
template <class T>
class KernelContainer {
 public:
  ~KernelContainer();
  // Fixed, centred taps (odd counts); the two tables may be the same.
  bool setTaps(const T* xTaps, int32_t xCount, const T* yTaps, int32_t yCount);
  // The kernel family at the sample's phase; phases 0 computes each cell's
  // kernel exactly in the worker's arrays.
  void setRadii(float radiusX, float radiusY, int32_t phases);
  bool hasFixedTaps() const { return xTaps_ != nullptr; }

 protected:
  void releaseTaps();
  T* xTaps_ = nullptr;
  T* yTaps_ = nullptr;
  int32_t xCount_ = 0, yCount_ = 0;
  float radiusX_ = 0.0f, radiusY_ = 0.0f;
  int32_t phases_ = 0;
};

// Convolution: each output cell is the sum of the neighbourhood times the
// outer product of the x and y taps. The output cell's centre maps to the
// input by the two maps' size ratio. With a mask, taps whose mask value is
// above 0.5 are skipped and the sum is divided by the weights used.
template <class InPx, class OutPx>
class KernelSamplerMasked : public Sampler<InPx, OutPx>, public KernelContainer<float> {
 public:
  static constexpr int32_t kCacheCapacity = 4;
  explicit KernelSamplerMasked(RX_FnInterruptContext* context = nullptr);
  ~KernelSamplerMasked() override;
  void setMask(const FnTexture<float, float>* mask) { mask_ = mask; }
  void begin() override;
  void sampleRows() override;
  void end() override;
  // The cache of phase tables; shared by the uses of this sampler.
  FnCachedPrecalculatedKernels& cache() { return cache_; }

 protected:
  const FnTexture<float, float>* mask_ = nullptr;
  FnCachedPrecalculatedKernels cache_{kCacheCapacity};
  FnKernelManager* manager_ = nullptr;
  float ratioX_ = 1.0f, ratioY_ = 1.0f;
};

template <class InPx, class OutPx>
class KernelSampler : public KernelSamplerMasked<InPx, OutPx> {
 public:
  explicit KernelSampler(RX_FnInterruptContext* context = nullptr)
      : KernelSamplerMasked<InPx, OutPx>(context) {}
  void setMask(const FnTexture<float, float>*) = delete;
};

// Two kernels in one object: the x taps along rows into a temporary, then
// the y taps down columns into the output, as two passes.
template <class InPx, class OutPx>
class BiKernelSampler : public Sampler<InPx, OutPx> {
 public:
  explicit BiKernelSampler(RX_FnInterruptContext* context = nullptr);
  ~BiKernelSampler() override;
  bool setKernels(const float* xTaps, int32_t xCount, const float* yTaps, int32_t yCount);
  void begin() override;
  void sampleRows() override;
  void end() override;

 private:
  float* xTaps_ = nullptr;
  float* yTaps_ = nullptr;
  int32_t xCount_ = 0, yCount_ = 0;
  FnTexture<float, float> rowsDone_;
};

extern template class KernelContainer<float>;
extern template class KernelSamplerMasked<float, float>;
extern template class KernelSampler<float, float>;
extern template class BiKernelSampler<float, float>;

}  // namespace RX_Engine

