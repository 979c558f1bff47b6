// The retiming engine's row-parallel operators on a 1920 x 1080 float
// luminance map: the filtered pyramid at its default level count (4) and a
// repeated box blur (three passes of radius 5/3 on each axis, the blur the
// engine runs on full-size luminance at an analysis scale of 0.2), on one
// and on two workers. Until the parallel module exists, the workers come
// from a small pool of the benchmark's own installed in slot 53 (the
// caller is worker 0; the others wait on a condition between dispatches).
//
// Measured on the shared 2-core machine in a quiet moment (load average
// 0.7, nothing else running), RelWithDebInfo, --benchmark_repetitions=7,
// best of the repetitions, two runs:
//   pyramid, 4 levels:    1 worker 31.7 / 32.3 ms, 2 workers 17.8 / 18.9 ms,
//                         speed-up 1.78 / 1.71 (medians 1.66)
//   box blur, 3 x r 5/3:  1 worker 17.1 / 18.0 ms, 2 workers 8.64 / 8.49 ms,
//                         speed-up 1.98 / 2.12
// The pyramid's serial share is its per-level allocations (fresh pages for
// each temporary) and the smaller levels' dispatch overhead. Under load the
// wall times say nothing: read the CPU column then.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "RX.h"
#include "RXHost.h"
#include "frameblend/parallel/engine_threads.h"
#include "frameblend/resample/box_blur.h"
#include "frameblend/resample/pyramid.h"

namespace {

using namespace RX_Engine;

constexpr int32_t kWidth = 1920, kHeight = 1080;

// A persistent pool: threads 1..n-1 wait for a dispatch, the caller runs
// index 0. -1 iterations run once per thread; a count hands out indices.
class Pool {
 public:
  explicit Pool(int32_t threads) : threads_(threads) {
    for (int32_t t = 1; t < threads; ++t) workers_.emplace_back([this, t] { loop(t); });
  }
  ~Pool() {
    {
      std::lock_guard lock(mutex_);
      quit_ = true;
    }
    wake_.notify_all();
    for (auto& w : workers_) w.join();
  }
  RX_Err run(int32_t count, void* refcon, RX_GenericIterFunc func) {
    {
      std::lock_guard lock(mutex_);
      count_ = count;
      refcon_ = refcon;
      func_ = func;
      next_.store(0);
      error_.store(RX_Result_OK);
      busy_ = threads_ - 1;
      ++generation_;
    }
    wake_.notify_all();
    work(0);
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return busy_ == 0; });
    return error_.load();
  }

 private:
  void work(int32_t t) {
    if (count_ == -1) {
      record(func_(refcon_, t, t, threads_));
      return;
    }
    for (int32_t i; (i = next_.fetch_add(1)) < count_ && error_.load() == RX_Result_OK;) {
      record(func_(refcon_, t, i, count_));
    }
  }
  void record(RX_Err r) {
    RX_Err none = RX_Result_OK;
    if (r != RX_Result_OK) error_.compare_exchange_strong(none, r);
  }
  void loop(int32_t t) {
    uint64_t seen = 0;
    for (;;) {
      {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [&] { return quit_ || generation_ != seen; });
        if (quit_) return;
        seen = generation_;
      }
      work(t);
      std::lock_guard lock(mutex_);
      if (--busy_ == 0) done_.notify_one();
    }
  }

  const int32_t threads_;
  std::vector<std::thread> workers_;
  std::mutex mutex_;
  std::condition_variable wake_, done_;
  bool quit_ = false;
  uint64_t generation_ = 0;
  int32_t busy_ = 0;
  int32_t count_ = 0;
  void* refcon_ = nullptr;
  RX_GenericIterFunc func_ = nullptr;
  std::atomic<int32_t> next_{0};
  std::atomic<RX_Err> error_{RX_Result_OK};
};

Pool* g_pool = nullptr;
RX_Err pool_iterate(int32_t count, void* refcon, RX_GenericIterFunc func) {
  return g_pool->run(count, refcon, func);
}

// A born package whose suites were registered over the pool's iterate.
class Engine {
 public:
  explicit Engine(int32_t workers) : pool_(workers) {
    RX_Birth();
    g_pool = &pool_;
    RX_SetOverrideFunc(RX_Slot_IterateGeneric, reinterpret_cast<RX_OverFunc>(&pool_iterate));
    RXHost_SetThreadCount(workers);
    RXHost_ForgetSuites();
    for (int32_t i = RXHost_InstalledScanCount() - 1; i >= 0; --i) {
      uint32_t type = 0;
      void* finish = nullptr;
      RXHost_InstalledScan(i, &type, nullptr, nullptr, &finish);
      if (type == DSK_FOURCC('e', 'F', 'S', 'T') && finish) {
        reinterpret_cast<ADDN_ScanFinishFunc>(finish)(nullptr);
        break;
      }
    }
    const ADDN_QLBasicSuite* basic = nullptr;
    ADDN_GetQLBasicSuite(&basic);
    RX_EngineBasicSuite = basic;
    RXp_EngineForgetThreadCount();
  }
  ~Engine() {
    RXHost_ForgetSuites();
    RXHost_SetThreadCount(0);
    RX_EngineBasicSuite = nullptr;
    RXp_EngineForgetThreadCount();
    RX_Death();
    g_pool = nullptr;
  }

 private:
  Pool pool_;
};

void fill_luminance(FnFloatMap& map) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> noise(0.0f, 0.1f);
  for (int32_t y = 0; y < map.height(); ++y) {
    float* row = map.row(y);
    for (int32_t x = 0; x < map.width(); ++x) {
      row[x] = 0.5f + 0.4f * std::sin(float(x) * 0.013f) * std::cos(float(y) * 0.021f) + noise(rng);
    }
  }
  map.setBorderModes(kBorderClamp, kBorderClamp);
}

void BM_Pyramid(benchmark::State& state) {
  const Engine engine(int32_t(state.range(0)));
  FnFloatMap input(kWidth, kHeight);
  fill_luminance(input);
  for (auto _ : state) {
    FnFilteredPyramid<float, float, 1> pyramid(&input);
    pyramid.build();
    benchmark::DoNotOptimize(pyramid.stack()->level(3)->cell(0, 0));
  }
  state.counters["MPix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}
// The machine is shared: with --benchmark_repetitions the best run is the
// figure to read.
double best(const std::vector<double>& runs) { return *std::min_element(runs.begin(), runs.end()); }

BENCHMARK(BM_Pyramid)->ArgName("workers")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)
    ->ComputeStatistics("min", best);

void BM_BoxBlur(benchmark::State& state) {
  const Engine engine(int32_t(state.range(0)));
  FnFloatMap input(kWidth, kHeight), output(kWidth, kHeight);
  fill_luminance(input);
  const float radius = 5.0f / 3.0f;
  for (auto _ : state) {
    BlurGeneralGauss<float, float, 1, 1, 1, 1, 0> blur(radius, radius, 3);
    blur.process(&input, &output);
    benchmark::DoNotOptimize(output.cell(0, 0));
  }
  state.counters["MPix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_BoxBlur)->ArgName("workers")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)
    ->ComputeStatistics("min", best);

}  // namespace

BENCHMARK_MAIN();
