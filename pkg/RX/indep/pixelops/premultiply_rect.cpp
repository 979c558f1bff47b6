// Premultiplying a world, or a rectangle of it, against black: one row per
// iteration of the serial generic iterate, the abort asked before each row,
// the row done in place by the depth's scan from the override table.
#include "RX_World.h"
#include "frame/override_table.h"
#include "frame/progress.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

// The world family's refusals of a missing world.
constexpr int16_t kPremulLocation = 52;

template <class Px>
struct BlackScans;
template <>
struct BlackScans<RX_Pixel8> {
  static RX_PremulScan8 get(bool forward) {
    return forward ? slot<RX_Slot_PremulScanBlack8>() : slot<RX_Slot_UnmultScanBlack8>();
  }
};
template <>
struct BlackScans<RX_Pixel16> {
  static RX_PremulScan16 get(bool forward) {
    return forward ? slot<RX_Slot_PremulScanBlack16>() : slot<RX_Slot_UnmultScanBlack16>();
  }
};
template <>
struct BlackScans<RX_PixelFloat> {
  static RX_PremulScanFloat get(bool forward) {
    return forward ? slot<RX_Slot_PremulScanBlackFloat>() : slot<RX_Slot_UnmultScanBlackFloat>();
  }
};

template <class Px>
struct RowJob {
  const RX_ProgressInfo* progress;
  RX_Err (*scan)(int32_t, const Px*, Px*);
  const RX_WorldX<Px>* world;
  int32_t left, top, width;
};

template <class Px>
RX_Err premultiply_row(void* refcon, int32_t, int32_t i, int32_t) {
  const auto& job = *static_cast<const RowJob<Px>*>(refcon);
  if (RX_Err err = poll_abort(job.progress)) return err;
  Px* row = job.world->Row(job.top + i) + job.left;
  return job.scan(job.width, row, row);
}

}  // namespace
}  // namespace rx

RX_Err RX_PremulRect_S(const RX_ProgressInfo* progress, int32_t forward, const GE_LRect* rect,
                       RX_LayerDef* world) {
  using namespace rx;
  if (!world || !world->data) return RX_ReportBadParameter(kPremulLocation);
  return with_depth(RXp_WorldDepth(world), [&]<class Px>() {
    const RX_WorldX<Px> wrapper(*world, false);
    // A rectangle is taken as it is, with no clipping: it must lie inside.
    RowJob<Px> job{progress, BlackScans<Px>::get(forward != 0), &wrapper, 0, 0, wrapper.Width()};
    int32_t height = wrapper.Height();
    if (rect) {
      job.left = rect->left;
      job.top = rect->top;
      job.width = rect->right - rect->left;
      height = rect->bottom - rect->top;
    }
    return RX_IterateGeneric_Static(height, &job, premultiply_row<Px>);
  });
}

RX_Err RX_PremulRect(const RX_ProgressInfo* progress, int32_t forward, const GE_LRect* rect,
                     RX_LayerDef* world) {
  return rx::slot<RX_Slot_PremulRect>()(progress, forward, rect, world);
}

RX_Err RX_Premul(const RX_ProgressInfo* progress, int32_t forward, RX_LayerDef* world) {
  return RX_PremulRect(progress, forward, nullptr, world);
}
