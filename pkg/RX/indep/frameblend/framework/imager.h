// The three shapes of whole-map operations: a Generator writes a map from
// nothing, a Sampler from one input, a Combiner from two. Imager holds what
// they share: the region, the pass loop, the fan-out to the workers and the
// row split. A bad map is told on stderr and the operator does nothing.
#pragma once

#include <cstdint>

#include "RX_Config.h"
#include "frameblend/maps/matrix.h"
#include "frameblend/maps/texture.h"
#include "frameblend/parallel/interrupt.h"

namespace RX_Engine {

// The rows (first, end, step) and columns (first, end) a rows operation
// works on.
struct FnRowRange {
  int32_t yFirst;
  int32_t yEnd;
  int32_t yStep;
  int32_t xFirst;
  int32_t xEnd;
};

class Imager : public FnInteruptable {
 public:
  enum : uint32_t {
    kFlagReclip = 1u,         // the region must be clipped to the output again
    kFlagExtend = 2u,         // the region must be extended to the output
    kFlagCallingThread = 4u,  // rows run on the calling thread only
    kFlagNarrow = 8u,         // the region is narrower than the map
  };
  // Rows of one field only: every row, even rows, odd rows.
  enum FnPairing : int32_t { kPairingAll = 0, kPairingEven = 1, kPairingOdd = 2 };

  explicit Imager(RX_FnInterruptContext* context = nullptr) : FnInteruptable(context) {}
  virtual ~Imager();

  // Exclusive ends, in cells of the output.
  void setRegion(int32_t xFirst, int32_t yFirst, int32_t xEnd, int32_t yEnd);
  void extendRegionToOutput() { flags_ |= kFlagExtend; }
  void setSingleThread(bool single) {
    flags_ = single ? (flags_ | kFlagCallingThread) : (flags_ & ~kFlagCallingThread);
  }
  void setPassCount(int32_t count) { passCount_ = count; }
  void setPairing(int32_t pairing) { pairing_ = pairing; }

  uint32_t flags() const { return flags_; }
  int32_t passCount() const { return passCount_; }
  int32_t passIndex() const { return passIndex_; }
  int32_t regionXFirst() const { return xFirst_; }
  int32_t regionYFirst() const { return yFirst_; }
  int32_t regionXEnd() const { return xEnd_; }
  int32_t regionYEnd() const { return yEnd_; }
  int32_t outputWidth() const { return outWidth_; }
  int32_t outputHeight() const { return outHeight_; }

 protected:
  // The shape's operations, called with the shape's own object (the shapes
  // derive from Imager virtually, so they cannot be reached from it).
  using Hook = void (*)(void* shape);
  struct Hooks {
    void* shape;
    Hook begin;
    Hook beforePass;  // may be null
    Hook rows;
    Hook end;
  };
  // Stores the output and clips the region into its window.
  void bindOutput(FnTexIndexer* output);
  // begin, the passes (before-pass, then rows once or on every worker),
  // end. A failed dispatch stops the context with 4.
  void runImager(const Hooks& hooks);
  // The calling worker's rows and columns, after the deferred region
  // updates; the last worker runs to the end.
  FnRowRange rowRange();
  // Runs body(y) for each row of range, polling before each; false if the
  // context stopped.
  template <class Body>
  bool forEachRow(const FnRowRange& range, Body&& body) {
    for (int32_t y = range.yFirst; y < range.yEnd; y += range.yStep) {
      if (pollStop()) return false;
      body(y);
    }
    return true;
  }
  bool onWorkers() const { return onWorkers_; }

  uint32_t flags_ = 0;
  int32_t xFirst_ = 0, yFirst_ = 0, xEnd_ = 0, yEnd_ = 0;
  int32_t passCount_ = 1;
  int32_t passIndex_ = 0;
  float scaleX_ = 1.0f, scaleY_ = 1.0f;
  int32_t reserved_ = 0;
  FnTexIndexer* output_ = nullptr;
  int32_t outWidth_ = 0, outHeight_ = 0;

 private:
  void applyDeferredRegion();
  static void rowsOnWorker(void* const* args);

