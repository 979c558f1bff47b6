#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "engine_test_support.h"
#include "frameblend/parallel/engine_threads.h"
#include "rx_test_support.h"

namespace {

using enginetest::EngineTest;

struct WorkerLog {
  std::mutex mutex;
  std::multiset<int32_t> indices;
  std::set<uint32_t> threads;
};

void log_worker(void* const* args) {
  auto* log = static_cast<WorkerLog*>(args[0]);
  std::lock_guard lock(log->mutex);
  log->indices.insert(RX_EngineThreadIndex());
  log->threads.insert(RX_EngineCurrentThreadId());
}

TEST_F(EngineTest, SerialIterateGivesOneWorker) {
  EXPECT_EQ(RX_EngineThreadTotal(), 1);
  EXPECT_EQ(RX_EngineThreadCount.load(), 1);
}

TEST_F(EngineTest, WorkerTotalIsLearnedFromTheIterateSuite) {
  for (int32_t threads : {1, 2, 8}) {
    enginetest::use_workers({true, threads});
    EXPECT_EQ(RX_EngineThreadCount.load(), -1);
    EXPECT_EQ(RX_EngineThreadTotal(), threads);
  }
}

TEST_F(EngineTest, WorkerTotalIsFixedAfterTheFirstQuery) {
  enginetest::use_workers(enginetest::kTwo);
  ASSERT_EQ(RX_EngineThreadTotal(), 2);
  RXHost_SetThreadCount(8);
  EXPECT_EQ(RX_EngineThreadTotal(), 2);
}

TEST_F(EngineTest, QueryReleasesTheSuite) {
  RX_EngineThreadTotal();
  for (int32_t i = 0; i < RXHost_SuiteCount(); ++i) {
    int32_t acquired = -1;
    ASSERT_EQ(RXHost_SuiteAt(i, nullptr, nullptr, nullptr, nullptr, nullptr, &acquired), 0);
    EXPECT_EQ(acquired, 0);
  }
}

TEST_F(EngineTest, MissingSuiteReportsAndThrows13) {
  RXHost_ForgetSuites();
  rxtest::ReportCapture reports;
  try {
    RX_EngineThreadTotal();
    ADD_FAILURE() << "no throw";
  } catch (RX_Err code) {
    EXPECT_EQ(code, 13);
  }
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].text, "missing suite.");
  EXPECT_EQ(reports.errors()[0].report_class, 4);
  EXPECT_EQ(RX_EngineThreadCount.load(), -1);
}

TEST_F(EngineTest, NoBasicSuiteIsAMissingSuite) {
  RX_EngineBasicSuite = nullptr;
  rxtest::ReportCapture reports;
  EXPECT_THROW(RX_EngineParallelRun(log_worker, 0), RX_Err);
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].text, "missing suite.");
}

TEST_F(EngineTest, IndexOutsideADispatchIsZero) {
  enginetest::use_workers(enginetest::kEight);
  ASSERT_EQ(RX_EngineThreadTotal(), 8);
  EXPECT_EQ(RX_EngineThreadIndex(), 0);
  std::atomic<int32_t> from_other{-1};
  std::thread([&] { from_other = RX_EngineThreadIndex(); }).join();
  EXPECT_EQ(from_other.load(), 0);
}

TEST_F(EngineTest, DispatchRunsOnEveryWorkerWithItsOwnIndex) {
  for (int32_t threads : {2, 8}) {
    enginetest::use_workers({true, threads});
    WorkerLog log;
    EXPECT_TRUE(RX_EngineParallelRun(log_worker, 1, &log));
    std::multiset<int32_t> expected;
    for (int32_t i = 0; i < threads; ++i) expected.insert(i);
    EXPECT_EQ(log.indices, expected);
    EXPECT_EQ(log.threads.size(), size_t(threads));
    EXPECT_EQ(RX_EngineInParallel.load(), 0);
  }
}

TEST_F(EngineTest, OneProcessorAlwaysGivesIndexZero) {
  for (enginetest::Workers w : {enginetest::kSerial, enginetest::kOne}) {
    enginetest::use_workers(w);
    WorkerLog log;
    EXPECT_TRUE(RX_EngineParallelRun(log_worker, 1, &log));
    EXPECT_EQ(log.indices, std::multiset<int32_t>{0});
    const RX_Engine::FnRowSlice slice = RX_Engine::FnSliceRows(3, 40, 0, RX_EngineThreadTotal());
    EXPECT_EQ(slice.first, 3);
    EXPECT_EQ(slice.end, 40);
  }
}

TEST_F(EngineTest, SerialDispatchRunsOnTheCallingThread) {
  WorkerLog log;
  EXPECT_TRUE(RX_EngineParallelRun(log_worker, 1, &log));
  EXPECT_EQ(log.threads, std::set<uint32_t>{RX_EngineCurrentThreadId()});
}

