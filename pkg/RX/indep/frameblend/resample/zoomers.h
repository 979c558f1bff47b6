// Zoomers: output cell (x, y) reads the input at (x rx + 0.5, y ry + 0.5),
// rx and ry the input's size over the output's. Bilinear by default;
// nearest reads cell (trunc(x rx), trunc(y ry)) through the border rules.
// The vector form can divide each vector by the ratios, so that it keeps
// its length in the new units; a no-vector cell stays as it is.
#pragma once

#include <cmath>
#include <cstdint>

#include "RX_Config.h"
#include "frameblend/framework/operators.h"

namespace RX_Engine {

template <class Px, class Interp = FnInterpOf<Px>>
class ImageZoomerBase : public GeneralSamplerPos<Px, Interp> {
 public:
  enum : uint32_t { kOptionNearest = 1u, kOptionScaleVectors = 2u, kOptionUnused = 4u };

  explicit ImageZoomerBase(uint32_t options = 0, RX_FnInterruptContext* context = nullptr)
      : GeneralSamplerPos<Px, Interp>(context), options_(options) {}
  void begin() override {
    ratioX_ = float(this->input_->width()) / float(this->outputWidth());
    ratioY_ = float(this->input_->height()) / float(this->outputHeight());
  }
  void sampleAt(int32_t x, int32_t y, Px* out) override {
    const auto& in = *this->input_;
    if (options_ & kOptionNearest) {
      *out = in.mapOrBackground(rx::truncate_to_int(float(x) * ratioX_),
                                rx::truncate_to_int(float(y) * ratioY_));
    } else {
      *out = fn_store<Px>(in.sample(float(x) * ratioX_ + 0.5f, float(y) * ratioY_ + 0.5f));
    }
  }
  void setOptions(uint32_t options) { options_ = options; }
  uint32_t options() const { return options_; }
  float ratioX() const { return ratioX_; }
  float ratioY() const { return ratioY_; }

 protected:
  float ratioX_ = 1.0f, ratioY_ = 1.0f;
  uint32_t options_;
};

template <class Px, class Interp = FnInterpOf<Px>>
class ImageZoomerGP : public ImageZoomerBase<Px, Interp> {
 public:
  using ImageZoomerBase<Px, Interp>::ImageZoomerBase;
  void sampleAt(int32_t x, int32_t y, Px* out) override {
    ImageZoomerBase<Px, Interp>::sampleAt(x, y, out);
    if ((this->options_ & this->kOptionScaleVectors) && out->x != kNoVector) {
      out->x = out->x / this->ratioX_;
      out->y = out->y / this->ratioY_;
    }
  }
};

// The zoom of a filtered map onto a smaller one: each output cell takes
// the bilinear sample at its position mapped by the size ratio.
template <class InPx, class OutPx>
class FnImageZoomSampler : public Sampler<InPx, OutPx> {
 public:
  explicit FnImageZoomSampler(RX_FnInterruptContext* context = nullptr) {
    this->setInterruptContext(context);
  }
  void begin() override {
    ratioX_ = float(this->input_->width()) / float(this->outputWidth());
    ratioY_ = float(this->input_->height()) / float(this->outputHeight());
  }
  void sampleRows() override {
    const FnRowRange range = this->rowRange();
    const auto& in = *this->input_;
    auto& out = *this->output();
    this->forEachRow(range, [&](int32_t y) {
      OutPx* dst = out.row(y);
      const float sy = float(y) * ratioY_ + 0.5f;
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) {
        dst[x] = fn_store<OutPx>(in.sample(float(x) * ratioX_ + 0.5f, sy));
      }
    });
  }
  float ratioX() const { return ratioX_; }
  float ratioY() const { return ratioY_; }

 private:
  float ratioX_ = 1.0f, ratioY_ = 1.0f;
};

extern template class ImageZoomerBase<float, float>;
extern template class ImageZoomerBase<int, int>;
extern template class ImageZoomerBase<HvVec2, HvVec2>;
extern template class ImageZoomerBase<FnPixel8, FnPixelFloat>;
extern template class ImageZoomerBase<FnPixel16, FnPixelFloat>;
extern template class ImageZoomerBase<FnPixelFloat, FnPixelFloat>;
extern template class ImageZoomerGP<HvVec2, HvVec2>;
extern template class FnImageZoomSampler<float, float>;

}  // namespace RX_Engine

