// The small operators of the framework: copies, per-cell samplers and
// combiners, constant fills, the alpha matter and the accumulator pair of
// multi-pass renders. Rows go through the axis runs of the inputs, so the
// border rules cost one test per run; a none cell reads the background.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "RX_Config.h"
#include "frameblend/framework/imager.h"
#include "frameblend/parallel/engine_threads.h"

namespace RX_Engine {

// One row of an input, read through its border rules into cells x0..x1 of
// an output row: store(dst, src) for each cell, none(dst) where the rules
// give no cell.
class SimpleLineCopier {
 public:
  struct PlainCopy {
    template <class T>
    void operator()(T& dst, const T& src) const {
      dst = src;
    }
  };

  template <class InMap, class OutCell, class Store, class None>
  static void copyLine(const InMap& in, int32_t y, int32_t x0, int32_t x1, OutCell* out,
                       Store store, None none) {
    const int32_t cy = FnAxisWrap(in.yAxis(), y);
    if (cy == kNoCell) {
      for (int32_t x = x0; x < x1; ++x) none(out[x]);
      return;
    }
    const auto* src = in.row(cy);
    for (int32_t x = x0; x < x1;) {
      const FnAxisRun run = FnAxisRunAt(in.xAxis(), x);
      const int32_t n = int32_t(std::min<int64_t>(run.length, int64_t(x1) - x));
      OutCell* dst = out + x;
      if (run.cell == kNoCell) {
        for (int32_t k = 0; k < n; ++k) none(dst[k]);
      } else if (run.step == 1) {
        if constexpr (std::is_same_v<Store, PlainCopy> &&
                      std::is_same_v<std::remove_cv_t<std::remove_reference_t<decltype(*src)>>,
                                     OutCell>) {
          std::memcpy(static_cast<void*>(dst), src + run.cell, size_t(n) * sizeof(OutCell));
        } else {
          for (int32_t k = 0; k < n; ++k) store(dst[k], src[run.cell + k]);
        }
      } else if (run.step == 0) {
        for (int32_t k = 0; k < n; ++k) store(dst[k], src[run.cell]);
      } else {
        for (int32_t k = 0; k < n; ++k) store(dst[k], src[run.cell - k]);
      }
      x += n;
    }
  }
};

// Cell (x, y) of the output takes cell (x, y) of the input through the
// input's border rules; none gives the input's background.
template <class Px>
class SimpleCopySampler : public Sampler<Px, Px>, public SimpleLineCopier {
 public:
  explicit SimpleCopySampler(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    const Px background = in.background();
    this->forEachRow(range, [&](int32_t y) {
      copyLine(in, y, range.xFirst, range.xEnd, out.row(y), PlainCopy{},
               [&](Px& dst) { dst = background; });
    });
  }
};

// Calls samplePixel once per output cell with the input's cell (no
// interpolation) or its background; polls per cell.
template <class InPx, class OutPx>
class GeneralSampler : public Sampler<InPx, OutPx> {
 public:
  explicit GeneralSampler(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }
  void begin() override {}
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    for (int32_t y = range.yFirst; y < range.yEnd; y += range.yStep) {
      const int32_t cy = FnAxisWrap(in.yAxis(), y);
      const InPx* src = cy == kNoCell ? nullptr : in.row(cy);
      OutPx* dst = out.row(y);
      for (int32_t x = range.xFirst; x < range.xEnd;) {
        const FnAxisRun run =
            src ? FnAxisRunAt(in.xAxis(), x) : FnAxisRun{kNoCell, 0, kEndlessRun};
        const int32_t n = int32_t(std::min<int64_t>(run.length, int64_t(range.xEnd) - x));
        for (int32_t k = 0; k < n; ++k) {
          if (this->pollStop()) return;
          const InPx& value = run.cell == kNoCell ? in.background() : src[run.cell + k * run.step];
          samplePixel(value, &dst[x + k]);
        }
        x += n;
      }
    }
  }
  void end() override {}
  void beforePass() override {}
  virtual void samplePixel(const InPx& in, OutPx* out) = 0;
};

