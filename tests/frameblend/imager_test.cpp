#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "engine_test_support.h"
#include "frameblend/framework/imager.h"
#include "frameblend/parallel/engine_threads.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// Writes the row number into its rows and counts rows per worker.
class RowWriter : public Generator<FnIntMap> {
 public:
  using Generator<FnIntMap>::Generator;
  void begin() override { order += "b"; }
  void generateRows() override {
    const FnRowRange range = rowRange();
    int32_t rows = 0;
    forEachRow(range, [&](int32_t y) {
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) output()->cell(x, y) = y + 1;
      ++rows;
    });
    std::lock_guard lock(mutex);
    rowsByWorker.push_back(rows);
    threads.push_back(RX_EngineCurrentThreadId());
  }
  void end() override { order += "e"; }
  std::string order;
  std::mutex mutex;
  std::vector<int32_t> rowsByWorker;
  std::vector<uint32_t> threads;
};

class PassSampler : public Sampler<int, int> {
 public:
  void beforePass() override {
    order += "p";
    if (passIndex() == 1 && narrowInSecondPass) setRegion(1, 1, 2, 2);
  }
  void sampleRows() override {
    const FnRowRange range = rowRange();
    for (int32_t y = range.yFirst; y < range.yEnd; y += range.yStep) {
      for (int32_t x = range.xFirst; x < range.xEnd; ++x) output()->cell(x, y) += 1;
    }
  }
  std::string order;
  bool narrowInSecondPass = false;
};

class SumCombiner : public Combiner<int, int, int> {
 public:
  void combineRows() override { ++calls; }
  std::atomic<int32_t> calls{0};
};

int32_t count_nonzero(const FnIntMap& map) {
  int32_t n = 0;
  for (int32_t y = 0; y < map.height(); ++y) {
    for (int32_t x = 0; x < map.width(); ++x) n += map.cell(x, y) != 0;
  }
  return n;
}

TEST_F(EngineTest, GeneratorTellsANullOrBogusMapOnStderrAndDoesNothing) {
  RowWriter writer;
  CaptureStderr();
  writer.process(nullptr);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is NULL\n");
  FnIntMap empty(0, 4);
  CaptureStderr();
  writer.process(&empty);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is bogus\n");
  EXPECT_EQ(writer.order, "");
}

TEST_F(EngineTest, SamplerWithANullOutputTellsTheGeneratorsText) {
  PassSampler sampler;
  FnIntMap in(2, 2);
  CaptureStderr();
  sampler.process(&in, nullptr);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is NULL\n");
  FnIntMap bogus;
  CaptureStderr();
  sampler.process(&in, &bogus);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Sampler::process is bogus\n");
  EXPECT_EQ(sampler.order, "");
}

TEST_F(EngineTest, CombinerWithABogusOutputTellsTheGeneratorsText) {
  SumCombiner combiner;
  FnIntMap in(2, 2);
  CaptureStderr();
  combiner.process(&in, &in, nullptr);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Combiner::process is NULL\n");
  FnIntMap bogus(3, 0);
  CaptureStderr();
  combiner.process(&in, &in, &bogus);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is bogus\n");
  EXPECT_EQ(combiner.calls.load(), 0);
}

TEST_F(EngineTest, BadInputsAreToldInTheShapesWords) {
  PassSampler sampler;
  FnIntMap out(2, 2);
  CaptureStderr();
  sampler.process(nullptr, &out);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is NULL\n");
  SumCombiner combiner;
  FnIntMap bogus;
  CaptureStderr();
  combiner.process(&out, &bogus, &out);
  EXPECT_EQ(GetCapturedStderr(), "Map passed into Generator::process is bogus\n");
}

TEST_F(EngineTest, WholeMapIsTheRegionWithoutOne) {
  enginetest::use_workers(enginetest::kTwo);
  FnIntMap map(4, 9);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  RowWriter writer;
  writer.process(&map);
  EXPECT_EQ(writer.order, "be");
  EXPECT_EQ(count_nonzero(map), 36);
  EXPECT_EQ(writer.flags() & Imager::kFlagNarrow, 0u);
  EXPECT_EQ(writer.rowsByWorker.size(), 2u);
}

