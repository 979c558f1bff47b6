// A Gaussian made of repeated box filters with a fractional radius
// r = i + f: each box sums the 2i + 1 centre taps with weight 1 and the two
// outer taps with weight f, times k = 1 / (2i + 1 + 2f), by a running sum,
// so its cost does not grow with the radius. The input, extended past every
// edge by its own border rules, goes through the horizontal boxes, then the
// vertical boxes into the output: three passes (take the input, horizontal,
// vertical). Horizontal work is cut by rows, vertical work by columns, so
// each line's running sum is the same whatever the number of workers.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "frameblend/framework/imager.h"

namespace RX_Engine {

// The box of one axis.
struct FnBoxAxis {
  int32_t whole;    // i: centre taps on each side
  float fraction;   // f: weight of the two outer taps
  float weight;     // k
  int32_t support;  // cells read on each side: i, plus 1 with f
  // Cells of margin for passes boxes: ((f != 0) + i + 1) x passes.
  int32_t margin(int32_t passes) const;
};
FnBoxAxis FnMakeBoxAxis(float radius);

// One box along lanes interleaved lines of length values (value j of lane
// c at src[j * lanes + c]), writing positions lo..hi-1 of dst.
void FnBoxPass(const float* src, float* dst, int32_t lanes, int32_t lo, int32_t hi,
               const FnBoxAxis& axis, bool normalise);

template <class Px, class Interp, int Scale, int Horizontal, int Vertical, int Normalise,
          int ClampStore>
class BlurGeneralGauss : public Sampler<Px, Px> {
 public:
  static constexpr int32_t kPhaseTake = 0, kPhaseHorizontal = 1, kPhaseVertical = 2;
  // Columns gathered together by the vertical boxes.
  static constexpr int32_t kStripLanes = 16;

  explicit BlurGeneralGauss(float radiusX = 0.0f, float radiusY = 0.0f, int32_t boxPasses = 3,
                            RX_FnInterruptContext* context = nullptr);
  ~BlurGeneralGauss() override;

  void setRadii(float radiusX, float radiusY) {
    radiusX_ = radiusX;
    radiusY_ = radiusY;
  }
  void setBoxPasses(int32_t passes) { boxPasses_ = passes; }
  float radiusX() const { return radiusX_; }
  float radiusY() const { return radiusY_; }
  int32_t boxPasses() const { return boxPasses_; }

  void begin() override;
  void sampleRows() override;
  void end() override;

 private:
  void takeRows();
  void horizontalRows();
  void verticalColumns();
  float* workerScratch() const;
  void releaseScratch();

  float radiusX_;
  float radiusY_;
  int32_t boxPasses_;
  FnBoxAxis axisX_{}, axisY_{};
  int32_t marginX_ = 0, marginY_ = 0;
  FnTexture<float, float> extended_;
  float* scratch_ = nullptr;
  int64_t scratchPerWorker_ = 0;
};

extern template class BlurGeneralGauss<float, float, 1, 1, 1, 1, 0>;

}  // namespace RX_Engine