  bool regionSet_ = false;
  bool onWorkers_ = false;
  int32_t pairing_ = kPairingAll;
};

// A bad map is told on stderr; true when the map can be processed. Inputs
// are checked like the output, with the same texts.
bool fn_check_map(const FnTexIndexer* map, bool usable, const char* null_text,
                  const char* bogus_text);

template <class Out>
class Generator : public Imager {
 public:
  using OutMap = Out;
  explicit Generator(RX_FnInterruptContext* context = nullptr) : Imager(context) {}
  virtual ~Generator() {}
  virtual void begin() {}
  virtual void generateRows() {}
  virtual void end() {}

  void process(Out* output) {
    if (!fn_check_map(output, output && output->usable(), kNullText, kBogusText)) return;
    bindOutput(output);
    runImager({this, [](void* g) { static_cast<Generator*>(g)->begin(); }, nullptr,
               [](void* g) { static_cast<Generator*>(g)->generateRows(); },
               [](void* g) { static_cast<Generator*>(g)->end(); }});
    output_ = nullptr;
  }
  static constexpr const char* kNullText = "Map passed into Generator::process is NULL\n";
  static constexpr const char* kBogusText = "Map passed into Generator::process is bogus\n";
  Out* output() const { return static_cast<Out*>(output_); }
};

template <class InPx, class OutPx>
class Sampler : public virtual Imager {
 public:
  using InMap = FnTexture<InPx>;
  using OutMap = FnTexture<OutPx>;
  virtual void begin() {}
  virtual void sampleRows() {}
  virtual void end() {}
  virtual void beforePass() {}

  void process(const InMap* input, OutMap* output) {
    if (!fn_check_map(output, output && output->usable(), kNullText, kBogusText) ||
        !fn_check_map(input, input && input->usable(), kNullText, kBogusText)) {
      return;
    }
    input_ = input;
    bindOutput(output);
    runImager({this, [](void* s) { static_cast<Sampler*>(s)->begin(); },
               [](void* s) { static_cast<Sampler*>(s)->beforePass(); },
               [](void* s) { static_cast<Sampler*>(s)->sampleRows(); },
               [](void* s) { static_cast<Sampler*>(s)->end(); }});
    output_ = nullptr;
    input_ = nullptr;
  }
  // A Sampler tells a null map in the Generator's words; kept as it reads.
  static constexpr const char* kNullText = "Map passed into Generator::process is NULL\n";
  static constexpr const char* kBogusText = "Map passed into Sampler::process is bogus\n";
  OutMap* output() const { return static_cast<OutMap*>(output_); }
  const InMap* input() const { return input_; }

 protected:
  const InMap* input_ = nullptr;
};

template <class In1Px, class In2Px, class OutPx>
class Combiner : public virtual Imager {
 public:
  using In1Map = FnTexture<In1Px>;
  using In2Map = FnTexture<In2Px>;
  using OutMap = FnTexture<OutPx>;
  virtual void begin() {}
  virtual void combineRows() {}
  virtual void end() {}

  void process(const In1Map* input1, const In2Map* input2, OutMap* output) {
    if (!fn_check_map(output, output && output->usable(), kNullText, kBogusText) ||
        !fn_check_map(input1, input1 && input1->usable(), kNullText, kBogusText) ||
        !fn_check_map(input2, input2 && input2->usable(), kNullText, kBogusText)) {
      return;
    }
    input1_ = input1;
    input2_ = input2;
    bindOutput(output);
    runImager({this, [](void* c) { static_cast<Combiner*>(c)->begin(); }, nullptr,
               [](void* c) { static_cast<Combiner*>(c)->combineRows(); },
               [](void* c) { static_cast<Combiner*>(c)->end(); }});
    output_ = nullptr;
    input1_ = nullptr;
    input2_ = nullptr;
  }
  OutMap* output() const { return static_cast<OutMap*>(output_); }
  // A Combiner tells a bogus map in the Generator's words; kept as it reads.
  static constexpr const char* kNullText = "Map passed into Combiner::process is NULL\n";
  static constexpr const char* kBogusText = "Map passed into Generator::process is bogus\n";

 protected:
  const In1Map* input1_ = nullptr;
  const In2Map* input2_ = nullptr;
};

}  // namespace RX_Engine

