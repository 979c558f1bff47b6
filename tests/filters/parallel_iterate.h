// A parallel generic iterate for the tests, installed in override slot 53
// as a host or module would install its own: the host's thread count of
// std::threads take line indices from one counter, each with its own
// thread index below that count (the caller's thread is index 0).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "RX.h"
#include "RXHost.h"

namespace blurtest {

// What the last parallel run saw: which thread ran each iteration and what
// it returned.
struct ParallelRecord {
  std::vector<int32_t> thread_of;   // by iteration index, -1 if never run
  std::vector<RX_Err> result_of;
  int32_t threads = 0;
};

inline ParallelRecord& parallel_record() {
  static ParallelRecord record;
  return record;
}

// Stubborn: hand out every iteration even after a failure (to see how the
// blur's own error word stops the other threads). Thread 0 first: the
// other threads start only once thread 0 has run its first iteration, and
// thread 0 goes on only once they have run out of iterations.
struct ParallelMode {
  bool stubborn = false;
  bool thread_zero_first = false;
};

inline ParallelMode& parallel_mode() {
  static ParallelMode mode;
  return mode;
}

inline RX_Err parallel_iterate(int32_t count, void* refcon, RX_GenericIterFunc func) {
  if (!func) return RX_Result_Internal;
  if (count == -1) return func(refcon, 0, 0, 1);
  if (count < 1) return RX_Result_OK;
  int32_t threads = 1;
  if (KO_GetNumThreads(&threads) != 0 || threads < 1) threads = 1;

  ParallelRecord& record = parallel_record();
  record.thread_of.assign(size_t(count), -1);
  record.result_of.assign(size_t(count), RX_Result_OK);
  record.threads = threads;
  const ParallelMode mode = parallel_mode();

  std::atomic<int32_t> next{0};
  std::atomic<RX_Err> first_error{RX_Result_OK};
  std::mutex m;
  std::condition_variable cv;
  bool zero_started = !mode.thread_zero_first;

  int32_t others_done = 0;
  auto finish_other = [&](int32_t index) {
    if (index == 0) return;
    {
      std::lock_guard<std::mutex> lock(m);
      ++others_done;
    }
    cv.notify_all();
  };
  auto run = [&](int32_t index) {
    if (index != 0) {
      std::unique_lock<std::mutex> lock(m);
      cv.wait(lock, [&] { return zero_started; });
    }
    for (;;) {
      if (!mode.stubborn && first_error.load() != RX_Result_OK) return;
      const int32_t i = next.fetch_add(1);
      if (i >= count) return;
      const RX_Err err = func(refcon, index, i, count);
      record.thread_of[size_t(i)] = index;
      record.result_of[size_t(i)] = err;
      if (err != RX_Result_OK) {
        RX_Err none = RX_Result_OK;
        first_error.compare_exchange_strong(none, err);
      }
      if (index == 0 && !zero_started) {
        {
          std::lock_guard<std::mutex> lock(m);
          zero_started = true;
        }
        cv.notify_all();
        std::unique_lock<std::mutex> lock(m);
        cv.wait(lock, [&] { return others_done == threads - 1; });
      }
      if (err != RX_Result_OK && !mode.stubborn) return;
    }
  };
  auto worker = [&](int32_t index) {
    run(index);
    finish_other(index);
  };
  std::vector<std::thread> pool;
  for (int32_t t = 1; t < threads; ++t) pool.emplace_back(worker, t);
  worker(0);
  if (!zero_started) {
    {
      std::lock_guard<std::mutex> lock(m);
      zero_started = true;
    }
    cv.notify_all();
  }
  for (auto& t : pool) t.join();
  return first_error.load();
}

// Puts the parallel iterate in slot 53 for a scope, with a thread count.
class ParallelIterate {
 public:
  explicit ParallelIterate(int32_t threads, ParallelMode mode = {}) {
    parallel_mode() = mode;
    RXHost_SetThreadCount(threads);
    previous_ = RXp_G_OverFuncs[RX_Slot_IterateGeneric];
    RX_SetOverrideFunc(RX_Slot_IterateGeneric, reinterpret_cast<RX_OverFunc>(&parallel_iterate));
  }
  ~ParallelIterate() {
    RX_SetOverrideFunc(RX_Slot_IterateGeneric, previous_);
    RXHost_SetThreadCount(0);
    parallel_mode() = {};
  }
  ParallelIterate(const ParallelIterate&) = delete;
  ParallelIterate& operator=(const ParallelIterate&) = delete;

 private:
  RX_OverFunc previous_;
};

}  // namespace blurtest
