// The FnImgProc protocol and the region stack.
#include "frameblend/maps/img_proc.h"

#include <algorithm>

#include "frameblend/parallel/engine_threads.h"

namespace RX_Engine {

FnImgProc::FnImgProc(RX_FnInterruptContext* context) : FnInteruptable(context) {}
FnImgProc::~FnImgProc() = default;
void FnImgProc::prepare() {}
void FnImgProc::work() {}
void FnImgProc::finish() {}
void FnImgProc::beginPass() {}
void FnImgProc::endPass() {}

void FnImgProc::setRegion(int32_t xFirst, int32_t yFirst, int32_t xEnd, int32_t yEnd) {
  xFirst_ = xFirst;
  yFirst_ = yFirst;
  xEnd_ = xEnd;
  yEnd_ = yEnd;
  stateFlags_ |= kStateHasRegion;
}

void FnImgProc::workOnWorker(void* const* args) { static_cast<FnImgProc*>(args[0])->work(); }

void FnImgProc::runPasses() {
  for (passIndex_ = 0; passIndex_ < passCount_; ++passIndex_) {
    if (pollStop()) return;
    beginPass();
    if (pollStop()) return;
    if (options_ & kOptionAllWorkers) {
      stateFlags_ |= kStateOnWorkers;
      const bool dispatched = RX_EngineParallelRun(&FnImgProc::workOnWorker, 1, this);
      stateFlags_ &= ~kStateOnWorkers;
      if (!dispatched) stopWith(RX_Result_OutOfMemory);
    } else {
      work();
    }
    endPass();
  }
}

void FnImgProc::process(FnTexIndexer* map) {
  if (!map) return;
  width_ = map->width();
  height_ = map->height();
  map_ = map;
  if (!(stateFlags_ & kStateHasRegion)) {
    xFirst_ = 0;
    yFirst_ = 0;
    xEnd_ = width_;
    yEnd_ = height_;
  } else if (options_ & kOptionExtendRegion) {
    // Only widened where the window lies outside the region.
    xFirst_ = std::min(xFirst_, 0);
    yFirst_ = std::min(yFirst_, 0);
    xEnd_ = std::max(xEnd_, width_);
    yEnd_ = std::max(yEnd_, height_);
  } else {
    xFirst_ = std::clamp(xFirst_, 0, width_);
    yFirst_ = std::clamp(yFirst_, 0, height_);
    xEnd_ = std::clamp(xEnd_, xFirst_, width_);
    yEnd_ = std::clamp(yEnd_, yFirst_, height_);
  }
  prepare();
  runPasses();
  finish();
  map_ = nullptr;
}

int32_t FnRegionStack::push(const FnImgProc& proc) {
  if (depth_ >= kCapacity) return 0;
  int32_t* r = regions_[depth_++];
  r[0] = proc.regionXFirst();
  r[1] = proc.regionYFirst();
  r[2] = proc.regionXEnd();
  r[3] = proc.regionYEnd();
  return 1;
}

int32_t FnRegionStack::pop(FnImgProc& proc) {
  if (depth_ == 0) return 0;
  const int32_t* r = regions_[--depth_];
  proc.setRegion(r[0], r[1], r[2], r[3]);
  return 1;
}

}  // namespace RX_Engine
