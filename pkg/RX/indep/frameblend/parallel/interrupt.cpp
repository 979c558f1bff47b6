// The poll protocol, row slicing and the map-less pass runner. The stop
// flag and code are read by workers without a lock, so they are accessed
// atomically; a stale read costs at most one more row.
#include "frameblend/parallel/interrupt.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "frameblend/parallel/engine_threads.h"
#include "frameblend/parallel/handler_lock.h"

namespace {

int32_t load(const int32_t& word) {
  return std::atomic_ref<int32_t>(const_cast<int32_t&>(word)).load(std::memory_order_relaxed);
}
void store(int32_t& word, int32_t value) {
  std::atomic_ref<int32_t>(word).store(value, std::memory_order_relaxed);
}

}  // namespace

RX_Err RX_FnInterruptPoll(RX_FnInterruptContext* context) {
  if (!context) return RX_Result_OK;
  if (context->abortFunc && !load(context->stop) && RX_EngineThreadIndex() == 0) {
    std::lock_guard lock(RX_HandlerLock());
    const RX_Err result = context->abortFunc(context->refcon);
    store(context->code, result);
    store(context->stop, result != RX_Result_OK);
  }
  return load(context->code);
}

void RX_FnInterruptStop(RX_FnInterruptContext* context, RX_Err code) {
  if (!context) return;
  store(context->code, code);
  store(context->stop, 1);
}

bool RX_FnInterruptStopped(const RX_FnInterruptContext* context) {
  return context && load(context->stop) != 0;
}

namespace RX_Engine {

FnRowSlice FnSliceRows(int32_t first, int32_t end, int32_t index, int32_t count) {
  const int64_t rows = std::max<int64_t>(0, int64_t(end) - first);
  if (count <= 1) return {first, int32_t(first + rows)};
  const int64_t chunk = (rows + count - 1) / count;
  const int64_t start = std::min(rows, int64_t(index) * chunk);
  const int64_t stop = index == count - 1 ? rows : std::min(rows, start + chunk);
  return {int32_t(first + start), int32_t(first + stop)};
}

FnRowSlice FnSliceRowsForCaller(int32_t first, int32_t end, bool on_workers) {
  if (!on_workers) return {first, std::max(first, end)};
  return FnSliceRows(first, end, RX_EngineThreadIndex(), RX_EngineThreadTotal());
}

bool FnInteruptable::pollStop() const {
  RX_FnInterruptPoll(interruptContext_);
  return RX_FnInterruptStopped(interruptContext_);
}

FnMultiProcessor::FnMultiProcessor(RX_FnInterruptContext* context) : FnInteruptable(context) {}
FnMultiProcessor::~FnMultiProcessor() = default;
void FnMultiProcessor::prepare() {}
void FnMultiProcessor::work() {}
void FnMultiProcessor::finish() {}
void FnMultiProcessor::beginPass() {}
void FnMultiProcessor::endPass() {}

void FnMultiProcessor::workOnWorker(void* const* args) {
  static_cast<FnMultiProcessor*>(args[0])->work();
}

void FnMultiProcessor::runPasses() {
  for (passIndex_ = 0; passIndex_ < passCount_; ++passIndex_) {
    if (pollStop()) return;
    beginPass();
    if (pollStop()) return;
    if (options_ & kOptionUseWorkers) {
      stateFlags_ |= kStateOnWorkers;
      const bool dispatched = RX_EngineParallelRun(&FnMultiProcessor::workOnWorker, 1, this);
      stateFlags_ &= ~kStateOnWorkers;
      if (!dispatched) stopWith(RX_Result_OutOfMemory);
    } else {
      work();
    }
    endPass();
  }
}

void FnMultiProcessor::process() {
  prepare();
  runPasses();
  finish();
}

}  // namespace RX_Engine
