// The transfer rectangle: clip a source rectangle against source,
// destination and an even-kind track matte, then blend it line by line
// through one mode plan. Lines of the other field are skipped, progress is
// reported every 128th line, and the dissolve seed takes a quadratic step
// per line so that its noise never repeats in step with the width. Nothing
// is undone after an error: dst keeps the lines already blended.
#include <algorithm>

#include "RX_Blend.h"
#include "RX_Fill.h"
#include "RX_TransferRect.h"
#include "RX_World.h"
#include "compositing/blend_scratch.h"
#include "compositing/track_mattes.h"
#include "frame/exception_boundary.h"
#include "frame/override_table.h"
#include "frame/progress.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr char kTransferDepthsDiffer[] = "RX_TransferRect requires src and dst worlds to have same bit depth";
constexpr char kTransferPlusDepthsDiffer[] =
    "RX_TransferRectPlus requires src and dst worlds to have same bit depth";
// A matte must be of the destination's depth: its lines are pixel lines.
constexpr char kMatteDepthDiffers[] = "RX_TransferRect requires the track matte to have the bit depth of dst";

constexpr int32_t kSeedStep = 12281;       // the per-line step of the dissolve seed
constexpr int32_t kProgressInterval = 128;  // lines between progress reports

struct Request {
  const RX_ProgressInfo* progress;
  int32_t field;
  GE_LRect source_rect;
  const RX_LayerDef* src;
  const RX_CompositeModePlus* mode;
  const RX_LinearBlendingTables* tables;
  const RX_MaskWorld* mask;
  const RX_TransferScratch* scratch;  // null: the shared set
  int32_t dst_x, dst_y;
  RX_LayerDef* dst;
};

bool skipped_by_field(int32_t field, int32_t y) { return (field == 1 && (y & 1)) || (field == 2 && !(y & 1)); }

// The three rows: the caller's, or the shared set grown for width pixels.
template <class Px>
RX_Err ensure_rows(const Request& r, int32_t width, RX_TransferScratch& rows) {
  if (r.scratch) {
    rows = *r.scratch;
    return RX_Result_OK;
  }
  if (RX_Err err = RX_AllocateMotionBlurScratch()) return err;
  return RXp_ReallocScratch(width, int32_t(sizeof(typename xfer::Arith<Px>::Cv)), 0, &rows);
}

template <class Px>
RX_Err transfer(const Request& r) {
  using Cv = typename xfer::Arith<Px>::Cv;
  const RX_WorldX<Px> src(*r.src, false);
  RX_WorldX<Px> dst(*r.dst, false);

  // Rows for the source rectangle's width; no line is longer than the
  // source, whatever the rectangle says.
  const int64_t rect_width = int64_t{r.source_rect.right} - r.source_rect.left;
  RX_TransferScratch rows{};
  if (RX_Err err = ensure_rows<Px>(r, int32_t(std::clamp<int64_t>(rect_width, 0, src.Width())), rows)) return err;

  // Clip in source, then destination, then matte coordinates. The shift to
  // the destination is taken in 64 bits, so that far-off positions clip
  // instead of wrapping.
  const GE_LRect src_bounds{0, 0, src.Width(), src.Height()};
  GE_LRect clipped;
  if (!GE_SectLRect(&r.source_rect, &src_bounds, &clipped)) return RX_Result_OK;
  const int64_t shift_x = int64_t{r.dst_x} - r.source_rect.left, shift_y = int64_t{r.dst_y} - r.source_rect.top;
  auto shifted_into = [](int64_t a, int64_t shift, int32_t limit) {
    return int32_t(std::clamp<int64_t>(a + shift, 0, limit));
  };
  clipped = {shifted_into(clipped.left, shift_x, dst.Width()), shifted_into(clipped.top, shift_y, dst.Height()),
             shifted_into(clipped.right, shift_x, dst.Width()), shifted_into(clipped.bottom, shift_y, dst.Height())};
  if (GE_EmptyLRect(&clipped)) return RX_Result_OK;
  if (r.mask && (r.mask->kind & 1) == 0) {
    const int64_t left = r.mask->x_offset, top = r.mask->y_offset;
    clipped = {int32_t(std::max<int64_t>(clipped.left, left)), int32_t(std::max<int64_t>(clipped.top, top)),
               int32_t(std::min<int64_t>(clipped.right, left + r.mask->world.width)),
               int32_t(std::min<int64_t>(clipped.bottom, top + r.mask->world.height))};
    if (GE_EmptyLRect(&clipped)) return RX_Result_OK;
  }
  const int32_t width = clipped.right - clipped.left;

  // The stencil modes cut away what no source covers.
  if (r.mode->blend_mode == RX_Xfer_MultiplyAlpha || r.mode->blend_mode == RX_Xfer_MultiplyAlphaLuma) {
    if (RX_Err err = RX_ClearAlphaExceptRect(r.progress, &clipped, r.dst)) return err;
  }

  RX_BlendingMode<Px> row_mode(*r.mode);
  row_mode.random_seed += clipped.left;
  RX_BlendModeDescriptor<Px> plan(row_mode, r.mask != nullptr, r.tables);

  auto* saved_alpha = static_cast<Cv*>(rows.words[RX_ScratchAlphaRow]);
  auto* matte_row = static_cast<Px*>(rows.words[RX_ScratchMaskLine]);
  const Px* src_line = src.Row(int32_t(clipped.top - shift_y)) + (clipped.left - shift_x);
  int32_t seed_step = clipped.top * kSeedStep;
  for (int32_t y = clipped.top; y < clipped.bottom; ++y) {
    const Px* mask_line = r.mask ? matte_lines::mask_line<Px>(*r.mask, clipped.left, y, width, matte_row) : nullptr;
    if (!skipped_by_field(r.field, y)) {
      Px* dst_line = dst.Row(y) + clipped.left;
      if (RX_Err err = RX_BlendPipeline<Px>(nullptr, width, plan, src_line, mask_line, saved_alpha, dst_line)) {
        return err;
      }
    }
    if (y % kProgressInterval == 0) {
      if (RX_Err err = poll_progress(r.progress, y - clipped.top, clipped.bottom - clipped.top)) return err;
    }
    src_line = reinterpret_cast<const Px*>(reinterpret_cast<const char*>(src_line) + r.src->row_stride);
    plan.mode.random_seed += seed_step;
    seed_step += kSeedStep;
  }
  return RX_Result_OK;
}