// Each output cell is the input sampled at a transformed position: by
// default bilinear at the matrix image of the cell's centre.
template <class Px, class Interp = FnInterpOf<Px>>
class GeneralSamplerPos : public Sampler<Px, Px> {
 public:
  explicit GeneralSamplerPos(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    auto& out = *this->output();
    this->forEachRow(range, [&](int32_t y) {
      Px* dst = out.row(y);
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) sampleAt(x, y, &dst[x]);
    });
  }
  virtual void sampleAt(int32_t x, int32_t y, Px* out) {
    float sx, sy;
    matrix_.transform(float(x) + 0.5f, float(y) + 0.5f, &sx, &sy);
    *out = fn_store<Px>(this->input_->sample(sx, sy));
  }
  void setMatrix(const FnMatrix3& matrix) { matrix_ = matrix; }
  const FnMatrix3& matrix() const { return matrix_; }

 protected:
  FnMatrix3 matrix_ = FnMatrix3::identity();
};

// Calls combinePixel for each output cell with the two inputs' cells, or
// their backgrounds, run by run at the length of the shorter run.
template <class In1Px, class In2Px, class OutPx>
class GeneralCombiner : public Combiner<In1Px, In2Px, OutPx> {
 public:
  explicit GeneralCombiner(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }
  void combineRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in1 = *this->input1_;
    const auto& in2 = *this->input2_;
    auto& out = *this->output();
    this->forEachRow(range, [&](int32_t y) {
      const int32_t cy1 = FnAxisWrap(in1.yAxis(), y);
      const int32_t cy2 = FnAxisWrap(in2.yAxis(), y);
      const In1Px* row1 = cy1 == kNoCell ? nullptr : in1.row(cy1);
      const In2Px* row2 = cy2 == kNoCell ? nullptr : in2.row(cy2);
      OutPx* dst = out.row(y);
      for (int32_t x = range.xFirst; x < range.xEnd;) {
        const FnAxisRun r1 = row1 ? FnAxisRunAt(in1.xAxis(), x) : FnAxisRun{kNoCell, 0, kEndlessRun};
        const FnAxisRun r2 = row2 ? FnAxisRunAt(in2.xAxis(), x) : FnAxisRun{kNoCell, 0, kEndlessRun};
        const int32_t n = int32_t(
            std::min<int64_t>(std::min(r1.length, r2.length), int64_t(range.xEnd) - x));
        for (int32_t k = 0; k < n; ++k) {
          const In1Px& a = r1.cell == kNoCell ? in1.background() : row1[r1.cell + k * r1.step];
          const In2Px& b = r2.cell == kNoCell ? in2.background() : row2[r2.cell + k * r2.step];
          combinePixel(a, b, &dst[x + k]);
        }
        x += n;
      }
    });
  }
  virtual void combinePixel(const In1Px& a, const In2Px& b, OutPx* out) = 0;
};

// Fills the region with one value (or zero bytes): each worker writes the
// first row of its range cell by cell and copies it to its other rows.
template <class Px, class Interp, int Scale>
class ColouredFrameGenerator : public Generator<FnTexture<Px, Interp>> {
 public:
  explicit ColouredFrameGenerator(const Px& value = Px{}, bool zero = false,
                                  RX_FnInterruptContext* context = nullptr)
      : Generator<FnTexture<Px, Interp>>(context), value_(value), zero_(zero) {}
  void setValue(const Px& value) { value_ = value; }
  void setZero(bool zero) { zero_ = zero; }
  void generateRows() override {
    const FnRowRange range = this->rowRange();
    if (range.yFirst >= range.yEnd || range.xFirst >= range.xEnd) return;
    auto& out = *this->output();
    Px* first = out.row(range.yFirst) + range.xFirst;
    const int32_t width = range.xEnd - range.xFirst;
    if (zero_) {
      std::memset(static_cast<void*>(first), 0, size_t(width) * sizeof(Px));
    } else {
      for (int32_t x = 0; x < width; ++x) first[x] = value_;
    }
    this->forEachRow({range.yFirst + range.yStep, range.yEnd, range.yStep, 0, 0}, [&](int32_t y) {
      std::memcpy(static_cast<void*>(out.row(y) + range.xFirst), first, size_t(width) * sizeof(Px));
    });
  }

 private:
  Px value_;
  bool zero_;
};