TEST_F(EngineTest, RegionOutsideTheMapIsClippedToNothing) {
  enginetest::use_workers(enginetest::kTwo);
  FnIntMap map(4, 4);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  RowWriter writer;
  writer.setRegion(10, 10, 20, 20);
  writer.process(&map);
  EXPECT_EQ(count_nonzero(map), 0);
  EXPECT_EQ(writer.regionXFirst(), writer.regionXEnd());
  EXPECT_NE(writer.flags() & Imager::kFlagNarrow, 0u);
  for (int32_t rows : writer.rowsByWorker) EXPECT_EQ(rows, 0);
}

TEST_F(EngineTest, NarrowRegionIsAllThatIsWritten) {
  FnIntMap map(6, 6);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  RowWriter writer;
  writer.setRegion(-2, 1, 3, 4);
  writer.process(&map);
  EXPECT_EQ(count_nonzero(map), 9);
  EXPECT_EQ(map.cell(2, 3), 4);
  EXPECT_EQ(map.cell(3, 3), 0);
  EXPECT_EQ(map.cell(0, 0), 0);
}

TEST_F(EngineTest, OneRowWithEightWorkersLeavesSevenWithoutRows) {
  enginetest::use_workers(enginetest::kEight);
  FnIntMap map(5, 1);
  RowWriter writer;
  writer.process(&map);
  ASSERT_EQ(writer.rowsByWorker.size(), 8u);
  int32_t idle = 0;
  for (int32_t rows : writer.rowsByWorker) idle += rows == 0;
  EXPECT_EQ(idle, 7);
}

TEST_F(EngineTest, SingleThreadFlagRunsRowsOnTheCallingThreadOnce) {
  enginetest::use_workers(enginetest::kEight);
  FnIntMap map(3, 16);
  RowWriter writer;
  writer.setSingleThread(true);
  writer.process(&map);
  ASSERT_EQ(writer.rowsByWorker.size(), 1u);
  EXPECT_EQ(writer.rowsByWorker[0], 16);
  EXPECT_EQ(writer.threads[0], RX_EngineCurrentThreadId());
}

TEST_F(EngineTest, SamplerRunsBeforePassEachPass) {
  FnIntMap in(3, 3), out(3, 3);
  enginetest::fill_map(out, [](int32_t, int32_t) { return 0; });
  PassSampler sampler;
  sampler.setPassCount(3);
  sampler.process(&in, &out);
  EXPECT_EQ(sampler.order, "ppp");
  EXPECT_EQ(out.cell(1, 1), 3);
}

TEST_F(EngineTest, RegionSetBeforeAPassIsClippedBeforeItsRows) {
  enginetest::use_workers(enginetest::kTwo);
  FnIntMap in(3, 3), out(3, 3);
  enginetest::fill_map(out, [](int32_t, int32_t) { return 0; });
  PassSampler sampler;
  sampler.narrowInSecondPass = true;
  sampler.setRegion(0, 0, 3, 2);
  sampler.setPassCount(2);
  sampler.process(&in, &out);
  EXPECT_EQ(out.cell(0, 0), 1);
  EXPECT_EQ(out.cell(1, 1), 2);
  EXPECT_EQ(out.cell(2, 1), 1);
  EXPECT_EQ(out.cell(2, 2), 0);
  EXPECT_EQ(sampler.flags() & Imager::kFlagReclip, 0u);
}

TEST_F(EngineTest, PairingTakesRowsOfOneField) {
  for (int32_t threads : {1, 2, 8}) {
    enginetest::use_workers({true, threads});
    for (int32_t pairing : {Imager::kPairingEven, Imager::kPairingOdd}) {
      FnIntMap map(2, 11);
      enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
      RowWriter writer;
      writer.setPairing(pairing);
      writer.process(&map);
      for (int32_t y = 0; y < 11; ++y) {
        const bool wanted = (y % 2 == 0) == (pairing == Imager::kPairingEven);
        EXPECT_EQ(map.cell(0, y) != 0, wanted) << "row " << y << " threads " << threads;
      }
    }
  }
}

RX_Err stop_at_once(void*) { return RX_Result_Interrupted; }

TEST_F(EngineTest, InterruptedImagerStillEnds) {
  RX_FnInterruptContext context = enginetest::make_context(stop_at_once);
  FnIntMap map(3, 3);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  RowWriter writer(&context);
  writer.process(&map);
  EXPECT_EQ(writer.order, "be");
  EXPECT_TRUE(writer.rowsByWorker.empty());
  EXPECT_EQ(count_nonzero(map), 0);
}

}  // namespace
