// The kernel family, its tables and caches, and the convolving samplers.
#include "frameblend/resample/kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "frameblend/parallel/engine_threads.h"
#include "frameblend/parallel/vesper_memory.h"

namespace RX_Engine {

int32_t FnKernelTapCount(float radius) {
  return radius > 0.0f ? 2 * int32_t(std::ceil(radius)) + 1 : 1;
}

void FnFillKernel(float radius, float phase, float* taps, int32_t count) {
  const int32_t half = count / 2;
  if (radius <= 0.0f) {
    for (int32_t j = 0; j < count; ++j) taps[j] = j == half ? 1.0f : 0.0f;
    return;
  }
  const float sigma = radius / 2.0f;
  float sum = 0.0f;
  for (int32_t j = 0; j < count; ++j) {
    const float d = float(j - half) - phase;
    const float w = std::fabs(d) <= radius ? std::exp(-(d * d) / (2.0f * sigma * sigma)) : 0.0f;
    taps[j] = w;
    sum += w;
  }
  if (sum == 0.0f) {
    for (int32_t j = 0; j < count; ++j) taps[j] = j == half ? 1.0f : 0.0f;
    return;
  }
  for (int32_t j = 0; j < count; ++j) taps[j] /= sum;
}

FnKernel1D::~FnKernel1D() { RX_VesperFree(taps_); }

bool FnKernel1D::resize(float radius) {
  const int32_t count = FnKernelTapCount(radius);
  radius_ = radius;
  if (count == count_ && taps_) return true;
  RX_VesperFree(taps_);
  taps_ = static_cast<float*>(RX_VesperAlloc(size_t(count) * sizeof(float)));
  count_ = taps_ ? count : 0;
  return taps_ != nullptr;
}

bool FnKernel1D::fill(float radius, float phase) {
  if (!resize(radius)) return false;
  FnFillKernel(radius, phase, taps_, count_);
  return true;
}

FnPrecalculatedKernel::FnPrecalculatedKernel(float radiusX, float radiusY, int32_t count)
    : radiusX_(radiusX), radiusY_(radiusY), count_(std::max(1, count)) {
  xKernels_ = new (std::nothrow) FnKernel1D[size_t(count_) + 1];
  yKernels_ = new (std::nothrow) FnKernel1D[size_t(count_) + 1];
  if (!xKernels_ || !yKernels_) {
    failed_ = true;
    return;
  }
  for (int32_t p = 0; p <= count_; ++p) {
    const float phase = float(p) / float(count_) - 0.5f;
    if (!xKernels_[p].fill(radiusX, phase) || !yKernels_[p].fill(radiusY, phase)) failed_ = true;
  }
}

FnPrecalculatedKernel::~FnPrecalculatedKernel() {
  delete[] xKernels_;
  delete[] yKernels_;
}

int32_t FnPrecalculatedKernel::indexOf(float phase) const {
  const float position = (phase + 0.5f) * float(count_);
  return std::clamp(int32_t(std::floor(position + 0.5f)), 0, count_);
}

FnCachedPrecalculatedKernels::FnCachedPrecalculatedKernels(int32_t capacity)
    : capacity_(std::max(1, capacity)) {
  tables_ = new (std::nothrow) FnPrecalculatedKernel*[size_t(capacity_)]();
  counts_ = new (std::nothrow) int32_t[size_t(capacity_)]();
}

FnCachedPrecalculatedKernels::~FnCachedPrecalculatedKernels() {
  clear();
  delete[] tables_;
  delete[] counts_;
}

void FnCachedPrecalculatedKernels::clear() {
  for (int32_t i = 0; i < size_; ++i) delete tables_[i];
  size_ = 0;
  oldest_ = 0;
}

const FnPrecalculatedKernel* FnCachedPrecalculatedKernels::request(float radiusX, float radiusY,
                                                                   int32_t count) {
  if (!tables_ || !counts_) return nullptr;
  if (radiusX != lastX_ || radiusY != lastY_) {
    clear();
    lastX_ = radiusX;
    lastY_ = radiusY;
  }
  for (int32_t i = 0; i < size_; ++i) {
    if (counts_[i] == count) return tables_[i];
  }
  auto* table = new (std::nothrow) FnPrecalculatedKernel(radiusX, radiusY, count);
  if (!table || table->failed()) {
    delete table;
    return nullptr;
  }
  ++built_;
  int32_t slot = size_;
  if (size_ == capacity_) {
    slot = oldest_;
    delete tables_[slot];
    oldest_ = (oldest_ + 1) % capacity_;
  } else {
    ++size_;
  }
  tables_[slot] = table;
  counts_[slot] = count;
  return table;
}

FnKernelManager::FnKernelManager() : workers_(RX_EngineThreadTotal()) {
  xKernels_ = new (std::nothrow) FnKernel1D[size_t(workers_)];
  yKernels_ = new (std::nothrow) FnKernel1D[size_t(workers_)];
  failed_ = !xKernels_ || !yKernels_;
}

FnKernelManager::~FnKernelManager() {
  delete[] xKernels_;
  delete[] yKernels_;
}

bool FnKernelManager::setRadii(float radiusX, float radiusY) {
  radiusX_ = radiusX;
  radiusY_ = radiusY;
  if (failed_) return false;
  for (int32_t w = 0; w < workers_; ++w) {
    if (!xKernels_[w].resize(radiusX) || !yKernels_[w].resize(radiusY)) failed_ = true;
  }
  return !failed_;
}

template <class T>
KernelContainer<T>::~KernelContainer() {
  releaseTaps();
}

template <class T>
void KernelContainer<T>::releaseTaps() {
  RX_VesperFree(xTaps_);
  RX_VesperFree(yTaps_);
  xTaps_ = yTaps_ = nullptr;
  xCount_ = yCount_ = 0;
}

template <class T>
bool KernelContainer<T>::setTaps(const T* xTaps, int32_t xCount, const T* yTaps, int32_t yCount) {
  releaseTaps();
  if (xCount < 1 || yCount < 1) return false;
  xTaps_ = static_cast<T*>(RX_VesperAlloc(size_t(xCount) * sizeof(T)));
  yTaps_ = static_cast<T*>(RX_VesperAlloc(size_t(yCount) * sizeof(T)));
  if (!xTaps_ || !yTaps_) {
    releaseTaps();
    return false;
  }
  std::memcpy(xTaps_, xTaps, size_t(xCount) * sizeof(T));
  std::memcpy(yTaps_, yTaps, size_t(yCount) * sizeof(T));
  xCount_ = xCount;
  yCount_ = yCount;
  return true;
}

template <class T>
void KernelContainer<T>::setRadii(float radiusX, float radiusY, int32_t phases) {
  releaseTaps();
  radiusX_ = radiusX;
  radiusY_ = radiusY;
  phases_ = std::max(0, phases);
}

template <class InPx, class OutPx>
KernelSamplerMasked<InPx, OutPx>::KernelSamplerMasked(RX_FnInterruptContext* context) {
  this->setInterruptContext(context);
}

template <class InPx, class OutPx>
KernelSamplerMasked<InPx, OutPx>::~KernelSamplerMasked() {
  delete manager_;
}

template <class InPx, class OutPx>
void KernelSamplerMasked<InPx, OutPx>::begin() {
  ratioX_ = float(this->input_->width()) / float(this->outputWidth());
  ratioY_ = float(this->input_->height()) / float(this->outputHeight());
  if (this->hasFixedTaps()) return;
  if (this->phases_ > 0) {
    const FnPrecalculatedKernel* table = cache_.request(this->radiusX_, this->radiusY_, this->phases_);
    if (!table) this->stopWith(RX_Result_OutOfMemory);
    if (!manager_) manager_ = new (std::nothrow) FnKernelManager;
    if (!manager_ || manager_->failed()) {
      this->stopWith(RX_Result_OutOfMemory);
      return;
    }
    manager_->setCurrent(table);
    return;
  }
  if (!manager_) manager_ = new (std::nothrow) FnKernelManager;
  if (!manager_ || !manager_->setRadii(this->radiusX_, this->radiusY_)) {
    this->stopWith(RX_Result_OutOfMemory);
  }
  if (manager_) manager_->setCurrent(nullptr);
}

template <class InPx, class OutPx>
void KernelSamplerMasked<InPx, OutPx>::end() {}

template <class InPx, class OutPx>
void KernelSamplerMasked<InPx, OutPx>::sampleRows() {
  const bool fixed = this->hasFixedTaps();
  if (!fixed && (!manager_ || manager_->failed())) return;
  const FnRowRange range = this->rowRange();
  const auto& in = *this->input_;
  auto& out = *this->output();
  const int32_t worker = this->onWorkers() ? RX_EngineThreadIndex() : 0;
  const FnPrecalculatedKernel* table = fixed ? nullptr : manager_->current();
  if (!fixed && this->phases_ > 0 && !table) return;
  this->forEachRow(range, [&](int32_t y) {
    const float py = (float(y) + 0.5f) * ratioY_ - 0.5f;
    const int32_t cy = int32_t(std::floor(py + 0.5f));
    const float* wy;
    int32_t ny;
    if (fixed) {
      wy = this->yTaps_;
      ny = this->yCount_;
    } else if (table) {
      const FnKernel1D& k = table->y(table->indexOf(py - float(cy)));
      wy = k.taps();
      ny = k.count();
    } else {
      FnKernel1D& k = manager_->y(worker);
      k.fill(this->radiusY_, py - float(cy));
      wy = k.taps();
      ny = k.count();
    }
    OutPx* dst = out.row(y);
    for (int32_t x = range.xFirst; x < range.xEnd; ++x) {
      const float px = (float(x) + 0.5f) * ratioX_ - 0.5f;
      const int32_t cx = int32_t(std::floor(px + 0.5f));
      const float* wx;
      int32_t nx;
      if (fixed) {
        wx = this->xTaps_;
        nx = this->xCount_;
      } else if (table) {
        const FnKernel1D& k = table->x(table->indexOf(px - float(cx)));
        wx = k.taps();
        nx = k.count();
      } else {
        FnKernel1D& k = manager_->x(worker);
        k.fill(this->radiusX_, px - float(cx));
        wx = k.taps();
        nx = k.count();
      }
      float sum = 0.0f;
      float used = 0.0f;
      for (int32_t j = 0; j < ny; ++j) {
        const int32_t sy = cy - ny / 2 + j;
        for (int32_t i = 0; i < nx; ++i) {
          const int32_t sx = cx - nx / 2 + i;
          const float w = wx[i] * wy[j];
          if (mask_ && mask_->mapOrBackground(sx, sy) > 0.5f) continue;
          sum += in.mapOrBackground(sx, sy) * w;
          used += w;
        }
      }
      dst[x] = mask_ ? (used != 0.0f ? sum / used : 0.0f) : sum;
    }
  });
}

template <class InPx, class OutPx>
BiKernelSampler<InPx, OutPx>::BiKernelSampler(RX_FnInterruptContext* context) {
  this->setInterruptContext(context);
  this->setPassCount(2);
}

template <class InPx, class OutPx>
BiKernelSampler<InPx, OutPx>::~BiKernelSampler() {
  RX_VesperFree(xTaps_);
  RX_VesperFree(yTaps_);
}

template <class InPx, class OutPx>
bool BiKernelSampler<InPx, OutPx>::setKernels(const float* xTaps, int32_t xCount,
                                              const float* yTaps, int32_t yCount) {
  RX_VesperFree(xTaps_);
  RX_VesperFree(yTaps_);
  xTaps_ = yTaps_ = nullptr;
  xCount_ = yCount_ = 0;
  if (xCount < 1 || yCount < 1) return false;
  xTaps_ = static_cast<float*>(RX_VesperAlloc(size_t(xCount) * sizeof(float)));
  yTaps_ = static_cast<float*>(RX_VesperAlloc(size_t(yCount) * sizeof(float)));
  if (!xTaps_ || !yTaps_) return false;
  std::memcpy(xTaps_, xTaps, size_t(xCount) * sizeof(float));
  std::memcpy(yTaps_, yTaps, size_t(yCount) * sizeof(float));
  xCount_ = xCount;
  yCount_ = yCount;
  return true;
}

template <class InPx, class OutPx>
void BiKernelSampler<InPx, OutPx>::begin() {
  if (!xTaps_ || !yTaps_ || !rowsDone_.allocate(this->outputWidth(), this->outputHeight())) {
    this->stopWith(RX_Result_OutOfMemory);
    return;
  }
  // The vertical taps reach past the rows by the input's own rules.
  rowsDone_.setBorderModes(this->input_->yAxis().borderMode, this->input_->yAxis().borderMode);
  rowsDone_.setBackground(this->input_->background());
}

template <class InPx, class OutPx>
void BiKernelSampler<InPx, OutPx>::end() {
  rowsDone_.release();
}

template <class InPx, class OutPx>
void BiKernelSampler<InPx, OutPx>::sampleRows() {
  if (!rowsDone_.pixels()) return;
  const FnRowRange range = this->rowRange();
  const auto& in = *this->input_;
  auto& out = *this->output();
  if (this->passIndex() == 0) {
    // Every row the vertical taps will read, not only the region's.
    const FnRowSlice rows = FnSliceRowsForCaller(0, this->outputHeight(), this->onWorkers());
    for (int32_t y = rows.first; y < rows.end; ++y) {
      if (this->pollStop()) return;
      float* dst = rowsDone_.row(y);
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) {
        float sum = 0.0f;
        for (int32_t i = 0; i < xCount_; ++i) {
          sum += in.mapOrBackground(x - xCount_ / 2 + i, y) * xTaps_[i];
        }
        dst[x] = sum;
      }
    }
    return;
  }
  this->forEachRow(range, [&](int32_t y) {
    OutPx* dst = out.row(y);
    for (int32_t x = range.xFirst; x < range.xEnd; ++x) {
      float sum = 0.0f;
      for (int32_t j = 0; j < yCount_; ++j) {
        sum += rowsDone_.mapOrBackground(x, y - yCount_ / 2 + j) * yTaps_[j];
      }
      dst[x] = sum;
    }
  });
}

template class KernelContainer<float>;
template class KernelSamplerMasked<float, float>;
template class KernelSampler<float, float>;
template class BiKernelSampler<float, float>;

}  // namespace RX_Engine
