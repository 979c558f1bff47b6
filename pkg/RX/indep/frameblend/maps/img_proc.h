// FnImgProc: the base of row-parallel procedures over one output map.
// process(map) binds the map and its region, then prepare, the passes and
// finish; each pass polls, begins, polls, runs work once or on every worker
// and ends. Work takes its rows with rows(), cut among workers.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "frameblend/maps/tex_indexer.h"
#include "frameblend/parallel/interrupt.h"

namespace RX_Engine {

class FnImgProc : public FnInteruptable {
 public:
  enum : uint32_t { kStateOnWorkers = 1u, kStateHasRegion = 2u };
  enum : uint32_t { kOptionAllWorkers = 1u, kOptionExtendRegion = 2u };

  explicit FnImgProc(RX_FnInterruptContext* context = nullptr);
  virtual ~FnImgProc();
  virtual void prepare();
  virtual void work();
  virtual void finish();
  virtual void beginPass();
  virtual void endPass();
  virtual void runPasses();
  // A null map does nothing.
  virtual void process(FnTexIndexer* map);

  // The region, exclusive ends, in cells of the output map.
  void setRegion(int32_t xFirst, int32_t yFirst, int32_t xEnd, int32_t yEnd);
  void clearRegion() { stateFlags_ &= ~kStateHasRegion; }
  int32_t regionXFirst() const { return xFirst_; }
  int32_t regionYFirst() const { return yFirst_; }
  int32_t regionXEnd() const { return xEnd_; }
  int32_t regionYEnd() const { return yEnd_; }

  uint32_t stateFlags() const { return stateFlags_; }
  int32_t passCount() const { return passCount_; }
  void setPassCount(int32_t count) { passCount_ = count; }
  int32_t passIndex() const { return passIndex_; }
  uint32_t options() const { return options_; }
  void setOptions(uint32_t options) { options_ = options; }
  FnTexIndexer* outputMap() const { return map_; }
  int32_t outputWidth() const { return width_; }
  int32_t outputHeight() const { return height_; }
  // The calling worker's rows of the region.
  FnRowSlice rows() const {
    return FnSliceRowsForCaller(yFirst_, yEnd_, stateFlags_ & kStateOnWorkers);
  }

 protected:
  uint32_t stateFlags_ = 0;
  int32_t xFirst_ = 0, yFirst_ = 0, xEnd_ = 0, yEnd_ = 0;
  int32_t passCount_ = 1;
  int32_t passIndex_ = 0;
  uint32_t options_ = kOptionAllWorkers;
  float scaleX_ = 1.0f, scaleY_ = 1.0f;
  FnTexIndexer* map_ = nullptr;
  int32_t width_ = 0, height_ = 0;

 private:
  static void workOnWorker(void* const* args);
};

// One map: the output.
template <class Out>
class FnImgProc1 : public FnImgProc {
 public:
  using FnImgProc::FnImgProc;
  // Forwards to process of the base.
  virtual void processOutput(Out* out) { FnImgProc::process(out); }
  Out* output() const { return static_cast<Out*>(map_); }
};

// One input and the output.
template <class In, class Out>
class FnImgProc2 : public FnImgProc {
 public:
  using FnImgProc::FnImgProc;
  virtual void processOutput(Out* out) { FnImgProc::process(out); }
  // Holds the input for the length of the call.
  virtual void processInputs(In* in, Out* out) {
    input_ = in;
    processOutput(out);
    input_ = nullptr;
  }
  Out* output() const { return static_cast<Out*>(map_); }

 protected:
  In* input_ = nullptr;
};

// Two inputs and the output.
template <class In1, class In2, class Out>
class FnImgProc3 : public FnImgProc {
 public:
  using FnImgProc::FnImgProc;
  virtual void processOutput(Out* out) { FnImgProc::process(out); }
  virtual void processInputs(In1* in1, In2* in2, Out* out) {
    input1_ = in1;
    input2_ = in2;
    processOutput(out);
    input1_ = nullptr;
    input2_ = nullptr;
  }
  Out* output() const { return static_cast<Out*>(map_); }

 protected:
  In1* input1_ = nullptr;
  In2* input2_ = nullptr;
};

// Saves and restores up to ten regions of an operator.
class FnRegionStack {
 public:
  static constexpr int32_t kCapacity = 10;
  // 0 when full.
  int32_t push(const FnImgProc& proc);
  // 0 when empty; else the operator gets the region back.
  int32_t pop(FnImgProc& proc);
  int32_t depth() const { return depth_; }

 private:
  int32_t regions_[kCapacity][4] = {};
  int32_t depth_ = 0;
};

}  // namespace RX_Engine

