// Interruption of the engine's operators. One context lives on the stack of
// a render and is shared by all its operators. Only worker 0 asks the
// host's abort function, under the handler lock; the other workers read
// the code it left. Once stopped, a context stays stopped.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "RX_Results.h"

struct RX_FnInterruptContext {
  void* refcon;
  RX_AbortFunc abortFunc;
  int32_t stop;
  int32_t code;
};

// Asks the host (worker 0 only, while not stopped) and gives the code; a
// null context gives 0.
RX_Err RX_FnInterruptPoll(RX_FnInterruptContext* context);
// Stops the context with a code of the engine's own (4 for a failed
// allocation or dispatch). A null context is left alone.
void RX_FnInterruptStop(RX_FnInterruptContext* context, RX_Err code);
// Whether the context is stopped, without asking the host.
bool RX_FnInterruptStopped(const RX_FnInterruptContext* context);

namespace RX_Engine {

// The share of rows [first, end) of worker index of count: ceil(rows/count)
// rows each, the last worker running to the end. Empty when none is left.
struct FnRowSlice {
  int32_t first;
  int32_t end;
};
FnRowSlice FnSliceRows(int32_t first, int32_t end, int32_t index, int32_t count);
// The slice of the calling worker when running on workers, else the range.
FnRowSlice FnSliceRowsForCaller(int32_t first, int32_t end, bool on_workers);

// Anything that can be interrupted holds the render's context; null means
// never interrupted.
class FnInteruptable {
 public:
  explicit FnInteruptable(RX_FnInterruptContext* context = nullptr) : interruptContext_(context) {}

  void setInterruptContext(RX_FnInterruptContext* context) { interruptContext_ = context; }
  RX_FnInterruptContext* interruptContext() const { return interruptContext_; }
  // Polls and tells whether the operator must stop.
  bool pollStop() const;
  RX_Err poll() const { return RX_FnInterruptPoll(interruptContext_); }
  void stopWith(RX_Err code) const { RX_FnInterruptStop(interruptContext_, code); }

 protected:
  RX_FnInterruptContext* interruptContext_;
};

// A pass runner without a map: prepare, the passes (each run once or on
// every worker), finish. Kernel and block helpers derive from it.
class FnMultiProcessor : public FnInteruptable {
 public:
  enum : uint32_t { kStateOnWorkers = 1u };
  enum : uint32_t { kOptionUseWorkers = 1u };

  explicit FnMultiProcessor(RX_FnInterruptContext* context = nullptr);
  virtual ~FnMultiProcessor();
  virtual void prepare();
  virtual void work();
  virtual void finish();
  virtual void beginPass();
  virtual void endPass();
  virtual void runPasses();
  virtual void process();

  uint32_t stateFlags() const { return stateFlags_; }
  int32_t passCount() const { return passCount_; }
  void setPassCount(int32_t count) { passCount_ = count; }
  int32_t passIndex() const { return passIndex_; }
  uint32_t options() const { return options_; }
  void setOptions(uint32_t options) { options_ = options; }
  // The share of [first, end) for the calling worker in this pass.
  FnRowSlice slice(int32_t first, int32_t end) const {
    return FnSliceRowsForCaller(first, end, stateFlags_ & kStateOnWorkers);
  }

 protected:
  uint32_t stateFlags_ = 0;
  int32_t passCount_ = 1;
  int32_t passIndex_ = 0;
  uint32_t options_ = kOptionUseWorkers;

 private:
  static void workOnWorker(void* const* args);
};

}  // namespace RX_Engine

