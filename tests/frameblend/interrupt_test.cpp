#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "engine_test_support.h"
#include "frameblend/framework/imager.h"
#include "frameblend/parallel/handler_lock.h"
#include "frameblend/parallel/interrupt.h"
#include "frameblend/parallel/vesper_memory.h"
#include "rx_test_support.h"

namespace {

using enginetest::EngineTest;
using namespace RX_Engine;

struct AbortRecord {
  std::atomic<int32_t> calls{0};
  int32_t abort_after = 1 << 30;  // the call that returns the code
  RX_Err code = RX_Result_Interrupted;
  std::mutex mutex;
  std::set<uint32_t> threads;
  std::atomic<bool> held_lock{true};
};

RX_Err record_abort(void* refcon) {
  auto* record = static_cast<AbortRecord*>(refcon);
  {
    std::lock_guard lock(record->mutex);
    record->threads.insert(RX_EngineCurrentThreadId());
  }
  if (RX_HandlerLock().owner() != RX_EngineCurrentThreadId()) record->held_lock = false;
  const int32_t call = ++record->calls;
  return call >= record->abort_after ? record->code : RX_Result_OK;
}

TEST_F(EngineTest, NullContextIsNeverInterrupted) {
  EXPECT_EQ(RX_FnInterruptPoll(nullptr), RX_Result_OK);
  RX_FnInterruptStop(nullptr, 4);
  EXPECT_FALSE(RX_FnInterruptStopped(nullptr));
}

TEST_F(EngineTest, PollAsksTheHostUnderTheLockAndStaysStopped) {
  AbortRecord record;
  record.abort_after = 2;
  RX_FnInterruptContext context = enginetest::make_context(record_abort, &record);
  EXPECT_EQ(RX_FnInterruptPoll(&context), RX_Result_OK);
  EXPECT_EQ(context.stop, 0);
  EXPECT_EQ(RX_FnInterruptPoll(&context), RX_Result_Interrupted);
  EXPECT_EQ(context.stop, 1);
  EXPECT_EQ(context.code, RX_Result_Interrupted);
  // Stopped: the host is not asked again and the code stays.
  EXPECT_EQ(RX_FnInterruptPoll(&context), RX_Result_Interrupted);
  EXPECT_EQ(record.calls.load(), 2);
  EXPECT_TRUE(record.held_lock.load());
}

TEST_F(EngineTest, OwnStopKeepsItsCodeAndAsksNoMore) {
  AbortRecord record;
  RX_FnInterruptContext context = enginetest::make_context(record_abort, &record);
  RX_FnInterruptStop(&context, RX_Result_OutOfMemory);
  EXPECT_EQ(RX_FnInterruptPoll(&context), RX_Result_OutOfMemory);
  EXPECT_EQ(record.calls.load(), 0);
}

TEST_F(EngineTest, ContextWithoutAbortFunctionGivesItsCode) {
  RX_FnInterruptContext context = enginetest::make_context();
  EXPECT_EQ(RX_FnInterruptPoll(&context), RX_Result_OK);
  EXPECT_FALSE(RX_FnInterruptStopped(&context));
}

// A generator whose workers keep pace: a worker other than 0 takes row k
// only after worker 0 has taken row k, or once the context stopped.
class PacedRows : public Generator<FnFloatMap> {
 public:
  using Generator<FnFloatMap>::Generator;
  void generateRows() override {
    const FnRowRange range = rowRange();
    const int32_t worker = RX_EngineThreadIndex();
    int32_t done = 0;
    for (int32_t y = range.yFirst; y < range.yEnd; ++y) {
      if (worker != 0) {
        while (worker0_rows.load() <= done && !RX_FnInterruptStopped(interruptContext())) {
          std::this_thread::yield();
        }
      }
      if (pollStop()) break;
      float* row = output()->row(y);
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) row[x] = 1.0f;
      ++done;
      if (worker == 0) worker0_rows.store(done);
    }
    rows[worker].store(done);
  }
  std::atomic<int32_t> worker0_rows{0};
  std::atomic<int32_t> rows[8] = {};
};

TEST_F(EngineTest, AbortOnWorkerZeroStopsEveryWorkerAtItsNextRow) {
  enginetest::use_workers(enginetest::kEight);
  rxtest::ReportCapture reports;
  AbortRecord record;
  // The pass loop asks once on the calling thread; then worker 0 asks
  // before each of its rows, and the fifth answer stops its fourth row.
  record.abort_after = 5;
  RX_FnInterruptContext context = enginetest::make_context(record_abort, &record);
  FnFloatMap map(16, 800);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0.0f; });
  PacedRows rows(&context);
  rows.process(&map);
  EXPECT_EQ(context.stop, 1);
  EXPECT_EQ(context.code, RX_Result_Interrupted);
  EXPECT_EQ(rows.rows[0].load(), 3);
  for (int32_t w = 1; w < 8; ++w) EXPECT_LE(rows.rows[w].load(), 4) << "worker " << w;
  // Only index 0 talked to the host: the calling thread before the
  // fan-out, then worker 0.
  EXPECT_EQ(record.threads, (std::set<uint32_t>{RX_EngineCurrentThreadId(),
                                                 RX_EngineThreadIds[0].load()}));
  EXPECT_TRUE(reports.errors().empty());
}

