// Borrowed workers: the worker count, worker numbers and the dispatch with
// its trampoline. The state is process-wide; dispatches do not nest.
#include "frameblend/parallel/engine_threads.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <exception>

#include "KO/KO.h"
#include "RX_Suites.h"
#include "frame/reports.h"

const ADDN_QLBasicSuite* RX_EngineBasicSuite = nullptr;
std::atomic<int32_t> RX_EngineThreadCount{-1};
std::atomic<uint32_t> RX_EngineThreadIds[RX_EngineMaxWorkers];
std::atomic<int32_t> RX_EngineInParallel{0};
std::atomic<uint8_t> RX_EngineWorkerFailed{0};

namespace {

constexpr int32_t kMissingSuiteLocation = rx::location(0);
constexpr int32_t kRunOncePerWorker = -1;

struct PackedCall {
  RX_EngineWorkFunc func;
  void* args[RX_EngineMaxArguments];
};

// Holds the iterate suite for the length of a query or a dispatch.
class IterateSuite {
 public:
  IterateSuite() {
    const void* table = nullptr;
    if (!RX_EngineBasicSuite ||
        RX_EngineBasicSuite->AcquireSuite(RX_ITERATE8_SUITE_NAME, RX_ITERATE8_SUITE_VERSION,
                                          &table) != 0 ||
        !table) {
      KOp_ReportErrString(kMissingSuiteLocation, KO_Class_Engine, "missing suite.");
      throw RX_EngineMissingSuite;
    }
    suite_ = static_cast<const RX_Iterate8Suite1*>(table);
  }
  ~IterateSuite() {
    RX_EngineBasicSuite->ReleaseSuite(RX_ITERATE8_SUITE_NAME, RX_ITERATE8_SUITE_VERSION);
  }
  IterateSuite(const IterateSuite&) = delete;
  IterateSuite& operator=(const IterateSuite&) = delete;

  RX_Err iterate_generic(int32_t count, void* refcon, RX_GenericIterFunc func) const {
    return suite_->iterate_generic(count, refcon, func);
  }

 private:
  const RX_Iterate8Suite1* suite_ = nullptr;
};

RX_Err store_total(void* refcon, int32_t thread_index, int32_t, int32_t count) {
  if (thread_index == 0) *static_cast<int32_t*>(refcon) = count;
  return RX_Result_OK;
}

RX_Err trampoline(void* refcon, int32_t worker, int32_t, int32_t) {
  // Workers beyond the table have no number of their own and take no part;
  // the count is capped to match, so their share of rows is not lost.
  if (worker < 0 || worker >= RX_EngineMaxWorkers) return RX_Result_OK;
  RX_EngineThreadIds[worker].store(RX_EngineCurrentThreadId(), std::memory_order_relaxed);
  const auto* call = static_cast<const PackedCall*>(refcon);
  RX_Err code = RX_Result_OK;
  try {
    call->func(call->args);
  } catch (RX_Err thrown) {
    code = thrown;
  } catch (const std::exception& e) {
    code = KO_TranslateAndReportException(e);
  }
  if (code != RX_Result_OK) RX_EngineWorkerFailed.store(1, std::memory_order_relaxed);
  return RX_EngineWorkerFailed.load(std::memory_order_relaxed) ? RX_Result_BadCallbackParam
                                                               : RX_Result_OK;
}

}  // namespace

uint32_t RX_EngineCurrentThreadId() {
  thread_local const uint32_t id = static_cast<uint32_t>(gettid());
  return id;
}

int32_t RX_EngineThreadTotal() {
  int32_t count = RX_EngineThreadCount.load(std::memory_order_relaxed);
  if (count != -1) return count;
  int32_t total = 0;
  {
    const IterateSuite suite;
    suite.iterate_generic(kRunOncePerWorker, &total, store_total);
  }
  // An iterate that never ran worker 0 still leaves one worker: the caller.
  count = std::clamp(total, 1, RX_EngineMaxWorkers);
  RX_EngineThreadCount.store(count, std::memory_order_relaxed);
  return count;
}

int32_t RX_EngineThreadIndex() {
  if (!RX_EngineInParallel.load(std::memory_order_relaxed)) return 0;
  const int32_t count = RX_EngineThreadCount.load(std::memory_order_relaxed);
  if (count < 2) return 0;
  const uint32_t self = RX_EngineCurrentThreadId();
  for (int32_t i = 0; i < count; ++i) {
    if (RX_EngineThreadIds[i].load(std::memory_order_relaxed) == self) return i;
  }
  return 0;
}

bool RX_EngineParallelRun(RX_EngineWorkFunc func, int32_t arg_count, ...) {
  if (!func) return false;
  PackedCall call{func, {}};
  va_list list;
  va_start(list, arg_count);
  for (int32_t i = 0; i < std::min(arg_count, RX_EngineMaxArguments); ++i) {
    call.args[i] = va_arg(list, void*);
  }
  va_end(list);

  // Workers slice their rows by the count, so it is learned before they run
  // (a worker must never ask the host itself).
  RX_EngineThreadTotal();
  const IterateSuite suite;
  RX_EngineInParallel.store(1, std::memory_order_relaxed);
  RX_EngineWorkerFailed.store(0, std::memory_order_relaxed);
  // Ids of an earlier dispatch must not number this one's threads.
  for (auto& id : RX_EngineThreadIds) id.store(0, std::memory_order_relaxed);
  RX_EngineThreadIds[0].store(RX_EngineCurrentThreadId(), std::memory_order_relaxed);
  suite.iterate_generic(kRunOncePerWorker, &call, trampoline);
  RX_EngineInParallel.store(0, std::memory_order_relaxed);
  return true;
}

void RXp_EngineForgetThreadCount() { RX_EngineThreadCount.store(-1, std::memory_order_relaxed); }