// Copies with a mode and clamps every channel to 0..Scale:
// 0 as is; 1 colours inverted; 2 alpha in all four; 3 Scale - alpha in all.
template <class Px, class Interp, int Scale>
class AlphaMatter : public Sampler<Px, Px>, public SimpleLineCopier {
 public:
  explicit AlphaMatter(int32_t mode = 0, RX_FnInterruptContext* context = nullptr) : mode_(mode) {
    this->setInterruptContext(context);
  }
  void setMode(int32_t mode) { mode_ = mode; }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    const auto store = [this](Px& dst, const Px& src) { dst = matte(src); };
    const Px background = matte(in.background());
    this->forEachRow(range, [&](int32_t y) {
      copyLine(in, y, range.xFirst, range.xEnd, out.row(y), store,
               [&](Px& dst) { dst = background; });
    });
  }

 private:
  static float clamp_channel(float v) {
    if (v < 0.0f) return 0.0f;
    if (v > float(Scale)) return float(Scale);
    return v;
  }
  Px matte(const Px& p) const {
    const Interp v = fn_to_interp<Px>(p);
    const float s = float(Scale);
    Interp m = v;
    switch (mode_) {
      case 1:
        m = {{v.a, s - v.r, s - v.g, s - v.b}};
        break;
      case 2:
        m = {{v.a, v.a, v.a, v.a}};
        break;
      case 3:
        m = {{s - v.a, s - v.a, s - v.a, s - v.a}};
        break;
      default:
        break;
    }
    return fn_store<Px>(Interp::each(m, clamp_channel));
  }
  int32_t mode_;
};

// Adds weight x source (float channels at the source's native scale) into
// an RGBA float accumulator; on the first pass it assigns instead.
template <class Px, class Interp, int Scale>
class FnIntAccumulator : public Sampler<Px, FnAccumCell>, public SimpleLineCopier {
 public:
  explicit FnIntAccumulator(float weight = 1.0f, bool firstPass = true,
                            RX_FnInterruptContext* context = nullptr)
      : weight_(weight), firstPass_(firstPass) {
    this->setInterruptContext(context);
  }
  void setWeight(float weight) { weight_ = weight; }
  void setFirstPass(bool first) { firstPass_ = first; }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    const float w = weight_;
    const auto weighted = [w](const Px& p) {
      const Interp v = fn_to_interp<Px>(p);
      return FnAccumCell{{w * v.r, w * v.g, w * v.b, w * v.a}};
    };
    const FnAccumCell background = weighted(in.background());
    this->forEachRow(range, [&](int32_t y) {
      if (firstPass_) {
        copyLine(in, y, range.xFirst, range.xEnd, out.row(y),
                 [&](FnAccumCell& dst, const Px& src) { dst = weighted(src); },
                 [&](FnAccumCell& dst) { dst = background; });
      } else {
        copyLine(in, y, range.xFirst, range.xEnd, out.row(y),
                 [&](FnAccumCell& dst, const Px& src) { dst = fn_add(dst, weighted(src)); },
                 [&](FnAccumCell& dst) { dst = fn_add(dst, background); });
      }
    });
  }

 private:
  float weight_;
  bool firstPass_;
};

// Writes accumulator / count into pixels, clamped to 0..Scale and truncated
// (float pixels clamp to 0..1); optionally unpremultiplies the stored
// colours by the stored alpha, clamping and truncating again.
template <class Px, class Interp, int Scale>
class FnFloatDeaccumulator : public Sampler<FnAccumCell, Px>, public SimpleLineCopier {
 public:
  // Counts below the smallest normal float divide by nothing: zeros.
  static constexpr float kSmallestCount = 2.3509887e-38f;

  explicit FnFloatDeaccumulator(float count = 1.0f, bool unpremultiply = false,
                                RX_FnInterruptContext* context = nullptr)
      : count_(count), unpremultiply_(unpremultiply) {
    this->setInterruptContext(context);
  }
  void setCount(float count) { count_ = count; }
  void setUnpremultiply(bool on) { unpremultiply_ = on; }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    const float k = std::fabs(count_) < kSmallestCount ? 0.0f : 1.0f / count_;
    const Px background = convert(in.background(), k);
    this->forEachRow(range, [&](int32_t y) {
      copyLine(in, y, range.xFirst, range.xEnd, out.row(y),
               [&](Px& dst, const FnAccumCell& src) { dst = convert(src, k); },
               [&](Px& dst) { dst = background; });
    });
  }

 private:
  static float clamp_store(float v) {
    if constexpr (FnPixelTraits<Px>::kInteger) {
      return float(fn_store_channel(v, float(Scale)));
    } else {
      if (v < 0.0f) return 0.0f;
      if (v > float(Scale)) return float(Scale);
      return v;
    }
  }
  Px convert(const FnAccumCell& acc, float k) const {
    Interp v{{clamp_store(k * acc.a), clamp_store(k * acc.r), clamp_store(k * acc.g),
              clamp_store(k * acc.b)}};
    if (unpremultiply_ && v.a != 0.0f) {
      const float k2 = float(Scale) / v.a;
      v.r = clamp_store(v.r * k2);
      v.g = clamp_store(v.g * k2);
      v.b = clamp_store(v.b * k2);
    }
    return fn_store<Px>(v);
  }
  float count_;
  bool unpremultiply_;
};