// Worker 1 throws at its first row; the others write all their rows.
class ThrowingRows : public Generator<FnFloatMap> {
 public:
  using Generator<FnFloatMap>::Generator;
  void generateRows() override {
    const FnRowRange range = rowRange();
    if (RX_EngineThreadIndex() == 1) throw RX_Err{7};
    forEachRow(range, [&](int32_t y) {
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) output()->cell(x, y) = 1.0f;
    });
  }
  void end() override { ended = true; }
  bool ended = false;
};

TEST_F(EngineTest, OperatorWithAThrowingWorkerGoesOnWithPartialRows) {
  enginetest::use_workers(enginetest::kTwo);
  RX_FnInterruptContext context = enginetest::make_context();
  FnFloatMap map(3, 10);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0.0f; });
  ThrowingRows rows(&context);
  rows.setPassCount(2);
  rows.process(&map);
  EXPECT_TRUE(rows.ended);
  EXPECT_EQ(context.stop, 0);  // nothing stops unless the operator says so
  // The thrower answers 516 (worker 0 may have finished before it threw).
  ASSERT_EQ(enginetest::last_worker_results().size(), 2u);
  EXPECT_EQ(enginetest::last_worker_results()[1], RX_Result_BadCallbackParam);
  for (int32_t y = 0; y < 10; ++y) EXPECT_EQ(map.cell(0, y), y < 5 ? 1.0f : 0.0f) << y;
}

TEST_F(EngineTest, AbortCodeIsKeptAndNothingIsReported) {
  rxtest::ReportCapture reports;
  AbortRecord record;
  record.abort_after = 1;
  record.code = 10000;
  RX_FnInterruptContext context = enginetest::make_context(record_abort, &record);
  FnFloatMap map(4, 4);
  PacedRows rows(&context);
  rows.process(&map);
  EXPECT_EQ(context.code, 10000);
  EXPECT_EQ(rows.rows[0].load(), 0);
  EXPECT_TRUE(reports.errors().empty());
}

TEST_F(EngineTest, EngineMemoryComesFromTheHostAndGoesBack) {
  const int64_t blocks = RXHost_LiveBlocks();
  void* block = RX_VesperAlloc(1000);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks + 1);
  RX_VesperFree(block);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
  RX_VesperFree(nullptr);
}

TEST_F(EngineTest, EngineMemoryFailureGivesNullAndTheHostsReport) {
  rxtest::ReportCapture reports;
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_VesperAlloc(64), nullptr);
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].kind, RXHost_Report_OutOfMemory);
  EXPECT_NE(reports.errors()[0].text.find("Vesper image"), std::string::npos);
}

// The pass runner without a map.
class CountingProcessor : public FnMultiProcessor {
 public:
  using FnMultiProcessor::FnMultiProcessor;
  void prepare() override { order += "p"; }
  void beginPass() override { order += "b"; }
  void work() override {
    const FnRowSlice share = slice(0, 100);
    std::lock_guard lock(mutex);
    covered += share.end - share.first;
    ++calls;
  }
  void endPass() override { order += "e"; }
  void finish() override { order += "f"; }
  std::string order;
  std::mutex mutex;
  int32_t covered = 0;
  int32_t calls = 0;
};

TEST_F(EngineTest, MultiProcessorRunsItsPassesOnEveryWorker) {
  enginetest::use_workers(enginetest::kEight);
  CountingProcessor processor;
  processor.setPassCount(2);
  processor.process();
  EXPECT_EQ(processor.order, "pbebef");
  EXPECT_EQ(processor.calls, 16);
  EXPECT_EQ(processor.covered, 200);
}

TEST_F(EngineTest, MultiProcessorWithoutWorkersRunsOnce) {
  enginetest::use_workers(enginetest::kEight);
  CountingProcessor processor;
  processor.setOptions(0);
  processor.process();
  EXPECT_EQ(processor.calls, 1);
  EXPECT_EQ(processor.covered, 100);
}

TEST_F(EngineTest, MultiProcessorStopsBeforeAPassWhenInterrupted) {
  AbortRecord record;
  record.abort_after = 2;
  RX_FnInterruptContext context = enginetest::make_context(record_abort, &record);
  CountingProcessor processor(&context);
  processor.setPassCount(5);
  processor.process();
  EXPECT_EQ(processor.order, "pbf");
  EXPECT_EQ(processor.calls, 0);
}

}  // namespace
