// Repeated box blurs over float maps.
#include "frameblend/resample/box_blur.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frameblend/framework/operators.h"
#include "frameblend/parallel/engine_threads.h"

namespace RX_Engine {

int32_t FnBoxAxis::margin(int32_t passes) const {
  return ((fraction != 0.0f ? 1 : 0) + whole + 1) * std::max(passes, 0);
}

FnBoxAxis FnMakeBoxAxis(float radius) {
  const float r = radius > 0.0f ? radius : 0.0f;
  const float whole = std::floor(r);
  const float fraction = r - whole;
  const int32_t i = int32_t(whole);
  return {i, fraction, 1.0f / (2.0f * whole + 1.0f + 2.0f * fraction),
          i + (fraction != 0.0f ? 1 : 0)};
}

namespace {

// The box over lanes interleaved lines, lane by lane.
void box_pass_any(const float* src, float* dst, int32_t lanes, int32_t lo, int32_t hi,
                  const FnBoxAxis& axis, bool normalise) {
  constexpr int32_t kMaxLanes = 64;
  float sums[kMaxLanes];
  const int32_t i = axis.whole;
  const float f = axis.fraction;
  const float k = normalise ? axis.weight : 1.0f;
  for (int32_t c = 0; c < lanes; ++c) {
    float s = 0.0f;
    for (int32_t t = -i; t <= i; ++t) s += src[(lo + t) * lanes + c];
    sums[c] = s;
  }
  for (int32_t j = lo; j < hi; ++j) {
    const float* centre = src + j * lanes;
    float* out = dst + j * lanes;
    // A one-tap centre is read, not carried: radius 0 stays an exact copy.
    if (i == 0) {
      for (int32_t c = 0; c < lanes; ++c) sums[c] = centre[c];
    }
    if (f != 0.0f) {
      const float* left = src + (j - i - 1) * lanes;
      const float* right = src + (j + i + 1) * lanes;
      for (int32_t c = 0; c < lanes; ++c) out[c] = (sums[c] + f * (left[c] + right[c])) * k;
    } else {
      for (int32_t c = 0; c < lanes; ++c) out[c] = sums[c] * k;
    }
    if (i > 0 && j + 1 < hi) {
      const float* entering = src + (j + i + 1) * lanes;
      const float* leaving = centre - i * lanes;
      for (int32_t c = 0; c < lanes; ++c) sums[c] += entering[c] - leaving[c];
    }
  }
}

// The same over 16 lanes in four vectors of four: every lane does the very
// operations of the form above, so the results are the same bits.
using Vec4 = float __attribute__((vector_size(16)));
struct Lanes16 {
  Vec4 v[4];
};

inline Lanes16 load16(const float* p) {
  Lanes16 r;
  __builtin_memcpy(&r, p, sizeof r);
  return r;
}
inline void store16(float* p, const Lanes16& r) { __builtin_memcpy(p, &r, sizeof r); }

void box_pass_16(const float* src, float* dst, int32_t lo, int32_t hi, const FnBoxAxis& axis,
                 bool normalise) {
  constexpr int32_t kLanes = 16;
  const int32_t i = axis.whole;
  const float f = axis.fraction;
  const float k = normalise ? axis.weight : 1.0f;
  Lanes16 sums = {};
  for (int32_t t = -i; t <= i; ++t) {
    const Lanes16 v = load16(src + (lo + t) * kLanes);
    for (int32_t q = 0; q < 4; ++q) sums.v[q] += v.v[q];
  }
  for (int32_t j = lo; j < hi; ++j) {
    const float* centre = src + j * kLanes;
    if (i == 0) sums = load16(centre);
    Lanes16 out;
    if (f != 0.0f) {
      const Lanes16 left = load16(src + (j - i - 1) * kLanes);
      const Lanes16 right = load16(src + (j + i + 1) * kLanes);
      for (int32_t q = 0; q < 4; ++q) out.v[q] = (sums.v[q] + f * (left.v[q] + right.v[q])) * k;
    } else {
      for (int32_t q = 0; q < 4; ++q) out.v[q] = sums.v[q] * k;
    }
    store16(dst + j * kLanes, out);
    if (i > 0 && j + 1 < hi) {
      const Lanes16 entering = load16(src + (j + i + 1) * kLanes);
      const Lanes16 leaving = load16(centre - i * kLanes);
      for (int32_t q = 0; q < 4; ++q) sums.v[q] += entering.v[q] - leaving.v[q];
    }
  }
}

}  // namespace

void FnBoxPass(const float* src, float* dst, int32_t lanes, int32_t lo, int32_t hi,
               const FnBoxAxis& axis, bool normalise) {
  if (lo >= hi) return;
  if (lanes == 16) {
    box_pass_16(src, dst, lo, hi, axis, normalise);
  } else {
    box_pass_any(src, dst, lanes, lo, hi, axis, normalise);
  }
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise, ClampStore>::BlurGeneralGauss(
    float radiusX, float radiusY, int32_t boxPasses, RX_FnInterruptContext* context)
    : radiusX_(radiusX), radiusY_(radiusY), boxPasses_(boxPasses) {
  this->setInterruptContext(context);
  this->setPassCount(3);
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                 ClampStore>::~BlurGeneralGauss() {
  releaseScratch();
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                      ClampStore>::releaseScratch() {
  RX_VesperFree(scratch_);
  scratch_ = nullptr;
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise, ClampStore>::begin() {
  axisX_ = FnMakeBoxAxis(Horizontal ? radiusX_ : 0.0f);
  axisY_ = FnMakeBoxAxis(Vertical ? radiusY_ : 0.0f);
  marginX_ = axisX_.margin(boxPasses_);
  marginY_ = axisY_.margin(boxPasses_);
  const int32_t width = this->outputWidth() + 2 * marginX_;
  const int32_t height = this->outputHeight() + 2 * marginY_;
  releaseScratch();
  // Per worker: two strips of lines, long enough for rows and for columns.
  scratchPerWorker_ = 2 * int64_t(std::max(width, height)) * kStripLanes;
  const int32_t workers = RX_EngineThreadTotal();
  if (!extended_.allocate(width, height)) {
    this->stopWith(RX_Result_OutOfMemory);
    return;
  }
  scratch_ = static_cast<float*>(
      RX_VesperAlloc(size_t(scratchPerWorker_) * size_t(workers) * sizeof(float)));
  if (!scratch_) {
    extended_.release();
    this->stopWith(RX_Result_OutOfMemory);
  }
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise, ClampStore>::end() {
  extended_.release();
  releaseScratch();
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
float* BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                        ClampStore>::workerScratch() const {
  return scratch_ + scratchPerWorker_ * (this->onWorkers() ? RX_EngineThreadIndex() : 0);
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                      ClampStore>::sampleRows() {
  if (!extended_.pixels() || !scratch_) return;
  switch (this->passIndex()) {
    case kPhaseTake: takeRows(); break;
    case kPhaseHorizontal: horizontalRows(); break;
    default: verticalColumns(); break;
  }
}

// The input at every cell of the extended map, through its border rules.
template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise, ClampStore>::takeRows() {
  const auto& in = *this->input_;
  const FnRowSlice rows = FnSliceRowsForCaller(0, extended_.height(), this->onWorkers());
  const float background = in.background();
  for (int32_t row = rows.first; row < rows.end; ++row) {
    if (this->pollStop()) return;
    SimpleLineCopier::copyLine(in, row - marginY_, -marginX_, extended_.width() - marginX_,
                               extended_.row(row) + marginX_, SimpleLineCopier::PlainCopy{},
                               [background](float& dst) { dst = background; });
  }
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                      ClampStore>::horizontalRows() {
  if (!Horizontal || boxPasses_ <= 0) return;
  const int32_t length = extended_.width();
  const FnRowSlice rows = FnSliceRowsForCaller(0, extended_.height(), this->onWorkers());
  // Rows go through the boxes kStripLanes at a time, interleaved; each
  // row's sums are its own, so the grouping does not change a bit.
  float* strip = workerScratch();
  float* spare = strip + scratchPerWorker_ / 2;
  for (int32_t row0 = rows.first; row0 < rows.end; row0 += kStripLanes) {
    if (this->pollStop()) return;
    const int32_t lanes = std::min(kStripLanes, rows.end - row0);
    for (int32_t c = 0; c < lanes; ++c) {
      const float* line = extended_.row(row0 + c);
      for (int32_t j = 0; j < length; ++j) strip[j * lanes + c] = line[j];
    }
    float* src = strip;
    float* dst = spare;
    for (int32_t pass = 1; pass <= boxPasses_; ++pass) {
      FnBoxPass(src, dst, lanes, pass * axisX_.support, length - pass * axisX_.support, axisX_,
                Normalise != 0);
      std::swap(src, dst);
    }
    const int32_t margin = boxPasses_ * axisX_.support;
    for (int32_t c = 0; c < lanes; ++c) {
      float* line = extended_.row(row0 + c);
      for (int32_t j = margin; j < length - margin; ++j) line[j] = src[j * lanes + c];
    }
  }
}

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
void BlurGeneralGauss<Px, Interp, Scale, Horizontal, Vertical, Normalise,
                      ClampStore>::verticalColumns() {
  auto& out = *this->output();
  const bool narrow = this->flags() & Imager::kFlagNarrow;
  const int32_t x_first = narrow ? this->regionXFirst() : 0;
  const int32_t x_end = narrow ? this->regionXEnd() : this->outputWidth();
  const int32_t y_first = narrow ? this->regionYFirst() : 0;
  const int32_t y_end = narrow ? this->regionYEnd() : this->outputHeight();
  if (y_first >= y_end) return;
  const FnRowSlice columns = FnSliceRowsForCaller(x_first, x_end, this->onWorkers());
  // Strip rows cover output rows y_first - margin .. y_end + margin.
  const int32_t length = (y_end - y_first) + 2 * marginY_;
  float* strip = workerScratch();
  float* spare = strip + scratchPerWorker_ / 2;
  for (int32_t x0 = columns.first; x0 < columns.end; x0 += kStripLanes) {
    if (this->pollStop()) return;
    const int32_t lanes = std::min(kStripLanes, columns.end - x0);
    for (int32_t j = 0; j < length; ++j) {
      std::memcpy(strip + j * lanes, extended_.row(y_first + j) + marginX_ + x0,
                  size_t(lanes) * sizeof(float));
    }
    float* src = strip;
    float* dst = spare;
    if (Vertical) {
      for (int32_t pass = 1; pass <= boxPasses_; ++pass) {
        FnBoxPass(src, dst, lanes, pass * axisY_.support, length - pass * axisY_.support, axisY_,
                  Normalise != 0);
        std::swap(src, dst);
      }
    }
    for (int32_t y = y_first; y < y_end; ++y) {
      const float* values = src + (y - y_first + marginY_) * lanes;
      float* row = out.row(y) + x0;
      for (int32_t c = 0; c < lanes; ++c) {
        float v = values[c];
        if (ClampStore) v = v < 0.0f ? 0.0f : v > float(Scale) ? float(Scale) : v;
        row[c] = v;
      }
    }
  }
}

template class BlurGeneralGauss<float, float, 1, 1, 1, 1, 0>;

}  // namespace RX_Engine
