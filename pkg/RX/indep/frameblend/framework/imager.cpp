// The shared part of Generator, Sampler and Combiner: region clipping, the
// pass loop and the fan-out of the rows operation to the workers.
#include "frameblend/framework/imager.h"

#include <algorithm>
#include <cstdio>

#include "frameblend/parallel/engine_threads.h"

namespace RX_Engine {

bool fn_check_map(const FnTexIndexer* map, bool usable, const char* null_text,
                  const char* bogus_text) {
  if (!map) {
    std::fputs(null_text, stderr);
    return false;
  }
  if (!usable) {
    std::fputs(bogus_text, stderr);
    return false;
  }
  return true;
}

Imager::~Imager() = default;

void Imager::setRegion(int32_t xFirst, int32_t yFirst, int32_t xEnd, int32_t yEnd) {
  xFirst_ = xFirst;
  yFirst_ = yFirst;
  xEnd_ = xEnd;
  yEnd_ = yEnd;
  regionSet_ = true;
  flags_ |= kFlagReclip;
}

void Imager::bindOutput(FnTexIndexer* output) {
  output_ = output;
  outWidth_ = output->width();
  outHeight_ = output->height();
  if (regionSet_) {
    xFirst_ = std::clamp(xFirst_, 0, outWidth_);
    yFirst_ = std::clamp(yFirst_, 0, outHeight_);
    xEnd_ = std::clamp(xEnd_, xFirst_, outWidth_);
    yEnd_ = std::clamp(yEnd_, yFirst_, outHeight_);
  } else {
    xFirst_ = 0;
    yFirst_ = 0;
    xEnd_ = outWidth_;
    yEnd_ = outHeight_;
  }
  const bool whole = xFirst_ == 0 && yFirst_ == 0 && xEnd_ == outWidth_ && yEnd_ == outHeight_;
  flags_ = whole ? (flags_ & ~kFlagNarrow) : (flags_ | kFlagNarrow);
}

void Imager::applyDeferredRegion() {
  if ((flags_ & kFlagExtend) && (flags_ & kFlagNarrow)) {
    xFirst_ = std::min(xFirst_, 0);
    yFirst_ = std::min(yFirst_, 0);
    xEnd_ = std::max(xEnd_, outWidth_);
    yEnd_ = std::max(yEnd_, outHeight_);
    flags_ &= ~kFlagExtend;
  }
  if ((flags_ & kFlagReclip) && (flags_ & kFlagNarrow)) {
    xFirst_ = std::clamp(xFirst_, 0, outWidth_);
    yFirst_ = std::clamp(yFirst_, 0, outHeight_);
    xEnd_ = std::clamp(xEnd_, xFirst_, outWidth_);
    yEnd_ = std::clamp(yEnd_, yFirst_, outHeight_);
    flags_ &= ~kFlagReclip;
  }
}

FnRowRange Imager::rowRange() {
  // Workers find the updates applied by the pass loop before the fan-out,
  // so only the calling thread ever writes the region.
  if (!onWorkers_) applyDeferredRegion();
  int32_t y_first = 0, y_end = outHeight_, x_first = 0, x_end = outWidth_;
  if (flags_ & kFlagNarrow) {
    y_first = yFirst_;
    y_end = yEnd_;
    x_first = xFirst_;
    x_end = xEnd_;
  }
  const FnRowSlice slice = FnSliceRowsForCaller(y_first, y_end, onWorkers_);
  FnRowRange range{slice.first, slice.end, 1, x_first, x_end};
  if (pairing_ == kPairingEven) {
    range.yFirst += range.yFirst & 1;
    range.yStep = 2;
  } else if (pairing_ == kPairingOdd) {
    range.yFirst = (range.yFirst & ~1) + 1;
    range.yStep = 2;
  }
  return range;
}

void Imager::rowsOnWorker(void* const* args) {
  const auto* hooks = static_cast<const Hooks*>(args[0]);
  hooks->rows(hooks->shape);
}

void Imager::runImager(const Hooks& hooks) {
  hooks.begin(hooks.shape);
  for (passIndex_ = 0; passIndex_ < passCount_; ++passIndex_) {
    if (pollStop()) break;
    if (hooks.beforePass) hooks.beforePass(hooks.shape);
    applyDeferredRegion();
    if (flags_ & kFlagCallingThread) {
      hooks.rows(hooks.shape);
    } else {
      struct OnWorkers {
        bool& flag;
        explicit OnWorkers(bool& f) : flag(f) { flag = true; }
        ~OnWorkers() { flag = false; }
      } on_workers(onWorkers_);
      const bool dispatched =
          RX_EngineParallelRun(&Imager::rowsOnWorker, 1, const_cast<Hooks*>(&hooks));
      if (!dispatched) stopWith(RX_Result_OutOfMemory);
    }
  }
  hooks.end(hooks.shape);
}

}  // namespace RX_Engine
