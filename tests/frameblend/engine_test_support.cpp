#include "engine_test_support.h"

#include <algorithm>
#include <mutex>
#include <thread>

#include "ADDN/ADDN.h"
#include "KO/KO.h"
#include "plugin_scan_support.h"

namespace enginetest {
namespace {

std::mutex g_record_mutex;
std::vector<RX_Err> g_results;
std::vector<int32_t> g_indices;

}  // namespace

RX_Err parallel_iterate(int32_t count, void* refcon, RX_GenericIterFunc func) {
  if (!func) return RX_Result_Internal;
  int32_t threads = 1;
  if (KO_GetNumThreads(&threads) != 0 || threads < 1) threads = 1;
  std::vector<RX_Err> results(size_t(threads), RX_Result_OK);
  std::atomic<int32_t> next{0};
  std::atomic<bool> ended{false};
  std::vector<std::thread> pool;
  for (int32_t t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      if (count == -1) {
        results[size_t(t)] = func(refcon, t, t, threads);
        return;
      }
      for (;;) {
        const int32_t i = next.fetch_add(1);
        if (i >= count || ended.load()) return;
        const RX_Err r = func(refcon, t, i, count);
        if (r != RX_Result_OK) {
          results[size_t(t)] = r;
          ended.store(true);
          return;
        }
      }
    });
  }
  for (auto& thread : pool) thread.join();
  {
    std::lock_guard lock(g_record_mutex);
    g_results = results;
    g_indices.clear();
    for (int32_t t = 0; t < threads; ++t) g_indices.push_back(t);
  }
  for (RX_Err r : results) {
    if (r != RX_Result_OK) return r;
  }
  return RX_Result_OK;
}

std::vector<RX_Err> last_worker_results() {
  std::lock_guard lock(g_record_mutex);
  return g_results;
}

std::vector<int32_t> last_thread_indices() {
  std::lock_guard lock(g_record_mutex);
  return g_indices;
}

void use_workers(Workers workers) {
  if (workers.module) {
    ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric, reinterpret_cast<RX_OverFunc>(&parallel_iterate)),
              RX_Result_OK);
  } else {
    ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                                 reinterpret_cast<RX_OverFunc>(&RX_IterateGeneric_Static)),
              RX_Result_OK);
  }
  RXHost_SetThreadCount(workers.threads);
  ASSERT_EQ(rxtest::register_suites_afresh(), 0);
  const ADDN_QLBasicSuite* basic = nullptr;
  ASSERT_EQ(ADDN_GetQLBasicSuite(&basic), 0);
  RX_EngineBasicSuite = basic;
  RXp_EngineForgetThreadCount();
}

void EngineTest::SetUp() {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  use_workers(kSerial);
}

void EngineTest::TearDown() {
  RXHost_FailNthAllocation(0);
  RXHost_SetThreadCount(0);
  RXHost_ForgetSuites();
  RXp_EngineForgetThreadCount();
  RX_EngineBasicSuite = nullptr;
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

}  // namespace enginetest
