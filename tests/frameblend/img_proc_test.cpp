#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>

#include "engine_test_support.h"
#include "frameblend/maps/img_proc.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;

// Marks each cell of its rows with the pass number.
class MarkRows : public FnImgProc1<FnIntMap> {
 public:
  using FnImgProc1<FnIntMap>::FnImgProc1;
  void prepare() override { order += "p"; }
  void beginPass() override { order += "b"; }
  void work() override {
    const FnRowSlice share = rows();
    for (int32_t y = share.first; y < share.end; ++y) {
      for (int32_t x = xFirst_; x < xEnd_; ++x) output()->cell(x, y) += passIndex_ + 1;
    }
    std::lock_guard lock(mutex);
    ++workCalls;
    onWorkers = onWorkers || (stateFlags_ & kStateOnWorkers);
  }
  void endPass() override { order += "e"; }
  void finish() override { order += "f"; }
  std::string order;
  std::mutex mutex;
  int32_t workCalls = 0;
  bool onWorkers = false;
};

int32_t sum(const FnIntMap& map) {
  int32_t total = 0;
  for (int32_t y = 0; y < map.height(); ++y) {
    for (int32_t x = 0; x < map.width(); ++x) total += map.cell(x, y);
  }
  return total;
}

TEST_F(EngineTest, ImgProcRunsPreparePassesAndFinishOverTheWholeMap) {
  enginetest::use_workers(enginetest::kTwo);
  FnIntMap map(5, 7);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  MarkRows proc;
  proc.setPassCount(2);
  proc.processOutput(&map);
  EXPECT_EQ(proc.order, "pbebef");
  EXPECT_EQ(proc.workCalls, 4);
  EXPECT_TRUE(proc.onWorkers);
  EXPECT_EQ(sum(map), 35 * 3);
  EXPECT_EQ(proc.outputMap(), nullptr);
  EXPECT_EQ(proc.stateFlags() & FnImgProc::kStateOnWorkers, 0u);
}

TEST_F(EngineTest, ImgProcWithoutTheWorkersOptionWorksOnceOnTheCaller) {
  enginetest::use_workers(enginetest::kEight);
  FnIntMap map(3, 9);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  MarkRows proc;
  proc.setOptions(0);
  proc.processOutput(&map);
  EXPECT_EQ(proc.workCalls, 1);
  EXPECT_FALSE(proc.onWorkers);
  EXPECT_EQ(sum(map), 27);
}

TEST_F(EngineTest, ImgProcNullMapDoesNothing) {
  MarkRows proc;
  proc.processOutput(nullptr);
  EXPECT_EQ(proc.order, "");
}

TEST_F(EngineTest, ImgProcClipsItsRegionToTheMap) {
  FnIntMap map(6, 6);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 0; });
  MarkRows proc;
  proc.setRegion(-3, 4, 2, 20);
  proc.processOutput(&map);
  EXPECT_EQ(proc.regionXFirst(), 0);
  EXPECT_EQ(proc.regionYFirst(), 4);
  EXPECT_EQ(proc.regionXEnd(), 2);
  EXPECT_EQ(proc.regionYEnd(), 6);
  EXPECT_EQ(sum(map), 4);
  EXPECT_EQ(map.cell(1, 5), 1);
  EXPECT_EQ(map.cell(2, 5), 0);
}

TEST_F(EngineTest, ImgProcExtendOptionOnlyWidensTheRegion) {
  FnIntMap map(6, 6);
  MarkRows proc;
  proc.setOptions(FnImgProc::kOptionAllWorkers | FnImgProc::kOptionExtendRegion);
  proc.setRegion(2, 1, 4, 3);
  proc.setPassCount(0);
  proc.processOutput(&map);
  EXPECT_EQ(proc.regionXFirst(), 0);
  EXPECT_EQ(proc.regionYFirst(), 0);
  EXPECT_EQ(proc.regionXEnd(), 6);
  EXPECT_EQ(proc.regionYEnd(), 6);
}

TEST_F(EngineTest, ImgProcPassCountZeroRunsNoWork) {
  FnIntMap map(2, 2);
  MarkRows proc;
  proc.setPassCount(0);
  proc.processOutput(&map);
  EXPECT_EQ(proc.order, "pf");
  EXPECT_EQ(proc.workCalls, 0);
}

RX_Err abort_second(void* refcon) {
  return ++*static_cast<int32_t*>(refcon) >= 2 ? RX_Result_Interrupted : RX_Result_OK;
}

TEST_F(EngineTest, ImgProcPollsBeforeAndAfterBeginningAPass) {
  int32_t calls = 0;
  RX_FnInterruptContext context = enginetest::make_context(abort_second, &calls);
  FnIntMap map(2, 2);
  MarkRows proc(&context);
  proc.setPassCount(3);
  proc.processOutput(&map);
  EXPECT_EQ(proc.order, "pbf");
  EXPECT_EQ(proc.workCalls, 0);
}

class CopyInput : public FnImgProc2<FnIntMap, FnIntMap> {
 public:
  using FnImgProc2<FnIntMap, FnIntMap>::FnImgProc2;
  void work() override {
    const FnRowSlice share = rows();
    for (int32_t y = share.first; y < share.end; ++y) {
      for (int32_t x = xFirst_; x < xEnd_; ++x) output()->cell(x, y) = input_->cell(x, y) * 2;
    }
  }
  FnIntMap* heldInput() const { return input_; }
};

TEST_F(EngineTest, ImgProcWithInputsHoldsThemOnlyDuringTheCall) {
  FnIntMap in(3, 3), out(3, 3);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return x + y; });
  CopyInput proc;
  proc.processInputs(&in, &out);
  EXPECT_EQ(out.cell(2, 2), 8);
  EXPECT_EQ(proc.heldInput(), nullptr);
}

TEST_F(EngineTest, RegionStackHoldsTenRegions) {
  MarkRows proc;
  FnRegionStack stack;
  for (int32_t i = 0; i < 10; ++i) {
    proc.setRegion(i, i + 1, i + 2, i + 3);
    EXPECT_EQ(stack.push(proc), 1);
  }
  EXPECT_EQ(stack.push(proc), 0);
  EXPECT_EQ(stack.depth(), 10);
  for (int32_t i = 9; i >= 0; --i) {
    ASSERT_EQ(stack.pop(proc), 1);
    EXPECT_EQ(proc.regionXFirst(), i);
    EXPECT_EQ(proc.regionYEnd(), i + 3);
  }
  EXPECT_EQ(stack.pop(proc), 0);
}

}  // namespace