// Sums its input per worker (f32 sums, i32 counts, indexed by worker) and
// passes each value through to the output; the caller adds the workers'
// values and divides.
template <class InPx, class OutPx, class Interp, int Scale>
class FnMeanCalculator : public GeneralSampler<InPx, OutPx> {
 public:
  explicit FnMeanCalculator(RX_FnInterruptContext* context = nullptr)
      : GeneralSampler<InPx, OutPx>(context) {}
  ~FnMeanCalculator() override { releaseSums(); }
  void begin() override {
    releaseSums();
    workers_ = RX_EngineThreadTotal();
    sums_ = static_cast<float*>(RX_VesperAlloc(size_t(workers_) * sizeof(float)));
    counts_ = static_cast<int32_t*>(RX_VesperAlloc(size_t(workers_) * sizeof(int32_t)));
    if (!sums_ || !counts_) {
      releaseSums();
      this->stopWith(RX_Result_OutOfMemory);
      return;
    }
    std::fill(sums_, sums_ + workers_, 0.0f);
    std::fill(counts_, counts_ + workers_, 0);
  }
  void samplePixel(const InPx& in, OutPx* out) override {
    if (!sums_) return;
    const int32_t worker = RX_EngineThreadIndex();
    sums_[worker] += in;
    counts_[worker] += 1;
    *out = in;
  }
  int32_t workerCount() const { return sums_ ? workers_ : 0; }
  float workerSum(int32_t worker) const { return sums_[worker]; }
  int32_t workerCount(int32_t worker) const { return counts_[worker]; }
  // The sum over workers divided by the count over workers; 0 with none.
  float mean() const {
    float sum = 0.0f;
    int32_t count = 0;
    for (int32_t i = 0; i < workerCount(); ++i) {
      sum += sums_[i];
      count += counts_[i];
    }
    return count ? sum / float(count) : 0.0f;
  }

 private:
  void releaseSums() {
    RX_VesperFree(sums_);
    RX_VesperFree(counts_);
    sums_ = nullptr;
    counts_ = nullptr;
  }
  int32_t workers_ = 0;
  float* sums_ = nullptr;
  int32_t* counts_ = nullptr;
};

extern template class SimpleCopySampler<FnPixel8>;
extern template class SimpleCopySampler<FnPixel16>;
extern template class SimpleCopySampler<FnPixelFloat>;
extern template class SimpleCopySampler<float>;
extern template class SimpleCopySampler<HvVec2>;
extern template class SimpleCopySampler<int>;
extern template class ColouredFrameGenerator<int, int, 1>;
extern template class ColouredFrameGenerator<float, float, 1>;
extern template class ColouredFrameGenerator<HvVec2, HvVec2, 123>;
extern template class AlphaMatter<FnPixel8, FnPixelFloat, 255>;
extern template class AlphaMatter<FnPixel16, FnPixelFloat, 32768>;
extern template class AlphaMatter<FnPixelFloat, FnPixelFloat, 1>;
extern template class FnIntAccumulator<FnPixel8, FnPixelFloat, 255>;
extern template class FnIntAccumulator<FnPixel16, FnPixelFloat, 32768>;
extern template class FnIntAccumulator<FnPixelFloat, FnPixelFloat, 1>;
extern template class FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255>;
extern template class FnFloatDeaccumulator<FnPixel16, FnPixelFloat, 32768>;
extern template class FnFloatDeaccumulator<FnPixelFloat, FnPixelFloat, 1>;
extern template class FnMeanCalculator<float, float, float, 1>;

}  // namespace RX_Engine