RX_Err transfer_any_depth(const Request& r, const char* depths_differ_text) {
  if (!r.src || !r.dst || !r.mode || !r.src->data || !r.dst->data || (r.mask && !r.mask->world.data)) {
    return RX_ReportBadParameter(31);
  }
  const int32_t depth = RXp_WorldDepth(r.dst);
  if (RXp_WorldDepth(r.src) != depth) {
    report_verification(depths_differ_text);
    return RX_Result_Internal;
  }
  if (r.mask && RXp_WorldDepth(&r.mask->world) != depth) {
    report_verification(kMatteDepthDiffers);
    return RX_Result_Internal;
  }
  return with_depth(depth, [&]<class Px>() { return protect([&] { return transfer<Px>(r); }); });
}

}  // namespace
}  // namespace rx

RX_Err RX_TransferRect_S(const RX_ProgressInfo* progress, int32_t, int64_t, int32_t field, GE_LRect source_rect,
                         const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                         const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, int32_t dst_x,
                         int32_t dst_y, RX_LayerDef* dst) {
  const rx::Request request{progress, field, source_rect, src, mode, tables, mask, nullptr, dst_x, dst_y, dst};
  return rx::transfer_any_depth(request, rx::kTransferDepthsDiffer);
}

RX_Err RX_TransferRectPlus_S(const RX_ProgressInfo* progress, int32_t, int64_t, int32_t field,
                             GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                             const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                             const RX_TransferScratch* scratch, int32_t dst_x, int32_t dst_y, RX_LayerDef* dst) {
  const rx::Request request{progress, field, source_rect, src, mode, tables, mask, scratch, dst_x, dst_y, dst};
  return rx::transfer_any_depth(request, rx::kTransferPlusDepthsDiffer);
}

RX_Err RX_TransferRect(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2, int32_t field,
                       GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                       const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, int32_t dst_x,
                       int32_t dst_y, RX_LayerDef* dst) {
  return rx::slot<RX_Slot_TransferRect>()(progress, reserved1, reserved2, field, source_rect, src, mode, tables,
                                          mask, dst_x, dst_y, dst);
}

RX_Err RX_TransferRectPlus(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2, int32_t field,
                           GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                           const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                           const RX_TransferScratch* scratch, int32_t dst_x, int32_t dst_y, RX_LayerDef* dst) {
  return rx::slot<RX_Slot_TransferRectCore>()(progress, reserved1, reserved2, field, source_rect, src, mode,
                                              tables, mask, scratch, dst_x, dst_y, dst);
}

void RX_PrepTrackMatteUniv(int32_t count, const void* source_row, int32_t x_offset, int32_t source_width,
                           int32_t kind, int32_t deep, void* destination) {
  if (count < 1 || !destination) return;
  if (!source_row) source_width = 0;  // no matte: outside values only
  const int32_t lead = x_offset > 0 ? x_offset : 0;
  const int32_t first = x_offset < 0 ? int32_t(std::min<int64_t>(-int64_t{x_offset}, source_width)) : 0;
  if (deep) {
    rx::matte_lines::build_row(count, static_cast<const RX_Pixel16*>(source_row), lead, first, source_width, kind,
                               static_cast<RX_Pixel16*>(destination));
  } else {
    rx::matte_lines::build_row(count, static_cast<const RX_Pixel8*>(source_row), lead, first, source_width, kind,
                               static_cast<RX_Pixel8*>(destination));
  }
}