void six_arguments(void* const* args) {
  auto* sum = static_cast<int64_t*>(args[0]);
  int64_t total = 0;
  for (int32_t i = 1; i < 6; ++i) total += reinterpret_cast<intptr_t>(args[i]);
  static std::mutex mutex;
  std::lock_guard lock(mutex);
  *sum += total;
}

TEST_F(EngineTest, DispatchCarriesUpToSixArguments) {
  enginetest::use_workers(enginetest::kTwo);
  int64_t sum = 0;
  EXPECT_TRUE(RX_EngineParallelRun(six_arguments, 6, &sum, reinterpret_cast<void*>(1),
                                   reinterpret_cast<void*>(2), reinterpret_cast<void*>(3),
                                   reinterpret_cast<void*>(4), reinterpret_cast<void*>(5)));
  EXPECT_EQ(sum, 2 * 15);
}

TEST_F(EngineTest, NullFunctionIsNotDispatched) { EXPECT_FALSE(RX_EngineParallelRun(nullptr, 0)); }

// Worker 1 fails; the others wait for the failure and finish after it.
struct FailingRun {
  bool standard;
  std::atomic<int32_t> finished{0};
};

void fail_on_worker_one(void* const* args) {
  auto* run = static_cast<FailingRun*>(args[0]);
  if (RX_EngineThreadIndex() == 1) {
    if (run->standard) throw std::runtime_error("worker trouble");
    throw RX_Err{42};
  }
  while (!RX_EngineWorkerFailed.load()) std::this_thread::yield();
  run->finished.fetch_add(1);
}

TEST_F(EngineTest, ThrowingWorkerMakesTheOthersReturn516) {
  enginetest::use_workers(enginetest::kEight);
  rxtest::ReportCapture reports;
  FailingRun run{false};
  EXPECT_TRUE(RX_EngineParallelRun(fail_on_worker_one, 1, &run));
  EXPECT_EQ(run.finished.load(), 7);
  const std::vector<RX_Err> results = enginetest::last_worker_results();
  ASSERT_EQ(results.size(), 8u);
  for (RX_Err r : results) EXPECT_EQ(r, RX_Result_BadCallbackParam);
  EXPECT_TRUE(reports.errors().empty());
}

TEST_F(EngineTest, StandardExceptionInAWorkerIsReportedThenAsAThrownCode) {
  enginetest::use_workers(enginetest::kTwo);
  rxtest::ReportCapture reports;
  FailingRun run{true};
  EXPECT_TRUE(RX_EngineParallelRun(fail_on_worker_one, 1, &run));
  const std::vector<RX_Err> results = enginetest::last_worker_results();
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0], RX_Result_BadCallbackParam);
  EXPECT_EQ(results[1], RX_Result_BadCallbackParam);
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].kind, RXHost_Report_Exception);
}

TEST_F(EngineTest, NextDispatchStartsWithoutTheFailure) {
  enginetest::use_workers(enginetest::kTwo);
  FailingRun run{false};
  ASSERT_TRUE(RX_EngineParallelRun(fail_on_worker_one, 1, &run));
  WorkerLog log;
  ASSERT_TRUE(RX_EngineParallelRun(log_worker, 1, &log));
  for (RX_Err r : enginetest::last_worker_results()) EXPECT_EQ(r, RX_Result_OK);
}

TEST(EngineSlices, RowsAreCutInCeilingChunksAndTheLastRunsToTheEnd) {
  const auto check = [](int32_t rows, int32_t workers) {
    int32_t covered = 0;
    int32_t next = 0;
    for (int32_t i = 0; i < workers; ++i) {
      const RX_Engine::FnRowSlice s = RX_Engine::FnSliceRows(0, rows, i, workers);
      const int32_t chunk = (rows + workers - 1) / workers;
      EXPECT_EQ(s.first, std::min(rows, i * chunk));
      if (i == workers - 1) {
        EXPECT_EQ(s.end, rows);
      }
      EXPECT_EQ(s.first, next);
      covered += s.end - s.first;
      next = s.end;
    }
    EXPECT_EQ(covered, rows);
  };
  for (int32_t rows : {0, 1, 2, 7, 9, 10, 100, 1081}) {
    for (int32_t workers : {1, 2, 3, 4, 8}) check(rows, workers);
  }
}

TEST(EngineSlices, OneRowWithEightWorkersLeavesSevenWithout) {
  int32_t with_rows = 0;
  for (int32_t i = 0; i < 8; ++i) {
    const RX_Engine::FnRowSlice s = RX_Engine::FnSliceRows(0, 1, i, 8);
    if (s.end > s.first) ++with_rows;
  }
  EXPECT_EQ(with_rows, 1);
}

}  // namespace
